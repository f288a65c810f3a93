// What an engine with nothing to do costs the processor, on a pseudo terminal. Seven things take
// turns, a slice of about a second each, so that whatever else runs here meets them alike:
//
//   bare      a thread that does nothing but sleep 1 ms and read once, over and over
//   engine    an idle engine on a TkSerial, each of the three
//   waited    the same, while an application's thread waits in transmitMsg for an answer that
//             doesn't come
//
// A slice counts the processor time of the whole process, in which nothing else runs meanwhile; of
// the waiting thread, its own.
//
// Look at: the three figures to_bare, at most 1.3; waiting_thread_percent, close to 0. The
// percentages are of one core, and depend on the machine.

#include "far_ends.h"
#include "support/pty.h"
#include "tkserial.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {

double secondsOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// Processor time against real time, over slices.
class Use {
  public:
    template <class Slice>
    void measure(clockid_t clock, Slice slice) {
        const double used = secondsOf(clock);
        const double passed = secondsOf(CLOCK_MONOTONIC);
        slice();
        m_dUsed += secondsOf(clock) - used;
        m_dPassed += secondsOf(CLOCK_MONOTONIC) - passed;
    }

    double percent() const { return 100 * m_dUsed / m_dPassed; }

  private:
    double m_dUsed = 0;
    double m_dPassed = 0;
};

constexpr std::chrono::seconds SLICE(1);

/// A link that gives the far end so long that a waiting call takes one slice.
class PatientSerial : public TkSerial {
  public:
    using TkSerial::TkSerial;
    unsigned long timeoutPeriod() override { return std::chrono::milliseconds(SLICE).count() / 4; }
};

/// The least that a program does which looks at a line every millisecond.
class BareLoop {
  public:
    explicit BareLoop(const char *path) : m_nLine(::open(path, O_RDWR | O_NOCTTY | O_NONBLOCK)) {
        termios line{};
        ::tcgetattr(m_nLine, &line);
        ::cfmakeraw(&line);
        ::tcsetattr(m_nLine, TCSANOW, &line);
    }
    ~BareLoop() { ::close(m_nLine); }
    BareLoop(const BareLoop &) = delete;
    BareLoop &operator=(const BareLoop &) = delete;

    /// Returns whether the line was quiet throughout: each read found nothing and no failure.
    bool slice(Use &use) {
        std::atomic<bool> ending{false};
        bool quiet = true;
        use.measure(CLOCK_PROCESS_CPUTIME_ID, [&] {
            std::thread worker([&] {
                while (!ending) {
                    TkThread::tksleep(1);
                    char bytes[4096];
                    quiet = ::read(m_nLine, bytes, sizeof bytes) < 0 && errno == EAGAIN && quiet;
                }
            });
            std::this_thread::sleep_for(SLICE);
            ending = true;
            worker.join();
        });
        return quiet;
    }

  private:
    const int m_nLine;
};

/// Slices of an engine.
template <class Kind>
class EngineUse {
  public:
    /// Returns whether the line stands, and the call waited in vain, as it should.
    bool slices(TkSerial &link) {
        engineSlice(link);
        return waitedSlice(link) && link.isOpen();
    }

    void report(benchmark::State &state, const std::string &name, const Use &bare) const {
        state.counters[name + "_percent"] = m_Engine.percent();
        state.counters[name + "_to_bare"] = m_Engine.percent() / bare.percent();
        state.counters[name + "_waited_percent"] = m_Waited.percent();
        state.counters[name + "_waiting_thread_percent"] = m_Waiting.percent();
    }

  private:
    using Engine = typename Kind::Engine;

    void engineSlice(TkSerial &link) {
        Engine engine(&link);
        m_Engine.measure(CLOCK_PROCESS_CPUTIME_ID, [&] {
            engine.startControl();
            std::this_thread::sleep_for(SLICE);
            engine.stopControl();
        });
    }

    bool waitedSlice(TkSerial &link) {
        Engine engine(&link);
        bool answered = true;
        m_Waited.measure(CLOCK_PROCESS_CPUTIME_ID, [&] {
            engine.startControl();
            m_Waiting.measure(CLOCK_THREAD_CPUTIME_ID,
                              [&] { answered = Kind::set(engine, 1, true); });
            engine.stopControl();
        });
        return !answered;
    }

    Use m_Engine;
    Use m_Waited;
    Use m_Waiting;
};

void idle(benchmark::State &state) {
    PtyPair pty;
    PtyPair barePty;
    BareLoop loop(barePty.slavePath().c_str());
    PatientSerial link(pty.slavePath().c_str(), TkSerial::MODE_READ_WRITE);
    Use bare;
    EngineUse<Generator> generator;
    EngineUse<Infimed> infimed;
    EngineUse<Gehl> gehl;
    for (auto _ : state) {
        if (!loop.slice(bare) || !generator.slices(link) || !infimed.slices(link) ||
            !gehl.slices(link)) {
            state.SkipWithError("a line isn't as it should be");
            return;
        }
    }
    state.counters["bare_percent"] = bare.percent();
    generator.report(state, "generator", bare);
    infimed.report(state, "infimed", bare);
    gehl.report(state, "gehl", bare);
}

BENCHMARK(idle)->Iterations(6)->UseRealTime()->Unit(benchmark::kSecond);

} // namespace

BENCHMARK_MAIN();
