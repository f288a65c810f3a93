#include "tkcrc.h"

#include <array>

namespace {

using Table16 = std::array<unsigned short, 256>;
using Table32 = std::array<unsigned int, 256>;

constexpr Table16 constructCRC16Table() {
    Table16 table{};
    for (unsigned int i = 0; i < table.size(); ++i) {
        unsigned int value = i << 8;
        for (int step = 0; step < 8; ++step) {
            value = (value << 1) ^ ((value & 0x8000U) != 0 ? 0x1021U : 0U);
        }
        table[i] = static_cast<unsigned short>(value);
    }
    return table;
}

/// Of a byte with a zero byte behind it, so that two bytes need one step.
constexpr Table16 constructCRC16PairTable(const Table16 &single) {
    Table16 table{};
    for (unsigned int i = 0; i < table.size(); ++i) {
        table[i] = static_cast<unsigned short>((single[i] << 8U) ^ single[single[i] >> 8U]);
    }
    return table;
}

constexpr Table32 constructCRC32Table() {
    Table32 table{};
    for (unsigned int i = 0; i < table.size(); ++i) {
        unsigned int value = i;
        for (int step = 0; step < 8; ++step) {
            value = (value >> 1) ^ ((value & 1U) != 0 ? 0xEDB88320U : 0U);
        }
        table[i] = value;
    }
    return table;
}

constexpr Table16 table16 = constructCRC16Table();
constexpr Table16 pairTable16 = constructCRC16PairTable(table16);
constexpr Table32 table32 = constructCRC32Table();

} // namespace

unsigned short TkCRC16::crc16(char c, unsigned short crc) const {
    const unsigned int index = ((crc >> 8U) ^ static_cast<unsigned char>(c)) & 0xFFU;
    return static_cast<unsigned short>(table16[index] ^ (crc << 8U));
}

unsigned short TkCRC16::crc16(char const *buf, int start, int length, unsigned short crc) const {
    int i = 0;
    for (; i + 1 < length; i += 2) {
        const auto first = static_cast<unsigned char>(buf[start + i]);
        const auto second = static_cast<unsigned char>(buf[start + i + 1]);
        crc = pairTable16[(crc >> 8U) ^ first] ^ table16[(crc & 0xFFU) ^ second];
    }
    return i < length ? crc16(buf[start + i], crc) : crc;
}

unsigned int TkCRC32::crc32(char const *buf, int start, int length, unsigned int crc) const {
    for (int i = 0; i < length; ++i) {
        crc = (crc >> 8U) ^ table32[(static_cast<unsigned char>(buf[start + i]) ^ crc) & 0xFFU];
    }
    return crc;
}
