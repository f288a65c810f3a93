#ifndef TKVOCABULARY_H
#define TKVOCABULARY_H

#include "tk.h"
#include "tkdispatchers.h"
#include "tkevent.h"

#include <array>
#include <cstddef>

/// How the text of a value shows its sign.
enum class TkValueKind {
    plain,      ///< no sign of its own
    plusSigned, ///< a plus before a value of 0 or more; a minus is one of two characters
    signedWidth ///< one character more for a negative value than for others, in both directions
};

/// How a command travels as text: its mnemonic, and a value without a delimiter.
struct TkTextItem {
    static constexpr int NOT_SENT = -1;
    static constexpr int NEVER = -1;

    int number; ///< the mnemonic's letters, eight bits each
    char mnemonic[4];
    int sentDigits;    ///< digits of a plain value of 0 or more; NOT_SENT: never sent
    bool requestForms; ///< "?", "+" and so on are written out; else the bare mnemonic stands for
                       ///< them
    int replyChars;    ///< characters behind the mnemonic in a reply; NEVER: no reply carries it
    TkValueKind kind;
};

constexpr int tkPacked(const char *mnemonic) {
    int number = 0;
    for (; *mnemonic != 0; ++mnemonic) {
        number = number * 256 + *mnemonic;
    }
    return number;
}

/// One command of the generator's text protocol: facts, never state.
struct TkCommand : TkTextItem {
    constexpr Tk::TextCommands command() const { return static_cast<Tk::TextCommands>(number); }

    Tk::TextCommands awaited; ///< the first item of the answer
    bool answered;            ///< false: the generator doesn't answer, and nothing is waited for
    TkEvent<TkGenDispatcher> event;
};

/// The key of a parameter that never travels: 1 once a dose-area-product meter has been found.
constexpr int TK_METER_FOUND = 9999999;

/// The vocabulary, the one place where it stands.
struct TkCommandTable {
    static constexpr std::size_t SIZE = 84;

    /// In the order in which the parameter table declares them.
    static const std::array<TkCommand, SIZE> rows;

    /// The row of a command number, or null. Takes any number.
    static const TkCommand *find(int number);
};

#endif
