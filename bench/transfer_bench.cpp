// What a byte of a file costs the processor on its way through a transfer, over a link in memory
// that takes and gives bytes at once:
//
//   check       the 16-bit check of a block
//   escape      a block gathered for the link, with its escapes
//   send        a whole subpacket: the block, what ends it and its check, in one write
//   receive     a frame of 64 subpackets into a file: escapes undone, checks compared, written to
//               the null device
//
// The content is text, of which nothing is escaped; random bytes; and bytes which are all escaped,
// so that twice as many are on the line.
//
// Look at: s_per_byte, of the file's bytes, below 10 n. At 115200 baud a byte takes 86.8 µs.

#include "tkcomms.h"
#include "tkcrc.h"
#include "tkzmodem_receive.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <utility>

namespace {

enum Content { TEXT, RANDOM, ESCAPED };

constexpr unsigned int BLOCK = TkZModem::TRANSFER_BLOCK_SIZE;

std::string blockOf(Content content) {
    const std::string line = "120 kV  250 mA   80 ms   20.0 mAs\r\n";
    const std::string escaped = "\x18\x10\x90\x11\x91\x13\x93";
    std::minstd_rand random(1);
    std::string block(BLOCK, '\0');
    for (std::size_t i = 0; i < block.size(); ++i) {
        block[i] = content == TEXT      ? line[i % line.size()]
                   : content == ESCAPED ? escaped[i % escaped.size()]
                                        : static_cast<char>(random() >> 8U);
    }
    return block;
}

/// Keeps what is written, and gives it to who reads.
class Tape : public TkComms {
  public:
    const std::string &content() const { return m_Content; }
    void rewind() { m_nNext = 0; }
    void clear() { m_Content.clear(); }

    int read_ch(char *byte) override {
        if (m_nNext == m_Content.size()) {
            return 0;
        }
        *byte = m_Content[m_nNext++];
        return 1;
    }
    int write_ch(char byte) override { return write_str(&byte, 1); }
    int write_str(char *bytes, unsigned int length) override {
        m_Content.append(bytes, length);
        return static_cast<int>(length);
    }
    bool enableBlocking(bool) override { return true; }
    unsigned long timeoutPeriod() override { return 750; }
    bool isOpen() override { return true; }

  private:
    std::string m_Content;
    std::size_t m_nNext = 0;
};

/// Runs something on a transfer's thread, where its operations can be used.
template <class Transfer>
class Worker : public Transfer {
  public:
    using Transfer::Transfer;
    ~Worker() override { this->endThread(); }

    void run(std::function<void()> work) {
        m_Work = std::move(work);
        this->start();
        while (this->isTransferComplete()) {
            TkThread::tksleep(1);
        }
        this->stopControl();
    }
    void threadCycle() override {
        const TkZModem::LastCycle last(*this);
        m_Work();
    }

  private:
    std::function<void()> m_Work;
};

class Sender : public Worker<TkZModem> {
  public:
    using Worker::Worker;

    bool escape(const std::string &block) {
        const Burst burst(*this);
        return sendBytes(block.data(), BLOCK, true) == DONE;
    }
    bool send(std::string &block, bool last) {
        const Burst burst(*this);
        return sendBytes(block.data(), BLOCK, true) == DONE &&
               sendCRCEscape(block.data(), BLOCK, last, false) == DONE;
    }
};

class Receiver : public Worker<TkZModem_Receive> {
  public:
    explicit Receiver(TkComms *link) : Worker("", link) {}

    /// Takes one frame, and returns how many bytes of it went into the file.
    unsigned long receive() {
        m_pFile = m_pFile ? m_pFile : std::fopen("/dev/null", "wb");
        const unsigned long before = getTotalBytesTransfered();
        return receiveDataStream(m_Buffer) == DONE ? getTotalBytesTransfered() - before : 0;
    }

  private:
    unsigned char m_Buffer[BLOCK + 1] = {};
};

void report(benchmark::State &state, std::size_t bytes) {
    using benchmark::Counter;
    const auto all = static_cast<double>(state.iterations()) * static_cast<double>(bytes);
    state.counters["s_per_byte"] = Counter(all, Counter::kIsRate | Counter::kInvert);
}

void check(benchmark::State &state, Content content) {
    const std::string block = blockOf(content);
    const TkCRC16 crc;
    for (auto _ : state) {
        benchmark::DoNotOptimize(crc.crc16(block.data(), 0, BLOCK, 0));
    }
    report(state, BLOCK);
}

/// Measures one way to send a block; what it writes must be `escapes` and `more` bytes longer.
template <class Send>
void measureSending(benchmark::State &state, Content content, std::size_t more, Send send) {
    std::string block = blockOf(content);
    const std::size_t escapes = content == ESCAPED ? BLOCK : 0;
    Tape tape;
    Sender sender(&tape);
    sender.run([&] {
        bool good = true;
        for (auto _ : state) {
            tape.clear();
            good = send(sender, block) && good;
        }
        // The check has two bytes, which may be escaped as well.
        const std::size_t written = tape.content().size();
        const std::size_t least = BLOCK + escapes + more;
        if (!good || written < least || (content != RANDOM && written > least + 2)) {
            state.SkipWithError("a block wasn't sent as it should be");
        }
    });
    report(state, BLOCK);
}

void escape(benchmark::State &state, Content content) {
    measureSending(state, content, 0,
                   [](Sender &sender, std::string &block) { return sender.escape(block); });
}

void send(benchmark::State &state, Content content) {
    constexpr std::size_t end = 4; // ZDLE, the frame's end, the check
    measureSending(state, content, end,
                   [](Sender &sender, std::string &block) { return sender.send(block, false); });
}

void receive(benchmark::State &state, Content content) {
    constexpr std::size_t SUBPACKETS = 64;
    std::string block = blockOf(content);
    Tape tape;
    Sender sender(&tape);
    sender.run([&] {
        for (std::size_t i = 1; i <= SUBPACKETS; ++i) {
            sender.send(block, i == SUBPACKETS);
        }
    });
    Receiver receiver(&tape);
    receiver.run([&] {
        for (auto _ : state) {
            tape.rewind();
            if (receiver.receive() != SUBPACKETS * BLOCK) {
                state.SkipWithError("a frame didn't arrive");
                break;
            }
        }
    });
    report(state, SUBPACKETS * BLOCK);
}

#define MEASURE(function)                                                                          \
    BENCHMARK_CAPTURE(function, text, TEXT);                                                       \
    BENCHMARK_CAPTURE(function, random, RANDOM);                                                   \
    BENCHMARK_CAPTURE(function, escaped, ESCAPED)

MEASURE(check);
MEASURE(escape);
MEASURE(send);
MEASURE(receive);

} // namespace

BENCHMARK_MAIN();
