#ifndef TEST_SUPPORT_SIMULATION_H
#define TEST_SUPPORT_SIMULATION_H

#include "simulator/simulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// "[01 1A" as the bytes that it tells.
inline tksim::Bytes bytesIn(const std::string &hexadecimal) {
    std::istringstream stream(hexadecimal.substr(1));
    tksim::Bytes bytes;
    for (int byte = 0; stream >> std::hex >> byte;) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    return bytes;
}

/// A simulator without a line, and a clock that stands still unless it is moved.
struct Simulation {
    tksim::Simulator simulator;
    tksim::Milliseconds now = 0;

    explicit Simulation(std::unique_ptr<tksim::Machine> machine)
        : simulator(std::move(machine), {}) {}
    virtual ~Simulation() = default;

    /// Plays steps "action => outcome", separated by commas. An action is a text or bytes "[01 1A]"
    /// that are sent, "!" and a command of the panel, or "+" and milliseconds that pass; its
    /// outcome the frames that come and, behind a "#" each, the printed lines, or "-" for nothing.
    void play(const std::string &steps) {
        for (std::size_t at = 0, end = 0; at < steps.size(); at = end + 2) {
            end = std::min(steps.find(", ", at), steps.size());
            const std::size_t arrow = steps.find(" => ", at);
            const std::string action = steps.substr(at, arrow - at);
            EXPECT_EQ(outcomeOf(action), steps.substr(arrow + 4, end - arrow - 4)) << action;
        }
    }
    std::string outcomeOf(const std::string &action) {
        if (action[0] == '!') {
            simulator.command(action.substr(1), now);
        } else if (action[0] == '+') {
            simulator.advance(now += std::stoul(action.substr(1)));
        } else {
            const tksim::Bytes bytes = action[0] == '[' ? bytesIn(action) : frameOf(action);
            simulator.receive(bytes.data(), bytes.size(), now);
        }
        std::string outcome;
        for (const std::string &frame : framesIn(simulator.takeBytes(now))) {
            outcome += (outcome.empty() ? "" : " | ") + frame;
        }
        for (const std::string &line : simulator.takeLines()) {
            outcome += (outcome.empty() ? "#" : " | #") + line;
        }
        return outcome.empty() ? "-" : outcome;
    }

    /// A text as it is sent.
    virtual tksim::Bytes frameOf(const std::string &text) const = 0;

    /// The frames in bytes that came, each for a person to read.
    virtual std::vector<std::string> framesIn(const tksim::Bytes &bytes) const = 0;
};

#endif
