#ifndef TKINFIMEDCODEC_H
#define TKINFIMEDCODEC_H

#include "tkframecodec.h"

#include <string_view>

/// The Infimed console's protocol as bytes: one command into a frame, one received frame into a
/// command, a value and at times a text. It knows nothing of timing, queues or links.
///
///     STX   body      ETX   sum
///     02    Q1@       03    20        the exclusive or of all bytes of the body
///
/// encode, errorMsg, decodedCmd and decodedValue may be used from any thread; see TkFrameCodec.
class TkInfimedCodec final : public TkFrameCodec {
  public:
    static constexpr unsigned char STX = 0x02;

    TkInfimedCodec();

    /// Makes the frame of a command. False, with the message empty, for one that doesn't exist.
    /// `step` is by how much window and level go up or down, 0 for the smallest.
    bool encode(int command, int value, char step);

    /// Takes a whole frame apart, from STX to sum. False when the sum is wrong, and when its first
    /// byte says nothing known. A good frame may hold no command: decodedCmd is 0 then.
    bool decode(std::vector<unsigned char> *frame);

    /// What the frame decoded last has told.
    int decodedCmd();
    int decodedValue();

    /// Its text, empty without one.
    std::vector<unsigned char> errorMsg();
    bool isErrorAvailable();

  private:
    void take(std::string_view body) TKGEN_REQUIRES(m_Mutex);

    int m_nCommand TKGEN_GUARDED_BY(m_Mutex) = 0;
    int m_nValue TKGEN_GUARDED_BY(m_Mutex) = 0;
    std::vector<unsigned char> m_Text TKGEN_GUARDED_BY(m_Mutex);
};

#endif
