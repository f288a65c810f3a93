#ifndef TKSIM_MISBEHAVIOUR_H
#define TKSIM_MISBEHAVIOUR_H

#include "wire.h"

#include <array>
#include <random>

namespace tksim {

/// What can befall a frame on its way to the console, each with a probability of its own.
enum class Mishap {
    drop,      ///< the frame is lost
    corrupt,   ///< one bit is turned
    cut,       ///< the end is missing
    delay,     ///< the frame comes late, and what follows it keeps its place behind
    duplicate, ///< the frame comes twice
    refuse,    ///< a NAK comes in its place
    garbage    ///< random bytes come before it
};

constexpr std::size_t mishaps = 7;

/// Bytes for the line, the time from which they may go out, and what befell them, for the trace.
struct Transmission {
    Milliseconds due;
    Bytes bytes;
    std::string note;  ///< words with a blank before each
    bool lost = false; ///< nothing goes out; the bytes are those that would have
};

/// Spoils outgoing frames. The same seed, settings and frames give the same bytes: each mishap has
/// its own random numbers and draws two for every frame, whatever befalls it, so that changing one
/// leaves the others.
class Misbehaviour {
  public:
    explicit Misbehaviour(std::uint32_t seed);

    void setPercent(Mishap mishap, double percent);

    /// How late a delayed frame is.
    void setDelay(Milliseconds delay) { m_Delay = delay; }

    /// From now on nothing goes out before `end`.
    void setSilence(Milliseconds end) { m_SilenceEnd = end; }

    bool silent(Milliseconds now) const { return now < m_SilenceEnd; }

    /// No late frame is on its way any more that could hold up others.
    void unplugged() { m_LastDue = 0; }

    /// What goes out in place of one frame, in order.
    std::vector<Transmission> apply(const Bytes &frame, Milliseconds now);

  private:
    /// Whether a mishap befalls a frame, and the random number that says in what way.
    struct Draw {
        bool happens;
        std::uint32_t number;
    };
    using Draws = std::array<Draw, mishaps>;

    Draws draw();
    static Transmission spoil(const Bytes &frame, const Draws &draws);

    std::array<std::mt19937, mishaps> m_Random;
    std::array<double, mishaps> m_Percent{};
    Milliseconds m_Delay = 0;
    Milliseconds m_SilenceEnd = 0;
    Milliseconds m_LastDue = 0;
};

} // namespace tksim

#endif
