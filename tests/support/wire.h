#ifndef TKGEN_TESTS_WIRE_H
#define TKGEN_TESTS_WIRE_H

#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

/// A frame of the text protocol, made without the library: text, ETX, and the sum of all before.
inline std::string frame(const std::string &text) {
    const std::string body = text + '\x03';
    return body + static_cast<char>(std::accumulate(body.begin(), body.end(), 0));
}

/// A frame of the Infimed console: STX, a body, ETX, and the exclusive or of the body.
inline std::string infimedFrame(const std::string &body) {
    const auto sum = std::accumulate(body.begin(), body.end(), 0, std::bit_xor<>());
    return '\x02' + body + '\x03' + static_cast<char>(sum);
}

/// A frame of the GEHL console: items, and ETX.
inline std::string gehlFrame(const std::string &items) {
    return items + '\x03';
}

inline std::vector<unsigned char> bytes(const std::string &text) {
    return {text.begin(), text.end()};
}

inline std::string text(const std::vector<unsigned char> &bytes) {
    return {bytes.begin(), bytes.end()};
}

/// Hands over texts of up to eleven characters at random, the same ones in every run.
template <class Take>
void randomTexts(const std::string &alphabet, Take take) {
    std::mt19937 random(4711);
    for (int i = 0; i < 20000; ++i) {
        std::string one(random() % 12, ' ');
        for (char &c : one) {
            c = alphabet[random() % alphabet.size()];
        }
        take(one);
    }
}

#endif
