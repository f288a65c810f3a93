#ifndef RELAY_PEER_H
#define RELAY_PEER_H

#include "child.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <random>
#include <thread>

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::string_view MARKER{"SYNC\xFF\n}\x04"};

/// What is sent: random bytes in messages of 16, over and over, any of them known by its place.
/// None holds the marker of a command, and none ends in a byte of it: that would wait in the relay
/// for what comes next, and spoil a command behind it.
class Payload {
  public:
    static constexpr std::size_t MESSAGE = 16;
    static constexpr std::size_t BLOCK = std::size_t{64} << 10U;

    Payload() : m_Bytes(std::size_t{1} << 20U, '\0') {
        std::minstd_rand random(1);
        for (std::size_t place = 0; place < m_Bytes.size(); ++place) {
            do {
                m_Bytes[place] = static_cast<char>(random() >> 8U);
            } while (place % MESSAGE == MESSAGE - 1 &&
                     MARKER.find(m_Bytes[place]) != std::string_view::npos);
        }
        if (m_Bytes.find(MARKER) != std::string::npos) {
            throw std::logic_error("the payload holds the marker");
        }
    }

    std::string_view message(std::size_t number) const { return at(number * MESSAGE, MESSAGE); }

    /// The bytes at a place of the stream: `most` of them, or those up to where it begins anew.
    std::string_view at(std::size_t place, std::size_t most) const {
        return std::string_view(m_Bytes).substr(place % m_Bytes.size(), most);
    }

  private:
    std::string m_Bytes;
};

/// One end of a TCP connection on the loopback. One that speaks the relay's protocol says HELLO
/// every 2 s, as long as it sends and receives or is called to. Every wait has a limit; what fails
/// throws, and so does a byte that isn't the expected one. One thread at a time.
class Peer {
  public:
    enum class Kind { plain, relay };

    explicit Peer(int socket, Kind kind = Kind::plain) : m_nSocket(socket), m_Kind(kind) {
        const int on = 1;
        ::setsockopt(m_nSocket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        limitWaits(m_nSocket, 5);
    }
    ~Peer() {
        if (m_nSocket >= 0) {
            ::close(m_nSocket);
        }
    }
    Peer(Peer &&other) noexcept
        : m_nSocket(std::exchange(other.m_nSocket, -1)), m_Kind(other.m_Kind),
          m_LastHello(other.m_LastHello) {}
    Peer &operator=(Peer &&) = delete;

    static sockaddr_in loopback(unsigned short port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    /// Connects, as soon as somebody listens.
    static Peer connect(unsigned short port, Kind kind = Kind::plain) {
        const sockaddr_in address = loopback(port);
        const auto *const place = reinterpret_cast<const sockaddr *>(&address);
        for (const Clock::time_point start = Clock::now();;) {
            Peer peer(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), kind);
            if (::connect(peer.m_nSocket, place, sizeof address) == 0) {
                return peer;
            }
            if (errno != ECONNREFUSED || Clock::now() - start > std::chrono::seconds(5)) {
                throwSystemError("no connection");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    void send(std::string_view bytes) {
        keepAlive();
        transmit(bytes);
    }

    /// What has arrived, at least a byte.
    std::size_t receive(char *bytes, std::size_t most) {
        keepAlive();
        const ssize_t count = ::recv(m_nSocket, bytes, most, 0);
        if (count == 0) {
            throw std::runtime_error("a connection ended");
        }
        if (count < 0) {
            throwSystemError("bytes are missing");
        }
        return static_cast<std::size_t>(count);
    }

    /// Receives these bytes, or throws.
    void expect(std::string_view bytes) {
        char buffer[Payload::BLOCK];
        while (!bytes.empty()) {
            const std::size_t count = receive(buffer, std::min(bytes.size(), sizeof buffer));
            if (std::memcmp(buffer, bytes.data(), count) != 0) {
                throw std::runtime_error("other bytes came than were sent");
            }
            bytes.remove_prefix(count);
        }
    }

    void expectNothing() {
        char byte = 0;
        if (::recv(m_nSocket, &byte, 1, MSG_DONTWAIT) >= 0 || errno != EAGAIN) {
            throw std::runtime_error("more came than was sent, or an end");
        }
    }

    void command(const std::string &text) { transmit(frame(text)); }
    void expectCommand(const std::string &text) { expect(frame(text)); }

    void hello() {
        m_LastHello = Clock::now();
        command("HELLO");
    }

    void keepAlive() {
        if (m_Kind == Kind::relay && Clock::now() - m_LastHello >= HELLO_PERIOD) {
            hello();
        }
    }

    static constexpr std::chrono::seconds HELLO_PERIOD{2};

  private:
    static std::string frame(const std::string &text) {
        return std::string(MARKER) + text + '\x03';
    }

    void transmit(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = ::send(m_nSocket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0) {
                throwSystemError("a connection takes nothing");
            }
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    int m_nSocket;
    Kind m_Kind;
    Clock::time_point m_LastHello = Clock::now();
};

/// Two ends that are joined, directly or by what stands between them.
struct Pair {
    Peer near;
    Peer far;
};

/// A control and a client that the relay has joined. An address alone says which client is meant,
/// the newest; so pairs of one machine are made one after another.
inline Pair makeRelayPair(unsigned short port) {
    Peer client = Peer::connect(port, Peer::Kind::relay);
    client.command("ZOR_CLIENT");
    client.expectCommand("ZOR_SERVER");
    Peer control = Peer::connect(port, Peer::Kind::relay);
    control.command("ZOR_CONTROL");
    control.expectCommand("ZOR_SERVER");
    control.command("CONNECT->127.0.0.1");
    client.expectCommand("CONNECT<-127.0.0.1");
    control.expectCommand("ESTABLISHED");
    return {std::move(control), std::move(client)};
}

#endif
