#include "support/clock.h"
#include "support/dispatcher.h"
#include "support/link.h"
#include "support/zmodem.h"
#include "tk.h"
#include "tkcrc.h"
#include "tkzmodem_receive.h"
#include "tkzmodem_send.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <numeric>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

// Transfers against a peer that says what the story wants, with a clock that runs as soon as
// nobody speaks.

using namespace std::string_literals;
using zmodem::binary;
using zmodem::hex;
using zmodem::Peer;
using zmodem::subpacket;

namespace {

constexpr unsigned long FLAGS = 0x23000000;
const std::string CANS(5, '\x18');

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
        const std::string path = directory + "data.bin";
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

const Peer::Answers RECEIVER = {{TkZModem::ZRQINIT, {hex(TkZModem::ZRINIT, FLAGS)}},
                                {TkZModem::ZFILE, {hex(TkZModem::ZRPOS)}},
                                {TkZModem::ZEOF, {hex(TkZModem::ZRINIT, FLAGS)}},
                                {TkZModem::ZFIN, {hex(TkZModem::ZFIN)}}};

std::string offer(const std::string &details) {
    return binary(TkZModem::ZFILE) + subpacket(details, 'k');
}

const std::string OFFER = offer("a.bin\0005 0 0 0 2 77\0"s);
const std::string DATA = binary(TkZModem::ZDATA) + subpacket("hello", 'h');
const std::string END = binary(TkZModem::ZEOF, 5);

const Peer::Answers SENDER = {{TkZModem::ZRINIT, {OFFER, hex(TkZModem::ZFIN)}},
                              {TkZModem::ZRPOS, {DATA + END}},
                              {TkZModem::ZFIN, {"OO"}}};

std::string damaged(std::string header) {
    header[8] = header[8] == '0' ? '1' : '0';
    return header;
}

} // namespace

TEST_F(Transfers, WireForms) {
    EXPECT_EQ(TkCRC16().crc16("123456789", 0, 9, 0), 0x31C3);
    EXPECT_EQ(TkCRC32().crc32("xabc", 1, 3, 0), 0xCA6598D0);
    connect({}, {});
    std::vector<int> results;
    Sender sender("x", link.get(), [&](Sender &self) {
        results = {self.sendHexPacket(TkZModem::ZRINIT, FLAGS),
                   self.sendHexPacket(TkZModem::ZACK, 1), self.sendHexPacket(TkZModem::ZCAN, 0),
                   self.sendByte(0x93, true), self.sendByte(0x7F, true)};
        const std::string crc32 = "*\x18"
                                  "C\x0Dxyz1\xB9\x5B\xFE\x4B"s;
        for (const std::string &in :
             {"no*Aise*Bee"s + "**\x18\x18\x18\x18xB" + hex(TkZModem::ZRPOS, 0x12345678),
              CANS.substr(1) + "x" + binary(TkZModem::ZEOF, 0x18000000), hex(TkZModem::ZABORT, 3),
              damaged(hex(TkZModem::ZFIN)),
              "**\x18"
              "B01A0"s,
              "*" + CANS, "**"s, hex(TkZModem::ZSKIP, 1).substr(2), "x"s}) {
            link->arrive(in);
            results.push_back(self.receiveHexHeader(10000));
            results.push_back(self.m_nHeaderType);
            results.push_back(static_cast<int>(self.m_nHeaderValue));
        }
        link->arrive("y");
        unsigned char byte = 'z';
        results.insert(results.end(), {self.getByte(0, &byte), byte, self.getByte(5, &byte), byte});
    });
    sender.run();
    EXPECT_EQ(results, (std::vector<int>{0, 0,  9,          0, 0,             // sent
                                         0, 9,  0x12345678,                   // hexadecimal
                                         0, 11, 0x18000000,                   // binary, and escaped
                                         2, 7,  3,                            // stored all the same
                                         3, 7,  3,          3, 7, 3, 9, 7, 3, // nothing stored
                                         6, 7,  3,          0, 5, 1, 6, 5, 1, 6, 'z', 0, 'y'}));
    EXPECT_EQ(written(), "**\x18"
                         "B0100000023be50\r\n\x11" +
                             hex(TkZModem::ZACK, 1) + CANS + CANS + "\x18\xD3\x7F");
    Sender unconnected("x", nullptr);
    EXPECT_EQ(unconnected.sendByte('x', false), 8);
    EXPECT_EQ(unconnected.run(), 8);
}

TEST_F(Transfers, AFileGoesOutAsOneStream) {
    const std::string path = file(2048);
    const utimbuf modified = {1000000, 1000000};
    ASSERT_EQ(::utime(path.c_str(), &modified), 0);
    connect({}, RECEIVER);
    Sender sender(path, link.get());
    EXPECT_EQ(sender.run(), 4);
    const std::string content = contentOf(path);
    EXPECT_EQ(written(), "rz\r" + hex(TkZModem::ZRQINIT, FLAGS) + binary(TkZModem::ZFILE, 1) +
                             subpacket("data.bin\0002048 3641100 0 0 1 2048\0"s, 'k') +
                             binary(TkZModem::ZDATA) + subpacket(content.substr(0, 1024), 'i') +
                             subpacket(content.substr(1024), 'i') + subpacket("", 'h') +
                             binary(TkZModem::ZEOF, 2048) + hex(TkZModem::ZFIN) + "OO");
    EXPECT_EQ(events(), "espppc");
    EXPECT_EQ(sender.getTotalBytesTransfered(), 2048U);
    EXPECT_EQ(sender.getTotalBlocksTransfered(), 2U);
    EXPECT_EQ(sender.getTotalTransferSize(), 2048U);
    EXPECT_STREQ(sender.getCurrentFileName(), "data.bin");
}

TEST_F(Transfers, ASenderEndsWhateverTheReceiverDoes) {
    using T = TkZModem;
    const std::string start = hex(T::ZRPOS);
    const struct {
        const char *peer;
        Peer::Answers changes;
        int result;
        const char *events;
        // clang-format off
    } rows[] = {
        {"is in order", {}, 4, "espppppc"},
        {"says ZRINIT thrice", {{T::ZRQINIT, {hex(T::ZRINIT) + hex(T::ZRINIT) + hex(T::ZRINIT)}}}, 4, "espppppc"},
        {"was cancelled before", {{T::ZRQINIT, {CANS + CANS, hex(T::ZRINIT)}}}, 4, "espppppc"},
        {"isn't there", {{T::ZRQINIT, {}}}, 1, "ex"},
        {"aborts the opening", {{T::ZRQINIT, {hex(T::ZABORT)}}}, 1, "ex"},
        {"talks noise in the opening", {{T::ZRQINIT, {std::string(50000, 'x')}}}, 1, "ex"},
        {"wants no file", {{T::ZFILE, {hex(T::ZSKIP)}}}, 4, "ex"},
        {"never says where", {{T::ZFILE, {}}}, 1, "e"},
        {"says ZNAK for ever", {{T::ZFILE, {hex(T::ZNAK) + hex(T::ZNAK)}}, {T::ZFIN, {}}}, 1, "e"},
        {"damages all", {{T::ZFILE, {damaged(start)}}}, 1, "e"},
        {"talks noise", {{T::ZFILE, {std::string(50000, '*')}}}, 1, "e"},
        {"cancels", {{T::ZFILE, {CANS}}}, 9, "ex"},
        {"cancels the stream", {{T::ZDATA, {CANS}}}, 9, "esx"},
        {"aborts the stream", {{T::ZDATA, {hex(T::ZABORT)}}}, 1, "esx"},
        {"has enough", {{T::ZDATA, {hex(T::ZACK) + hex(T::ZRINIT)}}}, 4, "esc"},
        {"has the file", {{T::ZFILE, {hex(T::ZRPOS, 5000)}}}, 9, "esxx"},
        {"starts beyond the end", {{T::ZFILE, {hex(T::ZRPOS, 0xFFFFFFFF)}}}, 4, "espc"},
        {"goes back for ever", {{T::ZDATA, {start}}, {T::ZEOF, {start}}}, 1, nullptr},
        {"repeats ZRPOS", {{T::ZFILE, {start + start + start}}}, 4, "essspppppc"},
        {"streams noise", {{T::ZDATA, {std::string(50000, 'x')}}}, 4, "espppppc"},
        {"asks behind the end", {{T::ZEOF, {hex(T::ZRPOS, 4096), hex(T::ZRINIT)}}}, 4, "esppppppc"},
        {"is silent at the end", {{T::ZEOF, {}}}, 6, "esppppp"},
        {"damages the end", {{T::ZEOF, {damaged(hex(T::ZRINIT))}}}, 3, "esppppp"},
        {"goes without a word", {{T::ZFIN, {}}}, 6, "espppppc"},
        {"aborts the good-bye", {{T::ZFIN, {hex(T::ZABORT)}}}, 6, "espppppc"},
    };
    // clang-format on
    for (const auto &row : rows) {
        SCOPED_TRACE(row.peer);
        connect(row.changes, RECEIVER);
        Sender sender(file(5000), link.get());
        EXPECT_EQ(sender.run(), row.result);
        const std::string told = events();
        EXPECT_TRUE(!row.events || told == row.events) << told;
    }
    using Counts = std::vector<std::pair<int, int>>; // of what is repeated
    for (const auto &[type, count] : Counts{{T::ZRQINIT, 10}, {T::ZFILE, 11}, {T::ZFIN, 11}}) {
        int seen = 0;
        connect({{type, {}}}, RECEIVER,
                [&, at = type](int header) { seen += header == at ? 1 : 0; });
        Sender(file(5000), link.get()).run();
        EXPECT_EQ(seen, count) << type;
        events();
    }
    for (const std::string &path : {directory + "missing", directory + "in", "/dev/zero"s,
                                    directory + std::string(1100, 'n')}) {
        connect({}, RECEIVER);
        EXPECT_EQ(Sender(path, link.get()).run(), 1) << path;
        EXPECT_EQ(events(), "e");
    }
}

TEST_F(Transfers, AReceiverEndsWhateverTheSenderDoes) {
    using T = TkZModem;
    const std::string fin = hex(T::ZFIN);
    const std::string bad = binary(T::ZDATA) + damaged(subpacket("0123456789", 'h'));
    const struct {
        const char *peer;
        Peer::Answers changes;
        int result;
        const char *events;
        const char *file; // where it isn't "hello"
        // clang-format off
    } rows[] = {
        {"is in order", {}, 4, "pspc", nullptr},
        {"isn't there", {{T::ZRINIT, {}}}, 6, "x", ""},
        {"asks for ever", {{T::ZRINIT, {hex(T::ZRQINIT)}}}, 1, nullptr, ""},
        {"damages a first header", {{T::ZRINIT, {damaged(fin), OFFER, fin}}}, 4, "epspc", nullptr},
        {"talks noise", {{T::ZRINIT, {std::string(50000, 'x')}}}, 6, "x", ""},
        {"says ZNAK for ever", {{T::ZRINIT, {hex(T::ZNAK)}}, {T::ZNAK, {hex(T::ZNAK)}}}, 1, "x", ""},
        {"aborts", {{T::ZRINIT, {hex(T::ZABORT)}}}, 1, "x", ""},
        {"sends ZCAN", {{T::ZRINIT, {hex(T::ZCAN)}}}, 2, "x", ""},
        {"cancels", {{T::ZRINIT, {CANS}}}, 9, "x", ""},
        {"cancels its offer", {{T::ZRINIT, {binary(T::ZFILE) + CANS}}}, 9, "", ""},
        {"damages its offer", {{T::ZRINIT, {damaged(OFFER), OFFER, fin}}}, 4, "epspc", nullptr},
        {"offers it twice", {{T::ZRPOS, {OFFER, DATA + END}}}, 4, "pspc", nullptr},
        {"cancels in the file", {{T::ZRPOS, {DATA + CANS}}}, 9, "pspxx", nullptr},
        {"cancels in the data", {{T::ZRPOS, {binary(T::ZDATA) + CANS}}}, 9, "psxx", ""},
        {"aborts in the file", {{T::ZRPOS, {DATA + hex(T::ZABORT)}}}, 1, "pspx", nullptr},
        {"falls silent in the file", {{T::ZRPOS, {}}}, 1, "psx", ""},
        {"sends bad data for ever", {{T::ZRPOS, {bad}}}, 1, "psx", ""},
        {"sends empty data for ever", {{T::ZRPOS, {binary(T::ZDATA) + subpacket("", 'k')}}, {T::ZACK, {binary(T::ZDATA) + subpacket("", 'k')}}}, 1, nullptr, ""},
        {"sends data that don't end", {{T::ZRPOS, {binary(T::ZDATA) + std::string(60000, 'x')}}}, 1, "psx", ""},
        {"sends strange headers", {{T::ZRPOS, {hex(T::ZNAK)}}}, 1, "psx", ""},
        {"repairs its data", {{T::ZRPOS, {bad + END, DATA + END}}}, 4, "pspc", nullptr},
        {"lost a header", {{T::ZRPOS, {"x" + DATA.substr(1) + END, DATA + END}}}, 4, "pspc", nullptr},
        {"lost an end", {{T::ZRPOS, {binary(T::ZDATA) + std::string(1100, 'x') + END, DATA + END}}}, 4, "pspc", nullptr},
        {"was asked twice", {{T::ZRPOS, {DATA.substr(0, DATA.size() - 8) + subpacket("hello", 'i') + "?", DATA, binary(T::ZDATA, 5) + subpacket("!", 'h') + binary(T::ZEOF, 6)}}}, 4, "psppc", "hello!"},
        {"names strange positions", {{T::ZRPOS, {binary(T::ZDATA, 77) + subpacket("hello", 'h') + binary(T::ZEOF, 1)}}}, 4, "pspc", nullptr},
        {"goes without a word", {{T::ZFIN, {}}}, 4, "pspc", nullptr},
        {"chatters at the end", {{T::ZFIN, {"OxO" + std::string(50000, 'x')}}}, 4, "pspc", nullptr},
        {"cancels at the end", {{T::ZFIN, {CANS}}}, 4, "pspc", nullptr},
        {"goes on behind ZFIN", {{T::ZRINIT, {fin, OFFER, fin}}, {T::ZFIN, {"*" + hex(T::ZRQINIT), "OO"}}}, 4, "epspc", nullptr},
    };
    // clang-format on
    for (const auto &row : rows) {
        SCOPED_TRACE(row.peer);
        std::filesystem::remove(directory + "in/a.bin");
        connect(row.changes, SENDER);
        Receiver receiver(directory + "in/", link.get());
        EXPECT_EQ(receiver.run(), row.result);
        const std::string told = events();
        EXPECT_TRUE(!row.events || told == row.events) << told;
        EXPECT_EQ(contentOf(directory + "in/a.bin"), row.file ? row.file : "hello");
        const bool cancelled = row.result == 9 && told != "";
        EXPECT_EQ(written().find(CANS + CANS) != std::string::npos, cancelled);
    }
}

TEST_F(Transfers, SubpacketsAreAnsweredByTheirEnds) {
    const std::string all = "\x18\x10\x90\x11\x91\x13\x93\x7F\xFF";
    connect({{TkZModem::ZRPOS,
              {binary(TkZModem::ZDATA) + subpacket("abc", 'j') + subpacket(all, 'i') +
                   "\x18l\x18m\x18\x01\x18\x18\x58" + subpacket("\x7F\xFF\x01\x58", 'k').substr(4) +
                   binary(TkZModem::ZDATA) + damaged(subpacket("0123456789", 'h')),
               binary(TkZModem::ZDATA, 16) + subpacket(std::string(1024, 'z'), 'h') +
                   binary(TkZModem::ZEOF, 1040)}}},
            SENDER);
    Receiver receiver(directory + "in/", link.get());
    EXPECT_EQ(receiver.run(), 4);
    EXPECT_EQ(contentOf(directory + "in/a.bin"),
              "abc" + all + "\x7F\xFF\x01\x58" + std::string(1024, 'z'));
    EXPECT_EQ(written(), hex(TkZModem::ZRINIT, FLAGS) + hex(TkZModem::ZRPOS) +
                             hex(TkZModem::ZACK, 3) + hex(TkZModem::ZACK, 16) +
                             hex(TkZModem::ZRPOS, 16) + hex(TkZModem::ZRINIT, FLAGS) +
                             hex(TkZModem::ZFIN));
}

TEST_F(Transfers, NoNameLeadsOutOfTheDirectory) {
    std::filesystem::create_directories(directory + "in/sub");
    std::filesystem::create_symlink(directory + "outside", directory + "in/link");
    ASSERT_EQ(::mkfifo((directory + "in/pipe").c_str(), 0600), 0);
    for (const std::string &name :
         {"../outside"s, "sub/../../outside"s, ".."s, "/outside"s, "C:outside"s, "..\\outside"s,
          "sub\\x"s, "link"s, "pipe"s, "sub"s, "missing/x"s, std::string(1000, 'n')}) {
        connect({{TkZModem::ZRINIT, {offer(name + "\0001 0 0 0 1 1\0"s)}}}, SENDER);
        EXPECT_EQ(Receiver(directory + "in/", link.get()).run(), 1) << name;
        EXPECT_EQ(events(), "psx") << name;
        EXPECT_FALSE(std::filesystem::exists(directory + "outside")) << name;
    }
    const struct {
        std::string details;
        std::string file;
        unsigned long files;
        unsigned long size;
    } rows[] = {
        {"\0005 0 0 0 3 99\0"s, "ZMODEM.000", 3, 99},
        {"sub/x.y\0005 0 0 0 3 99\0"s, "sub/x.y", 3, 99},
        {"nothing", "nothing", 0, 0},
        {"short\0005 0 0"s, "short", 0, 0},
        {"huge\0005 0 0 0 99999999999999999999999 4294967296\0"s, "huge", 4294967295, 4294967295},
        {"bad\0005 0 0 0 -3 x9\0"s, "bad", 0, 0},
        {"..hidden\0"s, "..hidden", 0, 0}};
    for (const auto &row : rows) {
        connect({{TkZModem::ZRINIT, {offer(row.details), hex(TkZModem::ZFIN)}}}, SENDER);
        Receiver receiver(directory + "in/", link.get());
        EXPECT_EQ(receiver.run(), 4) << row.file;
        EXPECT_EQ(contentOf(directory + "in/" + row.file), "hello") << row.file;
        EXPECT_EQ(receiver.getNumFiles(), row.files) << row.file;
        EXPECT_EQ(receiver.getTotalTransferSize(), row.size) << row.file;
        EXPECT_EQ(receiver.getCurrentFile(), 1U);
        EXPECT_EQ(receiver.getCurrentFileName(), row.file);
        events();
    }
}

TEST_F(Transfers, DamageNeverPassesForAFile) {
    // A peer that says all at once and repeats nothing, with each byte lost, doubled and flipped.
    const std::string script = OFFER + DATA + END + hex(TkZModem::ZFIN) + "OO";
    struct Run {
        std::string path;
        std::unique_ptr<HastyLink> link;
        std::unique_ptr<Receiver> receiver;
    };
    std::vector<Run> runs;
    for (std::size_t at = 0; at < script.size(); ++at) {
        const std::string head = script.substr(0, at);
        for (const std::string &middle :
             {""s, std::string(2, script[at]), std::string(1, static_cast<char>(script[at] ^ 0x04)),
              "\x18"s}) {
            Run run{directory + "in/" + std::to_string(runs.size()),
                    std::make_unique<HastyLink>(clock, nullptr), nullptr};
            std::filesystem::create_directories(run.path);
            run.link->arrive(head + middle + script.substr(at + 1));
            run.receiver = std::make_unique<Receiver>(run.path + "/", run.link.get());
            run.receiver->start();
            runs.push_back(std::move(run));
        }
    }
    int complete = 0;
    for (Run &run : runs) {
        const bool isComplete = run.receiver->run() == 4;
        const std::string file = contentOf(run.path + "/a.bin");
        const bool gotFile = isComplete && run.receiver->getCurrentFile() == 1;
        EXPECT_TRUE(!gotFile || file == "hello") << run.path << ' ' << file;
        complete += gotFile ? 1 : 0;
    }
    EXPECT_GT(complete, 0);
}

TEST_F(Transfers, ASenderGoesBackAndHeedsNoAcknowledgement) {
    const std::string path = file(160000);
    const std::string content = contentOf(path);
    Peer receiver(RECEIVER);
    std::size_t position = 1;
    int blocks = 0;
    link = std::make_unique<HastyLink>(clock, [&](const std::string &written) {
        if (written.rfind(binary(TkZModem::ZDATA, 0).substr(0, 4), 0) == 0) {
            position = blocks == 0 ? 0 : 2048;
            EXPECT_EQ(written, binary(TkZModem::ZDATA, position));
        } else if (written[0] != '*' && position != 1) {
            const std::string data = content.substr(position, 1024);
            const bool isLast = data.size() < 1024;
            EXPECT_EQ(written, subpacket(data, isLast ? 'h' : 'i') +
                                   (isLast ? binary(TkZModem::ZEOF, 160000) : ""));
            position += 1024;
            return ++blocks == 5 ? hex(TkZModem::ZRPOS, 2048)
                   : isLast      ? receiver(binary(TkZModem::ZEOF))
                                 : hex(TkZModem::ZACK, position);
        }
        return receiver(written);
    });
    Sender sender(path, link.get());
    EXPECT_EQ(sender.run(), 4);
    EXPECT_EQ(blocks, 5 + 155);
    EXPECT_EQ(sender.getTotalBlocksTransfered(), 159U);
    const std::string told = events();
    EXPECT_EQ(told, "es" + std::string(160, 'p') + "c");
}

TEST_F(Transfers, ACancelOrADestructionEndsEveryStep) {
    using T = TkZModem;
    const struct {
        bool sends;
        int at; // the header behind which it comes
        const char *events;
        bool tellsPeer;
    } rows[] = {{true, T::ZRQINIT, "ex", false},     {true, T::ZFILE, "ex", false},
                {true, T::ZDATA, "esx", false},      {true, T::ZEOF, "espppppx", false},
                {true, T::ZFIN, "espppppcx", false}, {false, T::ZRINIT, "x", true},
                {false, T::ZRPOS, "psxx", true},     {false, T::ZFIN, "psp", false}};
    for (const auto &row : rows) {
        for (const bool destroys : {false, true}) {
            SCOPED_TRACE(std::to_string(row.at) + (destroys ? " destroyed" : ""));
            std::filesystem::remove(directory + "in/a.bin");
            std::unique_ptr<TkZModem> transfer;
            std::atomic<bool> seen{false};
            connect({{row.at, {""}}}, row.sends ? RECEIVER : SENDER, [&](int type) {
                if (type == row.at && !destroys) {
                    transfer->cancelTransfer(true);
                }
                seen = seen || type == row.at;
            });
            if (row.sends) {
                transfer = std::make_unique<Sender>(file(5000), link.get());
            } else {
                transfer = std::make_unique<Receiver>(directory + "in/", link.get());
            }
            transfer->start();
            while (destroys ? !seen : transfer->isTransferComplete()) {
                std::this_thread::yield();
            }
            transfer.reset();
            const std::string told = events();
            if (!destroys) {
                EXPECT_EQ(told, row.events);
                EXPECT_EQ(written().find(CANS + CANS) != std::string::npos, row.tellsPeer);
            }
        }
    }
    connect({}, {});
    Sender sender(file(10), link.get(), [&](Sender &self) {
        self.cancelTransfer(true);
        EXPECT_EQ(self.sendBinaryPacket(T::ZDATA, 0), 9);
        EXPECT_EQ(self.transmitFileData(0), 9);
    });
    sender.run();
    EXPECT_EQ(written(), CANS + CANS + CANS + CANS);
}

TEST_F(Transfers, RateAndTimeLeft) {
    connect({}, {});
    Sender sender("x", link.get(), [&](Sender &self) {
        const auto after = [&](unsigned long milliseconds, unsigned int bytes) {
            clock.advance(milliseconds);
            self.m_nBytesTransferred = bytes;
            const unsigned long rate = self.updateCPS();
            const std::pair<unsigned long, unsigned long> both = {rate,
                                                                  self.updateSecondsRemaining()};
            EXPECT_EQ(both, std::make_pair(self.getCPS(), self.getSecondsRemaining()));
            return both;
        };
        self.m_nTotalSize = 10000;
        self.m_nMeasureStart = 1000;
        EXPECT_EQ(after(2000, 3000), std::make_pair(1000UL, 7UL));
        self.m_nBlocksTransferred = 1;
        EXPECT_EQ(after(1000, 6000), std::make_pair(1666UL, 3UL));  // by the mean of both
        EXPECT_EQ(after(1000, 11000), std::make_pair(2500UL, 0UL)); // more than there should be
        for (int i = 0; i < 9; ++i) {
            EXPECT_EQ(after(1000, 1000), std::make_pair(0UL, 0UL));
        }
        EXPECT_EQ(after(1000, 1015), std::make_pair(1UL, 0UL)); // by a mean of 0
    });
    sender.run();
}
