// What an engine with nothing to do costs the processor, on a pseudo terminal. Three things take
// turns, a slice of about a second each, so that whatever else runs here meets them alike:
//
//   bare      a thread that does nothing but sleep 1 ms and read once, over and over
//   engine    an idle engine on a TkSerial
//   waited    the same, while an application's thread waits in transmitMsg for an answer that
//             doesn't come
//
// A slice counts the processor time of the whole process, in which nothing else runs meanwhile; of
// the waiting thread, its own.
//
// Look at: engine_to_bare, at most 1.3; waiting_thread_percent, close to 0. The percentages are of
// one core, and depend on the machine.

#include "support/pty.h"
#include "tkgeneratorcontrol.h"
#include "tkserial.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <fcntl.h>
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

bool engineSlice(TkSerial &link, Use &use) {
    TkGeneratorControl engine(&link);
    use.measure(CLOCK_PROCESS_CPUTIME_ID, [&] {
        engine.startControl();
        std::this_thread::sleep_for(SLICE);
        engine.stopControl();
    });
    return link.isOpen();
}

/// Returns whether the call waited in vain, as it should.
bool waitedSlice(TkSerial &link, Use &use, Use &waiting) {
    TkGeneratorControl engine(&link);
    bool answered = true;
    use.measure(CLOCK_PROCESS_CPUTIME_ID, [&] {
        engine.startControl();
        waiting.measure(CLOCK_THREAD_CPUTIME_ID,
                        [&] { answered = engine.transmitMsg(Tk::KV, 70, true); });
        engine.stopControl();
    });
    return !answered;
}

void idle(benchmark::State &state) {
    PtyPair pty;
    PtyPair barePty;
    BareLoop loop(barePty.slavePath().c_str());
    PatientSerial link(pty.slavePath().c_str(), TkSerial::MODE_READ_WRITE);
    Use bare;
    Use engine;
    Use waited;
    Use waiting;
    for (auto _ : state) {
        if (!loop.slice(bare) || !engineSlice(link, engine) ||
            !waitedSlice(link, waited, waiting)) {
            state.SkipWithError("a line isn't as it should be");
            return;
        }
    }
    state.counters["bare_percent"] = bare.percent();
    state.counters["engine_percent"] = engine.percent();
    state.counters["engine_to_bare"] = engine.percent() / bare.percent();
    state.counters["waited_percent"] = waited.percent();
    state.counters["waiting_thread_percent"] = waiting.percent();
}

BENCHMARK(idle)->Iterations(10)->UseRealTime()->Unit(benchmark::kSecond);

} // namespace

BENCHMARK_MAIN();
