#include <cmath>
#include <cstdint>
#include <numeric>

#include "util/guard.h"

namespace {

using namespace vek::util_test;

// Orthonormal 8x8 DCT-II or, given `inverse`, its inverse, in double precision.
void dct_ref(const double in[64], double out[64], bool inverse) {
    double c[8][8];  // c[u][x]
    for (int u = 0; u < 8; ++u)
        for (int x = 0; x < 8; ++x)
            c[u][x] = (u == 0 ? std::sqrt(0.5) : 1.0) / 2 * std::cos((2 * x + 1) * u * M_PI / 16);
    for (int o = 0; o < 64; ++o) {
        out[o] = 0;
        for (int i = 0; i < 64; ++i)
            out[o] += in[i] * (inverse ? c[i % 8][o % 8] * c[i / 8][o / 8] : c[o % 8][i % 8] * c[o / 8][i / 8]);
    }
}

// The forward transform's coefficients go into the guarded bytes too.
Vek16s* coeffs_in(Vek8u* d) { return reinterpret_cast<Vek16s*>(d); }
const Vek16s kNoCoeffs[64] = {};

TEST(UtilDct8x8, ContractWritesNothingOnError) {
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiDCT8x8Fwd_8u16s_C1R(nullptr, 0, coeffs_in(d)));
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiDCT8x8Fwd_8u16s_C1R(kZeros, 8, nullptr));
    EXPECT_REFUSAL(vekStsStepErr, vekiDCT8x8Fwd_8u16s_C1R(kZeros, 0, coeffs_in(d)));
    EXPECT_REFUSAL(vekStsStepErr, vekiDCT8x8Fwd_8u16s_C1R(kZeros, -8, coeffs_in(d)));
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiDCT8x8Inv_16s8u_C1R(nullptr, d, 0));
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiDCT8x8Inv_16s8u_C1R(kNoCoeffs, nullptr, 8));
    EXPECT_REFUSAL(vekStsStepErr, vekiDCT8x8Inv_16s8u_C1R(kNoCoeffs, d, 0));
    EXPECT_REFUSAL(vekStsStepErr, vekiDCT8x8Inv_16s8u_C1R(kNoCoeffs, d, -8));
}

// Hostile blocks (all 0, all 255, checkerboard with the largest (7,7),
// columns) and random ones, read through a step wider than the block: the
// forward transform within 1 of the double reference (flat blocks exact),
// then the inverse within 1 of the samples, written only into its block.
TEST(UtilDct8x8, ForwardAgainstReferenceAndRoundTrip) {
    std::mt19937 rng(2026);
    const Vek32s step = 13;
    for (int block = 0; block < 2000; ++block) {
        Vek8u src[8 * step];
        for (int i = 0; i < 8 * step; ++i) {
            const int x = i % step, y = i / step;
            const int hostile[4] = {0, 255, ((x + y) & 1) * 255, (x & 1) * 255};
            src[i] = Vek8u(block < 4 ? hostile[block] : int(rng() & 255));
        }
        double in[64], want[64];
        for (int i = 0; i < 64; ++i) in[i] = src[(i / 8) * step + i % 8];
        dct_ref(in, want, false);
        Vek16s got[64];
        ASSERT_EQ(vekiDCT8x8Fwd_8u16s_C1R(src, step, got), vekStsOk);
        for (int i = 0; i < 64; ++i)
            ASSERT_LE(std::fabs(got[i] - want[i]), block < 2 ? 0.5 : 1.0) << block << ":" << i;
        GuardedRegion dst(8, 8, 11);
        ASSERT_EQ(vekiDCT8x8Inv_16s8u_C1R(got, dst.data(), dst.step), vekStsOk);
        for (int i = 0; i < 64; ++i) ASSERT_LE(std::fabs(dst.at(i % 8, i / 8) - in[i]), 1) << block;
        ASSERT_TRUE(dst.intact());
    }
}

// The accuracy run of IEEE Std 1180-1990 on the signed inverse: 10000 blocks
// from its generator for each range (-256..255, -5..5, -300..300), the even
// parameter as drawn, the odd one negated.
class UtilIdct1180 : public ::testing::TestWithParam<int> {};

TEST_P(UtilIdct1180, SignedKernelMeetsAccuracyBounds) {
    const int lo = GetParam() < 2 ? 256 : GetParam() < 4 ? 5 : 300, hi = lo == 256 ? 255 : lo;
    const int sign = GetParam() % 2 ? -1 : 1, kBlocks = 10000;
    std::uint32_t state = 1;
    double sumErr[64] = {}, sumSq[64] = {}, peak = 0;
    for (int b = 0; b < kBlocks; ++b) {
        double block[64], freq[64], ref[64];
        for (double& v : block) {
            state = state * 1103515245u + 12345u;
            v = sign * (int(double(state & 0x7FFFFFFEu) / 2147483647.0 * (lo + hi + 1)) - lo);
        }
        dct_ref(block, freq, false);
        Vek16s coeffs[64], got[64];
        for (int i = 0; i < 64; ++i)
            freq[i] = coeffs[i] = Vek16s(std::clamp(std::nearbyint(freq[i]), -2048.0, 2047.0));
        dct_ref(freq, ref, true);
        vek::util::idct8x8_16s(coeffs, got);
        for (int i = 0; i < 64; ++i) {
            const double e = std::clamp<int>(got[i], -256, 255) - std::clamp(std::nearbyint(ref[i]), -256.0, 255.0);
            peak = std::max(peak, std::fabs(e));
            sumErr[i] += e;
            sumSq[i] += e * e;
        }
    }
    const auto byMagnitude = [](double a, double b) { return std::fabs(a) < std::fabs(b); };
    EXPECT_LE(peak, 1);
    EXPECT_LE(*std::max_element(sumSq, sumSq + 64) / kBlocks, 0.06);  // worst position
    EXPECT_LE(std::accumulate(sumSq, sumSq + 64, 0.0) / (64.0 * kBlocks), 0.02);
    EXPECT_LE(std::fabs(*std::max_element(sumErr, sumErr + 64, byMagnitude)) / kBlocks, 0.015);
    EXPECT_LE(std::fabs(std::accumulate(sumErr, sumErr + 64, 0.0)) / (64.0 * kBlocks), 0.0015);
}

INSTANTIATE_TEST_SUITE_P(Ieee1180, UtilIdct1180, ::testing::Range(0, 6));

// DC beyond the sample range clips to 0 or 255 over the whole block.
TEST(UtilDct8x8, InverseClipsToTheSampleRange) {
    for (const Vek16s dc : {Vek16s{-4000}, Vek16s{4000}, Vek16s{INT16_MIN}, Vek16s{INT16_MAX}}) {
        const Vek16s coeffs[64] = {dc};
        const Vek8u clipped = dc < 0 ? 0 : 255;
        GuardedRegion dst(8, 8, 8);
        ASSERT_EQ(vekiDCT8x8Inv_16s8u_C1R(coeffs, dst.data(), 8), vekStsOk);
        EXPECT_TRUE(dst.intact(&clipped)) << dc;
    }
}

}  // namespace
