#ifndef TKGEN_BENCH_GENERATOR_H
#define TKGEN_BENCH_GENERATOR_H

#include "support/pty.h"
#include "support/wire.h"
#include "tkcomms.h"
#include "tkserial.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <map>
#include <numeric>
#include <poll.h>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>

/// A generator of revision 301: it answers what polling asks, and counts. Its line says after what
/// time.
class AnsweringGenerator {
  public:
    long frames() const { return m_nFrames; }
    long passes() const { return m_nPasses; } // "ST", the end of a pass

    std::string answer(const std::string &asked) {
        m_nFrames.fetch_add(1, std::memory_order_relaxed);
        if (asked.front() == '\x01') {
            return record(asked);
        }
        const std::string item = asked.substr(0, asked.find_first_of("?\x03"));
        if (item == "ST") {
            m_nPasses.fetch_add(1, std::memory_order_relaxed);
        }
        const auto answer = ANSWERS.find(item);
        return answer == ANSWERS.end() ? std::string() : frame(answer->second);
    }

    /// The size of the first frame in what was received; 0 while it isn't whole.
    static std::size_t whole(const std::string &received) {
        if (received.size() < 2) {
            return 0;
        }
        if (received.front() != '\x01') {
            const std::size_t etx = received.find('\x03');
            return etx == std::string::npos || etx + 2 > received.size() ? 0 : etx + 2;
        }
        const std::size_t size =
            received.size() < 4 ? 0 : 5 + static_cast<std::size_t>(received[3]);
        return received.size() < size ? 0 : size;
    }

  private:
    static std::string record(const std::string &asked) {
        const bool receptor =
            asked[1] == 0x1A || asked[1] == 0x06; // else the setup of an AEC channel
        std::string reply{1, asked[1], 0, receptor ? '\x1B' : '\x1A'};
        reply += asked[5]; // the index
        reply.resize(4 + static_cast<std::size_t>(reply[3]), '\x01');
        return reply + static_cast<char>(std::accumulate(reply.begin(), reply.end(), 0));
    }

    inline static const std::map<std::string, std::string> ANSWERS{
        {"ST", "ST000"},
        {"GR", "GR0301"},
        {"DS", "DS0"},
        {"AL", "AL0"},
        {"FLO", "FLO1"},
        {"FLC", "FLC1"},
        {"RR", "KV070 MA00320 MS00100 MX00032 ET0 FS010 FI111 FN+0"},
        {"RF", "FLK080 FLM030 FLI005 FLT005 FLS030 FLF0 FLA0 FLZ0 FLD0"},
        {"RS", "TU1 WS1 FO0 BU0 HE010"}};

    std::atomic<long> m_nFrames{0};
    std::atomic<long> m_nPasses{0};
};

/// Such a generator behind a link in memory.
class AnsweringLeanLine : private TkComms {
  public:
    explicit AnsweringLeanLine(std::chrono::milliseconds delay) : m_Delay(delay) {}

    TkComms &link() { return *this; }
    AnsweringGenerator &generator() { return m_Generator; }

    /// The processor time of a far end that is a thread.
    double farEndSeconds() const { return 0; }

  private:
    using Clock = std::chrono::steady_clock;

    int read_ch(char *byte) override {
        if (m_nNext == m_Answer.size() || Clock::now() < m_Due) {
            return 0;
        }
        *byte = m_Answer[m_nNext++];
        return 1;
    }
    int write_ch(char byte) override { return write_str(&byte, 1); }
    int write_str(char *bytes, unsigned int length) override {
        m_Answer = m_Generator.answer(std::string(bytes, length));
        m_nNext = 0;
        m_Due = Clock::now() + m_Delay;
        return static_cast<int>(length);
    }
    bool enableBlocking(bool) override { return true; }
    unsigned long timeoutPeriod() override { return 750; }
    bool isOpen() override { return true; }

    const std::chrono::milliseconds m_Delay;
    AnsweringGenerator m_Generator;
    std::string m_Answer;
    std::size_t m_nNext = 0;
    Clock::time_point m_Due;
};

/// Such a generator at the master side of a pseudo terminal. Destroy it after the engine.
class AnsweringPty {
  public:
    explicit AnsweringPty(std::chrono::milliseconds delay)
        : m_Delay(delay), m_FarEnd([this] { answer(); }) {}
    ~AnsweringPty() {
        m_bEnding = true;
        m_FarEnd.join();
    }
    AnsweringPty(const AnsweringPty &) = delete;
    AnsweringPty &operator=(const AnsweringPty &) = delete;

    AnsweringGenerator &generator() { return m_Generator; }
    const std::string &path() const { return m_Pty.slavePath(); }

    double farEndSeconds() {
        clockid_t clock{};
        timespec used{};
        pthread_getcpuclockid(m_FarEnd.native_handle(), &clock);
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
                std::this_thread::sleep_for(std::chrono::milliseconds(1)); // no engine yet
                continue;
            }
            received.append(bytes, static_cast<std::size_t>(count));
            while (const std::size_t size = AnsweringGenerator::whole(received)) {
                std::this_thread::sleep_for(m_Delay);
                m_Pty.write(m_Generator.answer(received.substr(0, size)));
                received.erase(0, size);
            }
        }
    }

    const std::chrono::milliseconds m_Delay;
    AnsweringGenerator m_Generator;
    PtyPair m_Pty;
    std::atomic<bool> m_bEnding{false};
    std::thread m_FarEnd;
};

/// The same with a link to it.
class AnsweringPtyLine : public AnsweringPty {
  public:
    explicit AnsweringPtyLine(std::chrono::milliseconds delay)
        : AnsweringPty(delay), m_Link(path().c_str(), TkSerial::MODE_READ_WRITE) {}

    TkComms &link() { return m_Link; }

  private:
    TkSerial m_Link;
};

#endif
