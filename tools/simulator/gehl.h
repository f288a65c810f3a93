#ifndef TKSIM_GEHL_H
#define TKSIM_GEHL_H

#include "console.h"

namespace tksim {

/// A GEHL console: a letter, a value or a request, and ETX. Nothing is acknowledged, and what can't
/// be taken gets no answer.
class GEHLConsole : public Console {
  public:
    GEHLConsole();

    std::vector<Order> orders() override;

  private:
    Gathered gathered(const Bytes &bytes) const override;
    Bytes frameOf(std::string_view text) const override;
    std::string textOf(const Bytes &frame) const override;
    std::string item(std::size_t place) override;
    void answer(const Bytes &frame, Milliseconds now) override;

    std::string items(std::size_t first);
    void answerRequest(std::size_t place, std::string_view request, Milliseconds now);
    void setValue(std::size_t place, std::string_view digits, Milliseconds now);

    int m_Items = 1;
};

} // namespace tksim

#endif
