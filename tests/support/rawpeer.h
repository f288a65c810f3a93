#ifndef TKGEN_TESTS_RAWPEER_H
#define TKGEN_TESTS_RAWPEER_H

#include <string>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

/// The far end of a relay's connection, with bytes of its own. A wait takes ten seconds at most.
class RawPeer {
  public:
    /// Connects to a local port, from 127.0.0.`number`, with `room` for bytes that nobody has read.
    RawPeer(unsigned short port, int number, int room = 0)
        : m_Socket(::socket(AF_INET, SOCK_STREAM, 0)) {
        const int on = 1;
        if (room > 0) {
            ::setsockopt(m_Socket, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
        }
        ::setsockopt(m_Socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        setLimit(SO_RCVTIMEO, 10, 0);
        setLimit(SO_SNDTIMEO, 10, 0);
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + static_cast<unsigned>(number));
        ::bind(m_Socket, reinterpret_cast<sockaddr *>(&name), sizeof name);
        name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        name.sin_port = htons(port);
        ::connect(m_Socket, reinterpret_cast<sockaddr *>(&name), sizeof name);
    }
    ~RawPeer() { ::close(m_Socket); }
    RawPeer(RawPeer &&other) noexcept : m_Socket(std::exchange(other.m_Socket, -1)) {}

    static std::string framed(const std::string &command) {
        return "SYNC\xFF\x0A\x7D\x04" + command + "\x03";
    }
    void send(const std::string &bytes) {
        ::send(m_Socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    void say(const std::string &command) { send(framed(command)); }

    /// So many bytes; fewer at the end of the stream and after ten seconds.
    std::string bytes(std::size_t count) {
        std::string all(count, 0);
        const ssize_t got = ::recv(m_Socket, all.data(), count, MSG_WAITALL);
        return all.substr(0, got < 0 ? 0 : static_cast<std::size_t>(got));
    }

    /// The next command; what comes instead stands as it is.
    std::string hears() {
        std::string all;
        while (all.empty() || all.back() != '\x03') {
            const std::string byte = bytes(1);
            if (byte.empty()) {
                return all + "(end)";
            }
            all += byte;
        }
        return all.substr(0, 8) == framed("").substr(0, 8) ? all.substr(8, all.size() - 9) : all;
    }
    std::string asks(const std::string &command) {
        say(command);
        return hears();
    }

    /// Sends to a far end that doesn't pass it on, until nothing goes any more.
    void flood() {
        setLimit(SO_SNDTIMEO, 0, 200000);
        const int little = 4096; // is on its way when nothing goes any more
        ::setsockopt(m_Socket, SOL_SOCKET, SO_SNDBUF, &little, sizeof little);
        const std::string block(65536, 'x');
        for (ssize_t count = 1; count > 0;) {
            count = ::send(m_Socket, block.data(), block.size(), MSG_NOSIGNAL);
            m_nFlooded += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
    }
    std::size_t flooded() const { return m_nFlooded; } ///< bytes

    void finish() { ::shutdown(m_Socket, SHUT_WR); } ///< says no more

    /// Closes without good order.
    void reset() {
        const linger hard{1, 0};
        ::setsockopt(m_Socket, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        ::close(std::exchange(m_Socket, -1));
    }

  private:
    void setLimit(int which, time_t seconds, suseconds_t microseconds) {
        const timeval limit{seconds, microseconds};
        ::setsockopt(m_Socket, SOL_SOCKET, which, &limit, sizeof limit);
    }

    int m_Socket;
    std::size_t m_nFlooded = 0;
};

#endif
