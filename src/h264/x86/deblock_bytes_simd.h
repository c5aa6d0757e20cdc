// Luma and chroma filters on 16 lines of 8-bit samples per 128 bits of
// register, with no widening: every sum of the filters is rebuilt from
// rounding averages (pavgb) and saturating adds and subtracts, each step exact
// for all byte inputs, or settled from the low bits of the sum taken modulo
// 256. Included only by files of src/h264/x86/.
//
// The one step of the luma filter that is not exact everywhere is its delta:
// it is carried as delta + 161 in a byte with a saturating add, so positive
// deltas above 94 read as 94. The clip to tc hides that as long as tc <= 94;
// callers take the widening path when some tc0 could make tc larger. The
// chroma filter splits the same sum in two and is exact for any tc.
#pragma once

#include <immintrin.h>

#include "vekvc.h"

namespace {

// Largest tc0 the byte luma filter accepts: tc = tc0 + 2 at most.
constexpr int kByteLumaTc0Max = 92;

// Byte operations on 128-bit registers, or on 256-bit ones (each byte on its own).
template <int kSize>
struct ByteOps;
template <class V>
using Bytes = ByteOps<static_cast<int>(sizeof(V))>;
template <>
struct ByteOps<16> {
    using V = __m128i;
    static V set1(int v) { return _mm_set1_epi8(static_cast<char>(v)); }
    static V subs(V a, V b) { return _mm_subs_epu8(a, b); }
    static V adds(V a, V b) { return _mm_adds_epu8(a, b); }
    static V add(V a, V b) { return _mm_add_epi8(a, b); }
    static V sub(V a, V b) { return _mm_sub_epi8(a, b); }
    static V avg(V a, V b) { return _mm_avg_epu8(a, b); }
    // Shifts 16-bit units: each byte's top bits take its neighbour's low ones.
    template <int kBits>
    static V srl16(V a) { return _mm_srli_epi16(a, kBits); }
    static V blend(V no, V yes, V mask) { return _mm_blendv_epi8(no, yes, mask); }
    static V min(V a, V b) { return _mm_min_epu8(a, b); }
    static V max(V a, V b) { return _mm_max_epu8(a, b); }
    static V eq(V a, V b) { return _mm_cmpeq_epi8(a, b); }
    static V or_(V a, V b) { return _mm_or_si128(a, b); }
    static V and_(V a, V b) { return _mm_and_si128(a, b); }
    static V xor_(V a, V b) { return _mm_xor_si128(a, b); }
    static V sign(V a, V b) { return _mm_sign_epi8(a, b); }  // a, 0 or -a as b > 0, 0, < 0 (signed)
};
#ifdef __AVX2__
template <>
struct ByteOps<32> {
    using V = __m256i;
    static V set1(int v) { return _mm256_set1_epi8(static_cast<char>(v)); }
    static V subs(V a, V b) { return _mm256_subs_epu8(a, b); }
    static V adds(V a, V b) { return _mm256_adds_epu8(a, b); }
    static V add(V a, V b) { return _mm256_add_epi8(a, b); }
    static V sub(V a, V b) { return _mm256_sub_epi8(a, b); }
    static V avg(V a, V b) { return _mm256_avg_epu8(a, b); }
    template <int kBits>
    static V srl16(V a) { return _mm256_srli_epi16(a, kBits); }
    static V blend(V no, V yes, V mask) { return _mm256_blendv_epi8(no, yes, mask); }
    static V min(V a, V b) { return _mm256_min_epu8(a, b); }
    static V max(V a, V b) { return _mm256_max_epu8(a, b); }
    static V eq(V a, V b) { return _mm256_cmpeq_epi8(a, b); }
    static V or_(V a, V b) { return _mm256_or_si256(a, b); }
    static V and_(V a, V b) { return _mm256_and_si256(a, b); }
    static V xor_(V a, V b) { return _mm256_xor_si256(a, b); }
    static V sign(V a, V b) { return _mm256_sign_epi8(a, b); }
};
#endif

// Constants of the byte filters and kernels. Left to itself, the compiler
// rebuilds a byte constant in registers at every use (three instructions);
// read through an address it cannot see through, each one folds into the
// instruction using it as a memory operand, and one address serves them all.
struct ByteConstants {
    alignas(32) Vek8u ones[32], one[32], two[32], three[32], bias[32];  // 255, 1, 2, 3, 161 in every byte
    // Horizontal chroma edges: alpha or beta of each half, bS of each line
    // (groups 0 .. 3 of each edge, two lines apiece), the outer edge's lines.
    alignas(16) Vek8u halves[16], groups[16], outer[16];
};
constexpr ByteConstants make_byte_constants() {
    ByteConstants k{};
    for (int i = 0; i < 32; ++i) {
        k.ones[i] = 255;
        k.one[i] = 1;
        k.two[i] = 2;
        k.three[i] = 3;
        k.bias[i] = 161;
    }
    for (int i = 0; i < 16; ++i) {
        k.halves[i] = static_cast<Vek8u>(i / 8);
        k.groups[i] = static_cast<Vek8u>((i & 7) / 2 + (i & 8));
        k.outer[i] = i < 8 ? 255 : 0;
    }
    return k;
}
inline constexpr ByteConstants kByteConstants = make_byte_constants();
inline const ByteConstants* byte_constants() {
    const ByteConstants* k = &kByteConstants;
    __asm__("" : "+r"(k));
    return k;
}
template <class V>
inline V bytes_at(const Vek8u* p) {
    return *reinterpret_cast<const V*>(p);
}

template <class V>
inline V absdiff_u8(V a, V b) {
    using B = Bytes<V>;
    return B::or_(B::subs(a, b), B::subs(b, a));
}

// All ones where x >= limit (that is, where x < limit fails; limit 0 fails always).
template <class V>
inline V not_below_u8(V x, V limit) {
    using B = Bytes<V>;
    return B::eq(B::subs(limit, x), B::set1(0));
}

// (a + b) >> 1, rounding down: pavgb rounds up exactly when a + b is odd.
template <class V>
inline V avg_floor_u8(V a, V b) {
    using B = Bytes<V>;
    return B::sub(B::avg(a, b), B::and_(B::xor_(a, b), bytes_at<V>(byte_constants()->one)));
}

// Lines passing the filter test |p0 - q0| < alpha, |p1 - p0| < beta, |q1 - q0| < beta.
template <class V>
inline V filter_mask_u8(V p1, V p0, V q0, V q1, V alpha, V beta) {
    using B = Bytes<V>;
    const V fail = B::or_(not_below_u8(absdiff_u8(p0, q0), alpha),
                          not_below_u8(B::max(absdiff_u8(p1, p0), absdiff_u8(q1, q0)), beta));
    return B::xor_(fail, B::set1(-1));
}

// d = ((q0 - p0) * 4 + (p1 - q1) + 4) >> 3 as its positive and negative parts
// (pos = max(d, 0), neg = max(-d, 0)), then each clipped to tc.
// With A = q0 - p0, B = p1 - q1, C = B >> 2 (floor): d = (A + 1 + C) >> 1,
// which is (A >> 1) + ((C + 1 + (A & 1)) >> 1).
//   avg(p1, ~q1)  = (B + 256) >> 1       = 128 + (B >> 1)
//   avg(that, 3)  = (132 + (B >> 1)) >> 1 = 66 + C
//   avg(that, A & 1)                      = 33 + ((C + 1 + (A & 1)) >> 1), in 1 .. 65
//   avg(~p0, q0)  = (A + 256) >> 1       = 128 + (A >> 1)
// so their sum is d + 161 (saturating above 255, see the header comment).
// A & 1 is the low bit of `ad` = |p0 - q0|, which the filter test has already.
template <class V>
inline void delta_parts_u8(V p1, V p0, V q0, V q1, V ad, V tc, V& pos, V& neg) {
    using B = Bytes<V>;
    const ByteConstants* k = byte_constants();
    const V ones = bytes_at<V>(k->ones);
    V c = B::avg(p1, B::xor_(q1, ones));
    c = B::avg(c, bytes_at<V>(k->three));
    c = B::avg(c, B::and_(ad, bytes_at<V>(k->one)));
    const V s = B::adds(c, B::avg(B::xor_(p0, ones), q0));
    const V bias = bytes_at<V>(k->bias);
    pos = B::min(B::subs(s, bias), tc);
    neg = B::min(B::subs(bias, s), tc);
}

// One normal luma edge: r[0..5] = p2, p1, p0, q0, q1, q2; p1, p0, q0, q1 are
// replaced. alpha and tc0 per line (alpha 0 where bS is 0), beta everywhere.
[[gnu::always_inline]] inline void luma_normal_u8(__m128i* r, __m128i alpha, __m128i beta, __m128i tc0) {
    const __m128i p2 = r[0], p1 = r[1], p0 = r[2], q0 = r[3], q1 = r[4], q2 = r[5];
    const __m128i filter = filter_mask_u8(p1, p0, q0, q1, alpha, beta);
    if (_mm_testz_si128(filter, filter)) return;
    const __m128i ones = _mm_set1_epi8(-1);
    // ap, aq: |p2 - p0| < beta, |q2 - q0| < beta, as all-ones masks.
    const __m128i ap = _mm_xor_si128(not_below_u8(absdiff_u8(p2, p0), beta), ones);
    const __m128i aq = _mm_xor_si128(not_below_u8(absdiff_u8(q2, q0), beta), ones);
    const __m128i tf = _mm_and_si128(tc0, filter);
    // tc = tc0 + ap + aq; subtracting the -1 masks wraps in 8 bits as the sample type does.
    const __m128i tc = _mm_and_si128(_mm_sub_epi8(_mm_sub_epi8(tc0, ap), aq), filter);
    __m128i pos, neg;
    delta_parts_u8(p1, p0, q0, q1, absdiff_u8(p0, q0), tc, pos, neg);
    // One part is 0, so the saturations are the clip to 0 .. 255.
    r[2] = _mm_subs_epu8(_mm_adds_epu8(p0, pos), neg);
    r[3] = _mm_subs_epu8(_mm_adds_epu8(q0, neg), pos);
    // p1 moves to (p2 + ((p0 + q0 + 1) >> 1)) >> 1, held within tc0 of p1: the
    // saturated bounds only cut outside 0 .. 255, where the mean never is.
    const __m128i avg = _mm_avg_epu8(p0, q0);
    const __m128i tp = _mm_and_si128(tf, ap), tq = _mm_and_si128(tf, aq);
    const __m128i mp = avg_floor_u8(p2, avg), mq = avg_floor_u8(q2, avg);
    r[1] = _mm_min_epu8(_mm_max_epu8(mp, _mm_subs_epu8(p1, tp)), _mm_adds_epu8(p1, tp));
    r[4] = _mm_min_epu8(_mm_max_epu8(mq, _mm_subs_epu8(q1, tq)), _mm_adds_epu8(q1, tq));
}

// t is (s + 2^(k-1)) >> k or one more, for a sum s known modulo 256 as `s`:
// the exact value's low bit is bit k of s + 2^(k-1), that is bit 0 of
// avg(s >> (k - 1), 0), which needs only bits k - 1 and k of s (the 16-bit
// shift's stray top bits never reach it). Where the low bits differ, t is one over.
template <int kShift, class V>
inline V round_down_to(V t, V s) {
    using B = Bytes<V>;
    const V low = B::avg(B::template srl16<kShift - 1>(s), B::set1(0));
    return B::sub(t, B::and_(B::xor_(t, low), bytes_at<V>(byte_constants()->one)));
}

// The bS 4 luma filter on bytes for one side x of an edge: x3 .. x0 counted
// towards the edge, y0 and y1 the nearest two samples across it. x2 .. x0
// change on `strong` lines passing the filter test. Each output is a chain of
// rounding averages that is exact or one over, and round_down_to settles it
// from the sum taken modulo 256:
//   x1' = (x2 + x1 + x0 + y0 + 2) >> 2  ~ avg(avg(x2, x1), avg(x0, y0))
//   x0' = (x2 + 2 x1 + 2 x0 + 2 y0 + y1 + 4) >> 3: the odd half of x2 + y1
//         never changes the result, so it is the four-term mean of
//         (x2 + y1) >> 1, x1, x0, y0  ~ avg(avg((x2 + y1) >> 1, x1), avg(x0, y0))
//   x2' = (2 x3 + 3 x2 + x1 + x0 + y0 + 4) >> 3  ~ avg(avg(x3, x2), x1' before
//         its rounding is settled): still exact or one over
// and where x2 or the gap |x0 - y0| fails its bound, x0' = (2 x1 + x0 + y1 + 2) >> 2,
// which is avg(x1, (x0 + y1) >> 1) exactly. With x = p3 .. p0 | q3 .. q0 in the
// two halves of a register (and y the other way round), one call filters both sides.
template <class V>
[[gnu::always_inline]] inline void luma_strong_side_u8(V x3, V& x2, V& x1, V& x0, V y0, V y1, V alpha, V beta,
                                                       V gap, V strong) {
    using B = Bytes<V>;
    const V ad = absdiff_u8(x0, y0);
    const V fail = B::or_(not_below_u8(ad, alpha),
                          not_below_u8(B::max(absdiff_u8(x1, x0), absdiff_u8(y1, y0)), beta));
    const V st = B::and_(B::xor_(fail, B::set1(-1)), strong);
    // ... and of those, the lines with |x2 - x0| < beta and |x0 - y0| < (alpha >> 2) + 2
    const V full = B::and_(B::xor_(B::or_(not_below_u8(absdiff_u8(x2, x0), beta), not_below_u8(ad, gap)),
                                   B::set1(-1)),
                           st);
    const V mean0 = B::avg(x0, y0);
    const V sum = B::add(B::add(x2, x1), B::add(x0, y0));  // x2 + x1 + x0 + y0
    const V t1 = B::avg(B::avg(x2, x1), mean0), n1 = round_down_to<2>(t1, sum);
    const V d = B::sub(x2, y1);  // its low bit is that of x2 + y1
    const V half = B::sub(B::avg(x2, y1), B::and_(d, bytes_at<V>(byte_constants()->one)));
    const V n0 = round_down_to<3>(B::avg(B::avg(half, x1), mean0), B::sub(B::add(sum, sum), d));
    const V s32 = B::add(x3, x2);
    const V n2 = round_down_to<3>(B::avg(B::avg(x3, x2), t1), B::add(B::add(s32, s32), sum));
    const V c0 = B::avg(x1, avg_floor_u8(x0, y1));
    x0 = B::blend(B::blend(x0, c0, st), n0, full);
    x1 = B::blend(x1, n1, full);
    x2 = B::blend(x2, n2, full);
}

inline __m128i andnot_u8(__m128i mask, __m128i v) { return _mm_andnot_si128(mask, v); }
inline __m128i blend_u8(__m128i no, __m128i yes, __m128i mask) { return _mm_blendv_epi8(no, yes, mask); }
#ifdef __AVX2__
inline __m256i andnot_u8(__m256i mask, __m256i v) { return _mm256_andnot_si256(mask, v); }
inline __m256i blend_u8(__m256i no, __m256i yes, __m256i mask) { return _mm256_blendv_epi8(no, yes, mask); }
#endif

// New p0 and q0 of each line: the normal filter with tc = tc0 + 1 (`tc`, as
// it wraps in a byte) on lines where `on` is 1 (bS non-zero) and 0 elsewhere,
// or on `strong` lines (all ones) the bS 4 filter; lines failing the filter
// test keep theirs.
//
// d = ((q0 - p0) * 4 + (p1 - q1) + 4) >> 3 comes from rounding averages: with
// A = q0 - p0 and C = (p1 - q1) >> 2, d = (A >> 1) + k, k = (C + 1 + (A & 1)) >> 1;
//   avg(p1, ~q1) = 128 + ((p1 - q1) >> 1), avg(that, 3) = 66 + C,
//   avg(that, A & 1) = c = 33 + k (1 .. 65), avg(~p0, q0) = h = 128 + (A >> 1),
// so d = h - u with u = 161 - c (96 .. 160): max(d, 0) and max(-d, 0) are
// the two saturating differences of h and u, both exact.
template <bool kStrong, class V>
[[gnu::always_inline]] inline void chroma_bytes(V p1, V& p0, V& q0, V q1, V alpha, V beta, V tc, V on, V strong,
                                                const ByteConstants* k) {
    using B = Bytes<V>;
    const V ones = bytes_at<V>(k->ones), one = bytes_at<V>(k->one);
    const V ad = absdiff_u8(p0, q0);
    const V side = B::max(absdiff_u8(p1, p0), absdiff_u8(q1, q0));
    // 1 on lines that run (on, |p0 - q0| < alpha, both side differences <
    // beta), else 0: as a sign it keeps or clears tc in one step.
    const V run = B::min(B::min(B::subs(alpha, ad), on), B::subs(beta, side));
    const V tcf = B::sign(tc, run);
    V c = B::avg(p1, B::xor_(q1, ones));
    c = B::avg(c, bytes_at<V>(k->three));
    c = B::avg(c, B::and_(ad, one));  // |q0 - p0| has the low bit of q0 - p0
    const V h = B::avg(B::xor_(p0, ones), q0), u = B::sub(bytes_at<V>(k->bias), c);
    const V pos = B::min(B::subs(h, u), tcf), neg = B::min(B::subs(u, h), tcf);
    V np0 = B::subs(B::adds(p0, pos), neg), nq0 = B::subs(B::adds(q0, neg), pos);
    if constexpr (kStrong) {
        // (2 * p1 + p0 + q1 + 2) >> 2 is avg(p1, (p0 + q1) >> 1): the inner
        // floor loses nothing, since 2 * p1 + p0 + q1 + 1 is then even.
        const V st = B::sign(strong, run);
        np0 = blend_u8(np0, B::avg(p1, avg_floor_u8(p0, q1)), st);
        nq0 = blend_u8(nq0, B::avg(q1, avg_floor_u8(q0, p1)), st);
    }
    p0 = np0;
    q0 = nq0;
}

// Chroma edge: r[0..3] = p1, p0, q0, q1; p0, q0 are replaced. alpha and tc0
// per line (alpha 0 where bS is 0), beta everywhere, `strong` lines of the bS 4 filter.
[[gnu::always_inline]] inline void chroma_u8(__m128i* r, __m128i alpha, __m128i beta, __m128i tc0,
                                             __m128i strong) {
    const ByteConstants* k = byte_constants();
    chroma_bytes<true>(r[0], r[1], r[2], r[3], alpha, beta, _mm_sub_epi8(tc0, bytes_at<__m128i>(k->ones)),
                       bytes_at<__m128i>(k->one), strong, k);
}

}  // namespace
