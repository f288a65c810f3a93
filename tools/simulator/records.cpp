#include "records.h"

#include <algorithm>
#include <numeric>

namespace tksim {

namespace {

constexpr std::size_t header = 4;
constexpr std::uint8_t readDirection = 1;
constexpr std::uint8_t writeDirection = 0;

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

Bytes dataAtStart(const RecordRow &row, std::size_t instance, Family family) {
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

} // namespace

Records::Records(Family family) {
    for (const RecordRow &row : recordTable) {
        std::vector<Bytes> &instances = m_Data.emplace_back();
        for (std::size_t instance = 0; instance < row.instances(); ++instance) {
            instances.push_back(dataAtStart(row, instance, family));
        }
    }
}

Bytes *Records::find(const RecordRow &row, std::size_t instance) {
    std::vector<Bytes> &instances = m_Data[recordTable.placeOf(row)];
    return instance < instances.size() ? &instances[instance] : nullptr;
}

Bytes Records::answer(const Bytes &frame, int revision) {
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
    Bytes *data = find(*row, next ? m_Turn++ % row->instances() : instanceAt(*row, content));
    if (!data) {
        return {nak};
    }
    if (request == Request::read) {
        return reply(*row, revision, *data);
    }
    for (std::size_t i = 0; i < std::min(row->size, content.size()); ++i) {
        (*data)[i] = row->reserved(i) ? 0 : content[i];
    }
    return {ack};
}

Bytes Records::reply(const RecordRow &row, int revision, Bytes data) const {
    data.resize(data.size() - std::min(data.size(), m_Missing));
    return encodeRecord(m_Misfiled ? nextOf(row, revision).code : row.code, data);
}

} // namespace tksim
