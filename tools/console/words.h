#ifndef TKCONSOLE_WORDS_H
#define TKCONSOLE_WORDS_H

#include "vocabulary.h"

#include "tk.h"

/// The words of the generator's parameters, in the order in which a table shows them.
const std::vector<Words> &generatorWords();

/// The letters that a parameter's number is packed from: "KV".
std::string mnemonicOf(int parameter);

/// The number packed from two or three letters of either case; 0 for anything else. Whether there
/// is such a parameter is another question.
Tk::TextCommands packed(const std::string &mnemonic);

#endif
