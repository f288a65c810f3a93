#include "session.h"

#include <utility>

namespace {

bool isHandshake(Tk::TextCommands parameter) {
    return parameter == Tk::PR || parameter == Tk::XR || parameter == Tk::FLP ||
           parameter == Tk::FLX;
}

} // namespace

Session::Session(TkComms &device, Tk::GeneratorTypes type, const Wakeup &wakeup)
    : m_Wakeup(wakeup), m_Link(device, wakeup), m_Engine(&m_Link) {
    m_Engine.setGeneratorType(type);
    Tk::addDispatcher(this);
}

Session::~Session() {
    m_Engine.stopControl();
    Tk::removeDispatcher(this);
}

void Session::start() {
    m_Engine.startControl();
}

std::vector<Happening> Session::takeHappenings() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return std::exchange(m_Happenings, {});
}

// An engine without a link or a thread answers both without anything being sent.

bool Session::isParameter(Tk::TextCommands parameter) {
    return TkGeneratorControl(nullptr).setGenParam(parameter, 0);
}

bool Session::isSendable(Tk::TextCommands command, int value) {
    return TkGeneratorControl(nullptr).transmitMsg(command, value, false);
}

void Session::onValue(Tk::TextCommands parameter, const int *value) {
    if (parameter == Tk::TU) {
        return noteTube();
    }
    const int received = value ? *value : m_Engine.getGenParam(parameter);
    note({Kind::event, parameter, received});
    if (isHandshake(parameter) && m_Engine.exposuresEnabled()) {
        answerHandshake(parameter, received);
    }
}

/// The generator asks with a 1 and goes on when it is told the same; a 0 only tells of an end.
void Session::answerHandshake(Tk::TextCommands parameter, int value) {
    if (value != 1) {
        return;
    }
    const int answer = m_AcceptPreps ? 1 : 0;
    m_Engine.transmitMsg(parameter, answer, false);
    note({Kind::reply, parameter, answer});
}

/// "TU" and "TB" have one event: the one that changed is meant, and either when both were told
/// again as they were.
void Session::noteTube() {
    const int told = m_Engine.getGenParam(Tk::TU);
    const int set = m_Engine.getGenParam(Tk::TB);
    const bool same = told == m_ToldTube && set == m_SetTube;
    if (told != Tk::VALUE_UNKNOWN && (same || told != m_ToldTube)) {
        note({Kind::event, Tk::TU, told});
    }
    if (set != Tk::VALUE_UNKNOWN && (same || set != m_SetTube)) {
        note({Kind::event, Tk::TB, set});
    }
    m_ToldTube = told;
    m_SetTube = set;
}

void Session::onLink(bool up) {
    note({up ? Kind::back : Kind::lost, Tk::TextCommands{}, 0});
}

void Session::note(const Happening &happening) {
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Happenings.push_back(happening);
    }
    m_Wakeup.ring();
}
