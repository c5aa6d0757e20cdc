// Loads and half-pel reference rows shared by the SSE4.1 and AVX2 metric
// kernels. Included only by files of src/metrics/x86/; everything is in an
// anonymous namespace so each instruction set keeps its own copy.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "metrics/kernels.h"
#include "metrics/x86/avg4_u8.h"

namespace {

using vek::metrics::HalfPelMode;
using vek::metrics::kModeFF;
using vek::metrics::kModeFH;
using vek::metrics::kModeHF;
using vek::metrics::kModeHH;

inline const Vek8u* advance(const Vek8u* p, std::ptrdiff_t step, int rows) {
    return p + step * rows;
}

inline __m128i load16(const Vek8u* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

inline __m128i load8(const Vek8u* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }

inline __m128i load4(const Vek8u* p) {
    int v;
    std::memcpy(&v, p, sizeof v);
    return _mm_cvtsi32_si128(v);
}

// Rows p and p + step, 8 bytes each, in one register.
inline __m128i load8x2(const Vek8u* p, std::ptrdiff_t step) {
    return _mm_castpd_si128(_mm_loadh_pd(_mm_castsi128_pd(load8(p)),
                                         reinterpret_cast<const double*>(advance(p, step, 1))));
}

// Four rows of 4 bytes in one register.
inline __m128i load4x4(const Vek8u* p, std::ptrdiff_t step) {
    const __m128i r01 = _mm_unpacklo_epi32(load4(p), load4(advance(p, step, 1)));
    const __m128i r23 = _mm_unpacklo_epi32(load4(advance(p, step, 2)), load4(advance(p, step, 3)));
    return _mm_unpacklo_epi64(r01, r23);
}

inline __m128i avg_u8(__m128i a, __m128i b) { return _mm_avg_epu8(a, b); }
inline __m128i xor_u8(__m128i a, __m128i b) { return _mm_xor_si128(a, b); }

#ifdef __AVX2__
inline __m256i avg_u8(__m256i a, __m256i b) { return _mm256_avg_epu8(a, b); }
inline __m256i xor_u8(__m256i a, __m256i b) { return _mm256_xor_si256(a, b); }

// Row p in the low lane, row p + step in the high lane.
inline __m256i load16x2(const Vek8u* p, std::ptrdiff_t step) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(p)), load16(advance(p, step, 1)), 1);
}

// Four rows of 8 bytes: p, p + step in the low lane, the next two in the high lane.
inline __m256i load8x4(const Vek8u* p, std::ptrdiff_t step) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load8x2(p, step)), load8x2(advance(p, step, 2), step),
                                   1);
}
#endif

// Reference samples at mode M for the group of rows that `load` fetches from
// `row`: `step` reaches the row below, `pitch` the right neighbour.
template <HalfPelMode M, int Pitch, class Load>
inline auto half_pel(Load load, const Vek8u* row, std::ptrdiff_t step) {
    if constexpr (M == kModeFF) {
        return load(row);
    } else if constexpr (M == kModeFH) {
        return avg_u8(load(row), load(advance(row, step, 1)));
    } else if constexpr (M == kModeHF) {
        return avg_u8(load(row), load(row + Pitch));
    } else {
        const auto a = load(row);
        const auto b = load(row + Pitch);
        const auto c = load(advance(row, step, 1));
        const auto d = load(advance(row, step, 1) + Pitch);
        return avg4_u8(avg_u8(a, b), xor_u8(a, b), avg_u8(c, d), xor_u8(c, d));
    }
}

// Sum of the two 64-bit lanes of psadbw totals.
inline Vek32s sad_total(__m128i acc) { return _mm_cvtsi128_si32(_mm_add_epi32(acc, _mm_unpackhi_epi64(acc, acc))); }

// Sum of four 32-bit lanes.
inline Vek32s sum_epi32(__m128i v) {
    v = _mm_add_epi32(v, _mm_unpackhi_epi64(v, v));
    return _mm_cvtsi128_si32(_mm_add_epi32(v, _mm_shuffle_epi32(v, 1)));
}

#ifdef __AVX2__
inline __m128i fold_lanes(__m256i v) {
    return _mm_add_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
}
#endif

}  // namespace
