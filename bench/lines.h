#ifndef TKGEN_BENCH_LINES_H
#define TKGEN_BENCH_LINES_H

#include "support/pty.h"
#include "tkcomms.h"
#include "tkserial.h"

#include <atomic>
#include <cstddef>
#include <poll.h>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>

/// A link in memory that costs next to nothing: what is written can be read, or is lost on a silent
/// one. Bytes pass on the worker's thread alone; the counts may be read from any.
class LeanLink : public TkComms {
  public:
    explicit LeanLink(bool echoes) : m_bEchoes(echoes) {}

    long reads() const { return m_nReads; }
    long writes() const { return m_nWrites; }

    int read_ch(char *byte) override {
        m_nReads.fetch_add(1, std::memory_order_relaxed);
        if (m_nNext == m_Arrived.size()) {
            return 0;
        }
        *byte = m_Arrived[m_nNext++];
        return 1;
    }
    int write_ch(char byte) override { return write_str(&byte, 1); }
    int write_str(char *bytes, unsigned int length) override {
        m_nWrites.fetch_add(1, std::memory_order_relaxed);
        if (m_bEchoes) {
            m_Arrived.assign(bytes, length);
            m_nNext = 0;
        }
        return static_cast<int>(length);
    }
    bool enableBlocking(bool) override { return true; }
    unsigned long timeoutPeriod() override { return 750; }
    bool isOpen() override { return true; }

  private:
    const bool m_bEchoes;
    std::atomic<long> m_nReads{0};
    std::atomic<long> m_nWrites{0};
    std::string m_Arrived;
    std::size_t m_nNext = 0;
};

class LeanLine {
  public:
    TkComms &link() { return m_Link; }

  private:
    LeanLink m_Link{true};
};

/// A serial link on a pseudo terminal whose far end echoes what it gets. Destroy it after the
/// engine.
class PtyLine {
  public:
    PtyLine() : m_Link(m_Pty.slavePath().c_str(), TkSerial::MODE_READ_WRITE) {
        m_FarEnd = std::thread([this] { echo(); });
    }
    ~PtyLine() {
        m_bEnding = true;
        m_FarEnd.join();
    }
    PtyLine(const PtyLine &) = delete;
    PtyLine &operator=(const PtyLine &) = delete;

    TkComms &link() { return m_Link; }

  private:
    void echo() {
        constexpr int LOOK = 20; // ms between two looks at m_bEnding
        char bytes[256];
        while (!m_bEnding) {
            pollfd line{m_Pty.masterFd(), POLLIN, 0};
            if (::poll(&line, 1, LOOK) <= 0) {
                continue;
            }
            const ssize_t count = ::read(m_Pty.masterFd(), bytes, sizeof bytes);
            if (count > 0) {
                m_Pty.write(std::string_view(bytes, static_cast<std::size_t>(count)));
            }
        }
    }

    PtyPair m_Pty;
    TkSerial m_Link;
    std::atomic<bool> m_bEnding{false};
    std::thread m_FarEnd;
};

#endif
