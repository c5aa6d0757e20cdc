// Row kernels of the deinterlacers written once over a register type: V128
// (16 samples) in deinterlace_sse41.cpp, V256 (32 samples) in
// deinterlace_avx2.cpp, which finishes a row with V128 steps. The columns
// left over are done by the scalar rules of enhance/deinterlace.h.
// Included only by files of src/enhance/x86/; everything is in an anonymous
// namespace so each instruction set keeps its own copy.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <initializer_list>

#include "enhance/deinterlace.h"

namespace {

using namespace vek::enhance;

struct V128 {
    using reg = __m128i;
    static constexpr int kLanes = 16;
    static reg load(const Vek8u* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static void store(Vek8u* p, reg v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
    static reg splat8(int v) { return _mm_set1_epi8(static_cast<char>(v)); }
    static reg splat16(int v) { return _mm_set1_epi16(static_cast<short>(v)); }
    static reg zero() { return _mm_setzero_si128(); }
    static reg min8(reg a, reg b) { return _mm_min_epu8(a, b); }
    static reg max8(reg a, reg b) { return _mm_max_epu8(a, b); }
    static reg avg8(reg a, reg b) { return _mm_avg_epu8(a, b); }
    static reg subs8(reg a, reg b) { return _mm_subs_epu8(a, b); }
    static reg adds8(reg a, reg b) { return _mm_adds_epu8(a, b); }
    static reg or_(reg a, reg b) { return _mm_or_si128(a, b); }
    static reg eq8(reg a, reg b) { return _mm_cmpeq_epi8(a, b); }
    // mask ? b : a, byte by byte
    static reg select(reg a, reg b, reg mask) { return _mm_blendv_epi8(a, b, mask); }
    static reg lo16(reg a) { return _mm_unpacklo_epi8(a, _mm_setzero_si128()); }
    static reg hi16(reg a) { return _mm_unpackhi_epi8(a, _mm_setzero_si128()); }
    static reg add16(reg a, reg b) { return _mm_add_epi16(a, b); }
    static reg mul16(reg a, reg b) { return _mm_mullo_epi16(a, b); }
    static reg shr16_8(reg a) { return _mm_srli_epi16(a, 8); }
    static reg pack16(reg lo, reg hi) { return _mm_packus_epi16(lo, hi); }

    static reg zip16_lo(reg a, reg b) { return _mm_unpacklo_epi16(a, b); }
    static reg zip16_hi(reg a, reg b) { return _mm_unpackhi_epi16(a, b); }
    static reg madd16(reg a, reg b) { return _mm_madd_epi16(a, b); }
    static reg shr32_8(reg a) { return _mm_srli_epi32(a, 8); }
    static reg pack32(reg lo, reg hi) { return _mm_packus_epi32(lo, hi); }
    // words[idx] for four 32-bit indices
    static reg gather32(const Vek32u* words, reg idx) {
        return _mm_setr_epi32(
            static_cast<int>(words[_mm_cvtsi128_si32(idx)]), static_cast<int>(words[_mm_extract_epi32(idx, 1)]),
            static_cast<int>(words[_mm_extract_epi32(idx, 2)]), static_cast<int>(words[_mm_extract_epi32(idx, 3)]));
    }
};

#ifdef __AVX2__
struct V256 {
    using reg = __m256i;
    static constexpr int kLanes = 32;
    static reg load(const Vek8u* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
    static void store(Vek8u* p, reg v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
    static reg splat8(int v) { return _mm256_set1_epi8(static_cast<char>(v)); }
    static reg splat16(int v) { return _mm256_set1_epi16(static_cast<short>(v)); }
    static reg zero() { return _mm256_setzero_si256(); }
    static reg min8(reg a, reg b) { return _mm256_min_epu8(a, b); }
    static reg max8(reg a, reg b) { return _mm256_max_epu8(a, b); }
    static reg avg8(reg a, reg b) { return _mm256_avg_epu8(a, b); }
    static reg subs8(reg a, reg b) { return _mm256_subs_epu8(a, b); }
    static reg adds8(reg a, reg b) { return _mm256_adds_epu8(a, b); }
    static reg or_(reg a, reg b) { return _mm256_or_si256(a, b); }
    static reg eq8(reg a, reg b) { return _mm256_cmpeq_epi8(a, b); }
    static reg select(reg a, reg b, reg mask) { return _mm256_blendv_epi8(a, b, mask); }
    // Within each 128-bit lane, as the pack below undoes it.
    static reg lo16(reg a) { return _mm256_unpacklo_epi8(a, _mm256_setzero_si256()); }
    static reg hi16(reg a) { return _mm256_unpackhi_epi8(a, _mm256_setzero_si256()); }
    static reg add16(reg a, reg b) { return _mm256_add_epi16(a, b); }
    static reg mul16(reg a, reg b) { return _mm256_mullo_epi16(a, b); }
    static reg shr16_8(reg a) { return _mm256_srli_epi16(a, 8); }
    static reg pack16(reg lo, reg hi) { return _mm256_packus_epi16(lo, hi); }

    static reg zip16_lo(reg a, reg b) { return _mm256_unpacklo_epi16(a, b); }
    static reg zip16_hi(reg a, reg b) { return _mm256_unpackhi_epi16(a, b); }
    static reg madd16(reg a, reg b) { return _mm256_madd_epi16(a, b); }
    static reg shr32_8(reg a) { return _mm256_srli_epi32(a, 8); }
    static reg pack32(reg lo, reg hi) { return _mm256_packus_epi32(lo, hi); }
    // words[idx] for eight 32-bit indices, in one gather
    static reg gather32(const Vek32u* words, reg idx) {
        return _mm256_i32gather_epi32(reinterpret_cast<const int*>(words), idx, 4);
    }
};
#endif

template <class V>
inline typename V::reg absdiff(typename V::reg a, typename V::reg b) {
    return V::or_(V::subs8(a, b), V::subs8(b, a));
}

// Mask of a >= b.
template <class V>
inline typename V::reg ge(typename V::reg a, typename V::reg b) {
    return V::eq8(V::subs8(b, a), V::zero());
}

template <class V>
inline typename V::reg median3v(typename V::reg a, typename V::reg b, typename V::reg c) {
    return V::max8(V::min8(a, b), V::min8(V::max8(a, b), c));
}

// The edge-directed value at the columns of `above` and `below` (pointers at
// the first column; x - 1 and x + 1 are read).
template <class V>
inline typename V::reg edge_v(const Vek8u* above, const Vek8u* below) {
    using R = typename V::reg;
    const R al = V::load(above - 1), ac = V::load(above), ar = V::load(above + 1);
    const R bl = V::load(below - 1), bc = V::load(below), br = V::load(below + 1);
    const R d1 = absdiff<V>(al, br), d2 = absdiff<V>(ar, bl), d3 = absdiff<V>(ac, bc);
    const R vertical = V::avg8(ac, bc);
    const R first = V::select(V::avg8(al, br), vertical, ge<V>(d1, d3));
    const R second = V::select(V::avg8(ar, bl), vertical, ge<V>(d2, d3));
    return V::select(first, second, ge<V>(d1, d2));
}

// ---- kernels: each returns the first column it has not written ----

template <class V>
int edge_run(const Vek8u* above, const Vek8u* below, Vek8u* dst, int x, int end) {
    for (; x + V::kLanes <= end; x += V::kLanes) V::store(dst + x, edge_v<V>(above + x, below + x));
    return x;
}

template <class V>
int median_threshold_run(const Vek8u* above, const Vek8u* center, const Vek8u* below, Vek8u* dst, int x, int end,
                         Vek32s threshold) {
    using R = typename V::reg;
    const R t = V::splat8(threshold & 255);
    for (; x + V::kLanes <= end; x += V::kLanes) {
        const R b = V::load(center + x);
        const R m = median3v<V>(V::load(above + x), b, V::load(below + x));
        V::store(dst + x, V::select(b, m, ge<V>(absdiff<V>(m, b), t)));
    }
    return x;
}

template <class V>
int blend_run(const BlendRows& r, const Vek32u* weights, Vek8u* dst, int x, int end) {
    using R = typename V::reg;
    for (; x + V::kLanes <= end; x += V::kLanes) {
        const R a = V::load(r.above + x), c = V::load(r.center + x), b = V::load(r.below + x);
        const R u = V::avg8(absdiff<V>(a, V::load(r.prev_above + x)), absdiff<V>(a, V::load(r.next_above + x)));
        const R v = V::avg8(absdiff<V>(b, V::load(r.prev_below + x)), absdiff<V>(b, V::load(r.next_below + x)));
        const R m = V::max8(V::avg8(u, v), absdiff<V>(c, V::load(r.other + x)));
        const R spatial = edge_v<V>(r.above + x, r.below + x);
        const R median = median3v<V>(a, c, b);
        // Spatial and median values side by side in 32-bit words, in the
        // order the motions are widened to indices (within 128-bit lanes), so
        // one multiply-add with the paired weights gives each sum; at most
        // 255 * 256, the shift leaves a byte.
        const R z = V::zero();
        const R s_lo = V::lo16(spatial), s_hi = V::hi16(spatial), d_lo = V::lo16(median), d_hi = V::hi16(median);
        const R m_lo = V::lo16(m), m_hi = V::hi16(m);
        const R pairs[4] = {V::zip16_lo(s_lo, d_lo), V::zip16_hi(s_lo, d_lo), V::zip16_lo(s_hi, d_hi),
                            V::zip16_hi(s_hi, d_hi)};
        const R idx[4] = {V::zip16_lo(m_lo, z), V::zip16_hi(m_lo, z), V::zip16_lo(m_hi, z), V::zip16_hi(m_hi, z)};
        R sum[4];
        for (int k = 0; k < 4; ++k) sum[k] = V::shr32_8(V::madd16(pairs[k], V::gather32(weights, idx[k])));
        V::store(dst + x, V::pack16(V::pack32(sum[0], sum[1]), V::pack32(sum[2], sum[3])));
    }
    return x;
}

template <class V, Protection P>
int motion_run(const MotionRows& r, Vek8u* dst, int x, int end, Vek32s threshold) {
    using R = typename V::reg;
    // |d| < threshold as |d| <= limit on bytes; no limit when nothing is below the threshold.
    const bool never_still = threshold <= 0;
    const R limit = V::splat8(threshold > 256 ? 255 : (never_still ? 0 : threshold - 1));
    const R small = V::splat8(6), large = V::splat8(30), video_top = V::splat8(235);
    for (; x + V::kLanes <= end; x += V::kLanes) {
        R a[4], b[4];
        for (int i = 0; i < 4; ++i) {
            a[i] = V::load(r.above[i] + x);
            b[i] = V::load(r.below[i] + x);
        }
        const R c = V::load(r.c + x), u = V::load(r.u + x), d = V::load(r.d + x);
        R most = absdiff<V>(V::load(r.e + x), c);
        // A pixel is still when the largest of the eleven differences is small.
        for (const R* rows : {a, b}) {
            most = V::max8(most, absdiff<V>(rows[0], rows[1]));
            most = V::max8(most, absdiff<V>(rows[1], rows[2]));
            most = V::max8(most, absdiff<V>(rows[1], rows[3]));
            most = V::max8(most, absdiff<V>(rows[0], rows[2]));
            most = V::max8(most, absdiff<V>(rows[2], rows[3]));
        }
        const R still = never_still ? V::zero() : ge<V>(limit, most);
        const R margin = V::select(small, large, still);
        const R low = V::subs8(c, margin), high = V::min8(V::adds8(c, margin), video_top);
        const R outside = V::or_(V::subs8(low, V::max8(u, d)), V::subs8(V::min8(u, d), high));
        R out = V::select(V::avg8(u, d), c, V::eq8(outside, V::zero()));
        if constexpr (P == kProtectionOff) out = V::select(out, c, still);
        V::store(dst + x, out);
    }
    return x;
}

template <class V>
int triangle_run(const Vek8u* above, const Vek8u* center, const Vek8u* below, Vek8u* dst, int x, int end,
                 int center_weight) {
    using R = typename V::reg;
    const R side = V::splat16((256 - center_weight) >> 1), mid = V::splat16(center_weight);
    for (; x + V::kLanes <= end; x += V::kLanes) {
        const R a = V::load(above + x), c = V::load(center + x), b = V::load(below + x);
        // (a + b) * side + c * mid is at most 255 * (2 * side + mid) <= 255 * 256: 16 bits hold it.
        const R lo = V::add16(V::mul16(V::add16(V::lo16(a), V::lo16(b)), side), V::mul16(V::lo16(c), mid));
        const R hi = V::add16(V::mul16(V::add16(V::hi16(a), V::hi16(b)), side), V::mul16(V::hi16(c), mid));
        V::store(dst + x, V::pack16(V::shr16_8(lo), V::shr16_8(hi)));
    }
    return x;
}

// ---- whole rows: the widest register first, then 16 columns, then scalar ----

template <class V>
void edge_row_simd(const Vek8u* above, const Vek8u* below, Vek8u* dst, int width) {
    int x = edge_run<V>(above, below, dst, 1, width - 1);
    if constexpr (V::kLanes > 16) x = edge_run<V128>(above, below, dst, x, width - 1);
    for (; x < width - 1; ++x) dst[x] = static_cast<Vek8u>(edge_directed(above, below, x));
}

template <class V>
void median_threshold_row_simd(const Vek8u* above, const Vek8u* center, const Vek8u* below, Vek8u* dst, int width,
                               Vek32s threshold) {
    // The byte threshold covers whole 16-column runs only; the rest compares the full value.
    int x = median_threshold_run<V>(above, center, below, dst, 0, width, threshold);
    if constexpr (V::kLanes > 16) x = median_threshold_run<V128>(above, center, below, dst, x, width, threshold);
    for (; x < width; ++x) {
        const int m = median3(above[x], center[x], below[x]);
        dst[x] = static_cast<Vek8u>(threshold > abs_diff(m, center[x]) ? center[x] : m);
    }
}

template <class V>
void blend_row_simd(const BlendRows& r, const Vek32u* weights, Vek8u* dst, int width) {
    int x = blend_run<V>(r, weights, dst, 1, width - 1);
    if constexpr (V::kLanes > 16) x = blend_run<V128>(r, weights, dst, x, width - 1);
    for (; x < width - 1; ++x)
        dst[x] = static_cast<Vek8u>(blend_value(r, weights, x, edge_directed(r.above, r.below, x)));
}

template <class V, Protection P>
void motion_row_simd(const MotionRows& r, Vek8u* dst, int width, Vek32s threshold) {
    int x = motion_run<V, P>(r, dst, 0, width, threshold);
    if constexpr (V::kLanes > 16) x = motion_run<V128, P>(r, dst, x, width, threshold);
    if (x < width) {
        // The scalar rule on the last columns: the reference kernel from column x.
        MotionRows tail = r;
        for (int i = 0; i < 4; ++i) {
            tail.above[i] += x;
            tail.below[i] += x;
        }
        tail.c += x;
        tail.e += x;
        tail.u += x;
        tail.d += x;
        vek::enhance::deinterlace_reference_kernels().motion_row[P](tail, dst + x, width - x, threshold);
    }
}

template <class V>
void triangle_row_simd(const Vek8u* above, const Vek8u* center, const Vek8u* below, Vek8u* dst, int width,
                       int center_weight) {
    int x = triangle_run<V>(above, center, below, dst, 0, width, center_weight);
    if constexpr (V::kLanes > 16) x = triangle_run<V128>(above, center, below, dst, x, width, center_weight);
    const int side = (256 - center_weight) >> 1;
    for (; x < width; ++x) dst[x] = static_cast<Vek8u>(((above[x] + below[x]) * side + center[x] * center_weight) >> 8);
}

template <class V>
void fill_deinterlace_table(DeinterlaceTable& t) {
    t.edge_row = edge_row_simd<V>;
    t.median_threshold_row = median_threshold_row_simd<V>;
    t.blend_row = blend_row_simd<V>;
    t.motion_row = {motion_row_simd<V, kProtectionOff>, motion_row_simd<V, kProtectionOn>};
    t.triangle_row = triangle_row_simd<V>;
}

}  // namespace
