#include "tkframecodec.h"

#include "tk.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <numeric>

namespace {

constexpr unsigned char BLANK = ' ';
constexpr std::size_t LONGEST_VALUE = 9; // characters of a value's text
constexpr std::size_t LONGEST_MNEMONIC = 3;

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
std::size_t itemText(const TkTextItem &row, int value, char (&text)[16]) {
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

} // namespace

int tkNumberIn(const unsigned char *text, const unsigned char *end) {
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

// --- A frame -------------------------------------------------------------------------------------

TkFrameCodec::TkFrameCodec(const char *source, int line, std::size_t longest) {
    try {
        m_Encoded.reserve(longest);
    } catch (const std::bad_alloc &) {
        std::fprintf(stderr, "Unable to allocate memory for encoded msg. [%s] , [%d]\n", source,
                     line);
    }
}

std::vector<unsigned char> TkFrameCodec::encodedMsg() {
    const TkLock lock(m_Mutex);
    return m_Encoded;
}

// --- Items ---------------------------------------------------------------------------------------

bool TkItemCodec::encodeItem(int command, int value) {
    const TkTextItem *const row = m_Find(command);
    char text[16];
    std::size_t length = 0;
    if (row != nullptr && row->sentDigits != TkTextItem::NOT_SENT) {
        length = itemText(*row, value, text);
    }
    m_Encoded.assign(text, text + length);
    return length > 0;
}

bool TkItemCodec::decodeItems(const unsigned char *text, const unsigned char *end) {
    forgetItems();
    const auto items = static_cast<std::size_t>(std::count(text, end, BLANK)) + 1;
    m_Commands.reserve(items);
    m_Values.reserve(items);
    const bool good = takeItems(text, end);
    if (!good) {
        forgetItems();
    }
    return good;
}

void TkItemCodec::forgetItems() {
    m_Commands.clear();
    m_Values.clear();
}

/// Items have no delimiter of their own: a mnemonic fixes how long its value is, one blank leads to
/// the next item, and anything else ends the frame.
bool TkItemCodec::takeItems(const unsigned char *text, const unsigned char *end) {
    for (;; ++text) {
        const unsigned char *const letters = text;
        text = std::find_if_not(text, end, isLetter);
        const TkTextItem *const row = receivedItem(letters, text);
        if (row == nullptr) {
            return false;
        }
        if (row->number != m_nLead) {
            const bool minus = row->kind == TkValueKind::signedWidth && text != end && *text == '-';
            const unsigned char *const value = text;
            const auto width =
                std::min<std::ptrdiff_t>(row->replyChars + (minus ? 1 : 0), end - text);
            text = std::find(value, value + width, TK_ETX);
            m_Commands.push_back(row->number);
            m_Values.push_back(tkNumberIn(value, text));
        }
        if (text == end || *text != BLANK) {
            return true;
        }
    }
}

/// The row that receives the mnemonic from `text` up to `end`, or null.
const TkTextItem *TkItemCodec::receivedItem(const unsigned char *text,
                                            const unsigned char *end) const {
    if (static_cast<std::size_t>(end - text) > LONGEST_MNEMONIC) {
        return nullptr; // its packed number would be another's
    }
    const int packed =
        std::accumulate(text, end, 0, [](int a, int letter) { return a * 256 + letter; });
    const TkTextItem *const row = m_Find(packed);
    return row != nullptr && row->replyChars != TkTextItem::NEVER ? row : nullptr;
}

int TkItemCodec::getNumCmds() const {
    return static_cast<int>(m_Commands.size());
}

int TkItemCodec::decodedCmd(int index) {
    return item(m_Commands, index);
}

int TkItemCodec::decodedValue(int index) {
    return item(m_Values, index);
}

int TkItemCodec::item(const std::vector<int> &items, int index) {
    const TkLock lock(m_Mutex);
    const auto place = static_cast<std::size_t>(index);
    return index >= 0 && place < items.size() ? items[place] : 0;
}
