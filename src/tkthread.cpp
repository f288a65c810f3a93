#include "tkthread.h"

#include "platform/platform.h"
#include "tkwaits.h"

#include <chrono>
#include <system_error>

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

TkThread::~TkThread() {
    stopControl();
}

int TkThread::startControl() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_ThreadId != std::thread::id()) {
        return 0;
    }
    m_bActive = true; // before the new thread can look
    try {
        m_Thread = std::thread(&TkThread::processThread, this);
    } catch (const std::system_error &) {
        m_bActive = false;
        return 0;
    }
    m_ThreadId = m_Thread.get_id();
    return 1;
}

int TkThread::stopControl() {
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_bActive = false;
    m_Changed.notify_all();
    if (m_ThreadId == std::thread::id()) {
        return 1;
    }
    const tkwaits::Ending ending(m_ThreadId);
    if (!ending.allowed()) {
        return 0;
    }
    if (m_bEnding) {
        m_Changed.wait(lock, [this] { return !m_bEnding; });
        return 1;
    }
    m_bEnding = true;
    lock.unlock();
    m_Thread.join();
    lock.lock();
    m_ThreadId = std::thread::id();
    m_bEnding = false;
    m_Changed.notify_all();
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

bool TkThread::isThreadActive() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_bActive;
}

void TkThread::tksleep(long milliseconds) {
    tkplatform::sleep(milliseconds);
}

bool TkThread::onThread() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_ThreadId == std::this_thread::get_id();
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
}

/// The lock is free during the sleep, and a stop ends it.
void TkThread::sleepBetweenCycles() {
    std::unique_lock<std::mutex> lock(m_Mutex);
    if (m_nSleepTime > 0) {
        m_Changed.wait_for(lock, std::chrono::milliseconds(m_nSleepTime),
                           [this] { return !m_bActive; });
    }
}
