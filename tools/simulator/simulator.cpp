#include "simulator.h"

#include <utility>

namespace tksim {

Simulator::Simulator(const Options &options)
    : m_Generator(options.family, options.revision, options.timeScale, options.utc),
      m_Misbehaviour(options.seed), m_Trace(options.trace) {}

void Simulator::receive(const std::uint8_t *bytes, std::size_t count, Milliseconds now) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::optional<Frame> frame = m_Reader.push(bytes[i], now, m_Generator.revision());
        if (!frame) {
            continue;
        }
        if (m_Trace) {
            print("< " + readable(frame->bytes));
        }
        m_Generator.receive(*frame, now);
        collect(now);
    }
}

void Simulator::advance(Milliseconds now) {
    m_Generator.advance(now);
    collect(now);
}

/// Takes over what the generator has said, through the misbehaviour.
void Simulator::collect(Milliseconds now) {
    const Output output = m_Generator.takeOutput();
    for (const Bytes &frame : output.frames) {
        for (Transmission &each : m_Misbehaviour.apply(frame, now)) {
            m_Queue.push_back(std::move(each));
        }
    }
    m_Lines.insert(m_Lines.end(), output.lines.begin(), output.lines.end());
}

std::optional<Milliseconds> Simulator::deadline() const {
    const std::optional<Milliseconds> generator = m_Generator.deadline();
    if (m_Queue.empty() || (generator && *generator < m_Queue.front().due)) {
        return generator;
    }
    return m_Queue.front().due;
}

Bytes Simulator::takeBytes(Milliseconds now) {
    Bytes bytes;
    for (; !m_Queue.empty() && m_Queue.front().due <= now; m_Queue.pop_front()) {
        const Transmission &each = m_Queue.front();
        if (m_Trace) {
            print("> " + readable(each.bytes) + (each.note.empty() ? "" : " :" + each.note));
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
    m_Reader.clear();
}

} // namespace tksim
