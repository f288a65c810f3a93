#ifndef TKZMODEM_H
#define TKZMODEM_H

#include "tkthread.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

class TkComms;

/// What both ends of a ZMODEM file transfer share: the framing, the checks, the limits of time and
/// of tries, the counters and the events. An application uses TkZModem_Send or TkZModem_Receive.
///
/// A transfer object runs once: construct it, register a TkZModemDispatcher, start, wait until
/// isTransferComplete gives false, destroy it. All traffic, and every event, is on the transfer's
/// own thread. The link stays the application's; until the thread has ended it belongs to the
/// transfer alone, and no control engine may run on it.
///
/// A transfer ends by itself, unless a sender goes on to offer files: silence is given up to
/// NUM_RETRIES + 1 waits of TIMEOUT_PERIOD, and what brings it no further is limited in bytes and
/// headers. While it waits for the line it sleeps. cancelTransfer and the destructor end it within
/// a millisecond or so, or when the link has taken the bytes of a write under way.
class TKGEN_EXPORT TkZModem : public TkThread {
  public:
    static constexpr unsigned int TRANSFER_BLOCK_SIZE = 1024; ///< file bytes in a data subpacket
    static constexpr unsigned int NUM_RETRIES = 10;           ///< tries at each step that retries
    static constexpr unsigned int TIMEOUT_PERIOD = 10000;     ///< wait for a header, milliseconds

    /// The protocol's frame types.
    enum PACKET_TYPES : int {
        ZRQINIT = 0, ///< sender: are you there?
        ZRINIT = 1,  ///< receiver: ready for a file
        ZSINIT = 2,
        ZACK = 3,   ///< receiver: this far has arrived
        ZFILE = 4,  ///< sender: a file, with its details
        ZSKIP = 5,  ///< receiver: doesn't want the file
        ZNAK = 6,   ///< receiver: didn't expect that
        ZABORT = 7, ///< the conversation is over
        ZFIN = 8,   ///< both: good-bye
        ZRPOS = 9,  ///< receiver: send from this position
        ZDATA = 10, ///< sender: data from this position
        ZEOF = 11,  ///< sender: the file ends at this position
        ZFERR = 12,
        ZCRC = 13,
        ZCHALLENGE = 14,
        ZCOMPL = 15,
        ZCAN = 16, ///< stands for the cancel sequence
        ZFREECNT = 17,
        ZCOMMAND = 18,
        ZSTDERR = 19
    };

    /// What the operations of a transfer return.
    enum RESULTS : int {
        DONE = 0,
        FAILED = 1,        ///< tries used up, a file can't be used, or the peer gave up
        PEER_ENDED = 2,    ///< a header of the peer ended it; also a null block of details
        CHECK_FAILED = 3,  ///< bad CRC, bad digit, unknown end of a frame
        SESSION_ENDED = 4, ///< the conversation ended in good order
        END_OF_FILE = 5,
        TIMED_OUT = 6,
        NO_DEVICE = 8,
        CANCELLED = 9 ///< by cancelTransfer, a stop of the thread, or the peer's CAN bytes
    };

    /// A transfer over `device`, which must outlive it; with a null pointer it fails at once.
    explicit TkZModem(TkComms *device);

    /// Ends a running transfer, blocking until its thread is gone, and closes the file.
    ~TkZModem() override;

    /// Starts the transfer on its thread and returns at once. Does nothing if it runs already.
    void start();

    /// Run by the thread, and not for others to call. Here it only ends the thread; a derived class
    /// does its whole transfer in one cycle.
    void threadCycle() override;

    /// True while the transfer runs, false before start and when it has finished, whichever way:
    /// an application polls it for false. Any thread, never blocks.
    bool isTransferComplete();

    /// With true, ends the transfer at its next look at the link. The result is CANCELLED, the
    /// event transfer_cancelled where the conversation has one. Any thread, never blocks.
    void cancelTransfer(bool cancel);

    // The counters. Any thread, never block; each is a value of its own, taken when it is asked.

    /// Bytes to transfer, as far as known: a receiver has it from the sender's details, 0 without.
    unsigned long getTotalTransferSize() const;
    /// The position in the file. A sender doesn't count its last, short block.
    unsigned long getTotalBytesTransfered() const;
    /// Full blocks sent; 0 on a receiver.
    unsigned long getTotalBlocksTransfered() const;
    /// Sender: 1. Receiver: the number of files offered so far.
    unsigned long getCurrentFile() const;
    /// Sender: 1. Receiver: how many files are still to come with this one, as the sender says.
    unsigned long getNumFiles() const;
    /// Bytes a second, at the last subpacket.
    unsigned long getCPS() const;
    /// Estimate at the last subpacket, from the mean of the last ten rates; 0 when there is none.
    unsigned long getSecondsRemaining() const;
    /// The name in the file's details. The text is the calling thread's own, and stands until that
    /// thread asks any transfer again. A receiver's comes from the peer, as it is.
    char const *getCurrentFileName() const;

  protected:
    static constexpr unsigned int BYTE_PERIOD = 2000; ///< wait for a byte within a frame, ms
    static constexpr unsigned int LOOK_PERIOD = 5;    ///< a streaming sender's look back, ms

    static constexpr unsigned char ZDLE = 0x18; ///< CAN: the protocol's escape

    /// Bytes passed over in one search, for a header or for silence, before it counts as over.
    static constexpr unsigned int HUNT_LIMIT = 32768;

    /// Headers, or empty subpackets, in a row that bring the transfer no further: then it fails.
    static constexpr unsigned int IDLE_LIMIT = 100;

    enum EVENTS : int {
        ESTABLISHING_COMMS,
        TRANSFER_STARTED,
        PROGRESS_CHANGED,
        TRANSFER_CANCELLED,
        TRANSFER_COMPLETE
    };

    void fire(EVENTS event);

    /// Lets the thread end behind its present cycle. Doesn't wait.
    void stopThread();

    /// Whatever leaves the cycle of a transfer, its file is closed then and its thread stopped.
    class LastCycle {
      public:
        explicit LastCycle(TkZModem &transfer) : m_Transfer(transfer) {}
        ~LastCycle();
        LastCycle(const LastCycle &) = delete;
        LastCycle &operator=(const LastCycle &) = delete;

      private:
        TkZModem &m_Transfer;
    };

    bool isCancelled() const { return m_bCancel.load(std::memory_order_relaxed); }

    /// False when no file was open, or the system couldn't keep what was written.
    bool closeFile();

    // Sending. The result is DONE, CANCELLED when the thread has been stopped, or NO_DEVICE; what
    // the link says of a write isn't looked at, since the peer asks again for what it missed.
    // sendBinaryPacket sends the cancel sequence instead once the transfer has been cancelled.

    int sendByte(unsigned char byte, bool encode);
    int sendBytes(unsigned char *bytes, unsigned int length, bool encode);
    int sendBytes(char const *bytes, unsigned int length, bool encode);
    int sendHexBytes(unsigned char *bytes, unsigned int length);
    int sendHexPacket(PACKET_TYPES type, unsigned long value);
    int sendBinaryPacket(PACKET_TYPES type, unsigned long value);

    /// Closes a data subpacket whose `length` bytes at `data` have gone out.
    int sendCRCEscape(char *data, unsigned int length, bool endOfFrame, bool ack);

    /// Ten CAN bytes, whatever has been stopped. Returns CANCELLED.
    int sendCancelPacket();

    /// The good-bye of a sender: ZFIN until a header answers, then "OO" and SESSION_ENDED. DONE
    /// when no answer came.
    int sendEndOfSession();

    /// While one lives, what is sent is gathered and goes to the link as one block.
    class Burst {
      public:
        explicit Burst(TkZModem &transfer);
        ~Burst();
        Burst(const Burst &) = delete;
        Burst &operator=(const Burst &) = delete;

      private:
        TkZModem &m_Transfer;
    };

    // Receiving. The waits are in milliseconds for each byte.

    /// Bounds a search that a peer could prolong with every byte: HUNT_LIMIT bytes, and NUM_RETRIES
    /// times the wait for one.
    class Patience {
      public:
        explicit Patience(unsigned int wait);
        bool lasts();

      private:
        const TkTimer m_Timer;
        unsigned int m_nBytes = 0;
    };

    /// Waits for a header of any kind and stores its type and value when its check holds. A
    /// ZABORT gives PEER_ENDED.
    int receiveHexHeader(int timeout);

    /// The same for a streaming sender: the first byte has what is left of `timeout` when
    /// `elapsed` of it has passed, but is taken in any case if it is there.
    int lookForHeader(unsigned int timeout, unsigned long elapsed);

    int getByte(unsigned int timeout, unsigned char *byte);
    int readDecodeHexBytes(int timeout, unsigned char *bytes, int count);
    int readDecodeBytes(int timeout, unsigned char *bytes, int count);

    /// Reads up to the next byte that is no CAN, and counts those before it. CANCELLED at five.
    int readBehindCans(unsigned int timeout, unsigned char *byte, unsigned int *cans);

    /// Reads a subpacket's data up to the byte that ends it, which must be one of h, i, j and k; or
    /// one byte more than the longest has.
    int readSubpacket(unsigned char *buffer, unsigned int *length, unsigned char *end);

    /// Reads the check behind a subpacket and compares it.
    int compareCheck(unsigned short expected);

    /// Whether a byte behind a ZDLE stands for data, which it then becomes; otherwise it may end
    /// a subpacket.
    static bool decodeValue(unsigned char *byte);

    /// Whether a byte has to travel behind a ZDLE, in the form which it then becomes.
    static bool encodeValue(unsigned char *byte);

    unsigned long updateCPS();
    unsigned long updateSecondsRemaining();

    void setFileName(const std::string &name);
    std::string fileName() const;

    TkComms *const m_pDevice;
    std::string m_FilePath;           // sender: the file; receiver: the directory
    std::uint32_t m_nReceiverFlags;   // of ZRINIT: a receiver's own, or as a sender got them
    std::uint32_t m_nRequestValue;    // of ZRQINIT
    std::uint32_t m_nFileHeaderValue; // of ZFILE
    std::uint32_t m_nHeaderValue = 0; // of the last good header
    int m_nHeaderType = 0;
    bool m_bNoise = false; // bytes that belong to no header were skipped on the way to one
    unsigned int m_nIdle = 0;
    std::FILE *m_pFile = nullptr;
    TkTimer m_RateTimer;

    // Written by the transfer's thread, read by all.
    std::atomic<std::uint32_t> m_nBytesTransferred{0};
    std::atomic<std::uint32_t> m_nTotalSize{0};
    std::atomic<std::uint32_t> m_nNumFiles{0};
    std::atomic<std::uint32_t> m_nCurrentFile{0};
    std::atomic<std::uint32_t> m_nBlocksTransferred{0};
    std::uint32_t m_nMeasureStart = 0; // bytes transferred when the rate timer started

  private:
    struct Hunt {
        bool pad = false;      // the last byte but CANs was a '*'
        unsigned int cans = 0; // in a row
    };

    void put(unsigned char byte, bool encode);
    void flush();
    int receiveHeader(unsigned int firstWait, unsigned int timeout);
    int huntHeader(unsigned int firstWait, unsigned int timeout, unsigned char *kind);
    int readHeader(unsigned char kind);
    int takeByte(unsigned char *byte);
    int waitForByte(unsigned int timeout, unsigned char *byte);

    std::vector<char> m_Out; // gathered for the link
    unsigned int m_nBursts = 0;
    Hunt m_Hunt; // goes on over a time-out: a slow line brings a header in several looks

    std::atomic<bool> m_bCancel{false};
    std::atomic<std::uint32_t> m_nCPS{0};
    std::atomic<std::uint32_t> m_nSecondsRemaining{0};
    mutable std::mutex m_NameMutex; // guards the name; a leaf
    std::string m_FileName;
};

#endif
