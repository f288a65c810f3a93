#include "simulator.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <utility>

namespace tksim {

namespace {

constexpr Milliseconds forever = std::numeric_limits<Milliseconds>::max();
constexpr int longestStorm = 1000;
constexpr int longestDelay = 60000;
constexpr int longestSilence = 3600000;

/// The word at `place` as a number between two bounds.
std::optional<int> numberAt(const std::vector<std::string> &words, std::size_t place, int lowest,
                            int highest) {
    const auto value = place < words.size() ? number(words[place]) : std::nullopt;
    return value && *value >= lowest && *value <= highest ? value : std::nullopt;
}

std::optional<double> percentAt(const std::vector<std::string> &words, std::size_t place) {
    if (place >= words.size()) {
        return std::nullopt;
    }
    char *end = nullptr;
    const double value = std::strtod(words[place].c_str(), &end);
    return *end == '\0' && value >= 0 && value <= 100 ? std::optional<double>(value) : std::nullopt;
}

std::optional<bool> switchAt(const std::vector<std::string> &words, std::size_t place) {
    if (place >= words.size() || (words[place] != "on" && words[place] != "off")) {
        return std::nullopt;
    }
    return words[place] == "on";
}

} // namespace

struct Simulator::Command {
    const char *name;
    const char *arguments;
    const char *meaning;
    Outcome (Simulator::*run)(const Words &words, Milliseconds now);
    Request request = Request::none;

    std::string usage() const { return std::string(name) + arguments; }

    /// Whether so many words can follow the name: all arguments, with or without those in brackets.
    bool takes(std::size_t count) const {
        const std::string text = arguments;
        const auto most = static_cast<std::size_t>(std::count(text.begin(), text.end(), ' '));
        const auto spare = static_cast<std::size_t>(std::count(text.begin(), text.end(), '['));
        return count <= most && count + spare >= most;
    }
};

// clang-format off
const std::vector<Simulator::Command> &Simulator::commands() {
    using Self = Simulator;
    static const std::vector<Command> table{
        {"prep", "", "press the hand switch to prep", &Self::prep},
        {"expose", "", "press it through to an exposure", &Self::expose},
        {"release", "", "let it go", &Self::release},
        {"fluoro", " on|off", "press or let go the fluoroscopy pedal", &Self::fluoro},
        {"error", " NUMBER", "send an error, 1 to 255", &Self::error},
        {"latched", " NUMBER", "send a latched error until it is echoed", &Self::latched},
        {"set", " MNEMONIC VALUE", "change a value at the panel and tell the console", &Self::set},
        {"show", "", "print all values", &Self::show},
        {"ack", " on|off", "answer settings by a lone ACK", &Self::answerByAck},
        {"drop", " PERCENT", "lose frames", &Self::chance<Mishap::drop>},
        {"corrupt", " PERCENT", "turn one bit of frames", &Self::chance<Mishap::corrupt>},
        {"cut", " PERCENT", "cut frames short", &Self::chance<Mishap::cut>},
        {"duplicate", " PERCENT", "send frames twice", &Self::chance<Mishap::duplicate>},
        {"nak", " PERCENT", "send a NAK in place of frames", &Self::chance<Mishap::refuse>},
        {"garbage", " PERCENT", "send random bytes before frames", &Self::chance<Mishap::garbage>},
        {"delay", " MILLISECONDS [PERCENT]", "send frames late, all or some", &Self::delay},
        {"silence", " on|off|MILLISECONDS", "send nothing", &Self::silence},
        {"storm", " COUNT", "send 1 to 1000 NAKs at once", &Self::storm},
        {"unplug", "", "close the device for good", &Self::leave, Request::unplug},
        {"plug", "", "open a new device", &Self::leave, Request::plug},
        {"help", "", "print these lines", &Self::help},
        {"quit", "", "end", &Self::leave, Request::quit},
    };
    return table;
}
// clang-format on

Simulator::Simulator(const Options &options)
    : m_Generator(options.family, options.revision, options.timeScale),
      m_Misbehaviour(options.seed), m_Trace(options.trace) {}

void Simulator::receive(const std::uint8_t *bytes, std::size_t count, Milliseconds now) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::optional<Frame> frame = m_Reader.push(bytes[i], now);
        if (!frame) {
            continue;
        }
        if (m_Trace) {
            print("< " + readable(frame->bytes));
        }
        m_Generator.receive(*frame, now);
        collect(now);
    }
}

Simulator::Request Simulator::command(const std::string &line, Milliseconds now) {
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    if (words.empty()) {
        return Request::none;
    }
    for (const Command &command : commands()) {
        if (words[0] != command.name) {
            continue;
        }
        const bool fits = command.takes(words.size() - 1);
        const Outcome outcome = fits ? (this->*command.run)(words, now) : Outcome::misused;
        collect(now);
        if (outcome == Outcome::notNow) {
            print("not possible now: " + line);
        } else if (outcome == Outcome::misused) {
            print("usage: " + command.usage());
        }
        return outcome == Outcome::done ? command.request : Request::none;
    }
    print("unknown command: " + line);
    return Request::none;
}

Simulator::Outcome Simulator::prep(const Words &, Milliseconds now) {
    return m_Generator.prep(now) ? Outcome::done : Outcome::notNow;
}

Simulator::Outcome Simulator::expose(const Words &, Milliseconds now) {
    return m_Generator.expose(now) ? Outcome::done : Outcome::notNow;
}

Simulator::Outcome Simulator::release(const Words &, Milliseconds now) {
    return m_Generator.release(now) ? Outcome::done : Outcome::notNow;
}

Simulator::Outcome Simulator::fluoro(const Words &words, Milliseconds now) {
    const auto on = switchAt(words, 1);
    if (!on) {
        return Outcome::misused;
    }
    return m_Generator.fluoro(*on, now) ? Outcome::done : Outcome::notNow;
}

Simulator::Outcome Simulator::error(const Words &words, Milliseconds) {
    const auto code = numberAt(words, 1, 1, 255);
    if (!code) {
        return Outcome::misused;
    }
    m_Generator.error(*code);
    return Outcome::done;
}

Simulator::Outcome Simulator::latched(const Words &words, Milliseconds now) {
    const auto code = numberAt(words, 1, 1, 255);
    if (!code) {
        return Outcome::misused;
    }
    m_Generator.latched(*code, now);
    return Outcome::done;
}

Simulator::Outcome Simulator::set(const Words &words, Milliseconds) {
    const auto value = number(words[2]);
    if (!value || !m_Generator.changeable(words[1])) {
        return Outcome::misused;
    }
    return m_Generator.change(words[1], *value) ? Outcome::done : Outcome::notNow;
}

Simulator::Outcome Simulator::show(const Words &, Milliseconds now) {
    m_Generator.show(now);
    return Outcome::done;
}

Simulator::Outcome Simulator::answerByAck(const Words &words, Milliseconds) {
    const auto on = switchAt(words, 1);
    if (!on) {
        return Outcome::misused;
    }
    m_Generator.answerByAck(*on);
    printSetting(words);
    return Outcome::done;
}

template <Mishap mishap>
Simulator::Outcome Simulator::chance(const Words &words, Milliseconds) {
    const auto percent = percentAt(words, 1);
    if (!percent) {
        return Outcome::misused;
    }
    m_Misbehaviour.setPercent(mishap, *percent);
    printSetting(words);
    return Outcome::done;
}

Simulator::Outcome Simulator::delay(const Words &words, Milliseconds) {
    const auto length = numberAt(words, 1, 0, longestDelay);
    const auto percent = words.size() > 2 ? percentAt(words, 2) : 100.0;
    if (!length || !percent) {
        return Outcome::misused;
    }
    m_Misbehaviour.setDelay(static_cast<Milliseconds>(*length));
    m_Misbehaviour.setPercent(Mishap::delay, *percent);
    printSetting(words);
    return Outcome::done;
}

Simulator::Outcome Simulator::silence(const Words &words, Milliseconds now) {
    const auto length = numberAt(words, 1, 1, longestSilence);
    const auto on = switchAt(words, 1);
    if (!length && !on) {
        return Outcome::misused;
    }
    if (length) {
        m_Misbehaviour.setSilence(now + static_cast<Milliseconds>(*length));
    } else {
        m_Misbehaviour.setSilence(*on ? forever : 0);
    }
    printSetting(words);
    return Outcome::done;
}

Simulator::Outcome Simulator::storm(const Words &words, Milliseconds now) {
    const auto count = numberAt(words, 1, 1, longestStorm);
    if (!count) {
        return Outcome::misused;
    }
    const bool lost = m_Misbehaviour.silent(now);
    m_Queue.push_back({now, Bytes(static_cast<std::size_t>(*count), nak),
                       lost ? " storm silenced" : " storm", lost});
    printSetting(words);
    return Outcome::done;
}

Simulator::Outcome Simulator::help(const Words &, Milliseconds) {
    for (const std::string &line : commandHelp()) {
        print(line);
    }
    return Outcome::done;
}

Simulator::Outcome Simulator::leave(const Words &, Milliseconds) {
    return Outcome::done;
}

/// A setting that was taken is printed as it was given.
void Simulator::printSetting(const Words &words) {
    std::string line;
    for (const std::string &word : words) {
        line += (line.empty() ? "" : " ") + word;
    }
    print(line);
}

std::vector<std::string> Simulator::commandHelp() {
    std::vector<std::string> lines;
    for (const Command &command : commands()) {
        std::string usage = command.usage();
        usage.resize(std::max<std::size_t>(usage.size() + 1, 32), ' ');
        lines.push_back(usage + command.meaning);
    }
    return lines;
}

void Simulator::advance(Milliseconds now) {
    m_Generator.advance(now);
    collect(now);
}

/// Takes over what the generator has said, through the misbehaviour.
void Simulator::collect(Milliseconds now) {
    const Output output = m_Generator.takeOutput();
    for (const Bytes &frame : output.frames) {
        for (Transmission &each : m_Misbehaviour.apply(frame, now)) {
            m_Queue.push_back(std::move(each));
        }
    }
    m_Lines.insert(m_Lines.end(), output.lines.begin(), output.lines.end());
}

std::optional<Milliseconds> Simulator::deadline() const {
    const std::optional<Milliseconds> generator = m_Generator.deadline();
    if (m_Queue.empty() || (generator && *generator < m_Queue.front().due)) {
        return generator;
    }
    return m_Queue.front().due;
}

Bytes Simulator::takeBytes(Milliseconds now) {
    Bytes bytes;
    for (; !m_Queue.empty() && m_Queue.front().due <= now; m_Queue.pop_front()) {
        const Transmission &each = m_Queue.front();
        if (m_Trace) {
            print("> " + readable(each.bytes) + (each.note.empty() ? "" : " :" + each.note));
        }
        if (!each.lost) {
            bytes.insert(bytes.end(), each.bytes.begin(), each.bytes.end());
        }
    }
    return bytes;
}

std::vector<std::string> Simulator::takeLines() {
    return std::exchange(m_Lines, {});
}

void Simulator::unplugged() {
    m_Queue.clear();
    m_Misbehaviour.unplugged();
    m_Reader.clear();
}

} // namespace tksim
