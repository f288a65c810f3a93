#include "record_words.h"

#include "console.h"

#include <algorithm>

namespace {

constexpr char quote = '"';
constexpr char escape = '\\';
constexpr const char *hexDigits = "0123456789ABCDEF";

bool isNumber(const std::string &word) {
    return word.find_first_of("-0123456789") == 0;
}

const RecordKind &kindFrom(const std::string &word) {
    std::string names;
    for (const RecordKind &kind : recordKinds()) {
        if (word == kind.name) {
            return kind;
        }
        names += std::string(names.empty() ? "" : ", ") + kind.name;
    }
    throw Failure("the records are " + names);
}

std::string span(Number least, Number most) {
    return std::to_string(least) + " to " + std::to_string(most);
}

int numberWithin(const std::string &word, const char *what, int least, int most) {
    const int number = numberFrom(word);
    if (number < least || number > most) {
        throw Failure(std::string("the ") + what + " go from " + span(least, most));
    }
    return number;
}

// --- Texts ---------------------------------------------------------------------------------------

std::string quoted(const Numbers &characters) {
    std::string text(1, quote);
    for (const Number each : characters) {
        const auto byte = static_cast<unsigned char>(each);
        if (byte == quote || byte == escape) {
            text += escape;
        }
        if (byte < ' ' || byte > '~') {
            text += {escape, 'x', hexDigits[byte >> 4], hexDigits[byte & 0xF]};
        } else {
            text += static_cast<char>(byte);
        }
    }
    return text + quote;
}

Numbers charactersFrom(const RecordField &field, const Arguments &words) {
    if (words.size() != 1) {
        throw Failure(field.name + " takes one text, between quotes if it has blanks");
    }
    Numbers characters;
    for (const char each : textFrom(words[0])) {
        characters.push_back(static_cast<unsigned char>(each));
    }
    if (characters.size() > field.count) {
        throw Failure(field.name + " holds " + std::to_string(field.count) + " characters, not " +
                      std::to_string(characters.size()));
    }
    characters.resize(field.count); // no rest of the old text
    return characters;
}

// --- Numbers -------------------------------------------------------------------------------------

/// Which numbers are next to one that the field can't hold.
std::string choicesNear(const RecordField &field, Number number) {
    const auto above = std::lower_bound(field.choices.begin(), field.choices.end(), number);
    return std::to_string(*(above - 1)) + " or " + std::to_string(*above);
}

Number heldBy(const RecordField &field, const std::string &word) {
    const Number number = longNumberFrom(word);
    if (field.canHold(number)) {
        return number;
    }
    if (field.least == field.most) {
        throw Failure(field.name + " can be set to " + std::to_string(field.least) + " alone");
    }
    const bool outside = number < field.least || number > field.most;
    throw Failure(field.name + " holds " +
                  (outside ? span(field.least, field.most) : choicesNear(field, number)) +
                  ", not " + word);
}

Numbers numbersFrom(const RecordField &field, std::size_t count, const Arguments &words) {
    if (words.size() != count) {
        throw Failure(field.name + " takes " + std::to_string(count) +
                      (count == 1 ? " number, not " : " numbers, not ") +
                      std::to_string(words.size()));
    }
    Numbers numbers;
    for (const std::string &word : words) {
        numbers.push_back(heldBy(field, word));
    }
    return numbers;
}

const RecordField &writableField(const RecordKind &kind, const std::string &name) {
    const RecordField *field = kind.find(name);
    if (!field || !field->set) {
        throw Failure("'" + name + "' is no field of it that can be written");
    }
    return *field;
}

/// One place of a field: what stands in brackets at the end, as a row's own number can.
Assignment placeFrom(const RecordKind &kind, const std::string &name, const Arguments &words) {
    const std::size_t bracket = name.rfind('[');
    const RecordField &field = writableField(kind, name.substr(0, bracket));
    if (field.count == 1 || field.isText() || name.back() != ']') {
        throw Failure("'" + name + "' is no field of it that can be written");
    }
    const int place = numberWithin(name.substr(bracket + 1, name.size() - bracket - 2), "places", 0,
                                   static_cast<int>(field.count) - 1);
    return {&field, static_cast<std::size_t>(place), numbersFrom(field, 1, words)};
}

} // namespace

// --- Selections ----------------------------------------------------------------------------------

bool Selection::includes(const RecordKind &other, const Instance &one) const {
    return (!kind || kind == &other) && (!instance || *instance == one);
}

std::string Selection::title() const {
    if (!kind) {
        return "configuration";
    }
    return instance ? kind->title(*instance) : kind->name;
}

Instance Selection::one() const {
    if (!instance) {
        throw Failure("which? The numbers go from " + span(kind->first, kind->last));
    }
    return *instance;
}

Selection selectionFrom(const Arguments &words, std::size_t &next) {
    Selection selection{&kindFrom(words.at(next++))};
    const RecordKind &kind = *selection.kind;
    if (!kind.isNumbered()) {
        selection.instance = Instance{kind.first, 0};
        return selection;
    }
    if (next < words.size() && isNumber(words[next])) {
        selection.instance =
            Instance{numberWithin(words[next++], "numbers", kind.first, kind.last), 0};
        if (kind.lastState > 0 && next < words.size() && isNumber(words[next])) {
            selection.instance->state = numberWithin(words[next++], "states", 0, kind.lastState);
        }
    }
    return selection;
}

// --- Assignments ---------------------------------------------------------------------------------

std::string Assignment::name() const {
    return isWhole() ? field->name : field->name + "[" + std::to_string(first) + "]";
}

std::string Assignment::text(const Numbers &other) const {
    return textOf(*field, other);
}

Numbers Assignment::in(TkBinaryInterface &record) const {
    Numbers present;
    for (std::size_t place = 0; place < numbers.size(); ++place) {
        present.push_back(field->get(record, first + place));
    }
    return present;
}

/// What shows as the same already stays, byte for byte.
void Assignment::applyTo(TkBinaryInterface &record) const {
    for (std::size_t place = 0; place < numbers.size(); ++place) {
        if (field->get(record, first + place) != numbers[place]) {
            field->set(record, first + place, numbers[place]);
        }
    }
}

Assignment assignmentFrom(const RecordKind &kind, const Arguments &words) {
    const std::string &name = words.at(0);
    const Arguments values(words.begin() + 1, words.end());
    if (!kind.find(name) && name.find('[') != std::string::npos) {
        return placeFrom(kind, name, values);
    }
    const RecordField &field = writableField(kind, name);
    return {&field, 0,
            field.isText() ? charactersFrom(field, values)
                           : numbersFrom(field, field.count, values)};
}

std::string textOf(const RecordField &field, const Numbers &numbers) {
    if (field.isText()) {
        const auto end =
            std::find_if(numbers.rbegin(), numbers.rend(), [](Number each) { return each != 0; });
        return quoted(Numbers(numbers.begin(), end.base()));
    }
    std::string text;
    for (const Number each : numbers) {
        text += (text.empty() ? "" : " ") + std::to_string(each);
    }
    return text;
}

std::string describe(const RecordField &field) {
    std::string text = field.type;
    if (field.isText()) {
        text += " of " + std::to_string(field.count) + " characters";
    } else {
        text += (field.count > 1 ? ", " + std::to_string(field.count) + " numbers" : "") + ", " +
                span(field.least, field.most);
    }
    return text + (field.choices.empty() ? "" : ", preferred numbers") +
           (field.since > 0 ? ", from revision " + std::to_string(field.since) : "") +
           (field.set ? "" : ", shown only");
}
