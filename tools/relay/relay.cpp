#include "backoff.h"
#include "entry.h"
#include "host.h"
#include "journal.h"

#include "tkserverimp.h"
#include "tkversion.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <vector>

#include <sys/resource.h>

namespace {

constexpr int exitAddress = 3;

constexpr Backoff::Pause firstPause(100);
constexpr Backoff::Pause longestPause(30000);

constexpr const char *footer =
    "Exit codes: 0 ended by a signal; 1 failed; 2 wrong arguments; 3 the port can't be had at the\n"
    "start. A server that fails later is started anew, after a pause that grows.\n";

struct Settings {
    unsigned short port = 0;
    std::string bind;
    std::vector<std::string> allowed; // all, when empty
};

/// Keeps the server running until a signal ends it.
class Supervisor {
  public:
    Supervisor(const Settings &settings, const Wakeup &wakeup)
        : m_Settings(settings), m_Port(settings.port), m_Wakeup(wakeup), m_Journal(m_Log, wakeup),
          m_Backoff(firstPause, longestPause) {
        m_Server.setAdmission([this](const char *address) { return isAllowed(address); });
    }

    int run() {
        if (!start()) {
            return exitAddress;
        }
        Deadline nextStart;
        while (!m_Wakeup.interrupted()) {
            m_Wakeup.wait(-1, -1, nextStart);
            const bool isDue = nextStart && Clock::now() >= *nextStart;
            if (m_Journal.takeFailure() || (isDue && !start())) {
                nextStart = Clock::now() + stop();
            } else if (isDue) {
                nextStart.reset();
            }
        }
        m_Server.shutdown();
        m_Log.line("ended");
        return exitWell;
    }

  private:
    bool start() {
        const char *const address = m_Settings.bind.empty() ? nullptr : m_Settings.bind.c_str();
        const std::string place =
            (address ? m_Settings.bind : "all addresses") + ", port " + std::to_string(m_Port);
        if (!m_Server.run(address, m_Port)) {
            m_Log.line("can't listen at " + place);
            return false;
        }
        m_Port = m_Server.port(); // a start anew takes the port that the system chose
        m_Log.line("listening at port " + std::to_string(m_Port));
        return true;
    }

    /// Stops what has failed, and tells how long to leave it so.
    Backoff::Pause stop() {
        m_Server.shutdown();
        m_Journal.takeFailure(); // a cause may have been told twice
        const Backoff::Pause pause = m_Backoff.next();
        m_Log.line("the next start is in " + std::to_string(pause.count()) + " ms");
        return pause;
    }

    bool isAllowed(const std::string &address) {
        const std::vector<std::string> &allowed = m_Settings.allowed;
        const bool found = std::find(allowed.begin(), allowed.end(), address) != allowed.end();
        if (!found && !allowed.empty()) {
            m_Log.line(address + " is turned away");
        }
        return found || allowed.empty();
    }

    const Settings &m_Settings;
    unsigned short m_Port;
    const Wakeup &m_Wakeup;
    Log m_Log;
    Journal m_Journal;
    Backoff m_Backoff;
    TkServerImp m_Server; // the last one: its threads use the others
};

void addOptions(CLI::App &app, Settings &settings) {
    app.add_option("-p,--port", settings.port, "Port to listen at; 0 lets the system choose")
        ->required()
        ->type_name("N");
    app.add_option("-b,--bind", settings.bind, "Own address to listen at; all of them unless told")
        ->type_name("ADDRESS");
    app.add_option(
           "-a,--allow", settings.allowed,
           "Take connections from this address; again for another one. From all unless told")
        ->type_name("ADDRESS")
        ->expected(1)
        ->take_all();
    app.set_version_flag("--version", std::string("tkgen-relay ") + TKGEN_VERSION);
    app.footer(footer);
}

/// Puts an address in the place of each name. False when one has none.
bool lookUp(Settings &settings) {
    std::vector<std::string *> hosts;
    for (std::string &each : settings.allowed) {
        hosts.push_back(&each);
    }
    if (!settings.bind.empty()) {
        hosts.push_back(&settings.bind);
    }
    for (std::string *const each : hosts) {
        const auto address = addressOf(*each);
        if (!address) {
            std::fprintf(stderr, "tkgen-relay: %s has no address\n", each->c_str());
            return false;
        }
        *each = *address;
    }
    return true;
}

/// A connection is a descriptor.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

int run(Settings &settings) {
    if (!lookUp(settings)) {
        return exitUsage;
    }
    raiseDescriptorLimit();
    const Wakeup wakeup;
    return Supervisor(settings, wakeup).run();
}

} // namespace

int main(int argc, char **argv) {
    std::signal(SIGPIPE, SIG_IGN); // nobody reads the log any more: the relay goes on
    return runGuarded("tkgen-relay", [&] {
        CLI::App app("Joins consoles and sites: both log on here, and a console picks a site.");
        Settings settings;
        addOptions(app, settings);
        return parseAndRun(app, argc, argv, [&] { return run(settings); });
    });
}
