#ifndef TKSERIAL_H
#define TKSERIAL_H

#include "tkcomms.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>

namespace tkplatform {
class SerialDevice;
struct SerialSettings;
} // namespace tkplatform

/// A serial port as a link: raw, transparent to all 256 byte values, without software flow
/// control. It starts with 19200 baud, 8 data bits, no parity, 1 stop bit, no flow control, DTR
/// and RTS off.
///
/// The port is open from the end of the constructor, if it could be opened, until destruction; it
/// can't be opened again. What is still queued for sending at destruction is dropped. A process
/// forked meanwhile has no part in the port: destroying its copy there leaves the port as it is.
///
/// The open is exclusive. Among users of this library, in this program or another, privileged or
/// not, a port has one at a time. Other programs are kept out by the system's exclusive mark, which
/// only a privileged one can ignore; a port that another program has marked doesn't open here. (The
/// mark on a pseudo terminal, which an owner that was killed leaves behind, doesn't stop a
/// privileged user.)
///
/// On a port that never opened, or whose adapter was pulled, whatever needs the line gives its
/// failure result; nothing hangs and no signal is raised.
///
/// One thread at a time may use a port: nothing is locked. Only isOpen() and timeoutPeriod() may
/// be called from any thread. No operation but write_ch, write_str and finishTransmitting waits for
/// the line. The constructor may wait while another program is closing the port.
class TKGEN_EXPORT TkSerial : public TkComms {
  public:
    enum COM_PORTS : int { COM1, COM2, COM3, COM4, COM5, COM6, COM7, COM8, COM9, COM10 };

    enum MODE_FLAGS : int { MODE_READ, MODE_WRITE, MODE_READ_WRITE };

    enum PARITY_FLAGS : int { NO_PARITY, EVEN_PARITY, ODD_PARITY, MARK_PARITY, SPACE_PARITY };

    /// The modem lines. DTR and RTS are outputs, the others inputs.
    enum SERIAL_FLAGS : int { FLAG_DTR, FLAG_RTS, FLAG_CTS, FLAG_RING, FLAG_DSR };

    /// Opens and initializes `device`: one of the names of getCommName, or a path where the system
    /// has paths for its ports. A `mode` other than read or write opens for both. Ask isOpen() for
    /// the outcome. A null name opens nothing. Doesn't throw: for want of memory the port stays
    /// closed.
    TkSerial(const char *device, MODE_FLAGS mode);
    ~TkSerial() override;

    TkSerial(const TkSerial &) = delete;
    TkSerial &operator=(const TkSerial &) = delete;

    /// "COM1" to "COM10" for COM1 to COM10 (0 to 9), null for anything else. From any thread.
    static const char *getCommName(COM_PORTS port);

    /// The same names, numbered from one: 1 to 10. Null for anything else. From any thread.
    static const char *getCommName(int number);

    /// The name given to the constructor, empty for a null one and when there was no memory for it.
    /// It lives as long as the object.
    const char *getDevice() const;

    /// Whether the port could be opened. It stays true for a port that refused its first settings,
    /// and for one that has vanished since: those show by their failure results.
    bool isOpen() override;

    /// Reads one byte: 1 with the byte stored; 0 at once, the byte untouched, when nothing has
    /// come, in either blocking mode; -1 on failure and for a null pointer. Bytes that had been
    /// fetched from the port before it failed are delivered first.
    int read_ch(char *byte) override;

    /// Writes one byte and returns when the port's hardware has taken it: 1, or -1 on failure.
    /// Blocks for as long as the line makes progress. A line that takes nothing for 750 ms, or for
    /// the time of 256 characters at its rate where that is longer (at 2400 baud and less; 28 s at
    /// most, at 110), has failed, and what it had queued is dropped.
    int write_ch(char byte) override;

    /// Writes `length` bytes as write_ch does one, handing the whole block to the port at once
    /// rather than byte by byte. Returns `length`, or -1 when not all of them went out; 0 when
    /// there is nothing to write (null pointer or length 0).
    int write_str(char *bytes, unsigned int length) override;

    /// Stores the mode and returns true. It has no effect: a read never waits, and a write has
    /// always finished when it returns.
    bool enableBlocking(bool enable) override;

    /// 750 milliseconds.
    unsigned long timeoutPeriod() override;

    /// The line's settings, as last accepted by the port; until then those that it is to start
    /// with. Bits per second; data bits 5 to 8; stop bits 1 or 2.
    int getBaudRate() const;
    PARITY_FLAGS getParity() const;
    unsigned char getCharSize() const;
    unsigned char getStopBits() const;
    bool getFlowControl() const;

    /// Change one setting of the open port, at once: what is still queued goes out with the new
    /// one. False, and the setting as it was, for a value that isn't allowed, when the port refuses
    /// and when it isn't open. The port gets all settings together: one that refused those to start
    /// with goes on refusing until the offending one is changed.
    ///
    /// Baud rate: 110, 300, 600, 1200, 2400, 4800, 9600, 19200, 38400, 57600 or 115200.
    bool setBaudRate(int rate);
    /// Few ports have mark and space.
    bool setParity(PARITY_FLAGS parity);
    /// 1 or 2.
    bool setStopBits(unsigned char bits);
    /// 5 to 8, of which not every port has all.
    bool setCharSize(unsigned char bits);
    /// Lets CTS hold back the output. Where the system couples the directions, as POSIX systems
    /// do, a port that can drives RTS by itself meanwhile.
    bool setFlowControl(bool enable);

    /// Stores the flag and returns true. It changes nothing on the line, which never uses XON/XOFF.
    bool setXONXOFF(bool enable);

    /// Switch DTR or RTS on (set) or off (clr). False for the three inputs, for a port without such
    /// lines and on failure.
    bool setFlag(SERIAL_FLAGS line);
    bool clrFlag(SERIAL_FLAGS line);

    /// Reads CTS, RING or DSR: 1 on, 0 off; -1 for DTR and RTS, which can't be read back, for a
    /// port without such lines and on failure.
    int getFlag(SERIAL_FLAGS line);

    /// Whether nothing waits to be sent, or to be read. What the hardware has taken counts as sent.
    /// False too when the port can't tell.
    bool isTransmitBufferEmpty();
    bool isReceiveBufferEmpty();

    /// Blocks until nothing waits to be sent, the port has failed, or the line has taken nothing
    /// for as long as told at write_ch.
    void finishTransmitting();

  protected:
    /// The steps of the lifecycle, called by constructor and destructor. open() gives up a port
    /// that is still open. initialize() applies the stored settings and switches DTR and RTS off;
    /// when the port refuses, the result is false and the port stays open. close() does nothing
    /// to a port that isn't open.
    bool open(const char *device);
    bool initialize();
    void close();

  private:
    tkplatform::SerialSettings settings() const;
    int send(const char *bytes, unsigned int length);
    template <class Field>
    bool change(Field &field, Field value);

    std::string m_Name;
    const MODE_FLAGS m_Mode;
    int m_nBaudRate = 19200;
    PARITY_FLAGS m_Parity = NO_PARITY;
    unsigned char m_nCharSize = 8;
    unsigned char m_nStopBits = 1;
    bool m_bFlowControl = false;
    bool m_bXonXoff = false;  // stored, and never read
    bool m_bBlocking = false; // the same
    std::unique_ptr<tkplatform::SerialDevice> m_pDevice;

    // One read fetches what has come; read_ch serves from here, so that polling it byte by byte
    // costs one system call a burst.
    std::array<char, 4096> m_Received;
    std::size_t m_nReceivedCount = 0;
    std::size_t m_nReceivedNext = 0;
};

#endif
