#include "entry.h"
#include "generator_console.h"
#include "imaging_session.h"
#include "site_choice.h"

#include "tkserial.h"
#include "tkversion.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <utility>

#include <unistd.h>

namespace {

constexpr int exitDevice = 3;

struct Settings {
    std::string device;
    std::string relay; // instead of a device
    std::string site;
    std::string script;
    std::string family = "arkona";
    std::string color = "auto";
    bool infimed = false; // what is at the far end; a generator if neither
    bool gehl = false;
    bool exposures = false;
    bool refresh = false;
    bool echo = false;
    bool keepGoing = false;
};

std::string footer() {
    const std::pair<const char *, CommandSet> sets[] = {
        {"Commands, one a line; '#' begins a comment line:\n", generatorCommandSet(nullptr)},
        {"\nCommands with --infimed:\n", infimedCommandSet(nullptr)},
        {"\nCommands with --gehl:\n", gehlCommandSet(nullptr)}};
    std::string text;
    for (const auto &[title, set] : sets) {
        text += title;
        for (const std::string &line : set.help()) {
            text += "  " + line + "\n";
        }
    }
    return text +
           "\nA script, and standard input that is no terminal, end at the first command that "
           "fails."
           "\n\nExit codes: 0 ended well; 1 a command failed, where it is no person who types; "
           "2 wrong\narguments or unreadable script; 3 the device or the site can't be had, or the "
           "device or the\nrelay has gone.\n";
}

void addOptions(CLI::App &app, Settings &settings) {
    auto *const device =
        app.add_option("device", settings.device, "Path of a serial device, or COM1 to COM10");
    auto *const relay = app.add_option("--relay", settings.relay,
                                       "Reach the far end through a relay instead of a device")
                            ->excludes(device)
                            ->type_name("HOST:PORT");
    app.add_option("--site", settings.site, "Which of the relay's sites; the only one unless told")
        ->needs(relay)
        ->type_name("ADDRESS");
    app.add_option("-s,--script", settings.script,
                   "Take the commands from a file instead of standard input")
        ->type_name("FILE");
    auto *const infimed =
        app.add_flag("--infimed", settings.infimed, "Talk to an Infimed console, not a generator");
    auto *const gehl =
        app.add_flag("--gehl", settings.gehl, "Talk to a GEHL console, not a generator")
            ->excludes(infimed);
    app.add_option("-g,--generator", settings.family, "Generator family; arkona by default")
        ->check(CLI::IsMember({"arkona", "brn450"}))
        ->excludes(infimed)
        ->excludes(gehl)
        ->type_name("FAMILY");
    app.add_flag("-x,--exposures", settings.exposures, "Take part in exposures from the start")
        ->excludes(infimed)
        ->excludes(gehl);
    app.add_flag("-r,--refresh", settings.refresh,
                 "Poll the far end from the start, and connect by that");
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

/// The line to the far end, in either form, and what it is called.
class Line {
  public:
    /// Throws NoLine.
    Line(const Settings &settings, const Wakeup &wakeup) : m_Name(settings.device) {
        if (const auto relay = hostAndPortFrom(settings.relay)) {
            m_Relay = std::make_unique<RelayLine>(*relay, wakeup);
            return;
        }
        m_Serial = std::make_unique<TkSerial>(m_Name.c_str(), TkSerial::MODE_READ_WRITE);
        if (!m_Serial->isOpen()) {
            throw NoLine("can't open " + m_Name);
        }
    }

    TkComms &device() { return m_Relay ? static_cast<TkComms &>(*m_Relay) : *m_Serial; }

    /// Through a relay, connects to a site. Throws NoLine.
    void open(const Settings &settings, bool typed, Input &input, Display &display,
              const Wakeup &wakeup) {
        if (m_Relay) {
            m_Name = connectToSite(*m_Relay, settings.site, typed, input, display, wakeup);
        }
        display.line(Kind::note, m_Name + " is open");
    }

    const char *gone() const { return m_Relay ? "the relay has gone" : "the device has gone"; }

    bool takeDeparture() { return m_Relay && m_Relay->takeDeparture(); }

  private:
    std::string m_Name;
    std::unique_ptr<RelayLine> m_Relay;
    std::unique_ptr<TkSerial> m_Serial;
};

/// What a run is made of, whatever is at the far end.
struct Setting {
    const Settings &settings;
    Input &input;
    Line &line;
    const Wakeup &wakeup;

    bool isTyped() const { return settings.script.empty() && ::isatty(STDIN_FILENO); }
};

template <class AnyConsole, class AnySession>
Console::End drive(const Setting &run, AnySession &session, CommandSet (*commands)(AnyConsole *)) {
    const Settings &settings = run.settings;
    const bool typed = run.isTyped();
    Display display(wantsColour(settings.color), typed && isAbleTerminal(), session);
    run.line.open(settings, typed, run.input, display, run.wakeup);
    session.start();
    session.conversation().enableRefresh(settings.refresh, false);

    const bool stopAtFailure = !typed && !settings.keepGoing;
    AnyConsole console({settings.echo, stopAtFailure, run.line.gone(),
                        [&run] { return run.line.takeDeparture(); }},
                       run.input, display, session, run.wakeup);
    return console.run(commands(&console));
}

Console::End drive(const Setting &run) {
    if (run.settings.infimed) {
        InfimedSession session(run.line.device(), run.wakeup);
        return drive(run, session, infimedCommandSet);
    }
    if (run.settings.gehl) {
        GEHLSession session(run.line.device(), run.wakeup);
        return drive(run, session, gehlCommandSet);
    }
    const bool arkona = run.settings.family == "arkona";
    GeneratorSession session(run.line.device(), run.wakeup,
                             arkona ? Tk::GENERATOR_ARKONA : Tk::GENERATOR_BRN450);
    session.engine().enableExposures(run.settings.exposures);
    return drive(run, session, generatorCommandSet);
}

int run(const Settings &settings) {
    Input input;
    if (!settings.script.empty() && !input.open(settings.script)) {
        std::cerr << "tkgen-console: can't read " << settings.script << '\n';
        return exitUsage;
    }
    const Wakeup wakeup;
    Line line(settings, wakeup);
    const Setting setting{settings, input, line, wakeup};
    const Console::End end = drive(setting);
    if (input.hasFailed()) {
        std::cerr << "tkgen-console: can't read "
                  << (settings.script.empty() ? "standard input" : settings.script) << '\n';
        return exitUsage;
    }
    if (end == Console::End::deviceGone) {
        return exitDevice;
    }
    return end == Console::End::failed && !setting.isTyped() ? exitFailed : exitWell;
}

/// What the parser can't tell.
const char *complaint(const Settings &settings) {
    if (settings.device.empty() && settings.relay.empty()) {
        return "a device or --relay is needed";
    }
    if (settings.gehl && !settings.relay.empty()) {
        return "--gehl needs a device: its frames have no sum, by which a relay knows their end";
    }
    return settings.relay.empty() || hostAndPortFrom(settings.relay) ? nullptr
                                                                     : "--relay takes HOST:PORT";
}

int checkAndRun(const Settings &settings) {
    if (const char *const text = complaint(settings)) {
        std::cerr << "tkgen-console: " << text << '\n';
        return exitUsage;
    }
    try {
        return run(settings);
    } catch (const NoLine &none) {
        std::cerr << "tkgen-console: " << none.what() << '\n';
        return exitDevice;
    }
}

} // namespace

int main(int argc, char **argv) {
    return runGuarded("tkgen-console", [&] {
        CLI::App app(
            "Drives an X-ray generator, or an imaging console, by hand or by a script, and shows "
            "what it tells.");
        Settings settings;
        addOptions(app, settings);
        return parseAndRun(app, argc, argv, [&] { return checkAndRun(settings); });
    });
}
