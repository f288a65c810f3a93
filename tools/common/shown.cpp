#include "shown.h"

#include <algorithm>

namespace {

unsigned char byteAt(const std::string &text, std::size_t place) {
    return place < text.size() ? static_cast<unsigned char>(text[place]) : 0;
}

bool isContinuation(unsigned char byte) {
    return byte >= 0x80 && byte < 0xC0;
}

/// The bytes of the printable UTF-8 character there; 0 for what is none, such as the controls that
/// a terminal takes in two bytes, and characters in a longer form than they need.
std::size_t lengthOfCharacter(const std::string &text, std::size_t place) {
    const unsigned char lead = byteAt(text, place);
    if (lead < 0x80) {
        return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    }
    const unsigned char second = byteAt(text, place + 1);
    const std::size_t length = lead >= 0xC2 && lead < 0xE0   ? 2
                               : lead >= 0xE0 && lead < 0xF0 ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    const bool isControl = lead == 0xC2 && second < 0xA0;
    const bool isOverlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(byteAt(text, place + i))) {
            return 0;
        }
    }
    return isControl || isOverlong ? 0 : length;
}

} // namespace

std::string shownText(const std::string &text) {
    std::string shown;
    for (std::size_t place = 0; place < text.size();) {
        const std::size_t length = lengthOfCharacter(text, place);
        shown += length > 0 ? text.substr(place, length) : ".";
        place += std::max<std::size_t>(length, 1);
    }
    return shown;
}
