#include "infimed.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <numeric>

namespace tksim {

namespace {

constexpr std::uint8_t startOfText = 0x02;
constexpr Milliseconds ackLimit = 1000;

/// What the argument of a command is, and with it the form of the reply.
enum class Form {
    digit,  ///< sets, or "?"
    step,   ///< a sign, a count, "@" and the size of a step, at the end of the range it stops
    around, ///< the same, but above the end it begins again
    byte    ///< one fixed question
};

/// A value: how a command about it begins, and how a reply does.
struct Row {
    std::string_view name, command, reply;
    Form form;
    int width;
    int lowest, highest, initial;
};

constexpr std::size_t acquirePlace = 0;

constexpr Row rows[] = {
    {"acquire", "_J", "_j", Form::digit, 1, 0, 3, 0},
    {"edge", "J2@", "j2@", Form::around, 4, 0, 7, 0},
    {"window", "J0@", "j0@", Form::step, 5, 1, 4096, 2048},
    {"level", "J1@", "j1@", Form::step, 5, -1024, 3071, 0},
    {"mask", "Q", "q", Form::digit, 1, 0, 3, 0},
    {"invert", "N", "n", Form::digit, 1, 0, 1, 0},
    {"horizontal", "L", "l", Form::digit, 1, 0, 1, 0},
    {"vertical", "M", "m", Form::digit, 1, 0, 1, 0},
    {"version", "v00100000", "v", Form::byte, 1, 0x21, 0x7E, '3'},
};

/// Commands that nothing answers.
constexpr std::string_view unanswered[] = {")@", "(0@", "_>0@", "&5@", "&4@"};

std::vector<ConsoleValue> startValues() {
    std::vector<ConsoleValue> values;
    for (const Row &row : rows) {
        values.push_back({row.name, row.lowest, row.highest, row.initial});
    }
    return values;
}

std::uint8_t checksum(std::string_view body) {
    return std::accumulate(body.begin(), body.end(), std::uint8_t{0}, [](std::uint8_t sum, char c) {
        return static_cast<std::uint8_t>(sum ^ static_cast<std::uint8_t>(c));
    });
}

} // namespace

InfimedConsole::InfimedConsole() : Console(startValues()) {}

void InfimedConsole::unplugged() {
    Console::unplugged();
    m_AwaitedAcks.clear();
}

// clang-format off
std::vector<Order> InfimedConsole::orders() {
    std::vector<Order> all = Console::orders();
    all.push_back({"acquire", " VALUE [TEXT...]", "change the acquire state and say why",
                   orderOf(this, &InfimedConsole::acquire)});
    all.push_back({"text", " [TEXT...]", "tell a text, such as an error",
                   [this](const Words &words, Milliseconds now) {
        send("*" + joined(words, 1) + "@", now);
        return Order::Outcome::taken;
    }});
    all.push_back({"acks", " on|off", "send an ACK before the answer to a command",
                   switchOrder([this](bool on) { m_AckFirst = on; })});
    return all;
}
// clang-format on

Order::Outcome InfimedConsole::acquire(const Words &words, Milliseconds now) {
    ConsoleValue &state = value(acquirePlace);
    const auto wanted = numberAt(words, 1, state.lowest, state.highest);
    if (!wanted) {
        return Order::Outcome::misused;
    }
    state.value = *wanted;
    std::string body = item(acquirePlace);
    body.insert(body.size() - 1, joined(words, 2));
    tell(acquirePlace, body, now);
    return Order::Outcome::taken;
}

/// The checksum may be any byte: a frame's end is where it stands, not what it is.
Console::Gathered InfimedConsole::gathered(const Bytes &bytes) const {
    const bool control = bytes.size() == 1 && (bytes[0] == ack || bytes[0] == nak);
    if (!control && bytes[0] != startOfText) {
        return Gathered::noise;
    }
    const bool ended = bytes.size() > 3 && bytes[bytes.size() - 2] == endOfText;
    return control || ended ? Gathered::whole : Gathered::unfinished;
}

Bytes InfimedConsole::frameOf(std::string_view body) const {
    Bytes frame(1 + body.size() + 2);
    frame.front() = startOfText;
    std::copy(body.begin(), body.end(), frame.begin() + 1);
    frame[frame.size() - 2] = endOfText;
    frame.back() = checksum(body);
    return frame;
}

std::string InfimedConsole::textOf(const Bytes &frame) const {
    if (frame.size() < 4 || frame[0] != startOfText || frame[frame.size() - 2] != endOfText) {
        return "";
    }
    std::string body(frame.begin() + 1, frame.end() - 2);
    return checksum(body) == frame.back() ? body : "";
}

std::string InfimedConsole::item(std::size_t place) {
    const Row &row = rows[place];
    const int present = value(place).value;
    char text[16] = {static_cast<char>(present)};
    if (row.form != Form::byte) {
        std::snprintf(text, sizeof text, "%0*d", row.width, present);
    }
    return std::string(row.reply) + text + "@";
}

void InfimedConsole::answer(const Bytes &frame, Milliseconds now) {
    expire(now);
    if (frame.size() == 1) {
        if (frame[0] == ack && !m_AwaitedAcks.empty()) {
            m_AwaitedAcks.pop_front();
        }
        return;
    }
    const std::string body = textOf(frame);
    if (std::find(std::begin(unanswered), std::end(unanswered), body) != std::end(unanswered)) {
        return;
    }
    const auto row = std::find_if(std::begin(rows), std::end(rows), [&](const Row &each) {
        return body.compare(0, each.command.size(), each.command) == 0;
    });
    if (body.empty() || body.back() != '@' || row == std::end(rows)) {
        notUnderstood();
        return;
    }
    const std::string_view argument(body);
    order(static_cast<std::size_t>(row - rows),
          argument.substr(row->command.size(), body.size() - 1 - row->command.size()), now);
}

/// A command about a value; the argument is without the "@" at its end.
void InfimedConsole::order(std::size_t place, std::string_view argument, Milliseconds now) {
    switch (rows[place].form) {
    case Form::digit:
        return setDigit(place, argument, now);
    case Form::step:
    case Form::around:
        return step(place, argument, now);
    case Form::byte:
        return argument.empty() ? accept(place, now) : notUnderstood();
    }
}

void InfimedConsole::setDigit(std::size_t place, std::string_view argument, Milliseconds now) {
    if (argument.size() != 1) {
        notUnderstood();
    } else if (argument[0] == '?') {
        accept(place, now);
    } else if (!value(place).accepts(argument[0] - '0')) {
        refuse(place, now);
    } else {
        value(place).value = argument[0] - '0';
        accept(place, now);
    }
}

/// "+2@1" goes up by twice the step 1, and "-3@2" down by three times the step 2.
void InfimedConsole::step(std::size_t place, std::string_view argument, Milliseconds now) {
    const bool sound = argument.size() == 4 && (argument[0] == '+' || argument[0] == '-') &&
                       argument[1] >= '0' && argument[1] <= '3' && argument[2] == '@' &&
                       argument[3] >= '1' && argument[3] <= '9';
    if (!sound) {
        notUnderstood();
        return;
    }
    const int size = (argument[1] - '0') * (argument[3] - '0');
    ConsoleValue &stepped = value(place);
    if (rows[place].form == Form::around && stepped.value + size > stepped.highest) {
        stepped.value = stepped.lowest;
    } else {
        stepped.step(argument[0] == '+' ? size : -size);
    }
    accept(place, now);
}

void InfimedConsole::accept(std::size_t place, Milliseconds now) {
    if (m_AckFirst && !value(place).muted) {
        sendByte(ack);
    }
    tell(place, item(place), now);
}

void InfimedConsole::refuse(std::size_t place, Milliseconds now) {
    send("*" + std::string(rows[place].name) + " out of range@", now);
}

void InfimedConsole::send(std::string_view text, Milliseconds now) {
    expire(now);
    Console::send(text, now);
    m_AwaitedAcks.push_back(now + ackLimit);
}

void InfimedConsole::expire(Milliseconds now) {
    for (; !m_AwaitedAcks.empty() && m_AwaitedAcks.front() <= now; m_AwaitedAcks.pop_front()) {
        ++m_MissingAcks;
    }
}

void InfimedConsole::show(Milliseconds now) {
    Console::show(now);
    expire(now);
    print("missing acks " + std::to_string(m_MissingAcks));
}

} // namespace tksim
