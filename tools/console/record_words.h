#ifndef TKCONSOLE_RECORD_WORDS_H
#define TKCONSOLE_RECORD_WORDS_H

#include "arguments.h"
#include "records.h"

#include <optional>

/// @file
/// What a person writes of records, on the command line and in a file, as what it stands for. All
/// that takes words throws Failure with the reason.

/// A record, or all of a kind, or without a kind the whole configuration.
struct Selection {
    const RecordKind *kind = nullptr;
    std::optional<Instance> instance = {};

    bool includes(const RecordKind &other, const Instance &one) const;
    std::string title() const;

    /// Throws Failure where a number lacks.
    Instance one() const;
};

/// A name, and the numbers behind it, if any. `next` becomes the place of the word that follows.
Selection selectionFrom(const Arguments &words, std::size_t &next);

/// New numbers of a field, or of one place in it.
struct Assignment {
    const RecordField *field;
    std::size_t first;
    Numbers numbers;

    bool isWhole() const { return numbers.size() == field->count; }
    std::string name() const;
    std::string text() const { return text(numbers); }
    std::string text(const Numbers &other) const;

    /// What a record holds in the same place.
    Numbers in(TkBinaryInterface &record) const;
    void applyTo(TkBinaryInterface &record) const;
};

/// A field, or one place of it as "SF_LS_KW_Limit[3]", and what goes there.
Assignment assignmentFrom(const RecordKind &kind, const Arguments &words);

/// Numbers between blanks. A text goes between quotes, without the zeros at its end; what isn't
/// printable, and mustn't steer a terminal, is escaped.
std::string textOf(const RecordField &field, const Numbers &numbers);

/// Type, size and limits of a field, and whether it can be written.
std::string describe(const RecordField &field);

#endif
