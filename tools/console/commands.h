#ifndef TKCONSOLE_COMMANDS_H
#define TKCONSOLE_COMMANDS_H

#include "arguments.h"

#include <cstddef>
#include <string>
#include <vector>

class Console;

struct Command {
    const char *name;
    const char *arguments;   ///< as shown in the help
    std::size_t least, most; ///< how many arguments it takes
    const char *help;
    void (*run)(Console &console, const Arguments &arguments);
};

using CommandGroup = std::vector<Command>;

// The groups of commands, each in a file of its own.

const CommandGroup &valueCommands();
const CommandGroup &statusCommands();
const CommandGroup &recordCommands();
const CommandGroup &customCommands();
const CommandGroup &waitCommands();
const CommandGroup &engineCommands();

/// Runs one line: a command and its arguments between blanks. Empty lines and those that begin with
/// '#' do nothing. Throws Failure.
void runCommand(Console &console, const std::string &line);

/// A line for each command, for the help.
std::vector<std::string> commandHelp();

#endif
