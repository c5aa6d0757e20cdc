// AVX2 16x16 copies: one row of 16 samples in 16-bit lanes of a YMM register.
// The 8x8 copies keep the 128-bit kernels.
#include <immintrin.h>

#include <cstddef>

#include "mc/copy_hp.h"

namespace vek::mc {

namespace {

inline __m256i load16_widen(const Vek8u* p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

template <int Mode, int Rc>
void copy16x16_avx2(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep) {
    for (int y = 0; y < 16; ++y) {
        const Vek8u* a = src + static_cast<std::ptrdiff_t>(srcStep) * y;
        const Vek8u* c = a + srcStep;
        __m256i v;
        if constexpr (Mode == kCopyHalfX) {
            v = _mm256_srli_epi16(
                _mm256_add_epi16(_mm256_add_epi16(load16_widen(a), load16_widen(a + 1)), _mm256_set1_epi16(1 - Rc)), 1);
        } else if constexpr (Mode == kCopyHalfY) {
            v = _mm256_srli_epi16(
                _mm256_add_epi16(_mm256_add_epi16(load16_widen(a), load16_widen(c)), _mm256_set1_epi16(1 - Rc)), 1);
        } else {
            const __m256i s = _mm256_add_epi16(_mm256_add_epi16(load16_widen(a), load16_widen(a + 1)),
                                               _mm256_add_epi16(load16_widen(c), load16_widen(c + 1)));
            v = _mm256_srli_epi16(_mm256_add_epi16(s, _mm256_set1_epi16(2 - Rc)), 2);
        }
        const __m128i packed = _mm_packus_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + static_cast<std::ptrdiff_t>(dstStep) * y), packed);
    }
}

}  // namespace

void init_copy_table_avx2(CopyTable& t) {
    t.copy16x16[2] = copy16x16_avx2<1, 0>;
    t.copy16x16[3] = copy16x16_avx2<1, 1>;
    t.copy16x16[4] = copy16x16_avx2<2, 0>;
    t.copy16x16[5] = copy16x16_avx2<2, 1>;
    t.copy16x16[6] = copy16x16_avx2<3, 0>;
    t.copy16x16[7] = copy16x16_avx2<3, 1>;
}

}  // namespace vek::mc
