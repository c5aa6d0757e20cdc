#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "util/guard.h"
#include "util/util.h"

using vek::util_test::GuardedRegion;

namespace {

// Direct 2-D binomial sum with clamped coordinates: the oracle of the
// separable drivers.
std::vector<Vek8u> lowpass_direct(const std::vector<Vek8u>& src, Vek32s step, VekRoi roi,
                                  int mask) {
    static const int k3[] = {1, 2, 1};
    static const int k5[] = {1, 4, 6, 4, 1};
    const int r = mask == 33 ? 1 : 2;
    const int* taps = mask == 33 ? k3 : k5;
    const int shift = mask == 33 ? 4 : 8;
    std::vector<Vek8u> out(static_cast<std::size_t>(roi.width) * roi.height);
    for (int y = 0; y < roi.height; ++y) {
        for (int x = 0; x < roi.width; ++x) {
            int sum = 0;
            for (int j = -r; j <= r; ++j) {
                for (int i = -r; i <= r; ++i) {
                    const int sy = std::clamp(y + j, 0, roi.height - 1);
                    const int sx = std::clamp(x + i, 0, roi.width - 1);
                    sum +=
                        taps[j + r] * taps[i + r] * src[static_cast<std::size_t>(sy) * step + sx];
                }
            }
            out[static_cast<std::size_t>(y) * roi.width + x] =
                static_cast<Vek8u>((sum + (1 << (shift - 1))) >> shift);
        }
    }
    return out;
}

void expect_matches(GuardedRegion& dst, const std::vector<Vek8u>& want, const char* what) {
    for (Vek32s y = 0; y < dst.height; ++y) {
        for (Vek32s x = 0; x < dst.width; ++x) {
            ASSERT_EQ(dst.at(x, y), want[static_cast<std::size_t>(y) * dst.width + x])
                << what << " " << dst.width << "x" << dst.height << " at " << x << "," << y;
        }
    }
    EXPECT_TRUE(dst.outside_intact()) << what;
}

TEST(UtilLowpass, CheckOrder) {
    struct Case {
        bool nullSrc;
        VekRoi roi;
        Vek32s srcStep, dstStep, mask;
        VekStatus expected;
    };
    const Case cases[] = {
        {true, {0, 4}, 0, 8, 35, vekStsNullPtrErr},
        {false, {0, 4}, 0, 8, 35, vekStsSizeErr},   // size before step and mask
        {false, {4, -1}, 8, 8, 35, vekStsSizeErr},  // mask 35 with a bad region
        {false, {4, 4}, 0, 8, 35, vekStsStepErr},   // step before mask
        {false, {4, 4}, 8, -8, 33, vekStsStepErr},
        {false, {4, 4}, 8, 8, 35, vekStsMaskSizeErr},
        {false, {4, 4}, 8, 8, 0, vekStsMaskSizeErr},
        {false, {4, 4}, 8, 8, 53, vekStsMaskSizeErr},
    };
    Vek8u src[64] = {};
    for (const Case& c : cases) {
        GuardedRegion dst(8, 4, 8);
        EXPECT_EQ(vekiFilterLowpass_8u_C1R(c.nullSrc ? nullptr : src, c.srcStep, dst.data(),
                                           c.dstStep, c.roi, c.mask),
                  c.expected)
            << "mask " << c.mask;
        EXPECT_TRUE(dst.untouched());
    }
    EXPECT_EQ(vekiFilterLowpass_8u_C1R(src, 8, nullptr, 8, {4, 4}, 33), vekStsNullPtrErr);
}

// A lone 255 in a 5x5 plane of zeros gives 255 times the kernel, rounded to nearest.
TEST(UtilLowpass, ImpulseKnownAnswers) {
    std::vector<Vek8u> src(25, 0);
    src[12] = 255;
    const Vek8u want3[25] = {0,  0, 0, 0,  0,  0,  16, 32, 16, 0, 0, 32, 64,
                             32, 0, 0, 16, 32, 16, 0,  0,  0,  0, 0, 0};
    // 255 * {1,4,6,4,1} x {1,4,6,4,1} / 256: 1->1, 4->4, 6->6, 16->16, 24->24, 36->36.
    const Vek8u want5[25] = {1,  4, 6, 4,  1,  4,  16, 24, 16, 4, 6, 24, 36,
                             24, 6, 4, 16, 24, 16, 4,  1,  4,  6, 4, 1};
    for (int mask : {33, 55}) {
        GuardedRegion dst(5, 5, 5);
        ASSERT_EQ(vekiFilterLowpass_8u_C1R(src.data(), 5, dst.data(), 5, {5, 5}, mask), vekStsOk);
        const Vek8u* want = mask == 33 ? want3 : want5;
        expect_matches(dst, std::vector<Vek8u>(want, want + 25), mask == 33 ? "3x3" : "5x5");
    }
}

// A single row filters horizontally only: edges repeat the outer samples.
TEST(UtilLowpass, SingleRowReplicatesEdges) {
    const std::vector<Vek8u> src = {255, 0, 0, 0, 255};
    const std::vector<Vek8u> want3 = {191, 64, 0, 64, 191};   // 3, 1, 0 of 4 taps of 255
    const std::vector<Vek8u> want5 = {175, 80, 32, 80, 175};  // 11, 5, 2 of 16 taps of 255
    for (int mask : {33, 55}) {
        GuardedRegion dst(5, 1, 5);
        ASSERT_EQ(vekiFilterLowpass_8u_C1R(src.data(), 5, dst.data(), 5, {5, 1}, mask), vekStsOk);
        expect_matches(dst, mask == 33 ? want3 : want5, "row");
    }
}

TEST(UtilLowpass, RandomPlanesMatchDirectSum) {
    std::mt19937 rng(4242);
    const VekRoi sizes[] = {{1, 1}, {2, 2}, {1, 9}, {9, 1}, {3, 7}, {17, 13}, {64, 33}};
    for (const VekRoi roi : sizes) {
        const Vek32s srcStep = roi.width + 3;
        std::vector<Vek8u> src(static_cast<std::size_t>(srcStep) * roi.height);
        for (auto& b : src)
            b = (rng() & 1) ? static_cast<Vek8u>(rng()) : static_cast<Vek8u>((rng() & 1) * 255);
        for (int mask : {33, 55}) {
            GuardedRegion dst(roi.width, roi.height, roi.width + 5);
            ASSERT_EQ(
                vekiFilterLowpass_8u_C1R(src.data(), srcStep, dst.data(), dst.step, roi, mask),
                vekStsOk);
            expect_matches(dst, lowpass_direct(src, srcStep, roi, mask),
                           mask == 33 ? "3x3" : "5x5");
        }
    }
}

TEST(UtilLowpass, FiveByFiveSameForAnyThreadCount) {
    std::mt19937 rng(77);
    const VekRoi roi{45, 23};
    std::vector<Vek8u> src(static_cast<std::size_t>(roi.width) * roi.height);
    for (auto& b : src) b = static_cast<Vek8u>(rng());
    const std::vector<Vek8u> want = lowpass_direct(src, roi.width, roi, 55);
    for (Vek32s threads : {1, 2, 3, 7, 23, 64}) {
        GuardedRegion dst(roi.width, roi.height, roi.width + 1);
        ASSERT_EQ(
            ownvekiFilterLowpass5x5(src.data(), roi.width, dst.data(), dst.step, roi, threads),
            vekStsOk);
        expect_matches(dst, want, "threads");
    }
}

// A row buffer beyond what a 32-bit allocation count can ask for can't be
// had: NoMem, before any sample is read or written.
TEST(UtilLowpass, NoMemWhenRowBufferCannotBeHad) {
    Vek8u src[4] = {};
    GuardedRegion dst(4, 1, 4);
    EXPECT_EQ(vekiFilterLowpass_8u_C1R(src, 4, dst.data(), 4, {INT32_MAX, 1}, 33), vekStsNoMemErr);
    EXPECT_EQ(vekiFilterLowpass_8u_C1R(src, 4, dst.data(), 4, {INT32_MAX - 3, 1}, 55),
              vekStsNoMemErr);
    EXPECT_EQ(ownvekiFilterLowpass5x5(src, 4, dst.data(), 4, {INT32_MAX - 3, 1}, 4),
              vekStsNoMemErr);
    EXPECT_TRUE(dst.untouched());
}

}  // namespace
