#include "tkstatusrules.h"

#include "tkgeneratorcontrol.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

// --- The conditions of which rules are made -----------------------------------------------------
// Numbers are compared as they are: an unknown parameter is a number like any other.

using S = const TkStation &;
using Rule = bool (*)(S);

template <Rule... Rules>
bool all(S s) {
    return (Rules(s) && ...);
}

template <Rule... Rules>
bool any(S s) {
    return (Rules(s) || ...);
}

bool always(S /*s*/) {
    return true;
}

bool never(S /*s*/) {
    return false;
}

template <Tk::TextCommands Parameter, int... Values>
bool isNot(S s) {
    const int value = s.engine->getGenParam(Parameter);
    return ((value != Values) && ...);
}

template <Tk::TextCommands Parameter, int Most>
bool atMost(S s) {
    return s.engine->getGenParam(Parameter) <= Most;
}

template <int Technique>
bool technique(S s) {
    return s.technique == Technique;
}

template <int Technique>
bool techniqueNot(S s) {
    return s.technique != Technique;
}

template <int... Interfaces>
bool interfaceNot(S s) {
    return ((s.receptorInterface != Interfaces) && ...);
}

template <int State>
bool functional(S s) {
    return s.functional == State;
}

template <int Mode>
bool backup(S s) {
    return s.aecBackupMode == Mode;
}

template <Tk::Features Feature>
bool feature(S s) {
    return s.engine->isFeatureEnabled(Feature);
}

template <int Revision>
bool from(S s) {
    return s.revision >= Revision;
}

template <int Revision>
bool before(S s) {
    return s.revision < Revision;
}

bool tomo(S s) {
    return s.tomo != 0;
}

bool fluoro(S s) {
    return s.fluoro != 0;
}

bool serial(S s) {
    return s.serial != 0;
}

bool meter(S s) {
    return s.meter;
}

/// The receptor has an AEC channel with another medium than 1, which leaves no choice.
bool aecMedia(S s) {
    return s.hasAec && s.media != 1;
}

// --- The rules ----------------------------------------------------------------------------------

struct Row {
    Tk::TextCommands command;
    Rule displayable;
    Rule controllable;
};

constexpr auto TOMOGRAPHY = Tk::FEATURE_TOMOGRAPHY;
constexpr auto TABLE = Tk::FEATURE_DORVA_TABLE;
constexpr auto ROTATION = Tk::FEATURE_ROTATION_SELECTION;

// clang-format off
constexpr std::array<Row, 33> RULES{{
    //        displayable                                             controllable
    {Tk::WS,  always,                                                 always},
    {Tk::ET,  always,                                                 interfaceNot<4>},
    {Tk::KV,  interfaceNot<4>,                                        interfaceNot<4>},
    {Tk::FO,  interfaceNot<4>,                                        interfaceNot<4>},
    {Tk::MA,  interfaceNot<4>,                                        all<interfaceNot<4>, techniqueNot<1>>},
    {Tk::MS,  interfaceNot<4>,                                        all<interfaceNot<4>, techniqueNot<1>, any<techniqueNot<2>, backup<2>>>},
    {Tk::MX,  interfaceNot<4>,                                        all<interfaceNot<4>, techniqueNot<0>, any<techniqueNot<2>, backup<1>>>},
    {Tk::FS,  aecMedia,                                               all<interfaceNot<2, 3, 4, 9, 11>, technique<2>>},
    {Tk::FI,  all<aecMedia, isNot<Tk::FI, 0>>,                        all<interfaceNot<4, 9, 11>, technique<2>>},
    {Tk::FN,  all<interfaceNot<2, 3, 4, 9, 10, 11>, technique<2>>,    all<interfaceNot<2, 3, 4, 9, 10>, technique<2>>},
    {Tk::TU,  always,                                                 never},
    {Tk::TB,  always,                                                 never},
    {Tk::HE,  always,                                                 never},
    {Tk::AL,  all<serial, from<300>>,                                 never},
    {Tk::CN,  all<functional<2>, from<300>>,                          never},
    {Tk::DA,  all<isNot<Tk::DS, 0>, meter>,                           never},
    {Tk::DR,  all<isNot<Tk::DS, 0>, meter>,                           never},
    {Tk::ATA, all<feature<TOMOGRAPHY>, tomo>,                         all<feature<TOMOGRAPHY>, tomo>},
    {Tk::ATC, all<feature<TOMOGRAPHY>, tomo>,                         all<feature<TOMOGRAPHY>, tomo>},
    {Tk::COL, feature<TABLE>,                                         feature<TABLE>},
    {Tk::FIL, feature<TABLE>,                                         feature<TABLE>},
    {Tk::FP,  all<feature<ROTATION>, functional<5>>,                  feature<ROTATION>},
    {Tk::FLA, fluoro,                                                 fluoro},
    {Tk::FLI, fluoro,                                                 fluoro},
    {Tk::FLT, fluoro,                                                 fluoro},
    {Tk::FLZ, fluoro,                                                 fluoro},
    {Tk::FLK, fluoro,                                                 all<fluoro, atMost<Tk::FLA, 0>>},
    {Tk::FLM, fluoro,                                                 all<fluoro, isNot<Tk::FLA, 2>>},
    {Tk::FLF, all<fluoro, any<isNot<Tk::FLF, 2, 4>, interfaceNot<11>>>, fluoro},
    {Tk::FLS, all<fluoro, interfaceNot<2, 11>>,                       all<fluoro, isNot<Tk::FLF, 0, 1, 3>>},
    {Tk::FLC, all<fluoro, from<300>>,                                 all<fluoro, isNot<Tk::FLA, 0>, from<300>>},
    {Tk::FLO, all<fluoro, from<300>>,                                 all<fluoro, isNot<Tk::FLA, 0>, from<300>>},
    {Tk::FLD, all<fluoro, before<300>>,                               all<fluoro, before<300>>},
}};
// clang-format on

/// The rows in the order of their numbers, for a binary search.
constexpr auto byNumber() {
    auto rows = RULES;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        for (std::size_t j = i; j > 0 && rows[j - 1].command > rows[j].command; --j) {
            const Row row = rows[j];
            rows[j] = rows[j - 1];
            rows[j - 1] = row;
        }
    }
    return rows;
}

constexpr auto SORTED = byNumber();

constexpr bool numbersAreUnique() {
    for (std::size_t i = 1; i < SORTED.size(); ++i) {
        if (SORTED[i - 1].command == SORTED[i].command) {
            return false;
        }
    }
    return true;
}
static_assert(numbersAreUnique(), "one row a parameter");

const Row *find(int command) {
    const auto *const row = std::lower_bound(
        SORTED.begin(), SORTED.end(), command,
        [](const Row &candidate, int number) { return candidate.command < number; });
    return row != SORTED.end() && row->command == command ? row : nullptr;
}

} // namespace

bool TkStatusRules::displayable(int command, const TkStation &station) {
    const Row *const row = find(command);
    return row != nullptr && row->displayable(station);
}

bool TkStatusRules::controllable(int command, const TkStation &station) {
    const Row *const row = find(command);
    return row != nullptr && row->controllable(station);
}
