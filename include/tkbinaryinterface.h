#ifndef TKBINARYINTERFACE_H
#define TKBINARYINTERFACE_H

#include "tkexport.h"
#include "tkproperty.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

/// What all records have in common. A record is a piece of the generator's configuration that
/// travels whole, in one binary frame: an image receptor, an AEC channel, a tube.
///
/// The application makes a record, sets the field that selects an instance, if it has one, and
/// hands it to TkGeneratorControl::transmitBinaryMsg to be read or written. It sees the fields as
/// properties, with the generator's own numbers in them unless the record says otherwise.
///
/// A record has no lock. From transmitBinaryMsg until the answer has come it belongs to the engine:
/// it must not be touched nor destroyed, and isValid alone may be called, from any thread.
///
/// Fields with a sign are `char`. For processors on which that has none, as ARM, build the library
/// and the application with a `char` that has (-fsigned-char).
class TKGEN_EXPORT TkBinaryInterface {
  public:
    TkBinaryInterface(const TkBinaryInterface &) = delete;
    TkBinaryInterface &operator=(const TkBinaryInterface &) = delete;

  protected:
    /// The whole frame, checksum included, that reads the record (mode 998) or writes it (any other
    /// mode, as a rule 999). The record isn't valid any more, unless it tells otherwise.
    virtual std::vector<unsigned char> generateCommand(int mode) = 0;

    /// Fills the record from a whole frame of the generator's and makes it valid. What is missing
    /// at the frame's end stays as it is. A frame without data, or for an instance that doesn't
    /// exist, changes nothing. True for every frame, false without one.
    virtual bool receiveMsg(std::vector<unsigned char> *frame) = 0;

  public:
    /// Whether the record holds what the generator sent last. A request, a write and an assignment
    /// end that, unless it is told otherwise beside the record.
    virtual bool isValid() = 0;

    /// Makes the record not valid, for all its instances. Its fields stay.
    virtual void clearValid() = 0;

    virtual ~TkBinaryInterface() = default;

    /// The frame's command code. 0 before the first frame of a record whose form depends on the
    /// generator's revision.
    int getCommand() const { return m_nCommand; }

  protected:
    friend class TkGeneratorControl; // reads and writes records
    friend class TkRecordTraffic;

    /// Code and length fields of a record's frames, as they go on the wire.
    struct Form {
        unsigned char command;
        int readLength;
        int writeLength;
    };

    /// A record with as many validity flags, all cleared.
    explicit TkBinaryInterface(std::size_t flags);

    /// The sum, modulo 256, of all bytes.
    unsigned char calculateCheckSum(const std::vector<unsigned char> *bytes) const;

    /// The revision that decides a record's form: that of the last generator that told one, or 0.
    static int revision();

    void setForm(const Form &form);

    // A flag that there isn't reads as cleared, and can't be set.
    bool isFlagSet(std::size_t flag) const;
    void setFlag(bool valid, std::size_t flag);
    void clearFlags();

    /// The flag that stands for the instance that the fields tell of. A record with several flags
    /// hides this.
    std::size_t instance() const { return 0; }

    /// The flag that isValid tells. It follows the instance: at once when the application turns to
    /// another, and once all fields are in when a reply does, so that none is shown too early.
    std::size_t currentFlag() const { return m_nCurrent; }
    void turnTo(std::size_t flag) { m_nCurrent = flag; }

    /// The characters of a text in front of its end, and at most `most`.
    static std::size_t lengthOf(const char *text, std::size_t most);

    /// The start of a frame, with room for the rest: 01, code, length.
    std::vector<unsigned char> head(int length) const;

    /// What a record gives in place of a form that it hasn't: a sum of nothing.
    std::vector<unsigned char> encodeNothing();

    // What the operations of every record do, by the one list of its fields, walk().
    template <class Record>
    std::vector<unsigned char> encode(Record &record, int mode);
    template <class Record>
    bool decode(Record &record, const std::vector<unsigned char> *frame);
    template <class Record>
    void copy(Record &record, const Record &other);

    /// Code, lengths and validity of another record of the same class.
    void copyState(const TkBinaryInterface &other);

  private:
    const std::size_t m_nFlags;
    // Read by threads that wait for a reply.
    const std::unique_ptr<std::atomic<bool>[]> m_pValidity;
    std::atomic<std::size_t> m_nCurrent{0};

    unsigned char m_nCommand = 0;
    int m_nReadLength = 0;
    int m_nWriteLength = 0;
};

// --- How a record is declared -------------------------------------------------------------------
// A field is one line here, and its place on the wire one word in the record's walk().
// NOLINTBEGIN(bugprone-macro-parentheses): names of types and members take none

/// The operations of a record, and its fields in wire order.
#define TKGEN_RECORD(Class)                                                                        \
  public:                                                                                          \
    Class();                                                                                       \
    bool isValid() override;                                                                       \
    void clearValid() override;                                                                    \
                                                                                                   \
  protected:                                                                                       \
    std::vector<unsigned char> generateCommand(int mode) override;                                 \
    bool receiveMsg(std::vector<unsigned char> *frame) override;                                   \
                                                                                                   \
  private:                                                                                         \
    friend class TkBinaryInterface;                                                                \
    using Record = Class;                                                                          \
    static Form form(int revision);                                                                \
    template <class Walk>                                                                          \
    void walk(Walk &walk)

/// A record that is copied by value: a copy has its own fields, properties and validity.
#define TKGEN_COPIED_RECORD(Class)                                                                 \
  public:                                                                                          \
    Class(const Class &other);                                                                     \
    Class &operator=(const Class &other);                                                          \
    TKGEN_RECORD(Class)

/// A field that is shown by an expression of its value `m_Name`.
#define TKGEN_SHOWN_FIELD(Type, Name, Shown)                                                       \
  private:                                                                                         \
    Type m_##Name{};                                                                               \
    Type _rp_##Name(Type) {                                                                        \
        return static_cast<Type>(Shown);                                                           \
    }                                                                                              \
                                                                                                   \
  public:                                                                                          \
    static_assert(true, "takes the semicolon behind the macro")

/// A field that the application reads.
#define TKGEN_READ_ONLY(Type, Name) TKGEN_SHOWN_READ_ONLY(Type, Name, m_##Name)

/// The same, shown by an expression.
#define TKGEN_SHOWN_READ_ONLY(Type, Name, Shown)                                                   \
    TKGEN_SHOWN_FIELD(Type, Name, Shown);                                                          \
    TkReadOnly<Record, Type, Type> Name {                                                          \
        this, &m_##Name, &Record::_rp_##Name                                                       \
    }

/// A field that the application reads and writes. An assignment makes the record not valid.
#define TKGEN_PROPERTY(Type, Name)                                                                 \
    TKGEN_CONVERTED_PROPERTY(Type, Name, m_##Name, (setFlag(false, 0), value))

/// The same, but an assignment leaves the record's validity as it is.
#define TKGEN_QUIET_PROPERTY(Type, Name) TKGEN_CONVERTED_PROPERTY(Type, Name, m_##Name, value)

/// A field that is shown by an expression of `m_Name`, and set to one of `value`.
#define TKGEN_CONVERTED_PROPERTY(Type, Name, Shown, Stored)                                        \
    TKGEN_SHOWN_FIELD(Type, Name, Shown);                                                          \
                                                                                                   \
  private:                                                                                         \
    Type _wp_##Name(Type value) {                                                                  \
        return m_##Name = static_cast<Type>(Stored);                                               \
    }                                                                                              \
                                                                                                   \
  public:                                                                                          \
    TkProperty<Record, Type, Type> Name {                                                          \
        this, &m_##Name, &Record::_rp_##Name, &Record::_wp_##Name                                  \
    }

/// Size numbers, shown as a pointer to the record's own.
#define TKGEN_SHOWN_ARRAY(Type, Name, Size)                                                        \
  private:                                                                                         \
    Type m_a##Name[Size] = {};                                                                     \
    Type *m_p##Name = m_a##Name;                                                                   \
    Type *_rp_##Name(Type *) {                                                                     \
        return m_p##Name;                                                                          \
    }                                                                                              \
                                                                                                   \
  public:                                                                                          \
    static_assert(true, "takes the semicolon behind the macro")

/// A text of at most Size characters that the application reads; always terminated.
#define TKGEN_READ_ONLY_TEXT(Name, Size)                                                           \
    TKGEN_SHOWN_ARRAY(char, Name, (Size) + 1);                                                     \
    TkReadOnly<Record, char *, char *> Name {                                                      \
        this, &m_p##Name, &Record::_rp_##Name                                                      \
    }

/// A table of Size numbers: the application reads and writes them through the pointer. To assign
/// a pointer copies Size numbers from there, and nothing if it is null. The record's validity stays
/// as it is.
#define TKGEN_ARRAY_PROPERTY(Type, Name, Size)                                                     \
    TKGEN_SHOWN_ARRAY(Type, Name, Size);                                                           \
    TKGEN_ARRAY_ASSIGNMENT(Type, Name, Size)

/// A text of Size characters. To assign one copies it up to its end, and leaves the characters
/// behind as they are; all is shown, and sent, up to Size.
#define TKGEN_TEXT_PROPERTY(Name, Size)                                                            \
    TKGEN_SHOWN_ARRAY(char, Name, (Size) + 1);                                                     \
    TKGEN_ARRAY_ASSIGNMENT(char, Name, lengthOf(value, Size))

#define TKGEN_ARRAY_ASSIGNMENT(Type, Name, Count)                                                  \
  private:                                                                                         \
    Type *_wp_##Name(Type *value) {                                                                \
        if (value != nullptr) {                                                                    \
            std::memmove(m_p##Name, value, (Count) * sizeof(Type));                                \
        }                                                                                          \
        return m_p##Name;                                                                          \
    }                                                                                              \
                                                                                                   \
  public:                                                                                          \
    TkProperty<Record, Type *, Type *> Name {                                                      \
        this, &m_p##Name, &Record::_rp_##Name, &Record::_wp_##Name                                 \
    }

/// A table of rows, behind `getName(row, index)` and `setName(row, index, value)`, which never
/// leave it.
#define TKGEN_CURVES(Type, Name, Rows, Size) TKGEN_ROWS(Type, Name, Rows, Size, unsigned char, row)

/// The same with two rows: row 0 is the first, and every other number the second.
#define TKGEN_LIMITS(Type, Name, Size) TKGEN_ROWS(Type, Name, 2, Size, int, row == 0 ? 0 : 1)

#define TKGEN_ROWS(Type, Name, Rows, Size, RowType, Row)                                           \
  private:                                                                                         \
    Type m_a##Name[Rows][Size] = {};                                                               \
                                                                                                   \
  public:                                                                                          \
    Type get##Name(RowType row, unsigned char index) const {                                       \
        return (Row) < (Rows) && index < (Size) ? m_a##Name[Row][index] : static_cast<Type>(0);    \
    }                                                                                              \
    void set##Name(RowType row, unsigned char index, Type value) {                                 \
        if ((Row) < (Rows) && index < (Size)) {                                                    \
            m_a##Name[Row][index] = value;                                                         \
        }                                                                                          \
    }                                                                                              \
    static_assert(true, "takes the semicolon behind the macro")

// NOLINTEND(bugprone-macro-parentheses)

#endif
