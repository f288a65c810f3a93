#include "messages.h"

#include "words.h"

#include <cstdio>

namespace {

std::string subjectOf(unsigned long wParam) {
    switch (wParam) {
    case TkWindowsDispatcher::LINK_LOST:
        return "lost";
    case TkWindowsDispatcher::LINK_BACK:
        return "back";
    default:
        return mnemonicOf(static_cast<Tk::TextCommands>(wParam));
    }
}

std::string textOf(const TkWindowMessage &message) {
    char text[100];
    std::snprintf(text, sizeof text, "%u  wParam 0x%-6lX  %-4s  lParam %ld", message.message,
                  message.wParam, subjectOf(message.wParam).c_str(), message.lParam);
    return text;
}

} // namespace

Messages::~Messages() {
    close();
}

bool Messages::watch(bool on) {
    if (!on) {
        m_Dispatcher.reset();
        show();
        close();
    } else if (m_Window == nullptr) {
        m_Window = tkCreateWindow();
        if (m_Window == nullptr) {
            return false;
        }
        m_Dispatcher.emplace(&m_Engine, m_Window);
    }
    return true;
}

void Messages::show() {
    TkWindowMessage message;
    while (tkGetMessage(m_Window, &message, 0)) {
        m_Display.line(Kind::message, textOf(message));
    }
    const unsigned long losses = tkLostMessages(m_Window);
    if (losses != m_ShownLosses) {
        m_Display.line(Kind::message, std::to_string(losses - m_ShownLosses) +
                                          " messages were lost, the window's queue was full");
        m_ShownLosses = losses;
    }
}

void Messages::close() {
    m_Dispatcher.reset();
    tkDestroyWindow(m_Window);
    m_Window = nullptr;
    m_ShownLosses = 0;
}
