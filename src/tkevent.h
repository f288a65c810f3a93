#ifndef TKEVENT_H
#define TKEVENT_H

/// One operation of a dispatcher interface, as tables hold it: none, one without an argument, or
/// one that is handed the event's data.
template <class Dispatcher>
class TkEvent {
  public:
    using Plain = void (Dispatcher::*)();
    using WithData = void (Dispatcher::*)(void *);

    constexpr TkEvent() = default;
    constexpr TkEvent(Plain operation) : m_Plain(operation) {}
    constexpr TkEvent(WithData operation) : m_WithData(operation) {}

    constexpr explicit operator bool() const { return m_Plain != nullptr || m_WithData != nullptr; }

    void fire(Dispatcher &dispatcher, void *data) const {
        if (m_Plain != nullptr) {
            (dispatcher.*m_Plain)();
        } else if (m_WithData != nullptr) {
            (dispatcher.*m_WithData)(data);
        }
    }

  private:
    Plain m_Plain = nullptr;
    WithData m_WithData = nullptr;
};

#endif
