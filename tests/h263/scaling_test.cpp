// Contract and hand-worked answers of the H.263 factor-of-4 up and down
// sampling (8-bit and 16-bit), the spatial interpolation and the reference
// picture resampling.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "vekvc.h"

namespace {

using Plane = std::vector<Vek8u>;

TEST(H263Upsample, FillColourAndReplication) {
    const Plane flat(4 * 4, 100);
    Plane out(8 * 8);
    // Replication keeps a flat plane flat; fill colour 0 is black, not replication.
    ASSERT_EQ(vekiUpsampleFour_H263_8u_C1R(flat.data(), 4, VekRoi{4, 4}, out.data(), 8, 0, -1), vekStsOk);
    for (Vek8u v : out) ASSERT_EQ(v, 100);
    ASSERT_EQ(vekiUpsampleFour_H263_8u_C1R(flat.data(), 4, VekRoi{4, 4}, out.data(), 8, 0, 0), vekStsOk);
    // Corners (9 * 100 + 7) >> 4, edges (9 * 100 + 3 * 100 + 7) >> 4.
    EXPECT_EQ((Plane{out[0], out[2], out[9], out[63]}), (Plane{56, 75, 100, 56}));

    Plane dot(4 * 4, 0);
    dot[0] = 8;  // output (1, 1): 9 * 8 + 7 + rounding, >> 4
    for (const int r : {0, 1})
        EXPECT_TRUE(vekiUpsampleFour_H263_8u_C1R(dot.data(), 4, VekRoi{4, 4}, out.data(), 8, r, 0) == vekStsOk &&
                    out[9] == 4 + r) << r;
    Plane ramp(4 * 4);
    for (int i = 0; i < 16; ++i) ramp[std::size_t(i)] = Vek8u(16 * (i % 4));
    ASSERT_EQ(vekiUpsampleFour_H263_8u_C1R(ramp.data(), 4, VekRoi{4, 4}, out.data(), 8, 0, -1), vekStsOk);
    // Quarter positions of 0, 16, 32, 48.
    EXPECT_EQ(Plane(out.begin() + 24, out.begin() + 32), (Plane{0, 4, 12, 20, 28, 36, 44, 48}));
}

TEST(H263Upsample, RoundingOneWithReplicationIsSpatialMode3) {
    std::mt19937 rng(7);
    for (const VekRoi roi : {VekRoi{4, 4}, VekRoi{6, 8}, VekRoi{18, 4}, VekRoi{34, 10}}) {
        Plane src(std::size_t(roi.width * roi.height));
        for (auto& v : src) v = Vek8u(rng());
        Plane a(src.size() * 4, 1), b(src.size() * 4, 2);
        ASSERT_EQ(vekiUpsampleFour_H263_8u_C1R(src.data(), roi.width, roi, a.data(), 2 * roi.width, 1, -1), vekStsOk);
        ASSERT_EQ(vekiSpatialInterpolation_H263_8u_C1R(src.data(), roi.width, roi, b.data(), 2 * roi.width, 3),
                  vekStsOk);
        EXPECT_EQ(a, b) << roi.width << "x" << roi.height;
    }
}

TEST(H263SpatialInterpolation, OneDirection) {
    Plane src(4 * 4);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) src[std::size_t(4 * y + x)] = Vek8u(4 * x + 16 * y);
    Plane out(8 * 8, 0);
    for (const Vek32s mode : {0, 1, -7}) {  // 0 4 8 12 at 1/4 and 3/4, ends copied
        ASSERT_EQ(vekiSpatialInterpolation_H263_8u_C1R(src.data(), 4, VekRoi{4, 4}, out.data(), 8, mode), vekStsOk);
        EXPECT_EQ(Plane(out.begin() + 8, out.begin() + 16), (Plane{16, 17, 19, 21, 23, 25, 27, 28})) << mode;
    }
    ASSERT_EQ(vekiSpatialInterpolation_H263_8u_C1R(src.data(), 4, VekRoi{4, 4}, out.data(), 4, 2), vekStsOk);
    const Vek8u ver[8] = {0, 4, 12, 20, 28, 36, 44, 48};
    for (int y = 0; y < 8; ++y) EXPECT_EQ(out[std::size_t(4 * y + 1)], ver[y] + 4) << y;
}

TEST(H263Downsample, MeansAndOddSizes) {
    // 5 x 3: two output columns; the odd height reads the row below the region.
    const Plane src = {1, 2, 9, 9, 50,  //
                       3, 4, 9, 10, 50,  //
                       0, 0, 7, 7, 50,   //
                       1, 1, 7, 8, 50};
    for (const int r : {0, 1}) {
        Plane out(4, 99);
        ASSERT_EQ(vekiDownsampleFour_H263_8u_C1R(src.data(), 5, VekRoi{5, 3}, out.data(), 2, r), vekStsOk);
        EXPECT_EQ(out, (Plane{Vek8u((11 + r) >> 2), Vek8u((38 + r) >> 2), Vek8u((3 + r) >> 2), Vek8u((30 + r) >> 2)})) << r;
    }
}

TEST(H263Resampling16s, ToZeroAndWrap) {
    struct Case {
        Vek16s in;
        Vek16s interior, edge, corner;
    } const up[] = {{5, 5, 5, 5}, {-1, 0, 0, -1}, {-32768, -32767, -32767, -32768}};  // -32767.5 goes toward zero
    for (const auto& c : up) {
        std::vector<Vek16s> src(8 * 8, c.in), dst(16 * 16, 123);
        ASSERT_EQ(vekiUpsampleFour8x8_H263_16s_C1R(src.data(), 16, dst.data(), 32), vekStsOk);
        EXPECT_EQ((std::vector<Vek16s>{dst[17], dst[5], dst[16 * 7], dst[0], dst[255]}),
                  (std::vector<Vek16s>{c.interior, c.edge, c.edge, c.corner, c.corner})) << c.in;
    }
    std::vector<Vek16s> ramp(8 * 8), out(16 * 16);
    for (int i = 0; i < 64; ++i) ramp[std::size_t(i)] = Vek16s(16 * (i % 8));
    ASSERT_EQ(vekiUpsampleFour8x8_H263_16s_C1R(ramp.data(), 16, out.data(), 32), vekStsOk);
    // Top row: (3 * near + far + 2) / 4; inside (... + 8) / 16: both quarter positions.
    EXPECT_EQ((std::vector<Vek16s>{out[1], out[2], out[16 * 5 + 1], out[16 * 5 + 14]}), (std::vector<Vek16s>{4, 12, 4, 108}));

    struct Down {
        Vek16s in, want;
    } const down[] = {{1, 1}, {-3, -3}, {32767, -1}, {-32768, 0}};  // the sum wraps in 16 bits
    for (const auto& c : down) {
        std::vector<Vek16s> src(16 * 16, c.in), dst(8 * 8, 7);
        ASSERT_EQ(vekiDownsampleFour16x16_H263_16s_C1R(src.data(), 32, dst.data(), 16), vekStsOk);
        for (Vek16s v : dst) ASSERT_EQ(v, c.want) << c.in;
    }
}

TEST(H263Scaling, Refusals) {
    Plane src(64, 1), dst(256, 5);
    std::vector<Vek16s> s16(256, 1), d16(256, 5);
    EXPECT_EQ(vekiUpsampleFour_H263_8u_C1R(nullptr, 8, VekRoi{0, 4}, dst.data(), 16, 0, 0), vekStsNullPtrErr);
    EXPECT_EQ(vekiSpatialInterpolation_H263_8u_C1R(src.data(), 8, VekRoi{0, 4}, nullptr, 16, 3), vekStsNullPtrErr);
    for (const VekRoi r : {VekRoi{3, 4}, VekRoi{4, 3}, VekRoi{5, 4}, VekRoi{4, 5}, VekRoi{0, 4}}) {
        EXPECT_EQ(vekiUpsampleFour_H263_8u_C1R(src.data(), 8, r, dst.data(), 16, 0, 0), vekStsSizeErr);
        EXPECT_EQ(vekiSpatialInterpolation_H263_8u_C1R(src.data(), 8, r, dst.data(), 16, 3), vekStsSizeErr);
    }
    EXPECT_EQ(vekiDownsampleFour_H263_8u_C1R(nullptr, 8, VekRoi{0, 4}, dst.data(), 8, 0), vekStsNullPtrErr);
    for (const VekRoi r : {VekRoi{0, 4}, VekRoi{4, 0}})
        EXPECT_EQ(vekiDownsampleFour_H263_8u_C1R(src.data(), 8, r, dst.data(), 8, 0), vekStsSizeErr);
    EXPECT_EQ(vekiUpsampleFour8x8_H263_16s_C1R(s16.data(), 16, nullptr, 32), vekStsNullPtrErr);
    EXPECT_EQ(vekiDownsampleFour16x16_H263_16s_C1R(nullptr, 32, d16.data(), 16), vekStsNullPtrErr);
    for (Vek8u v : dst) ASSERT_EQ(v, 5);
    for (Vek16s v : d16) ASSERT_EQ(v, 5);
}

// Three planes of a picture (luma W x H, chroma half of it).
struct Picture {
    int w, h;
    Plane y, cb, cr;
    Picture(int W, int H, int fill) : w(W), h(H), y(std::size_t(W * H), Vek8u(fill)),
          cb(std::size_t(W * H / 4), Vek8u(fill)), cr(std::size_t(W * H / 4), Vek8u(fill)) {}
};

VekStatus resample(const Picture& s, Picture& d, const Vek16s* w, Vek32s wda, Vek32s rounding, Vek32s fillMode,
                   const Vek32s* fill) {
    return vekiResample_H263_8u_P3R(s.y.data(), s.w, VekRoi{s.w, s.h}, s.cb.data(), s.w / 2, s.cr.data(), s.w / 2,
                                    d.y.data(), d.w, VekRoi{d.w, d.h}, d.cb.data(), d.w / 2, d.cr.data(), d.w / 2, w,
                                    wda, rounding, fillMode, fill);
}

TEST(H263Resample, ZeroWarpReproducesTheSource) {
    std::mt19937 rng(3);
    const Vek16s zero[8] = {};
    for (const int size : {4, 8, 16, 32})
        for (const Vek32s wda : {0, 1})
            for (const Vek32s r : {0, 1}) {
                Picture s(size, size, 0), d(size, size, 1);
                for (Plane* p : {&s.y, &s.cb, &s.cr})
                    for (auto& v : *p) v = Vek8u(rng());
                ASSERT_EQ(resample(s, d, zero, wda, r, 3, nullptr), vekStsOk);
                EXPECT_TRUE(d.y == s.y && d.cb == s.cb && d.cr == s.cr) << size << " wda " << wda << " r " << r;
            }
}

TEST(H263Resample, TranslationWithFillAndRounding) {
    // w[0] = 2 half samples: luma moves one sample left, chroma half a sample,
    // at both accuracies; the column pulled in from outside is the fill colour.
    const Vek16s shift[8] = {2, 0, 0, 0, 0, 0, 0, 0};
    for (const Vek32s wda : {0, 1})
        for (const Vek32s r : {0, 1})
            for (const Vek32s mode : {0, 1, 2, 5}) {
                Picture s(8, 8, 0), d(8, 8, 0);
                for (int i = 0; i < 64; ++i) s.y[std::size_t(i)] = Vek8u(10 * (i % 8));
                for (int i = 0; i < 16; ++i) s.cb[std::size_t(i)] = Vek8u(i % 4), s.cr[std::size_t(i)] = Vek8u(40 + i % 4);
                const Vek32s colours[3] = {200, 60, 90};
                ASSERT_EQ(resample(s, d, shift, wda, r, mode, colours), vekStsOk);
                // Fill: the colours given, black, grey, or the edge replicated.
                const int fy = mode == 0 ? 200 : mode == 1 ? 16 : mode == 2 ? 128 : 70;
                const int fc = mode == 0 ? 60 : mode < 5 ? 128 : 3, fr = mode == 0 ? 90 : mode < 5 ? 128 : 43;
                for (int x = 0; x < 8; ++x) EXPECT_EQ(d.y[std::size_t(16 + x)], x < 7 ? 10 * (x + 1) : fy) << x;
                // Chroma midway between x and x + 1: (2 (a + b) + 1 + r) >> 2 at both accuracies.
                for (int x = 0; x < 4; ++x) {
                    const int b = x < 3 ? x + 1 : fc, br = x < 3 ? 41 + x : fr;
                    EXPECT_EQ(d.cb[std::size_t(4 + x)], (2 * (x + b) + 1 + r) >> 2) << x << " mode " << mode;
                    EXPECT_EQ(d.cr[std::size_t(4 + x)], (2 * (40 + x + br) + 1 + r) >> 2) << x << " mode " << mode;
                }
            }
}

TEST(H263Resample, Refusals) {
    Picture s(8, 8, 1), d(8, 8, 5);
    const Vek16s w[8] = {};
    EXPECT_EQ(resample(s, d, nullptr, 0, 0, 0, nullptr), vekStsNullPtrErr);
    EXPECT_EQ(vekiResample_H263_8u_P3R(s.y.data(), 8, VekRoi{2, 8}, s.cb.data(), 4, s.cr.data(), 4, d.y.data(), 8,
                                       VekRoi{8, 8}, d.cb.data(), 4, nullptr, 4, w, 0, 0, 1, nullptr),
              vekStsNullPtrErr);
    for (const VekRoi bad : {VekRoi{2, 8}, VekRoi{8, 7}})  // sizes before the fill colours
        EXPECT_EQ(vekiResample_H263_8u_P3R(s.y.data(), 8, VekRoi{8, 8}, s.cb.data(), 4, s.cr.data(), 4, d.y.data(),
                                           8, bad, d.cb.data(), 4, d.cr.data(), 4, w, 0, 0, 0, nullptr),
                  vekStsSizeErr);
    EXPECT_EQ(resample(s, d, w, 0, 0, 0, nullptr), vekStsNullPtrErr);  // colours needed only by mode 0
    for (const Plane* p : {&d.y, &d.cb, &d.cr})
        for (Vek8u v : *p) ASSERT_EQ(v, 5);
    EXPECT_EQ(resample(s, d, w, 0, 0, 1, nullptr), vekStsOk);
}

}  // namespace
