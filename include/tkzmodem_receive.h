#ifndef TKZMODEM_RECEIVE_H
#define TKZMODEM_RECEIVE_H

#include "tkzmodem.h"

/// Receives files from a ZMODEM sender, one after another, as many as it sends, into a directory.
///
/// Checks are 16 bits wide, subpackets 1024 bytes long at most, and control characters are escaped
/// one by one: a sender that would do otherwise must be told not to. A file of the same name is
/// overwritten; what of a file has arrived when a transfer fails stays. Where the line damaged the
/// stream, it is asked for again from the last good byte.
///
/// Names come from the peer. One with a ".." component, a drive letter, a backslash or a leading
/// "/" can't be created, and neither can one whose place is taken by anything but a regular file;
/// one with "/" lands in a subdirectory that is there, and is no link.
///
/// Events: establishing_comms when a sender asks; transfer_started for each file, also when it
/// can't be created; progress_changed for each file and each subpacket; at the end
/// transfer_complete or transfer_cancelled. A cancel within a file is told twice; one while a
/// file's details or the last good-bye are being read ends the thread without an event.
class TKGEN_EXPORT TkZModem_Receive : public TkZModem {
  public:
    /// A transfer into `directory` over `device`. Names are put right behind the text, which has
    /// to end in a separator.
    TkZModem_Receive(char const *directory, TkComms *device);
    ~TkZModem_Receive() override;

    void threadCycle() override;

    // What the cycle runs. All block, and belong to the transfer's thread; off it, what needs the
    // link gives CANCELLED.

    /// The whole conversation: SESSION_ENDED, FAILED, PEER_ENDED, TIMED_OUT when no sender was
    /// heard, CANCELLED, NO_DEVICE.
    int receive();

    /// One file, from its block of details to its end: DONE, FAILED when it can't be created or
    /// written or tries are used up, CANCELLED. The buffer holds TRANSFER_BLOCK_SIZE + 1 bytes and
    /// is used for the data.
    int receiveFile(unsigned char *buffer, int length);

    /// One subpacket that stands by itself. `length` gets the number of bytes with the one that
    /// ended it, less than TRANSFER_BLOCK_SIZE.
    int receivePacketData(int timeout, unsigned char *buffer, int *length);

    /// The subpackets of a ZDATA frame, written to the file as they come. Also DONE when one was
    /// too long and has been dropped; FAILED when the file can't be written.
    int receiveDataStream(unsigned char *buffer);

    /// Creates the file that a block of details names: DONE, FAILED, PEER_ENDED for a null block.
    /// `length` counts the byte that ended the subpacket.
    int openWriteFile(unsigned char *block, int length);
    /// DONE, or FAILED when no file is open or not all went into it.
    int writeFile(unsigned char *bytes, int length);
    /// DONE, or FAILED when no file was open or the system couldn't keep what was written.
    int closeWriteFile();

    /// Drops what comes until it has been quiet for `quiet` milliseconds, within HUNT_LIMIT.
    int clearCommTrafic(unsigned int quiet);

  private:
    int converse();
    int actOnHeader();
    int unexpected();
    int acceptFile();
    int closeConversation();
    int awaitHeaderOfFile(unsigned char *buffer, bool *ended);
    int actOnHeaderOfFile(unsigned char *buffer, bool *ended);
    int askAgain();
    int fileOfferedAgain(unsigned char *buffer);
    int takeData(unsigned char *buffer);
    int endOfFile();
    int acceptSubpacket(unsigned char *buffer, unsigned int length, unsigned char end);

    unsigned char m_Buffer[TRANSFER_BLOCK_SIZE + 1] = {};
    bool m_bDamaged =
        false; // of the present file: the stream was asked for again, or had noise in it
    bool m_bDropped = false; // a subpacket that was too long
    bool m_bQuiet = false;   // the conversation ended without an event
    unsigned int m_nWait = TIMEOUT_PERIOD;
    unsigned int m_nRetries = NUM_RETRIES;
};

#endif
