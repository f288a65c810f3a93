#include "tkinfimedcodec.h"

#include "tk.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <string>
#include <string_view>

namespace {

constexpr unsigned char STX = 0x02;
constexpr unsigned char ETX = 0x03;
constexpr unsigned char CLOSE = '@'; // of a field, and of the body
constexpr std::size_t FRAMING = 3;   // STX, ETX, sum
constexpr std::size_t LONGEST_BODY = 10;

unsigned char sum(const unsigned char *body, const unsigned char *end) {
    return std::accumulate(body, end, static_cast<unsigned char>(0), [](unsigned char a, auto b) {
        return static_cast<unsigned char>(a ^ b);
    });
}

char digitOf(int value) {
    return static_cast<char>(static_cast<unsigned char>(value) + '0');
}

/// The steps of window and level, from the first number on.
constexpr int FIRST_STEP = 65527;
constexpr std::string_view STEPS[] = {"-3", "+3", "-2", "+2", "-1", "+1", "-0"};
constexpr std::string_view NO_STEP = "+0";

std::string_view stepText(int value) {
    const int place = value - FIRST_STEP;
    return value >= FIRST_STEP && place < static_cast<int>(std::size(STEPS)) ? STEPS[place]
                                                                             : NO_STEP;
}

enum class Value { none, digit, number, byte };

/// What a body tells that begins with certain letters.
struct Told {
    std::string_view begins;
    int command;
    Value value;
    std::size_t at; // in the body
    std::size_t width;
    bool text; // behind the value, up to the next "@"
};

// clang-format off
constexpr Told TOLD[] = {
    // begins  command                       value          at  width  text
    {"*",      TkInfimedCommandTable::TEXT,  Value::none,   1,  0,     true},
    {"_j",     1001,                         Value::digit,  2,  1,     true},
    {"j0",     1003,                         Value::number, 3,  5,     false},
    {"j1",     1004,                         Value::number, 3,  5,     false},
    {"j2",     1002,                         Value::number, 3,  4,     false},
    {"_",      0,                            Value::none,   0,  0,     false},
    {"j",      0,                            Value::none,   0,  0,     false},
    {"l",      1008,                         Value::digit,  1,  1,     false},
    {"M",      1009,                         Value::digit,  1,  1,     false},
    {"m",      1009,                         Value::digit,  1,  1,     false},
    {"n",      1012,                         Value::digit,  1,  1,     false},
    {"q",      1005,                         Value::digit,  1,  1,     false},
    {"v",      1013,                         Value::byte,   1,  1,     false},
};
// clang-format on

const Told *toldBy(std::string_view body) {
    const auto *const row = std::find_if(std::begin(TOLD), std::end(TOLD), [body](const Told &one) {
        return body.substr(0, one.begins.size()) == one.begins;
    });
    return row != std::end(TOLD) ? row : nullptr;
}

/// A value of which nothing has come is 0.
int valueIn(const Told &row, const unsigned char *body, const unsigned char *end) {
    const auto size = static_cast<std::size_t>(end - body);
    if (row.value == Value::none || size <= row.at) {
        return 0;
    }
    const unsigned char *const first = body + row.at;
    switch (row.value) {
    case Value::digit:
        return *first - '0';
    case Value::byte:
        return *first;
    default:
        return tkNumberIn(first, body + std::min(size, row.at + row.width));
    }
}

} // namespace

// clang-format off
constexpr std::array<TkInfimedCommand, 14> TkInfimedCommandTable::rows{{
    //         body          kind                  answered
        {1000, ")@",         TkInfimedBody::fixed, false}, // a sign of life
        {1001, "_J",         TkInfimedBody::digit, true},  // acquire
        {1002, "J2@+1@1@",   TkInfimedBody::fixed, true},  // edge
        {1003, "J0@",        TkInfimedBody::step,  true},  // window
        {1004, "J1@",        TkInfimedBody::step,  true},  // level
        {1005, "Q",          TkInfimedBody::digit, true},  // mask
        {1006, "(0@",        TkInfimedBody::fixed, false},
        {1007, "_>0@",       TkInfimedBody::fixed, false},
        {1008, "L",          TkInfimedBody::digit, true},  // horizontal reverse
        {1009, "M",          TkInfimedBody::digit, true},  // vertical reverse
        {1010, "&5@",        TkInfimedBody::fixed, false},
        {1011, "&4@",        TkInfimedBody::fixed, false},
        {1012, "N",          TkInfimedBody::digit, true},  // invert
        {1013, "v00100000@", TkInfimedBody::fixed, false},  // version
}};
// clang-format on

constexpr std::array<int, 10> TkInfimedCommandTable::keys{1001, 1002, 1003, 1004, 1005,
                                                          1012, 1008, 1009, 1013, TEXT};

namespace {

constexpr bool numbersCount() {
    int expected = 1000;
    for (const TkInfimedCommand &row : TkInfimedCommandTable::rows) {
        if (row.number != expected++) {
            return false;
        }
    }
    return true;
}

static_assert(numbersCount());

} // namespace

const TkInfimedCommand *TkInfimedCommandTable::find(int number) {
    const int place = number - rows.front().number;
    return number >= rows.front().number && place < static_cast<int>(rows.size())
               ? &rows[static_cast<std::size_t>(place)]
               : nullptr;
}

TkInfimedCodec::TkInfimedCodec() : TkFrameCodec("src/tkinfimedcodec", FRAMING + LONGEST_BODY) {}

bool TkInfimedCodec::encode(int command, int value, char step) {
    const TkInfimedCommand *const row = TkInfimedCommandTable::find(command);
    const TkLock lock(m_Mutex);
    m_Encoded.clear();
    if (row == nullptr) {
        return false;
    }
    std::string body = row->body;
    if (row->kind == TkInfimedBody::digit) {
        body += value == Tk::REQUEST_QUERY ? '?' : digitOf(value);
        body += CLOSE;
    } else if (row->kind == TkInfimedBody::step) {
        body.append(stepText(value)) += CLOSE;
        body += digitOf(step + 1);
        body += CLOSE;
    }
    m_Encoded.push_back(STX);
    m_Encoded.insert(m_Encoded.end(), body.begin(), body.end());
    m_Encoded.push_back(ETX);
    m_Encoded.push_back(sum(m_Encoded.data() + 1, m_Encoded.data() + 1 + body.size()));
    return true;
}

bool TkInfimedCodec::decode(std::vector<unsigned char> *frame) {
    const TkLock lock(m_Mutex);
    m_Text.clear();
    m_nCommand = 0;
    m_nValue = 0;
    if (frame == nullptr || frame->size() < FRAMING) {
        return false;
    }
    const unsigned char *const body = frame->data() + 1;
    const unsigned char *const end = frame->data() + frame->size() - 2;
    const std::string_view text(reinterpret_cast<const char *>(body),
                                static_cast<std::size_t>(end - body));
    const Told *const row = toldBy(text);
    if (sum(body, end) != frame->back() || row == nullptr) {
        return false;
    }
    m_nCommand = row->command;
    m_nValue = valueIn(*row, body, end);
    if (row->text) {
        const std::size_t begin = std::min(row->at + row->width, text.size());
        m_Text.assign(body + begin, std::find(body + begin, end, CLOSE));
    }
    return true;
}

int TkInfimedCodec::decodedCmd() {
    const TkLock lock(m_Mutex);
    return m_nCommand;
}

int TkInfimedCodec::decodedValue() {
    const TkLock lock(m_Mutex);
    return m_nValue;
}

std::vector<unsigned char> TkInfimedCodec::errorMsg() {
    const TkLock lock(m_Mutex);
    return m_Text;
}

bool TkInfimedCodec::isErrorAvailable() {
    const TkLock lock(m_Mutex);
    return !m_Text.empty();
}
