#include "commands.h"
#include "console.h"
#include "records.h"

namespace {

enum Modes { readMode = 998, writeMode = 999 };

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

int numberOf(const RecordKind &kind, const std::string &word) {
    const int number = numberFrom(word);
    if (number < kind.first || number > kind.last) {
        throw Failure("the numbers go from " + std::to_string(kind.first) + " to " +
                      std::to_string(kind.last));
    }
    return number;
}

std::string titleOf(const RecordKind &kind, int number) {
    return kind.name + (kind.isNumbered() ? " " + std::to_string(number) : std::string());
}

void show(Console &console, const RecordKind &kind, int number, TkBinaryInterface &record) {
    console.display().line(Kind::note, titleOf(kind, number) +
                                           (record.isValid() ? " is valid" : " isn't valid"));
    for (const RecordField &field : kind.fields) {
        console.display().field(Kind::value, field.name, field.text(record));
    }
}

/// Reads until the instance is valid, as often as it takes. The call waits: the record is the
/// console's own again when it returns.
void readFromGenerator(Console &console, const RecordKind &kind, int number,
                       TkBinaryInterface &record) {
    kind.select(record, number);
    for (int reads = 0; reads < kind.reads && !record.isValid(); ++reads) {
        if (!console.exchange(record, readMode)) {
            break;
        }
        kind.select(record, number);
    }
    if (!record.isValid()) {
        throw Failure("the generator didn't send it");
    }
}

void fetch(Console &console, const RecordKind &kind, int number, TkBinaryInterface &record) {
    if (!kind.copy) {
        readFromGenerator(console, kind, number, record);
    } else if (!kind.copy(console.status(), number, record)) {
        throw Failure("the generator isn't connected");
    }
}

const RecordField &fieldFrom(const RecordKind &kind, const std::string &name) {
    for (const RecordField &field : kind.fields) {
        if (name == field.name && field.assign) {
            return field;
        }
    }
    throw Failure("'" + name + "' is no field of it that can be written");
}

int valueOf(const RecordField &field, const std::string &word) {
    const int value = numberFrom(word);
    if (value < field.least || value > field.most) {
        throw Failure(std::string(field.name) + " holds " + std::to_string(field.least) + " to " +
                      std::to_string(field.most));
    }
    return value;
}

/// Reads, changes and writes. What was taken the ACK doesn't tell, another read into another record
/// does: not every field of a record goes over the line at every revision.
void write(Console &console, const RecordKind &kind, int number, const RecordField &field,
           int value) {
    const auto record = kind.make();
    readFromGenerator(console, kind, number, *record);
    field.assign(*record, value);
    if (!console.exchange(*record, writeMode)) {
        throw Failure("the generator didn't confirm it");
    }
    const auto written = kind.make();
    readFromGenerator(console, kind, number, *written);
    const std::string taken = field.text(*written);
    const bool asWanted = taken == std::to_string(value);
    console.display().field(Kind::answer, field.name,
                            asWanted ? taken : taken + ", not " + std::to_string(value));
}

void record(Console &console, const Arguments &arguments) {
    const RecordKind &kind = kindFrom(arguments[0]);
    const std::size_t action = kind.isNumbered() ? 2 : 1; // its place
    const bool numberGiven = kind.isNumbered() && arguments.size() > 1;
    const int number = numberGiven ? numberOf(kind, arguments[1]) : kind.first;
    if (arguments.size() > action) {
        if (arguments.size() != action + 3 || arguments[action] != "set") {
            throw Failure("behind " + titleOf(kind, number) + " goes 'set FIELD NUMBER'");
        }
        const RecordField &field = fieldFrom(kind, arguments[action + 1]);
        return write(console, kind, number, field, valueOf(field, arguments[action + 2]));
    }
    const auto record = kind.make();
    for (int each = number; each <= (numberGiven ? number : kind.last); ++each) {
        fetch(console, kind, each, *record);
        show(console, kind, each, *record);
    }
}

} // namespace

// clang-format off
const CommandGroup &recordCommands() {
    static const CommandGroup group{
        {"record", "NAME [NUMBER [set FIELD NUMBER]]", 1, 5, "show a record, or all; change a field",
            record},
    };
    return group;
}
// clang-format on
