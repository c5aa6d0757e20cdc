// The full route of the AVS inverse transform in 128-bit registers, shared by
// the SSE4.1 and AVX2 files: dequantisation by a rounding high multiply, the
// first pass on eight rows at once after a transpose, and the second pass in
// 32-bit multiply-adds. Every 16-bit step saturates or wraps as the
// reference does, so results match it bit for bit.
#pragma once

#include <immintrin.h>

#include <cstddef>

#include "vekvc.h"

namespace vek::avs::x86 {
// Internal linkage: each instruction-set file gets its own copy, so the
// linker can never hand the SSE4.1 table a body compiled for AVX2.
namespace {

inline void transpose8x8(__m128i r[8]) {
    const __m128i a0 = _mm_unpacklo_epi16(r[0], r[1]), a1 = _mm_unpackhi_epi16(r[0], r[1]);
    const __m128i a2 = _mm_unpacklo_epi16(r[2], r[3]), a3 = _mm_unpackhi_epi16(r[2], r[3]);
    const __m128i a4 = _mm_unpacklo_epi16(r[4], r[5]), a5 = _mm_unpackhi_epi16(r[4], r[5]);
    const __m128i a6 = _mm_unpacklo_epi16(r[6], r[7]), a7 = _mm_unpackhi_epi16(r[6], r[7]);
    const __m128i b0 = _mm_unpacklo_epi32(a0, a2), b1 = _mm_unpackhi_epi32(a0, a2);
    const __m128i b2 = _mm_unpacklo_epi32(a1, a3), b3 = _mm_unpackhi_epi32(a1, a3);
    const __m128i b4 = _mm_unpacklo_epi32(a4, a6), b5 = _mm_unpackhi_epi32(a4, a6);
    const __m128i b6 = _mm_unpacklo_epi32(a5, a7), b7 = _mm_unpackhi_epi32(a5, a7);
    r[0] = _mm_unpacklo_epi64(b0, b4);
    r[1] = _mm_unpackhi_epi64(b0, b4);
    r[2] = _mm_unpacklo_epi64(b1, b5);
    r[3] = _mm_unpackhi_epi64(b1, b5);
    r[4] = _mm_unpacklo_epi64(b2, b6);
    r[5] = _mm_unpackhi_epi64(b2, b6);
    r[6] = _mm_unpacklo_epi64(b3, b7);
    r[7] = _mm_unpackhi_epi64(b3, b7);
}

inline __m128i mul(__m128i a, short k) { return _mm_mullo_epi16(a, _mm_set1_epi16(k)); }
inline __m128i twice(__m128i a) { return _mm_adds_epi16(a, a); }

// Loads, dequantises and transposes: c[k] holds element k of rows 0..7.
inline void load_dequantised(const Vek16s* src, Vek32s mul_q, Vek32s shift, __m128i c[8]) {
    const __m128i count = _mm_cvtsi32_si128(15 - shift);
    const __m128i w = _mm_set1_epi16(static_cast<short>(mul_q - 32768));
    for (int y = 0; y < 8; ++y) {
        const __m128i u =
            _mm_sll_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 8 * y)), count);
        c[y] = _mm_adds_epi16(_mm_mulhrs_epi16(u, w), u);
    }
    transpose8x8(c);
}

// The even halves e0..e3 and odd terms b4..b7 of the first pass on eight
// rows; output j is (((b >> 1) + e) doubled) >> 3, saturating, with b4..b7
// for j = 0..3 and their negations for j = 7..4.
struct RowTerms {
    __m128i e0, e1, e2, e3, b4, b5, b6, b7;
};
inline RowTerms row_terms(const __m128i c[8]) {
    const __m128i two = _mm_set1_epi16(2);
    const __m128i a4 = _mm_adds_epi16(twice(twice(_mm_adds_epi16(c[0], c[4]))), two);
    const __m128i a5 = _mm_adds_epi16(twice(twice(_mm_subs_epi16(c[0], c[4]))), two);
    const __m128i t = _mm_slli_epi16(_mm_adds_epi16(c[2], c[6]), 1);
    const __m128i a6 = _mm_adds_epi16(mul(c[2], 3), t), a7 = _mm_adds_epi16(mul(c[6], -7), t);
    const __m128i e0 = _mm_adds_epi16(a4, a6), e1 = _mm_adds_epi16(a5, a7);
    const __m128i e2 = _mm_subs_epi16(a5, a7), e3 = _mm_subs_epi16(a4, a6);
    const __m128i p = _mm_adds_epi16(mul(c[3], 3), mul(c[5], 2));
    const __m128i q = _mm_subs_epi16(mul(c[3], 2), mul(c[5], 3));
    const __m128i r = _mm_adds_epi16(mul(c[1], 2), mul(c[7], 3));
    const __m128i s = _mm_subs_epi16(mul(c[1], 3), mul(c[7], 2));
    const __m128i b4 = _mm_adds_epi16(twice(_mm_adds_epi16(_mm_adds_epi16(p, s), r)), p);
    const __m128i b5 = _mm_adds_epi16(twice(_mm_subs_epi16(_mm_adds_epi16(q, s), p)), s);
    const __m128i b6 = _mm_adds_epi16(twice(_mm_subs_epi16(_mm_subs_epi16(r, p), q)), r);
    const __m128i b7 = _mm_subs_epi16(twice(_mm_subs_epi16(_mm_subs_epi16(s, q), r)), q);
    return {e0, e1, e2, e3, b4, b5, b6, b7};
}

// The first pass at half scale on eight rows; out[j] holds output j of each row.
inline void row_pass(const __m128i c[8], __m128i out[8]) {
    const auto [e0, e1, e2, e3, b4, b5, b6, b7] = row_terms(c);
    const __m128i zero = _mm_setzero_si128();
    const auto g = [](__m128i b, __m128i e) {
        return _mm_srai_epi16(twice(_mm_adds_epi16(_mm_srai_epi16(b, 1), e)), 3);
    };
    out[0] = g(b4, e0);
    out[1] = g(b5, e1);
    out[2] = g(b6, e2);
    out[3] = g(b7, e3);
    out[4] = g(_mm_subs_epi16(zero, b7), e3);
    out[5] = g(_mm_subs_epi16(zero, b6), e2);
    out[6] = g(_mm_subs_epi16(zero, b5), e1);
    out[7] = g(_mm_subs_epi16(zero, b4), e0);
}

// A basis pair (lo, hi) as one 32-bit lane for the multiply-adds.
constexpr int pair(int lo, int hi) {
    return static_cast<int>((static_cast<unsigned>(hi) << 16) | (static_cast<unsigned>(lo) & 0xFFFFu));
}

// The odd basis entries (1, 3, 5, 7) of output rows 0..3.
inline constexpr short kBasisRowOdd[4][4] = {{10, 9, 6, 2}, {9, -2, -10, -6}, {6, -10, 2, 9}, {2, -6, 9, -10}};

// The first four basis entries of each output row.
inline constexpr short kBasisRow[8][4] = {{8, 10, 10, 9},  {8, 9, 4, -2},   {8, 6, -4, -10},
                                          {8, 2, -10, -6}, {8, -2, -10, 6}, {8, -6, -4, 10},
                                          {8, -9, 4, 2},   {8, -10, 10, -9}};

// Adds the 16-bit result row to eight pixels, saturating, then clips.
inline void add_row(Vek8u* dst, __m128i res) {
    const __m128i pix = _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(dst)));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm_packus_epi16(_mm_adds_epi16(pix, res), pix));
}

// The low-frequency route: the top left 4x4 dequantised, then both passes
// with 16-bit products and saturating sums in index order, as the reference.
inline void inverse_low_128(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul_q, Vek32s shift) {
    const __m128i count = _mm_cvtsi32_si128(15 - shift);
    const __m128i w = _mm_set1_epi16(static_cast<short>(mul_q - 32768));
    // Column i of the basis, k[i][x] = M[x][i].
    const __m128i k[4] = {_mm_set1_epi16(8), _mm_setr_epi16(10, 9, 6, 2, -2, -6, -9, -10),
                          _mm_setr_epi16(10, 4, -4, -10, -10, -4, 4, 10),
                          _mm_setr_epi16(9, -2, -10, -6, 6, 10, 2, -9)};
    __m128i t[4];
    for (int y = 0; y < 4; ++y) {
        const __m128i u =
            _mm_sll_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + 8 * y)), count);
        const __m128i c = _mm_adds_epi16(_mm_mulhrs_epi16(u, w), u);
        __m128i sum = _mm_set1_epi16(4);
        for (int i = 0; i < 4; ++i) {
            const __m128i lane = _mm_set1_epi16(static_cast<short>(0x0100 * (2 * i + 1) + 2 * i));
            sum = _mm_adds_epi16(sum, _mm_mullo_epi16(_mm_shuffle_epi8(c, lane), k[i]));
        }
        t[y] = _mm_srai_epi16(sum, 3);
    }
    for (int r = 0; r < 8; ++r) {
        __m128i sum = _mm_set1_epi16(64);
        for (int i = 0; i < 4; ++i)
            sum = _mm_adds_epi16(sum,
                                 _mm_mullo_epi16(t[i], _mm_set1_epi16(static_cast<short>(kBasisRow[r][i]))));
        add_row(dst + static_cast<std::ptrdiff_t>(r) * step, _mm_srai_epi16(sum, 7));
    }
}

}  // namespace
}  // namespace vek::avs::x86
