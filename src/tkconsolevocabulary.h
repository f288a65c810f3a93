#ifndef TKCONSOLEVOCABULARY_H
#define TKCONSOLEVOCABULARY_H

#include "tkvocabulary.h"

#include <string_view>

/// One command of the GEHL console: facts, never state. Each has a value that the console tells.
struct TkGEHLCommand : TkTextItem {
    bool answered; ///< false: the console doesn't answer, and nothing is waited for
    TkEvent<TkGEHLDispatcher> event;
};

/// The vocabulary of the GEHL console, the one place where it stands.
struct TkGEHLCommandTable {
    /// In the order in which the parameter table declares them.
    static const std::array<TkGEHLCommand, 8> rows;

    /// The row of a command, the code of its letter, or null. Takes any number.
    static const TkGEHLCommand *find(int number);
};

/// How the body of a frame to the Infimed console is made, and what a body from it tells.
enum class TkInfimedForm {
    none,   ///< nothing
    fixed,  ///< what it begins with is all of it, whatever the value is
    digit,  ///< a digit; to the console "?" for a query too, and "@"
    step,   ///< one of eight steps up or down, "@", by how much, and "@"
    number, ///< "@", and a number of a few characters
    byte    ///< the code of a character
};

/// One command of the Infimed console, or what it tells by itself: facts, never state.
struct TkInfimedCommand {
    int number;
    std::string_view sent; ///< with which the body of its frame begins; empty: never sent
    TkInfimedForm sentForm;
    bool answered;         ///< false: nothing is waited for
    std::string_view told; ///< with which the body begins that tells its value; empty: none does
    TkInfimedForm toldForm;
    std::size_t width; ///< characters of a number
    bool text;         ///< a text follows the value, up to the next "@"
    TkEvent<TkInfimedDispatcher> event;
};

/// The vocabulary of the Infimed console, the one place where it stands.
struct TkInfimedCommandTable {
    static const std::array<TkInfimedCommand, 16> rows;

    /// The row of a command, or null. Takes any number.
    static const TkInfimedCommand *find(int number);

    /// The row that a received body tells of, or null.
    static const TkInfimedCommand *toldBy(std::string_view body);

    /// Whether a received body begins as one of those that are known.
    static bool knowsLetter(std::string_view body);
};

#endif
