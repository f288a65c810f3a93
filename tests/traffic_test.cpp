#include "support/generator.h"
#include "support/story.h"
#include "tkbinary_aec.h"
#include "tkbinary_system.h"
#include "tkrecordwalk.h"
#include "tkvocabulary.h"

#include <random>
#include <thread>

namespace {

constexpr int READ = tkrecord::READ;
constexpr int WRITE = tkrecord::WRITE;

const std::string ACK_BYTE = "\x06";
const std::string READ_DENSITY{"\x01\x0A\x00\x01\x01\x0D", 6};

std::string density(unsigned char first) {
    ScriptedGenerator::Data data(16, 7);
    data.front() = first;
    return ScriptedGenerator::record(0x0A, data);
}

} // namespace

/// Records on the same queue as text. A density record stands for all.
class Traffic : public Engine {
  protected:
    bool begin(int mode = READ) { return engine.transmitBinaryMsg(&record, mode, false); }
    unsigned char first() { return record.density_neg_8; }

    TkBinary_AECDensity record;
    TkBinary_AECDensity other;
};

TEST_F(Traffic, OneRecordIsAwaitedAtATime) {
    EXPECT_FALSE(engine.transmitBinaryMsg(nullptr, READ, false));
    EXPECT_TRUE(begin());
    EXPECT_FALSE(begin());
    EXPECT_FALSE(engine.transmitBinaryMsg(&other, READ, true)) << "at once";
    EXPECT_EQ(sent(), Frames{READ_DENSITY});
    receive(density(42));
    EXPECT_TRUE(record.isValid());
    EXPECT_EQ(first(), 42);
    EXPECT_TRUE(begin(WRITE));
    EXPECT_FALSE(record.isValid());
    EXPECT_EQ(sent().front().size(), 22u);
    EXPECT_FALSE(begin());
    receive(ACK_BYTE);
    EXPECT_FALSE(record.isValid()) << "until it has been read again";
    TkBinary_Bypass bypass;
    TkBinary_ErrorLog log;
    EXPECT_FALSE(engine.transmitBinaryMsg(&bypass, READ, true)) << "there is no such frame";
    EXPECT_FALSE(engine.transmitBinaryMsg(&log, WRITE, false));
    EXPECT_TRUE(begin());
    EXPECT_EQ(sent(), Frames{READ_DENSITY});
}

TEST_F(Traffic, TextAndRecordsTakeTurnsAndControlBytesInsideAreData) {
    engine.bufferParsedComms(true);
    send(Tk::KV, 70);
    begin();
    send(Tk::MA, 100);
    EXPECT_EQ(sent(), Frames{frame("KV070")});
    receive(frame("KV070"));
    EXPECT_EQ(link.written(), Frames{READ_DENSITY});
    const ScriptedGenerator::Data data{6, 21, 1, 3, 3, 6, 3, 21, 6, 3, 1, 2, 3, 21, 6, 3};
    const std::string reply = ScriptedGenerator::record(0x0A, data);
    for (const char byte : reply) {
        EXPECT_FALSE(record.isValid());
        receive(std::string(1, byte));
    }
    EXPECT_TRUE(record.isValid());
    EXPECT_EQ(record.density_pos_8, 3);
    EXPECT_EQ(link.written(), Frames{frame("MA00100")}) << "in the cycle of the last byte";
    const std::string log = parsedLog();
    EXPECT_NE(log.find("TRANSMITTED: <1><10><0><1><1><13>\n"), log.npos);
    EXPECT_NE(log.find("RECEIVED:    <1><10><0><16><6><21><1><3>"), log.npos);
}

TEST_F(Traffic, ARecordThatNobodyAwaitsIsLoggedAndAnswersItsFrame) {
    engine.bufferParsedComms(true);
    const std::string unknown =
        "RECEIVED:     Unknown message received from generator... -> <1><10>";
    receive(density(1) + frame("KV070"));
    EXPECT_NE(parsedLog().find(unknown), std::string::npos);
    EXPECT_EQ(engine.getGenParam(Tk::KV), -999) << "which ends the reading of a cycle";
    engine.cycle();
    EXPECT_EQ(engine.getGenParam(Tk::KV), 70);
    send(Tk::MA, 100);
    begin();
    engine.cycle();
    receive(ACK_BYTE); // of the text: it ends the record's transaction all the same
    EXPECT_TRUE(engine.transmitBinaryMsg(&other, READ, false));
    link.written();
    engine.cycle();
    receive(density(42));
    EXPECT_TRUE(other.isValid()) << "the one that is awaited takes it";
    receive(density(43));
    EXPECT_EQ(other.density_neg_8, 42);
    link.written();
    timeOut();
    EXPECT_EQ(link.written(), Frames{}) << "both frames have been answered";
}

TEST_F(Traffic, AReplyFillsWhateverIsAwaitedAndAnswersOnlyItsOwnFrame) {
    TkBinary_AECSetup setup;
    EXPECT_TRUE(engine.transmitBinaryMsg(&setup, READ, false));
    const Frames request = sent();
    receive(ScriptedGenerator::record(0x06, {2, 9, 9, 9, 9}));
    EXPECT_TRUE(setup.isValid()) << "though it was a receptor's";
    EXPECT_EQ(setup.Channel, 2);
    timeOut();
    EXPECT_EQ(link.written(), request) << "which isn't what was asked for";
    receive(ScriptedGenerator::record(0x08, {3, 1, 1, 1}));
    EXPECT_EQ(setup.Channel, 2) << "too late for it";
    timeOut();
    EXPECT_EQ(link.written(), Frames{});
    EXPECT_TRUE(engine.transmitBinaryMsg(&setup, READ, false));
    engine.cycle();
    receive(ScriptedGenerator::record(0x08, {4, 1, 1, 1}));
    EXPECT_FALSE(setup.isValid()) << "there is no such channel";
    EXPECT_TRUE(begin()) << "but the transaction is through";
}

TEST_F(Traffic, OddReplies) {
    begin();
    engine.cycle();
    receive(ScriptedGenerator::record(0x0A, {}));
    EXPECT_FALSE(record.isValid());
    begin();
    engine.cycle();
    receive(ScriptedGenerator::record(0x0A, {5, 6}));
    EXPECT_TRUE(record.isValid());
    EXPECT_EQ(record.density_neg_7, 6);
    begin();
    engine.cycle();
    receive(ScriptedGenerator::record(0x0A, ScriptedGenerator::Data(200, 9)));
    EXPECT_EQ(record.density_pos_8, 9);
    begin();
    engine.cycle();
    link.written();
    receive(std::string("\x01\x0A\xFF\xFF", 4) + density(1) + frame("KV070"));
    EXPECT_FALSE(record.isValid()) << "this frame has no end";
    timeOut();
    EXPECT_EQ(link.written(), Frames{READ_DENSITY});
    receive(density(42));
    EXPECT_EQ(first(), 42);
    std::string longest("\x01\x0A\xFF\xFF", 4);
    begin();
    engine.cycle();
    longest.append(65536, '\x03');
    receive(longest + frame("KV080"));
    engine.cycle();
    EXPECT_EQ(first(), 3);
    EXPECT_EQ(engine.getGenParam(Tk::KV), 80);
}

/// An error is the answer to whatever is asked, or it comes between.
TEST_F(Traffic, AnErrorInPlaceOfARecordDoesNotHoldUpTheNext) {
    begin();
    engine.cycle();
    receive(frame("ER012") + density(42));
    EXPECT_EQ(first(), 42) << "it came between";
    begin();
    engine.cycle();
    receive(frame("ER012"));
    EXPECT_FALSE(begin()) << "the reply may still come";
    clock.advance(750);
    engine.cycle();
    EXPECT_TRUE(begin());
    engine.cycle();
    receive(density(43));
    clock.advance(750);
    engine.cycle();
    EXPECT_TRUE(record.isValid());
}

TEST_F(Traffic, NoRecordIsAwaitedWhoseRequestIsGone) {
    begin();
    engine.changeCommDevice(nullptr);
    engine.cycle();
    EXPECT_TRUE(begin()) << "a link that isn't there takes the queue";
    engine.enableRefresh(false, true);
    EXPECT_TRUE(begin()) << "and so does a loss";
    engine.cycle();
    engine.changeCommDevice(&link);
    loseTheLinkWithPolling();
    EXPECT_TRUE(begin());
    receive(frame("ST000")); // flushes what was queued meanwhile
    EXPECT_TRUE(begin());
}

TEST_F(Traffic, AnErrorForAnOldFrameLeavesTheNextRecordItsTime) {
    begin();
    engine.cycle();
    engine.enableRefresh(false, true); // the frame stays under way, the record is free
    EXPECT_TRUE(engine.transmitBinaryMsg(&other, READ, false));
    receive(frame("ER012"));
    timeOut();
    receive(density(42)); // to the second sending
    EXPECT_TRUE(other.isValid());
}

/// Waiting calls, with a worker at work.
class WaitingForRecords : public testing::Test {
  protected:
    void SetUp() override { engine.startControl(); }
    void TearDown() override { engine.stopControl(); }

    ScriptedGenerator generator;
    MemoryLink link{[this](const std::string &written) { return generator.answer(written); }};
    TkGeneratorControl engine{&link};
};

TEST_F(WaitingForRecords, ReadAndWriteFromSeveralThreads) {
    std::atomic<int> filled{0};
    const auto work = [&](unsigned char channel) {
        for (int i = 0; i < 100; ++i) {
            TkBinary_AECSetup setup; // gone with every turn: nobody may touch it then
            setup.Channel = channel;
            const bool answered = engine.transmitBinaryMsg(&setup, i % 2 == 0 ? READ : WRITE, true);
            filled += answered && setup.isValid() && setup.Channel == channel ? 1 : 0;
            engine.transmitMsg(Tk::KV, 70, false);
        }
    };
    std::thread one(work, static_cast<unsigned char>(1));
    std::thread two(work, static_cast<unsigned char>(2));
    one.join();
    two.join();
    EXPECT_GT(filled, 0);
}

TEST_F(WaitingForRecords, EndsWithoutAnAnswerAndTouchesTheRecordNoMore) {
    SettableClock clock;
    generator.hear = [](const std::string &) { return false; };
    std::atomic<bool> ended{false};
    bool answered = true;
    std::thread caller([&] {
        TkBinary_AECDensity record;
        answered = engine.transmitBinaryMsg(&record, READ, true);
        ended = true;
    });
    EXPECT_TRUE(eventually([&] { return !link.written().empty(); }));
    for (int i = 0; i < 5 && !ended; ++i) {
        clock.advance(750);
        TkThread::tksleep(5);
    }
    caller.join();
    EXPECT_FALSE(answered);
    link.arrive(density(1));
    EXPECT_TRUE(eventually([&] { return link.drained(); }));
}

TEST_F(WaitingForRecords, InACallbackReturnsAtOnceAndTheFrameGoesOut) {
    TkBinary_AECDensity record;
    std::atomic<int> result{-1};
    Recorder dispatcher([&](const std::string &) {
        result = engine.transmitBinaryMsg(&record, WRITE, true) ? 1 : 0;
    });
    const Registered registered(dispatcher);
    link.arrive(frame("KV071"));
    EXPECT_TRUE(eventually([&] { return result == 0; }));
    EXPECT_TRUE(eventually([&] {
        const Frames frames = link.written();
        return !frames.empty() && frames.front().size() == 22;
    }));
}

// --- A bad line ---------------------------------------------------------------------------------

/// Minutes with a line that loses and spoils frames, in one go: every time that the link was lost
/// it comes back, and no value is ever known that the generator didn't have.
TEST(BadLine, ComesBackEachTimeAndNeverInventsAValue) {
    SettableClock clock;
    std::mt19937 random(5);
    ScriptedGenerator generator;
    const auto chance = [&](unsigned percent) { return random() % 100 < percent; };
    MemoryLink link([&](const std::string &written) {
        std::string answer = generator.answer(written);
        if (chance(5)) {
            answer.clear();
        } else if (!answer.empty() && chance(5)) {
            answer[random() % answer.size()] ^= static_cast<char>(1 << random() % 8);
        }
        return answer;
    });
    DrivenGenerator engine(&link);
    int lost = 0;
    int back = 0;
    Recorder dispatcher([&](const std::string &event) {
        lost += event == "lostComms" ? 1 : 0;
        back += event == "CommsReEstablished" ? 1 : 0;
    });
    const Registered registered(dispatcher);
    engine.enableRefresh(true, false);
    for (int second = 0; second < 3600; ++second) {
        for (int i = 0; i < 20; ++i) {
            clock.advance(50);
            engine.cycle(4);
        }
        for (const TkCommand &row : TkCommandTable::rows) {
            const int value = engine.getGenParam(row.command());
            const auto had = generator.values.find(row.mnemonic);
            const int right = had == generator.values.end() ? -999 : std::stoi(had->second);
            ASSERT_TRUE(value == -999 || value == right) << row.mnemonic << ' ' << value;
        }
    }
    EXPECT_GT(lost, 0);
    EXPECT_GT(back, 1);
    EXPECT_LT(engine.revision(), 301);
}
