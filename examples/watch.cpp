// Connects to a generator and prints what changes, until five values have changed.
//
//     watch DEVICE

#include <tkgen.h>

#include <cstdio>
#include <future>

namespace {

/// Hears of changes on the engine's thread, and keeps it no longer than a line of output takes.
class Display : public TkGenDispatcher {
  public:
    explicit Display(const TkGeneratorControl &generator) : m_Generator(generator) {}

    /// Blocks until five values have changed.
    void wait() { m_Seen.get_future().wait(); }

  protected:
    void CommsReEstablished() override { std::puts("connected"); }
    void lostComms() override { std::puts("connection lost"); }
    void radiographic_Kv_Changed() override { show("tube voltage in kV", Tk::KV); }
    void radiographic_Ma_Changed() override { show("tube current", Tk::MA); }
    void radiographic_Ms_Changed() override { show("exposure time", Tk::MS); }
    void generator_Workstation_Changed() override { show("workstation", Tk::WS); }
    void tube_Heat_Units_Changed() override { show("heat units of the tube", Tk::HE); }

  private:
    void show(const char *name, Tk::TextCommands parameter) {
        std::printf("%s: %d\n", name, m_Generator.getGenParam(parameter));
        if (++m_nChanges == 5) {
            m_Seen.set_value();
        }
    }

    const TkGeneratorControl &m_Generator;
    std::promise<void> m_Seen;
    int m_nChanges = 0;
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
    display.wait();
    generator.stopControl();
    Tk::removeDispatcher(&display);
    return 0;
}
