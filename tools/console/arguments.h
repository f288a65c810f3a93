#ifndef TKCONSOLE_ARGUMENTS_H
#define TKCONSOLE_ARGUMENTS_H

#include "wakeup.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

/// Why a command failed, in words.
class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

using Arguments = std::vector<std::string>;

/// The words of a line, between blanks. One that begins with a quote goes on to the next, whatever
/// is between; a backslash takes its meaning from the character behind. The quotes stay.
Arguments argumentsIn(const std::string &line);

// An argument as what it stands for. All throw Failure with the reason.

/// A whole number; that an int can hold.
long long longNumberFrom(const std::string &word);
int numberFrom(const std::string &word);

/// A text as it is, or between quotes with characters escaped: \", \\, and \x with two digits.
std::string textFrom(const std::string &word);

/// As above, but none of the numbers that would be sent as requests.
int plainNumberFrom(const std::string &word);

/// A whole number, or "unknown".
int valueFrom(const std::string &word);

/// A whole number of milliseconds from 0 to an hour.
std::chrono::milliseconds millisecondsFrom(const std::string &word);

/// The point in time so many seconds away; decimals are allowed, up to an hour.
Deadline deadlineFrom(const std::string &word);

/// True for `yes`, false for `no`.
bool choiceFrom(const std::string &word, const char *yes, const char *no);

#endif
