#include "platform/platform.h"

#include <atomic>
#include <cerrno>
#include <ctime>

namespace tkplatform {
namespace {

std::atomic<unsigned long (*)()> tickSource{nullptr};

} // namespace

unsigned long tick() {
    if (const auto source = tickSource.load(std::memory_order_acquire)) {
        return source();
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned long>(now.tv_sec) * 1000UL +
           static_cast<unsigned long>(now.tv_nsec) / 1000000UL;
}

void sleep(long milliseconds) {
    if (milliseconds <= 0) {
        return;
    }
    timespec rest{};
    rest.tv_sec = milliseconds / 1000;
    rest.tv_nsec = (milliseconds % 1000) * 1000000L;
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
    }
}

void setTickSource(unsigned long (*source)()) {
    tickSource.store(source, std::memory_order_release);
}

bool tickIsReplaced() {
    return tickSource.load(std::memory_order_acquire) != nullptr;
}

} // namespace tkplatform
