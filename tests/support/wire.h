#ifndef TKGEN_TESTS_WIRE_H
#define TKGEN_TESTS_WIRE_H

#include <numeric>
#include <string>
#include <vector>

/// A frame of the text protocol, made without the library: text, ETX, and the sum of all before.
inline std::string frame(const std::string &text) {
    const std::string body = text + '\x03';
    return body + static_cast<char>(std::accumulate(body.begin(), body.end(), 0));
}

inline std::vector<unsigned char> bytes(const std::string &text) {
    return {text.begin(), text.end()};
}

inline std::string text(const std::vector<unsigned char> &bytes) {
    return {bytes.begin(), bytes.end()};
}

#endif
