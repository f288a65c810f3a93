#ifndef TKTEXTCODEC_H
#define TKTEXTCODEC_H

#include "tkthread.h"

#include <cstddef>
#include <vector>

struct TkCommand;

/// The generator's text protocol as bytes: one command or one anatomical program into a frame, one
/// received frame into command and value pairs. It knows nothing of timing, queues or links.
///
///     text            ETX   sum
///     KV070           03    3B      the sum, modulo 256, of all bytes before it
///
/// encode, encodeAprMsg, encodedMsg and the decoded items may be used from any thread; who needs
/// the frame of his own encode keeps others out until he has it. decode and getNumCmds belong to
/// the thread that receives.
class TkTextCodec {
  public:
    TkTextCodec();
    TkTextCodec(const TkTextCodec &) = delete;
    TkTextCodec &operator=(const TkTextCodec &) = delete;

    /// Makes the frame of a command. False, with the message empty, for a command that isn't sent
    /// and for a value of more than nine characters.
    bool encode(int command, int value);

    /// Makes the frame of an anatomical program: workstation, focus, technique, AEC fields, film
    /// screen as on the wire, density, kV, mA, ms. Returns true.
    bool encodeAprMsg(int ws, int fo, int et, int fi, int fs, int fn, int kv, int ma, int ms);

    /// A copy of the frame made last.
    std::vector<unsigned char> encodedMsg();

    /// Takes a whole frame apart, sum included. False, with no items, when the sum is wrong or an
    /// item's mnemonic isn't received.
    bool decode(std::vector<unsigned char> *frame);

    /// How many items the frame decoded last has.
    int getNumCmds() const;

    /// An item's command and value, counted from 0. 0 outside the items.
    int decodedCmd(int index);
    int decodedValue(int index);

  private:
    void closeFrame(const char *text, std::size_t length) TKGEN_REQUIRES(m_Mutex);
    bool decodeItems(const unsigned char *text, const unsigned char *end) TKGEN_REQUIRES(m_Mutex);
    int item(const std::vector<int> &items, int index);

    TkMutex m_Mutex; // guards all below; no other lock is taken while it is held
    std::vector<unsigned char> m_Encoded TKGEN_GUARDED_BY(m_Mutex);
    std::vector<int> m_Commands; // written by the receiving thread, under the lock
    std::vector<int> m_Values;   // likewise
};

#endif
