#ifndef TKZMODEM_SEND_H
#define TKZMODEM_SEND_H

#include "tkzmodem.h"

/// Sends one file to a ZMODEM receiver.
///
/// It streams without waiting for acknowledgement, in blocks of 1024 bytes with 16-bit checks, and
/// looks back behind each, on a fast link until 5 ms have passed since it began: a receiver that
/// missed something names the position from which to go on. Files of 1 byte to 4 GiB less one can
/// be sent; an empty one ends cancelled.
///
/// Events: establishing_comms at the start; transfer_started when the receiver names its first
/// position, and again for each until a full block has gone; progress_changed behind each block;
/// transfer_complete when the receiver has closed the file; transfer_cancelled when it skipped it,
/// gave up, or was never there, or when the transfer was cancelled, during the good-bye too. A
/// file that can't be read, a receiver that falls silent or brings the transfer no further in the
/// middle, and one whose last word is damaged, end the thread without an event.
class TKGEN_EXPORT TkZModem_Send : public TkZModem {
  public:
    /// A transfer of the file at `path` over `device`. The receiver is told the name behind the
    /// last "/". Nothing is opened yet.
    TkZModem_Send(char const *path, TkComms *device);
    ~TkZModem_Send() override;

    void threadCycle() override;

    // What the cycle runs. All block, and belong to the transfer's thread; off it, what waits for
    // the receiver gives CANCELLED.

    /// The whole transfer: SESSION_ENDED when the receiver said good-bye, also to a file that it
    /// skipped; FAILED; CHECK_FAILED when its last word was damaged, TIMED_OUT when there was none;
    /// CANCELLED; NO_DEVICE.
    int transferFile();

    /// The opening, up to the receiver's ZRINIT: DONE, FAILED after NUM_RETRIES rounds, CANCELLED,
    /// NO_DEVICE.
    int transmitInitialization();

    /// Offers the file: its header and details. FAILED when there is no such regular file, or its
    /// name or size doesn't fit.
    int transmitFileDetails();

    /// Sends the block at `offset`: DONE when it was a full one, END_OF_FILE when it was the last,
    /// which closes the file; FAILED when it can't be read; CANCELLED.
    int transmitFileData(unsigned long offset);

  private:
    enum class State { position, streaming, end };

    bool openFile();
    int serveReceiver();
    int listen();
    int withoutHeader(int heard);
    int withHeader();
    int rewind();
    int sendNext();
    int endSession(EVENTS event);

    State m_State = State::position;
    bool m_bDataHeaderDue = false;
    bool m_bPositioned = false; // a ZRPOS or ZSKIP came: from then on a ZRINIT ends the file
    bool m_bSaidGoodbye = false;
    TkTimer m_SentTimer; // since an offer or a block began to go out
    unsigned int m_nRetries = NUM_RETRIES;
    std::uint32_t m_nHighest = 0; // position that the receiver has named
    unsigned int m_nRewinds = 0;  // since then
};

#endif
