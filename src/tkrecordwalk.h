#ifndef TKRECORDWALK_H
#define TKRECORDWALK_H

#include "tkbinaryinterface.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <type_traits>
#include <vector>

/// The walks over a record's fields. A record tells its fields once, in wire order, by
///
///     template <class Walk> void Record::walk(Walk &walk)
///
/// and the walk that is handed in makes a request of them, or a frame that writes the record, or
/// fills them from a reply. Only the walks know byte order and where data end. A walk offers:
///
///     revision()            what the form depends on, for an `if` in the list
///     direction()           the byte that tells a read from a write; not in a reply
///     inPlaceOfDirection(b) another byte in its place
///     index(field)          a field that selects the instance: in a request too
///     index(field, end)     the same, and a reply must name one below `end`
///     answered(field, end)  the same, but not in a request
///     fields(a, b, ...)     numbers, big-endian, as wide as their type; a table of them row by row
///     lowByte(a, b, ...)    wide fields of which the wire carries the low byte alone
///     lowWord(a, b, ...)    the same with the low 16 bits
///     told(field)           a field that a reply has, and a write hasn't
///     counter(field)        the same of 24 bits, behind a byte without a meaning
///     widened(table)        bytes, each behind a zero byte in a write
///     text(chars, size)     characters, as many as there are
///     reserved(n)           bytes without a meaning, zero in a write
///     trailer(n)            the same at the end of a write; a reply has none
namespace tkrecord {

constexpr int READ = 998;
constexpr int WRITE = 999;

constexpr unsigned char START = 0x01;
constexpr std::size_t HEAD = 4; // start, code, two bytes of length

/// The most bytes that a frame has beyond what its length field says, so that it takes one
/// allocation.
constexpr std::size_t UNCOUNTED = 80;

/// Room for the data of a record that is copied.
constexpr std::size_t USUAL_SIZE = 128;

/// What a counter's first byte says counts for nothing.
constexpr unsigned int COUNTER_MASK = 0xFFFFFF;

/// What a walk over the fields can make.
enum class Kind { request, write, reply };

/// The length that a frame's head tells.
inline std::size_t lengthOf(const std::vector<unsigned char> &frame) {
    return static_cast<std::size_t>(frame[2]) << CHAR_BIT | frame[3];
}

/// Any mode but that of a read writes.
inline Kind kindOf(int mode) {
    return mode == READ ? Kind::request : Kind::write;
}

struct Data {
    const unsigned char *first = nullptr;
    std::size_t size = 0;
};

/// What a frame of the generator's carries: all between its head and its last byte, the sum. The
/// length has told where it ends, and isn't asked again.
inline Data dataOf(const std::vector<unsigned char> &frame) {
    if (frame.size() <= HEAD) {
        return {};
    }
    return {frame.data() + HEAD, frame.size() - HEAD - 1};
}

/// Appends a request for a record, or its fields, to a frame.
class Writer {
  public:
    Writer(std::vector<unsigned char> &frame, Kind kind, int revision)
        : m_Frame(frame), m_Kind(kind), m_nRevision(revision) {}

    int revision() const { return m_nRevision; }
    void direction() { inPlaceOfDirection(m_Kind == Kind::request ? 1 : 0); }
    void inPlaceOfDirection(unsigned char byte) {
        if (m_Kind != Kind::reply) {
            put(byte);
        }
    }
    void index(unsigned char field, unsigned char /*end*/ = 0) { put(field); }
    void answered(unsigned char field, unsigned char /*end*/) { fields(field); }

    template <class... Fields>
    void fields(const Fields &...all) {
        if (m_Kind != Kind::request) {
            append(all...);
        }
    }
    template <class... Numbers>
    void lowByte(Numbers... numbers) {
        fields(static_cast<unsigned char>(numbers & 0xFF)...);
    }
    template <class... Numbers>
    void lowWord(Numbers... numbers) {
        fields(static_cast<unsigned short int>(numbers & 0xFFFF)...);
    }
    void told(unsigned char field) {
        if (m_Kind == Kind::reply) {
            append(field);
        }
    }
    void counter(unsigned int field) {
        if (m_Kind == Kind::reply) {
            append(field & COUNTER_MASK);
        }
    }
    template <std::size_t rows, std::size_t size>
    void widened(const unsigned char (&table)[rows][size]) {
        for (const auto &row : table) {
            for (const unsigned char byte : row) {
                reserved(m_Kind == Kind::write ? 1 : 0);
                fields(byte);
            }
        }
    }
    void text(const char *chars, std::size_t size) {
        if (m_Kind != Kind::request) {
            m_Frame.insert(m_Frame.end(), chars, chars + size);
        }
    }
    void reserved(std::size_t count) {
        if (m_Kind != Kind::request) {
            m_Frame.insert(m_Frame.end(), count, 0);
        }
    }
    void trailer(std::size_t count) {
        if (m_Kind == Kind::write) {
            reserved(count);
        }
    }

  private:
    void put(unsigned char byte) { m_Frame.push_back(byte); }

    template <class Number>
    static void store(unsigned char *bytes, const Number &value) {
        const auto bits = static_cast<std::make_unsigned_t<Number>>(value);
        for (std::size_t i = 0; i < sizeof value; ++i) {
            bytes[i] = static_cast<unsigned char>(bits >> (CHAR_BIT * (sizeof value - 1 - i)));
        }
    }
    template <class Field, std::size_t size>
    static void store(unsigned char *bytes, const Field (&table)[size]) {
        for (const Field &each : table) {
            store(bytes, each);
            bytes += sizeof each;
        }
    }

    /// All at once: the frame grows once.
    template <class... Fields>
    void append(const Fields &...all) {
        const std::size_t size = m_Frame.size();
        m_Frame.resize(size + (sizeof all + ...));
        unsigned char *at = m_Frame.data() + size;
        ((store(at, all), at += sizeof all), ...);
    }

    std::vector<unsigned char> &m_Frame;
    const Kind m_Kind;
    const int m_nRevision;
};

/// Fills a record's fields from data, and stops where the data end: a number that isn't there whole
/// keeps its value, and so does what is missing of a text.
class Reader {
  public:
    /// `copying` takes any index: the application may have set one that no reply brings.
    Reader(Data data, int revision, bool copying = false)
        : m_pNext(data.first), m_nLeft(data.size), m_bAccepted(data.size > 0),
          m_nRevision(revision), m_bCopying(copying) {}

    /// Whether there was anything for this record.
    bool accepted() const { return m_bAccepted; }

    int revision() const { return m_nRevision; }
    void direction() {}
    void inPlaceOfDirection(unsigned char /*byte*/) {}
    void index(unsigned char &field) { number(field); }
    void index(unsigned char &field, unsigned char end) { answered(field, end); }
    void answered(unsigned char &field, unsigned char end) {
        if (!m_bCopying && m_nLeft > 0 && *m_pNext >= end) {
            m_bAccepted = false;
            m_nLeft = 0;
        }
        number(field);
    }

    template <class... Fields>
    void fields(Fields &...all) {
        (number(all), ...);
    }
    template <class... Numbers>
    void lowByte(Numbers &...numbers) {
        (carried<unsigned char>(numbers), ...);
    }
    template <class... Numbers>
    void lowWord(Numbers &...numbers) {
        (carried<unsigned short int>(numbers), ...);
    }
    void told(unsigned char &field) { number(field); }
    void counter(unsigned int &field) {
        number(field);
        field &= COUNTER_MASK;
    }
    template <std::size_t rows, std::size_t size>
    void widened(unsigned char (&table)[rows][size]) {
        number(table);
    }
    void text(char *chars, std::size_t size) {
        const std::size_t count = std::min(size, m_nLeft);
        std::copy_n(m_pNext, count, chars);
        reserved(count);
    }
    void reserved(std::size_t count) {
        const std::size_t passed = std::min(count, m_nLeft);
        m_pNext += passed;
        m_nLeft -= passed;
    }
    void trailer(std::size_t /*count*/) {}

  private:
    template <class Field, std::size_t size>
    void number(Field (&table)[size]) {
        for (Field &each : table) {
            number(each);
        }
    }

    /// Takes a number that is narrower on the wire.
    template <class Wire, class Number>
    void carried(Number &field) {
        auto wire = static_cast<Wire>(field);
        if (m_nLeft >= sizeof wire) {
            number(wire);
            field = wire;
        } else {
            m_nLeft = 0;
        }
    }

    template <class Number>
    void number(Number &field) {
        if (m_nLeft < sizeof field) {
            m_nLeft = 0;
            return;
        }
        std::make_unsigned_t<Number> bits = 0;
        for (std::size_t i = 0; i < sizeof field; ++i) {
            bits = static_cast<decltype(bits)>(bits << CHAR_BIT | m_pNext[i]);
        }
        field = static_cast<Number>(bits);
        reserved(sizeof field);
    }

    const unsigned char *m_pNext;
    std::size_t m_nLeft;
    bool m_bAccepted;
    const int m_nRevision;
    const bool m_bCopying;
};

} // namespace tkrecord

/// 01, code, length, then the walk, then the sum. The length is the form's: it doesn't always equal
/// the bytes that follow.
template <class Record>
std::vector<unsigned char> TkBinaryInterface::encode(Record &record, int mode) {
    const int formed = revision(); // one for the whole frame: the worker may hear another meanwhile
    setFlag(false, currentFlag());
    setForm(Record::form(formed));
    const tkrecord::Kind kind = tkrecord::kindOf(mode);
    std::vector<unsigned char> frame =
        head(kind == tkrecord::Kind::request ? m_nReadLength : m_nWriteLength);
    tkrecord::Writer writer(frame, kind, formed);
    record.walk(writer);
    frame.push_back(calculateCheckSum(&frame));
    return frame;
}

template <class Record>
bool TkBinaryInterface::decode(Record &record, const std::vector<unsigned char> *frame) {
    if (frame == nullptr) {
        return false;
    }
    tkrecord::Reader reader(tkrecord::dataOf(*frame), revision());
    record.walk(reader);
    if (reader.accepted()) {
        setFlag(true, record.instance());
        turnTo(record.instance());
    }
    return true;
}

/// By way of the newest form, which carries every field.
template <class Record>
void TkBinaryInterface::copy(Record &record, const Record &other) {
    if (&record == &other) {
        return;
    }
    std::vector<unsigned char> data;
    data.reserve(tkrecord::USUAL_SIZE);
    tkrecord::Writer writer(data, tkrecord::Kind::reply, INT_MAX);
    const_cast<Record &>(other).walk(writer); // a writer changes nothing
    tkrecord::Reader reader({data.data(), data.size()}, INT_MAX, true);
    record.walk(reader);
    copyState(other);
}

// --- The operations that TKGEN_RECORD and TKGEN_COPIED_RECORD declare ---------------------------
// NOLINTBEGIN(bugprone-macro-parentheses): names of classes take none

/// The construction of a record with one form, and one instance at a time.
#define TKGEN_RECORD_FORM(Class, Command, ReadLength, WriteLength)                                 \
    TkBinaryInterface::Form Class::form(int /*revision*/) {                                        \
        return {Command, ReadLength, WriteLength};                                                 \
    }                                                                                              \
    Class::Class() : TkBinaryInterface(1) {                                                        \
        setForm(form(0));                                                                          \
    }                                                                                              \
    static_assert(true, "takes the semicolon behind the macro")

/// Those that follow the walk in every record.
#define TKGEN_RECORD_RECEPTION(Class)                                                              \
    bool Class::receiveMsg(std::vector<unsigned char> *frame) {                                    \
        return decode(*this, frame);                                                               \
    }                                                                                              \
    bool Class::isValid() {                                                                        \
        return isFlagSet(currentFlag());                                                           \
    }                                                                                              \
    void Class::clearValid() {                                                                     \
        clearFlags();                                                                              \
    }                                                                                              \
    static_assert(true, "takes the semicolon behind the macro")

/// Those of a record whose frames follow it too.
#define TKGEN_RECORD_OPERATIONS(Class)                                                             \
    std::vector<unsigned char> Class::generateCommand(int requested) {                             \
        return encode(*this, requested);                                                           \
    }                                                                                              \
    TKGEN_RECORD_RECEPTION(Class)

#define TKGEN_RECORD_COPY(Class)                                                                   \
    Class::Class(const Class &other) : Class() {                                                   \
        copy(*this, other);                                                                        \
    }                                                                                              \
    Class &Class::operator=(const Class &other) {                                                  \
        copy(*this, other);                                                                        \
        return *this;                                                                              \
    }                                                                                              \
    static_assert(true, "takes the semicolon behind the macro")

// NOLINTEND(bugprone-macro-parentheses)

#endif
