#include "program.h"

#include "entry.h"
#include "modes.h"
#include "progress.h"

#include "tkversion.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int exitDevice = 3;

constexpr const char *footer =
    "Without a device the transfer runs over standard input and output, which are put into raw\n"
    "mode where they are a terminal.\n\n"
    "Exit codes: 0 transferred; 1 failed or cancelled; 2 wrong arguments; 3 the device can't be\n"
    "opened, or has gone, or standard input has ended.\n";

constexpr int usualBaudRate = 19200; // as the generator's line

struct Settings {
    std::string path;
    std::string device; // empty for standard input and output
    int baudRate = usualBaudRate;
    bool quiet = false;
};

/// An exit code, and why unless all went well.
struct Verdict {
    int code;
    std::string why;
};

void addOptions(CLI::App &app, const Program &program, Settings &settings) {
    app.add_option(program.argument, settings.path, program.argumentHelp)
        ->required()
        ->type_name("");
    auto *const device =
        app.add_option("-d,--device", settings.device, "Path of a serial device, or COM1 to COM10");
    device->type_name("DEVICE");
    app.add_option("-b,--baud", settings.baudRate, "Its rate: 110 to 115200; 19200 by default")
        ->needs(device)
        ->option_text("N");
    app.add_flag("-q,--quiet", settings.quiet, "Show errors only");
    app.set_version_flag("--version", std::string(program.name) + " " + TKGEN_VERSION);
    app.footer(footer);
}

/// A standard descriptor that is closed would be given to the next file that is opened, and the
/// progress written into that.
void fillStandardDescriptors() {
    int file = 0;
    do {
        file = ::open("/dev/null", O_RDWR);
    } while (file >= 0 && file <= STDERR_FILENO);
    ::close(file);
}

bool isSameTerminal(int one, int other) {
    struct stat first {};
    struct stat second {};
    return ::isatty(one) && ::isatty(other) && ::fstat(one, &first) == 0 &&
           ::fstat(other, &second) == 0 && first.st_rdev == second.st_rdev;
}

Progress::Where whereToShow(const Settings &settings) {
    if (settings.quiet) {
        return Progress::Where::quiet;
    }
    const bool isLink = settings.device.empty() && (isSameTerminal(STDERR_FILENO, STDIN_FILENO) ||
                                                    isSameTerminal(STDERR_FILENO, STDOUT_FILENO));
    if (isLink) {
        return Progress::Where::late;
    }
    return ::isatty(STDERR_FILENO) ? Progress::Where::live : Progress::Where::lines;
}

/// One program at work.
class Run {
  public:
    Run(const Program &program, const Settings &settings, Modes &modes, const Wakeup &wakeup)
        : m_Program(program), m_Settings(settings), m_Modes(modes), m_Wakeup(wakeup),
          m_Progress(whereToShow(settings)) {}

    Verdict run() {
        if (m_Settings.device.empty()) {
            m_Modes.enter(STDIN_FILENO);
            m_Modes.enter(STDOUT_FILENO);
            DescriptorLink link(STDIN_FILENO, STDOUT_FILENO, m_Wakeup);
            return transfer(link);
        }
        SerialLink link(m_Settings.device.c_str(), m_Wakeup);
        if (!link.isOpen()) {
            return {exitDevice, "can't open " + m_Settings.device};
        }
        if (!link.prepare(m_Settings.baudRate)) {
            return {exitUsage, m_Settings.device + " hasn't got the rate " +
                                   std::to_string(m_Settings.baudRate)};
        }
        return transfer(link);
    }

  private:
    Verdict transfer(TransferLink &link) {
        Outcome outcome;
        const auto transfer = m_Program.make(m_Settings.path, link, outcome, m_Wakeup);
        Journal journal(*transfer, m_Program.sends, m_Wakeup);
        transfer->start();
        while (transfer->isTransferComplete()) {
            m_Progress.draw(*transfer, journal.current());
            m_Wakeup.wait(-1, -1, m_Progress.nextDraw());
            if (m_Wakeup.interrupted() || link.state() != TransferLink::State::good) {
                link.cancel();
                transfer->cancelTransfer(true);
            }
            showFinished(journal);
        }
        showFinished(journal);
        m_Modes.restore();
        m_Progress.end();
        return verdict(outcome, journal, link);
    }

    void showFinished(Journal &journal) {
        for (const FileEntry &each : journal.takeFinished()) {
            m_Progress.finished(m_Program.sends ? "sent" : "received", each);
        }
    }

    Verdict verdict(const Outcome &outcome, const Journal &journal, const TransferLink &link) const;
    std::string reasonOf(const Outcome &outcome) const;

    const Program &m_Program;
    const Settings &m_Settings;
    Modes &m_Modes;
    const Wakeup &m_Wakeup;
    Progress m_Progress;
};

Verdict Run::verdict(const Outcome &outcome, const Journal &journal,
                     const TransferLink &link) const {
    const bool isThrough =
        journal.isComplete() || (!journal.isCancelled() && m_Program.isThrough(outcome));
    if (isThrough) {
        return outcome.files > 0 ? Verdict{exitWell, ""}
                                 : Verdict{exitFailed, "the far end had nothing to send"};
    }
    if (m_Wakeup.interrupted()) {
        return {exitFailed, "cancelled"};
    }
    if (link.state() == TransferLink::State::gone) {
        return {exitDevice, m_Settings.device.empty() ? "standard input has ended"
                                                      : m_Settings.device + " has gone"};
    }
    if (link.state() == TransferLink::State::stalled) {
        return {exitFailed, "the far end takes nothing"};
    }
    return {exitFailed, reasonOf(outcome)};
}

std::string Run::reasonOf(const Outcome &outcome) const {
    std::string reason = m_Program.reason(m_Settings.path, outcome);
    if (!reason.empty()) {
        return reason;
    }
    switch (outcome.result) {
    case TkZModem::CANCELLED:
        return "the far end cancelled the transfer";
    case TkZModem::PEER_ENDED:
        return "the far end ended the transfer";
    case TkZModem::TIMED_OUT:
        return "the far end doesn't answer";
    default:
        return "the far end gave up, doesn't answer, or can't be understood";
    }
}

int run(const Program &program, const Settings &settings) {
    Verdict verdict{exitUsage, program.complaint(settings.path)};
    if (verdict.why.empty()) {
        Modes modes;
        const Wakeup wakeup([&modes] { modes.restore(); });
        verdict = Run(program, settings, modes, wakeup).run();
    }
    if (!verdict.why.empty()) {
        std::fprintf(stderr, "%s: %s\n", program.name, verdict.why.c_str());
    }
    return verdict.code;
}

} // namespace

int runProgram(const Program &program, int argc, char **argv) {
    // A far end that has gone, and a file that may grow no more, are told by what a write returns.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    fillStandardDescriptors();
    return runGuarded(program.name, [&] {
        CLI::App app(program.description);
        Settings settings;
        addOptions(app, program, settings);
        return parseAndRun(app, argc, argv, [&] { return run(program, settings); });
    });
}
