#ifndef TKSIM_WIRE_H
#define TKSIM_WIRE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What every simulated far end has in common with the others on its line.
namespace tksim {

using Bytes = std::vector<std::uint8_t>;

/// A point in time or a span, in milliseconds. Time is always handed in.
using Milliseconds = std::uint64_t;

constexpr std::uint8_t endOfText = 0x03;
constexpr std::uint8_t ack = 0x06;
constexpr std::uint8_t nak = 0x15;

/// "02 01 0A", cut after so many bytes.
std::string hexadecimal(const Bytes &bytes, std::size_t shown);

/// Whether a person can read all of it.
bool isPlain(std::string_view text);

/// Bytes for a person to read: `text` if they carry any, "ACK", "NAK", else hexadecimal in
/// brackets, cut after 32 bytes.
std::string readable(const Bytes &bytes, std::string_view text);

/// A decimal number of at most nine digits, perhaps with a minus sign, and nothing around it.
std::optional<int> number(std::string_view text);

/// The bytes of a frame that hasn't come whole yet.
///
/// They are dropped when the line was quiet for `quietLimit`: a frame is written in one go, so that
/// the rest of a damaged one can't spoil the next.
class FrameBuffer {
  public:
    static constexpr Milliseconds quietLimit = 200;

    /// Takes one byte; returns all that wait.
    const Bytes &push(std::uint8_t byte, Milliseconds now);

    const Bytes &bytes() const { return m_Bytes; }

    Bytes take();
    void clear() { m_Bytes.clear(); }

  private:
    Bytes m_Bytes;
    Milliseconds m_LastByte = 0;
};

} // namespace tksim

#endif
