#include "vocabulary.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace tksim {

namespace {

constexpr Range digit{0, 9};
constexpr Range three{0, 999};
constexpr Range five{0, 99999};
constexpr Range seven{0, 9999999};

/// A number that the generator alone changes, in both families.
constexpr Row reading(std::string_view mnemonic, int width, Range range, int initial = 0) {
    return Row{mnemonic, Kind::reading, width, initial, range, range};
}

/// A setting of the room or of fluoroscopy, which the smaller family doesn't have.
constexpr Row room(std::string_view mnemonic, int width, int initial, Range range, int step = 1,
                   int largeStep = 1, ErrorCode limit = invalidParameter) {
    return Row{mnemonic, Kind::setting, width, initial, range, absent, step, largeStep, limit};
}

constexpr Row roomReading(std::string_view mnemonic, int width, Range range) {
    return Row{mnemonic, Kind::reading, width, 0, range, absent};
}

constexpr Row both(std::string_view mnemonic, int width, int initial, Range range) {
    return Row{mnemonic, Kind::setting, width, initial, range, range};
}

} // namespace

// clang-format off
constexpr Row vocabulary[vocabularySize] = {
    {"KV", Kind::setting, 3, 70, {40, 150}, {40, 125}, 1, 10, kvLimit},
    {"MA", Kind::setting, 5, 100, {1, 1000}, {1, 640}, 10, 100, maLimit},
    {"MS", Kind::setting, 5, 100, {1, 10000}, {1, 6300}, 10, 100, msLimit},
    {"MX", Kind::setting, 5, 10, {0, 10000}, {0, 4032}, 1, 10, masLimit},
    {"RR", Kind::set, 0},
    both("ET", 1, 0, {0, 2}),
    {"PR", Kind::handshake, 1, 0, {0, 1}, {0, 1}},
    {"XR", Kind::handshake, 1, 0, {0, 1}, {0, 1}},
    {"FS", Kind::filmScreen, 3, 1, {1, 100}, {1, 100}},
    {"FI", Kind::fields, 3, 10, {0, 111}, {0, 111}},
    {"FN", Kind::density, 2, 0, {-4, 4}, {-4, 4}, 1, 2, densityLimit},
    reading("AP", 5, five),
    reading("AT", 5, five),
    {"SA", Kind::program, 0},
    room("AI", 4, 0, {0, 9999}, 1, 100),
    room("FLK", 3, 70, {40, 125}, 1, 10, kvLimit),
    room("FLM", 3, 20, {5, 200}, 1, 10, maLimit),
    roomReading("FLI", 3, three),
    roomReading("FLT", 3, three),
    room("FLS", 3, 150, {5, 300}, 5, 50, ppsLimit),
    room("FLF", 1, 0, {0, 4}),
    {"FLP", Kind::handshake, 1, 0, {0, 1}, absent},
    room("FLA", 1, 0, {0, 2}),
    room("FLZ", 1, 0, {0, 3}),
    room("FLD", 1, 0, {0, 2}),
    {"FLX", Kind::handshake, 1, 0, {0, 1}, absent},
    room("FLR", 1, 0, {0, 1}),
    {"RF", Kind::set, 0, 0, {0, 0}, absent},
    room("FLC", 1, 0, {0, 4}),
    room("FLO", 1, 0, {0, 4}),
    room("ATA", 2, 5, {5, 60}, 5, 10),
    {"ATC", Kind::cutline, 2, 5, {-20, 99}, absent, 1, 5},
    reading("DA", 7, seven),
    reading("DR", 7, seven),
    {"DZ", Kind::reset, 0},
    reading("DT", 1, digit, 1),
    reading("DS", 1, digit, 1),
    reading("DV", 7, seven, 1000200),
    reading("ST", 3, three),
    both("WS", 1, 1, {1, 6}),
    both("FO", 1, 0, {0, 1}),
    {"RS", Kind::set, 0},
    reading("KW", 3, three),
    both("BU", 1, 1, {0, 4}),
    both("TO", 1, 0, {0, 1}),
    {"TU", Kind::reading, 1, 1, {1, 2}, {1, 1}},
    {"TB", Kind::setting, 1, 1, {1, 2}, {1, 1}},
    reading("MC", 5, five),
    reading("FC", 5, five),
    {"GR", Kind::reading, 4, 301, {0, 9999}, absent},
    {"ER", Kind::error, 3},
    {"EL", Kind::error, 3},
    both("GM", 1, 0, digit),
    both("CA", 1, 0, {0, 1}),
    both("TR", 1, 0, {0, 1}),
    room("AL", 1, 0, {0, 1}),
    roomReading("CN", 5, five),
    both("PS", 1, 1, {0, 3}),
    {"CD", Kind::set, 0},
    reading("GC", 3, three),
    reading("CWS", 1, {1, 6}, 1),
    reading("CBU", 1, digit, 1),
    reading("CTO", 1, digit),
    reading("CFL", 1, digit),
    reading("CSR", 1, digit),
    reading("CAE", 1, digit, 1),
    reading("CFI", 3, three, 10),
    reading("CFS", 3, three, 1),
    reading("WB", 1, digit),
    reading("WI", 3, three),
    reading("WF", 3, three),
    reading("HE", 3, {0, 100}),
    both("HO", 1, 0, {0, 1}),
    reading("HH", 3, {0, 100}),
    room("ATP", 3, 0, three, 1, 10),
    room("COL", 2, 0, {0, 43}, 1, 5),
    room("FIL", 2, 0, {0, 10}),
    both("FP", 1, 0, {0, 3}),
    room("BCP", 2, 0, {0, 10}),
    room("BCI", 2, 1, {1, 60}, 1, 10),
    room("BCF", 3, 10, {1, 300}, 1, 10),
    room("RAP", 2, 0, {0, 10}),
    room("RAA", 2, 0, {0, 90}, 1, 10),
    room("RAF", 3, 10, {1, 300}, 1, 10),
};
// clang-format on

namespace {

constexpr int powerOfTen(int exponent) {
    return exponent == 0 ? 1 : 10 * powerOfTen(exponent - 1);
}

constexpr bool fits(const Row &row, Family family) {
    if (!row.exists(family) || row.width == 0) {
        return true;
    }
    const Range range = row.range(family);
    const bool start = row.initial >= range.lowest && row.initial <= range.highest;
    return range.highest < powerOfTen(row.width) && (start || row.mnemonic == "GR");
}

constexpr bool everyValueFitsItsReply() {
    for (const Row &row : vocabulary) {
        if (!fits(row, Family::arkona) || !fits(row, Family::brn450)) {
            return false;
        }
    }
    return true;
}

static_assert(everyValueFitsItsReply(), "a range is wider than its reply, or its start outside it");

constexpr std::array<Station, workstations> stations{{
    {1, 1, 0, 0, 0, 1, 10, 1},
    {1, 2, 1, 0, 0, 2, 10, 1},
    {1, 0, 0, 0, 0, 0, 0, 1},
    {2, 0, 0, 1, 0, 3, 10, 10},
    {2, 3, 0, 1, 1, 4, 101, 1},
    {0, 0, 0, 0, 0, 0, 0, 1},
}};

} // namespace

const Row *find(std::string_view mnemonic) {
    const Row *row = std::find_if(std::begin(vocabulary), std::end(vocabulary),
                                  [&](const Row &each) { return each.mnemonic == mnemonic; });
    return row == std::end(vocabulary) ? nullptr : row;
}

std::size_t indexOf(const Row &row) {
    return static_cast<std::size_t>(&row - vocabulary);
}

bool isSetting(const Row &row) {
    return row.kind == Kind::setting || row.kind == Kind::filmScreen || row.kind == Kind::fields ||
           row.kind == Kind::density || row.kind == Kind::cutline;
}

const std::vector<int> &choices(const Row &row) {
    static const std::vector<int> none;
    static const std::vector<int> filmScreens{1, 10, 100};
    static const std::vector<int> fields{0, 1, 10, 11, 100, 101, 110, 111};
    if (row.kind == Kind::filmScreen) {
        return filmScreens;
    }
    return row.kind == Kind::fields ? fields : none;
}

const std::vector<std::string_view> &itemsOf(const Row &set) {
    static const std::vector<std::string_view> radiographic{"KV", "MA", "MS", "MX", "ET",
                                                            "FO", "FS", "FI", "FN", "WS"};
    static const std::vector<std::string_view> fluoroscopic{"FLK", "FLM", "FLF", "FLA", "FLS",
                                                            "FLZ", "FLD", "FLI", "FLT"};
    static const std::vector<std::string_view> status{"TU", "WS", "BU", "HE", "ST"};
    static const std::vector<std::string_view> configuration{"CWS", "CBU", "CTO", "CFL",
                                                             "CSR", "CAE", "CFI", "CFS"};
    if (set.mnemonic == "RR") {
        return radiographic;
    }
    if (set.mnemonic == "RF") {
        return fluoroscopic;
    }
    return set.mnemonic == "RS" ? status : configuration;
}

std::string format(const Row &row, int value) {
    char text[16] = "";
    const int size = std::abs(value);
    if (row.kind == Kind::density) {
        std::snprintf(text, sizeof text, "%c%d", value > 0 ? '+' : value < 0 ? '-' : ' ', size);
    } else if (row.kind == Kind::cutline && value < 0) {
        std::snprintf(text, sizeof text, "-%02d", size);
    } else if (row.width > 0) {
        std::snprintf(text, sizeof text, "%0*d", row.width, value);
    }
    return std::string(row.mnemonic) + text;
}

Station station(int workstation, Family family) {
    const int nearest = std::clamp(workstation, 1, workstations);
    Station found = stations[static_cast<std::size_t>(nearest - 1)];
    if (family == Family::brn450) {
        found.tube = std::min(found.tube, 1);
        found.fluoroscopy = 0;
    }
    return found;
}

} // namespace tksim
