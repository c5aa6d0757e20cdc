#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>

#include "util/guard.h"
#include "util/util.h"

using vek::util_test::GuardedRegion;

namespace {

// Orthonormal 8x8 DCT-II and its inverse in double precision.
double basis(int x, int u) {
    const double c = u == 0 ? std::sqrt(0.5) : 1.0;
    return c / 2 * std::cos((2 * x + 1) * u * M_PI / 16);
}

void fdct_ref(const double in[64], double out[64]) {
    for (int v = 0; v < 8; ++v)
        for (int u = 0; u < 8; ++u) {
            double s = 0;
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x) s += basis(x, u) * basis(y, v) * in[y * 8 + x];
            out[v * 8 + u] = s;
        }
}

void idct_ref(const double in[64], double out[64]) {
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            double s = 0;
            for (int v = 0; v < 8; ++v)
                for (int u = 0; u < 8; ++u) s += basis(x, u) * basis(y, v) * in[v * 8 + u];
            out[y * 8 + x] = s;
        }
}

TEST(UtilDct8x8, ContractWritesNothingOnError) {
    Vek8u samples[64] = {};
    Vek16s coeffs[64] = {};
    for (Vek32s step : {0, -8}) {
        EXPECT_EQ(vekiDCT8x8Fwd_8u16s_C1R(nullptr, step, coeffs), vekStsNullPtrErr);
        EXPECT_EQ(vekiDCT8x8Fwd_8u16s_C1R(samples, 8, nullptr), vekStsNullPtrErr);
        Vek16s out[64];
        std::fill(out, out + 64, Vek16s{0x5A5A});
        EXPECT_EQ(vekiDCT8x8Fwd_8u16s_C1R(samples, step, out), vekStsStepErr);
        EXPECT_TRUE(std::all_of(out, out + 64, [](Vek16s c) { return c == 0x5A5A; }));

        GuardedRegion dst(8, 8, 8);
        EXPECT_EQ(vekiDCT8x8Inv_16s8u_C1R(nullptr, dst.data(), step), vekStsNullPtrErr);
        EXPECT_EQ(vekiDCT8x8Inv_16s8u_C1R(coeffs, nullptr, 8), vekStsNullPtrErr);
        EXPECT_EQ(vekiDCT8x8Inv_16s8u_C1R(coeffs, dst.data(), step), vekStsStepErr);
        EXPECT_TRUE(dst.untouched());
    }
}

// Forward against the double reference on hostile and random blocks, read
// through a step wider than the block.
TEST(UtilDct8x8, ForwardWithinOneOfReference) {
    std::mt19937 rng(2026);
    const Vek32s step = 13;
    for (int block = 0; block < 2000; ++block) {
        Vek8u src[8 * 13];
        for (int i = 0; i < 8 * 13; ++i) {
            const int x = i % 13, y = i / 13;
            switch (block) {
                case 0:
                    src[i] = 0;
                    break;
                case 1:
                    src[i] = 255;
                    break;
                case 2:
                    src[i] = ((x + y) & 1) * 255;
                    break;  // checkerboard: largest (7,7)
                case 3:
                    src[i] = (x & 1) * 255;
                    break;
                default:
                    src[i] = static_cast<Vek8u>(rng());
            }
        }
        double in[64], want[64];
        for (int i = 0; i < 64; ++i) in[i] = src[(i / 8) * step + i % 8];
        fdct_ref(in, want);
        Vek16s got[64];
        ASSERT_EQ(vekiDCT8x8Fwd_8u16s_C1R(src, step, got), vekStsOk);
        for (int i = 0; i < 64; ++i)
            ASSERT_LE(std::fabs(got[i] - want[i]), 1.0) << "block " << block << " coeff " << i;
        if (block == 1) {
            EXPECT_EQ(got[0], 2040);  // 8 times the mean
            EXPECT_TRUE(std::all_of(got + 1, got + 64, [](Vek16s c) { return c == 0; }));
        }
    }
}

// The pseudo-random generator of IEEE Std 1180-1990, in 32-bit arithmetic.
struct Ieee1180Rand {
    std::uint32_t state = 1;
    int next(int lo, int hi) {
        state = state * 1103515245u + 12345u;
        const double x = static_cast<double>(state & 0x7FFFFFFEu) / 2147483647.0 * (lo + hi + 1);
        return static_cast<int>(x) - lo;
    }
};

struct IeeeRun {
    int lo, hi, sign;
};

class Idct1180 : public ::testing::TestWithParam<IeeeRun> {};

TEST_P(Idct1180, SignedKernelMeetsAccuracyBounds) {
    const IeeeRun run = GetParam();
    constexpr int kBlocks = 10000;
    Ieee1180Rand rng;
    double sumErr[64] = {}, sumSq[64] = {};
    int peak = 0;
    for (int b = 0; b < kBlocks; ++b) {
        double block[64], freq[64], ref[64];
        for (double& v : block) v = run.sign * rng.next(run.lo, run.hi);
        fdct_ref(block, freq);
        Vek16s coeffs[64];
        for (int i = 0; i < 64; ++i) {
            coeffs[i] = static_cast<Vek16s>(std::clamp(std::nearbyint(freq[i]), -2048.0, 2047.0));
            freq[i] = coeffs[i];
        }
        idct_ref(freq, ref);
        Vek16s got[64];
        vek::util::idct8x8_16s(coeffs, got);
        for (int i = 0; i < 64; ++i) {
            const int r = static_cast<int>(std::clamp(std::nearbyint(ref[i]), -256.0, 255.0));
            const int g = std::clamp<int>(got[i], -256, 255);
            const int e = g - r;
            peak = std::max(peak, std::abs(e));
            sumErr[i] += e;
            sumSq[i] += e * e;
        }
    }
    double totalErr = 0, totalSq = 0, worstMse = 0, worstMean = 0;
    for (int i = 0; i < 64; ++i) {
        worstMse = std::max(worstMse, sumSq[i] / kBlocks);
        worstMean = std::max(worstMean, std::fabs(sumErr[i]) / kBlocks);
        totalErr += sumErr[i];
        totalSq += sumSq[i];
    }
    EXPECT_LE(peak, 1);
    EXPECT_LE(worstMse, 0.06);
    EXPECT_LE(totalSq / (64.0 * kBlocks), 0.02);
    EXPECT_LE(worstMean, 0.015);
    EXPECT_LE(std::fabs(totalErr) / (64.0 * kBlocks), 0.0015);
    std::printf(
        "range -%d..%d sign %+d: peak %d, pixel mse %.4f, mse %.5f, pixel mean %.4f, mean %.5f\n",
        run.lo, run.hi, run.sign, peak, worstMse, totalSq / (64.0 * kBlocks), worstMean,
        std::fabs(totalErr) / (64.0 * kBlocks));
}

INSTANTIATE_TEST_SUITE_P(Ieee1180, Idct1180,
                         ::testing::Values(IeeeRun{256, 255, 1}, IeeeRun{256, 255, -1},
                                           IeeeRun{5, 5, 1}, IeeeRun{5, 5, -1},
                                           IeeeRun{300, 300, 1}, IeeeRun{300, 300, -1}),
                         [](const ::testing::TestParamInfo<IeeeRun>& info) {
                             const IeeeRun& r = info.param;
                             char name[32];
                             std::snprintf(name, sizeof name, "L%dH%d%s", r.lo, r.hi,
                                           r.sign > 0 ? "Plus" : "Minus");
                             return std::string(name);
                         });

TEST(UtilDct8x8, InverseOfZeroIsZero) {
    const Vek16s zero[64] = {};
    Vek16s got[64];
    std::fill(got, got + 64, Vek16s{7});
    vek::util::idct8x8_16s(zero, got);
    EXPECT_TRUE(std::all_of(got, got + 64, [](Vek16s v) { return v == 0; }));
}

// Forward then inverse gives the samples back within 1; the inverse clips to
// samples and writes only its block.
TEST(UtilDct8x8, RoundTripAndClipping) {
    std::mt19937 rng(99);
    for (int block = 0; block < 1000; ++block) {
        Vek8u src[64];
        for (Vek8u& s : src)
            s = block < 2 ? static_cast<Vek8u>(block * 255) : static_cast<Vek8u>(rng());
        Vek16s coeffs[64];
        ASSERT_EQ(vekiDCT8x8Fwd_8u16s_C1R(src, 8, coeffs), vekStsOk);
        GuardedRegion dst(8, 8, 11);
        ASSERT_EQ(vekiDCT8x8Inv_16s8u_C1R(coeffs, dst.data(), dst.step), vekStsOk);
        for (int i = 0; i < 64; ++i)
            ASSERT_LE(std::abs(dst.at(i % 8, i / 8) - src[i]), 1) << "block " << block;
        ASSERT_TRUE(dst.outside_intact());
    }
    for (Vek16s dc : {Vek16s{-4000}, Vek16s{4000}, Vek16s{INT16_MIN}, Vek16s{INT16_MAX}}) {
        Vek16s coeffs[64] = {dc};
        GuardedRegion dst(8, 8, 8);
        ASSERT_EQ(vekiDCT8x8Inv_16s8u_C1R(coeffs, dst.data(), 8), vekStsOk);
        EXPECT_TRUE(dst.inside_equals(dc < 0 ? 0 : 255)) << dc;
    }
}

}  // namespace
