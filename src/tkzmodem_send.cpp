#include "tkzmodem_send.h"

#include "platform/platform.h"

#include <array>
#include <cinttypes>
#include <limits>
#include <utility>

namespace {

std::string nameBehindPath(const std::string &path) {
    return path.substr(path.rfind('/') + 1); // the whole of it where there is none
}

/// The details of a file as they travel: its name, a zero byte, six fields in decimal or octal of
/// which mode and serial number are unused, and a zero byte.
///
///     data.bin <0> 1000 3641100 0 0 1 1000 <0>
///
/// Empty where that is longer than a subpacket.
std::string fileDetails(const std::string &name, const tkplatform::FileFacts &facts) {
    std::array<char, 96> fields{};
    const int length =
        std::snprintf(fields.data(), fields.size(), "%" PRIu64 " %" PRIo64 " 0 0 1 %" PRIu64,
                      facts.size, static_cast<std::uint64_t>(facts.modified), facts.size);
    std::string details = name;
    details.push_back('\0');
    details.append(fields.data(), static_cast<std::size_t>(length) + 1);
    return details.size() <= TkZModem::TRANSFER_BLOCK_SIZE ? details : std::string();
}

} // namespace

TkZModem_Send::TkZModem_Send(char const *path, TkComms *device) : TkZModem(device), m_SentTimer(0) {
    m_FilePath = path ? path : "";
    setFileName(nameBehindPath(m_FilePath));
    m_nReceiverFlags = 0;
    m_nNumFiles = 1;
    m_nCurrentFile = 1;
}

TkZModem_Send::~TkZModem_Send() {
    endThread();
}

void TkZModem_Send::threadCycle() {
    const LastCycle last(*this);
    transferFile();
}

int TkZModem_Send::transferFile() {
    m_nBytesTransferred = 0;
    m_nBlocksTransferred = 0;
    fire(ESTABLISHING_COMMS);
    sendBytes("rz\r", 3, true); // starts the receiver at a shell
    int result = transmitInitialization();
    if (result == FAILED) {
        fire(TRANSFER_CANCELLED);
        return result;
    }
    if (result == DONE) {
        result = transmitFileDetails();
    }
    if (result == DONE) {
        result = openFile() ? serveReceiver() : FAILED;
    }
    if (result == CANCELLED) {
        fire(TRANSFER_CANCELLED);
    }
    closeFile();
    return result;
}

int TkZModem_Send::transmitInitialization() {
    for (unsigned int round = 0; round < NUM_RETRIES; ++round) {
        sendHexPacket(ZRQINIT, m_nRequestValue);
        const int heard = receiveHexHeader(TIMEOUT_PERIOD);
        if (heard == DONE && m_nHeaderType == ZRINIT) {
            m_nReceiverFlags = m_nHeaderValue;
            return DONE;
        }
        if (isCancelled() || !isThreadActive()) {
            return CANCELLED;
        }
        if (heard == PEER_ENDED) {
            return FAILED;
        }
        if (heard == NO_DEVICE) {
            return heard;
        }
        // Anything else may be left over from before: noise, another frame, a cancel sequence.
    }
    return FAILED;
}

int TkZModem_Send::transmitFileDetails() {
    tkplatform::FileFacts facts;
    if (!tkplatform::fileFacts(m_FilePath.c_str(), &facts) ||
        facts.size > std::numeric_limits<std::uint32_t>::max()) {
        return FAILED;
    }
    std::string details = fileDetails(fileName(), facts);
    if (details.empty()) {
        return FAILED;
    }
    m_nTotalSize = static_cast<std::uint32_t>(facts.size);
    m_nFileHeaderValue = 1;
    const Burst burst(*this);
    if (sendBinaryPacket(ZFILE, m_nFileHeaderValue) == DONE) {
        const auto length = static_cast<unsigned int>(details.size());
        if (sendBytes(details.data(), length, true) == DONE) {
            sendCRCEscape(details.data(), length, true, true);
        }
    }
    return DONE;
}

int TkZModem_Send::transmitFileData(unsigned long offset) {
    if (isCancelled()) {
        return sendCancelPacket();
    }
    std::array<char, TRANSFER_BLOCK_SIZE> block{};
    if (!m_pFile || !tkplatform::seekTo(m_pFile, offset)) {
        return FAILED;
    }
    const std::size_t count = std::fread(block.data(), 1, block.size(), m_pFile);
    if (std::ferror(m_pFile)) {
        return FAILED;
    }
    const auto length = static_cast<unsigned int>(count);
    const bool isLast = count < block.size();

    const Burst burst(*this);
    int result = sendBytes(block.data(), length, true);
    if (result == DONE) {
        result = sendCRCEscape(block.data(), length, isLast, false);
    }
    if (!isLast) {
        return result;
    }
    sendBinaryPacket(ZEOF, offset + count);
    closeFile();
    return END_OF_FILE;
}

bool TkZModem_Send::openFile() {
    closeFile();
    m_pFile = tkplatform::openFile(m_FilePath.c_str());
    return m_pFile != nullptr;
}

// --- The receiver's positions --------------------------------------------------------------------

int TkZModem_Send::serveReceiver() {
    m_State = State::position;
    m_bPositioned = false;
    m_nRetries = NUM_RETRIES;
    m_bSaidGoodbye = false;
    m_nHighest = 0;
    m_nRewinds = 0;
    m_nIdle = 0;
    m_SentTimer.reset();
    int result = DONE;
    while (result == DONE) {
        const int heard = listen();
        result = heard == DONE ? withHeader() : withoutHeader(heard);
    }
    return result;
}

int TkZModem_Send::listen() {
    switch (m_State) {
    case State::position: {
        // A header that changes nothing doesn't prolong the wait: a receiver that missed the offer
        // may repeat its ZRINIT for ever, while it waits for the next offer.
        const unsigned long waited = m_SentTimer.elapsedTime();
        return receiveHexHeader(waited < TIMEOUT_PERIOD ? static_cast<int>(TIMEOUT_PERIOD - waited)
                                                        : 1);
    }
    case State::streaming:
        // On a slow line the block alone takes longer than the look, and the receiver could speak
        // all the while: nothing is gained by leaving the line idle behind it.
        return lookForHeader(LOOK_PERIOD, m_SentTimer.elapsedTime());
    default:
        return receiveHexHeader(TIMEOUT_PERIOD);
    }
}

int TkZModem_Send::withoutHeader(int heard) {
    if (heard == CANCELLED || isCancelled()) {
        return CANCELLED;
    }
    if (heard == PEER_ENDED) {
        fire(TRANSFER_CANCELLED);
        return FAILED;
    }
    if (m_State == State::streaming) {
        return sendNext();
    }
    if (m_State == State::end) {
        return heard; // a second offer would make the receiver empty what it has received
    }
    m_SentTimer.reset();
    transmitFileDetails(); // the receiver may have lost them
    if (heard == TIMED_OUT && --m_nRetries == 0) {
        return FAILED;
    }
    return ++m_nIdle > IDLE_LIMIT ? FAILED : DONE;
}

int TkZModem_Send::withHeader() {
    if (++m_nIdle > IDLE_LIMIT) {
        return FAILED;
    }
    switch (m_nHeaderType) {
    case ZRINIT:
        // Both ends speak first, so that the opening has more than one of these. They mean that
        // the file has been closed only once the receiver has opened it.
        return m_bPositioned ? endSession(TRANSFER_COMPLETE) : DONE;
    case ZSKIP:
        return endSession(TRANSFER_CANCELLED);
    case ZRPOS:
        return rewind();
    default:
        return DONE;
    }
}

int TkZModem_Send::endSession(EVENTS event) {
    m_State = State::end;
    m_bPositioned = true;
    const bool again = std::exchange(m_bSaidGoodbye, true);
    const int result = sendEndOfSession();
    if (!again) {
        fire(event);
    }
    return result == DONE && again ? TIMED_OUT : result;
}

int TkZModem_Send::rewind() {
    m_bPositioned = true;
    m_nBytesTransferred = m_nHeaderValue;
    m_nMeasureStart = m_nHeaderValue;
    if (m_nHeaderValue > m_nHighest && m_nHeaderValue <= m_nTotalSize) {
        m_nHighest = m_nHeaderValue;
        m_nRewinds = 0;
    }
    if (++m_nRewinds > IDLE_LIMIT) {
        return FAILED;
    }
    m_State = State::streaming;
    m_bDataHeaderDue = true;
    if (m_nBlocksTransferred == 0) {
        fire(TRANSFER_STARTED);
    }
    m_RateTimer.reset();
    if (m_nBytesTransferred == m_nTotalSize) { // nothing to send
        m_State = State::end;
        const int result = sendCancelPacket();
        fire(TRANSFER_CANCELLED);
        return result;
    }
    return m_pFile || openFile() ? DONE : FAILED; // closed behind the last block
}

int TkZModem_Send::sendNext() {
    m_nIdle = 0;
    m_SentTimer.reset();
    if (m_bDataHeaderDue) {
        m_bDataHeaderDue = false;
        return sendBinaryPacket(ZDATA, m_nBytesTransferred);
    }
    const int result = transmitFileData(m_nBytesTransferred);
    updateCPS();
    updateSecondsRemaining();
    fire(PROGRESS_CHANGED);
    if (result == DONE) {
        ++m_nBlocksTransferred;
        m_nBytesTransferred += TRANSFER_BLOCK_SIZE;
        return m_nBytesTransferred < TRANSFER_BLOCK_SIZE ? FAILED : DONE; // it grew past 4 GiB
    }
    if (result == END_OF_FILE) {
        m_State = State::end;
        return DONE;
    }
    return result;
}
