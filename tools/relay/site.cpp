#include "bridge.h"
#include "entry.h"

#include "tkversion.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {

constexpr int exitDevice = 3;

constexpr const char *footer =
    "A relay that can't be reached, or goes away, is tried again after a pause that grows.\n\n"
    "Exit codes: 0 ended by a signal; 1 failed; 2 wrong arguments; 3 the device can't be opened,\n"
    "or has gone.\n";

/// As long as the relay keeps it.
constexpr std::size_t longestDescription = 255;

struct Settings {
    std::string device;
    std::string relay;
    std::string description;
};

void addOptions(CLI::App &app, Settings &settings) {
    app.add_option("device", settings.device, "Path of a serial device, or COM1 to COM10")
        ->required();
    app.add_option("relay", settings.relay, "The relay's host and port")
        ->required()
        ->type_name("HOST:PORT");
    app.add_option("-d,--description", settings.description,
                   "What a console shows for this site; this host's name unless told")
        ->check([](const std::string &text) {
            return text.size() <= longestDescription && text.find('\x03') == std::string::npos
                       ? std::string()
                       : std::string("a description has at most 255 bytes, and no byte 3");
        })
        ->type_name("TEXT");
    app.set_version_flag("--version", std::string("tkgen-site ") + TKGEN_VERSION);
    app.footer(footer);
}

std::string hostName() {
    char name[longestDescription + 1]{};
    return ::gethostname(name, sizeof name - 1) == 0 ? name : "";
}

int run(const Settings &settings) {
    const auto relay = hostAndPortFrom(settings.relay);
    if (!relay) {
        std::fprintf(stderr, "tkgen-site: '%s' should be HOST:PORT\n", settings.relay.c_str());
        return exitUsage;
    }
    const Wakeup wakeup;
    TkSerial serial(settings.device.c_str(), TkSerial::MODE_READ_WRITE);
    if (!serial.isOpen()) {
        std::fprintf(stderr, "tkgen-site: can't open %s\n", settings.device.c_str());
        return exitDevice;
    }
    const std::string description =
        settings.description.empty() ? hostName() : settings.description;
    Bridge bridge(serial, *relay, description, wakeup);
    return bridge.run() == Bridge::End::asked ? exitWell : exitDevice;
}

} // namespace

int main(int argc, char **argv) {
    std::signal(SIGPIPE, SIG_IGN); // nobody reads the log any more: the site goes on
    return runGuarded("tkgen-site", [&] {
        CLI::App app("Joins a generator's serial line to a relay, for consoles elsewhere.");
        Settings settings;
        addOptions(app, settings);
        return parseAndRun(app, argc, argv, [&] { return run(settings); });
    });
}
