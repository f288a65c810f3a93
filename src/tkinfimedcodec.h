#ifndef TKINFIMEDCODEC_H
#define TKINFIMEDCODEC_H

#include "tkframecodec.h"

#include <array>

/// How the body of an Infimed command is made.
enum class TkInfimedBody {
    fixed, ///< whatever the value is
    digit, ///< the value's low byte as a digit, or "?" for a query, and "@"
    step   ///< one of eight steps up or down, "@", by how much, and "@"
};

/// One command of the Infimed console's protocol.
struct TkInfimedCommand {
    int number;
    const char *body; ///< with which the body begins
    TkInfimedBody kind;
    bool answered; ///< false: nothing is waited for
};

/// The vocabulary of the Infimed console, the one place where it stands.
struct TkInfimedCommandTable {
    static constexpr int TEXT = 2000; ///< no command: a text has come

    static const std::array<TkInfimedCommand, 14> rows;

    /// The parameters, and TEXT, in the order in which the parameter table declares them.
    static const std::array<int, 10> keys;

    /// The row of a command, or null. Takes any number.
    static const TkInfimedCommand *find(int number);
};

/// The Infimed console's protocol as bytes: one command into a frame, one received frame into a
/// command, a value and at times a text. It knows nothing of timing, queues or links.
///
///     STX   body      ETX   sum
///     02    Q1@       03    20        the exclusive or of all bytes of the body
///
/// encode, errorMsg, decodedCmd and decodedValue may be used from any thread; see TkFrameCodec.
class TkInfimedCodec final : public TkFrameCodec {
  public:
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
    int m_nCommand TKGEN_GUARDED_BY(m_Mutex) = 0;
    int m_nValue TKGEN_GUARDED_BY(m_Mutex) = 0;
    std::vector<unsigned char> m_Text TKGEN_GUARDED_BY(m_Mutex);
};

#endif
