#include "support/process.h"

#include <gtest/gtest.h>

namespace {

/// A simulated imaging console, the program that drives it, and what a person at both sees.
struct Sides {
    const std::string kind;
    Process far{{TKGEN_SIM_PATH, kind}};
    std::string device = far.readUntil("device ").value_or("device none").substr(7);
    Process near{{TKGEN_CONSOLE_PATH, kind, "--refresh", "--keep-going", device}};

    void type(const std::string &command, const std::string &outcome) {
        near.writeLine(command);
        EXPECT_TRUE(near.readUntil(outcome, Process::Limit(20000))) << command;
    }
    void press(const std::string &order, const std::string &outcome) {
        far.writeLine(order);
        EXPECT_TRUE(near.readUntil(outcome, Process::Limit(20000))) << order;
    }
};

TEST(ImagingConsoles, ShowAndSetWhatAnInfimedConsoleHas) {
    Sides sides{"--infimed"};
    sides.type("wait back 20", "back    connected");
    sides.type("set mask 2", "answer  mask                    2");
    sides.type("step window +3", "answer  window               2051");
    sides.type("step level -2", "answer  level                  -2");
    sides.type("query level", "answer  level                  -2"); // a step that changes nothing
    sides.type("step edge +1", "answer  edge                    1");
    sides.type("send 1012 1", "event   invert                  1");
    sides.type("query version", "version                51            code of a character");
    sides.type("set mask 7", "text    mask out of range");
    sides.type("values", "note    7 of 10 parameters are known");
    sides.type("set mask 2", "answer  mask                    2");
    sides.type("show", "value   horizontal-reverse  unknown");
    sides.type("step mask +1", "mask allows: set to 0 to 9, query");
    sides.type("step edge -1", "edge allows: step by +1");
    sides.type("query edge", "it only takes steps, use 'step edge +1'");
    sides.type("query alive", "nothing answers it, use 'send'");
    sides.press("set vertical 1", "event   vertical-reverse        1");
    sides.press("acquire 1 ready\033[2J", "text    ready.[2J");
    sides.press("silence on", "lost    connection lost, acquire is unknown");
    sides.type("get mask", "value   mask                    2");
    sides.press("silence off", "back    connected");
    sides.press("unplug", "lost    the device has gone");
    EXPECT_EQ(sides.near.wait(), 3);
}

TEST(ImagingConsoles, ShowAndSetWhatAGEHLConsoleHas) {
    Sides sides{"--gehl"};
    sides.type("wait back 20\nexpect horizontal-reverse 0", "back    connected");
    sides.type("set frame-rate 3", "answer  frame-rate              3");
    sides.type("up2 frame-rate", "answer  frame-rate              5");
    sides.type("down frame-rate", "answer  frame-rate              4");
    sides.type("set number 1234", "answer  number               1234");
    sides.type("query receptor", "receptor allows: set to 0 to 9");
    sides.type("step state +1", "no such command");
    sides.type("send store-loop 1\nquery state", "answer  state");
    sides.far.writeLine("show");
    EXPECT_TRUE(sides.far.readUntil("value loop 1"));
    sides.press("set receptor 2", "event   receptor                2");
    sides.press("silence on", "lost    connection lost, the console's values are unknown");
    sides.type("get number", "value   number              unknown");
    sides.press("silence off", "back    connected");
    sides.near.closeInput();
    EXPECT_EQ(sides.near.wait(), 1) << "commands have failed";
}

TEST(ImagingConsoles, AreRefusedWhatOnlyAGeneratorHas) {
    const std::vector<std::string> wrong[] = {{"--infimed", "--gehl", "x"},
                                              {"--gehl", "--relay", "localhost:1"},
                                              {"--gehl", "-x", "x"},
                                              {"--infimed", "-x", "x"},
                                              {"--infimed", "-g", "arkona", "x"}};
    for (std::vector<std::string> arguments : wrong) {
        arguments.insert(arguments.begin(), TKGEN_CONSOLE_PATH);
        EXPECT_EQ(Process(arguments).wait(), 2) << arguments[1] << ' ' << arguments[2];
    }
}

TEST(ImagingConsoles, AreReachedThroughARelayWhereFramesHaveASum) {
    Process far({TKGEN_SIM_PATH, "--infimed"}), relay({TKGEN_RELAY_PATH, "--port", "0"});
    const std::string device = far.readUntil("device ").value_or("device none").substr(7);
    const std::string said = relay.readUntil("listening at port ").value_or("port none");
    const std::string at = "localhost:" + said.substr(said.rfind(' ') + 1);
    Process site({TKGEN_SITE_PATH, device, at, "-d", "Room 1"});
    EXPECT_TRUE(relay.readUntil("is 'Room 1'"));
    Process near({TKGEN_CONSOLE_PATH, "--infimed", "--relay", at, "--refresh"});
    near.writeLine("wait back 20\nset mask 3\nstep window -1\nquit");
    EXPECT_TRUE(near.readUntil("answer  window               2047", Process::Limit(20000)));
    EXPECT_EQ(near.wait(), 0);
    far.writeLine("show");
    EXPECT_TRUE(far.readUntil("missing acks 0"));
}

} // namespace
