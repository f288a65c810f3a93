#include "commands.h"
#include "generator_console.h"
#include "record_backup.h"
#include "record_traffic.h"

#include "tkbinary_system.h"

#include <cstdlib>

namespace {

void show(GeneratorConsole &console, const RecordKind &kind, const Instance &instance,
          TkBinaryInterface &record) {
    console.display().line(Kind::note, kind.title(instance) +
                                           (record.isValid() ? " is valid" : " isn't valid"));
    for (const RecordField &field : kind.fields) {
        const bool carried = field.isCarriedAt(recordRevision());
        console.display().field(Kind::value, field.name,
                                carried ? textOf(field, field.read(record)) : "-");
    }
}

/// Tells where the log went on with another entry than the next: a request that goes out again may
/// turn the page once more.
void tellGap(GeneratorConsole &console, int before, int number) {
    if (before != 0 && std::abs(number - before) != 1) {
        console.display().line(Kind::note, "the log went on from entry " + std::to_string(before) +
                                               " to " + std::to_string(number));
    }
}

/// Each entry goes by the number that it tells. The loop ends whatever the generator says.
void showLog(GeneratorConsole &console, const Selection &selection) {
    const RecordKind &kind = *selection.kind;
    const auto record = kind.make();
    const auto &entry = static_cast<const TkBinary_ErrorLog &>(*record);
    int shown = 0;
    int number = 0;
    for (int total = kind.last, reads = 0; reads < total; ++reads) {
        record->clearValid();
        readRecord(console, kind, {}, *record);
        total = reads == 0 ? int{entry.TotalErrors} : total;
        if (total == 0 || (reads > 0 && entry.ErrorNum == 0)) {
            break;
        }
        tellGap(console, number, entry.ErrorNum);
        number = entry.ErrorNum;
        if (!selection.instance || selection.instance->number == number) {
            show(console, kind, {number, 0}, *record);
            ++shown;
        }
        if (selection.instance && shown > 0) {
            return;
        }
    }
    if (selection.instance) {
        throw Failure("the log told no such entry");
    }
    if (shown == 0) {
        console.display().line(Kind::note, "the log is empty");
    }
}

void showRecords(GeneratorConsole &console, const Selection &selection, const Arguments &) {
    const RecordKind &kind = *selection.kind;
    if (kind.use == RecordUse::log) {
        return showLog(console, selection);
    }
    const int first = selection.instance ? selection.instance->number : kind.first;
    const int last = selection.instance ? first : kind.last;
    for (int number = first; number <= last; ++number) {
        const Instance instance{number, selection.instance ? selection.instance->state : 0};
        auto record = kind.make();
        if (!kind.copy) {
            record = readRecord(console, kind, instance);
        } else if (!kind.copy(console.status(), *record)) {
            throw Failure("the generator isn't connected");
        }
        show(console, kind, instance, *record);
    }
}

void showFields(GeneratorConsole &console, const Selection &selection, const Arguments &) {
    for (const RecordField &field : selection.kind->fields) {
        console.display().field(Kind::help, field.name, describe(field));
    }
}

void setField(GeneratorConsole &console, const Selection &selection, const Arguments &words) {
    const RecordKind &kind = *selection.kind;
    const Instance instance = selection.one();
    const Assignment assignment = assignmentFrom(kind, words);
    const Written written = writeRecord(console, kind, instance, {assignment});
    const Numbers taken = assignment.in(*written.record);
    console.display().field(Kind::answer, assignment.name(),
                            assignment.text(taken) +
                                (taken == assignment.numbers ? "" : ", not " + assignment.text()));
    for (const Difference &each : written.differences) {
        if (each.field != assignment.field) {
            showDifference(console, each);
        }
    }
    if (!written.differences.empty()) {
        throw Failure("the generator has it otherwise than it was sent");
    }
}

void save(GeneratorConsole &console, const Selection &selection, const Arguments &words) {
    saveRecords(console, selection, textFrom(words[0]));
}

void restore(GeneratorConsole &console, const Selection &selection, const Arguments &words) {
    restoreRecords(console, selection, textFrom(words[0]));
}

/// What goes behind a record.
struct Action {
    const char *name;
    std::size_t least, most; // words behind it
    void (*run)(GeneratorConsole &console, const Selection &selection, const Arguments &words);
};

constexpr std::size_t mostWords = 64; // more than the longest field has

constexpr Action actions[] = {
    {"fields", 0, 0, showFields},
    {"set", 2, mostWords, setField},
    {"save", 1, 1, save},
    {"restore", 1, 1, restore},
};

void record(GeneratorConsole &console, const Arguments &arguments) {
    std::size_t next = 0;
    const Selection selection = selectionFrom(arguments, next);
    if (next == arguments.size()) {
        return showRecords(console, selection, {});
    }
    const std::string &name = arguments[next++];
    const Arguments words(arguments.begin() + static_cast<std::ptrdiff_t>(next), arguments.end());
    for (const Action &action : actions) {
        if (name == action.name && words.size() >= action.least && words.size() <= action.most) {
            return action.run(console, selection, words);
        }
    }
    throw Failure("behind " + selection.title() +
                  " goes 'fields', 'set FIELD VALUE', 'save FILE' or 'restore FILE'");
}

void records(GeneratorConsole &console, const Arguments &arguments) {
    const bool saves = choiceFrom(arguments[0], "save", "restore");
    (saves ? saveRecords : restoreRecords)(console, {}, textFrom(arguments[1]));
}

} // namespace

// clang-format off
const GeneratorCommands &recordCommands() {
    static const GeneratorCommands group{
        {"record", "NAME [NUMBER] [fields|set|save|restore ...]", 1, mostWords + 4,
            "show a record, or all", record},
        {"records", "save|restore FILE", 2, 2, "the generator's whole configuration", records},
    };
    return group;
}
// clang-format on
