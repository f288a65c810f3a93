#ifndef TKGEN_TESTS_ENGINE_H
#define TKGEN_TESTS_ENGINE_H

#include "tkgeneratorcontrol.h"

#include <atomic>
#include <chrono>
#include <thread>

/// An engine whose cycles a test runs itself, without a thread.
template <class Control>
class Driven : public Control {
  public:
    using Control::Control;

    void cycle(int times = 1) {
        for (; times > 0; --times) {
            this->threadCycle();
        }
    }
    std::size_t queued() { return this->queuedFrames(); }
};

class DrivenGenerator : public Driven<TkGeneratorControl> {
  public:
    using Driven::Driven;

    static int revision() { return m_nGeneratorRevision; }
    static void setRevision(int revision) { m_nGeneratorRevision = revision; }
};

/// Registers a dispatcher for a block.
class Registered {
  public:
    explicit Registered(TkBaseDispatcher &dispatcher) : m_Dispatcher(dispatcher) {
        Tk::addDispatcher(&m_Dispatcher);
    }
    ~Registered() { Tk::removeDispatcher(&m_Dispatcher); }
    Registered(const Registered &) = delete;
    Registered &operator=(const Registered &) = delete;

  private:
    TkBaseDispatcher &m_Dispatcher;
};

/// A place that a thread enters and stays in until the test lets it go.
class Gate {
  public:
    void pass() {
        m_bInside = true;
        while (!m_bOpen) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    bool inside() const { return m_bInside; }
    void open() { m_bOpen = true; }

  private:
    std::atomic<bool> m_bInside{false};
    std::atomic<bool> m_bOpen{false};
};

/// Waits until a condition holds, ten seconds at the most. Returns whether it does.
template <class Condition>
bool eventually(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

#endif
