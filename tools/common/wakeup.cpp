#include "wakeup.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

bool isIgnored(int number) {
    struct sigaction action {};
    return ::sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/// The signals to end at. One that is ignored from the start stays so, as nohup wants it.
sigset_t endingSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    for (const int number : {SIGINT, SIGHUP}) {
        if (!isIgnored(number)) {
            sigaddset(&set, number);
        }
    }
    return set;
}

int untilDeadline(Deadline deadline) {
    if (!deadline) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
    return static_cast<int>(std::clamp<long long>(left.count(), 0, 1000000));
}

} // namespace

Wakeup::Wakeup(std::function<void()> restore) : m_Restore(std::move(restore)) {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "no pipe");
    }
    for (const int end : ends) {
        ::fcntl(end, F_SETFL, O_NONBLOCK);
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    m_Read = ends[0];
    m_Write = ends[1];
    const sigset_t signals = endingSignals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr); // inherited by every thread made from here
    m_Watch = std::thread([this] { watchSignals(); });
}

Wakeup::~Wakeup() {
    m_Ending = true;
    // The thread takes it off by sigwait. NOLINTNEXTLINE(bugprone-bad-signal-to-kill-thread)
    ::pthread_kill(m_Watch.native_handle(), SIGTERM);
    m_Watch.join();
    ::close(m_Read);
    ::close(m_Write);
}

void Wakeup::watchSignals() {
    const sigset_t signals = endingSignals();
    int number = 0;
    while (::sigwait(&signals, &number) == 0 && !m_Ending) {
        if (m_Interrupted.exchange(true)) {
            if (m_Restore) {
                m_Restore();
            }
            ::_exit(128 + number);
        }
        ring();
    }
}

void Wakeup::ring() const {
    const char byte = 0;
    // A full pipe wakes as well as one byte more would.
    while (::write(m_Write, &byte, 1) < 0 && errno == EINTR) {
    }
}

bool Wakeup::wait(int input, int messages, Deadline deadline) const {
    pollfd watched[] = {{m_Read, POLLIN, 0}, {input, POLLIN, 0}, {messages, POLLIN, 0}};
    if (::poll(watched, 3, untilDeadline(deadline)) <= 0) {
        return false;
    }
    char rings[256];
    while (::read(m_Read, rings, sizeof rings) == static_cast<ssize_t>(sizeof rings)) {
    }
    return watched[1].revents != 0;
}
