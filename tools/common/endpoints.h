#ifndef TKPROGRAMS_ENDPOINTS_H
#define TKPROGRAMS_ENDPOINTS_H

#include "tkclientimp.h"
#include "tkcontrolimp.h"

/// An end of the relay as a device: open while there is a connection to the relay.
template <class Endpoint>
class RelayEnd : public Endpoint {
  public:
    ~RelayEnd() override { this->endSession(); }
    bool isOpen() override { return this->isSocketValid(); }
};

using RelayClient = RelayEnd<TkClientImp>;
using RelayControl = RelayEnd<TkControlImp>;

#endif
