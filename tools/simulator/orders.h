#ifndef TKSIM_ORDERS_H
#define TKSIM_ORDERS_H

#include "wire.h"

#include <functional>

namespace tksim {

using Words = std::vector<std::string>;

/// What an order asks of the program around the simulator.
enum class Request { none, quit, unplug, plug };

/// One order of a panel.
struct Order {
    enum class Outcome {
        done,
        taken, ///< a setting, which is printed as it was given
        notNow,
        misused
    };
    using Run = std::function<Outcome(const Words &words, Milliseconds now)>;

    const char *name;
    const char *arguments; ///< each behind a blank; "..." at the end for any number of words
    const char *meaning;
    Run run;
    Request request = Request::none;

    std::string usage() const { return std::string(name) + arguments; }

    /// Whether so many words can follow the name: all arguments, with or without those in brackets,
    /// which come last and go together or singly as the order sees fit.
    bool takes(std::size_t count) const;
};

/// A member function as what an order runs.
template <class Owner>
Order::Run orderOf(Owner *owner,
                   Order::Outcome (Owner::*run)(const Words &words, Milliseconds now)) {
    return [owner, run](const Words &words, Milliseconds now) { return (owner->*run)(words, now); };
}

/// One line for each order.
std::vector<std::string> helpLines(const std::vector<Order> &orders);

Words wordsOf(const std::string &line);

/// The words from `first` on, with a blank between.
std::string joined(const Words &words, std::size_t first);

/// The word at `place` as a number between two bounds, both of them in it.
std::optional<int> numberAt(const Words &words, std::size_t place, int lowest, int highest);

std::optional<double> percentAt(const Words &words, std::size_t place);

/// "on" or "off".
std::optional<bool> switchAt(const Words &words, std::size_t place);

/// An order that throws a switch.
Order::Run switchOrder(std::function<void(bool)> set);

} // namespace tksim

#endif
