#ifndef TKCOMMS_H
#define TKCOMMS_H

#include "tkexport.h"

/// The byte link on which every conversation of the library runs: a serial port, a relay
/// endpoint, or an application's own. It carries bytes and knows nothing of frames.
///
/// A link has one user at a time: the worker thread of a control engine, or a file transfer for
/// its length. Nothing locks it against a second one.
///
/// The two writes may take as long as the link needs to hand the bytes over, within a limit of its
/// own after which they have failed; a serial port's is told at TkSerial::write_ch. Nothing else
/// waits. A link that has failed goes on answering with its failure results.
class TKGEN_EXPORT TkComms {
  public:
    virtual ~TkComms() = default;

    /// Reads one byte. Returns 1 with the byte stored at `byte`; 0 at once, the byte untouched,
    /// when nothing has come; -1 on failure.
    virtual int read_ch(char *byte) = 0;

    /// Writes one byte. Returns the number of bytes written, or -1 on failure.
    virtual int write_ch(char byte) = 0;

    /// Writes `length` bytes as one block. Positive when the bytes went out; 0 or -1 when they
    /// didn't. Some links give the number of bytes, others 1 for the whole block.
    virtual int write_str(char *bytes, unsigned int length) = 0;

    /// For the application, where a link has a blocking mode; the library never calls it.
    /// Returns true.
    virtual bool enableBlocking(bool enable) = 0;

    /// The link's response time in milliseconds: the limit on the response to one frame. A
    /// waiting call has four times this limit. Callable from any thread.
    virtual unsigned long timeoutPeriod() = 0;

    /// Whether the link has a usable device. Callable from any thread.
    virtual bool isOpen() = 0;

  protected:
    TkComms() = default;
    TkComms(const TkComms &) = default;
    TkComms &operator=(const TkComms &) = default;
};

#endif
