// The writers' inner loop in vectors of 256 bits, for what most tracks are: runs that fit one code
// each, with colours that change from run to run. The two-colour forms moreover take their colours
// in turn, so that a run is right if it differs from the one expected in a few low bits of its
// length only; what is left is to pack the lengths.

#include "codecs/bulk.h"
#include "codecs/fixed_width.h"
#include "codecs/track_runs.h"
#include "platform/cpu.h"

#ifdef VOR_AVX2_KERNELS

#include "codecs/avx2.h"

namespace vor {
namespace {

// Eight runs less their colours, where these are as expected: then what is left are lengths.
struct Eight {
    VOR_AVX2_INLINE Eight(const lfrun *runs, __m256i colours) {
        const __m256i a = _mm256_xor_si256(load256(runs), colours);
        const __m256i b = _mm256_xor_si256(load256(runs + 4), colours);
        any = _mm256_or_si256(a, b);
        lengths = _mm256_or_si256(a, _mm256_slli_epi64(b, 32));
    }
    __m256i lengths; // in lanes of 32 bits: 0 4 1 5 2 6 3 7
    __m256i any;     // the bits of all, in lanes of 64
};

// Whether any of `lengths` is 0, or has bits beyond the limit.
template <uint32_t limit>
VOR_AVX2_INLINE bool do_not_fit(__m256i any, __m256i zeros) {
    const __m256i excess = _mm256_andnot_si256(_mm256_set1_epi64x(limit), any);
    const __m256i bad = _mm256_or_si256(excess, zeros);
    return _mm256_testz_si256(bad, bad) == 0;
}

template <class Code>
struct Encoder;

template <>
struct Encoder<Fw8> {
    static constexpr size_t runs_taken = 32;

    // `first` is the bit of the runs 0, 2, 4 ...
    VOR_AVX2_INLINE static bool encode(const lfrun *runs, __m256i colours, uint32_t first,
                                       uint8_t *to) {
        const Eight a(runs, colours), b(runs + 8, colours);
        const Eight c(runs + 16, colours), d(runs + 24, colours);
        const __m256i any =
            _mm256_or_si256(_mm256_or_si256(a.any, b.any), _mm256_or_si256(c.any, d.any));
        const __m256i low = _mm256_packus_epi32(a.lengths, b.lengths);
        const __m256i high = _mm256_packus_epi32(c.lengths, d.lengths);
        // Each half of a half has runs that are a multiple of four apart, two of each four.
        const __m256i mixed = _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8);
        const __m256i order =
            _mm256_setr_epi8(0, 2, 8, 10, 1, 3, 9, 11, 4, 6, 12, 14, 5, 7, 13, 15, 0, 2, 8, 10, 1,
                             3, 9, 11, 4, 6, 12, 14, 5, 7, 13, 15);
        const __m256i lengths = _mm256_shuffle_epi8(mixed, order);
        if (do_not_fit<Fw8::limit>(any, _mm256_cmpeq_epi8(lengths, _mm256_setzero_si256())))
            return false;
        const int16_t bits = static_cast<int16_t>(first != 0 ? 0x0080 : 0x8000);
        store256(to, _mm256_or_si256(lengths, _mm256_set1_epi16(bits)));
        return true;
    }
};

template <>
struct Encoder<Fw16> {
    static constexpr size_t runs_taken = 16;

    VOR_AVX2_INLINE static bool encode(const lfrun *runs, __m256i colours, uint32_t first,
                                       uint8_t *to) {
        const Eight a(runs, colours), b(runs + 8, colours);
        const __m256i mixed =
            _mm256_permute4x64_epi64(_mm256_packus_epi32(a.lengths, b.lengths), 0xD8);
        const __m256i order =
            _mm256_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15, 0, 1, 4, 5, 8, 9,
                             12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
        const __m256i lengths = _mm256_shuffle_epi8(mixed, order);
        if (do_not_fit<Fw16::limit>(_mm256_or_si256(a.any, b.any),
                                    _mm256_cmpeq_epi16(lengths, _mm256_setzero_si256())))
            return false;
        const uint32_t bits = first != 0 ? 0x00008000 : 0x80000000;
        store256(to, _mm256_or_si256(lengths, every(bits)));
        return true;
    }
};

template <class Code>
VOR_AVX2 size_t encode_avx2(xvor_t *h, const lfrun *runs, size_t count, uint32_t colour,
                            uint8_t *to) {
    constexpr size_t group = Encoder<Code>::runs_taken;
    if (count < group) return 0;
    const uint32_t bit = Code::file_colour(h, runs[0].colour);
    if (bit == colour || bit == Code::file_colour(h, runs[1].colour)) return 0;
    const uint64_t one = uint64_t{runs[0].colour} << 32;
    const uint64_t other = uint64_t{runs[1].colour} << 32;
    const __m256i colours =
        _mm256_setr_epi64x(static_cast<int64_t>(one), static_cast<int64_t>(other),
                           static_cast<int64_t>(one), static_cast<int64_t>(other));
    size_t done = 0;
    while (count - done >= group &&
           Encoder<Code>::encode(runs + done, colours, bit, to + done * Code::bytes))
        done += group;
    return done;
}

// Which entries of colorinfo are set, as 256 bits.
class NotedColours {
public:
    VOR_AVX2_INLINE explicit NotedColours(const xvor_t *h) {
        uint32_t bits[8];
        for (size_t i = 0; i < 8; ++i) {
            const __m256i clear =
                _mm256_cmpeq_epi8(load256(h->colorinfo + 32 * i), _mm256_setzero_si256());
            bits[i] = ~byte_signs(clear);
        }
        const __m256i all = load256(bits);
        low_ = _mm256_permute4x64_epi64(all, 0x44);
        high_ = _mm256_permute4x64_epi64(all, 0xEE);
    }

    // What is not set of the colours.
    VOR_AVX2_INLINE __m256i missing(__m256i colours) const {
        const __m256i fifteen = _mm256_set1_epi8(15);
        const __m256i places = _mm256_and_si256(_mm256_srli_epi16(colours, 3), fifteen);
        const __m256i bytes = _mm256_blendv_epi8(_mm256_shuffle_epi8(low_, places),
                                                 _mm256_shuffle_epi8(high_, places),
                                                 colours); // the top bit picks the upper half
        const __m256i masks = _mm256_shuffle_epi8(
            _mm256_set1_epi64x(static_cast<int64_t>(UINT64_C(0x8040201008040201))),
            _mm256_and_si256(colours, _mm256_set1_epi8(7)));
        return _mm256_andnot_si256(bytes, masks);
    }

private:
    __m256i low_, high_;
};

// Sixteen runs as codes, where they fit; `bits` has all their bits.
struct SixteenPairs {
    VOR_AVX2_INLINE explicit SixteenPairs(const lfrun *runs) {
        const __m256i a = load256(runs), b = load256(runs + 4);
        const __m256i c = load256(runs + 8), d = load256(runs + 12);
        bits = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
        const __m256i mixed =
            _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d));
        codes = _mm256_permutevar8x32_epi32(mixed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    }
    // What must not be: codes without a length, and of the colour of the code before them; before
    // the first there is one of `colour`.
    VOR_AVX2_INLINE __m256i faults(uint32_t colour) const {
        const __m256i zero = _mm256_setzero_si256();
        const __m256i no_length = _mm256_cmpeq_epi16(_mm256_slli_epi16(codes, 8), zero);
        const __m256i carried = _mm256_permute2x128_si256(codes, codes, 0x08);
        __m256i before = _mm256_alignr_epi8(codes, carried, 14);
        before = _mm256_insert_epi16(before, static_cast<short>(colour << 8), 0);
        const __m256i change = _mm256_srli_epi16(_mm256_xor_si256(codes, before), 8);
        return _mm256_or_si256(no_length, _mm256_cmpeq_epi16(change, zero));
    }
    VOR_AVX2_INLINE __m256i colours() const { return _mm256_srli_epi16(codes, 8); }

    __m256i codes, bits;
};

template <>
VOR_AVX2 size_t encode_avx2<Fw88>(xvor_t *h, const lfrun *runs, size_t count, uint32_t colour,
                                  uint8_t *to) {
    constexpr size_t group = 32;
    if (count < group || !is_identity(h->ctable)) return 0;
    const NotedColours noted(h);
    size_t done = 0;
    for (; count - done >= group; done += group) {
        const lfrun *const from = runs + done;
        const SixteenPairs low(from), high(from + 16);
        const __m256i bits = _mm256_or_si256(low.bits, high.bits);
        const __m256i faults =
            _mm256_or_si256(low.faults(colour), high.faults(from[15].colour & 0xFF));
        const __m256i missing = noted.missing(_mm256_packus_epi16(low.colours(), high.colours()));
        const __m256i bad = _mm256_or_si256(faults, missing);
        if (!_mm256_testz_si256(bits, every(0xFFFFFF00)) || !_mm256_testz_si256(bad, bad)) break;
        store256(to + done * Fw88::bytes, low.codes);
        store256(to + (done + 16) * Fw88::bytes, high.codes);
        colour = from[group - 1].colour;
    }
    return done;
}

} // namespace

template <class Code>
BulkEncode bulk_encode() {
    return os::cpu_has_avx2() ? encode_avx2<Code> : nullptr;
}

} // namespace vor

#else

namespace vor {

template <class Code>
BulkEncode bulk_encode() {
    return nullptr;
}

} // namespace vor

#endif

namespace vor {

template BulkEncode bulk_encode<Fw8>();
template BulkEncode bulk_encode<Fw16>();
template BulkEncode bulk_encode<Fw88>();

} // namespace vor
