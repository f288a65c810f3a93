#include "tkthread.h"

#include "platform/platform.h"
#include "tkwaits.h"

#include <chrono>
#include <exception>

TkTimer::TkTimer(long length) : m_nStart(time()), m_nLength(length) {}

void TkTimer::setLength(long length) {
    m_nLength = length;
    reset();
}

void TkTimer::reset() {
    m_nStart = time();
}

unsigned long TkTimer::elapsedTime() const {
    return time() - m_nStart;
}

bool TkTimer::timedOut() const {
    return m_nLength <= 0 || elapsedTime() >= static_cast<unsigned long>(m_nLength);
}

unsigned long TkTimer::time() {
    return tkplatform::tick();
}

TkThread::TkThread() : m_pPresence(new tkwaits::Presence) {}

TkThread::~TkThread() {
    endThread();
    if (m_Thread.joinable()) {
        // On the thread itself: a callback ends the process, and this object is static.
        m_Thread.detach();
    }
}

int TkThread::startControl() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Thread.joinable()) {
        return 0;
    }
    m_bActive = true; // before the new thread can look
    try {
        m_Thread = std::thread(&TkThread::processThread, this);
    } catch (const std::exception &) { // no thread, or no memory for one
        m_bActive = false;
        return 0;
    }
    // On its behalf, so that a stop finds it; it can't leave before it has the lock.
    m_pPresence->enter(this, m_Thread.get_id());
    ++m_nStarts;
    return 1;
}

int TkThread::stopControl() {
    return stop(false);
}

void TkThread::endThread() {
    stop(true);
}

void TkThread::endAfterCycle() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_bActive = false;
    m_Changed.notify_all();
}

int TkThread::stop(bool insist) {
    unsigned long started = 0;
    unsigned long moment = 0;
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_bActive = false;
        m_Changed.notify_all();
        if (!m_Thread.joinable()) {
            return 1;
        }
        started = m_nStarts;
        moment = tkwaits::now();
    }
    const auto circle = insist ? tkwaits::Circle::insist : tkwaits::Circle::giveWay;
    if (!tkwaits::untilLeft(this, moment, circle)) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Thread.joinable() && m_nStarts == started) {
        m_Thread.join(); // it has left, and ends at once
    }
    return 1;
}

void TkThread::setSleepTime(int milliseconds) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_nSleepTime = milliseconds;
}

int TkThread::getSleepTime() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_nSleepTime;
}

void TkThread::tksleep(long milliseconds) {
    tkplatform::sleep(milliseconds);
}

bool TkThread::onThread() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Thread.get_id() == std::this_thread::get_id();
}

void TkThread::processThread(void *object) {
    auto *const self = static_cast<TkThread *>(object);
    while (self->isThreadActive()) {
        try {
            self->threadCycle();
        } catch (...) {
            // A cycle that failed, for want of memory or in an application's link, is given up;
            // the next one starts from what the object holds.
        }
        self->sleepBetweenCycles();
    }
    self->m_pPresence->leave(); // the object may be gone from here on
}

/// The lock is free during the sleep, and a stop ends it.
void TkThread::sleepBetweenCycles() {
    std::unique_lock<std::mutex> lock(m_Mutex);
    if (m_nSleepTime > 0) {
        m_Changed.wait_for(lock, std::chrono::milliseconds(m_nSleepTime),
                           [this] { return !m_bActive; });
    }
}
