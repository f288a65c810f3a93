#ifndef TKCONSOLE_WORDS_H
#define TKCONSOLE_WORDS_H

#include "tk.h"

#include <array>
#include <string>
#include <vector>

/// What a person reads about a parameter. For display only: what exists and what can be sent, the
/// library decides. A null pointer stands where there is nothing to say.
struct Words {
    Tk::TextCommands parameter;
    const char *meaning;
    const char *unit;
    std::array<const char *, 3> values; ///< what 0, 1 and 2 mean
};

/// All parameters that have words, in the order in which a table shows them.
const std::vector<Words> &allWords();

/// The words of a parameter; empty ones when it has none.
const Words &wordsOf(Tk::TextCommands parameter);

/// The letters that a parameter's number is packed from: "KV".
std::string mnemonicOf(Tk::TextCommands parameter);

/// The number packed from two or three letters of either case; 0 for anything else. Whether there
/// is such a parameter is another question.
Tk::TextCommands packed(const std::string &mnemonic);

#endif
