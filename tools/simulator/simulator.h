#ifndef TKSIM_SIMULATOR_H
#define TKSIM_SIMULATOR_H

#include "machine.h"
#include "misbehaviour.h"

#include <deque>
#include <memory>

namespace tksim {

/// A machine with its end of the line: bytes and orders in, bytes and printed lines out. It does no
/// input or output and knows no clock: `now` only ever grows.
class Simulator {
  public:
    struct Options {
        std::uint32_t seed = 1;
        bool trace = false;
    };

    Simulator(std::unique_ptr<Machine> machine, const Options &options);

    // The orders refer to the object.
    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    /// Bytes from the machine that speaks with this one.
    void receive(const std::uint8_t *bytes, std::size_t count, Milliseconds now);

    /// One order: one of the machine's own, or one for the line.
    Request command(const std::string &line, Milliseconds now);

    /// Lets time pass up to `now`.
    void advance(Milliseconds now);

    /// When `advance` or `takeBytes` has something next.
    std::optional<Milliseconds> deadline() const;

    /// The bytes that are due on the line.
    Bytes takeBytes(Milliseconds now);

    std::vector<std::string> takeLines();

    /// The line is gone: whatever was on its way is lost.
    void unplugged();

    /// The orders that every machine has.
    const std::vector<Order> &lineOrders() const { return m_LineOrders; }

  private:
    std::vector<Order> makeLineOrders();
    Order::Run chance(Mishap mishap);
    const Order *find(const std::string &name) const;
    Order::Outcome delay(const Words &words, Milliseconds now);
    Order::Outcome silence(const Words &words, Milliseconds now);
    Order::Outcome storm(const Words &words, Milliseconds now);
    Order::Outcome help(const Words &words, Milliseconds now);
    void collect(Milliseconds now);
    void print(std::string line) { m_Lines.push_back(std::move(line)); }

    std::unique_ptr<Machine> m_Machine;
    Misbehaviour m_Misbehaviour;
    bool m_Trace;
    std::deque<Transmission> m_Queue;
    std::vector<std::string> m_Lines;
    std::vector<Order> m_MachineOrders;
    std::vector<Order> m_LineOrders;
};

} // namespace tksim

#endif
