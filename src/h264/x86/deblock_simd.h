// Lane-parallel H.264 edge filters shared by the SSE4.1 and AVX2 deblocking
// kernels. Included only by files of src/h264/x86/; everything is in an
// anonymous namespace so each instruction set keeps its own copy.
//
// Samples are widened to 16-bit lanes (8-bit planes) or 32-bit lanes (16-bit
// planes), where every sum of the filters fits; one lane is one line across
// the edge. Each lane carries its own alpha (0 where bS is 0, so that the
// filter test fails there), tc0 and "strong" mask, so one pass serves a whole
// edge whatever its bS pattern.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "h264/deblock.h"

namespace {

using std::ptrdiff_t;

inline std::uint32_t load_u32(const void* p) {
    std::uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// ---- Lane operations --------------------------------------------------------
// Each Ops type offers the same static functions on its vector type V.

struct I16x8 {  // 8-bit samples, 8 lines per vector
    using V = __m128i;
    static constexpr int kLanes = 8;
    static V set1(int v) { return _mm_set1_epi16(static_cast<short>(v)); }
    static V add(V a, V b) { return _mm_add_epi16(a, b); }
    static V sub(V a, V b) { return _mm_sub_epi16(a, b); }
    static V abs(V a) { return _mm_abs_epi16(a); }
    static V avg(V a, V b) { return _mm_avg_epu16(a, b); }  // (a + b + 1) >> 1 of non-negative lanes
    static V gt(V a, V b) { return _mm_cmpgt_epi16(a, b); }
    static V min(V a, V b) { return _mm_min_epi16(a, b); }
    static V max(V a, V b) { return _mm_max_epi16(a, b); }
    static V sra(V a, int n) { return _mm_srai_epi16(a, n); }
    static V sll(V a, int n) { return _mm_slli_epi16(a, n); }
    static V and_(V a, V b) { return _mm_and_si128(a, b); }
    static V or_(V a, V b) { return _mm_or_si128(a, b); }
    static V select(V mask, V yes, V no) { return _mm_blendv_epi8(no, yes, mask); }
    static bool none(V mask) { return _mm_testz_si128(mask, mask); }
    // Bytes `part` * 8 .. + 7 of a 16-byte register, widened.
    static V widen_u8(__m128i bytes, int part) {
        return _mm_cvtepu8_epi16(part ? _mm_srli_si128(bytes, 8) : bytes);
    }
    // Four bytes in memory, each widened into 4 consecutive lanes; part 0
    // holds the first two groups, part 1 the last two.
    static V groups_of_4(const Vek8u* four, int part) {
        const __m128i pick = part ? _mm_setr_epi8(2, -1, 2, -1, 2, -1, 2, -1, 3, -1, 3, -1, 3, -1, 3, -1)
                                  : _mm_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 1, -1, 1, -1, 1, -1, 1, -1);
        return _mm_shuffle_epi8(_mm_cvtsi32_si128(static_cast<int>(load_u32(four))), pick);
    }
    static V groups_of_4(__m128i bytes, int first, int part) {
        const __m128i pick = part ? _mm_setr_epi8(2, -1, 2, -1, 2, -1, 2, -1, 3, -1, 3, -1, 3, -1, 3, -1)
                                  : _mm_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 1, -1, 1, -1, 1, -1, 1, -1);
        return _mm_shuffle_epi8(bytes, _mm_add_epi8(pick, _mm_set1_epi16(static_cast<short>(first))));
    }
    // 16 bytes in every 128-bit lane of a V (here the register itself).
    static V bcast128(__m128i bytes) { return bytes; }
    static V minu(V a, V b) { return _mm_min_epu16(a, b); }
    // Lines `part` * 8 .. + 7 of 16 words given as lines 0 .. 7 and 8 .. 15
    // (masks stay masks).
    static V words(__m128i lo, __m128i hi, int part) { return part ? hi : lo; }
    static V mask_words(__m128i lo, __m128i hi, int part) { return part ? hi : lo; }
    // Two parts back to 16 bytes; values outside 0..255 saturate, which is
    // the 8-bit clip of the filters.
    static __m128i narrow_u8(const V* parts) { return _mm_packus_epi16(parts[0], parts[1]); }
    static void narrow2_u8(const V* a, const V* b, __m128i& ra, __m128i& rb) {
        ra = narrow_u8(a);
        rb = narrow_u8(b);
    }
};

struct I32x4 {  // 16-bit samples, 4 lines per vector
    using V = __m128i;
    static constexpr int kLanes = 4;
    static V set1(int v) { return _mm_set1_epi32(v); }
    static V add(V a, V b) { return _mm_add_epi32(a, b); }
    static V sub(V a, V b) { return _mm_sub_epi32(a, b); }
    static V abs(V a) { return _mm_abs_epi32(a); }
    static V avg(V a, V b) { return _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(a, b), _mm_set1_epi32(1)), 1); }
    static V gt(V a, V b) { return _mm_cmpgt_epi32(a, b); }
    static V min(V a, V b) { return _mm_min_epi32(a, b); }
    static V max(V a, V b) { return _mm_max_epi32(a, b); }
    static V sra(V a, int n) { return _mm_srai_epi32(a, n); }
    static V sll(V a, int n) { return _mm_slli_epi32(a, n); }
    static V and_(V a, V b) { return _mm_and_si128(a, b); }
    static V or_(V a, V b) { return _mm_or_si128(a, b); }
    static V select(V mask, V yes, V no) { return _mm_blendv_epi8(no, yes, mask); }
    static bool none(V mask) { return _mm_testz_si128(mask, mask); }
    static V load(const std::int32_t* v) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(v)); }
    // Words `part` * 4 .. + 3 of an 8-word register, widened.
    static V widen_u16(__m128i words, int part) {
        return _mm_cvtepu16_epi32(part ? _mm_srli_si128(words, 8) : words);
    }
    // Bytes `part` * 4 .. + 3, sign-extended (masks stay masks).
    static V widen_s8(__m128i bytes, int part) { return _mm_cvtepi8_epi32(part ? _mm_srli_si128(bytes, 4) : bytes); }
    static V words(__m128i lo, __m128i hi, int part) { return widen_u16(part & 2 ? hi : lo, part & 1); }
    static V mask_words(__m128i lo, __m128i hi, int part) {
        const __m128i w = part & 2 ? hi : lo;
        return _mm_cvtepi16_epi32(part & 1 ? _mm_srli_si128(w, 8) : w);
    }
    // Two parts back to 8 words, each value keeping its low 16 bits.
    static __m128i narrow_u16(const V* parts) {
        const __m128i low = _mm_set1_epi32(0xFFFF);
        return _mm_packus_epi32(_mm_and_si128(parts[0], low), _mm_and_si128(parts[1], low));
    }
};

#ifdef __AVX2__
struct I16x16 {  // 8-bit samples, 16 lines per vector
    using V = __m256i;
    static constexpr int kLanes = 16;
    static V set1(int v) { return _mm256_set1_epi16(static_cast<short>(v)); }
    static V add(V a, V b) { return _mm256_add_epi16(a, b); }
    static V sub(V a, V b) { return _mm256_sub_epi16(a, b); }
    static V abs(V a) { return _mm256_abs_epi16(a); }
    static V avg(V a, V b) { return _mm256_avg_epu16(a, b); }
    static V gt(V a, V b) { return _mm256_cmpgt_epi16(a, b); }
    static V min(V a, V b) { return _mm256_min_epi16(a, b); }
    static V max(V a, V b) { return _mm256_max_epi16(a, b); }
    static V sra(V a, int n) { return _mm256_srai_epi16(a, n); }
    static V sll(V a, int n) { return _mm256_slli_epi16(a, n); }
    static V and_(V a, V b) { return _mm256_and_si256(a, b); }
    static V or_(V a, V b) { return _mm256_or_si256(a, b); }
    static V select(V mask, V yes, V no) { return _mm256_blendv_epi8(no, yes, mask); }
    static bool none(V mask) { return _mm256_testz_si256(mask, mask); }
    static V widen_u8(__m128i bytes, int) { return _mm256_cvtepu8_epi16(bytes); }
    // Four bytes in memory, each widened into 4 consecutive lanes.
    static V groups_of_4(const Vek8u* four, int) {
        const __m256i pick = _mm256_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 1, -1, 1, -1, 1, -1, 1, -1, 2, -1, 2, -1, 2,
                                              -1, 2, -1, 3, -1, 3, -1, 3, -1, 3, -1);
        return _mm256_shuffle_epi8(_mm256_set1_epi32(static_cast<int>(load_u32(four))), pick);
    }
    // The same from bytes first .. first + 3 of a register.
    static V groups_of_4(__m128i bytes, int first, int) {
        const __m256i pick = _mm256_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 1, -1, 1, -1, 1, -1, 1, -1, 2, -1, 2, -1, 2,
                                              -1, 2, -1, 3, -1, 3, -1, 3, -1, 3, -1);
        // Adding `first` as 16-bit lanes moves only the selecting bytes; the -1 bytes keep zeroing.
        return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(bytes),
                                   _mm256_add_epi8(pick, _mm256_set1_epi16(static_cast<short>(first))));
    }
    // The same from bytes already in both lanes (bcast128), one shuffle.
    static V groups_of_4(V bytes, int first, int) {
        const __m256i pick = _mm256_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 1, -1, 1, -1, 1, -1, 1, -1, 2, -1, 2, -1, 2,
                                              -1, 2, -1, 3, -1, 3, -1, 3, -1, 3, -1);
        return _mm256_shuffle_epi8(bytes, _mm256_add_epi8(pick, _mm256_set1_epi16(static_cast<short>(first))));
    }
    static V bcast128(__m128i bytes) { return _mm256_broadcastsi128_si256(bytes); }
    static V minu(V a, V b) { return _mm256_min_epu16(a, b); }
    static V words(__m128i lo, __m128i hi, int) { return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1); }
    static V mask_words(__m128i lo, __m128i hi, int) { return words(lo, hi, 0); }
    static __m128i narrow_u8(const V* parts) {
        return _mm_packus_epi16(_mm256_castsi256_si128(parts[0]), _mm256_extracti128_si256(parts[0], 1));
    }
    // Two lines at once: one pack and one lane fix-up for both.
    static void narrow2_u8(const V* a, const V* b, __m128i& ra, __m128i& rb) {
        const __m256i t = _mm256_permute4x64_epi64(_mm256_packus_epi16(a[0], b[0]), 0xD8);
        ra = _mm256_castsi256_si128(t);
        rb = _mm256_extracti128_si256(t, 1);
    }
};

struct I32x8 {  // 16-bit samples, 8 lines per vector
    using V = __m256i;
    static constexpr int kLanes = 8;
    static V set1(int v) { return _mm256_set1_epi32(v); }
    static V add(V a, V b) { return _mm256_add_epi32(a, b); }
    static V sub(V a, V b) { return _mm256_sub_epi32(a, b); }
    static V abs(V a) { return _mm256_abs_epi32(a); }
    static V avg(V a, V b) {
        return _mm256_srai_epi32(_mm256_add_epi32(_mm256_add_epi32(a, b), _mm256_set1_epi32(1)), 1);
    }
    static V gt(V a, V b) { return _mm256_cmpgt_epi32(a, b); }
    static V min(V a, V b) { return _mm256_min_epi32(a, b); }
    static V max(V a, V b) { return _mm256_max_epi32(a, b); }
    static V sra(V a, int n) { return _mm256_srai_epi32(a, n); }
    static V sll(V a, int n) { return _mm256_slli_epi32(a, n); }
    static V and_(V a, V b) { return _mm256_and_si256(a, b); }
    static V or_(V a, V b) { return _mm256_or_si256(a, b); }
    static V select(V mask, V yes, V no) { return _mm256_blendv_epi8(no, yes, mask); }
    static bool none(V mask) { return _mm256_testz_si256(mask, mask); }
    static V load(const std::int32_t* v) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(v)); }
    static V widen_u16(__m128i words, int) { return _mm256_cvtepu16_epi32(words); }
    static V widen_s8(__m128i bytes, int) { return _mm256_cvtepi8_epi32(bytes); }
    static V words(__m128i lo, __m128i hi, int part) { return _mm256_cvtepu16_epi32(part ? hi : lo); }
    static V mask_words(__m128i lo, __m128i hi, int part) { return _mm256_cvtepi16_epi32(part ? hi : lo); }
    static __m128i narrow_u16(const V* parts) {
        const __m256i v = _mm256_and_si256(parts[0], _mm256_set1_epi32(0xFFFF));
        return _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    }
};
#endif

// ---- Per-edge parameters ------------------------------------------------------

template <class O>
struct Edge {
    using V = typename O::V;
    V alpha;   // 0 where the line's bS is 0, which fails the filter test
    V beta;
    V tc0;
    V strong;  // all ones where the line takes the strong filter
    bool any_strong;
    bool all_strong;  // every line of the vector is strong: the weak filter is not needed
};

// The four group values of an edge (bytes), each repeated for its lines:
// 4 lines a group (per_group 4) or 2 (per_group 2), in 16 bytes.
inline __m128i spread_groups(std::uint32_t four, int per_group) {
    const __m128i by4 = _mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
    const __m128i by2 = _mm_setr_epi8(0, 0, 1, 1, 2, 2, 3, 3, 0, 0, 1, 1, 2, 2, 3, 3);
    return _mm_shuffle_epi8(_mm_cvtsi32_si128(static_cast<int>(four)), per_group == 4 ? by4 : by2);
}

// Strong flags (one byte 0 or 1 per group) for the 8-bit rules.
inline std::uint32_t strong_halves(const Vek8u* bs) {
    const std::uint32_t lo = (bs[0] == 4 && bs[1] == 4) ? 0x0101u : 0u;
    const std::uint32_t hi = (bs[2] == 4 && bs[3] == 4) ? 0x0101u : 0u;
    return lo | hi << 16;
}
inline std::uint32_t strong_all(const Vek8u* bs) { return load_u32(bs) == 0x04040404u ? 0x01010101u : 0u; }

// Edge parameters of lines `part` * kLanes onwards of an 8-bit edge.
template <class O>
[[gnu::always_inline]] inline Edge<O> edge_8u(int alpha, int beta, std::uint32_t tc4, std::uint32_t bs4,
                                              std::uint32_t strong4, int per_group, int part) {
    const __m128i zero_bs = _mm_cmpeq_epi8(spread_groups(bs4, per_group), _mm_setzero_si128());
    const __m128i alpha_bytes = _mm_andnot_si128(zero_bs, _mm_set1_epi8(static_cast<char>(alpha)));
    Edge<O> e;
    e.alpha = O::widen_u8(alpha_bytes, part);
    e.beta = O::set1(beta);
    e.tc0 = O::widen_u8(spread_groups(tc4, per_group), part);
    e.any_strong = strong4 != 0;
    e.all_strong = strong4 == 0x01010101u;
    e.strong = e.any_strong ? O::sub(O::set1(0), O::widen_u8(spread_groups(strong4, per_group), part)) : O::set1(0);
    return e;
}

// ---- The filters on lanes -------------------------------------------------------

// s[0..7] = p3, p2, p1, p0, q0, q1, q2, q3; s[1..6] are replaced (p3, q3
// are read only for strong lines). `tc_mask` keeps tc in the sample type (255
// or 65535; -1 when no tc0 can wrap); `clip_max` < 0 leaves the clip to the
// narrowing that follows (8-bit packing saturates).
//
// kCapTc: 16-bit samples of at most 12 bits in 16-bit lanes. tc and tc0 then
// wrap as 16-bit values by themselves but must be held below the sign bit;
// any tc above 0x1FFF clips nothing a 12-bit sample can produce.
template <class O, bool kCapTc = false>
[[gnu::always_inline]] inline void luma_lanes(typename O::V* s, const Edge<O>& e, int tc_mask, int clip_max) {
    using V = typename O::V;
    const V p2 = s[1], p1 = s[2], p0 = s[3], q0 = s[4], q1 = s[5], q2 = s[6];
    const V zero = O::set1(0);
    const V pq = O::sub(p0, q0), ad = O::abs(pq);
    // Both beta tests as one: the larger of the two differences below beta.
    const V side = O::max(O::abs(O::sub(p1, p0)), O::abs(O::sub(q1, q0)));
    const V filter = O::and_(O::gt(e.alpha, ad), O::gt(e.beta, side));
    if (O::none(filter)) return;
    const V ap = O::gt(e.beta, O::abs(O::sub(p2, p0)));
    const V aq = O::gt(e.beta, O::abs(O::sub(q2, q0)));

    V np0 = p0, np1 = p1, np2 = p2, nq0 = q0, nq1 = q1, nq2 = q2;
    if (!e.all_strong) {
        // Weak: tc = tc0 + ap + aq in the sample type (the masks are -1 where
        // set); every change is masked by the filter test.
        V tc = O::sub(O::sub(e.tc0, ap), aq), tc0 = e.tc0;
        if constexpr (kCapTc) {
            tc = O::minu(tc, O::set1(0x1FFF));
            tc0 = O::minu(tc0, O::set1(0x1FFF));
        } else if (tc_mask >= 0) {
            tc = O::and_(tc, O::set1(tc_mask));
        }
        // ((q0 - p0) * 4 + (p1 - q1) + 4) >> 3, reusing p0 - q0
        const V d = O::sra(O::add(O::sub(O::sub(p1, q1), O::sll(pq, 2)), O::set1(4)), 3);
        const V delta = O::and_(O::min(O::max(d, O::sub(zero, tc)), tc), filter);
        np0 = O::add(p0, delta);
        nq0 = O::sub(q0, delta);
        if (clip_max >= 0) {  // only filtered lines: others keep even out-of-range values
            const V top = O::set1(clip_max);
            np0 = O::select(filter, O::min(O::max(np0, zero), top), p0);
            nq0 = O::select(filter, O::min(O::max(nq0, zero), top), q0);
        }
        // p1 + clip3(-tc0, tc0, (p2 + avg - 2 * p1) >> 1) is the mean (p2 + avg) >> 1
        // held within tc0 of p1; a line left alone is held within 0 of it.
        const V avg = O::avg(p0, q0);
        const V mp = O::sra(O::add(p2, avg), 1), mq = O::sra(O::add(q2, avg), 1);
        const V tf = O::and_(tc0, filter);
        const V tp = O::and_(tf, ap), tq = O::and_(tf, aq);
        np1 = O::min(O::max(mp, O::sub(p1, tp)), O::add(p1, tp));
        nq1 = O::min(O::max(mq, O::sub(q1, tq)), O::add(q1, tq));
    }
    if (e.any_strong) {
        const V st = e.all_strong ? filter : O::and_(e.strong, filter);
        const V small = O::gt(O::add(O::sra(e.alpha, 2), O::set1(2)), ad);
        const V two = O::set1(2), four = O::set1(4);
        const V tp = O::add(O::add(p1, p0), q0), tq = O::add(O::add(q1, q0), p0);
        const V up = O::add(p2, tp), uq = O::add(q2, tq);
        const V sp0 = O::sra(O::add(O::add(up, tp), O::add(q1, four)), 3);
        const V sp1 = O::sra(O::add(up, two), 2);
        const V sp2 = O::sra(O::add(O::add(O::sll(O::add(s[0], p2), 1), up), four), 3);
        const V sq0 = O::sra(O::add(O::add(uq, tq), O::add(p1, four)), 3);
        const V sq1 = O::sra(O::add(uq, two), 2);
        const V sq2 = O::sra(O::add(O::add(O::sll(O::add(s[7], q2), 1), uq), four), 3);
        const V cp0 = O::sra(O::add(O::add(O::add(p1, p1), O::add(p0, q1)), two), 2);
        const V cq0 = O::sra(O::add(O::add(O::add(q1, q1), O::add(q0, p1)), two), 2);
        const V stp = O::and_(st, O::and_(ap, small)), stq = O::and_(st, O::and_(aq, small));
        np0 = O::select(stp, sp0, O::select(st, cp0, np0));
        np1 = O::select(stp, sp1, e.all_strong ? p1 : O::select(st, p1, np1));
        np2 = O::select(stp, sp2, p2);
        nq0 = O::select(stq, sq0, O::select(st, cq0, nq0));
        nq1 = O::select(stq, sq1, e.all_strong ? q1 : O::select(st, q1, nq1));
        nq2 = O::select(stq, sq2, q2);
    }
    s[1] = np2;
    s[2] = np1;
    s[3] = np0;
    s[4] = nq0;
    s[5] = nq1;
    s[6] = nq2;
}

// s[0..3] = p1, p0, q0, q1; s[1] and s[2] are replaced.
template <class O>
[[gnu::always_inline]] inline void chroma_lanes(typename O::V* s, const Edge<O>& e, int tc_mask, int clip_max) {
    using V = typename O::V;
    const V p1 = s[0], p0 = s[1], q0 = s[2], q1 = s[3];
    const V zero = O::set1(0), two = O::set1(2);
    V filter = O::gt(e.alpha, O::abs(O::sub(p0, q0)));
    filter = O::and_(filter, O::gt(e.beta, O::abs(O::sub(p1, p0))));
    filter = O::and_(filter, O::gt(e.beta, O::abs(O::sub(q1, q0))));
    if (O::none(filter)) return;
    const V tc = O::and_(O::add(e.tc0, O::set1(1)), O::set1(tc_mask));
    V d = O::add(O::sll(O::sub(q0, p0), 2), O::sub(p1, q1));
    d = O::sra(O::add(d, O::set1(4)), 3);
    const V delta = O::and_(O::min(O::max(d, O::sub(zero, tc)), tc), filter);
    V np0 = O::add(p0, delta), nq0 = O::sub(q0, delta);
    if (clip_max >= 0) {
        const V top = O::set1(clip_max);
        np0 = O::select(filter, O::min(O::max(np0, zero), top), p0);
        nq0 = O::select(filter, O::min(O::max(nq0, zero), top), q0);
    }
    if (e.any_strong) {
        const V st = O::and_(e.strong, filter);
        const V sp0 = O::sra(O::add(O::add(O::add(p1, p1), O::add(p0, q1)), two), 2);
        const V sq0 = O::sra(O::add(O::add(O::add(q1, q1), O::add(q0, p1)), two), 2);
        np0 = O::select(st, sp0, np0);
        nq0 = O::select(st, sq0, nq0);
    }
    s[1] = np0;
    s[2] = nq0;
}

// ---- Loads, stores and transposes --------------------------------------------------

inline __m128i load8(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
inline __m128i load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline __m128i load4(const void* p) { return _mm_cvtsi32_si128(static_cast<int>(load_u32(p))); }
inline void store8(void* p, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(p), v); }
// The ps forms: their pointers carry no alignment (unlike the pd ones).
inline void store8_high(void* p, __m128i v) { _mm_storeh_pi(static_cast<__m64*>(p), _mm_castsi128_ps(v)); }
inline __m128i load8_high(__m128i low, const void* p) {
    return _mm_castps_si128(_mm_loadh_pi(_mm_castsi128_ps(low), static_cast<const __m64*>(p)));
}
inline void store16(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
inline void store4(void* p, __m128i v) {
    const int x = _mm_cvtsi128_si32(v);
    std::memcpy(p, &x, sizeof x);
}

// 16 rows of 8 bytes -> 8 columns of 16 bytes (column c holds byte c of every row).
inline void transpose_16x8(const Vek8u* p, ptrdiff_t step, __m128i* col) {
    __m128i a[8], b[8], c[8];
    for (int i = 0; i < 8; ++i) a[i] = _mm_unpacklo_epi8(load8(p + (2 * i) * step), load8(p + (2 * i + 1) * step));
    for (int i = 0; i < 4; ++i) {
        b[2 * i] = _mm_unpacklo_epi16(a[2 * i], a[2 * i + 1]);      // rows 4i..4i+3, columns 0..3
        b[2 * i + 1] = _mm_unpackhi_epi16(a[2 * i], a[2 * i + 1]);  // columns 4..7
    }
    for (int h = 0; h < 2; ++h)  // rows 8h..8h+7
        for (int k = 0; k < 2; ++k) {
            c[4 * h + 2 * k] = _mm_unpacklo_epi32(b[4 * h + k], b[4 * h + 2 + k]);      // columns 4k, 4k+1
            c[4 * h + 2 * k + 1] = _mm_unpackhi_epi32(b[4 * h + k], b[4 * h + 2 + k]);  // columns 4k+2, 4k+3
        }
    for (int k = 0; k < 4; ++k) {
        col[2 * k] = _mm_unpacklo_epi64(c[k], c[4 + k]);
        col[2 * k + 1] = _mm_unpackhi_epi64(c[k], c[4 + k]);
    }
}

// 8 columns of 16 bytes -> 16 rows of 8 bytes, stored.
inline void store_transposed_8x16(Vek8u* p, ptrdiff_t step, const __m128i* col) {
    __m128i a[8], b[8];
    for (int i = 0; i < 4; ++i) {
        a[2 * i] = _mm_unpacklo_epi8(col[2 * i], col[2 * i + 1]);      // rows 0..7, columns 2i, 2i+1
        a[2 * i + 1] = _mm_unpackhi_epi8(col[2 * i], col[2 * i + 1]);  // rows 8..15
    }
    for (int h = 0; h < 2; ++h)
        for (int k = 0; k < 2; ++k) {
            // rows 8h + 4k .. + 3: columns 0..3 then 4..7
            const __m128i lo = k ? _mm_unpackhi_epi16(a[h], a[2 + h]) : _mm_unpacklo_epi16(a[h], a[2 + h]);
            const __m128i hi = k ? _mm_unpackhi_epi16(a[4 + h], a[6 + h]) : _mm_unpacklo_epi16(a[4 + h], a[6 + h]);
            b[4 * h + 2 * k] = _mm_unpacklo_epi32(lo, hi);      // two rows
            b[4 * h + 2 * k + 1] = _mm_unpackhi_epi32(lo, hi);  // the next two
        }
    for (int i = 0; i < 8; ++i) {
        store8(p + (2 * i) * step, b[i]);
        store8_high(p + (2 * i + 1) * step, b[i]);
    }
}

// Unpacks of 128-bit registers, or of each 128-bit half of a 256-bit one.
inline __m128i unpack_lo(__m128i a, __m128i b, int bits) {
    return bits == 16 ? _mm_unpacklo_epi16(a, b) : bits == 32 ? _mm_unpacklo_epi32(a, b) : _mm_unpacklo_epi64(a, b);
}
inline __m128i unpack_hi(__m128i a, __m128i b, int bits) {
    return bits == 16 ? _mm_unpackhi_epi16(a, b) : bits == 32 ? _mm_unpackhi_epi32(a, b) : _mm_unpackhi_epi64(a, b);
}
#ifdef __AVX2__
inline __m256i unpack_lo(__m256i a, __m256i b, int bits) {
    return bits == 16   ? _mm256_unpacklo_epi16(a, b)
           : bits == 32 ? _mm256_unpacklo_epi32(a, b)
                        : _mm256_unpacklo_epi64(a, b);
}
inline __m256i unpack_hi(__m256i a, __m256i b, int bits) {
    return bits == 16   ? _mm256_unpackhi_epi16(a, b)
           : bits == 32 ? _mm256_unpackhi_epi32(a, b)
                        : _mm256_unpackhi_epi64(a, b);
}
#endif

// 8 rows of 8 words <-> 8 columns of 8 words (an 8x8 transpose of 16-bit
// values; in each 128-bit half separately for 256-bit registers).
template <class V>
[[gnu::always_inline]] inline void transpose_8x8_16(V* r) {
    V a[8], b[8];
    for (int i = 0; i < 4; ++i) {
        a[2 * i] = unpack_lo(r[2 * i], r[2 * i + 1], 16);
        a[2 * i + 1] = unpack_hi(r[2 * i], r[2 * i + 1], 16);
    }
    for (int i = 0; i < 2; ++i)
        for (int k = 0; k < 2; ++k) {
            b[4 * i + 2 * k] = unpack_lo(a[4 * i + k], a[4 * i + 2 + k], 32);
            b[4 * i + 2 * k + 1] = unpack_hi(a[4 * i + k], a[4 * i + 2 + k], 32);
        }
    for (int k = 0; k < 4; ++k) {
        r[2 * k] = unpack_lo(b[k], b[4 + k], 64);
        r[2 * k + 1] = unpack_hi(b[k], b[4 + k], 64);
    }
}

}  // namespace
