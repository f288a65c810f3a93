#include "support/dispatcher.h"
#include "support/generator.h"
#include "tkapr.h"
#include "tkgeneratorerrors.h"

#include <algorithm>
#include <sstream>
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

/// Programs loaded into a generator whose receptors 2 and 5 (workstations 3, 6) have fluoroscopy.
class Programs : public PolledEngine {
  protected:
    void SetUp() override {
        generator.receptors[2][3] = 1;
        generator.receptors[5][3] = 1;
        generator.receptors[0][2] = 1; // tomography
        generator.hear = [](const std::string &written) { return written.rfind("EL", 0) != 0; };
        connect();
        engine.enableRefresh(false, false);
        engine.cycle(100);
        link.written();
    }

    /// What went out, ETX and sum left out.
    Frames written() {
        Frames frames = link.written();
        for (std::string &each : frames) {
            each.resize(each.size() - 2);
        }
        return frames;
    }

    /// The frames of a program that nobody waits for; those behind the line.
    Frames frames() {
        EXPECT_TRUE(engine.transmitAPR(&program, false));
        engine.cycle(40);
        return written();
    }
    Frames behind() {
        Frames all = frames();
        all.erase(all.begin());
        return all;
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
    program.setGeneratorWorkstation(0);
    EXPECT_EQ(behind(), Frames{});
    for (const int workstation : {6, 3}) {
        program.setGeneratorWorkstation(workstation);
        EXPECT_EQ(behind(), (Frames{"FLF0", "FLA0", "FLO0", "FLC0"}));
    }
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
    program.setRoomRotationSelection(3);
    program.setRoomAutoPosition(4);
    program.setTomoCutline(-5);
    program.setAPRCode(77);
    const std::pair<Tk::Features, Frames> features[] = {
        {Tk::FEATURE_ROTATION_SELECTION, {"FP3"}},
        {Tk::FEATURE_AUTO_POSITIONER, {"ATP004"}},
        {Tk::FEATURE_TOMOGRAPHY, {"ATA05", "ATC-05"}},
        {Tk::FEATURE_APR_CODE, {"AI0077"}}};
    for (const auto &[feature, expected] : features) {
        engine.clearFeatures();
        engine.enableFeatures(feature);
        EXPECT_EQ(behind(), expected);
    }
    engine.setGenParam(Tk::AI, 5);
    EXPECT_TRUE(engine.transmitAPR(&program, false));
    EXPECT_EQ(engine.getGenParam(Tk::AI), 77) << "known at once";
    engine.setGeneratorType(Tk::GENERATOR_BRN450);
    engine.cycle(40);
    link.written();
    EXPECT_EQ(behind(), Frames{});
}

TEST_F(Programs, EveryPartIsSentInOrderAndNamed) {
    engine.enableFeatures(Tk::Features(0x7F));
    for (const auto &[write, value] : {std::pair(&TkAPR::setGeneratorWorkstation, 3),
                                       {&TkAPR::setGeneratorFocus, 1},
                                       {&TkAPR::setRadiographicAECFields, 11},
                                       {&TkAPR::setRadiographicFilm, 2},
                                       {&TkAPR::setRadiographicDensity, -3},
                                       {&TkAPR::setFluoroscopicMode, 2},
                                       {&TkAPR::setFluoroscopicABSCurve, 4},
                                       {&TkAPR::setFluoroscopicRadCurve, 5},
                                       {&TkAPR::setRoomAutoPosition, 6},
                                       {&TkAPR::setRoomRotationSelection, 7},
                                       {&TkAPR::setTomoAngle, 8},
                                       {&TkAPR::setAPRCode, 9}}) {
        (program.*write)(value);
    }
    const Frames parts{"FLF2", "FLA0", "FLK070", "FLM020", "FLS150", "FLO4",
                       "FLC5", "FP7",  "ATP006", "ATA08",  "ATC05",  "AI0009"};
    const std::string labels = "Fluoro Mode,Fluoro ABS,Fluoro KV,Fluoro MA,Fluoro PPS,Fluoro ABS "
                               "Curve,Fluoro RAD Curve,Rotation Selection,Auto Positioner,TOMO "
                               "Angle,TOMO Cutline,APR Code,";
    for (const Frames &kind : {Frames{"ET0", "     mA/ms Technique,"},
                               {"ET1", "     mAs Technique,"},
                               {"ET2", "     AEC Technique,"},
                               {"ET2", "     AEC Fields,     AEC Film Screen,", "FI011", "FS100"},
                               {"ET3", ""}}) {
        const bool taken = kind.size() > 2; // the technique, but neither fields nor film screen
        for (const char *each : {"SA", "WS", "ET", "FI", "FS", "FLF", "FLA", "FLK", "FLM", "FLS",
                                 "FLO", "FLC", "FP", "ATP", "ATA", "ATC", "AI"}) {
            generator.before[each] = taken && each == std::string("ET") ? "" : frame("ER046");
        }
        program.setRadiographicTechnique(kind[0][2] - '0');
        EXPECT_FALSE(load());
        Frames expected{"SA WS3 FO1 " + kind[0] + " FI011 FS002 FN-3 KV100 MA01000 MS04000", "WS3",
                        kind[0]};
        expected.insert(expected.end(), kind.begin() + 2, kind.end());
        expected.insert(expected.end(), parts.begin(), parts.end());
        EXPECT_EQ(written(), expected);
        std::string details;
        std::istringstream all("APR Message,     Work Station," + kind[1] + labels);
        for (std::string label; std::getline(all, label, ',');) {
            details += label + " - Mode inhibited.\n";
        }
        EXPECT_EQ(program.getErrorDetails(), details);
    }
}

TEST_F(Programs, ThePartsOfOneFamilyAndTheOldestErrorOfEachKind) {
    program.setGeneratorWorkstation(3);
    engine.setGeneratorType(Tk::GENERATOR_BRN450);
    generator.before["SA"] = frame("ER230") + frame("ER204") + frame("EL002") + frame("EL034");
    EXPECT_FALSE(load());
    EXPECT_EQ(program.getErrorDetails(), "APR Message - DAP Not Ready.\n"
                                         "APR Message - Generator ZOR EEPROM checksum error.\n");
    EXPECT_EQ(written().back(), "ET0");
    EXPECT_EQ(engine.getGenParam(Tk::ER), -999);
    EXPECT_EQ(engine.getGenParam(Tk::EL), -999);
    generator.before.clear();
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
