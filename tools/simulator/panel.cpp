#include "simulator.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <utility>

/// The commands of the simulator, as a person gives them at the panel.
namespace tksim {

namespace {

constexpr Milliseconds forever = std::numeric_limits<Milliseconds>::max();
constexpr int longestStorm = 1000;
constexpr int longestDelay = 60000;
constexpr int longestSilence = 3600000;
constexpr int longestShortening = 1000;

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

/// The records of a generator of that revision, "receptor aec".
std::string recordNames(int revision) {
    std::string names;
    for (const RecordRow &row : recordTable) {
        if (row.spokenAt(revision)) {
            names += (names.empty() ? "" : " ") + std::string(row.name);
        }
    }
    return names;
}

} // namespace

struct Simulator::Command {
    const char *name;
    const char *arguments;
    const char *meaning;
    Outcome (Simulator::*run)(const Words &words, Milliseconds now);
    Request request = Request::none;

    std::string usage() const { return std::string(name) + arguments; }

    /// Whether so many words can follow the name: all arguments, with or without those in brackets,
    /// which come last and go together or singly as the command sees fit.
    bool takes(std::size_t count) const {
        const std::string text = arguments;
        const auto most = static_cast<std::size_t>(std::count(text.begin(), text.end(), ' '));
        const std::string optional = text.substr(std::min(text.find('['), text.size()));
        const auto spare = static_cast<std::size_t>(
            optional.empty() ? 0 : 1 + std::count(optional.begin(), optional.end(), ' '));
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
        {"record", " NAME [INSTANCE [OFFSET VALUE]]", "print a record, or change one of its bytes",
         &Self::record},
        {"meter", " present|absent|slow|dead", "have a dose meter or none", &Self::meter},
        {"mute", " MNEMONIC|record", "never answer that query, or any record", &Self::mute},
        {"unmute", "", "answer all again", &Self::unmute},
        {"ack", " on|off", "answer settings by a lone ACK", &Self::answerByAck},
        {"drop", " PERCENT", "lose frames", &Self::chance<Mishap::drop>},
        {"corrupt", " PERCENT", "turn one bit of frames", &Self::chance<Mishap::corrupt>},
        {"cut", " PERCENT", "cut frames short", &Self::chance<Mishap::cut>},
        {"duplicate", " PERCENT", "send frames twice", &Self::chance<Mishap::duplicate>},
        {"nak", " PERCENT", "send a NAK in place of frames", &Self::chance<Mishap::refuse>},
        {"garbage", " PERCENT", "send random bytes before frames", &Self::chance<Mishap::garbage>},
        {"short", " BYTES", "leave out the last bytes of records' data", &Self::shorten},
        {"misfiled", " on|off", "answer records under another record's code", &Self::misfile},
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

Simulator::Outcome Simulator::error(const Words &words, Milliseconds now) {
    const auto code = numberAt(words, 1, 1, 255);
    if (!code) {
        return Outcome::misused;
    }
    m_Generator.error(*code, now);
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

Simulator::Outcome Simulator::record(const Words &words, Milliseconds now) {
    const RecordRow *row = findRecord(std::string_view(words[1]), m_Generator.revision());
    if (!row) {
        print("no record is called " + words[1] + "; there are " +
              recordNames(m_Generator.revision()));
        return Outcome::misused;
    }
    const auto instance =
        words.size() > 2 ? numberAt(words, 2, 0, static_cast<int>(row->instances()) - 1) : 0;
    const auto offset = numberAt(words, 3, 0, static_cast<int>(row->size) - 1);
    const auto value = numberAt(words, 4, 0, 255);
    if (!instance || (words.size() > 3 && !(offset && value))) {
        print(words[1] + ": INSTANCE 0 to " + std::to_string(row->instances() - 1) +
              "; OFFSET 0 to " + std::to_string(row->size - 1) + "; VALUE 0 to 255");
        return Outcome::misused;
    }
    const auto place = static_cast<std::size_t>(*instance);
    Records &records = m_Generator.records();
    if (!offset) {
        const Bytes &data = *records.find(*row, place, now);
        print("record " + words[1] + " " + std::to_string(place) + ": " +
              hexadecimal(data, data.size()));
    } else if (records.change(*row, place, static_cast<std::size_t>(*offset),
                              static_cast<std::uint8_t>(*value), now)) {
        printSetting(words);
    } else {
        return Outcome::notNow;
    }
    return Outcome::done;
}

Simulator::Outcome Simulator::meter(const Words &words, Milliseconds now) {
    constexpr std::pair<const char *, Meter> meters[] = {{"present", Meter::present},
                                                         {"absent", Meter::none},
                                                         {"slow", Meter::slow},
                                                         {"dead", Meter::dead}};
    for (const auto &[name, meter] : meters) {
        if (words[1] == name) {
            m_Generator.setMeter(meter, now);
            printSetting(words);
            return Outcome::done;
        }
    }
    return Outcome::misused;
}

Simulator::Outcome Simulator::mute(const Words &words, Milliseconds) {
    if (!m_Generator.mute(words[1])) {
        return Outcome::misused;
    }
    printSetting(words);
    return Outcome::done;
}

Simulator::Outcome Simulator::unmute(const Words &words, Milliseconds) {
    m_Generator.unmute();
    printSetting(words);
    return Outcome::done;
}

Simulator::Outcome Simulator::shorten(const Words &words, Milliseconds) {
    const auto missing = numberAt(words, 1, 0, longestShortening);
    if (!missing) {
        return Outcome::misused;
    }
    m_Generator.records().shorten(static_cast<std::size_t>(*missing));
    printSetting(words);
    return Outcome::done;
}

Simulator::Outcome Simulator::misfile(const Words &words, Milliseconds) {
    const auto on = switchAt(words, 1);
    if (!on) {
        return Outcome::misused;
    }
    m_Generator.records().misfile(*on);
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
        usage.resize(std::max<std::size_t>(usage.size() + 1, 38), ' ');
        lines.push_back(usage + command.meaning);
    }
    return lines;
}

} // namespace tksim
