#ifndef TKTHREAD_H
#define TKTHREAD_H

#include "tkexport.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace tkwaits {
class Presence;
}

// Clang checks with these who holds which lock; other compilers see nothing.
#if defined(__clang__)
#define TKGEN_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TKGEN_THREAD_ANNOTATION(x)
#endif
#define TKGEN_GUARDED_BY(x) TKGEN_THREAD_ANNOTATION(guarded_by(x))
#define TKGEN_REQUIRES(x) TKGEN_THREAD_ANNOTATION(requires_capability(x))

/// A recursive lock: the thread that holds it may take it again.
class TKGEN_EXPORT TKGEN_THREAD_ANNOTATION(capability("mutex")) TkMutex {
  public:
    TkMutex() = default;
    TkMutex(const TkMutex &) = delete;
    TkMutex &operator=(const TkMutex &) = delete;

    /// Takes the lock, waiting for it without a limit.
    void lock() TKGEN_THREAD_ANNOTATION(acquire_capability()) { m_Lock.lock(); }

    /// Takes the lock if nobody else holds it; false otherwise. Never waits.
    bool try_lock() TKGEN_THREAD_ANNOTATION(try_acquire_capability(true)) {
        return m_Lock.try_lock();
    }

    /// Gives the lock back, as often as it was taken.
    void unlock() TKGEN_THREAD_ANNOTATION(release_capability()) { m_Lock.unlock(); }

  private:
    std::recursive_mutex m_Lock;
};

/// Holds a TkMutex for the length of a block.
class TKGEN_THREAD_ANNOTATION(scoped_lockable) TkLock {
  public:
    explicit TkLock(TkMutex &mutex) TKGEN_THREAD_ANNOTATION(acquire_capability(mutex))
        : m_Mutex(mutex) {
        m_Mutex.lock();
    }
    ~TkLock() TKGEN_THREAD_ANNOTATION(release_capability()) { m_Mutex.unlock(); }
    TkLock(const TkLock &) = delete;
    TkLock &operator=(const TkLock &) = delete;

  private:
    TkMutex &m_Mutex;
};

/// A timer in milliseconds on the system's tick. It has no lock: one thread at a time.
class TKGEN_EXPORT TkTimer {
  public:
    /// Starts a timer of `length` milliseconds.
    explicit TkTimer(long length);

    /// Changes the length and starts anew.
    void setLength(long length);

    /// Starts anew with the same length.
    void reset();

    /// Milliseconds since the start. A wrap of the tick does no harm.
    unsigned long elapsedTime() const;

    /// Whether the length has passed. A length of 0 or less always has.
    bool timedOut() const;

    /// The current tick in milliseconds. From any thread.
    static unsigned long time();

  private:
    unsigned long m_nStart;
    long m_nLength;
};

/// A worker that repeats one cycle on a thread of its own, with a sleep between two cycles.
///
/// A class that derives from it calls endThread in its own destructor, before what the cycle uses
/// is gone. An exception that leaves a cycle is dropped, and the thread goes on. The operations
/// may be called from any thread.
class TKGEN_EXPORT TkThread {
  public:
    TkThread();

    /// Ends the thread as endThread does. Not from one of the thread's own callbacks, unless one
    /// ends the process and the object is static.
    virtual ~TkThread();
    TkThread(const TkThread &) = delete;
    TkThread &operator=(const TkThread &) = delete;

    /// Starts the thread. Returns 1, or 0 when one exists already or none can be created.
    int startControl();

    /// Stops the thread. Returns 1 once it has ended, and when there was none; it blocks for the
    /// rest of the running cycle, but not for the sleep behind it.
    ///
    /// On the thread itself, as from a dispatcher's callback, it can't wait: it returns 0 at once,
    /// and the thread ends when the callback has returned and the cycle is through. A later call
    /// from another thread, or the destructor, collects it; only then can it be started again.
    /// The same holds from a callback on another thread which this one waits for in its turn.
    int stopControl();

    /// The sleep between two cycles, 1 ms at the start. 0 or less doesn't sleep at all. A change
    /// holds from the next sleep on. Neither call waits for a sleep under way.
    void setSleepTime(int milliseconds);
    int getSleepTime();

    /// Whether the thread is to go on: true from startControl to stopControl. Takes no lock.
    bool isThreadActive() const { return m_bActive.load(std::memory_order_acquire); }

    /// Sleeps on the calling thread.
    static void tksleep(long milliseconds);

  protected:
    /// One cycle of the work; empty here.
    virtual void threadCycle() {}

    /// For destructors: stops the thread and blocks until it has ended, also where stopControl
    /// would be refused because the thread waits for the caller, or for others who do; a wait of
    /// theirs then ends early. Two threads that destroy each other can't both be served.
    void endThread();

    /// Whether the caller is the worker thread.
    bool onThread();

    /// Lets the thread end behind its present cycle. Doesn't wait, and may be called on it.
    void endAfterCycle();

  private:
    static void processThread(void *object);
    int stop(bool insist);
    void sleepBetweenCycles();

    const std::unique_ptr<tkwaits::Presence> m_pPresence; // of the thread, from start to end
    std::mutex m_Mutex; // guards all below; only the register of waits is locked while it is held
    std::condition_variable m_Changed;
    int m_nSleepTime = 1;
    std::atomic<bool> m_bActive{false}; // written under the lock, for the sleep that it ends
    unsigned long m_nStarts = 0;
    std::thread m_Thread; // joinable until it has been collected
};

#endif
