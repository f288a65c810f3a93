#ifndef TKSIM_CONSOLE_H
#define TKSIM_CONSOLE_H

#include "machine.h"

#include <utility>

namespace tksim {

/// One value that a console has.
struct ConsoleValue {
    std::string_view name;
    int lowest, highest;
    int value;
    bool muted = false;

    bool accepts(int wanted) const { return wanted >= lowest && wanted <= highest; }

    /// Changes it by so much; it stops at the end of its range.
    void step(int change);
};

/// What the consoles have in common: named values, a panel to change them at, and bytes gathered to
/// frames. What stands on the wire is each console's own.
class Console : public Machine {
  public:
    std::optional<Bytes> receive(std::uint8_t byte, Milliseconds now) override;
    void unplugged() override { m_Buffer.clear(); }
    Output takeOutput() override { return std::exchange(m_Output, {}); }
    std::string readable(const Bytes &bytes) const override;
    std::vector<Order> orders() override;

  protected:
    enum class Gathered { unfinished, whole, noise };

    explicit Console(std::vector<ConsoleValue> values) : m_Values(std::move(values)) {}

    ConsoleValue &value(std::size_t place) { return m_Values[place]; }

    /// Sends a text about a value, by its place in the list, unless that is muted.
    void tell(std::size_t place, std::string_view text, Milliseconds now);

    /// What can't be understood gets a NAK, or nothing.
    void notUnderstood();

    /// Sends a text's frame.
    virtual void send(std::string_view text, Milliseconds now);

    virtual void show(Milliseconds now);

    void print(std::string line) { m_Output.print(std::move(line)); }
    void sendByte(std::uint8_t byte) { m_Output.sendByte(byte); }

  private:
    virtual Gathered gathered(const Bytes &bytes) const = 0;

    /// A text as the line carries it.
    virtual Bytes frameOf(std::string_view text) const = 0;

    /// The text of a sound frame; empty for all other bytes.
    virtual std::string textOf(const Bytes &frame) const = 0;

    /// The text that tells a value.
    virtual std::string item(std::size_t place) = 0;

    virtual void answer(const Bytes &frame, Milliseconds now) = 0;

    std::optional<std::size_t> find(std::string_view name) const;
    Order::Outcome set(const Words &words, Milliseconds now);
    Order::Outcome mute(const Words &words, Milliseconds now);
    Order::Outcome raw(const Words &words, Milliseconds now);

    FrameBuffer m_Buffer;
    std::vector<ConsoleValue> m_Values;
    bool m_Refusing = false;
    Output m_Output;
};

} // namespace tksim

#endif
