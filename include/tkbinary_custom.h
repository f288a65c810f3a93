#ifndef TKBINARY_CUSTOM_H
#define TKBINARY_CUSTOM_H

#include "tkbinaryinterface.h"

#include <deque>
#include <variant>

/// A record that the application describes itself, for those that the library has no class for: a
/// command code, and variables in the order of the wire.
///
///     TkBinary_Custom shutter;
///     shutter.setCommand(0x61);
///     shutter.addVariable(static_cast<unsigned char>(2), true, true);
///     shutter.addVariable(static_cast<short int>(-40), false, true);
///
/// There is no direction byte. A parameter byte stands in its place if that is switched on: 1 in
/// reads and 0 in writes make of it what most records have. The length field counts the parameter
/// and the variables of the frame.
///
/// There is no validity either: isValid is always true. A reply brings every variable, also those
/// that neither form sends, and no parameter.
///
/// A copy has its own variables. A record has no lock, and belongs to the engine from
/// transmitBinaryMsg until the answer has come, as every record does.
class TKGEN_EXPORT TkBinary_Custom : public TkBinaryInterface {
  public:
    TkBinary_Custom();
    TkBinary_Custom(const TkBinary_Custom &other);
    TkBinary_Custom &operator=(const TkBinary_Custom &other);
    ~TkBinary_Custom() override;

    void setCommand(unsigned char command);

    /// The parameter byte of the read form, and of the write form; 0 unless set.
    void setReadParam(unsigned char param);
    void setWriteParam(unsigned char param);

    /// Whether the frames carry a parameter byte; off unless switched on.
    void enableTransmitReadWriteParam(bool enable);

    // Appends a variable: a number as wide as its type, high byte first. `inRead` and `inWrite`
    // tell which of the two forms send it. A record holds 65534 bytes of variables, as many as a
    // length field can tell beside a parameter; one that
    // goes beyond, or for which there is no memory, isn't added, as count() shows.
    void addVariable(char value, bool inRead, bool inWrite);
    void addVariable(unsigned char value, bool inRead, bool inWrite);
    void addVariable(short int value, bool inRead, bool inWrite);
    void addVariable(unsigned short int value, bool inRead, bool inWrite);
    void addVariable(int value, bool inRead, bool inWrite);
    void addVariable(unsigned int value, bool inRead, bool inWrite);

    /// Appends a text of `size` bytes on the wire: `text` up to its end, or without one its first
    /// `size` characters, then zeros. Null is an empty text. A negative size adds nothing.
    void addVariable(const char *text, int size, bool inRead, bool inWrite);

    /// The number of variables.
    unsigned int count() const;

    /// The type of a variable, from 0: "CHAR", "UNSIGNED CHAR", "SHORT", "UNSIGNED SHORT", "INT",
    /// "UNSIGNED INT" or "STRING". Null outside 0 to count() less one.
    const char *getType(int index) const;

    /// A variable's value: a pointer to a number of its type, or to the `size` bytes of a text and
    /// a zero behind them. The application may write there, but not over that zero. It points to
    /// the same variable until clear(), an assignment to the record, or its end. Null outside 0 to
    /// count() less one.
    void *getValue(int index);

    /// The length fields of the read form and the write form.
    int calculateReadCmdSize() const;
    int calculateWriteCmdSize() const;

    /// Removes all variables. Code and parameters stay.
    void clear();

    // As in TkBinaryInterface, but for the application too.
    std::vector<unsigned char> generateCommand(int mode) override;
    bool receiveMsg(std::vector<unsigned char> *frame) override;

  private:
    bool isValid() override;
    void clearValid() override;

    using Text = std::vector<char>; // with a zero behind its bytes
    using Value =
        std::variant<char, unsigned char, short int, unsigned short int, int, unsigned int, Text>;

    struct Variable {
        Value value;
        bool inRead;
        bool inWrite;
    };

    void add(Value value, bool inRead, bool inWrite);
    int sizeWith(bool Variable::*sent) const;
    bool has(int index) const;

    bool m_bParam = false;
    unsigned char m_nReadParam = 0;
    unsigned char m_nWriteParam = 0;
    std::size_t m_nSize = 0;          // of all variables on the wire
    std::deque<Variable> m_Variables; // stay where they are when another is added
};

#endif
