/* One generator behind twelve plain functions, for applications without classes: from C, from C++,
 * and from any language that can load a shared library.
 *
 *     initializeToolkit(TOOLKIT_COM1);    opens the port
 *     enableEvents(window);               changes are posted to the window
 *     enableRefresh(true);                connects, and keeps all values current
 *     ...
 *     closeToolkit();
 *
 * A command or parameter is a number: the ASCII of its mnemonic, first letter in the highest used
 * byte. "KV" is 0x4B56, TOOLKIT_COMMAND2('K', 'V').
 *
 * The generator is taken to be of the family Arkona with no special features in the room, and every
 * prep is refused by the library: through this door nobody takes part in exposures. For that there
 * are the classes of tkgen.h.
 *
 * "FS", the film screen, is 0, 1 or 2, and can't be asked for; only transmitAPR takes it as the
 * wire has it, 1, 10 or 100.
 *
 * While the library isn't open every function gives the result that is told with it, and does
 * nothing. initializeToolkit, enableEvents and closeToolkit are for one thread of the application.
 * The others may be called from any thread, but nobody may be inside any function when closeToolkit
 * is called, a waiting transmission least of all: end those first. No function may be called from
 * a signal handler, or in a process that was forked while the library was open, and none of the
 * three from an operation of a dispatcher class. */
#ifndef TOOLKIT_H
#define TOOLKIT_H

#include "tkexport.h"
#include "tkplatform.h"

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The serial ports "COM1" to "COM10"; tkMapSerialPort of tkplatform.h says which devices they are.
 */
enum TOOLKIT_DEVICE
#ifdef __cplusplus
    : int /* so that any number can be passed, and is refused */
#endif
{
    TOOLKIT_COM1,
    TOOLKIT_COM2,
    TOOLKIT_COM3,
    TOOLKIT_COM4,
    TOOLKIT_COM5,
    TOOLKIT_COM6,
    TOOLKIT_COM7,
    TOOLKIT_COM8,
    TOOLKIT_COM9,
    TOOLKIT_COM10
};
#ifndef __cplusplus
typedef enum TOOLKIT_DEVICE TOOLKIT_DEVICE;
#endif

/* The number of a command with two or three letters. */
#define TOOLKIT_COMMAND2(a, b) ((a)*256 + (b))
#define TOOLKIT_COMMAND3(a, b, c) (((a)*256 + (b)) * 256 + (c))

enum {
    TOOLKIT_UNKNOWN = -999, /* the value of a parameter isn't known */

    /* What transmitMsg sends in place of a value: */
    TOOLKIT_QUERY = 65535,  /* "?", asks for the present one */
    TOOLKIT_UP = 65534,     /* "+", one step up */
    TOOLKIT_DOWN = 65533,   /* "-", one step down */
    TOOLKIT_UP_2 = 65532,   /* "++", a large step up */
    TOOLKIT_DOWN_2 = 65531, /* "--", a large step down */

    /* What is posted to the window of enableEvents: */
    TOOLKIT_MESSAGE = 65534, /* the number of every message */
    TOOLKIT_LOST = 0,        /* wParam: the link is lost */
    TOOLKIT_BACK = 1         /* wParam: it is back; any other wParam is the number of a parameter,
                                and lParam its value. Those of "ER" and "EL" have 0: the errors wait
                                in getError and getLatchedError. */
};

/* Opens a port and starts the conversation's thread. Nothing is sent before enableRefresh(true) or
 * a transmission. False, and nothing opened, for a device out of range, for a port that can't be
 * opened or is taken, without memory, and while the library is open: call closeToolkit before. True
 * says nothing of the generator. */
TKGEN_EXPORT bool initializeToolkit(TOOLKIT_DEVICE device);

/* Ends it all, and gives the port free. Nothing is posted any more once it has returned. It blocks
 * until the thread has ended: as long as the line takes what is being written, 750 ms on one that
 * stands still. */
TKGEN_EXPORT void closeToolkit(void);

/* From now on posts changes to a window; tkCreateWindow of tkplatform.h makes one where the system
 * has none. Preps aren't posted, nor are the meter's status, patient size, remote tomography, bolus
 * chase and rotational angiography; a change of the tube is posted as "TB". The window stays the
 * application's, and may be closed at any time. Null posts nothing. The first call counts: until
 * closeToolkit a second one has no effect. */
TKGEN_EXPORT void enableEvents(HWND window);

/* Turns polling on or off; off at the start. On, the generator is asked for everything again and
 * again, and searched for when it was lost. Off, it is asked for nothing, and the values stay; what
 * it tells by itself is still taken and posted, and a transmission can still find it lost. */
TKGEN_EXPORT void enableRefresh(bool enable);

/* Queues a command with a value, or with one of the requests above. With `wait` it blocks until the
 * generator has told the value, up to 3 s on a serial port. False for a command that isn't sent, a
 * value that it can't carry, when no value came in time, and when not open. */
TKGEN_EXPORT bool transmitMsg(int command, int value, bool wait);

/* Queues an anatomical program: workstation, focus, technique, AEC fields, film screen (1, 10 or
 * 100), density, kV, mA, ms, in the generator's units. With `wait` it blocks until the generator
 * has answered, up to 18 s on a serial port. An answer isn't consent: see getError. False when none
 * came in time, and when not open. */
TKGEN_EXPORT bool transmitAPR(int ws, int fo, int et, int fi, int fs, int fn, int kv, int ma,
                              int ms, bool wait);

/* Whether a parameter belongs on the screen now, and whether the operator may change it. False when
 * not open, and while the generator isn't connected. */
TKGEN_EXPORT bool displayableParam(int command);
TKGEN_EXPORT bool controllableParam(int command);

/* The last known value of a parameter. TOOLKIT_UNKNOWN when it isn't known, when there is no such
 * parameter, and when not open. */
TKGEN_EXPORT int getGenParam(int command);

/* Stores a value, as getGenParam is to give it; nothing is sent or posted. False when there is
 * no such parameter, and when not open. */
TKGEN_EXPORT bool setGenParam(int command, int value);

/* Takes the oldest error, or latched error, off its queue: its number, 0 when none waits and when
 * not open. */
TKGEN_EXPORT int getError(void);
TKGEN_EXPORT int getLatchedError(void);

#ifdef __cplusplus
}
#endif

#endif
