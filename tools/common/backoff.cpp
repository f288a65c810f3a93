#include "backoff.h"

#include <algorithm>

Backoff::Pause Backoff::next() {
    const auto now = Clock::now();
    if (now >= m_Calm) {
        m_Next = m_First;
    }
    const Pause pause = m_Next;
    m_Next = std::min(m_Next * 2, m_Longest);
    m_Calm = now + pause + m_Longest;
    return pause;
}
