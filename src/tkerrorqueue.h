#ifndef TKERRORQUEUE_H
#define TKERRORQUEUE_H

#include "tkthread.h"

#include <cstddef>
#include <deque>

/// The numbers of errors that the generator sent, oldest first. It decides how many it sends: while
/// the queue is full, further ones aren't kept.
class TkErrorQueue {
  public:
    void add(int number) {
        const TkLock lock(m_Mutex);
        if (m_Numbers.size() < MOST) {
            m_Numbers.push_back(static_cast<unsigned char>(number));
        }
    }

    /// The oldest number, or 0.
    int front() {
        const TkLock lock(m_Mutex);
        return m_Numbers.empty() ? 0 : m_Numbers.front();
    }

    /// The same, off the queue.
    int take() {
        const TkLock lock(m_Mutex);
        if (m_Numbers.empty()) {
            return 0;
        }
        const int number = m_Numbers.front();
        m_Numbers.pop_front();
        return number;
    }

    void clear() {
        const TkLock lock(m_Mutex);
        m_Numbers.clear();
    }

  private:
    static constexpr std::size_t MOST = 1000;

    TkMutex m_Mutex; // guards the numbers; a leaf
    std::deque<unsigned char> m_Numbers TKGEN_GUARDED_BY(m_Mutex);
};

#endif
