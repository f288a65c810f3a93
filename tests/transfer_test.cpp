#include "support/dispatcher.h"
#include "support/process.h"
#include "support/pty.h"
#include "tk.h"
#include "tkserial.h"
#include "tkzmodem_receive.h"
#include "tkzmodem_send.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <random>

// Files go to rz and come from sz, the programs that people have at the far end, over a noisy line.

namespace {

using namespace std::literals;

enum class Content { text, random, worst };
enum class Noise { none, data, answers };

struct Case {
    bool send;
    Content content;
    std::size_t size;
    Noise noise = Noise::none;
    unsigned int seed = 0;
};

std::string make(Content content, std::size_t size) {
    // What has to be escaped, and what looks like a cancel, a header or the end of a subpacket.
    const auto worst = "\020\220\021\221\023\223\030\030\030\030\030\030\r\n@\r"
                       "**\030B0b00000000\030h*\030A\013\0\0\0\0\377\177\230"s;
    std::mt19937 random(static_cast<unsigned int>(size));
    std::string bytes;
    while (bytes.size() < size) {
        bytes += content == Content::text     ? "mAs " + std::to_string(random()) + "\n"
                 : content == Content::random ? std::string(1, static_cast<char>(random()))
                                              : worst;
    }
    return bytes.substr(0, size);
}

/// Two pseudo terminals that are joined at their masters: ours, and that of the far program.
///
/// Noise has its places in the stream from the sender. The opening and the last 200 bytes stay
/// whole: what is lost there is missed only after 10 s; and a receiver that asks again at the very
/// end of a file, or misses the header there, ends the transfer by the protocol's rules.
struct Line {
    explicit Line(const Case &with) : m_Case(with), m_Random(with.seed) {
        TkSerial(far.slavePath().c_str(), TkSerial::MODE_READ_WRITE); // now it is raw: no echo
    }
    ~Line() { ::close(m_nSlave); }

    /// Carries what has come, or waits a moment for it.
    void carry() {
        pollfd ends[] = {{ours.masterFd(), POLLIN, 0}, {far.masterFd(), POLLIN, 0}};
        ::poll(ends, 2, 5);
        PtyPair &sender = m_Case.send ? ours : far;
        PtyPair &receiver = m_Case.send ? far : ours;
        std::string answers = receiver.read(1024, 0ms);
        std::string data;
        for (const char byte : sender.read(1024, 0ms)) {
            data += byte;
            if (++m_nPosition == m_nNext && m_nPosition < m_Case.size) { // the stream is longer
                disturb(data, answers);
            }
        }
        EXPECT_TRUE(receiver.write(data) && sender.write(answers));
    }

    PtyPair ours, far;
    int disturbances = 0;

  private:
    void disturb(std::string &data, std::string &answers) {
        // Among them a header with a bad check, and a good one that asks for the file's start.
        static const std::string strays[] = {"*", "\030\030\030\030~", "OO\r\n",
                                             "**\030B09000000001234\r\n",
                                             "**\030B0900000000a87c\r\n\021"};
        ++disturbances;
        m_nNext += 1 + m_Random() % 32768;
        if (m_Case.noise == Noise::answers) {
            answers += strays[m_Random() % std::size(strays)];
        } else if (const auto kind = m_Random() % 4; kind == 0) {
            data.pop_back();
        } else if (kind == 1) {
            data += static_cast<char>(m_Random());
        } else {
            data.back() = static_cast<char>(data.back() ^ (1 << m_Random() % 8));
        }
    }

    const Case m_Case;
    std::mt19937 m_Random;
    const int m_nSlave = ::open(far.slavePath().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    std::size_t m_nPosition = 0;
    std::size_t m_nNext = m_Case.noise == Noise::none ? 0 : 300 + m_Random() % 32768;
};

struct Transfer : testing::TestWithParam<Case> {
    Transfer() {
        std::filesystem::create_directories(to);
        std::ofstream(from, std::ios::binary) << content;
        Tk::addDispatcher(&recorder);
    }
    ~Transfer() override {
        Tk::removeDispatcher(&recorder);
        std::filesystem::remove_all(folder);
    }
    TransferRecorder recorder;
    const Case with = GetParam();
    const std::string content = make(with.content, with.size);
    const std::string folder = testing::TempDir() + "transfer" + std::to_string(::getpid());
    const std::string from = folder + "/file", to = folder + "/arrived/";
};

TEST_P(Transfer, BringsTheFile) {
    Line line(with);
    TkSerial port(line.ours.slavePath().c_str(), TkSerial::MODE_READ_WRITE);
    const std::unique_ptr<TkZModem> transfer(
        with.send ? static_cast<TkZModem *>(new TkZModem_Send(from.c_str(), &port))
                  : new TkZModem_Receive(to.c_str(), &port));
    // At its end sz clears the queues of its input, and would lose its last bytes on a terminal.
    Process far({"/bin/bash", "-c",
                 (with.send ? "cd $1; exec rz -bq"s : "exec sz -boq $2"s) + " < <(cat $0) >$0",
                 line.far.slavePath(), to, from});
    transfer->start();
    std::optional<int> exitCode;
    const auto end = std::chrono::steady_clock::now() + 50s;
    while ((transfer->isTransferComplete() || !(exitCode = far.wait(0ms))) &&
           std::chrono::steady_clock::now() < end) {
        line.carry();
    }
    EXPECT_FALSE(transfer->isTransferComplete());
    EXPECT_EQ(exitCode, 0);
    EXPECT_EQ(line.disturbances > 0, with.noise != Noise::none);
    const auto events = recorder.events();
    EXPECT_EQ(std::count(events.begin(), events.end(), "transfer_complete"), 1);
    std::ifstream file(to + "file", std::ios::binary);
    EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(file), {}) == content);
}

std::vector<Case> cases() {
    std::vector<Case> all;
    for (const bool send : {true, false}) {
        for (const std::size_t size :
             {1U, 1023U, 1024U, 1025U, 2048U, send ? 3U << 19 : 4U << 20}) {
            all.push_back({send, Content::random, size});
        }
        for (unsigned int i = 0; i < 3; ++i) {
            const auto content = static_cast<Content>(i);
            all.push_back({send, content, 100000});
            all.push_back({send, content, 103400, Noise::data, i});
            if (send) { // sz itself loses its way among answers that it didn't expect
                all.push_back({send, content, 103400, Noise::answers, i});
            }
        }
    }
    return all;
}

std::string nameOf(const testing::TestParamInfo<Case> &info) {
    const char *contents[] = {"Text", "Random", "Worst"};
    const char *noises[] = {"", "WithNoise", "AmongStrayAnswers"};
    return (info.param.send ? "Send" : "Receive") + std::to_string(info.param.size) +
           contents[static_cast<int>(info.param.content)] +
           noises[static_cast<int>(info.param.noise)];
}

INSTANTIATE_TEST_SUITE_P(Lrzsz, Transfer, testing::ValuesIn(cases()), nameOf);

} // namespace
