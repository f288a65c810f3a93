#include "record_traffic.h"

#include "console.h"

namespace {

void select(const RecordKind &kind, const Instance &instance, TkBinaryInterface &record) {
    if (kind.select) {
        kind.select(record, instance);
    }
}

} // namespace

void readRecord(Console &console, const RecordKind &kind, const Instance &instance,
                TkBinaryInterface &record) {
    if (kind.use == RecordUse::switched) {
        throw Failure("it can be set, but not read");
    }
    select(kind, instance, record);
    for (int reads = 0; reads < kind.reads && !record.isValid(); ++reads) {
        if (!console.exchange(record, readMode)) {
            break;
        }
        select(kind, instance, record);
    }
    if (!record.isValid()) {
        throw Failure("the generator didn't send it");
    }
}

std::unique_ptr<TkBinaryInterface> readRecord(Console &console, const RecordKind &kind,
                                              const Instance &instance) {
    auto record = kind.make();
    readRecord(console, kind, instance, *record);
    return record;
}

std::unique_ptr<TkBinaryInterface> writeRecord(Console &console, const RecordKind &kind,
                                               const Instance &instance,
                                               const std::vector<Assignment> &assignments) {
    auto record =
        kind.use == RecordUse::switched ? kind.make() : readRecord(console, kind, instance);
    for (const Assignment &assignment : assignments) {
        assignment.applyTo(*record);
    }
    if (!console.exchange(*record, writeMode)) {
        throw Failure("the generator didn't confirm it");
    }
    return record;
}
