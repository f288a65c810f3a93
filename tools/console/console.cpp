#include "console.h"

#include "commands.h"
#include "words.h"

#include <atomic>
#include <future>

namespace {

/// Far more than the worker takes for a cycle, unless the machine is stuck.
constexpr std::chrono::seconds longestTurn{1};

} // namespace

Console::Console(const Options &options, Input &input, Display &display, Session &session,
                 const Wakeup &wakeup)
    : m_Options(options), m_Input(input), m_Display(display), m_Session(session), m_Wakeup(wakeup) {
}

Console::End Console::run() {
    while (!m_Quit && !m_Stopped && !ended() && !m_Input.atEnd()) {
        if (const auto line = m_Input.nextLine()) {
            m_Display.promptUsed();
            runLine(*line);
            continue;
        }
        m_Display.showPrompt();
        if (m_Wakeup.wait(m_Input.fd(), std::nullopt)) {
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
        m_Display.line(Kind::lost, "the device has gone");
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

bool Console::waitUntil(const std::function<bool()> &done, Deadline deadline) {
    for (;;) {
        showHappenings();
        if (done()) {
            return true;
        }
        if (ended()) {
            throw Failure(m_Wakeup.interrupted() ? "interrupted" : "the device has gone");
        }
        if (deadline && Clock::now() >= *deadline) {
            return false;
        }
        m_Wakeup.wait(-1, deadline);
    }
}

bool Console::ask(Tk::TextCommands command, int value) {
    checkSendable(command, value);
    m_Unseen.clear();
    std::atomic<bool> finished{false};
    // Its destructor waits too, when a signal breaks the wait off: for the engine's limit at most.
    std::future<bool> answer = std::async(std::launch::async, [&] {
        const bool answered = engine().transmitMsg(command, value, true);
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
    for (const Happening &happening : m_Session.takeHappenings()) {
        show(happening);
    }
}

void Console::show(const Happening &happening) {
    switch (happening.kind) {
    case Kind::lost:
        m_Display.line(Kind::lost, "the generator doesn't answer, its values are unknown");
        ++m_Unseen["lost"];
        return;
    case Kind::back:
        m_Display.line(Kind::back, "the generator answers");
        ++m_Unseen["back"];
        return;
    case Kind::reply:
        return m_Display.parameter(Kind::reply, happening.parameter, happening.value);
    default:
        m_Display.parameter(happening.kind, happening.parameter, happening.value);
        ++m_Unseen[mnemonicOf(happening.parameter)];
    }
}
