#ifndef TKCOMMSLOG_H
#define TKCOMMSLOG_H

#include "tkthread.h"

#include <atomic>
#include <cstddef>
#include <deque>

/// A log of traffic in memory, off at the start. It grows until it is read.
class TkCommsLog {
  public:
    /// Switches the log on, or off, which drops what it holds.
    void enable(bool enable);
    bool enabled() const { return m_bEnabled.load(std::memory_order_acquire); }

    /// Appends bytes, if the log is on.
    void append(const void *bytes, std::size_t count);

    /// Moves up to `size` bytes out of the log and ends them with a zero byte. Returns how many,
    /// or -1 when the log is off or `buffer` null.
    int read(char *buffer, unsigned int size);

  private:
    std::atomic<bool> m_bEnabled{false}; // changed under the lock
    TkMutex m_Mutex;                     // guards the bytes; a leaf
    std::deque<char> m_Bytes TKGEN_GUARDED_BY(m_Mutex);
};

#endif
