#include "imaging_session.h"

#include <algorithm>
#include <charconv>

namespace {

// clang-format off
using Infimed = TkInfimedControl;
using GEHL = TkGEHLControl;

constexpr int query = Tk::REQUEST_QUERY; // the requests go up to it
constexpr int noRequest = query + 1;

constexpr const char *silent = "nothing answers it, use 'send'";
constexpr const char *stepOnly = "it only takes steps, use 'step edge +1'";
constexpr const char *toldOnly = "the console tells it by itself";

ImagingWords infimedDigit(const char *name, int command) {
    return {name, {command, nullptr, nullptr, {}}, 0, 9, query, "set to 0 to 9, query"};
}

/// Its steps go out as numbers.
ImagingWords infimedSteps(const char *name, int command) {
    return {name, {command, nullptr, nullptr, {}}, Infimed::STEP_DOWN_3, Infimed::STEP_UP_1, query,
            "step by -3 to +3, query"};
}

ImagingWords infimedBare(const char *name, int command) {
    return {name, {command, nullptr, nullptr, {}, silent, true}, 1, 0, query,
            "send, nothing answers"};
}

const std::vector<ImagingWords> infimedTable{
    infimedDigit("acquire", Infimed::ACQUIRE),
    {"edge", {Infimed::EDGE, nullptr, nullptr, {}, stepOnly},
        Infimed::STEP_UP_1, Infimed::STEP_UP_1, query, "step by +1; 'send' does that too"},
    infimedSteps("window", Infimed::WINDOW),
    infimedSteps("level", Infimed::LEVEL),
    infimedDigit("mask", Infimed::MASK),
    infimedDigit("invert", Infimed::INVERT),
    infimedDigit("horizontal-reverse", Infimed::HORIZ_REVERSE),
    infimedDigit("vertical-reverse", Infimed::VERT_REVERSE),
    {"version", {Infimed::VERSION, "code of a character", nullptr, {}}, 1, 0, query, "query"},
    {"text", {Infimed::TEXT, "1 once one has come", nullptr, {}, toldOnly}, 1, 0, noRequest,
        "what the console says in words"},
    infimedBare("alive", Infimed::ALIVE),
    infimedBare("1006", Infimed::COMMAND_1006),
    infimedBare("1007", Infimed::COMMAND_1007),
    infimedBare("1010", Infimed::COMMAND_1010),
    infimedBare("1011", Infimed::COMMAND_1011),
};

ImagingWords gehlDigit(const char *name, int command) {
    return {name, {command, nullptr, nullptr, {}}, 0, 9, Tk::REQUEST_DOWN_2,
            "set to 0 to 9, query, up, down, up2, down2"};
}

const std::vector<ImagingWords> gehlTable{
    gehlDigit("state", GEHL::STATE),
    gehlDigit("frame-rate", GEHL::FRAME_RATE),
    gehlDigit("fluoro-acquire", GEHL::FLUORO_ACQUIRE),
    {"store-loop", {GEHL::STORE_LOOP, nullptr, nullptr, {}, silent}, 0, 9, noRequest,
        "send with 0 to 9, nothing answers"},
    gehlDigit("horizontal-reverse", GEHL::HORIZ_REVERSE),
    gehlDigit("vertical-reverse", GEHL::VERT_REVERSE),
    {"receptor", {GEHL::RECEPTOR, nullptr, nullptr, {}}, 0, 9, noRequest, "set to 0 to 9"},
    {"number", {GEHL::NUMBER, "no event tells of it", nullptr, {}}, 0, 9999, noRequest,
        "set to 0 to 9999"},
};
// clang-format on

} // namespace

ImagingSession::ImagingSession(TkComms &device, const Wakeup &wakeup,
                               const std::vector<ImagingWords> &table)
    : Session(device, wakeup), m_Table(table) {
    for (const ImagingWords &each : table) {
        m_Words.push_back(each.words);
    }
}

const ImagingWords *ImagingSession::row(int parameter) const {
    const auto found = std::find_if(m_Table.begin(), m_Table.end(), [=](const ImagingWords &each) {
        return each.words.parameter == parameter;
    });
    return found == m_Table.end() ? nullptr : &*found;
}

std::string ImagingSession::name(int parameter) const {
    const ImagingWords *const found = row(parameter);
    return found ? found->name : std::to_string(parameter);
}

/// Its number is a name too.
std::optional<int> ImagingSession::find(const std::string &name) const {
    int number = -1;
    const char *const end = name.data() + name.size();
    const bool whole = std::from_chars(name.data(), end, number).ptr == end;
    for (const ImagingWords &each : m_Table) {
        if (name == each.name || (whole && number == each.words.parameter)) {
            return each.words.parameter;
        }
    }
    return std::nullopt;
}

std::string ImagingSession::description(int parameter) const {
    const ImagingWords *const found = row(parameter);
    return found ? found->description : "";
}

std::string ImagingSession::objection(int command, int value) const {
    const ImagingWords *const found = row(command);
    const bool fits = found && ((value >= found->least && value <= found->most) ||
                                (value >= found->leastRequest && value <= Tk::REQUEST_QUERY));
    return fits ? "" : name(command) + " allows: " + description(command);
}

InfimedSession::InfimedSession(TkComms &device, const Wakeup &wakeup)
    : SessionWith(device, wakeup, infimedTable) {}

/// The event also comes when no text has been added.
void InfimedSession::infimed_error_message() {
    for (std::string text = m_Engine.errorMsg(); !text.empty(); text = m_Engine.errorMsg()) {
        note({Kind::text, TkInfimedControl::TEXT, 0, text});
    }
}

GEHLSession::GEHLSession(TkComms &device, const Wakeup &wakeup)
    : SessionWith(device, wakeup, gehlTable) {}
