#include "console.h"

#include <atomic>
#include <future>

namespace {

/// Far more than the worker takes for a cycle, unless the machine is stuck.
constexpr std::chrono::seconds longestTurn{1};

/// Holds a flag for a block.
class Raised {
  public:
    explicit Raised(bool &flag) : m_Flag(flag) { m_Flag = true; }
    ~Raised() { m_Flag = false; }
    Raised(const Raised &) = delete;
    Raised &operator=(const Raised &) = delete;

  private:
    bool &m_Flag;
};

} // namespace

Console::End Console::run(const CommandSet &commands) {
    m_Commands = &commands;
    while (!m_Quit && !m_Stopped && !ended() && !m_Input.atEnd()) {
        if (const auto line = m_Input.nextLine()) {
            m_Display.promptUsed();
            runLine(*line);
            continue;
        }
        m_Display.showPrompt();
        if (pause(m_Input.fd(), std::nullopt)) {
            m_Input.read();
        }
        showHappenings();
    }
    showHappenings();
    return ending();
}

Console::End Console::ending() {
    const bool gone = m_Session.link().hasFailed() && !m_Quit;
    if (gone) {
        m_Display.line(Kind::lost, m_Options.gone);
    }
    m_Display.finish();
    if (gone) {
        return End::deviceGone;
    }
    return m_Failed ? End::failed : End::well;
}

bool Console::ended() const {
    return m_Wakeup.interrupted() || m_Session.link().hasFailed();
}

void Console::runLine(const std::string &line) {
    if (m_Options.echo && !line.empty()) {
        m_Display.line(Kind::echo, line);
    }
    try {
        m_Commands->run(line);
    } catch (const Failure &failure) {
        m_Display.line(Kind::failed, line + ": " + failure.what());
        m_Failed = true;
        m_Stopped = m_Options.stopAtFailure;
    }
}

/// Sleeps until something is to be done. Whether there is input.
bool Console::pause(int input, Deadline deadline) {
    const Deadline look = nextLook(m_Asking);
    return m_Wakeup.wait(input, moreFd(),
                         look && (!deadline || *look < *deadline) ? look : deadline);
}

bool Console::waitUntil(const std::function<bool()> &done, Deadline deadline) {
    for (;;) {
        showHappenings();
        if (done()) {
            return true;
        }
        if (ended()) {
            throw Failure(m_Wakeup.interrupted() ? "interrupted" : m_Options.gone);
        }
        if (deadline && Clock::now() >= *deadline) {
            return false;
        }
        pause(-1, deadline);
    }
}

int Console::parameterFrom(const std::string &word) const {
    const std::optional<int> parameter = m_Session.find(word);
    if (!parameter) {
        throw Failure("'" + word + "' is no parameter, 'help parameters' lists them");
    }
    return *parameter;
}

bool Console::ask(int command, int value) {
    checkSendable(command, value);
    forgetEvents();
    return callApart([&] { return m_Session.transmit(command, value, true); });
}

void Console::request(int parameter, int value) {
    if (!ask(parameter, value)) {
        throw Failure("no value came as an answer");
    }
    m_Display.parameter(Kind::answer, parameter, m_Session.value(parameter));
}

void Console::set(int parameter, int value) {
    if (!ask(parameter, value)) {
        throw Failure("no value came as an answer");
    }
    const int taken = m_Session.value(parameter);
    m_Display.parameter(Kind::answer, parameter, taken,
                        taken == value ? "" : "not " + std::to_string(value));
}

/// A callback, or this thread itself, couldn't do both.
bool Console::callApart(const std::function<bool()> &call) {
    const Raised asking(m_Asking);
    std::atomic<bool> finished{false};
    // Its destructor waits too, when a signal breaks the wait off: for the engine's limit at most.
    std::future<bool> answer = std::async(std::launch::async, [&] {
        const bool answered = call();
        finished = true;
        m_Wakeup.ring();
        return answered;
    });
    waitUntil([&] { return finished.load(); }, std::nullopt);
    // The answer is known before its events have come.
    Link &link = m_Session.link();
    link.requestTurn();
    waitUntil([&] { return !link.isTurnDue(); }, Clock::now() + longestTurn);
    return answer.get();
}

void Console::send(int command, int value) {
    checkSendable(command, value);
    forgetEvents();
    m_Session.transmit(command, value, false);
}

void Console::checkSendable(int command, int value) const {
    const std::string objection = m_Session.objection(command, value);
    if (!objection.empty()) {
        throw Failure(objection);
    }
}

bool Console::waitForEvent(const std::string &name, Deadline deadline) {
    const auto came = [&] { return m_Unseen[name] > 0; };
    if (!waitUntil(came, deadline)) {
        return false;
    }
    --m_Unseen[name];
    return true;
}

void Console::showHappenings() {
    if (m_Options.siteHasLeft()) {
        dropSite();
    }
    for (const Happening &happening : m_Session.takeHappenings()) {
        show(happening);
    }
    showMore(m_Asking);
}

void Console::show(const Happening &happening) {
    switch (happening.kind) {
    case Kind::lost:
        return showLoss();
    case Kind::back:
        m_Display.line(Kind::back, "connected");
        ++m_Unseen["back"];
        return;
    case Kind::reply:
        return m_Display.parameter(Kind::reply, happening.parameter, happening.value);
    case Kind::text:
        m_Display.line(Kind::text, happening.text);
        break;
    default:
        m_Display.parameter(happening.kind, happening.parameter, happening.value);
    }
    m_Lost = false;
    ++m_Unseen[m_Session.name(happening.parameter)];
}

/// While it polls, the engine tells a loss again and again until something is heard.
void Console::showLoss() {
    ++m_Losses;
    if (m_Lost && m_Session.conversation().refreshEnabled()) {
        return;
    }
    m_Lost = true;
    m_Display.line(Kind::lost, m_Session.loss());
    ++m_Unseen["lost"];
    m_Unseen.erase("back");
}

/// The relay goes on, but nothing that is sent arrives; the engine would find out by and by.
void Console::dropSite() {
    m_Display.line(Kind::lost, "the site has left");
    TkConversation &conversation = m_Session.conversation();
    const bool polls = conversation.refreshEnabled();
    conversation.enableRefresh(false, true);
    conversation.enableRefresh(polls, false);
}
