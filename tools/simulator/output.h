#ifndef TKSIM_OUTPUT_H
#define TKSIM_OUTPUT_H

#include "wire.h"

#include <utility>

namespace tksim {

/// What a simulated far end has to say since it was last asked: frames for the line, lines for the
/// person at its panel.
struct Output {
    std::vector<Bytes> frames;
    std::vector<std::string> lines;

    void sendFrame(Bytes frame) { frames.push_back(std::move(frame)); }
    void sendByte(std::uint8_t byte) { frames.push_back(Bytes{byte}); }
    void print(std::string line) { lines.push_back(std::move(line)); }
};

} // namespace tksim

#endif
