#include "commands.h"
#include "console.h"

#include "tkinfimedcontrol.h"

#include <array>
#include <utility>

namespace {

void show(Console &console, const Arguments &) {
    TkConversation &conversation = console.session().conversation();
    const char *const polling = conversation.refreshEnabled() ? "polling" : "no polling";
    console.display().field(
        Kind::value, "connection",
        std::string(conversation.connected() ? "connected, " : "not connected, ") + polling);
    for (const Words &words : console.session().all()) {
        if (!words.isCommandOnly) {
            console.display().parameter(Kind::value, words.parameter,
                                        console.session().value(words.parameter));
        }
    }
}

int stepFrom(const std::string &word) {
    using Infimed = TkInfimedControl;
    constexpr std::array<std::pair<const char *, int>, 6> steps{{{"+1", Infimed::STEP_UP_1},
                                                                 {"+2", Infimed::STEP_UP_2},
                                                                 {"+3", Infimed::STEP_UP_3},
                                                                 {"-1", Infimed::STEP_DOWN_1},
                                                                 {"-2", Infimed::STEP_DOWN_2},
                                                                 {"-3", Infimed::STEP_DOWN_3}}};
    for (const auto &[name, value] : steps) {
        if (word == name) {
            return value;
        }
    }
    throw Failure("a step is +1, +2, +3, -1, -2 or -3");
}

void step(Console &console, const Arguments &arguments) {
    console.request(console.parameterFrom(arguments[0]), stepFrom(arguments[1]));
}

} // namespace

const CommandGroup &imagingCommands() {
    static const CommandGroup group{
        {"show", "", 0, 0, "connection and all values, unknown ones too", show},
    };
    return group;
}

const CommandGroup &stepCommands() {
    static const CommandGroup group{
        {"step", "window|level|edge STEP", 2, 2, "+1 to +3, -1 to -3; edge only +1", step},
    };
    return group;
}
