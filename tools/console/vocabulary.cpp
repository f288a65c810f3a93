#include "vocabulary.h"

#include <algorithm>

std::string Vocabulary::meaning(int parameter, int /*value*/) const {
    const char *const words = wordsOf(parameter).meaning;
    return words ? words : "";
}

std::string Vocabulary::description(int parameter) const {
    const char *const words = wordsOf(parameter).meaning;
    return words ? words : "";
}

const Words &Vocabulary::wordsOf(int parameter) const {
    static const Words none{};
    const std::vector<Words> &words = all();
    const auto found = std::find_if(words.begin(), words.end(), [parameter](const Words &each) {
        return each.parameter == parameter;
    });
    return found == words.end() ? none : *found;
}
