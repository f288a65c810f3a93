#include "tkinfimedcodec.h"

#include "tkconsolevocabulary.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <string>
#include <string_view>

namespace {

constexpr char CLOSE = '@';        // of a field, and of the body
constexpr std::size_t FRAMING = 3; // STX, ETX, sum
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
constexpr int LAST_STEP = 65533;
constexpr std::string_view STEPS[] = {"-3", "+3", "-2", "+2", "-1", "+1", "-0"};
constexpr std::string_view NO_STEP = "+0";

std::string_view stepText(int value) {
    return value >= FIRST_STEP && value <= LAST_STEP ? STEPS[value - FIRST_STEP] : NO_STEP;
}

static_assert(std::size(STEPS) == LAST_STEP - FIRST_STEP + 1);

/// A value of which nothing has come is 0.
int valueIn(TkInfimedForm form, std::string_view text) {
    const auto *const bytes = reinterpret_cast<const unsigned char *>(text.data());
    if (form == TkInfimedForm::none || text.empty()) {
        return 0;
    }
    switch (form) {
    case TkInfimedForm::digit:
        return *bytes - '0';
    case TkInfimedForm::byte:
        return *bytes;
    default:
        return tkNumberIn(bytes, bytes + text.size());
    }
}

std::string bodyOf(const TkInfimedCommand &row, int value, char step) {
    std::string body(row.sent);
    if (row.sentForm == TkInfimedForm::digit) {
        body += value == Tk::REQUEST_QUERY ? '?' : digitOf(value);
        body += CLOSE;
    } else if (row.sentForm == TkInfimedForm::step) {
        body.append(stepText(value)) += CLOSE;
        body += digitOf(step + 1);
        body += CLOSE;
    }
    return body;
}

} // namespace

TkInfimedCodec::TkInfimedCodec()
    : TkFrameCodec("src/tkinfimedcodec.cpp", __LINE__, FRAMING + LONGEST_BODY) {}

bool TkInfimedCodec::encode(int command, int value, char step) {
    const TkInfimedCommand *const row = TkInfimedCommandTable::find(command);
    const TkLock lock(m_Mutex);
    m_Encoded.clear();
    if (row == nullptr || row->sent.empty()) {
        return false;
    }
    const std::string body = bodyOf(*row, value, step);
    m_Encoded.push_back(STX);
    m_Encoded.insert(m_Encoded.end(), body.begin(), body.end());
    m_Encoded.push_back(TK_ETX);
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
    if (sum(body, end) != frame->back() || !TkInfimedCommandTable::knowsLetter(text)) {
        return false;
    }
    take(text);
    return true;
}

void TkInfimedCodec::take(std::string_view body) {
    const TkInfimedCommand *const row = TkInfimedCommandTable::toldBy(body);
    if (row == nullptr) {
        return;
    }
    const std::size_t closed = row->toldForm == TkInfimedForm::number ? 1 : 0;
    body.remove_prefix(std::min(row->told.size() + closed, body.size()));
    m_nCommand = row->number;
    m_nValue = valueIn(row->toldForm, body.substr(0, row->width));
    if (row->text) {
        body.remove_prefix(std::min(row->width, body.size()));
        body = body.substr(0, body.find(CLOSE));
        m_Text.assign(body.begin(), body.end());
    }
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
