// What a posted message costs: an operation of TkWindowsDispatcher, which reads the parameter and
// posts, called as the event manager calls it; and its taking. And what a queue that nobody reads
// holds on to.
//
// Look at: Time of postAndTake, both for one message, and of unread, below 1 µs;
// heap_growth_bytes of unread, which is that of the messages that a queue keeps, however many are
// posted. Who posts to a reader that sleeps has to wake it, which the system charges for:
// wakeReader against wakeThread, the same without the library.

#include "tkgeneratorcontrol.h"
#include "tkwindowsdispatcher.h"

#include "allocations.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace {

/// A dispatcher whose operations can be called.
class Posting : public TkWindowsDispatcher {
  public:
    using TkWindowsDispatcher::radiographic_Kv_Changed;
    using TkWindowsDispatcher::TkWindowsDispatcher;
};

/// An engine, a window, and the dispatcher between them.
struct Scene {
    TkGeneratorControl engine{nullptr};
    HWND window = tkCreateWindow();
    Posting dispatcher{&engine, window};

    Scene() { engine.setGenParam(Tk::KV, 70); }
    ~Scene() { tkDestroyWindow(window); }
    Scene(const Scene &) = delete;
    Scene &operator=(const Scene &) = delete;
};

void postAndTake(benchmark::State &state) {
    const long burst = state.range(0);
    Scene scene;
    TkWindowMessage message{};
    while (state.KeepRunningBatch(burst)) {
        for (long i = 0; i < burst; ++i) {
            scene.dispatcher.radiographic_Kv_Changed();
        }
        for (long i = 0; i < burst; ++i) {
            if (!tkGetMessage(scene.window, &message, 0) || message.lParam != 70) {
                state.SkipWithError("a message didn't come");
                return;
            }
        }
    }
}

void unread(benchmark::State &state) {
    Scene scene;
    const long before = allocations::bytes;
    for (auto _ : state) {
        scene.dispatcher.radiographic_Kv_Changed();
    }
    const auto posted = static_cast<unsigned long>(state.iterations());
    if (tkLostMessages(scene.window) != posted - TK_WINDOW_MESSAGES) {
        state.SkipWithError("messages went elsewhere");
    }
    state.counters["heap_growth_bytes"] = static_cast<double>(allocations::bytes - before);
}

/// Times `wake` alone, each time once the thread that it wakes is asleep; that adds one to `woken`.
template <class Wake>
void timeWaking(benchmark::State &state, const std::atomic<long> &woken, Wake wake) {
    using Clock = std::chrono::steady_clock;
    long times = 0;
    for (auto _ : state) {
        while (woken != times) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100));
        const Clock::time_point start = Clock::now();
        wake();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        ++times;
    }
}

void wakeReader(benchmark::State &state) {
    Scene scene;
    std::atomic<long> woken{0};
    std::thread reader([&] {
        TkWindowMessage message{};
        while (tkGetMessage(scene.window, &message, 60000)) {
            ++woken;
        }
    });
    timeWaking(state, woken, [&] { scene.dispatcher.radiographic_Kv_Changed(); });
    tkDestroyWindow(scene.window);
    reader.join();
}

void wakeThread(benchmark::State &state) {
    const int descriptor = eventfd(0, 0);
    std::atomic<long> woken{0};
    std::atomic<bool> ends{false};
    std::thread reader([&] {
        while (!ends) {
            pollfd watched{descriptor, POLLIN, 0};
            ::poll(&watched, 1, 60000);
            eventfd_t count = 0;
            eventfd_read(descriptor, &count);
            ++woken;
        }
    });
    timeWaking(state, woken, [&] { eventfd_write(descriptor, 1); });
    ends = true;
    eventfd_write(descriptor, 1);
    reader.join();
    ::close(descriptor);
}

BENCHMARK(postAndTake)->ArgName("burst")->Arg(1)->Arg(10)->Arg(1000);
BENCHMARK(unread)->Iterations(1000000);
BENCHMARK(wakeReader)->Iterations(5000)->UseManualTime();
BENCHMARK(wakeThread)->Iterations(5000)->UseManualTime();

} // namespace

BENCHMARK_MAIN();
