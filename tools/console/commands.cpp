#include "commands.h"

#include "console.h"
#include "words.h"

#include <algorithm>

namespace {

void help(Console &console, const Arguments &arguments) {
    if (arguments.empty()) {
        for (const std::string &line : commandHelp()) {
            console.display().line(Kind::help, line);
        }
        return;
    }
    if (arguments[0] != "parameters") {
        throw Failure("there is 'help' and 'help parameters'");
    }
    for (const Words &words : allWords()) {
        std::string line = mnemonicOf(words.parameter);
        line.resize(5, ' ');
        console.display().line(Kind::help, line + (words.meaning ? words.meaning : ""));
    }
}

void quit(Console &console, const Arguments &) {
    console.quit();
}

const CommandGroup &generalCommands() {
    static const CommandGroup group{
        {"help", "[parameters]", 0, 1, "list the commands, or the parameters", help},
        {"quit", "", 0, 0, "end", quit},
    };
    return group;
}

std::vector<const CommandGroup *> allGroups() {
    return {&valueCommands(), &statusCommands(), &recordCommands(), &customCommands(),
            &waitCommands(),  &engineCommands(), &generalCommands()};
}

const Command *findCommand(const std::string &name) {
    for (const CommandGroup *group : allGroups()) {
        for (const Command &command : *group) {
            if (name == command.name) {
                return &command;
            }
        }
    }
    return nullptr;
}

std::string usage(const Command &command) {
    return std::string(command.name) + (*command.arguments ? " " : "") + command.arguments;
}

} // namespace

void runCommand(Console &console, const std::string &line) {
    Arguments arguments = argumentsIn(line);
    if (arguments.empty() || arguments[0][0] == '#') {
        return;
    }
    const Command *command = findCommand(arguments[0]);
    arguments.erase(arguments.begin());
    if (!command) {
        throw Failure("no such command, 'help' lists them");
    }
    if (arguments.size() < command->least || arguments.size() > command->most) {
        throw Failure("use it as '" + usage(*command) + "'");
    }
    command->run(console, arguments);
}

std::vector<std::string> commandHelp() {
    constexpr std::size_t width = 53; // of the longest, and a gap
    std::vector<std::string> lines;
    for (const CommandGroup *group : allGroups()) {
        for (const Command &command : *group) {
            std::string line = usage(command);
            line.resize(std::max(line.size(), width), ' ');
            lines.push_back(line + command.help);
        }
    }
    return lines;
}
