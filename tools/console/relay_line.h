#ifndef TKCONSOLE_RELAY_LINE_H
#define TKCONSOLE_RELAY_LINE_H

#include "endpoints.h"
#include "host.h"
#include "wakeup.h"

#include "tkdispatchers.h"

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

/// Why there is no line to a generator, in words.
class NoLine : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The line to a generator at a site that a relay knows. It is a device from connect on; one that
/// has gone when the relay has. The main thread's, but for the device, which is the engine's.
class RelayLine : public TkComms, private TkTCPIPDispatcher {
  public:
    struct Site {
        std::string address;
        std::string description;
    };

    /// Logs on to a relay. Throws NoLine.
    RelayLine(const HostAndPort &relay, const Wakeup &wakeup);

    /// Ends the connection to the site, and logs off.
    ~RelayLine() override;
    RelayLine(const RelayLine &) = delete;
    RelayLine &operator=(const RelayLine &) = delete;

    /// The sites that the relay knows, one for each address. Throws NoLine.
    std::vector<Site> sites();

    /// Connects to the site at an address. Throws NoLine, also when somebody else is connected.
    void connect(const std::string &address);

    /// Whether the site has left since the last call. Nothing that is sent arrives any more.
    bool takeDeparture() { return m_Departed.exchange(false); }

    int read_ch(char *byte) override;
    int write_ch(char byte) override { return m_End.write_ch(byte); }
    int write_str(char *bytes, unsigned int length) override {
        return m_End.write_str(bytes, length);
    }
    bool enableBlocking(bool enable) override { return m_End.enableBlocking(enable); }
    unsigned long timeoutPeriod() override { return m_End.timeoutPeriod(); }
    bool isOpen() override { return !m_Ended && m_End.isOpen(); }

  private:
    void logOn(const HostAndPort &relay);
    void await(const std::function<bool()> &done, const std::string &otherwise);
    Site nextSite();

    // On the endpoint's thread, or inside a call
    void tcpip_Control_Failed() override { end(); }
    void tcpip_Control_Server_Down() override { end(); }
    void tcpip_Control_Disconnect() override;
    void tcpip_Control_Logon(void *) override { m_Wakeup.ring(); }
    void tcpip_Control_Addr_Ready() override { m_Wakeup.ring(); }
    void tcpip_Control_Connected() override { m_Wakeup.ring(); }
    void tcpip_Control_Rejected() override { m_Wakeup.ring(); }
    void end();

    const Wakeup &m_Wakeup;
    std::atomic<bool> m_Ended{false}; // the relay has gone
    std::atomic<bool> m_Departed{false};
    RelayControl m_End; // the last one: its thread uses the others
};

#endif
