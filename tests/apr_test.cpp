#include "support/dispatcher.h"
#include "support/generator.h"
#include "tkapr.h"
#include "tkgeneratorerrors.h"

#include <algorithm>
#include <thread>

namespace {

using Frames = std::vector<std::string>;

TEST(ErrorTexts, EveryNumberHasOneInEachFamily) {
    const auto known = [](const TkGeneratorErrors::Texts &texts) {
        return std::count_if(texts.begin(), texts.end(), [](const char *text) {
            return std::string(text) != "Unknown Error Code.";
        });
    };
    EXPECT_EQ(known(TkGeneratorErrors::m_Arkona_Errors), 109);
    EXPECT_EQ(known(TkGeneratorErrors::m_BRN450_Errors), 120);
    const auto text = TkGeneratorErrors::getErrorMessage;
    EXPECT_STREQ(text(0, 0), "Successful");
    EXPECT_STREQ(text(211, 1), "Calibration limit:  selected parameter not calibrated.");
    EXPECT_STREQ(text(2, 0), "Unknown Error Code.");
    EXPECT_STREQ(text(2, 1), "Generator ZOR EEPROM checksum error.");
    EXPECT_STREQ(text(74, 5), "Table Communication Error") << "only family 1 has other texts";
    EXPECT_STREQ(text(255, 1), "Unknown Error Code.");
}

/// Programs loaded into a generator whose receptor 2 (workstation 3) has fluoroscopy.
class Programs : public PolledEngine {
  protected:
    void SetUp() override {
        generator.receptors[2][3] = 1;
        generator.hear = [](const std::string &written) { return written.rfind("EL", 0) != 0; };
        connect();
        engine.enableRefresh(false, false);
        engine.cycle(100);
        link.written();
    }

    /// The frames of a program that nobody waits for, ETX and sum left out.
    Frames frames() {
        EXPECT_TRUE(engine.transmitAPR(&program, false));
        engine.cycle(40);
        Frames frames = link.written();
        for (std::string &each : frames) {
            each.resize(each.size() - 2);
        }
        return frames;
    }

    /// Loads the program while a worker runs the engine.
    bool load() {
        engine.startControl();
        const bool taken = engine.transmitAPR(&program, true);
        engine.stopControl();
        return taken;
    }

    static constexpr const char *LINE = "SA WS1 FO0 ET0 FI010 FS001 FN 0 KV100 MA01000 MS04000";
    TkAPR program;
};

TEST_F(Programs, TheLineCarriesRadiography) {
    EXPECT_EQ(frames(), Frames{LINE});
    program.setGeneratorWorkstation(7); // no such receptor
    program.setRadiographicDensity(2);
    program.setRadiographicFilm(100);
    EXPECT_EQ(frames(), Frames{"SA WS7 FO0 ET0 FI010 FS100 FN+2 KV100 MA01000 MS04000"});
    const TkAPR copy = program;
    program.setRadiographicDensity(-1);
    EXPECT_EQ(copy.radiographicDensity(), 2);
    program.setGeneratorWorkstation(-1);
    EXPECT_EQ(frames().size(), 1u);
    EXPECT_FALSE(engine.transmitAPR(nullptr, false));
}

TEST_F(Programs, FluoroscopyFollowsWhereTheReceptorHasIt) {
    program.setGeneratorWorkstation(3);
    const auto behind = [this] {
        Frames all = frames();
        all.erase(all.begin());
        return all;
    };
    EXPECT_EQ(behind(), (Frames{"FLF0", "FLA0", "FLO0", "FLC0"}));
    program.setFluoroscopicMode(2);
    EXPECT_EQ(behind(), (Frames{"FLF2", "FLA0", "FLK070", "FLM020", "FLS150", "FLO0", "FLC0"}));
    program.setFluoroscopicABS(1);
    EXPECT_EQ(behind(), (Frames{"FLF2", "FLA1", "FLS150", "FLO0", "FLC0"}));
    program.setFluoroscopicMode(3);
    EXPECT_EQ(behind(), (Frames{"FLF3", "FLA1", "FLO0", "FLC0"}));
    engine.setGeneratorType(Tk::GENERATOR_BRN450);
    EXPECT_EQ(behind(), Frames{});
    engine.setGeneratorType(Tk::GENERATOR_ARKONA);
    DrivenGenerator::setRevision(299);
    EXPECT_EQ(behind(), Frames{});
}

TEST_F(Programs, TheRoomFollowsByItsFeatures) {
    program.setAPRCode(77);
    program.setTomoCutline(-5);
    const auto rest = Tk::Features(Tk::FEATURE_AUTO_POSITIONER | Tk::FEATURE_ROTATION_SELECTION |
                                   Tk::FEATURE_TOMOGRAPHY | Tk::FEATURE_APR_CODE);
    engine.enableFeatures(rest);
    EXPECT_EQ(frames(), (Frames{LINE, "FP0", "ATP000", "AI0077"}))
        << "receptor 0 has no tomography";
    generator.receptors[0][2] = 1;
    connect();
    program.setAPRCode(78);
    engine.transmitAPR(&program, false);
    EXPECT_EQ(engine.getGenParam(Tk::AI), 78) << "known at once";
    engine.enableRefresh(false, true);
    connect();
    engine.enableRefresh(false, false);
    engine.cycle(100);
    link.written();
    EXPECT_EQ(frames(), (Frames{LINE, "FP0", "ATP000", "ATA05", "ATC-05", "AI0078"}));
    engine.setGeneratorType(Tk::GENERATOR_BRN450);
    EXPECT_EQ(frames(), Frames{LINE});
}

TEST_F(Programs, ARefusedLineIsSentAgainInPieces) {
    program.setGeneratorWorkstation(3);
    program.setRadiographicTechnique(2);
    generator.before = {{"SA", frame("ER203") + frame("ER204") + frame("EL033") + frame("EL034")},
                        {"FS", frame("ER255")},
                        {"FLO", frame("ER002")}};
    EXPECT_FALSE(load());
    EXPECT_EQ(program.getErrorDetails(), "APR Message - Generator kV limit.\n"
                                         "APR Message - Warning Lithium Battery Voltage Low.\n"
                                         "     AEC Film Screen - Unknown Error Code.\n"
                                         "Fluoro ABS Curve - Unknown Error Code.\n");
    EXPECT_EQ(engine.getGenParam(Tk::ER), -999);

    generator.before = {{"SA", frame("ER203")}, {"ET", frame("ER046")}};
    EXPECT_FALSE(load());
    EXPECT_EQ(program.getErrorDetails(), "APR Message - Generator kV limit.\n"
                                         "     AEC Technique - Mode inhibited.\n");
    Frames all = link.written();
    EXPECT_EQ(std::count(all.begin(), all.end(), frame("FI010")), 1) << "not behind a refused AEC";

    program.setRadiographicTechnique(3); // which has no name: its error counts for what follows
    EXPECT_FALSE(load());
    EXPECT_EQ(program.getErrorDetails(), "APR Message - Generator kV limit.\n"
                                         "Fluoro Mode - Mode inhibited.\n");

    generator.before = {};
    EXPECT_TRUE(load());
    EXPECT_EQ(program.getErrorDetails(), "");
}

TEST_F(Programs, AnErrorBesideTheAnswerIsNotMissed) {
    Recorder slow([](const std::string &) { std::this_thread::yield(); });
    const Registered registered(slow);
    generator.before["FLC"] = frame("FLC0 ER013"); // the last that is sent
    program.setGeneratorWorkstation(3);
    for (int i = 0; i < 50; ++i) {
        EXPECT_FALSE(load());
        EXPECT_EQ(program.getErrorDetails(), "Fluoro RAD Curve - Manually Terminated Exposure.\n");
    }
}

TEST_F(Programs, AnAnswerThatDoesntComeHasItsLimit) {
    const auto waited = [this] {
        std::atomic<bool> ended{false};
        std::thread caller([&] {
            EXPECT_FALSE(engine.transmitAPR(1, 0, 0, 0, 1, 0, 70, 1, 1, true));
            ended = true;
        });
        unsigned long passed = 0;
        EXPECT_TRUE(eventually([&] {
            clock.advance(100);
            passed += 100;
            return ended.load();
        }));
        caller.join();
        return passed;
    };
    EXPECT_GE(waited(), 15000u + 4 * 750);
    engine.changeCommDevice(nullptr);
    EXPECT_GE(waited(), 2000u);
}

} // namespace
