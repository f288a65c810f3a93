#include "tkrecordtraffic.h"

#include "tkrecordwalk.h"
#include "tktimedwait.h"

#include <algorithm>

namespace {

template <class Records>
bool allValid(Records &records) {
    return std::all_of(records.begin(), records.end(),
                       [](TkBinaryInterface &record) { return record.isValid(); });
}

template <class Records>
void clearAll(Records &records) {
    for (TkBinaryInterface &record : records) {
        record.clearValid();
    }
}

} // namespace

TkRecordTraffic::TkRecordTraffic() {
    for (std::size_t i = 0; i < m_pReceptors.size(); ++i) {
        m_pReceptors[i].Receptor = static_cast<unsigned char>(i);
    }
    for (std::size_t i = 0; i < m_pAecSetups.size(); ++i) {
        m_pAecSetups[i].Channel = static_cast<unsigned char>(i);
    }
}

std::vector<unsigned char> TkRecordTraffic::begin(TkBinaryInterface &record, int mode, Wait *wait) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_pAwaitedRecord != nullptr) {
        return {};
    }
    std::vector<unsigned char> frame = record.generateCommand(mode);
    if (frame.empty() || frame.front() != tkrecord::START) {
        return {}; // the record hasn't this form
    }
    m_pAwaitedRecord = &record;
    m_pWait = wait;
    return frame;
}

bool TkRecordTraffic::await(Wait &wait, unsigned long limit) {
    std::unique_lock<std::mutex> lock(m_Mutex);
    tkTimedWait(m_Changed, lock, limit, [&] { return wait.m_bBinaryDone || wait.released; });
    if (m_pWait == &wait) {
        awaitNone(); // else another record may be awaited by now
    }
    return wait.m_bBinaryDone;
}

bool TkRecordTraffic::receive(std::vector<unsigned char> &frame) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const bool taken = m_pAwaitedRecord != nullptr && m_pAwaitedRecord->receiveMsg(&frame);
    answerWait();
    if (taken) {
        awaitNone();
    }
    return taken;
}

void TkRecordTraffic::acknowledge(bool answeredFrame) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    answerWait();
    if (answeredFrame) {
        awaitNone();
    }
}

void TkRecordTraffic::release() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    awaitNone();
}

int TkRecordTraffic::awaitedCommand() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_pAwaitedRecord == nullptr ? 0 : m_pAwaitedRecord->getCommand();
}

void TkRecordTraffic::expectWithin(unsigned long limit) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_bExpires = m_pAwaitedRecord != nullptr;
    m_Expiry.setLength(static_cast<long>(limit));
}

void TkRecordTraffic::expire() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_bExpires && m_Expiry.timedOut()) {
        awaitNone();
    }
}

void TkRecordTraffic::forget() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    awaitNone();
    clearAll(m_pReceptors);
    clearAll(m_pAecSetups);
}

bool TkRecordTraffic::receptorsValid() {
    return allValid(m_pReceptors);
}

bool TkRecordTraffic::aecSetupsValid() {
    return allValid(m_pAecSetups);
}

void TkRecordTraffic::answerWait() {
    if (m_pWait != nullptr) {
        m_pWait->m_bBinaryDone = true;
        m_Changed.notify_all();
    }
}

/// A caller that waits learns that nothing will come, if nothing has.
void TkRecordTraffic::awaitNone() {
    m_pAwaitedRecord = nullptr;
    m_bExpires = false;
    if (m_pWait != nullptr) {
        m_pWait->released = true;
        m_pWait = nullptr;
        m_Changed.notify_all();
    }
}
