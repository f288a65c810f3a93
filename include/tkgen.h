#ifndef TKGEN_H
#define TKGEN_H

/// Every exported class of the library.

#include "tk.h"
#include "tkcomms.h"
#include "tkconversation.h"
#include "tkdispatchers.h"
#include "tkdispatchmanager.h"
#include "tkgeneratorcontrol.h"
#include "tkplatform.h"
#include "tkserial.h"
#include "tkthread.h"
#include "tkversion.h"

#endif
