#ifndef TKCONTROLIMP_H
#define TKCONTROLIMP_H

#include "tkrelayendpoint.h"

/// The relay's control end: it looks through the clients and connects to one, over which a control
/// engine then runs as over a serial port. Its browse lists the clients, and its events are
/// tcpip_Control_... of TkTCPIPDispatcher.
class TKGEN_EXPORT TkControlImp : public TkRelayEndpoint {
  public:
    TkControlImp();
    ~TkControlImp() override;

    /// Asks to be paired with the client at an address from a listing. False when the question
    /// wasn't sent. The answer is an event; it has no limit. Call it when no browse is under way,
    /// which would take the answer for its own.
    bool connect(char const *address);

    bool isConnecting(); ///< bit 16: the server hasn't answered to connect yet
};

#endif
