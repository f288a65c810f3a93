#ifndef TKSIM_FRAME_H
#define TKSIM_FRAME_H

#include "output.h"

namespace tksim {

constexpr std::uint8_t startOfRecord = 0x01;

/// Text, ETX, and the low byte of the sum of all bytes before.
Bytes encode(std::string_view text);

/// A reply: start byte, code, length and data, and the same sum behind.
Bytes encodeRecord(std::uint8_t code, const Bytes &data);

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

/// What a generator has to say; its text as frames.
struct GeneratorOutput : Output {
    void send(std::string_view text) { sendFrame(encode(text)); }
};

/// Cuts frames out of the bytes that arrive from the console.
///
/// A record is cut where its form ends, which isn't always where its length field says, and an
/// unknown one by that field; text at the byte behind its ETX. What is longer than any frame is
/// dropped, and so is an unfinished frame when the line falls quiet.
class FrameReader {
  public:
    static constexpr std::size_t longestText = 256;
    static constexpr std::size_t longestRecord = 2048;

    /// Takes one byte; returns the frame that it completes. The generator's revision decides on the
    /// forms of records.
    std::optional<Frame> push(std::uint8_t byte, Milliseconds now, int revision);

    /// Drops an unfinished frame.
    void clear() { m_Buffer.clear(); }

  private:
    std::optional<Frame> record(int revision);
    std::optional<Frame> text();
    Frame finish(FrameKind kind);
    bool sumFits() const;

    FrameBuffer m_Buffer;
};

} // namespace tksim

#endif
