#include "tktextcodec.h"

#include "tkvocabulary.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace {

constexpr std::size_t LONGEST_LINE = 99; // characters of a program line

unsigned char sum(const unsigned char *bytes, const unsigned char *end) {
    return std::accumulate(bytes, end, static_cast<unsigned char>(0), [](unsigned char a, auto b) {
        return static_cast<unsigned char>(a + b);
    });
}

const TkTextItem *find(int number) {
    return TkCommandTable::find(number);
}

} // namespace

TkTextCodec::TkTextCodec()
    : TkItemCodec("src/tktextcodec.cpp", __LINE__, LONGEST_LINE + 2, find, Tk::SA) {}

bool TkTextCodec::encode(int command, int value) {
    const TkLock lock(m_Mutex);
    if (!encodeItem(command, value)) {
        return false;
    }
    closeFrame();
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
    m_Encoded.assign(line, line + std::min(static_cast<std::size_t>(length), LONGEST_LINE));
    closeFrame();
    return true;
}

void TkTextCodec::closeFrame() {
    m_Encoded.push_back(TK_ETX);
    m_Encoded.push_back(sum(m_Encoded.data(), m_Encoded.data() + m_Encoded.size()));
}

bool TkTextCodec::decode(std::vector<unsigned char> *frame) {
    const TkLock lock(m_Mutex);
    forgetItems();
    if (frame == nullptr || frame->empty()) {
        return false;
    }
    const unsigned char *const text = frame->data();
    const unsigned char *const end = text + frame->size() - 1;
    return sum(text, end) == *end && decodeItems(text, end);
}
