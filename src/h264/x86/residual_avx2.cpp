// AVX2 residual kernels. A single 4x4 block uses the 128-bit forms of
// residual_128.h, VEX-encoded: kept in one 256-bit register it needs
// cross-lane gathers for the transposes, which ran about a tenth slower.
// A pair of blocks side by side fills both lanes instead: block A in the low
// 128 bits, block B in the high ones, and every step of the 128-bit transform
// works lane by lane unchanged.
#include "h264/residual.h"
#include "h264/x86/residual_128.h"

namespace vek::h264 {

namespace {

VekStatus residual_no_dc_avx2(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek8u* dst, Vek32s dstStep,
                               Vek32s qp) {
    residual_no_dc_128(pred, predStep, coeffs, dst, dstStep, qp);
    return vekStsOk;
}

VekStatus residual_dc_ac_avx2(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek16s dc, Vek8u* dst,
                               Vek32s dstStep, Vek32s qp) {
    residual_dc_ac_128(pred, predStep, coeffs, dc, dst, dstStep, qp);
    return vekStsOk;
}

VekStatus residual_no_ac_avx2(const Vek8u* pred, Vek32s predStep, Vek16s dc, Vek8u* dst, Vek32s dstStep) {
    residual_no_ac_128(pred, predStep, dc, dst, dstStep);
    return vekStsOk;
}

// ---- Pairs: (A rows 0 | 1 : B rows 0 | 1), (A rows 2 | 3 : B rows 2 | 3) ----

inline void transpose4x4_pair(__m256i& a, __m256i& b) {
    const __m256i t0 = _mm256_unpacklo_epi16(a, b), t1 = _mm256_unpackhi_epi16(a, b);
    a = _mm256_unpacklo_epi16(t0, t1);
    b = _mm256_unpackhi_epi16(t0, t1);
}

inline void inverse_pass_pair(__m256i& p, __m256i& q) {
    const __m256i ps = _mm256_blend_epi16(p, _mm256_srai_epi16(p, 1), 0xF0);
    const __m256i qs = _mm256_blend_epi16(q, _mm256_srai_epi16(q, 1), 0xF0);
    const __m256i f = _mm256_adds_epi16(p, qs);
    const __m256i g = _mm256_subs_epi16(ps, q);
    const __m256i lo = _mm256_unpacklo_epi64(f, g), hi = _mm256_unpackhi_epi64(f, g);
    p = _mm256_adds_epi16(lo, hi);
    q = _mm256_subs_epi16(lo, hi);
}

inline void inverse_core_pair(__m256i& a, __m256i& b) {
    transpose4x4_pair(a, b);
    inverse_pass_pair(a, b);
    b = _mm256_shuffle_epi32(b, 0x4E);
    transpose4x4_pair(a, b);
    inverse_pass_pair(a, b);
    b = _mm256_shuffle_epi32(b, 0x4E);
    const __m256i round = _mm256_set1_epi16(32);
    a = _mm256_srai_epi16(_mm256_adds_epi16(a, round), 6);
    b = _mm256_srai_epi16(_mm256_adds_epi16(b, round), 6);
}

// Levels of A and B (32 values) times their factors, in the pair layout.
inline void dequantise_pair(const Vek16s* coeffs, Vek32s qp, __m256i& a, __m256i& b) {
    const __m256i f = _mm256_load_si256(reinterpret_cast<const __m256i*>(kLevelScale[qp].factor));
    const __m256i la = _mm256_mullo_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(coeffs)), f);
    const __m256i lb = _mm256_mullo_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(coeffs + 16)), f);
    a = _mm256_permute2x128_si256(la, lb, 0x20);
    b = _mm256_permute2x128_si256(la, lb, 0x31);
}

// Residuals back over the levels, each block's 16 values in raster order.
inline void store_residual_pair(Vek16s* coeffs, __m256i a, __m256i b) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(coeffs), _mm256_castsi256_si128(a));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(coeffs + 8), _mm256_castsi256_si128(b));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(coeffs + 16), _mm256_extracti128_si256(a, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(coeffs + 24), _mm256_extracti128_si256(b, 1));
}

inline __m128i load8(const Vek8u* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }

// The 8x4 prediction plus the pair's residual, stored. Row y of the area is
// row y of A then of B, so rows 0 and 1 interleaved by dwords widen straight
// into the pair layout. Every prediction row is loaded before the first store.
inline void add_rows_pair(const Vek8u* pred, Vek32s predStep, __m256i a, __m256i b, Vek8u* dst, Vek32s dstStep) {
    const __m128i p01 = _mm_unpacklo_epi32(load8(pred), load8(row_at(pred, predStep, 1)));
    const __m128i p23 = _mm_unpacklo_epi32(load8(row_at(pred, predStep, 2)), load8(row_at(pred, predStep, 3)));
    const __m256i s01 = _mm256_adds_epi16(_mm256_cvtepu8_epi16(p01), a);
    const __m256i s23 = _mm256_adds_epi16(_mm256_cvtepu8_epi16(p23), b);
    // (A0 A1 A2 A3 | B0 B1 B2 B3) to (A0 B0 A1 B1 | A2 B2 A3 B3), one row a quadword.
    const __m256i rows = _mm256_permutevar8x32_epi32(_mm256_packus_epi16(s01, s23),
                                                     _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    const __m128i r01 = _mm256_castsi256_si128(rows), r23 = _mm256_extracti128_si256(rows, 1);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), r01);
    _mm_storeh_pi(reinterpret_cast<__m64*>(row_at(dst, dstStep, 1)), _mm_castsi128_ps(r01));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(row_at(dst, dstStep, 2)), r23);
    _mm_storeh_pi(reinterpret_cast<__m64*>(row_at(dst, dstStep, 3)), _mm_castsi128_ps(r23));
}

// The two DCs as (A's in all 8 words | B's in all 8 words).
inline __m256i spread_dc_pair(const Vek16s* dc) {
    int pair;
    std::memcpy(&pair, dc, sizeof pair);
    const __m256i both = _mm256_set1_epi32(pair);
    return _mm256_shuffle_epi8(both, _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1,  //
                                                      2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3));
}

void residual_no_dc_pair_avx2(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek8u* dst, Vek32s dstStep,
                              Vek32s qp) {
    __m256i a, b;
    dequantise_pair(coeffs, qp, a, b);
    inverse_core_pair(a, b);
    store_residual_pair(coeffs, a, b);
    add_rows_pair(pred, predStep, a, b, dst, dstStep);
}

// Word 0 of each lane is level 0 of its block: the DC replaces its product.
void residual_dc_ac_pair_avx2(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, const Vek16s* dc, Vek8u* dst,
                              Vek32s dstStep, Vek32s qp) {
    __m256i a, b;
    dequantise_pair(coeffs, qp, a, b);
    a = _mm256_blend_epi16(a, spread_dc_pair(dc), 1);
    inverse_core_pair(a, b);
    store_residual_pair(coeffs, a, b);
    add_rows_pair(pred, predStep, a, b, dst, dstStep);
}

void residual_no_ac_pair_avx2(const Vek8u* pred, Vek32s predStep, const Vek16s* dc, Vek8u* dst, Vek32s dstStep) {
    const __m256i r = _mm256_srai_epi16(_mm256_adds_epi16(spread_dc_pair(dc), _mm256_set1_epi16(32)), 6);
    add_rows_pair(pred, predStep, r, r, dst, dstStep);
}

}  // namespace

void init_residual_table_avx2(ResidualTable& t) {
    t.no_dc = residual_no_dc_avx2;
    t.dc_ac = residual_dc_ac_avx2;
    t.no_ac = residual_no_ac_avx2;
    t.no_dc2 = residual_no_dc_pair_avx2;
    t.dc_ac2 = residual_dc_ac_pair_avx2;
    t.no_ac2 = residual_no_ac_pair_avx2;
    t.luma_dc = transform_dequant_luma_dc_128;
}

}  // namespace vek::h264
