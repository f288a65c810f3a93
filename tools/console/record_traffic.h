#ifndef TKCONSOLE_RECORD_TRAFFIC_H
#define TKCONSOLE_RECORD_TRAFFIC_H

#include "record_words.h"

class Console;

/// What Console::exchange does with a record.
enum RecordModes { readMode = 998, writeMode = 999 };

// What goes between console and generator of records. All throw Failure, and wait: a record is the
// caller's alone again when they return.

/// Reads until the instance is valid, as often as it takes; not at all if it is.
void readRecord(Console &console, const RecordKind &kind, const Instance &instance,
                TkBinaryInterface &record);

/// The same into a new one.
std::unique_ptr<TkBinaryInterface> readRecord(Console &console, const RecordKind &kind,
                                              const Instance &instance);

/// Reads a record, if it can be read, makes the assignments and writes it. What was taken the
/// confirmation doesn't tell, another read does: not every field goes over the line at every
/// revision.
std::unique_ptr<TkBinaryInterface> writeRecord(Console &console, const RecordKind &kind,
                                               const Instance &instance,
                                               const std::vector<Assignment> &assignments);

#endif
