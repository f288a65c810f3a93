#ifndef TKTRANSFER_LINK_H
#define TKTRANSFER_LINK_H

#include "tkserial.h"
#include "wakeup.h"

#include <array>
#include <atomic>
#include <cstddef>

/// A link that tells the main thread when it is of no more use, and of which a cancel ends the
/// write under way. What isn't said otherwise belongs to the transfer's thread.
class TransferLink : public TkComms {
  public:
    enum class State {
        good,
        gone,   ///< the input has ended, or the device doesn't work any more
        stalled ///< the far end takes nothing
    };

    /// From any thread.
    State state() const { return m_State; }

    /// Gives up the write under way; later ones, as of a cancel sequence, have less patience. From
    /// any thread.
    void cancel() { m_Cancelled = true; }

    /// Whether the last thing that was written is a cancel sequence.
    bool hasSentCancel() const;

    int write_ch(char byte) final { return write_str(&byte, 1); }
    int write_str(char *bytes, unsigned int length) final;
    bool enableBlocking(bool) final { return true; }

  protected:
    explicit TransferLink(const Wakeup &wakeup) : m_Wakeup(wakeup) {}

    /// Writes the whole block, or returns false.
    virtual bool send(char *bytes, std::size_t size) = 0;

    /// The first failure counts.
    void fail(State state);
    bool isCancelled() const { return m_Cancelled; }

    bool m_SendFailed = false; // the input may still have something, the reason too

  private:
    const Wakeup &m_Wakeup;
    std::atomic<State> m_State{State::good};
    std::atomic<bool> m_Cancelled{false};
    std::size_t m_Cans = 0; // at the end of what was written
};

/// Two descriptors, such as standard input and output, that are in non-blocking mode.
class DescriptorLink final : public TransferLink {
  public:
    DescriptorLink(int input, int output, const Wakeup &wakeup)
        : TransferLink(wakeup), m_Input(input), m_Output(output) {}

    int read_ch(char *byte) override;
    unsigned long timeoutPeriod() override;
    bool isOpen() override { return state() == State::good; }

  private:
    bool send(char *bytes, std::size_t size) override;
    bool fill();

    const int m_Input;
    const int m_Output;
    std::array<char, 4096> m_Received;
    std::size_t m_Count = 0;
    std::size_t m_Next = 0;
};

/// A serial device.
class SerialLink final : public TransferLink {
  public:
    SerialLink(const char *device, const Wakeup &wakeup)
        : TransferLink(wakeup), m_Serial(device, TkSerial::MODE_READ_WRITE) {}

    /// Sets the rate, and tells the far end by the modem lines that somebody is there. False when
    /// the device hasn't got the rate.
    bool prepare(int baudRate);

    int read_ch(char *byte) override;
    unsigned long timeoutPeriod() override { return m_Serial.timeoutPeriod(); }
    bool isOpen() override { return m_Serial.isOpen(); }

  private:
    bool send(char *bytes, std::size_t size) override;

    TkSerial m_Serial;
};

#endif
