#include "arguments.h"

#include "console.h"
#include "words.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int longestMilliseconds = 3600 * 1000;
constexpr const char *blanks = " \t\r\n\v\f";

/// The place behind the word that begins there.
std::size_t endOfWord(const std::string &line, std::size_t begin) {
    std::size_t end = begin;
    if (line[begin] == '"') {
        do {
            end += line[end] == '\\' ? 2 : 1;
        } while (end < line.size() && line[end] != '"');
    }
    return std::min(line.find_first_of(blanks, end), line.size());
}

} // namespace

Arguments argumentsIn(const std::string &line) {
    Arguments words;
    std::size_t begin = line.find_first_not_of(blanks);
    while (begin != std::string::npos) {
        const std::size_t end = endOfWord(line, begin);
        words.push_back(line.substr(begin, end - begin));
        begin = line.find_first_not_of(blanks, end);
    }
    return words;
}

Tk::TextCommands parameterFrom(const std::string &word) {
    const Tk::TextCommands parameter = packed(word);
    if (!Session::isParameter(parameter)) {
        throw Failure("'" + word + "' is no parameter, 'help parameters' lists them");
    }
    return parameter;
}

int numberFrom(const std::string &word) {
    int number = 0;
    const char *end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    if (error == std::errc::result_out_of_range) {
        throw Failure("'" + word + "' is too large a number");
    }
    if (error != std::errc() || stop != end) {
        throw Failure("'" + word + "' is no whole number");
    }
    return number;
}

int plainNumberFrom(const std::string &word) {
    const int number = numberFrom(word);
    if (number >= Tk::REQUEST_DOWN_2 && number <= Tk::REQUEST_QUERY) {
        throw Failure("'" + word + "' stands for a request as 'query' or 'up' makes it");
    }
    return number;
}

int valueFrom(const std::string &word) {
    return word == "unknown" ? static_cast<int>(Tk::VALUE_UNKNOWN) : numberFrom(word);
}

std::chrono::milliseconds millisecondsFrom(const std::string &word) {
    const int number = numberFrom(word);
    if (number < 0 || number > longestMilliseconds) {
        throw Failure("'" + word + "' ms is out of range, an hour is the longest");
    }
    return std::chrono::milliseconds(number);
}

Deadline deadlineFrom(const std::string &word) {
    char *end = nullptr;
    const double seconds = std::strtod(word.c_str(), &end);
    if (word.empty() || *end != '\0' || !(seconds >= 0 && seconds * 1000 <= longestMilliseconds)) {
        throw Failure("'" + word + "' is no number of seconds up to an hour");
    }
    return Clock::now() + std::chrono::milliseconds(std::lround(seconds * 1000));
}

bool choiceFrom(const std::string &word, const char *yes, const char *no) {
    if (word != yes && word != no) {
        throw Failure("'" + word + "' should be " + yes + " or " + no);
    }
    return word == yes;
}
