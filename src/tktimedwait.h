#ifndef TKTIMEDWAIT_H
#define TKTIMEDWAIT_H

#include "platform/platform.h"
#include "tkthread.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

/// Waits on a condition until `holds()`, up to `limit` ms of the system's tick. Returns whether it
/// holds.
template <class Condition>
bool tkTimedWait(std::condition_variable &changed, std::unique_lock<std::mutex> &lock,
                 unsigned long limit, Condition holds) {
    constexpr unsigned long LOOK = 1; // a tick that a test moves wakes nobody: look at it often
    const TkTimer timer(0);
    while (!holds()) {
        const unsigned long elapsed = timer.elapsedTime();
        if (elapsed >= limit) {
            return false;
        }
        changed.wait_for(
            lock, std::chrono::milliseconds(tkplatform::tickIsReplaced() ? LOOK : limit - elapsed));
    }
    return true;
}

#endif
