#include "platform/platform.h"
#include "tkserverimp.h"

#include <algorithm>
#include <iterator>

TkServerSocketQueue::~TkServerSocketQueue() = default;

void TkServerSocketQueue::add(TkServerSocket *socket) {
    std::unique_ptr<TkServerSocket> added(socket);
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Sockets.push_front(std::move(added));
    try {
        m_Places[socket] = m_Sockets.begin();
    } catch (...) {
        m_Sockets.pop_front();
        throw;
    }
}

TkServerSocket *TkServerSocketQueue::remove(TkServerSocket *socket) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const auto found = m_Places.find(socket);
    if (found == m_Places.end()) {
        return nullptr;
    }
    const auto place = found->second;
    TkServerSocket *const before = place == m_Sockets.begin() ? nullptr : std::prev(place)->get();
    for (const auto &other : m_Sockets) {
        if (other->m_pCursor == socket) {
            other->m_pCursor = before;
        }
    }
    m_Places.erase(found);
    const auto next = m_Sockets.erase(place);
    return next == m_Sockets.end() ? nullptr : next->get();
}

void TkServerSocketQueue::clear() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Places.clear();
    m_Sockets.clear();
}

int TkServerSocketQueue::size() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return static_cast<int>(m_Sockets.size());
}

TkServerSocket *TkServerSocketQueue::operator[](int index) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const bool inside = index >= 0 && index < static_cast<int>(m_Sockets.size());
    return inside ? std::next(m_Sockets.begin(), index)->get() : nullptr;
}

TkServerSocket *TkServerSocketQueue::getFirstClient() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Sockets.empty() ? nullptr : m_Sockets.front().get();
}

TkServerSocket *TkServerSocketQueue::getNextClient(TkServerSocket *socket) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const auto found = m_Places.find(socket);
    if (found == m_Places.end()) {
        return nullptr;
    }
    const auto next = std::next(found->second);
    return next == m_Sockets.end() ? m_Sockets.front().get() : next->get();
}

TkServerSocket *TkServerSocketQueue::findClient(char const *address) {
    std::uint32_t wanted = 0;
    if (!tkplatform::addressFrom(address, &wanted)) {
        return nullptr;
    }
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const auto found = std::find_if(m_Sockets.begin(), m_Sockets.end(), [=](const auto &one) {
        return one->isClient() && one->ipAddress_dig() == wanted;
    });
    return found == m_Sockets.end() ? nullptr : found->get();
}

TkServerSocket *TkServerSocketQueue::findNext(TkServerSocket *behind, int type) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    auto next = m_Sockets.begin();
    if (behind) {
        const auto found = m_Places.find(behind);
        next = found == m_Places.end() ? m_Sockets.end() : std::next(found->second);
    }
    next =
        std::find_if(next, m_Sockets.end(), [=](const auto &one) { return one->m_nType == type; });
    return next == m_Sockets.end() ? nullptr : next->get();
}

std::vector<TkServerSocket *> TkServerSocketQueue::all() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    std::vector<TkServerSocket *> sockets;
    sockets.reserve(m_Sockets.size());
    for (const auto &one : m_Sockets) {
        sockets.push_back(one.get());
    }
    return sockets;
}
