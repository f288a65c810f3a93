#include "options.h"
#include "pty.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <utility>

#include <poll.h>
#include <unistd.h>

using namespace tksim;

namespace {

constexpr int exitFailed = 1;
constexpr std::size_t longestLine = 256;

volatile std::sig_atomic_t stopped = 0;

void stop(int) {
    stopped = 1;
}

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
    : m_Arguments(arguments), m_Simulator(makeMachine(arguments), arguments.simulator) {
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
    const Request request = m_Simulator.command(line, now());
    flush();
    if (request == Request::quit) {
        m_Running = false;
    } else if (request == Request::plug) {
        plug();
    } else if (request == Request::unplug) {
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

} // namespace

int main(int argc, char **argv) try {
    Arguments arguments;
    if (const std::optional<int> code = parse(argc, argv, arguments)) {
        return *code;
    }
    prepareSignals();
    Program(arguments).run();
    return 0;
} catch (const std::exception &error) {
    std::cerr << "tkgen-sim: " << error.what() << '\n';
    return exitFailed;
}
