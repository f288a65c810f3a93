#include "journal.h"

#include "tk.h"

#include <utility>

Journal::Journal(TkZModem &transfer, bool sends, const Wakeup &wakeup)
    : m_Transfer(transfer), m_Sends(sends), m_Wakeup(wakeup) {
    Tk::addDispatcher(this);
}

Journal::~Journal() {
    Tk::removeDispatcher(this);
}

std::vector<FileEntry> Journal::takeFinished() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return std::exchange(m_Finished, {});
}

std::optional<FileEntry> Journal::current() const {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Current;
}

bool Journal::isComplete() const {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Complete;
}

bool Journal::isCancelled() const {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Cancelled;
}

void Journal::finish() {
    if (m_Current) {
        m_Finished.push_back(*std::exchange(m_Current, std::nullopt));
    }
}

/// Also told when a file begins anew.
void Journal::transfer_started() {
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        const unsigned long number = m_Transfer.getCurrentFile();
        if (m_Current && m_Current->number == number) {
            return;
        }
        finish();
        m_Current = FileEntry{m_Transfer.getCurrentFileName(), number, 0, Clock::now(), {}};
    }
    m_Wakeup.ring();
}

/// Also told between two files, where the bytes are still those of the one before.
void Journal::progress_changed() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Current) {
        m_Current->bytes = m_Transfer.getTotalBytesTransfered();
        m_Current->length = Clock::now() - m_Current->begun;
    }
}

void Journal::transfer_cancelled() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Cancelled = true;
}

void Journal::transfer_complete() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Complete = true;
    if (m_Current && m_Sends) {
        m_Current->bytes = m_Transfer.getTotalTransferSize(); // the last block isn't counted
    }
    finish();
}
