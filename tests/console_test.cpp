#include "support/process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <unistd.h>

namespace {

/// A simulated generator, and consoles on its line.
struct Scene {
    Process generator{{TKGEN_SIM_PATH, "--trace", "--time-scale", "0.1"}};
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

/// A file for a console to read.
struct TextFile {
    const std::string path;
    TextFile(const std::string &name, const std::string &text)
        : path(testing::TempDir() + std::to_string(::getpid()) + name) {
        std::ofstream(path) << text;
    }
    ~TextFile() { ::unlink(path.c_str()); }
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
    const std::vector<std::string> failures{
        "apr " + twice.path + ": line 4: KV stands there twice",
        "apr " + unknown.path + ": line 1: 'ZZ' is no value",
        "apr " + longFile.path + ": the file has 20000 bytes", "apr /: the file can't be read",
        "frob: no such command", "set KV: use it as", "get ZZ: 'ZZ' is no parameter",
        "get \xC3\x9C: '\xC3\x9C' is no parameter", "set KV 7x: '7x' is no whole number",
        "set KV 99999999999: '99999999999' is too large", "set KV 65535: '65535' stands for a",
        "set FS 3: the line can't carry FS", "read CD: CD needs a number", "wait KV 0.01: the e",
        "wait KV -1: '-1' is no number of seconds", "expect KV 70 0: the value is unknown",
        "technique: there is no next technique", "record frob: the records are receptor, ",
        "record aec 0: the numbers go from 1 to 4", "record aec 1: the generator isn't connected",
        "record aec 1 set Channel 2: 'Channel' is no field", "features enable: which?",
        "record density set density_pos_1 256: density_pos_1 holds 0 to 255"};
    // clang-format on
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

TEST(Console, ReadsAndWritesRecords) {
    Scene scene;
    Process console = scene.console({"--refresh"});
    console.writeLine("wait back 20\nrecord receptor 2\nrecord receptor 2 set Kv 81\nrecord aec 4\n"
                      "record calibration 1 set kv_75_Point 700\nrecord chamber 2 set model 5");
    for (const char *line : {"note    receptor 2 is valid", "value   Kv  ",
                             "answer  Kv                  81", "note    aec 4 is valid",
                             "value   Channel             3", "value   RightFieldComp      -2",
                             "answer  kv_75_Point         700", "answer  model               5"}) {
        EXPECT_TRUE(console.readUntil(line)) << line;
    }
    scene.generator.writeLine("record calibration 1");
    EXPECT_TRUE(scene.generator.readUntil(": 01 21 22 23 24 25 26 02 BC 29"));
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
