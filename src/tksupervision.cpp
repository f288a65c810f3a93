#include "tkconversation.h"

#include "tkdispatchmanager.h"
#include "tkwaits.h"

// --- Polling ------------------------------------------------------------------------------------

/// A tick waits for the responses to all that the one before has asked. While nothing is known yet
/// that alone is its pace; the timer keeps the line quiet later.
void TkConversation::checkRefreshTimer() {
    if (m_bFlushOnReply) {
        restartPolling();
        return;
    }
    const bool hurries = !m_bConnected && m_FarEnd.hurriesAtFirst;
    const bool due = hurries || m_RefreshTimer.timedOut();
    if (m_bAwaitingResponse || !due || !polledFramesGone()) {
        return;
    }
    if (!m_bRefreshEnabled) {
        restartPolling();
        return;
    }
    poll(m_nRefreshStep);
    m_RefreshTimer.reset();
    const TkLock lock(m_QueueMutex);
    m_nPolled = m_nQueued;
}

bool TkConversation::polledFramesGone() {
    const TkLock lock(m_QueueMutex);
    return m_nQueued - m_TxQueue.size() >= m_nPolled;
}

void TkConversation::restartPolling() {
    m_RefreshTimer.reset();
    m_nRefreshStep = 0;
}

// --- Connecting ---------------------------------------------------------------------------------

/// The event is fired without the turn: who hears of it may wait for a thread that drops the
/// connection.
void TkConversation::checkComms() {
    if (m_bConnected || !allKnown()) {
        return;
    }
    {
        const Turn turn(*this);
        if (!turn || !allKnown()) {
            return;
        }
        m_bConnected = true;
    }
    if (m_bConnected && m_bDispatcherEnabled) {
        m_DispatchManager.CommsReEstablished(m_FarEnd.eventClass);
    }
}

// --- Losing the link ----------------------------------------------------------------------------

void TkConversation::enableRefresh(bool enable, bool dropConnection) {
    m_bRefreshEnabled = enable;
    if (!enable && dropConnection) {
        lostComms();
    }
}

/// In a callback the thread may have another engine's turn, and whoever has this one's may want
/// that: it doesn't wait, but leaves the loss to the one whose turn it is. So does a worker that is
/// being stopped while it waits.
void TkConversation::lostComms() {
    if (!tkwaits::inCallback()) {
        const Turn turn(*this);
        if (turn) {
            forgetAndTell();
            return;
        }
    }
    m_nLossRequested.exchange(1);
    serveRequestedLoss();
}

void TkConversation::forgetAndTell() {
    if (m_bTellingLoss) {
        return; // a callback that hears of the loss asks for it again: nothing has come since
    }
    m_bTellingLoss = true;
    forget();
    m_bReceivedLost = true;
    m_bConnected = false;
    if (m_bDispatcherEnabled) {
        m_DispatchManager.lostComms(m_FarEnd.eventClass);
    }
    if (m_nLossRequested.exchange(0) != 0) {
        forget(); // asked for while the loss was told: part of it
    }
    m_bTellingLoss = false;
}

/// A worker that waits for its turn is there to be stopped by the very callback that has it.
bool TkConversation::beginTurn() {
    return m_pTxMutex->begin(onThread() ? static_cast<TkThread *>(this) : nullptr);
}

void TkConversation::endTurn(bool held) {
    if (held) {
        m_pTxMutex->end();
    }
    serveRequestedLoss();
}

/// A request finds the turn free, or whoever has it looks here after giving it back. Both look by a
/// read-modify-write, which orders them against each other. So does whoever waited for the turn,
/// had he it or not.
void TkConversation::serveRequestedLoss() {
    while (m_nLossRequested.fetch_add(0) != 0 && m_pTxMutex->tryBegin()) {
        if (m_nLossRequested.exchange(0) != 0) {
            forgetAndTell();
        }
        m_pTxMutex->end();
    }
}
