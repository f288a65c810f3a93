#include "tkconversation.h"

#include "tkcommslog.h"
#include "tkdispatchmanager.h"
#include "tkframecodec.h"
#include "tkparametertable.h"
#include "tkwaits.h"

#include <algorithm>
#include <new>
#include <utility>

namespace {

constexpr unsigned char ACK = 0x06;
constexpr unsigned char NAK = 0x15;
constexpr int MOST_RETRIES = 2;

/// A binary frame with the longest length that its two bytes can tell. Nothing longer is kept.
constexpr std::size_t LONGEST_FRAME = 0xFFFF + 5;

/// As many bytes are taken in one cycle at the most, so that a line that never falls silent keeps
/// neither the response timer nor a stop from its turn.
constexpr std::size_t BYTES_A_CYCLE = LONGEST_FRAME;

/// A link without a limit of its own gets one that can be counted with.
constexpr unsigned long LONGEST_RESPONSE_TIME = 3600000;

/// Without a link, or with one that can't tell.
constexpr unsigned long USUAL_RESPONSE_TIME = 500;

unsigned long responseTime(TkComms &comms) {
    try {
        return std::min(comms.timeoutPeriod(), LONGEST_RESPONSE_TIME);
    } catch (...) {
        return USUAL_RESPONSE_TIME;
    }
}

bool readByte(TkComms &comms, unsigned char &byte) {
    char read = 0;
    try {
        if (comms.read_ch(&read) <= 0) {
            return false;
        }
    } catch (...) {
        return false; // as a link that fails
    }
    byte = static_cast<unsigned char>(read);
    return true;
}

} // namespace

TkConversation::TkConversation(const FarEnd &farEnd, std::shared_ptr<TkComms> comms,
                               const std::vector<int> &keys)
    : m_pParameters(new TkParameterTable(keys)), m_FarEnd(farEnd), m_pComms(std::move(comms)),
      m_pRawRx(new TkCommsLog), m_pRawTx(new TkCommsLog), m_pParsed(new TkCommsLog),
      m_pTxMutex(new tkwaits::Turn), m_RefreshTimer(farEnd.pollingPeriod) {}

TkConversation::~TkConversation() = default;

std::shared_ptr<TkComms> TkConversation::borrowed(TkComms *comms) {
    return {std::shared_ptr<TkComms>(), comms};
}

void TkConversation::threadCycle() {
    processTransmitedMsgs();
    const bool awaited = m_bAwaitingResponse;
    processReceivedMsgs();
    const bool answered = awaited && !m_bAwaitingResponse;
    checkResponseTimer();
    checkRefreshTimer();
    supervise(m_nRefreshStep);
    checkComms();
    if (answered) {
        processTransmitedMsgs(); // the next frame needs no other cycle
    }
}

// --- Sending ------------------------------------------------------------------------------------

unsigned long TkConversation::responseLimit() {
    const std::shared_ptr<TkComms> comms = link();
    return comms ? responseTime(*comms) : USUAL_RESPONSE_TIME;
}

unsigned long TkConversation::waitLimit(unsigned long more) {
    const std::shared_ptr<TkComms> comms = link();
    return comms ? 4 * responseTime(*comms) + more : 4 * USUAL_RESPONSE_TIME;
}

bool TkConversation::transmit(int command, int value, int awaits, bool wait) {
    const unsigned long limit = wait ? waitLimit() : 0;
    Answer answer;
    return queueCommand(command, value, awaits, wait, answer) && waitForAnswer(answer, limit);
}

bool TkConversation::queueCommand(int command, int value, int awaits, bool wait, Answer &answer) {
    try {
        const TkLock lock(m_QueueMutex);
        std::vector<unsigned char> frame = encodeFrame(command, value);
        if (frame.empty()) {
            return false;
        }
        answer = queueFrame(std::move(frame), awaits, wait);
    } catch (const std::bad_alloc &) {
        return false;
    }
    return true;
}

TkConversation::Answer TkConversation::queueFrame(std::vector<unsigned char> frame, int awaits,
                                                  bool wait) {
    Answer answer = wait ? std::make_shared<TkExpectation>() : nullptr;
    m_TxQueue.push_back({std::move(frame), awaits, answer, false});
    ++m_nQueued;
    if (answer) {
        m_pParameters->expect(awaits, *answer);
    }
    return answer;
}

/// The worker can't bring an answer while it waits for it itself, nor while it waits for the turn.
bool TkConversation::canWait() {
    return !onThread() && !m_pTxMutex->isMine();
}

bool TkConversation::waitForAnswer(const Answer &answer, unsigned long limit) {
    return !answer || (canWait() && m_pParameters->await(*answer, limit));
}

std::size_t TkConversation::queuedFrames() {
    const TkLock lock(m_QueueMutex);
    return m_TxQueue.size();
}

bool TkConversation::isQueued(int awaited) {
    return std::any_of(m_TxQueue.begin(), m_TxQueue.end(),
                       [awaited](const Outgoing &frame) { return frame.awaits == awaited; });
}

/// At most one frame that expects a response is ever under way. It stays at the front until it is
/// answered, so that a repetition sends the same bytes. Only the worker takes frames away, so the
/// front stays where it is while the link is busy with it, without the lock.
void TkConversation::processTransmitedMsgs() {
    const std::shared_ptr<TkComms> comms = link();
    if (!comms) {
        flushTxBuffer();
        return;
    }
    if (m_bAwaitingResponse) {
        return;
    }
    Outgoing *const front = frameToSend();
    if (front == nullptr) {
        return;
    }
    writeFrame(*comms, front->frame);
    if (isAnswered(front->awaits)) {
        startResponseTimer(*comms);
    } else {
        dropFrontFrame();
    }
}

/// The front of the queue. While a lost far end is searched for, something must be: a probe that
/// was flushed for want of a link is sent anew.
TkConversation::Outgoing *TkConversation::frameToSend() {
    if (m_bFlushOnReply && queuedFrames() == 0) {
        m_bFlushOnReply = m_bRefreshEnabled;
        if (m_bFlushOnReply) {
            sendProbe();
        }
    }
    const TkLock lock(m_QueueMutex);
    if (m_TxQueue.empty()) {
        return nullptr;
    }
    Outgoing &front = m_TxQueue.front();
    if (!front.sent) {
        m_nRetries = 0;
        front.sent = true;
        if (front.answer) {
            m_pParameters->asked(*front.answer);
        }
    }
    return &front;
}

/// Whether the frame went out shows by its answer.
void TkConversation::writeFrame(TkComms &comms, std::vector<unsigned char> &frame) {
    m_pRawTx->append(frame.data(), frame.size());
    try {
        comms.write_str(reinterpret_cast<char *>(frame.data()),
                        static_cast<unsigned int>(frame.size()));
    } catch (...) {
        // A link of the application's that fails in its own way has failed all the same.
    }
    addParsedComms("TRANSMITTED: ", frame.data(), frame.size());
}

void TkConversation::sendControlByte(char byte) {
    try {
        if (m_pReading) {
            m_pReading->write_ch(byte);
        }
    } catch (...) {
        // As with a frame.
    }
}

void TkConversation::startResponseTimer(TkComms &comms) {
    m_bAwaitingResponse = true;
    m_ResponseTimer.setLength(static_cast<long>(responseTime(comms)));
}

void TkConversation::checkResponseTimer() {
    if (!m_bAwaitingResponse || !m_ResponseTimer.timedOut()) {
        return;
    }
    m_bAwaitingResponse = false;
    if (m_nRetries < MOST_RETRIES) {
        clearReceived();
        ++m_nRetries;
        return;
    }
    lostComms();
    flushTxBuffer();
    m_nRetries = 0;
    m_bFlushOnReply = m_bRefreshEnabled;
    if (m_bFlushOnReply) {
        sendProbe();
    }
}

void TkConversation::dropFrontFrame() {
    const TkLock lock(m_QueueMutex);
    if (!m_TxQueue.empty()) {
        m_TxQueue.pop_front();
    }
}

void TkConversation::flushTxBuffer() {
    const TkLock lock(m_QueueMutex);
    if (!m_TxQueue.empty()) {
        m_TxQueue.clear();
        flushed();
    }
}

// --- Receiving ----------------------------------------------------------------------------------

void TkConversation::processReceivedMsgs() {
    m_pReading = link();
    unsigned char byte = 0;
    bool more = m_pReading != nullptr;
    for (std::size_t i = 0; more && i < BYTES_A_CYCLE && readByte(*m_pReading, byte); ++i) {
        more = receiveByte(byte);
    }
    m_pReading.reset();
}

/// Returns whether this cycle goes on reading.
bool TkConversation::receiveByte(unsigned char byte) {
    if (m_bReceivedLost && m_bReceivedLost.exchange(false)) {
        clearReceived();
    }
    m_pRawRx->append(&byte, 1);
    if (m_RxBuffer.empty() && byte == NAK) {
        addParsedComms("RECEIVED: ", &byte, 1); // the response timer decides
        return false;
    }
    if (m_RxBuffer.size() == LONGEST_FRAME) {
        m_bOverlong = true;
        m_RxBuffer.erase(m_RxBuffer.begin() + 1, m_RxBuffer.end() - 1);
    }
    m_RxBuffer.push_back(byte);
    if (m_RxBuffer.size() == 1 && byte == ACK && m_FarEnd.ack != FarEnd::Ack::byte) {
        return receiveAck();
    }
    if (frameComplete(m_RxBuffer)) {
        m_Frame.swap(m_RxBuffer);
        const bool overlong = m_bOverlong;
        clearReceived();
        return handleFrame(overlong);
    }
    return true;
}

/// With the queue locked throughout, so that the ACK of one frame can't be taken for that of
/// another which is queued meanwhile.
bool TkConversation::receiveAck() {
    addParsedComms("RECEIVED: ", m_RxBuffer.data(), m_RxBuffer.size());
    clearReceived();
    const TkLock lock(m_QueueMutex);
    const bool answered = frameAwaitingResponse() != nullptr;
    if (answered) {
        m_bFlushOnReply = false;
        frontAnswered();
    }
    acknowledged(answered);
    return m_FarEnd.ack != FarEnd::Ack::lastAnswer;
}

bool TkConversation::handleFrame(bool overlong) {
    if (isRecord(m_Frame)) {
        return handleRecord();
    }
    handleText(overlong);
    return true;
}

/// A record fills whatever record is awaited, and answers the frame that asked for its kind, even
/// when nobody wants it any more: the generator has done what it was asked.
bool TkConversation::handleRecord() {
    if (isRepeatedReply()) {
        logRefused(m_FarEnd.unknown);
        return false;
    }
    const bool taken = receiveRecord(m_Frame);
    if (taken) {
        addParsedComms("RECEIVED:    ", m_Frame.data(), m_Frame.size());
    } else {
        logRefused(m_FarEnd.unknown);
    }
    const Outgoing *const front = frameAwaitingResponse();
    if (front != nullptr && front->awaits == m_Frame[1]) {
        m_nRepeatedReplies = m_nRetries;
        if (m_nRepeatedReplies > 0) {
            m_RepeatedRequest = front->frame;
            m_RepeatedReply = m_Frame;
        }
        frontAnswered();
    }
    return taken;
}

/// A request that went out again because its answer was late is answered again. The first answer
/// was taken; the others would fill the records that are asked for next.
bool TkConversation::isRepeatedReply() {
    const Outgoing *const front = frameAwaitingResponse();
    const bool askedAgain = front != nullptr && front->frame == m_RepeatedRequest;
    if (m_nRepeatedReplies == 0 || m_Frame != m_RepeatedReply || askedAgain) {
        return false;
    }
    --m_nRepeatedReplies;
    return true;
}

void TkConversation::handleText(bool overlong) {
    if (m_bFlushOnReply) {
        // The far end is back. What it says may answer a question of before the loss: it and what
        // was queued meanwhile are thrown away.
        flushTxBuffer();
        m_bFlushOnReply = false;
        m_nRetries = 0;
    } else if (overlong || !decodeFrame(m_Frame, m_Items)) {
        logRefused("Invalid Checksum on");
    } else if (accepted(); m_Items.empty() || !m_pParameters->declares(m_Items.front().command)) {
        logRefused(m_FarEnd.unknown);
    } else {
        handleItems();
    }
}

void TkConversation::handleItems() {
    addParsedComms("RECEIVED:    ", m_Frame.data(), m_Frame.size());
    {
        const TkLock lock(m_QueueMutex);
        const Outgoing *const front = frameAwaitingResponse();
        if (front != nullptr && answers(m_Items.front().command, front->awaits)) {
            const int awaited = front->awaits;
            frontAnswered();
            answeredByText(awaited);
        }
    }
    received(m_Items);
    for (const Item &item : m_Items) {
        handleReceivedMsg(item.command, item.value);
    }
}

void TkConversation::takeItems(TkItemCodec &codec, std::vector<Item> &items) {
    items.clear();
    for (int i = 0; i < codec.getNumCmds(); ++i) {
        items.push_back({codec.decodedCmd(i), codec.decodedValue(i)});
    }
}

void TkConversation::storeChange(int command, int value) {
    const TkParameterTable::Telling telling(*m_pParameters, command);
    int before = 0;
    if (m_pParameters->exchange(command, value, before) && value != before) {
        tell(command);
    }
}

void TkConversation::tell(int command, void *data) {
    if (m_bDispatcherEnabled) {
        m_DispatchManager.dispatchMsg(m_FarEnd.eventClass, command, data);
    }
}

bool TkConversation::isKnown(int key) const {
    return m_pParameters->value(key) != VALUE_UNKNOWN;
}

/// Only a frame that was sent can be answered: one that was queued while the rest of a wait runs
/// out is not meant.
const TkConversation::Outgoing *TkConversation::frameAwaitingResponse() {
    const TkLock lock(m_QueueMutex);
    const bool awaiting = m_bAwaitingResponse && !m_TxQueue.empty() && m_TxQueue.front().sent;
    return awaiting ? &m_TxQueue.front() : nullptr;
}

void TkConversation::frontAnswered() {
    m_bAwaitingResponse = false;
    m_nRetries = 0;
    dropFrontFrame();
}

void TkConversation::clearReceived() {
    m_RxBuffer.clear();
    m_bOverlong = false;
}

// --- The link ----------------------------------------------------------------------------------

std::shared_ptr<TkComms> TkConversation::link() {
    const TkLock lock(m_LinkMutex);
    return m_pComms;
}

TkComms *TkConversation::getCommDevice() {
    return link().get();
}

void TkConversation::changeCommDevice(TkComms *comms) {
    std::shared_ptr<TkComms> present = borrowed(comms);
    const TkLock lock(m_LinkMutex);
    m_pComms.swap(present);
}
