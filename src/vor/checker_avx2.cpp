// The codes of a stretch are counted 32 bytes at a time. The zero codes among them show as a mask
// of stops; the end of the stretch counts as one more. Without a stop in them all lengths are
// summed, and once more those of colour 1, two blocks at a time as far as that goes; the last bytes
// are cut off at the first stop before they are.

#include "vor/checker_avx2.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <numeric>

#include "codecs/bulk.h"
#include "platform/cpu.h"

#ifdef VOR_AVX2_KERNELS

#include "codecs/avx2.h"

namespace vor {
namespace {

constexpr size_t block = 32;
static_assert(block <= TrackBytes::slack);

// The mask of all bytes from a number of bytes on, which may be more than there are.
uint32_t from_byte(size_t bytes) {
    return bytes < block ? ~UINT32_C(0) << bytes : 0;
}

// The first `bytes` bytes of a block, 0 for the others.
VOR_AVX2_INLINE __m256i first_bytes(__m256i v, size_t bytes) {
    alignas(block) static constexpr int8_t places[block] = {
        0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
        16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31};
    const __m256i limit = _mm256_set1_epi8(static_cast<char>(bytes));
    return _mm256_and_si256(v, _mm256_cmpgt_epi8(limit, load256(places)));
}

VOR_AVX2_INLINE uint64_t sum32(__m256i v) {
    alignas(block) uint32_t parts[8];
    store256(parts, v);
    return std::accumulate(parts, parts + 8, uint64_t{0});
}

struct Fw8 {
    static constexpr size_t bytes = 1;

    VOR_AVX2_INLINE static __m256i load(const uint8_t *from) { return load256(from); }
    VOR_AVX2_INLINE static __m256i lengths(__m256i codes) {
        return _mm256_and_si256(codes, _mm256_set1_epi8(0x7F));
    }
    VOR_AVX2_INLINE static __m256i zeros(__m256i lengths) {
        return _mm256_cmpeq_epi8(lengths, _mm256_setzero_si256());
    }
    VOR_AVX2_INLINE static __m256i least(__m256i a, __m256i b) { return _mm256_min_epu8(a, b); }
    VOR_AVX2_INLINE static __m256i sum(__m256i lengths) {
        return _mm256_sad_epu8(lengths, _mm256_setzero_si256());
    }
    VOR_AVX2_INLINE static __m256i sum_ones(__m256i lengths, __m256i codes) {
        return sum(_mm256_and_si256(lengths, _mm256_cmpgt_epi8(_mm256_setzero_si256(), codes)));
    }
};

template <bool swapped>
struct Fw16 {
    static constexpr size_t bytes = 2;

    VOR_AVX2_INLINE static __m256i load(const uint8_t *from) {
        const __m256i v = load256(from);
        if constexpr (!swapped) return v;
        return _mm256_or_si256(_mm256_srli_epi16(v, 8), _mm256_slli_epi16(v, 8));
    }
    VOR_AVX2_INLINE static __m256i lengths(__m256i codes) {
        return _mm256_and_si256(codes, _mm256_set1_epi16(0x7FFF));
    }
    VOR_AVX2_INLINE static __m256i zeros(__m256i lengths) {
        return _mm256_cmpeq_epi16(lengths, _mm256_setzero_si256());
    }
    VOR_AVX2_INLINE static __m256i least(__m256i a, __m256i b) { return _mm256_min_epi16(a, b); }
    VOR_AVX2_INLINE static __m256i sum(__m256i lengths) {
        return _mm256_madd_epi16(lengths, _mm256_set1_epi16(1));
    }
    VOR_AVX2_INLINE static __m256i sum_ones(__m256i lengths, __m256i codes) {
        return _mm256_madd_epi16(lengths, _mm256_srli_epi16(codes, 15));
    }
};

// Sums in lanes of 32 bits.
template <class Code>
struct TwoSums {
    VOR_AVX2_INLINE TwoSums() : all(_mm256_setzero_si256()), ones(_mm256_setzero_si256()) {}
    VOR_AVX2_INLINE void add(__m256i lengths, __m256i codes) {
        all = _mm256_add_epi32(all, Code::sum(lengths));
        ones = _mm256_add_epi32(ones, Code::sum_ones(lengths, codes));
    }

    __m256i all;
    __m256i ones;
};
static_assert(TrackBytes::room / block * 2 * INT16_MAX <= UINT32_MAX);

template <class Code>
VOR_AVX2 size_t add_two_colours(const uint8_t *from, size_t count, ColourCounts *colours,
                                uint64_t *pixels) {
    const size_t bytes = count * Code::bytes;
    TwoSums<Code> sums;
    size_t at = 0;
    for (; bytes - at >= 2 * block; at += 2 * block) {
        const __m256i codes[] = {Code::load(from + at), Code::load(from + at + block)};
        const __m256i lengths[] = {Code::lengths(codes[0]), Code::lengths(codes[1])};
        if (byte_signs(Code::zeros(Code::least(lengths[0], lengths[1]))) != 0) break;
        sums.add(lengths[0], codes[0]);
        sums.add(lengths[1], codes[1]);
    }
    for (;; at += block) {
        const __m256i codes = Code::load(from + at);
        __m256i lengths = Code::lengths(codes);
        const uint32_t stops = byte_signs(Code::zeros(lengths)) | from_byte(bytes - at);
        const auto passed = static_cast<size_t>(std::countr_zero(stops));
        if (stops != 0) lengths = first_bytes(lengths, passed);
        sums.add(lengths, codes);
        if (stops == 0) continue;
        const uint64_t all = sum32(sums.all), ones = sum32(sums.ones);
        colours->pixels[255] += ones;
        colours->pixels[0] += all - ones;
        *pixels += all;
        return (at + passed) / Code::bytes;
    }
}

uint64_t load64(const uint8_t *from) {
    uint64_t number;
    std::memcpy(&number, from, sizeof number);
    return number;
}

// Adds the four pairs of a length and a colour that a number holds, the first one lowest.
VOR_AVX2_INLINE void add_pairs(uint64_t four, ColourCounts *colours) {
    static_assert(ColourCounts::ways == 4);
    for (size_t way = 0; way < ColourCounts::ways; ++way, four >>= 16)
        colours->pairs[way][four >> 8 & 0xFF] += four & 0xFF;
}

VOR_AVX2 size_t add_fw88(const uint8_t *from, size_t count, ColourCounts *colours,
                         uint64_t *pixels) {
    const __m256i zero = _mm256_setzero_si256(), low = _mm256_set1_epi16(0xFF);
    __m256i all = zero;
    for (size_t at = 0;; at += block) {
        const __m256i pairs = load256(from + at);
        const __m256i lengths = _mm256_and_si256(pairs, low);
        const uint32_t stops =
            byte_signs(_mm256_cmpeq_epi16(lengths, zero)) | from_byte(2 * count - at);
        if (stops == 0) {
            all = _mm256_add_epi32(all, _mm256_sad_epu8(lengths, zero));
            for (size_t i = 0; i < block; i += sizeof(uint64_t))
                add_pairs(load64(from + at + i), colours);
            continue;
        }
        const auto passed = static_cast<size_t>(std::countr_zero(stops));
        all = _mm256_add_epi32(all, _mm256_sad_epu8(first_bytes(lengths, passed), zero));
        for (size_t i = 0; i < passed; i += 2)
            colours->pairs[0][from[at + i + 1]] += from[at + i];
        *pixels += sum32(all);
        return (at + passed) / 2;
    }
}

constexpr add_codes_fn adders[][2] = {
    {add_two_colours<Fw16<false>>, add_two_colours<Fw16<true>>},
    {add_two_colours<Fw8>, add_two_colours<Fw8>},
    {add_fw88, add_fw88},
};
static_assert(VT_FW16 == 1 && VT_FW8 == 2 && VT_FW88 == 3);

} // namespace

add_codes_fn find_vector_adder(uint32_t format, bool swapped) {
    if (!bulk_allowed || !os::cpu_has_avx2()) return nullptr;
    return format <= VT_FW88 ? adders[format - 1][swapped] : nullptr;
}

} // namespace vor

#else

namespace vor {

add_codes_fn find_vector_adder(uint32_t, bool) {
    return nullptr;
}

} // namespace vor

#endif
