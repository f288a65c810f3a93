#include "tkcommslog.h"

#include <algorithm>
#include <limits>
#include <new>

void TkCommsLog::enable(bool enable) {
    const TkLock lock(m_Mutex);
    if (m_bEnabled != enable) {
        m_bEnabled = enable;
        std::deque<char>().swap(m_Bytes);
    }
}

void TkCommsLog::append(const void *bytes, std::size_t count) {
    if (!enabled()) {
        return;
    }
    const char *const first = static_cast<const char *>(bytes);
    const TkLock lock(m_Mutex);
    if (!m_bEnabled) {
        return;
    }
    try {
        m_Bytes.insert(m_Bytes.end(), first, first + count);
    } catch (const std::bad_alloc &) {
        // Without memory for the log the conversation goes on.
    }
}

int TkCommsLog::read(char *buffer, unsigned int size) {
    constexpr std::size_t MOST = std::numeric_limits<int>::max();
    const TkLock lock(m_Mutex);
    if (!m_bEnabled || buffer == nullptr) {
        return -1;
    }
    const std::size_t count = std::min({static_cast<std::size_t>(size), m_Bytes.size(), MOST});
    const auto end = m_Bytes.begin() + static_cast<std::ptrdiff_t>(count);
    std::copy(m_Bytes.begin(), end, buffer);
    m_Bytes.erase(m_Bytes.begin(), end);
    buffer[count] = 0;
    return static_cast<int>(count);
}
