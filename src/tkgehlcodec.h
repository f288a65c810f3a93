#ifndef TKGEHLCODEC_H
#define TKGEHLCODEC_H

#include "tkframecodec.h"

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
