#ifndef TKSIM_INFIMED_H
#define TKSIM_INFIMED_H

#include "console.h"

#include <deque>

namespace tksim {

/// An Infimed console: STX, a body that ends in "@", ETX, and the exclusive or of the body.
///
/// Each command that has an answer gets its data frame, and each data frame awaits an ACK from the
/// other side; those that stay away are counted.
class InfimedConsole : public Console {
  public:
    InfimedConsole();

    void unplugged() override;
    std::vector<Order> orders() override;

  protected:
    void send(std::string_view text, Milliseconds now) override;
    void show(Milliseconds now) override;

  private:
    Gathered gathered(const Bytes &bytes) const override;
    Bytes frameOf(std::string_view body) const override;
    std::string textOf(const Bytes &frame) const override;
    std::string item(std::size_t place) override;
    void answer(const Bytes &frame, Milliseconds now) override;

    void order(std::size_t place, std::string_view argument, Milliseconds now);
    void step(std::size_t place, std::string_view argument, Milliseconds now);
    void setDigit(std::size_t place, std::string_view argument, Milliseconds now);
    void accept(std::size_t place, Milliseconds now);
    void refuse(std::size_t place, Milliseconds now);
    void expire(Milliseconds now);
    Order::Outcome acquire(const Words &words, Milliseconds now);

    bool m_AckFirst = false;
    int m_MissingAcks = 0;
    std::deque<Milliseconds> m_AwaitedAcks; ///< until when, oldest first
};

} // namespace tksim

#endif
