#include "console.h"

#include <algorithm>
#include <cstdlib>

namespace tksim {

namespace {

/// More than any frame of a console has.
constexpr std::size_t longestFrame = 64;

std::optional<std::uint8_t> byteOf(const std::string &word) {
    char *end = nullptr;
    const unsigned long byte = std::strtoul(word.c_str(), &end, 16);
    const bool plain = word.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
    return plain && word.size() == 2 ? std::optional(static_cast<std::uint8_t>(byte))
                                     : std::nullopt;
}

} // namespace

void ConsoleValue::step(int change) {
    value = std::clamp(value + change, lowest, highest);
}

std::optional<Bytes> Console::receive(std::uint8_t byte, Milliseconds now) {
    const Bytes &bytes = m_Buffer.push(byte, now);
    const Gathered state = gathered(bytes);
    if (state == Gathered::noise ||
        (state == Gathered::unfinished && bytes.size() >= longestFrame)) {
        m_Buffer.clear();
    }
    if (state != Gathered::whole) {
        return std::nullopt;
    }
    Bytes frame = m_Buffer.take();
    answer(frame, now);
    return frame;
}

std::string Console::readable(const Bytes &bytes) const {
    const std::string text = textOf(bytes);
    return tksim::readable(bytes, isPlain(text) ? text : "");
}

// clang-format off
std::vector<Order> Console::orders() {
    using Self = Console;
    return {
        {"set", " NAME VALUE", "change a value at the console and tell it", orderOf(this, &Self::set)},
        {"show", "", "print all values", [this](const Words &, Milliseconds now) {
            show(now);
            return Order::Outcome::done;
        }},
        {"send", " TEXT...", "send a text in a sound frame",
         [this](const Words &words, Milliseconds now) {
            send(joined(words, 1), now);
            return Order::Outcome::taken;
        }},
        {"raw", " BYTE...", "send bytes as they stand, in hexadecimal", orderOf(this, &Self::raw)},
        {"mute", " NAME", "never tell that value", orderOf(this, &Self::mute)},
        {"unmute", "", "tell all again", [this](const Words &, Milliseconds) {
            for (ConsoleValue &each : m_Values) {
                each.muted = false;
            }
            return Order::Outcome::taken;
        }},
        {"refuse", " on|off", "answer by a NAK what can't be understood",
         switchOrder([this](bool on) { m_Refusing = on; })},
    };
}
// clang-format on

std::optional<std::size_t> Console::find(std::string_view name) const {
    const auto row = std::find_if(m_Values.begin(), m_Values.end(),
                                  [&](const ConsoleValue &each) { return each.name == name; });
    if (row == m_Values.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(row - m_Values.begin());
}

Order::Outcome Console::set(const Words &words, Milliseconds now) {
    const auto place = find(words[1]);
    const auto wanted = number(words[2]);
    if (!place) {
        return Order::Outcome::misused;
    }
    ConsoleValue &changed = value(*place);
    if (!wanted || !changed.accepts(*wanted)) {
        print(words[1] + ": VALUE " + std::to_string(changed.lowest) + " to " +
              std::to_string(changed.highest));
        return Order::Outcome::misused;
    }
    changed.value = *wanted;
    tell(*place, item(*place), now);
    return Order::Outcome::taken;
}

Order::Outcome Console::mute(const Words &words, Milliseconds) {
    const auto place = find(words[1]);
    if (!place) {
        return Order::Outcome::misused;
    }
    value(*place).muted = true;
    return Order::Outcome::taken;
}

Order::Outcome Console::raw(const Words &words, Milliseconds) {
    Bytes bytes;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const auto byte = byteOf(words[i]);
        if (!byte) {
            return Order::Outcome::misused;
        }
        bytes.push_back(*byte);
    }
    m_Output.sendFrame(bytes);
    return Order::Outcome::taken;
}

void Console::tell(std::size_t place, std::string_view text, Milliseconds now) {
    if (!value(place).muted) {
        send(text, now);
    }
}

void Console::notUnderstood() {
    if (m_Refusing) {
        sendByte(nak);
    }
}

void Console::send(std::string_view text, Milliseconds) {
    m_Output.sendFrame(frameOf(text));
}

void Console::show(Milliseconds) {
    for (const ConsoleValue &each : m_Values) {
        print("value " + std::string(each.name) + " " + std::to_string(each.value));
    }
}

} // namespace tksim
