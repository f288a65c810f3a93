#include "console.h"

#include "commands.h"
#include "words.h"

#include <atomic>
#include <future>
#include <sstream>

namespace {

/// Far more than the worker takes for a cycle, unless the machine is stuck.
constexpr std::chrono::seconds longestTurn{1};

/// For so long a record is tried again that the engine can't send at once; shorter than the time
/// after which one without an answer is given up.
constexpr std::chrono::seconds longestRefusal{1};
constexpr std::chrono::milliseconds betweenTries{20};

} // namespace

Console::Console(const Options &options, Input &input, Display &display, Session &session,
                 const Wakeup &wakeup)
    : m_Options(options), m_Input(input), m_Display(display), m_Session(session), m_Wakeup(wakeup),
      m_Table(display, session.engine()), m_Messages(display, session.engine()) {}

Console::End Console::run() {
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
        runCommand(*this, line);
    } catch (const Failure &failure) {
        m_Display.line(Kind::failed, line + ": " + failure.what());
        m_Failed = true;
        m_Stopped = m_Options.stopAtFailure;
    }
}

/// Sleeps until something is to be done. Whether there is input.
bool Console::pause(int input, Deadline deadline) {
    const Deadline look = m_Table.nextLook();
    return m_Wakeup.wait(input, m_Messages.fd(),
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

bool Console::ask(Tk::TextCommands command, int value) {
    checkSendable(command, value);
    m_Unseen.clear();
    return callApart([&] { return engine().transmitMsg(command, value, true); });
}

void Console::set(Tk::TextCommands parameter, int value) {
    if (!ask(parameter, value)) {
        throw Failure("no value came as an answer");
    }
    const int taken = engine().getGenParam(parameter);
    m_Display.parameter(Kind::answer, parameter, taken,
                        taken == value ? "" : "not " + std::to_string(value));
}

bool Console::exchange(TkBinaryInterface &record, int mode) {
    m_Unseen.clear();
    const Clock::time_point end = Clock::now() + longestRefusal;
    while (!callApart([&] { return engine().transmitBinaryMsg(&record, mode, true); })) {
        if (Clock::now() >= end) {
            return false;
        }
        waitUntil([] { return false; }, Clock::now() + betweenTries);
    }
    return true;
}

/// The engine only tells what was refused. A loss takes what is left of the program with it, even
/// if the generator is found again before the end.
void Console::load(TkAPR &program) {
    m_Unseen.clear();
    const unsigned long losses = m_Losses;
    const bool taken = callApart([&] { return engine().transmitAPR(&program, true); });
    std::istringstream refused(program.getErrorDetails());
    for (std::string line; std::getline(refused, line);) {
        m_Display.line(Kind::refused, line);
    }
    if (losses != m_Losses || engine().getGenParam(Tk::WS) == Tk::VALUE_UNKNOWN) {
        throw Failure("the generator didn't answer");
    }
    if (!taken) {
        throw Failure("the generator refused a part of it");
    }
    m_Display.line(Kind::answer, "the program is loaded");
}

/// Makes a call that waits for the generator, and shows what happens meanwhile. A callback, or this
/// thread itself, couldn't do both.
bool Console::callApart(const std::function<bool()> &call) {
    const Table::Hold hold(m_Table);
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

void Console::send(Tk::TextCommands command, int value) {
    checkSendable(command, value);
    m_Unseen.clear();
    engine().transmitMsg(command, value, false);
}

void Console::checkSendable(Tk::TextCommands command, int value) {
    if (!Session::isSendable(command, value)) {
        throw Failure("the line can't carry " + mnemonicOf(command) + " with this value");
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
    m_Messages.show();
    m_Table.look();
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
    default:
        m_Lost = false;
        m_Display.parameter(happening.kind, happening.parameter, happening.value);
        ++m_Unseen[mnemonicOf(happening.parameter)];
    }
}

/// While it polls, the engine tells a loss again and again until something is heard.
void Console::showLoss() {
    ++m_Losses;
    if (m_Lost && engine().refreshEnabled()) {
        return;
    }
    m_Lost = true;
    m_Display.line(Kind::lost, "connection lost, the generator's values are unknown");
    ++m_Unseen["lost"];
    m_Unseen.erase("back");
}

/// The relay goes on, but nothing that is sent arrives; the engine would find out by and by.
void Console::dropSite() {
    m_Display.line(Kind::lost, "the site has left");
    const bool polls = engine().refreshEnabled();
    engine().enableRefresh(false, true);
    engine().enableRefresh(polls, false);
}
