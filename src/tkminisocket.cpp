#include "tkminisocket.h"

#include "platform/platform.h"

#include <string>

namespace {

constexpr int ALIVE_RETRIES = 2;
constexpr int MOST_REFUSALS = 10;
constexpr long LOOK_PERIOD = 100; // ms; a wait looks so often whether there still is a socket

} // namespace

TkMiniSocket::TkMiniSocket() : m_AliveTimer(ALIVE_PERIOD) {}

TkMiniSocket::TkMiniSocket(unsigned int socket)
    : m_AliveTimer(ALIVE_PERIOD), m_nSocket(socket), m_nAddress(tkplatform::peerAddress(socket)) {}

TkMiniSocket::~TkMiniSocket() {
    close();
}

// --- Setting up ----------------------------------------------------------------------------------

bool TkMiniSocket::create(int domain, int type, int protocol) {
    const TkLock lock(m_Mutex);
    close();
    m_nSocket = tkplatform::createSocket(domain, type, protocol);
    return m_nSocket != INVALID;
}

bool TkMiniSocket::connect(char const *address, unsigned short port) {
    const TkLock lock(m_Mutex);
    std::uint32_t peer = 0;
    if (m_nSocket == INVALID || !tkplatform::addressFrom(address, &peer)) {
        return false;
    }
    const auto limit = static_cast<long>(timeoutPeriod());
    if (!tkplatform::connectSocket(m_nSocket, peer, port, limit)) {
        return false;
    }
    m_nAddress = peer;
    return true;
}

bool TkMiniSocket::bind(char const *address, unsigned short port) {
    const TkLock lock(m_Mutex);
    std::uint32_t own = 0; // all of them
    if (m_nSocket == INVALID || (address && !tkplatform::addressFrom(address, &own)) ||
        !tkplatform::bindSocket(m_nSocket, own, port)) {
        return false;
    }
    m_nAddress = tkplatform::ownAddress(m_nSocket);
    return true;
}

bool TkMiniSocket::listen(int backlog) {
    const TkLock lock(m_Mutex);
    return m_nSocket != INVALID && tkplatform::listenSocket(m_nSocket, backlog);
}

/// The wait holds no lock, so that others can close the socket meanwhile.
bool TkMiniSocket::accept(unsigned int &socket, sockaddr *address) {
    unsigned int accepted = INVALID;
    for (int refused = 0; accepted == INVALID;) {
        {
            const TkLock lock(m_Mutex);
            bool failed = m_nSocket == INVALID;
            accepted = failed ? INVALID : tkplatform::acceptSocket(m_nSocket, &failed);
            if (failed) {
                return false;
            }
        }
        if (accepted == INVALID && tkplatform::isReadable(handle(), LOOK_PERIOD) &&
            ++refused > MOST_REFUSALS) {
            return false; // somebody waits, but descriptors are short
        }
    }
    socket = accepted;
    if (address) {
        tkplatform::peerName(accepted, address);
    }
    return true;
}

bool TkMiniSocket::close() {
    const TkLock lock(m_Mutex);
    if (m_nSocket != INVALID && !tkplatform::closeSocket(m_nSocket)) {
        return false;
    }
    m_nSocket = INVALID;
    return true;
}

void TkMiniSocket::attach(unsigned int socket) {
    const TkLock lock(m_Mutex);
    close();
    m_nSocket = socket;
}

// --- State ---------------------------------------------------------------------------------------

unsigned int TkMiniSocket::handle() {
    return m_nSocket;
}

bool TkMiniSocket::isSocketValid() {
    return handle() != INVALID;
}

bool TkMiniSocket::isDataPending() {
    const TkLock lock(m_Mutex);
    return m_nSocket != INVALID && tkplatform::pendingBytes(m_nSocket) > 0;
}

bool TkMiniSocket::isSocketBlocked() {
    const TkLock lock(m_Mutex);
    return m_nSocket != INVALID && !tkplatform::isReadable(m_nSocket, 0);
}

bool TkMiniSocket::isDataWritable() {
    const TkLock lock(m_Mutex);
    return m_nSocket != INVALID && tkplatform::isWritable(m_nSocket, 0);
}

unsigned long TkMiniSocket::ipAddress_dig() {
    const TkLock lock(m_Mutex);
    return m_nAddress;
}

char *TkMiniSocket::ipAddress_str() {
    thread_local std::string text;
    text = tkplatform::addressText(static_cast<unsigned int>(ipAddress_dig()));
    return text.data();
}

unsigned long TkMiniSocket::timeoutPeriod() {
    return 5000;
}

void TkMiniSocket::reset_timer() {
    m_nAliveRetries = 0;
    m_AliveTimer.reset();
}

bool TkMiniSocket::isSocketAlive() {
    if (!m_AliveTimer.timedOut()) {
        return true;
    }
    if (m_nAliveRetries++ >= ALIVE_RETRIES) {
        return false;
    }
    m_AliveTimer.reset();
    return true;
}

// --- Data ----------------------------------------------------------------------------------------

int TkMiniSocket::write_ch(char byte) {
    return write_str(&byte, 1);
}

int TkMiniSocket::write_str(char *bytes, unsigned int length) {
    const TkLock lock(m_Mutex);
    if (m_nSocket == INVALID) {
        return 0;
    }
    unsigned int sent = 0;
    while (sent < length) {
        const int count = tkplatform::sendSocket(m_nSocket, bytes + sent, length - sent);
        if (count < 0) {
            return 0;
        }
        sent += static_cast<unsigned int>(count);
        if (count == 0 && !tkplatform::isWritable(m_nSocket, static_cast<long>(SEND_LIMIT))) {
            return 0;
        }
    }
    return 1;
}

int TkMiniSocket::read_ch(char *byte) {
    unsigned int count = 0;
    return read_str(byte, &count);
}

/// The wait holds no lock, so that others can close the socket meanwhile.
int TkMiniSocket::read_str(char *bytes, unsigned int *count) {
    *count = 0;
    int received = 0;
    while (received == 0) {
        {
            const TkLock lock(m_Mutex);
            if (m_nSocket == INVALID) {
                return 0;
            }
            received = tkplatform::receiveSocket(m_nSocket, bytes, 1);
        }
        if (received == 0) {
            tkplatform::isReadable(handle(), LOOK_PERIOD);
        }
    }
    *count = received > 0 ? 1 : 0;
    return received > 0 || received == tkplatform::SOCKET_ENDED ? 1 : 0;
}

static_assert(TkMiniSocket::INVALID == tkplatform::NO_SOCKET);

int TkMiniSocket::send(const char *bytes, std::size_t size) {
    const TkLock lock(m_Mutex);
    return m_nSocket == INVALID ? -1 : tkplatform::sendSocket(m_nSocket, bytes, size);
}

int TkMiniSocket::receive(char *bytes, std::size_t size) {
    const TkLock lock(m_Mutex);
    if (m_nSocket == INVALID) {
        return 0;
    }
    const int received = tkplatform::receiveSocket(m_nSocket, bytes, size);
    return received == tkplatform::SOCKET_ENDED ? 0 : received;
}
