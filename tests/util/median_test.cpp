#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "util/guard.h"
#include "util/util.h"

using vek::util_test::GuardedRegion;

namespace {

TEST(UtilMedian, ContractWritesNothingOnError) {
    struct Case {
        int nullIndex;  // -1 none, 0..2 that plane, 3 the array, 4 the destination
        VekRoi roi;
        VekStatus expected;
    };
    const Case cases[] = {
        {0, {4, 4}, vekStsNullPtrErr},  {1, {4, 4}, vekStsNullPtrErr},
        {2, {0, 0}, vekStsNullPtrErr},  {3, {4, 4}, vekStsNullPtrErr},
        {4, {-1, 4}, vekStsNullPtrErr}, {-1, {0, 4}, vekStsSizeErr},
        {-1, {4, 0}, vekStsSizeErr},    {-1, {0, -5}, vekStsSizeErr},
    };
    Vek8u plane[16] = {};
    for (const Case& c : cases) {
        const Vek8u* planes[3] = {plane, plane, plane};
        if (c.nullIndex >= 0 && c.nullIndex < 3) planes[c.nullIndex] = nullptr;
        GuardedRegion dst(4, 4, 4);
        EXPECT_EQ(vekiMedian_8u_P3C1R(c.nullIndex == 3 ? nullptr : planes, 4,
                                      c.nullIndex == 4 ? nullptr : dst.data(), 4, c.roi),
                  c.expected)
            << "case null " << c.nullIndex;
        EXPECT_TRUE(dst.untouched());
    }
}

// Every ordering of three values, ties and extremes, placed along one row;
// the result must not depend on which plane holds which value.
TEST(UtilMedian, KnownAnswersAllOrderings) {
    const Vek8u triples[][4] = {{1, 2, 3, 2}, {0, 0, 255, 0},     {255, 255, 0, 255},
                                {7, 7, 7, 7}, {0, 255, 128, 128}, {200, 10, 199, 199}};
    for (const auto& t : triples) {
        Vek8u v[3] = {t[0], t[1], t[2]};
        std::sort(v, v + 3);
        Vek8u planes[3][6];
        int col = 0;
        do {
            for (int p = 0; p < 3; ++p) planes[p][col] = v[p];
            ++col;
        } while (std::next_permutation(v, v + 3));
        const Vek8u* ptrs[3] = {planes[0], planes[1], planes[2]};
        GuardedRegion dst(col, 1, col);
        ASSERT_EQ(vekiMedian_8u_P3C1R(ptrs, 6, dst.data(), col, {col, 1}), vekStsOk);
        EXPECT_TRUE(dst.inside_equals(t[3])) << int(t[0]) << " " << int(t[1]) << " " << int(t[2]);
        EXPECT_TRUE(dst.outside_intact());
    }
}

TEST(UtilMedian, RandomPlanesWithSteps) {
    std::mt19937 rng(1180);
    const Vek32s w = 19, h = 7, srcStep = 24;
    std::vector<Vek8u> planes[3];
    for (auto& p : planes) {
        p.resize(static_cast<std::size_t>(srcStep) * h);
        for (auto& b : p) b = static_cast<Vek8u>(rng());
    }
    const Vek8u* ptrs[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    GuardedRegion dst(w, h, 21);
    ASSERT_EQ(vekiMedian_8u_P3C1R(ptrs, srcStep, dst.data(), dst.step, {w, h}), vekStsOk);
    for (Vek32s y = 0; y < h; ++y) {
        for (Vek32s x = 0; x < w; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * srcStep + x;
            Vek8u v[3] = {planes[0][i], planes[1][i], planes[2][i]};
            std::sort(v, v + 3);
            ASSERT_EQ(dst.at(x, y), v[1]) << x << "," << y;
        }
    }
    EXPECT_TRUE(dst.outside_intact());
}

}  // namespace
