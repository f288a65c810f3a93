#ifndef TKSIM_RECORD_TABLE_H
#define TKSIM_RECORD_TABLE_H

#include "frame.h"
#include "vocabulary.h"

#include <array>

namespace tksim {

/// How the console asks for a record, and writes it.
enum class Form {
    usual,     ///< behind a byte that is 1 in a read, which names the instance, and 0 in a write
    readOnly,  ///< behind a byte that is always 0; there is no write
    writeOnly, ///< behind a byte that is always 0; there is no read
    inTurn,    ///< without that byte: a read brings nothing at all and gets the instances in turn
    clock,     ///< as usual, but the data runs on, and a write has to be a date
    log,       ///< behind a byte that tells which entry is read; there is no write
    counters   ///< behind a byte that is 0 in a read and else names the counter to be set back
};

struct Revisions {
    int first = 0, last = 9999;
};

/// The length field of a write, and how many bytes come behind it before the sum.
struct Write {
    std::size_t length = 0, follow = 0;
};

/// Some bytes of a record's data.
struct Span {
    std::size_t offset = 0, count = 0;

    constexpr bool has(std::size_t place) const {
        return place >= offset && place < offset + count;
    }
};

/// One form of one record. Its data is what a reply carries, index bytes first. A write carries the
/// same data, less what only a reply tells or with bytes behind that stand for nothing.
struct RecordRow {
    std::string_view name;
    std::uint8_t code;
    Revisions revisions;
    std::array<std::size_t, 2> index; ///< values of each index byte; 0 where there is none
    std::size_t size;                 ///< bytes of its data
    Write write{};
    Span zeros{}; ///< bytes that stand for nothing
    Form form = Form::usual;

    /// Fills in what the generator holds at its start. Without it the bytes count up.
    void (*fill)(Bytes &data, std::size_t instance, Family family) = nullptr;

    Span padded{}; ///< bytes that a write carries behind a zero byte each

    constexpr std::size_t indexBytes() const { return (index[0] > 0) + (index[1] > 0); }
    constexpr std::size_t instances() const {
        return (index[0] > 0 ? index[0] : 1) * (index[1] > 0 ? index[1] : 1);
    }
    constexpr bool spokenAt(int revision) const {
        return revisions.first <= revision && revision <= revisions.last;
    }
};

/// All forms of all records.
class RecordTable {
  public:
    const RecordRow *begin() const;
    const RecordRow *end() const;
    std::size_t placeOf(const RecordRow &row) const {
        return static_cast<std::size_t>(&row - begin());
    }
};

constexpr RecordTable recordTable;

/// The form that a generator of that revision speaks, or null.
const RecordRow *findRecord(std::uint8_t code, int revision);
const RecordRow *findRecord(std::string_view name, int revision);

/// How many bytes stand between the length field of a frame from the console and its sum, told from
/// its first five bytes: not always as many as the field says.
std::size_t bytesBehindLength(const std::uint8_t *head, int revision);

} // namespace tksim

#endif
