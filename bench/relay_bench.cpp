// Bytes between two peers by way of the relay server, beside a plain connection and one by way of
// `socat`. Server and `socat` are processes of their own; everything is on the loopback. The peers
// speak the relay's protocol by themselves, and compare every byte that comes with what was sent.
//
//   plain        the two ends of one connection
//   socat        the same with `socat` between them
//   relay        a control and a client, paired by the server
//   relay + n    the same, with n further pairs held, which say HELLO every 2 s and nothing else
//
// The first three take turns, so that whatever else runs here meets them alike; a turn is round
// trips of a 16-byte message, then blocks of 64 KiB one way. The content is random. `cpu s/GB` is
// processor time of the server or of `socat` for what went one way. `idle` is that of a server with
// pairs held and nothing else to do, in percent of one core, and `KiB` its resident memory a held
// connection, against what it had before.
//
// Look at: the figures at the end, against those to reach.
//
// relay_bench [scale] runs for about 60 s, times the scale. It ends with 1 when `socat` is missing,
// when a byte is lost, changed or too much, or when the server failed or let go of a pair; a figure
// that isn't reached is printed as such.

#include "relay_peer.h"
#include "tkserverimp.h"

#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace {

const Payload payload;

// --- What stands between the peers ---------------------------------------------------------------

/// The server's process: says its port, serves to the end of its input, and gives the exit code.
int serve() {
    TkServerImp server;
    if (!server.run(0)) {
        return 1;
    }
    std::printf("%u\n", static_cast<unsigned int>(server.port()));
    std::fflush(stdout);
    for (char byte = 0; ::read(STDIN_FILENO, &byte, 1) > 0;) {
    }
    const bool failed = server.hasFailed();
    server.shutdown();
    return failed ? 1 : 0;
}

/// Runs the server in this program started anew: its memory isn't that of what measured before.
int becomeServer(int channel) {
    if (::dup2(channel, STDIN_FILENO) >= 0 && ::dup2(channel, STDOUT_FILENO) >= 0) {
        ::execl("/proc/self/exe", "relay_bench", "--serve", nullptr);
    }
    return 127;
}

int becomeSocat(const std::string &from, const std::string &to) {
    const int nowhere = ::open("/dev/null", O_RDWR);
    if (nowhere >= 0 && ::dup2(nowhere, STDIN_FILENO) >= 0 && ::dup2(nowhere, STDOUT_FILENO) >= 0) {
        ::execlp("socat", "socat", from.c_str(), to.empty() ? nullptr : to.c_str(), nullptr);
    }
    return 127;
}

class Listener {
  public:
    Listener() : m_nSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = Peer::loopback(0);
        auto *const place = reinterpret_cast<sockaddr *>(&address);
        socklen_t size = sizeof address;
        if (::bind(m_nSocket, place, size) != 0 || ::listen(m_nSocket, 1) != 0 ||
            ::getsockname(m_nSocket, place, &size) != 0) {
            throwSystemError("no port");
        }
        limitWaits(m_nSocket, 5);
        m_nPort = ntohs(address.sin_port);
    }
    ~Listener() { ::close(m_nSocket); }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    unsigned short port() const { return m_nPort; }
    Peer accept() { return Peer(::accept4(m_nSocket, nullptr, nullptr, SOCK_CLOEXEC)); }

  private:
    const int m_nSocket;
    unsigned short m_nPort = 0;
};

std::string address(const char *kind, unsigned short port) {
    return kind + std::to_string(port) + ",nodelay";
}

// --- Pairs that are held -------------------------------------------------------------------------

/// Waits, and returns whether it is told to finish.
bool toldToFinish(int channel, Clock::time_point until) {
    using Nanoseconds = std::chrono::nanoseconds;
    constexpr long second = 1000000000;
    const auto left = std::max(Nanoseconds(until - Clock::now()), Nanoseconds(0)).count();
    const timespec limit{left / second, left % second};
    pollfd told{channel, POLLIN, 0};
    return ::ppoll(&told, 1, &limit, nullptr) > 0;
}

/// The process of the held pairs. At the end each shows that it still stands, and is nobody else's.
int hold(int channel, unsigned short port, std::size_t count) {
    std::vector<Pair> pairs;
    while (pairs.size() < count) {
        pairs.push_back(makeRelayPair(port));
        for (Pair &pair : pairs) {
            pair.near.keepAlive();
            pair.far.keepAlive();
        }
    }
    if (::write(channel, "\n", 1) != 1) {
        return 1;
    }
    const Clock::duration step = Clock::duration(Peer::HELLO_PERIOD) / (2 * count);
    Clock::time_point next = Clock::now();
    for (std::size_t turn = 0; !toldToFinish(channel, next); ++turn, next += step) {
        Pair &pair = pairs[turn / 2 % count];
        (turn % 2 == 0 ? pair.near : pair.far).hello();
    }
    for (std::size_t number = 0; number < count; ++number) {
        pairs[number].near.send(payload.message(number));
        pairs[number].far.send(payload.message(number + count));
    }
    for (std::size_t number = 0; number < count; ++number) {
        pairs[number].far.expect(payload.message(number));
        pairs[number].near.expect(payload.message(number + count));
    }
    return 0;
}

// --- Measuring -----------------------------------------------------------------------------------

/// Two joined ends, what is between them, and what has been measured.
class Path {
  public:
    Path(std::string name, Pair ends, const Child *forwarder)
        : m_Name(std::move(name)), m_Ends(std::move(ends)), m_pForwarder(forwarder) {}

    void keepAlive() {
        m_Ends.near.keepAlive();
        m_Ends.far.keepAlive();
    }

    /// Finds out how much makes a turn of this length.
    void warmUp(Seconds length) {
        constexpr double trips = 200;
        constexpr double blocks = 64;
        roundTrips(static_cast<std::size_t>(trips));
        const double tripTime = percentile(50) / 1e6;
        const double blockTime = transfer(static_cast<std::size_t>(blocks)).count() / blocks;
        m_nTrips = static_cast<std::size_t>(length.count() / tripTime) + 1;
        m_nBlocks = static_cast<std::size_t>(length.count() / blockTime) + 1;
        m_Trips.clear();
        m_dBytes = 0;
        m_Passed = Seconds(0);
        m_dProcessor = 0;
    }

    void turn() {
        roundTrips(m_nTrips);
        transfer(m_nBlocks);
        m_Ends.near.expectNothing();
        m_Ends.far.expectNothing();
    }

    double percentile(unsigned int percent) const {
        std::vector<double> trips = m_Trips;
        const std::size_t place = trips.size() * percent / 100;
        std::nth_element(trips.begin(), trips.begin() + static_cast<std::ptrdiff_t>(place),
                         trips.end());
        return trips[place];
    }
    double rate() const { return m_dBytes / m_Passed.count(); }

    void print() const {
        std::printf("%-12s %9zu %9.1f %9.1f %9.1f", m_Name.c_str(), m_Trips.size(), percentile(50),
                    percentile(99), rate() / 1e6);
        if (m_pForwarder) {
            std::printf(" %9.2f", m_dProcessor / m_dBytes * 1e9);
        }
        std::printf("\n");
        std::fflush(stdout);
    }

  private:
    template <class Near, class Far>
    void atBothEnds(Near near, Far far);
    void roundTrips(std::size_t count);
    Seconds transfer(std::size_t blocks);

    const std::string m_Name;
    Pair m_Ends;
    const Child *const m_pForwarder; // null when nothing is between them
    std::size_t m_nTrips = 0;        // a turn
    std::size_t m_nBlocks = 0;       // a turn
    std::vector<double> m_Trips;     // us
    double m_dBytes = 0;             // one way
    Seconds m_Passed{0};             // for these
    double m_dProcessor = 0;         // s, of the forwarder for these
};

/// One end's failure makes the other one wait in vain, so that both are told.
template <class Near, class Far>
void Path::atBothEnds(Near near, Far far) {
    const auto outcome = [](auto work) {
        try {
            work();
            return std::string();
        } catch (const std::exception &error) {
            return std::string(error.what());
        }
    };
    std::future<std::string> farOutcome = std::async(std::launch::async, outcome, far);
    const std::string nearOutcome = outcome(near);
    const std::string other = farOutcome.get();
    if (!nearOutcome.empty() || !other.empty()) {
        throw std::runtime_error(
            m_Name + ": at the near end: " + (nearOutcome.empty() ? "done" : nearOutcome) +
            "; at the far end: " + (other.empty() ? "done" : other));
    }
}

void Path::roundTrips(std::size_t count) {
    const auto answer = [&] {
        for (std::size_t number = 0; number < count; ++number) {
            m_Ends.far.expect(payload.message(number));
            m_Ends.far.send(payload.message(number));
        }
    };
    const auto ask = [&] {
        for (std::size_t number = 0; number < count; ++number) {
            const Clock::time_point start = Clock::now();
            m_Ends.near.send(payload.message(number));
            m_Ends.near.expect(payload.message(number));
            m_Trips.push_back(Seconds(Clock::now() - start).count() * 1e6);
        }
    };
    atBothEnds(ask, answer);
}

Seconds Path::transfer(std::size_t blocks) {
    const auto block = [](std::size_t number) {
        return payload.at(number * Payload::BLOCK, Payload::BLOCK);
    };
    const auto take = [&] {
        for (std::size_t number = 0; number < blocks; ++number) {
            m_Ends.far.expect(block(number));
        }
    };
    const auto give = [&] {
        for (std::size_t number = 0; number < blocks; ++number) {
            m_Ends.near.send(block(number));
        }
    };
    const double used = m_pForwarder ? m_pForwarder->processorSeconds() : 0;
    const Clock::time_point start = Clock::now();
    atBothEnds(give, take);
    const Seconds passed = Clock::now() - start;
    m_dProcessor += m_pForwarder ? m_pForwarder->processorSeconds() - used : 0;
    m_dBytes += static_cast<double>(blocks * Payload::BLOCK);
    m_Passed += passed;
    return passed;
}

/// The paths take turns.
void measure(const std::vector<Path *> &paths, double scale) {
    constexpr int turns = 4;
    for (int turn = -1; turn < turns; ++turn) {
        for (Path *const path : paths) {
            for (Path *const each : paths) {
                each->keepAlive();
            }
            if (turn < 0) {
                path->warmUp(Seconds(0.5 * scale));
            } else {
                path->turn();
            }
        }
    }
    for (const Path *const path : paths) {
        path->print();
    }
}

struct Figures {
    double tripRatio = 0;
    double rateRatio = 0;
    double p99 = 0;    // us
    double idle = 0;   // percent of a core
    double memory = 0; // KiB a connection
};

unsigned short portOf(Child &server) {
    return static_cast<unsigned short>(std::stoul(server.line()));
}

void measureSideBySide(double scale, Figures &figures) {
    Listener target;
    Path plain("plain", {Peer::connect(target.port()), target.accept()}, nullptr);

    const unsigned short port = Listener().port();
    Child socat("socat", [&](int) {
        return becomeSocat(address("TCP-LISTEN:", port), address("TCP:127.0.0.1:", target.port()));
    });
    Path forwarded("socat", {Peer::connect(port), target.accept()}, &socat);

    Child server("server", becomeServer);
    Path relayed("relay", makeRelayPair(portOf(server)), &server);

    measure({&plain, &forwarded, &relayed}, scale);
    server.finish();
    figures.tripRatio = relayed.percentile(50) / forwarded.percentile(50);
    figures.rateRatio = relayed.rate() / forwarded.rate();
}

/// Returns the p99 of a further pair.
double measureHeld(std::size_t pairs, double scale, double &idle, double &memory) {
    Child server("server", becomeServer);
    const unsigned short port = portOf(server);
    const double before = server.residentKiB();
    Child holder("holder", [=](int channel) { return hold(channel, port, pairs); });
    holder.line();

    const double used = server.processorSeconds();
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(Seconds(5 * scale));
    idle = 100 * (server.processorSeconds() - used) / Seconds(Clock::now() - start).count();
    memory = (server.residentKiB() - before) / static_cast<double>(2 * pairs);

    Path relayed("relay + " + std::to_string(pairs), makeRelayPair(port), &server);
    measure({&relayed}, scale);
    std::printf("%20zu connections held: idle %.2f %%, %.1f KiB each\n", 2 * pairs, idle, memory);
    holder.finish();
    server.finish();
    return relayed.percentile(99);
}

void printTarget(const char *name, double figure, bool reached, const char *target) {
    std::printf("%-46s %9.2f   to reach: %-12s %s\n", name, figure, target,
                reached ? "reached" : "MISSED");
}

void measureAll(double scale) {
    double load[3] = {};
    ::getloadavg(load, 3);
    std::printf("load average %.2f %.2f %.2f\n\n", load[0], load[1], load[2]);
    std::printf("%-12s %9s %9s %9s %9s %9s\n", "", "trips", "p50 us", "p99 us", "MB/s", "cpu s/GB");

    Figures figures;
    double idle = 0;
    double memory = 0;
    measureSideBySide(scale, figures);
    measureHeld(100, scale, idle, memory);
    measureHeld(500, scale, figures.idle, figures.memory);
    figures.p99 = measureHeld(1000, scale, idle, memory);

    std::printf("\n");
    printTarget("round trip p50, relay to socat", figures.tripRatio, figures.tripRatio <= 2,
                "<= 2");
    printTarget("throughput, relay to socat", figures.rateRatio, figures.rateRatio >= 0.5,
                ">= 0.5");
    printTarget("p99 with 1000 idle pairs, ms", figures.p99 / 1e3, figures.p99 < 5e3, "< 5");
    printTarget("idle with 1000 connections, % of a core", figures.idle, figures.idle < 5, "< 5");
    printTarget("memory a connection, KiB", figures.memory, figures.memory < 16, "< 16");
}

void requireSocat() {
    Child probe("socat", [](int) { return becomeSocat("-V", ""); });
    try {
        probe.finish();
    } catch (const std::runtime_error &) {
        throw std::runtime_error("socat is missing: install the package of that name");
    }
}

/// Server and holder have 2000 connections each.
void raiseDescriptorLimit() {
    constexpr rlim_t needed = 2100;
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, needed));
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur < needed) {
        throw std::runtime_error("a process may not have 2100 descriptors here");
    }
}

} // namespace

int main(int count, char **arguments) {
    if (count == 2 && std::string_view(arguments[1]) == "--serve") {
        return serve();
    }
    const double scale = count > 1 ? std::atof(arguments[1]) : 1;
    if (count > 2 || scale <= 0) {
        std::fprintf(stderr, "usage: relay_bench [scale]\n");
        return 2;
    }
    try {
        ::alarm(static_cast<unsigned int>(180 * std::max(scale, 1.0))); // nothing waits without end
        requireSocat();
        raiseDescriptorLimit();
        measureAll(scale);
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "relay_bench: %s\n", error.what());
        return 1;
    }
}
