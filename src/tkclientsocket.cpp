#include "platform/platform.h"
#include "tkrelayendpoint.h"
#include "tkrelaystream.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr int READS_AT_ONCE = 64; // a peer that never stops doesn't keep the thread in one call

constexpr unsigned char ACK = 0x06;
constexpr unsigned char NAK = 0x15;
constexpr unsigned char BINARY_START = 0x01;
constexpr unsigned char TEXT_END = 0x03;
constexpr std::size_t BINARY_HEAD = 4;
constexpr std::size_t BINARY_FRAMING = 5; // head and sum

/// The length of the message with which data begin; 0 when its end hasn't come.
std::size_t messageLength(const unsigned char *data, std::size_t size) {
    if (size > 0 && (data[0] == ACK || data[0] == NAK)) {
        return 1; // the whole of an answer
    }
    std::size_t length = 0;
    if (size < 2) {
        return 0;
    }
    if (data[0] == BINARY_START) {
        length = size < BINARY_HEAD ? size + 1 : data[2] * 256U + data[3] + BINARY_FRAMING;
    } else if (const void *const end = std::memchr(data, TEXT_END, size)) {
        const auto text = static_cast<std::size_t>(static_cast<const unsigned char *>(end) - data);
        length = text + 2; // with the end and the checksum
    }
    return length <= size ? length : 0;
}

} // namespace

struct TkClientSocket::Stream final : TkRelayStream::Sink {
    TkRelayStream frames;
    std::array<char, DATA_LIMIT> chunk; // as read
    std::size_t chunkSize = 0;
    std::size_t chunkTaken = 0; // what is behind it is left over by a command
    // Data, with room for what was held back as a marker's beginning beyond what was read.
    std::array<unsigned char, DATA_LIMIT + TkRelayStream::MARKER.size()> waiting;
    std::size_t count = 0;
    std::size_t complete = 0; // bytes of whole messages at the front

    void data(const char *bytes, std::size_t size) override {
        const std::size_t fitting = std::min(size, waiting.size() - count);
        std::memcpy(waiting.data() + count, bytes, fitting);
        count += fitting;
        findMessages();
    }

    void findMessages() {
        std::size_t length = 0;
        do {
            length = messageLength(waiting.data() + complete, count - complete);
            complete += length;
        } while (length > 0);
    }

    /// How many bytes may be read. None when whole messages fill the room; when the beginning of
    /// one does, what comes is dropped.
    std::size_t room() const {
        if (count < DATA_LIMIT) {
            return DATA_LIMIT - count;
        }
        return complete > 0 ? 0 : chunk.size();
    }

    std::size_t take(unsigned char *buffer, std::size_t size) {
        const std::size_t taken = std::min(size, count);
        std::memcpy(buffer, waiting.data(), taken);
        count -= taken;
        std::memmove(waiting.data(), waiting.data() + taken, count);
        complete -= std::min(complete, taken);
        findMessages();
        return taken;
    }
};

TkClientSocket::TkClientSocket() : m_pStream(new Stream) {}

TkClientSocket::TkClientSocket(unsigned int socket) : TkMiniSocket(socket), m_pStream(new Stream) {}

TkClientSocket::~TkClientSocket() = default;

// --- Receiving -----------------------------------------------------------------------------------

bool TkClientSocket::polling() {
    const TkLock lock(m_StreamMutex);
    Stream &stream = *m_pStream;
    bool more = true;
    for (int reads = 0; more && !stream.frames.isCmdReady(); ++reads) {
        if (!isLeftOver()) {
            const std::size_t room = reads < READS_AT_ONCE ? stream.room() : 0;
            const int received = room > 0 ? receive(stream.chunk.data(), room) : 0;
            if (received == 0 && room > 0) {
                stream.frames.releaseHeld(stream); // nothing has followed
            }
            if (received <= 0) {
                return received == 0;
            }
            stream.chunkSize = static_cast<std::size_t>(received);
            stream.chunkTaken = 0;
            more = stream.chunkSize == room;
        }
        stream.chunkTaken += stream.frames.take(stream.chunk.data() + stream.chunkTaken,
                                                stream.chunkSize - stream.chunkTaken, stream);
    }
    return true;
}

bool TkClientSocket::isLeftOver() {
    const TkLock lock(m_StreamMutex);
    return m_pStream->chunkTaken < m_pStream->chunkSize;
}

bool TkClientSocket::isHolding() {
    const TkLock lock(m_StreamMutex);
    return m_pStream->frames.isHolding();
}

bool TkClientSocket::isCmdReady() {
    const TkLock lock(m_StreamMutex);
    return m_pStream->frames.isCmdReady();
}

void TkClientSocket::getReceivedCmd(char *buffer, int *length) {
    const TkLock lock(m_StreamMutex);
    m_pStream->frames.takeCommand(buffer, length);
}

std::size_t TkClientSocket::completeData() {
    const TkLock lock(m_StreamMutex);
    return m_pStream->complete;
}

bool TkClientSocket::isDataReady() {
    return completeData() > 0;
}

void TkClientSocket::getReceivedData(unsigned char *buffer, int *length) {
    const TkLock lock(m_StreamMutex);
    const std::size_t size = static_cast<std::size_t>(std::max(*length, 0));
    *length = static_cast<int>(m_pStream->take(buffer, size));
}

/// For another connection: what is left of the last one goes.
void TkClientSocket::startAnew() {
    abandonSends(); // one that is under way mustn't go on over the new connection
    const TkLock sendLock(m_SendMutex);
    const TkLock lock(m_StreamMutex);
    m_pStream->frames.clear();
    m_pStream->chunkSize = m_pStream->chunkTaken = 0;
    m_pStream->count = m_pStream->complete = 0;
    m_bOpening = true;
    m_bKeepAliveDue = false;
    m_bAbandonsSends = false;
    m_bCutShort = false;
}

/// For another partner: what waits is from the last one.
void TkClientSocket::dropData() {
    const TkLock lock(m_StreamMutex);
    m_pStream->count = m_pStream->complete = 0;
}

// --- Sending -------------------------------------------------------------------------------------

bool TkClientSocket::transmit(unsigned char const *bytes, int length) {
    const std::size_t size = static_cast<std::size_t>(std::max(length, 0));
    return transmit(reinterpret_cast<const char *>(bytes), size);
}

bool TkClientSocket::transmit(const char *bytes, std::size_t length) {
    const TkLock lock(m_SendMutex);
    const bool sent = !m_bOpening && sendWhole(bytes, length);
    if (sent) {
        sendKeepAlive(); // if that fails, the next one will
    }
    return sent;
}

/// The first block of a connection: until it has gone, those of others fail.
bool TkClientSocket::transmitFirst(const char *bytes, std::size_t length) {
    const TkLock lock(m_SendMutex);
    m_bOpening = false;
    return transmit(bytes, length);
}

/// Sends a sign of life, or leaves it to the thread that is sending, behind its block. The reader
/// of the stream never waits for the relay to take something, or two readers could wait for each
/// other.
bool TkClientSocket::keepAlive() {
    m_bKeepAliveDue = true;
    if (!m_SendMutex.try_lock()) {
        return true;
    }
    const bool sent = !isDataWritable() || sendKeepAlive();
    m_SendMutex.unlock();
    return sent;
}

bool TkClientSocket::sendKeepAlive() {
    if (!m_bKeepAliveDue.exchange(false)) {
        return true;
    }
    const std::string frame = TkRelayStream::frameOf("HELLO");
    return sendWhole(frame.data(), frame.size());
}

/// The wait for room holds up no reader.
bool TkClientSocket::sendWhole(const char *bytes, std::size_t length) {
    constexpr long LOOK_PERIOD = 50; // ms
    TkTimer progress(static_cast<long>(SEND_LIMIT));
    std::size_t sent = 0;
    while (!m_bCutShort) { // what follows would be taken for the rest
        const int count = send(bytes + sent, length - sent);
        if (count < 0) {
            return false;
        }
        sent += static_cast<std::size_t>(count);
        if (sent == length) {
            return true;
        }
        if (count > 0) {
            progress.reset();
        }
        if (m_bAbandonsSends || progress.timedOut()) {
            m_bCutShort = sent > 0;
            return false;
        }
        tkplatform::isWritable(handle(), LOOK_PERIOD);
    }
    return false;
}

void TkClientSocket::abandonSends() {
    m_bAbandonsSends = true;
}
