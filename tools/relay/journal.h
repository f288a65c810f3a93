#ifndef TKRELAY_JOURNAL_H
#define TKRELAY_JOURNAL_H

#include "log.h"
#include "wakeup.h"

#include "tkdispatchers.h"

#include <atomic>

/// Logs what happens at the relay, and rings when the server has failed.
class Journal : private TkTCPIPDispatcher {
  public:
    Journal(Log &log, const Wakeup &wakeup);
    ~Journal() override;
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    /// Whether the server has failed since the last call.
    bool takeFailure() { return m_Failed.exchange(false); }

  private:
    // On the server's threads
    void tcpip_Server_Failed() override;
    void tcpip_Server_Accept(void *connection) override;
    void tcpip_Server_Client(void *connection) override;
    void tcpip_Server_Control(void *connection) override;
    void tcpip_Server_Description(void *connection) override;
    void tcpip_Server_Connect(void *connection) override;
    void tcpip_Server_Disconnect() override;
    void tcpip_Server_Logoff(void *site) override;

    Log &m_Log;
    const Wakeup &m_Wakeup;
    std::atomic<bool> m_Failed{false};
};

#endif
