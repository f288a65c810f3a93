#ifndef TKCONSOLE_RECORD_FIELDS_H
#define TKCONSOLE_RECORD_FIELDS_H

#include "records.h"

#include <limits>
#include <type_traits>
#include <utility>

/// @file
/// Makes the fields of a kind from what its record declares: name, type and limits come from there.
/// For the lists of kinds alone.

namespace fields {

/// A field of so many numbers of a type; still without a way to read them.
template <class Held>
RecordField typed(std::string name, std::size_t count = 1) {
    using Limits = std::numeric_limits<Held>;
    const char *const sign = std::is_signed_v<Held> ? "i" : "u";
    return {std::move(name), sign + std::to_string(sizeof(Held) * 8),
            count,
            Limits::min(), // NOLINT(bugprone-signed-char-misuse): a number
            Limits::max(),   nullptr,
            nullptr,         {}};
}

/// A field that is shown only.
template <class Record, template <class, class, class> class Property, class Held>
RecordField shown(const char *name, Property<Record, Held, Held> Record::*property) {
    RecordField field = typed<Held>(name);
    field.get = [property](TkBinaryInterface &record, std::size_t) -> Number {
        const Held value = static_cast<Record &>(record).*property;
        return value; // NOLINT(bugprone-signed-char-misuse): a number
    };
    return field;
}

template <class Record, class Held>
RecordField property(const char *name, TkProperty<Record, Held, Held> Record::*property) {
    RecordField field = shown(name, property);
    field.set = [property](TkBinaryInterface &record, std::size_t, Number number) {
        static_cast<Record &>(record).*property = static_cast<Held>(number);
    };
    return field;
}

/// A table behind a pointer.
template <class Record, class Held>
RecordField array(const char *name, TkProperty<Record, Held *, Held *> Record::*property,
                  std::size_t count) {
    const auto begin = [property](TkBinaryInterface &record) -> Held * {
        return static_cast<Record &>(record).*property;
    };
    RecordField field = typed<Held>(name, count);
    field.get = [begin](TkBinaryInterface &record, std::size_t place) -> Number {
        return begin(record)[place];
    };
    field.set = [begin](TkBinaryInterface &record, std::size_t place, Number number) {
        begin(record)[place] = static_cast<Held>(number);
    };
    return field;
}

/// All characters of a text, also those behind its end.
template <class Record, template <class, class, class> class Property>
RecordField shownText(const char *name, Property<Record, char *, char *> Record::*property,
                      std::size_t count) {
    RecordField field = typed<unsigned char>(name, count);
    field.type = "text";
    field.get = [property](TkBinaryInterface &record, std::size_t place) -> Number {
        const char *const text = static_cast<Record &>(record).*property;
        return static_cast<unsigned char>(text[place]);
    };
    return field;
}

template <class Record>
RecordField text(const char *name, TkProperty<Record, char *, char *> Record::*property,
                 std::size_t count) {
    RecordField field = shownText(name, property, count);
    field.set = array(name, property, count).set;
    return field;
}

/// A value behind an operation.
template <class Record, class Held>
RecordField shown(const char *name, Held (Record::*get)() const) {
    RecordField field = typed<Held>(name);
    field.get = [get](TkBinaryInterface &record, std::size_t) -> Number {
        return (static_cast<Record &>(record).*get)();
    };
    return field;
}

/// A value behind two.
template <class Record, class Held>
RecordField accessed(const char *name, Held (Record::*get)() const, void (Record::*set)(Held)) {
    RecordField field = shown(name, get);
    field.set = [set](TkBinaryInterface &record, std::size_t, Number number) {
        (static_cast<Record &>(record).*set)(static_cast<Held>(number));
    };
    return field;
}

/// A row of a table behind two operations.
template <class Record, class Row, class Held>
RecordField row(const std::string &name, int number, std::size_t count,
                Held (Record::*get)(Row, unsigned char) const,
                void (Record::*set)(Row, unsigned char, Held)) {
    const auto row = static_cast<Row>(number);
    RecordField field = typed<Held>(name + "[" + std::to_string(number) + "]", count);
    field.get = [get, row](TkBinaryInterface &record, std::size_t place) -> Number {
        return (static_cast<Record &>(record).*get)(row, static_cast<unsigned char>(place));
    };
    field.set = [set, row](TkBinaryInterface &record, std::size_t place, Number value) {
        (static_cast<Record &>(record).*set)(row, static_cast<unsigned char>(place),
                                             static_cast<Held>(value));
    };
    return field;
}

/// The field, where it holds less than its type.
inline RecordField within(RecordField field, Number least, Number most) {
    field.least = least;
    field.most = most;
    return field;
}

/// A number of which the line carries 16 bits.
inline RecordField word(RecordField field) {
    field.type = "u16";
    return within(std::move(field), 0, 0xFFFF);
}

/// A counter, which can be set to 0 alone.
template <class Record>
RecordField counter(const char *name, TkReadOnly<Record, unsigned int, unsigned int> Record::*value,
                    void (Record::*reset)(bool)) {
    RecordField field = within(shown(name, value), 0, 0);
    field.set = [reset](TkBinaryInterface &record, std::size_t, Number) {
        (static_cast<Record &>(record).*reset)(true);
    };
    return field;
}

/// The field, where it holds the numbers that codes stand for.
inline RecordField coded(RecordField field, unsigned int (*numberOf)(unsigned char code)) {
    for (unsigned char code = 0; numberOf(code) != 0; ++code) {
        field.choices.push_back(numberOf(code));
    }
    return within(field, field.choices.front(), field.choices.back());
}

template <class Record>
RecordKind kind(const char *name, std::vector<RecordField> fields) {
    const auto make = []() -> std::unique_ptr<TkBinaryInterface> {
        return std::make_unique<Record>();
    };
    return {name, std::move(fields), make};
}

/// Selects by the field that says which instance it is, counted from 0 there.
template <class Record>
auto selectBy(TkProperty<Record, unsigned char, unsigned char> Record::*selector, int first = 0) {
    return [selector, first](TkBinaryInterface &record, const Instance &instance) {
        auto &field = static_cast<Record &>(record).*selector;
        const auto index = static_cast<unsigned char>(instance.number - first);
        if (field != index) {
            field = index;
        }
    };
}

} // namespace fields

// A field is a word in the list of its kind, where Record is the class. A field that selects the
// instance is shown only: another value would write over another instance.

#define SHOWN(Name) fields::shown(#Name, &Record::Name)
#define FIELD(Name) fields::property(#Name, &Record::Name)
#define WORD(Name) fields::word(FIELD(Name))
#define WITHIN(Name, Least, Most) fields::within(FIELD(Name), Least, Most)
#define SWITCH(Name) fields::within(FIELD(Name), 0, 1)
#define MA(Name) fields::coded(FIELD(Name), Record::getMAValue)
#define MAS(Name) fields::coded(FIELD(Name), Record::getMASValue)
#define COUNTER(Name) fields::counter(#Name, &Record::Name, &Record::reset##Name)
#define ARRAY(Name, Size) fields::array(#Name, &Record::Name, Record::Size)
#define TEXT(Name, Size) fields::text(#Name, &Record::Name, Record::Size)
#define SHOWN_TEXT(Name, Size) fields::shownText(#Name, &Record::Name, Record::Size)
#define ACCESSED(Name, Setter) fields::accessed(#Name, &Record::Name, &Record::Setter)
#define ROW(Name, Row, Size) fields::row(#Name, Row, Size, &Record::get##Name, &Record::set##Name)
#define LIMITS(Name, Size) ROW(Name, 0, Size), ROW(Name, 1, Size)
#define CURVES(Name, Size) LIMITS(Name, Size), ROW(Name, 2, Size)

#endif
