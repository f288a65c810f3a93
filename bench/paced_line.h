#ifndef TKGEN_BENCH_PACED_LINE_H
#define TKGEN_BENCH_PACED_LINE_H

#include "support/pty.h"
#include "tkserial.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

// A serial line between two programs, of a given rate with 10 bits a byte: two pseudo terminals and
// what passes bytes between them as a driver and its hardware do. Whoever holds the line calls
// step() over and over, while the programs are processes of their own on the two slaves.

using Clock = std::chrono::steady_clock;

/// What the hardware takes from the driver's queue ahead of the line: it counts as sent.
constexpr std::size_t FIFO = 16;

/// Bytes that have gone over the line in one direction; seen by the processes on it too.
class PassedBytes {
  public:
    PassedBytes() {
        void *const memory = ::mmap(nullptr, sizeof *m_pCount, PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "no shared memory");
        }
        m_pCount = new (memory) std::atomic<std::uint64_t>(0);
    }
    ~PassedBytes() { ::munmap(m_pCount, sizeof *m_pCount); }
    PassedBytes(const PassedBytes &) = delete;
    PassedBytes &operator=(const PassedBytes &) = delete;

    std::uint64_t count() const { return m_pCount->load(std::memory_order_relaxed); }
    void add(std::size_t bytes) { m_pCount->fetch_add(bytes, std::memory_order_relaxed); }

  private:
    static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
    std::atomic<std::uint64_t> *m_pCount;
};

/// One end of the line: a pseudo terminal whose slave stays open and raw while programs come and
/// go.
class PacedEnd {
  public:
    explicit PacedEnd(speed_t speed)
        : m_nSlave(::open(path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        termios line{};
        if (::tcgetattr(m_nSlave, &line) != 0) {
            throw std::system_error(errno, std::generic_category(), path());
        }
        ::cfmakeraw(&line);
        ::cfsetspeed(&line, speed);
        ::tcsetattr(m_nSlave, TCSANOW, &line);
    }
    ~PacedEnd() { ::close(m_nSlave); }
    PacedEnd(const PacedEnd &) = delete;
    PacedEnd &operator=(const PacedEnd &) = delete;

    const std::string &path() const { return m_Pty.slavePath(); }
    int master() const { return m_Pty.masterFd(); }

    /// A program that writes while the end is held waits, as for a driver whose queue is full.
    void hold(bool held) {
        if (held != m_bHeld) {
            m_bHeld = held;
            ::tcflow(m_nSlave, held ? TCOOFF : TCOON);
        }
    }

  private:
    PtyPair m_Pty;
    int m_nSlave;
    bool m_bHeld = false;
};

/// One direction. What a program writes waits in a queue like a driver's, which lets a writer that
/// it has held go on when it is nearly empty; from there it passes byte by byte.
class PacedWire {
  public:
    PacedWire(PacedEnd &from, PacedEnd &to, std::chrono::nanoseconds byteTime)
        : m_From(from), m_To(to), m_ByteTime(byteTime) {}

    const PassedBytes &passed() const { return m_Passed; }
    std::size_t lost() const { return m_nLost; }
    std::size_t longestQueue() const { return m_nLongest; }
    bool used() const { return !m_Queue.empty() || m_Passed.count() > 0; }

    /// How long bytes were on the line.
    std::chrono::duration<double> busy() const {
        return m_ByteTime * static_cast<long>(m_Passed.count());
    }

    /// Takes what the program has written.
    void take(Clock::time_point now) {
        char bytes[QUEUE];
        const ssize_t count = ::read(m_From.master(), bytes, sizeof bytes);
        if (count <= 0) {
            return;
        }
        if (m_Queue.empty()) {
            m_Free = std::max(m_Free, now);
        }
        m_Queue.append(bytes, static_cast<std::size_t>(count));
        m_nLongest = std::max(m_nLongest, m_Queue.size());
        if (m_Queue.size() >= QUEUE) {
            m_From.hold(true);
        }
    }

    /// Hands over the bytes whose last bit has gone over the line by now.
    void pass(Clock::time_point now) {
        if (m_Queue.empty() || now < m_Free) {
            return;
        }
        const auto gone = static_cast<std::size_t>((now - m_Free) / m_ByteTime);
        const std::size_t count = std::min(gone, m_Queue.size());
        if (count == 0) {
            return;
        }
        const ssize_t taken = ::write(m_To.master(), m_Queue.data(), count);
        m_nLost += count - static_cast<std::size_t>(std::max<ssize_t>(taken, 0));
        m_Queue.erase(0, count);
        m_Free += m_ByteTime * static_cast<long>(count);
        m_Passed.add(count);
        if (m_Queue.size() < WAKE) {
            m_From.hold(false);
        }
    }

    /// When to pass bytes next: at a millisecond's worth, as a port's interrupts come, and when the
    /// hardware takes the last of the queue; `idle` when there are none.
    Clock::time_point due(Clock::time_point idle) const {
        if (m_Queue.empty()) {
            return idle;
        }
        const std::chrono::nanoseconds tick = std::chrono::milliseconds(1);
        const auto bytes = static_cast<std::size_t>(std::max<long>(1, tick / m_ByteTime));
        const std::size_t queued = m_Queue.size() > FIFO ? m_Queue.size() - FIFO : m_Queue.size();
        return m_Free + m_ByteTime * static_cast<long>(std::min(bytes, queued));
    }

  private:
    static constexpr std::size_t QUEUE = 4096;
    static constexpr std::size_t WAKE = 256;

    PacedEnd &m_From;
    PacedEnd &m_To;
    const std::chrono::nanoseconds m_ByteTime;
    PassedBytes m_Passed;
    std::string m_Queue;
    Clock::time_point m_Free{}; // when the line can take, or took, the next byte
    std::size_t m_nLost = 0;
    std::size_t m_nLongest = 0;
};

/// The line with its two ends and two directions. One thread uses it.
class PacedLine {
  public:
    PacedLine(int rate, speed_t speed)
        : m_ByteTime(std::chrono::nanoseconds(std::chrono::seconds(10)) / rate), m_Left(speed),
          m_Right(speed), m_Rightward(m_Left, m_Right, m_ByteTime),
          m_Leftward(m_Right, m_Left, m_ByteTime) {}

    const PacedEnd &left() const { return m_Left; }
    const PacedEnd &right() const { return m_Right; }
    const PacedWire &rightward() const { return m_Rightward; }
    const PacedWire &leftward() const { return m_Leftward; }
    std::chrono::nanoseconds byteTime() const { return m_ByteTime; }

    /// Waits for something to do on the line, 5 ms at most, and does it.
    void step() {
        const Clock::time_point start = Clock::now();
        const Clock::time_point idle = start + std::chrono::milliseconds(5);
        const auto wait = std::max(std::min(m_Rightward.due(idle), m_Leftward.due(idle)) - start,
                                   Clock::duration::zero());
        const timespec limit{0, static_cast<long>(std::chrono::nanoseconds(wait).count())};
        std::array<pollfd, 2> ends{pollfd{m_Left.master(), POLLIN, 0},
                                   pollfd{m_Right.master(), POLLIN, 0}};
        ::ppoll(ends.data(), ends.size(), &limit, nullptr);
        const Clock::time_point now = Clock::now();
        for (PacedWire *const wire : {&m_Rightward, &m_Leftward}) {
            wire->pass(now); // first: what comes now starts behind it
            wire->take(now);
        }
    }

  private:
    const std::chrono::nanoseconds m_ByteTime;
    PacedEnd m_Left;
    PacedEnd m_Right;
    PacedWire m_Rightward;
    PacedWire m_Leftward;
};

/// A TkSerial whose writes end when the line's hardware has taken the bytes, as they do on a port,
/// whose driver tells what still waits. A pseudo terminal always tells 0, and a write to it would
/// end at once; or fail on a slow line that is full, as one that takes nothing.
class PacedSerial : public TkSerial {
  public:
    PacedSerial(const PacedEnd &end, const PacedWire &out, std::chrono::nanoseconds byteTime)
        : TkSerial(end.path().c_str(), MODE_READ_WRITE), m_Out(out), m_ByteTime(byteTime) {}

    int write_ch(char byte) override { return write_str(&byte, 1); }
    int write_str(char *bytes, unsigned int length) override {
        const int result = TkSerial::write_str(bytes, length);
        m_nWritten += result > 0 ? static_cast<std::uint64_t>(result) : 0;
        while (m_nWritten > m_Out.passed().count() + FIFO) {
            const auto waiting = static_cast<long>(m_nWritten - m_Out.passed().count() - FIFO);
            const auto time = std::min<long>((m_ByteTime * std::max(1L, waiting)).count(), LONGEST);
            const timespec rest{0, time};
            ::nanosleep(&rest, nullptr);
        }
        return result;
    }

  private:
    static constexpr long LONGEST = 50000000; // nanoseconds between two looks, as TkSerial's

    const PacedWire &m_Out;
    const std::chrono::nanoseconds m_ByteTime;
    std::uint64_t m_nWritten = 0;
};

#endif
