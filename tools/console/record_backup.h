#ifndef TKCONSOLE_RECORD_BACKUP_H
#define TKCONSOLE_RECORD_BACKUP_H

#include "record_traffic.h"

class GeneratorConsole;

// Both need the connection, by which the generator's revision is known: it decides on the forms of
// the records. They throw Failure.

/// Reads the records and writes all fields that can be set into a text file.
void saveRecords(GeneratorConsole &console, const Selection &selection, const std::string &path);

/// Writes the records of such a file to the generator, those that are selected. Of a file that
/// isn't sound throughout, or of another kind of generator, nothing is sent. Shows what the
/// generator has otherwise.
void restoreRecords(GeneratorConsole &console, const Selection &selection, const std::string &path);

/// Shows a field that the generator has otherwise than it was sent.
void showDifference(GeneratorConsole &console, const Difference &difference);

#endif
