#include "tkgehlcodec.h"

#include <algorithm>

namespace {

constexpr unsigned char ETX = 0x03;
constexpr std::size_t LONGEST_FRAME = 12; // letter, value, ETX

const TkTextItem *find(int number) {
    return TkGEHLCommandTable::find(number);
}

} // namespace

// clang-format off
constexpr std::array<TkGEHLCommand, TkGEHLCommandTable::SIZE> TkGEHLCommandTable::rows{{
    //             sent  forms  reply  value kind           answered
        {{'S', "S",  1,   true,  1,     TkValueKind::plain}, true},  // state
        {{'F', "F",  1,   true,  1,     TkValueKind::plain}, true},  // frame rate
        {{'B', "B",  1,   true,  1,     TkValueKind::plain}, true},  // fluoroscopic acquisition
        {{'L', "L",  1,   false, 1,     TkValueKind::plain}, false}, // store loop
        {{'H', "H",  1,   true,  1,     TkValueKind::plain}, true},  // horizontal reverse
        {{'V', "V",  1,   true,  1,     TkValueKind::plain}, true},  // vertical reverse
        {{'R', "R",  1,   false, 1,     TkValueKind::plain}, true},  // receptor
        {{'N', "N",  4,   false, 4,     TkValueKind::plain}, true},  // a number of the console's
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

static_assert(numbersAreLetters());

} // namespace

const TkGEHLCommand *TkGEHLCommandTable::find(int number) {
    const auto *const row =
        std::find_if(rows.begin(), rows.end(),
                     [number](const TkGEHLCommand &one) { return one.number == number; });
    return row != rows.end() ? row : nullptr;
}

TkGEHLTextCodec::TkGEHLTextCodec() : TkItemCodec("src/tkgehlcodec", LONGEST_FRAME, find) {}

bool TkGEHLTextCodec::encode(int command, int value) {
    const TkLock lock(m_Mutex);
    if (!encodeItem(command, value)) {
        return false;
    }
    m_Encoded.push_back(ETX);
    return true;
}

bool TkGEHLTextCodec::decode(std::vector<unsigned char> *frame) {
    const TkLock lock(m_Mutex);
    forgetItems();
    return frame != nullptr && decodeItems(frame->data(), frame->data() + frame->size());
}
