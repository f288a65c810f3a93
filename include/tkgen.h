#ifndef TKGEN_H
#define TKGEN_H

/// Every exported class of the library.

#include "tk.h"
#include "tkapr.h"
#include "tkbinary_aec.h"
#include "tkbinary_custom.h"
#include "tkbinary_dorvatable.h"
#include "tkbinary_fluoro.h"
#include "tkbinary_receptors.h"
#include "tkbinary_system.h"
#include "tkbinary_tubedata.h"
#include "tkbinaryinterface.h"
#include "tkclientimp.h"
#include "tkcomms.h"
#include "tkcontrolimp.h"
#include "tkconversation.h"
#include "tkdispatchers.h"
#include "tkdispatchmanager.h"
#include "tkgehlcontrol.h"
#include "tkgeneratorcontrol.h"
#include "tkgeneratorerrors.h"
#include "tkgeneratorstatus.h"
#include "tkinfimedcontrol.h"
#include "tkminisocket.h"
#include "tkplatform.h"
#include "tkproperty.h"
#include "tkserial.h"
#include "tkserverimp.h"
#include "tkthread.h"
#include "tkversion.h"
#include "tkwindowsdispatcher.h"
#include "tkzmodem.h"
#include "tkzmodem_receive.h"
#include "tkzmodem_send.h"

#endif
