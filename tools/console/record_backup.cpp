#include "record_backup.h"

#include "generator_console.h"
#include "record_traffic.h"
#include "text_file.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace {

/// All records with the longest numbers are half of it.
constexpr std::uintmax_t longestFile = 65536;

/// What the first line begins with, and those under which a record's fields stand.
constexpr const char *originWord = "generator";
constexpr const char *recordWord = "record";

/// A record as a file has it.
struct SavedRecord {
    const RecordKind *kind;
    Instance instance;
    std::vector<Assignment> assignments;
};

/// Which generator a file's records are of.
struct Origin {
    bool isArkona = true;
    int revision = 0;

    std::string text() const {
        return std::string(originWord) + (isArkona ? " arkona " : " brn450 ") +
               std::to_string(revision);
    }
    /// Whether another one's records have the same forms.
    bool isAlike(const Origin &other) const {
        return isArkona == other.isArkona &&
               std::all_of(std::begin(recordForms), std::end(recordForms), [&](int first) {
                   return (revision >= first) == (other.revision >= first);
               });
    }
};

Origin connectedGenerator(GeneratorConsole &console) {
    if (!console.engine().connected()) {
        throw Failure("the generator isn't connected");
    }
    return {console.engine().getGeneratorType() == Tk::GENERATOR_ARKONA, recordRevision()};
}

void checkUse(const RecordKind &kind) {
    if (kind.use != RecordUse::configuration) {
        throw Failure(std::string(kind.name) + " is no configuration to save and restore");
    }
}

// --- Saving --------------------------------------------------------------------------------------

bool canRestore(const RecordField &field, const Numbers &numbers) {
    return std::all_of(numbers.begin(), numbers.end(),
                       [&](Number each) { return field.canHold(each); });
}

/// The lines of a record. A code that stands for no number can't be restored.
std::string linesOf(GeneratorConsole &console, const RecordKind &kind, const Instance &instance) {
    const auto record = readRecord(console, kind, instance);
    std::string lines = "\n" + std::string(recordWord) + " " + kind.title(instance) + "\n";
    for (const RecordField &field : kind.fields) {
        if (!field.set || !field.isCarriedAt(recordRevision())) {
            continue;
        }
        const Numbers numbers = field.read(*record);
        const std::string line = field.name + " " + textOf(field, numbers);
        const bool restorable = canRestore(field, numbers);
        lines += (restorable ? "" : "# can't be restored: ") + line + "\n";
        if (!restorable) {
            console.display().line(Kind::note,
                                   kind.title(instance) + ": " + line + " can't be restored");
        }
    }
    return lines;
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
        if (!m_Origin) {
            originate(words);
        } else if (words[0] == recordWord) {
            begin(words);
        } else if (m_Records.empty()) {
            throw Failure("a line as 'record tube 0' goes in front of fields");
        } else {
            assign(words);
        }
    }

    const std::vector<SavedRecord> &records() const { return m_Records; }
    const std::optional<Origin> &origin() const { return m_Origin; }

  private:
    void originate(const Arguments &words) {
        if (words.size() != 3 || words[0] != originWord) {
            throw Failure("a file begins with a line as 'generator arkona 301'");
        }
        m_Origin = Origin{choiceFrom(words[1], "arkona", "brn450"), numberFrom(words[2])};
    }

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

    std::optional<Origin> m_Origin;
    std::vector<SavedRecord> m_Records;
};

/// The selected records of a file that is sound, and of a generator like this one.
std::vector<SavedRecord> savedRecords(GeneratorConsole &console, const Selection &selection,
                                      const std::string &path) {
    Reader reader;
    readLines(path, longestFile, [&](const std::string &line) { reader.take(line); });
    std::vector<SavedRecord> selected;
    std::copy_if(
        reader.records().begin(), reader.records().end(), std::back_inserter(selected),
        [&](const SavedRecord &each) { return selection.includes(*each.kind, each.instance); });
    if (selected.empty()) {
        throw Failure("the file holds no " + selection.title());
    }
    const Origin here = connectedGenerator(console);
    if (!reader.origin()->isAlike(here)) {
        throw Failure("the file is of '" + reader.origin()->text() + "', and here is '" +
                      here.text() + "', whose records have other forms");
    }
    for (const SavedRecord &each : selected) {
        std::for_each(each.assignments.begin(), each.assignments.end(), checkCarried);
    }
    return selected;
}

// --- Restoring -----------------------------------------------------------------------------------

} // namespace

void showDifference(GeneratorConsole &console, const Difference &difference) {
    const RecordField &field = *difference.field;
    console.display().field(Kind::answer, field.name,
                            textOf(field, difference.taken) + ", not " +
                                textOf(field, difference.sent));
}

void saveRecords(GeneratorConsole &console, const Selection &selection, const std::string &path) {
    if (selection.kind) {
        checkUse(*selection.kind);
    }
    std::string text = connectedGenerator(console).text() + "\n";
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

void restoreRecords(GeneratorConsole &console, const Selection &selection,
                    const std::string &path) {
    if (selection.kind) {
        checkUse(*selection.kind);
    }
    std::string written;
    std::size_t refused = 0;
    const std::vector<SavedRecord> records = savedRecords(console, selection, path);
    for (const SavedRecord &each : records) {
        const std::string title = each.kind->title(each.instance);
        try {
            const Written result =
                writeRecord(console, *each.kind, each.instance, each.assignments);
            written += (written.empty() ? "" : ", ") + title;
            console.display().line(Kind::note, title + " is written");
            for (const Difference &difference : result.differences) {
                showDifference(console, difference);
            }
            refused += result.differences.size();
        } catch (const Failure &failure) {
            throw Failure(title + ": " + failure.what() +
                          "; written: " + (written.empty() ? "none" : written));
        }
    }
    console.display().line(Kind::note, "restored: " + std::to_string(records.size()));
    if (refused > 0) {
        throw Failure("the generator has " + std::to_string(refused) +
                      " fields otherwise than they were sent");
    }
}
