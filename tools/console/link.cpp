#include "link.h"

int Link::read_ch(char *byte) {
    if (m_TurnRequested) {
        m_TurnRequested = false;
        m_Wakeup.ring();
    }
    const int result = m_Device.read_ch(byte);
    const bool justFailed = result < 0 && !m_Failed.exchange(true);
    if (justFailed || (result == 0 && m_Received)) {
        m_Wakeup.ring();
    }
    m_Received = result > 0;
    return result;
}
