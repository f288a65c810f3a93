#ifndef TKPROGRAMS_BACKOFF_H
#define TKPROGRAMS_BACKOFF_H

#include "wakeup.h"

/// How long to wait before the next try: twice as long after each failure, and short again after
/// one that was long in coming.
class Backoff {
  public:
    using Pause = std::chrono::milliseconds;

    Backoff(Pause first, Pause longest) : m_First(first), m_Longest(longest), m_Next(first) {}

    /// The pause behind a failure that has come now.
    Pause next();

  private:
    const Pause m_First;
    const Pause m_Longest;
    Pause m_Next;
    Clock::time_point m_Calm{}; // a failure behind this one is a new trouble
};

#endif
