#include "tkwaits.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace tkwaits {
namespace {

using ThreadId = std::thread::id;

struct Presence {
    const void *place;
    ThreadId thread;
};

/// A thread waits for a place to be left, or, with no place, for another thread's end.
struct Wait {
    ThreadId waiter;
    const void *place;
    ThreadId thread;
};

struct Register {
    std::mutex lock; // guards the lists; a leaf
    std::condition_variable left;
    std::vector<Presence> present;
    std::vector<Wait> waits;
};

/// Never destroyed: engines of static objects may still deliver events at the process's end.
Register &instance() {
    static Register &all = *new Register;
    return all;
}

bool isInside(const Register &all, const void *place, ThreadId thread) {
    return std::any_of(all.present.begin(), all.present.end(), [=](const Presence &presence) {
        return presence.place == place && presence.thread == thread;
    });
}

bool othersInside(const Register &all, const void *place, ThreadId thread) {
    return std::any_of(all.present.begin(), all.present.end(), [=](const Presence &presence) {
        return presence.place == place && presence.thread != thread;
    });
}

bool waitsFor(const Register &all, ThreadId waiter, ThreadId target);

/// Whether somebody for whom `wait` waits is `target`, or waits for it in turn. Waits that close a
/// circle aren't begun, so the walk ends.
bool leadsTo(const Register &all, const Wait &wait, ThreadId target) {
    if (wait.place == nullptr) {
        return wait.thread == target || waitsFor(all, wait.thread, target);
    }
    return std::any_of(all.present.begin(), all.present.end(), [&](const Presence &presence) {
        return presence.place == wait.place && presence.thread != wait.waiter &&
               (presence.thread == target || waitsFor(all, presence.thread, target));
    });
}

bool waitsFor(const Register &all, ThreadId waiter, ThreadId target) {
    return std::any_of(all.waits.begin(), all.waits.end(), [&](const Wait &wait) {
        return wait.waiter == waiter && leadsTo(all, wait, target);
    });
}

void endWait(Register &all, ThreadId waiter) {
    const auto own = std::find_if(all.waits.rbegin(), all.waits.rend(),
                                  [=](const Wait &wait) { return wait.waiter == waiter; });
    all.waits.erase(std::next(own).base());
}

thread_local int visits = 0;

} // namespace

Visit::Visit(const void *place) : m_pPlace(place) {
    Register &all = instance();
    const std::lock_guard<std::mutex> lock(all.lock);
    all.present.push_back({place, std::this_thread::get_id()});
    ++visits;
}

Visit::~Visit() {
    Register &all = instance();
    const std::lock_guard<std::mutex> lock(all.lock);
    const auto own = std::find_if(all.present.rbegin(), all.present.rend(), [this](const auto &p) {
        return p.place == m_pPlace && p.thread == std::this_thread::get_id();
    });
    all.present.erase(std::next(own).base());
    --visits;
    if (!all.waits.empty()) {
        all.left.notify_all();
    }
}

bool insideAny() {
    return visits > 0;
}

void untilLeft(const void *place) {
    Register &all = instance();
    const ThreadId self = std::this_thread::get_id();
    std::unique_lock<std::mutex> lock(all.lock);
    const Wait wait{self, place, ThreadId()};
    if (isInside(all, place, self) || leadsTo(all, wait, self)) {
        return;
    }
    all.waits.push_back(wait);
    all.left.wait(lock, [&] { return !othersInside(all, place, self); });
    endWait(all, self);
}

Ending::Ending(std::thread::id thread) : m_bAllowed(true) {
    Register &all = instance();
    const std::lock_guard<std::mutex> lock(all.lock);
    const Wait wait{std::this_thread::get_id(), nullptr, thread};
    if (leadsTo(all, wait, wait.waiter)) {
        m_bAllowed = false;
        return;
    }
    all.waits.push_back(wait);
}

Ending::~Ending() {
    if (m_bAllowed) {
        Register &all = instance();
        const std::lock_guard<std::mutex> lock(all.lock);
        endWait(all, std::this_thread::get_id());
    }
}

} // namespace tkwaits
