#ifndef TKBOUNDEDQUEUE_H
#define TKBOUNDEDQUEUE_H

#include "tkthread.h"

#include <cstddef>
#include <deque>
#include <utility>

/// What the far end sent and nobody has taken yet, oldest first. The far end decides how much it
/// sends: what comes while the queue is full isn't kept, but counted.
template <class T>
class TkBoundedQueue {
  public:
    using Weight = std::size_t (*)(const T &item);

    /// Holds items of together `most`.
    explicit TkBoundedQueue(std::size_t most, Weight weight = one)
        : m_nMost(most), m_Weight(weight) {}

    void add(T item) {
        const TkLock lock(m_Mutex);
        const std::size_t weight = m_Weight(item);
        ++m_nLost; // unless it goes well
        if (weight <= m_nMost - m_nWeight) {
            m_Items.push_back(std::move(item));
            m_nWeight += weight;
            --m_nLost;
        }
    }

    /// The oldest item, or an empty one.
    T front() {
        const TkLock lock(m_Mutex);
        return m_Items.empty() ? T() : m_Items.front();
    }

    /// The same, off the queue.
    T take() {
        const TkLock lock(m_Mutex);
        if (m_Items.empty()) {
            return T();
        }
        T item = std::move(m_Items.front());
        m_Items.pop_front();
        m_nWeight -= m_Weight(item);
        return item;
    }

    void clear() {
        const TkLock lock(m_Mutex);
        m_Items.clear();
        m_nWeight = 0;
    }

    /// How many items weren't kept.
    unsigned long lost() {
        const TkLock lock(m_Mutex);
        return m_nLost;
    }

  private:
    static std::size_t one(const T & /*item*/) { return 1; }

    const std::size_t m_nMost;
    const Weight m_Weight;
    TkMutex m_Mutex; // guards all below; a leaf
    std::deque<T> m_Items TKGEN_GUARDED_BY(m_Mutex);
    std::size_t m_nWeight TKGEN_GUARDED_BY(m_Mutex) = 0;
    unsigned long m_nLost TKGEN_GUARDED_BY(m_Mutex) = 0;
};

#endif
