#ifndef TKGEN_TESTS_PTY_H
#define TKGEN_TESTS_PTY_H

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>

/// A serial line of which the test holds the far end: a pseudo terminal whose slave the code under
/// test opens by its path. The line starts as the system makes it, with echo and translation, until
/// the slave is opened raw. One thread at a time; every wait has a limit.
class PtyPair {
  public:
    static constexpr std::chrono::milliseconds patience{5000};

    PtyPair() : m_nMaster(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        char path[64];
        if (m_nMaster < 0 || ::grantpt(m_nMaster) != 0 || ::unlockpt(m_nMaster) != 0 ||
            ::ptsname_r(m_nMaster, path, sizeof path) != 0) {
            const int error = errno;
            close();
            throw std::system_error(error, std::generic_category(), "no pseudo terminal");
        }
        m_SlavePath = path;
    }
    ~PtyPair() { close(); }
    PtyPair(const PtyPair &) = delete;
    PtyPair &operator=(const PtyPair &) = delete;

    const std::string &slavePath() const { return m_SlavePath; }
    int masterFd() const { return m_nMaster; }

    /// The far end vanishes, as an adapter that is pulled: the slave's next operations fail.
    void close() {
        if (m_nMaster >= 0) {
            ::close(m_nMaster);
        }
        m_nMaster = -1;
    }

    /// Sends all bytes to the slave; false when it doesn't take them within the limit.
    bool write(std::string_view bytes, std::chrono::milliseconds limit = patience) {
        const auto deadline = Clock::now() + limit;
        while (!bytes.empty()) {
            const ssize_t count = ::write(m_nMaster, bytes.data(), bytes.size());
            if (count > 0) {
                bytes.remove_prefix(static_cast<std::size_t>(count));
            } else if (!mayRetry(count) || !await(POLLOUT, deadline)) {
                return false;
            }
        }
        return true;
    }

    /// Receives exactly `size` bytes; fewer when they don't come within the limit, or when the
    /// slave was closed and nobody is left who could send them.
    std::string read(std::size_t size, std::chrono::milliseconds limit = patience) {
        const auto deadline = Clock::now() + limit;
        std::string bytes(size, '\0');
        std::size_t filled = 0;
        while (filled < size) {
            const ssize_t count = ::read(m_nMaster, &bytes[filled], size - filled);
            if (count > 0) {
                filled += static_cast<std::size_t>(count);
            } else if (!mayRetry(count) || !await(POLLIN, deadline)) {
                break;
            }
        }
        bytes.resize(filled);
        return bytes;
    }

  private:
    using Clock = std::chrono::steady_clock;

    static bool mayRetry(ssize_t result) {
        return result < 0 && (errno == EAGAIN || errno == EINTR);
    }

    /// False once the deadline has passed.
    bool await(short events, Clock::time_point deadline) const {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            return false;
        }
        struct pollfd line = {m_nMaster, events, 0};
        ::poll(&line, 1, static_cast<int>(left));
        return true;
    }

    int m_nMaster;
    std::string m_SlavePath;
};

#endif
