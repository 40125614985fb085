// What the vector forms of the codecs share. Their functions are compiled for AVX2 one by one, so
// that nothing else in the library needs it; they are called where the processor has it.
#ifndef VOR_CODECS_AVX2_H
#define VOR_CODECS_AVX2_H

#include <cstddef>
#include <cstdint>

#include <immintrin.h>

#include "trackfile/lf.h"

#define VOR_AVX2 __attribute__((target("avx2,fma,bmi,bmi2,popcnt")))
#define VOR_AVX2_INLINE VOR_AVX2 __attribute__((always_inline)) inline

namespace vor {

template <class T>
VOR_AVX2_INLINE __m256i load256(const T *from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(from));
}

template <class T>
VOR_AVX2_INLINE void store256(T *to, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to), v);
}

VOR_AVX2_INLINE __m256i every(uint32_t value) {
    return _mm256_set1_epi32(static_cast<int>(value));
}

VOR_AVX2_INLINE uint32_t byte_signs(__m256i v) {
    return static_cast<uint32_t>(_mm256_movemask_epi8(v));
}

// Whether every entry of a colour table is its own number.
VOR_AVX2_INLINE bool is_identity(const uint16_t *table) {
    __m256i expected = _mm256_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    __m256i different = _mm256_setzero_si256();
    for (size_t i = 0; i < LF_NCOLORS; i += 16) {
        different = _mm256_or_si256(different, _mm256_xor_si256(load256(table + i), expected));
        expected = _mm256_add_epi16(expected, _mm256_set1_epi16(16));
    }
    return _mm256_testz_si256(different, different) != 0;
}

} // namespace vor

#endif
