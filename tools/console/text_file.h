#ifndef TKCONSOLE_TEXT_FILE_H
#define TKCONSOLE_TEXT_FILE_H

#include <cstdint>
#include <functional>
#include <string>

/// Reads a text file of at most `longest` bytes and hands its lines over, one after the other.
/// Throws Failure: why there is no such file, or what `take` threw, with the line's number.
void readLines(const std::string &path, std::uintmax_t longest,
               const std::function<void(const std::string &line)> &take);

/// Writes a file, in place of one that may be there already, which stays as it was unless the new
/// one is complete. Throws Failure.
void replaceFile(const std::string &path, const std::string &text);

#endif
