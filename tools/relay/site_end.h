#ifndef TKSITE_SITE_END_H
#define TKSITE_SITE_END_H

#include "endpoints.h"
#include "log.h"
#include "wakeup.h"

#include "tkdispatchers.h"

#include <atomic>
#include <mutex>
#include <string>

/// The site's end of the relay. It logs what happens, rings, and takes received data over at once:
/// the endpoint itself keeps few bytes, and ends when more come.
class SiteEnd : public RelayClient, private TkTCPIPDispatcher {
  public:
    SiteEnd(Log &log, const Wakeup &wakeup);
    ~SiteEnd() override;

    /// The relay has gone, or the connection to it: this end is of no more use.
    bool isLost() const { return m_Lost; }

    /// Whether a pair has ended since the last call.
    bool takePairEnd() { return m_PairEnded.exchange(false); }

    /// Takes what has come from the control, at most `size` bytes.
    std::string takeReceived(std::size_t size);

  private:
    // On the endpoint's thread, or inside a call
    void tcpip_Client_Failed() override;
    void tcpip_Client_Logon(void *socket) override;
    void tcpip_Client_Data_Ready() override;
    void tcpip_Client_Connect(void *address) override;
    void tcpip_Client_Disconnect() override;
    void tcpip_Client_Message() override;
    void tcpip_Client_Server_Down() override;

    Log &m_Log;
    const Wakeup &m_Wakeup;
    std::atomic<bool> m_Lost{false};
    std::atomic<bool> m_PairEnded{false};

    std::mutex m_Mutex; // guards the bytes; a leaf
    std::string m_Received;
};

#endif
