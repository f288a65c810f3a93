#ifndef TKSIM_OPTIONS_H
#define TKSIM_OPTIONS_H

#include "generator_panel.h"
#include "simulator.h"

namespace tksim {

/// What is simulated.
enum class Simulated { generator, infimed, gehl };

struct Arguments {
    Simulated simulated = Simulated::generator;
    GeneratorPanel::Options generator;
    Simulator::Options simulator;
    std::string link;
    std::vector<std::string> orders; ///< to begin with, from options that are one
    bool exitOnEof = false;
};

/// Reads the command line; the exit code when the program ends with it.
std::optional<int> parse(int argc, char **argv, Arguments &arguments);

std::unique_ptr<Machine> makeMachine(const Arguments &arguments);

} // namespace tksim

#endif
