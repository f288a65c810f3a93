#ifndef TKCONSOLE_PROGRAM_H
#define TKCONSOLE_PROGRAM_H

#include "tkapr.h"

#include <string>

/// Reads an anatomical program from a text file: a mnemonic and a number in each line. What the
/// file doesn't name stays as a new program has it. Throws Failure with the line's number and what
/// is wrong with it, or why there is no such file.
TkAPR readProgram(const std::string &path);

#endif
