#ifndef TKGEN_PLATFORM_H
#define TKGEN_PLATFORM_H

#include "tkplatform.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

struct sockaddr;

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

// --- Sockets ------------------------------------------------------------------------------------

/// A socket of the system, by its handle. IPv4 addresses are in network order, ports in the host's.
/// Whether a handle blocks stays as it is and doesn't matter: only connectSocket waits, within its
/// limit. Nothing raises a signal, handles aren't inherited by programs that are started, and
/// packets aren't held back to be joined. From any thread, if the handle stays open meanwhile.
using SocketHandle = unsigned int;
constexpr SocketHandle NO_SOCKET = 0xFFFFFFFFU;

/// By the system's own numbers. NO_SOCKET on failure.
SocketHandle createSocket(int domain, int type, int protocol);

/// False on failure, and when nobody has answered within `limit` ms.
bool connectSocket(SocketHandle socket, std::uint32_t address, unsigned short port, long limit);

/// A port which a server has just left, and whose connections are still being closed, can be taken
/// again. Address 0 is all of them; port 0 lets the system choose.
bool bindSocket(SocketHandle socket, std::uint32_t address, unsigned short port);
bool listenSocket(SocketHandle socket, int backlog);

/// The connection that has waited longest. NO_SOCKET at once when there is none, and on failure;
/// `failed` tells which. A connection that its peer has given up meanwhile, and a want of
/// descriptors that may pass, are no failure.
SocketHandle acceptSocket(SocketHandle socket, bool *failed);

bool closeSocket(SocketHandle socket);

/// Either does what it can at once: the number of bytes; 0 for none; SOCKET_ENDED when the peer has
/// gone, in good order or not; -1 on any other failure.
constexpr int SOCKET_ENDED = -2;
int sendSocket(SocketHandle socket, const char *bytes, std::size_t size);
int receiveSocket(SocketHandle socket, char *bytes, std::size_t size);

/// The number of bytes to read, 0 on failure.
std::size_t pendingBytes(SocketHandle socket);

/// The number of bytes that the peer hasn't taken yet of those that were sent, 0 on failure.
std::size_t untakenBytes(SocketHandle socket);

/// Whether a read, or an accept, would give something at once, if only an end; whether a send
/// would. They wait up to `limit` ms for it. False on failure.
bool isReadable(SocketHandle socket, long limit);
bool isWritable(SocketHandle socket, long limit);

std::uint32_t peerAddress(SocketHandle socket);     ///< 0 on failure
std::uint32_t ownAddress(SocketHandle socket);      ///< 0 on failure
unsigned short ownPort(SocketHandle socket);        ///< 0 on failure
void peerName(SocketHandle socket, sockaddr *name); ///< 16 bytes; zeros on failure

/// Dotted decimal, both ways. False for anything else: no name is looked up.
std::string addressText(std::uint32_t address);
bool addressFrom(const char *text, std::uint32_t *address);

/// The first address of this host, by its name; 0 when it has none. Asks the system's resolver, and
/// may wait for it.
std::uint32_t hostAddress();

/// Waits for many sockets at once; the cost of a wait depends on how many are ready, not on how
/// many are watched. One thread watches and waits; wake() is for all.
class SocketPoller {
  public:
    /// What has happened at a socket. One that has `ended` can neither be read nor written any
    /// more, and is no longer watched.
    struct Ready {
        SocketHandle socket;
        bool readable; ///< something is there, if only an end
        bool writable;
        bool ended;
    };

    /// Null when the system has no more of what it needs.
    static std::unique_ptr<SocketPoller> create();
    virtual ~SocketPoller() = default;

    /// Sets what is waited for at a socket: bytes or connections to read, room to write, both or
    /// none. False on failure.
    virtual bool watch(SocketHandle socket, bool read, bool write) = 0;

    /// To be called before a watched socket is closed.
    virtual void forget(SocketHandle socket) = 0;

    /// Waits up to `milliseconds`, or for ever when negative, until a socket is ready or somebody
    /// wakes it. What is ready stands in the result until the next call.
    virtual const std::vector<Ready> &wait(long milliseconds) = 0;

    /// Ends the present wait, or the next one.
    virtual void wake() = 0;
};

// --- Messages and debug output ------------------------------------------------------------------

/// Posts a message to a window. Never blocks and never fails the caller: a closed window or a full
/// queue drops it. From any thread.
void postMessage(HWND window, unsigned int message, unsigned long wParam, long lParam);

/// Hands a line to the debug sink of tkSetDebugSink, and waits while it runs. From any thread.
void debugOutput(const char *text);

} // namespace tkplatform

#endif
