#ifndef TKSITE_BRIDGE_H
#define TKSITE_BRIDGE_H

#include "backoff.h"
#include "host.h"
#include "log.h"
#include "site_end.h"
#include "wakeup.h"

#include "tkserial.h"

#include <memory>
#include <string>

/// Joins a serial device to a relay, whatever becomes of the relay, and carries bytes both ways
/// while a control is connected. Everything is the main thread's.
class Bridge {
  public:
    /// How a run ended.
    enum class End { asked, deviceGone };

    Bridge(TkSerial &serial, const HostAndPort &relay, const std::string &description,
           const Wakeup &wakeup);

    /// Runs until a signal, or until the device has gone.
    End run();

  private:
    // Being logged on
    void tend();
    void logOn();
    void giveUp(const std::string &why);
    void introduce();
    void askForLife();

    // Carrying bytes
    bool isPaired() const { return m_End && m_End->isConnected(); }
    bool carryFromDevice();
    void carryToDevice();
    Deadline nextRound() const;

    TkSerial &m_Serial;
    const HostAndPort m_Relay;
    const std::string m_Description;
    const Wakeup &m_Wakeup;
    Log m_Log;
    Backoff m_Backoff;

    std::unique_ptr<SiteEnd> m_End; // null between two tries
    Clock::time_point m_NextTry = Clock::now();
    Clock::time_point m_LifeSign; // one is asked for then; or, when asked, due
    bool m_Introduced = false;
    bool m_Asked = false;
    bool m_DeviceStuck = false;
    std::string m_Block; // from the device
};

#endif
