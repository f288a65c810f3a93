#include "frame.h"

#include "record_table.h"

#include <algorithm>
#include <numeric>

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
    return isPlain(std::string(bytes.begin(), bytes.end() - 2));
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

std::string readable(const Bytes &bytes) {
    return readable(bytes, isPlainText(bytes) ? std::string(bytes.begin(), bytes.end() - 2) : "");
}

std::optional<Frame> FrameReader::push(std::uint8_t byte, Milliseconds now, int revision) {
    const Bytes &bytes = m_Buffer.push(byte, now);
    if (bytes.size() == 1 && byte == ack) {
        return finish(FrameKind::acknowledge);
    }
    if (bytes.size() == 1 && byte == nak) {
        return finish(FrameKind::negative);
    }
    return bytes[0] == startOfRecord ? record(revision) : text();
}

std::optional<Frame> FrameReader::record(int revision) {
    const Bytes &bytes = m_Buffer.bytes();
    if (bytes.size() < recordHeader + 1) {
        return std::nullopt;
    }
    const std::size_t length = recordHeader + bytesBehindLength(bytes.data(), revision) + 1;
    if (length > longestRecord) {
        m_Buffer.clear();
        return std::nullopt;
    }
    if (bytes.size() < length) {
        return std::nullopt;
    }
    return finish(sumFits() ? FrameKind::record : FrameKind::damaged);
}

std::optional<Frame> FrameReader::text() {
    const Bytes &bytes = m_Buffer.bytes();
    if (bytes.size() >= 2 && bytes[bytes.size() - 2] == endOfText) {
        return finish(sumFits() ? FrameKind::text : FrameKind::damaged);
    }
    if (bytes.size() >= longestText) {
        m_Buffer.clear();
    }
    return std::nullopt;
}

Frame FrameReader::finish(FrameKind kind) {
    Frame frame{kind, {}, m_Buffer.take()};
    if (kind == FrameKind::text) {
        frame.text.assign(frame.bytes.begin(), frame.bytes.end() - 2);
    }
    return frame;
}

bool FrameReader::sumFits() const {
    const Bytes &bytes = m_Buffer.bytes();
    return sumOf(bytes, bytes.size() - 1) == bytes.back();
}

} // namespace tksim
