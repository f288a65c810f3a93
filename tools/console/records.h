#ifndef TKCONSOLE_RECORDS_H
#define TKCONSOLE_RECORDS_H

#include "tkbinaryinterface.h"
#include "tkgeneratorstatus.h"

#include <memory>
#include <string>
#include <vector>

/// A field of one kind of record, by its name.
struct RecordField {
    const char *name;
    std::string (*text)(TkBinaryInterface &record);
    void (*assign)(TkBinaryInterface &record, int value); ///< null where it can't be written
    int least, most;                                      ///< what it can hold
};

/// A kind of record that the console knows, and how to come by one.
struct RecordKind {
    const char *name;
    int first, last; ///< numbers of its instances; equal when there is one alone
    int reads;       ///< so many bring any instance
    std::unique_ptr<TkBinaryInterface> (*make)();
    /// Turns to an instance. A record that holds it already stays valid.
    void (*select)(TkBinaryInterface &record, int number);
    /// Copies what the engine keeps; null for a kind that it doesn't keep.
    bool (*copy)(const TkGeneratorStatus &status, int number, TkBinaryInterface &record);
    std::vector<RecordField> fields;

    bool isNumbered() const { return first != last; }
};

const std::vector<RecordKind> &recordKinds();

#endif
