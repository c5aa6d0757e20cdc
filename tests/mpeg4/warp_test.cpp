// Contract and hand-worked answers of global motion and sprite warping. The
// sprite planes are ramps (luma and chroma 16 y + x, Cr 100 above Cb), so a
// warped sample names the position it came from: integer part plus the
// rounded fraction.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "vekvc.h"

namespace {

using Want = std::function<int(int x, int y)>;

// Caller memory of the reported size, deliberately not 16-byte aligned.
struct WarpState {
    alignas(16) std::array<Vek8u, 400> mem{};
    VekiWarpSpec_MPEG4* get() { return reinterpret_cast<VekiWarpSpec_MPEG4*>(mem.data() + 3); }
    VekStatus init(std::vector<Vek32s> du, std::vector<Vek32s> dv, Vek32s n, Vek32s spriteType, Vek32s acc,
                   Vek32s rounding, VekRect sprite, VekRect vop, Vek32s quarter = 0, Vek32s fcode = 7) {
        du.resize(4), dv.resize(4);
        return vekiWarpInit_MPEG4(get(), du.data(), dv.data(), n, spriteType, acc, rounding, quarter, fcode, &sprite,
                                  &vop);
    }
};

// Ramp planes, so that any read of a wrong sample shows.
struct Sprite {
    int w;
    std::vector<Vek8u> y, cb, cr;
    Sprite(int W, int H) : w(W), y(std::size_t(W * H)), cb(y.size()), cr(y.size()) {
        for (std::size_t k = 0; k < y.size(); ++k) y[k] = cb[k] = Vek8u(16 * (k / W) + k % W), cr[k] = Vek8u(y[k] + 100);
    }
};

constexpr int kOut = 24;  // output step; columns beyond the block must stay 0xEE

// The block of `blk` in each plane matches want (plus 100 a plane) and nothing else is written.
::testing::AssertionResult holds(VekStatus st, const std::vector<std::vector<Vek8u>>& planes, VekRect blk,
                                 const Want& want) {
    if (st != vekStsOk) return ::testing::AssertionFailure() << "status " << st;
    for (std::size_t p = 0; p < planes.size(); ++p)
        for (int y = 0; y < blk.height + 1; ++y)
            for (int x = 0; x < kOut; ++x) {
                const int got = planes[p][std::size_t(y * kOut + x)];
                const int expect = (x < blk.width && y < blk.height) ? want(x, y) + 100 * int(p) : 0xEE;
                if (got != expect)
                    return ::testing::AssertionFailure() << "plane " << p << " at " << x << "," << y << ": " << got
                                                         << " != " << expect;
            }
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult luma(WarpState& s, const Sprite& sp, VekRect blk, const Want& want) {
    std::vector<std::vector<Vek8u>> out(1, std::vector<Vek8u>(kOut * 20, 0xEE));
    return holds(vekiWarpLuma_MPEG4_8u_C1R(sp.y.data(), sp.w, out[0].data(), kOut, &blk, s.get()), out, blk, want);
}

// Both chroma planes; Cr is expected 100 above Cb.
::testing::AssertionResult chroma(WarpState& s, const Sprite& sp, VekRect blk, const Want& want) {
    std::vector<std::vector<Vek8u>> out(2, std::vector<Vek8u>(kOut * 20, 0xEE));
    return holds(vekiWarpChroma_MPEG4_8u_P2R(sp.cb.data(), sp.w, sp.cr.data(), sp.w, out[0].data(), kOut,
                                             out[1].data(), kOut, &blk, s.get()),
                 out, blk, want);
}

int clamp7(int v) { return std::clamp(v, 0, 7); }

TEST(WarpInit, SizeAndCheckOrder) {
    Vek32s size = 0;
    EXPECT_EQ(vekiWarpGetSize_MPEG4(nullptr), vekStsNullPtrErr);
    EXPECT_TRUE(vekiWarpGetSize_MPEG4(&size) == vekStsOk && size == 384);

    WarpState s;
    const Vek32s d[4] = {};
    const VekRect ok{0, 0, 8, 8}, flat{0, 0, 8, 0};
    struct Case {
        Vek32s n, type, acc, fcode;
        VekRect sprite, vop;
        VekStatus want;
    } const cases[] = {
        {-1, 1, 0, 1, flat, flat, vekStsOutOfRangeErr},
        {5, 1, 0, 1, ok, ok, vekStsOutOfRangeErr},
        {4, 2, 0, 1, flat, ok, vekStsOutOfRangeErr},  // before the rectangles are looked at
        {4, 1, 4, 1, flat, ok, vekStsOutOfRangeErr},
        {3, 2, -1, 1, ok, ok, vekStsOutOfRangeErr},
        {3, 2, 3, 0, flat, ok, vekStsOutOfRangeErr},
        {3, 2, 3, 8, ok, ok, vekStsOutOfRangeErr},
        {3, 2, 3, 7, flat, ok, vekStsSizeErr},
        {3, 2, 3, 7, ok, VekRect{0, 0, 0, 8}, vekStsSizeErr},
        {4, 1, 3, 1, ok, ok, vekStsOk},
    };
    for (const auto& c : cases)
        EXPECT_EQ(vekiWarpInit_MPEG4(s.get(), d, d, c.n, c.type, c.acc, 0, 0, c.fcode, &c.sprite, &c.vop), c.want)
            << c.n << " " << c.type << " " << c.acc << " " << c.fcode;
    EXPECT_EQ(vekiWarpInit_MPEG4(nullptr, d, d, 9, 1, 0, 0, 0, 1, &ok, &ok), vekStsNullPtrErr);
}

TEST(WarpInit, TagGuardsEveryUse) {
    WarpState s;
    Sprite sp(8, 8);
    const VekRect blk{0, 0, 4, 4}, r{0, 0, 8, 8};
    std::vector<Vek8u> out(64, 0xEE);
    VekMotionVector mv{5, 5};
    const auto chromaSt = [&](const Vek8u* cr, Vek8u* dcr) {
        return vekiWarpChroma_MPEG4_8u_P2R(sp.cb.data(), 8, cr, 8, out.data(), 8, dcr, 8, &blk, s.get());
    };
    EXPECT_EQ(vekiWarpLuma_MPEG4_8u_C1R(sp.y.data(), 8, out.data(), 8, &blk, s.get()), vekStsContextMismatchErr);
    EXPECT_EQ(chromaSt(sp.cr.data(), out.data()), vekStsContextMismatchErr);
    EXPECT_EQ(vekiCalcGlobalMV_MPEG4(0, 0, &mv, s.get()), vekStsContextMismatchErr);
    EXPECT_EQ(vekiWarpLuma_MPEG4_8u_C1R(nullptr, 8, out.data(), 8, &blk, s.get()), vekStsNullPtrErr);
    EXPECT_EQ(vekiWarpLuma_MPEG4_8u_C1R(sp.y.data(), 8, out.data(), 8, &blk, nullptr), vekStsNullPtrErr);
    EXPECT_EQ(chromaSt(sp.cr.data(), nullptr), vekStsNullPtrErr);
    EXPECT_EQ(vekiCalcGlobalMV_MPEG4(0, 0, nullptr, s.get()), vekStsNullPtrErr);
    EXPECT_TRUE(out == std::vector<Vek8u>(64, 0xEE) && mv.dx == 5);
    // Points without trajectories: refused, yet the record is tagged.
    const Vek32s d[4] = {};
    EXPECT_EQ(vekiWarpInit_MPEG4(s.get(), nullptr, d, 2, 2, 3, 0, 0, 1, &r, &r), vekStsNullPtrErr);
    EXPECT_EQ(vekiCalcGlobalMV_MPEG4(0, 0, &mv, s.get()), vekStsOk);
    // No points: the trajectories are not looked at, and the vector is 0.
    EXPECT_EQ(vekiWarpInit_MPEG4(s.get(), nullptr, nullptr, 0, 2, 3, 0, 0, 1, &r, &r), vekStsOk);
    EXPECT_EQ(vekiCalcGlobalMV_MPEG4(16, 16, &mv, s.get()), vekStsOk);
    EXPECT_EQ(mv.dx | mv.dy, 0);
}

TEST(WarpNoPoint, CopyWithClampedPositions) {
    WarpState s;
    Sprite sp(8, 8), big(16, 16);
    ASSERT_EQ(s.init({}, {}, 0, 2, 3, 0, VekRect{2, 1, 8, 8}, VekRect{0, 0, 8, 8}), vekStsOk);
    EXPECT_TRUE(luma(s, sp, {4, 3, 4, 4}, [](int x, int y) { return 16 * (2 + y) + 2 + x; }));
    EXPECT_TRUE(luma(s, sp, {8, 7, 4, 3}, [](int x, int y) { return 16 * clamp7(6 + y) + clamp7(6 + x); }));
    EXPECT_TRUE(luma(s, sp, {-5, -9, 3, 2}, [](int x, int) { return clamp7(-7 + x); }));
    // Chroma rectangle: x / 2 = 1, y / 2 = 0, 4 x 4.
    EXPECT_TRUE(chroma(s, sp, {1, 0, 4, 4}, [](int x, int y) { return 16 * y + x; }));
    EXPECT_TRUE(chroma(s, sp, {-3, 2, 2, 3}, [](int, int y) { return 16 * std::clamp(2 + y, 0, 3); }));
    ASSERT_EQ(s.init({}, {}, 0, 2, 3, 0, VekRect{0, 0, 16, 16}, VekRect{0, 0, 16, 16}), vekStsOk);
    EXPECT_TRUE(luma(s, big, {0, 0, 16, 16}, [](int x, int y) { return 16 * y + x; }));
}

TEST(WarpOnePoint, HalfSampleLumaAndChromaFractions) {
    Sprite sp(8, 8);
    WarpState s;
    for (const Vek32s r : {0, 1}) {
        // du 1: half a sample right, so i0 = 8; rounding only for global motion.
        ASSERT_EQ(s.init({1}, {0}, 1, 2, 3, r, VekRect{0, 0, 8, 8}, VekRect{0, 0, 8, 8}), vekStsOk);
        EXPECT_TRUE(luma(s, sp, {3, 1, 5, 7}, [r](int x, int y) {
            return x + 3 == 7 ? 16 * (1 + y) + 7 : 16 * (1 + y) + 3 + x + 1 - r;
        })) << r;
        // Chroma: i0 >> 0 = 8, chroma point (8 >> 1) | 0 = 4: a quarter-ish fraction 4 / 16,
        // bilinear with K = 128 - r. 16 q + 4 rounds back to q; the last column is the edge.
        EXPECT_TRUE(chroma(s, sp, {0, 0, 4, 4}, [](int x, int y) { return 16 * y + x; })) << r;
    }
    // Accuracy 0, du 3: t = 24 >> 3 = 3. Static sprites round the chroma point
    // up to 2 (a whole sample); global motion keeps the odd bit, 1.5 samples,
    // a fraction of 8, through the 8x8 half-sample copy and the bilinear rule alike.
    Sprite wide(16, 16);
    for (int i = 0; i < 256; ++i) {
        wide.cb[std::size_t(i)] = Vek8u(2 * (i % 16) + 8 * (i / 16));
        wide.cr[std::size_t(i)] = Vek8u(wide.cb[std::size_t(i)] + 100);
    }
    for (const Vek32s type : {1, 2}) {
        ASSERT_EQ(s.init({3}, {0}, 1, type, 0, 1, VekRect{0, 0, 32, 32}, VekRect{0, 0, 32, 32}), vekStsOk);
        for (const VekRect blk : {VekRect{0, 2, 8, 8}, VekRect{0, 2, 5, 3}})
            EXPECT_TRUE(chroma(s, wide, blk, [type](int x, int y) { return 2 * x + (type == 1 ? 2 : 1) + 8 * (2 + y); }))
                << type;
    }
}

TEST(WarpTwoThreePoints, AffineScales) {
    Sprite sp(8, 8);
    WarpState s;
    // Two points, W 4 (a power of 2): the right edge moves 2 samples out, so
    // x and y both scale by 1.5: positions 0, 1.5, 3, 4.5.
    ASSERT_EQ(s.init({0, 4}, {0, 0}, 2, 2, 3, 0, VekRect{0, 0, 8, 8}, VekRect{0, 0, 4, 4}), vekStsOk);
    const int rowL[4] = {0, 2, 3, 5}, colL[4] = {0, 24, 48, 72};
    EXPECT_TRUE(luma(s, sp, {0, 0, 4, 4}, [&](int x, int y) { return colL[y] + rowL[x]; }));
    EXPECT_TRUE(luma(s, sp, {4, 0, 4, 1}, [](int x, int) { return x == 0 ? 6 : 7; }));  // 6, 7.5 and beyond: edge
    // Chroma positions 24 x + 2 sixteenths, 4x4 plane: worked through the bilinear rule.
    const int chroma_rows[4][4] = {{2, 4, 5, 5}, {26, 28, 29, 29}, {48, 50, 51, 51}, {48, 50, 51, 51}};
    EXPECT_TRUE(chroma(s, sp, {0, 0, 4, 4}, [&](int x, int y) { return chroma_rows[y][x]; }));

    const auto mv = [&s](int x, int y) {
        VekMotionVector v{};
        EXPECT_EQ(vekiCalcGlobalMV_MPEG4(x, y, &v, s.get()), vekStsOk);
        return std::vector<int>{v.dx, v.dy};
    };
    EXPECT_EQ(mv(0, 0), (std::vector<int>{8, 8}));  // centre 7.5 goes to 11.25: 7.5 half samples, up
    EXPECT_EQ(mv(16, 0), (std::vector<int>{24, 8}));
    // Quarter samples with fcode 1: 47.5 goes to 47, then clipped to 31.
    ASSERT_EQ(s.init({0, 4}, {0, 0}, 2, 2, 3, 0, VekRect{0, 0, 8, 8}, VekRect{0, 0, 4, 4}, 1, 1), vekStsOk);
    EXPECT_EQ(mv(16, 0), (std::vector<int>{31, 15}));

    // Three points, W 4 > H 2: the bottom edge moves one sample down, y scales by 1.5.
    ASSERT_EQ(s.init({0, 0, 0}, {0, 0, 2}, 3, 2, 3, 0, VekRect{0, 0, 8, 8}, VekRect{0, 0, 4, 2}), vekStsOk);
    EXPECT_TRUE(luma(s, sp, {0, 0, 4, 4}, [&](int x, int y) { return colL[y] + x; }));
    // Three points, W 2 < H 4: the right edge moves one sample out, x scales by 1.5.
    ASSERT_EQ(s.init({0, 2, 0}, {0, 0, 0}, 3, 2, 3, 0, VekRect{0, 0, 8, 8}, VekRect{0, 0, 2, 4}), vekStsOk);
    EXPECT_TRUE(luma(s, sp, {0, 0, 4, 4}, [&](int x, int y) { return 16 * y + rowL[x]; }));
}

TEST(WarpFourPoints, Perspective) {
    Sprite sp(8, 8);
    WarpState s;
    // Corners kept: the identity, at accuracy 3 and 0.
    for (const Vek32s acc : {0, 3}) {
        ASSERT_EQ(s.init({0, 0, 0, 0}, {0, 0, 0, 0}, 4, 1, acc, 1, VekRect{0, 0, 8, 8}, VekRect{0, 0, 8, 8}), vekStsOk);
        EXPECT_TRUE(luma(s, sp, {1, 2, 6, 5}, [](int x, int y) { return 16 * (2 + y) + 1 + x; })) << acc;
        EXPECT_TRUE(chroma(s, sp, {0, 1, 4, 3}, [](int x, int y) { return 16 * (1 + y) + x; })) << acc;
    }
    // Bottom-right corner of a 4x4 plane pulled 2 samples right (du[3] 4, half
    // samples): positions tx = 24 x / (12 - y), ty = 16 y / (12 - y) in half samples.
    ASSERT_EQ(s.init({0, 0, 0, 4}, {0, 0, 0, 0}, 4, 1, 0, 0, VekRect{0, 0, 8, 8}, VekRect{0, 0, 4, 4}), vekStsOk);
    const int want[4][4] = {{0, 1, 2, 3}, {8, 9, 10, 12}, {24, 25, 27, 28}, {40, 42, 43, 44}};
    EXPECT_TRUE(luma(s, sp, {0, 0, 4, 4}, [&](int x, int y) { return want[y][x]; }));
    // Chroma of the same plane: half chroma samples 0 0, 2.11 -0.15, 0.13 1.61,
    // 2.66 1.61 round to 0 0, 2 0, 0 2, 3 2; the last is 17.5, rounded up.
    const int wantC[2][2] = {{0, 1}, {16, 18}};
    EXPECT_TRUE(chroma(s, sp, {0, 0, 2, 2}, [&](int x, int y) { return wantC[y][x]; }));
}

TEST(WarpBrightness, ScaleWith520Rounding) {
    const struct {
        Vek32s change;
        int in, out;
    } cases[] = {
        {-112, 200, 0},  // w = -123: every non-zero sample goes to 0
        {1648, 1, 17},   // w = 17900: (17900 + 520) >> 10
        {1648, 15, 255},
        {1, 100, 101},   // w = 1034
        {-1, 52, 52},    // w = 1014: 52728 + 520 is exactly 52 << 10; 512 would give 51
    };
    for (const auto& c : cases) {
        std::vector<Vek8u> p(3 * 4, Vek8u(c.in));
        ASSERT_EQ(vekiChangeSpriteBrightness_MPEG4_8u_C1IR(p.data(), 4, 3, 3, c.change), vekStsOk);
        for (int i = 0; i < 12; ++i) EXPECT_EQ(p[std::size_t(i)], i % 4 == 3 ? c.in : c.out) << c.change;  // step 4
    }
    Vek8u v = 9;
    EXPECT_EQ(vekiChangeSpriteBrightness_MPEG4_8u_C1IR(nullptr, 1, 1, 1, 5000), vekStsNullPtrErr);
    EXPECT_EQ(vekiChangeSpriteBrightness_MPEG4_8u_C1IR(&v, 1, 1, 1, -113), vekStsOutOfRangeErr);
    EXPECT_EQ(vekiChangeSpriteBrightness_MPEG4_8u_C1IR(&v, 1, 1, 1, 1649), vekStsOutOfRangeErr);
    EXPECT_EQ(vekiChangeSpriteBrightness_MPEG4_8u_C1IR(&v, 1, 1, 1, 0), vekStsOk);
    EXPECT_EQ(v, 9);
}

}  // namespace
