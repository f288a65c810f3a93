#include "orders.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <utility>

namespace tksim {

bool Order::takes(std::size_t count) const {
    const std::string text = arguments;
    const auto most = static_cast<std::size_t>(std::count(text.begin(), text.end(), ' '));
    const std::string optional = text.substr(std::min(text.find('['), text.size()));
    const auto spare = static_cast<std::size_t>(
        optional.empty() ? 0 : 1 + std::count(optional.begin(), optional.end(), ' '));
    const bool endless = text.find("...") != std::string::npos;
    return (endless || count <= most) && count + spare >= most;
}

std::vector<std::string> helpLines(const std::vector<Order> &orders) {
    std::vector<std::string> lines;
    for (const Order &order : orders) {
        std::string usage = order.usage();
        usage.resize(std::max<std::size_t>(usage.size() + 1, 38), ' ');
        lines.push_back(usage + order.meaning);
    }
    return lines;
}

Words wordsOf(const std::string &line) {
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

std::string joined(const Words &words, std::size_t first) {
    std::string line;
    for (std::size_t i = first; i < words.size(); ++i) {
        line += (i == first ? "" : " ") + words[i];
    }
    return line;
}

std::optional<int> numberAt(const Words &words, std::size_t place, int lowest, int highest) {
    const auto value = place < words.size() ? number(words[place]) : std::nullopt;
    return value && *value >= lowest && *value <= highest ? value : std::nullopt;
}

std::optional<double> percentAt(const Words &words, std::size_t place) {
    if (place >= words.size()) {
        return std::nullopt;
    }
    char *end = nullptr;
    const double value = std::strtod(words[place].c_str(), &end);
    return *end == '\0' && value >= 0 && value <= 100 ? std::optional<double>(value) : std::nullopt;
}

std::optional<bool> switchAt(const Words &words, std::size_t place) {
    if (place >= words.size() || (words[place] != "on" && words[place] != "off")) {
        return std::nullopt;
    }
    return words[place] == "on";
}

Order::Run switchOrder(std::function<void(bool)> set) {
    return [set = std::move(set)](const Words &words, Milliseconds) {
        const auto on = switchAt(words, 1);
        if (!on) {
            return Order::Outcome::misused;
        }
        set(*on);
        return Order::Outcome::taken;
    };
}

} // namespace tksim
