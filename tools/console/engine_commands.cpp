#include "commands.h"
#include "generator_console.h"
#include "program.h"

namespace {

void exposures(GeneratorConsole &console, const Arguments &arguments) {
    const bool enable = choiceFrom(arguments[0], "on", "off");
    console.engine().enableExposures(enable);
    console.display().line(Kind::note, enable ? "the console takes part in exposures"
                                              : "every prep is refused");
}

void prep(GeneratorConsole &console, const Arguments &arguments) {
    const bool accept = choiceFrom(arguments[0], "accept", "refuse");
    console.generator().acceptPreps(accept);
    console.display().line(Kind::note, accept ? "with exposures on, preps are accepted"
                                              : "preps are refused, and told");
}

/// Takes the errors of a list, and returns how many.
template <Tk::TextCommands parameter, int (TkGeneratorControl::*take)(bool)>
int showErrors(GeneratorConsole &console) {
    int count = 0;
    for (int error = 0; (error = (console.engine().*take)(true)) != 0; ++count) {
        console.display().parameter(Kind::error, parameter, error);
    }
    return count;
}

constexpr auto showPresentErrors = showErrors<Tk::ER, &TkGeneratorControl::getError>;
constexpr auto showLatchedErrors = showErrors<Tk::EL, &TkGeneratorControl::getLatchedError>;

template <int (*show)(GeneratorConsole &)>
void errors(GeneratorConsole &console, const Arguments &) {
    if (show(console) == 0) {
        console.display().line(Kind::note, "none waits");
    }
}

void apr(GeneratorConsole &console, const Arguments &arguments) {
    TkAPR program = readProgram(arguments[0]);
    // The program would be blamed for them.
    showPresentErrors(console);
    showLatchedErrors(console);
    console.load(program);
}

void watch(GeneratorConsole &console, const Arguments &arguments) {
    const bool on = choiceFrom(arguments[0], "on", "off");
    if (!console.messages().watch(on)) {
        throw Failure("the system gives no window");
    }
    console.display().line(Kind::note, on ? "messages to a window are shown"
                                          : "messages to a window aren't shown");
}

} // namespace

// clang-format off
const GeneratorCommands &engineCommands() {
    static const GeneratorCommands group{
        {"exposures", "on|off", 1, 1, "take part in exposures, or have preps refused", exposures},
        {"prep", "accept|refuse", 1, 1, "what to answer while exposures are on", prep},
        {"error", "", 0, 0, "list the waiting errors, and take them",
            errors<showPresentErrors>},
        {"latched", "", 0, 0, "the same for latched errors", errors<showLatchedErrors>},
        {"apr", "FILE", 1, 1, "load an anatomical program, show what was refused", apr},
        {"watch", "on|off", 1, 1, "show the messages that a window would get", watch},
    };
    return group;
}
// clang-format on
