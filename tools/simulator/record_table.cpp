#include "record_table.h"

#include <algorithm>

namespace tksim {

namespace {

constexpr Revisions all{};
constexpr Revisions below150{0, 149};
constexpr Revisions below300{0, 299};
constexpr Revisions from150{150, 299};
constexpr Revisions from300{300, 9999};

constexpr std::size_t digitalReceptor = 4;
constexpr int functionalOfDigital = 2;
constexpr int interfaceOfDigital = 2;

/// Film screens of each channel, one bit each; the last channel has a digital receptor and none.
constexpr std::uint8_t filmScreens[]{7, 5, 2, 0};
constexpr std::uint8_t media[]{0, 0, 0, 1};

std::uint8_t byte(int value) {
    return static_cast<std::uint8_t>(value);
}

/// Digits as the text protocol has them: 101 for bits 2 and 0.
int bits(int digits) {
    return digits / 100 % 10 * 4 + digits / 10 % 10 * 2 + digits % 10;
}

/// Copies what the form has room for.
template <std::size_t size>
void begin(Bytes &data, const std::uint8_t (&start)[size]) {
    std::copy_n(start, std::min(size, data.size()), data.begin());
}

/// One for each workstation, as its settings are.
void fillReceptor(Bytes &data, std::size_t instance, Family family) {
    const Station here = station(static_cast<int>(instance) + 1, family);
    const bool digital = instance == digitalReceptor;
    const int backupMode = here.aecChannel == 0 ? 0 : here.aecChannel % 2 == 0 ? 2 : 1;
    const std::uint8_t start[] = {
        0, byte(here.tube), byte(here.tomography), byte(here.fluoroscopy), byte(here.serial),
        byte(here.aecChannel), byte(digital ? interfaceOfDigital : 0),
        // hang times, last image hold, memory, backup time of tomography, automatic focus
        5, 10, byte(here.fluoroscopy), 0, byte(here.tomography * 20), 1,
        // backup: mode, mAs, ms; then kV, mA, a reserved byte, ms
        byte(backupMode), 20, 15, 70, 0, 0, 7,
        // technique, focus, density, film screen (0, 1, 2 for 1, 10, 100), fields
        0, 0, 0, byte(bits(here.filmScreen) / 2), byte(bits(here.fields)),
        byte(digital ? functionalOfDigital : 0), 0};
    begin(data, start);
}

void fillAecBelow300(Bytes &data, std::size_t instance, Family) {
    // film screens, fields, chamber type, compensation of the fields (signed), gains
    const std::uint8_t start[] = {0, filmScreens[instance], 7, 1, 0xFE, 0, 2, 100, 110, 120};
    begin(data, start);
}

void fillAecFrom300(Bytes &data, std::size_t instance, Family) {
    const std::uint8_t start[] = {
        0, 1, media[instance], 7, filmScreens[instance],
        // compensation of the fields (signed); gains of the film screens, then the digital one
        0xFE, 0, 2, 0x03, 0xE8, 0x04, 0x4C, 0x04, 0xB0, 0x05, 0x14,
        // digital curve; compensation of the magnifications
        byte(static_cast<int>(instance)), 10, 11, 12, 20, 21, 22, 30, 31, 32};
    begin(data, start);
}

void fillTable(Bytes &data, std::size_t, Family) {
    constexpr std::size_t guidance = 7;
    constexpr std::size_t filter = guidance + 32;
    constexpr std::string_view guidanceText = "TABLE IN POSITION";
    constexpr std::string_view filterText = "0.1 MM CU";
    // tilt and rotation of the arm, tilts of the main arm and the table top, distance, heights
    const std::uint8_t start[] = {0xFB, 10, 0, 15, 110, 90, 0xEC};
    std::fill(data.begin(), data.end(), std::uint8_t{0});
    begin(data, start);
    std::copy(guidanceText.begin(), guidanceText.end(), data.begin() + guidance);
    std::copy(filterText.begin(), filterText.end(), data.begin() + filter);
}

// clang-format off
constexpr RecordRow rows[] = {
    {"receptor", 0x06, below300, {6}, 26, {27, 27}, {18, 1}, Form::usual, fillReceptor},
    {"receptor", 0x1A, from300, {6}, 27, {48, 48}, {18, 1}, Form::usual, fillReceptor},
    {"aec", 0x08, below150, {4}, 4, {11, 8}, {}, Form::usual, fillAecBelow300},
    {"aec", 0x08, from150, {4}, 10, {11, 11}, {}, Form::usual, fillAecBelow300},
    {"aec", 0x17, from300, {4}, 26, {47, 47}, {}, Form::usual, fillAecFrom300},
    {"calibration", 0x09, all, {3}, 21, {23, 23}},
    {"density", 0x0A, all, {}, 16, {17, 17}},
    {"digital", 0x18, all, {4}, 17, {38, 38}},
    {"table", 0xC8, all, {}, 52, {}, {}, Form::readOnly, fillTable},
    {"chamber", 0xD3, all, {4}, 10, {10, 10}, {}, Form::inTurn},
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

constexpr bool everySizeIsSound() {
    for (const RecordRow &row : rows) {
        const bool written = row.form != Form::readOnly;
        if (row.zeros.offset + row.zeros.count > row.size || row.size < row.indexBytes() ||
            written != (row.write.length > 0) ||
            (written && row.write.follow <= row.indexBytes())) {
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
