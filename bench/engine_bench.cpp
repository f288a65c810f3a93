// The engines at work, in real time, over two lines: one in memory whose far end answers within the
// write, so that what is measured is the engine alone; and a pseudo terminal at whose master side a
// thread answers. What is asked for is a setting: the generator and the GEHL console echo it, the
// Infimed console tells it, and gets the engine's ACK for that.
//
//   cycle           of an engine without its thread: one that finds nothing to do, and one that
//                   sends a queued frame and finds its answer, with the queueing
//   wakeUp          how long a sleep of 1 ms takes here: the length of an empty cycle
//   waitedCommand   latency of transmitMsg that waits, one call right after the other, which is the
//                   worst phase of the cycle
//   transactions    frames queued back to back, until the last is answered; with the usual sleep
//                   of 1 ms between two cycles, and with none
//   stop            how long stopControl takes at a random moment: of an idle engine, of one that
//                   waits for a response, and of one whose sleep is 1 s (situation 0, 1, 2)
//   memory          of one engine: the object, the heap it holds (the object among it) when made
//                   and after a first transaction, and the resident memory that it has added then
//
// Look at: CPU of cycle, which other programs disturb least; p50_us of waitedCommand in memory,
// which is one cycle: that of wakeUp, and the few microseconds in which the system wakes the
// caller; transactions_per_s; max_ms of stop, below 20; heap_bytes; and at each beside that of the
// other engines.

#include "allocations.h"
#include "lines.h"
#include "support/engine.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <deque>
#include <fstream>
#include <memory>
#include <random>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

/// How long a call takes, over many of them.
class Latencies {
  public:
    template <class Call>
    auto measure(Call call) {
        const Clock::time_point start = Clock::now();
        const auto result = call();
        m_Taken.push_back(Microseconds(Clock::now() - start).count());
        return result;
    }

    double last() const { return m_Taken.back(); }
    double most() const { return *std::max_element(m_Taken.begin(), m_Taken.end()); }

    void report(benchmark::State &state) {
        std::sort(m_Taken.begin(), m_Taken.end());
        state.counters["p50_us"] = m_Taken[m_Taken.size() / 2];
        state.counters["p99_us"] = m_Taken[m_Taken.size() * 99 / 100];
    }

  private:
    std::vector<double> m_Taken;
};

template <class Kind>
void cycle(benchmark::State &state) {
    const bool sends = state.range(0) > 0;
    MemoryLine<Kind> line;
    Driven<typename Kind::Engine> engine(&line.link());
    int i = 0;
    for (auto _ : state) {
        if (sends) {
            Kind::set(engine, ++i, false);
        }
        engine.cycle();
    }
    if (line.farEnd().frames() != i || (sends && !Kind::holds(engine, i))) {
        state.SkipWithError("a frame wasn't answered in its cycle");
    }
}

void wakeUp(benchmark::State &state) {
    Latencies latencies;
    for (auto _ : state) {
        latencies.measure([] {
            TkThread::tksleep(1);
            return true;
        });
    }
    latencies.report(state);
}

template <class Line>
void waitedCommand(benchmark::State &state) {
    using Kind = typename Line::Kind;
    Line line;
    typename Kind::Engine engine(&line.link());
    engine.startControl();
    Latencies latencies;
    int i = 0;
    for (auto _ : state) {
        ++i;
        if (!latencies.measure([&] { return Kind::set(engine, i, true); }) ||
            !Kind::holds(engine, i)) {
            state.SkipWithError("a command wasn't answered");
            return;
        }
    }
    latencies.report(state);
}

/// Frames go out in the order of their queueing, each after the answer to the one before: when the
/// last, which is waited for, has been answered, all have been.
template <class Line>
void transactions(benchmark::State &state) {
    using Kind = typename Line::Kind;
    constexpr int FRAMES = 200;
    Line line;
    typename Kind::Engine engine(&line.link());
    engine.setSleepTime(static_cast<int>(state.range(0)));
    engine.startControl();
    for (auto _ : state) {
        const long before = line.farEnd().frames();
        for (int i = 1; i < FRAMES; ++i) {
            Kind::set(engine, i, false);
        }
        if (!Kind::set(engine, FRAMES, true) || line.farEnd().frames() != before + FRAMES) {
            state.SkipWithError("a frame wasn't answered, or was sent twice");
            return;
        }
    }
    const auto answered = static_cast<double>(state.iterations() * FRAMES);
    state.counters["transactions_per_s"] =
        benchmark::Counter(answered, benchmark::Counter::kIsRate);
}

enum Situation : long { IDLE, RESPONSE_PENDING, LONG_SLEEP };

template <class Kind>
void stop(benchmark::State &state) {
    const auto situation = static_cast<Situation>(state.range(0));
    std::minstd_rand random(1);
    std::uniform_int_distribution<int> phase(0, 1500);
    Latencies latencies;
    for (auto _ : state) {
        MemoryLine<Kind> line(SILENT);
        typename Kind::Engine engine(&line.link());
        engine.setSleepTime(situation == LONG_SLEEP ? 1000 : 1);
        if (situation == RESPONSE_PENDING) {
            Kind::set(engine, 1, false);
        }
        engine.startControl();
        while (line.reads() == 0) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::microseconds(phase(random)));
        if (line.writes() != (situation == RESPONSE_PENDING ? 1 : 0)) {
            state.SkipWithError("the engine isn't in the situation");
            return;
        }
        latencies.measure([&] { return engine.stopControl(); });
        state.SetIterationTime(latencies.last() / 1e6);
    }
    state.counters["max_ms"] = latencies.most() / 1000;
}

double residentBytes() {
    std::ifstream statm("/proc/self/statm");
    double total = 0;
    double resident = 0;
    statm >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

template <class Kind>
void memory(benchmark::State &state) {
    using Engine = typename Kind::Engine;
    constexpr std::size_t ENGINES = 100;
    const auto ofOne = [](double all) { return all / ENGINES; };
    for (auto _ : state) {
        std::deque<MemoryLine<Kind>> lines(ENGINES);
        std::vector<std::unique_ptr<Engine>> engines(ENGINES);
        const double resident = residentBytes();
        const long heap = allocations::bytes;
        for (std::size_t i = 0; i < ENGINES; ++i) {
            engines[i] = std::make_unique<Engine>(&lines[i].link());
        }
        state.counters["heap_bytes"] = ofOne(static_cast<double>(allocations::bytes - heap));
        for (const auto &engine : engines) {
            engine->startControl();
            if (!Kind::set(*engine, 1, true)) {
                state.SkipWithError("a command wasn't answered");
                return;
            }
        }
        state.counters["heap_bytes_used"] = ofOne(static_cast<double>(allocations::bytes - heap));
        state.counters["resident_bytes_used"] = ofOne(residentBytes() - resident);
    }
    state.counters["object_bytes"] = sizeof(Engine);
}

FOR_EACH_KIND(cycle, ArgName("frames")->Arg(0)->Arg(1))
BENCHMARK(wakeUp)->Iterations(2000)->UseRealTime()->Unit(benchmark::kMicrosecond);
FOR_EACH_LINE(waitedCommand, Iterations(2000)->UseRealTime()->Unit(benchmark::kMicrosecond))
FOR_EACH_LINE(transactions,
              ArgName("sleep_ms")->Arg(1)->Arg(0)->UseRealTime()->Unit(benchmark::kMillisecond))
FOR_EACH_KIND(stop, ArgName("situation")
                        ->Arg(IDLE)
                        ->Arg(RESPONSE_PENDING)
                        ->Arg(LONG_SLEEP)
                        ->Iterations(500)
                        ->UseManualTime()
                        ->Unit(benchmark::kMicrosecond))
FOR_EACH_KIND(memory, Iterations(1)->Unit(benchmark::kMillisecond))

} // namespace

BENCHMARK_MAIN();
