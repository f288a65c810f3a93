#include "commands.h"
#include "console.h"

#include "tkversion.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <unistd.h>

namespace {

enum ExitCode { exitWell = 0, exitFailed = 1, exitUsage = 2, exitDevice = 3 };

struct Settings {
    std::string device;
    std::string script;
    std::string family = "arkona";
    std::string color = "auto";
    bool exposures = false;
    bool refresh = false;
    bool echo = false;
    bool keepGoing = false;
};

std::string footer() {
    std::string text = "Commands, one a line; '#' begins a comment line:\n";
    for (const std::string &line : commandHelp()) {
        text += "  " + line + "\n";
    }
    return text +
           "\nA script, and standard input that is no terminal, end at the first command that "
           "fails."
           "\n\nExit codes: 0 ended well; 1 a command failed, where it is no person who types; "
           "2 wrong\narguments or unreadable script; 3 the device can't be opened, or has gone.\n";
}

void addOptions(CLI::App &app, Settings &settings) {
    app.add_option("device", settings.device, "Path of a serial device, or COM1 to COM10")
        ->required();
    app.add_option("-s,--script", settings.script,
                   "Take the commands from a file instead of standard input")
        ->type_name("FILE");
    app.add_option("-g,--generator", settings.family, "Generator family; arkona by default")
        ->check(CLI::IsMember({"arkona", "brn450"}))
        ->type_name("FAMILY");
    app.add_flag("-x,--exposures", settings.exposures, "Take part in exposures from the start");
    app.add_flag("-r,--refresh", settings.refresh,
                 "Poll the generator from the start, and connect by that");
    app.add_flag("-e,--echo", settings.echo, "Show commands as they are run");
    app.add_flag("-k,--keep-going", settings.keepGoing, "Go on after a command that fails");
    app.add_option("--color", settings.color, "Colours: auto (default), always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->type_name("WHEN");
    app.set_version_flag("--version", std::string("tkgen-console ") + TKGEN_VERSION);
    app.footer(footer());
}

std::string environment(const char *variable) {
    const char *value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nobody sets any
    return value ? value : "";
}

/// Whether standard output is a terminal that knows more than text.
bool isAbleTerminal() {
    const std::string terminal = environment("TERM");
    return !terminal.empty() && terminal != "dumb" && ::isatty(STDOUT_FILENO);
}

bool wantsColour(const std::string &choice) {
    return choice == "always" ||
           (choice == "auto" && isAbleTerminal() && environment("NO_COLOR").empty());
}

int run(const Settings &settings) {
    Input input;
    if (!settings.script.empty() && !input.open(settings.script)) {
        std::cerr << "tkgen-console: can't read " << settings.script << '\n';
        return exitUsage;
    }
    const Wakeup wakeup;
    const auto type = settings.family == "brn450" ? Tk::GENERATOR_BRN450 : Tk::GENERATOR_ARKONA;
    Session session(settings.device.c_str(), type, wakeup);
    if (!session.isOpen()) {
        std::cerr << "tkgen-console: can't open " << settings.device << '\n';
        return exitDevice;
    }
    const bool typed = settings.script.empty() && ::isatty(STDIN_FILENO);
    Display display(wantsColour(settings.color), typed && isAbleTerminal(), session.engine());
    session.engine().enableExposures(settings.exposures);
    session.start();
    session.engine().enableRefresh(settings.refresh, false);
    display.line(Kind::note, settings.device + " is open");

    const bool stopAtFailure = !typed && !settings.keepGoing;
    Console console({settings.echo, stopAtFailure}, input, display, session, wakeup);
    const Console::End end = console.run();
    if (input.hasFailed()) {
        std::cerr << "tkgen-console: can't read "
                  << (settings.script.empty() ? "standard input" : settings.script) << '\n';
        return exitUsage;
    }
    if (end == Console::End::deviceGone) {
        return exitDevice;
    }
    return end == Console::End::failed && !typed ? exitFailed : exitWell;
}

int parseAndRun(int argc, char **argv) {
    CLI::App app("Drives an X-ray generator by hand or by a script, and shows what it tells.");
    Settings settings;
    addOptions(app, settings);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? exitWell : exitUsage;
    }
    return run(settings);
}

} // namespace

int main(int argc, char **argv) {
    try {
        return parseAndRun(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "tkgen-console: %s\n", error.what());
        return exitFailed;
    }
}
