#include "session.h"

#include <utility>

std::vector<Happening> Session::takeHappenings() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return std::exchange(m_Happenings, {});
}

void Session::note(const Happening &happening) {
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Happenings.push_back(happening);
    }
    m_Wakeup.ring();
}
