#ifndef TKERRORQUEUE_H
#define TKERRORQUEUE_H

#include "tkboundedqueue.h"

/// The numbers of errors that the generator sent; 0 is none.
class TkErrorQueue : public TkBoundedQueue<unsigned char> {
  public:
    TkErrorQueue() : TkBoundedQueue(1000) {}
};

#endif
