#include "support/story.h"
#include "tkvocabulary.h"

#include <thread>

namespace {

// --- Items and events ---------------------------------------------------------------------------

TEST_F(Engine, ValuesAreToldWhenTheyChange) {
    receive(frame("KV070") + frame("KV070") + frame("KV071 FS100 TU1 ST000 CWS1 GR0301"));
    EXPECT_EQ(engine.revision(), 301);
    EXPECT_EQ(told(), (Told{"radiographic_Kv_Changed", "radiographic_Kv_Changed",
                            "radiographic_Film_Screen_Changed", "generator_Tube_Changed"}));
    EXPECT_EQ(engine.getGenParam(Tk::FS), 2);
    receive(frame("FS005"));
    EXPECT_EQ(engine.getGenParam(Tk::FS), 5) << "a film screen of no known name stays as it is";
    EXPECT_EQ(engine.getGenParam(Tk::CWS), 1);
    EXPECT_EQ(sent(), Frames{});
}

TEST_F(Engine, DisabledDispatcherStillStoresAndResponds) {
    engine.enableDispatcher(false);
    receive(frame("KV070") + frame("PR1") + frame("EL007"));
    engine.enableRefresh(false, true);
    EXPECT_EQ(told(), Told{});
    receive(frame("KV070"));
    EXPECT_EQ(engine.getGenParam(Tk::KV), 70);
    EXPECT_EQ(sent(2), (Frames{frame("PR0"), frame("EL007")}));
}

TEST_F(Engine, WithoutExposuresEveryPrepIsRefused) {
    receive(frame("PR1") + frame("FLP1") + frame("XR1") + frame("XR1") + frame("FLX1"));
    EXPECT_EQ(told(), (Told{"radiographic_Exposure_Changed=1", "fluoroscopic_Exposure_Changed=1"}));
    EXPECT_EQ(sent(2), (Frames{frame("PR0"), frame("FLP0")}));
}

TEST_F(Engine, WithExposuresTheHandshakeIsTheApplications) {
    engine.enableExposures(true);
    receive(frame("PR1") + frame("PR1") + frame("XR1") + frame("XR1") + frame("FLP1") +
            frame("FLX0") + frame("FLX0"));
    EXPECT_EQ(told(), (Told{"radiographic_Prep_Changed=1", "radiographic_Prep_Changed=1",
                            "radiographic_Exposure_Changed=1", "radiographic_Exposure_Changed=1",
                            "fluoroscopic_Prep_Changed=1", "fluoroscopic_Exposure_Changed=0",
                            "fluoroscopic_Exposure_Changed=0"}));
    EXPECT_EQ(sent(3), Frames{});
}

TEST_F(Engine, AWaitedCommandIsToldThoughTheValueIsTheSame) {
    receive(frame("KV070"));
    send(Tk::RR, 0);
    engine.cycle();
    told();
    std::atomic<bool> ended{false};
    std::thread waiting([&] {
        EXPECT_TRUE(engine.transmitMsg(Tk::KV, 70, true));
        ended = true;
    });
    EXPECT_TRUE(eventually([&] { return engine.getGenParam(Tk::KV) == -999; }));
    receive(frame("KV070 MA00100")); // answers the older frame
    EXPECT_EQ(link.written().back(), frame("KV070"));
    EXPECT_EQ(engine.getGenParam(Tk::KV), -999);
    EXPECT_FALSE(ended);
    receive(frame("KV070"));
    waiting.join();
    EXPECT_EQ(told(), (Told{"radiographic_Kv_Changed", "radiographic_Ma_Changed",
                            "radiographic_Kv_Changed"}));
}

TEST_F(Engine, AValueStaysWhileItIsTold) {
    std::thread waiting;
    Recorder asking([&](const std::string &) {
        if (!waiting.joinable()) {
            waiting = std::thread([&] { engine.transmitMsg(Tk::KV, 80, true); });
            EXPECT_TRUE(eventually([&] { return engine.queued() == 1; }));
            EXPECT_EQ(engine.getGenParam(Tk::KV), 70);
        }
    });
    const Registered too(asking);
    receive(frame("KV070"));
    EXPECT_EQ(link.written(), Frames{});
    EXPECT_EQ(sent(), Frames{frame("KV080")});
    EXPECT_EQ(engine.getGenParam(Tk::KV), -999);
    receive(frame("KV080"));
    waiting.join();
}

TEST_F(Engine, APrepWhoseCallbackTurnsExposuresOffIsRefused) {
    Recorder switching([&](const std::string &) { engine.enableExposures(false); });
    const Registered too(switching);
    engine.enableExposures(true);
    receive(frame("PR1"));
    EXPECT_EQ(told(), Told{"radiographic_Prep_Changed=1"});
    EXPECT_EQ(sent(), Frames{frame("PR0")});
}

TEST_F(Engine, APrepThatWasNotToldIsRefused) {
    Recorder switching([&](const std::string &) { engine.enableExposures(true); });
    const Registered too(switching);
    receive(frame("KV070 PR1"));
    EXPECT_EQ(told(), (Told{"radiographic_Kv_Changed", "radiographic_Prep_Changed=1"}));
    EXPECT_EQ(sent(), Frames{});
}

TEST_F(Engine, EveryErrorCounts) {
    receive(frame("ER012") + frame("ER012") + frame("EL007") + frame("EL007"));
    EXPECT_EQ(told(), (Told{"generator_Error", "generator_Error", "generator_Latched_Error",
                            "generator_Latched_Error"}));
    EXPECT_EQ(sent(2), (Frames{frame("EL007"), frame("EL007")})) << "both are echoed";
    EXPECT_EQ(engine.getGenParam(Tk::ER), -999);
    EXPECT_EQ(engine.getError(false), 12);
    EXPECT_EQ(engine.getError(true), 12);
    EXPECT_EQ(engine.getGenParam(Tk::ER), 0);
    EXPECT_EQ(engine.getError(true), 12);
    EXPECT_EQ(engine.getError(true), 0);
    EXPECT_EQ(engine.getLatchedError(true), 7);
    engine.flushLatchedErrors();
    EXPECT_EQ(engine.getLatchedError(true), 0);
    engine.flushErrors();
    EXPECT_EQ(engine.getGenParam(Tk::ER), -999);
}

TEST_F(Engine, AFloodOfErrorsIsBounded) {
    std::string flood;
    for (int i = 0; i < 5000; ++i) {
        flood += frame("EL007");
    }
    receive(flood);
    EXPECT_EQ(told().size(), 5000u);
    EXPECT_EQ(sent(6000).size(), 1000u);
    int kept = 0;
    while (engine.getLatchedError(true) != 0) {
        ++kept;
    }
    EXPECT_EQ(kept, 1000);
}

TEST_F(Engine, TheParameterTable) {
    EXPECT_TRUE(engine.setGenParam(Tk::AI, 7));
    EXPECT_EQ(engine.getGenParam(Tk::AI), 7);
    EXPECT_EQ(engine.getGenParam(static_cast<Tk::TextCommands>(0)), -999);
    EXPECT_FALSE(engine.setGenParam(static_cast<Tk::TextCommands>(0), 7));
    EXPECT_EQ(sent(), Frames{});
    EXPECT_EQ(told(), Told{});
    for (const TkCommand &row : TkCommandTable::rows) {
        EXPECT_TRUE(engine.setGenParam(row.command(), row.number));
    }
    for (const TkCommand &row : TkCommandTable::rows) {
        EXPECT_EQ(engine.getGenParam(row.command()), row.number);
    }
}

TEST_F(Engine, DroppingTheConnectionForgetsAtOnce) {
    receive(frame("KV070"));
    told();
    send(Tk::MA, 100);
    link.arrive("MS0");
    engine.cycle();
    engine.enableRefresh(false, false);
    EXPECT_EQ(told(), Told{});
    engine.enableRefresh(false, true);
    EXPECT_EQ(told(), Told{"lostComms"});
    EXPECT_EQ(engine.getGenParam(Tk::KV), -999);
    EXPECT_EQ(link.written(), Frames{frame("MA00100")});
    receive(frame("MA00100"));
    EXPECT_EQ(engine.getGenParam(Tk::MA), 100) << "the half frame is gone, the queue isn't";
}

// --- Logs ---------------------------------------------------------------------------------------

TEST_F(Engine, ParsedLogLineByLine) {
    EXPECT_EQ(parsedLog(), "off");
    engine.bufferParsedComms(true);
    send(Tk::KV, 70);
    engine.cycle();
    receive(frame("KV070"));
    receive("\x06\x15");
    std::string damaged = frame("KV070");
    damaged.back() = '!';
    receive(damaged);
    receive(frame("SA"));
    const std::string tick = "1000 ms -- ";
    EXPECT_EQ(
        parsedLog(),
        tick + "TRANSMITTED: KV070<3>;\n" + tick + "RECEIVED:    KV070<3>;\n" + tick +
            "RECEIVED: <6>\n" + tick + "RECEIVED: <21>\n" + tick +
            "RECEIVED:     Invalid Checksum on message received from generator... -> KV070<3>!\n" +
            tick + "RECEIVED:     Unknown message received from generator... -> SA<3><151>\n");
    engine.bufferParsedComms(false);
    EXPECT_EQ(parsedLog(), "off");
}

TEST_F(Engine, RawLogInBothDirections) {
    char buffer[6] = "#####";
    EXPECT_EQ(engine.readRawComms(buffer, 5, 0), -1);
    engine.bufferRawComms(true);
    send(Tk::KV, 70);
    engine.cycle();
    receive("\x15" + frame("MA00100"));
    engine.cycle();
    EXPECT_EQ(engine.readRawComms(buffer, 5, 1), 5);
    EXPECT_STREQ(buffer, "KV070");
    EXPECT_EQ(engine.readRawComms(buffer, 5, 1), 2);
    EXPECT_EQ(std::string(buffer), "\x03;");
    EXPECT_EQ(engine.readRawComms(buffer, 3, 0), 3);
    EXPECT_EQ(std::string(buffer), "\x15MA");
    EXPECT_EQ(engine.readRawComms(nullptr, 3, 0), -1);
    engine.bufferRawComms(false);
    EXPECT_EQ(engine.readRawComms(buffer, 5, 0), -1);
}

} // namespace
