#include "support/consolestory.h"
#include "tkgehlcodec.h"
#include "tkgehlcontrol.h"

#include <climits>

namespace {

// --- The codec ----------------------------------------------------------------------------------

/// The frame's text without its ETX, or "refused".
std::string encoded(TkGEHLTextCodec &codec, int command, int value) {
    const bool good = codec.encode(command, value);
    const std::string frame = text(codec.encodedMsg());
    EXPECT_EQ(good, !frame.empty() && frame.back() == '\x03');
    return good ? frame.substr(0, frame.size() - 1) : "refused";
}

/// "S=1 F=2", or "refused".
std::string decoded(TkGEHLTextCodec &codec, const std::string &wire) {
    std::vector<unsigned char> received = bytes(wire);
    const bool good = codec.decode(&received);
    EXPECT_EQ(good, codec.getNumCmds() > 0);
    std::string items = good ? "" : "refused";
    for (int i = 0; i < codec.getNumCmds(); ++i) {
        items += (i > 0 ? " " : "") + std::string(1, static_cast<char>(codec.decodedCmd(i))) + '=' +
                 std::to_string(codec.decodedValue(i));
    }
    EXPECT_EQ(codec.decodedCmd(codec.getNumCmds()) + codec.decodedValue(-1), 0);
    return items;
}

TEST(GehlCodec, EveryCommandInBothDirections) {
    TkGEHLTextCodec codec;
    const char *const requests[] = {"--", "++", "-", "+", "?"};
    for (const char letter : std::string("SFBLHVRN")) {
        const std::string name(1, letter);
        const bool requestable = std::string("SFBHV").find(letter) != std::string::npos;
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(encoded(codec, letter, 65531 + i), name + (requestable ? requests[i] : ""));
        }
        const bool wide = letter == 'N';
        EXPECT_EQ(encoded(codec, letter, 7), name + (wide ? "0007" : "7"));
        EXPECT_EQ(encoded(codec, letter, 12345), name + "12345") << "the width is a minimum";
        EXPECT_EQ(encoded(codec, letter, 999999999), name + "999999999");
        EXPECT_EQ(encoded(codec, letter, 1000000000), "refused");
        EXPECT_EQ(decoded(codec, gehlFrame(name + "12345")), name + (wide ? "=1234" : "=1"));
    }
    for (const int unknown : {0, 0x51, 0x73, 0x5353, -1, INT_MAX}) {
        EXPECT_EQ(encoded(codec, unknown, 1), "refused");
    }
    const std::pair<const char *, const char *> rows[] = {// clang-format off
        {"S1 N0042 R3", "S=1 N=42 R=3"}, {"S1 S2", "S=1 S=2"}, {"S", "S=0"}, {"S?", "S=0"},
        {"N12", "N=12"}, {"N12 S1", "N=12"}, {"N-123", "N=-123"}, {"N+1x9", "N=1"},
        {"S1,F2", "S=1"}, {"S12 F2", "S=1"}, {"S1 F2 B0 L1 H1", "S=1 F=2 B=0 L=1 H=1"},
        {"S1 ", "refused"}, {"S1 Q1", "refused"}, {"S1  F2", "refused"}, {" S1", "refused"},
        {"Q1", "refused"}, {"SS1", "refused"}, {"SSSSS1", "refused"}, {"s1", "refused"},
        {"1", "refused"}, {"", "refused"}, {"\x06S1", "refused"}}; // clang-format on
    for (const auto &[items, said] : rows) {
        EXPECT_EQ(decoded(codec, gehlFrame(items)), said) << items;
    }
    EXPECT_EQ(decoded(codec, "S1 N00"), "S=1 N=0") << "cut";
    EXPECT_FALSE(codec.decode(nullptr));
    EXPECT_EQ(codec.getNumCmds(), 0);
    randomTexts("SFBLHVRNQ0123456789  +-?\x03\x06", [&](const std::string &items) {
        const bool known = items.find_first_of("SFBLHVRN") == 0;
        EXPECT_TRUE(decoded(codec, items) == "refused" || known) << items;
    });
}

// --- The engine ---------------------------------------------------------------------------------

struct Gehl {
    using Control = TkGEHLControl;
    using Listener = GehlRecorder;
    static constexpr int STATE = 'S', FIRST = 'F', SECOND = 'B', SILENT = 'L';
    static constexpr bool FORGETS_ALL = true, SILENT_WAITS = true;
    static constexpr auto FIRST_CHANGED = "gehl_frame_rate_changed";

    static std::string sets(int key, int digit) {
        return gehlFrame({static_cast<char>(key), static_cast<char>('0' + digit)});
    }
    static std::string tells(int key, int digit) { return sets(key, digit); }
    static constexpr auto GET = &Control::getGEHLParam;
    static constexpr auto SET = &Control::setGEHLParam;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Gehl, ConsoleStory, Gehl);

using GehlEngine = ConsoleStory<Gehl>;

TEST_F(GehlEngine, EveryItemIsStoredAndToldInOrder) {
    send('S', 65535);
    engine.cycle();
    receive(gehlFrame("S1 F2 B3 L4 H5 V6 R7 N0008"));
    EXPECT_EQ(engine.queued(), 0u) << "the first item answers";
    EXPECT_EQ(told(),
              (Told{"gehl_state_changed", "gehl_frame_rate_changed", "gehl_fluoro_acquire_changed",
                    "gehl_store_loop_changed", "gehl_horz_reverse_changed",
                    "gehl_vert_reverse_changed", "gehl_receptor_changed", "CommsReEstablished"}));
    EXPECT_EQ(value('N'), 8) << "which no event tells of";
    EXPECT_EQ(link.written(), Frames{gehlFrame("S?")}) << "nothing is acknowledged";
}

TEST_F(GehlEngine, OnlyItsOwnReplyAnswersAFrame) {
    send('S', 65535);
    send('R', 1);
    engine.cycle();
    receive(gehlFrame("F2 S1"));
    EXPECT_EQ(told().front(), "gehl_frame_rate_changed");
    EXPECT_EQ(engine.queued(), 2u) << "the first item counts";
    link.written();
    timeOut();
    EXPECT_EQ(link.written(), Frames{gehlFrame("S?")}) << "the response timer runs on";
    receive(gehlFrame("S1"));
    EXPECT_EQ(link.written(), Frames{gehlFrame("R1")});
}

TEST_F(GehlEngine, OnlyStoreLoopAwaitsNothing) {
    send('L', 1);
    send('L', 0);
    EXPECT_EQ(sent(2), (Frames{gehlFrame("L1"), gehlFrame("L0")}));
    for (const char letter : std::string("SFBHVRN")) {
        send(letter, 1);
        engine.cycle(3);
        EXPECT_EQ(engine.queued(), 1u) << letter;
        receive(gehlFrame(std::string(1, letter) + '1'));
        EXPECT_EQ(engine.queued(), 0u) << letter;
    }
}

TEST_F(GehlEngine, PollsAtOnceUntilConnectedAndThenEvery250Ms) {
    EXPECT_EQ(sent(9), Frames{});
    engine.enableRefresh(true, false);
    EXPECT_EQ(sent(9), Frames{gehlFrame("S?")});
    receive(gehlFrame("S1"));
    EXPECT_TRUE(engine.connected());
    EXPECT_EQ(sent(9), Frames{gehlFrame("F?")}) << "asked before it was connected";
    receive(gehlFrame("F1"));
    for (const char *query : {"B?", "V?", "H?", "S?", "F?", "B?"}) {
        clock.advance(249);
        EXPECT_EQ(sent(9), Frames{});
        clock.advance(1);
        EXPECT_EQ(sent(9), Frames{gehlFrame(query)});
        receive(gehlFrame(std::string(1, *query) + '1'));
    }
}

TEST_F(GehlEngine, WhatIsNoReply) {
    engine.bufferParsedComms(true);
    send('S', 1);
    engine.cycle();
    receive("\x15" + gehlFrame("F1"));
    EXPECT_EQ(value('F'), -999) << "a NAK ends the reading of its cycle";
    engine.cycle();
    receive("\x06" + gehlFrame("S1")); // a byte like others
    receive("\x03" + gehlFrame("S1")); // no frame yet
    EXPECT_EQ(engine.queued(), 1u);
    const std::string refused =
        "RECEIVED:     Invalid Checksum on message received from GEHL... -> ";
    EXPECT_EQ(parsedLog(), "TRANSMITTED: S1<3>\nRECEIVED: <21>\nRECEIVED:    F1<3>\n" + refused +
                               "<6>S1<3>\n" + refused + "<3>S1<3>\n");
    receive("\x01" + gehlFrame("S1")); // waste until the next time-out
    receive(gehlFrame("S1"));
    timeOut();
    EXPECT_EQ(value('S'), -999);
    receive(gehlFrame("S2"));
    EXPECT_EQ(value('S'), 2);
}

} // namespace
