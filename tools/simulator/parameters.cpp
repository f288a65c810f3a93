#include "parameters.h"

#include <algorithm>

namespace tksim {

namespace {

constexpr int masTechnique = 1;

/// value * factor / divisor, rounded.
int scaled(int value, int factor, int divisor) {
    return divisor == 0 ? 0 : (value * factor + divisor / 2) / divisor;
}

} // namespace

Parameters::Parameters(Family family, int revision) : m_Family(family) {
    for (const Row &row : vocabulary) {
        m_Values[indexOf(row)] = row.initial;
    }
    put("GR", revision);
}

const Row *Parameters::find(std::string_view mnemonic) const {
    const Row *row = tksim::find(mnemonic);
    return row && row->exists(m_Family) ? row : nullptr;
}

int &Parameters::at(std::string_view mnemonic) {
    return m_Values[indexOf(*tksim::find(mnemonic))];
}

int Parameters::value(std::string_view mnemonic) const {
    return m_Values[indexOf(*tksim::find(mnemonic))];
}

void Parameters::put(std::string_view mnemonic, int value) {
    if (const Row *row = find(mnemonic)) {
        const Range range = row->range(m_Family);
        m_Values[indexOf(*row)] = std::clamp(value, range.lowest, range.highest);
    }
}

bool Parameters::take(const Row &row, int wanted) {
    int &value = m_Values[indexOf(row)];
    const std::vector<int> &allowed = choices(row);
    if (!allowed.empty()) {
        const bool known = std::find(allowed.begin(), allowed.end(), wanted) != allowed.end();
        value = known ? wanted : value;
        return known;
    }
    const Range range = row.range(m_Family);
    value = std::clamp(wanted, range.lowest, range.highest);
    return value == wanted;
}

bool Parameters::set(const Row &row, int wanted) {
    const bool taken = take(row, wanted);
    if (row.mnemonic == "WS") {
        followStation();
    } else if (row.mnemonic == "TB") {
        put("TU", value("TB"));
    } else {
        settle(row.mnemonic);
    }
    // The other factor may have met its limit and moved the product away again.
    return taken && value(row.mnemonic) == wanted;
}

void Parameters::step(const Row &row, Step step) {
    const bool large = step == Step::largeUp || step == Step::largeDown;
    const int sign = step == Step::up || step == Step::largeUp ? 1 : -1;
    const int present = m_Values[indexOf(row)];
    const std::vector<int> &allowed = choices(row);
    if (allowed.empty()) {
        const Range range = row.range(m_Family);
        const int next = present + sign * (large ? row.largeStep : row.step);
        set(row, std::clamp(next, range.lowest, range.highest));
        return;
    }
    const auto last = static_cast<std::ptrdiff_t>(allowed.size()) - 1;
    const auto place = std::find(allowed.begin(), allowed.end(), present) - allowed.begin();
    const auto next = place + sign * (large ? last : 1);
    set(row, allowed[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(next, 0, last))]);
}

std::vector<const Row *> Parameters::load(const std::vector<std::pair<const Row *, int>> &program) {
    std::vector<const Row *> refused;
    for (const auto &[row, wanted] : program) {
        if (!take(*row, wanted)) {
            refused.push_back(row);
        }
    }
    followStation();
    settle("");
    return refused;
}

void Parameters::followStation() {
    const Station present = station(value("WS"), m_Family);
    put("BU", present.bucky);
    if (present.tube != 0) {
        put("TU", present.tube);
        put("TB", present.tube);
    }
}

/// Restores mAs = mA * ms / 1000 after a change of `changed`.
void Parameters::settle(std::string_view changed) {
    const bool held = value("ET") == masTechnique;
    if (changed == "MX" || (changed == "MA" && held)) {
        put("MS", scaled(value("MX"), 1000, value("MA")));
    } else if (changed == "MS" && held) {
        put("MA", scaled(value("MX"), 1000, value("MS")));
    }
    put("MX", scaled(value("MA"), value("MS"), 1000));
}

std::string Parameters::item(std::string_view mnemonic) const {
    return format(*tksim::find(mnemonic), value(mnemonic));
}

std::vector<std::string> Parameters::changesSince(const Values &before,
                                                  const std::vector<const Row *> &except) const {
    std::vector<std::string> items;
    for (const Row &row : vocabulary) {
        const std::size_t index = indexOf(row);
        const bool named = std::find(except.begin(), except.end(), &row) != except.end();
        if (!named && row.exists(m_Family) && before[index] != m_Values[index]) {
            items.push_back(format(row, m_Values[index]));
        }
    }
    return items;
}

void Parameters::describeStation(int workstation) {
    const Station described = station(workstation, m_Family);
    at("CWS") = workstation;
    at("CBU") = described.bucky;
    at("CTO") = described.tomography;
    at("CFL") = described.fluoroscopy;
    at("CSR") = described.serial;
    at("CAE") = described.aecChannel;
    at("CFI") = described.fields;
    at("CFS") = described.filmScreen;
}

} // namespace tksim
