#include "platform/platform.h"

#include <cerrno>
#include <ctime>

namespace tkplatform {

unsigned long systemTick() {
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

} // namespace tkplatform
