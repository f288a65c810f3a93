#ifndef TKSIM_FRAME_H
#define TKSIM_FRAME_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tksim {

using Bytes = std::vector<std::uint8_t>;

/// A point in time or a span, in milliseconds. Time is always handed in.
using Milliseconds = std::uint64_t;

constexpr std::uint8_t startOfRecord = 0x01;
constexpr std::uint8_t endOfText = 0x03;
constexpr std::uint8_t ack = 0x06;
constexpr std::uint8_t nak = 0x15;

/// Text, ETX, and the low byte of the sum of all bytes before.
Bytes encode(std::string_view text);

/// A reply: start byte, code, length and data, and the same sum behind.
Bytes encodeRecord(std::uint8_t code, const Bytes &data);

/// "02 01 0A", cut after so many bytes.
std::string hexadecimal(const Bytes &bytes, std::size_t shown);

/// Frame bytes for a person to read: the text of a sound text frame, "ACK", "NAK", else hexadecimal
/// in brackets, cut after 32 bytes.
std::string readable(const Bytes &bytes);

enum class FrameKind {
    text,   ///< sound text; `text` holds it
    record, ///< sound binary frame
    acknowledge,
    negative,
    damaged ///< a whole frame with a wrong sum
};

struct Frame {
    FrameKind kind;
    std::string text;
    Bytes bytes;
};

/// Cuts frames out of the bytes that arrive from the console.
///
/// A record is cut where its form ends, which isn't always where its length field says, and an
/// unknown one by that field; text at the byte behind its ETX. What is longer than any frame is
/// dropped, and so is an unfinished frame after which the line was quiet for `quietLimit`: a
/// console writes a frame in one go, so that the rest of a damaged one can't spoil the next.
class FrameReader {
  public:
    static constexpr Milliseconds quietLimit = 200;
    static constexpr std::size_t longestText = 256;
    static constexpr std::size_t longestRecord = 2048;

    /// Takes one byte; returns the frame that it completes. The generator's revision decides on the
    /// forms of records.
    std::optional<Frame> push(std::uint8_t byte, Milliseconds now, int revision);

    /// Drops an unfinished frame.
    void clear() { m_Bytes.clear(); }

  private:
    std::optional<Frame> record(int revision);
    std::optional<Frame> text();
    Frame finish(FrameKind kind);
    bool sumFits() const;

    Bytes m_Bytes;
    Milliseconds m_LastByte = 0;
};

} // namespace tksim

#endif
