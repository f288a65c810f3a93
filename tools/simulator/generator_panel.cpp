#include "generator_panel.h"

#include <utility>

namespace tksim {

namespace {

constexpr int longestShortening = 1000;

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

GeneratorPanel::GeneratorPanel(const Options &options)
    : m_Generator(options.family, options.revision, options.timeScale, options.utc) {}

std::optional<Bytes> GeneratorPanel::receive(std::uint8_t byte, Milliseconds now) {
    const std::optional<Frame> frame = m_Reader.push(byte, now, m_Generator.revision());
    if (!frame) {
        return std::nullopt;
    }
    m_Generator.receive(*frame, now);
    return frame->bytes;
}

Output GeneratorPanel::takeOutput() {
    Output output = m_Generator.takeOutput();
    output.lines.insert(output.lines.begin(), m_Lines.begin(), m_Lines.end());
    m_Lines.clear();
    return output;
}

std::string GeneratorPanel::readable(const Bytes &bytes) const {
    return tksim::readable(bytes);
}

// clang-format off
std::vector<Order> GeneratorPanel::orders() {
    using Self = GeneratorPanel;
    const auto own = [this](Order::Outcome (Self::*run)(const Words &, Milliseconds)) {
        return orderOf(this, run);
    };
    return {
        {"prep", "", "press the hand switch to prep", own(&Self::prep)},
        {"expose", "", "press it through to an exposure", own(&Self::expose)},
        {"release", "", "let it go", own(&Self::release)},
        {"fluoro", " on|off", "press or let go the fluoroscopy pedal", own(&Self::fluoro)},
        {"error", " NUMBER", "send an error, 1 to 255", own(&Self::error)},
        {"latched", " NUMBER", "send a latched error until it is echoed", own(&Self::latched)},
        {"set", " MNEMONIC VALUE", "change a value at the panel and tell the console", own(&Self::set)},
        {"show", "", "print all values", own(&Self::show)},
        {"record", " NAME [INSTANCE [OFFSET VALUE]]", "print a record, or change one of its bytes",
         own(&Self::record)},
        {"meter", " present|absent|slow|dead", "have a dose meter or none", own(&Self::meter)},
        {"mute", " MNEMONIC|record", "never answer that query, or any record", own(&Self::mute)},
        {"unmute", "", "answer all again", own(&Self::unmute)},
        {"ack", " on|off", "answer settings by a lone ACK",
         switchOrder([this](bool on) { m_Generator.answerByAck(on); })},
        {"short", " BYTES", "leave out the last bytes of records' data", own(&Self::shorten)},
        {"misfiled", " on|off", "answer records under another record's code",
         switchOrder([this](bool on) { m_Generator.records().misfile(on); })},
    };
}
// clang-format on

Order::Outcome GeneratorPanel::prep(const Words &, Milliseconds now) {
    return m_Generator.prep(now) ? Order::Outcome::done : Order::Outcome::notNow;
}

Order::Outcome GeneratorPanel::expose(const Words &, Milliseconds now) {
    return m_Generator.expose(now) ? Order::Outcome::done : Order::Outcome::notNow;
}

Order::Outcome GeneratorPanel::release(const Words &, Milliseconds now) {
    return m_Generator.release(now) ? Order::Outcome::done : Order::Outcome::notNow;
}

Order::Outcome GeneratorPanel::fluoro(const Words &words, Milliseconds now) {
    const auto on = switchAt(words, 1);
    if (!on) {
        return Order::Outcome::misused;
    }
    return m_Generator.fluoro(*on, now) ? Order::Outcome::done : Order::Outcome::notNow;
}

Order::Outcome GeneratorPanel::error(const Words &words, Milliseconds now) {
    const auto code = numberAt(words, 1, 1, 255);
    if (!code) {
        return Order::Outcome::misused;
    }
    m_Generator.error(*code, now);
    return Order::Outcome::done;
}

Order::Outcome GeneratorPanel::latched(const Words &words, Milliseconds now) {
    const auto code = numberAt(words, 1, 1, 255);
    if (!code) {
        return Order::Outcome::misused;
    }
    m_Generator.latched(*code, now);
    return Order::Outcome::done;
}

Order::Outcome GeneratorPanel::set(const Words &words, Milliseconds) {
    const auto value = number(words[2]);
    if (!value || !m_Generator.changeable(words[1])) {
        return Order::Outcome::misused;
    }
    return m_Generator.change(words[1], *value) ? Order::Outcome::done : Order::Outcome::notNow;
}

Order::Outcome GeneratorPanel::show(const Words &, Milliseconds now) {
    m_Generator.show(now);
    return Order::Outcome::done;
}

Order::Outcome GeneratorPanel::record(const Words &words, Milliseconds now) {
    const RecordRow *row = findRecord(std::string_view(words[1]), m_Generator.revision());
    if (!row) {
        m_Lines.push_back("no record is called " + words[1] + "; there are " +
                          recordNames(m_Generator.revision()));
        return Order::Outcome::misused;
    }
    const auto instance =
        words.size() > 2 ? numberAt(words, 2, 0, static_cast<int>(row->instances()) - 1) : 0;
    const auto offset = numberAt(words, 3, 0, static_cast<int>(row->size) - 1);
    const auto value = numberAt(words, 4, 0, 255);
    if (!instance || (words.size() > 3 && !(offset && value))) {
        m_Lines.push_back(words[1] + ": INSTANCE 0 to " + std::to_string(row->instances() - 1) +
                          "; OFFSET 0 to " + std::to_string(row->size - 1) + "; VALUE 0 to 255");
        return Order::Outcome::misused;
    }
    const auto place = static_cast<std::size_t>(*instance);
    Records &records = m_Generator.records();
    if (!offset) {
        const Bytes &data = *records.find(*row, place, now);
        m_Lines.push_back("record " + words[1] + " " + std::to_string(place) + ": " +
                          hexadecimal(data, data.size()));
    } else if (records.change(*row, place, static_cast<std::size_t>(*offset),
                              static_cast<std::uint8_t>(*value), now)) {
        return Order::Outcome::taken;
    } else {
        return Order::Outcome::notNow;
    }
    return Order::Outcome::done;
}

Order::Outcome GeneratorPanel::meter(const Words &words, Milliseconds now) {
    constexpr std::pair<const char *, Meter> meters[] = {{"present", Meter::present},
                                                         {"absent", Meter::none},
                                                         {"slow", Meter::slow},
                                                         {"dead", Meter::dead}};
    for (const auto &[name, meter] : meters) {
        if (words[1] == name) {
            m_Generator.setMeter(meter, now);
            return Order::Outcome::taken;
        }
    }
    return Order::Outcome::misused;
}

Order::Outcome GeneratorPanel::mute(const Words &words, Milliseconds) {
    if (!m_Generator.mute(words[1])) {
        return Order::Outcome::misused;
    }
    return Order::Outcome::taken;
}

Order::Outcome GeneratorPanel::unmute(const Words &, Milliseconds) {
    m_Generator.unmute();
    return Order::Outcome::taken;
}

Order::Outcome GeneratorPanel::shorten(const Words &words, Milliseconds) {
    const auto missing = numberAt(words, 1, 0, longestShortening);
    if (!missing) {
        return Order::Outcome::misused;
    }
    m_Generator.records().shorten(static_cast<std::size_t>(*missing));
    return Order::Outcome::taken;
}

} // namespace tksim
