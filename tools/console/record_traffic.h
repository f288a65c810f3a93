#ifndef TKCONSOLE_RECORD_TRAFFIC_H
#define TKCONSOLE_RECORD_TRAFFIC_H

#include "record_words.h"

class GeneratorConsole;

/// What Console::exchange does with a record.
enum RecordModes { readMode = 998, writeMode = 999 };

/// The revision by which records have their forms; 0 for the oldest, and before one is known.
int recordRevision();

// What goes between console and generator of records. All throw Failure, and wait: a record is the
// caller's alone again when they return.

/// Reads until the instance is valid, as often as it takes; not at all if it is.
void readRecord(GeneratorConsole &console, const RecordKind &kind, const Instance &instance,
                TkBinaryInterface &record);

/// Reads into a new record. What is configuration is read twice, into records that differ before,
/// until both have the same: nobody tests the sum of a reply, a short one leaves the rest of a
/// record as it was, and a late one tells of another record.
std::unique_ptr<TkBinaryInterface> readRecord(GeneratorConsole &console, const RecordKind &kind,
                                              const Instance &instance);

/// Throws Failure if the line doesn't carry such numbers at the present revision.
void checkCarried(const Assignment &assignment);

/// A field that the generator has otherwise than it was sent.
struct Difference {
    const RecordField *field;
    Numbers sent, taken;
};

/// What came of a write.
struct Written {
    std::unique_ptr<TkBinaryInterface> record; ///< as the generator has it then
    std::vector<Difference> differences;
};

/// Reads a record, if it can be read, makes the assignments, writes it, and reads it again: what
/// was taken the confirmation doesn't tell.
Written writeRecord(GeneratorConsole &console, const RecordKind &kind, const Instance &instance,
                    const std::vector<Assignment> &assignments);

#endif
