#ifndef TKCONSOLE_CONSOLE_H
#define TKCONSOLE_CONSOLE_H

#include "commands.h"
#include "display.h"
#include "input.h"
#include "session.h"
#include "wakeup.h"

#include <functional>
#include <map>
#include <string>

/// Runs commands from the input, and shows what happens meanwhile. Everything here is the main
/// thread's, which sleeps whenever it has nothing to do or show. What it can do with a far end of
/// any kind is here.
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
            const Wakeup &wakeup)
        : m_Options(options), m_Input(input), m_Display(display), m_Session(session),
          m_Wakeup(wakeup) {}
    virtual ~Console() = default;
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    /// Runs until the input ends, `quit`, a signal, or the device goes.
    End run(const CommandSet &commands);

    // --- What the commands use; the waits show what happens meanwhile ---

    Display &display() { return m_Display; }
    Session &session() { return m_Session; }
    const CommandSet &commands() const { return *m_Commands; }

    /// Ends the run behind the present command.
    void quit() { m_Quit = true; }

    /// The parameter that a word names. Throws Failure.
    int parameterFrom(const std::string &word) const;

    /// Transmits and waits for the answer; its events have been shown on return. False when none
    /// came within the engine's limit. Throws Failure when the line can't carry it.
    bool ask(int command, int value);

    /// As above, and shows the value that came as the answer. Throws Failure when none came.
    void request(int parameter, int value);

    /// Sets a value and shows what the far end took instead of it, or as it. Throws Failure.
    void set(int parameter, int value);

    /// Transmits without waiting for an answer. Throws Failure when the line can't carry it.
    void send(int command, int value);

    /// Sleeps until `done` holds, asking it whenever something has been received or has happened.
    /// False when the deadline passes before. A signal and the device's end are failures.
    bool waitUntil(const std::function<bool()> &done, Deadline deadline);

    /// Waits for an event of this name: one that came since the last command that sent something,
    /// and wasn't waited for yet, counts.
    bool waitForEvent(const std::string &name, Deadline deadline);

  protected:
    /// Makes a call that waits for the far end, and shows what happens meanwhile.
    bool callApart(const std::function<bool()> &call);

    /// A command sends something: what came before isn't waited for any more.
    void forgetEvents() { m_Unseen.clear(); }

    /// How many losses the engine has told.
    unsigned long losses() const { return m_Losses; }

  private:
    // What else there is to show. With `asking` a command waits for a value, which is unknown
    // meanwhile.
    virtual void showMore(bool /*asking*/) {}
    virtual Deadline nextLook(bool /*asking*/) const { return std::nullopt; }
    virtual int moreFd() const { return -1; } ///< readable while there is more; or -1

    bool ended() const;
    bool pause(int input, Deadline deadline);
    void runLine(const std::string &line);
    void showHappenings();
    void show(const Happening &happening);
    void showLoss();
    void dropSite();
    void checkSendable(int command, int value) const;
    End ending();

    const Options m_Options;
    Input &m_Input;
    Display &m_Display;
    Session &m_Session;
    const Wakeup &m_Wakeup;
    const CommandSet *m_Commands = nullptr;
    std::map<std::string, int> m_Unseen; // events by name that `wait` may take
    bool m_Asking = false;
    bool m_Lost = false;        // and nothing heard since
    unsigned long m_Losses = 0; // that the engine has told
    bool m_Failed = false;
    bool m_Stopped = false; // by a failure
    bool m_Quit = false;
};

#endif
