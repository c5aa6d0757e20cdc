// Kernels of the 8-bit 4:2:0 chroma edges of one plane, on bytes: horizontal
// edges at the SSE4.1 and AVX2 levels, vertical ones at AVX2. Included only by
// files of src/h264/x86/.
//
// The two edges of a call are independent (the first writes lines -1 and 0,
// the second reads 2 .. 5), so both run as one pass over 16 lines of bytes.
// Nothing is widened: every step is exact for all byte inputs and any tc.
#pragma once

#include "h264/x86/deblock_edges_simd.h"

namespace {

// Dwords of `b` where bit i of kMask is set, of `a` elsewhere.
template <int kMask>
inline __m128i blend_dwords(__m128i a, __m128i b) {
#ifdef __AVX2__
    return _mm_blend_epi32(a, b, kMask);
#else
    constexpr int kWords = (kMask & 1) * 3 | (kMask & 2) * 6 | (kMask & 4) * 12 | (kMask & 8) * 24;
    return _mm_blend_epi16(a, b, kWords);
#endif
}

inline std::uint16_t load_u16(const void* p) {
    std::uint16_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline std::uint64_t load_u64(const void* p) {
    std::uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// tc0 + 1 (wrapping as a byte) of each group, 0 where its bS is 0, in bytes
// 0 .. 7 (the outer edge's four groups, then the inner edge's): tc0[0 .. 7]
// beside bS[0 .. 3] and bS[8 .. 11] (dword 1 of bS[4 .. 11]).
inline __m128i group_tc(const Vek8u* tc0, const Vek8u* bs, std::uint32_t outer, const ByteConstants* k) {
    const __m128i b = blend_dwords<0x2>(_mm_cvtsi32_si128(static_cast<int>(outer)),
                                        _mm_set1_epi64x(static_cast<long long>(load_u64(bs + 4))));
    const __m128i zero = _mm_setzero_si128();
    return _mm_andnot_si128(_mm_cmpeq_epi8(b, zero), _mm_sub_epi8(load8(tc0), bytes_at<__m128i>(k->ones)));
}

// Horizontal edges: a line is a column; bytes 0 .. 7 of a register are row
// k - 2 (outer edge), bytes 8 .. 15 row k + 2 (inner edge). Without the outer
// edge, rows -2 and -1 are neither read nor written: their lines get copies
// of rows 2 and 3 and filter nothing, since their bS are 0.
//
// A call is short enough that its time follows its instruction count, so
// every step is one instruction where it can be: constants are memory
// operands, tc and bS are spread to lines by one unpack and one shuffle,
// and bS 0 and the filter test clear tc together.
template <bool kStrong, bool kOuter>
[[gnu::always_inline]] inline void chroma_hor_rows(Vek8u* p, ptrdiff_t st, const Vek8u* alpha, const Vek8u* beta,
                                                   const Vek8u* tc0, const Vek8u* bs) {
    const ByteConstants* k = byte_constants();
    const __m128i halves = bytes_at<__m128i>(k->halves);
    const __m128i a = _mm_shuffle_epi8(_mm_cvtsi32_si128(load_u16(alpha)), halves);
    const __m128i b = _mm_shuffle_epi8(_mm_cvtsi32_si128(load_u16(beta)), halves);
    const __m128i t = _mm_sub_epi8(load8(tc0), bytes_at<__m128i>(k->ones));  // tc0 + 1, wrapping
    const __m128i tc = _mm_unpacklo_epi8(t, t);                              // two lines a group
    const __m128i on = _mm_min_epu8(_mm_shuffle_epi8(load16(bs), bytes_at<__m128i>(k->groups)),
                                    bytes_at<__m128i>(k->one));
    // Every row address is one of two registers plus a scaled third. Left
    // alone, the compiler works the eight out from each other in a chain of
    // register arithmetic; these opaque copies keep it to three instructions.
    Vek8u* q4 = p + 4 * st;
    ptrdiff_t n = -st;
    __asm__("" : "+r"(q4), "+r"(n), "+r"(st));
    const auto pair = [](const Vek8u* low, const Vek8u* high) { return load8_high(load8(low), high); };
    const auto twice = [](const Vek8u* row) { return _mm_set1_epi64x(static_cast<long long>(load_u64(row))); };
    const __m128i p1 = kOuter ? pair(p + 2 * n, p + 2 * st) : twice(p + 2 * st);
    __m128i p0 = kOuter ? pair(p + n, q4 + n) : twice(q4 + n);
    __m128i q0 = pair(p, q4);
    const __m128i q1 = pair(p + st, q4 + st);
    chroma_bytes<kStrong>(p1, p0, q0, q1, a, b, tc, on, bytes_at<__m128i>(k->outer), k);
    if constexpr (kOuter) store8(p + n, p0);
    store8(p, q0);
    store8_high(q4 + n, p0);
    store8_high(q4, q0);
}

void chroma_hor_8u_bytes(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                        const Vek8u* bs) {
    const std::uint32_t outer = load_u32(bs);
    // Both edges normal is the common case, so it takes the first test.
    if (outer != 0 && outer != 0x04040404u) [[likely]]
        return chroma_hor_rows<false, true>(p, step, alpha, beta, tc0, bs);
    // Only the outer edge with all four bS 4 takes the strong filter.
    if (outer != 0) return chroma_hor_rows<true, true>(p, step, alpha, beta, tc0, bs);
    if (load_u32(bs + 8) != 0) chroma_hor_rows<false, false>(p, step, alpha, beta, tc0, bs);
}

#ifdef __AVX2__
// Vertical edges: row i goes into the low 128-bit half of a register and row
// i + 4 into the high one. After the transpose, bytes 8 .. 15 of each half
// hold one column of its four rows with the two edges alternating (byte
// 8 + 2r + e: row r of edge e), so alpha and beta are their two bytes repeated.
template <bool kStrong>
[[gnu::always_inline]] inline void chroma_ver_rows(Vek8u* p, ptrdiff_t st, const Vek8u* alpha, const Vek8u* beta,
                                                   const Vek8u* tc0, const Vek8u* bs, std::uint32_t outer) {
    // Thresholds first: their pointers are then free for the rows' addresses.
    // Line (half L, row r, edge e) takes entry 4e + 2L + r / 2.
    const __m256i pick = _mm256_setr_epi8(0, 4, 0, 4, 1, 5, 1, 5, 0, 4, 0, 4, 1, 5, 1, 5, 2, 6, 2, 6, 3, 7, 3, 7, 2,
                                          6, 2, 6, 3, 7, 3, 7);
    const ByteConstants* k = byte_constants();
    const __m256i tc = _mm256_shuffle_epi8(_mm256_broadcastq_epi64(group_tc(tc0, bs, outer, k)), pick);
    const __m256i a = _mm256_set1_epi16(static_cast<short>(load_u16(alpha)));
    const __m256i b = _mm256_set1_epi16(static_cast<short>(load_u16(beta)));
    // Columns -2 .. 5: p1 p0 q0 q1 of the outer edge, then of the inner one.
    Vek8u* const q = p - 2;
    Vek8u* const q4 = q + 4 * st;
    const ptrdiff_t st3 = 3 * st;
    const auto pair = [](const Vek8u* low, const Vek8u* high) {
        return _mm256_blend_epi32(_mm256_castsi128_si256(load8(low)),
                                  _mm256_set1_epi64x(static_cast<long long>(load_u64(high))), 0x30);
    };
    const __m256i z0 = pair(q, q4), z1 = pair(q + st, q4 + st), z2 = pair(q + 2 * st, q4 + 2 * st),
                  z3 = pair(q + st3, q4 + st3);
    const __m256i a01 = _mm256_unpacklo_epi8(z0, z1), a23 = _mm256_unpacklo_epi8(z2, z3);
    const __m256i lo = _mm256_unpacklo_epi16(a01, a23), hi = _mm256_unpackhi_epi16(a01, a23);  // columns 0-3, 4-7
    const __m256i x = _mm256_unpacklo_epi8(lo, hi);  // [p1 | p0]
    const __m256i y = _mm256_unpackhi_epi8(lo, hi);  // [q0 | q1]
    __m256i p0 = x, q0 = _mm256_unpacklo_epi64(y, y);
    chroma_bytes<kStrong>(_mm256_unpacklo_epi64(x, x), p0, q0, y, a, b, tc, bytes_at<__m256i>(k->one),
                          _mm256_set1_epi16(0x00FF), k);
    // [p1 | new p0] and [new q0 | q1]; then per row r columns 0 1 4 5 and 2 3 6 7 as words.
    const __m256i xo = _mm256_blend_epi32(x, p0, 0xCC), yo = _mm256_unpackhi_epi64(q0, y);
    const __m256i rows = _mm256_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15, 0, 8, 1, 9, 2, 10,
                                          3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
    const __m256i xr = _mm256_shuffle_epi8(xo, rows), yr = _mm256_shuffle_epi8(yo, rows);
    const __m256i r01 = _mm256_unpacklo_epi16(xr, yr), r23 = _mm256_unpackhi_epi16(xr, yr);  // rows 0 1 | 4 5, 2 3 | 6 7
    const __m128i r45 = _mm256_extracti128_si256(r01, 1), r67 = _mm256_extracti128_si256(r23, 1);
    store8(q, _mm256_castsi256_si128(r01));
    store8_high(q + st, _mm256_castsi256_si128(r01));
    store8(q + 2 * st, _mm256_castsi256_si128(r23));
    store8_high(q + st3, _mm256_castsi256_si128(r23));
    store8(q4, r45);
    store8_high(q4 + st, r45);
    store8(q4 + 2 * st, r67);
    store8_high(q4 + st3, r67);
}

void chroma_ver_8u_avx2(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                        const Vek8u* bs) {
    const std::uint32_t outer = load_u32(bs), inner = load_u32(bs + 8);
    if (outer == 0x04040404u) [[unlikely]]
        return chroma_ver_rows<true>(p, step, alpha, beta, tc0, bs, outer);
    if (outer != 0) [[likely]]
        return chroma_ver_rows<false>(p, step, alpha, beta, tc0, bs, outer);
    // Without the outer edge, columns -2 and -1 must not be read.
    if (inner != 0) chroma_ver_8u_simd<I16x16>(p, step, alpha, beta, tc0, bs);
}
#endif

}  // namespace
