#include "site_end.h"

#include "tk.h"

namespace {

/// A control that sends more than the device takes loses what is beyond. No conversation gets near
/// it.
constexpr std::size_t largestBacklog = 65536;

} // namespace

SiteEnd::SiteEnd(Log &log, const Wakeup &wakeup) : m_Log(log), m_Wakeup(wakeup) {
    Tk::addDispatcher(this);
}

SiteEnd::~SiteEnd() {
    Tk::removeDispatcher(this);
}

std::string SiteEnd::takeReceived(std::size_t size) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    std::string bytes = m_Received.substr(0, size);
    m_Received.erase(0, bytes.size());
    return bytes;
}

void SiteEnd::tcpip_Client_Failed() {
    m_Lost = true;
    m_Wakeup.ring();
}

void SiteEnd::tcpip_Client_Logon(void *) {
    m_Log.line("logged on");
    m_Wakeup.ring();
}

void SiteEnd::tcpip_Client_Data_Ready() {
    char bytes[RECEIVED_LIMIT];
    int count = sizeof bytes;
    getReceivedData(reinterpret_cast<unsigned char *>(bytes), &count);
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_Received.size() < largestBacklog) {
            m_Received.append(bytes, static_cast<std::size_t>(count));
        }
    }
    m_Wakeup.ring();
}

void SiteEnd::tcpip_Client_Connect(void *address) {
    m_Log.line("control " + std::string(static_cast<const char *>(address)) + " is connected");
    m_Wakeup.ring();
}

void SiteEnd::tcpip_Client_Disconnect() {
    m_Log.line("the control has left");
    m_PairEnded = true;
    m_Wakeup.ring();
}

void SiteEnd::tcpip_Client_Message() {
    char text[TkClientSocket::DATA_LIMIT];
    getReceivedMessage(text, sizeof text);
    m_Log.line("message: " + std::string(text));
}

void SiteEnd::tcpip_Client_Server_Down() {
    m_Log.line("the relay shuts down");
    m_Lost = true;
    m_Wakeup.ring();
}
