#include "frame.h"

#include "record_table.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <utility>

namespace tksim {

namespace {

constexpr std::size_t recordHeader = 4; // start byte, code, length in two bytes

std::uint8_t sumOf(const Bytes &bytes, std::size_t count) {
    const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(count);
    return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), end, 0U));
}

bool isPlainText(const Bytes &bytes) {
    if (bytes.size() < 3 || bytes[bytes.size() - 2] != endOfText ||
        sumOf(bytes, bytes.size() - 1) != bytes.back()) {
        return false;
    }
    for (std::size_t i = 0; i + 2 < bytes.size(); ++i) {
        if (bytes[i] < 0x20 || bytes[i] > 0x7E) {
            return false;
        }
    }
    return true;
}

} // namespace

Bytes encode(std::string_view text) {
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(endOfText);
    bytes.push_back(sumOf(bytes, bytes.size()));
    return bytes;
}

Bytes encodeRecord(std::uint8_t code, const Bytes &data) {
    Bytes bytes(recordHeader + data.size());
    bytes[0] = startOfRecord;
    bytes[1] = code;
    bytes[2] = static_cast<std::uint8_t>(data.size() >> 8);
    bytes[3] = static_cast<std::uint8_t>(data.size() & 0xFF);
    std::copy(data.begin(), data.end(), bytes.begin() + recordHeader);
    bytes.push_back(sumOf(bytes, bytes.size()));
    return bytes;
}

std::string hexadecimal(const Bytes &bytes, std::size_t shown) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size() && i < shown; ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X", bytes[i]);
        text += (i == 0 ? "" : " ") + std::string(digits);
    }
    return text + (bytes.size() > shown ? " ..." : "");
}

std::string readable(const Bytes &bytes) {
    if (bytes.size() == 1 && bytes[0] == ack) {
        return "ACK";
    }
    if (bytes.size() == 1 && bytes[0] == nak) {
        return "NAK";
    }
    if (isPlainText(bytes)) {
        return std::string(bytes.begin(), bytes.end() - 2);
    }
    return "[" + hexadecimal(bytes, 32) + "]";
}

std::optional<Frame> FrameReader::push(std::uint8_t byte, Milliseconds now, int revision) {
    if (now - m_LastByte >= quietLimit) {
        m_Bytes.clear();
    }
    m_LastByte = now;
    m_Bytes.push_back(byte);
    if (m_Bytes.size() == 1 && byte == ack) {
        return finish(FrameKind::acknowledge);
    }
    if (m_Bytes.size() == 1 && byte == nak) {
        return finish(FrameKind::negative);
    }
    return m_Bytes[0] == startOfRecord ? record(revision) : text();
}

std::optional<Frame> FrameReader::record(int revision) {
    if (m_Bytes.size() < recordHeader + 1) {
        return std::nullopt;
    }
    const std::size_t length = recordHeader + bytesBehindLength(m_Bytes.data(), revision) + 1;
    if (length > longestRecord) {
        m_Bytes.clear();
        return std::nullopt;
    }
    if (m_Bytes.size() < length) {
        return std::nullopt;
    }
    return finish(sumFits() ? FrameKind::record : FrameKind::damaged);
}

std::optional<Frame> FrameReader::text() {
    if (m_Bytes.size() >= 2 && m_Bytes[m_Bytes.size() - 2] == endOfText) {
        return finish(sumFits() ? FrameKind::text : FrameKind::damaged);
    }
    if (m_Bytes.size() >= longestText) {
        m_Bytes.clear();
    }
    return std::nullopt;
}

Frame FrameReader::finish(FrameKind kind) {
    Frame frame{kind, {}, std::exchange(m_Bytes, {})};
    if (kind == FrameKind::text) {
        frame.text.assign(frame.bytes.begin(), frame.bytes.end() - 2);
    }
    return frame;
}

bool FrameReader::sumFits() const {
    return sumOf(m_Bytes, m_Bytes.size() - 1) == m_Bytes.back();
}

} // namespace tksim
