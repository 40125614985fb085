// The runs of bits in a byte: a table, so that a byte of a bm1 row costs one look instead of eight.
#ifndef VOR_CODECS_BITRUNS_H
#define VOR_CODECS_BITRUNS_H

#include <array>
#include <cstdint>

namespace vor {

constexpr uint32_t pixels_per_byte = 8;

struct BitRun {
    uint8_t length;
    uint8_t bit;
};

// From bit 7 to bit 0; neighbouring runs differ.
struct ByteRuns {
    uint8_t count;
    BitRun runs[pixels_per_byte];
};

constexpr ByteRuns runs_of_byte(uint32_t byte) {
    ByteRuns row{};
    for (uint32_t mask = 0x80; mask != 0; mask >>= 1) {
        const uint8_t bit = (byte & mask) != 0;
        if (row.count == 0 || row.runs[row.count - 1].bit != bit) row.runs[row.count++].bit = bit;
        ++row.runs[row.count - 1].length;
    }
    return row;
}

constexpr std::array<ByteRuns, 256> make_bitruns() {
    std::array<ByteRuns, 256> table{};
    for (uint32_t byte = 0; byte < table.size(); ++byte)
        table[byte] = runs_of_byte(byte);
    return table;
}

inline constexpr std::array<ByteRuns, 256> bitruns = make_bitruns();

} // namespace vor

#endif
