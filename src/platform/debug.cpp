#include "platform/platform.h"

#include <mutex>

namespace {

std::mutex sinkLock; // guards both; held while the sink runs, so that no line comes after a change
TkDebugSink currentSink = nullptr;
void *currentContext = nullptr;

} // namespace

void tkSetDebugSink(TkDebugSink sink, void *context) {
    const std::lock_guard<std::mutex> lock(sinkLock);
    currentSink = sink;
    currentContext = context;
}

void tkplatform::debugOutput(const char *text) {
    const std::lock_guard<std::mutex> lock(sinkLock);
    if (currentSink == nullptr) {
        return;
    }
    try {
        currentSink(text, currentContext);
    } catch (...) {
        // Whoever has something to say isn't to suffer from the sink.
    }
}
