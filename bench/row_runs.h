// Rows of pixels as other formats give them, turned into run lists as fast as can be: by 64-bit
// words for two levels, by vectors of 32 pixels for gray.
#ifndef VOR_BENCH_ROW_RUNS_H
#define VOR_BENCH_ROW_RUNS_H

#include <bit>
#include <cstdint>
#include <cstring>

#include "trackfile/lf.h"

namespace vor::bench {

// A row of 1 bit a pixel, most significant first, with room for 8 bytes more behind it.
inline int32_t runs_of_bits(const uint8_t *row, int32_t pixels, lfrun *runs) {
    uint32_t begin = 0;
    uint64_t last = row[0] >> 7;
    uint32_t colour = last != 0 ? 255 : 0;
    int32_t count = 0;
    for (int32_t at = 0; at < pixels; at += 64) {
        uint64_t bits;
        std::memcpy(&bits, row + at / 8, 8);
        if constexpr (std::endian::native == std::endian::little) bits = __builtin_bswap64(bits);
        uint64_t changes = bits ^ (bits >> 1 | last << 63);
        last = bits & 1;
        if (pixels - at < 64) changes &= ~(~UINT64_C(0) >> (pixels - at));
        while (changes != 0) {
            const auto lead = static_cast<uint32_t>(std::countl_zero(changes));
            const uint32_t end = static_cast<uint32_t>(at) + lead;
            runs[count++] = {end - begin, colour};
            begin = end;
            colour ^= 255;
            changes &= ~(UINT64_C(1) << 63 >> lead);
        }
    }
    runs[count++] = {static_cast<uint32_t>(pixels) - begin, colour};
    return count;
}

// A row of 8 bits a pixel. The compiler makes vectors of the comparison.
inline int32_t runs_of_bytes(const uint8_t *row, int32_t pixels, lfrun *runs) {
    constexpr int32_t block = 64;
    uint32_t begin = 0;
    int32_t count = 0;
    uint8_t differs[block];
    for (int32_t at = 1; at < pixels; at += block) {
        const int32_t length = pixels - at < block ? pixels - at : block;
        for (int32_t i = 0; i < length; ++i)
            differs[i] = row[at + i] != row[at + i - 1];
        for (int32_t i = 0; i < length; ++i) {
            const uint32_t end = static_cast<uint32_t>(at + i);
            runs[count] = {end - begin, row[end - 1]};
            count += differs[i];
            begin = differs[i] != 0 ? end : begin;
        }
    }
    runs[count++] = {static_cast<uint32_t>(pixels) - begin, row[pixels - 1]};
    return count;
}

} // namespace vor::bench

#endif
