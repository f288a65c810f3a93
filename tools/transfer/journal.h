#ifndef TKTRANSFER_JOURNAL_H
#define TKTRANSFER_JOURNAL_H

#include "tkdispatchers.h"
#include "tkzmodem.h"
#include "wakeup.h"

#include <mutex>
#include <optional>
#include <vector>

/// A file of a transfer.
struct FileEntry {
    std::string name; // as the peer gave it
    unsigned long number = 0;
    unsigned long bytes = 0;
    Clock::time_point begun;
    Clock::duration length{}; // up to the last bytes
};

/// Keeps what the events of the only transfer of a program tell, and rings when a file begins.
class Journal final : public TkZModemDispatcher {
  public:
    Journal(TkZModem &transfer, bool sends, const Wakeup &wakeup);
    ~Journal() override;
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    /// The files that are through since the last call: a next one has begun, or the transfer is
    /// complete.
    std::vector<FileEntry> takeFinished();

    /// The file under way.
    std::optional<FileEntry> current() const;

    bool isComplete() const;
    bool isCancelled() const;

  protected:
    void transfer_started() override;
    void progress_changed() override;
    void transfer_cancelled() override;
    void transfer_complete() override;

  private:
    void finish();

    TkZModem &m_Transfer;
    const bool m_Sends;
    const Wakeup &m_Wakeup;
    mutable std::mutex m_Mutex; // guards all below; a leaf
    std::optional<FileEntry> m_Current;
    std::vector<FileEntry> m_Finished;
    bool m_Complete = false;
    bool m_Cancelled = false;
};

#endif
