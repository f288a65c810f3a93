#include "tk.h"

#include "tkdispatchmanager.h"

namespace {

/// Initialised before any code runs, and never destroyed.
union Lasting {
    constexpr Lasting() : manager() {}
    ~Lasting() {}
    TkDispatchManager manager;
};

Lasting lasting;

} // namespace

std::atomic<int> Tk::m_nGeneratorRevision{0};
TkDispatchManager &Tk::m_DispatchManager = lasting.manager;

void Tk::addDispatcher(TkBaseDispatcher *dispatcher) {
    m_DispatchManager.addDispatcher(dispatcher);
}

bool Tk::removeDispatcher(TkBaseDispatcher *dispatcher) {
    return m_DispatchManager.removeDispatcher(dispatcher);
}
