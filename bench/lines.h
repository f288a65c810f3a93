#ifndef TKGEN_BENCH_LINES_H
#define TKGEN_BENCH_LINES_H

#include "far_ends.h"
#include "support/pty.h"
#include "tkcomms.h"
#include "tkserial.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <poll.h>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>

using Milliseconds = std::chrono::milliseconds;

/// How long a far end takes that says nothing while a program runs.
constexpr Milliseconds SILENT = std::chrono::hours(1);

/// A far end behind a link in memory that costs next to nothing. Bytes pass on the worker's thread
/// alone; the counts may be read from any.
template <class OfKind>
class MemoryLine : private TkComms {
  public:
    using Kind = OfKind;

    explicit MemoryLine(Milliseconds delay = Milliseconds(0)) : m_Delay(delay) {}

    TkComms &link() { return *this; }
    FarEnd<Kind> &farEnd() { return m_FarEnd; }
    long reads() const { return m_nReads; }
    long writes() const { return m_nWrites; }

    /// The processor time of a far end that is a thread.
    double farEndSeconds() const { return 0; }

  private:
    using Clock = std::chrono::steady_clock;

    int read_ch(char *byte) override {
        m_nReads.fetch_add(1, std::memory_order_relaxed);
        const bool arriving = m_nNext == 0 && m_Delay.count() > 0;
        if (m_nNext == m_Answer.size() || (arriving && Clock::now() < m_Due)) {
            return 0;
        }
        *byte = m_Answer[m_nNext++];
        return 1;
    }
    int write_ch(char byte) override { return write_str(&byte, 1); }
    int write_str(char *bytes, unsigned int length) override {
        m_nWrites.fetch_add(1, std::memory_order_relaxed);
        std::string answer = m_FarEnd.answer(std::string(bytes, length));
        if (!answer.empty()) {
            m_Answer.swap(answer);
            m_nNext = 0;
            m_Due = Clock::now() + m_Delay;
        }
        return static_cast<int>(length);
    }
    bool enableBlocking(bool) override { return true; }
    unsigned long timeoutPeriod() override { return 750; }
    bool isOpen() override { return true; }

    const Milliseconds m_Delay;
    FarEnd<Kind> m_FarEnd;
    std::atomic<long> m_nReads{0};
    std::atomic<long> m_nWrites{0};
    std::string m_Answer;
    std::size_t m_nNext = 0;
    Clock::time_point m_Due;
};

/// A far end at the master side of a pseudo terminal, for an engine that opens the other one.
/// Destroy it after the engine.
template <class OfKind>
class PtyFarEnd {
  public:
    using Kind = OfKind;

    explicit PtyFarEnd(Milliseconds delay = Milliseconds(0))
        : m_Delay(delay), m_Thread([this] { answer(); }) {}
    ~PtyFarEnd() {
        m_bEnding = true;
        m_Thread.join();
    }
    PtyFarEnd(const PtyFarEnd &) = delete;
    PtyFarEnd &operator=(const PtyFarEnd &) = delete;

    FarEnd<Kind> &farEnd() { return m_FarEnd; }
    const std::string &path() const { return m_Pty.slavePath(); }

    double farEndSeconds() {
        clockid_t clock{};
        timespec used{};
        pthread_getcpuclockid(m_Thread.native_handle(), &clock);
        clock_gettime(clock, &used);
        return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
    }

  private:
    void answer() {
        constexpr int LOOK = 20; // ms between two looks at m_bEnding
        std::string received;
        char bytes[256];
        while (!m_bEnding) {
            pollfd line{m_Pty.masterFd(), POLLIN, 0};
            if (::poll(&line, 1, LOOK) <= 0) {
                continue;
            }
            const ssize_t count = ::read(m_Pty.masterFd(), bytes, sizeof bytes);
            if (count < 0) {
                std::this_thread::sleep_for(Milliseconds(1)); // no engine yet
                continue;
            }
            received.append(bytes, static_cast<std::size_t>(count));
            while (const std::size_t size = Kind::whole(received)) {
                answerOne(received.substr(0, size));
                received.erase(0, size);
            }
        }
    }

    void answerOne(const std::string &asked) {
        const std::string answer = m_FarEnd.answer(asked);
        if (!answer.empty()) {
            std::this_thread::sleep_for(m_Delay);
            m_Pty.write(answer);
        }
    }

    const Milliseconds m_Delay;
    FarEnd<Kind> m_FarEnd;
    PtyPair m_Pty;
    std::atomic<bool> m_bEnding{false};
    std::thread m_Thread;
};

/// The same with a link to it.
template <class Kind>
class PtyLine : public PtyFarEnd<Kind> {
  public:
    explicit PtyLine(Milliseconds delay = Milliseconds(0))
        : PtyFarEnd<Kind>(delay), m_Link(this->path().c_str(), TkSerial::MODE_READ_WRITE) {}

    TkComms &link() { return m_Link; }

  private:
    TkSerial m_Link;
};

/// Registers a benchmark template for each of the three, or for each on both lines.
#define FOR_EACH_KIND(function, ...)                                                               \
    BENCHMARK_TEMPLATE(function, Generator)->__VA_ARGS__;                                          \
    BENCHMARK_TEMPLATE(function, Infimed)->__VA_ARGS__;                                            \
    BENCHMARK_TEMPLATE(function, Gehl)->__VA_ARGS__;
#define FOR_EACH_LINE(function, ...)                                                               \
    BENCHMARK_TEMPLATE(function, MemoryLine<Generator>)->__VA_ARGS__;                              \
    BENCHMARK_TEMPLATE(function, MemoryLine<Infimed>)->__VA_ARGS__;                                \
    BENCHMARK_TEMPLATE(function, MemoryLine<Gehl>)->__VA_ARGS__;                                   \
    BENCHMARK_TEMPLATE(function, PtyLine<Generator>)->__VA_ARGS__;                                 \
    BENCHMARK_TEMPLATE(function, PtyLine<Infimed>)->__VA_ARGS__;                                   \
    BENCHMARK_TEMPLATE(function, PtyLine<Gehl>)->__VA_ARGS__;

#endif
