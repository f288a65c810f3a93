#include "platform/platform.h"

#include <atomic>

namespace tkplatform {
namespace {

std::atomic<unsigned long (*)()> tickSource{nullptr};

} // namespace

unsigned long tick() {
    const auto source = tickSource.load(std::memory_order_acquire);
    return source ? source() : systemTick();
}

void setTickSource(unsigned long (*source)()) {
    tickSource.store(source, std::memory_order_release);
}

bool tickIsReplaced() {
    return tickSource.load(std::memory_order_acquire) != nullptr;
}

} // namespace tkplatform
