// The exact four-sample mean the HH kernels build from byte averages, checked
// on all 2^32 inputs at both register widths.
#include <gtest/gtest.h>

#include <immintrin.h>

#include <cstdint>

#include "harness.h"
#include "metrics/x86/avg4_u8.h"

namespace {

using vek::test::Level;

// Lane i of `d` is d0 + i; a, b, c broadcast. Returns the lanes that differ from
// (a + b + c + d + 2) >> 2 as a bit mask.
unsigned mismatches_128(int a, int b, int c, int d0) {
    const __m128i va = _mm_set1_epi8(static_cast<char>(a));
    const __m128i vb = _mm_set1_epi8(static_cast<char>(b));
    const __m128i vc = _mm_set1_epi8(static_cast<char>(c));
    const __m128i lanes = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const __m128i vd = _mm_add_epi8(_mm_set1_epi8(static_cast<char>(d0)), lanes);
    const __m128i got = avg4_u8(_mm_avg_epu8(va, vb), _mm_xor_si128(va, vb), _mm_avg_epu8(vc, vd),
                                _mm_xor_si128(vc, vd));
    // Expected in 16 bits: d of lane i is d0 + i (no wrap: d0 is a multiple of 16).
    const __m128i zero = _mm_setzero_si128();
    const __m128i base = _mm_set1_epi16(static_cast<short>(a + b + c + 2));
    const __m128i lo = _mm_srli_epi16(_mm_add_epi16(base, _mm_unpacklo_epi8(vd, zero)), 2);
    const __m128i hi = _mm_srli_epi16(_mm_add_epi16(base, _mm_unpackhi_epi8(vd, zero)), 2);
    const __m128i want = _mm_packus_epi16(lo, hi);
    return ~static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(got, want))) & 0xFFFFu;
}

__attribute__((target("avx2"))) unsigned mismatches_256(int a, int b, int c, int d0) {
    const __m256i va = _mm256_set1_epi8(static_cast<char>(a));
    const __m256i vb = _mm256_set1_epi8(static_cast<char>(b));
    const __m256i vc = _mm256_set1_epi8(static_cast<char>(c));
    const __m256i lanes = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19,
                                           20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
    const __m256i vd = _mm256_add_epi8(_mm256_set1_epi8(static_cast<char>(d0)), lanes);
    const __m256i got = avg4_u8(_mm256_avg_epu8(va, vb), _mm256_xor_si256(va, vb), _mm256_avg_epu8(vc, vd),
                                _mm256_xor_si256(vc, vd));
    const __m256i zero = _mm256_setzero_si256();
    const __m256i base = _mm256_set1_epi16(static_cast<short>(a + b + c + 2));
    // unpack and packus work per lane, so the order comes back as it was.
    const __m256i lo = _mm256_srli_epi16(_mm256_add_epi16(base, _mm256_unpacklo_epi8(vd, zero)), 2);
    const __m256i hi = _mm256_srli_epi16(_mm256_add_epi16(base, _mm256_unpackhi_epi8(vd, zero)), 2);
    const __m256i want = _mm256_packus_epi16(lo, hi);
    return ~static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(got, want)));
}

class MetricsAvg4 : public ::testing::TestWithParam<Level> {};

TEST_P(MetricsAvg4, ExactOnAllInputs) {
    const bool wide = (GetParam().flags & vek::kCpuAvx2) != 0;
    const int lanes = wide ? 32 : 16;
    std::uint64_t bad = 0;
    int first[4] = {-1, -1, -1, -1};
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            for (int c = 0; c < 256; ++c) {
                for (int d0 = 0; d0 < 256; d0 += lanes) {
                    const unsigned mask = wide ? mismatches_256(a, b, c, d0) : mismatches_128(a, b, c, d0);
                    if (mask && first[0] < 0) {
                        first[0] = a, first[1] = b, first[2] = c, first[3] = d0 + __builtin_ctz(mask);
                    }
                    bad += static_cast<unsigned>(__builtin_popcount(mask));
                }
            }
        }
    }
    EXPECT_EQ(bad, 0u) << "first wrong input: " << first[0] << ", " << first[1] << ", " << first[2] << ", "
                       << first[3];
}

INSTANTIATE_TEST_SUITE_P(SSE41, MetricsAvg4, ::testing::Values(vek::test::kLevelSse41), vek::test::LevelName{});
INSTANTIATE_TEST_SUITE_P(AVX2, MetricsAvg4, ::testing::Values(vek::test::kLevelAvx2), vek::test::LevelName{});

}  // namespace
