#ifndef TKGEHLCODEC_H
#define TKGEHLCODEC_H

#include "tkframecodec.h"

#include <array>

/// One command of the GEHL console's protocol.
struct TkGEHLCommand : TkTextItem {
    bool answered; ///< false: the console doesn't answer, and nothing is waited for
};

/// The vocabulary of the GEHL console, the one place where it stands.
struct TkGEHLCommandTable {
    static constexpr std::size_t SIZE = 8;

    /// In the order in which the parameter table declares them.
    static const std::array<TkGEHLCommand, SIZE> rows;

    /// The row of a command, the code of its letter, or null. Takes any number.
    static const TkGEHLCommand *find(int number);
};

/// The GEHL console's protocol as bytes: one command into a frame, one received frame into command
/// and value pairs. It knows nothing of timing, queues or links.
///
///     sent    S?         ETX        received    S1 F2 B0    ETX
///             53 3F      03
///
/// encode may be used from any thread; see TkFrameCodec and TkItemCodec for the rest.
class TkGEHLTextCodec final : public TkItemCodec {
  public:
    TkGEHLTextCodec();

    /// Makes the frame of a command. False, with the message empty, for an unknown command and for
    /// a value of more than nine characters.
    bool encode(int command, int value);

    /// Takes a whole frame apart, ETX included. False, with no items, when an item's letter isn't
    /// known.
    bool decode(std::vector<unsigned char> *frame);
};

#endif
