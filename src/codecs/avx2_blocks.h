// Blocks of fixed-width codes and groups of eight lanes, as the vector readers work on them.
#ifndef VOR_CODECS_AVX2_BLOCKS_H
#define VOR_CODECS_AVX2_BLOCKS_H

#include <cstddef>
#include <cstdint>

#include "codecs/avx2.h"
#include "codecs/fixed_width.h"
#include "codecs/run_gatherer.h"

namespace vor {

// For each set of the eight lanes: the lanes in it, the lowest first.
struct LaneSets {
    constexpr LaneSets() {
        for (unsigned set = 0; set < 256; ++set) {
            unsigned count = 0;
            for (unsigned lane = 0; lane < 8; ++lane) {
                if ((set >> lane & 1) != 0) lanes[set][count++] = static_cast<uint8_t>(lane);
            }
        }
    }
    alignas(8) uint8_t lanes[256][8] = {};
};
inline constexpr LaneSets lane_sets;

VOR_AVX2_INLINE uint32_t last_lane(__m256i v) {
    return static_cast<uint32_t>(_mm256_extract_epi32(v, 7));
}

VOR_AVX2_INLINE __m256i last_lane_everywhere(__m256i v) {
    return _mm256_permutevar8x32_epi32(v, every(7));
}

VOR_AVX2_INLINE __m256i lanes_of(uint32_t set) {
    const void *lanes = lane_sets.lanes[set];
    return _mm256_cvtepu8_epi32(_mm_loadl_epi64(static_cast<const __m128i *>(lanes)));
}

// The lanes of `set` moved together to the low end.
VOR_AVX2_INLINE __m256i gather_lanes(__m256i v, uint32_t set) {
    return _mm256_permutevar8x32_epi32(v, lanes_of(set));
}

// Lane i takes lane i - 1, the lowest takes the highest of `before`.
VOR_AVX2_INLINE __m256i shift_in(__m256i v, __m256i before) {
    return _mm256_alignr_epi8(v, _mm256_permute2x128_si256(before, v, 0x21), 12);
}

// Lane i becomes the sum of the lanes 0 to i.
VOR_AVX2_INLINE __m256i running_sums(__m256i v) {
    v = _mm256_add_epi32(v, _mm256_slli_si256(v, 4));
    v = _mm256_add_epi32(v, _mm256_slli_si256(v, 8));
    const __m256i low_half = _mm256_permutevar8x32_epi32(v, every(3));
    return _mm256_add_epi32(v, _mm256_blend_epi32(_mm256_setzero_si256(), low_half, 0xF0));
}

// The same of 16 lanes of 16 bits.
VOR_AVX2_INLINE __m256i running_word_sums(__m256i v) {
    v = _mm256_add_epi16(v, _mm256_slli_si256(v, 2));
    v = _mm256_add_epi16(v, _mm256_slli_si256(v, 4));
    v = _mm256_add_epi16(v, _mm256_slli_si256(v, 8));
    const __m256i last = _mm256_shuffle_epi8(v, _mm256_set1_epi16(0x0F0E));
    return _mm256_add_epi16(v, _mm256_permute2x128_si256(last, last, 0x08));
}

VOR_AVX2_INLINE uint32_t lanes_in(uint32_t set) {
    return static_cast<uint32_t>(_mm_popcnt_u32(set));
}

// The lanes that are equal, as a set.
VOR_AVX2_INLINE uint32_t equal_lanes(__m256i a, __m256i b) {
    return static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(a, b))));
}

// The lanes of 16 bits that are equal, as a set.
VOR_AVX2_INLINE uint32_t equal_words(__m256i a, __m256i b) {
    const __m256i equal = _mm256_cmpeq_epi16(a, b);
    return static_cast<uint32_t>(_mm_movemask_epi8(
        _mm_packs_epi16(_mm256_castsi256_si128(equal), _mm256_extracti128_si256(equal, 1))));
}

VOR_AVX2_INLINE uint32_t sum_of(__m256i eight) {
    const __m128i four =
        _mm_add_epi32(_mm256_castsi256_si128(eight), _mm256_extracti128_si256(eight, 1));
    const __m128i two = _mm_add_epi32(four, _mm_unpackhi_epi64(four, four));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_add_epi32(two, _mm_srli_epi64(two, 32))));
}

// Stores four runs as the number `first` and its followers of those counted from `slot`.
template <Order order>
VOR_AVX2_INLINE void store_runs(lfrun *slot, ptrdiff_t first, __m256i runs) {
    lfrun *to = slot + first;
    if constexpr (order == Order::reversed) {
        to = slot - first - 3;
        runs = _mm256_permute4x64_epi64(runs, 0x1B);
    }
    store256(to, runs);
}

// Stores eight runs.
template <Order order>
VOR_AVX2_INLINE void store_runs(lfrun *slot, __m256i lengths, __m256i colours) {
    const __m256i even = _mm256_unpacklo_epi32(lengths, colours); // runs 0 1 4 5
    const __m256i odd = _mm256_unpackhi_epi32(lengths, colours);  // runs 2 3 6 7
    store_runs<order>(slot, 0, _mm256_permute2x128_si256(even, odd, 0x20));
    store_runs<order>(slot, 4, _mm256_permute2x128_si256(even, odd, 0x31));
}

// 32 codes of two colours, with the set of those that have the second, or 16 of fw88: their
// lengths, in lanes of a code's width.
template <class Code>
struct Block;

template <>
struct Block<Fw8> {
    static constexpr uint32_t codes = 32;

    VOR_AVX2_INLINE explicit Block(const uint8_t *at) {
        const __m256i bytes = load256(at);
        lengths = _mm256_and_si256(bytes, _mm256_set1_epi8(Fw8::limit));
        seconds = byte_signs(bytes);
    }
    VOR_AVX2_INLINE bool has_zero() const {
        return byte_signs(_mm256_cmpeq_epi8(lengths, _mm256_setzero_si256())) != 0;
    }
    VOR_AVX2_INLINE uint32_t sum() const {
        return sum_of(_mm256_sad_epu8(lengths, _mm256_setzero_si256()));
    }
    VOR_AVX2_INLINE static __m256i eight_lengths(const uint8_t *at) {
        const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(at));
        return _mm256_and_si256(_mm256_cvtepu8_epi32(eight), every(Fw8::limit));
    }

    __m256i lengths;
    uint32_t seconds;
};

template <>
struct Block<Fw16> {
    static constexpr uint32_t codes = 32;

    VOR_AVX2_INLINE explicit Block(const uint8_t *at) {
        const __m256i low = load256(at), high = load256(at + 32);
        lengths[0] = _mm256_and_si256(low, _mm256_set1_epi16(Fw16::limit));
        lengths[1] = _mm256_and_si256(high, _mm256_set1_epi16(Fw16::limit));
        seconds = byte_signs(_mm256_permute4x64_epi64(_mm256_packs_epi16(low, high), 0xD8));
    }
    VOR_AVX2_INLINE bool has_zero() const {
        const __m256i least = _mm256_min_epu16(lengths[0], lengths[1]);
        return byte_signs(_mm256_cmpeq_epi16(least, _mm256_setzero_si256())) != 0;
    }
    VOR_AVX2_INLINE uint32_t sum() const {
        const __m256i ones = _mm256_set1_epi16(1);
        const __m256i pairs = _mm256_add_epi32(_mm256_madd_epi16(lengths[0], ones),
                                               _mm256_madd_epi16(lengths[1], ones));
        return sum_of(pairs);
    }
    VOR_AVX2_INLINE static __m256i eight_lengths(const uint8_t *at) {
        const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
        return _mm256_and_si256(_mm256_cvtepu16_epi32(eight), every(Fw16::limit));
    }

    __m256i lengths[2];
    uint32_t seconds;
};

template <>
struct Block<Fw88> {
    static constexpr uint32_t codes = 16;

    VOR_AVX2_INLINE explicit Block(const uint8_t *at)
        : lengths(_mm256_and_si256(load256(at), _mm256_set1_epi16(Fw88::limit))) {}
    VOR_AVX2_INLINE bool has_zero() const {
        return byte_signs(_mm256_cmpeq_epi16(lengths, _mm256_setzero_si256())) != 0;
    }
    VOR_AVX2_INLINE uint32_t sum() const {
        return sum_of(_mm256_sad_epu8(lengths, _mm256_setzero_si256()));
    }
    VOR_AVX2_INLINE static __m256i eight_lengths(const uint8_t *at) {
        const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
        return _mm256_and_si256(_mm256_cvtepu16_epi32(eight), every(Fw88::limit));
    }

    __m256i lengths;
};

} // namespace vor

#endif
