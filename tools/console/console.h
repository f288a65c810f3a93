#ifndef TKCONSOLE_CONSOLE_H
#define TKCONSOLE_CONSOLE_H

#include "display.h"
#include "input.h"
#include "messages.h"
#include "session.h"
#include "table.h"
#include "wakeup.h"

#include "tkapr.h"
#include "tkgeneratorstatus.h"

#include <functional>
#include <map>
#include <stdexcept>
#include <string>

/// Why a command failed, in words.
class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Runs commands from the input, and shows what happens meanwhile. Everything here is the main
/// thread's, which sleeps whenever it has nothing to do or show.
class Console {
  public:
    struct Options {
        bool echo = false; ///< show commands as they are run
        bool stopAtFailure = true;
        std::string gone;                  ///< what to tell when the device has gone
        std::function<bool()> siteHasLeft; ///< since the last call
    };

    /// How a run ended.
    enum class End { well, failed, deviceGone };

    Console(const Options &options, Input &input, Display &display, Session &session,
            const Wakeup &wakeup);

    /// Runs until the input ends, `quit`, a signal, or the device goes.
    End run();

    // --- What the commands use; the waits show what happens meanwhile ---

    Display &display() { return m_Display; }
    Session &session() { return m_Session; }
    Table &table() { return m_Table; }
    Messages &messages() { return m_Messages; }
    TkGeneratorControl &engine() { return m_Session.engine(); }
    TkGeneratorStatus status() { return TkGeneratorStatus(&engine()); }

    /// Ends the run behind the present command.
    void quit() { m_Quit = true; }

    /// Transmits and waits for the answer; its events have been shown on return. False when none
    /// came within the engine's limit.
    bool ask(Tk::TextCommands command, int value);

    /// Sets a value and shows what the generator took instead of it, or as it. Throws Failure.
    void set(Tk::TextCommands parameter, int value);

    /// Reads a record (mode 998) or writes it (999), and waits for the answer. One that the engine
    /// can't do because it is busy with another record is tried again for a while. False when no
    /// answer came; the record is the caller's alone in any case.
    bool exchange(TkBinaryInterface &record, int mode);

    /// Loads a program, and shows what the generator refused of it. Throws Failure then, and when
    /// it didn't answer.
    void load(TkAPR &program);

    /// Transmits without waiting for an answer.
    void send(Tk::TextCommands command, int value);

    /// Sleeps until `done` holds, asking it whenever something has been received or has happened.
    /// False when the deadline passes before. A signal and the device's end are failures.
    bool waitUntil(const std::function<bool()> &done, Deadline deadline);

    /// Waits for an event of this name: one that came since the last command that sent something,
    /// and wasn't waited for yet, counts.
    bool waitForEvent(const std::string &name, Deadline deadline);

  private:
    bool ended() const;
    bool pause(int input, Deadline deadline);
    bool callApart(const std::function<bool()> &call);
    void runLine(const std::string &line);
    void showHappenings();
    void show(const Happening &happening);
    void showLoss();
    void dropSite();
    void checkSendable(Tk::TextCommands command, int value);
    End ending();

    const Options m_Options;
    Input &m_Input;
    Display &m_Display;
    Session &m_Session;
    const Wakeup &m_Wakeup;
    Table m_Table;
    Messages m_Messages;
    std::map<std::string, int> m_Unseen; // events by name that `wait` may take
    bool m_Lost = false;                 // and nothing heard since
    unsigned long m_Losses = 0;          // that the engine has told
    bool m_Failed = false;
    bool m_Stopped = false; // by a failure
    bool m_Quit = false;
};

#endif
