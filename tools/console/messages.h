#ifndef TKCONSOLE_MESSAGES_H
#define TKCONSOLE_MESSAGES_H

#include "display.h"

#include "tkgeneratorcontrol.h"
#include "tkwindowsdispatcher.h"

#include <optional>

/// The messages that an application with a message loop would get of the engine, posted to a window
/// of the console's own and shown one by one. Main thread only; to be destroyed before the engine.
class Messages {
  public:
    Messages(Display &display, TkGeneratorControl &engine) : m_Display(display), m_Engine(engine) {}
    ~Messages();
    Messages(const Messages &) = delete;
    Messages &operator=(const Messages &) = delete;

    /// Makes the window and has messages posted to it, or takes both away. False when the system
    /// has no window to give.
    bool watch(bool on);

    /// A descriptor that is readable while messages wait; -1 without a window.
    int fd() const { return tkWindowFd(m_Window); }

    /// Shows what has come, and how many messages were lost since the last call.
    void show();

  private:
    void close();

    Display &m_Display;
    TkGeneratorControl &m_Engine;
    HWND m_Window = nullptr;
    unsigned long m_ShownLosses = 0;
    std::optional<TkWindowsDispatcher> m_Dispatcher;
};

#endif
