// Takes part in one exposure: accepts what somebody at the hand switch asks for within a minute,
// and prints what was given.
//
//     exposure DEVICE

#include <tkgen.h>

#include <chrono>
#include <cstdio>
#include <future>
#include <utility>

namespace {

/// Answers the generator, on the engine's thread. It asks by a 1, and goes on when it is told the
/// same; a 0 says that it is over.
class Operator : public TkGenDispatcher {
  public:
    explicit Operator(TkGeneratorControl &generator) : m_Generator(generator) {}

    /// Blocks until an exposure is over, for a minute at the most. Whether one is.
    bool wait() {
        return m_Over.get_future().wait_for(std::chrono::minutes(1)) == std::future_status::ready;
    }

  protected:
    void radiographic_Prep_Changed(void *value) override { answer(Tk::PR, "prep", value); }
    void radiographic_Exposure_Changed(void *value) override {
        const bool on = answer(Tk::XR, "exposure", value);
        if (m_bExposing && !on && !std::exchange(m_bOver, true)) { // the first one counts
            m_Over.set_value();
        }
        m_bExposing = on;
    }

  private:
    bool answer(Tk::TextCommands parameter, const char *name, const void *value) {
        const bool asked = *static_cast<const int *>(value) == 1;
        std::printf("%s %s\n", name, asked ? "accepted" : "over");
        if (asked) {
            m_Generator.transmitMsg(parameter, 1, false);
        }
        return asked;
    }

    TkGeneratorControl &m_Generator;
    std::promise<void> m_Over;
    bool m_bExposing = false;
    bool m_bOver = false;
};

/// Asks for a value and prints it. Whether an answer came.
bool show(TkGeneratorControl &generator, Tk::TextCommands parameter, const char *name) {
    const bool answered = generator.transmitMsg(parameter, Tk::REQUEST_QUERY, true);
    std::printf("%s: %d\n", name, generator.getGenParam(parameter));
    return answered;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "use: exposure DEVICE\n");
        return 2;
    }
    TkSerial port(argv[1], TkSerial::MODE_READ_WRITE);
    if (!port.isOpen()) {
        std::fprintf(stderr, "can't open %s\n", argv[1]);
        return 1;
    }
    TkGeneratorControl generator(&port);
    Operator console(generator);
    Tk::addDispatcher(&console);
    generator.enableExposures(true); // without this every prep is refused
    generator.startControl();
    bool done = generator.transmitMsg(Tk::KV, 70, true);
    std::puts(done ? "ready" : "the generator doesn't answer");
    std::fflush(stdout);
    done = done && console.wait() && show(generator, Tk::KV, "tube voltage in kV") &&
           show(generator, Tk::AP, "current-time product") && show(generator, Tk::AT, "time");
    generator.stopControl();
    Tk::removeDispatcher(&console);
    return done ? 0 : 1;
}
