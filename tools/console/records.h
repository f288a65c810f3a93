#ifndef TKCONSOLE_RECORDS_H
#define TKCONSOLE_RECORDS_H

#include "tkbinaryinterface.h"
#include "tkgeneratorstatus.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// What a field holds, of whichever type; the characters of a text too.
using Number = long long;
using Numbers = std::vector<Number>;

/// A field of one kind of record, by its name: a number, several, or a text.
struct RecordField {
    std::string name;
    std::string type;  ///< as "u16", or "text"
    std::size_t count; ///< of its numbers or characters
    Number least, most;
    std::function<Number(TkBinaryInterface &record, std::size_t place)> get;
    /// Empty where it can't be written.
    std::function<void(TkBinaryInterface &record, std::size_t place, Number number)> set;
    Numbers choices; ///< in order, where it doesn't hold every number from least to most

    // Revisions of the generator from which on the line carries it, and more than its low byte.
    int since = 0;
    int wholeSince = 0;

    bool isText() const { return type == "text"; }
    bool canHold(Number number) const;
    bool isCarriedAt(int revision) const { return revision >= since; }
    Number mostAt(int revision) const { return revision < wholeSince ? 0xFF : most; }
    Numbers read(TkBinaryInterface &record) const;
};

/// Which one of a kind's records. The state counts for the inputs and outputs alone.
struct Instance {
    int number = 0;
    int state = 0;

    bool operator==(const Instance &other) const {
        return number == other.number && state == other.state;
    }
};

/// What the console may do with a kind of record as a whole.
enum class RecordUse {
    configuration, ///< can be saved and restored
    present,       ///< tells what the generator does: clock, counters, position
    log,           ///< each read of an object brings the entry that follows
    switched       ///< can be written, but not read
};

/// A kind of record that the console knows, and how to come by one.
struct RecordKind {
    const char *name;
    std::vector<RecordField> fields;
    std::unique_ptr<TkBinaryInterface> (*make)();
    RecordUse use = RecordUse::configuration;
    int first = 0, last = 0; ///< numbers of its instances; equal when there is one alone
    int lastState = 0;       ///< states of each, from 0
    int reads = 1;           ///< so many bring any instance
    /// Turns to an instance; empty when there is one alone. A record that holds it already stays
    /// valid.
    std::function<void(TkBinaryInterface &record, const Instance &instance)> select = {};
    /// Copies what the engine keeps current; empty for a kind that is read.
    bool (*copy)(const TkGeneratorStatus &status, TkBinaryInterface &record) = nullptr;

    bool isNumbered() const { return first != last; }

    /// Whether its form on the line is another from one revision to another.
    bool dependsOnRevision() const;

    /// The fields from this one on are carried from that revision on.
    void carrySince(int revision, const std::string &firstField);

    /// As on a command line: "tube 1".
    std::string title(const Instance &instance) const;

    /// Null where there is none.
    const RecordField *find(const std::string &field) const;
};

const std::vector<RecordKind> &recordKinds();

/// The first revisions of the newer forms of records.
constexpr int recordForms[] = {150, 300};

// The kinds, in groups with a file each.

std::vector<RecordKind> exposureRecords();
std::vector<RecordKind> fluoroRecords();
std::vector<RecordKind> systemRecords();

#endif
