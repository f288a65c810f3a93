#include "tkwindowsdispatcher.h"

#include "platform/platform.h"
#include "tkgeneratorcontrol.h"

TkWindowsDispatcher::TkWindowsDispatcher(TkGeneratorControl *pControl, HWND hWnd)
    : m_pControl(pControl), m_hWnd(hWnd) {
    if (pControl != nullptr) {
        Tk::addDispatcher(this);
    }
}

TkWindowsDispatcher::~TkWindowsDispatcher() {
    Tk::removeDispatcher(this); // also when an assignment has taken the control away
}

TkWindowsDispatcher::TkWindowsDispatcher(const TkWindowsDispatcher &other)
    : TkGenDispatcher(other), m_pControl(other.m_pControl.load()), m_hWnd(other.m_hWnd.load()) {}

TkWindowsDispatcher &TkWindowsDispatcher::operator=(const TkWindowsDispatcher &other) {
    m_pControl = other.m_pControl.load();
    m_hWnd = other.m_hWnd.load();
    return *this;
}

void TkWindowsDispatcher::post(unsigned long wParam, long lParam) {
    if (m_pControl != nullptr) {
        tkplatform::postMessage(m_hWnd, MESSAGE, wParam, lParam);
    }
}

void TkWindowsDispatcher::postValue(Tk::TextCommands parameter) {
    if (const TkGeneratorControl *const control = m_pControl) {
        post(static_cast<unsigned long>(parameter), control->getGenParam(parameter));
    }
}
