#include "commands.h"
#include "console.h"
#include "record_backup.h"
#include "record_traffic.h"

#include "tkbinary_system.h"

namespace {

void show(Console &console, const RecordKind &kind, const Instance &instance,
          TkBinaryInterface &record) {
    console.display().line(Kind::note, kind.title(instance) +
                                           (record.isValid() ? " is valid" : " isn't valid"));
    for (const RecordField &field : kind.fields) {
        console.display().field(Kind::value, field.name, textOf(field, field.read(record)));
    }
}

/// How many entries the first one says that there are; the loop ends whatever the others say.
void showLog(Console &console, const Selection &selection) {
    const RecordKind &kind = *selection.kind;
    const auto record = readRecord(console, kind, {kind.first, 0});
    const int total = static_cast<TkBinary_ErrorLog &>(*record).TotalErrors;
    if (total == 0) {
        console.display().line(Kind::note, "the log is empty");
        return;
    }
    if (selection.instance && selection.instance->number > total) {
        throw Failure("the log has " + std::to_string(total) + " entries");
    }
    const int last = selection.instance ? selection.instance->number : total;
    for (int entry = kind.first; entry <= last; ++entry) {
        readRecord(console, kind, {entry, 0}, *record); // the first one is there
        if (!selection.instance || entry == last) {
            show(console, kind, {entry, 0}, *record);
        }
        record->clearValid();
    }
}

void showRecords(Console &console, const Selection &selection, const Arguments &) {
    const RecordKind &kind = *selection.kind;
    if (kind.use == RecordUse::log) {
        return showLog(console, selection);
    }
    const auto record = kind.make();
    const int first = selection.instance ? selection.instance->number : kind.first;
    const int last = selection.instance ? first : kind.last;
    for (int number = first; number <= last; ++number) {
        const Instance instance{number, selection.instance ? selection.instance->state : 0};
        if (!kind.copy) {
            readRecord(console, kind, instance, *record);
        } else if (!kind.copy(console.status(), number, *record)) {
            throw Failure("the generator isn't connected");
        }
        show(console, kind, instance, *record);
    }
}

void showFields(Console &console, const Selection &selection, const Arguments &) {
    for (const RecordField &field : selection.kind->fields) {
        console.display().field(Kind::help, field.name, describe(field));
    }
}

void setField(Console &console, const Selection &selection, const Arguments &words) {
    const RecordKind &kind = *selection.kind;
    const Instance instance = selection.one();
    const Assignment assignment = assignmentFrom(kind, words);
    auto record = writeRecord(console, kind, instance, {assignment});
    if (kind.use != RecordUse::switched) {
        record = readRecord(console, kind, instance);
    }
    const Numbers taken = assignment.in(*record);
    console.display().field(Kind::answer, assignment.name(),
                            assignment.text(taken) +
                                (taken == assignment.numbers ? "" : ", not " + assignment.text()));
}

void save(Console &console, const Selection &selection, const Arguments &words) {
    saveRecords(console, selection, words[0]);
}

void restore(Console &console, const Selection &selection, const Arguments &words) {
    restoreRecords(console, selection, words[0]);
}

/// What goes behind a record.
struct Action {
    const char *name;
    std::size_t least, most; // words behind it
    void (*run)(Console &console, const Selection &selection, const Arguments &words);
};

constexpr std::size_t mostWords = 64; // more than the longest field has

constexpr Action actions[] = {
    {"fields", 0, 0, showFields},
    {"set", 2, mostWords, setField},
    {"save", 1, 1, save},
    {"restore", 1, 1, restore},
};

void record(Console &console, const Arguments &arguments) {
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

void records(Console &console, const Arguments &arguments) {
    const bool saves = choiceFrom(arguments[0], "save", "restore");
    (saves ? saveRecords : restoreRecords)(console, {}, arguments[1]);
}

} // namespace

// clang-format off
const CommandGroup &recordCommands() {
    static const CommandGroup group{
        {"record", "NAME [NUMBER] [fields|set|save|restore ...]", 1, mostWords + 4,
            "show a record, or all", record},
        {"records", "save|restore FILE", 2, 2, "the generator's whole configuration", records},
    };
    return group;
}
// clang-format on
