#include "misbehaviour.h"

#include <algorithm>

namespace tksim {

namespace {

constexpr std::size_t longestGarbage = 32;

std::size_t indexOf(Mishap mishap) {
    return static_cast<std::size_t>(mishap);
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

bool Misbehaviour::happens(Mishap mishap) {
    // The standard's distributions differ between libraries, its engines don't.
    constexpr double range = 4294967296.0;
    const double drawn = static_cast<double>(m_Random[indexOf(mishap)]()) / range * 100;
    return drawn < m_Percent[indexOf(mishap)];
}

std::size_t Misbehaviour::random(Mishap mishap, std::size_t limit) {
    return m_Random[indexOf(mishap)]() % limit;
}

Bytes Misbehaviour::garbage() {
    Bytes bytes(1 + random(Mishap::garbage, longestGarbage));
    for (std::uint8_t &byte : bytes) {
        byte = static_cast<std::uint8_t>(random(Mishap::garbage, 256));
    }
    return bytes;
}

std::vector<Transmission> Misbehaviour::apply(const Bytes &frame, Milliseconds now) {
    Happening happening{};
    for (std::size_t i = 0; i < mishaps; ++i) {
        happening[i] = happens(static_cast<Mishap>(i));
    }
    if (now < m_SilenceEnd) {
        return {{now, frame, " silenced", true}};
    }
    if (happening[indexOf(Mishap::drop)]) {
        return {{now, frame, " dropped", true}};
    }

    Transmission sent = spoil(frame, happening);
    // A late frame holds up what comes after it: a line has one order.
    const bool late = happening[indexOf(Mishap::delay)];
    sent.due = m_LastDue = std::max(m_LastDue, now + (late ? m_Delay : 0));
    if (late) {
        sent.note += " delayed";
    }
    std::vector<Transmission> result;
    if (happening[indexOf(Mishap::garbage)]) {
        result.push_back({sent.due, garbage(), " garbage", false});
    }
    result.push_back(sent);
    if (happening[indexOf(Mishap::duplicate)]) {
        result.push_back(sent);
        result.back().note += " duplicate";
    }
    return result;
}

/// The frame with what befalls its own bytes.
Transmission Misbehaviour::spoil(const Bytes &frame, const Happening &happening) {
    Transmission sent{0, frame, "", false};
    if (happening[indexOf(Mishap::refuse)]) {
        sent.bytes = Bytes{nak};
        sent.note += " refused";
    }
    if (happening[indexOf(Mishap::corrupt)]) {
        const std::size_t bit = random(Mishap::corrupt, sent.bytes.size() * 8);
        sent.bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
        sent.note += " corrupted";
    }
    if (happening[indexOf(Mishap::cut)] && sent.bytes.size() > 1) {
        sent.bytes.resize(1 + random(Mishap::cut, sent.bytes.size() - 1));
        sent.note += " cut";
    }
    return sent;
}

} // namespace tksim
