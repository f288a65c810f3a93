#include "generator.h"

#include "codes.h"
#include "record_contents.h"

#include <algorithm>
#include <utility>

namespace tksim {

namespace {

constexpr int sendsOfLatchedError = 5;
constexpr Milliseconds latchedPeriod = 1000;

/// Bits of the status "ST".
enum StatusBit { prepBit = 1, exposureBit = 2, fluoroBit = 4, latchedBit = 8 };

bool isQuery(std::string_view value) {
    return value.empty() || value == "?";
}

std::optional<Parameters::Step> stepOf(std::string_view value) {
    if (value == "+") {
        return Parameters::Step::up;
    }
    if (value == "-") {
        return Parameters::Step::down;
    }
    if (value == "++") {
        return Parameters::Step::largeUp;
    }
    if (value == "--") {
        return Parameters::Step::largeDown;
    }
    return std::nullopt;
}

/// The density stands behind a plus or a blank unless it is negative, and so do its requests:
/// "FN+1", "FN 0", "FN+?", "FN++" for one step up.
std::string_view withoutSign(const Row &row, std::string_view value) {
    const bool sign = value.size() > 1 && (value[0] == '+' || value[0] == ' ');
    return row.kind == Kind::density && sign ? value.substr(1) : value;
}

std::size_t lettersAt(std::string_view text, std::size_t start) {
    std::size_t end = start;
    while (end < text.size() && text[end] >= 'A' && text[end] <= 'Z') {
        ++end;
    }
    return end - start;
}

using Program = std::vector<std::pair<const Row *, int>>;

/// Settings, each behind one blank and as wide as its reply. Empty when the line is none.
Program parseProgram(std::string_view line, const Parameters &parameters) {
    Program program;
    std::size_t at = 0;
    while (at < line.size()) {
        if (line[at] != ' ') {
            return {};
        }
        const std::size_t letters = lettersAt(line, at + 1);
        const Row *row = parameters.find(line.substr(at + 1, letters));
        if (!row || !isSetting(*row)) {
            return {};
        }
        at += 1 + letters;
        const auto width = static_cast<std::size_t>(row->width);
        const auto value = number(withoutSign(*row, line.substr(at, width)));
        if (!value || at + width > line.size()) {
            return {};
        }
        program.emplace_back(row, *value);
        at += width;
    }
    return program;
}

void append(std::string &items, const std::string &item) {
    items += (items.empty() ? "" : " ") + item;
}

} // namespace

Generator::Generator(Family family, int revision, double timeScale, std::int64_t utc)
    : m_Parameters(family, revision), m_Records(family, utc),
      m_Radiography(m_Parameters, m_Load, m_Records.statistics(), m_Output, timeScale) {}

void Generator::receive(const Frame &frame, Milliseconds now) {
    if (frame.kind == FrameKind::acknowledge || frame.kind == FrameKind::negative) {
        return;
    }
    if (frame.kind == FrameKind::record) {
        if (!m_RecordsMuted) {
            m_Output.sendFrame(m_Records.answer(frame.bytes, revision(), now));
        }
        return;
    }
    const std::size_t letters = lettersAt(frame.text, 0);
    const std::string_view text = frame.text;
    const Row *row = m_Parameters.find(text.substr(0, letters));
    if (frame.kind != FrameKind::text || !row) {
        m_Output.sendByte(nak);
        return;
    }
    refresh(now);
    answer(*row, withoutSign(*row, text.substr(letters)), now);
}

void Generator::answer(const Row &row, std::string_view value, Milliseconds now) {
    if (muted(row) && (row.kind == Kind::set || isQuery(value))) {
        return;
    }
    switch (row.kind) {
    case Kind::setting:
    case Kind::filmScreen:
    case Kind::fields:
    case Kind::density:
    case Kind::cutline:
        return answerSetting(row, value, now);
    case Kind::reading:
        return answerValue(row, value);
    case Kind::handshake:
        return answerHandshake(row, value, now);
    case Kind::set:
        return answerSet(row, value, now);
    case Kind::reset:
        m_Load.clearDose();
        return m_Output.send(row.mnemonic);
    case Kind::program:
        return answerProgram(value, now);
    case Kind::error:
        return echoedError(row, value);
    }
}

void Generator::answerValue(const Row &row, std::string_view value) {
    if (isQuery(value) || stepOf(value)) {
        m_Output.send(m_Parameters.item(row.mnemonic));
        if (row.mnemonic == "DT") {
            m_Load.meterAsked();
        }
    } else {
        m_Output.sendByte(nak);
    }
}

void Generator::answerSetting(const Row &row, std::string_view value, Milliseconds now) {
    if (const auto wanted = number(value)) {
        setValue(row, *wanted, now);
    } else if (const auto step = stepOf(value)) {
        stepValue(row, *step, now);
    } else {
        answerValue(row, value);
    }
}

void Generator::setValue(const Row &row, int wanted, Milliseconds now) {
    const Parameters::Values before = m_Parameters.values();
    const bool inhibited = m_Radiography.exposing();
    const bool taken = !inhibited && m_Parameters.set(row, wanted);
    if (!taken) {
        sendError(inhibited ? modeInhibited : row.limit, now);
    }
    if (!m_AnswerByAck) {
        sendWithChanges(m_Parameters.item(row.mnemonic), {&row}, before);
    } else if (taken) {
        // Otherwise the error has been the answer, and an ACK would answer the next frame.
        m_Output.sendByte(ack);
    }
}

void Generator::stepValue(const Row &row, Parameters::Step step, Milliseconds now) {
    const Parameters::Values before = m_Parameters.values();
    if (m_Radiography.exposing()) {
        sendError(modeInhibited, now);
    } else {
        m_Parameters.step(row, step);
    }
    sendWithChanges(m_Parameters.item(row.mnemonic), {&row}, before);
}

void Generator::answerSet(const Row &row, std::string_view value, Milliseconds now) {
    const bool configuration = row.mnemonic == "CD";
    const auto argument = number(value);
    if (!value.empty() && !(configuration && argument)) {
        m_Output.sendByte(nak);
        return;
    }
    if (configuration) {
        const int wanted = argument.value_or(m_Parameters.value("WS"));
        const int described = std::clamp(wanted, 1, workstations);
        if (described != wanted) {
            sendError(invalidParameter, now);
        }
        m_Parameters.describeStation(described);
    }
    std::string items;
    for (const std::string_view mnemonic : itemsOf(row)) {
        const Row *each = m_Parameters.find(mnemonic);
        if (each && !muted(*each)) {
            append(items, m_Parameters.item(mnemonic));
        } else if (mnemonic == itemsOf(row).front()) {
            m_Output.sendByte(ack); // else the console would wait for the item that it awaits
        }
    }
    m_Output.send(items);
}

void Generator::answerHandshake(const Row &row, std::string_view value, Milliseconds now) {
    const auto state = number(value);
    if (!state) {
        answerValue(row, value);
    } else if (row.mnemonic == "PR" || row.mnemonic == "XR") {
        m_Radiography.heard(row.mnemonic, *state, now);
    } else {
        m_Fluoroscopy.heard(row.mnemonic, *state, now);
    }
}

void Generator::answerProgram(std::string_view line, Milliseconds now) {
    const Program program = parseProgram(line, m_Parameters);
    if (program.empty() || program.front().first->mnemonic != "WS") {
        m_Output.sendByte(nak);
        return;
    }
    const Parameters::Values before = m_Parameters.values();
    if (m_Radiography.exposing()) {
        sendError(modeInhibited, now);
    } else {
        for (const Row *refused : m_Parameters.load(program)) {
            sendError(refused->limit, now);
        }
    }
    std::string items;
    std::vector<const Row *> rows;
    for (const auto &[row, wanted] : program) {
        append(items, m_Parameters.item(row->mnemonic));
        rows.push_back(row);
    }
    sendWithChanges(items, rows, before);
}

/// The rows are those that the items tell already.
void Generator::sendWithChanges(std::string items, std::vector<const Row *> rows,
                                const Parameters::Values &before) {
    rows.insert(rows.end(), m_Muted.begin(), m_Muted.end());
    for (const std::string &item : m_Parameters.changesSince(before, rows)) {
        append(items, item);
    }
    m_Output.send(items);
}

void Generator::echoedError(const Row &row, std::string_view value) {
    const auto code = number(value);
    const auto echoed = [&](const LatchedError &each) { return code && each.code == *code; };
    const auto rest = std::remove_if(m_Latched.begin(), m_Latched.end(), echoed);
    if (row.mnemonic != "EL" || rest == m_Latched.end()) {
        return;
    }
    m_Latched.erase(rest, m_Latched.end());
    m_Output.print("latched " + std::to_string(*code) + " acknowledged");
}

void Generator::sendError(int code, Milliseconds now) {
    m_Output.send(format(*find("ER"), code));
    logError(code, now);
}

void Generator::logError(int code, Milliseconds now) {
    const auto value = [this](std::string_view mnemonic) { return m_Parameters.value(mnemonic); };
    Bytes technique{codeOf(maCodes, value("MA")), codeOf(masCodes, value("MX")),
                    codeOf(timeCodes, value("MS"))};
    technique.insert(technique.begin(), static_cast<std::uint8_t>(value("KV")));
    for (const int each :
         {value("FN"), value("WS") - 1, value("ET"), value("FO"), filmScreenNumber(value("FS")),
          bits(value("FI")), value("FLK"), value("FLM")}) {
        technique.push_back(static_cast<std::uint8_t>(each));
    }
    m_Records.logError(code, technique, now);
}

void Generator::advance(Milliseconds now) {
    m_Radiography.advance(now);
    m_Fluoroscopy.advance(now);
    for (LatchedError &each : m_Latched) {
        if (now < each.next) {
            continue;
        }
        if (each.sent < sendsOfLatchedError) {
            m_Output.send(format(*find("EL"), each.code));
        } else {
            m_Output.print("latched " + std::to_string(each.code) + " unanswered");
        }
        ++each.sent;
        each.next += latchedPeriod;
    }
    const auto over = [](const LatchedError &each) { return each.sent > sendsOfLatchedError; };
    m_Latched.erase(std::remove_if(m_Latched.begin(), m_Latched.end(), over), m_Latched.end());
}

std::optional<Milliseconds> Generator::deadline() const {
    std::optional<Milliseconds> first = m_Radiography.deadline();
    const auto consider = [&](std::optional<Milliseconds> other) {
        if (other && (!first || *other < *first)) {
            first = other;
        }
    };
    consider(m_Fluoroscopy.deadline());
    for (const LatchedError &each : m_Latched) {
        consider(each.next);
    }
    return first;
}

/// Brings up to date what follows from time and state alone.
void Generator::refresh(Milliseconds now) {
    const auto value = [this](std::string_view mnemonic) { return m_Parameters.value(mnemonic); };
    m_Load.refresh(now);
    m_Fluoroscopy.refresh(now);
    const int kv = value("KV");
    const int fluoroKv = value("FLK");
    const int rate = m_Radiography.exposing()   ? kv * kv * value("MA") / 1000
                     : m_Fluoroscopy.exposing() ? fluoroKv * fluoroKv * value("FLM") / 10000
                                                : 0;
    m_Parameters.put("DR", m_Load.metering() ? rate : 0);
    m_Parameters.put("KW", (kv * value("MA") + 500) / 1000);
    m_Parameters.put("ST", value("PR") * prepBit + value("XR") * exposureBit +
                               value("FLX") * fluoroBit + (m_Latched.empty() ? 0 : latchedBit));
}

bool Generator::prep(Milliseconds now) {
    return m_Fluoroscopy.idle() && m_Radiography.prep(now);
}

bool Generator::expose(Milliseconds now) {
    return m_Radiography.expose(now);
}

bool Generator::release(Milliseconds now) {
    return m_Radiography.release(now);
}

bool Generator::fluoro(bool on, Milliseconds now) {
    if (!on) {
        return m_Fluoroscopy.stop(now);
    }
    return m_Parameters.find("FLX") && m_Radiography.idle() && m_Fluoroscopy.start(now);
}

void Generator::error(int code, Milliseconds now) {
    sendError(code, now);
    m_Output.print("error " + std::to_string(code));
}

void Generator::latched(int code, Milliseconds now) {
    m_Latched.push_back({code, 0, now});
    logError(code, now);
    m_Output.print("latched " + std::to_string(code));
    advance(now);
}

bool Generator::changeable(std::string_view mnemonic) const {
    const Row *row = m_Parameters.find(mnemonic);
    return row && (isSetting(*row) || row->kind == Kind::reading);
}

bool Generator::change(std::string_view mnemonic, int value) {
    const Row *row = m_Parameters.find(mnemonic);
    if (!row || (isSetting(*row) && m_Radiography.exposing())) {
        return false;
    }
    const Parameters::Values before = m_Parameters.values();
    if (isSetting(*row)) {
        m_Parameters.set(*row, value);
    } else {
        m_Parameters.put(mnemonic, value);
    }
    sendWithChanges(m_Parameters.item(mnemonic), {row}, before);
    m_Output.print("set " + m_Parameters.item(mnemonic));
    return true;
}

void Generator::setMeter(Meter meter, Milliseconds now) {
    m_Load.setMeter(meter);
    m_Records.change(*findRecord("dapconfig", revision()), 0, 0, meter != Meter::none, now);
}

bool Generator::mute(std::string_view mnemonic) {
    if (mnemonic == "record") {
        m_RecordsMuted = true;
        return true;
    }
    const Row *row = m_Parameters.find(mnemonic);
    if (row) {
        m_Muted.push_back(row);
    }
    return row != nullptr;
}

bool Generator::muted(const Row &row) const {
    return std::find(m_Muted.begin(), m_Muted.end(), &row) != m_Muted.end();
}

void Generator::show(Milliseconds now) {
    refresh(now);
    for (const Row &row : vocabulary) {
        if (row.width > 0 && row.kind != Kind::error && m_Parameters.find(row.mnemonic)) {
            m_Output.print("value " + std::string(row.mnemonic) + " " +
                           std::to_string(m_Parameters.value(row.mnemonic)));
        }
    }
}

GeneratorOutput Generator::takeOutput() {
    return std::exchange(m_Output, {});
}

} // namespace tksim
