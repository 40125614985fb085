#include "tif/tif_bits.h"

#include <algorithm>
#include <array>

namespace vor::tif {
namespace {

constexpr auto reversed = [] {
    std::array<uint8_t, 256> table{};
    for (unsigned i = 0; i < 256; ++i) {
        unsigned turned = 0;
        for (unsigned bit = 0; bit < 8; ++bit)
            turned |= (i >> bit & 1u) << (7 - bit);
        table[i] = static_cast<uint8_t>(turned);
    }
    return table;
}();

constexpr uint64_t swap_bits(uint64_t x, uint64_t mask, int distance) {
    const uint64_t t = (x ^ (x >> distance)) & mask;
    return x ^ t ^ (t << distance);
}

} // namespace

void invert(std::span<uint8_t> row) {
    for (uint8_t &byte : row)
        byte = static_cast<uint8_t>(~byte);
}

void mirror_bytes(std::span<uint8_t> row) {
    std::reverse(row.begin(), row.end());
}

void mirror_bits(std::span<uint8_t> row, int32_t pixels) {
    if (row.empty()) return;
    std::reverse(row.begin(), row.end());
    for (uint8_t &byte : row)
        byte = reversed[byte];
    const auto spare = static_cast<int>(static_cast<int64_t>(row.size()) * 8 - pixels);
    for (size_t i = 0; i < row.size(); ++i) {
        const unsigned next = i + 1 < row.size() ? row[i + 1] : 0u;
        row[i] = static_cast<uint8_t>(((unsigned{row[i]} << 8 | next) << spare) >> 8);
    }
}

// Bits change places across the diagonal of ever larger squares: of 2, 4 and 8 pixels.
void transpose_block(uint8_t (&block)[8]) {
    uint64_t x = 0;
    for (const uint8_t row : block)
        x = x << 8 | row;
    x = swap_bits(x, 0x00AA00AA00AA00AA, 7);
    x = swap_bits(x, 0x0000CCCC0000CCCC, 14);
    x = swap_bits(x, 0x00000000F0F0F0F0, 28);
    for (int i = 7; i >= 0; --i, x >>= 8)
        block[i] = static_cast<uint8_t>(x);
}

} // namespace vor::tif
