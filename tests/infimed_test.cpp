#include "support/consolestory.h"
#include "tkinfimedcodec.h"
#include "tkinfimedcontrol.h"

#include <climits>
#include <sstream>

namespace {

// --- The codec ----------------------------------------------------------------------------------

/// The body of a command's frame, or "refused".
std::string encoded(TkInfimedCodec &codec, int command, int value, char step = 0) {
    const bool good = codec.encode(command, value, step);
    const std::string frame = text(codec.encodedMsg());
    const std::string body = good ? frame.substr(1, frame.size() - 3) : "refused";
    EXPECT_EQ(frame, good ? infimedFrame(body) : "");
    return body;
}

/// "1001=1", with a text "1001=1 text", or "refused".
std::string decoded(TkInfimedCodec &codec, const std::string &wire) {
    std::vector<unsigned char> received = bytes(wire);
    const bool good = codec.decode(&received);
    const std::string said = text(codec.errorMsg());
    EXPECT_EQ(codec.isErrorAvailable(), !said.empty());
    const std::string item =
        std::to_string(codec.decodedCmd()) + '=' + std::to_string(codec.decodedValue());
    return (good ? item : "refused") + (said.empty() ? "" : ' ' + said);
}

TEST(InfimedCodec, EveryCommand) {
    TkInfimedCodec codec;
    // Command, and the bodies with 65535 and with 7
    std::istringstream rows("1000 )@ )@ 1001 _J?@ _J7@ 1002 J2@+1@1@ J2@+1@1@ "
                            "1003 J0@+0@1@ J0@+0@1@ 1004 J1@+0@1@ J1@+0@1@ 1005 Q?@ Q7@ "
                            "1006 (0@ (0@ 1007 _>0@ _>0@ 1008 L?@ L7@ 1009 M?@ M7@ 1010 &5@ &5@ "
                            "1011 &4@ &4@ 1012 N?@ N7@ 1013 v00100000@ v00100000@");
    int command = 0;
    for (std::string query, seven; rows >> command >> query >> seven;) {
        EXPECT_EQ(encoded(codec, command, 65535), query);
        EXPECT_EQ(encoded(codec, command, 7), seven);
    }
    const char *const steps[] = {"+0", "-3", "+3", "-2", "+2", "-1", "+1", "-0", "+0"};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(encoded(codec, 1003, 65526 + i), "J0@" + std::string(steps[i]) + "@1@");
        EXPECT_EQ(encoded(codec, 1004, 65526 + i, 2), "J1@" + std::string(steps[i]) + "@3@");
    }
    EXPECT_EQ(encoded(codec, 1003, INT_MIN), "J0@+0@1@");
    EXPECT_EQ(encoded(codec, 1005, 0x1205) + encoded(codec, 1005, -1), "Q5@Q/@");
    for (const int unknown : {999, 1014, 2000, INT_MIN, INT_MAX}) {
        EXPECT_EQ(encoded(codec, unknown, 1), "refused");
    }
    codec.encode(1001, 65535, 0);
    EXPECT_EQ(text(codec.encodedMsg()), "\x02\x5F\x4A\x3F\x40\x03\x6A");
}

TEST(InfimedCodec, EveryReplyAndItsEdges) {
    TkInfimedCodec codec;
    const std::pair<const char *, const char *> rows[] = {// clang-format off
        {"*Tube hot@", "2000=0 Tube hot"}, {"*@", "2000=0"}, {"*a@b@", "2000=0 a"}, {"*", "2000=0"},
        {"*no end", "2000=0 no end"}, {"", "refused"}, {"_j1@", "1001=1"}, {"J1@", "refused"},
        {"_j0off@", "1001=0 off"}, {"_j", "1001=0"}, {"j0@01234@", "1003=1234"},
        {"j0@123456@", "1003=12345"}, {"j1@ -12@", "1004=-12"}, {"j1@+7x9@", "1004=7"},
        {"j1@", "1004=0"}, {"j2@12345@", "1002=1234"}, {"j2@12", "1002=12"}, {"j2", "1002=0"},
        {"l1@", "1008=1"}, {"l", "1008=0"}, {"M2@", "1009=2"}, {"m3@", "1009=3"},
        {"n\xFF@", "1012=207"}, {"q/@", "1005=-1"}, {"v\xFF@", "1013=255"}, {"v5@", "1013=53"},
        {"_k1@", "0=0"}, {"_", "0=0"}, {"j3@1@", "0=0"}, {"j", "0=0"}, {"x", "refused"}};
    // clang-format on
    for (const auto &[body, said] : rows) {
        EXPECT_EQ(decoded(codec, infimedFrame(body)), said) << body;
    }
    const std::string whole = infimedFrame("_j1Tube hot@");
    for (std::size_t i = 0; i < whole.size(); ++i) {
        EXPECT_EQ(decoded(codec, whole.substr(0, i)), "refused") << i;
        std::string flipped = whole;
        flipped[i] = static_cast<char>(flipped[i] ^ 4);
        const bool framing = i == 0 || i == whole.size() - 2; // no part of the sum
        EXPECT_EQ(decoded(codec, flipped) == "refused", !framing) << i;
    }
    EXPECT_FALSE(codec.decode(nullptr));
    randomTexts("*_jJlMmnqv0123456789+- @", [&](const std::string &body) {
        const bool known = body.find_first_of("*_jlMmnqv") == 0;
        EXPECT_EQ(decoded(codec, infimedFrame(body)) != "refused", known) << body;
    });
}

// --- The engine ---------------------------------------------------------------------------------

struct Infimed {
    using Control = TkInfimedControl;
    using Listener = InfimedRecorder;
    static constexpr int STATE = 1001, FIRST = 1005, SECOND = 1008, SILENT = 1006;
    static constexpr bool FORGETS_ALL = false, SILENT_WAITS = false;
    static constexpr auto FIRST_CHANGED = "infimed_mask_changed";

    static std::string body(int key, int digit) {
        const std::string letters = key == STATE ? "_J" : key == FIRST ? "Q" : "L";
        return key == SILENT ? "(0@" : letters + static_cast<char>('0' + digit) + '@';
    }
    static std::string sets(int key, int digit) { return infimedFrame(body(key, digit)); }
    static std::string tells(int key, int digit) {
        std::string small = body(key, digit);
        std::transform(small.begin(), small.end(), small.begin(), tolower);
        return infimedFrame(small);
    }
    static constexpr auto GET = &Control::getInfimedParam;
    static constexpr auto SET = &Control::setInfimedParam;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Infimed, ConsoleStory, Infimed);

using InfimedEngine = ConsoleStory<Infimed>;

const std::string ACK = "\x06";

TEST_F(InfimedEngine, EveryGoodFrameIsAcknowledgedAndWhatIsKnownTold) {
    const std::pair<const char *, const char *> rows[] = {
        // clang-format off
        {"_j1@", "aquire"}, {"j2@5@", "edge"}, {"j0@6@", "window"}, {"j1@7@", "level"},
        {"q2@", "mask"}, {"l3@", "horiz_reverse"}, {"M4@", "vert_reverse"}, {"n5@", "invert"},
        {"v6@", "version"}}; // clang-format on
    for (const auto &[body, event] : rows) {
        receive(infimedFrame(body));
        EXPECT_EQ(told().front(), "infimed_" + std::string(event) + "_changed");
        EXPECT_EQ(link.written(), Frames{ACK}) << body;
    }
    EXPECT_EQ(value(1003) + value(1013), 6 + '6');
    receive(infimedFrame("j9@"));
    EXPECT_EQ(link.written(), Frames{ACK}) << "good, though nothing is known of it";
    const std::string empty("\x02\x03\x00", 3);
    receive(infimedFrame("x1@") + infimedFrame("q7@").replace(2, 1, "8") + empty);
    EXPECT_EQ(link.written(), Frames{});
    EXPECT_EQ(told(), Told{});
    receive(infimedFrame("q9@"));
    EXPECT_EQ(value(1005), 9);
}

TEST_F(InfimedEngine, WhatNothingAnswersLeavesTheQueueAtOnce) {
    for (const int command : {1000, 1006, 1007, 1010, 1011}) {
        EXPECT_TRUE(engine.transmitMsg(command, 0, true)) << "without a wait";
    }
    send(1013, 0);
    EXPECT_EQ(sent(6),
              (Frames{infimedFrame(")@"), infimedFrame("(0@"), infimedFrame("_>0@"),
                      infimedFrame("&5@"), infimedFrame("&4@"), infimedFrame("v00100000@")}));
    std::thread waiting([&] { EXPECT_TRUE(engine.transmitMsg(1013, 0, true)); });
    EXPECT_TRUE(eventually([&] { return engine.queued() == 1; }));
    receive(infimedFrame("v1@"));
    waiting.join();
    for (const int command : {1001, 1002, 1003, 1004, 1005, 1008, 1009, 1012}) {
        send(command, 1);
        engine.cycle(3);
        EXPECT_EQ(engine.queued(), 1u) << command;
        receive(infimedFrame("q1@"));
        EXPECT_EQ(engine.queued(), 0u) << "any good frame answers " << command;
    }
}

TEST_F(InfimedEngine, AnAckAndAFrameAnswerOneEach) {
    receive(ACK);
    send(1005, 1);
    send(1008, 1);
    send(1003, TkInfimedControl::STEP_UP_3);
    receive(ACK + infimedFrame("q1@") + infimedFrame("l1@"));
    EXPECT_EQ(value(1005), -999) << "an ACK ends the reading of its cycle";
    EXPECT_EQ(sent(), (Frames{infimedFrame("Q1@"), infimedFrame("L1@"), infimedFrame("J0@+3@1@")}));
    EXPECT_EQ(engine.queued(), 1u) << "what came behind answers nothing that had gone out";
    receive(infimedFrame("x") + "\x15" + infimedFrame("j0@5@"));
    EXPECT_EQ(engine.queued(), 1u) << "a NAK ends the reading too, and answers nothing";
    engine.cycle();
    EXPECT_EQ(engine.queued(), 0u);
    receive("x" + infimedFrame("q7@") + infimedFrame("q7@")); // waste until the next time-out
    send(1005, 1);
    engine.cycle();
    timeOut();
    receive(infimedFrame("*\x06\x15\x02@"));
    EXPECT_EQ(value(1005), 1) << "what begins with no STX is no frame";
    EXPECT_EQ(engine.errorMsg(), "\x06\x15\x02") << "inside a frame they are bytes like others";
}

TEST_F(InfimedEngine, PollsBySignsOfLifeAndQueriesInTurn) {
    answers = answer;
    engine.enableRefresh(true, false);
    for (const char *body : {")@", "_J?@", ")@", "_J?@", ")@"}) {
        clock.advance(499);
        EXPECT_EQ(sent(9), Frames{}) << "connected or not";
        clock.advance(1);
        EXPECT_EQ(sent(9), Frames{infimedFrame(body)});
    }
    engine.enableRefresh(false, false);
    clock.advance(500);
    EXPECT_EQ(sent(9), Frames{});
}

TEST_F(InfimedEngine, TextsAreKeptInOrder) {
    EXPECT_EQ(value(2000), 0);
    receive(infimedFrame("_j0first@"));
    EXPECT_EQ(told(),
              (Told{"infimed_aquire_changed", "infimed_error_message", "CommsReEstablished"}));
    EXPECT_EQ(value(2000), 1);
    receive(infimedFrame("*second@"));
    EXPECT_EQ(told(), Told(2, "infimed_error_message"));
    receive(infimedFrame("*@"));
    EXPECT_EQ(told(), Told{"infimed_error_message"});
    receive(infimedFrame("q1@"));
    EXPECT_EQ(engine.errorMsg(), "first");
    EXPECT_EQ(engine.errorMsg(), "second");
    EXPECT_EQ(engine.errorMsg(), "");
    onEvent = [&](const std::string &event) {
        if (event == "infimed_aquire_changed") {
            EXPECT_EQ(engine.errorMsg(), "third") << "who waits for the value finds it";
        }
    };
    receive(infimedFrame("_j1third@"));
    EXPECT_EQ(told(),
              (Told{"infimed_mask_changed", "infimed_aquire_changed", "infimed_error_message"}));
}

TEST_F(InfimedEngine, AFloodOfTextsIsBounded) {
    const auto flood = [&](int texts, const std::string &end) {
        for (; texts > 0; --texts) {
            receive(infimedFrame('*' + std::to_string(texts) + end + '@'));
        }
        return engine.lostErrorMsgs();
    };
    const std::string longest(60000, 'x');
    EXPECT_EQ(flood(20, longest), 3u);
    EXPECT_EQ(engine.errorMsg(), "20" + longest) << "the oldest are kept";
    EXPECT_EQ(flood(1, longest), 3u) << "there is room again";
    EXPECT_GT(flood(20000, ""), 10000u) << "short ones take room too";
}

TEST_F(InfimedEngine, LogsLineByLine) {
    engine.bufferParsedComms(true);
    engine.bufferRawComms(true);
    send(1005, 1);
    receive(ACK);
    receive("\x15");
    receive(infimedFrame("q1@") + infimedFrame("j9@") + infimedFrame("q1@").replace(2, 1, "7"));
    EXPECT_EQ(parsedLog(),
              "TRANSMITTED: <2>Q1@<3> \nRECEIVED: <6>\nRECEIVED: <21>\nRECEIVED:    <2>q1@<3><0>\n"
              "RECEIVED:     Unhandled message received from Infimed... -> <2>j9@<3><19>\n"
              "RECEIVED:     Invalid Checksum on message received from Infimed... -> "
              "<2>q7@<3><0>\n");
    char raw[100];
    EXPECT_EQ(engine.readRawComms(raw, 99, 1), 6) << "without the acknowledgements";
    EXPECT_EQ(engine.readRawComms(raw, 99, 0), 20);
}

} // namespace
