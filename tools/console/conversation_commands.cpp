#include "commands.h"
#include "console.h"

#include <cstdio>
#include <functional>
#include <sstream>

namespace {

void refresh(Console &console, const Arguments &arguments) {
    const bool drop = arguments[0] == "drop";
    const bool enable = !drop && choiceFrom(arguments[0], "on", "off");
    Session &session = console.session();
    session.conversation().enableRefresh(enable, drop);
    console.display().line(Kind::note, enable ? std::string("polling, and a lost ") +
                                                    session.farEnd() + " is searched for"
                                              : "no polling");
}

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
        return console.session().conversation().readParsedComms(buffer, size);
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
            return console.session().conversation().readRawComms(buffer, size, direction);
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
        console.session().conversation().bufferRawComms(enable);
    } else {
        console.session().conversation().bufferParsedComms(enable);
    }
    console.display().line(Kind::note, "the " + arguments[0] + " log is " + arguments[1]);
}

} // namespace

// clang-format off
const CommandGroup &conversationCommands() {
    static const CommandGroup group{
        {"refresh", "on|off|drop", 1, 1, "poll, connect by that; drop: stop, and forget", refresh},
        {"log", "[raw|parsed [on|off]]", 0, 2, "show what a log holds, or switch it", log},
    };
    return group;
}
// clang-format on
