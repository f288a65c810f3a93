#ifndef TKGEN_TESTS_ZMODEM_H
#define TKGEN_TESTS_ZMODEM_H

#include "tkzmodem.h"

#include <deque>
#include <functional>
#include <map>
#include <string>

/// What travels in a ZMODEM transfer, made without the library.
namespace zmodem {

/// Bit by bit, most significant first.
inline std::string check(const std::string &bytes) {
    unsigned int crc = 0;
    for (const char byte : bytes + std::string(2, '\0')) {
        for (int bit = 7; bit >= 0; --bit) {
            crc = crc << 1 | (byte >> bit & 1);
            crc = (crc & 0x10000) != 0 ? crc ^ 0x11021 : crc;
        }
    }
    return {static_cast<char>(crc >> 8), static_cast<char>(crc)};
}

inline std::string checked(int type, unsigned long value) {
    std::string header(1, static_cast<char>(type));
    for (int i = 0; i < 4; ++i) {
        header += static_cast<char>(value >> (8 * i));
    }
    return header + check(header);
}

inline std::string escaped(const std::string &bytes) {
    std::string out;
    for (const char byte : bytes) {
        const bool escape =
            std::string("\x18\x10\x90\x11\x91\x13\x93").find(byte) != std::string::npos;
        out += escape ? std::string{'\x18', static_cast<char>(byte | 0x40)} : std::string(1, byte);
    }
    return out;
}

inline std::string hex(int type, unsigned long value = 0) {
    std::string out = "**\x18"
                      "B";
    for (const char byte : checked(type, value)) {
        out += {"0123456789abcdef"[byte >> 4 & 15], "0123456789abcdef"[byte & 15]};
    }
    return out + (type == TkZModem::ZACK || type == TkZModem::ZFIN ? "\r\n" : "\r\n\x11");
}

inline std::string binary(int type, unsigned long value = 0) {
    return "*\x18"
           "A" +
           escaped(checked(type, value));
}

/// A subpacket; `end` is one of h, i, j and k.
inline std::string subpacket(const std::string &data, char end) {
    return escaped(data) + '\x18' + end + escaped(check(data + end));
}

/// The far end of a transfer: answers each header by its type. Of several answers each is given
/// once, and the last one for ever.
class Peer {
  public:
    using Answers = std::map<int, std::deque<std::string>>;

    using Hook = std::function<void(int type)>;

    explicit Peer(Answers answers, Hook hook = nullptr)
        : m_Answers(std::move(answers)), m_Hook(std::move(hook)) {}

    std::string operator()(const std::string &written) {
        std::string out;
        if (written.size() < 5) {
            return out;
        }
        for (std::size_t at = written.find("*\x18"); at < written.size() - 4;
             at = written.find("*\x18", at + 1)) {
            const bool isHex = written[at + 2] == 'B';
            const int type = isHex ? std::stoi(written.substr(at + 3, 2), nullptr, 16)
                                   : static_cast<int>(written[at + 3]);
            if (m_Hook) {
                m_Hook(type);
            }
            std::deque<std::string> &answers = m_Answers[type];
            out += answers.empty() ? "" : answers.front();
            if (answers.size() > 1) {
                answers.pop_front();
            }
        }
        return out;
    }

  private:
    Answers m_Answers;
    Hook m_Hook;
};

} // namespace zmodem

#endif
