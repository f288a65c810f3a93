#include "record_table.h"

#include "record_contents.h"

#include <algorithm>

namespace tksim {

namespace {

constexpr Revisions all{};
constexpr Revisions below150{0, 149};
constexpr Revisions below300{0, 299};
constexpr Revisions from150{150, 9999};
constexpr Revisions from150Below300{150, 299};
constexpr Revisions from300{300, 9999};

// clang-format off
constexpr RecordRow rows[] = {
    {"receptor", 0x06, below300, {6}, 26, {27, 27}, {18, 1}, Form::usual, fillReceptor},
    {"receptor", 0x1A, from300, {6}, 27, {48, 48}, {18, 1}, Form::usual, fillReceptor},
    {"aec", 0x08, below150, {4}, 4, {11, 8}, {}, Form::usual, fillAecBelow300},
    {"aec", 0x08, from150Below300, {4}, 10, {11, 11}, {}, Form::usual, fillAecBelow300},
    {"aec", 0x17, from300, {4}, 26, {47, 47}, {}, Form::usual, fillAecFrom300},
    {"calibration", 0x09, all, {3}, 21, {23, 23}},
    {"density", 0x0A, all, {}, 16, {17, 17}},
    {"digital", 0x18, all, {4}, 17, {38, 38}},
    {"table", 0xC8, all, {}, 52, {}, {}, Form::readOnly, fillTable},
    {"chamber", 0xD3, all, {4}, 10, {10, 10}, {}, Form::inTurn},
    {"tube", 0x04, below300, {2}, 439, {447, 446}, {71, 10}, Form::usual, fillTube},
    {"tube", 0x19, from300, {2}, 617, {638, 638}, {71, 10}, Form::usual, fillTube},
    {"fluorosetup", 0x0B, below150, {}, 35, {36, 36}, {}, Form::usual, fillFluoroSetup},
    {"fluorosetup", 0x0B, from150, {}, 53, {64, 64}, {}, Form::usual, fillFluoroSetup},
    {"generalfluoro", 0x11, all, {}, 9, {30, 30}, {}, Form::usual, fillGeneralFluoro},
    {"fluororad", 0x12, all, {}, 57, {78, 78}, {}, Form::usual, fillFluoroRad},
    {"continuousfluoro", 0x13, all, {}, 91, {92, 112}, {}, Form::usual, fillContinuousFluoro},
    {"highlevelfluoro", 0x14, all, {}, 54, {55, 75}, {}, Form::usual, fillHighLevelFluoro},
    {"pulsefluoro", 0x15, all, {}, 184, {148, 205}, {}, Form::usual, fillPulseFluoro},
    {"hlfpulsefluoro", 0x16, all, {}, 76, {40, 117}, {}, Form::usual, fillHlfPulseFluoro, {53, 20}},
    {"datetime", 0x01, all, {}, 7, {7, 7}, {}, Form::clock},
    {"errorlog", 0x02, all, {}, 21, {}, {}, Form::log},
    {"statistics", 0x03, all, {}, 16, {}, {}, Form::counters, fillStatistics},
    {"genlimits", 0x05, all, {}, 8, {9, 9}, {}, Form::usual, fillLimits},
    {"gentype", 0x10, all, {}, 3, {3, 4}, {}, Form::usual, fillType},
    {"ioconfig", 0x07, all, {6, 4}, 8, {9, 9}, {}, Form::usual, fillInputsOutputs},
    {"dapconfig", 0x0E, all, {}, 20, {31, 31}, {}, Form::usual, fillDapMeter},
    {"bypass", 0x38, all, {}, 1, {1, 2}, {}, Form::writeOnly, fillZeros},
};
// clang-format on

constexpr bool overlap(const RecordRow &one, const RecordRow &other) {
    return (one.code == other.code || one.name == other.name) &&
           one.revisions.first <= other.revisions.last &&
           other.revisions.first <= one.revisions.last;
}

constexpr bool everyRevisionHasOneForm() {
    for (const RecordRow &one : rows) {
        for (const RecordRow &other : rows) {
            if (&one != &other && overlap(one, other)) {
                return false;
            }
        }
    }
    return true;
}

constexpr bool hasWrite(Form form) {
    return form != Form::readOnly && form != Form::log && form != Form::counters;
}

constexpr bool everySizeIsSound() {
    for (const RecordRow &row : rows) {
        const bool written = hasWrite(row.form);
        if (row.zeros.offset + row.zeros.count > row.size || row.size < row.indexBytes() ||
            written != (row.write.length > 0) ||
            (written && row.write.follow <= row.indexBytes()) ||
            (row.padded.count > 0 && row.write.follow <= row.size + row.padded.count)) {
            return false;
        }
    }
    return true;
}

static_assert(everyRevisionHasOneForm(), "two rows have one code or name at the same revision");
static_assert(everySizeIsSound(), "a row whose sizes don't fit each other");

template <class Fits>
const RecordRow *findWhere(Fits fits) {
    const RecordRow *row = std::find_if(std::begin(rows), std::end(rows), fits);
    return row == std::end(rows) ? nullptr : row;
}

} // namespace

const RecordRow *RecordTable::begin() const {
    return std::begin(rows);
}

const RecordRow *RecordTable::end() const {
    return std::end(rows);
}

const RecordRow *findRecord(std::uint8_t code, int revision) {
    return findWhere(
        [=](const RecordRow &row) { return row.code == code && row.spokenAt(revision); });
}

const RecordRow *findRecord(std::string_view name, int revision) {
    return findWhere(
        [=](const RecordRow &row) { return row.name == name && row.spokenAt(revision); });
}

std::size_t bytesBehindLength(const std::uint8_t *head, int revision) {
    const std::size_t length = (std::size_t{head[2]} << 8) + head[3];
    const RecordRow *row = findRecord(head[1], revision);
    if (!row || length != row->write.length) {
        return length;
    }
    if (row->form == Form::inTurn) {
        // A read ends here with its sum, which is the number of no instance.
        const auto sum = static_cast<std::uint8_t>(head[0] + head[1] + head[2] + head[3]);
        return head[4] == sum ? 0 : row->write.follow;
    }
    return head[4] == 0 ? row->write.follow : length;
}

} // namespace tksim
