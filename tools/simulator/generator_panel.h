#ifndef TKSIM_GENERATOR_PANEL_H
#define TKSIM_GENERATOR_PANEL_H

#include "generator.h"
#include "machine.h"

namespace tksim {

/// A generator with what a person can do at it.
class GeneratorPanel : public Machine {
  public:
    struct Options {
        Family family = Family::arkona;
        int revision = 301;
        double timeScale = 1;
        std::int64_t utc = 0; ///< what the clock tells at time 0, in seconds since 1970
    };

    explicit GeneratorPanel(const Options &options);

    std::optional<Bytes> receive(std::uint8_t byte, Milliseconds now) override;
    void unplugged() override { m_Reader.clear(); }
    void advance(Milliseconds now) override { m_Generator.advance(now); }
    std::optional<Milliseconds> deadline() const override { return m_Generator.deadline(); }
    Output takeOutput() override;
    std::string readable(const Bytes &bytes) const override;
    std::vector<Order> orders() override;

  private:
    Order::Outcome prep(const Words &words, Milliseconds now);
    Order::Outcome expose(const Words &words, Milliseconds now);
    Order::Outcome release(const Words &words, Milliseconds now);
    Order::Outcome fluoro(const Words &words, Milliseconds now);
    Order::Outcome error(const Words &words, Milliseconds now);
    Order::Outcome latched(const Words &words, Milliseconds now);
    Order::Outcome set(const Words &words, Milliseconds now);
    Order::Outcome show(const Words &words, Milliseconds now);
    Order::Outcome record(const Words &words, Milliseconds now);
    Order::Outcome meter(const Words &words, Milliseconds now);
    Order::Outcome mute(const Words &words, Milliseconds now);
    Order::Outcome unmute(const Words &words, Milliseconds now);
    Order::Outcome shorten(const Words &words, Milliseconds now);

    FrameReader m_Reader;
    Generator m_Generator;
    std::vector<std::string> m_Lines;
};

} // namespace tksim

#endif
