// 128-bit edge filter arithmetic in 16-bit lanes, shared by the SSE4.1 kernels
// and the AVX2 table, which keeps the vertical edges at this width.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "h263/deblock.h"

namespace vek::h263 {

// Division toward zero by 2^s of signed 16-bit lanes.
template <int S>
inline __m128i div_pow2_128(__m128i t) {
    return _mm_srai_epi16(_mm_add_epi16(t, _mm_and_si128(_mm_srai_epi16(t, 15), _mm_set1_epi16((1 << S) - 1))), S);
}

// The deblocking of 8 positions: A, B before the edge, C, D after it, each
// 8 samples in 16-bit lanes, replaced by their filtered values.
template <bool kRamp>
inline void deblock_lanes_128(__m128i& A, __m128i& B, __m128i& C, __m128i& D, __m128i strength) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i d = div_pow2_128<3>(_mm_add_epi16(_mm_slli_epi16(_mm_sub_epi16(C, B), 2), _mm_sub_epi16(A, D)));
    const __m128i ad = _mm_abs_epi16(d);
    __m128i d1, lim;
    if constexpr (kRamp) {
        const __m128i over = _mm_max_epi16(zero, _mm_slli_epi16(_mm_sub_epi16(ad, strength), 1));
        const __m128i m = _mm_max_epi16(zero, _mm_sub_epi16(ad, over));
        d1 = _mm_sign_epi16(m, d);
        lim = _mm_srli_epi16(m, 1);
    } else {
        d1 = d;
        lim = _mm_srli_epi16(ad, 1);
    }
    const __m128i q = div_pow2_128<2>(_mm_sub_epi16(A, D));
    const __m128i d2 = _mm_min_epi16(_mm_max_epi16(q, _mm_sub_epi16(zero, lim)), lim);
    A = _mm_sub_epi16(A, d2);
    B = _mm_add_epi16(B, d1);
    C = _mm_sub_epi16(C, d1);
    D = _mm_add_epi16(D, d2);
}

inline __m128i widen8(const Vek8u* p) {
    return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
inline void store8(Vek8u* p, __m128i v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(v, v));
}

// Horizontal edge, 8 positions from p.
template <bool kRamp>
inline void deblock_hor8_128(Vek8u* p, std::ptrdiff_t step, __m128i strength) {
    __m128i A = widen8(p - 2 * step), B = widen8(p - step), C = widen8(p), D = widen8(p + step);
    deblock_lanes_128<kRamp>(A, B, C, D, strength);
    store8(p - 2 * step, A);
    store8(p - step, B);
    store8(p, C);
    store8(p + step, D);
}

inline std::int32_t load4(const Vek8u* p) {
    std::int32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
inline void store4(Vek8u* p, std::int32_t v) { std::memcpy(p, &v, 4); }

// Vertical edge, 8 rows from p: the four-byte groups from two columns left of
// the edge are transposed into A, B, C, D lanes and back.
template <bool kRamp>
inline void deblock_ver8_128(Vek8u* p, std::ptrdiff_t step, __m128i strength) {
    Vek8u* g = p - 2;
    const __m128i r0 = _mm_setr_epi32(load4(g), load4(g + step), load4(g + 2 * step), load4(g + 3 * step));
    const __m128i r1 =
        _mm_setr_epi32(load4(g + 4 * step), load4(g + 5 * step), load4(g + 6 * step), load4(g + 7 * step));
    const __m128i byCol = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    const __m128i c0 = _mm_shuffle_epi8(r0, byCol), c1 = _mm_shuffle_epi8(r1, byCol);
    // Four-byte groups of one column each: A0-3, A4-7, B0-3, B4-7 and C, D alike.
    const __m128i ab = _mm_unpacklo_epi32(c0, c1);
    const __m128i cd = _mm_unpackhi_epi32(c0, c1);
    __m128i A = _mm_cvtepu8_epi16(ab), B = _mm_cvtepu8_epi16(_mm_srli_si128(ab, 8));
    __m128i C = _mm_cvtepu8_epi16(cd), D = _mm_cvtepu8_epi16(_mm_srli_si128(cd, 8));
    deblock_lanes_128<kRamp>(A, B, C, D, strength);
    const __m128i abOut = _mm_packus_epi16(A, B), cdOut = _mm_packus_epi16(C, D);
    const __m128i abRows = _mm_unpacklo_epi8(abOut, _mm_srli_si128(abOut, 8));  // A0 B0 A1 B1 ...
    const __m128i cdRows = _mm_unpacklo_epi8(cdOut, _mm_srli_si128(cdOut, 8));
    const __m128i lo = _mm_unpacklo_epi16(abRows, cdRows), hi = _mm_unpackhi_epi16(abRows, cdRows);
    store4(g, _mm_cvtsi128_si32(lo));
    store4(g + step, _mm_extract_epi32(lo, 1));
    store4(g + 2 * step, _mm_extract_epi32(lo, 2));
    store4(g + 3 * step, _mm_extract_epi32(lo, 3));
    store4(g + 4 * step, _mm_cvtsi128_si32(hi));
    store4(g + 5 * step, _mm_extract_epi32(hi, 1));
    store4(g + 6 * step, _mm_extract_epi32(hi, 2));
    store4(g + 7 * step, _mm_extract_epi32(hi, 3));
}

// Block boundary smoothing of 8 lanes.
inline void boundary_lanes_128(__m128i& B, __m128i& C) {
    const __m128i two = _mm_set1_epi16(2);
    const __m128i b3 = _mm_add_epi16(_mm_add_epi16(B, B), B), c3 = _mm_add_epi16(_mm_add_epi16(C, C), C);
    const __m128i nb = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(b3, C), two), 2);
    C = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(c3, B), two), 2);
    B = nb;
}

// Vertical block boundary, 8 rows: the two samples around the edge of each
// row form one 16-bit lane.
inline void boundary_ver8_128(Vek8u* p, std::ptrdiff_t step) {
    Vek8u* g = p - 1;
    std::uint16_t pair[8];
    for (int i = 0; i < 8; ++i) std::memcpy(&pair[i], g + step * i, 2);
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pair));
    __m128i B = _mm_and_si128(v, _mm_set1_epi16(0xFF)), C = _mm_srli_epi16(v, 8);
    boundary_lanes_128(B, C);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pair), _mm_or_si128(B, _mm_slli_epi16(C, 8)));
    for (int i = 0; i < 8; ++i) std::memcpy(g + step * i, &pair[i], 2);
}

}  // namespace vek::h263
