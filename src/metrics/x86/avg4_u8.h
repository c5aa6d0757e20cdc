// Exact rounded mean of four bytes, (a + b + c + d + 2) >> 2, from byte averages.
//
// pavgb gives p = (a + b + 1) >> 1 and q = (c + d + 1) >> 1, and
// (p + q + 1) >> 1 overshoots the exact value by one exactly when
// ((a ^ b) | (c ^ d)) & (p ^ q) & 1 is set. Proof: write a + b = 2A + e and
// c + d = 2C + f (e, f in {0, 1}), T = A + C, so p = A + e, q = C + f, the
// exact value is floor((2T + e + f + 2) / 4) and pavgb(p, q) = floor((T + e + f + 1) / 2).
//   e = f = 0: both are floor((T + 1) / 2), and e | f = 0.
//   e + f = 1: they differ (by one) iff T is even; p ^ q has lsb (T + 1) & 1.
//   e = f = 1: they differ (by one) iff T is odd; p ^ q has lsb T & 1.
// e is the lsb of a ^ b and f that of c ^ d, so the correction is exact.
// tests/kernels checks both widths on all 2^32 inputs.
//
// Only SSE2 at 128 bits, so baseline code (the tests) can use it; the 256-bit
// form carries its own target so it compiles in any file.
#pragma once

#include <immintrin.h>

namespace {

// `ab` and `cd` are pavgb of the pairs, `ab_xor` and `cd_xor` their xor.
inline __m128i avg4_u8(__m128i ab, __m128i ab_xor, __m128i cd, __m128i cd_xor) {
    const __m128i overshoot = _mm_and_si128(_mm_and_si128(_mm_or_si128(ab_xor, cd_xor), _mm_xor_si128(ab, cd)),
                                            _mm_set1_epi8(1));
    return _mm_sub_epi8(_mm_avg_epu8(ab, cd), overshoot);
}

__attribute__((target("avx2"))) inline __m256i avg4_u8(__m256i ab, __m256i ab_xor, __m256i cd,
                                                        __m256i cd_xor) {
    const __m256i overshoot = _mm256_and_si256(
        _mm256_and_si256(_mm256_or_si256(ab_xor, cd_xor), _mm256_xor_si256(ab, cd)), _mm256_set1_epi8(1));
    return _mm256_sub_epi8(_mm256_avg_epu8(ab, cd), overshoot);
}

}  // namespace
