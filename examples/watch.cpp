// Connects to a generator and prints what changes, until five values have changed or the link is
// lost.
//
//     watch DEVICE

#include <tkgen.h>

#include <cstdio>
#include <future>
#include <utility>

namespace {

/// Hears of changes on the engine's thread, and keeps it no longer than a line of output takes.
class Display : public TkGenDispatcher {
  public:
    explicit Display(const TkGeneratorControl &generator) : m_Generator(generator) {}

    /// Blocks until five values have changed, or the link is lost. Whether they have.
    bool wait() { return m_Seen.get_future().get(); }

  protected:
    void CommsReEstablished() override { std::puts("connected"); }
    void lostComms() override {
        std::puts("connection lost"); // also when nobody answered from the start
        end(false);
    }
    void radiographic_Kv_Changed() override { show("tube voltage in kV", Tk::KV); }
    void radiographic_Ma_Changed() override { show("tube current", Tk::MA); }
    void radiographic_Ms_Changed() override { show("exposure time", Tk::MS); }
    void generator_Workstation_Changed() override { show("workstation", Tk::WS); }
    void tube_Heat_Units_Changed() override { show("heat units of the tube", Tk::HE); }

  private:
    void show(const char *name, Tk::TextCommands parameter) {
        std::printf("%s: %d\n", name, m_Generator.getGenParam(parameter));
        if (++m_nChanges == 5) {
            end(true);
        }
    }
    void end(bool seen) {
        if (!std::exchange(m_bEnded, true)) {
            m_Seen.set_value(seen);
        }
    }

    const TkGeneratorControl &m_Generator;
    std::promise<bool> m_Seen;
    int m_nChanges = 0;
    bool m_bEnded = false;
};

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "use: watch DEVICE\n");
        return 2;
    }
    TkSerial port(argv[1], TkSerial::MODE_READ_WRITE);
    if (!port.isOpen()) {
        std::fprintf(stderr, "can't open %s\n", argv[1]);
        return 1;
    }
    TkGeneratorControl generator(&port);
    Display display(generator);
    Tk::addDispatcher(&display);
    generator.startControl();
    generator.enableRefresh(true, false); // asks for everything, and connects by that
    const bool seen = display.wait();
    generator.stopControl();
    Tk::removeDispatcher(&display);
    return seen ? 0 : 1;
}
