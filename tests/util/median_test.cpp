#include "util/guard.h"

namespace {

using namespace vek::util_test;

const Vek8u* const kPlanes[3] = {kZeros, kZeros, kZeros};
const Vek8u* const kNullPlane[3][3] = {
    {nullptr, kZeros, kZeros}, {kZeros, nullptr, kZeros}, {kZeros, kZeros, nullptr}};

TEST(UtilMedian, ContractWritesNothingOnError) {
    for (const auto* planes : kNullPlane)  // pointers before the size
        EXPECT_REFUSAL(vekStsNullPtrErr, vekiMedian_8u_P3C1R(planes, 4, d, 4, {0, 0}));
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiMedian_8u_P3C1R(nullptr, 4, d, 4, {4, 4}));
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiMedian_8u_P3C1R(kPlanes, 4, nullptr, 4, {-1, 4}));
    EXPECT_REFUSAL(vekStsSizeErr, vekiMedian_8u_P3C1R(kPlanes, 4, d, 4, {0, 4}));
    EXPECT_REFUSAL(vekStsSizeErr, vekiMedian_8u_P3C1R(kPlanes, 4, d, 4, {4, 0}));
}

// Random planes read through a step, against a sort of each triple. The first
// 27 samples hold every combination of 0, 128 and 255 over the three planes:
// ties, extremes and each ordering, whichever plane holds which value.
TEST(UtilMedian, MatchesSortedMiddleWithSteps) {
    std::mt19937 rng(1180);
    const Vek32s w = 37, h = 7, srcStep = 40;
    std::vector<Vek8u> planes[3], want(std::size_t(w) * h);
    for (auto& p : planes) {
        p.resize(std::size_t(srcStep) * h);
        for (auto& b : p) b = Vek8u(rng());
    }
    for (int i = 0; i < 27; ++i)
        for (int p = 0, q = i; p < 3; ++p, q /= 3) planes[p][i] = Vek8u((q % 3 * 255 + 1) / 2);
    for (Vek32s i = 0; i < w * h; ++i) {
        const std::size_t s = std::size_t(i / w) * srcStep + i % w;
        Vek8u v[3] = {planes[0][s], planes[1][s], planes[2][s]};
        std::sort(v, v + 3);
        want[i] = v[1];
    }
    const Vek8u* ptrs[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    GuardedRegion dst(w, h, 41);
    ASSERT_EQ(vekiMedian_8u_P3C1R(ptrs, srcStep, dst.data(), dst.step, {w, h}), vekStsOk);
    EXPECT_TRUE(dst.intact(want.data(), w));
}

}  // namespace
