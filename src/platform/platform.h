#ifndef TKGEN_PLATFORM_H
#define TKGEN_PLATFORM_H

#include "tkplatform.h"

#include <cstddef>
#include <memory>

/// What the library needs of a system, in the library's own terms. One backend stands behind it:
/// posix/ or win32/. Nothing outside src/platform/ calls the system directly.
namespace tkplatform {

// --- Time ---------------------------------------------------------------------------------------

/// A monotonic tick in milliseconds. It may wrap; differences are taken in unsigned arithmetic.
/// From any thread, never blocks.
unsigned long tick();

/// Sleeps at least `milliseconds` of real time; 0 or less returns at once.
void sleep(long milliseconds);

/// Puts another clock under tick(), for tests of long waits; null restores the system's. Sleeping
/// stays real. Not exported from the library.
void setTickSource(unsigned long (*source)());

/// Whether a test's clock stands under tick(), so that waits on real time have to look at it often.
bool tickIsReplaced();

// --- Serial device ------------------------------------------------------------------------------

enum class SerialAccess { read, write, both };
enum class SerialParity { none, even, odd, mark, space };
enum class ModemLine { dtr, rts, cts, ring, dsr };

struct SerialSettings {
    int baudRate = 19200; ///< one of the rates that TkSerial accepts
    SerialParity parity = SerialParity::none;
    unsigned char dataBits = 8; ///< 5 to 8; anything else is refused by the device
    unsigned char stopBits = 1; ///< 1 or 2
    bool ctsFlowControl = false;
};

/// An open serial line. Raw and transparent to all 256 values: no echo, no translation, no
/// software flow control, break and parity errors not reported. One thread at a time.
///
/// A device that vanishes (adapter pulled, far end of a pseudo terminal closed) makes every
/// operation fail from then on; nothing hangs and no signal is raised.
class SerialDevice {
  public:
    /// Opens the device that `name` stands for: one of the ten COM names, or a path. The open is
    /// exclusive, against privileged users of this library too. Null when there is no such serial
    /// device, it is taken, or access is denied. Doesn't wait for a carrier.
    static std::unique_ptr<SerialDevice> open(const char *name, SerialAccess access);

    /// Closes the line; bytes that are still queued for sending are dropped, so that it never
    /// waits.
    virtual ~SerialDevice() = default;

    /// Prepares a line that was just opened: raw mode, the given settings, DTR and RTS off where
    /// the device has them. False when the device refuses.
    virtual bool initialize(const SerialSettings &settings) = 0;

    /// Changes the line's settings and nothing else. False, with the line as it was, when the
    /// device refuses.
    virtual bool apply(const SerialSettings &settings) = 0;

    /// Reads what has arrived, at most `size` bytes. Returns their number, 0 at once when nothing
    /// has come, -1 on failure.
    virtual int read(char *bytes, std::size_t size) = 0;

    /// Sends all `size` bytes and returns when they have left for the line: `size`, or -1 on
    /// failure. It waits while the line makes progress; a line that takes nothing for 750 ms has
    /// failed, and what is still queued is dropped, so that no stale frame goes out later.
    virtual int write(const char *bytes, std::size_t size) = 0;

    /// Waits until nothing is queued for sending. False when the device failed, or stood still for
    /// 750 ms.
    virtual bool drain() = 0;

    /// How many bytes wait in the system's queue; -1 on failure.
    virtual int receiveQueue() = 0;
    virtual int transmitQueue() = 0;

    /// Sets or clears DTR or RTS. False for the three inputs and on failure.
    virtual bool setLine(ModemLine line, bool on) = 0;

    /// Reads CTS, RING or DSR: 1 on, 0 off, -1 on failure and for the two outputs.
    virtual int readLine(ModemLine line) = 0;
};

// --- Messages and debug output ------------------------------------------------------------------

/// Posts a message to a window. Never blocks and never fails the caller: a closed window or a full
/// queue drops it. From any thread.
void postMessage(HWND window, unsigned int message, unsigned long wParam, long lParam);

/// Hands a line to the debug sink of tkSetDebugSink. From any thread.
void debugOutput(const char *text);

} // namespace tkplatform

#endif
