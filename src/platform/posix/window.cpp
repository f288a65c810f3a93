#include "platform/platform.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

/// What is left until a time, as poll takes it.
int millisecondsUntil(Clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left, 0, INT_MAX));
}

/// A message queue. Its descriptor is readable while messages wait: it is written when the first
/// one comes and read when the last one goes, so that a post to a queue that nobody has emptied yet
/// makes no system call. Who waits for a message watches it too.
///
/// It is written without the lock, which a reader that wakes at once would only wait for. Until
/// then who takes the last message finds nothing to read, and the mark stays: the next reader that
/// finds the descriptor readable and no message clears both.
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
        if (keep(message)) {
            eventfd_write(m_nDescriptor, 1);
        }
    }

    bool get(TkWindowMessage &message, unsigned int milliseconds) {
        const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
        for (;;) {
            if (take(message)) {
                return true;
            }
            const int left = millisecondsUntil(end);
            if (left == 0 || isDestroyed()) {
                return false;
            }
            pollfd watched{m_nDescriptor, POLLIN, 0};
            ::poll(&watched, 1, left);
        }
    }

    void destroy() {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_bDestroyed = true;
        m_bMarked = false;
        m_Messages.clear();
        if (m_nOwner == ::getpid()) {        // a process that was forked has the same descriptor
            eventfd_write(m_nDescriptor, 1); // stays, and so wakes all who wait
        }
    }

    unsigned long lost() {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_nLost;
    }

  private:
    /// Whether the descriptor has to be written.
    bool keep(const TkWindowMessage &message) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_bDestroyed) {
            return false;
        }
        if (m_Messages.size() >= TK_WINDOW_MESSAGES) {
            ++m_nLost;
            return false;
        }
        m_Messages.push_back(message);
        return !std::exchange(m_bMarked, true);
    }

    bool take(TkWindowMessage &message) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        const bool taken = !m_Messages.empty();
        if (taken) {
            message = m_Messages.front();
            m_Messages.pop_front();
        }
        eventfd_t count = 0;
        if (m_bMarked && m_Messages.empty() && eventfd_read(m_nDescriptor, &count) == 0) {
            m_bMarked = false;
        }
        return taken;
    }

    bool isDestroyed() {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_bDestroyed;
    }

    const int m_nDescriptor;
    const pid_t m_nOwner = ::getpid();
    std::mutex m_Mutex; // guards all below; a leaf
    std::deque<TkWindowMessage> m_Messages;
    unsigned long m_nLost = 0;
    bool m_bMarked = false; // the descriptor is readable, or just about to be
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
