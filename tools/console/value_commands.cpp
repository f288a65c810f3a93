#include "commands.h"
#include "console.h"

#include "tk.h"

namespace {

/// A parameter whose value comes as an answer.
int answeredFrom(Console &console, const std::string &word) {
    const int parameter = console.parameterFrom(word);
    if (const char *const why = console.session().wordsOf(parameter).unanswered) {
        throw Failure(why);
    }
    return parameter;
}

void get(Console &console, const Arguments &arguments) {
    const int parameter = console.parameterFrom(arguments[0]);
    console.display().parameter(Kind::value, parameter, console.session().value(parameter));
}

void set(Console &console, const Arguments &arguments) {
    const int parameter = answeredFrom(console, arguments[0]);
    console.set(parameter, plainNumberFrom(arguments[1]));
}

void send(Console &console, const Arguments &arguments) {
    const int command = console.parameterFrom(arguments[0]);
    console.send(command, arguments.size() > 1 ? plainNumberFrom(arguments[1])
                                               : static_cast<int>(Tk::REQUEST_QUERY));
}

template <Tk::SpecialValues value>
void request(Console &console, const Arguments &arguments) {
    console.request(answeredFrom(console, arguments[0]), value);
}

void values(Console &console, const Arguments &) {
    int known = 0;
    int all = 0;
    for (const Words &words : console.session().all()) {
        const int value = console.session().value(words.parameter);
        all += words.isCommandOnly ? 0 : 1;
        if (value == Tk::VALUE_UNKNOWN) {
            continue;
        }
        console.display().parameter(Kind::value, words.parameter, value);
        ++known;
    }
    console.display().line(Kind::note, std::to_string(known) + " of " + std::to_string(all) +
                                           " parameters are known");
}

} // namespace

// clang-format off
const CommandGroup &valueCommands() {
    static const CommandGroup group{
        {"get", "PARAMETER", 1, 1, "show a value as last known", get},
        {"values", "", 0, 0, "show all known values", values},
        {"set", "PARAMETER NUMBER", 2, 2, "set a value, show what was taken", set},
        {"query", "PARAMETER", 1, 1, "ask for a value", request<Tk::REQUEST_QUERY>},
        {"send", "PARAMETER [NUMBER]", 1, 2, "send a value or a query, don't wait", send},
    };
    return group;
}

const CommandGroup &requestCommands() {
    static const CommandGroup group{
        {"up", "PARAMETER", 1, 1, "one step up", request<Tk::REQUEST_UP>},
        {"down", "PARAMETER", 1, 1, "one step down", request<Tk::REQUEST_DOWN>},
        {"up2", "PARAMETER", 1, 1, "a large step up", request<Tk::REQUEST_UP_2>},
        {"down2", "PARAMETER", 1, 1, "a large step down", request<Tk::REQUEST_DOWN_2>},
    };
    return group;
}
// clang-format on
