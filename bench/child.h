#ifndef CHILD_H
#define CHILD_H

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

[[noreturn]] inline void throwSystemError(const std::string &what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// How long a blocking call on a socket may take.
inline void limitWaits(int socket, long seconds) {
    const timeval limit{seconds, 0};
    if (::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0 ||
        ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0) {
        throwSystemError("no limit for a socket");
    }
}

/// A process that runs `body` and ends with its result, with a channel between it and its maker:
/// what it says there, and the end of the channel, by which it is told to finish. The destructor
/// kills one that still runs. Make it while the program has one thread.
class Child {
  public:
    template <class Body>
    explicit Child(std::string name, Body body) : m_Name(std::move(name)) {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throwSystemError("no channel");
        }
        std::fflush(nullptr); // what waits to be printed isn't the child's too
        m_nPid = ::fork();
        if (m_nPid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            runAndExit(body, ends[1]);
        }
        ::close(ends[1]);
        m_nChannel = ends[0];
        if (m_nPid < 0) {
            throwSystemError("no process");
        }
        limitWaits(m_nChannel, CHANNEL_LIMIT);
    }
    ~Child() {
        if (m_nPid > 0) {
            ::kill(m_nPid, SIGKILL);
            ::waitpid(m_nPid, nullptr, 0);
        }
        ::close(m_nChannel);
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    /// A line that it says. Throws when it ends instead, or says nothing.
    std::string line() {
        std::string text;
        for (char byte = 0; ::recv(m_nChannel, &byte, 1, 0) == 1; text += byte) {
            if (byte == '\n') {
                return text;
            }
        }
        throw std::runtime_error(m_Name + " isn't ready");
    }

    /// Tells it to finish, and throws unless it does so, with 0.
    void finish() {
        char byte = 0;
        ::shutdown(m_nChannel, SHUT_WR);
        if (::recv(m_nChannel, &byte, 1, 0) != 0) {
            throw std::runtime_error(m_Name + " doesn't end");
        }
        int status = 0;
        ::waitpid(std::exchange(m_nPid, 0), &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            throw std::runtime_error(m_Name + " failed");
        }
    }

    /// Seconds that its threads have used up to now.
    double processorSeconds() const {
        clockid_t clock{};
        timespec used{};
        if (::clock_getcpuclockid(m_nPid, &clock) != 0 || ::clock_gettime(clock, &used) != 0) {
            throw std::runtime_error(m_Name + " has ended");
        }
        return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
    }

    double residentKiB() const {
        std::ifstream status("/proc/" + std::to_string(m_nPid) + "/status");
        constexpr std::string_view field = "VmRSS:";
        for (std::string line; std::getline(status, line);) {
            if (line.compare(0, field.size(), field) == 0) {
                return std::stod(line.substr(field.size()));
            }
        }
        throw std::runtime_error(m_Name + " has ended");
    }

  private:
    static constexpr long CHANNEL_LIMIT = 20; // s

    /// An exception must not leave here: this process has no right to end the maker's others.
    template <class Body>
    [[noreturn]] void runAndExit(Body body, int channel) {
        try {
            ::_exit(body(channel));
        } catch (const std::exception &error) {
            std::fprintf(stderr, "%s: %s\n", m_Name.c_str(), error.what());
            ::_exit(1);
        }
    }

    const std::string m_Name;
    int m_nChannel = -1;
    pid_t m_nPid = 0;
};

#endif
