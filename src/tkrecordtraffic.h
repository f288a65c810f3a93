#ifndef TKRECORDTRAFFIC_H
#define TKRECORDTRAFFIC_H

#include "tkbinary_aec.h"
#include "tkbinary_dorvatable.h"
#include "tkbinary_receptors.h"
#include "tkthread.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

/// The records that an engine keeps, and the one record, its own or the application's, whose reply
/// it awaits. It knows nothing of queues and links.
///
/// One lock, a leaf, guards it all. A reply is filled in under it: so a copy is of one reply, and
/// once a waiting call has ended, nobody touches its record any more.
class TkRecordTraffic {
  public:
    TkRecordTraffic();

    /// A caller that waits for his record's answer.
    struct Wait {
        bool m_bBinaryDone = false; // an answer came
        bool released = false;      // none will come
    };

    /// Awaits a record and gives the frame for it; an empty one when another record is awaited, or
    /// this one can't be read, or written.
    /// `wait`, if any, stays until await() has returned.
    std::vector<unsigned char> begin(TkBinaryInterface &record, int mode, Wait *wait);

    /// Blocks until the answer has come, which gives true, or none can come any more, or `limit` ms
    /// have passed. The record isn't awaited then.
    bool await(Wait &wait, unsigned long limit);

    /// Hands a frame to the awaited record, which is awaited no more. False when there is none, or
    /// it doesn't take the frame.
    bool receive(std::vector<unsigned char> &frame);

    /// A lone ACK. One that answered a frame ends the wait for a record's reply.
    void acknowledge(bool answeredFrame);

    /// The request is gone from the queue: the awaited record gets no reply.
    void release();

    /// The command code of the awaited record; 0 when there is none.
    int awaitedCommand();

    /// Gives the awaited record that many ms, after which expire() releases it.
    void expectWithin(unsigned long limit);
    void expire();

    /// The link is lost: releases, and what the engine knew of receptors and AEC isn't valid now.
    void forget();

    // Whether all of a kind are valid; any thread, without the lock.
    bool receptorsValid();
    bool aecSetupsValid();

    /// Calls `read` with this object under the lock.
    template <class Read>
    auto read(Read read) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return read(*this);
    }

    std::array<TkBinary_Receptors, TkBinary_Receptors::RECEPTORS> m_pReceptors;
    std::array<TkBinary_AECSetup, TkBinary_AECSetup::CHANNELS> m_pAecSetups;
    TkBinary_DorvaTable m_pDorvaTable;

  private:
    void answerWait();
    void awaitNone();

    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    TkBinaryInterface *m_pAwaitedRecord = nullptr;
    bool m_bExpires = false; // once m_Expiry has timed out
    TkTimer m_Expiry{0};
    Wait *m_pWait = nullptr; // the caller that waits for that record's reply, if any
};

#endif
