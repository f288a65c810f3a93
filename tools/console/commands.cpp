#include "commands.h"

#include "generator_console.h"

#include <algorithm>

namespace {

void help(Console &console, const Arguments &arguments) {
    if (arguments.empty()) {
        for (const std::string &line : console.commands().help()) {
            console.display().line(Kind::help, line);
        }
        return;
    }
    if (arguments[0] != "parameters") {
        throw Failure("there is 'help' and 'help parameters'");
    }
    const Vocabulary &vocabulary = console.session();
    for (const Words &words : vocabulary.all()) {
        std::string line = vocabulary.name(words.parameter);
        line.resize(vocabulary.nameWidth(), ' ');
        console.display().line(Kind::help, line + vocabulary.description(words.parameter));
    }
}

void quit(Console &console, const Arguments &) {
    console.quit();
}

std::string usage(const CommandFacts &command) {
    return std::string(command.name) + (*command.arguments ? " " : "") + command.arguments;
}

/// What imaging consoles share, and how values are stepped at this kind.
CommandSet imagingCommandSet(Console *console, const CommandGroup &steps) {
    CommandSet set;
    for (const CommandGroup *group : {&valueCommands(), &steps, &imagingCommands(), &waitCommands(),
                                      &conversationCommands(), &generalCommands()}) {
        set.add(console, *group);
    }
    return set;
}

} // namespace

const CommandGroup &generalCommands() {
    static const CommandGroup group{
        {"help", "[parameters]", 0, 1, "list the commands, or the parameters", help},
        {"quit", "", 0, 0, "end", quit},
    };
    return group;
}

CommandSet generatorCommandSet(GeneratorConsole *console) {
    CommandSet set;
    set.add<Console>(console, valueCommands());
    set.add<Console>(console, requestCommands());
    set.add(console, setCommands());
    set.add(console, statusCommands());
    set.add(console, recordCommands());
    set.add(console, customCommands());
    set.add<Console>(console, waitCommands());
    set.add<Console>(console, conversationCommands());
    set.add(console, engineCommands());
    set.add<Console>(console, generalCommands());
    return set;
}

CommandSet infimedCommandSet(Console *console) {
    return imagingCommandSet(console, stepCommands());
}

CommandSet gehlCommandSet(Console *console) {
    return imagingCommandSet(console, requestCommands());
}

const CommandSet::Command *CommandSet::find(const std::string &name) const {
    const auto found = std::find_if(m_Commands.begin(), m_Commands.end(),
                                    [&](const Command &each) { return name == each.facts.name; });
    return found == m_Commands.end() ? nullptr : &*found;
}

void CommandSet::run(const std::string &line) const {
    Arguments arguments = argumentsIn(line);
    if (arguments.empty() || arguments[0][0] == '#') {
        return;
    }
    const Command *command = find(arguments[0]);
    arguments.erase(arguments.begin());
    if (!command) {
        throw Failure("no such command, 'help' lists them");
    }
    const CommandFacts &facts = command->facts;
    if (arguments.size() < facts.least || arguments.size() > facts.most) {
        throw Failure("use it as '" + usage(facts) + "'");
    }
    command->run(arguments);
}

std::vector<std::string> CommandSet::help() const {
    constexpr std::size_t width = 53; // of the longest, and a gap
    std::vector<std::string> lines;
    for (const Command &command : m_Commands) {
        std::string line = usage(command.facts);
        line.resize(std::max(line.size(), width), ' ');
        lines.push_back(line + command.facts.help);
    }
    return lines;
}
