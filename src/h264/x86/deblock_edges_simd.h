// Whole-macroblock deblocking kernels over the lane filters of
// deblock_simd.h and the byte filters of deblock_bytes_simd.h, one template
// per plane and direction, instantiated by the SSE4.1 file with 128-bit lanes
// and by the AVX2 file with 256-bit ones.
// Edges go in order and each sees what the earlier ones changed; vertical
// edges are transposed so that one lane is one row. Samples of an edge whose
// bS are all 0 are not read when they lie outside the macroblock.
#pragma once

#include "h264/x86/deblock_bytes_simd.h"
#include "h264/x86/deblock_simd.h"

namespace {

// ---- 8-bit luma -------------------------------------------------------------------
//
// The four edges run over a sliding window of 8 widened lines (p3 .. q3 of the
// current edge) held in registers: after edge e, lines 4e - 3 .. 4e are final
// and leave the window, lines 4e + 4 .. 4e + 7 come in untouched. Nothing of
// the chain from one edge to the next goes through memory.

template <class O>
using LumaWindow = typename O::V[8][16 / O::kLanes];

// The thresholds of all four edges, prepared once per call and kept in
// registers: the 16 alpha entries (0 where bS is 0, which fails the filter
// test) and tc0 entries as bytes in every 128-bit lane, one shuffle from an
// edge's lanes, and both betas.
template <class O>
struct LumaParams {
    typename O::V alpha, tc0;
    typename O::V beta[2];
};

// Fills `b`; true when some tc0 is high enough for tc to wrap (tc is then
// kept to 8 bits, as the sample type would).
template <class O>
[[gnu::always_inline]] inline bool luma_params(LumaParams<O>& b, const Vek8u* alpha, const Vek8u* beta,
                                               const Vek8u* tc0, const Vek8u* bs) {
    const __m128i zero_bs = _mm_cmpeq_epi8(load16(bs), _mm_setzero_si128());
    // alpha[0] for the outer edge's four entries, alpha[1] for the other twelve
    const __m128i a = _mm_insert_epi32(_mm_set1_epi8(static_cast<char>(alpha[1])),
                                       static_cast<int>(alpha[0] * 0x01010101u), 0);
    const __m128i t = load16(tc0);
    b.alpha = O::bcast128(_mm_andnot_si128(zero_bs, a));
    b.tc0 = O::bcast128(t);
    b.beta[0] = O::set1(beta[0]);
    b.beta[1] = O::set1(beta[1]);
    return !_mm_test_all_zeros(_mm_cmpeq_epi8(_mm_max_epu8(t, _mm_set1_epi8(-2)), t), _mm_set1_epi8(-1));
}

template <class O, int kTcMask>
[[gnu::always_inline]] inline void luma_window_8u(LumaWindow<O>& w, const LumaParams<O>& b, int e,
                                                  std::uint32_t strong4) {
    constexpr int kParts = 16 / O::kLanes;
    const __m128i strong = strong4 ? spread_groups(strong4, 4) : _mm_setzero_si128();
    for (int part = 0; part < kParts; ++part) {
        Edge<O> edge;
        edge.alpha = O::groups_of_4(b.alpha, 4 * e, part);  // lane l of edge e: entry 4 * e + l / 4
        edge.beta = b.beta[e ? 1 : 0];
        edge.tc0 = O::groups_of_4(b.tc0, 4 * e, part);
        edge.any_strong = strong4 != 0;
        edge.all_strong = strong4 == 0x01010101u;
        edge.strong = strong4 ? O::sub(O::set1(0), O::widen_u8(strong, part)) : O::set1(0);
        typename O::V s[8];
        for (int k = 0; k < 8; ++k) s[k] = w[k][part];
        luma_lanes<O>(s, edge, kTcMask, -1);
        for (int k = 1; k < 7; ++k) w[k][part] = s[k];
    }
}

template <class O, int kTcMask>
void luma_hor_8u_edges(Vek8u* p, Vek32s step, const LumaParams<O>& b, const Vek8u* bs) {
    constexpr int kParts = 16 / O::kLanes;
    const ptrdiff_t st = step;
    LumaWindow<O> w;
    const auto load_row = [&](int k, int y) {
        const __m128i row = load16(p + y * st);
        for (int part = 0; part < kParts; ++part) w[k][part] = O::widen_u8(row, part);
    };
    const auto store_rows = [&](int k, int y) {  // rows y, y + 1 from lines k, k + 1
        __m128i r0, r1;
        O::narrow2_u8(w[k], w[k + 1], r0, r1);
        store16(p + y * st, r0);
        store16(p + (y + 1) * st, r1);
    };
    const bool outer = load_u32(bs) != 0;
    const std::uint32_t strong0 = outer ? strong_all(bs) : 0u;
    // Rows above the block belong to the outer edge; row -4 only to its strong filter.
    for (int k = 0; k < 4; ++k)
        for (int part = 0; part < kParts; ++part) w[k][part] = O::set1(0);
    // Constant indices only, so that the window stays in registers.
    if (outer) {
        if (strong0) load_row(0, -4);
        for (int k = 1; k < 4; ++k) load_row(k, k - 4);
    }
    for (int k = 4; k < 8; ++k) load_row(k, k - 4);
#pragma GCC unroll 4
    for (int e = 0; e < 4; ++e) {
        if (e > 0) {
            for (int k = 0; k < 4; ++k)
                for (int part = 0; part < kParts; ++part) w[k][part] = w[k + 4][part];
            // Row 15 is only ever the q3 of a strong filter, which inner edges never run.
            for (int k = 4; k < (e == 3 ? 7 : 8); ++k) load_row(k, 4 * e + k - 4);
        }
        if (load_u32(bs + 4 * e) != 0) luma_window_8u<O, kTcMask>(w, b, e, e == 0 ? strong0 : 0u);
        if (e > 0 || outer) {
            store_rows(1, 4 * e - 3);
            store_rows(3, 4 * e - 1);
        }
    }
    store_rows(5, 13);
}

// The same edges on bytes (128-bit level): a row of the macroblock is one
// register, so the filters need neither widening nor transposing.
template <class O>
void luma_hor_8u_bytes(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                       const Vek8u* bs) {
    const ptrdiff_t st = step;
    const bool outer = load_u32(bs) != 0;
    const bool strong0 = outer && strong_all(bs) != 0;
    const __m128i zero_bs = _mm_cmpeq_epi8(load16(bs), _mm_setzero_si128());
    const __m128i a = _mm_insert_epi32(_mm_set1_epi8(static_cast<char>(alpha[1])),
                                       static_cast<int>(alpha[0] * 0x01010101u), 0);
    const __m128i alphas = _mm_andnot_si128(zero_bs, a), tcs = load16(tc0);
    const __m128i pick = _mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
    // Each edge loads its rows and stores what it changed: the next edge
    // reloads two of them, which store forwarding serves.
    const __m128i beta0 = _mm_set1_epi8(static_cast<char>(beta[0]));
    const __m128i beta1 = _mm_set1_epi8(static_cast<char>(beta[1]));
#pragma GCC unroll 4
    for (int e = 0; e < 4; ++e) {
        if (load_u32(bs + 4 * e) == 0) continue;
        Vek8u* q0 = p + 4 * e * st;
        const __m128i sel = _mm_add_epi8(pick, _mm_set1_epi8(static_cast<char>(4 * e)));
        const __m128i edge_alpha = _mm_shuffle_epi8(alphas, sel);
        if (e == 0 && strong0) {
            __m128i r[8];
            for (int k = 0; k < 8; ++k) r[k] = load16(q0 + (k - 4) * st);
            const __m128i a0 = _mm_set1_epi8(static_cast<char>(alpha[0]));
            const __m128i gap = _mm_set1_epi8(static_cast<char>((alpha[0] >> 2) + 2));
            const __m128i p0 = r[3], p1 = r[2], all = _mm_set1_epi8(-1);
            luma_strong_side_u8(r[0], r[1], r[2], r[3], r[4], r[5], a0, beta0, gap, all);
            luma_strong_side_u8(r[7], r[6], r[5], r[4], p0, p1, a0, beta0, gap, all);
            for (int k = 1; k < 7; ++k) store16(q0 + (k - 4) * st, r[k]);
            continue;
        }
        __m128i r[6];
        for (int k = 0; k < 6; ++k) r[k] = load16(q0 + (k - 3) * st);
        luma_normal_u8(r, edge_alpha, e ? beta1 : beta0, _mm_shuffle_epi8(tcs, sel));
        for (int k = 1; k < 5; ++k) store16(q0 + (k - 3) * st, r[k]);
    }
}

#ifdef __AVX2__
// Rows r0 and r1 as the low and high halves of one register, and back.
inline __m256i load_rows2(const Vek8u* p, ptrdiff_t st, int r0, int r1) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(p + r0 * st)), load16(p + r1 * st), 1);
}
inline void store_rows2(Vek8u* p, ptrdiff_t st, int r0, int r1, __m256i v) {
    store16(p + r0 * st, _mm256_castsi256_si128(v));
    store16(p + r1 * st, _mm256_extracti128_si256(v, 1));
}

// ---- 8-bit luma on bytes, two edges per 256-bit register --------------------------
//
// Register m (0 .. 11) holds line m - 4 in its low slot and line m + 4 in its
// high slot (lines are rows, or columns once transposed), so registers 0 .. 7
// are p3 .. q3 of edges 0 and 2, and registers 4 .. 11 those of edges 1 and
// 3. A slot is a 128-bit half for rows; transposed columns come out with a
// slot in the alternate 8-byte quarters (lines 0 .. 7 and 8 .. 15).
struct HalfSlots {
    static constexpr int kLowDwords = 0x0F;
    static __m256i lows(__m256i a, __m256i b) { return _mm256_permute2x128_si256(a, b, 0x20); }
    static __m256i highs(__m256i a, __m256i b) { return _mm256_permute2x128_si256(a, b, 0x31); }
    // Threshold entry (4 * edge + group) of each byte for edges 0 and 2.
    static __m256i entries() {
        return _mm256_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 8, 8, 8, 8, 9, 9, 9, 9, 10, 10, 10,
                                10, 11, 11, 11, 11);
    }
};
struct QuarterSlots {
    static constexpr int kLowDwords = 0x33;
    static __m256i lows(__m256i a, __m256i b) { return _mm256_unpacklo_epi64(a, b); }
    static __m256i highs(__m256i a, __m256i b) { return _mm256_unpackhi_epi64(a, b); }
    static __m256i entries() {
        return _mm256_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 8, 8, 8, 8, 9, 9, 9, 9, 2, 2, 2, 2, 3, 3, 3, 3, 10, 10, 10,
                                10, 11, 11, 11, 11);
    }
};

// Per-byte thresholds of the two register pairs: [0] edges 0 and 2, [1] edges 1 and 3.
struct PairThresholds {
    __m256i alpha[2], tc0[2], tc2[2], beta[2];  // tc2: tc0 + 2
};

// `skip`: bytes 0 .. 3 all ones for the outer edge's groups left to the
// strong filter (their alpha is 0 here, so the normal filter leaves them be).
template <class L>
[[gnu::always_inline]] inline PairThresholds pair_thresholds(const Vek8u* alpha, const Vek8u* beta,
                                                             const Vek8u* tc0, const Vek8u* bs, __m128i skip) {
    const __m128i off = _mm_or_si128(_mm_cmpeq_epi8(load16(bs), _mm_setzero_si128()), skip);
    const __m128i a = _mm_insert_epi32(_mm_set1_epi8(static_cast<char>(alpha[1])),
                                       static_cast<int>(alpha[0] * 0x01010101u), 0);
    const __m256i alphas = _mm256_broadcastsi128_si256(_mm_andnot_si128(off, a));
    const __m256i tcs = _mm256_broadcastsi128_si256(load16(tc0));
    const __m256i beta1 = _mm256_set1_epi8(static_cast<char>(beta[1]));
    PairThresholds t;
    for (int j = 0; j < 2; ++j) {
        const __m256i pick = _mm256_add_epi8(L::entries(), _mm256_set1_epi8(static_cast<char>(4 * j)));
        t.alpha[j] = _mm256_shuffle_epi8(alphas, pick);
        t.tc0[j] = _mm256_shuffle_epi8(tcs, pick);
        t.tc2[j] = _mm256_add_epi8(t.tc0[j], bytes_at<__m256i>(byte_constants()->two));
    }
    t.beta[0] = _mm256_blend_epi32(beta1, _mm256_set1_epi8(static_cast<char>(beta[0])), L::kLowDwords);
    t.beta[1] = beta1;
    return t;
}

// The bS 4 filter of the outer edge on r[0 .. 7], both sides at once: the q
// side in the low slots of x (rows or columns 0 .. 2 as they end), the p
// side in the high ones, which also go to the low slots of r[3], r[2], r[1].
template <class L>
[[gnu::always_inline]] inline void luma_strong_pairs(__m256i* r, int alpha, int beta, __m256i strong, __m256i* x) {
    x[2] = L::lows(r[6], r[1]);
    x[1] = L::lows(r[5], r[2]);
    x[0] = L::lows(r[4], r[3]);
    luma_strong_side_u8(L::lows(r[7], r[0]), x[2], x[1], x[0], L::lows(r[3], r[4]), L::lows(r[2], r[5]),
                        _mm256_set1_epi8(static_cast<char>(alpha)), _mm256_set1_epi8(static_cast<char>(beta)),
                        _mm256_set1_epi8(static_cast<char>((alpha >> 2) + 2)), strong);
    for (int k = 0; k < 3; ++k) r[3 - k] = L::highs(x[k], r[3 - k]);
}

// The normal filter of the four edges on r[1 .. 10]. It changes p1 .. q1, so
// the one input an edge takes from the edge before is its p2, that edge's
// new q1; and a new q1 needs nothing an earlier edge writes. So every edge's
// q1 comes first, then the rest of all four edges with the p2 they imply.
//
// `x`, when given, holds in its low slots the outer edge's lines 0 .. 2 as a
// strong filter left them, which count on the bytes of `strong` (the edge is
// skipped here there): edges 0 and 2 go on without them, so that only edge 1
// waits for that filter.
template <class L>
[[gnu::always_inline]] inline void luma_normal_pairs(__m256i* r, const PairThresholds& t,
                                                     const __m256i* x = nullptr, __m256i strong = __m256i{}) {
    using B = ByteOps<32>;
    // Masks of the failed tests (all ones), so that each is used through andnot.
    __m256i fail[2], aq_fail[2], avg[2], tf[2], nq1[2], ad[2];
    const __m256i r6 = r[6];
    if (x) {
        strong = _mm256_blend_epi32(_mm256_setzero_si256(), strong, L::kLowDwords);
        r[6] = _mm256_blendv_epi8(r[6], x[2], strong);
    }
    for (int j = 0; j < 2; ++j) {
        const __m256i s[5] = {j ? r[6] : r[2], r[4 * j + 3], r[4 * j + 4], r[4 * j + 5], j ? r[10] : r6};
        ad[j] = absdiff_u8(s[1], s[2]);
        fail[j] = B::or_(not_below_u8(ad[j], t.alpha[j]),
                         not_below_u8(B::max(absdiff_u8(s[0], s[1]), absdiff_u8(s[3], s[2])), t.beta[j]));
        aq_fail[j] = not_below_u8(absdiff_u8(s[4], s[2]), t.beta[j]);
        avg[j] = B::avg(s[1], s[2]);
        tf[j] = _mm256_andnot_si256(fail[j], t.tc0[j]);
        const __m256i tq = _mm256_andnot_si256(aq_fail[j], tf[j]), mq = avg_floor_u8(s[4], avg[j]);
        nq1[j] = B::min(B::max(mq, B::subs(s[3], tq)), B::adds(s[3], tq));
    }
    if (x) nq1[0] = _mm256_blendv_epi8(nq1[0], x[1], strong);
    const __m256i p2s[2] = {L::lows(r[1], nq1[1]), nq1[0]};
    for (int j = 0; j < 2; ++j) {
        __m256i* s = r + 4 * j + 2;
        const __m256i p2 = p2s[j], p1 = s[0], p0 = s[1], q0 = s[2], q1 = s[3];
        const __m256i ap_fail = not_below_u8(absdiff_u8(p2, p0), t.beta[j]);
        // tc = tc0 + ap + aq = (tc0 + 2) + each failed test's -1, wrapping in 8 bits as the sample type does.
        const __m256i tc = _mm256_andnot_si256(fail[j], B::add(B::add(t.tc2[j], ap_fail), aq_fail[j]));
        __m256i pos, neg;
        delta_parts_u8(p1, p0, q0, q1, ad[j], tc, pos, neg);
        s[1] = B::subs(B::adds(p0, pos), neg);
        s[2] = B::subs(B::adds(q0, neg), pos);
        const __m256i tp = _mm256_andnot_si256(ap_fail, tf[j]), mp = avg_floor_u8(p2, avg[j]);
        s[0] = B::min(B::max(mp, B::subs(p1, tp)), B::adds(p1, tp));
    }
    r[5] = nq1[0];
    r[9] = nq1[1];
    if (x) r[4] = _mm256_blendv_epi8(r[4], x[0], strong);
}

// Horizontal edges: every register is two rows, loaded and stored as they
// are. Rows above the block are read only when the outer edge runs. A strong
// outer edge runs first on its own registers (rows -4 .. 3, the q side in the
// low halves and the p side in the high ones) and hands its rows 0 .. 2 to
// the normal pass, which then skips it.
template <bool kStrong>
[[gnu::always_inline]] inline void luma_hor_8u_pairs(Vek8u* p, ptrdiff_t st, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                       const Vek8u* bs, bool outer) {
    __m256i r[12];
    const bool normal_outer = outer && !kStrong;
    r[1] = normal_outer ? _mm256_castsi128_si256(load16(p - 3 * st)) : _mm256_setzero_si256();
    for (int m = 2; m < 11; ++m)
        r[m] = normal_outer || m >= 4
                   ? load_rows2(p, st, m - 4, m + 4)
                   : _mm256_inserti128_si256(_mm256_setzero_si256(), load16(p + (m + 4) * st), 1);
    if constexpr (kStrong) {
        __m256i x2 = load_rows2(p, st, 2, -3), x1 = load_rows2(p, st, 1, -2), x0 = load_rows2(p, st, 0, -1);
        luma_strong_side_u8(load_rows2(p, st, 3, -4), x2, x1, x0, load_rows2(p, st, -1, 0), load_rows2(p, st, -2, 1),
                            _mm256_set1_epi8(static_cast<char>(alpha[0])), _mm256_set1_epi8(static_cast<char>(beta[0])),
                            _mm256_set1_epi8(static_cast<char>((alpha[0] >> 2) + 2)), _mm256_set1_epi8(-1));
        store16(p - 3 * st, _mm256_extracti128_si256(x2, 1));
        store16(p - 2 * st, _mm256_extracti128_si256(x1, 1));
        store16(p - st, _mm256_extracti128_si256(x0, 1));
        const __m256i x[3] = {x0, x1, x2};
        luma_normal_pairs<HalfSlots>(r, pair_thresholds<HalfSlots>(alpha, beta, tc0, bs, _mm_cvtsi32_si128(-1)), x,
                                     _mm256_set1_epi8(-1));
    } else {
        luma_normal_pairs<HalfSlots>(r, pair_thresholds<HalfSlots>(alpha, beta, tc0, bs, _mm_setzero_si128()));
    }
    for (int m = 2; m < 6; ++m) {
        if (normal_outer || m >= 4) store16(p + (m - 4) * st, _mm256_castsi256_si128(r[m]));
        store16(p + (m + 4) * st, _mm256_extracti128_si256(r[m], 1));
    }
    for (int m = 6; m < 10; ++m) store_rows2(p, st, m - 4, m + 4, r[m]);
}

// 16 rows of 16 bytes, row i in the low half of in[i] and row i + 8 in the
// high half (i = 0 .. 7), to 16 columns: column c then column c + 8 in each
// half (rows 0 .. 7 in the low half, 8 .. 15 in the high one), of which
// out[c - kFrom] takes those of c = kFrom .. kTo - 1. The same steps take
// that form back to rows. Outputs left out cost nothing.
template <int kFrom = 0, int kTo = 8>
[[gnu::always_inline]] inline void transpose_16x16_pairs(const __m256i* in, __m256i* out) {
    __m256i a[8], b[8], c[8];
    for (int i = 0; i < 4; ++i) {  // rows 2i, 2i + 1: columns 0 .. 7, 8 .. 15
        a[2 * i] = _mm256_unpacklo_epi8(in[2 * i], in[2 * i + 1]);
        a[2 * i + 1] = _mm256_unpackhi_epi8(in[2 * i], in[2 * i + 1]);
    }
    for (int g = 0; g < 2; ++g)  // b[4g + q]: rows 4g .. 4g + 3, columns 4q .. 4q + 3
        for (int h = 0; h < 2; ++h) {
            b[4 * g + 2 * h] = _mm256_unpacklo_epi16(a[4 * g + h], a[4 * g + 2 + h]);
            b[4 * g + 2 * h + 1] = _mm256_unpackhi_epi16(a[4 * g + h], a[4 * g + 2 + h]);
        }
    for (int q = 0; q < 4; ++q) {  // c[n]: columns 2n, 2n + 1 of rows 0 .. 7
        c[2 * q] = _mm256_unpacklo_epi32(b[q], b[4 + q]);
        c[2 * q + 1] = _mm256_unpackhi_epi32(b[q], b[4 + q]);
    }
    for (int n = kFrom / 2; n < (kTo + 1) / 2; ++n) {
        if (2 * n >= kFrom) out[2 * n - kFrom] = _mm256_unpacklo_epi64(c[n], c[n + 4]);
        if (2 * n + 1 < kTo) out[2 * n + 1 - kFrom] = _mm256_unpackhi_epi64(c[n], c[n + 4]);
    }
}

// Vertical edges: columns -4 .. 11 and 0 .. 15 transposed in (the first
// block only for the outer edge), the same registers as rows, and back out.
inline void luma_ver_8u_pairs(Vek8u* p, ptrdiff_t st, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                              const Vek8u* bs, bool outer, std::uint32_t strong2) {
    __m256i r[12], w[8];
    for (int i = 0; i < 8; ++i) w[i] = load_rows2(p, st, i, i + 8);
    transpose_16x16_pairs(w, r + 4);
    if (outer) {
        for (int i = 0; i < 8; ++i) w[i] = load_rows2(p - 4, st, i, i + 8);
        transpose_16x16_pairs<0, 4>(w, r);
    } else {
        // Only edge 2's p1 and p0 (columns 6 and 7) matter in the high slots.
        r[0] = r[1] = _mm256_setzero_si256();
        for (int c = 2; c < 4; ++c) r[c] = _mm256_unpacklo_epi64(_mm256_setzero_si256(), r[c + 8]);
    }
    // strong2: byte 0 and byte 2 set for the halves (rows 0 .. 7, 8 .. 15) of bS 4.
    const __m128i skip = _mm_cvtsi32_si128(static_cast<int>(strong2 * 0xFFu));
    const PairThresholds t = pair_thresholds<QuarterSlots>(alpha, beta, tc0, bs, skip);
    if (strong2) {
        const __m256i strong = _mm256_cmpgt_epi64(
            _mm256_set_epi64x(strong2 >> 16, strong2 >> 16, strong2 & 1, strong2 & 1), _mm256_setzero_si256());
        __m256i x[3];
        luma_strong_pairs<QuarterSlots>(r, alpha[0], beta[0], strong, x);
        luma_normal_pairs<QuarterSlots>(r, t, x, strong);
    } else {
        luma_normal_pairs<QuarterSlots>(r, t);
    }
    // Columns 6 and 7 end as edge 2's p1 and p0: into the slots the second block stores.
    r[10] = QuarterSlots::highs(r[2], r[10]);
    r[11] = QuarterSlots::highs(r[3], r[11]);
    if (outer) {
        transpose_16x16_pairs(r, w);
        for (int i = 0; i < 8; ++i) store_rows2(p - 4, st, i, i + 8, w[i]);
    }
    transpose_16x16_pairs(r + 4, w);
    for (int i = 0; i < 8; ++i) store_rows2(p, st, i, i + 8, w[i]);
}
#endif

// The lane filters, with one copy per tc width so that no edge tests it.
// Out of line: the byte path then sets up only its own stack frame.
template <class O>
[[gnu::noinline]] void luma_hor_8u_lanes(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta,
                                         const Vek8u* tc0, const Vek8u* bs) {
    LumaParams<O> b;
    if (luma_params(b, alpha, beta, tc0, bs))
        luma_hor_8u_edges<O, 0xFF>(p, step, b, bs);
    else
        luma_hor_8u_edges<O, -1>(p, step, b, bs);
}

// Calls whose tc0 all fit the byte filters take them; the others keep the
// lane filters.
template <class O>
void luma_hor_8u_simd(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                      const Vek8u* bs) {
    if ((load_u32(bs) | load_u32(bs + 4) | load_u32(bs + 8) | load_u32(bs + 12)) == 0) return;
    const __m128i over = _mm_subs_epu8(load16(tc0), _mm_set1_epi8(kByteLumaTc0Max));
    if (_mm_testz_si128(over, over)) {
#ifdef __AVX2__
        if constexpr (O::kLanes == 16)
            return strong_all(bs) ? luma_hor_8u_pairs<true>(p, step, alpha, beta, tc0, bs, true)
                                  : luma_hor_8u_pairs<false>(p, step, alpha, beta, tc0, bs, load_u32(bs) != 0);
#endif
        if constexpr (O::kLanes == 8) return luma_hor_8u_bytes<O>(p, step, alpha, beta, tc0, bs);
    }
    luma_hor_8u_lanes<O>(p, step, alpha, beta, tc0, bs);
}

template <class O, int kTcMask>
void luma_ver_8u_edges(Vek8u* p, Vek32s step, const LumaParams<O>& b, const Vek8u* bs) {
    constexpr int kParts = 16 / O::kLanes;
    const bool outer = load_u32(bs) != 0;
    // col[k] is column k - 4, 16 rows as bytes: transposed in from columns
    // -4 .. 3 (or 0 .. 7 without the outer edge), 4 .. 11 and 8 .. 15.
    const int starts[3] = {outer ? -4 : 0, outer ? 4 : 8, 8};
    const int blocks = outer ? 3 : 2;
    __m128i col[20];
    for (int k = 0; k < 4; ++k) col[k] = _mm_setzero_si128();
    for (int i = 0; i < blocks; ++i) transpose_16x8(p + starts[i], step, col + starts[i] + 4);
    LumaWindow<O> w;
    const auto widen = [&](int k, int c) {
        for (int part = 0; part < kParts; ++part) w[k][part] = O::widen_u8(col[c], part);
    };
    for (int k = 0; k < 8; ++k) widen(k, k);
#pragma GCC unroll 4
    for (int e = 0; e < 4; ++e) {
        if (e > 0) {
            for (int k = 0; k < 4; ++k)
                for (int part = 0; part < kParts; ++part) w[k][part] = w[k + 4][part];
            for (int k = 4; k < 8; ++k) widen(k, 4 * e + k);
        }
        if (load_u32(bs + 4 * e) != 0)
            luma_window_8u<O, kTcMask>(w, b, e, e == 0 && outer ? strong_halves(bs) : 0u);
        O::narrow2_u8(w[1], w[2], col[4 * e + 1], col[4 * e + 2]);
        O::narrow2_u8(w[3], w[4], col[4 * e + 3], col[4 * e + 4]);
    }
    O::narrow2_u8(w[5], w[6], col[17], col[18]);
    for (int i = 0; i < blocks; ++i) store_transposed_8x16(p + starts[i], step, col + starts[i] + 4);
}

template <class O>
void luma_ver_8u_simd(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                      const Vek8u* bs) {
    if ((load_u32(bs) | load_u32(bs + 4) | load_u32(bs + 8) | load_u32(bs + 12)) == 0) return;
#ifdef __AVX2__
    if constexpr (O::kLanes == 16) {
        const __m128i over = _mm_subs_epu8(load16(tc0), _mm_set1_epi8(kByteLumaTc0Max));
        if (_mm_testz_si128(over, over)) {
            const bool outer = load_u32(bs) != 0;
            return luma_ver_8u_pairs(p, step, alpha, beta, tc0, bs, outer, outer ? strong_halves(bs) : 0u);
        }
    }
#endif
    LumaParams<O> b;
    if (luma_params(b, alpha, beta, tc0, bs))
        luma_ver_8u_edges<O, 0xFF>(p, step, b, bs);
    else
        luma_ver_8u_edges<O, -1>(p, step, b, bs);
}

// ---- 8-bit chroma, one plane ----------------------------------------------------------
//
// The two edges of a 4:2:0 chroma call are independent (the first writes
// samples -1 and 0, the second reads 2 .. 5), so they run as one pass of 16
// lines: bytes 0 .. 7 of a line register are the outer edge, 8 .. 15 the inner.

// [0] for bytes 0 .. 7 (the outer edge's lines), [1] for bytes 8 .. 15.
inline __m128i outer_inner(const Vek8u* pair) {
    std::uint16_t v;
    std::memcpy(&v, pair, sizeof v);
    return _mm_shuffle_epi8(_mm_cvtsi32_si128(v), _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1));
}

// Thresholds of the 16 lines: lane l takes group l / 2 of its edge.
template <class O>
[[gnu::always_inline]] inline Edge<O> chroma_edges_8u(const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                                                      const Vek8u* bs, int part) {
    const __m128i pick = _mm_setr_epi8(0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7);
    const __m128i bs8 = _mm_insert_epi32(load4(bs), static_cast<int>(load_u32(bs + 8)), 1);
    const __m128i zero_bs = _mm_cmpeq_epi8(_mm_shuffle_epi8(bs8, pick), _mm_setzero_si128());
    const __m128i a = outer_inner(alpha), b = outer_inner(beta);
    const std::uint32_t strong4 = strong_all(bs);
    Edge<O> e;
    e.alpha = O::widen_u8(_mm_andnot_si128(zero_bs, a), part);
    e.beta = O::widen_u8(b, part);
    e.tc0 = O::widen_u8(_mm_shuffle_epi8(load8(tc0), pick), part);
    e.any_strong = strong4 != 0;
    e.all_strong = false;
    // Only the outer edge's lines (bytes 0 .. 7) can be strong.
    e.strong = strong4 ? O::sub(O::set1(0), O::widen_u8(_mm_set_epi64x(0, 0x0101010101010101), part)) : O::set1(0);
    return e;
}

// The new p0 and q0 of the 16 lines, still widened.
template <class O>
[[gnu::always_inline]] inline void chroma_lanes_8u(const __m128i* line, const Vek8u* alpha, const Vek8u* beta,
                                                   const Vek8u* tc0, const Vek8u* bs,
                                                   typename O::V (&out)[2][16 / O::kLanes]) {
    for (int part = 0; part < 16 / O::kLanes; ++part) {
        const Edge<O> e = chroma_edges_8u<O>(alpha, beta, tc0, bs, part);
        typename O::V s[4];
        for (int k = 0; k < 4; ++k) s[k] = O::widen_u8(line[k], part);
        chroma_lanes<O>(s, e, 0xFF, -1);
        out[0][part] = s[1];
        out[1][part] = s[2];
    }
}

template <class O>
[[gnu::always_inline]] inline void chroma_pass_lanes_8u(__m128i* line, const Vek8u* alpha, const Vek8u* beta,
                                                        const Vek8u* tc0, const Vek8u* bs) {
    typename O::V out[2][16 / O::kLanes];
    chroma_lanes_8u<O>(line, alpha, beta, tc0, bs, out);
    O::narrow2_u8(out[0], out[1], line[1], line[2]);
}

// At 128 bits, the pass on bytes (exact for every tc0); 256-bit lanes already
// take all 16 lines per operation.
template <class O>
[[gnu::always_inline]] inline void chroma_pass_8u(__m128i* line, const Vek8u* alpha, const Vek8u* beta,
                                                  const Vek8u* tc0, const Vek8u* bs) {
    if constexpr (O::kLanes == 16) return chroma_pass_lanes_8u<O>(line, alpha, beta, tc0, bs);
    const __m128i pick = _mm_setr_epi8(0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7);
    const __m128i tcs = _mm_shuffle_epi8(load8(tc0), pick);
    const __m128i bs8 = _mm_insert_epi32(load4(bs), static_cast<int>(load_u32(bs + 8)), 1);
    const __m128i zero_bs = _mm_cmpeq_epi8(_mm_shuffle_epi8(bs8, pick), _mm_setzero_si128());
    const __m128i a = outer_inner(alpha), b = outer_inner(beta);
    // Only the outer edge's lines (bytes 0 .. 7) can be strong.
    const __m128i strong = _mm_set_epi64x(0, strong_all(bs) ? -1 : 0);
    chroma_u8(line, _mm_andnot_si128(zero_bs, a), b, tcs, strong);
}

template <class O>
void chroma_hor_8u_simd(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                        const Vek8u* bs) {
    const ptrdiff_t st = step;
    const bool outer = load_u32(bs) != 0, inner = load_u32(bs + 8) != 0;
    if (!outer && !inner) return;
    // Line k: row k - 2 (outer edge, left out when it is off) beside row k + 2.
    __m128i line[4];
    for (int k = 0; k < 4; ++k) {
        const __m128i low = (outer || k >= 2) ? load8(p + (k - 2) * st) : _mm_setzero_si128();
        line[k] = load8_high(low, p + (k + 2) * st);
    }
    chroma_pass_8u<O>(line, alpha, beta, tc0, bs);
    if (outer) store8(p - st, line[1]);
    store8(p, line[2]);
    store8_high(p + 3 * st, line[1]);
    store8_high(p + 4 * st, line[2]);
}

template <class O>
void chroma_ver_8u_simd(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                        const Vek8u* bs) {
    const ptrdiff_t st = step;
    const bool outer = load_u32(bs) != 0, inner = load_u32(bs + 8) != 0;
    if (!outer && !inner) return;
    // Columns -2 .. 5 of 8 rows; without the outer edge, columns 2 .. 5 only.
    const int left = outer ? -2 : 2;
    __m128i r[8];
    for (int i = 0; i < 8; ++i) r[i] = outer ? load8(p + left + i * st) : _mm_slli_si128(load4(p + left + i * st), 4);
    const __m128i a0 = _mm_unpacklo_epi8(r[0], r[1]), a1 = _mm_unpacklo_epi8(r[2], r[3]);
    const __m128i a2 = _mm_unpacklo_epi8(r[4], r[5]), a3 = _mm_unpacklo_epi8(r[6], r[7]);
    const __m128i b0 = _mm_unpacklo_epi16(a0, a1), b1 = _mm_unpackhi_epi16(a0, a1);  // rows 0-3: cols 0-3, 4-7
    const __m128i b2 = _mm_unpacklo_epi16(a2, a3), b3 = _mm_unpackhi_epi16(a2, a3);  // rows 4-7
    const __m128i c01 = _mm_unpacklo_epi32(b0, b2), c23 = _mm_unpackhi_epi32(b0, b2);
    const __m128i c45 = _mm_unpacklo_epi32(b1, b3), c67 = _mm_unpackhi_epi32(b1, b3);
    // Line k: column k (outer edge) beside column k + 4 (inner edge).
    __m128i line[4] = {_mm_unpacklo_epi64(c01, c45), _mm_unpackhi_epi64(c01, c45), _mm_unpacklo_epi64(c23, c67),
                       _mm_unpackhi_epi64(c23, c67)};
    chroma_pass_8u<O>(line, alpha, beta, tc0, bs);
    const __m128i d01 = _mm_unpacklo_epi8(line[0], line[1]), d45 = _mm_unpackhi_epi8(line[0], line[1]);
    const __m128i d23 = _mm_unpacklo_epi8(line[2], line[3]), d67 = _mm_unpackhi_epi8(line[2], line[3]);
    const __m128i e0 = _mm_unpacklo_epi16(d01, d23), e1 = _mm_unpackhi_epi16(d01, d23);  // cols 0-3: rows 0-3, 4-7
    const __m128i e2 = _mm_unpacklo_epi16(d45, d67), e3 = _mm_unpackhi_epi16(d45, d67);  // cols 4-7
    const __m128i rows[4] = {_mm_unpacklo_epi32(e0, e2), _mm_unpackhi_epi32(e0, e2), _mm_unpacklo_epi32(e1, e3),
                             _mm_unpackhi_epi32(e1, e3)};
    for (int i = 0; i < 4; ++i) {
        if (outer) {
            store8(p + left + 2 * i * st, rows[i]);
            store8_high(p + left + (2 * i + 1) * st, rows[i]);
        } else {
            store4(p + left + 2 * i * st, _mm_srli_si128(rows[i], 4));
            store4(p + left + (2 * i + 1) * st, _mm_srli_si128(rows[i], 12));
        }
    }
}

// ---- 8-bit chroma, interleaved pairs (16 lines an edge, groups of 4) -----------------

template <class O>
void filter_chroma_16_lines(__m128i* line, int alpha, int beta, std::uint32_t tc4, std::uint32_t bs4,
                            std::uint32_t strong4) {
    constexpr int kParts = 16 / O::kLanes;
    typename O::V out[2][kParts];
    for (int part = 0; part < kParts; ++part) {
        const Edge<O> e = edge_8u<O>(alpha, beta, tc4, bs4, strong4, 4, part);
        typename O::V s[4];
        for (int k = 0; k < 4; ++k) s[k] = O::widen_u8(line[k], part);
        chroma_lanes<O>(s, e, 0xFF, -1);
        out[0][part] = s[1];
        out[1][part] = s[2];
    }
    line[1] = O::narrow_u8(out[0]);
    line[2] = O::narrow_u8(out[1]);
}

template <class O>
void chroma_hor_c2_8u_simd(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                           const Vek8u* bs) {
    const ptrdiff_t st = step;
    for (int e = 0; e < 2; ++e) {
        const std::uint32_t bs4 = load_u32(bs + 8 * e);
        if (bs4 == 0) continue;
        Vek8u* q0 = p + 4 * e * st;
        __m128i line[4];
        for (int k = 0; k < 4; ++k) line[k] = load16(q0 + (k - 2) * st);
        filter_chroma_16_lines<O>(line, alpha[e], beta[e], load_u32(tc0 + 4 * e), bs4,
                                  e == 0 ? strong_halves(bs) : 0u);
        store16(q0 - st, line[1]);
        store16(q0, line[2]);
    }
}

template <class O>
void chroma_ver_c2_8u_simd(Vek8u* p, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                           const Vek8u* bs) {
    const ptrdiff_t st = step;
    for (int e = 0; e < 2; ++e) {
        const std::uint32_t bs4 = load_u32(bs + 8 * e);
        if (bs4 == 0) continue;
        Vek8u* q0 = p + 8 * e;
        // Rows of four pairs (p1, p0, q0, q1) -> four columns of 8 pairs.
        __m128i a[4];
        for (int i = 0; i < 4; ++i)
            a[i] = _mm_unpacklo_epi16(load8(q0 - 4 + 2 * i * st), load8(q0 - 4 + (2 * i + 1) * st));
        const __m128i b0 = _mm_unpacklo_epi32(a[0], a[1]), b1 = _mm_unpackhi_epi32(a[0], a[1]);
        const __m128i b2 = _mm_unpacklo_epi32(a[2], a[3]), b3 = _mm_unpackhi_epi32(a[2], a[3]);
        __m128i line[4] = {_mm_unpacklo_epi64(b0, b2), _mm_unpackhi_epi64(b0, b2), _mm_unpacklo_epi64(b1, b3),
                           _mm_unpackhi_epi64(b1, b3)};
        filter_chroma_16_lines<O>(line, alpha[e], beta[e], load_u32(tc0 + 4 * e), bs4,
                                  e == 0 ? strong_halves(bs) : 0u);
        alignas(16) Vek8u rows[32];  // p0 pair, q0 pair of each row
        store16(rows, _mm_unpacklo_epi16(line[1], line[2]));
        store16(rows + 16, _mm_unpackhi_epi16(line[1], line[2]));
        for (int r = 0; r < 8; ++r) std::memcpy(q0 - 2 + r * st, rows + 4 * r, 4);
    }
}

}  // namespace
