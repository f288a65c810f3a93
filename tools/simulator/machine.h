#ifndef TKSIM_MACHINE_H
#define TKSIM_MACHINE_H

#include "orders.h"
#include "output.h"

namespace tksim {

/// What stands at the far end of the line, with its panel: takes bytes and orders, answers, and
/// lets time pass as it is told. No bytes are lost or spoiled here, and nothing is read or written.
class Machine {
  public:
    virtual ~Machine() = default;

    /// Takes one byte; returns the frame that it completes, which has been answered.
    virtual std::optional<Bytes> receive(std::uint8_t byte, Milliseconds now) = 0;

    /// The line is gone: nothing more comes of what has come.
    virtual void unplugged() = 0;

    virtual void advance(Milliseconds) {}

    /// When `advance` has something next.
    virtual std::optional<Milliseconds> deadline() const { return std::nullopt; }

    /// What was said since the last call.
    virtual Output takeOutput() = 0;

    /// Bytes of the line, in either direction, for a person to read.
    virtual std::string readable(const Bytes &bytes) const = 0;

    /// The orders of its own panel; they refer to the machine.
    virtual std::vector<Order> orders() = 0;
};

} // namespace tksim

#endif
