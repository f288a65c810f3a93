#ifndef TKGEN_TESTS_CLOCK_H
#define TKGEN_TESTS_CLOCK_H

#include "platform/platform.h"

#include <atomic>

/// The library's tick in the hands of a test, for its lifetime.
class SettableClock {
  public:
    explicit SettableClock(unsigned long start = 1000) {
        now() = start;
        tkplatform::setTickSource([] { return now().load(); });
    }
    ~SettableClock() { tkplatform::setTickSource(nullptr); }
    SettableClock(const SettableClock &) = delete;
    SettableClock &operator=(const SettableClock &) = delete;

    void advance(unsigned long milliseconds) { now() += milliseconds; }

  private:
    static std::atomic<unsigned long> &now() {
        static std::atomic<unsigned long> tick;
        return tick;
    }
};

#endif
