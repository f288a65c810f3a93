#include "commands.h"
#include "console.h"

namespace {

constexpr const char *usualSeconds = "5";

Deadline deadlineAt(const Arguments &arguments, std::size_t place) {
    return deadlineFrom(arguments.size() > place ? arguments[place] : usualSeconds);
}

void wait(Console &console, const Arguments &arguments) {
    const std::string &event = arguments[0];
    const bool ofLink = event == "lost" || event == "back";
    const std::string name = ofLink ? event : console.session().name(console.parameterFrom(event));
    if (!console.waitForEvent(name, deadlineAt(arguments, 1))) {
        throw Failure("the event didn't come");
    }
}

void expect(Console &console, const Arguments &arguments) {
    const int parameter = console.parameterFrom(arguments[0]);
    const int wanted = valueFrom(arguments[1]);
    const auto stands = [&] { return console.session().value(parameter) == wanted; };
    if (!console.waitUntil(stands, deadlineAt(arguments, 2))) {
        throw Failure("the value is " +
                      console.display().describe(parameter, console.session().value(parameter)));
    }
}

void sleep(Console &console, const Arguments &arguments) {
    const Deadline end = Clock::now() + millisecondsFrom(arguments[0]);
    console.waitUntil([] { return false; }, end);
}

} // namespace

// clang-format off
const CommandGroup &waitCommands() {
    static const CommandGroup group{
        {"wait", "PARAMETER|lost|back [SECONDS]", 1, 2, "wait for an event, 5 s unless told", wait},
        {"expect", "PARAMETER NUMBER|unknown [SECONDS]", 2, 3, "wait until the value is this",
            expect},
        {"sleep", "MILLISECONDS", 1, 1, "do nothing but show events", sleep},
    };
    return group;
}
// clang-format on
