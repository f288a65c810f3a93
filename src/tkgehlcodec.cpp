#include "tkgehlcodec.h"

#include "tkconsolevocabulary.h"

namespace {

constexpr std::size_t LONGEST_FRAME = 12; // letter, value, ETX

const TkTextItem *find(int number) {
    return TkGEHLCommandTable::find(number);
}

} // namespace

TkGEHLTextCodec::TkGEHLTextCodec()
    : TkItemCodec("src/tkgehlcodec.cpp", __LINE__, LONGEST_FRAME, find) {}

bool TkGEHLTextCodec::encode(int command, int value) {
    const TkLock lock(m_Mutex);
    if (!encodeItem(command, value)) {
        return false;
    }
    m_Encoded.push_back(TK_ETX);
    return true;
}

bool TkGEHLTextCodec::decode(std::vector<unsigned char> *frame) {
    const TkLock lock(m_Mutex);
    forgetItems();
    return frame != nullptr && decodeItems(frame->data(), frame->data() + frame->size());
}
