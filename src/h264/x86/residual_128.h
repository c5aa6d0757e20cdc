// The 128-bit residual kernels, shared by the SSE4.1 file and the AVX2 file,
// which compiles them VEX-encoded.
// Everything is in an anonymous namespace, so each instruction set keeps its
// own copy.
//
// A 4x4 block of 16-bit values lives in two registers of two rows each. A
// transform pass wants the four inputs of each 1-D transform in separate
// lanes, so the block is transposed before each pass: the row pass then works
// on columns of the stored block, and its output (columns of the result, in
// the order 0 1 | 3 2) is transposed back for the column pass.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "h264/residual.h"

namespace {

using vek::h264::kLevelScale;

inline __m128i load4(const Vek8u* p) {
    int v;
    std::memcpy(&v, p, sizeof v);
    return _mm_cvtsi32_si128(v);
}

inline void store4(Vek8u* p, int v) { std::memcpy(p, &v, sizeof v); }

inline const Vek8u* row_at(const Vek8u* p, Vek32s step, int y) { return p + static_cast<std::ptrdiff_t>(step) * y; }
inline Vek8u* row_at(Vek8u* p, Vek32s step, int y) { return p + static_cast<std::ptrdiff_t>(step) * y; }

// (r0 | r1), (r2 | r3) -> (c0 | c1), (c2 | c3).
inline void transpose4x4(__m128i& a, __m128i& b) {
    const __m128i t0 = _mm_unpacklo_epi16(a, b), t1 = _mm_unpackhi_epi16(a, b);
    a = _mm_unpacklo_epi16(t0, t1);
    b = _mm_unpackhi_epi16(t0, t1);
}

// One saturating pass of the inverse core on four lanes at once:
// (x0 | x1), (x2 | x3) -> (y0 | y1), (y3 | y2).
inline void inverse_pass(__m128i& p, __m128i& q) {
    const __m128i ps = _mm_blend_epi16(p, _mm_srai_epi16(p, 1), 0xF0);           // x0 | x1 >> 1
    const __m128i qs = _mm_blend_epi16(q, _mm_srai_epi16(q, 1), 0xF0);           // x2 | x3 >> 1
    const __m128i f = _mm_adds_epi16(p, qs);                                     // e0 | e3
    const __m128i g = _mm_subs_epi16(ps, q);                                     // e1 | e2
    const __m128i lo = _mm_unpacklo_epi64(f, g), hi = _mm_unpackhi_epi64(f, g);  // e0 | e1, e3 | e2
    p = _mm_adds_epi16(lo, hi);
    q = _mm_subs_epi16(lo, hi);
}

// The dequantised block (r0 | r1), (r2 | r3) to the residual rows
// (r0 | r1), (r2 | r3), rounded and shifted.
inline void inverse_core(__m128i& a, __m128i& b) {
    transpose4x4(a, b);
    inverse_pass(a, b);              // columns 0 | 1, 3 | 2 of the row pass
    b = _mm_shuffle_epi32(b, 0x4E);  // 2 | 3
    transpose4x4(a, b);              // rows 0 | 1, 2 | 3
    inverse_pass(a, b);              // rows 0 | 1, 3 | 2
    b = _mm_shuffle_epi32(b, 0x4E);  // 2 | 3
    const __m128i round = _mm_set1_epi16(32);
    a = _mm_srai_epi16(_mm_adds_epi16(a, round), 6);
    b = _mm_srai_epi16(_mm_adds_epi16(b, round), 6);
}

// Residual rows (r0 | r1), (r2 | r3) added to the prediction and stored.
// Every prediction row is loaded before the first store.
inline void add_rows(const Vek8u* pred, Vek32s predStep, __m128i a, __m128i b, Vek8u* dst, Vek32s dstStep) {
    const __m128i p01 = _mm_unpacklo_epi32(load4(pred), load4(row_at(pred, predStep, 1)));
    const __m128i p23 = _mm_unpacklo_epi32(load4(row_at(pred, predStep, 2)), load4(row_at(pred, predStep, 3)));
    const __m128i s01 = _mm_adds_epi16(_mm_cvtepu8_epi16(p01), a);
    const __m128i s23 = _mm_adds_epi16(_mm_cvtepu8_epi16(p23), b);
    const __m128i out = _mm_packus_epi16(s01, s23);
    store4(dst, _mm_cvtsi128_si32(out));
    store4(row_at(dst, dstStep, 1), _mm_extract_epi32(out, 1));
    store4(row_at(dst, dstStep, 2), _mm_extract_epi32(out, 2));
    store4(row_at(dst, dstStep, 3), _mm_extract_epi32(out, 3));
}

inline void store_residual(Vek16s* coeffs, __m128i a, __m128i b) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(coeffs), a);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(coeffs + 8), b);
}

// Levels times their factors, rows 0 | 1 and 2 | 3.
inline void dequantise(const Vek16s* coeffs, Vek32s qp, __m128i& a, __m128i& b) {
    const Vek16s* f = kLevelScale[qp].factor;
    a = _mm_mullo_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(coeffs)),
                        _mm_load_si128(reinterpret_cast<const __m128i*>(f)));
    b = _mm_mullo_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(coeffs + 8)),
                        _mm_load_si128(reinterpret_cast<const __m128i*>(f + 8)));
}

inline void residual_no_dc_128(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek8u* dst, Vek32s dstStep,
                               Vek32s qp) {
    __m128i a, b;
    dequantise(coeffs, qp, a, b);
    inverse_core(a, b);
    store_residual(coeffs, a, b);
    add_rows(pred, predStep, a, b, dst, dstStep);
}

// The DC goes in by a zero factor for level 0 and an addition, which is
// shorter than inserting it after the multiplication.
inline void residual_dc_ac_128(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek16s dc, Vek8u* dst,
                               Vek32s dstStep, Vek32s qp) {
    const Vek16s* f = kLevelScale[qp].factor;
    const __m128i ac_factors = _mm_blend_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(f)),
                                               _mm_setzero_si128(), 1);
    __m128i a = _mm_mullo_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(coeffs)), ac_factors);
    a = _mm_add_epi16(a, _mm_cvtsi32_si128(static_cast<Vek16u>(dc)));
    __m128i b = _mm_mullo_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(coeffs + 8)),
                                _mm_load_si128(reinterpret_cast<const __m128i*>(f + 8)));
    inverse_core(a, b);
    store_residual(coeffs, a, b);
    add_rows(pred, predStep, a, b, dst, dstStep);
}

// One 4-point Hadamard pass on four lanes at once, wrapping:
// (x0 | x1), (x2 | x3) -> (y0 | y1), (y2 | y3).
inline void hadamard_pass(__m128i& p, __m128i& q) {
    const __m128i s = _mm_add_epi16(p, q), d = _mm_sub_epi16(p, q);  // x0 + x2 | x1 + x3, x0 - x2 | x1 - x3
    const __m128i lo = _mm_unpacklo_epi64(s, d), hi = _mm_unpackhi_epi64(s, d);
    p = _mm_add_epi16(lo, hi);                             // y0 | y1
    q = _mm_shuffle_epi32(_mm_sub_epi16(lo, hi), 0x4E);    // y2 | y3
}

// (y * factor + n) >> n of eight values, cut to 16 bits: one madd against
// (factor, n) pairs gives the rounded product in 32 bits.
inline __m128i dequant_dc8(__m128i y, __m128i factor_round, __m128i shift) {
    const __m128i one = _mm_set1_epi16(1), low = _mm_set1_epi32(0xFFFF);
    const __m128i lo = _mm_sra_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(y, one), factor_round), shift);
    const __m128i hi = _mm_sra_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(y, one), factor_round), shift);
    return _mm_packus_epi32(_mm_and_si128(lo, low), _mm_and_si128(hi, low));
}

// Wrapping 16-bit passes give the same low 16 bits as the reference's 32-bit
// sums cut after each pass. Rows first (on the transposed block), then columns.
inline void transform_dequant_luma_dc_128(Vek16s* dc, Vek32s qp) {
    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dc));
    __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dc + 8));
    transpose4x4(a, b);
    hadamard_pass(a, b);
    transpose4x4(a, b);
    hadamard_pass(a, b);
    const int n = vek::h264::luma_dc_shift(qp);
    const __m128i factor_round =
        _mm_set1_epi32(static_cast<int>(static_cast<Vek32u>(vek::h264::InvQuantLuma16x16DCTable[qp]) |
                                        static_cast<Vek32u>(n) << 16));
    const __m128i shift = _mm_cvtsi32_si128(n);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dc), dequant_dc8(a, factor_round, shift));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dc + 8), dequant_dc8(b, factor_round, shift));
}

inline void residual_no_ac_128(const Vek8u* pred, Vek32s predStep, Vek16s dc, Vek8u* dst, Vek32s dstStep) {
    const __m128i r = _mm_srai_epi16(_mm_adds_epi16(_mm_set1_epi16(dc), _mm_set1_epi16(32)), 6);
    add_rows(pred, predStep, r, r, dst, dstStep);
}

}  // namespace
