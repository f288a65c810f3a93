#include "session.h"

#include <utility>

namespace {

bool isHandshake(Tk::TextCommands parameter) {
    return parameter == Tk::PR || parameter == Tk::XR || parameter == Tk::FLP ||
           parameter == Tk::FLX;
}

} // namespace

Session::Session(const char *device, Tk::GeneratorTypes type, const Wakeup &wakeup)
    : m_wakeup(wakeup), m_link(device, wakeup), m_engine(&m_link) {
    m_engine.setGeneratorType(type);
    Tk::addDispatcher(this);
}

Session::~Session() {
    m_engine.stopControl();
    Tk::removeDispatcher(this);
}

void Session::start() {
    m_engine.startControl();
}

std::vector<Happening> Session::takeHappenings() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_happenings, {});
}

// An engine without a link or a thread answers both without anything being sent.

bool Session::isParameter(Tk::TextCommands parameter) {
    return TkGeneratorControl(nullptr).setGenParam(parameter, 0);
}

bool Session::isSendable(Tk::TextCommands command, int value) {
    return TkGeneratorControl(nullptr).transmitMsg(command, value, false);
}

void Session::onValue(Tk::TextCommands parameter, const int *value) {
    if (parameter == Tk::TU)
        return noteTube();
    const int received = value ? *value : m_engine.getGenParam(parameter);
    note({Kind::event, parameter, received});
    if (isHandshake(parameter) && m_engine.exposuresEnabled())
        answerHandshake(parameter, received);
}

/// The generator asks with a 1 and goes on when it is told the same; a 0 only tells of an end.
void Session::answerHandshake(Tk::TextCommands parameter, int value) {
    if (value != 1)
        return;
    const int answer = m_acceptPreps ? 1 : 0;
    m_engine.transmitMsg(parameter, answer, false);
    note({Kind::reply, parameter, answer});
}

/// "TU" and "TB" have one event: the one that changed is meant, and either when both were told
/// again as they were.
void Session::noteTube() {
    const int told = m_engine.getGenParam(Tk::TU);
    const int set = m_engine.getGenParam(Tk::TB);
    const bool same = told == m_toldTube && set == m_setTube;
    if (told != Tk::VALUE_UNKNOWN && (same || told != m_toldTube))
        note({Kind::event, Tk::TU, told});
    if (set != Tk::VALUE_UNKNOWN && (same || set != m_setTube))
        note({Kind::event, Tk::TB, set});
    m_toldTube = told;
    m_setTube = set;
}

void Session::onLink(bool up) {
    note({up ? Kind::back : Kind::lost, Tk::TextCommands{}, 0});
}

void Session::note(const Happening &happening) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_happenings.push_back(happening);
    }
    m_wakeup.ring();
}
