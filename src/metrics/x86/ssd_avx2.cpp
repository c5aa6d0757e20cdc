// AVX2 kernels of 8-bit SSD: two 8-byte rows widened to one register of
// 16-bit differences, pmaddwd of each with itself. Kernels start on 64-byte
// boundaries, as in sad_128.h.
#include "metrics/kernels.h"
#include "metrics/x86/sad_128.h"

namespace vek::metrics {

namespace {

inline __m256i ssd_16_avx2(__m128i c, __m128i r) {
    const __m256i diff = _mm256_sub_epi16(_mm256_cvtepu8_epi16(c), _mm256_cvtepu8_epi16(r));
    return _mm256_madd_epi16(diff, diff);
}

template <HalfPelMode M>
[[gnu::aligned(64)]]
Vek32s ssd8x8_avx2_t(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    const auto load = [refStep](const Vek8u* p) { return load8x2(p, refStep); };
    __m256i acc = _mm256_setzero_si256();
#pragma GCC unroll 4
    for (int y = 0; y < 8; y += 2) {
        const __m128i r = half_pel<M, 1>(load, advance(ref, refStep, y), refStep);
        acc = _mm256_add_epi32(acc, ssd_16_avx2(load8x2(advance(src, srcStep, y), srcStep), r));
    }
    return sum_epi32(fold_lanes(acc));
}

template <HalfPelMode M>
[[gnu::aligned(64)]]
Vek32s ssd4x4_avx2_t(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    const auto load = [refStep](const Vek8u* p) { return load4x4(p, refStep); };
    const __m128i r = half_pel<M, 1>(load, ref, refStep);
    return sum_epi32(fold_lanes(ssd_16_avx2(load4x4(src, srcStep), r)));
}

constexpr Ssd8uFn* ssd8x8_avx2 = &ssd8x8_avx2_t<kModeFF>;
constexpr Ssd8uFn* ssd8x8_fh_avx2 = &ssd8x8_avx2_t<kModeFH>;
constexpr Ssd8uFn* ssd8x8_hf_avx2 = &ssd8x8_avx2_t<kModeHF>;
constexpr Ssd8uFn* ssd8x8_hh_avx2 = &ssd8x8_avx2_t<kModeHH>;
constexpr Ssd8uFn* ssd4x4_avx2 = &ssd4x4_avx2_t<kModeFF>;
constexpr Ssd8uFn* ssd4x4_fh_avx2 = &ssd4x4_avx2_t<kModeFH>;
constexpr Ssd8uFn* ssd4x4_hf_avx2 = &ssd4x4_avx2_t<kModeHF>;
constexpr Ssd8uFn* ssd4x4_hh_avx2 = &ssd4x4_avx2_t<kModeHH>;

}  // namespace

void init_ssd_table_avx2(SsdTable& t) {
    t.ssd8x8 = {ssd8x8_avx2, ssd8x8_fh_avx2, ssd8x8_hf_avx2, ssd8x8_hh_avx2};
    t.ssd4x4 = {ssd4x4_avx2, ssd4x4_fh_avx2, ssd4x4_hf_avx2, ssd4x4_hh_avx2};
}

}  // namespace vek::metrics
