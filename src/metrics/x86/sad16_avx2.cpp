// AVX2 kernels of 16-bit SAD: one 16-sample row, two 8-sample rows or four
// 4-sample rows per register.
#include "metrics/kernels.h"
#include "metrics/x86/sad16_128.h"

namespace vek::metrics {

namespace {

inline __m256i load32(const Vek8u* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }

inline __m256i sad_pairs_16u(__m256i c, __m256i r) {
    const __m256i magnitude = _mm256_or_si256(_mm256_subs_epu16(c, r), _mm256_subs_epu16(r, c));
    return _mm256_madd_epi16(magnitude, _mm256_set1_epi16(1));
}

inline __m256i wrapped_sad_pairs_16u(__m256i c, __m256i r) {
    const __m256i magnitude = _mm256_abs_epi16(_mm256_sub_epi16(c, r));
    return _mm256_add_epi32(_mm256_srli_epi32(magnitude, 16),
                            _mm256_and_si256(magnitude, _mm256_set1_epi32(0xFFFF)));
}

// Loads of 32 bytes: one row of 16 samples, two of 8 or four of 4.
struct LoadRow16 {
    __m256i operator()(const Vek8u* p) const { return load32(p); }
};
struct LoadRows8x2 {
    std::ptrdiff_t step;
    __m256i operator()(const Vek8u* p) const { return load16x2(p, step); }
};
struct LoadRows4x4 {
    std::ptrdiff_t step;
    __m256i operator()(const Vek8u* p) const { return load8x4(p, step); }
};

// N x N block, Rows rows per register.
template <int N, int Rows, HalfPelMode M, class Load>
Vek32s sad_16u_avx2_t(const Vek16u* src16, Vek32s srcStep, const Vek16u* ref16, Vek32s refStep, Load load_src,
                      Load load_ref) {
    const auto* src = reinterpret_cast<const Vek8u*>(src16);
    const auto* ref = reinterpret_cast<const Vek8u*>(ref16);
    __m256i acc = _mm256_setzero_si256();
#pragma GCC unroll 16
    for (int y = 0; y < N; y += Rows) {
        const __m256i r = half_pel_16u<M>(load_ref, advance(ref, refStep, y), refStep);
        acc = _mm256_add_epi32(acc, sad_pairs_16u(load_src(advance(src, srcStep, y)), r));
    }
    return sum_epi32(fold_lanes(acc));
}

template <HalfPelMode M>
Vek32s sad16x16_16u_avx2_t(const Vek16u* src, Vek32s srcStep, const Vek16u* ref, Vek32s refStep) {
    return sad_16u_avx2_t<16, 1, M>(src, srcStep, ref, refStep, LoadRow16{}, LoadRow16{});
}

template <HalfPelMode M>
Vek32s sad8x8_16u_avx2_t(const Vek16u* src, Vek32s srcStep, const Vek16u* ref, Vek32s refStep) {
    return sad_16u_avx2_t<8, 2, M>(src, srcStep, ref, refStep, LoadRows8x2{srcStep}, LoadRows8x2{refStep});
}

template <HalfPelMode M>
Vek32s sad4x4_16u_avx2_t(const Vek16u* src, Vek32s srcStep, const Vek16u* ref, Vek32s refStep) {
    return sad_16u_avx2_t<4, 4, M>(src, srcStep, ref, refStep, LoadRows4x4{srcStep}, LoadRows4x4{refStep});
}

// Rows advance by step >> 1 elements; one row per register.
void sad16x16_blocks8x8_16u_avx2(const Vek16u* src16, Vek32s srcStep, const Vek16u* ref16, Vek32s refStep,
                                 Vek32u* sads) {
    const auto* src = reinterpret_cast<const Vek8u*>(src16);
    const auto* ref = reinterpret_cast<const Vek8u*>(ref16);
    srcStep = element_step(srcStep);
    refStep = element_step(refStep);
    __m256i top = _mm256_setzero_si256();     // left blocks in the low lane, right in the high
    __m256i bottom = _mm256_setzero_si256();
#pragma GCC unroll 8
    for (int y = 0; y < 8; ++y) {
        top = _mm256_add_epi32(top, wrapped_sad_pairs_16u(load32(advance(src, srcStep, y)),
                                                          load32(advance(ref, refStep, y))));
        bottom = _mm256_add_epi32(bottom, wrapped_sad_pairs_16u(load32(advance(src, srcStep, y + 8)),
                                                                load32(advance(ref, refStep, y + 8))));
    }
    // Per lane: TL-pairs | TR-pairs and BL | BR; two horizontal adds leave each block's total.
    const __m256i sums = _mm256_hadd_epi32(top, bottom);   // t, t, b, b | t, t, b, b
    const __m256i totals = _mm256_hadd_epi32(sums, sums);  // TL, BL, TL, BL | TR, BR, TR, BR
    const __m128i lo = _mm256_castsi256_si128(totals);
    const __m128i hi = _mm256_extracti128_si256(totals, 1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(sads), _mm_unpacklo_epi32(lo, hi));  // TL, TR, BL, BR
}

void sad16x16_blocks4x4_16u_avx2(const Vek16u* src16, Vek32s srcStep, const Vek16u* ref16, Vek32s refStep,
                                 Vek32u* sads) {
    const auto* src = reinterpret_cast<const Vek8u*>(src16);
    const auto* ref = reinterpret_cast<const Vek8u*>(ref16);
    srcStep = element_step(srcStep);
    refStep = element_step(refStep);
#pragma GCC unroll 2
    for (int by = 0; by < 4; by += 2) {
        __m256i acc[2] = {_mm256_setzero_si256(), _mm256_setzero_si256()};  // block rows by, by + 1
#pragma GCC unroll 8
        for (int y = 0; y < 8; ++y) {
            const int row = 4 * by + y;
            acc[y / 4] = _mm256_add_epi32(acc[y / 4], wrapped_sad_pairs_16u(load32(advance(src, srcStep, row)),
                                                                            load32(advance(ref, refStep, row))));
        }
        // Low lane: blocks 0, 1 of each block row; high lane: blocks 2, 3.
        const __m256i sums = _mm256_hadd_epi32(acc[0], acc[1]);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(sads + 4 * by), _mm256_permute4x64_epi64(sums, 0xD8));
    }
}

constexpr Sad16uFn* sad16x16_16u_avx2 = &sad16x16_16u_avx2_t<kModeFF>;
constexpr Sad16uFn* sad16x16_16u_fh_avx2 = &sad16x16_16u_avx2_t<kModeFH>;
constexpr Sad16uFn* sad16x16_16u_hf_avx2 = &sad16x16_16u_avx2_t<kModeHF>;
constexpr Sad16uFn* sad16x16_16u_hh_avx2 = &sad16x16_16u_avx2_t<kModeHH>;
constexpr Sad16uFn* sad8x8_16u_avx2 = &sad8x8_16u_avx2_t<kModeFF>;
constexpr Sad16uFn* sad8x8_16u_fh_avx2 = &sad8x8_16u_avx2_t<kModeFH>;
constexpr Sad16uFn* sad8x8_16u_hf_avx2 = &sad8x8_16u_avx2_t<kModeHF>;
constexpr Sad16uFn* sad8x8_16u_hh_avx2 = &sad8x8_16u_avx2_t<kModeHH>;
constexpr Sad16uFn* sad4x4_16u_avx2 = &sad4x4_16u_avx2_t<kModeFF>;
constexpr Sad16uFn* sad4x4_16u_fh_avx2 = &sad4x4_16u_avx2_t<kModeFH>;
constexpr Sad16uFn* sad4x4_16u_hf_avx2 = &sad4x4_16u_avx2_t<kModeHF>;
constexpr Sad16uFn* sad4x4_16u_hh_avx2 = &sad4x4_16u_avx2_t<kModeHH>;

}  // namespace

void init_sad16_table_avx2(Sad16Table& t) {
    t.sad16x16 = {sad16x16_16u_avx2, sad16x16_16u_fh_avx2, sad16x16_16u_hf_avx2, sad16x16_16u_hh_avx2};
    t.sad8x8 = {sad8x8_16u_avx2, sad8x8_16u_fh_avx2, sad8x8_16u_hf_avx2, sad8x8_16u_hh_avx2};
    t.sad4x4 = {sad4x4_16u_avx2, sad4x4_16u_fh_avx2, sad4x4_16u_hf_avx2, sad4x4_16u_hh_avx2};
    t.sad16x16_blocks8x8 = sad16x16_blocks8x8_16u_avx2;
    t.sad16x16_blocks4x4 = sad16x16_blocks4x4_16u_avx2;
}

}  // namespace vek::metrics
