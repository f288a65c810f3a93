#include "generator_session.h"

#include "words.h"

#include "tkgeneratorerrors.h"

#include <limits>

namespace {

bool isHandshake(Tk::TextCommands parameter) {
    return parameter == Tk::PR || parameter == Tk::XR || parameter == Tk::FLP ||
           parameter == Tk::FLX;
}

Tk::TextCommands asCommand(int number) {
    return static_cast<Tk::TextCommands>(number);
}

} // namespace

GeneratorSession::GeneratorSession(TkComms &device, const Wakeup &wakeup, Tk::GeneratorTypes type)
    : SessionWith(device, wakeup) {
    m_Engine.setGeneratorType(type);
}

int GeneratorSession::value(int parameter) const {
    return m_Engine.getGenParam(asCommand(parameter));
}

bool GeneratorSession::transmit(int command, int value, bool wait) {
    return m_Engine.transmitMsg(asCommand(command), value, wait);
}

// An engine without a link or a thread answers both without anything being sent.

bool GeneratorSession::isSendable(int command, int value) {
    return TkGeneratorControl(nullptr).transmitMsg(asCommand(command), value, false);
}

std::optional<int> GeneratorSession::find(const std::string &name) const {
    const Tk::TextCommands parameter = packed(name);
    const bool exists = TkGeneratorControl(nullptr).setGenParam(parameter, 0);
    return exists ? std::optional<int>(parameter) : std::nullopt;
}

std::string GeneratorSession::objection(int command, int value) const {
    return isSendable(command, value)
               ? ""
               : "the line can't carry " + name(command) + " with this value";
}

const std::vector<Words> &GeneratorSession::all() const {
    return generatorWords();
}

std::string GeneratorSession::name(int parameter) const {
    return mnemonicOf(parameter);
}

std::string GeneratorSession::meaning(int parameter, int value) const {
    std::string text = Session::meaning(parameter, value);
    const bool isError = parameter == Tk::ER || parameter == Tk::EL;
    if (isError && value >= 0 && value <= std::numeric_limits<unsigned char>::max()) {
        text += ": ";
        text += TkGeneratorErrors::getErrorMessage(static_cast<unsigned char>(value),
                                                   m_Engine.getGeneratorType());
    }
    return text;
}

void GeneratorSession::onValue(Tk::TextCommands parameter, const int *value) {
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
void GeneratorSession::answerHandshake(Tk::TextCommands parameter, int value) {
    if (value != 1) {
        return;
    }
    const int answer = m_AcceptPreps ? 1 : 0;
    m_Engine.transmitMsg(parameter, answer, false);
    note({Kind::reply, parameter, answer});
}

/// "TU" and "TB" have one event: the one that changed is meant, and either when both were told
/// again as they were.
void GeneratorSession::noteTube() {
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
