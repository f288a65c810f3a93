#include "records.h"

#include <algorithm>
#include <iterator>

bool RecordField::canHold(Number number) const {
    return number >= least && number <= most &&
           (choices.empty() || std::binary_search(choices.begin(), choices.end(), number));
}

Numbers RecordField::read(TkBinaryInterface &record) const {
    Numbers numbers(count);
    for (std::size_t place = 0; place < count; ++place) {
        numbers[place] = get(record, place);
    }
    return numbers;
}

std::string RecordKind::title(const Instance &instance) const {
    return name + (isNumbered() ? " " + std::to_string(instance.number) : std::string()) +
           (instance.state != 0 ? " " + std::to_string(instance.state) : std::string());
}

bool RecordKind::dependsOnRevision() const {
    return std::any_of(fields.begin(), fields.end(), [](const RecordField &each) {
        return each.since > 0 || each.wholeSince > 0;
    });
}

void RecordKind::carrySince(int revision, const std::string &firstField) {
    const auto from = std::find_if(fields.begin(), fields.end(), [&](const RecordField &each) {
        return each.name == firstField;
    });
    std::for_each(from, fields.end(), [=](RecordField &each) { each.since = revision; });
}

const RecordField *RecordKind::find(const std::string &field) const {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const RecordField &each) { return each.name == field; });
    return found == fields.end() ? nullptr : &*found;
}

const std::vector<RecordKind> &recordKinds() {
    static const std::vector<RecordKind> kinds = [] {
        std::vector<RecordKind> all;
        for (auto group : {exposureRecords(), fluoroRecords(), systemRecords()}) {
            std::move(group.begin(), group.end(), std::back_inserter(all));
        }
        return all;
    }();
    return kinds;
}
