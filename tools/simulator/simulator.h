#ifndef TKSIM_SIMULATOR_H
#define TKSIM_SIMULATOR_H

#include "generator.h"
#include "misbehaviour.h"

#include <deque>

namespace tksim {

/// A generator with its end of the line and its panel: bytes and panel commands in, bytes and
/// printed lines out. It does no input or output and knows no clock: `now` only ever grows.
class Simulator {
  public:
    struct Options {
        Family family = Family::arkona;
        int revision = 301;
        double timeScale = 1;
        std::uint32_t seed = 1;
        bool trace = false;
        std::int64_t utc = 0; ///< what the clock tells at time 0, in seconds since 1970
    };

    /// What a command asks of the program around the simulator.
    enum class Request { none, quit, unplug, plug };

    explicit Simulator(const Options &options);

    /// Bytes from the console.
    void receive(const std::uint8_t *bytes, std::size_t count, Milliseconds now);

    /// One command of the panel, as `commandHelp` lists them.
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

    /// One line for each command.
    static std::vector<std::string> commandHelp();

  private:
    using Words = std::vector<std::string>;
    enum class Outcome { done, notNow, misused };
    struct Command;

    static const std::vector<Command> &commands();

    Outcome prep(const Words &words, Milliseconds now);
    Outcome expose(const Words &words, Milliseconds now);
    Outcome release(const Words &words, Milliseconds now);
    Outcome fluoro(const Words &words, Milliseconds now);
    Outcome error(const Words &words, Milliseconds now);
    Outcome latched(const Words &words, Milliseconds now);
    Outcome set(const Words &words, Milliseconds now);
    Outcome show(const Words &words, Milliseconds now);
    Outcome record(const Words &words, Milliseconds now);
    Outcome meter(const Words &words, Milliseconds now);
    Outcome mute(const Words &words, Milliseconds now);
    Outcome unmute(const Words &words, Milliseconds now);
    Outcome shorten(const Words &words, Milliseconds now);
    Outcome misfile(const Words &words, Milliseconds now);
    Outcome answerByAck(const Words &words, Milliseconds now);
    template <Mishap mishap>
    Outcome chance(const Words &words, Milliseconds now);
    Outcome delay(const Words &words, Milliseconds now);
    Outcome silence(const Words &words, Milliseconds now);
    Outcome storm(const Words &words, Milliseconds now);
    Outcome help(const Words &words, Milliseconds now);
    Outcome leave(const Words &words, Milliseconds now);
    void printSetting(const Words &words);
    void collect(Milliseconds now);
    void print(std::string line) { m_Lines.push_back(std::move(line)); }

    FrameReader m_Reader;
    Generator m_Generator;
    Misbehaviour m_Misbehaviour;
    bool m_Trace;
    std::deque<Transmission> m_Queue;
    std::vector<std::string> m_Lines;
};

} // namespace tksim

#endif
