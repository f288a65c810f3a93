#include "tkgeneratorcontrol.h"

#include "tkrecordtraffic.h"
#include "tkrecordwalk.h"
#include "tkvocabulary.h"

#include <new>
#include <utility>

/// The awaited record and its frame appear together: no ACK of another frame falls between them.
bool TkGeneratorControl::transmitBinaryMsg(TkBinaryInterface *record, int mode, bool wait) {
    if (record == nullptr) {
        return false;
    }
    const unsigned long limit = wait && canWait() ? waitLimit() : 0;
    TkRecordTraffic::Wait answer;
    {
        const TkLock lock(m_QueueMutex);
        try {
            std::vector<unsigned char> frame =
                m_pRecords->begin(*record, mode, wait ? &answer : nullptr);
            if (frame.empty()) {
                return false;
            }
            queueFrame(std::move(frame), record->getCommand(), false);
        } catch (const std::bad_alloc &) {
            m_pRecords->release();
            return false;
        }
    }
    return !wait || m_pRecords->await(answer, limit);
}

/// The length counts the data: head and sum come on top. Nothing inside ends the frame earlier.
bool TkGeneratorControl::isWholeRecord(const std::vector<unsigned char> &received) {
    return received.size() >= tkrecord::HEAD &&
           received.size() > tkrecord::HEAD + tkrecord::lengthOf(received);
}

bool TkGeneratorControl::isRecord(const std::vector<unsigned char> &frame) const {
    return frame.front() == tkrecord::START;
}

bool TkGeneratorControl::receiveRecord(std::vector<unsigned char> &frame) {
    return m_pRecords->receive(frame);
}

/// An error came where a record was due. It may be the answer, or have come between: the record is
/// awaited for one more response time, but no longer, as nobody asks for it again; unless the error
/// answered an older frame and the record's own is still queued.
void TkGeneratorControl::answeredByText(int awaited) {
    const TkLock lock(m_QueueMutex);
    if (TkCommandTable::find(awaited) == nullptr && !isQueued(m_pRecords->awaitedCommand())) {
        m_pRecords->expectWithin(responseLimit());
    }
}

void TkGeneratorControl::acknowledged(bool answeredFrame) {
    m_pRecords->acknowledge(answeredFrame);
}

void TkGeneratorControl::flushed() {
    m_pRecords->release();
}
