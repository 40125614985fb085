// Codes that are all runs, spread out as they stand. Each run is eight bytes, so four of them are
// made of their codes by one shuffle and one store.
#ifndef VOR_CODECS_AVX2_TURNS_H
#define VOR_CODECS_AVX2_TURNS_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "codecs/avx2.h"
#include "codecs/fixed_width.h"
#include "codecs/run_gatherer.h"

namespace vor {

// How the 16 bytes of a vector half are drawn apart to runs, four at a time: for each byte of the
// runs the byte it comes from. 0x80 makes a byte 0.
template <class Code, Order order>
struct Spread {
    static constexpr size_t fours = 16 / Code::bytes / 4;

    constexpr Spread() {
        for (size_t i = 0; i < fours * 4; ++i) {
            const size_t place = order == Order::forward ? i % 4 : 3 - i % 4;
            uint8_t *const run = from[i / 4] + place * sizeof(lfrun);
            const auto first = static_cast<uint8_t>(i * Code::bytes);
            for (size_t byte = 0; byte < sizeof(lfrun); ++byte)
                run[byte] = 0x80;
            run[0] = first;
            if (Code::bytes == 2) run[has_colours ? offsetof(lfrun, colour) : 1] = first + 1;
        }
    }
    VOR_AVX2_INLINE __m256i operator()(__m256i twice, size_t four) const {
        return _mm256_shuffle_epi8(twice, load256(from[four]));
    }

    static constexpr bool has_colours = !std::is_base_of_v<TwoColours, Code>;
    alignas(32) uint8_t from[fours][32] = {};
};
template <class Code, Order order>
inline constexpr Spread<Code, order> spread;

// 64 bytes that are kept, and as many that are not.
struct KeptBytes {
    constexpr KeptBytes() {
        for (size_t i = 0; i < 64; ++i)
            bytes[i] = 0xFF;
    }
    uint8_t bytes[128] = {};
};
inline constexpr KeptBytes kept_bytes;

// A vector of codes each of which should have another colour than the one before it, so that all of
// them are runs: their lengths, and lanes that are above 0 where that is so. Where there are two
// colours they take turns: with the colour bits that they have then turned over, a code is its
// length.
template <class Code>
struct TurnVector;

template <>
struct TurnVector<Fw8> {
    // `second`: the first of the codes has the second colour.
    VOR_AVX2_INLINE static __m256i colour_bits(bool second) {
        return _mm256_set1_epi16(second ? 0x0080 : INT16_MIN);
    }
    VOR_AVX2_INLINE TurnVector(const uint8_t *at, __m256i bits)
        : lengths(_mm256_xor_si256(load256(at), bits)), good(lengths) {}
    VOR_AVX2_INLINE static __m256i least(__m256i a, __m256i b) { return _mm256_min_epi8(a, b); }
    VOR_AVX2_INLINE static uint32_t above_0(__m256i v) {
        return byte_signs(_mm256_cmpgt_epi8(v, _mm256_setzero_si256()));
    }
    VOR_AVX2_INLINE static __m256i sums(__m256i lengths) {
        return _mm256_sad_epu8(lengths, _mm256_setzero_si256());
    }

    __m256i lengths;
    __m256i good;
};

// What the codes of two bytes have in common.
struct WordTurns {
    VOR_AVX2_INLINE static __m256i least(__m256i a, __m256i b) { return _mm256_min_epi16(a, b); }
    VOR_AVX2_INLINE static uint32_t above_0(__m256i v) {
        return byte_signs(_mm256_cmpgt_epi16(v, _mm256_setzero_si256()));
    }
    VOR_AVX2_INLINE static __m256i sums(__m256i lengths) {
        return _mm256_madd_epi16(lengths, _mm256_set1_epi16(1));
    }
};

template <>
struct TurnVector<Fw16> : WordTurns {
    VOR_AVX2_INLINE static __m256i colour_bits(bool second) {
        return _mm256_set1_epi32(second ? 0x8000 : INT32_MIN);
    }
    VOR_AVX2_INLINE TurnVector(const uint8_t *at, __m256i bits)
        : lengths(_mm256_xor_si256(load256(at), bits)), good(lengths) {}

    __m256i lengths;
    __m256i good;
};

// For colours that are their own numbers: a code, its bytes drawn apart, is a run.
template <>
struct TurnVector<Fw88> : WordTurns {
    VOR_AVX2_INLINE static __m256i colour_bits(bool) { return _mm256_setzero_si256(); }
    VOR_AVX2_INLINE TurnVector(const uint8_t *at, __m256i)
        : lengths(_mm256_and_si256(load256(at), _mm256_set1_epi16(Fw88::limit))) {
        const __m256i changes = _mm256_xor_si256(load256(at), load256(at - Fw88::bytes));
        good = least(lengths, _mm256_srli_epi16(changes, 8));
    }

    __m256i lengths;
    __m256i good;
};

// Two such vectors.
template <class Code>
class Turns {
    using Vector = TurnVector<Code>;

public:
    static constexpr ptrdiff_t bytes = 64;
    static constexpr ptrdiff_t codes = bytes / ptrdiff_t{Code::bytes};

    VOR_AVX2_INLINE Turns(const uint8_t *at, __m256i bits) : low_(at, bits), high_(at + 32, bits) {}

    // Whether all codes are runs, and how many in front of the first that is none.
    VOR_AVX2_INLINE bool hold() const {
        return Vector::above_0(Vector::least(low_.good, high_.good)) == UINT32_MAX;
    }
    VOR_AVX2_INLINE ptrdiff_t holding() const {
        const uint64_t high = Vector::above_0(high_.good);
        const uint64_t good = high << 32 | Vector::above_0(low_.good);
        return std::countr_one(good) / ptrdiff_t{Code::bytes};
    }
    // Sums of the lengths, in lanes of 32 bits.
    VOR_AVX2_INLINE __m256i sums() const {
        return _mm256_add_epi32(Vector::sums(low_.lengths), Vector::sums(high_.lengths));
    }
    // The same of the first `count` codes.
    VOR_AVX2_INLINE __m256i sums_of_first(ptrdiff_t count) const {
        const uint8_t *const kept = kept_bytes.bytes + 64 - count * ptrdiff_t{Code::bytes};
        return _mm256_add_epi32(Vector::sums(_mm256_and_si256(low_.lengths, load256(kept))),
                                Vector::sums(_mm256_and_si256(high_.lengths, load256(kept + 32))));
    }

private:
    Vector low_, high_;
};

// Stores the 16 bytes of codes at `at`, in fours, as runs: the number `first` of those counted from
// `slot`, and its followers.
template <class Code, Order order, size_t... four>
VOR_AVX2_INLINE void store_fours(lfrun *slot, size_t first, const void *at, __m256i differences,
                                 std::index_sequence<four...>) {
    const __m256i twice =
        _mm256_broadcastsi128_si256(_mm_loadu_si128(static_cast<const __m128i *>(at)));
    const auto place = [slot, first](size_t number) {
        const auto distance = static_cast<ptrdiff_t>(first + number * 4);
        return order == Order::forward ? slot + distance : slot - distance - 3;
    };
    (store256(place(four), _mm256_xor_si256(spread<Code, order>(twice, four), differences)), ...);
}

template <class Code, Order order, size_t... half>
VOR_AVX2_INLINE void store_halves(lfrun *slot, const uint8_t *at, __m256i differences,
                                  std::index_sequence<half...>) {
    constexpr size_t fours = spread<Code, order>.fours;
    (store_fours<Code, order>(slot, half * fours * 4, at + half * 16, differences,
                              std::make_index_sequence<fours>()),
     ...);
}

// Stores the codes of Turns at `at` as runs. `differences`: what four of them, drawn apart, differ
// by from their runs.
template <class Code, Order order>
VOR_AVX2_INLINE void store_turns(lfrun *slot, const uint8_t *at, __m256i differences) {
    store_halves<Code, order>(slot, at, differences,
                              std::make_index_sequence<Turns<Code>::bytes / 16>());
}

} // namespace vor

#endif
