#include "display.h"

#include "tk.h"

#include <algorithm>
#include <cstdio>

namespace {

struct Style {
    const char *word;
    const char *colour;
};

/// In the order of Kind.
constexpr Style styles[] = {
    {"event", "\033[36m"},   {"answer", "\033[32m"},
    {"value", "\033[32m"},   {"table", "\033[34m"},
    {"reply", "\033[35m"},   {"error", "\033[33m"},
    {"refused", "\033[31m"}, {"text", "\033[33m"},
    {"message", "\033[35m"}, {"note", "\033[2m"},
    {"log", "\033[2m"},      {"failed", "\033[31m"},
    {"lost", "\033[1;31m"},  {"back", "\033[1;32m"},
    {">", "\033[1m"},        {"help", ""},
};

constexpr const char *plain = "\033[0m";
constexpr const char *clearLine = "\r\033[K";
constexpr const char *prompt = "> ";

constexpr std::size_t wordWidth = 8;
constexpr std::size_t numberWidth = 5;
constexpr std::size_t valueWidth = 17;
constexpr std::size_t nameWidth = 22; // of a field, and a gap
constexpr const char *gap = "  ";

bool isControl(char each) {
    return (each >= '\0' && each < ' ') || each == '\x7F';
}

const Style &styleOf(Kind kind) {
    return styles[static_cast<std::size_t>(kind)];
}

std::string padded(std::string text, std::size_t width) {
    if (text.size() < width) {
        text.resize(width, ' ');
    }
    return text;
}

/// The number, or "unknown", ending in the same column in all lines.
std::string alignedNumber(int value) {
    const std::string number = value == Tk::VALUE_UNKNOWN ? "unknown" : std::to_string(value);
    return number.size() < numberWidth ? std::string(numberWidth - number.size(), ' ') + number
                                       : number;
}

} // namespace

/// What stands behind a number: its unit, or what it means.
std::string Display::suffix(Kind kind, int parameter, int value) const {
    if (kind == Kind::reply) {
        return value == 1 ? " accepted" : " refused";
    }
    const Words &words = m_Vocabulary.wordsOf(parameter);
    const auto place = static_cast<std::size_t>(value);
    const bool worded = value >= 0 && place < words.values.size() && words.values[place];
    const char *text = worded ? words.values[place] : words.unit;
    return text && value != Tk::VALUE_UNKNOWN ? std::string(" ") + text : std::string();
}

/// What all lines about a parameter begin with.
std::string Display::columns(Kind kind, int parameter, int value) const {
    return padded(m_Vocabulary.name(parameter), m_Vocabulary.nameWidth()) +
           padded(alignedNumber(value) + suffix(kind, parameter, value), valueWidth);
}

std::string Display::describe(int parameter, int value) const {
    const std::string number = alignedNumber(value) + suffix(Kind::value, parameter, value);
    return number.substr(number.find_first_not_of(' '));
}

void Display::write(Kind kind, const std::string &text) {
    clearPrompt();
    const Style &style = styleOf(kind);
    const std::string word =
        kind == Kind::help ? "" : padded(style.word, kind == Kind::echo ? 2 : wordWidth);
    std::string shown = text;
    std::replace_if(shown.begin(), shown.end(), isControl, '.'); // they could steer the terminal
    std::string line = m_Colour ? style.colour + word + plain + shown : word + shown;
    line.erase(line.find_last_not_of(' ') + 1);
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

void Display::line(Kind kind, const std::string &text) {
    write(kind, text);
}

void Display::parameter(Kind kind, int parameter, int value, const std::string &remark) {
    std::string text = m_Vocabulary.meaning(parameter, value);
    if (!remark.empty()) {
        text += text.empty() ? remark : ", " + remark;
    }
    write(kind, columns(kind, parameter, value) + text);
}

void Display::row(int parameter, int value, bool changeable) {
    write(Kind::table, columns(Kind::table, parameter, value) + (changeable ? "*  " : "   ") +
                           m_Vocabulary.meaning(parameter, value));
}

void Display::field(Kind kind, const std::string &name, const std::string &value) {
    write(kind, padded(name + gap, nameWidth) + value);
}

void Display::showPrompt() {
    if (!m_Prompt || m_PromptShown) {
        return;
    }
    std::fputs(prompt, stdout);
    std::fflush(stdout);
    m_PromptShown = true;
}

void Display::clearPrompt() {
    if (m_PromptShown) {
        std::fputs(clearLine, stdout);
    }
    m_PromptShown = false;
}

void Display::finish() {
    clearPrompt();
    std::fflush(stdout);
}
