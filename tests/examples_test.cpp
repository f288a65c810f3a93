#include "support/process.h"

#include <gtest/gtest.h>

namespace {

/// A simulated generator, and one example after the other on its line.
class Examples : public testing::Test {
  protected:
    Process start(const std::string &name, const std::vector<std::string> &more = {}) const {
        std::vector<std::string> command{TKGEN_EXAMPLES_PATH "/" + name, device};
        command.insert(command.end(), more.begin(), more.end());
        return Process(command);
    }

    /// Runs an example to its end. What it printed, and its exit code.
    std::string run(const std::string &name, const std::vector<std::string> &more = {}) const {
        Process example = start(name, more);
        const auto code = example.wait(Process::Limit(20000));
        std::string said;
        for (auto line = example.readLine(); code && line; line = example.readLine()) {
            said += *line + '\n';
        }
        return said + std::to_string(code.value_or(-1));
    }

    Process generator{{TKGEN_SIM_PATH, "--trace", "--time-scale", "0.1"}};
    std::string device = generator.readUntil("device ").value().substr(7);
};

TEST_F(Examples, Watch) {
    const std::string said = run("watch");
    EXPECT_NE(said.find("tube voltage in kV: 70\n"), std::string::npos);
    EXPECT_EQ(said.substr(said.size() - 2), "\n0") << said;
}

TEST_F(Examples, Exposure) {
    Process example = start("exposure");
    EXPECT_TRUE(example.readUntil("ready"));
    for (const char *order : {"prep", "expose"}) {
        generator.writeLine(order);
        EXPECT_TRUE(generator.readUntil(order[0] == 'p' ? "prep accepted" : "exposure off"));
    }
    EXPECT_TRUE(example.readUntil("tube voltage in kV: 70"));
    EXPECT_EQ(example.readLine(), "current-time product: 10");
    EXPECT_EQ(example.wait(), 0);
}

TEST_F(Examples, Program) {
    EXPECT_EQ(run("program"), "loaded\n0");
    EXPECT_TRUE(generator.readUntil("< SA WS1 FO0 ET0 FI010 FS001 FN 0 KV110 MA00200 MS00020"));
    EXPECT_TRUE(generator.readUntil("< AI0012"));
    EXPECT_EQ(run("program", {"200"}), "refused:\nAPR Message - Generator kV limit.\n1");
}

TEST_F(Examples, Record) {
    generator.writeLine("record calibration 1");
    EXPECT_TRUE(generator.readUntil(": 01 21 22 23 24 25 26 27 28 29"));
    EXPECT_EQ(run("record"), "75 kV point: 10024, to be 100\n75 kV point: 100\n0");
    generator.writeLine("record calibration 1");
    EXPECT_TRUE(generator.readUntil(": 01 21 22 23 24 25 26 00 64 29"));
}

TEST_F(Examples, Flat) {
    const std::string said = run("flat");
    EXPECT_NE(said.find("connected\n"), std::string::npos) << said;
    EXPECT_NE(said.find("error 203\ntube voltage 150 kV, may be changed\n0"), std::string::npos);
}

TEST_F(Examples, EndWithoutAGenerator) {
    generator.writeLine("silence on");
    EXPECT_TRUE(generator.readUntil("silence on"));
    EXPECT_EQ(run("watch"), "connection lost\n1");
    EXPECT_EQ(run("flat"), "connection lost\n1");
    device = "/nonexistent";
    EXPECT_EQ(run("flat"), "1");
}

} // namespace
