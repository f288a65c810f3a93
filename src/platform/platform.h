#ifndef TKGEN_PLATFORM_H
#define TKGEN_PLATFORM_H

#include "tkplatform.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

/// What the library needs of a system, in the library's own terms. A backend stands behind it,
/// posix/ or win32/, and beside that what is the same on every system. Nothing outside
/// src/platform/ calls the system directly.
namespace tkplatform {

// --- Time ---------------------------------------------------------------------------------------

/// A monotonic tick in milliseconds. It may wrap; differences are taken in unsigned arithmetic.
/// From any thread, never blocks.
unsigned long tick();

/// The system's own tick, which tick() gives unless another is put under it.
unsigned long systemTick();

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
/// software flow control, break and parity errors not reported. One thread at a time. Only write
/// and drain wait for the line; the rest takes no longer than the device needs to answer.
///
/// The line stands still when nothing has moved for 750 ms, or for the time of 256 characters at
/// its rate where that is longer: hardware takes the queue a buffer at a time, and shows no
/// progress while it sends one. What the hardware has taken counts as sent.
///
/// A device that vanishes (adapter pulled, far end of a pseudo terminal closed) makes every
/// operation fail from then on; nothing hangs and no signal is raised.
class SerialDevice {
  public:
    /// Opens the device that `name` stands for: one of the ten COM names, or a path. Null when
    /// there is no such serial device, it is taken, access is denied, or for want of memory; it
    /// doesn't throw. Waits for no carrier, but may wait for another program that is just closing
    /// the device.
    ///
    /// Two users of this library never have a device at once, privileged or not. Other programs are
    /// kept out by the system's exclusive mark, which a privileged one can ignore; a device that
    /// another program has marked is taken. (A pseudo terminal's mark outlives an owner that was
    /// killed, and doesn't keep privileged users out.)
    static std::unique_ptr<SerialDevice> open(const char *name, SerialAccess access);

    /// Closes the line; bytes that are still queued for sending are dropped, so that it waits at
    /// most for what the hardware has taken. In a process that was forked after the open it leaves
    /// the line to the one that opened it.
    virtual ~SerialDevice() = default;

    /// Prepares a line that was just opened: raw, the given settings, DTR and RTS off where the
    /// device has them. Doesn't wait for what is queued. False when the device refuses the
    /// settings, which leaves the line as it was, or when DTR and RTS can't be switched.
    virtual bool initialize(const SerialSettings &settings) = 0;

    /// Changes the settings of the line, which becomes raw if it isn't yet. Doesn't wait for what
    /// is queued, which goes out at the new settings. False when the device refuses, which leaves
    /// the line as it was; on a device that has failed nothing is known of the line.
    virtual bool apply(const SerialSettings &settings) = 0;

    /// Reads what has arrived, at most `size` bytes. Returns their number, 0 at once when nothing
    /// has come, -1 on failure.
    virtual int read(char *bytes, std::size_t size) = 0;

    /// Sends all `size` bytes and returns when the hardware has taken them: `size`, or -1 on
    /// failure. It waits for as long as the line makes progress; one that stands still has failed,
    /// and what is still queued is dropped, so that no stale frame goes out later.
    virtual int write(const char *bytes, std::size_t size) = 0;

    /// Waits until nothing is queued for sending. False when the device failed or stood still.
    virtual bool drain() = 0;

    /// How many bytes wait in the system's queue; -1 on failure.
    virtual int receiveQueue() = 0;
    virtual int transmitQueue() = 0;

    /// Sets or clears DTR or RTS. False for the three inputs and on failure.
    virtual bool setLine(ModemLine line, bool on) = 0;

    /// Reads CTS, RING or DSR: 1 on, 0 off, -1 on failure and for the two outputs.
    virtual int readLine(ModemLine line) = 0;
};

// --- Files --------------------------------------------------------------------------------------

struct FileFacts {
    std::uint64_t size = 0;    ///< bytes
    std::int64_t modified = 0; ///< seconds since 1970
};

/// The facts of a regular file, also through a link. False when there is none at `path`.
bool fileFacts(const char *path, FileFacts *facts);

/// Opens a regular file for reading. Null on failure, and for anything else. Never waits for
/// another program.
std::FILE *openFile(const char *path);

/// Sets the position from which a file is read. False on failure.
bool seekTo(std::FILE *file, std::uint64_t position);

/// Creates a regular file for writing, or empties the one that is there, at `place` followed by
/// `name`. Null on failure, and when the file's place is taken by anything else: a directory, a
/// device, a pipe, a link. The way down `name` follows no link and no ".."; `place` may have both.
/// Never waits for another program.
std::FILE *createFile(const std::string &place, const std::string &name);

// --- Messages and debug output ------------------------------------------------------------------

/// Posts a message to a window. Never blocks and never fails the caller: a closed window or a full
/// queue drops it. From any thread.
void postMessage(HWND window, unsigned int message, unsigned long wParam, long lParam);

/// Hands a line to the debug sink of tkSetDebugSink, and waits while it runs. From any thread.
void debugOutput(const char *text);

} // namespace tkplatform

#endif
