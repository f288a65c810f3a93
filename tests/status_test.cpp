#include "support/dispatcher.h"
#include "support/generator.h"
#include "tkgeneratorstatus.h"
#include "tkvocabulary.h"

#include <algorithm>
#include <climits>
#include <sstream>

namespace {

constexpr int UNKNOWN = Tk::VALUE_UNKNOWN;

/// A room that has everything; what it shows, and what its operator may change.
const std::string ROOM =
    "GR=0300 WS=2 ET=2 FO=0 FS=001 FI=111 FLA=1 FLF=2 DS=1 DT=1 DA=0000001 DR=0000001 ATA=10 "
    "ATC=+5 COL=10 FIL=10 FP=1 Features=26 Tube=1 Tomo=1 Fluoro=1 Serial=1 AECChannel=3 "
    "Interface=0 AECBackupMODE=2 Functional=5 Media=0 Filmscreen=0 ";
const std::string SHOWN = " KV MA MS MX ET FS FI FN FLK FLM FLI FLT FLS FLF FLA FLZ FLC FLO ATA "
                          "ATC DA DR WS FO TU TB AL HE COL FIL FP ";
const std::string CHANGED = " KV MA MS ET FS FI FN FLM FLI FLT FLS FLF FLA FLZ FLC FLO ATA ATC WS "
                            "FO COL FIL FP ";

/// The mnemonic as it differs from a list, " +KV" or " -KV"; nothing if it doesn't.
std::string difference(const std::string &list, const std::string &mnemonic, bool is) {
    const bool was = list.find(' ' + mnemonic + ' ') != std::string::npos;
    return is == was ? "" : (is ? " +" : " -") + mnemonic;
}

class Status : public PolledEngine {
  protected:
    /// The engine learns of that room, but for changes such as "Interface=4 ET=0": of station 2, of
    /// AEC channel 3, and of parameters as the wire carries them; one without a value isn't told.
    void enter(const std::string &changes = "") {
        engine.enableRefresh(false, true);
        engine.cycle(2);
        std::istringstream words(ROOM + changes);
        for (std::string name, value; std::getline(words >> std::ws, name, '=');) {
            std::getline(words, value, ' ');
            if (fields.count(name) != 0) {
                *fields[name] = static_cast<unsigned char>(std::stoi(value));
            } else {
                generator.values[name] = value;
            }
            if (value.empty()) {
                generator.values.erase(name);
            }
        }
        engine.clearFeatures();
        engine.enableFeatures(static_cast<Tk::Features>(features));
        connect();
        for (int step = 0; step < 3; ++step) { // the search for a meter takes steps of polling
            clock.advance(250);
            engine.cycle(10);
        }
    }

    /// What is shown, and what may be changed, otherwise than there, and the next technique, focus
    /// and film screen, as in " -KV +CN / / 0 1 0".
    std::string otherwise() const {
        std::string shown, changed, keys;
        for (const TkCommand &row : TkCommandTable::rows) {
            shown += difference(SHOWN, row.mnemonic, status.displayableParam(row.number));
            changed += difference(CHANGED, row.mnemonic, status.controllableParam(row.number));
        }
        for (const int next :
             {status.nextTechnique(), status.nextFocus(), status.nextFilmScreen()}) {
            keys += ' ' + std::to_string(next);
        }
        return shown + " /" + changed + " /" + keys;
    }

    std::vector<unsigned char> &r = generator.receptors[1];
    std::vector<unsigned char> &a = generator.aecSetups[2]; // as from revision 300 on
    unsigned char features = 0;
    std::map<std::string, unsigned char *> fields{
        {"Tube", &r[1]},   {"Tomo", &r[2]},       {"Fluoro", &r[3]},     {"Features", &features},
        {"Serial", &r[4]}, {"AECChannel", &r[5]}, {"Interface", &r[6]},  {"AECBackupMODE", &r[13]},
        {"Media", &a[2]},  {"Filmscreen", &a[4]}, {"Functional", &r[25]}};
    TkGeneratorStatus status{&engine};
    TkBinary_Receptors receptor;
    TkBinary_AECSetup aec;
    TkBinary_DorvaTable table;
};

TEST_F(Status, RulesAndKeysFollowTheStationInUse) {
    const char *const rooms[][2] = {
        {"", " / / 0 1 0"},
        {"Interface=4", " -KV -MA -MS -MX -FN -FO / -KV -MA -MS -ET -FS -FI -FN -FO / 0 1 0"},
        {"Interface=4 ET=",
         " -KV -MA -MS -MX -FN -FO / -KV -MA -MS -ET -FS -FI -FN -FO / -999 1 0"},
        {"Interface=2 Tomo=0 FO=1", " -FN -FLS -ATA -ATC / -FS -FN -ATA -ATC / 0 0 0"},
        {"Interface=3 DS=0 FS=010 Filmscreen=250", " -FN -DA -DR / -FS -FN / 0 1 1"},
        {"Interface=9 DT=0 FO=2 Tube=2", " -FN -DA -DR / -FS -FI -FN / 0 0 0"},
        {"Interface=10 FLA=2 FO=", " -FN / -FN -FLM / 0 -999 0"},
        {"Interface=11 Tube=3", " -FN -FLS -FLF / -FS -FI / 0 -999 0"},
        {"Interface=11 FLF=4 FS=003 Filmscreen=7", " -FN -FLS -FLF / -FS -FI / 0 1 -999"},
        {"Interface=11 FLF=3", " -FN -FLS / -FS -FI -FLS / 0 1 0"},
        {"ET=0 AECBackupMODE=1 Filmscreen=5 FLF=0", " -FN / -FS -FI -FN -FLS / 1 1 2"},
        {"ET=1 Features=10", " -FN -FP / -MA -MS +MX -FS -FI -FN -FP / 2 1 0"},
        {"ET=1 AECChannel=0", " -FS -FI -FN / -MA -MS +MX -FS -FI -FN / 0 1 -999"},
        {"ET= FI= Features=18", " -FN -COL -FIL / +MX -FS -FI -FN -COL -FIL / -999 1 0"},
        {"AECBackupMODE=1 FI=000 Filmscreen=7", " -FI / -MS +MX / 0 1 1"},
        {"AECBackupMODE=3 FS= Filmscreen=7 FLF=1", " / -MS -FLS / 0 1 -999"},
        {"AECChannel=5 ET=1", " -FS -FI -FN / -MA -MS +MX -FS -FI -FN / 2 1 -999"},
        {"Functional=2 GR=0299 FO=1 Tube=3", " +FLD -FLC -FLO -AL -FP / +FLD -FLC -FLO / 0 0 0"},
        {"Functional=2 Serial=0 FLA=0", " -AL +CN -FP / +FLK -FLC -FLO / 0 1 0"},
        {"Features=24 FLA= Filmscreen=5 FS=100", " -ATA -ATC / +FLK -ATA -ATC / 0 1 0"},
        {"Fluoro=0", " -FLK -FLM -FLI -FLT -FLS -FLF -FLA -FLZ -FLC -FLO /"
                     " -FLM -FLI -FLT -FLS -FLF -FLA -FLZ -FLC -FLO / 0 1 0"},
        {"Fluoro=0 GR=0299 FLA=0 FO=2", " -FLK -FLM -FLI -FLT -FLS -FLF -FLA -FLZ -FLC -FLO -AL /"
                                        " -FLM -FLI -FLT -FLS -FLF -FLA -FLZ -FLC -FLO / 0 -999 0"},
        {"Media=1", " -FS -FI / / 0 1 0"}, // the last: an old generator doesn't tell it
    };
    for (const auto &[changes, expected] : rooms) {
        enter(changes);
        EXPECT_EQ(otherwise(), expected) << changes;
    }
}

TEST_F(Status, EachNumberCountsItsOwnWay) {
    enter("Interface=1");
    for (const int n : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, INT_MAX}) {
        const bool record = n >= 0 && n <= 5;
        EXPECT_EQ(status.getInterfaceOptions(n), record ? n == 1 : UNKNOWN) << n;
        EXPECT_EQ(status.getFunctionalOptions(n), record ? 5 * (n == 1) : UNKNOWN) << n;
        EXPECT_EQ(status.receptorEnabled(n), n == 2) << n;
        EXPECT_EQ(status.getBinaryReceptorData(n, &receptor), record) << n;
        EXPECT_EQ(receptor.Receptor, std::clamp(n, 0, 5)) << n;
        EXPECT_EQ(status.getBinaryAecData(n, &aec), n >= 1 && n <= 4) << n;
        EXPECT_EQ(aec.Channel, std::clamp(n, 1, 4) - 1) << n;
        EXPECT_FALSE(status.displayableParam(n) || status.controllableParam(n)) << n;
    }
    EXPECT_FALSE(status.getBinaryReceptorData(0, nullptr) || status.getBinaryAecData(1, nullptr));
}

TEST_F(Status, WhatIsMissingIsNotTold) {
    const auto answers = [&](const TkGeneratorStatus &of) {
        // clang-format off
        return std::vector<int>{
            of.displayableParam(Tk::WS), of.controllableParam(Tk::WS), of.nextTechnique(),
            of.nextFocus(), of.nextFilmScreen(), of.aecBackupMode(), of.getInterfaceOptions(),
            of.getFunctionalOptions(), of.getInterfaceOptions(1), of.receptorEnabled(2),
            of.isDapAvailable(), of.getGeneratorVersion(), of.getBinaryReceptorData(1, &receptor),
            of.getBinaryAecData(1, &aec), of.getBinaryDorvaData(&table), of.isExposureActive()};
        // clang-format on
    };
    constexpr int U = UNKNOWN;
    const std::vector<int> nothing{0, 0, U, U, U, U, U, U, U, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(answers(TkGeneratorStatus(nullptr)), nothing);
    for (const char *const request : {"\x01\x1A\0\2\1\5", "\x01\x17\0\2\1\3"}) {
        const std::string last(request, 6);
        generator.hear = [last](const std::string &written) { return written.find(last) != 0; };
        engine.enableRefresh(true, false);
        engine.cycle(50);
        EXPECT_EQ(answers(status), nothing);
        clock.advance(750);
    }
    generator.hear = nullptr;
    enter("Interface=1");
    link.arrive(frame("FLX1 XR1 XR2"));
    engine.cycle();
    EXPECT_TRUE(status.isFluoroExposureActive() && !status.isRadExposureActive());
    using All = std::vector<int>;
    EXPECT_EQ(answers(status), (All{1, 1, 0, 1, 0, 2, 1, 5, 1, 1, 1, 300, 1, 1, 1, 1}));
    for (const int nowhere : {U, INT_MIN, 0, 7}) {
        engine.setGenParam(Tk::WS, nowhere);
        engine.setGenParam(Tk::DS, 2);
        EXPECT_EQ(answers(status), (All{0, 0, U, U, U, U, U, U, 1, 1, 0, 300, 1, 1, 1, 1}));
    }
    engine.enableRefresh(false, true);
    EXPECT_EQ(answers(status), nothing);
}

/// All bytes of a reply but the index are alike, and other ones in each reply. Who hears of a loss
/// or a value has to see that answers go on meanwhile.
TEST_F(Status, AnswersAreOfOneReplyWhileTheWorkerReceivesOthersAndTellsOfThem) {
    generator.hear = [&, byte = 0](const std::string &) mutable {
        byte = byte % 100 + 1;
        generator.table.assign(52, static_cast<unsigned char>(byte));
        std::fill(r.begin() + 1, r.end(), static_cast<unsigned char>(byte));
        clock.advance(250); // polling goes on at once
        return true;
    };
    std::atomic<int> rounds{0}, tables{0};
    Recorder slow([&](const std::string &) {
        EXPECT_TRUE(eventually([&, before = rounds.load()] { return rounds > before + 1; }));
    });
    const Registered registered(slow);
    engine.enableFeatures(Tk::FEATURE_DORVA_TABLE);
    generator.values.insert({{"COL", "10"}, {"FIL", "10"}});
    engine.startControl();
    std::atomic<bool> done{false};
    std::thread dropping([&] {
        for (int seen = 5; seen <= 50; seen += 5) {
            engine.enableRefresh(true, false);
            EXPECT_TRUE(eventually([&] { return tables >= seen; }));
            engine.enableRefresh(false, true);
        }
        done = engine.stopControl() == 1;
    });
    EXPECT_TRUE(eventually([&] {
        clock.advance(1); // a question is repeated whose answer a drop has cut
        otherwise();
        const int last = table.status;
        if (status.getBinaryReceptorData(1, &receptor) && status.getBinaryDorvaData(&table)) {
            tables += table.status != last ? 1 : 0;
            EXPECT_TRUE(receptor.Tube == receptor.Ms && receptor.Tube == receptor.AECLock);
            EXPECT_EQ(std::string(table.status == 0 ? 0 : 32, table.cArc_Tilt),
                      static_cast<char *>(table.guidance));
            EXPECT_EQ(table.status, table.cArc_Tilt);
        }
        ++rounds;
        return done.load();
    }));
    dropping.join();
}

} // namespace
