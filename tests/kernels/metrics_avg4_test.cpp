// The exact four-sample mean the HH kernels build from byte averages, checked
// on all 2^32 inputs at both register widths.
#include <gtest/gtest.h>

#include <immintrin.h>

#include <cstdint>

#include "kernel_compare.h"
#include "metrics/x86/avg4_u8.h"

namespace {

using vek::test::Level;

// iota[d] = d, the fourth inputs of the lanes; want[s][d] = (s + d + 2) >> 2
// for s = a + b + c, worked out in plain integers.
struct Expected {
    std::uint8_t iota[256];
    std::uint8_t want[3 * 255 + 1][256];
    Expected() {
        for (int d = 0; d < 256; ++d) {
            iota[d] = static_cast<std::uint8_t>(d);
            for (int s = 0; s <= 3 * 255; ++s) want[s][d] = static_cast<std::uint8_t>((s + d + 2) >> 2);
        }
    }
};

// Lanes whose mean of (a, b, c, d0 + lane) is wrong, as a bit mask.
unsigned mismatches_128(const Expected& e, int a, int b, int c, int d0) {
    const __m128i va = _mm_set1_epi8(static_cast<char>(a)), vb = _mm_set1_epi8(static_cast<char>(b));
    const __m128i vc = _mm_set1_epi8(static_cast<char>(c));
    const __m128i vd = _mm_loadu_si128(reinterpret_cast<const __m128i*>(e.iota + d0));
    const __m128i got =
        avg4_u8(_mm_avg_epu8(va, vb), _mm_xor_si128(va, vb), _mm_avg_epu8(vc, vd), _mm_xor_si128(vc, vd));
    const __m128i want = _mm_loadu_si128(reinterpret_cast<const __m128i*>(e.want[a + b + c] + d0));
    return ~static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(got, want))) & 0xFFFFu;
}

__attribute__((target("avx2"))) unsigned mismatches_256(const Expected& e, int a, int b, int c, int d0) {
    const __m256i va = _mm256_set1_epi8(static_cast<char>(a)), vb = _mm256_set1_epi8(static_cast<char>(b));
    const __m256i vc = _mm256_set1_epi8(static_cast<char>(c));
    const __m256i vd = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(e.iota + d0));
    const __m256i got =
        avg4_u8(_mm256_avg_epu8(va, vb), _mm256_xor_si256(va, vb), _mm256_avg_epu8(vc, vd), _mm256_xor_si256(vc, vd));
    const __m256i want = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(e.want[a + b + c] + d0));
    return ~static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(got, want)));
}

class MetricsAvg4 : public ::testing::TestWithParam<Level> {};

TEST_P(MetricsAvg4, ExactOnAllInputs) {
    static const Expected expected;
    const bool wide = (GetParam().flags & vek::kCpuAvx2) != 0;
    std::uint64_t bad = 0;
    for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b)
            for (int c = 0; c < 256; ++c)
                for (int d0 = 0; d0 < 256; d0 += wide ? 32 : 16) {
                    const unsigned mask =
                        wide ? mismatches_256(expected, a, b, c, d0) : mismatches_128(expected, a, b, c, d0);
                    if (mask && !bad) ADD_FAILURE() << "first wrong input: " << a << ", " << b << ", " << c << ", "
                                                    << d0 + __builtin_ctz(mask);
                    bad += static_cast<unsigned>(__builtin_popcount(mask));
                }
    EXPECT_EQ(bad, 0u);
}

INSTANTIATE_TEST_SUITE_P(SSE41, MetricsAvg4, ::testing::Values(vek::test::kLevelSse41), vek::test::LevelName{});
INSTANTIATE_TEST_SUITE_P(AVX2, MetricsAvg4, ::testing::Values(vek::test::kLevelAvx2), vek::test::LevelName{});

}  // namespace
