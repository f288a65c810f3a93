#ifndef TKCONSOLE_SESSION_H
#define TKCONSOLE_SESSION_H

#include "display.h"
#include "link.h"
#include "vocabulary.h"

#include "tkconversation.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// What happened on another thread, for the main thread to show.
struct Happening {
    Kind kind;
    int parameter = 0; ///< none for lost and back
    int value = 0;
    std::string text = {}; ///< what the far end said in words
};

/// The engine that drives a device, its parameters in words, and the callbacks, which note what
/// happened, and ring; everything else is the main thread's.
class Session : public Vocabulary {
  public:
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    Link &link() { return m_Link; }

    virtual TkConversation &conversation() = 0;

    /// Begins to work, and to note what happens.
    virtual void start() = 0;

    /// The last known value, and the transmission of a command, as the engine has them.
    virtual int value(int parameter) const = 0;
    virtual bool transmit(int command, int value, bool wait) = 0;

    /// Why a command can't go out with a value, one of the requests of Tk::SpecialValues among
    /// them; empty when it can.
    virtual std::string objection(int command, int value) const = 0;

    /// What is at the far end, and what its loss means.
    virtual const char *farEnd() const = 0;
    virtual const char *loss() const = 0;

    /// What has happened since the last call. From any thread.
    std::vector<Happening> takeHappenings();

  protected:
    Session(TkComms &device, const Wakeup &wakeup) : m_Wakeup(wakeup), m_Link(device, wakeup) {}

    /// From any thread.
    void note(const Happening &happening);

  private:
    const Wakeup &m_Wakeup;
    Link m_Link; // outlives the engine, whose worker uses it

    std::mutex m_Mutex; // guards the list; a leaf
    std::vector<Happening> m_Happenings;
};

/// A session, of the kind AnySession, with its engine and as a dispatcher of its events.
template <class AnySession, class Engine, class Dispatcher>
class SessionWith : public AnySession, protected Dispatcher {
  public:
    Engine &engine() { return m_Engine; }
    TkConversation &conversation() override { return m_Engine; }

    void start() override {
        Tk::addDispatcher(this);
        m_Engine.startControl();
    }

  protected:
    /// `arguments` are those of AnySession.
    template <class... Arguments>
    explicit SessionWith(Arguments &&...arguments)
        : AnySession(std::forward<Arguments>(arguments)...), m_Engine(&this->link()) {}

    /// The last class's destructor begins with it.
    void stop() {
        m_Engine.stopControl();
        Tk::removeDispatcher(this);
    }

    Engine m_Engine;

  private:
    void lostComms() override { this->note({Kind::lost}); }
    void CommsReEstablished() override { this->note({Kind::back}); }
};

#endif
