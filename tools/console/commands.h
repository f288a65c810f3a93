#ifndef TKCONSOLE_COMMANDS_H
#define TKCONSOLE_COMMANDS_H

#include "arguments.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

class Console;
class GeneratorConsole;

struct CommandFacts {
    const char *name;
    const char *arguments;   ///< as shown in the help
    std::size_t least, most; ///< how many arguments it takes
    const char *help;
};

/// A command of one kind of console.
template <class AnyConsole>
struct CommandOf : CommandFacts {
    using Run = void (*)(AnyConsole &console, const Arguments &arguments);

    CommandOf(const char *itsName, const char *itsArguments, std::size_t itsLeast,
              std::size_t itsMost, const char *itsHelp, Run itsRun)
        : CommandFacts{itsName, itsArguments, itsLeast, itsMost, itsHelp}, run(itsRun) {}

    Run run;
};

using CommandGroup = std::vector<CommandOf<Console>>;
using GeneratorCommands = std::vector<CommandOf<GeneratorConsole>>;

// The groups of commands, each in a file of its own.

const CommandGroup &valueCommands();
const CommandGroup &requestCommands(); ///< steps up and down
const CommandGroup &waitCommands();
const CommandGroup &conversationCommands();
const CommandGroup &generalCommands();
const CommandGroup &imagingCommands();
const CommandGroup &stepCommands(); ///< of an Infimed console

const GeneratorCommands &setCommands();
const GeneratorCommands &statusCommands();
const GeneratorCommands &recordCommands();
const GeneratorCommands &customCommands();
const GeneratorCommands &engineCommands();

/// What can be typed at a console.
class CommandSet {
  public:
    /// For the help alone the console may be null.
    template <class AnyConsole>
    void add(AnyConsole *console, const std::vector<CommandOf<AnyConsole>> &group) {
        for (const CommandOf<AnyConsole> &each : group) {
            m_Commands.push_back({each, [console, run = each.run](const Arguments &arguments) {
                                      run(*console, arguments);
                                  }});
        }
    }

    /// Runs one line: a command and its arguments between blanks. Empty lines and those that begin
    /// with '#' do nothing. Throws Failure.
    void run(const std::string &line) const;

    /// A line for each command.
    std::vector<std::string> help() const;

  private:
    struct Command {
        CommandFacts facts;
        std::function<void(const Arguments &arguments)> run;
    };

    const Command *find(const std::string &name) const;

    std::vector<Command> m_Commands;
};

// What can be typed where. For the help alone the console may be null.

CommandSet generatorCommandSet(GeneratorConsole *console);
CommandSet infimedCommandSet(Console *console);
CommandSet gehlCommandSet(Console *console);

#endif
