#ifndef TKSIM_CODES_H
#define TKSIM_CODES_H

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace tksim {

/// Preferred numbers, of which each code table is a part.
constexpr int preferredNumbers[] = {
    5,    6,    8,    10,   12,   16,    20,    25,    32,    40,    50,    63,    80,    100,
    125,  160,  200,  250,  320,  400,   500,   630,   800,   1000,  1250,  1600,  2000,  2500,
    3200, 4000, 5000, 6300, 8000, 10000, 12500, 16000, 20000, 25000, 32000, 40000, 50000, 63000};

/// Some records carry a value as its place in such a table.
struct CodeTable {
    std::size_t first, count;
};

constexpr CodeTable maCodes{13, 21};
constexpr CodeTable masCodes{0, 34};
constexpr CodeTable timeCodes{6, 36};

static_assert(timeCodes.first + timeCodes.count == std::size(preferredNumbers));

/// The code of the largest number that isn't above the value; 0 for all that lies below the table.
constexpr std::uint8_t codeOf(const CodeTable &table, int value) {
    std::size_t code = 0;
    while (code + 1 < table.count && preferredNumbers[table.first + code + 1] <= value) {
        ++code;
    }
    return static_cast<std::uint8_t>(code);
}

} // namespace tksim

#endif
