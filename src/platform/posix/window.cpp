#include "platform/platform.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <sys/eventfd.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>

namespace {

/// A message queue. Its descriptor is readable while messages wait: it is written when the first
/// one comes and read when the last one goes, so that a post to a queue that nobody has emptied
/// yet makes no system call.
class Window {
  public:
    Window() : m_nDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~Window() {
        if (m_nDescriptor >= 0) {
            ::close(m_nDescriptor);
        }
    }
    Window(const Window &) = delete;
    Window &operator=(const Window &) = delete;

    int descriptor() const { return m_nDescriptor; }

    void post(const TkWindowMessage &message) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_bDestroyed) {
            return;
        }
        if (m_Messages.size() >= TK_WINDOW_MESSAGES) {
            ++m_nLost;
            return;
        }
        m_Messages.push_back(message);
        if (m_Messages.size() == 1) {
            eventfd_write(m_nDescriptor, 1);
        }
        m_Changed.notify_one();
    }

    bool get(TkWindowMessage &message, unsigned int milliseconds) {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                           [this] { return m_bDestroyed || !m_Messages.empty(); });
        if (m_bDestroyed || m_Messages.empty()) {
            return false;
        }
        message = m_Messages.front();
        m_Messages.pop_front();
        if (m_Messages.empty()) {
            eventfd_t count = 0;
            eventfd_read(m_nDescriptor, &count);
        }
        return true;
    }

    void destroy() {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_bDestroyed = true;
        m_Changed.notify_all();
        eventfd_write(m_nDescriptor, 1); // wakes who watches the descriptor
    }

    unsigned long lost() {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_nLost;
    }

  private:
    const int m_nDescriptor;
    std::mutex m_Mutex; // guards all below; a leaf
    std::condition_variable m_Changed;
    std::deque<TkWindowMessage> m_Messages;
    unsigned long m_nLost = 0;
    bool m_bDestroyed = false;
};

/// The windows by handle. A handle is a number that is given once, so that a stale one never
/// reaches another window.
struct Windows {
    std::mutex lock; // guards both; a leaf
    std::unordered_map<HWND, std::shared_ptr<Window>> open;
    std::uintptr_t last = 0;
};

/// Never destroyed: a worker may still post at the process's end.
Windows &windows() {
    static Windows &all = *new Windows;
    return all;
}

std::shared_ptr<Window> find(HWND handle) {
    Windows &all = windows();
    const std::lock_guard<std::mutex> lock(all.lock);
    const auto found = all.open.find(handle);
    return found == all.open.end() ? nullptr : found->second;
}

} // namespace

HWND tkCreateWindow(void) {
    try {
        const auto window = std::make_shared<Window>();
        if (window->descriptor() < 0) {
            return nullptr;
        }
        Windows &all = windows();
        const std::lock_guard<std::mutex> lock(all.lock);
        // A number in the shape of a pointer, which nobody follows.
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        const auto handle = reinterpret_cast<HWND>(++all.last);
        all.open.emplace(handle, window);
        return handle;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void tkDestroyWindow(HWND window) {
    std::shared_ptr<Window> gone;
    {
        Windows &all = windows();
        const std::lock_guard<std::mutex> lock(all.lock);
        const auto found = all.open.find(window);
        if (found == all.open.end()) {
            return;
        }
        gone = std::move(found->second);
        all.open.erase(found);
    }
    gone->destroy();
}

bool tkGetMessage(HWND window, TkWindowMessage *message, unsigned int milliseconds) {
    const std::shared_ptr<Window> open = find(window);
    return open && message != nullptr && open->get(*message, milliseconds);
}

int tkWindowFd(HWND window) {
    const std::shared_ptr<Window> open = find(window);
    return open ? open->descriptor() : -1;
}

unsigned long tkLostMessages(HWND window) {
    const std::shared_ptr<Window> open = find(window);
    return open ? open->lost() : 0;
}

void tkplatform::postMessage(HWND window, unsigned int message, unsigned long wParam, long lParam) {
    if (const std::shared_ptr<Window> open = find(window)) {
        try {
            open->post({message, wParam, lParam});
        } catch (const std::bad_alloc &) {
            // A message for which there is no memory is lost like one to a full queue.
        }
    }
}
