#ifndef TKWAITS_H
#define TKWAITS_H

#include <thread>

/// Who is inside which dispatcher, and who waits for whom.
///
/// Callbacks may remove other dispatchers and stop other engines, and both wait for a thread that
/// may itself be in a callback that does the same. One register of all such waits lets a wait that
/// would close a circle be refused instead of begun: one of the parties goes on, and so all do.
/// The register has one lock of its own, under which nothing else is called.
namespace tkwaits {

/// For its lifetime the calling thread is inside `place`.
class Visit {
  public:
    explicit Visit(const void *place);
    ~Visit();
    Visit(const Visit &) = delete;
    Visit &operator=(const Visit &) = delete;

  private:
    const void *m_pPlace;
};

/// Whether the calling thread is inside any place.
bool insideAny();

/// Blocks until no other thread is inside `place`. Returns at once when the calling thread is
/// inside it, and when one of the others waits for the calling thread.
void untilLeft(const void *place);

/// Announces that the calling thread is about to wait for another thread's end.
class Ending {
  public:
    explicit Ending(std::thread::id thread);
    ~Ending();
    Ending(const Ending &) = delete;
    Ending &operator=(const Ending &) = delete;

    /// False when that thread waits for the caller: it must not be waited for.
    bool allowed() const { return m_bAllowed; }

  private:
    bool m_bAllowed;
};

} // namespace tkwaits

#endif
