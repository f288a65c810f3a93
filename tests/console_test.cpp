#include "support/process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <deque>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace {

/// A simulated generator, and consoles on its line.
struct Scene {
    const char *option = "--trace"; // one that nobody reads holds it up after a while
    Process generator{{TKGEN_SIM_PATH, "--time-scale", "0.1", option}};
    std::string device = generator.readUntil("device ").value().substr(7);

    Process console(std::vector<std::string> arguments = {}) const {
        arguments.insert(arguments.begin(), {TKGEN_CONSOLE_PATH, device});
        return Process(arguments);
    }
};

/// What else a program prints, its columns one blank apart; of lines with this beginning.
std::string rest(Process &program, const std::string &beginning = "") {
    std::string text;
    while (const auto line = program.readLine()) {
        text += line->rfind(beginning, 0) == 0 ? *line + '\n' : "";
    }
    const auto end = std::unique(text.begin(), text.end(),
                                 [](char one, char next) { return one == ' ' && next == ' '; });
    text.erase(end, text.end());
    return text;
}

/// A file for a console to read, or to write.
struct TextFile {
    const std::string path;
    TextFile(const std::string &name, const std::string &text)
        : path(testing::TempDir() + std::to_string(::getpid()) + name) {
        std::ofstream(path) << text;
    }
    ~TextFile() { ::unlink(path.c_str()); }

    std::string contents() const {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

TEST(Console, RunsAScript) {
    const TextFile script(
        ".script", "#" + std::string(5000, ' ') +
                       "set KV 90\n# values\r\n\nquery ma\nset KV 200\nerror\nread CD 1\nget CWS\n"
                       "log raw on\nsend ET 1\nexpect ET 1\nlog raw\nquit\nget KV\n");
    const Scene scene;
    Process console = scene.console({"--script", script.path});
    EXPECT_EQ(rest(console), "note " + scene.device + R"( is open
event MA 100 radiographic tube current
answer MA 100 radiographic tube current
event ER 203 error: Generator kV limit.
event KV 150 kV radiographic tube voltage
answer KV 150 kV radiographic tube voltage, not 200
error ER 203 error: Generator kV limit.
note CD was answered
value CWS 1 configuration: workstation
note the raw log is on
event ET 1 mAs technique
log sent 45 54 31 03 CD
log received 45 54 31 03 CD
)");
    EXPECT_EQ(console.wait(), 0);
}

TEST(Console, TakesPartInExposuresWhenTold) {
    Scene scene;
    Process console = scene.console({"--echo"});
    const auto act = [&](const char *command, const char *order, const char *outcome) {
        console.writeLine(command);
        EXPECT_TRUE(console.readUntil("note")) << command;
        scene.generator.writeLine(order);
        EXPECT_TRUE(scene.generator.readUntil(outcome)) << order;
    };
    console.readUntil("is open");
    act("refresh off", "prep", "prep refused");
    act("exposures on", "prep", "prep accepted");
    act("prep accept", "expose", "exposure off");
    console.writeLine("wait AT");
    EXPECT_TRUE(console.readUntil("event   AT     100"));
    act("prep refuse", "prep", "prep refused");
    act("prep accept", "fluoro on", "fluoro on");
    scene.generator.writeLine("latched 10");
    console.writeLine("wait EL\ntype brn450\nlatched");
    EXPECT_TRUE(console.readUntil("event   EL      10            latched error: Unknown Error"));
    EXPECT_TRUE(console.readUntil("error   EL      10            latched error: KV During Exp"));
    console.closeInput();
    EXPECT_EQ(console.wait(), 0);
}

TEST(Console, SaysWhatIsWrongWithACommandAndSendsNothing) {
    const TextFile twice(".twice", "# a comment\n\nKV 1 # kV\nkv 2\n");
    const TextFile unknown(".unknown", "ZZ 1\r\n");
    const TextFile longFile(".long", std::string(20000, '\n'));
    // clang-format off
    std::vector<std::string> failures{
        "apr " + twice.path + ": line 4: KV stands there twice",
        "apr " + unknown.path + ": line 1: 'ZZ' is no value",
        "apr " + longFile.path + ": the file has 20000 bytes", "apr /: the file can't be read",
        "frob: no such command", "set KV: use it as", "get ZZ: 'ZZ' is no parameter",
        "get \xC3\x9C: '\xC3\x9C' is no parameter", "set KV 7x: '7x' is no whole number",
        "set KV 99999999999: '99999999999' is too large", "set KV 65535: '65535' stands for a",
        "set FS 3: the line can't carry FS", "read CD: CD needs a number", "wait KV 0.01: the e",
        "wait KV -1: '-1' is no number of seconds", "expect KV 70 0: the value is unknown",
        "technique: there is no next technique", "record frob: the records are receptor, ",
        "record aec 0: the numbers go from 1 to 4", "record aec 1: the generator's revision isn't known",
        "record aec 1 set Channel 2: 'Channel' is no field", "features enable: which?",
        "record density set density_pos_1 256: density_pos_1 holds 0 to 255"};
    const char *const badRecords[][2] = {
        {"", "the file holds no configuration"}, {"Kv 7\nrecord density", "line 2: a line as 'rec"},
        {"# 3\nrecord tube 2", "line 3: the"}, {"record tube 1\nHeatUnitSlope 1 2", "line 3: Heat"},
        {"record table\nsid 1", "line 2: t"}, {"record gentype\nType 1\nType 2", "line 4: Type st"},
        {"record density\nrecord density", "line 3: d"}, {"record tube 1\nKvMax -1", "line 3: Kv"},
        {"record tube 1\nHeatUnitSlope[1] 1", "line 3: a"}, {"record tube 1\nKvMax", "line 3: K"},
        {"record tube 1\nName 0123456789ABCDEF", "line 3: Name holds 15 characters, not 16"},
        {"record genlimits\nMax_MA 700", "line 3: Max_MA holds 630 or 800, not 700"},
        {"record gentype\nType \033[31m9", "line 3: '.[31m9' is no whole number"}};
    // clang-format on
    std::deque<TextFile> files;
    for (const auto &[text, reason] : badRecords) {
        files.emplace_back(".bad" + std::to_string(files.size()),
                           std::string("generator arkona 301\n") + text);
        failures.push_back("records restore " + files.back().path + ": " + reason);
    }
    Scene scene;
    Process console = scene.console({"--keep-going"});
    for (const std::string &failure : failures) {
        console.writeLine(failure.substr(0, failure.find(": ")));
        const std::string line = console.readUntil("failed").value_or("");
        EXPECT_EQ(line.rfind("failed  " + failure, 0), 0U) << line;
    }
    console.closeInput();
    EXPECT_EQ(console.wait(), 1);
    scene.generator.writeLine("quit");
    EXPECT_EQ(rest(scene.generator).find('<'), std::string::npos) << "a frame arrived";
}

TEST(Console, SaysHowItEndedByItsExitCode) {
    EXPECT_EQ(Process({TKGEN_CONSOLE_PATH, "--help"}).wait(), 0);
    EXPECT_EQ(Process({TKGEN_CONSOLE_PATH}).wait(), 2);
    EXPECT_EQ(Process({TKGEN_CONSOLE_PATH, "x", "--frob"}).wait(), 2);
    EXPECT_EQ(Process({TKGEN_CONSOLE_PATH, "x", "--script", "/nonexistent"}).wait(), 2);
    EXPECT_EQ(Process({TKGEN_CONSOLE_PATH, "/nonexistent"}).wait(), 3);

    const Scene scene;
    Process failing = scene.console();
    failing.writeLine("expect KV 80 0.05\nquery KV");
    EXPECT_EQ(failing.wait(), 1);
    EXPECT_EQ(rest(failing).find("answer"), std::string::npos) << "went on after a failure";

    Process console = scene.console();
    EXPECT_TRUE(console.readUntil("is open"));
    console.signal(SIGTERM);
    EXPECT_EQ(console.wait(), 0);
}

TEST(Console, NoticesASilentGeneratorAndAVanishedDevice) {
    Scene scene;
    Process console = scene.console({"--keep-going"});
    scene.generator.writeLine("silence on");
    EXPECT_TRUE(scene.generator.readUntil("silence"));
    console.writeLine("query KV");
    EXPECT_TRUE(console.readUntil("lost "));
    console.writeLine("wait KV 60");
    scene.generator.writeLine("unplug");
    EXPECT_TRUE(console.readUntil("the device has gone"));
    EXPECT_EQ(console.wait(), 3);
}

/// Whether a followed table comes to have these rows: mnemonics, with "*" where it has one.
bool comesToShow(Process &console, const std::string &rows) {
    std::string shown;
    while (const auto line = console.readLine()) {
        if (line->rfind("table   connected", 0) == 0) {
            shown.clear();
        } else if (line->rfind("table", 0) == 0) {
            const bool marked = line->find('*') != std::string::npos;
            shown += line->substr(8, line->find(' ', 8) - 8) + (marked ? "* " : " ");
        }
        if (shown == rows) {
            return true;
        }
    }
    return false;
}

TEST(Console, FollowsWhatTheReceptorHasThroughALoss) {
    Scene scene;
    EXPECT_TRUE(scene.generator.writeLine("meter absent") && scene.generator.readUntil("meter"));
    Process console = scene.console({"--refresh"});
    console.writeLine("wait back 20\nset WS 3\ntable on");
    EXPECT_TRUE(comesToShow(console, "KV* MA* MS* MX ET* WS* FO* TU TB HE "));
    console.writeLine("technique");
    EXPECT_TRUE(comesToShow(console, "KV* MA MS MX* ET* WS* FO* TU TB HE "));
    console.writeLine("set WS 4\nfocus");
    const std::string fluoroscopy = "KV* MA MS MX* ET* FS FI FLK* FLM* FLI* FLT* FLS FLF* FLA* "
                                    "FLZ* FLC FLO WS* FO* TU TB HE ";
    EXPECT_TRUE(comesToShow(console, fluoroscopy));
    scene.generator.writeLine("silence on");
    console.writeLine("wait lost 20\nwait back 20\nget FO");
    EXPECT_TRUE(console.readUntil("lost    connection lost", Process::Limit(20000)));
    EXPECT_TRUE(console.readUntil("table   not connected, polling"));
    scene.generator.writeLine("silence off");
    EXPECT_TRUE(console.readUntil("value   FO       1", Process::Limit(20000)));
    EXPECT_TRUE(comesToShow(console, fluoroscopy));
    console.closeInput();
    EXPECT_EQ(console.wait(), 0);
}

TEST(Console, SavesAndRestoresTheConfigurationByteForByte) {
    // clang-format off
    const std::string changes[][3] = { // a record, a field of it, and what to set it to
        {"receptor 5", "AECLock", "3"}, {"aec 2", "CenterFieldComp", "-128"},
        {"calibration 2", "multiSpot_Comp", "255"}, {"digital 3", "kv_130_Point", "65535"},
        {"density", "density_pos_8", "77"}, {"chamber 1", "dsaGain", "1"},
        {"tube 0", "Name", R"("A# \"\\\x01\xFF\x00  15  ")"}, {"tube 1", "Name", "\"X\""},
        {"tube 0", "MF_HS_KW_Limit[35]", "40000"}, {"tube 1", "KvMax", "149"},
        {"fluorosetup", "PF_PPS_Default", "30"}, {"generalfluoro", "PF_Select", "2"},
        {"fluororad", "CurveData[2][17]", "42"}, {"highlevelfluoro", "abs_level3", "-32768"},
        {"continuousfluoro", "ABSLimitData[1]", "1 2 3 4 5 6 7 8 9 0"},
        {"pulsefluoro", "MaCurveData[0][9]", "65535"}, {"hlfpulsefluoro", "MsLimitData[1][0]", "0"},
        {"genlimits", "Max_MAS", "63"}, {"gentype", "Reserved2", "8"}, {"ioconfig 5", "In3", "128"},
        {"dapconfig", "RateDisplay", "0"}, {"ioconfig 0 3", "In3", "9"}};
    // clang-format on
    const TextFile first(".first", ""), changed(".changed", ""), again(".again", "");
    const Scene scene{"--family=arkona"};
    Process console = scene.console({"--refresh", "--keep-going"});
    const auto act = [&](const std::string &command, const std::string &outcome) {
        console.writeLine(command);
        EXPECT_TRUE(console.readUntil(outcome)) << command;
    };
    act("wait back 20\nrecords save " + first.path, "saved: 40");
    for (const char *lines :
         {"generator arkona 301\n\nrecord receptor 0\n", "\nName \"RF 16 TABLE\"\n",
          "\nHeatUnitSlope 100 200 300 400 500 600 700 800 900 1000\n", "\nabs_level0 -200\n",
          "\nMF_MaxMa 100\n\nrecord fluorosetup\n", "\nrecord ioconfig 5\nOut1 0\nOut2 0\n"}) {
        EXPECT_NE(first.contents().find(lines), std::string::npos) << lines;
    }
    for (const auto &[name, field, value] : changes) {
        act("record " + name, "note    " + name + " is valid");
        act("record " + name + " set " + field + " " + value,
            "answer  " + field + std::string(22 - field.size(), ' ') + value);
    }
    act("records save " + changed.path, "saved: 40");
    for (const TextFile *each : {&first, &changed}) {
        act("records restore " + each->path, "restored: 40");
        act("records save " + again.path, "saved: 40");
        EXPECT_TRUE(again.contents() == each->contents());
    }
    std::ofstream(again.path)
        << "generator arkona 400\nrecord density\nrecord ioconfig 0 9 # none\n";
    act("record tube 0 restore \"" + first.path + '"', "restored: 1");
    act("records restore " + again.path, "ioconfig 0 9: the generator didn't send it; written: d");
    act("wait back 20\nrecord ioconfig 0 9 save " + first.path, "failed  record ioconfig 0 9 save");
    EXPECT_NE(first.contents().find("RateDisplay"), std::string::npos) << "the older file is lost";
}

TEST(Console, ReadsAndWritesRecords) {
    Scene scene;
    scene.generator.writeLine("record statistics 0 3 9");
    EXPECT_TRUE(scene.generator.readUntil("record statistics"));
    Process console = scene.console({"--refresh", "--keep-going"});
    console.writeLine("wait back 20\nrecord receptor 2 set Kv 81\nrecord aec 4\n"
                      "record calibration 1 set kv_75_Point 700\nrecord statistics\n"
                      "record statistics set Tube1Exposures 0\nrecord errorlog\nrecord errorlog 3\n"
                      "record errorlog 4\nrecord bypass\nrecord bypass set Enable 1\n"
                      "record datetime set Year 2031\ncustom 9 read u8=1 i16");
    for (const char *line :
         {"answer  Kv                    81", "value   Channel               3",
          "value   RightFieldComp        -2", "answer  kv_75_Point           700",
          "Tube1Exposures        9", "answer  Tube1Exposures        0", "ErrorNum              2",
          "errorlog 3 is valid", "errorlog 3 is valid", "ErrorNum              3", "no such entry",
          "record bypass: it can be set, but not read", "answer  Enable                1",
          "answer  Year                  2031", "variable 1            8482"}) {
        EXPECT_TRUE(console.readUntil(line)) << line;
    }
    scene.generator.writeLine("record calibration 1");
    EXPECT_TRUE(scene.generator.readUntil(": 01 21 22 23 24 25 26 02 BC 29"));
}

TEST(Console, WritesNoRecordThatItDoesNotKnowWhole) {
    Scene scene{"--revision=200"};
    const TextFile newer(".newer", "generator arkona 301\nrecord density\ndensity_pos_1 1\n");
    const TextFile other(".other", "generator brn450 0\nrecord density\ndensity_pos_1 1\n");
    const TextFile wide(".wide", "generator arkona 299\nrecord aec 1\nFilmscreen1Gain 256\n");
    const auto order = [&](const std::string &line) {
        scene.generator.writeLine(line);
        EXPECT_TRUE(scene.generator.readUntil(line.substr(0, line.find(' '))));
    };
    order("record genlimits 0 3 40"); // a code of no number
    Process console = scene.console({"--keep-going"});
    const auto act = [&](const std::string &command, const std::string &outcome) {
        console.writeLine(command);
        EXPECT_TRUE(console.readUntil(outcome)) << command;
    };
    act("record fluorosetup", "isn't known, 'query GR' asks for it");
    act("refresh on\nwait back 20\nrecord genlimits save " + newer.path + ".no/x", "No such file");
    act("record genlimits save " + wide.path + "2", "genlimits: Max_MA 0 can't be restored");
    EXPECT_TRUE(console.readUntil("saved: 1"));
    EXPECT_EQ(std::remove((wide.path + "2").c_str()), 0);
    act("record genlimits set Max_KW 91", "answer  Max_KW                91");
    act("record tube 0 set MF_Enable 1", "the records of revision 200 have no MF_Enable");
    act("record tube 0", "value   MF_Enable             -");
    act("records restore " + newer.path,
        "here is 'generator arkona 200', whose records have other");
    act("records restore " + other.path,
        "here is 'generator arkona 200', whose records have other");
    act("records restore " + wide.path, "Filmscreen1Gain holds 255 at the most at revision 200");
    order("short 3");
    act("record genlimits set Max_KW 92", "the generator sent it short, or otherwise each time");
    order("short 0");
    order("duplicate 100"); // all is answered twice
    act("record gentype set Type 7\nrecord genlimits set Max_KW 93", "Max_KW                93");
    scene.generator.writeLine("record genlimits");
    EXPECT_TRUE(scene.generator.readUntil("0: A0 5D 0B 28 00 00 21 21"));
}

TEST(Console, LoadsProgramsAndTellsWhatIsRefused) {
    const TextFile bad(".bad", "WS 4\nET 2\nFI 5\nFLF 1\nFLK 200\n");
    const TextFile good(".good",
                        "fi 11\nFS 10\nFN -2\nKV 77 # kV\nMA 200\nFO 1\nET 2\nWS 4\nAI 1234\n"
                        "FP 2\nATA 25\nATC -7\nATP 21\nFLK 81\nFLM 31\nFLF 2\nFLA 0\n"
                        "FLS 15\nFLO 3\nFLC 4");
    Scene scene;
    scene.generator.writeLine("record receptor 0 2 1"); // tomography
    EXPECT_TRUE(scene.generator.readUntil("record"));
    Process console = scene.console({"--refresh", "--keep-going"});
    console.writeLine("features enable auto-positioner rotation-selection tomography apr-code\n"
                      "wait back 20\nrefresh off\napr " +
                      bad.path + "\nset KV 200\napr " + good.path);
    EXPECT_EQ(console.readUntil("refused"),
              "refused APR Message - Invalid communication parameter.");
    EXPECT_EQ(console.readLine(), "refused      AEC Fields - Invalid communication parameter.");
    EXPECT_EQ(console.readLine(), "refused Fluoro KV - Generator kV limit.");
    EXPECT_TRUE(console.readUntil(": the generator refused a part of it"));
    EXPECT_TRUE(console.readUntil("error   ER     203            error: Generator kV limit."));
    EXPECT_TRUE(console.readUntil("answer  the program is loaded"));
    EXPECT_TRUE(
        scene.generator.readUntil("< SA WS4 FO1 ET2 FI011 FS010 FN-2 KV077 MA00200 MS04000"));
    scene.generator.writeLine("quit");
    EXPECT_EQ(rest(scene.generator, "< "),
              "< FLF2\n< FLA0\n< FLK081\n< FLM031\n< FLS015\n< FLO3\n"
              "< FLC4\n< FP2\n< ATP021\n< ATA25\n< ATC-07\n< AI1234\n");
}

TEST(Console, ShowsTheMessagesOfAWindow) {
    const Scene scene;
    Process console = scene.console();
    console.writeLine("set KV 71\nwatch on\nset KV 81\nwatch off\nset KV 82\nwatch on\nwatch on\n"
                      "set KV 200\nrefresh drop\nquit");
    EXPECT_EQ(rest(console, "message"), R"(message 65534 wParam 0x4B56 KV lParam 81
message 65534 wParam 0x4552 ER lParam 0
message 65534 wParam 0x4B56 KV lParam 150
message 65534 wParam 0x0 lost lParam 0
)");
}

} // namespace
