#include "tkwaits.h"

#include <condition_variable>
#include <limits>
#include <mutex>

namespace tkwaits {

/// A thread that waits for those who entered a place up to `lastEntry`.
struct Wait {
    std::thread::id waiter;
    const void *place;
    unsigned long lastEntry;
    bool mayGiveWay;
    const void *worker = nullptr; // a wait for this worker's end makes it give way
    unsigned long ticket = 0;     // the order of asking
    bool givesWay = false;
    bool onPath = false; // of a search for circles
    Wait *next = nullptr;
};

/// The presences and waits, linked where they live: on the stacks of their threads.
struct Register {
    std::mutex lock; // guards all below, and the presences; a leaf
    std::condition_variable changed;
    Presence *present = nullptr;
    Wait *waits = nullptr;
    unsigned long entries = 0;

    void enter(Presence &presence, const void *place, std::thread::id thread);
    void leave(Presence &presence);
    bool holdsUp(const Presence &presence, const Wait &wait) const;
    bool isHeldUp(const Wait &wait) const;
    bool leadsTo(Wait &wait, std::thread::id thread);
    bool waitsFor(std::thread::id waiter, std::thread::id thread);
    void breakCircles(Wait &insisting);
    void releaseWorker(const void *worker, unsigned long moment);
    void link(Wait &wait);
    void unlink(Wait &wait);
    bool isFirst(const Wait &wait) const;
    bool isAwaited(const void *place) const;
    bool isInside(const void *place, std::thread::id thread) const;
};

namespace {

constexpr unsigned long ANY_ENTRY = std::numeric_limits<unsigned long>::max();

/// Never destroyed: engines of static objects may still deliver events at the process's end.
Register &instance() {
    static Register &all = *new Register;
    return all;
}

thread_local int callbacks = 0;

} // namespace

void Register::enter(Presence &presence, const void *place, std::thread::id thread) {
    presence.m_pPlace = place;
    presence.m_Thread = thread;
    presence.m_nEntry = ++entries;
    presence.m_pNext = present;
    presence.m_pLink = &present;
    if (present != nullptr) {
        present->m_pLink = &presence.m_pNext;
    }
    present = &presence;
}

void Register::leave(Presence &presence) {
    if (presence.m_pPlace == nullptr) {
        return;
    }
    presence.m_pPlace = nullptr;
    *presence.m_pLink = presence.m_pNext;
    if (presence.m_pNext != nullptr) {
        presence.m_pNext->m_pLink = presence.m_pLink;
    }
    if (waits != nullptr) {
        changed.notify_all();
    }
}

bool Register::isInside(const void *place, std::thread::id thread) const {
    const Presence *one = present;
    while (one != nullptr && (one->m_pPlace != place || one->m_Thread != thread)) {
        one = one->m_pNext;
    }
    return one != nullptr;
}

bool Register::holdsUp(const Presence &presence, const Wait &wait) const {
    return presence.m_pPlace == wait.place && presence.m_nEntry <= wait.lastEntry;
}

bool Register::isHeldUp(const Wait &wait) const {
    const Presence *one = present;
    while (one != nullptr && !holdsUp(*one, wait)) {
        one = one->m_pNext;
    }
    return one != nullptr;
}

/// Whether somebody for whom `wait` waits is `thread`, or waits for it in turn.
bool Register::leadsTo(Wait &wait, std::thread::id thread) {
    wait.onPath = true;
    bool found = false;
    for (const Presence *one = present; one != nullptr && !found; one = one->m_pNext) {
        found = holdsUp(*one, wait) && (one->m_Thread == thread || waitsFor(one->m_Thread, thread));
    }
    wait.onPath = false;
    return found;
}

bool Register::waitsFor(std::thread::id waiter, std::thread::id thread) {
    Wait *wait = waits;
    while (wait != nullptr &&
           (wait->waiter != waiter || wait->givesWay || wait->onPath || !leadsTo(*wait, thread))) {
        wait = wait->next;
    }
    return wait != nullptr;
}

/// Makes one wait of each circle that the insisting one closes give way. A circle of nothing but
/// insisting waits, destructors that wait for each other, stays.
void Register::breakCircles(Wait &insisting) {
    for (Wait *wait = waits; wait != nullptr; wait = wait->next) {
        if (wait->mayGiveWay && !wait->givesWay && leadsTo(insisting, wait->waiter) &&
            leadsTo(*wait, insisting.waiter)) {
            wait->givesWay = true;
        }
    }
    changed.notify_all();
}

void Register::releaseWorker(const void *worker, unsigned long moment) {
    for (Wait *wait = waits; wait != nullptr; wait = wait->next) {
        wait->givesWay = wait->givesWay || (wait->worker == worker && wait->ticket <= moment);
    }
    changed.notify_all();
}

void Register::link(Wait &wait) {
    wait.ticket = ++entries;
    wait.next = waits;
    waits = &wait;
}

/// Whoever comes next may be waiting for this wait's end.
void Register::unlink(Wait &wait) {
    Wait **link = &waits;
    while (*link != &wait) {
        link = &(*link)->next;
    }
    *link = wait.next;
    changed.notify_all();
}

bool Register::isFirst(const Wait &wait) const {
    const Wait *other = waits;
    while (other != nullptr && (other->place != wait.place || other->ticket >= wait.ticket)) {
        other = other->next;
    }
    return other == nullptr;
}

bool Register::isAwaited(const void *place) const {
    const Wait *one = waits;
    while (one != nullptr && one->place != place) {
        one = one->next;
    }
    return one != nullptr;
}

void Presence::enter(const void *place, std::thread::id thread) {
    Register &all = instance();
    const std::lock_guard<std::mutex> lock(all.lock);
    all.enter(*this, place, thread);
}

void Presence::leave() {
    Register &all = instance();
    const std::lock_guard<std::mutex> lock(all.lock);
    all.leave(*this);
}

Visit::Visit(const void *place) {
    m_Presence.enter(place, std::this_thread::get_id());
    ++callbacks;
}

Visit::~Visit() {
    --callbacks;
}

bool inCallback() {
    return callbacks > 0;
}

unsigned long now() {
    Register &all = instance();
    const std::lock_guard<std::mutex> lock(all.lock);
    return all.entries;
}

bool untilLeft(const void *place, unsigned long moment, Circle circle) {
    Register &all = instance();
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> lock(all.lock);
    if (all.isInside(place, self)) {
        return false;
    }
    all.releaseWorker(place, moment);
    Wait wait{self, place, moment, circle == Circle::giveWay};
    if (all.leadsTo(wait, self)) {
        if (circle == Circle::giveWay) {
            return false;
        }
        all.breakCircles(wait);
    }
    all.link(wait);
    all.changed.wait(lock, [&] { return wait.givesWay || !all.isHeldUp(wait); });
    all.unlink(wait);
    return !all.isHeldUp(wait);
}

bool Turn::takeAgain() {
    const bool mine = instance().isInside(this, std::this_thread::get_id());
    m_nDepth += mine ? 1 : 0;
    return mine;
}

bool Turn::begin(const void *worker) {
    Register &all = instance();
    std::unique_lock<std::mutex> lock(all.lock);
    if (takeAgain()) {
        return true;
    }
    Wait wait{std::this_thread::get_id(), this, ANY_ENTRY, true, worker};
    if (m_nDepth > 0 || all.isAwaited(this)) {
        if ((worker != nullptr && all.isAwaited(worker)) || all.leadsTo(wait, wait.waiter)) {
            return false;
        }
        all.link(wait);
        all.changed.wait(lock,
                         [&] { return wait.givesWay || (m_nDepth == 0 && all.isFirst(wait)); });
        all.unlink(wait);
        if (wait.givesWay) {
            return false;
        }
    }
    all.enter(m_Holder, this, wait.waiter);
    m_nDepth = 1;
    return true;
}

bool Turn::tryBegin() {
    Register &all = instance();
    const std::lock_guard<std::mutex> lock(all.lock);
    if (takeAgain()) {
        return true;
    }
    if (m_nDepth > 0 || all.isAwaited(this)) {
        return false;
    }
    all.enter(m_Holder, this, std::this_thread::get_id());
    m_nDepth = 1;
    return true;
}

void Turn::end() {
    Register &all = instance();
    const std::lock_guard<std::mutex> lock(all.lock);
    if (--m_nDepth == 0) {
        all.leave(m_Holder);
    }
}

bool Turn::isMine() {
    Register &all = instance();
    const std::lock_guard<std::mutex> lock(all.lock);
    return all.isInside(this, std::this_thread::get_id());
}

} // namespace tkwaits
