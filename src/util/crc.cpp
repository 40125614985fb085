// CRC-32 and CRC-16, a byte at a time through a table of 256 remainders.
#include <array>

#include "util/checksum.h"

namespace {

// Reflected: the entry of i is the remainder of i as the lowest bits of the dividend.
constexpr std::array<uint32_t, 256> crc32_table = [] {
    constexpr uint32_t polynomial = 0xEDB88320;
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < table.size(); ++i) {
        uint32_t rest = i;
        for (int bit = 0; bit < 8; ++bit)
            rest = (rest >> 1) ^ (rest & 1 ? polynomial : 0);
        table[i] = rest;
    }
    return table;
}();

// Most significant bit first: the entry of i is the remainder of i in the high byte.
constexpr std::array<uint16_t, 256> crc16_table = [] {
    constexpr uint32_t polynomial = 0x1021;
    std::array<uint16_t, 256> table{};
    for (uint32_t i = 0; i < table.size(); ++i) {
        uint32_t rest = i << 8;
        for (int bit = 0; bit < 8; ++bit)
            rest = (rest << 1) ^ (rest & 0x8000 ? polynomial : 0);
        table[i] = static_cast<uint16_t>(rest);
    }
    return table;
}();

static_assert(crc32_table[255] == 0x2D02EF8D && crc16_table[255] == 0x1EF0);

} // namespace

extern "C" {

uint32_t kel_crc32_init(void) {
    return 0xFFFFFFFF;
}

uint32_t kel_crc32_update(uint32_t crc, const void *data, size_t size) {
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    for (size_t i = 0; i < size; ++i)
        crc = (crc >> 8) ^ crc32_table[(crc ^ bytes[i]) & 0xFF];
    return crc;
}

uint32_t kel_crc32_final(uint32_t crc) {
    return ~crc;
}

uint32_t kel_crc32_buffer(const void *data, size_t size) {
    return kel_crc32_final(kel_crc32_update(kel_crc32_init(), data, size));
}

uint32_t kel_crc16_init(void) {
    return 0;
}

uint32_t kel_crc16_update(uint32_t crc, const void *data, size_t size) {
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    for (size_t i = 0; i < size; ++i) {
        const uint32_t low = ((crc & 0xFF) << 8) ^ crc16_table[(crc >> 8) & 0xFF] ^ bytes[i];
        crc = (crc & 0xFFFF0000) | low;
    }
    return crc;
}

uint32_t kel_crc16_final(uint32_t crc) {
    return crc & 0xFFFF;
}

uint32_t kel_crc16_buffer(const void *data, size_t size) {
    return kel_crc16_final(kel_crc16_update(kel_crc16_init(), data, size));
}

} // extern "C"
