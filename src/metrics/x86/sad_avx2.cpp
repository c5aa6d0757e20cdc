// AVX2 kernels of 8-bit SAD: two 16-byte rows or four 8-byte rows per
// register; the 4-wide shapes keep the 128-bit forms (VEX-encoded here).
// Kernels start on 64-byte boundaries, as in sad_128.h.
#include "metrics/kernels.h"
#include "metrics/x86/sad_128.h"

namespace vek::metrics {

namespace {

inline Vek32s sad_total_256(__m256i acc) { return sad_total(fold_lanes(acc)); }

// 16 x H with row y in the low lane and row y + H/2 in the high lane, so the
// register of rows y + 1 | y + 1 + H/2 is the next iteration's: FH and HH
// compute each reference row pair (and its byte averages) once.
template <int H, HalfPelMode M>
[[gnu::aligned(64)]]
Vek32s sad16xh_avx2(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    constexpr int kHalf = H / 2;
    const std::ptrdiff_t src_half = static_cast<std::ptrdiff_t>(srcStep) * kHalf;
    const std::ptrdiff_t ref_half = static_cast<std::ptrdiff_t>(refStep) * kHalf;
    const auto rows = [ref_half](const Vek8u* p) { return load16x2(p, ref_half); };
    __m256i acc[2] = {_mm256_setzero_si256(), _mm256_setzero_si256()};
    if constexpr (M == kModeFF || M == kModeHF) {
#pragma GCC unroll 8
        for (int y = 0; y < kHalf; ++y) {
            const __m256i r = half_pel<M, 1>(rows, advance(ref, refStep, y), refStep);
            const __m256i c = load16x2(advance(src, srcStep, y), src_half);
            acc[y & 1] = _mm256_add_epi64(acc[y & 1], _mm256_sad_epu8(c, r));
        }
    } else if constexpr (M == kModeFH) {
        __m256i above = rows(ref);
#pragma GCC unroll 8
        for (int y = 0; y < kHalf; ++y) {
            const __m256i below = rows(advance(ref, refStep, y + 1));
            const __m256i c = load16x2(advance(src, srcStep, y), src_half);
            acc[y & 1] = _mm256_add_epi64(acc[y & 1], _mm256_sad_epu8(c, _mm256_avg_epu8(above, below)));
            above = below;
        }
    } else {
        const auto pair = [&rows](const Vek8u* p, __m256i& avg, __m256i& diff) {
            const __m256i a = rows(p);
            const __m256i b = rows(p + 1);
            avg = _mm256_avg_epu8(a, b);
            diff = _mm256_xor_si256(a, b);
        };
        __m256i avg_above, xor_above;
        pair(ref, avg_above, xor_above);
#pragma GCC unroll 8
        for (int y = 0; y < kHalf; ++y) {
            __m256i avg_below, xor_below;
            pair(advance(ref, refStep, y + 1), avg_below, xor_below);
            const __m256i r = avg4_u8(avg_above, xor_above, avg_below, xor_below);
            const __m256i c = load16x2(advance(src, srcStep, y), src_half);
            acc[y & 1] = _mm256_add_epi64(acc[y & 1], _mm256_sad_epu8(c, r));
            avg_above = avg_below;
            xor_above = xor_below;
        }
    }
    return sad_total_256(_mm256_add_epi64(acc[0], acc[1]));
}

// 8 x H, four rows per register.
template <int H, HalfPelMode M>
[[gnu::aligned(64)]]
Vek32s sad8xh_avx2(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    const auto load = [refStep](const Vek8u* p) { return load8x4(p, refStep); };
    __m256i acc = _mm256_setzero_si256();
#pragma GCC unroll 4
    for (int y = 0; y < H; y += 4) {
        const __m256i r = half_pel<M, 1>(load, advance(ref, refStep, y), refStep);
        acc = _mm256_add_epi64(acc, _mm256_sad_epu8(load8x4(advance(src, srcStep, y), srcStep), r));
    }
    return sad_total_256(acc);
}

template <HalfPelMode M>
[[gnu::aligned(64)]]
void sad8x8_pair_avx2(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep, Vek32s* first,
                      Vek32s* second) {
    const auto load = [refStep](const Vek8u* p) { return load16x2(p, refStep); };
    const __m256i even_bytes = _mm256_set1_epi16(0x00FF);
    __m256i acc_even = _mm256_setzero_si256();
    __m256i acc_odd = _mm256_setzero_si256();
#pragma GCC unroll 4
    for (int y = 0; y < 8; y += 2) {
        const __m256i r = half_pel<M, 2>(load, advance(ref, refStep, y), refStep);
        const __m256i c = load16x2(advance(src, srcStep, y), srcStep);
        const __m256i diff = _mm256_or_si256(_mm256_subs_epu8(c, r), _mm256_subs_epu8(r, c));
        acc_even = _mm256_add_epi16(acc_even, _mm256_and_si256(diff, even_bytes));
        acc_odd = _mm256_add_epi16(acc_odd, _mm256_srli_epi16(diff, 8));
    }
    const __m256i ones = _mm256_set1_epi16(1);
    *first = sum_epi32(fold_lanes(_mm256_madd_epi16(acc_even, ones)));
    *second = sum_epi32(fold_lanes(_mm256_madd_epi16(acc_odd, ones)));
}

// Row y in the low lane, row y + 8 in the high lane: the lanes' 64-bit sums
// are TL, TR | BL, BR.
[[gnu::aligned(64)]]
void sad16x16_blocks8x8_avx2(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep,
                             Vek16u* sads) {
    const std::ptrdiff_t src8 = static_cast<std::ptrdiff_t>(srcStep) * 8;
    const std::ptrdiff_t ref8 = static_cast<std::ptrdiff_t>(refStep) * 8;
    __m256i acc = _mm256_setzero_si256();
#pragma GCC unroll 8
    for (int y = 0; y < 8; ++y) {
        acc = _mm256_add_epi64(acc, _mm256_sad_epu8(load16x2(advance(src, srcStep, y), src8),
                                                    load16x2(advance(ref, refStep, y), ref8)));
    }
    const __m128i packed = _mm_packs_epi32(_mm256_castsi256_si128(acc), _mm256_extracti128_si256(acc, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(sads), _mm_packs_epi32(packed, packed));
}

// Rows y (low lane) and y + 4 (high lane) of two block rows at once; the
// 4-byte groups of two rows interleaved put one block's rows in one 8-byte lane.
inline void sad_blocks4x4_rows_avx2(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep,
                                    __m256i& left, __m256i& right) {
    const std::ptrdiff_t src4 = static_cast<std::ptrdiff_t>(srcStep) * 4;
    const std::ptrdiff_t ref4 = static_cast<std::ptrdiff_t>(refStep) * 4;
    left = _mm256_setzero_si256();
    right = _mm256_setzero_si256();
#pragma GCC unroll 2
    for (int y = 0; y < 4; y += 2) {
        const __m256i s0 = load16x2(advance(src, srcStep, y), src4);
        const __m256i s1 = load16x2(advance(src, srcStep, y + 1), src4);
        const __m256i r0 = load16x2(advance(ref, refStep, y), ref4);
        const __m256i r1 = load16x2(advance(ref, refStep, y + 1), ref4);
        left = _mm256_add_epi64(left,
                                _mm256_sad_epu8(_mm256_unpacklo_epi32(s0, s1), _mm256_unpacklo_epi32(r0, r1)));
        right = _mm256_add_epi64(right,
                                 _mm256_sad_epu8(_mm256_unpackhi_epi32(s0, s1), _mm256_unpackhi_epi32(r0, r1)));
    }
}

[[gnu::aligned(64)]]
void sad16x16_blocks4x4_avx2(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep,
                             Vek16u* sads) {
    __m256i left_a, right_a, left_b, right_b;
    sad_blocks4x4_rows_avx2(src, srcStep, ref, refStep, left_a, right_a);  // block rows 0 | 1
    sad_blocks4x4_rows_avx2(advance(src, srcStep, 8), srcStep, advance(ref, refStep, 8), refStep, left_b,
                            right_b);  // block rows 2 | 3
    // Sums are at most 4080, so signed packs keep them. After the first pack
    // each lane holds its block row's four sums as 32-bit values.
    const __m256i rows_a = _mm256_packs_epi32(left_a, right_a);  // blocks 0..3 | 4..7
    const __m256i rows_b = _mm256_packs_epi32(left_b, right_b);  // blocks 8..11 | 12..15
    const __m256i packed = _mm256_packs_epi32(rows_a, rows_b);   // 0..3, 8..11 | 4..7, 12..15
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(sads), _mm256_permute4x64_epi64(packed, 0xD8));
}

constexpr Sad8uFn* sad16x16_avx2 = &sad16xh_avx2<16, kModeFF>;
constexpr Sad8uFn* sad16x16_fh_avx2 = &sad16xh_avx2<16, kModeFH>;
constexpr Sad8uFn* sad16x16_hf_avx2 = &sad16xh_avx2<16, kModeHF>;
constexpr Sad8uFn* sad16x16_hh_avx2 = &sad16xh_avx2<16, kModeHH>;
constexpr Sad8uFn* sad16x8_avx2 = &sad16xh_avx2<8, kModeFF>;
constexpr Sad8uFn* sad16x8_fh_avx2 = &sad16xh_avx2<8, kModeFH>;
constexpr Sad8uFn* sad16x8_hf_avx2 = &sad16xh_avx2<8, kModeHF>;
constexpr Sad8uFn* sad16x8_hh_avx2 = &sad16xh_avx2<8, kModeHH>;
// At full and horizontal-half positions two 8-byte rows per 128-bit register
// load as fast as four per 256-bit one and need no lane insert.
constexpr Sad8uFn* sad8x8_avx2 = &sad8xh_128<8, kModeFF>;
constexpr Sad8uFn* sad8x8_fh_avx2 = &sad8xh_avx2<8, kModeFH>;
constexpr Sad8uFn* sad8x8_hf_avx2 = &sad8xh_128<8, kModeHF>;
constexpr Sad8uFn* sad8x8_hh_avx2 = &sad8xh_avx2<8, kModeHH>;
constexpr SadPair8uFn* sad8x8_c2_avx2 = &sad8x8_pair_avx2<kModeFF>;
constexpr SadPair8uFn* sad8x8_c2_fh_avx2 = &sad8x8_pair_avx2<kModeFH>;
constexpr SadPair8uFn* sad8x8_c2_hf_avx2 = &sad8x8_pair_avx2<kModeHF>;
constexpr SadPair8uFn* sad8x8_c2_hh_avx2 = &sad8x8_pair_avx2<kModeHH>;
constexpr Sad8uFn* sad8x16_avx2 = &sad8xh_128<16, kModeFF>;
constexpr Sad8uFn* sad8x4_avx2 = &sad8xh_128<4, kModeFF>;
constexpr Sad8uFn* sad4x8_avx2 = &sad4xh_128<8>;
constexpr Sad8uFn* sad4x4_avx2 = &sad4xh_128<4>;

}  // namespace

void init_sad_table_avx2(SadTable& t) {
    t.sad16x16 = {sad16x16_avx2, sad16x16_fh_avx2, sad16x16_hf_avx2, sad16x16_hh_avx2};
    t.sad16x8 = {sad16x8_avx2, sad16x8_fh_avx2, sad16x8_hf_avx2, sad16x8_hh_avx2};
    t.sad8x8 = {sad8x8_avx2, sad8x8_fh_avx2, sad8x8_hf_avx2, sad8x8_hh_avx2};
    t.sad8x8_c2 = {sad8x8_c2_avx2, sad8x8_c2_fh_avx2, sad8x8_c2_hf_avx2, sad8x8_c2_hh_avx2};
    t.sad8x16 = sad8x16_avx2;
    t.sad8x4 = sad8x4_avx2;
    t.sad4x8 = sad4x8_avx2;
    t.sad4x4 = sad4x4_avx2;
    t.sad16x16_blocks8x8 = sad16x16_blocks8x8_avx2;
    t.sad16x16_blocks4x4 = sad16x16_blocks4x4_avx2;
}

}  // namespace vek::metrics
