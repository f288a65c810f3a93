#include "records.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace tksim {

namespace {

constexpr std::size_t header = 4;
constexpr std::uint8_t readDirection = 1;
constexpr std::uint8_t writeDirection = 0;

/// What the byte of a read of the log asks for; 2 gives the entry told last as it was.
constexpr std::uint8_t firstEntry = 0;
constexpr std::uint8_t sameEntry = 2;

constexpr std::uint8_t readCounters = 0;

enum class Request { read, write, none };

/// What the console sent, between the length field and the sum.
struct Body {
    std::size_t length; ///< what the field says
    Bytes bytes;
};

Request requestOf(const RecordRow &row, const Body &body) {
    const Bytes &bytes = body.bytes;
    const bool writes = body.length == row.write.length && bytes.size() == row.write.follow;
    switch (row.form) {
    case Form::usual:
    case Form::clock:
        if (bytes.size() == 1 + row.indexBytes() && bytes[0] == readDirection) {
            return Request::read;
        }
        return writes && bytes[0] == writeDirection ? Request::write : Request::none;
    case Form::readOnly:
        return bytes == Bytes{0} ? Request::read : Request::none;
    case Form::inTurn:
        if (body.length == row.write.length && bytes.empty()) {
            return Request::read;
        }
        return writes ? Request::write : Request::none;
    case Form::writeOnly:
        return writes && bytes[0] == writeDirection ? Request::write : Request::none;
    case Form::log:
        return bytes.size() == 1 && bytes[0] <= sameEntry ? Request::read : Request::none;
    case Form::counters:
        if (bytes.size() != 1) {
            return Request::none;
        }
        return bytes[0] == readCounters ? Request::read : Request::write;
    }
    return Request::none;
}

/// The instance that index bytes name, or one past the last.
std::size_t instanceAt(const RecordRow &row, const Bytes &indexes) {
    std::size_t instance = 0;
    for (std::size_t i = 0; i < row.indexBytes(); ++i) {
        if (indexes[i] >= row.index[i]) {
            return row.instances();
        }
        instance = instance * row.index[i] + indexes[i];
    }
    return instance;
}

/// The next row of the table that the same generator speaks.
const RecordRow &nextOf(const RecordRow &row, int revision) {
    const RecordRow *next = &row;
    do {
        next = next + 1 == recordTable.end() ? recordTable.begin() : next + 1;
    } while (!next->spokenAt(revision));
    return *next;
}

Bytes instanceAtStart(const RecordRow &row, std::size_t instance, Family family) {
    Bytes data(row.size);
    if (row.fill) {
        row.fill(data, instance, family);
    } else {
        std::iota(data.begin(), data.end(), static_cast<std::uint8_t>(instance * 32));
    }
    for (std::size_t i = 0; i < row.zeros.count; ++i) {
        data[row.zeros.offset + i] = 0;
    }
    std::size_t rest = instance;
    for (std::size_t i = row.indexBytes(); i > 0; --i) {
        data[i - 1] = static_cast<std::uint8_t>(rest % row.index[i - 1]);
        rest /= row.index[i - 1];
    }
    return data;
}

std::vector<std::vector<Bytes>> dataAtStart(Family family) {
    std::vector<std::vector<Bytes>> data;
    for (const RecordRow &row : recordTable) {
        std::vector<Bytes> &instances = data.emplace_back();
        for (std::size_t instance = 0; instance < row.instances(); ++instance) {
            instances.push_back(instanceAtStart(row, instance, family));
        }
    }
    return data;
}

} // namespace

Records::Records(Family family, std::int64_t utc)
    : m_Data(dataAtStart(family)), m_Clock(utc), m_Log(utc), m_Statistics(dataOf(Form::counters)) {
    dataOf(Form::log) = m_Log.tell();
}

/// The data of a form that one record alone has.
Bytes &Records::dataOf(Form form) {
    const auto *row = std::find_if(recordTable.begin(), recordTable.end(),
                                   [=](const RecordRow &each) { return each.form == form; });
    return m_Data[recordTable.placeOf(*row)][0];
}

Bytes *Records::dataAt(const RecordRow &row, std::size_t instance, Milliseconds now) {
    std::vector<Bytes> &instances = m_Data[recordTable.placeOf(row)];
    if (instance >= instances.size()) {
        return nullptr;
    }
    if (row.form == Form::clock) {
        instances[instance] = m_Clock.date(now);
    }
    return &instances[instance];
}

const Bytes *Records::find(const RecordRow &row, std::size_t instance, Milliseconds now) {
    return dataAt(row, instance, now);
}

bool Records::change(const RecordRow &row, std::size_t instance, std::size_t offset,
                     std::uint8_t value, Milliseconds now) {
    Bytes &data = *dataAt(row, instance, now);
    Bytes wanted = data;
    wanted[offset] = value;
    return take(row, data, std::move(wanted), now);
}

void Records::logError(int code, const Bytes &technique, Milliseconds now) {
    m_Log.add(code, m_Clock.date(now), technique);
}

Bytes Records::answer(const Bytes &frame, int revision, Milliseconds now) {
    const RecordRow *row = findRecord(frame[1], revision);
    const Body body{(std::size_t{frame[2]} << 8) + frame[3],
                    Bytes(frame.begin() + header, frame.end() - 1)};
    const Request request = row ? requestOf(*row, body) : Request::none;
    if (request == Request::none) {
        return {nak};
    }
    const bool inTurn = row->form == Form::inTurn;
    const Bytes content(body.bytes.begin() + (inTurn ? 0 : 1), body.bytes.end());
    const bool next = inTurn && request == Request::read;
    Bytes *data = dataAt(*row, next ? m_Turn++ % row->instances() : instanceAt(*row, content), now);
    if (!data) {
        return {nak};
    }
    if (request == Request::read) {
        if (row->form == Form::log && body.bytes[0] != sameEntry) {
            *data = m_Log.turn(body.bytes[0] == firstEntry);
        }
        return reply(*row, revision, *data);
    }
    const bool taken = row->form == Form::counters ? m_Statistics.reset(body.bytes[0])
                                                   : write(*row, *data, content, now);
    return {taken ? ack : nak};
}

bool Records::write(const RecordRow &row, Bytes &data, const Bytes &content, Milliseconds now) {
    Bytes wanted(row.size);
    std::size_t at = 0;
    for (std::size_t offset = 0; offset < row.size && at < content.size(); ++offset) {
        at += row.padded.has(offset);
        wanted[offset] = row.zeros.has(offset) ? 0 : content[at];
        ++at;
    }
    return take(row, data, std::move(wanted), now);
}

bool Records::take(const RecordRow &row, Bytes &data, Bytes wanted, Milliseconds now) {
    if (row.form == Form::clock && !m_Clock.set(wanted, now)) {
        return false;
    }
    data = std::move(wanted);
    return true;
}

Bytes Records::reply(const RecordRow &row, int revision, Bytes data) const {
    data.resize(data.size() - std::min(data.size(), m_Missing));
    return encodeRecord(m_Misfiled ? nextOf(row, revision).code : row.code, data);
}

} // namespace tksim
