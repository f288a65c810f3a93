#include "commands.h"
#include "generator_console.h"

namespace {

void read(GeneratorConsole &console, const Arguments &arguments) {
    const int set = console.parameterFrom(arguments[0]);
    const bool takesNumber = set == Tk::CD;
    if (set != Tk::RR && set != Tk::RF && set != Tk::RS && set != Tk::CD) {
        throw Failure("the sets are RR, RF, RS and CD");
    }
    if (takesNumber != (arguments.size() == 2)) {
        throw Failure(takesNumber ? "CD needs a number" : "only CD takes a number");
    }
    if (!console.ask(set, takesNumber ? plainNumberFrom(arguments[1]) : 0)) {
        throw Failure("no value came as an answer");
    }
    console.display().line(Kind::note, console.session().name(set) + " was answered");
}

} // namespace

// clang-format off
const GeneratorCommands &setCommands() {
    static const GeneratorCommands group{
        {"read", "RR|RF|RS|CD [NUMBER]", 1, 2, "read a set of values; CD needs the number", read},
    };
    return group;
}
// clang-format on
