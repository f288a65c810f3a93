#include "tkserverrelay.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t CHUNK = std::size_t{16} * 1024;       // bytes read at once
constexpr std::size_t ROUND_LIMIT = std::size_t{64} * 1024; // bytes read in one call
constexpr std::size_t OUT_LIMIT = std::size_t{64} * 1024;   // bytes kept for a peer

// TCP over IPv4, in the system's numbers
constexpr int INTERNET = 2;
constexpr int STREAM = 1;
constexpr int TCP = 6;

/// Joins the pieces of a chunk, so that they go on with one send.
class Gather final : public TkRelayStream::Sink {
  public:
    void data(const char *bytes, std::size_t size) override {
        std::memcpy(m_Bytes.data() + m_nCount, bytes, size);
        m_nCount += size;
    }
    const char *bytes() const { return m_Bytes.data(); }
    int count() const { return static_cast<int>(m_nCount); }

  private:
    std::array<char, CHUNK + TkRelayStream::MARKER.size()> m_Bytes; // what was held back, a chunk
    std::size_t m_nCount = 0;
};

} // namespace

TkServerSocket::TkServerSocket() : m_pTraffic(new Traffic) {}

TkServerSocket::TkServerSocket(unsigned int socket)
    : TkMiniSocket(socket), m_pTraffic(new Traffic) {}

TkServerSocket::~TkServerSocket() = default;

bool TkServerSocket::start(unsigned short port) {
    return start(nullptr, port);
}

bool TkServerSocket::start(char const *address, unsigned short port) {
    return create(INTERNET, STREAM, TCP) && bind(address, port);
}

char const *TkServerSocket::getIP() {
    thread_local std::string text;
    const std::uint32_t address = tkplatform::hostAddress();
    text = address == 0 ? std::string() : tkplatform::addressText(address);
    return text.c_str();
}

char const *TkServerSocket::getDescription() {
    thread_local std::array<char, DESCRIPTION_SIZE> text;
    const TkLock lock(m_OutLock);
    text = m_Description;
    return text.data();
}

void TkServerSocket::setDescription(char const *text, int length) {
    const TkLock lock(m_OutLock);
    if (length >= 0 && length < DESCRIPTION_SIZE) {
        std::copy_n(text, length, m_Description.begin());
        m_Description[static_cast<std::size_t>(length)] = 0;
    }
}

void TkServerSocket::linkTalkingSocket(TkServerSocket *partner) {
    if (!partner || m_pPartner == partner) {
        return;
    }
    dropTalkingSocket(); // nobody keeps a partner who doesn't know it
    m_pPartner = partner;
    partner->linkTalkingSocket(this);
}

void TkServerSocket::dropTalkingSocket() {
    if (TkServerSocket *const partner = m_pPartner.exchange(nullptr)) {
        partner->dropTalkingSocket();
    }
}

// --- Receiving -----------------------------------------------------------------------------------

bool TkServerSocket::polling() {
    const TkLock lock(m_StreamLock);
    std::array<char, CHUNK> chunk;
    std::size_t seen = 0;
    while (passOnRest() && seen < ROUND_LIMIT) {
        const int received = readChunk(chunk.data(), chunk.size());
        if (received <= 0) {
            return received == 0;
        }
        const auto size = static_cast<std::size_t>(received);
        const std::size_t taken = passOn(chunk.data(), size);
        m_pTraffic->rest.assign(chunk.data() + taken, size - taken);
        m_pTraffic->used = 0;
        seen = size < CHUNK ? ROUND_LIMIT : seen + size; // a short read has emptied the socket
    }
    return true;
}

/// Looks at what the last read left over. True when more may be read.
bool TkServerSocket::passOnRest() {
    Traffic &traffic = *m_pTraffic;
    if (traffic.used < traffic.rest.size() && !isHeldUp()) {
        traffic.used +=
            passOn(traffic.rest.data() + traffic.used, traffic.rest.size() - traffic.used);
    }
    if (traffic.used < traffic.rest.size()) {
        return false;
    }
    traffic.rest = std::string(); // gives the memory back
    traffic.used = 0;
    return !traffic.stream.isCmdReady() && !isHeldUp();
}

/// 0 when nothing is there now, and at the end of the stream, which it notes.
int TkServerSocket::readChunk(char *bytes, std::size_t size) {
    int received = receive(bytes, size);
    bool atEnd = received <= 0 && m_pTraffic->broken; // what isn't there by now won't come
    if (received == 0 && !isSocketBlocked()) {
        received = receive(bytes, size); // a byte came just now, or it is the end
        atEnd = received == 0;
    }
    m_pTraffic->atEnd = atEnd;
    return atEnd ? 0 : received;
}

/// Hands data to the partner, and returns how many bytes were looked at: fewer when a command is
/// complete.
std::size_t TkServerSocket::passOn(char const *bytes, std::size_t size) {
    const std::size_t foreign = std::min(size, m_pTraffic->disowned);
    Gather data;
    std::size_t taken = 0;
    if (foreign > 0) {
        Gather unheard;
        taken = m_pTraffic->stream.take(bytes, foreign, unheard);
        m_pTraffic->disowned -= taken;
        m_pTraffic->stream.disownHeld();
    }
    if (taken == foreign) {
        taken += m_pTraffic->stream.take(bytes + taken, size - taken, data);
    }
    TkServerSocket *const partner = m_pPartner;
    if (partner && data.count() > 0) {
        partner->transmit(data.bytes(), data.count()); // what can't be sent is lost
    }
    return taken;
}

void TkServerSocket::releaseHeld() {
    const TkLock lock(m_StreamLock);
    TkServerSocket *const partner = m_pPartner;
    Gather data;
    if (!m_pTraffic->stream.isHolding() || isHeldUp() || !m_pTraffic->rest.empty()) {
        return;
    }
    if (m_pTraffic->atEnd || isSocketBlocked()) { // nothing has followed
        m_pTraffic->stream.releaseHeld(data);
    }
    if (partner && data.count() > 0) {
        partner->transmit(data.bytes(), data.count());
    }
}

/// A partner is to come, who doesn't hear what was held back before, nor, with `unread`, what has
/// arrived and wasn't looked at. There may be commands in it, so that it isn't just dropped.
void TkServerSocket::disownArrived(bool unread) {
    const TkLock lock(m_StreamLock);
    Traffic &traffic = *m_pTraffic;
    traffic.stream.disownHeld();
    const std::size_t rest = traffic.rest.size() - traffic.used;
    traffic.disowned = unread ? rest + tkplatform::pendingBytes(handle()) : 0;
}

bool TkServerSocket::isCmdReady() {
    const TkLock lock(m_StreamLock);
    return m_pTraffic->stream.isCmdReady();
}

void TkServerSocket::getReceivedCmd(char *buffer, int *length) {
    const TkLock lock(m_StreamLock);
    if (m_pTraffic->stream.isCmdReady()) {
        m_pTraffic->stream.takeCommand(buffer, length);
    } else {
        *length = 0;
    }
}

/// The partner hasn't taken what came before: until it has, nothing is read here.
bool TkServerSocket::isHeldUp() {
    TkServerSocket *const partner = m_pPartner;
    return partner && partner->hasUnsent();
}

/// Something is left to do though nothing new may arrive.
bool TkServerSocket::hasWork() {
    const TkLock lock(m_StreamLock);
    const Traffic &traffic = *m_pTraffic;
    const bool unread = traffic.broken && !traffic.atEnd; // it is no longer watched
    return traffic.leaving || (!traffic.dead && !isHeldUp() &&
                               (traffic.stream.isCmdReady() || !traffic.rest.empty() || unread));
}

// --- Sending -------------------------------------------------------------------------------------

bool TkServerSocket::transmit(char const *bytes, int length) {
    const TkLock lock(m_OutLock);
    Traffic &traffic = *m_pTraffic;
    if (!isSocketValid()) {
        return false;
    }
    if (traffic.broken || traffic.dead) {
        return true;
    }
    auto left = static_cast<std::size_t>(length);
    if (traffic.out.empty()) {
        const int count = send(bytes, left);
        if (count < 0) {
            breakOff();
            return count == PEER_GONE;
        }
        left -= static_cast<std::size_t>(count);
    }
    if (traffic.out.empty()) {
        traffic.standstill.reset();
    }
    if (traffic.out.size() - traffic.sent + left > OUT_LIMIT) {
        traffic.dead = true;
    } else if (left > 0) {
        traffic.out.append(bytes + length - left, left);
    }
    return true;
}

void TkServerSocket::flush() {
    const TkLock lock(m_OutLock);
    Traffic &traffic = *m_pTraffic;
    if (traffic.out.empty()) {
        return;
    }
    const int count = send(traffic.out.data() + traffic.sent, traffic.out.size() - traffic.sent);
    if (count < 0) {
        breakOff();
        return;
    }
    traffic.sent += static_cast<std::size_t>(count);
    if (count > 0) {
        traffic.standstill.reset();
    }
    if (traffic.sent == traffic.out.size()) {
        traffic.out = std::string(); // gives the memory back
        traffic.sent = 0;
    }
}

/// The peer takes nothing, or too little. One that takes a little at a time is seen by what the
/// system still has for it: room to send more comes much later.
bool TkServerSocket::isStuck() {
    const TkLock lock(m_OutLock);
    Traffic &traffic = *m_pTraffic;
    if (!traffic.out.empty()) {
        const std::size_t untaken = tkplatform::untakenBytes(handle());
        if (std::exchange(traffic.untaken, untaken) > untaken) {
            traffic.standstill.reset();
        }
    }
    return traffic.dead || (!traffic.out.empty() && traffic.standstill.timedOut());
}

bool TkServerSocket::hasUnsent() {
    const TkLock lock(m_OutLock);
    return !m_pTraffic->out.empty();
}

/// The peer hears nothing any more. What it has sent before may still be read.
void TkServerSocket::breakOff() {
    const TkLock lock(m_OutLock);
    m_pTraffic->broken = true;
    m_pTraffic->out = std::string();
    m_pTraffic->sent = 0;
}
