#include "support/story.h"
#include "tkvocabulary.h"

#include <climits>
#include <stdexcept>

namespace {

// --- Sending ------------------------------------------------------------------------------------

TEST_F(Engine, OneFrameIsUnderWayAtATime) {
    send(Tk::KV, 70);
    send(Tk::MA, 100);
    EXPECT_EQ(sent(5), Frames{frame("KV070")});
    receive(frame("KV070"));
    EXPECT_EQ(sent(5), Frames{frame("MA00100")});
}

TEST_F(Engine, HandshakeFramesAwaitNothing) {
    send(Tk::PR, 1);
    send(Tk::XR, 1);
    send(Tk::FLP, 0);
    send(Tk::BCP, 3);
    send(Tk::RAP, 3);
    send(Tk::EL, 7);
    EXPECT_EQ(sent(6), (Frames{frame("PR1"), frame("XR1"), frame("FLP0"), frame("BCP03"),
                               frame("RAP03"), frame("EL007")}));
}

TEST_F(Engine, SetsAreAnsweredByTheirFirstItem) {
    const std::pair<Tk::TextCommands, const char *> reads[] = {
        {Tk::RR, "KV070 MA00100"}, {Tk::RF, "FLK080"}, {Tk::RS, "TU1 WS1"}, {Tk::CD, "CWS1 CBU2"}};
    for (const auto &[command, reply] : reads) {
        send(command, 65535);
        send(Tk::ST, 65535);
        EXPECT_EQ(sent(2).size(), 1u) << reply;
        receive(frame(reply));
        EXPECT_EQ(sent(), Frames{frame("ST")}) << reply;
        receive(frame("ST000"));
    }
}

TEST_F(Engine, WhatCannotBeSentIsRefused) {
    EXPECT_FALSE(engine.transmitMsg(Tk::TU, 1, false));
    EXPECT_FALSE(engine.transmitMsg(Tk::CWS, 65535, true));
    EXPECT_FALSE(engine.transmitMsg(Tk::FS, 65535, false)) << "a film screen can't be asked for";
    EXPECT_FALSE(engine.transmitMsg(Tk::FS, 3, false));
    EXPECT_FALSE(engine.transmitMsg(static_cast<Tk::TextCommands>(1), 1, false));
    EXPECT_EQ(sent(), Frames{});
    send(Tk::FS, 2);
    EXPECT_EQ(sent(), Frames{frame("FS100")});
}

TEST_F(Engine, NoLinkEmptiesTheQueue) {
    engine.changeCommDevice(nullptr);
    send(Tk::KV, 70);
    engine.cycle();
    EXPECT_EQ(engine.getCommDevice(), nullptr);
    engine.changeCommDevice(&link);
    EXPECT_EQ(sent(2), Frames{});
    send(Tk::KV, 71);
    EXPECT_EQ(sent(), Frames{frame("KV071")});
    engine.changeCommDevice(nullptr);
    timeOut();
    engine.changeCommDevice(&link);
    send(Tk::KV, 72);
    EXPECT_EQ(sent(), Frames{frame("KV072")}) << "the wait for KV071 ended by its timer";
}

// --- Missing and damaged responses --------------------------------------------------------------

TEST_F(Engine, ThreeUnansweredSendsLoseTheLink) {
    engine.setGenParam(Tk::KV, 70);
    engine.setGenParam(static_cast<Tk::TextCommands>(TK_METER_FOUND), 1);
    send(Tk::MA, 100);
    send(Tk::MS, 100);
    EXPECT_EQ(sent(), Frames{frame("MA00100")});
    clock.advance(749);
    EXPECT_EQ(sent(2), Frames{});
    clock.advance(1);
    EXPECT_EQ(sent(2), Frames{frame("MA00100")});
    timeOut();
    EXPECT_EQ(sent(), Frames{frame("MA00100")});
    EXPECT_EQ(told(), Told{});
    timeOut();
    EXPECT_EQ(told(), Told{"lostComms"});
    EXPECT_EQ(sent(3), Frames{}) << "what was queued is gone, and nothing probes";
    EXPECT_EQ(engine.getGenParam(Tk::KV), -999);
    EXPECT_EQ(engine.getGenParam(static_cast<Tk::TextCommands>(TK_METER_FOUND)), -999);
    send(Tk::KV, 75);
    EXPECT_EQ(sent(), Frames{frame("KV075")});
    receive(frame("KV075"));
    EXPECT_EQ(engine.getGenParam(Tk::KV), 75) << "without polling the next answer counts";
}

TEST_F(Engine, WithPollingALostLinkIsProbedUntilItAnswers) {
    loseTheLinkWithPolling();
    for (int round = 0; round < 2; ++round) {
        timeOut();
        timeOut();
        timeOut();
    }
    EXPECT_EQ(told(), (Told{"lostComms", "lostComms", "lostComms"}));
    link.written();

    // An answer to nothing that is known: thrown away, with all that waits; not in the parsed log.
    engine.bufferParsedComms(true);
    engine.bufferRawComms(true);
    send(Tk::MA, 100);
    receive(frame("ST001"));
    EXPECT_EQ(parsedLog(), "");
    char raw[20];
    EXPECT_EQ(engine.readRawComms(raw, 19, 0), 7);
    EXPECT_EQ(engine.getGenParam(Tk::ST), -999);
    EXPECT_EQ(sent(3), Frames{});
    send(Tk::KV, 75);
    receive(frame("KV075"));
    EXPECT_EQ(sent(), Frames{}) << "the probe's response time still runs";
    timeOut();
    EXPECT_EQ(link.written(), Frames{frame("KV075")})
        << "what wasn't sent can't have been answered";
    receive(frame("KV075"));
    EXPECT_EQ(told(), Told{"radiographic_Kv_Changed"}) << "the probe isn't lost again";
}

TEST_F(Engine, AProbeAnsweredAtTheLastMomentIsNotLostAgain) {
    loseTheLinkWithPolling();
    timeOut();
    timeOut(); // the third sending of the probe
    receive(frame("ST001"));
    engine.enableRefresh(false, false);
    told();
    timeOut();
    EXPECT_EQ(told(), Told{});
    link.written();
    send(Tk::KV, 75);
    EXPECT_EQ(sent(), Frames{frame("KV075")});
    timeOut();
    timeOut();
    EXPECT_EQ(link.written().size(), 2u) << "every frame goes out three times";
    EXPECT_EQ(told(), Told{});
}

TEST_F(Engine, ALinkThatIsGoneForAWhileDoesNotEndTheSearch) {
    loseTheLinkWithPolling();
    engine.changeCommDevice(nullptr);
    timeOut();
    engine.changeCommDevice(&link);
    EXPECT_EQ(sent(), Frames{frame("ST")});
    engine.changeCommDevice(nullptr);
    timeOut();
    engine.enableRefresh(false, false);
    engine.changeCommDevice(&link);
    EXPECT_EQ(sent(2), Frames{}) << "without polling nothing is searched for";
    send(Tk::KV, 75);
    receive(frame("KV075"));
    EXPECT_EQ(engine.getGenParam(Tk::KV), 75);
}

TEST_F(Engine, AnAckEndsTheSearchAtOnce) {
    loseTheLinkWithPolling();
    receive("\x06");
    EXPECT_EQ(link.written(), Frames{frame("ST")}) << "polling begins anew";
    send(Tk::KV, 75);
    receive(frame("ST000"));
    EXPECT_EQ(link.written(), Frames{frame("KV075")});
    receive(frame("KV075"));
    EXPECT_EQ(engine.getGenParam(Tk::KV), 75);
}

TEST_F(Engine, AckAnswersOnlyWhatWasSent) {
    receive("\x06");
    send(Tk::KV, 70);
    send(Tk::MA, 100);
    send(Tk::MS, 10);
    receive("\x06\x06\x06"); // KV is sent in the same cycle, before the reading
    EXPECT_EQ(link.written(), (Frames{frame("KV070"), frame("MA00100")}));
    EXPECT_EQ(sent(), Frames{}) << "the second and third answered nothing";
}

TEST_F(Engine, NakIsLeftToTheTimer) {
    send(Tk::KV, 70);
    engine.cycle();
    link.arrive("\x15" + frame("KV070"));
    engine.cycle();
    EXPECT_EQ(engine.getGenParam(Tk::KV), -999) << "a NAK ends the reading of its cycle";
    engine.cycle();
    EXPECT_EQ(engine.getGenParam(Tk::KV), 70);
    send(Tk::KV, 71);
    engine.cycle();
    link.written();
    receive("\x15\x15\x15");
    engine.cycle(4);
    EXPECT_EQ(link.written(), Frames{});
    timeOut();
    EXPECT_EQ(link.written(), Frames{frame("KV071")});
}

TEST_F(Engine, OtherRepliesAreTakenButEndNoWait) {
    send(Tk::KV, 70);
    send(Tk::MS, 10);
    engine.cycle();
    receive(frame("MA00100"));
    EXPECT_EQ(engine.getGenParam(Tk::MA), 100);
    std::string damaged = frame("KV070");
    damaged[2] = '1';
    receive(damaged);
    EXPECT_EQ(engine.getGenParam(Tk::KV), -999);
    link.written();
    EXPECT_EQ(sent(2), Frames{});
    receive(frame("ER012"));
    EXPECT_EQ(sent(), Frames{frame("MS00010")}) << "an error answers whatever was asked";
}

TEST_F(Engine, NoiseOfAnyLengthIsSurvived) {
    const std::string noise(200000, 'x');
    link.arrive(noise);
    link.arrive("\x03y");
    link.arrive(frame("KV070"));
    engine.cycle(10);
    EXPECT_EQ(engine.getGenParam(Tk::KV), 70);

    link.arrive("KV0\x06\x15");
    send(Tk::MA, 100);
    engine.cycle();
    timeOut(); // empties what was received
    receive(frame("MA00100"));
    EXPECT_EQ(engine.getGenParam(Tk::MA), 100);

    receive(std::string("\x01\x10\x00\x00", 4) + frame("KV075"));
    EXPECT_EQ(engine.getGenParam(Tk::KV), 70) << "text inside a binary frame isn't text";
}

TEST_F(Engine, WhatIsLeftOfAnOverlongFrameIsNone) {
    // As many bytes as a frame can have, and its last ones look like a whole one.
    link.arrive("K" + std::string(65538, 'x') + "V" + frame("KV070").substr(2));
    engine.cycle(3);
    EXPECT_EQ(engine.getGenParam(Tk::KV), -999);
    receive(frame("KV071"));
    EXPECT_EQ(engine.getGenParam(Tk::KV), 71);
}

/// A link on which the far end never stops talking, and which may fail in a way of its own.
class BadLink : public MemoryLink {
  public:
    bool throws = false;
    int read_ch(char *byte) override {
        if (throws) {
            throw std::runtime_error("unplugged");
        }
        *byte = 'x';
        return 1;
    }
    int write_str(char *bytes, unsigned int length) override {
        MemoryLink::write_str(bytes, length);
        if (throws) {
            throw std::runtime_error("unplugged");
        }
        return -1;
    }
    unsigned long timeoutPeriod() override { return ULONG_MAX; }
};

TEST_F(Engine, ALinkThatNeverFallsSilentOrThrowsIsSupervised) {
    BadLink bad;
    engine.changeCommDevice(&bad);
    for (const bool throwing : {false, true}) {
        bad.throws = throwing;
        send(Tk::KV, 70);
        engine.cycle();
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(told(), Told{});
            clock.advance(3600000);
            engine.cycle(2);
        }
        EXPECT_EQ(bad.written().size(), 3u);
        EXPECT_EQ(told(), Told{"lostComms"});
    }
}

} // namespace
