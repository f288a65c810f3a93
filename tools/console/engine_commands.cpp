#include "commands.h"
#include "console.h"
#include "program.h"

#include <cstdio>
#include <functional>
#include <sstream>

namespace {

void exposures(Console &console, const Arguments &arguments) {
    const bool enable = choiceFrom(arguments[0], "on", "off");
    console.engine().enableExposures(enable);
    console.display().line(Kind::note, enable ? "the console takes part in exposures"
                                              : "every prep is refused");
}

void prep(Console &console, const Arguments &arguments) {
    const bool accept = choiceFrom(arguments[0], "accept", "refuse");
    console.session().acceptPreps(accept);
    console.display().line(Kind::note, accept ? "with exposures on, preps are accepted"
                                              : "preps are refused, and told");
}

void refresh(Console &console, const Arguments &arguments) {
    const bool drop = arguments[0] == "drop";
    const bool enable = !drop && choiceFrom(arguments[0], "on", "off");
    console.engine().enableRefresh(enable, drop);
    console.display().line(Kind::note,
                           enable ? "polling, and a lost generator is searched for" : "no polling");
}

/// Takes the errors of a list, and returns how many.
template <Tk::TextCommands parameter, int (TkGeneratorControl::*take)(bool)>
int showErrors(Console &console) {
    int count = 0;
    for (int error = 0; (error = (console.engine().*take)(true)) != 0; ++count) {
        console.display().parameter(Kind::error, parameter, error);
    }
    return count;
}

constexpr auto showPresentErrors = showErrors<Tk::ER, &TkGeneratorControl::getError>;
constexpr auto showLatchedErrors = showErrors<Tk::EL, &TkGeneratorControl::getLatchedError>;

template <int (*show)(Console &)>
void errors(Console &console, const Arguments &) {
    if (show(console) == 0) {
        console.display().line(Kind::note, "none waits");
    }
}

void apr(Console &console, const Arguments &arguments) {
    TkAPR program = readProgram(arguments[0]);
    // The program would be blamed for them.
    showPresentErrors(console);
    showLatchedErrors(console);
    console.load(program);
}

void watch(Console &console, const Arguments &arguments) {
    const bool on = choiceFrom(arguments[0], "on", "off");
    if (!console.messages().watch(on)) {
        throw Failure("the system gives no window");
    }
    console.display().line(Kind::note, on ? "messages to a window are shown"
                                          : "messages to a window aren't shown");
}

// --- Logs -----------------------------------------------------------------------------------

using ReadLog = std::function<int(char *buffer, unsigned int size)>;

/// Everything that a log holds.
std::string contents(const ReadLog &read) {
    char buffer[4096 + 1];
    std::string text;
    int count = 0;
    while ((count = read(buffer, sizeof buffer - 1)) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    if (count < 0) {
        throw Failure("this log is off");
    }
    return text;
}

void showParsedLog(Console &console) {
    std::istringstream lines(contents([&](char *buffer, unsigned int size) {
        return console.engine().readParsedComms(buffer, size);
    }));
    for (std::string line; std::getline(lines, line);) {
        console.display().line(Kind::log, line);
    }
}

std::string hexadecimal(const std::string &bytes) {
    std::string text;
    char digits[4];
    for (const char byte : bytes) {
        std::snprintf(digits, sizeof digits, " %02X", static_cast<unsigned char>(byte));
        text += digits;
    }
    return text;
}

void showRawLog(Console &console) {
    constexpr std::size_t bytesInLine = 16;
    for (const int direction : {1, 0}) {
        const std::string bytes = contents([&](char *buffer, unsigned int size) {
            return console.engine().readRawComms(buffer, size, direction);
        });
        for (std::size_t at = 0; at < bytes.size(); at += bytesInLine) {
            console.display().line(Kind::log, (direction == 1 ? "sent    " : "received") +
                                                  hexadecimal(bytes.substr(at, bytesInLine)));
        }
    }
}

void log(Console &console, const Arguments &arguments) {
    const bool raw = !arguments.empty() && choiceFrom(arguments[0], "raw", "parsed");
    if (arguments.size() < 2) {
        return raw ? showRawLog(console) : showParsedLog(console);
    }
    const bool enable = choiceFrom(arguments[1], "on", "off");
    if (raw) {
        console.engine().bufferRawComms(enable);
    } else {
        console.engine().bufferParsedComms(enable);
    }
    console.display().line(Kind::note, "the " + arguments[0] + " log is " + arguments[1]);
}

} // namespace

// clang-format off
const CommandGroup &engineCommands() {
    static const CommandGroup group{
        {"exposures", "on|off", 1, 1, "take part in exposures, or have preps refused", exposures},
        {"prep", "accept|refuse", 1, 1, "what to answer while exposures are on", prep},
        {"refresh", "on|off|drop", 1, 1, "poll, connect by that; drop: stop, and forget all",
            refresh},
        {"error", "", 0, 0, "list the waiting errors, and take them",
            errors<showPresentErrors>},
        {"latched", "", 0, 0, "the same for latched errors", errors<showLatchedErrors>},
        {"apr", "FILE", 1, 1, "load an anatomical program, show what was refused", apr},
        {"watch", "on|off", 1, 1, "show the messages that a window would get", watch},
        {"log", "[raw|parsed [on|off]]", 0, 2, "show what a log holds, or switch it", log},
    };
    return group;
}
// clang-format on
