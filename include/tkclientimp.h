#ifndef TKCLIENTIMP_H
#define TKCLIENTIMP_H

#include "tkrelayendpoint.h"

/// The relay's client end: a site that waits until a control connects to it. Its browse lists the
/// controls, and its events are tcpip_Client_... of TkTCPIPDispatcher. Each block of data that it
/// sends and whose last byte is 0x03 leaves a line in the debug output: the milliseconds since the
/// first data that have come behind the last such block.
class TKGEN_EXPORT TkClientImp : public TkRelayEndpoint {
  public:
    TkClientImp();
    ~TkClientImp() override;
};

#endif
