#include "support/generator.h"
#include "support/story.h"

#include "tkgeneratorstatus.h"
#include "tkvocabulary.h"

#include <algorithm>
namespace {

/// What went out, one word a frame: the text of a text frame, code and index of a read.
std::string words(const Frames &frames) {
    std::string said;
    for (const std::string &frame : frames) {
        said += said.empty() ? "" : " ";
        if (frame.front() != '\x01') {
            said += frame.substr(0, frame.size() - 2);
            continue;
        }
        said += std::to_string(static_cast<unsigned char>(frame[1]));
        said += frame[3] == 2 ? '.' + std::to_string(frame[5]) : "";
    }
    return said;
}

constexpr int ALL_FEATURES = 0x7F;
constexpr int PERIOD = 250;
constexpr auto METER_FOUND = static_cast<Tk::TextCommands>(TK_METER_FOUND);

struct Room {
    const char *name;
    Tk::GeneratorTypes type;
    const char *revision;
    int features;
    const char *interface; // "DS": whether there can be a meter
    const char *first;     // up to the first "RS"
    const char *pass;      // each pass, once connected
};

std::ostream &operator<<(std::ostream &out, const Room &room) {
    return out << room.name;
}

const Room ROOMS[] = {
    {"BeforeTheMeter", Tk::GENERATOR_ARKONA, "0259", 0, "1",
     "ST GR 6.0 6.1 6.2 6.3 6.4 6.5 8.0 8.1 8.2 8.3 RR RF RS", "RR RF RS ST"},
    {"FirstWithMeter", Tk::GENERATOR_ARKONA, "0260", 0, "1",
     "ST GR 6.0 6.1 6.2 6.3 6.4 6.5 8.0 8.1 8.2 8.3 DS RR RF RS", "RR RF RS DA DR ST"},
    {"NewRecords", Tk::GENERATOR_ARKONA, "0300", 0, "0",
     "ST GR 26.0 26.1 26.2 26.3 26.4 26.5 23.0 23.1 23.2 23.3 DS RR RF RS", "RR RF RS ST"},
    {"NewItems", Tk::GENERATOR_ARKONA, "0301", 0, "0",
     "ST GR 26.0 26.1 26.2 26.3 26.4 26.5 23.0 23.1 23.2 23.3 DS AL? FLO? FLC? RR RF RS",
     "AL? FLO? FLC? CN RR RF RS ST"},
    {"AllFeatures", Tk::GENERATOR_ARKONA, "0301", ALL_FEATURES, "1",
     "ST GR 26.0 26.1 26.2 26.3 26.4 26.5 23.0 23.1 23.2 23.3 DS AL? FLO? FLC? RR RF RS",
     "AL? FLO? FLC? CN RR RF RS AI? ATP? ATA? ATC? 200 COL? FIL? FP? DA DR ST"},
    {"OtherFamily", Tk::GENERATOR_BRN450, "0000", ALL_FEATURES, "1",
     "ST 6.0 6.1 6.2 6.3 6.4 6.5 8.0 8.1 8.2 8.3 RR RS", "RR RS FP? ST"},
};

} // namespace

class Polling : public PolledEngine {
  protected:
    Polling() {
        engine.setRevision(0);
        for (const TkCommand &row : TkCommandTable::rows) {
            const bool asked = generator.values.count(row.mnemonic) == 0 && row.replyChars > 0;
            if (asked && row.number != Tk::DT && row.number != Tk::ER && row.number != Tk::EL) {
                generator.values[row.mnemonic] = std::string(row.replyChars, '0');
            }
        }
        generator.receptors[0][25] = 2; // station 1 has cine
    }

    /// What the next ticks ask; there is enough time to answer in each.
    std::string ticks(int count) {
        for (; count > 0; --count) {
            clock.advance(PERIOD);
            engine.cycle(20);
        }
        return words(link.written());
    }

    void setMeter(const char *interface, const char *status) {
        generator.values["GR"] = "0260";
        generator.values["DS"] = interface;
        generator.values["DT"] = status;
    }

    void receiveExposure() {
        link.arrive(frame("XR1"));
        engine.cycle();
    }

    Told told() { return dispatcher.events(); }

    std::function<void(const std::string &)> callback;
    Recorder dispatcher{[this](const std::string &event) {
        if (callback) {
            callback(event);
        }
    }};
    Registered registered{dispatcher};
};

// --- The sequence -------------------------------------------------------------------------------

class Sequence : public Polling, public testing::WithParamInterface<Room> {};

TEST_P(Sequence, AsksInOrder) {
    const Room &room = GetParam();
    engine.setGeneratorType(room.type);
    engine.enableFeatures(static_cast<Tk::Features>(room.features));
    setMeter(room.interface, "1");
    generator.values["GR"] = room.revision;
    engine.enableRefresh(true, false);
    const std::string said = ticks(40);
    EXPECT_TRUE(engine.connected());
    const std::string first = said.substr(0, said.find(" RS") + 3);
    EXPECT_EQ(first, room.first);
    EXPECT_EQ(said.find("DT") != std::string::npos, std::string(room.pass).find("DA") < 99);
    const std::string passes = ' ' + ticks(40) + ' ';
    const std::string pass = ' ' + std::string(room.pass) + ' ';
    const std::size_t start = passes.find(pass);
    ASSERT_NE(start, std::string::npos) << passes;
    EXPECT_EQ(passes.substr(start + pass.size() - 1, pass.size()), pass) << "and round again";
}

INSTANTIATE_TEST_SUITE_P(Rooms, Sequence, testing::ValuesIn(ROOMS),
                         [](const auto &room) { return std::string(room.param.name); });

TEST_F(Polling, RunsAsFastAsAnswersComeUntilItIsConnectedAndThenEvery250Ms) {
    engine.enableRefresh(true, false);
    engine.cycle(30);
    EXPECT_TRUE(engine.connected()) << "and no time has passed";
    link.written();
    clock.advance(PERIOD - 1);
    EXPECT_EQ(words((engine.cycle(20), link.written())), "");
    clock.advance(1);
    EXPECT_EQ(words((engine.cycle(20), link.written())), "RR");
    engine.cycle(20);
    EXPECT_EQ(words(link.written()), "");
}

TEST_F(Polling, ATickWaitsForTheFramesOfTheOneBefore) {
    generator.values["GR"] = "0301";
    engine.enableRefresh(true, false);
    ticks(40);
    generator.hear = [](const std::string &) { return false; };
    std::string said = ticks(6); // a frame that isn't answered in time goes out again
    EXPECT_EQ(said.substr(0, said.find(' ')), said.substr(said.rfind(' ') + 1)) << said;
    engine.enableRefresh(false, false);
    generator.hear = nullptr;
    ticks(4);
    EXPECT_EQ(ticks(10), "") << "without polling nothing is asked";
    EXPECT_TRUE(engine.connected());
    engine.enableRefresh(true, false);
    EXPECT_EQ(ticks(1), "ST") << "and it begins at the beginning";
}

TEST_F(Polling, AStationThatDoesNotExistHasNoCine) {
    generator.values["GR"] = "0301";
    for (const char *station : {"0", "7", "9"}) {
        generator.values["WS"] = station;
        engine.enableRefresh(true, false);
        ticks(30);
        link.written();
        EXPECT_EQ(ticks(30).find("CN"), std::string::npos) << station;
    }
}

// --- Connecting and losing ----------------------------------------------------------------------

/// Whatever question stays without an answer: three sendings, the loss, and all is back as soon as
/// the generator is.
TEST_F(Polling, RecoversFromASilenceAtEachStep) {
    const std::string silences[] = {"ST", "GR",  "26.0", "26.3", "26.5", "23.0", "23.3",
                                    "DS", "AL?", "FLC?", "RR",   "RF",   "RS"};
    generator.values["GR"] = "0301";
    for (const std::string &silence : silences) {
        SCOPED_TRACE(silence);
        engine.enableRefresh(false, true);
        engine.cycle(3);
        dispatcher.events();
        link.written();
        bool fallen = false;
        generator.hear = [&](const std::string &frame) {
            fallen = fallen || words({frame}) == silence;
            return !fallen;
        };
        engine.setRevision(0);
        engine.enableRefresh(true, false);
        engine.cycle(60);
        const bool connected = engine.connected();
        for (int i = 0; i < 3; ++i) {
            clock.advance(750);
            engine.cycle(2);
        }
        const std::string said = words(link.written());
        const std::string thrice = silence + ' ' + silence + ' ' + silence + " ST";
        EXPECT_EQ(said.substr(said.size() - std::min(said.size(), thrice.size())), thrice);
        EXPECT_EQ(dispatcher.events().back(), "lostComms");
        EXPECT_EQ(engine.getGenParam(Tk::ST), -999);
        generator.hear = nullptr;
        ticks(40);
        EXPECT_TRUE(engine.connected());
        const Told events = dispatcher.events();
        EXPECT_EQ(std::count(events.begin(), events.end(), "CommsReEstablished"), 1);
        EXPECT_FALSE(connected && silence != "RS" && silence != "CN") << "connected too early";
    }
}

TEST_F(Polling, ConnectsOnlyWhenEverythingIsKnown) {
    const ScriptedGenerator whole = generator;
    for (const char *missing : {"KV", "WS", "FLF", "FLK", "TU", "receptor", "AEC setup"}) {
        SCOPED_TRACE(missing);
        engine.enableRefresh(false, true);
        engine.cycle(3);
        generator.acknowledges = true; // no time-out: the answer just has nothing in it
        generator.values.erase(missing);
        if (missing[0] == 'r') {
            generator.receptors[4].clear();
        } else if (missing[0] == 'A') {
            generator.aecSetups[1].clear();
        }
        engine.enableRefresh(true, false);
        ticks(60);
        EXPECT_FALSE(engine.connected());
        generator = whole;
        ticks(60);
        EXPECT_TRUE(engine.connected());
        const Told events = told();
        EXPECT_EQ(std::count(events.begin(), events.end(), "lostComms"), 1) << "by the drop";
    }
}

TEST_F(Polling, ALostLinkForgetsWhatWasKnownAndRepeatsItsEventWhileItProbes) {
    engine.enableFeatures(Tk::FEATURE_DORVA_TABLE);
    setMeter("1", "1");
    engine.enableRefresh(true, false);
    ticks(40);
    receiveExposure();
    const TkGeneratorStatus status(&engine);
    EXPECT_TRUE(status.isRadExposureActive() && status.isDapAvailable());
    EXPECT_EQ(engine.getGenParam(METER_FOUND), 1);
    told();
    generator.hear = [](const std::string &) { return false; };
    for (int i = 0; i < 11; ++i) {
        clock.advance(750);
        engine.cycle(2);
    }
    EXPECT_EQ(told(), (Told{"lostComms", "lostComms", "lostComms"})) << "every three sendings";
    EXPECT_EQ(engine.getGenParam(METER_FOUND), -999);
    EXPECT_FALSE(engine.connected() || status.isExposureActive() || status.isDapAvailable());
    EXPECT_EQ(engine.revision(), 260) << "that stays";
    generator.hear = nullptr;
    clock.advance(750);
    engine.cycle(10);
    EXPECT_EQ(told(), Told{}) << "the first answer is thrown away";
    clock.advance(750);
    engine.cycle(40);
    TkBinary_DorvaTable table;
    EXPECT_TRUE(status.getBinaryDorvaData(&table));
    EXPECT_TRUE(table.isValid()) << "the position stays readable";
    const Told events = told();
    EXPECT_EQ(std::count(events.begin(), events.end(), "CommsReEstablished"), 1);
    EXPECT_EQ(std::count(events.begin(), events.end(), "radiographic_Kv_Changed"), 1);
}

TEST_F(Polling, AReplyToAnotherQuestionDoesNotChangeWhatIsAskedNext) {
    generator.receptors[0].front() = 3;
    generator.aecSetups[1].front() = 2;
    engine.enableRefresh(true, false);
    ticks(40);
    TkBinary_Receptors receptor;
    EXPECT_TRUE(TkGeneratorStatus(&engine).getBinaryReceptorData(0, &receptor));
    EXPECT_EQ(receptor.Receptor, 3) << "the awaited record takes it";
    engine.enableRefresh(false, true);
    engine.enableRefresh(true, false);
    const std::string said = ticks(40);
    EXPECT_NE(said.find("26.0 26.1 26.2 26.3 26.4 26.5 23.0 23.1 23.2 23.3"), said.npos) << said;
}

TEST_F(Polling, AnAnswerThatComesTwiceFillsOneRecord) {
    const auto arrives = [&](std::size_t receptor) {
        link.arrive(ScriptedGenerator::record(0x1A, generator.receptors[receptor]));
        engine.cycle();
    };
    generator.hear = [](const std::string &frame) { return words({frame}).substr(0, 3) != "26."; };
    engine.enableRefresh(true, false);
    engine.cycle(10);
    clock.advance(750);
    engine.cycle(2); // the answer is late: the first receptor is asked for again
    arrives(0);
    arrives(0); // while the second one is asked for
    generator.hear = nullptr;
    arrives(1);
    engine.cycle(60);
    EXPECT_TRUE(engine.connected());
    for (int i = 0; i < 6; ++i) {
        TkBinary_Receptors receptor;
        EXPECT_TRUE(TkGeneratorStatus(&engine).getBinaryReceptorData(i, &receptor));
        EXPECT_EQ(receptor.Receptor, i);
    }
}

TEST_F(Polling, DroppingLeavesTheQueueAndCallbacksMayAskForIt) {
    engine.enableRefresh(true, false);
    ticks(40);
    callback = [&](const std::string &event) {
        if (event == "CommsReEstablished") {
            engine.enableRefresh(false, true);
        }
    };
    engine.transmitMsg(Tk::KV, 80, false);
    engine.enableRefresh(false, true);
    EXPECT_FALSE(engine.connected());
    engine.cycle(2);
    EXPECT_EQ(engine.getGenParam(Tk::KV), 80) << "what was queued still goes out";
    engine.enableRefresh(true, false);
    engine.cycle(60);
    EXPECT_FALSE(engine.connected()) << "dropped as soon as it was back";
    const Told events = told();
    EXPECT_EQ(std::count(events.begin(), events.end(), "lostComms"), 2);
    engine.enableDispatcher(false);
    engine.enableRefresh(true, false);
    engine.cycle(60);
    EXPECT_TRUE(engine.connected()) << "also when nobody is told";
    EXPECT_EQ(told(), Told{});
}

// --- The meter ----------------------------------------------------------------------------------

TEST_F(Polling, AMeterThatStartsIsAskedOnceAStepUntilItIsThere) {
    setMeter("1", "2");
    engine.enableRefresh(true, false);
    ticks(60);
    const std::string said = ticks(40);
    EXPECT_EQ(said.substr(said.find("RR"), 29), "RR DT RF DT RS DT ST DT RR DT");
    generator.values["DT"] = "1";
    EXPECT_NE(ticks(10).find("DA DR"), std::string::npos);
    EXPECT_EQ(ticks(20).find("DT"), std::string::npos) << "found";
    generator.values["DT"] = "0";
    engine.transmitMsg(Tk::DT, Tk::REQUEST_QUERY, false);
    EXPECT_EQ(ticks(1).substr(0, 2), "DT");
    EXPECT_EQ(ticks(20).find("DA"), std::string::npos) << "until it answers again";
}

TEST_F(Polling, AMeterThatIsNotThereIsGivenUpUntilSomebodyAsks) {
    const auto asked = [&] {
        const std::string said = ticks(60);
        int count = 0;
        for (std::size_t at = said.find("DT"); at != said.npos; at = said.find("DT", at + 1)) {
            ++count;
        }
        return count;
    };
    setMeter("1", "0");
    engine.enableRefresh(true, false);
    EXPECT_EQ(asked(), 4) << "as many answers that there is none";
    EXPECT_EQ(asked(), 0);
    engine.transmitMsg(Tk::DT, Tk::REQUEST_QUERY, false);
    EXPECT_EQ(asked(), 5) << "the application's own, and the search anew";
    engine.enableRefresh(false, true);
    engine.enableRefresh(true, false);
    EXPECT_EQ(asked(), 4) << "a lost link starts anew";
    generator.values["DS"] = "0";
    engine.setGenParam(Tk::DS, 0);
    engine.transmitMsg(Tk::DT, Tk::REQUEST_QUERY, false);
    EXPECT_EQ(asked(), 1) << "without an interface there is nothing to find";
}
