#include "tkzmodem_receive.h"

#include "platform/platform.h"
#include "tkcrc.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

/// Reads the text of a block of details, and never leaves it.
class Details {
  public:
    Details(const unsigned char *block, int length)
        : m_Text(reinterpret_cast<const char *>(block),
                 static_cast<std::size_t>(std::max(length, 0))) {}

    /// Up to the zero byte, or to the end where there is none.
    std::string name() {
        const std::string_view name = m_Text.substr(0, m_Text.find('\0'));
        m_Text.remove_prefix(std::min(name.size() + 1, m_Text.size()));
        m_Text = m_Text.substr(0, m_Text.find('\0'));
        return std::string(name);
    }

    /// The next field as a decimal number: 0 when it is missing, negative or no number, and the
    /// most that 32 bits hold when it is more.
    std::uint32_t number() {
        std::uint64_t value = 0;
        for (const char digit : field()) {
            if (digit < '0' || digit > '9') {
                break;
            }
            value = std::min<std::uint64_t>(value * 10 + static_cast<unsigned int>(digit - '0'),
                                            UINT32_MAX);
        }
        return static_cast<std::uint32_t>(value);
    }

    void skip(int fields) {
        for (int i = 0; i < fields; ++i) {
            field();
        }
    }

  private:
    std::string_view field() {
        const std::string_view field = m_Text.substr(0, m_Text.find(' '));
        m_Text.remove_prefix(std::min(field.size() + 1, m_Text.size()));
        return field;
    }

    std::string_view m_Text;
};

unsigned short checkOf(const unsigned char *bytes, unsigned int length) {
    const auto *const text = reinterpret_cast<const char *>(bytes);
    return TkCRC16().crc16(text, 0, static_cast<int>(length), 0);
}

bool hasDrive(const std::string &name) {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    return name.size() > 1 && name[1] == ':' && isLetter(name[0]);
}

/// Whether a name can't lead out of the directory, by the rules of any system.
bool staysInside(const std::string &name) {
    if (name.front() == '/' || name.find('\\') != std::string::npos || hasDrive(name)) {
        return false;
    }
    const std::string path = "/" + name + "/";
    return path.find("/../") == std::string::npos;
}

} // namespace

TkZModem_Receive::TkZModem_Receive(char const *directory, TkComms *device) : TkZModem(device) {
    m_FilePath = directory ? directory : "";
    m_nRequestValue = 0;
}

TkZModem_Receive::~TkZModem_Receive() {
    endThread();
}

void TkZModem_Receive::threadCycle() {
    const LastCycle last(*this);
    receive();
}

// --- The conversation ----------------------------------------------------------------------------

int TkZModem_Receive::receive() {
    m_bQuiet = false;
    const int result = converse();
    closeFile();
    if (m_bQuiet) {
        return result;
    }
    if (isCancelled() || result == CANCELLED) {
        sendCancelPacket();
    }
    const bool inOrder = result == DONE || result == SESSION_ENDED;
    fire(inOrder ? TRANSFER_COMPLETE : TRANSFER_CANCELLED);
    return result;
}

int TkZModem_Receive::converse() {
    unsigned int retries = NUM_RETRIES;
    m_nIdle = 0;
    int result = sendHexPacket(ZRINIT, m_nReceiverFlags);
    while (result == DONE) {
        const int heard = receiveHexHeader(TIMEOUT_PERIOD);
        if (heard == CANCELLED) {
            return heard;
        }
        if (heard == TIMED_OUT) {
            sendHexPacket(ZRINIT, m_nReceiverFlags);
            if (--retries == 0) {
                return heard;
            }
        } else {
            // A header that failed its check has stored nothing: the last one counts again.
            result = ++m_nIdle > IDLE_LIMIT ? FAILED : actOnHeader();
        }
    }
    return result;
}

int TkZModem_Receive::actOnHeader() {
    switch (m_nHeaderType) {
    case ZRQINIT:
        fire(ESTABLISHING_COMMS);
        return sendHexPacket(ZRINIT, m_nReceiverFlags);
    case ZRINIT:
        return clearCommTrafic(BYTE_PERIOD);
    case ZSINIT:
    case ZFREECNT:
    case ZCOMMAND:
        return DONE;
    case ZFILE:
        return acceptFile();
    case ZABORT:
        return FAILED;
    case ZFIN:
        return closeConversation();
    case ZEOF:
        return sendHexPacket(ZRINIT, m_nReceiverFlags);
    case ZCAN:
        return PEER_ENDED;
    default:
        return unexpected();
    }
}

int TkZModem_Receive::unexpected() {
    const int result = clearCommTrafic(BYTE_PERIOD);
    return result == DONE ? sendHexPacket(ZNAK, 0) : result;
}

int TkZModem_Receive::acceptFile() {
    m_nFileHeaderValue = m_nHeaderValue;
    int length = 0;
    const int result = receivePacketData(BYTE_PERIOD, m_Buffer, &length);
    if (result == CANCELLED) {
        m_bQuiet = true;
        return result;
    }
    if (result != DONE) {
        return sendHexPacket(ZRINIT, m_nReceiverFlags);
    }
    ++m_nCurrentFile;
    fire(PROGRESS_CHANGED);
    return receiveFile(m_Buffer, length);
}

/// The good-bye: two "O" in a row end it, and so does a peer that has gone.
int TkZModem_Receive::closeConversation() {
    sendHexPacket(ZFIN, 0);
    unsigned int letters = 0;
    for (Patience patience(BYTE_PERIOD); letters < 2 && patience.lasts();) {
        unsigned char byte = 0;
        const int result = getByte(BYTE_PERIOD, &byte);
        if (result == TIMED_OUT) {
            break;
        }
        if (result != DONE) {
            m_bQuiet = result == CANCELLED;
            return result;
        }
        if (byte == '*') {
            return DONE; // a header: the peer goes on
        }
        letters = byte == 'O' ? letters + 1 : 0;
    }
    return SESSION_ENDED;
}

int TkZModem_Receive::clearCommTrafic(unsigned int quiet) {
    for (Patience patience(quiet); patience.lasts();) {
        unsigned char byte = 0;
        const int result = getByte(quiet, &byte);
        if (result != DONE) {
            return result == TIMED_OUT ? DONE : result;
        }
    }
    return DONE;
}

// --- One file ------------------------------------------------------------------------------------

int TkZModem_Receive::receiveFile(unsigned char *buffer, int length) {
    m_nBytesTransferred = 0;
    m_nMeasureStart = 0;
    m_nIdle = 0;
    m_nRetries = NUM_RETRIES;
    m_nWait = TIMEOUT_PERIOD;
    m_bDamaged = false;
    m_bNoise = false;
    int result = openWriteFile(buffer, length);
    fire(TRANSFER_STARTED);
    if (result != DONE) {
        return result;
    }
    sendHexPacket(ZRPOS, m_nBytesTransferred);
    bool ended = false;
    while (result == DONE && !ended) {
        result = awaitHeaderOfFile(buffer, &ended);
    }
    if (result == CANCELLED) {
        fire(TRANSFER_CANCELLED);
    }
    return result;
}

int TkZModem_Receive::awaitHeaderOfFile(unsigned char *buffer, bool *ended) {
    const int heard = receiveHexHeader(static_cast<int>(m_nWait));
    m_nWait = TIMEOUT_PERIOD;
    if (heard == TIMED_OUT || heard == CHECK_FAILED) {
        const int result = askAgain();
        return --m_nRetries == 0 ? FAILED : result;
    }
    if (heard == PEER_ENDED) {
        return FAILED;
    }
    if (heard != DONE) {
        return heard;
    }
    m_nRetries = NUM_RETRIES;
    m_bDamaged = m_bDamaged || m_bNoise;
    m_bNoise = false;
    return ++m_nIdle > IDLE_LIMIT ? FAILED : actOnHeaderOfFile(buffer, ended);
}

int TkZModem_Receive::actOnHeaderOfFile(unsigned char *buffer, bool *ended) {
    // Positions aren't compared as long as the line was good. Behind damage, a header with another
    // one belongs to a stream that was left behind: taking that would store a wrong file, or end
    // it too early, and call it complete. What was asked for follows soon, unless the sender
    // missed it.
    const bool isStale = m_bDamaged && m_nHeaderValue != m_nBytesTransferred;
    if (isStale && (m_nHeaderType == ZDATA || m_nHeaderType == ZEOF)) {
        m_nWait = BYTE_PERIOD;
        return DONE;
    }
    switch (m_nHeaderType) {
    case ZFILE:
        return fileOfferedAgain(buffer);
    case ZDATA:
        return takeData(buffer);
    case ZEOF:
        *ended = true;
        return endOfFile();
    case ZCAN:
        return PEER_ENDED;
    default:
        return askAgain();
    }
}

/// Asks for the stream from where the file stands.
int TkZModem_Receive::askAgain() {
    m_bDamaged = true;
    clearCommTrafic(0);
    return sendHexPacket(ZRPOS, m_nBytesTransferred);
}

int TkZModem_Receive::fileOfferedAgain(unsigned char *buffer) {
    int length = 0;
    const int result = receivePacketData(BYTE_PERIOD, buffer, &length);
    if (result != DONE) {
        return result;
    }
    m_bDamaged = true; // an offer repeated is one position asked for twice, and answered twice
    m_RateTimer.reset();
    m_nMeasureStart = m_nBytesTransferred;
    return sendHexPacket(ZRPOS, m_nBytesTransferred);
}

int TkZModem_Receive::takeData(unsigned char *buffer) {
    m_bDropped = false;
    const int result = receiveDataStream(buffer);
    if (result == CANCELLED) {
        return result;
    }
    if (result == FAILED) { // the disk: the sender can't know
        sendCancelPacket();
        return result;
    }
    return result == DONE && !m_bDropped ? DONE : askAgain();
}

int TkZModem_Receive::endOfFile() {
    if (closeWriteFile() != DONE) {
        sendCancelPacket();
        return FAILED;
    }
    sendHexPacket(ZRINIT, m_nReceiverFlags);
    return DONE;
}

// --- Subpackets ----------------------------------------------------------------------------------

int TkZModem_Receive::receivePacketData(int timeout, unsigned char *buffer, int *length) {
    unsigned int stored = 0;
    for (bool isEnd = false; !isEnd;) {
        unsigned char byte = 0;
        unsigned int cans = 0;
        const int result = readBehindCans(static_cast<unsigned int>(timeout), &byte, &cans);
        if (result != DONE) {
            return result;
        }
        isEnd = cans > 0 && !decodeValue(&byte);
        if (isEnd && (byte < 'h' || byte > 'k')) {
            return CHECK_FAILED;
        }
        buffer[stored++] = byte;
        if (stored == TRANSFER_BLOCK_SIZE) {
            return CHECK_FAILED;
        }
    }
    *length = static_cast<int>(stored);
    return compareCheck(checkOf(buffer, stored));
}

int TkZModem_Receive::receiveDataStream(unsigned char *buffer) {
    unsigned char end = 0;
    while (end != 'h' && end != 'k') { // those two end the frame
        unsigned int length = 0;
        int result = readSubpacket(buffer, &length, &end);
        if (result != DONE) {
            return result;
        }
        if (length > TRANSFER_BLOCK_SIZE) { // its end was damaged, or the sender's are longer
            m_bDropped = true;
            return DONE;
        }
        result = acceptSubpacket(buffer, length, end);
        if (result != DONE) {
            return result;
        }
    }
    return DONE;
}

int TkZModem_Receive::acceptSubpacket(unsigned char *buffer, unsigned int length,
                                      unsigned char end) {
    const TkCRC16 crc;
    const int result = compareCheck(crc.crc16(static_cast<char>(end), checkOf(buffer, length)));
    if (result != DONE) {
        return result;
    }
    if (writeFile(buffer, static_cast<int>(length)) != DONE) {
        return FAILED;
    }
    m_nBytesTransferred += length;
    updateCPS();
    updateSecondsRemaining();
    fire(PROGRESS_CHANGED);
    m_nIdle = length > 0 ? 0 : m_nIdle + 1;
    if (end == 'j' || end == 'k') {
        sendHexPacket(ZACK, m_nBytesTransferred);
    }
    return m_nIdle > IDLE_LIMIT ? CHECK_FAILED : DONE;
}

// --- The file ------------------------------------------------------------------------------------

int TkZModem_Receive::openWriteFile(unsigned char *block, int length) {
    if (!block) {
        return PEER_ENDED;
    }
    Details details(block, length - 1);
    std::string name = details.name();
    if (name.empty()) {
        name = "ZMODEM.000";
    }
    setFileName(name);
    details.skip(4); // length, date, mode, serial number
    m_nNumFiles = details.number();
    m_nTotalSize = details.number();

    closeFile();
    m_pFile = staysInside(name) ? tkplatform::createFile(m_FilePath, name) : nullptr;
    return m_pFile ? DONE : FAILED;
}

int TkZModem_Receive::writeFile(unsigned char *bytes, int length) {
    const auto size = static_cast<std::size_t>(length);
    return m_pFile && std::fwrite(bytes, 1, size, m_pFile) == size ? DONE : FAILED;
}

int TkZModem_Receive::closeWriteFile() {
    return closeFile() ? DONE : FAILED;
}
