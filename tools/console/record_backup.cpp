#include "record_backup.h"

#include "console.h"
#include "record_traffic.h"
#include "text_file.h"

#include <algorithm>

namespace {

/// All records with the longest numbers are half of it.
constexpr std::uintmax_t longestFile = 65536;

/// What the line begins with under which a record's fields stand.
constexpr const char *recordWord = "record";

/// A record as a file has it.
struct SavedRecord {
    const RecordKind *kind;
    Instance instance;
    std::vector<Assignment> assignments;
};

void checkConnection(Console &console) {
    if (!console.engine().connected()) {
        throw Failure("the generator isn't connected");
    }
}

void checkUse(const RecordKind &kind) {
    if (kind.use != RecordUse::configuration) {
        throw Failure(std::string(kind.name) + " is no configuration to save and restore");
    }
}

// --- Saving --------------------------------------------------------------------------------------

/// A new record that holds other numbers than the usual one.
std::unique_ptr<TkBinaryInterface> makeFilled(const RecordKind &kind, const Instance &instance) {
    auto record = kind.make();
    if (kind.select) {
        kind.select(*record, instance);
    }
    for (const RecordField &field : kind.fields) {
        for (std::size_t place = 0; field.set && place < field.count; ++place) {
            field.set(*record, place, field.most);
        }
    }
    return record;
}

bool canRestore(const RecordField &field, const Numbers &numbers) {
    return std::all_of(numbers.begin(), numbers.end(),
                       [&](Number each) { return field.canHold(each); });
}

/// The lines of a record. What doesn't come over the line at the generator's revision stays in a
/// record as it was, and so differs between two that were different before they were read.
std::string linesOf(Console &console, const RecordKind &kind, const Instance &instance) {
    const auto record = readRecord(console, kind, instance);
    const auto filled = makeFilled(kind, instance);
    readRecord(console, kind, instance, *filled);
    std::string lines = "\n" + std::string(recordWord) + " " + kind.title(instance) + "\n";
    std::string unsent;
    for (const RecordField &field : kind.fields) {
        const Numbers numbers = field.read(*record);
        const std::string line = field.name + " " + textOf(field, numbers);
        if (!field.set) {
            continue;
        }
        if (numbers != field.read(*filled)) {
            unsent += " " + field.name;
        } else if (canRestore(field, numbers)) {
            lines += line + "\n";
        } else {
            lines += "# can't be restored: " + line + "\n";
            console.display().line(Kind::note,
                                   kind.title(instance) + ": " + line + " can't be restored");
        }
    }
    return lines + (unsent.empty() ? "" : "# not sent by this generator:" + unsent + "\n");
}

/// The instances of a kind that are saved: of those with states the first state, unless told.
std::vector<Instance> instancesOf(const RecordKind &kind, const Selection &selection) {
    if (selection.instance) {
        return {*selection.instance};
    }
    std::vector<Instance> instances;
    for (int number = kind.first; number <= kind.last; ++number) {
        instances.push_back({number, 0});
    }
    return instances;
}

// --- Reading a file ------------------------------------------------------------------------------

/// The records of a file, on their way from its lines.
class Reader {
  public:
    void take(const std::string &line) {
        Arguments words = argumentsIn(line);
        words.erase(std::find_if(words.begin(), words.end(),
                                 [](const std::string &word) { return word[0] == '#'; }),
                    words.end());
        if (words.empty()) {
            return;
        }
        if (words[0] == recordWord) {
            begin(words);
        } else if (m_Records.empty()) {
            throw Failure("a line as 'record tube 0' goes in front of fields");
        } else {
            assign(words);
        }
    }

    const std::vector<SavedRecord> &records() const { return m_Records; }

  private:
    void begin(const Arguments &words) {
        std::size_t next = 1;
        if (words.size() == next) {
            throw Failure("which record?");
        }
        const Selection selection = selectionFrom(words, next);
        const Instance instance = selection.one();
        if (next != words.size()) {
            throw Failure("nothing goes behind " + selection.title());
        }
        checkUse(*selection.kind);
        for (const SavedRecord &each : m_Records) {
            if (selection.includes(*each.kind, each.instance)) {
                throw Failure(selection.title() + " stands there twice");
            }
        }
        m_Records.push_back({selection.kind, instance, {}});
    }

    void assign(const Arguments &words) {
        SavedRecord &record = m_Records.back();
        const Assignment assignment = assignmentFrom(*record.kind, words);
        if (!assignment.isWhole()) {
            throw Failure("a file has whole fields, " + assignment.field->name);
        }
        for (const Assignment &each : record.assignments) {
            if (each.field == assignment.field) {
                throw Failure(assignment.name() + " stands there twice");
            }
        }
        record.assignments.push_back(assignment);
    }

    std::vector<SavedRecord> m_Records;
};

std::vector<SavedRecord> savedRecords(const Selection &selection, const std::string &path) {
    Reader reader;
    readLines(path, longestFile, [&](const std::string &line) { reader.take(line); });
    std::vector<SavedRecord> selected;
    std::copy_if(
        reader.records().begin(), reader.records().end(), std::back_inserter(selected),
        [&](const SavedRecord &each) { return selection.includes(*each.kind, each.instance); });
    if (selected.empty()) {
        throw Failure("the file holds no " + selection.title());
    }
    return selected;
}

// --- Restoring -----------------------------------------------------------------------------------

/// Shows what the generator has in place of what the file says. How many fields that are.
int showRefused(Console &console, const SavedRecord &saved, TkBinaryInterface &record) {
    int refused = 0;
    for (const Assignment &each : saved.assignments) {
        const Numbers taken = each.in(record);
        if (taken != each.numbers) {
            ++refused;
            console.display().field(Kind::answer, each.name(),
                                    each.text(taken) + ", not " + each.text());
        }
    }
    return refused;
}

} // namespace

void saveRecords(Console &console, const Selection &selection, const std::string &path) {
    if (selection.kind) {
        checkUse(*selection.kind);
    }
    checkConnection(console);
    std::string text = "# Records of a generator of revision " +
                       std::to_string(console.status().getGeneratorVersion()) + "\n";
    int count = 0;
    for (const RecordKind &kind : recordKinds()) {
        if (selection.kind ? selection.kind != &kind : kind.use != RecordUse::configuration) {
            continue;
        }
        for (const Instance &instance : instancesOf(kind, selection)) {
            try {
                text += linesOf(console, kind, instance);
            } catch (const Failure &failure) {
                throw Failure(kind.title(instance) + ": " + failure.what());
            }
            ++count;
        }
    }
    replaceFile(path, text);
    console.display().line(Kind::note, "saved: " + std::to_string(count));
}

void restoreRecords(Console &console, const Selection &selection, const std::string &path) {
    if (selection.kind) {
        checkUse(*selection.kind);
    }
    const std::vector<SavedRecord> records = savedRecords(selection, path);
    checkConnection(console);
    std::string written;
    int refused = 0;
    for (const SavedRecord &each : records) {
        const std::string title = each.kind->title(each.instance);
        try {
            writeRecord(console, *each.kind, each.instance, each.assignments);
            written += (written.empty() ? "" : ", ") + title;
            console.display().line(Kind::note, title + " is written");
            refused += showRefused(console, each, *readRecord(console, *each.kind, each.instance));
        } catch (const Failure &failure) {
            throw Failure(title + ": " + failure.what() +
                          "; written: " + (written.empty() ? "none" : written));
        }
    }
    console.display().line(Kind::note, "restored: " + std::to_string(records.size()) +
                                           ", fields not taken: " + std::to_string(refused));
}
