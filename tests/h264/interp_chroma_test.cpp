// Chroma interpolation through the exported functions: argument checks,
// known answers, the Top/Bottom row rules and the Block functions against a
// picture padded without limit by its edge samples.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "vekvc.h"

namespace {

// Bilinear prediction of sample (x, y) of a block whose integer position in
// the plane is (ix, iy), every position clamped into the plane.
template <class T>
int model(const std::vector<T>& plane, int w, int h, int ix, int iy, int dx, int dy) {
    auto at = [&](int x, int y) { return int{plane[std::clamp(y, 0, h - 1) * w + std::clamp(x, 0, w - 1)]}; };
    return ((8 - dx) * (8 - dy) * at(ix, iy) + dx * (8 - dy) * at(ix + 1, iy) + (8 - dx) * dy * at(ix, iy + 1) +
            dx * dy * at(ix + 1, iy + 1) + 32) >>
           6;
}

TEST(ChromaInterpolation, ChecksInOrder) {
    Vek8u src[64 * 20] = {}, dst[16 * 16] = {};
    const VekRoi ok{8, 8};
    struct {
        const Vek8u* s;
        Vek8u* d;
        int dx, dy;
        VekRoi roi;
        VekStatus want;
    } const cases[] = {
        {nullptr, dst, 9, 0, {3, 3}, vekStsNullPtrErr}, {src, nullptr, 0, 0, ok, vekStsNullPtrErr},
        {src, dst, 8, 0, {3, 3}, vekStsBadArgErr},      {src, dst, 0, -1, ok, vekStsBadArgErr},
        {src, dst, 0, 0, {8, 3}, vekStsSizeErr},        {src, dst, 0, 0, {16, 8}, vekStsSizeErr},
        {src, dst, 0, 0, {1, 8}, vekStsSizeErr},        {src, dst, 7, 7, {14, 2}, vekStsOk},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(vekiInterpolateChroma_H264_8u_C1R(c.s, 64, c.d, 16, c.dx, c.dy, c.roi), c.want);
        EXPECT_EQ(vekiInterpolateChromaTop_H264_8u_C1R(c.s, 64, c.d, 16, c.dx, c.dy, 1, c.roi), c.want);
        EXPECT_EQ(vekiInterpolateChromaBottom_H264_8u_C1R(c.s, 64, c.d, 16, c.dx, c.dy, 1, c.roi), c.want);
        EXPECT_EQ(vekiInterpolateChroma_H264_8u_C2P2R(c.s, 64, c.d, dst, 16, c.dx, c.dy, c.roi), c.want);
    }
    EXPECT_EQ(vekiInterpolateChroma_H264_8u_C2P2R(src, 64, dst, nullptr, 16, 9, 0, ok), vekStsNullPtrErr);

    // 16 bits: the step test is against 8 elements, not the width, and comes before the fractions.
    Vek16u s16[32 * 20] = {}, d16[16 * 16] = {};
    VekInterpolationLuma_16u p{s16 + 40, 4, d16, 16, 8, 1, 4, 6, 10};
    EXPECT_EQ(vekiInterpolateChroma_H264_16u_C1R(nullptr), vekStsNullPtrErr);
    EXPECT_EQ(vekiInterpolateChroma_H264_16u_C1R(&p), vekStsStepErr);
    p.srcStep = 8;
    EXPECT_EQ(vekiInterpolateChromaTop_H264_16u_C1R(&p, 0), vekStsBadArgErr);
    p.dx = 0;
    EXPECT_EQ(vekiInterpolateChromaBottom_H264_16u_C1R(&p, 0), vekStsSizeErr);
    p.height = 8;
    EXPECT_EQ(vekiInterpolateChroma_H264_16u_C1R(&p), vekStsOk);

    VekInterpolationBlock_8u b{};
    EXPECT_EQ(vekiInterpolateChromaBlock_H264_8u_P2R(nullptr), vekStsNullPtrErr);
    b.pSrc[0] = src;
    b.pDst[0] = dst;
    b.blockSize = {3, 3};
    EXPECT_EQ(vekiInterpolateChromaBlock_H264_8u_P2R(&b), vekStsNullPtrErr);  // second plane missing
    EXPECT_EQ(vekiInterpolateChromaBlock_H264_8u_C2P2R(&b), vekStsSizeErr);   // pDst[1] is not tested
}

// Every width class: widths 6 and 12 take the 4- and 8-wide kernels (width &
// 12) and write only their columns; the plain 16-bit function at the same
// fractions.
TEST(ChromaInterpolation, MatchesModelAtEveryFractionAndWidthClass) {
    std::mt19937 rng(7);
    std::vector<Vek8u> plane(32 * 24);
    std::vector<Vek16u> plane16(32 * 24);
    for (std::size_t i = 0; i < plane.size(); ++i) plane[i] = static_cast<Vek8u>(rng()), plane16[i] = Vek16u(rng());
    for (const auto& [width, written] : {std::pair{2, 2}, {6, 4}, {8, 8}, {12, 8}})
        for (int f = 0; f < 64; ++f) {
            const int dx = f & 7, dy = f >> 3;
            std::vector<Vek8u> dst(16 * 4, 0xEE);
            std::vector<Vek16u> d16(8 * 4);
            const VekInterpolationLuma_16u p{&plane16[32 * 3 + 5], 32, d16.data(), 8, dx, dy, 4, 4, 16};
            ASSERT_EQ(vekiInterpolateChroma_H264_8u_C1R(&plane[32 * 3 + 5], 32, dst.data(), 16, dx, dy, {width, 4}),
                      vekStsOk);
            ASSERT_EQ(vekiInterpolateChroma_H264_16u_C1R(&p), vekStsOk);
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 16; ++x) {
                    const int want = x < written ? model(plane, 32, 24, 5 + x, 3 + y, dx, dy) : 0xEE;
                    ASSERT_EQ(dst[y * 16 + x], want) << width << " " << dx << "," << dy << " at " << x << "," << y;
                    ASSERT_TRUE(x >= 4 || d16[y * 8 + x] == model(plane16, 32, 24, 5 + x, 3 + y, dx, dy));
                }
        }
}

TEST(ChromaInterpolation, TopAndBottomRowRules) {
    std::vector<Vek8u> plane(16 * 16);
    for (int i = 0; i < 16 * 16; ++i) plane[i] = static_cast<Vek8u>(i * 7 + (i >> 4) * 13);
    const Vek8u* block = &plane[16 * 6 + 2];
    // Top with outPixels 2: rows 0 and 1 repeat source row 2; with -1 the block moves up one row.
    for (const int out_pixels : {2, -1}) {
        Vek8u got[16 * 4] = {};
        ASSERT_EQ(vekiInterpolateChromaTop_H264_8u_C1R(block, 16, got, 16, 3, 5, out_pixels, {4, 4}), vekStsOk);
        const auto row = [&](int i) { return out_pixels > 0 ? std::max(i, out_pixels) : i + out_pixels; };
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) {
                const Vek8u *a = block + row(y) * 16 + x, *c = block + row(y + 1) * 16 + x;
                EXPECT_EQ(got[y * 16 + x], (15 * a[0] + 9 * a[1] + 25 * c[0] + 15 * c[1] + 32) >> 6) << out_pixels;
            }
    }
    // Bottom with outPixels 3 of a 4-row block: rows from 0 on repeat row 0.
    Vek8u got[16 * 4] = {};
    ASSERT_EQ(vekiInterpolateChromaBottom_H264_8u_C1R(block, 16, got, 16, 0, 4, 3, {2, 4}), vekStsOk);
    for (int y = 0; y < 4; ++y) EXPECT_EQ(got[y * 16], block[0]) << y;
}

// The Block functions against the padded-picture model for random vectors,
// many of them far outside, for both planes, the interleaved form and 16 bits.
TEST(ChromaInterpolation, BlocksMatchPaddedPicture) {
    std::mt19937 rng(11);
    constexpr int W = 24, H = 18;
    std::vector<Vek8u> u(W * H), v(W * H), nv12(2 * W * H);
    std::vector<Vek16u> u16(W * H), v16(W * H);
    for (int i = 0; i < W * H; ++i) {
        nv12[2 * i] = u[i] = static_cast<Vek8u>(rng());
        nv12[2 * i + 1] = v[i] = static_cast<Vek8u>(rng());
        u16[i] = static_cast<Vek16u>(rng() & 1023), v16[i] = static_cast<Vek16u>(rng() & 1023);
    }
    const VekRoi sizes[] = {{2, 2}, {2, 4}, {4, 2}, {4, 4}, {4, 8}, {8, 4}, {8, 8}, {8, 16}};
    for (int trial = 0; trial < 600; ++trial) {
        const VekRoi size = sizes[trial % 8];
        const int range = trial % 3 == 0 ? 600 : 80;
        const auto draw = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
        const VekPoint pos{draw(W - size.width + 1), draw(H - size.height + 1)};
        const VekPoint mv{draw(2 * range) - range, draw(2 * range) - range};
        Vek8u du[256], dv[256], nu[256], nv[256];
        Vek16u d16u[256], d16v[256];
        VekInterpolationBlock_8u b{{u.data(), v.data()}, W, {du, dv}, 16, {W, H}, size, pos, mv};
        VekInterpolationBlock_8u n{{nv12.data(), nullptr}, 2 * W, {nu, nv}, 16, {W, H}, size, pos, mv};
        VekInterpolationBlock_16u b16{{u16.data(), v16.data()}, W, {d16u, d16v}, 16, {W, H}, size, pos, mv, 10};
        ASSERT_EQ(vekiInterpolateChromaBlock_H264_8u_P2R(&b), vekStsOk);
        ASSERT_EQ(vekiInterpolateChromaBlock_H264_8u_C2P2R(&n), vekStsOk);
        ASSERT_EQ(vekiInterpolateChromaBlock_H264_16u_P2R(&b16), vekStsOk);
        const int ix = pos.x + (mv.x >> 3), iy = pos.y + (mv.y >> 3), dx = mv.x & 7, dy = mv.y & 7;
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x) {
                const int k = y * 16 + x;
                ASSERT_EQ(du[k], model(u, W, H, ix + x, iy + y, dx, dy)) << trial;
                ASSERT_EQ(dv[k], model(v, W, H, ix + x, iy + y, dx, dy)) << trial;
                ASSERT_TRUE(nu[k] == du[k] && nv[k] == dv[k]) << trial;
                ASSERT_EQ(d16u[k], model(u16, W, H, ix + x, iy + y, dx, dy)) << trial;
                ASSERT_EQ(d16v[k], model(v16, W, H, ix + x, iy + y, dx, dy)) << trial;
            }
    }
}

}  // namespace
