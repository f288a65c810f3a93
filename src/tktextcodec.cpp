#include "tktextcodec.h"

#include "tkvocabulary.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <numeric>

namespace {

constexpr unsigned char ETX = 0x03;
constexpr unsigned char BLANK = ' ';
constexpr std::size_t LONGEST_VALUE = 9; // characters of a value's text
constexpr std::size_t LONGEST_LINE = 99; // characters of a program line

unsigned char sum(const unsigned char *bytes, const unsigned char *end) {
    return std::accumulate(bytes, end, static_cast<unsigned char>(0), [](unsigned char a, auto b) {
        return static_cast<unsigned char>(a + b);
    });
}

bool isLetter(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool isSpace(unsigned char c) {
    return c == BLANK || (c >= '\t' && c <= '\r');
}

const char *requestText(int value) {
    switch (value) {
    case Tk::REQUEST_QUERY:
        return "?";
    case Tk::REQUEST_UP:
        return "+";
    case Tk::REQUEST_DOWN:
        return "-";
    case Tk::REQUEST_UP_2:
        return "++";
    case Tk::REQUEST_DOWN_2:
        return "--";
    default:
        return nullptr;
    }
}

/// Writes mnemonic and value of a command. Returns the length, or 0 when the value is too long. A
/// request counts as a value without a minus, so that it too stands behind the plus of "FN+".
std::size_t commandText(const TkCommand &row, int value, char (&text)[16]) {
    const bool negative = value < 0;
    const char *const plus = row.kind == TkValueKind::plusSigned && !negative ? "+" : "";
    const int signedDigits = row.kind != TkValueKind::plain && negative ? 1 : 0;
    char digits[16] = "";
    if (const char *const request = requestText(value)) {
        std::strcpy(digits, row.requestForms ? request : "");
    } else if (row.sentDigits > 0) {
        std::snprintf(digits, sizeof digits, "%0*d", row.sentDigits + signedDigits, value);
    }
    if (std::strlen(digits) > LONGEST_VALUE) {
        return 0;
    }
    return static_cast<std::size_t>(
        std::snprintf(text, sizeof text, "%s%s%s", row.mnemonic, plus, digits));
}

/// What std::atoi makes of at most seven characters: blanks, a sign, digits up to the first other
/// character; 0 without a digit.
int number(const unsigned char *text, const unsigned char *end) {
    text = std::find_if_not(text, end, isSpace);
    const bool negative = text != end && *text == '-';
    if (text != end && (*text == '-' || *text == '+')) {
        ++text;
    }
    int value = 0;
    for (; text != end && *text >= '0' && *text <= '9'; ++text) {
        value = value * 10 + (*text - '0');
    }
    return negative ? -value : value;
}

/// The row that receives the mnemonic from `text` up to `end`, or null.
const TkCommand *receivedRow(const unsigned char *text, const unsigned char *end) {
    if (end - text > 3) {
        return nullptr; // longer than any mnemonic, and than its packed number
    }
    const int packed =
        std::accumulate(text, end, 0, [](int a, int letter) { return a * 256 + letter; });
    const TkCommand *const row = TkCommandTable::find(packed);
    return row != nullptr && row->replyChars != TkCommandTable::NEVER ? row : nullptr;
}

} // namespace

TkTextCodec::TkTextCodec() {
    try {
        m_Encoded.reserve(LONGEST_LINE + 2);
    } catch (const std::bad_alloc &) {
        std::fprintf(stderr, "Unable to allocate memory for encoded msg. [%s] , [%d]\n",
                     "src/tktextcodec", __LINE__);
    }
}

bool TkTextCodec::encode(int command, int value) {
    const TkCommand *const row = TkCommandTable::find(command);
    char text[16];
    std::size_t length = 0;
    if (row != nullptr && row->sentDigits != TkCommandTable::NOT_SENT) {
        length = commandText(*row, value, text);
    }
    const TkLock lock(m_Mutex);
    m_Encoded.clear();
    if (length == 0) {
        return false;
    }
    closeFrame(text, length);
    return true;
}

bool TkTextCodec::encodeAprMsg(int ws, int fo, int et, int fi, int fs, int fn, int kv, int ma,
                               int ms) {
    // A density of 0 has a blank where others have their sign.
    const char *const sign = fn > 0 ? "+" : fn == 0 ? " " : "";
    char line[LONGEST_LINE + 1];
    const int length = std::snprintf(
        line, sizeof line, "SA WS%01d FO%01d ET%01d FI%03d FS%03d FN%s%01d KV%03d MA%05d MS%05d",
        ws, fo, et, fi, fs, sign, fn, kv, ma, ms);
    const TkLock lock(m_Mutex);
    m_Encoded.clear();
    closeFrame(line, std::min(static_cast<std::size_t>(length), LONGEST_LINE));
    return true;
}

void TkTextCodec::closeFrame(const char *text, std::size_t length) {
    m_Encoded.assign(text, text + length);
    m_Encoded.push_back(ETX);
    m_Encoded.push_back(sum(m_Encoded.data(), m_Encoded.data() + m_Encoded.size()));
}

std::vector<unsigned char> TkTextCodec::encodedMsg() {
    const TkLock lock(m_Mutex);
    return m_Encoded;
}

bool TkTextCodec::decode(std::vector<unsigned char> *frame) {
    const TkLock lock(m_Mutex);
    m_Commands.clear();
    m_Values.clear();
    if (frame == nullptr || frame->empty()) {
        return false;
    }
    const unsigned char *const text = frame->data();
    const unsigned char *const end = text + frame->size() - 1;
    if (sum(text, end) != *end) {
        return false;
    }
    const auto items = static_cast<std::size_t>(std::count(text, end, BLANK)) + 1;
    m_Commands.reserve(items);
    m_Values.reserve(items);
    if (!decodeItems(text, end)) {
        m_Commands.clear();
        m_Values.clear();
        return false;
    }
    return true;
}

/// Items have no delimiter of their own: a mnemonic fixes how long its value is, one blank leads to
/// the next item, and anything else ends the frame.
bool TkTextCodec::decodeItems(const unsigned char *text, const unsigned char *end) {
    for (;; ++text) {
        const unsigned char *const letters = text;
        text = std::find_if_not(text, end, isLetter);
        const TkCommand *const row = receivedRow(letters, text);
        if (row == nullptr) {
            return false;
        }
        if (row->number != Tk::SA) {
            const bool minus = row->kind == TkValueKind::signedWidth && text != end && *text == '-';
            const unsigned char *const value = text;
            const auto width =
                std::min<std::ptrdiff_t>(row->replyChars + (minus ? 1 : 0), end - text);
            text = std::find(value, value + width, ETX);
            m_Commands.push_back(row->number);
            m_Values.push_back(number(value, text));
        }
        if (text == end || *text != BLANK) {
            return true;
        }
    }
}

int TkTextCodec::getNumCmds() const {
    return static_cast<int>(m_Commands.size());
}

int TkTextCodec::decodedCmd(int index) {
    return item(m_Commands, index);
}

int TkTextCodec::decodedValue(int index) {
    return item(m_Values, index);
}

int TkTextCodec::item(const std::vector<int> &items, int index) {
    const TkLock lock(m_Mutex);
    const auto place = static_cast<std::size_t>(index);
    return index >= 0 && place < items.size() ? items[place] : 0;
}
