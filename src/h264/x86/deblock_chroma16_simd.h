// 16-bit chroma deblocking kernels (4:2:0 and 4:2:2, both directions) over
// the lane filter of deblock_simd.h, instantiated with 32-bit lanes by the
// SSE4.1 and AVX2 files.
//
// The chroma edges of one call never touch each other's samples: an edge
// writes p0 and q0 only, and the next edge's p1 lies two samples further on.
// So every edge of a call goes through one pass, in blocks of eight lines (8
// words in a register); a lane's thresholds come from its own edge and group.
#pragma once

#include "h264/x86/deblock_simd.h"

namespace {

// Thresholds of a block of 8 lines of one edge, lane l taking group pick[l]
// of the edge's four bS and tc0 entries.
struct ChromaBlock16 {
    __m128i live;    // bytes, all ones where the line may be filtered: bS not 0, or strong
    __m128i strong;  // bytes, all ones for the bS 4 filter
    __m128i tc0;     // words
    int alpha, beta;
    bool any_strong;
};
enum class Strong { kByGroup, kAll, kNone };

// Group of each lane: pairs (4:2:0, and 4:2:2 columns), or fours (4:2:2
// rows, first or second half of the edge).
inline __m128i pick_pairs() { return _mm_setr_epi8(0, 0, 1, 1, 2, 2, 3, 3, 0, 0, 0, 0, 0, 0, 0, 0); }
inline __m128i pick_fours(int half) {
    return half ? _mm_setr_epi8(2, 2, 2, 2, 3, 3, 3, 3, 0, 0, 0, 0, 0, 0, 0, 0)
                : _mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0);
}

inline ChromaBlock16 chroma_block_16u(int alpha, int beta, const Vek16u* tc4, const Vek8u* bs4, __m128i pick,
                                      Strong rule) {
    const __m128i bs = _mm_shuffle_epi8(load4(bs4), pick), ones = _mm_set1_epi8(-1);
    ChromaBlock16 b;
    b.strong = rule == Strong::kAll        ? ones
               : rule == Strong::kByGroup ? _mm_cmpeq_epi8(bs, _mm_set1_epi8(4))
                                          : _mm_setzero_si128();
    // An edge strong as a whole takes its bS 0 groups too.
    b.live = _mm_or_si128(_mm_xor_si128(_mm_cmpeq_epi8(bs, _mm_setzero_si128()), ones), b.strong);
    const __m128i twice = _mm_add_epi8(pick, pick);
    b.tc0 = _mm_shuffle_epi8(load8(tc4), _mm_unpacklo_epi8(twice, _mm_sub_epi8(twice, ones)));
    b.alpha = alpha;
    b.beta = beta;
    b.any_strong = rule == Strong::kAll || (rule == Strong::kByGroup && (_mm_movemask_epi8(b.strong) & 0xFF) != 0);
    return b;
}

// line[k][b] holds p1, p0, q0, q1 (k = 0 .. 3) of block b; p0 and q0 are replaced.
template <class O, int kBlocks>
[[gnu::always_inline]] inline void chroma_blocks_16u(__m128i (*line)[kBlocks], const ChromaBlock16* t,
                                                     Vek32s clip_max) {
    constexpr int kParts = 8 * kBlocks / O::kLanes, kPerBlock = 8 / O::kLanes;
    typename O::V out[2][kParts];
    for (int part = 0; part < kParts; ++part) {
        const int block = part / kPerBlock, half = part % kPerBlock;
        const ChromaBlock16& b = t[block];
        const Edge<O> e{O::and_(O::widen_s8(b.live, half), O::set1(b.alpha)), O::set1(b.beta),
                        O::widen_u16(b.tc0, half), O::widen_s8(b.strong, half), b.any_strong, false};
        typename O::V s[4];
        for (int k = 0; k < 4; ++k) s[k] = O::widen_u16(line[k][block], half);
        chroma_lanes<O>(s, e, 0xFFFF, clip_max);
        out[0][part] = s[1];
        out[1][part] = s[2];
    }
    for (int b = 0; b < kBlocks; ++b) {
        line[1][b] = O::narrow_u16(&out[0][b * kPerBlock]);
        line[2][b] = O::narrow_u16(&out[1][b * kPerBlock]);
    }
}

// Vertical edges at columns 0 and 4 of 8 rows starting at `p`: columns -2 .. 5
// transposed into line[k][b] (outer edge, columns -2 .. 1) and line[k][b + 1]
// (inner edge, columns 2 .. 5). Without the outer edge, columns -2 .. 1 are
// neither read nor written.
template <int kBlocks>
[[gnu::always_inline]] inline void load_ver_16u(const Vek16u* p, ptrdiff_t st, bool outer, __m128i (*line)[kBlocks],
                                                int b) {
    __m128i r[8];
    for (int i = 0; i < 8; ++i)
        r[i] = outer ? load16(p - 2 + i * st) : _mm_slli_si128(load8(p + 2 + i * st), 8);
    transpose_8x8_16(r);
    for (int k = 0; k < 4; ++k) {
        line[k][b] = r[k];
        line[k][b + 1] = r[k + 4];
    }
}
template <int kBlocks>
[[gnu::always_inline]] inline void store_ver_16u(Vek16u* p, ptrdiff_t st, bool outer, __m128i (*line)[kBlocks],
                                                 int b) {
    __m128i r[8];
    for (int k = 0; k < 4; ++k) {
        r[k] = line[k][b];
        r[k + 4] = line[k][b + 1];
    }
    transpose_8x8_16(r);
    for (int i = 0; i < 8; ++i) {
        if (outer) store16(p - 2 + i * st, r[i]);
        else store8(p + 2 + i * st, _mm_srli_si128(r[i], 8));
    }
}

// 4:2:0, vertical: groups of two rows, strong where the group's bS is 4.
template <class O>
void chroma_ver_16u_simd(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                         const Vek8u* bs, Vek32s clip_max) {
    const bool outer = load_u32(bs) != 0;
    if (!outer && load_u32(bs + 8) == 0) return;
    const ChromaBlock16 t[2] = {
        chroma_block_16u(alpha[0], beta[0], tc0, bs, pick_pairs(), Strong::kByGroup),
        chroma_block_16u(alpha[1], beta[1], tc0 + 4, bs + 8, pick_pairs(), Strong::kByGroup)};
    __m128i line[4][2];
    load_ver_16u<2>(p, step, outer, line, 0);
    chroma_blocks_16u<O, 2>(line, t, clip_max);
    store_ver_16u<2>(p, step, outer, line, 0);
}

// 4:2:2, vertical: 16 rows in two halves, groups of four rows, strong by group.
template <class O>
void chroma422_ver_16u_simd(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                            const Vek8u* bs, Vek32s clip_max) {
    const bool outer = load_u32(bs) != 0;
    if (!outer && load_u32(bs + 8) == 0) return;
    const ptrdiff_t st = step;
    ChromaBlock16 t[4];  // block 2 * h + e: rows 8h .. 8h + 7 of edge e
    for (int h = 0; h < 2; ++h)
        for (int e = 0; e < 2; ++e)
            t[2 * h + e] =
                chroma_block_16u(alpha[e], beta[e], tc0 + 4 * e, bs + 8 * e, pick_fours(h), Strong::kByGroup);
    __m128i line[4][4];
    load_ver_16u<4>(p, st, outer, line, 0);
    load_ver_16u<4>(p + 8 * st, st, outer, line, 2);
    chroma_blocks_16u<O, 4>(line, t, clip_max);
    store_ver_16u<4>(p, st, outer, line, 0);
    store_ver_16u<4>(p + 8 * st, st, outer, line, 2);
}

// Horizontal edges at rows 0, 4, ... of 8 columns: block e holds rows 4e - 2 .. 4e + 1.
// `strong_of(e)` is the rule of the edge as a whole.
template <class O, int kEdges, class StrongOf>
[[gnu::always_inline]] inline void chroma_hor_16u(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta,
                                                  const Vek16u* tc0, const Vek8u* bs, int bs_stride,
                                                  Vek32s clip_max, StrongOf strong_of) {
    const ptrdiff_t st = step;
    const bool outer = load_u32(bs) != 0;
    bool any = outer;
    for (int e = 1; e < kEdges; ++e) any |= load_u32(bs + bs_stride * e) != 0;
    if (!any) return;
    ChromaBlock16 t[kEdges];
    for (int e = 0; e < kEdges; ++e)
        t[e] = chroma_block_16u(alpha[e ? 1 : 0], beta[e ? 1 : 0], tc0 + 4 * e, bs + bs_stride * e, pick_pairs(),
                                strong_of(e) ? Strong::kAll : Strong::kNone);
    __m128i line[4][kEdges];
    for (int e = 0; e < kEdges; ++e)
        for (int k = 0; k < 4; ++k)
            line[k][e] = (e || outer) ? load16(p + (4 * e + k - 2) * st) : _mm_setzero_si128();
    chroma_blocks_16u<O, kEdges>(line, t, clip_max);
    for (int e = outer ? 0 : 1; e < kEdges; ++e) {
        store16(p + (4 * e - 1) * st, line[1][e]);
        store16(p + 4 * e * st, line[2][e]);
    }
}

// 4:2:0, horizontal: the outer edge is strong as a whole on its first bS.
template <class O>
void chroma_hor_16u_simd(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                         const Vek8u* bs, Vek32s clip_max) {
    chroma_hor_16u<O, 2>(p, step, alpha, beta, tc0, bs, 8, clip_max, [bs](int e) { return e == 0 && bs[0] == 4; });
}

// 4:2:2, horizontal: four edges, each strong as a whole on its own first bS.
template <class O>
void chroma422_hor_16u_simd(Vek16u* p, Vek32s step, const Vek16u* alpha, const Vek16u* beta, const Vek16u* tc0,
                            const Vek8u* bs, Vek32s clip_max) {
    chroma_hor_16u<O, 4>(p, step, alpha, beta, tc0, bs, 4, clip_max, [bs](int e) { return bs[4 * e] == 4; });
}

}  // namespace
