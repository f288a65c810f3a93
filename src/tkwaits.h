#ifndef TKWAITS_H
#define TKWAITS_H

#include <thread>

/// Which thread is inside what, and who waits for whom.
///
/// Callbacks may remove other dispatchers, stop other engines and drop their connections, and all
/// of that waits for threads that may themselves be in a callback that does the same. One register
/// of all such waits lets a wait that would close a circle be refused instead of begun: one of the
/// parties goes on, and so all do. The register has one lock of its own, under which nothing else
/// is called, and takes no memory.
namespace tkwaits {

/// A thread's presence in a place: a dispatcher whose operation it runs, or the worker that it is.
class Presence {
  public:
    Presence() = default;
    ~Presence() { leave(); }
    Presence(const Presence &) = delete;
    Presence &operator=(const Presence &) = delete;

    void enter(const void *place, std::thread::id thread);
    void leave();

  private:
    friend struct Register;

    const void *m_pPlace = nullptr; // null: nowhere
    std::thread::id m_Thread;
    unsigned long m_nEntry = 0; // counts all entries
    Presence *m_pNext = nullptr;
    Presence **m_pLink = nullptr; // what points here
};

/// For its lifetime the calling thread runs a callback in `place`.
class Visit {
  public:
    explicit Visit(const void *place);
    ~Visit();
    Visit(const Visit &) = delete;
    Visit &operator=(const Visit &) = delete;

  private:
    Presence m_Presence;
};

/// Whether the calling thread runs a callback.
bool inCallback();

enum class Circle {
    giveWay, ///< a wait that would close a circle isn't begun
    insist   ///< it is, and another wait of the circle gives way
};

/// A point in the order of all entries: now.
unsigned long now();

/// Blocks until the threads that had entered `place` up to `moment` have left it. False, at once,
/// when the calling thread is one of them, and when the wait would close a circle; false too when
/// it has to give way later.
bool untilLeft(const void *place, unsigned long moment, Circle circle);

/// A recursive lock that goes round in the order of asking, and whose waits the register knows.
class Turn {
  public:
    Turn() = default;
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

    /// Waits for the turn. `worker` is the place that a worker leaves at its end, if the caller is
    /// that worker, or null: while somebody waits for the worker's end, it doesn't wait here. False
    /// when it hasn't got the turn for that reason, or because of a circle.
    bool begin(const void *worker);

    /// Takes the turn if nobody else has it or waits for it.
    bool tryBegin();

    /// Gives it back, as often as it was taken.
    void end();

    /// Whether the calling thread has it.
    bool isMine();

  private:
    bool takeAgain();

    Presence m_Holder; // the thread that has the turn is inside this object
    int m_nDepth = 0;  // how often
};

} // namespace tkwaits

#endif
