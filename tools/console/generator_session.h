#ifndef TKCONSOLE_GENERATOR_SESSION_H
#define TKCONSOLE_GENERATOR_SESSION_H

#include "session.h"
#include "watcher.h"

#include "tkgeneratorcontrol.h"

#include <atomic>

/// A session with a generator. Its callbacks answer preps and exposures too.
class GeneratorSession : public SessionWith<Session, TkGeneratorControl, Watcher> {
  public:
    GeneratorSession(TkComms &device, const Wakeup &wakeup, Tk::GeneratorTypes type);
    ~GeneratorSession() override { stop(); }

    /// Whether preps and exposures are accepted or refused while exposures are enabled.
    void acceptPreps(bool accept) { m_AcceptPreps = accept; }

    /// Whether the engine can send a command with such a value.
    static bool isSendable(int command, int value);

    int value(int parameter) const override;
    bool transmit(int command, int value, bool wait) override;
    std::string objection(int command, int value) const override;
    const char *farEnd() const override { return "generator"; }
    const char *loss() const override {
        return "connection lost, the generator's values are unknown";
    }

    const std::vector<Words> &all() const override;
    std::string name(int parameter) const override;
    std::optional<int> find(const std::string &name) const override;
    std::string meaning(int parameter, int value) const override;
    std::size_t nameWidth() const override { return 5; }

  private:
    void onValue(Tk::TextCommands parameter, const int *value) override;
    void answerHandshake(Tk::TextCommands parameter, int value);
    void noteTube();

    std::atomic<bool> m_AcceptPreps{true};
    int m_ToldTube = Tk::VALUE_UNKNOWN; // "TU" and "TB" at their last event; callbacks only
    int m_SetTube = Tk::VALUE_UNKNOWN;
};

#endif
