#ifndef TKPROGRAMS_WAKEUP_H
#define TKPROGRAMS_WAKEUP_H

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <thread>

using Clock = std::chrono::steady_clock;
using Deadline = std::optional<Clock::time_point>;

/// What the main thread sleeps on: input, messages, a ring from another thread, a signal that asks
/// for the end, or a point in time. One object in a program.
class Wakeup {
  public:
    /// From now on SIGINT, SIGTERM and SIGHUP ring and are told by interrupted(). A second one
    /// ends the program at once; before that, `restore` is called on a thread of its own. To be
    /// made before any other thread.
    explicit Wakeup(std::function<void()> restore = {});
    ~Wakeup();
    Wakeup(const Wakeup &) = delete;
    Wakeup &operator=(const Wakeup &) = delete;

    /// Ends the present wait, or the next one. From any thread, never blocks.
    void ring() const;

    /// Sleeps until one of the above; without a deadline for as long as it takes. `input`
    /// and `messages` are descriptors to watch, or -1. Returns whether there is something to read
    /// from `input`.
    bool wait(int input, int messages, Deadline deadline) const;

    bool interrupted() const { return m_Interrupted; }

  private:
    void watchSignals();

    const std::function<void()> m_Restore;
    int m_Read;
    int m_Write;
    std::atomic<bool> m_Interrupted{false};
    std::atomic<bool> m_Ending{false};
    std::thread m_Watch; // the only thread that gets signals
};

#endif
