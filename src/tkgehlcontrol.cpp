#include "tkgehlcontrol.h"

#include "tkconsolevocabulary.h"
#include "tkdispatchers.h"
#include "tkgehlcodec.h"
#include "tkparametertable.h"

#include <iterator>

namespace {

constexpr unsigned char NO_TEXT = 0x01; // no frame begins so: it waits for the next time-out

constexpr long POLLING_PERIOD = 250; // ms

/// What polling asks for, one a tick.
constexpr int POLLED[] = {TkGEHLControl::STATE, TkGEHLControl::FRAME_RATE,
                          TkGEHLControl::FLUORO_ACQUIRE, TkGEHLControl::VERT_REVERSE,
                          TkGEHLControl::HORIZ_REVERSE};

std::vector<int> declareParameters() {
    std::vector<int> keys;
    keys.reserve(TkGEHLCommandTable::rows.size());
    for (const TkGEHLCommand &row : TkGEHLCommandTable::rows) {
        keys.push_back(row.number);
    }
    return keys;
}

} // namespace

TkGEHLControl::TkGEHLControl(TkComms *comms)
    : TkConversation({TkGEHLDispatcher::CLASS, "GEHL", "Unknown", false, FarEnd::Ack::byte,
                      POLLING_PERIOD, true},
                     borrowed(comms), declareParameters()),
      m_pCodec(new TkGEHLTextCodec) {}

TkGEHLControl::~TkGEHLControl() {
    endThread();
}

int TkGEHLControl::getGEHLParam(int key) const {
    return m_pParameters->value(key);
}

int TkGEHLControl::setGEHLParam(int key, int value) {
    return m_pParameters->assign(key, value) ? 1 : 0;
}

bool TkGEHLControl::transmitMsg(int command, int value, bool wait) {
    return transmit(command, value, command, wait);
}

// --- What the console's protocol differs in ------------------------------------------------------

std::vector<unsigned char> TkGEHLControl::encodeFrame(int command, int value) {
    m_pCodec->encode(command, value);
    return m_pCodec->encodedMsg();
}

bool TkGEHLControl::frameComplete(const std::vector<unsigned char> &received) const {
    return received.size() > 1 && received.back() == TK_ETX && received.front() != NO_TEXT;
}

bool TkGEHLControl::decodeFrame(std::vector<unsigned char> &frame, std::vector<Item> &items) {
    const bool good = m_pCodec->decode(&frame);
    if (good) {
        takeItems(*m_pCodec, items);
    }
    return good;
}

bool TkGEHLControl::isAnswered(int awaited) const {
    const TkGEHLCommand *const row = TkGEHLCommandTable::find(awaited);
    return row == nullptr || row->answered;
}

bool TkGEHLControl::answers(int command, int awaited) const {
    return command == awaited;
}

void TkGEHLControl::handleReceivedMsg(int command, int value) {
    const Turn turn(*this);
    if (turn) {
        storeChange(command, value);
    }
}

// --- Polling -------------------------------------------------------------------------------------

void TkGEHLControl::poll(int &step) {
    transmitMsg(POLLED[step], REQUEST_QUERY, false);
    step = (step + 1) % static_cast<int>(std::size(POLLED));
}

void TkGEHLControl::sendProbe() {
    transmitMsg(STATE, REQUEST_QUERY, false);
}

bool TkGEHLControl::allKnown() const {
    return isKnown(STATE);
}

void TkGEHLControl::forget() {
    m_pParameters->forget();
}
