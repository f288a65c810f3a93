#include "link.h"

Link::Link(const char *device, const Wakeup &wakeup)
    : m_serial(device, TkSerial::MODE_READ_WRITE), m_wakeup(wakeup) {}

int Link::read_ch(char *byte) {
    if (m_turnRequested) {
        m_turnRequested = false;
        m_wakeup.ring();
    }
    const int result = m_serial.read_ch(byte);
    const bool justFailed = result < 0 && !m_failed.exchange(true);
    if (justFailed || (result == 0 && m_received))
        m_wakeup.ring();
    m_received = result > 0;
    return result;
}
