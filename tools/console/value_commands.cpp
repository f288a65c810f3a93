#include "commands.h"
#include "console.h"
#include "words.h"

namespace {

void showAnswer(Console &console, Tk::TextCommands parameter) {
    console.display().parameter(Kind::answer, parameter, console.engine().getGenParam(parameter));
}

void askOrFail(Console &console, Tk::TextCommands command, int value) {
    if (!console.ask(command, value)) {
        throw Failure("no value came as an answer");
    }
}

/// The reads of several values at once, which have none themselves.
bool isSet(Tk::TextCommands command) {
    return command == Tk::RR || command == Tk::RF || command == Tk::RS || command == Tk::CD;
}

Tk::TextCommands singleFrom(const std::string &word) {
    const Tk::TextCommands parameter = parameterFrom(word);
    if (isSet(parameter)) {
        throw Failure("this is a set of values, use 'read'");
    }
    return parameter;
}

void get(Console &console, const Arguments &arguments) {
    const Tk::TextCommands parameter = parameterFrom(arguments[0]);
    console.display().parameter(Kind::value, parameter, console.engine().getGenParam(parameter));
}

void set(Console &console, const Arguments &arguments) {
    const Tk::TextCommands parameter = singleFrom(arguments[0]);
    console.set(parameter, plainNumberFrom(arguments[1]));
}

void send(Console &console, const Arguments &arguments) {
    const Tk::TextCommands command = parameterFrom(arguments[0]);
    console.send(command, arguments.size() > 1 ? plainNumberFrom(arguments[1])
                                               : static_cast<int>(Tk::REQUEST_QUERY));
}

template <Tk::SpecialValues value>
void request(Console &console, const Arguments &arguments) {
    const Tk::TextCommands parameter = singleFrom(arguments[0]);
    askOrFail(console, parameter, value);
    showAnswer(console, parameter);
}

void read(Console &console, const Arguments &arguments) {
    const Tk::TextCommands set = parameterFrom(arguments[0]);
    const bool takesNumber = set == Tk::CD;
    if (!isSet(set)) {
        throw Failure("the sets are RR, RF, RS and CD");
    }
    if (takesNumber != (arguments.size() == 2)) {
        throw Failure(takesNumber ? "CD needs a number" : "only CD takes a number");
    }
    askOrFail(console, set, takesNumber ? plainNumberFrom(arguments[1]) : 0);
    console.display().line(Kind::note, mnemonicOf(set) + " was answered");
}

void values(Console &console, const Arguments &) {
    int known = 0;
    for (const Words &words : allWords()) {
        const int value = console.engine().getGenParam(words.parameter);
        if (value == Tk::VALUE_UNKNOWN) {
            continue;
        }
        console.display().parameter(Kind::value, words.parameter, value);
        ++known;
    }
    console.display().line(Kind::note, std::to_string(known) + " of " +
                                           std::to_string(allWords().size()) +
                                           " parameters are known");
}

} // namespace

// clang-format off
const CommandGroup &valueCommands() {
    static const CommandGroup group{
        {"get", "PARAMETER", 1, 1, "show a value as last known", get},
        {"values", "", 0, 0, "show all known values", values},
        {"set", "PARAMETER NUMBER", 2, 2, "set a value, show what the generator took", set},
        {"query", "PARAMETER", 1, 1, "ask for a value", request<Tk::REQUEST_QUERY>},
        {"up", "PARAMETER", 1, 1, "one step up", request<Tk::REQUEST_UP>},
        {"down", "PARAMETER", 1, 1, "one step down", request<Tk::REQUEST_DOWN>},
        {"up2", "PARAMETER", 1, 1, "a large step up", request<Tk::REQUEST_UP_2>},
        {"down2", "PARAMETER", 1, 1, "a large step down", request<Tk::REQUEST_DOWN_2>},
        {"read", "RR|RF|RS|CD [NUMBER]", 1, 2, "read a set of values; CD needs the number", read},
        {"send", "PARAMETER [NUMBER]", 1, 2, "send a value or a query, don't wait", send},
    };
    return group;
}
// clang-format on
