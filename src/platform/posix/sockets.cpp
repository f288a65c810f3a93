#include "platform/platform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tkplatform {
namespace {

int descriptor(SocketHandle socket) {
    return static_cast<int>(socket);
}

SocketHandle handle(int descriptor) {
    return static_cast<SocketHandle>(descriptor); // -1 becomes NO_SOCKET
}

bool wouldBlock(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

/// A short message goes out at once, though an earlier one hasn't been acknowledged.
void sendWithoutDelay(int socket) {
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on); // there are others than TCP
}

sockaddr_in nameOf(std::uint32_t address, unsigned short port) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = address;
    name.sin_port = htons(port);
    return name;
}

using NameOf = int (*)(int, sockaddr *, socklen_t *);

sockaddr_in ask(NameOf call, SocketHandle socket) {
    sockaddr_in name{};
    socklen_t size = sizeof name;
    const bool known = call(descriptor(socket), reinterpret_cast<sockaddr *>(&name), &size) == 0;
    return known && name.sin_family == AF_INET ? name : sockaddr_in{};
}

/// A signal doesn't end the wait.
bool isReady(SocketHandle socket, short what, long limit) {
    const unsigned long start = systemTick();
    pollfd watched = {descriptor(socket), what, 0};
    long left = limit;
    int count = -1;
    while ((count = ::poll(&watched, 1, static_cast<int>(left))) < 0 && errno == EINTR) {
        left = std::max(limit - static_cast<long>(systemTick() - start), 0L);
    }
    return count == 1 && (watched.revents & POLLNVAL) == 0;
}

std::size_t countOf(SocketHandle socket, unsigned long what) {
    int count = 0;
    return ::ioctl(descriptor(socket), what, &count) == 0 && count > 0
               ? static_cast<std::size_t>(count)
               : 0;
}

/// How the network tells of a peer that has gone.
bool isGone(int error) {
    return error == ECONNRESET || error == ETIMEDOUT || error == EPIPE || error == ENOTCONN ||
           error == EHOSTUNREACH || error == ENETUNREACH || error == ENETDOWN ||
           error == ECONNREFUSED;
}

/// While one lives, calls on the socket return at once.
class NonBlocking {
  public:
    explicit NonBlocking(int socket) : m_Socket(socket), m_Flags(::fcntl(socket, F_GETFL)) {
        ::fcntl(m_Socket, F_SETFL, m_Flags | O_NONBLOCK);
    }
    ~NonBlocking() { ::fcntl(m_Socket, F_SETFL, m_Flags); }
    NonBlocking(const NonBlocking &) = delete;
    NonBlocking &operator=(const NonBlocking &) = delete;

  private:
    const int m_Socket;
    const int m_Flags;
};

} // namespace

SocketHandle createSocket(int domain, int type, int protocol) {
    const int socket = ::socket(domain, type | SOCK_CLOEXEC, protocol);
    if (socket >= 0) {
        sendWithoutDelay(socket);
    }
    return handle(socket);
}

bool connectSocket(SocketHandle socket, std::uint32_t address, unsigned short port, long limit) {
    const NonBlocking meanwhile(descriptor(socket));
    const sockaddr_in name = nameOf(address, port);
    if (::connect(descriptor(socket), reinterpret_cast<const sockaddr *>(&name), sizeof name) ==
        0) {
        return true;
    }
    if ((errno != EINPROGRESS && errno != EINTR) || !isReady(socket, POLLOUT, limit)) {
        return false;
    }
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(descriptor(socket), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

bool bindSocket(SocketHandle socket, std::uint32_t address, unsigned short port) {
    const int on = 1;
    const sockaddr_in name = nameOf(address, port);
    return ::setsockopt(descriptor(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
           ::bind(descriptor(socket), reinterpret_cast<const sockaddr *>(&name), sizeof name) == 0;
}

bool listenSocket(SocketHandle socket, int backlog) {
    return ::listen(descriptor(socket), backlog) == 0;
}

SocketHandle acceptSocket(SocketHandle socket, bool *failed) {
    *failed = false;
    if (!isReady(socket, POLLIN, 0)) {
        return NO_SOCKET;
    }
    const NonBlocking meanwhile(descriptor(socket)); // who waited may have gone by now
    const int accepted = ::accept4(descriptor(socket), nullptr, nullptr, SOCK_CLOEXEC);
    if (accepted >= 0) {
        sendWithoutDelay(accepted);
        return handle(accepted);
    }
    const bool passes = wouldBlock(errno) || isGone(errno) || errno == ECONNABORTED ||
                        errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM ||
                        errno == EPROTO || errno == EPERM;
    *failed = !passes;
    return NO_SOCKET;
}

bool closeSocket(SocketHandle socket) {
    return ::close(descriptor(socket)) == 0 || errno == EINTR; // the descriptor is gone even then
}

int sendSocket(SocketHandle socket, const char *bytes, std::size_t size) {
    const ssize_t count = ::send(descriptor(socket), bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) {
        return static_cast<int>(count);
    }
    if (wouldBlock(errno) || errno == ENOBUFS) {
        return 0;
    }
    return isGone(errno) ? SOCKET_ENDED : -1;
}

int receiveSocket(SocketHandle socket, char *bytes, std::size_t size) {
    const ssize_t count = ::recv(descriptor(socket), bytes, size, MSG_DONTWAIT);
    if (count > 0) {
        return static_cast<int>(count);
    }
    if (count == 0 || isGone(errno)) {
        return SOCKET_ENDED;
    }
    return wouldBlock(errno) ? 0 : -1;
}

std::size_t pendingBytes(SocketHandle socket) {
    return countOf(socket, FIONREAD);
}

std::size_t untakenBytes(SocketHandle socket) {
    return countOf(socket, TIOCOUTQ);
}

bool isReadable(SocketHandle socket, long limit) {
    return isReady(socket, POLLIN, limit);
}

bool isWritable(SocketHandle socket, long limit) {
    return isReady(socket, POLLOUT, limit);
}

std::uint32_t peerAddress(SocketHandle socket) {
    return ask(::getpeername, socket).sin_addr.s_addr;
}

std::uint32_t ownAddress(SocketHandle socket) {
    return ask(::getsockname, socket).sin_addr.s_addr;
}

unsigned short ownPort(SocketHandle socket) {
    return ntohs(ask(::getsockname, socket).sin_port);
}

void peerName(SocketHandle socket, sockaddr *name) {
    const sockaddr_in found = ask(::getpeername, socket);
    std::memcpy(name, &found, sizeof found);
}

std::string addressText(std::uint32_t address) {
    const in_addr given{address};
    std::array<char, INET_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET, &given, text.data(), text.size());
    return text.data();
}

bool addressFrom(const char *text, std::uint32_t *address) {
    in_addr found{};
    if (!text || ::inet_pton(AF_INET, text, &found) != 1) {
        return false;
    }
    *address = found.s_addr;
    return true;
}

std::uint32_t hostAddress() {
    std::array<char, 80> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0) {
        return 0;
    }
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (::getaddrinfo(name.data(), nullptr, &wanted, &found) != 0 || !found) {
        return 0;
    }
    sockaddr_in address{};
    std::memcpy(&address, found->ai_addr, std::min<std::size_t>(found->ai_addrlen, sizeof address));
    ::freeaddrinfo(found);
    return address.sin_addr.s_addr;
}

} // namespace tkplatform
