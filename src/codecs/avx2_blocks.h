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

VOR_AVX2_INLINE uint32_t lanes_in(uint32_t set) {
    return static_cast<uint32_t>(_mm_popcnt_u32(set));
}

// The lanes that are equal, as a set.
VOR_AVX2_INLINE uint32_t equal_lanes(__m256i a, __m256i b) {
    return static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(a, b))));
}

VOR_AVX2_INLINE uint32_t sum_of(__m256i four) {
    const __m128i two =
        _mm_add_epi64(_mm256_castsi256_si128(four), _mm256_extracti128_si256(four, 1));
    return static_cast<uint32_t>(
        _mm_cvtsi128_si32(_mm_add_epi64(two, _mm_unpackhi_epi64(two, two))));
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
        return sum_of(_mm256_add_epi32(pairs, _mm256_srli_epi64(pairs, 32)));
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

// A block in which each code should have another colour than the one before it, so that all of them
// are runs. Where there are two colours they take turns: with the colour bits that they have then
// turned over, a code is its length, a number above 0.
template <class Code>
struct Turns;

// Stores eight runs, given lengths in the order 0 1 4 5 2 3 6 7 and colours that take turns.
template <Order order>
VOR_AVX2_INLINE void store_turns(lfrun *slot, ptrdiff_t first, __m256i lengths, __m256i colours) {
    store_runs<order>(slot, first, _mm256_unpacklo_epi32(lengths, colours));
    store_runs<order>(slot, first + 4, _mm256_unpackhi_epi32(lengths, colours));
}

template <>
struct Turns<Fw8> {
    // `second`: the first of the codes has the second colour.
    VOR_AVX2_INLINE static __m256i colour_bits(bool second) {
        return _mm256_set1_epi16(second ? 0x0080 : INT16_MIN);
    }
    VOR_AVX2_INLINE Turns(const uint8_t *at, __m256i bits)
        : lengths(_mm256_xor_si256(load256(at), bits)) {}
    VOR_AVX2_INLINE bool hold() const {
        return byte_signs(_mm256_cmpgt_epi8(lengths, _mm256_setzero_si256())) == UINT32_MAX;
    }
    VOR_AVX2_INLINE __m256i sums() const {
        return _mm256_sad_epu8(lengths, _mm256_setzero_si256());
    }
    template <Order order>
    VOR_AVX2_INLINE void store(lfrun *slot, __m256i colours) const {
        const __m256i low = _mm256_permute4x64_epi64(lengths, 0x44);
        const __m256i high = _mm256_permute4x64_epi64(lengths, 0xEE);
        store_turns<order>(slot, 0, eight_lengths<0>(low), colours);
        store_turns<order>(slot, 8, eight_lengths<8>(low), colours);
        store_turns<order>(slot, 16, eight_lengths<0>(high), colours);
        store_turns<order>(slot, 24, eight_lengths<8>(high), colours);
    }

private:
    // Of 16 lengths that stand in both halves, those behind the number `first`.
    template <int first>
    VOR_AVX2_INLINE static __m256i eight_lengths(__m256i twice) {
        constexpr int alone = ~0xFF | first; // nothing above the length
        return _mm256_shuffle_epi8(twice,
                                   _mm256_setr_epi32(alone, alone + 1, alone + 4, alone + 5,
                                                     alone + 2, alone + 3, alone + 6, alone + 7));
    }

    __m256i lengths;
};

template <>
struct Turns<Fw16> {
    VOR_AVX2_INLINE static __m256i colour_bits(bool second) {
        return _mm256_set1_epi32(second ? 0x8000 : INT32_MIN);
    }
    VOR_AVX2_INLINE Turns(const uint8_t *at, __m256i bits)
        : lengths{_mm256_xor_si256(load256(at), bits), _mm256_xor_si256(load256(at + 32), bits)} {}
    VOR_AVX2_INLINE bool hold() const {
        const __m256i least = _mm256_min_epi16(lengths[0], lengths[1]);
        return byte_signs(_mm256_cmpgt_epi16(least, _mm256_setzero_si256())) == UINT32_MAX;
    }
    VOR_AVX2_INLINE __m256i sums() const {
        const __m256i ones = _mm256_set1_epi16(1);
        const __m256i pairs = _mm256_add_epi32(_mm256_madd_epi16(lengths[0], ones),
                                               _mm256_madd_epi16(lengths[1], ones));
        return _mm256_add_epi64(_mm256_srli_epi64(pairs, 32),
                                _mm256_and_si256(pairs, _mm256_set1_epi64x(UINT32_MAX)));
    }
    template <Order order>
    VOR_AVX2_INLINE void store(lfrun *slot, __m256i colours) const {
        for (ptrdiff_t i = 0; i < 2; ++i) {
            const __m256i low = _mm256_permute4x64_epi64(lengths[i], 0x44);
            const __m256i high = _mm256_permute4x64_epi64(lengths[i], 0xEE);
            store_turns<order>(slot, i * 16, eight_lengths(low), colours);
            store_turns<order>(slot, i * 16 + 8, eight_lengths(high), colours);
        }
    }

private:
    // Of 8 lengths that stand in both halves.
    VOR_AVX2_INLINE static __m256i eight_lengths(__m256i twice) {
        constexpr int alone = ~0xFFFF | 0x0100, next = 0x0202;
        return _mm256_shuffle_epi8(twice, _mm256_setr_epi32(alone, alone + next, alone + 4 * next,
                                                            alone + 5 * next, alone + 2 * next,
                                                            alone + 3 * next, alone + 6 * next,
                                                            alone + 7 * next));
    }

    __m256i lengths[2];
};

// For colours that are their own numbers: a code, its bytes drawn apart, is a run.
template <>
struct Turns<Fw88> {
    VOR_AVX2_INLINE static __m256i colour_bits(bool) { return _mm256_setzero_si256(); }
    VOR_AVX2_INLINE Turns(const uint8_t *from, __m256i)
        : at(from), pairs(load256(from)),
          lengths(_mm256_and_si256(pairs, _mm256_set1_epi16(Fw88::limit))) {}
    VOR_AVX2_INLINE bool hold() const {
        const __m256i changes = _mm256_xor_si256(pairs, load256(at - Fw88::bytes));
        const __m256i zero = _mm256_setzero_si256();
        return byte_signs(
                   _mm256_or_si256(_mm256_cmpeq_epi16(lengths, zero),
                                   _mm256_cmpeq_epi16(_mm256_srli_epi16(changes, 8), zero))) == 0;
    }
    VOR_AVX2_INLINE __m256i sums() const {
        return _mm256_sad_epu8(lengths, _mm256_setzero_si256());
    }
    template <Order order>
    VOR_AVX2_INLINE void store(lfrun *slot, __m256i) const {
        for (ptrdiff_t i = 0; i < 4; ++i) {
            const void *four = at + 8 * i;
            store_runs<order>(
                slot, 4 * i,
                _mm256_cvtepu8_epi32(_mm_loadl_epi64(static_cast<const __m128i *>(four))));
        }
    }

private:
    const uint8_t *at;
    __m256i pairs;
    __m256i lengths;
};

} // namespace vor

#endif
