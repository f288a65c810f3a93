#ifndef TKCONSOLE_SESSION_H
#define TKCONSOLE_SESSION_H

#include "display.h"
#include "link.h"
#include "watcher.h"

#include "tkgeneratorcontrol.h"

#include <atomic>
#include <mutex>
#include <vector>

/// What happened on another thread, for the main thread to show.
struct Happening {
    Kind kind;
    Tk::TextCommands parameter; ///< none for lost and back
    int value;
};

/// The engine that drives a device, and the callbacks. The callbacks answer preps and
/// exposures, note what happened, and ring; everything else is the main thread's.
class Session : private Watcher {
  public:
    Session(TkComms &device, Tk::GeneratorTypes type, const Wakeup &wakeup);
    ~Session() override;
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    void start();

    TkGeneratorControl &engine() { return m_Engine; }
    Link &link() { return m_Link; }

    /// Whether preps and exposures are accepted or refused while exposures are enabled.
    void acceptPreps(bool accept) { m_AcceptPreps = accept; }

    /// What has happened since the last call. From any thread.
    std::vector<Happening> takeHappenings();

    /// Whether the engine has such a parameter; whether it can send a command with such a value.
    static bool isParameter(Tk::TextCommands parameter);
    static bool isSendable(Tk::TextCommands command, int value);

  private:
    void onValue(Tk::TextCommands parameter, const int *value) override;
    void onLink(bool up) override;
    void answerHandshake(Tk::TextCommands parameter, int value);
    void noteTube();
    void note(const Happening &happening);

    const Wakeup &m_Wakeup;
    Link m_Link; // outlives the engine, whose worker uses it
    TkGeneratorControl m_Engine;
    std::atomic<bool> m_AcceptPreps{true};
    int m_ToldTube = Tk::VALUE_UNKNOWN; // "TU" and "TB" at their last event; callbacks only
    int m_SetTube = Tk::VALUE_UNKNOWN;

    std::mutex m_Mutex; // guards the list; a leaf
    std::vector<Happening> m_Happenings;
};

#endif
