// AVX2 full route of the AVS inverse transform with add.
//
// The rows are loaded in the order 0, 4, 2, 6, 1, 3, 5, 7, so that after the
// first pass each column holds the pairs (0, 4), (2, 6), (1, 3), (5, 7) of the
// second pass in its four 32-bit lanes: one 4x4 transpose of those lanes per
// register half then feeds the multiply-adds of the column butterfly, eight
// columns to a register. The second pass sums exactly in 32 bits, as the
// reference does, and saturates to 16 bits before the final shift.
#include "avs/transform_inv.h"
#include "avs/x86/inverse_128.h"

namespace vek::avs {
namespace {

using namespace x86;

inline __m256i load2(const Vek16s* lo, const Vek16s* hi) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(lo))),
                                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(hi)), 1);
}
inline __m256i join(__m128i lo, __m128i hi) { return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1); }
inline __m256i twice(__m256i a) { return _mm256_adds_epi16(a, a); }

// Output j of the first pass, (((b >> 1) + e) doubled) >> 3 with saturation.
inline __m256i first_out(__m256i b, __m256i e) {
    return _mm256_srai_epi16(twice(_mm256_adds_epi16(_mm256_srai_epi16(b, 1), e)), 3);
}

// Rows r and r + 1 of the result added to the prediction, as 16-bit words
// laid out [r 0..3, r + 1 0..3 | r 4..7, r + 1 4..7].
inline __m256i add_pair(__m256i res_r, __m256i res_r1, const Vek8u* dst, Vek32s step, int r) {
    const __m256i v = _mm256_srai_epi16(_mm256_packs_epi32(res_r, res_r1), 7);
    const __m128i a = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(dst + static_cast<std::ptrdiff_t>(r) * step));
    const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(dst + static_cast<std::ptrdiff_t>(r + 1) * step));
    return _mm256_adds_epi16(v, _mm256_cvtepu8_epi16(_mm_unpacklo_epi32(a, b)));
}

// Rows r..r + 3 from two add_pair results.
inline void store4(__m256i s01, __m256i s23, Vek8u* dst, Vek32s step, int r) {
    const __m256i o = _mm256_packus_epi16(s01, s23);
    const __m128i lo = _mm256_castsi256_si128(o), hi = _mm256_extracti128_si256(o, 1);
    const __m128i r01 = _mm_unpacklo_epi32(lo, hi), r23 = _mm_unpackhi_epi32(lo, hi);
    const auto row = [&](int k) { return reinterpret_cast<__m128i*>(dst + static_cast<std::ptrdiff_t>(r + k) * step); };
    _mm_storel_epi64(row(0), r01);
    _mm_storel_epi64(row(1), _mm_unpackhi_epi64(r01, r01));
    _mm_storel_epi64(row(2), r23);
    _mm_storel_epi64(row(3), _mm_unpackhi_epi64(r23, r23));
}

void inverse_full_avx2(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul_q, Vek32s shift) {
    // Dequantisation as in the 128-bit kernels, two rows a register: rows
    // (0, 1), (4, 3), (2, 5), (6, 7) become lane pairs (m0, m4) .. (m3, m7) of
    // the row order m = 0, 4, 2, 6, 1, 3, 5, 7.
    const __m128i count = _mm_cvtsi32_si128(15 - shift);
    const __m256i w = _mm256_set1_epi16(static_cast<short>(mul_q - 32768));
    const auto dequant = [&](__m256i v) {
        const __m256i u = _mm256_sll_epi16(v, count);
        return _mm256_adds_epi16(_mm256_mulhrs_epi16(u, w), u);
    };
    const __m256i y0 = dequant(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src)));
    const __m256i y1 = dequant(load2(src + 32, src + 24));
    const __m256i y2 = dequant(load2(src + 16, src + 40));
    const __m256i y3 = dequant(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 48)));
    const __m256i s0 = _mm256_unpacklo_epi16(y0, y1), s1 = _mm256_unpackhi_epi16(y0, y1);
    const __m256i s2 = _mm256_unpacklo_epi16(y2, y3), s3 = _mm256_unpackhi_epi16(y2, y3);
    // Elements (2k, 2k + 1) of every row: m0..m3 in lane 0, m4..m7 in lane 1.
    const __m256i t[4] = {_mm256_unpacklo_epi32(s0, s2), _mm256_unpackhi_epi32(s0, s2), _mm256_unpacklo_epi32(s1, s3),
                          _mm256_unpackhi_epi32(s1, s3)};
    __m128i c[8];
    for (int k = 0; k < 4; ++k) {
        const __m256i u = _mm256_permute4x64_epi64(t[k], 0xD8);
        c[2 * k] = _mm256_castsi256_si128(u);
        c[2 * k + 1] = _mm256_extracti128_si256(u, 1);
    }
    const RowTerms rt = row_terms(c);
    const __m128i zero = _mm_setzero_si128();
    // Outputs (j, j + 4) of the first pass side by side.
    const __m256i o0 = first_out(join(rt.b4, _mm_subs_epi16(zero, rt.b7)), join(rt.e0, rt.e3));
    const __m256i o1 = first_out(join(rt.b5, _mm_subs_epi16(zero, rt.b6)), join(rt.e1, rt.e2));
    const __m256i o2 = first_out(join(rt.b6, _mm_subs_epi16(zero, rt.b5)), join(rt.e2, rt.e1));
    const __m256i o3 = first_out(join(rt.b7, _mm_subs_epi16(zero, rt.b4)), join(rt.e3, rt.e0));
    const __m256i v0 = _mm256_unpacklo_epi32(o0, o1), v1 = _mm256_unpackhi_epi32(o0, o1);
    const __m256i v2 = _mm256_unpacklo_epi32(o2, o3), v3 = _mm256_unpackhi_epi32(o2, o3);
    // Word pairs of the first-pass rows (0, 4), (2, 6), (1, 3), (5, 7), columns 0..7.
    const __m256i q04 = _mm256_unpacklo_epi64(v0, v2), q26 = _mm256_unpackhi_epi64(v0, v2);
    const __m256i q13 = _mm256_unpacklo_epi64(v1, v3), q57 = _mm256_unpackhi_epi64(v1, v3);
    const auto madd = [](__m256i q, int lo, int hi) { return _mm256_madd_epi16(q, _mm256_set1_epi32(pair(lo, hi))); };
    const __m256i round = _mm256_set1_epi32(64);
    const __m256i a0 = _mm256_add_epi32(madd(q04, 8, 8), round), a1 = _mm256_add_epi32(madd(q04, 8, -8), round);
    const __m256i b0 = madd(q26, 10, 4), b1 = madd(q26, 4, -10);
    const __m256i e0 = _mm256_add_epi32(a0, b0), e3 = _mm256_sub_epi32(a0, b0);
    const __m256i e1 = _mm256_add_epi32(a1, b1), e2 = _mm256_sub_epi32(a1, b1);
    const __m256i d0 = _mm256_add_epi32(madd(q13, 10, 9), madd(q57, 6, 2));
    const __m256i d1 = _mm256_add_epi32(madd(q13, 9, -2), madd(q57, -10, -6));
    const __m256i d2 = _mm256_add_epi32(madd(q13, 6, -10), madd(q57, 2, 9));
    const __m256i d3 = _mm256_add_epi32(madd(q13, 2, -6), madd(q57, 9, -10));
    const __m256i s01 = add_pair(_mm256_add_epi32(e0, d0), _mm256_add_epi32(e1, d1), dst, step, 0);
    const __m256i s23 = add_pair(_mm256_add_epi32(e2, d2), _mm256_add_epi32(e3, d3), dst, step, 2);
    const __m256i s45 = add_pair(_mm256_sub_epi32(e3, d3), _mm256_sub_epi32(e2, d2), dst, step, 4);
    const __m256i s67 = add_pair(_mm256_sub_epi32(e1, d1), _mm256_sub_epi32(e0, d0), dst, step, 6);
    store4(s01, s23, dst, step, 0);
    store4(s45, s67, dst, step, 4);
}

}  // namespace

void init_inverse_table_avx2(InverseTable& t) {
    t.full = inverse_full_avx2;
    t.low = inverse_low_128;
}

}  // namespace vek::avs
