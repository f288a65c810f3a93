#include "tkinfimedcontrol.h"

#include "tkboundedqueue.h"
#include "tkconsolevocabulary.h"
#include "tkdispatchers.h"
#include "tkinfimedcodec.h"
#include "tkparametertable.h"

#include <string>

struct TkTextQueue : TkBoundedQueue<std::string> {
    using TkBoundedQueue::TkBoundedQueue;
};

namespace {

constexpr char ACK = 0x06;

constexpr long POLLING_PERIOD = 500; // ms
constexpr std::size_t MOST_TEXT = std::size_t{1} << 20;

/// With what it takes to keep it: the console may send texts of one byte for ever.
std::size_t weightOf(const std::string &text) {
    constexpr std::size_t keeping = 64;
    return text.size() + keeping;
}

std::vector<int> declareParameters() {
    std::vector<int> keys;
    for (const TkInfimedCommand &row : TkInfimedCommandTable::rows) {
        if (row.event) {
            keys.push_back(row.number);
        }
    }
    return keys;
}

} // namespace

TkInfimedControl::TkInfimedControl(TkComms *comms)
    : TkConversation({TkInfimedDispatcher::CLASS, "Infimed", "Unhandled", false,
                      FarEnd::Ack::lastAnswer, POLLING_PERIOD, false},
                     borrowed(comms), declareParameters()),
      m_pCodec(new TkInfimedCodec), m_pTexts(new TkTextQueue(MOST_TEXT, weightOf)) {
    setInfimedParam(TEXT, 0);
}

TkInfimedControl::~TkInfimedControl() {
    endThread();
}

int TkInfimedControl::getInfimedParam(int key) const {
    return m_pParameters->value(key);
}

int TkInfimedControl::setInfimedParam(int key, int value) {
    return m_pParameters->assign(key, value) ? 1 : 0;
}

bool TkInfimedControl::transmitMsg(int command, int value, bool wait) {
    return transmit(command, value, command, wait && m_pParameters->declares(command));
}

std::string TkInfimedControl::errorMsg() {
    return m_pTexts->take();
}

unsigned long TkInfimedControl::lostErrorMsgs() const {
    return m_pTexts->lost();
}

// --- What the console's protocol differs in ------------------------------------------------------

std::vector<unsigned char> TkInfimedControl::encodeFrame(int command, int value) {
    m_pCodec->encode(command, value, 0);
    return m_pCodec->encodedMsg();
}

/// The sum can have any value, that of an ETX too. What doesn't begin a frame is waste until the
/// next response time runs out.
bool TkInfimedControl::frameComplete(const std::vector<unsigned char> &received) const {
    return received.size() > 2 && received[received.size() - 2] == TK_ETX &&
           received.front() == TkInfimedCodec::STX;
}

bool TkInfimedControl::decodeFrame(std::vector<unsigned char> &frame, std::vector<Item> &items) {
    if (!m_pCodec->decode(&frame)) {
        return false;
    }
    items.assign(1, {m_pCodec->decodedCmd(), m_pCodec->decodedValue()});
    return true;
}

bool TkInfimedControl::isAnswered(int awaited) const {
    const TkInfimedCommand *const row = TkInfimedCommandTable::find(awaited);
    return row == nullptr || row->answered;
}

bool TkInfimedControl::answers(int /*command*/, int /*awaited*/) const {
    return true;
}

/// The console repeats a frame that nobody acknowledges, be it one that nobody knows.
void TkInfimedControl::accepted() {
    sendControlByte(ACK);
}

/// A text waits before the value of its frame is told: who waits for that, and then looks for a
/// text, mustn't miss it.
void TkInfimedControl::received(const std::vector<Item> & /*items*/) {
    const std::vector<unsigned char> text = m_pCodec->errorMsg();
    if (!text.empty()) {
        m_pTexts->add({text.begin(), text.end()});
    }
}

/// A text is told though the last one hasn't been taken: the queue is there for that.
void TkInfimedControl::handleReceivedMsg(int command, int value) {
    const Turn turn(*this);
    if (!turn) {
        return;
    }
    storeChange(command, value);
    if (m_pCodec->isErrorAvailable()) {
        int before = 0;
        m_pParameters->exchange(TEXT, 1, before);
        tell(TEXT);
    }
}

// --- Polling -------------------------------------------------------------------------------------

void TkInfimedControl::poll(int &step) {
    if (step == 0) {
        transmitMsg(ALIVE, 0, false);
    } else {
        transmitMsg(ACQUIRE, REQUEST_QUERY, false);
    }
    step = 1 - step;
}

void TkInfimedControl::sendProbe() {
    transmitMsg(ACQUIRE, REQUEST_QUERY, false);
}

bool TkInfimedControl::allKnown() const {
    return isKnown(ACQUIRE);
}

void TkInfimedControl::forget() {
    int before = 0;
    m_pParameters->exchange(ACQUIRE, VALUE_UNKNOWN, before);
}
