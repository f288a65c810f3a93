#include "arguments.h"

#include "tk.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

constexpr int longestMilliseconds = 3600 * 1000;
constexpr const char *blanks = " \t\r\n\v\f";
constexpr char quote = '"';
constexpr char escape = '\\';

/// The place behind the word that begins there.
std::size_t endOfWord(const std::string &line, std::size_t begin) {
    std::size_t end = begin;
    if (line[begin] == quote) {
        do {
            end += line[end] == escape ? 2 : 1;
        } while (end < line.size() && line[end] != quote);
    }
    return std::min(line.find_first_of(blanks, end), line.size());
}

/// Takes one escaped character, from behind the backslash on.
char takeEscaped(const std::string &word, std::size_t &place) {
    const char kind = word[place++];
    if (kind == quote || kind == escape) {
        return kind;
    }
    constexpr std::size_t digits = 2;
    unsigned char byte = 0;
    const char *const begin = word.data() + std::min(place, word.size());
    const char *const end = word.data() + std::min(place + digits, word.size());
    const auto [stop, error] = std::from_chars(begin, end, byte, 16);
    if (kind != 'x' || error != std::errc() || stop != begin + digits) {
        throw Failure("behind a \\ in a text goes \", \\, or x and two digits");
    }
    place += digits;
    return static_cast<char>(byte);
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

long long longNumberFrom(const std::string &word) {
    long long number = 0;
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

int numberFrom(const std::string &word) {
    using Limits = std::numeric_limits<int>;
    const long long number = longNumberFrom(word);
    if (number < Limits::min() || number > Limits::max()) {
        throw Failure("'" + word + "' is too large a number");
    }
    return static_cast<int>(number);
}

std::string textFrom(const std::string &word) {
    if (word.empty() || word.front() != quote) {
        return word;
    }
    std::string text;
    std::size_t place = 1;
    while (place < word.size() && word[place] != quote) {
        const char each = word[place++];
        text += each == escape ? takeEscaped(word, place) : each;
    }
    if (place + 1 != word.size()) {
        throw Failure("a text that begins with a quote ends with one");
    }
    return text;
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
