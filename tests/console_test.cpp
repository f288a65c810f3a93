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

/// What else a program prints, its columns one blank apart.
std::string rest(Process &program) {
    std::string text;
    while (const auto line = program.readLine()) {
        text += *line + '\n';
    }
    const auto end = std::unique(text.begin(), text.end(),
                                 [](char one, char next) { return one == ' ' && next == ' '; });
    text.erase(end, text.end());
    return text;
}

TEST(Console, RunsAScript) {
    const std::string script = testing::TempDir() + std::to_string(::getpid()) + ".script";
    std::ofstream(script)
        << "#" << std::string(5000, ' ')
        << "set KV 90\n# values\r\n\nquery ma\nset KV 200\nerror\nread CD 1\nget CWS\n"
        << "log raw on\nsend ET 1\nexpect ET 1\nlog raw\nquit\nget KV\n";
    const Scene scene;
    Process console = scene.console({"--script", script});
    EXPECT_EQ(rest(console), "note " + scene.device + R"( is open
event MA 100 radiographic tube current
answer MA 100 radiographic tube current
event ER 203 error
event KV 150 kV radiographic tube voltage
answer KV 150 kV radiographic tube voltage, not 200
error ER 203 error
note CD was answered
value CWS 1 configuration: workstation
note the raw log is on
event ET 1 mAs technique
log sent 45 54 31 03 CD
log received 45 54 31 03 CD
)");
    EXPECT_EQ(console.wait(), 0);
    ::unlink(script.c_str());
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
    scene.generator.writeLine("latched 7");
    console.writeLine("wait EL\nlatched");
    EXPECT_TRUE(console.readUntil("error   EL       7"));
    console.closeInput();
    EXPECT_EQ(console.wait(), 0);
}

TEST(Console, SaysWhatIsWrongWithACommandAndSendsNothing) {
    // clang-format off
    const std::vector<std::string> failures{
        "frob: no such command", "set KV: use it as", "get ZZ: 'ZZ' is no parameter",
        "get \xC3\x9C: '\xC3\x9C' is no parameter", "set KV 7x: '7x' is no whole number",
        "set KV 99999999999: '99999999999' is too large", "set KV 65535: '65535' stands for a",
        "set FS 3: the line can't carry FS", "read CD: CD needs a number", "wait KV 0.01: the e",
        "wait KV -1: '-1' is no number of seconds", "expect KV 70 0: the value is unknown"};
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

} // namespace
