// How soon an engine is connected, and what steady polling costs, in real time: over a line in
// memory and over a pseudo terminal, with a far end that answers at once and one that takes 5 ms.
//
//   connect   from enableRefresh to the event that the engine is connected, which takes `frames`
//             and their answers. `to_floor` is against the sum of the times in which they are
//             answered and a cycle for each, a sleep of 1 ms. It can be below 1: a cycle that finds
//             an answer sends the next frame. `to_answers` is against the answers alone, where
//             they take longer than a cycle, else against the cycles alone. Both count what is left
//             of the two ticks after which the Infimed engine asks, nearly 1 s.
//   polling   some seconds of a connected engine that polls at its pace, or as fast as the
//             generator answers (`unpaced`: an engine that opened its port itself), each after as
//             many of the same engine with polling off
//
// Look at: to_floor and to_answers of connect, close to 1 as a sleep of 1 ms is close to 1 ms
// (wakeUp in engine_bench); for the single frame of a GEHL console, with answers at once, between 1
// and 2 in memory and between 2 and 3 on the pseudo terminal, as the cycle in which the engine
// notices that it may begin and the one that finds the answer are others; frames_a_pass, of those
// that are answered: 7 with this generator, 5 with a GEHL console, 1 with an Infimed console;
// polling_to_idle, the processor time against that of the engine with polling off, without the far
// end's thread; heap_growth_bytes, 0. Percentages are of one core.

#include "allocations.h"
#include "lines.h"
#include "tkplatform.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds SLICE(4);

/// Waits, without looking again and again, until an engine is connected.
template <class Kind>
class Connection : public Kind::Dispatcher {
  public:
    explicit Connection(const FarEnd<Kind> &farEnd) : m_FarEnd(farEnd) { Tk::addDispatcher(this); }
    ~Connection() override { Tk::removeDispatcher(this); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    /// How many frames the far end has answered by then; 0 when it takes too long.
    long await() {
        std::unique_lock<std::mutex> lock(m_Lock);
        m_Changed.wait_for(lock, std::chrono::seconds(5), [this] { return m_nFrames > 0; });
        return m_nFrames;
    }
    void CommsReEstablished() override {
        const std::lock_guard<std::mutex> lock(m_Lock);
        m_nFrames = m_FarEnd.frames();
        m_Changed.notify_all();
    }

  private:
    std::mutex m_Lock;
    std::condition_variable m_Changed;
    const FarEnd<Kind> &m_FarEnd;
    long m_nFrames = 0;
};

template <class Kind>
long connect(typename Kind::Engine &engine, const FarEnd<Kind> &farEnd) {
    Connection<Kind> connection(farEnd);
    engine.enableRefresh(true, false);
    return connection.await();
}

template <class Line>
void connect(benchmark::State &state) {
    using Kind = typename Line::Kind;
    using Fractional = std::chrono::duration<double, std::milli>;
    const auto delay = static_cast<double>(state.range(0));
    double taken = 0;
    double rest = 0;
    double frames = 0;
    for (auto _ : state) {
        Line line(Milliseconds(state.range(0)));
        const Clock::time_point made = Clock::now();
        typename Kind::Engine engine(&line.link());
        engine.startControl();
        TkThread::tksleep(20); // until the worker runs
        const Clock::time_point start = Clock::now();
        const long answered = connect(engine, line.farEnd());
        if (answered == 0) {
            state.SkipWithError("the engine didn't connect");
            return;
        }
        const Fractional one = Clock::now() - start;
        state.SetIterationTime(one.count() / 1000);
        taken += one.count();
        rest += std::max(0.0, Fractional(Kind::AT_REST - (start - made)).count());
        frames += static_cast<double>(answered);
    }
    state.counters["frames"] = frames / static_cast<double>(state.iterations());
    state.counters["to_floor"] = taken / (rest + frames * (delay + 1));
    state.counters["to_answers"] = taken / (rest + frames * std::max(delay, 1.0));
}

/// What a slice of time costs, the far end left out.
template <class Line>
double percentOfCore(Line &line) {
    const auto seconds = [](clockid_t clock) {
        timespec now{};
        clock_gettime(clock, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
    };
    const double used = seconds(CLOCK_PROCESS_CPUTIME_ID) - line.farEndSeconds();
    const double passed = seconds(CLOCK_MONOTONIC);
    std::this_thread::sleep_for(SLICE);
    return 100 * (seconds(CLOCK_PROCESS_CPUTIME_ID) - line.farEndSeconds() - used) /
           (seconds(CLOCK_MONOTONIC) - passed);
}

double residentKilobytes() {
    std::ifstream statm("/proc/self/statm");
    double total = 0;
    double resident = 0;
    statm >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

template <class Line>
void poll(benchmark::State &state, Line &line, typename Line::Kind::Engine &engine) {
    const auto &farEnd = line.farEnd();
    engine.startControl();
    for (auto _ : state) {
        const double idle = percentOfCore(line);
        if (connect(engine, farEnd) == 0) {
            state.SkipWithError("the engine didn't connect");
            return;
        }
        std::this_thread::sleep_for(SLICE / 4);
        const long heap = allocations::bytes;
        const long frames = farEnd.frames();
        const long passes = farEnd.passes();
        const long framesOfPasses = farEnd.framesOfPasses();
        const double polling = percentOfCore(line);
        const auto grown = static_cast<double>(allocations::bytes - heap);
        const auto made = static_cast<double>(farEnd.frames() - frames);
        state.counters["frames_a_pass"] =
            static_cast<double>(farEnd.framesOfPasses() - framesOfPasses) /
            static_cast<double>(farEnd.passes() - passes);
        state.counters["frames_per_s"] = made / SLICE.count();
        state.counters["idle_percent"] = idle;
        state.counters["polling_percent"] = polling;
        state.counters["polling_to_idle"] = polling / idle;
        state.counters["heap_growth_bytes"] = grown;
        state.counters["resident_kB"] = residentKilobytes();
    }
    engine.stopControl();
}

template <class Line>
void paced(benchmark::State &state) {
    Line line(Milliseconds(state.range(0)));
    typename Line::Kind::Engine engine(&line.link());
    poll(state, line, engine);
}

void unpaced(benchmark::State &state) {
    PtyFarEnd<Generator> line(Milliseconds(state.range(0)));
    tkMapSerialPort("COM1", line.path().c_str());
    TkGeneratorControl engine(TkSerial::COM1);
    poll(state, line, engine);
}

#define DELAYS ArgName("answer_ms")->Arg(0)->Arg(5)
FOR_EACH_LINE(connect, DELAYS->Iterations(8)->UseManualTime()->Unit(benchmark::kMillisecond))
FOR_EACH_LINE(paced, DELAYS->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond))
BENCHMARK(unpaced)->DELAYS->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);

} // namespace

BENCHMARK_MAIN();
