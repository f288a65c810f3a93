#include "record_traffic.h"

#include "generator_console.h"

#include <algorithm>

namespace {

constexpr int tries = 3;

/// The library's own number.
struct Revision : Tk {
    static int now() { return m_nGeneratorRevision; }
};

void checkRevision(GeneratorConsole &console, const RecordKind &kind) {
    if (kind.dependsOnRevision() && recordRevision() == 0 && !console.engine().connected()) {
        throw Failure("the generator's revision isn't known, 'query GR' asks for it");
    }
}

/// Lets answers to earlier requests pass: the generator answers in turn, and a request that went
/// out twice is answered twice.
void settle(GeneratorConsole &console) {
    if (!console.ask(Tk::WS, Tk::REQUEST_QUERY)) {
        throw Failure("the generator doesn't answer");
    }
}

bool exchange(GeneratorConsole &console, TkBinaryInterface &record, int mode) {
    settle(console);
    return console.exchange(record, mode);
}

void select(const RecordKind &kind, const Instance &instance, TkBinaryInterface &record) {
    if (kind.select) {
        kind.select(record, instance);
    }
}

/// A new record that holds other numbers than the usual one.
std::unique_ptr<TkBinaryInterface> makeFilled(const RecordKind &kind, const Instance &instance) {
    auto record = kind.make();
    select(kind, instance, *record);
    for (const RecordField &field : kind.fields) {
        for (std::size_t place = 0; field.set && place < field.count; ++place) {
            field.set(*record, place, field.most);
        }
    }
    return record;
}

/// All that the line carries of a record.
std::vector<Numbers> contentsOf(const RecordKind &kind, TkBinaryInterface &record) {
    std::vector<Numbers> contents;
    for (const RecordField &field : kind.fields) {
        contents.push_back(field.isCarriedAt(recordRevision()) ? field.read(record) : Numbers());
    }
    return contents;
}

/// Of what lives by itself only what was assigned.
std::vector<Difference> differencesOf(const RecordKind &kind, const std::vector<Numbers> &sent,
                                      TkBinaryInterface &record,
                                      const std::vector<Assignment> &assignments) {
    const auto isAssigned = [&](const RecordField &field) {
        return std::any_of(assignments.begin(), assignments.end(),
                           [&](const Assignment &each) { return each.field == &field; });
    };
    const std::vector<Numbers> taken = contentsOf(kind, record);
    std::vector<Difference> differences;
    for (std::size_t i = 0; i < taken.size(); ++i) {
        const RecordField &field = kind.fields[i];
        const bool counts = kind.use == RecordUse::configuration || isAssigned(field);
        if (counts && taken[i] != sent[i]) {
            differences.push_back({&field, sent[i], taken[i]});
        }
    }
    return differences;
}

} // namespace

int recordRevision() {
    return Revision::now();
}

void readRecord(GeneratorConsole &console, const RecordKind &kind, const Instance &instance,
                TkBinaryInterface &record) {
    if (kind.use == RecordUse::switched) {
        throw Failure("it can be set, but not read");
    }
    checkRevision(console, kind);
    select(kind, instance, record);
    for (int reads = 0; reads < kind.reads && !record.isValid(); ++reads) {
        if (!exchange(console, record, readMode)) {
            break;
        }
        select(kind, instance, record);
    }
    if (!record.isValid()) {
        throw Failure("the generator didn't send it");
    }
}

std::unique_ptr<TkBinaryInterface> readRecord(GeneratorConsole &console, const RecordKind &kind,
                                              const Instance &instance) {
    for (int i = 0; i < tries; ++i) {
        auto record = kind.make();
        readRecord(console, kind, instance, *record);
        if (kind.use != RecordUse::configuration) {
            return record;
        }
        const auto filled = makeFilled(kind, instance);
        readRecord(console, kind, instance, *filled);
        if (contentsOf(kind, *record) == contentsOf(kind, *filled)) {
            return record;
        }
    }
    throw Failure("the generator sent it short, or otherwise each time");
}

void checkCarried(const Assignment &assignment) {
    const RecordField &field = *assignment.field;
    const std::string revision = std::to_string(recordRevision());
    if (!field.isCarriedAt(recordRevision())) {
        throw Failure("the records of revision " + revision + " have no " + field.name);
    }
    const Number most = field.mostAt(recordRevision());
    for (const Number each : assignment.numbers) {
        if (each > most) {
            throw Failure(field.name + " holds " + std::to_string(most) +
                          " at the most at revision " + revision);
        }
    }
}

Written writeRecord(GeneratorConsole &console, const RecordKind &kind, const Instance &instance,
                    const std::vector<Assignment> &assignments) {
    checkRevision(console, kind);
    std::for_each(assignments.begin(), assignments.end(), checkCarried);
    const bool readable = kind.use != RecordUse::switched;
    auto record = readable ? readRecord(console, kind, instance) : kind.make();
    for (const Assignment &assignment : assignments) {
        assignment.applyTo(*record);
    }
    std::vector<Numbers> sent = contentsOf(kind, *record);
    if (!exchange(console, *record, writeMode)) {
        throw Failure("the generator didn't confirm it");
    }
    if (!readable) {
        return {std::move(record), {}};
    }
    for (const Assignment &each : assignments) { // a counter that is reset shows it later
        const auto place = static_cast<std::size_t>(each.field - kind.fields.data());
        std::copy(each.numbers.begin(), each.numbers.end(),
                  sent[place].begin() + static_cast<std::ptrdiff_t>(each.first));
    }
    auto taken = readRecord(console, kind, instance);
    std::vector<Difference> differences = differencesOf(kind, sent, *taken, assignments);
    return {std::move(taken), std::move(differences)};
}
