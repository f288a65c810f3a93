#ifndef TKVOCABULARY_H
#define TKVOCABULARY_H

#include "tk.h"
#include "tkdispatchers.h"
#include "tkevent.h"
#include "tkframecodec.h"

#include <array>
#include <cstddef>

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
