#include "gehl.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace tksim {

namespace {

constexpr int largeStep = 2;

struct Row {
    char letter;
    std::string_view name;
    int digits;
    bool requested; ///< it can be queried and stepped
    bool answered;
    int highest; ///< the lowest is 0
};

constexpr Row rows[] = {
    {'S', "state", 1, true, true, 3},       {'F', "rate", 1, true, true, 7},
    {'B', "acquisition", 1, true, true, 7}, {'L', "loop", 1, false, false, 7},
    {'H', "horizontal", 1, true, true, 1},  {'V', "vertical", 1, true, true, 1},
    {'R', "receptor", 1, false, true, 5},   {'N', "number", 4, false, true, 9999},
};

std::vector<ConsoleValue> startValues() {
    std::vector<ConsoleValue> values;
    for (const Row &row : rows) {
        values.push_back({row.name, 0, row.highest, 0});
    }
    return values;
}

std::optional<int> stepOf(std::string_view request) {
    const bool steps = !request.empty() && (request[0] == '+' || request[0] == '-');
    if (!steps || request.size() > 2 || request.back() != request.front()) {
        return std::nullopt;
    }
    const int size = request.size() == 2 ? largeStep : 1;
    return request[0] == '+' ? size : -size;
}

} // namespace

GEHLConsole::GEHLConsole() : Console(startValues()) {}

std::vector<Order> GEHLConsole::orders() {
    std::vector<Order> all = Console::orders();
    all.push_back({"items", " COUNT", "answer by so many items in one frame, 1 to 8",
                   [this](const Words &words, Milliseconds) {
                       const auto count = numberAt(words, 1, 1, std::size(rows));
                       m_Items = count.value_or(m_Items);
                       return count ? Order::Outcome::taken : Order::Outcome::misused;
                   }});
    return all;
}

Console::Gathered GEHLConsole::gathered(const Bytes &bytes) const {
    return bytes.back() == endOfText ? Gathered::whole : Gathered::unfinished;
}

Bytes GEHLConsole::frameOf(std::string_view text) const {
    Bytes frame(text.begin(), text.end());
    frame.push_back(endOfText);
    return frame;
}

std::string GEHLConsole::textOf(const Bytes &frame) const {
    const bool whole = !frame.empty() && frame.back() == endOfText;
    return whole ? std::string(frame.begin(), frame.end() - 1) : "";
}

std::string GEHLConsole::item(std::size_t place) {
    char text[16];
    std::snprintf(text, sizeof text, "%c%0*d", rows[place].letter, rows[place].digits,
                  value(place).value);
    return text;
}

/// The item that was asked for, and those behind it in the list, beginning again at its end.
std::string GEHLConsole::items(std::size_t first) {
    std::string text = item(first);
    for (std::size_t i = 1; i < static_cast<std::size_t>(m_Items); ++i) {
        const std::size_t place = (first + i) % std::size(rows);
        if (!value(place).muted) {
            text += " " + item(place);
        }
    }
    return text;
}

void GEHLConsole::answer(const Bytes &frame, Milliseconds now) {
    const std::string text = textOf(frame);
    const auto row = std::find_if(std::begin(rows), std::end(rows), [&](const Row &each) {
        return !text.empty() && each.letter == text[0];
    });
    if (row == std::end(rows)) {
        notUnderstood();
        return;
    }
    const auto place = static_cast<std::size_t>(row - rows);
    const std::string_view value = std::string_view(text).substr(1);
    if (!value.empty() && value.find_first_not_of("0123456789") == std::string_view::npos) {
        setValue(place, value, now);
    } else {
        answerRequest(place, value, now);
    }
}

void GEHLConsole::answerRequest(std::size_t place, std::string_view request, Milliseconds now) {
    const std::optional<int> step = stepOf(request);
    if (!rows[place].requested || (request != "?" && !step)) {
        notUnderstood();
        return;
    }
    value(place).step(step.value_or(0));
    tell(place, items(place), now);
}

void GEHLConsole::setValue(std::size_t place, std::string_view digits, Milliseconds now) {
    const auto wanted = number(digits);
    if (digits.size() != static_cast<std::size_t>(rows[place].digits) ||
        !value(place).accepts(*wanted)) {
        notUnderstood();
        return;
    }
    value(place).value = *wanted;
    if (rows[place].answered) {
        tell(place, items(place), now);
    }
}

} // namespace tksim
