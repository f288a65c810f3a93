#include "wire.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace tksim {

std::string hexadecimal(const Bytes &bytes, std::size_t shown) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size() && i < shown; ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X", bytes[i]);
        text += (i == 0 ? "" : " ") + std::string(digits);
    }
    return text + (bytes.size() > shown ? " ..." : "");
}

bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char each) { return each >= 0x20 && each <= 0x7E; });
}

std::string readable(const Bytes &bytes, std::string_view text) {
    if (bytes.size() == 1 && bytes[0] == ack) {
        return "ACK";
    }
    if (bytes.size() == 1 && bytes[0] == nak) {
        return "NAK";
    }
    return text.empty() ? "[" + hexadecimal(bytes, 32) + "]" : std::string(text);
}

std::optional<int> number(std::string_view text) {
    const bool minus = !text.empty() && text[0] == '-';
    const std::string_view digits = text.substr(minus ? 1 : 0);
    if (digits.empty() || digits.size() > 9) {
        return std::nullopt;
    }
    int value = 0;
    for (const char each : digits) {
        if (each < '0' || each > '9') {
            return std::nullopt;
        }
        value = value * 10 + (each - '0');
    }
    return minus ? -value : value;
}

const Bytes &FrameBuffer::push(std::uint8_t byte, Milliseconds now) {
    if (now - m_LastByte >= quietLimit) {
        m_Bytes.clear();
    }
    m_LastByte = now;
    m_Bytes.push_back(byte);
    return m_Bytes;
}

Bytes FrameBuffer::take() {
    return std::exchange(m_Bytes, {});
}

} // namespace tksim
