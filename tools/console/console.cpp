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
    : m_options(options), m_input(input), m_display(display), m_session(session), m_wakeup(wakeup) {
}

Console::End Console::run() {
    while (!m_quit && !m_stopped && !ended() && !m_input.atEnd()) {
        if (const auto line = m_input.nextLine()) {
            m_display.promptUsed();
            runLine(*line);
            continue;
        }
        m_display.showPrompt();
        if (m_wakeup.wait(m_input.fd(), std::nullopt))
            m_input.read();
        showHappenings();
    }
    showHappenings();
    return ending();
}

Console::End Console::ending() {
    const bool gone = m_session.link().hasFailed() && !m_quit;
    if (gone)
        m_display.line(Kind::lost, "the device has gone");
    m_display.finish();
    if (gone)
        return End::deviceGone;
    return m_failed ? End::failed : End::well;
}

bool Console::ended() const {
    return m_wakeup.interrupted() || m_session.link().hasFailed();
}

void Console::runLine(const std::string &line) {
    if (m_options.echo && !line.empty())
        m_display.line(Kind::echo, line);
    try {
        runCommand(*this, line);
    } catch (const Failure &failure) {
        m_display.line(Kind::failed, line + ": " + failure.what());
        m_failed = true;
        m_stopped = m_options.stopAtFailure;
    }
}

bool Console::waitUntil(const std::function<bool()> &done, Deadline deadline) {
    for (;;) {
        showHappenings();
        if (done())
            return true;
        if (ended())
            throw Failure(m_wakeup.interrupted() ? "interrupted" : "the device has gone");
        if (deadline && Clock::now() >= *deadline)
            return false;
        m_wakeup.wait(-1, deadline);
    }
}

bool Console::ask(Tk::TextCommands command, int value) {
    checkSendable(command, value);
    m_unseen.clear();
    std::atomic<bool> finished{false};
    // Its destructor waits too, when a signal breaks the wait off: for the engine's limit at most.
    std::future<bool> answer = std::async(std::launch::async, [&] {
        const bool answered = engine().transmitMsg(command, value, true);
        finished = true;
        m_wakeup.ring();
        return answered;
    });
    waitUntil([&] { return finished.load(); }, std::nullopt);
    // The answer is known before its events have come.
    Link &link = m_session.link();
    link.requestTurn();
    waitUntil([&] { return !link.isTurnDue(); }, Clock::now() + longestTurn);
    return answer.get();
}

void Console::send(Tk::TextCommands command, int value) {
    checkSendable(command, value);
    m_unseen.clear();
    engine().transmitMsg(command, value, false);
}

void Console::checkSendable(Tk::TextCommands command, int value) {
    if (!Session::isSendable(command, value))
        throw Failure("the line can't carry " + mnemonicOf(command) + " with this value");
}

bool Console::waitForEvent(const std::string &name, Deadline deadline) {
    const auto came = [&] { return m_unseen[name] > 0; };
    if (!waitUntil(came, deadline))
        return false;
    --m_unseen[name];
    return true;
}

void Console::showHappenings() {
    for (const Happening &happening : m_session.takeHappenings())
        show(happening);
}

void Console::show(const Happening &happening) {
    switch (happening.kind) {
    case Kind::lost:
        m_display.line(Kind::lost, "the generator doesn't answer, its values are unknown");
        ++m_unseen["lost"];
        return;
    case Kind::back:
        m_display.line(Kind::back, "the generator answers");
        ++m_unseen["back"];
        return;
    case Kind::reply:
        return m_display.parameter(Kind::reply, happening.parameter, happening.value);
    default:
        m_display.parameter(happening.kind, happening.parameter, happening.value);
        ++m_unseen[mnemonicOf(happening.parameter)];
    }
}
