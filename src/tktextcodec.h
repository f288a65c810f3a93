#ifndef TKTEXTCODEC_H
#define TKTEXTCODEC_H

#include "tkframecodec.h"

/// The generator's text protocol as bytes: one command or one anatomical program into a frame, one
/// received frame into command and value pairs. It knows nothing of timing, queues or links.
///
///     text            ETX   sum
///     KV070           03    3B      the sum, modulo 256, of all bytes before it
///
/// encode and encodeAprMsg may be used from any thread; see TkFrameCodec and TkItemCodec for the
/// rest.
class TkTextCodec final : public TkItemCodec {
  public:
    TkTextCodec();

    /// Makes the frame of a command. False, with the message empty, for a command that isn't sent
    /// and for a value of more than nine characters.
    bool encode(int command, int value);

    /// Makes the frame of an anatomical program: workstation, focus, technique, AEC fields, film
    /// screen as on the wire, density, kV, mA, ms. Returns true.
    bool encodeAprMsg(int ws, int fo, int et, int fi, int fs, int fn, int kv, int ma, int ms);

    /// Takes a whole frame apart, sum included. False, with no items, when the sum is wrong or an
    /// item's mnemonic isn't received.
    bool decode(std::vector<unsigned char> *frame);

  private:
    void closeFrame() TKGEN_REQUIRES(m_Mutex);
};

#endif
