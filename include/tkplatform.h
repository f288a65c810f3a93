/* What an application needs of the platform beside the classes: window handles for posted
 * messages, names of serial ports, and the sink for debug output. Usable from C. */
#ifndef TKPLATFORM_H
#define TKPLATFORM_H

#include "tkexport.h"

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Maps one of the names "COM1" to "COM10" to a device path, for ports opened from then on. A null
 * or empty `device` takes the mapping back. Unmapped, COM1 to COM10 stand for /dev/ttyS0 to
 * /dev/ttyS9. False for any other name and for want of memory, which changes nothing. From any
 * thread. */
TKGEN_EXPORT bool tkMapSerialPort(const char *name, const char *device);

/* Receives a line of debug output: zero-terminated, without a line feed, valid during the call. */
typedef void (*TkDebugSink)(const char *text, void *context);

/* Sets where debug output goes; null, as at the start, drops it. The sink is called on the thread
 * that has something to say, one call at a time, and must not call back into the library; an
 * exception that it throws is dropped. From any thread; on return the sink before is no longer in
 * use. */
TKGEN_EXPORT void tkSetDebugSink(TkDebugSink sink, void *context);

#if defined(_WIN32)
/* As the system's header has it, with STRICT; it stays out of here with its macros. */
typedef struct HWND__ *HWND;
#else
/* The handle of a message queue. A handle is never used twice: one that was destroyed stays
 * invalid, and every function takes an invalid or null handle without harm. A process that was
 * forked has no part in the queues from before. */
typedef struct TkWindow *HWND;

/* One posted message. `wParam` says what happened, `lParam` carries a value. */
typedef struct TkWindowMessage {
    unsigned int message;
    unsigned long wParam;
    long lParam;
} TkWindowMessage;

enum {
    /* As many messages wait in a queue; what is posted beyond is lost and counted. */
    TK_WINDOW_MESSAGES = 10000
};

/* Makes a message queue. Null when the system has no memory or descriptor left. Like all functions
 * here it may be called from any thread. */
TKGEN_EXPORT HWND tkCreateWindow(void);

/* Ends a queue: its messages are dropped, and those that are posted later. A thread that waits in
 * tkGetMessage returns false. Stop watching the descriptor before: it is closed, and its number may
 * soon be another's. */
TKGEN_EXPORT void tkDestroyWindow(HWND window);

/* Takes the oldest message, waiting up to `milliseconds` for one; 0 doesn't wait. False when none
 * came, when the handle is invalid, and when `message` is null. */
TKGEN_EXPORT bool tkGetMessage(HWND window, TkWindowMessage *message, unsigned int milliseconds);

/* A descriptor that is readable while messages wait, for poll, select or an event loop. It can be
 * for a moment when none does any more: tkGetMessage without waiting tells. Only watch it: the
 * queue reads and closes it. -1 for an invalid handle. */
TKGEN_EXPORT int tkWindowFd(HWND window);

/* How many messages were lost because the queue was full. 0 for an invalid handle. */
TKGEN_EXPORT unsigned long tkLostMessages(HWND window);

#endif

#ifdef __cplusplus
}
#endif

#endif
