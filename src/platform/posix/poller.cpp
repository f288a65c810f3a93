#include "platform/platform.h"

#include <array>
#include <cerrno>
#include <unordered_map>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace tkplatform {
namespace {

class Poller final : public SocketPoller {
  public:
    Poller()
        : m_Poll(::epoll_create1(EPOLL_CLOEXEC)), m_Wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = m_Wake;
        m_bUsable =
            m_Poll >= 0 && m_Wake >= 0 && ::epoll_ctl(m_Poll, EPOLL_CTL_ADD, m_Wake, &event) == 0;
    }
    ~Poller() override {
        for (const int file : {m_Poll, m_Wake}) {
            if (file >= 0) {
                ::close(file);
            }
        }
    }

    bool isUsable() const { return m_bUsable; }

    bool watch(SocketHandle socket, bool read, bool write) override {
        epoll_event event{};
        event.events = (read ? EPOLLIN : 0U) | (write ? EPOLLOUT : 0U);
        event.data.fd = static_cast<int>(socket);
        const int file = static_cast<int>(socket);
        return ::epoll_ctl(m_Poll, EPOLL_CTL_MOD, file, &event) == 0 ||
               (errno == ENOENT && ::epoll_ctl(m_Poll, EPOLL_CTL_ADD, file, &event) == 0);
    }

    void forget(SocketHandle socket) override {
        epoll_event unused{};
        ::epoll_ctl(m_Poll, EPOLL_CTL_DEL, static_cast<int>(socket), &unused);
    }

    const std::vector<Ready> &wait(long milliseconds) override {
        m_Ready.clear();
        const int count = ::epoll_wait(m_Poll, m_Events.data(), static_cast<int>(m_Events.size()),
                                       static_cast<int>(milliseconds));
        for (int i = 0; i < count; ++i) {
            take(m_Events[static_cast<std::size_t>(i)]);
        }
        return m_Ready;
    }

    void wake() override {
        const std::uint64_t one = 1;
        // It fails only when it rings already.
        [[maybe_unused]] const ssize_t written = ::write(m_Wake, &one, sizeof one);
    }

  private:
    void take(const epoll_event &event) {
        if (event.data.fd == m_Wake) {
            std::uint64_t rings = 0;
            [[maybe_unused]] const ssize_t count = ::read(m_Wake, &rings, sizeof rings);
            return;
        }
        const bool ended = (event.events & (EPOLLERR | EPOLLHUP)) != 0;
        const auto socket = static_cast<SocketHandle>(event.data.fd);
        m_Ready.push_back(
            {socket, (event.events & EPOLLIN) != 0, (event.events & EPOLLOUT) != 0, ended});
        if (ended) {
            forget(socket); // it would be told for ever
        }
    }

    const int m_Poll;
    const int m_Wake;
    bool m_bUsable = false;
    std::array<epoll_event, 256> m_Events{};
    std::vector<Ready> m_Ready;
};

} // namespace

std::unique_ptr<SocketPoller> SocketPoller::create() {
    auto poller = std::make_unique<Poller>();
    return poller->isUsable() ? std::move(poller) : nullptr;
}

} // namespace tkplatform
