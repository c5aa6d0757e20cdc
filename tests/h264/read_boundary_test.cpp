// Boundary readers and plane expansion: agreement with a plane padded by its
// edge samples, the pull-back written into the record, the one-sided
// treatment of a rectangle wider or taller than the plane, and the checks and
// field modes of the expansion.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "vekvc.h"

namespace {

// A plane of w x h "samples" of `pair` elements each, inside storage with 24
// spare rows and columns, so one-sided reads past an edge stay in memory;
// rect() is the reader's record for a rectangle of it.
template <class T>
struct Plane {
    int w, h, pair, step;  // step in elements
    std::vector<T> mem;
    Plane(int w_, int h_, int pair_, std::mt19937& rng)
        : w(w_), h(h_), pair(pair_), step((w_ + 24) * pair_), mem(static_cast<std::size_t>(step) * (h_ + 24)) {
        for (auto& v : mem) v = static_cast<T>(rng());
    }
    T at(int x, int y, int c) const { return mem[static_cast<std::size_t>(y) * step + x * pair + c]; }
    VekInterpolationParams rect(T* dst, int dstStep, int x, int y, int dw, int dh) const {
        VekInterpolationParams r{};
        r.pSrc = mem.data(), r.srcStep = step, r.pDst = dst, r.dstStep = dstStep;
        r.xPos = x, r.yPos = y, r.dataWidth = dw, r.dataHeight = dh, r.frameWidth = w, r.frameHeight = h;
        return r;
    }
};

// Every reader on random rectangles, near and far, in planes larger or
// smaller than the rectangle: each sample is the plane's at the position
// clamped on the side the start's sign picks (where a mask names both sides of
// an axis, the other side is read on in memory past the edge), and a start
// wholly outside is pulled back to keep one plane sample, in the record.
template <class T>
void expect_padded_model(VekStatus (*read)(Vek32s, VekInterpolationParams*), int pair, std::uint32_t seed) {
    std::mt19937 rng(seed);
    const auto rnd = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    const auto clamp_one_side = [](int start, int v, int n) { return start < 0 ? std::max(v, 0) : std::min(v, n - 1); };
    for (int trial = 0; trial < 1500; ++trial) {
        const int dw = 1 + rnd(21), dh = 1 + rnd(21), x = rnd(80) - 40, y = rnd(80) - 40, dstStep = (dw + 3) * pair;
        const Plane<T> plane(1 + rnd(dw + 11), 1 + rnd(dh + 11), pair, rng);
        std::vector<T> dst(static_cast<std::size_t>(dstStep) * dh, T(0x5A));
        VekInterpolationParams r = plane.rect(dst.data(), dstStep, x, y, dw, dh);
        // The sides crossed, and now and then both sides of an axis whatever the position.
        const int mask = (x < 0 ? 1 : 0) | (x + dw > plane.w ? 2 : 0) | (y < 0 ? 4 : 0) | (y + dh > plane.h ? 8 : 0) |
                         (rnd(4) ? 0 : 3) | (rnd(4) ? 0 : 12);
        ASSERT_EQ(read(mask, &r), vekStsOk);
        ASSERT_EQ(r.xPos, x < 0 ? std::max(x, 1 - dw) : std::min(x, plane.w - 1)) << "trial " << trial;
        ASSERT_EQ(r.yPos, y < 0 ? std::max(y, 1 - dh) : std::min(y, plane.h - 1)) << "trial " << trial;
        for (int i = 0; i < dh; ++i)
            for (int j = 0; j < dstStep; ++j)  // mask 0 writes nothing, and no row goes past dataWidth
                ASSERT_EQ(dst[static_cast<std::size_t>(i) * dstStep + j],
                          mask && j < dw * pair ? plane.at(clamp_one_side(x, x + j / pair, plane.w), clamp_one_side(y, y + i, plane.h),
                                          j % pair)
                               : T(0x5A))
                    << "trial " << trial << " mask " << mask << " rect " << x << "," << y << " " << dw << "x" << dh
                    << " in " << plane.w << "x" << plane.h << " at " << j << "," << i;
    }
}

TEST(ReadDataBlockThroughBoundary, EqualsPlanePaddedOnTheSidesTheStartPicks) {
    expect_padded_model<Vek8u>(vekiReadDataBlockThroughBoundary_8u, 1, 1);
    expect_padded_model<Vek8u>(vekiReadDataBlockThroughBoundary_NV12_8u, 2, 2);
    expect_padded_model<Vek16u>(vekiReadDataBlockThroughBoundary_16u, 1, 3);
}

// ---- Plane expansion ----

// The pointer decides first, then the size (odd height, height below 2, zero
// width) before expandPels, then the mode unless there is nothing to do.
TEST(ExpandPlane, ChecksInOrder) {
    Vek8u buf[64 * 16] = {};
    Vek8u* p = buf + 4 * 64 + 8;
    struct Case { Vek8u* ptr; int w, h, e, mode; VekStatus want; } const cases[] = {
        {nullptr, 0, 3, 4, 9, vekStsNullPtrErr}, {p, 8, 3, 2, 0, vekStsBadArgErr}, {p, 8, 0, 2, 0, vekStsBadArgErr},
        {p, 8, -2, 2, 0, vekStsBadArgErr},       {p, 0, 4, 2, 0, vekStsBadArgErr}, {p, 0, 4, 0, 9, vekStsBadArgErr},
        {p, 8, 4, 0, 7, vekStsOk},               {p, 8, 4, 1, 7, vekStsBadArgErr}, {p, 8, 4, 1, -1, vekStsBadArgErr},
    };
    for (const auto& c : cases) {
        std::fill(std::begin(buf), std::end(buf), Vek8u(0x77));
        EXPECT_EQ(vekiExpandPlane_H264_8u_C1R(c.ptr, c.w, c.h, 64, c.e, c.mode), c.want)
            << c.w << "x" << c.h << " e " << c.e << " mode " << c.mode;
        EXPECT_EQ(std::count(std::begin(buf), std::end(buf), 0x77), 64 * 16);
    }
}

// Every byte around a 3x4 plane whose sample (x, y) is 10 * y + x + 1. The
// rows -4..7, worked by hand: a digit is the plane row a row repeats (its
// sides then widened by expandPels), '.' a row left as it was. A field is
// every other row; an odd expandPels gives the top field the extra row below
// and the bottom field the extra row above.
TEST(ExpandPlane, FrameAndFieldModesReplicateTheNearestSample) {
    constexpr int kW = 3, kH = 4, kM = 4, kStep = kW + 2 * kM;
    struct Case { int mode, e; const char* rows; } const cases[] = {
        {0, 2, "..00012333.."}, {1, 3, "..0.0.2.2.2."}, {2, 3, ".1.1.1.3.3.."},
        {1, 1, "....0.2.2..."}, {2, 1, "...1.1.3...."}, {2, 2, "...1.1.3.3.."},
    };
    for (const auto& c : cases) {
        std::vector<Vek8u> buf(kStep * (kH + 2 * kM), 0xEE);
        Vek8u* origin = buf.data() + kM * kStep + kM;
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) origin[y * kStep + x] = static_cast<Vek8u>(10 * y + x + 1);
        ASSERT_EQ(vekiExpandPlane_H264_8u_C1R(origin, kW, kH, kStep, c.e, c.mode), vekStsOk);
        for (int y = -kM; y < kH + kM; ++y)
            for (int x = -kM; x < kW + kM; ++x) {
                const char r = c.rows[y + kM];
                const bool inside = y >= 0 && y < kH && x >= 0 && x < kW;
                const bool written = r != '.' && x >= -c.e && x < kW + c.e;
                const int want = written  ? 10 * (r - '0') + std::clamp(x, 0, kW - 1) + 1
                                 : inside ? 10 * y + x + 1
                                          : 0xEE;
                ASSERT_EQ(origin[y * kStep + x], want) << "mode " << c.mode << " e " << c.e << " at " << x << "," << y;
            }
    }
}

}  // namespace
