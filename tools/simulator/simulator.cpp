#include "simulator.h"

#include <limits>
#include <utility>

namespace tksim {

namespace {

constexpr Milliseconds forever = std::numeric_limits<Milliseconds>::max();
constexpr int longestStorm = 1000;
constexpr int longestDelay = 60000;
constexpr int longestSilence = 3600000;

} // namespace

Simulator::Simulator(std::unique_ptr<Machine> machine, const Options &options)
    : m_Machine(std::move(machine)), m_Misbehaviour(options.seed), m_Trace(options.trace),
      m_MachineOrders(m_Machine->orders()), m_LineOrders(makeLineOrders()) {}

void Simulator::receive(const std::uint8_t *bytes, std::size_t count, Milliseconds now) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::optional<Bytes> frame = m_Machine->receive(bytes[i], now);
        if (!frame) {
            continue;
        }
        if (m_Trace) {
            print("< " + m_Machine->readable(*frame));
        }
        collect(now);
    }
}

void Simulator::advance(Milliseconds now) {
    m_Machine->advance(now);
    collect(now);
}

/// Takes over what the machine has said, through the misbehaviour.
void Simulator::collect(Milliseconds now) {
    const Output output = m_Machine->takeOutput();
    for (const Bytes &frame : output.frames) {
        for (Transmission &each : m_Misbehaviour.apply(frame, now)) {
            m_Queue.push_back(std::move(each));
        }
    }
    m_Lines.insert(m_Lines.end(), output.lines.begin(), output.lines.end());
}

std::optional<Milliseconds> Simulator::deadline() const {
    const std::optional<Milliseconds> machine = m_Machine->deadline();
    if (m_Queue.empty() || (machine && *machine < m_Queue.front().due)) {
        return machine;
    }
    return m_Queue.front().due;
}

Bytes Simulator::takeBytes(Milliseconds now) {
    Bytes bytes;
    for (; !m_Queue.empty() && m_Queue.front().due <= now; m_Queue.pop_front()) {
        const Transmission &each = m_Queue.front();
        if (m_Trace) {
            print("> " + m_Machine->readable(each.bytes) +
                  (each.note.empty() ? "" : " :" + each.note));
        }
        if (!each.lost) {
            bytes.insert(bytes.end(), each.bytes.begin(), each.bytes.end());
        }
    }
    return bytes;
}

std::vector<std::string> Simulator::takeLines() {
    return std::exchange(m_Lines, {});
}

void Simulator::unplugged() {
    m_Queue.clear();
    m_Misbehaviour.unplugged();
    m_Machine->unplugged();
}

// clang-format off
std::vector<Order> Simulator::makeLineOrders() {
    const auto leave = [](const Words &, Milliseconds) { return Order::Outcome::done; };
    using Self = Simulator;
    return {
        {"drop", " PERCENT", "lose frames", chance(Mishap::drop)},
        {"corrupt", " PERCENT", "turn one bit of frames", chance(Mishap::corrupt)},
        {"cut", " PERCENT", "cut frames short", chance(Mishap::cut)},
        {"duplicate", " PERCENT", "send frames twice", chance(Mishap::duplicate)},
        {"nak", " PERCENT", "send a NAK in place of frames", chance(Mishap::refuse)},
        {"garbage", " PERCENT", "send random bytes before frames", chance(Mishap::garbage)},
        {"delay", " MILLISECONDS [PERCENT]", "send frames late, all or some",
         orderOf(this, &Self::delay)},
        {"silence", " on|off|MILLISECONDS", "send nothing", orderOf(this, &Self::silence)},
        {"storm", " COUNT", "send 1 to 1000 NAKs at once", orderOf(this, &Self::storm)},
        {"unplug", "", "close the device for good", leave, Request::unplug},
        {"plug", "", "open a new device", leave, Request::plug},
        {"help", "", "print these lines", orderOf(this, &Self::help)},
        {"quit", "", "end", leave, Request::quit},
    };
}
// clang-format on

const Order *Simulator::find(const std::string &name) const {
    for (const std::vector<Order> *orders : {&m_MachineOrders, &m_LineOrders}) {
        for (const Order &order : *orders) {
            if (name == order.name) {
                return &order;
            }
        }
    }
    return nullptr;
}

Request Simulator::command(const std::string &line, Milliseconds now) {
    const Words words = wordsOf(line);
    if (words.empty()) {
        return Request::none;
    }
    const Order *order = find(words[0]);
    if (!order) {
        print("unknown command: " + line);
        return Request::none;
    }
    using Outcome = Order::Outcome;
    const bool fits = order->takes(words.size() - 1);
    const Outcome outcome = fits ? order->run(words, now) : Outcome::misused;
    collect(now);
    if (outcome == Outcome::taken) {
        print(joined(words, 0));
    } else if (outcome == Outcome::notNow) {
        print("not possible now: " + line);
    } else if (outcome == Outcome::misused) {
        print("usage: " + order->usage());
    }
    const bool obeyed = outcome == Outcome::done || outcome == Outcome::taken;
    return obeyed ? order->request : Request::none;
}

Order::Run Simulator::chance(Mishap mishap) {
    return [this, mishap](const Words &words, Milliseconds) {
        const auto percent = percentAt(words, 1);
        if (!percent) {
            return Order::Outcome::misused;
        }
        m_Misbehaviour.setPercent(mishap, *percent);
        return Order::Outcome::taken;
    };
}

Order::Outcome Simulator::delay(const Words &words, Milliseconds) {
    const auto length = numberAt(words, 1, 0, longestDelay);
    const auto percent = words.size() > 2 ? percentAt(words, 2) : 100.0;
    if (!length || !percent) {
        return Order::Outcome::misused;
    }
    m_Misbehaviour.setDelay(static_cast<Milliseconds>(*length));
    m_Misbehaviour.setPercent(Mishap::delay, *percent);
    return Order::Outcome::taken;
}

Order::Outcome Simulator::silence(const Words &words, Milliseconds now) {
    const auto length = numberAt(words, 1, 1, longestSilence);
    const auto on = switchAt(words, 1);
    if (!length && !on) {
        return Order::Outcome::misused;
    }
    if (length) {
        m_Misbehaviour.setSilence(now + static_cast<Milliseconds>(*length));
    } else {
        m_Misbehaviour.setSilence(*on ? forever : 0);
    }
    return Order::Outcome::taken;
}

Order::Outcome Simulator::storm(const Words &words, Milliseconds now) {
    const auto count = numberAt(words, 1, 1, longestStorm);
    if (!count) {
        return Order::Outcome::misused;
    }
    const bool lost = m_Misbehaviour.silent(now);
    m_Queue.push_back({now, Bytes(static_cast<std::size_t>(*count), nak),
                       lost ? " storm silenced" : " storm", lost});
    return Order::Outcome::taken;
}

Order::Outcome Simulator::help(const Words &, Milliseconds) {
    for (const std::vector<Order> *orders : {&m_MachineOrders, &m_LineOrders}) {
        for (std::string &line : helpLines(*orders)) {
            print(std::move(line));
        }
    }
    return Order::Outcome::done;
}

} // namespace tksim
