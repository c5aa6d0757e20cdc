// Hand-worked answers of the block copies: every mode and rounding on a
// neighbourhood whose sums are odd, so each rounding shows; and the refusals.
#include <gtest/gtest.h>

#include <vector>

#include "vekvc.h"

namespace {

TEST(CopyHP, ModesAndRounding) {
    // Every 2x2 neighbourhood at even (x, y) is 10 11 / 13 16.
    std::vector<Vek8u> src(17 * 17);
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 17; ++x) src[std::size_t(17 * y + x)] = Vek8u(10 + (x & 1) + (y & 1) * (3 + 2 * (x & 1)));
    const struct {
        Vek32s acc, rounding;
        int want;  // at even (x, y)
    } cases[] = {
        {0, 0, 10}, {0, 1, 10},
        {1, 0, 11}, {1, 1, 10},  // (10 + 11 + 1 - r) >> 1, to the right
        {2, 0, 12}, {2, 1, 11},  // (10 + 13 + 1 - r) >> 1, downwards
        {3, 0, 13}, {3, 1, 12},  // (50 + 2 - r) >> 2
    };
    for (const int n : {8, 16})
        for (const auto& c : cases) {
            std::vector<Vek8u> dst(std::size_t(20 * n), 0xEE);
            ASSERT_EQ((n == 8 ? vekiCopy8x8HP_8u_C1R : vekiCopy16x16HP_8u_C1R)(src.data(), 17, dst.data(), 20, c.acc,
                                                                                c.rounding),
                      vekStsOk);
            for (int i = 0; i < 20 * n; ++i) {  // at even (x, y), and 0xEE beyond the block
                if (i % 20 >= n || (i % 2 == 0 && i / 20 % 2 == 0)) {
                    ASSERT_EQ(dst[std::size_t(i)], i % 20 >= n ? 0xEE : c.want) << n << " " << c.acc << " " << i;
                }
            }
        }
    std::vector<Vek8u> dst(256);
    ASSERT_EQ(vekiCopy8x8_8u_C1R(src.data() + 18, 17, dst.data(), 8), vekStsOk);
    for (int i = 0; i < 64; ++i) ASSERT_EQ(dst[std::size_t(i)], src[std::size_t(18 + 17 * (i / 8) + i % 8)]);
    ASSERT_EQ(vekiCopy16x16_8u_C1R(src.data() + 1, 17, dst.data(), 16), vekStsOk);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(dst[std::size_t(i)], src[std::size_t(1 + 17 * (i / 16) + i % 16)]);
}

TEST(CopyHP, NullPointers) {
    Vek8u src[17 * 17] = {}, dst[256] = {};
    for (Vek8u* d : {static_cast<Vek8u*>(nullptr), dst}) {
        const Vek8u* s = d ? nullptr : src;
        EXPECT_EQ(vekiCopy8x8_8u_C1R(s, 8, d, 8), vekStsNullPtrErr);
        EXPECT_EQ(vekiCopy16x16_8u_C1R(s, 16, d, 16), vekStsNullPtrErr);
        EXPECT_EQ(vekiCopy8x8HP_8u_C1R(s, 17, d, 8, 3, 0), vekStsNullPtrErr);
        EXPECT_EQ(vekiCopy16x16HP_8u_C1R(s, 17, d, 16, 3, 0), vekStsNullPtrErr);
    }
}

}  // namespace
