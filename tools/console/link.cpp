#include "link.h"

Link::Link(const char *device, const Wakeup &wakeup)
    : m_Serial(device, TkSerial::MODE_READ_WRITE), m_Wakeup(wakeup) {}

int Link::read_ch(char *byte) {
    if (m_TurnRequested) {
        m_TurnRequested = false;
        m_Wakeup.ring();
    }
    const int result = m_Serial.read_ch(byte);
    const bool justFailed = result < 0 && !m_Failed.exchange(true);
    if (justFailed || (result == 0 && m_Received)) {
        m_Wakeup.ring();
    }
    m_Received = result > 0;
    return result;
}
