// AVX2 edge filters for the 16-position horizontal edges: one row of 16
// samples in the 16-bit lanes of a YMM register. Vertical edges and the
// 8-position filter keep the 128-bit kernels.
#include <immintrin.h>

#include <cstddef>

#include "h263/deblock.h"

namespace vek::h263 {

namespace {

inline __m256i widen16(const Vek8u* p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
inline void store16(Vek8u* p, __m256i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p),
                     _mm_packus_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}

template <int S>
inline __m256i div_pow2_256(__m256i t) {
    return _mm256_srai_epi16(
        _mm256_add_epi16(t, _mm256_and_si256(_mm256_srai_epi16(t, 15), _mm256_set1_epi16((1 << S) - 1))), S);
}

void deblock16x16_hor_avx2(Vek8u* p, Vek32s step, Vek32s) {
    const std::ptrdiff_t s = step;
    __m256i A = widen16(p - 2 * s), B = widen16(p - s), C = widen16(p), D = widen16(p + s);
    const __m256i d =
        div_pow2_256<3>(_mm256_add_epi16(_mm256_slli_epi16(_mm256_sub_epi16(C, B), 2), _mm256_sub_epi16(A, D)));
    const __m256i lim = _mm256_srli_epi16(_mm256_abs_epi16(d), 1);
    const __m256i q = div_pow2_256<2>(_mm256_sub_epi16(A, D));
    const __m256i d2 = _mm256_min_epi16(_mm256_max_epi16(q, _mm256_sub_epi16(_mm256_setzero_si256(), lim)), lim);
    store16(p - 2 * s, _mm256_sub_epi16(A, d2));
    store16(p - s, _mm256_add_epi16(B, d));
    store16(p, _mm256_sub_epi16(C, d));
    store16(p + s, _mm256_add_epi16(D, d2));
}

void boundary_hor_avx2(Vek8u* p, Vek32s step, Vek32s) {
    Vek8u* above = p - step;
    const __m256i B = widen16(above), C = widen16(p), two = _mm256_set1_epi16(2);
    const __m256i b3 = _mm256_add_epi16(_mm256_add_epi16(B, B), B), c3 = _mm256_add_epi16(_mm256_add_epi16(C, C), C);
    store16(above, _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(b3, C), two), 2));
    store16(p, _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(c3, B), two), 2));
}

}  // namespace

void init_edge_filter_table_avx2(EdgeFilterTable& t) {
    t.deblock16x16_hor = deblock16x16_hor_avx2;
    t.boundary_hor = boundary_hor_avx2;
}

}  // namespace vek::h263
