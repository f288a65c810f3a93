#include "misbehaviour.h"

#include <algorithm>

namespace tksim {

namespace {

constexpr std::size_t longestGarbage = 32;

std::size_t indexOf(Mishap mishap) {
    return static_cast<std::size_t>(mishap);
}

Bytes garbage(std::uint32_t seed) {
    std::minstd_rand random(seed);
    Bytes bytes(1 + random() % longestGarbage);
    for (std::uint8_t &byte : bytes) {
        byte = static_cast<std::uint8_t>(random() % 256);
    }
    return bytes;
}

} // namespace

Misbehaviour::Misbehaviour(std::uint32_t seed) {
    for (std::size_t i = 0; i < mishaps; ++i) {
        m_Random[i].seed(seed * static_cast<std::uint32_t>(mishaps) +
                         static_cast<std::uint32_t>(i));
    }
}

void Misbehaviour::setPercent(Mishap mishap, double percent) {
    m_Percent[indexOf(mishap)] = percent;
}

Misbehaviour::Draws Misbehaviour::draw() {
    // The standard's distributions differ between libraries, its engines don't.
    constexpr double range = 4294967296.0;
    Draws draws{};
    for (std::size_t i = 0; i < mishaps; ++i) {
        draws[i].happens = static_cast<double>(m_Random[i]()) / range * 100 < m_Percent[i];
        draws[i].number = static_cast<std::uint32_t>(m_Random[i]());
    }
    return draws;
}

std::vector<Transmission> Misbehaviour::apply(const Bytes &frame, Milliseconds now) {
    const Draws draws = draw();
    const auto happens = [&](Mishap mishap) { return draws[indexOf(mishap)].happens; };
    if (silent(now)) {
        return {{now, frame, " silenced", true}};
    }
    if (happens(Mishap::drop)) {
        return {{now, frame, " dropped", true}};
    }

    Transmission sent = spoil(frame, draws);
    // A late frame holds up what comes after it: a line has one order.
    const bool late = happens(Mishap::delay);
    sent.due = m_LastDue = std::max(m_LastDue, now + (late ? m_Delay : 0));
    if (late) {
        sent.note += " delayed";
    }
    std::vector<Transmission> result;
    if (happens(Mishap::garbage)) {
        result.push_back(
            {sent.due, garbage(draws[indexOf(Mishap::garbage)].number), " garbage", false});
    }
    result.push_back(sent);
    if (happens(Mishap::duplicate)) {
        result.push_back(sent);
        result.back().note += " duplicate";
    }
    return result;
}

/// The frame with what befalls its own bytes.
Transmission Misbehaviour::spoil(const Bytes &frame, const Draws &draws) {
    const auto &refuse = draws[indexOf(Mishap::refuse)];
    const auto &corrupt = draws[indexOf(Mishap::corrupt)];
    const auto &cut = draws[indexOf(Mishap::cut)];
    Transmission sent{0, frame, "", false};
    if (refuse.happens) {
        sent.bytes = Bytes{nak};
        sent.note += " refused";
    }
    if (corrupt.happens) {
        const std::size_t bit = corrupt.number % (sent.bytes.size() * 8);
        sent.bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
        sent.note += " corrupted";
    }
    if (cut.happens && sent.bytes.size() > 1) {
        sent.bytes.resize(1 + cut.number % (sent.bytes.size() - 1));
        sent.note += " cut";
    }
    return sent;
}

} // namespace tksim
