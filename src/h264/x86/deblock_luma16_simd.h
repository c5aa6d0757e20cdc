// 16-bit luma deblocking kernels (both directions) over the lane filter of
// deblock_simd.h, instantiated by the SSE4.1 file with 128-bit registers and
// by the AVX2 file with 256-bit ones.
//
// A call brings the 20 lines across its edges (rows or, transposed once,
// columns -4 .. 15) into registers of 16 words, runs the four edges in order
// on them and writes them back. While no sample and no clip bound exceeds 12
// bits every sum of the filters fits a 16-bit lane, so the edges run on the
// words as they are; other calls widen each edge to 32-bit lanes instead.
#pragma once

#include <type_traits>

#include "h264/x86/deblock_simd.h"

namespace {

// N: 16-bit lanes (I16x8 or I16x16); a line of 16 words is N::V[kWordParts].
template <class N>
constexpr int kWordParts = 16 / N::kLanes;
template <class N>
using LumaLines16 = typename N::V[20][kWordParts<N>];

// Words 0 .. 7 and 8 .. 15 of a line.
template <class N>
inline __m128i words_lo(const typename N::V* w) {
    if constexpr (N::kLanes == 8) return w[0];
#ifdef __AVX2__
    else return _mm256_castsi256_si128(w[0]);
#endif
}
template <class N>
inline __m128i words_hi(const typename N::V* w) {
    if constexpr (N::kLanes == 8) return w[1];
#ifdef __AVX2__
    else return _mm256_extracti128_si256(w[0], 1);
#endif
}

template <class N>
inline void load_line(typename N::V* w, const Vek16u* p) {
    if constexpr (N::kLanes == 8) {
        w[0] = load16(p);
        w[1] = load16(p + 8);
    }
#ifdef __AVX2__
    else {
        w[0] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    }
#endif
}
template <class N>
inline void store_line(Vek16u* p, const typename N::V* w) {
    if constexpr (N::kLanes == 8) {
        store16(p, w[0]);
        store16(p + 8, w[1]);
    }
#ifdef __AVX2__
    else {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), w[0]);
    }
#endif
}

// Columns c .. c + 7 of rows 0 .. 15 as lines col[0 .. 7], and back. At 256
// bits rows r and r + 8 share a register, so one transpose serves both.
template <class N>
inline void load_columns(typename N::V (*col)[kWordParts<N>], const Vek16u* p, ptrdiff_t st) {
    if constexpr (N::kLanes == 8) {
        for (int h = 0; h < 2; ++h) {
            __m128i r[8];
            for (int i = 0; i < 8; ++i) r[i] = load16(p + (8 * h + i) * st);
            transpose_8x8_16(r);
            for (int k = 0; k < 8; ++k) col[k][h] = r[k];
        }
    }
#ifdef __AVX2__
    else {
        __m256i r[8];
        for (int i = 0; i < 8; ++i) r[i] = _mm256_inserti128_si256(_mm256_castsi128_si256(load16(p + i * st)),
                                                                   load16(p + (i + 8) * st), 1);
        transpose_8x8_16(r);
        for (int k = 0; k < 8; ++k) col[k][0] = r[k];
    }
#endif
}
template <class N>
inline void store_columns(Vek16u* p, ptrdiff_t st, const typename N::V (*col)[kWordParts<N>]) {
    if constexpr (N::kLanes == 8) {
        for (int h = 0; h < 2; ++h) {
            __m128i r[8];
            for (int k = 0; k < 8; ++k) r[k] = col[k][h];
            transpose_8x8_16(r);
            for (int i = 0; i < 8; ++i) store16(p + (8 * h + i) * st, r[i]);
        }
    }
#ifdef __AVX2__
    else {
        __m256i r[8];
        for (int k = 0; k < 8; ++k) r[k] = col[k][0];
        transpose_8x8_16(r);
        for (int i = 0; i < 8; ++i) {
            store16(p + i * st, _mm256_castsi256_si128(r[i]));
            store16(p + (i + 8) * st, _mm256_extracti128_si256(r[i], 1));
        }
    }
#endif
}

// The four edges in order on the lines, in the lanes of O: N itself, or
// 32-bit lanes (W) widened from the words and packed back per edge.
template <class N, class O>
[[gnu::always_inline]] inline void luma_16u_edges(LumaLines16<N>& col, const Vek16u* alpha, const Vek16u* beta,
                                                  const Vek16u* tc0, const Vek8u* bs, Vek32s clip_max) {
    constexpr bool kNarrow = std::is_same_v<N, O>;
    constexpr int kParts = 16 / O::kLanes;
    // In 16-bit lanes thresholds and the clip bound are held below the sign
    // bit, which changes no outcome for samples of at most 12 bits.
    const int cap = kNarrow ? 0x7FFF : 0xFFFF;
    const int clip = kNarrow && clip_max > 0x7FFF ? 0x7FFF : clip_max;
    const __m128i ones = _mm_set1_epi8(-1);
    const __m128i pick_lo = _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1);
    const __m128i pick_hi = _mm_add_epi8(pick_lo, _mm_set1_epi8(2));
    const __m128i tc_lo = _mm_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3);
    const __m128i tc_hi = _mm_add_epi8(tc_lo, _mm_set1_epi8(4));
#pragma GCC unroll 4
    for (int e = 0; e < 4; ++e) {
        if (load_u32(bs + 4 * e) == 0) continue;
        const __m128i b = load4(bs + 4 * e);
        const __m128i live = _mm_xor_si128(_mm_cmpeq_epi8(b, _mm_setzero_si128()), ones);
        const __m128i four = _mm_cmpeq_epi8(b, _mm_set1_epi8(4));
        const int strong_groups = _mm_movemask_epi8(four) & 0xF;
        const __m128i live_lo = _mm_shuffle_epi8(live, pick_lo), live_hi = _mm_shuffle_epi8(live, pick_hi);
        const __m128i st_lo = _mm_shuffle_epi8(four, pick_lo), st_hi = _mm_shuffle_epi8(four, pick_hi);
        const __m128i t = load8(tc0 + 4 * e);
        const __m128i t_lo = _mm_shuffle_epi8(t, tc_lo), t_hi = _mm_shuffle_epi8(t, tc_hi);
        const int a = alpha[e ? 1 : 0] < cap ? alpha[e ? 1 : 0] : cap;
        const int bt = beta[e ? 1 : 0] < cap ? beta[e ? 1 : 0] : cap;
        typename O::V out[6][kParts];
        for (int part = 0; part < kParts; ++part) {
            Edge<O> edge;
            edge.alpha = O::and_(O::set1(a), O::mask_words(live_lo, live_hi, part));
            edge.beta = O::set1(bt);
            edge.tc0 = O::words(t_lo, t_hi, part);
            edge.any_strong = strong_groups != 0;
            edge.all_strong = strong_groups == 0xF;
            edge.strong = strong_groups ? O::mask_words(st_lo, st_hi, part) : O::set1(0);
            typename O::V s[8];
            for (int k = 0; k < 8; ++k) {
                if constexpr (kNarrow) s[k] = col[4 * e + k][part];
                else s[k] = O::words(words_lo<N>(col[4 * e + k]), words_hi<N>(col[4 * e + k]), part);
            }
            luma_lanes<O, kNarrow>(s, edge, 0xFFFF, clip);
            for (int k = 0; k < 6; ++k) out[k][part] = s[k + 1];
        }
        for (int k = 0; k < 6; ++k) {
            typename N::V* w = col[4 * e + k + 1];
            if constexpr (kNarrow) {
                for (int part = 0; part < kParts; ++part) w[part] = out[k][part];
            } else {
                const __m128i lo = O::narrow_u16(&out[k][0]), hi = O::narrow_u16(&out[k][8 / O::kLanes]);
                for (int part = 0; part < kWordParts<N>; ++part) w[part] = N::words(lo, hi, part);
            }
        }
    }
}

// Lines `first` .. 19 are all that a call reads; any sample above 12 bits
// sends the call to 32-bit lanes, and so does a clip bound above 12 bits,
// under which an earlier edge's output could outgrow them for a later edge.
template <class N, class W>
[[gnu::always_inline]] inline void luma_16u_lines(LumaLines16<N>& col, int first, const Vek16u* alpha,
                                                  const Vek16u* beta, const Vek16u* tc0, const Vek8u* bs,
                                                  Vek32s clip_max) {
    typename N::V any = col[19][0];
    for (int k = 0; k < 19; ++k)
        for (int part = 0; part < kWordParts<N>; ++part)
            if (k >= first) any = N::or_(any, col[k][part]);
    if constexpr (kWordParts<N> == 2) any = N::or_(any, col[19][1]);
    if (clip_max <= 0xFFF && N::none(N::and_(any, N::set1(0xF000))))
        luma_16u_edges<N, N>(col, alpha, beta, tc0, bs, clip_max);
    else
        luma_16u_edges<N, W>(col, alpha, beta, tc0, bs, clip_max);
}

inline bool any_bs(const Vek8u* bs) {
    return (load_u32(bs) | load_u32(bs + 4) | load_u32(bs + 8) | load_u32(bs + 12)) != 0;
}

// Rows -4 .. 15 as lines; the rows above the block only with the outer edge,
// row -4 only when that edge has a strong group.
template <class N, class W>
void luma_hor_16u_simd(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                       const Vek8u* bs, Vek32s clip_max) {
    if (!any_bs(bs)) return;
    const ptrdiff_t st = step;
    const bool outer = load_u32(bs) != 0;
    const bool strong0 = (_mm_movemask_epi8(_mm_cmpeq_epi8(load4(bs), _mm_set1_epi8(4))) & 0xF) != 0;
    const int first = strong0 ? 0 : outer ? 1 : 4;
    LumaLines16<N> col;
    for (int k = 0; k < 4; ++k)
        for (int part = 0; part < kWordParts<N>; ++part) col[k][part] = N::set1(0);
    for (int k = 0; k < 20; ++k)
        if (k >= first) load_line<N>(col[k], p + (k - 4) * st);
    luma_16u_lines<N, W>(col, first, alpha, beta, tc0, bs, clip_max);
    // Row 15 is only ever a q3, which no filter changes.
    for (int k = outer ? 1 : 4; k < 19; ++k) store_line<N>(p + (k - 4) * st, col[k]);
}

// Columns -4 .. 15 transposed in as three blocks of 8 (the last two overlap),
// or columns 0 .. 15 without the outer edge.
template <class N, class W>
void luma_ver_16u_simd(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                       const Vek8u* bs, Vek32s clip_max) {
    if (!any_bs(bs)) return;
    const ptrdiff_t st = step;
    const bool outer = load_u32(bs) != 0;
    const int starts[3] = {outer ? -4 : 0, outer ? 4 : 8, 8};
    const int blocks = outer ? 3 : 2;
    LumaLines16<N> col;
    for (int k = 0; k < 4; ++k)
        for (int part = 0; part < kWordParts<N>; ++part) col[k][part] = N::set1(0);
    for (int i = 0; i < blocks; ++i) load_columns<N>(col + starts[i] + 4, p + starts[i], st);
    luma_16u_lines<N, W>(col, outer ? 0 : 4, alpha, beta, tc0, bs, clip_max);
    for (int i = 0; i < blocks; ++i) store_columns<N>(p + starts[i], st, col + starts[i] + 4);
}

}  // namespace
