// The parts of the High inverse transforms that the SSE4.1 and AVX2 kernels
// share, written once over the register width. V is a register kind (V128
// here, V256 in the AVX2 file) with 32-bit lanes; the unpacks of both kinds
// work inside 128-bit lanes, so a 256-bit register carries two independent
// 4-lane halves (two blocks side by side, or two rows). Include only from
// the x86 kernel files.
#pragma once

#include <immintrin.h>

#include "vekvc.h"

namespace vek::h264::x86 {

struct V128 {
    using T = __m128i;
    static constexpr int kLanes = 4;
    static T load(const Vek32s* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static T load(const Vek16s* p) { return _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))); }
    static T load_u16(const Vek16u* p) { return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))); }
    static void store(Vek32s* p, T v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
    static T set1(Vek32s v) { return _mm_set1_epi32(v); }
    static T zero() { return _mm_setzero_si128(); }
    static T add(T a, T b) { return _mm_add_epi32(a, b); }
    static T sub(T a, T b) { return _mm_sub_epi32(a, b); }
    static T mul(T a, T b) { return _mm_mullo_epi32(a, b); }
    static T min(T a, T b) { return _mm_min_epi32(a, b); }
    static T max(T a, T b) { return _mm_max_epi32(a, b); }
    template <int N>
    static T sra(T a) { return _mm_srai_epi32(a, N); }
    static T sra(T a, __m128i n) { return _mm_sra_epi32(a, n); }
    static T sll(T a, __m128i n) { return _mm_sll_epi32(a, n); }
    static T lo32(T a, T b) { return _mm_unpacklo_epi32(a, b); }
    static T hi32(T a, T b) { return _mm_unpackhi_epi32(a, b); }
    static T lo64(T a, T b) { return _mm_unpacklo_epi64(a, b); }
    static T hi64(T a, T b) { return _mm_unpackhi_epi64(a, b); }
};

// One pass of the 4-point core: lane k of d[i] is value i of the k-th row
// (or column) being transformed.
template <class Ops, class T>
inline void inv4_vectors(T* d) {
    const T e0 = Ops::add(d[0], d[2]), e1 = Ops::sub(d[0], d[2]);
    const T e2 = Ops::sub(Ops::template sra<1>(d[1]), d[3]), e3 = Ops::add(d[1], Ops::template sra<1>(d[3]));
    d[0] = Ops::add(e0, e3);
    d[1] = Ops::add(e1, e2);
    d[2] = Ops::sub(e1, e2);
    d[3] = Ops::sub(e0, e3);
}

// One pass of the 8-point butterfly, laid out as inv4_vectors. Ops may also
// be a 16-bit lane kind (add, sub, sra only).
template <class Ops, class T>
inline void inv8_vectors(T* d) {
    const T a0 = Ops::add(d[0], d[4]), a4 = Ops::sub(d[0], d[4]);
    const T a2 = Ops::sub(Ops::template sra<1>(d[2]), d[6]), a6 = Ops::add(d[2], Ops::template sra<1>(d[6]));
    const T b0 = Ops::add(a0, a6), b2 = Ops::add(a4, a2), b4 = Ops::sub(a4, a2), b6 = Ops::sub(a0, a6);
    const T a1 = Ops::sub(Ops::sub(Ops::sub(d[5], d[3]), d[7]), Ops::template sra<1>(d[7]));
    const T a3 = Ops::sub(Ops::sub(Ops::add(d[1], d[7]), d[3]), Ops::template sra<1>(d[3]));
    const T a5 = Ops::add(Ops::add(Ops::sub(d[7], d[1]), d[5]), Ops::template sra<1>(d[5]));
    const T a7 = Ops::add(Ops::add(Ops::add(d[3], d[5]), d[1]), Ops::template sra<1>(d[1]));
    const T b1 = Ops::add(a1, Ops::template sra<2>(a7)), b7 = Ops::sub(a7, Ops::template sra<2>(a1));
    const T b3 = Ops::add(a3, Ops::template sra<2>(a5)), b5 = Ops::sub(Ops::template sra<2>(a3), a5);
    d[0] = Ops::add(b0, b7);
    d[1] = Ops::add(b2, b5);
    d[2] = Ops::add(b4, b3);
    d[3] = Ops::add(b6, b1);
    d[4] = Ops::sub(b6, b1);
    d[5] = Ops::sub(b4, b3);
    d[6] = Ops::sub(b2, b5);
    d[7] = Ops::sub(b0, b7);
}

// 4x4 transposes of 32-bit values inside each 128-bit lane.
template <class V>
inline void transpose4_lanes(typename V::T* r) {
    using T = typename V::T;
    const T t0 = V::lo32(r[0], r[1]), t1 = V::hi32(r[0], r[1]), t2 = V::lo32(r[2], r[3]), t3 = V::hi32(r[2], r[3]);
    r[0] = V::lo64(t0, t2), r[1] = V::hi64(t0, t2), r[2] = V::lo64(t1, t3), r[3] = V::hi64(t1, t3);
}

// Both passes of the 4x4 transform on rows r[0..3] (one 4x4 block in each
// 128-bit lane), leaving the rows of the residual before rounding.
template <class V>
inline void inv4_lanes(typename V::T* r) {
    transpose4_lanes<V>(r);
    inv4_vectors<V>(r);
    transpose4_lanes<V>(r);
    inv4_vectors<V>(r);
}

// (x + 32) >> 6, limited to -max..max, added to the prediction, clipped to 0..max.
template <class V>
inline typename V::T finish(typename V::T x, typename V::T pred, typename V::T maxv) {
    typename V::T r = V::template sra<6>(V::add(x, V::set1(32)));
    r = V::max(V::min(r, maxv), V::sub(V::zero(), maxv));
    return V::max(V::min(V::add(r, pred), maxv), V::zero());
}

// Dequantisation a register of levels at a time; the shift counts sit in
// registers, so one loop serves every qp.
template <class V, class Level>
inline void dequant(const Level* levels, const Vek16s* scale, Vek32s qp, Vek32s count, Vek32s* out) {
    using T = typename V::T;
    const int norm = count == 16 ? 4 : 6, s = qp / 6;
    const bool down = s < norm;
    const __m128i sh = _mm_cvtsi32_si128(down ? norm - s : s - norm);
    const T round = V::set1(down ? 1 << (norm - s - 1) : 0);
    for (int k = 0; k < count; k += V::kLanes) {
        const T p = V::mul(V::load(levels + k), V::load(scale + k));
        V::store(out + k, down ? V::sra(V::add(p, round), sh) : V::sll(p, sh));
    }
}

}  // namespace vek::h264::x86
