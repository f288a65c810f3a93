#include "pty.h"
#include "simulator.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <iostream>
#include <map>
#include <memory>
#include <utility>

#include <poll.h>
#include <unistd.h>

using namespace tksim;

namespace {

constexpr int exitFailed = 1;
constexpr int exitUsage = 2;
constexpr std::size_t longestLine = 256;

volatile std::sig_atomic_t stopped = 0;

void stop(int) {
    stopped = 1;
}

struct Arguments {
    Simulator::Options simulator;
    std::string family;
    std::string link;
    std::map<std::string, double> percent; ///< by the name of its command
    int delay = 0;
    double delayPercent = 100;
    std::vector<std::string> orders; ///< commands to begin with, from options that are one
    bool exitOnEof = false;
};

/// Joins the simulator with the pseudo terminal, standard input, standard output and the clock.
class Program {
  public:
    explicit Program(const Arguments &arguments);

    /// Runs until `quit`, a signal, or the end of the input if that is asked for.
    void run();

  private:
    Milliseconds now() const;
    bool wait();
    void readDevice();
    void readInput();
    void command(const std::string &line);
    void plug();
    void unplug();
    void flush();
    void print(const std::string &line) { std::cout << line << '\n' << std::flush; }

    const Arguments &m_Arguments;
    Simulator m_Simulator;
    std::unique_ptr<Pty> m_Pty;
    std::string m_Input;
    bool m_InputOpen = true;
    bool m_Running = true;
    std::chrono::steady_clock::time_point m_Start = std::chrono::steady_clock::now();
};

Program::Program(const Arguments &arguments)
    : m_Arguments(arguments), m_Simulator(arguments.simulator) {
    for (const auto &[name, percent] : arguments.percent) {
        m_Simulator.command(name + " " + std::to_string(percent), 0);
    }
    if (arguments.delay > 0) {
        m_Simulator.command("delay " + std::to_string(arguments.delay) + " " +
                                std::to_string(arguments.delayPercent),
                            0);
    }
    for (const std::string &order : arguments.orders) {
        m_Simulator.command(order, 0);
    }
    m_Simulator.takeLines(); // nothing is printed before the device
}

Milliseconds Program::now() const {
    const auto passed = std::chrono::steady_clock::now() - m_Start;
    return static_cast<Milliseconds>(
        std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

void Program::run() {
    plug();
    while (m_Running && !stopped) {
        const bool inputReady = wait();
        readDevice();
        if (inputReady) {
            readInput();
        }
        m_Simulator.advance(now());
        flush();
    }
}

/// Sleeps until something is to be read or done; whether that is input. Signals come in only here.
bool Program::wait() {
    pollfd waiting[3] = {{m_InputOpen ? STDIN_FILENO : -1, POLLIN, 0},
                         {m_Pty ? m_Pty->dataFd() : -1, POLLIN, 0},
                         {m_Pty ? m_Pty->watchFd() : -1, POLLIN, 0}};
    timespec limit{};
    const std::optional<Milliseconds> deadline = m_Simulator.deadline();
    if (deadline) {
        const Milliseconds present = now();
        const Milliseconds left = *deadline > present ? *deadline - present : 0;
        limit.tv_sec = static_cast<time_t>(left / 1000);
        limit.tv_nsec = static_cast<long>(left % 1000) * 1000000;
    }
    sigset_t none;
    sigemptyset(&none);
    return ppoll(waiting, 3, deadline ? &limit : nullptr, &none) > 0 && waiting[0].revents != 0;
}

void Program::readDevice() {
    if (!m_Pty) {
        return;
    }
    const Pty::Console console = m_Pty->watch();
    if (console == Pty::Console::opened) {
        print("device opened");
    }
    const Bytes bytes = m_Pty->read();
    m_Simulator.receive(bytes.data(), bytes.size(), now());
    if (console == Pty::Console::closed) {
        print("device closed");
    }
}

void Program::readInput() {
    char bytes[1024];
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count < 0 && errno == EINTR) {
        return;
    }
    m_InputOpen = count > 0;
    for (ssize_t i = 0; i < count && m_Running; ++i) {
        if (bytes[i] == '\n') {
            command(std::exchange(m_Input, {}));
        } else if (m_Input.size() < longestLine) {
            m_Input += bytes[i];
        }
    }
    if (m_InputOpen || !m_Running) {
        return;
    }
    command(std::exchange(m_Input, {}));
    m_Running = m_Running && !m_Arguments.exitOnEof;
}

void Program::command(const std::string &line) {
    const Simulator::Request request = m_Simulator.command(line, now());
    flush();
    if (request == Simulator::Request::quit) {
        m_Running = false;
    } else if (request == Simulator::Request::plug) {
        plug();
    } else if (request == Simulator::Request::unplug) {
        unplug();
    }
}

void Program::plug() {
    m_Pty.reset(); // first, so that its link makes way
    m_Simulator.unplugged();
    m_Pty = std::make_unique<Pty>(m_Arguments.link);
    print("device " + m_Pty->path());
}

void Program::unplug() {
    m_Pty.reset();
    m_Simulator.unplugged();
    print("unplugged");
}

/// Writes what is due on the line and prints what has happened.
void Program::flush() {
    if (!m_Pty) {
        m_Simulator.unplugged();
    }
    const Bytes bytes = m_Simulator.takeBytes(now());
    for (const std::string &line : m_Simulator.takeLines()) {
        print(line);
    }
    if (m_Pty && !bytes.empty()) {
        m_Pty->write(bytes);
    }
}

/// Signals end the program in order, but only while it waits; a reader that went away doesn't.
void prepareSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    struct sigaction action {};
    action.sa_handler = stop;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
}

std::string footer() {
    std::string text = "Commands on standard input, one a line:\n";
    for (const std::string &line : Simulator::commandHelp()) {
        text += "  " + line + "\n";
    }
    return text +
           "\nExit codes: 0 ended by quit, end of input or a signal; 1 the device or its link "
           "could not be made; 2 wrong arguments.\n";
}

/// Refuses what the parser would take for a number, but a person wouldn't write as one: hexadecimal
/// and octal numbers, and "nan", which lies in every range.
std::string decimal(const std::string &text) {
    const bool octal = text.size() > 1 && text[0] == '0' && text[1] != '.';
    const bool plain = text.find_first_not_of("0123456789.") == std::string::npos;
    return plain && !octal ? "" : text + " is no decimal number";
}

void addMishaps(CLI::App &app, Arguments &arguments) {
    const CLI::Range percent(0.0, 100.0);
    const std::pair<const char *, const char *> mishaps[] = {
        {"drop", "Lose frames"},
        {"corrupt", "Turn one bit of frames"},
        {"cut", "Cut frames short"},
        {"duplicate", "Send frames twice"},
        {"nak", "Send a NAK in place of frames"},
        {"garbage", "Send random bytes before frames"},
    };
    for (const auto &[name, meaning] : mishaps) {
        app.add_option("--" + std::string(name), arguments.percent[name], meaning)
            ->check(decimal)
            ->check(percent)
            ->option_text("PERCENT");
    }
    app.add_option("--delay", arguments.delay, "Send frames late")
        ->check(decimal)
        ->check(CLI::Range(0, 60000))
        ->option_text("MILLISECONDS");
    app.add_option("--delay-percent", arguments.delayPercent, "How many of them, all by default")
        ->needs("--delay")
        ->check(decimal)
        ->check(percent)
        ->option_text("PERCENT");
}

/// Options that give a command from the start.
void addOrders(CLI::App &app, Arguments &arguments) {
    std::vector<std::string> &orders = arguments.orders;
    const auto order = [&orders](const std::string &name) {
        return [&orders, name](const std::string &value) { orders.push_back(name + " " + value); };
    };
    const auto flag = [&orders](const std::string &line) {
        return [&orders, line](std::int64_t) { orders.push_back(line); };
    };
    app.add_option_function<std::string>("--meter", order("meter"), "Have a dose meter or none")
        ->check(CLI::IsMember({"present", "absent", "slow", "dead"}))
        ->option_text("present|absent|slow|dead");
    app.add_option_function<std::string>("--short", order("short"),
                                         "Leave out the last bytes of records' data")
        ->check(decimal)
        ->check(CLI::Range(0, 1000))
        ->option_text("BYTES");
    app.add_flag_function("--misfiled", flag("misfiled on"),
                          "Answer records under another record's code");
    app.add_flag_function("--ack", flag("ack on"),
                          "Answer settings by a lone ACK instead of an echo");
}

void addOptions(CLI::App &app, Arguments &arguments) {
    Simulator::Options &simulator = arguments.simulator;
    app.set_version_flag("--version", std::string("tkgen-sim ") + TKSIM_VERSION);
    app.add_option("--family", arguments.family, "Generator family: arkona (default) or brn450")
        ->check(CLI::IsMember({"arkona", "brn450"}))
        ->option_text("FAMILY");
    app.add_option("--revision", simulator.revision, "Software revision, 301 by default")
        ->check(decimal)
        ->check(CLI::Range(0, 9999))
        ->option_text("NUMBER");
    app.add_option("--link", arguments.link, "Make a symbolic link to the device")
        ->option_text("PATH");
    app.add_option("--time-scale", simulator.timeScale,
                   "Stretch exposures in real time, 0.001 to 10; none lasts over 10 s")
        ->check(decimal)
        ->check(CLI::Range(0.001, 10.0))
        ->option_text("FACTOR");
    app.add_option("--seed", simulator.seed, "Seed of all misbehaviour, 1 by default")
        ->check(decimal)
        ->option_text("NUMBER");
    addMishaps(app, arguments);
    addOrders(app, arguments);
    app.add_flag("--trace", simulator.trace, "Print every frame: \"< KV?\" in, \"> KV070\" out");
    app.add_flag("--exit-on-eof", arguments.exitOnEof,
                 "End with standard input instead of going on until a signal");
    app.footer(footer());
}

} // namespace

int main(int argc, char **argv) try {
    Arguments arguments;
    CLI::App app(
        "A simulated X-ray generator at the far end of a pseudo terminal, whose path is the "
        "first line of its output.");
    addOptions(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : exitUsage;
    }
    if (arguments.family == "brn450") {
        arguments.simulator.family = Family::brn450;
    }
    arguments.simulator.utc = std::time(nullptr);
    prepareSignals();
    Program(arguments).run();
    return 0;
} catch (const std::exception &error) {
    std::cerr << "tkgen-sim: " << error.what() << '\n';
    return exitFailed;
}
