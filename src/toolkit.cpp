#include "toolkit.h"

#include "tkgeneratorcontrol.h"
#include "tkgeneratorstatus.h"
#include "tkwindowsdispatcher.h"

#include <atomic>
#include <memory>
#include <new>

namespace {

// The one generator, which stands for an open library, and the dispatcher for its window. Written
// by the thread that opens and closes, read by any.
std::atomic<TkGeneratorControl *> g_pGeneratorControl{nullptr};
std::atomic<TkWindowsDispatcher *> g_pWindowsDispatcher{nullptr};

Tk::TextCommands parameter(int command) {
    return static_cast<Tk::TextCommands>(command);
}

// What C can't take from the classes.
static_assert(TOOLKIT_COM1 == static_cast<int>(TkSerial::COM1) &&
              TOOLKIT_COM10 == static_cast<int>(TkSerial::COM10));
static_assert(TOOLKIT_COMMAND2('K', 'V') == Tk::KV && TOOLKIT_COMMAND3('F', 'L', 'K') == Tk::FLK);
static_assert(int{TOOLKIT_UNKNOWN} == Tk::VALUE_UNKNOWN);
static_assert(int{TOOLKIT_QUERY} == Tk::REQUEST_QUERY);
static_assert(int{TOOLKIT_UP} == Tk::REQUEST_UP && int{TOOLKIT_DOWN} == Tk::REQUEST_DOWN);
static_assert(int{TOOLKIT_UP_2} == Tk::REQUEST_UP_2 && int{TOOLKIT_DOWN_2} == Tk::REQUEST_DOWN_2);
static_assert(TOOLKIT_MESSAGE == TkWindowsDispatcher::MESSAGE);
static_assert(TOOLKIT_LOST == TkWindowsDispatcher::LINK_LOST);
static_assert(TOOLKIT_BACK == TkWindowsDispatcher::LINK_BACK);

} // namespace

// --- Opening and closing ------------------------------------------------------------------------

bool initializeToolkit(TOOLKIT_DEVICE device) {
    if (g_pGeneratorControl != nullptr || device < TOOLKIT_COM1 || device > TOOLKIT_COM10) {
        return false;
    }
    try {
        auto control =
            std::make_unique<TkGeneratorControl>(static_cast<TkSerial::COM_PORTS>(device));
        if (!control->getCommDevice()->isOpen()) {
            return false;
        }
        control->startControl();
        g_pGeneratorControl = control.release();
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

/// The dispatcher goes first, so that nothing is posted while the thread runs out.
void closeToolkit(void) {
    delete g_pWindowsDispatcher.exchange(nullptr);
    const std::unique_ptr<TkGeneratorControl> control(g_pGeneratorControl.exchange(nullptr));
    if (control) {
        control->stopControl();
    }
}

void enableEvents(HWND window) {
    TkGeneratorControl *const control = g_pGeneratorControl;
    if (control == nullptr || g_pWindowsDispatcher != nullptr) {
        return;
    }
    try {
        g_pWindowsDispatcher = new TkWindowsDispatcher(control, window);
    } catch (const std::bad_alloc &) {
        // No events: the application can still ask for values, and call again.
    }
}

void enableRefresh(bool enable) {
    if (TkGeneratorControl *const control = g_pGeneratorControl) {
        control->enableRefresh(enable, false);
    }
}

// --- Sending ------------------------------------------------------------------------------------

bool transmitMsg(int command, int value, bool wait) {
    TkGeneratorControl *const control = g_pGeneratorControl;
    return control != nullptr && control->transmitMsg(parameter(command), value, wait);
}

bool transmitAPR(int ws, int fo, int et, int fi, int fs, int fn, int kv, int ma, int ms,
                 bool wait) {
    TkGeneratorControl *const control = g_pGeneratorControl;
    return control != nullptr && control->transmitAPR(ws, fo, et, fi, fs, fn, kv, ma, ms, wait);
}

// --- What is known ------------------------------------------------------------------------------

bool displayableParam(int command) {
    return TkGeneratorStatus(g_pGeneratorControl).displayableParam(command);
}

bool controllableParam(int command) {
    return TkGeneratorStatus(g_pGeneratorControl).controllableParam(command);
}

int getGenParam(int command) {
    const TkGeneratorControl *const control = g_pGeneratorControl;
    return control == nullptr ? TOOLKIT_UNKNOWN : control->getGenParam(parameter(command));
}

bool setGenParam(int command, int value) {
    TkGeneratorControl *const control = g_pGeneratorControl;
    return control != nullptr && control->setGenParam(parameter(command), value);
}

int getError(void) {
    TkGeneratorControl *const control = g_pGeneratorControl;
    return control == nullptr ? 0 : control->getError(true);
}

int getLatchedError(void) {
    TkGeneratorControl *const control = g_pGeneratorControl;
    return control == nullptr ? 0 : control->getLatchedError(true);
}
