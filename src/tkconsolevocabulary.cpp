#include "tkconsolevocabulary.h"

#include <algorithm>

namespace {

using Form = TkInfimedForm;

template <class Rows, class Condition>
auto findIf(const Rows &rows, Condition condition) -> decltype(rows.data()) {
    const auto row = std::find_if(rows.begin(), rows.end(), condition);
    return row != rows.end() ? &*row : nullptr;
}

template <class Rows>
auto findNumber(const Rows &rows, int number) {
    return findIf(rows, [number](const auto &row) { return row.number == number; });
}

} // namespace

// clang-format off
constexpr std::array<TkGEHLCommand, 8> TkGEHLCommandTable::rows{{
    //             sent  forms  reply  value kind           answered  event
        {{'S', "S",  1,   true,  1,     TkValueKind::plain}, true,  &TkGEHLDispatcher::gehl_state_changed},
        {{'F', "F",  1,   true,  1,     TkValueKind::plain}, true,  &TkGEHLDispatcher::gehl_frame_rate_changed},
        {{'B', "B",  1,   true,  1,     TkValueKind::plain}, true,  &TkGEHLDispatcher::gehl_fluoro_acquire_changed},
        {{'L', "L",  1,   false, 1,     TkValueKind::plain}, false, &TkGEHLDispatcher::gehl_store_loop_changed},
        {{'H', "H",  1,   true,  1,     TkValueKind::plain}, true,  &TkGEHLDispatcher::gehl_horz_reverse_changed},
        {{'V', "V",  1,   true,  1,     TkValueKind::plain}, true,  &TkGEHLDispatcher::gehl_vert_reverse_changed},
        {{'R', "R",  1,   false, 1,     TkValueKind::plain}, true,  &TkGEHLDispatcher::gehl_receptor_changed},
        {{'N', "N",  4,   false, 4,     TkValueKind::plain}, true,  {}},
}};

constexpr std::array<TkInfimedCommand, 16> TkInfimedCommandTable::rows{{
    //         sent          form         answered  told  form         width  text  event
        {1000, ")@",         Form::fixed, false,    "",   Form::none,   0,    false, {}},
        {1001, "_J",         Form::digit, true,     "_j", Form::digit,  1,    true,  &TkInfimedDispatcher::infimed_aquire_changed},
        {1002, "J2@+1@1@",   Form::fixed, true,     "j2", Form::number, 4,    false, &TkInfimedDispatcher::infimed_edge_changed},
        {1003, "J0@",        Form::step,  true,     "j0", Form::number, 5,    false, &TkInfimedDispatcher::infimed_window_changed},
        {1004, "J1@",        Form::step,  true,     "j1", Form::number, 5,    false, &TkInfimedDispatcher::infimed_level_changed},
        {1005, "Q",          Form::digit, true,     "q",  Form::digit,  1,    false, &TkInfimedDispatcher::infimed_mask_changed},
        {1006, "(0@",        Form::fixed, false,    "",   Form::none,   0,    false, {}},
        {1007, "_>0@",       Form::fixed, false,    "",   Form::none,   0,    false, {}},
        {1008, "L",          Form::digit, true,     "l",  Form::digit,  1,    false, &TkInfimedDispatcher::infimed_horiz_reverse_changed},
        {1009, "M",          Form::digit, true,     "m",  Form::digit,  1,    false, &TkInfimedDispatcher::infimed_vert_reverse_changed},
        {1010, "&5@",        Form::fixed, false,    "",   Form::none,   0,    false, {}},
        {1011, "&4@",        Form::fixed, false,    "",   Form::none,   0,    false, {}},
        {1012, "N",          Form::digit, true,     "n",  Form::digit,  1,    false, &TkInfimedDispatcher::infimed_invert_changed},
        {1013, "v00100000@", Form::fixed, false,    "v",  Form::byte,   1,    false, &TkInfimedDispatcher::infimed_version_changed},
        {2000, "",           Form::none,  false,    "*",  Form::none,   0,    true,  &TkInfimedDispatcher::infimed_error_message},
        {1009, "",           Form::none,  false,    "M",  Form::digit,  1,    false, {}}, // as it also tells it
}};
// clang-format on

namespace {

constexpr bool numbersAreLetters() {
    for (const TkGEHLCommand &row : TkGEHLCommandTable::rows) {
        if (row.number != tkPacked(row.mnemonic) || row.mnemonic[1] != 0) {
            return false;
        }
    }
    return true;
}

constexpr bool commandsCount() {
    int expected = 1000;
    for (const TkInfimedCommand &row : TkInfimedCommandTable::rows) {
        if (!row.sent.empty() && row.number != expected++) {
            return false;
        }
    }
    return expected == 1014;
}

/// Whoever tells something is heard: what is told is a parameter.
constexpr bool toldHaveEvents() {
    for (const TkInfimedCommand &row : TkInfimedCommandTable::rows) {
        if (!row.sent.empty() && row.told.empty() == static_cast<bool>(row.event)) {
            return false;
        }
    }
    return true;
}

static_assert(numbersAreLetters());
static_assert(commandsCount());
static_assert(toldHaveEvents());

} // namespace

const TkGEHLCommand *TkGEHLCommandTable::find(int number) {
    return findNumber(rows, number);
}

const TkInfimedCommand *TkInfimedCommandTable::find(int number) {
    return findNumber(rows, number);
}

const TkInfimedCommand *TkInfimedCommandTable::toldBy(std::string_view body) {
    return findIf(rows, [body](const TkInfimedCommand &row) {
        return !row.told.empty() && body.substr(0, row.told.size()) == row.told;
    });
}

bool TkInfimedCommandTable::knowsLetter(std::string_view body) {
    return !body.empty() && findIf(rows, [body](const TkInfimedCommand &row) {
        return !row.told.empty() && row.told.front() == body.front();
    });
}
