#ifndef TKGEN_TESTS_TRANSFER_H
#define TKGEN_TESTS_TRANSFER_H

#include "support/clock.h"
#include "support/dispatcher.h"
#include "support/link.h"
#include "support/zmodem.h"
#include "tk.h"
#include "tkzmodem_receive.h"
#include "tkzmodem_send.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <numeric>
#include <unistd.h>

// Transfers against a peer that says what the story wants, with a clock that runs as soon as
// nobody speaks.

using namespace std::string_literals;
using zmodem::binary;
using zmodem::hex;
using zmodem::Peer;
using zmodem::subpacket;
using T = TkZModem;

constexpr unsigned long FLAGS = 0x23000000;
inline const std::string CANS(5, '\x18');

/// A silence of a second or so passes with each look.
class HastyLink : public MemoryLink {
  public:
    HastyLink(SettableClock &clock, Answers answers)
        : MemoryLink(std::move(answers)), m_Clock(clock) {}

    int read_ch(char *byte) override {
        const int count = MemoryLink::read_ch(byte);
        if (count == 0) {
            m_Clock.advance(1100);
        }
        return count;
    }

  private:
    SettableClock &m_Clock;
};

/// A transfer whose result is known, and whose protected operations can be run on its thread.
template <class Transfer>
class Shown : public Transfer {
  public:
    using Body = std::function<void(Shown &)>;

    Shown(const std::string &path, TkComms *link, Body body = nullptr)
        : Transfer(path.c_str(), link), m_Body(std::move(body)) {}
    ~Shown() override { this->endThread(); }

    void threadCycle() override {
        const TkZModem::LastCycle last(*this);
        if (m_Body) {
            m_Body(*this);
        } else if constexpr (std::is_same_v<Transfer, TkZModem_Send>) {
            m_nResult = this->transferFile();
        } else {
            m_nResult = this->receive();
        }
    }

    /// Runs to the end, which must come by itself.
    int run() {
        this->start();
        finish();
        return m_nResult;
    }

    void finish() {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (this->isTransferComplete() && std::chrono::steady_clock::now() < limit) {
            std::this_thread::yield();
        }
        EXPECT_FALSE(this->isTransferComplete()) << "hangs";
    }

    using Transfer::getByte;
    using Transfer::m_nBlocksTransferred;
    using Transfer::m_nBytesTransferred;
    using Transfer::m_nHeaderType;
    using Transfer::m_nHeaderValue;
    using Transfer::m_nMeasureStart;
    using Transfer::m_nTotalSize;
    using Transfer::receiveHexHeader;
    using Transfer::sendBinaryPacket;
    using Transfer::sendByte;
    using Transfer::sendHexPacket;
    using Transfer::updateCPS;
    using Transfer::updateSecondsRemaining;

  private:
    const Body m_Body;
    int m_nResult = -1;
};

using Sender = Shown<TkZModem_Send>;
using Receiver = Shown<TkZModem_Receive>;

struct Transfers : testing::Test {
    Transfers() {
        std::filesystem::create_directories(directory + "in");
        Tk::addDispatcher(&recorder);
    }
    ~Transfers() override {
        Tk::removeDispatcher(&recorder);
        std::filesystem::remove_all(directory);
    }

    std::string file(std::size_t size) const {
        std::string path = directory + "data.bin";
        std::string content(size, '\0');
        std::iota(content.begin(), content.end(), '\0');
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    static std::string contentOf(const std::string &path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string written() {
        std::string all;
        for (const std::string &block : link->written()) {
            all += block;
        }
        return all;
    }

    /// The events by their initials: e, s, p, c for complete, x for cancelled.
    std::string events() {
        std::string all;
        for (const std::string &event : recorder.events()) {
            all += event == "transfer_started"     ? 's'
                   : event == "transfer_complete"  ? 'c'
                   : event == "transfer_cancelled" ? 'x'
                                                   : event[0];
        }
        return all;
    }

    void connect(Peer::Answers changes, Peer::Answers usual, Peer::Hook hook = nullptr) {
        changes.merge(usual);
        link = std::make_unique<HastyLink>(clock, Peer(std::move(changes), std::move(hook)));
    }

    const std::string directory = testing::TempDir() + "zmodem" + std::to_string(::getpid()) + "/";
    SettableClock clock;
    TransferRecorder recorder;
    std::unique_ptr<HastyLink> link;
};

inline const Peer::Answers RECEIVER = {{T::ZRQINIT, {hex(T::ZRINIT, FLAGS)}},
                                       {T::ZFILE, {hex(T::ZRPOS)}},
                                       {T::ZEOF, {hex(T::ZRINIT, FLAGS)}},
                                       {T::ZFIN, {hex(T::ZFIN)}}};

inline std::string offer(const std::string &details) {
    return binary(T::ZFILE) + subpacket(details, 'k');
}

inline const std::string OFFER = offer("a.bin\0005 0 0 0 2 77\0"s);
inline const std::string DATA = binary(T::ZDATA) + subpacket("hello", 'h');
inline const std::string END = binary(T::ZEOF, 5);

inline const Peer::Answers SENDER = {
    {T::ZRINIT, {OFFER, hex(T::ZFIN)}}, {T::ZRPOS, {DATA + END}}, {T::ZFIN, {"OO"}}};

inline std::string damaged(std::string header) {
    header[8] = header[8] == '0' ? '1' : '0';
    return header;
}

#endif
