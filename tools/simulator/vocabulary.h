#ifndef TKSIM_VOCABULARY_H
#define TKSIM_VOCABULARY_H

#include "wire.h"

#include <cstddef>

/// The generator's own list of what can be said on the line, kept apart from the library's on
/// purpose: the two meet only on the wire.
namespace tksim {

enum class Family { arkona, brn450 };

/// What a mnemonic is for, and with it the form of its value.
enum class Kind {
    setting,    ///< a number that the console sets, steps and queries
    filmScreen, ///< a setting of 1, 10 or 100
    fields,     ///< a setting of three binary digits, one for each measuring field
    density,    ///< a setting of one digit with its sign; zero has a blank for a sign
    cutline,    ///< a setting of two digits, or of three characters when it is negative
    reading,    ///< a number that the generator alone changes
    handshake,  ///< prep and exposure states, agreed upon by both sides
    set,        ///< a read of many values, answered by one frame
    reset,      ///< an order to the meter, without a value
    program,    ///< first word of an anatomical program
    error       ///< errors, and the console's echo of a latched one
};

struct Range {
    int lowest, highest;
};

/// The range of a value in a family that doesn't have it.
constexpr Range absent{1, 0};

/// Error numbers that a generator sends when a value can't be taken as it came.
enum ErrorCode {
    modeInhibited = 46,
    kvLimit = 203,
    maLimit = 204,
    msLimit = 205,
    masLimit = 206,
    densityLimit = 212,
    invalidParameter = 213,
    ppsLimit = 219
};

struct Row {
    std::string_view mnemonic;
    Kind kind;
    int width; ///< characters of a value in a reply
    int initial = 0;
    Range arkona{0, 0};
    Range brn450{0, 0};
    int step = 1;      ///< what "+" and "-" change
    int largeStep = 1; ///< what "++" and "--" change
    ErrorCode limit = invalidParameter;

    constexpr Range range(Family family) const {
        return family == Family::arkona ? arkona : brn450;
    }
    constexpr bool exists(Family family) const {
        return range(family).lowest <= range(family).highest;
    }
};

constexpr int workstations = 6;

/// What a workstation has. Without a tube it isn't enabled.
struct Station {
    int tube, bucky, tomography, fluoroscopy, serial, aecChannel, fields, filmScreen;
};

constexpr std::size_t vocabularySize = 84;

extern const Row vocabulary[vocabularySize];

/// The row of a mnemonic, or null.
const Row *find(std::string_view mnemonic);

/// Position of a row in the vocabulary.
std::size_t indexOf(const Row &row);

bool isSetting(const Row &row);

/// Values that a film screen or field setting can have, in the order in which steps go through
/// them; empty for all other rows.
const std::vector<int> &choices(const Row &row);

/// The mnemonics of "RR", "RF", "RS" and "CD" in the order of their reply.
const std::vector<std::string_view> &itemsOf(const Row &set);

/// A value as a reply carries it, mnemonic first.
std::string format(const Row &row, int value);

/// Workstation 1 to 6; what lies outside gives the nearest. The smaller family has one tube, which
/// serves both tubes' stations, and no fluoroscopy.
Station station(int workstation, Family family);

} // namespace tksim

#endif
