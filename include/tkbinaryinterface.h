#ifndef TKBINARYINTERFACE_H
#define TKBINARYINTERFACE_H

#include "tkexport.h"
#include "tkproperty.h"

#include <atomic>
#include <cstddef>
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
class TKGEN_EXPORT TkBinaryInterface {
  public:
    TkBinaryInterface(const TkBinaryInterface &) = delete;
    TkBinaryInterface &operator=(const TkBinaryInterface &) = delete;

  protected:
    /// The whole frame, checksum included, that reads the record (mode 998) or writes it (any other
    /// mode, as a rule 999). The record isn't valid any more.
    virtual std::vector<unsigned char> generateCommand(int mode) = 0;

    /// Fills the record from a whole frame of the generator's and makes it valid. What is missing
    /// at the frame's end stays as it is. A frame without data, or for an instance that doesn't
    /// exist, changes nothing. True for every frame, false without one.
    virtual bool receiveMsg(std::vector<unsigned char> *frame) = 0;

  public:
    /// Whether the record holds what the generator sent last, and nothing has changed it since.
    virtual bool isValid() = 0;

    /// Makes the record not valid, for all its instances. Its fields stay.
    virtual void clearValid() = 0;

    virtual ~TkBinaryInterface() = default;

    /// The frame's command code. 0 before the first frame of a record whose code depends on the
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

    bool isFlagSet(std::size_t flag = 0) const;
    void setFlag(bool valid, std::size_t flag = 0);
    void clearFlags();

    /// The flag that stands for the instance in use. A record with several hides this.
    std::size_t currentFlag() const { return 0; }

    // What the operations of every record do, by the one list of its fields, walk().
    template <class Record>
    std::vector<unsigned char> encode(Record &record, int mode);
    template <class Record>
    bool decode(Record &record, const std::vector<unsigned char> *frame);
    template <class Record>
    void copy(Record &record, const Record &other);

  private:
    void copyState(const TkBinaryInterface &other);

    const std::size_t m_nFlags;
    const std::unique_ptr<std::atomic<bool>[]> m_pValidity; // read by threads that wait for a reply
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

/// A field that the application reads.
#define TKGEN_READ_ONLY(Type, Name)                                                                \
  private:                                                                                         \
    Type m_##Name{};                                                                               \
    Type _rp_##Name(Type) {                                                                        \
        return m_##Name;                                                                           \
    }                                                                                              \
                                                                                                   \
  public:                                                                                          \
    TkReadOnly<Record, Type, Type> Name {                                                          \
        this, &m_##Name, &Record::_rp_##Name                                                       \
    }

/// A text of at most Size characters that the application reads; always terminated.
#define TKGEN_READ_ONLY_TEXT(Name, Size)                                                           \
  private:                                                                                         \
    char m_a##Name[(Size) + 1] = {};                                                               \
    char *m_p##Name = m_a##Name;                                                                   \
    char *_rp_##Name(char *) {                                                                     \
        return m_p##Name;                                                                          \
    }                                                                                              \
                                                                                                   \
  public:                                                                                          \
    TkReadOnly<Record, char *, char *> Name {                                                      \
        this, &m_p##Name, &Record::_rp_##Name                                                      \
    }

/// A field that the application reads and writes. An assignment makes the record not valid.
#define TKGEN_PROPERTY(Type, Name)                                                                 \
  private:                                                                                         \
    Type m_##Name{};                                                                               \
    Type _rp_##Name(Type) {                                                                        \
        return m_##Name;                                                                           \
    }                                                                                              \
    Type _wp_##Name(Type value) {                                                                  \
        setFlag(false);                                                                            \
        return m_##Name = value;                                                                   \
    }                                                                                              \
                                                                                                   \
  public:                                                                                          \
    TkProperty<Record, Type, Type> Name {                                                          \
        this, &m_##Name, &Record::_rp_##Name, &Record::_wp_##Name                                  \
    }

// NOLINTEND(bugprone-macro-parentheses)

#endif
