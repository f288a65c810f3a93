#include "tkcomms.h"
#include "tkcrc.h"
#include "tkzmodem.h"

#include <algorithm>
#include <array>
#include <cstddef>

// Headers on the wire, with T the type, 0 to 3 the value's bytes and C the check:
//
//     hexadecimal   * * ZDLE B  TT 00 11 22 33 CC CC  CR LF XON
//     binary          * ZDLE A  T 0 1 2 3 C C
//     binary, 32-bit  * ZDLE C  T 0 1 2 3 C C C C

namespace {

constexpr unsigned char ZPAD = '*';
constexpr unsigned char CR = 13;
constexpr unsigned char LF = 10;
constexpr unsigned char XON = 0x11;
constexpr unsigned char XOFF = 0x13;
constexpr unsigned int CANS_THAT_CANCEL = 5;
constexpr unsigned int CANS_SENT = 10;
constexpr unsigned char ESCAPED = 0x40; // the bit that a byte behind a ZDLE carries

constexpr std::array<bool, 256> escapedBytes() {
    std::array<bool, 256> table{};
    for (const int byte : {0x18, 0x10, 0x90, 0x11, 0x91, 0x13, 0x93}) {
        table[static_cast<std::size_t>(byte)] = true;
    }
    return table;
}

constexpr std::array<bool, 256> isEscaped = escapedBytes();

using Header = std::array<unsigned char, 5>;

Header headerOf(int type, unsigned long value) {
    Header header{static_cast<unsigned char>(type)};
    for (std::size_t i = 1; i < header.size(); ++i) {
        header[i] = static_cast<unsigned char>(value >> (8 * (i - 1)));
    }
    return header;
}

unsigned short checkOf(const unsigned char *bytes, int length) {
    return TkCRC16().crc16(reinterpret_cast<const char *>(bytes), 0, length, 0);
}

/// High byte first.
std::array<unsigned char, 2> bytesOf(unsigned short check) {
    return {static_cast<unsigned char>(check >> 8U), static_cast<unsigned char>(check)};
}

/// Low byte first.
std::uint32_t number(const unsigned char *bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i > 0; --i) {
        value = value << 8U | bytes[i - 1];
    }
    return value;
}

bool isHexDigit(unsigned char byte) {
    return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'f');
}

unsigned int digitValue(unsigned char digit) {
    return digit <= '9' ? digit - '0' : digit - 'a' + 10U;
}

/// What stands behind headers and acknowledged subpackets by right, with or without a high bit.
bool isLineEnd(unsigned char byte) {
    const unsigned char plain = byte & 0x7FU;
    return plain == CR || plain == LF || plain == XON || plain == XOFF;
}

} // namespace

bool TkZModem::encodeValue(unsigned char *byte) {
    if (!isEscaped[*byte]) {
        return false;
    }
    *byte |= ESCAPED;
    return true;
}

bool TkZModem::decodeValue(unsigned char *byte) {
    switch (*byte & 0x60U) {
    case 0x00: // a control byte stands for itself
        return true;
    case 0x40:
        *byte = static_cast<unsigned char>(*byte & ~ESCAPED);
        return true;
    default:
        break;
    }
    if (*byte != 'l' && *byte != 'm') {
        return false;
    }
    *byte = *byte == 'l' ? 0x7F : 0xFF;
    return true;
}

// --- Sending -------------------------------------------------------------------------------------

TkZModem::Burst::Burst(TkZModem &transfer) : m_Transfer(transfer) {
    ++m_Transfer.m_nBursts;
}

TkZModem::Burst::~Burst() {
    if (--m_Transfer.m_nBursts == 0) {
        m_Transfer.flush();
    }
}

/// What the link says of it isn't looked at, an exception of an application's link included.
void TkZModem::flush() {
    if (m_Out.empty()) {
        return;
    }
    try {
        m_pDevice->write_str(m_Out.data(), static_cast<unsigned int>(m_Out.size()));
    } catch (...) {
    }
    m_Out.clear();
}

void TkZModem::put(unsigned char byte, bool encode) {
    if (m_Out.capacity() - m_Out.size() < 2) {
        flush();
    }
    if (encode && encodeValue(&byte)) {
        m_Out.push_back(static_cast<char>(ZDLE));
    }
    m_Out.push_back(static_cast<char>(byte));
}

int TkZModem::sendByte(unsigned char byte, bool encode) {
    return sendBytes(&byte, 1, encode);
}

int TkZModem::sendBytes(unsigned char *bytes, unsigned int length, bool encode) {
    if (!m_pDevice) {
        return length > 0 ? NO_DEVICE : DONE;
    }
    const Burst burst(*this);
    for (unsigned int i = 0; i < length; ++i) {
        put(bytes[i], encode);
        if (!isThreadActive()) {
            return CANCELLED;
        }
    }
    return DONE;
}

int TkZModem::sendBytes(char const *bytes, unsigned int length, bool encode) {
    // Neither form writes to what it is given.
    auto *const same = reinterpret_cast<unsigned char *>(const_cast<char *>(bytes));
    return sendBytes(same, length, encode);
}

int TkZModem::sendHexBytes(unsigned char *bytes, unsigned int length) {
    constexpr char digits[] = "0123456789abcdef";
    const Burst burst(*this);
    int result = DONE;
    for (unsigned int i = 0; i < length && result == DONE; ++i) {
        const char pair[] = {digits[bytes[i] >> 4U], digits[bytes[i] & 0x0FU]};
        result = sendBytes(pair, sizeof pair, false);
    }
    return result;
}

int TkZModem::sendHexPacket(PACKET_TYPES type, unsigned long value) {
    if (type == ZCAN) {
        return sendCancelPacket();
    }
    constexpr unsigned char lead[] = {ZPAD, ZPAD, ZDLE, 'B'};
    constexpr unsigned char end[] = {CR, LF, XON};
    const bool bare = type == ZACK || type == ZFIN;
    Header header = headerOf(type, value);
    auto check = bytesOf(checkOf(header.data(), static_cast<int>(header.size())));

    const Burst burst(*this);
    int result = sendBytes(reinterpret_cast<const char *>(lead), sizeof lead, false);
    if (result == DONE) {
        result = sendHexBytes(header.data(), static_cast<unsigned int>(header.size()));
    }
    if (result == DONE) {
        result = sendHexBytes(check.data(), static_cast<unsigned int>(check.size()));
    }
    if (result == DONE) {
        result = sendBytes(reinterpret_cast<const char *>(end), bare ? 2 : 3, false);
    }
    return result;
}

int TkZModem::sendBinaryPacket(PACKET_TYPES type, unsigned long value) {
    if (isCancelled()) {
        return sendCancelPacket();
    }
    constexpr unsigned char lead[] = {ZPAD, ZDLE, 'A'};
    Header header = headerOf(type, value);
    auto check = bytesOf(checkOf(header.data(), static_cast<int>(header.size())));

    const Burst burst(*this);
    int result = sendBytes(reinterpret_cast<const char *>(lead), sizeof lead, false);
    if (result == DONE) {
        result = sendBytes(header.data(), static_cast<unsigned int>(header.size()), true);
    }
    if (result == DONE) {
        result = sendBytes(check.data(), static_cast<unsigned int>(check.size()), true);
    }
    return result;
}

int TkZModem::sendCRCEscape(char *data, unsigned int length, bool endOfFrame, bool ack) {
    const unsigned char end = ack ? (endOfFrame ? 'k' : 'j') : (endOfFrame ? 'h' : 'i');
    const TkCRC16 crc;
    const unsigned short ofData = crc.crc16(data, 0, static_cast<int>(length), 0);
    auto check = bytesOf(crc.crc16(static_cast<char>(end), ofData));

    const Burst burst(*this);
    int result = sendByte(ZDLE, false);
    if (result == DONE) {
        result = sendByte(end, false);
    }
    if (result == DONE) {
        result = sendBytes(check.data(), static_cast<unsigned int>(check.size()), true);
    }
    return result;
}

int TkZModem::sendCancelPacket() {
    if (m_pDevice) {
        const Burst burst(*this);
        for (unsigned int i = 0; i < CANS_SENT; ++i) {
            put(ZDLE, false);
        }
    }
    return CANCELLED;
}

int TkZModem::sendEndOfSession() {
    unsigned int failures = 0;
    for (unsigned int rounds = 0; rounds < IDLE_LIMIT && failures <= NUM_RETRIES; ++rounds) {
        sendHexPacket(ZFIN, 0);
        switch (receiveHexHeader(TIMEOUT_PERIOD)) {
        case DONE:
            sendBytes("OO", 2, false);
            return SESSION_ENDED;
        case CANCELLED:
            return CANCELLED;
        case TIMED_OUT:
        case CHECK_FAILED:
            ++failures;
            break;
        default:
            break;
        }
    }
    return DONE;
}

// --- Receiving -----------------------------------------------------------------------------------

TkZModem::Patience::Patience(unsigned int wait)
    : m_Timer(static_cast<long>(NUM_RETRIES) * static_cast<long>(wait)) {}

bool TkZModem::Patience::lasts() {
    return m_nBytes++ < HUNT_LIMIT && !m_Timer.timedOut();
}

/// What is there, without a wait: TIMED_OUT when that is nothing. A link that throws has nothing.
int TkZModem::takeByte(unsigned char *byte) {
    int count = -1;
    try {
        count = m_pDevice->read_ch(reinterpret_cast<char *>(byte));
    } catch (...) {
    }
    if (isCancelled() || !isThreadActive()) {
        return CANCELLED;
    }
    return count > 0 ? DONE : TIMED_OUT;
}

/// A link gives a byte that is there at once, so that only a wait needs the time.
int TkZModem::getByte(unsigned int timeout, unsigned char *byte) {
    if (!m_pDevice) {
        return NO_DEVICE;
    }
    if (timeout == 0) {
        return TIMED_OUT;
    }
    const int result = takeByte(byte);
    return result == TIMED_OUT ? waitForByte(timeout, byte) : result;
}

/// Sleeping a millisecond leaves the driver's queue far from full at every rate. A byte that came
/// during the last sleep stays in the link for the next read.
int TkZModem::waitForByte(unsigned int timeout, unsigned char *byte) {
    const TkTimer timer(static_cast<long>(timeout));
    while (!timer.timedOut()) {
        tksleep(1);
        if (timer.timedOut()) {
            break;
        }
        const int result = takeByte(byte);
        if (result != TIMED_OUT) {
            return result;
        }
    }
    return TIMED_OUT;
}

int TkZModem::readBehindCans(unsigned int timeout, unsigned char *byte, unsigned int *cans) {
    for (*cans = 0; *cans < CANS_THAT_CANCEL; ++*cans) {
        const int result = getByte(timeout, byte);
        if (result != DONE || *byte != ZDLE) {
            return result;
        }
    }
    return CANCELLED;
}

int TkZModem::readDecodeHexBytes(int timeout, unsigned char *bytes, int count) {
    for (int i = 0; i < 2 * count; ++i) {
        unsigned char digit = 0;
        unsigned int cans = 0;
        const int result = readBehindCans(static_cast<unsigned int>(timeout), &digit, &cans);
        if (result != DONE) {
            return result;
        }
        if (!isHexDigit(digit)) {
            return CHECK_FAILED;
        }
        const unsigned int high = i % 2 == 0 ? 0U : bytes[i / 2] * 16U;
        bytes[i / 2] = static_cast<unsigned char>(high + digitValue(digit));
    }
    return DONE;
}

int TkZModem::readDecodeBytes(int timeout, unsigned char *bytes, int count) {
    for (int i = 0; i < count; ++i) {
        unsigned int cans = 0;
        const int result = readBehindCans(static_cast<unsigned int>(timeout), &bytes[i], &cans);
        if (result != DONE) {
            return result;
        }
        if (cans > 0) {
            decodeValue(&bytes[i]);
        }
    }
    return DONE;
}

int TkZModem::readSubpacket(unsigned char *buffer, unsigned int *length, unsigned char *end) {
    unsigned int stored = 0;
    int result = DONE;
    while (stored <= TRANSFER_BLOCK_SIZE) {
        unsigned char byte = 0;
        unsigned int cans = 0;
        result = readBehindCans(BYTE_PERIOD, &byte, &cans);
        if (result != DONE) {
            break;
        }
        if (cans == 1 && !decodeValue(&byte)) {
            *end = byte;
            result = byte >= 'h' && byte <= 'k' ? DONE : CHECK_FAILED;
            break;
        }
        buffer[stored++] = byte;
    }
    *length = stored;
    return result;
}

int TkZModem::compareCheck(unsigned short expected) {
    unsigned int check = 0;
    for (int i = 0; i < 2; ++i) {
        unsigned char byte = 0;
        int result = getByte(BYTE_PERIOD, &byte);
        if (result == DONE && byte == ZDLE) {
            result = getByte(BYTE_PERIOD, &byte);
            if (result == DONE && !decodeValue(&byte)) {
                result = CHECK_FAILED;
            }
        }
        if (result != DONE) {
            return result;
        }
        check = check << 8U | byte;
    }
    return check == expected ? DONE : CHECK_FAILED;
}

/// Finds '*', ZDLE and a letter, one right behind the other. Data of a stream that was left behind
/// never look like that, as long as the sender escapes no more than it has to: a ZDLE is followed
/// by other letters then. Taking a letter that stands further behind for a header would make every
/// few hundred bytes of it one that is damaged.
int TkZModem::huntHeader(unsigned int firstWait, unsigned int timeout, unsigned char *kind) {
    unsigned int wait = firstWait;
    for (Patience patience(timeout); patience.lasts(); wait = timeout) {
        unsigned char byte = 0;
        const int result = wait > 0 ? getByte(wait, &byte) : takeByte(&byte);
        if (result != DONE) {
            return result;
        }
        if (byte == ZDLE) {
            if (++m_Hunt.cans == CANS_THAT_CANCEL) {
                m_Hunt = {};
                return CANCELLED;
            }
            continue;
        }
        const bool escaped = m_Hunt.pad && m_Hunt.cans > 0;
        m_Hunt = {byte == ZPAD, 0};
        if (escaped && byte >= 'A' && byte <= 'C') {
            *kind = byte;
            return DONE;
        }
        m_bNoise = m_bNoise || (byte != ZPAD && !isLineEnd(byte));
    }
    return TIMED_OUT;
}

int TkZModem::receiveHexHeader(int timeout) {
    const auto wait = static_cast<unsigned int>(std::max(timeout, 0));
    return receiveHeader(wait, wait);
}

int TkZModem::lookForHeader(unsigned int timeout, unsigned long elapsed) {
    return receiveHeader(elapsed < timeout ? timeout - static_cast<unsigned int>(elapsed) : 0,
                         timeout);
}

int TkZModem::receiveHeader(unsigned int firstWait, unsigned int timeout) {
    unsigned char kind = 0;
    const int result = m_pDevice ? huntHeader(firstWait, timeout, &kind) : NO_DEVICE;
    return result == DONE ? readHeader(kind) : result;
}

int TkZModem::readHeader(unsigned char kind) {
    constexpr int before = 5; // the check
    unsigned char bytes[before + 4] = {};
    const int length = kind == 'C' ? before + 4 : before + 2;
    const int result = kind == 'B' ? readDecodeHexBytes(BYTE_PERIOD, bytes, length)
                                   : readDecodeBytes(BYTE_PERIOD, bytes, length);
    if (result != DONE) {
        return result;
    }
    const auto *const text = reinterpret_cast<const char *>(bytes);
    const bool holds = kind == 'C' ? TkCRC32().crc32(text, 0, before, 0) == number(bytes + before)
                                   : bytesOf(checkOf(bytes, before)) ==
                                         std::array<unsigned char, 2>{bytes[5], bytes[6]};
    if (!holds) {
        return CHECK_FAILED;
    }
    m_nHeaderType = bytes[0];
    m_nHeaderValue = number(bytes + 1);
    return m_nHeaderType == ZABORT ? PEER_ENDED : DONE;
}
