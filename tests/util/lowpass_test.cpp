#include "util/guard.h"

namespace {

using namespace vek::util_test;

// Direct 2-D binomial sum with clamped coordinates, rounded to nearest: the
// oracle of the separable drivers.
std::vector<Vek8u> lowpass_direct(const std::vector<Vek8u>& src, Vek32s step, VekRoi roi, int mask) {
    static const int kTaps[2][5] = {{1, 2, 1}, {1, 4, 6, 4, 1}};
    const int r = mask == 33 ? 1 : 2;
    std::vector<Vek8u> out;
    for (int y = 0; y < roi.height; ++y)
        for (int x = 0; x < roi.width; ++x) {
            int sum = 1 << (4 * r - 1);
            for (int j = -r; j <= r; ++j)
                for (int i = -r; i <= r; ++i)
                    sum += kTaps[r - 1][j + r] * kTaps[r - 1][i + r] *
                           src[std::clamp(y + j, 0, roi.height - 1) * step + std::clamp(x + i, 0, roi.width - 1)];
            out.push_back(Vek8u(sum >> (4 * r)));
        }
    return out;
}

TEST(UtilLowpass, CheckOrder) {
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiFilterLowpass_8u_C1R(nullptr, 0, d, 8, {0, 4}, 35));
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiFilterLowpass_8u_C1R(kZeros, 8, nullptr, 8, {4, 4}, 33));
    // Size before step and mask, step before mask.
    EXPECT_REFUSAL(vekStsSizeErr, vekiFilterLowpass_8u_C1R(kZeros, 0, d, 8, {0, 4}, 35));
    EXPECT_REFUSAL(vekStsSizeErr, vekiFilterLowpass_8u_C1R(kZeros, 8, d, 8, {4, -1}, 35));
    EXPECT_REFUSAL(vekStsStepErr, vekiFilterLowpass_8u_C1R(kZeros, 0, d, 8, {4, 4}, 35));
    EXPECT_REFUSAL(vekStsStepErr, vekiFilterLowpass_8u_C1R(kZeros, 8, d, -8, {4, 4}, 33));
    EXPECT_REFUSAL(vekStsMaskSizeErr, vekiFilterLowpass_8u_C1R(kZeros, 8, d, 8, {4, 4}, 35));
    EXPECT_REFUSAL(vekStsMaskSizeErr, vekiFilterLowpass_8u_C1R(kZeros, 8, d, 8, {4, 4}, 53));
    // A row buffer beyond what a 32-bit allocation count can ask for.
    EXPECT_REFUSAL(vekStsNoMemErr, vekiFilterLowpass_8u_C1R(kZeros, 8, d, 8, {INT32_MAX, 1}, 33));
    EXPECT_REFUSAL(vekStsNoMemErr, vekiFilterLowpass_8u_C1R(kZeros, 8, d, 8, {INT32_MAX - 3, 1}, 55));
}

// Random planes with extremes, sizes down to one sample, against the direct
// sum, through the shell (threads 0) and through the 5x5 driver with any
// thread count.
TEST(UtilLowpass, MatchesDirectSumForAnyThreadCount) {
    std::mt19937 rng(4242);
    for (const VekRoi roi : {VekRoi{1, 1}, {2, 2}, {1, 9}, {9, 1}, {3, 7}, {17, 13}, {45, 23}}) {
        const Vek32s srcStep = roi.width + 3;
        std::vector<Vek8u> src(std::size_t(srcStep) * roi.height);
        for (auto& b : src) b = (rng() & 1) ? Vek8u(rng()) : Vek8u((rng() & 1) * 255);
        for (int mask : {33, 55}) {
            const std::vector<Vek8u> want = lowpass_direct(src, srcStep, roi, mask);
            for (Vek32s threads : {0, 1, 2, 3, 7, 23, 64}) {
                if (threads && mask == 33) break;
                GuardedRegion dst(roi.width, roi.height, roi.width + 5);
                ASSERT_EQ(threads ? ownvekiFilterLowpass5x5(src.data(), srcStep, dst.data(), dst.step, roi, threads)
                                  : vekiFilterLowpass_8u_C1R(src.data(), srcStep, dst.data(), dst.step, roi, mask),
                          vekStsOk);
                EXPECT_TRUE(dst.intact(want.data(), roi.width))
                    << roi.width << "x" << roi.height << " mask " << mask << " threads " << threads;
            }
        }
    }
}

}  // namespace
