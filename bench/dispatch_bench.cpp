// What the delivery of one event costs in the event manager: the look-up of its operation, the walk
// over the registered dispatchers and the calls. The operations themselves only count.
//
// Look at: Time of event/dispatchers:10 against :1, whose difference is nine more calls; and that a
// dispatcher of another class costs next to nothing, an event without an operation even less.

#include "tk.h"
#include "tkdispatchers.h"
#include "tkdispatchmanager.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

constexpr int GENERATOR = 1;

struct GeneratorCounter : TkGenDispatcher {
    long events = 0;
    void radiographic_Kv_Changed() override { ++events; }
};

struct ConsoleCounter : TkInfimedDispatcher {
    long events = 0;
    void infimed_edge_changed() override { ++events; }
};

/// A manager with so many dispatchers of one kind.
template <class Dispatcher>
class Registered {
  public:
    explicit Registered(long count) : m_Dispatchers(static_cast<std::size_t>(count)) {
        for (Dispatcher &each : m_Dispatchers) {
            manager.addDispatcher(&each);
        }
    }

    long events() const {
        long sum = 0;
        for (const Dispatcher &each : m_Dispatchers) {
            sum += each.events;
        }
        return sum;
    }

    TkDispatchManager manager;

  private:
    std::vector<Dispatcher> m_Dispatchers;
};

/// Delivers `command` over and over; each is to make `calls` calls.
template <class Dispatcher>
void deliver(benchmark::State &state, long dispatchers, int command, long calls) {
    Registered<Dispatcher> registered(dispatchers);
    int value = 70;
    for (auto _ : state) {
        benchmark::DoNotOptimize(registered.manager.dispatchMsg(GENERATOR, command, &value));
    }
    if (registered.events() != calls * static_cast<long>(state.iterations())) {
        state.SkipWithError("events went elsewhere");
    }
}

void event(benchmark::State &state) {
    deliver<GeneratorCounter>(state, state.range(0), Tk::KV, state.range(0));
}

void eventForAnotherClass(benchmark::State &state) {
    deliver<ConsoleCounter>(state, state.range(0), Tk::KV, 0);
}

void eventWithoutOperation(benchmark::State &state) {
    deliver<GeneratorCounter>(state, state.range(0), Tk::KW, 0);
}

BENCHMARK(event)->ArgName("dispatchers")->Arg(0)->Arg(1)->Arg(10);
BENCHMARK(eventForAnotherClass)->ArgName("dispatchers")->Arg(10);
BENCHMARK(eventWithoutOperation)->ArgName("dispatchers")->Arg(10);

} // namespace

BENCHMARK_MAIN();
