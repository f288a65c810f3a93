#include "commands.h"
#include "generator_console.h"
#include "record_fields.h"
#include "record_traffic.h"

#include "tkbinary_custom.h"

#include <charconv>

namespace {

/// Appends a number to a record. In a read it is sent only where it selects something.
template <class Held>
RecordField append(TkBinary_Custom &record, bool inRead) {
    const auto place = static_cast<int>(record.count());
    record.addVariable(Held{}, inRead, true);
    const auto value = [place](TkBinaryInterface &holder) {
        return static_cast<Held *>(static_cast<TkBinary_Custom &>(holder).getValue(place));
    };
    RecordField field = fields::typed<Held>("variable " + std::to_string(place));
    field.get = [value](TkBinaryInterface &holder, std::size_t) -> Number {
        return *value(holder); // NOLINT(bugprone-signed-char-misuse): a number
    };
    field.set = [value](TkBinaryInterface &holder, std::size_t, Number number) {
        *value(holder) = static_cast<Held>(number);
    };
    return field;
}

struct Type {
    const char *name;
    RecordField (*append)(TkBinary_Custom &record, bool inRead);
};

constexpr Type types[] = {
    {"u8", append<unsigned char>}, {"i8", append<char>},      {"u16", append<unsigned short>},
    {"i16", append<short>},        {"u32", append<unsigned>}, {"i32", append<int>},
};

RecordField appendNamed(TkBinary_Custom &record, const std::string &name, bool inRead) {
    for (const Type &type : types) {
        if (name == type.name) {
            return type.append(record, inRead);
        }
    }
    throw Failure("'" + name + "' is no type: u8, i8, u16, i16, u32 or i32");
}

unsigned char codeFrom(const std::string &word) {
    const bool isHex = word.rfind("0x", 0) == 0;
    const char *const end = word.data() + word.size();
    unsigned char code = 0;
    const auto [stop, error] =
        std::from_chars(word.data() + (isHex ? 2 : 0), end, code, isHex ? 16 : 10);
    if (error != std::errc() || stop != end) {
        throw Failure("'" + word + "' is no code of a record, 0 to 255 or 0x00 to 0xFF");
    }
    return code;
}

/// Lists the variables as the words say: a type each, and a number where one is sent.
RecordKind describeIn(TkBinary_Custom &record, const Arguments &arguments, bool reads) {
    RecordKind kind{"custom", {}, nullptr};
    Arguments numbers;
    for (std::size_t place = 2; place < arguments.size(); ++place) {
        const std::string &word = arguments[place];
        const std::size_t equals = word.find('=');
        const bool given = equals != std::string::npos;
        if (!given && !reads) {
            throw Failure("a write needs every number, as 'u8=1'");
        }
        kind.fields.push_back(appendNamed(record, word.substr(0, equals), given));
        numbers.push_back(given ? word.substr(equals + 1) : "0");
    }
    for (std::size_t place = 0; place < numbers.size(); ++place) {
        assignmentFrom(kind, {kind.fields[place].name, numbers[place]}).applyTo(record);
    }
    return kind;
}

void custom(GeneratorConsole &console, const Arguments &arguments) {
    const bool reads = choiceFrom(arguments[1], "read", "write");
    TkBinary_Custom record;
    record.setCommand(codeFrom(arguments[0]));
    record.enableTransmitReadWriteParam(true);
    record.setReadParam(1);
    record.setWriteParam(0);
    const RecordKind kind = describeIn(record, arguments, reads);
    if (!console.exchange(record, reads ? readMode : writeMode)) {
        throw Failure(reads ? "the generator didn't send it" : "the generator didn't confirm it");
    }
    for (const RecordField &field : kind.fields) {
        console.display().field(reads ? Kind::value : Kind::answer, field.name,
                                textOf(field, field.read(record)));
    }
}

} // namespace

// clang-format off
const GeneratorCommands &customCommands() {
    static const GeneratorCommands group{
        {"custom", "CODE read|write TYPE[=NUMBER]...", 3, 66, "a record without a name here",
            custom},
    };
    return group;
}
// clang-format on
