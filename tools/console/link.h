#ifndef TKCONSOLE_LINK_H
#define TKCONSOLE_LINK_H

#include "tkcomms.h"
#include "wakeup.h"

#include <atomic>

/// A line, serial or through a relay, that tells the main thread what the engine's worker has done
/// with it: that all it received has been taken over, that a cycle has passed, that the device has
/// gone. The worker reads again only when it is through with the byte before and the callbacks that
/// it caused.
class Link : public TkComms {
  public:
    Link(TkComms &device, const Wakeup &wakeup) : m_Device(device), m_Wakeup(wakeup) {}

    /// Whether the device has stopped working: an adapter that was pulled, a relay
    /// that has ended.
    bool hasFailed() const { return m_Failed; }

    /// Asks for a ring when the worker is through with what it does now.
    void requestTurn() { m_TurnRequested = true; }
    bool isTurnDue() const { return m_TurnRequested; }

    int read_ch(char *byte) override;
    int write_ch(char byte) override { return m_Device.write_ch(byte); }
    int write_str(char *bytes, unsigned int length) override {
        return m_Device.write_str(bytes, length);
    }
    bool enableBlocking(bool enable) override { return m_Device.enableBlocking(enable); }
    unsigned long timeoutPeriod() override { return m_Device.timeoutPeriod(); }
    bool isOpen() override { return m_Device.isOpen(); }

  private:
    TkComms &m_Device;
    const Wakeup &m_Wakeup;
    std::atomic<bool> m_Failed{false};
    std::atomic<bool> m_TurnRequested{false};
    bool m_Received = false; // the worker's own: bytes since the last ring
};

#endif
