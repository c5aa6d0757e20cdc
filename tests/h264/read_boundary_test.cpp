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

using Reader = VekStatus (*)(Vek32s, VekInterpolationParams*);

// A plane of w x h "samples" of `pair` elements each, inside storage with
// spare rows and columns, so one-sided reads past an edge stay in memory.
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

// Every reader on random rectangles, near and far, in planes at least as
// large as the rectangle: each sample is the plane's at the clamped position,
// and a start wholly outside is pulled back to keep one plane sample, in the record.
template <class T>
void expect_padded_model(Reader read, int pair, std::uint32_t seed) {
    std::mt19937 rng(seed);
    for (int trial = 0; trial < 1000; ++trial) {
        const int dw = 1 + static_cast<int>(rng() % 21), dh = 1 + static_cast<int>(rng() % 21);
        Plane<T> plane(dw + static_cast<int>(rng() % 12), dh + static_cast<int>(rng() % 12), pair, rng);
        const int x = static_cast<int>(rng() % 80) - 40, y = static_cast<int>(rng() % 80) - 40;
        const int dstStep = (dw + 3) * pair;
        std::vector<T> dst(static_cast<std::size_t>(dstStep) * dh, T(0x5A));
        VekInterpolationParams r = plane.rect(dst.data(), dstStep, x, y, dw, dh);
        const int mask = (x < 0 ? 1 : 0) | (x + dw > plane.w ? 2 : 0) | (y < 0 ? 4 : 0) | (y + dh > plane.h ? 8 : 0);
        ASSERT_EQ(read(mask, &r), vekStsOk);
        ASSERT_EQ(r.xPos, x < 0 ? std::max(x, 1 - dw) : std::min(x, plane.w - 1)) << "trial " << trial;
        ASSERT_EQ(r.yPos, y < 0 ? std::max(y, 1 - dh) : std::min(y, plane.h - 1)) << "trial " << trial;
        for (int i = 0; i < dh; ++i)
            for (int j = 0; j < dw * pair; ++j)  // mask 0 writes nothing
                ASSERT_EQ(dst[static_cast<std::size_t>(i) * dstStep + j],
                          mask ? plane.at(std::clamp(x + j / pair, 0, plane.w - 1),
                                          std::clamp(y + i, 0, plane.h - 1), j % pair)
                               : T(0x5A))
                    << "trial " << trial << " rect " << x << "," << y << " " << dw << "x" << dh << " in " << plane.w
                    << "x" << plane.h << " at " << j << "," << i;
    }
}

TEST(ReadDataBlockThroughBoundary, EqualsPlanePaddedByEdgeSamples) {
    expect_padded_model<Vek8u>(vekiReadDataBlockThroughBoundary_8u, 1, 1);
    expect_padded_model<Vek8u>(vekiReadDataBlockThroughBoundary_NV12_8u, 2, 2);
    expect_padded_model<Vek16u>(vekiReadDataBlockThroughBoundary_16u, 1, 3);
}

// A plane narrower (shorter) than the rectangle: only the side the position's
// sign picks is treated, and the copy runs on in memory past the other edge.
TEST(ReadDataBlockThroughBoundary, BothSidesOfAnAxisTreatOneSide) {
    std::mt19937 rng(5);
    const Plane<Vek8u> plane(4, 4, 1, rng);
    constexpr int kStep = 28;  // the plane's step: 4 + 24
    struct Case {
        int x, y, dw, dh, mask;
        int (*want)(int i, int j);  // offset in the plane's memory of sample (j, i)
    } const cases[] = {
        // Left and right, xPos -1: one copy of column 0, then bytes from the row start on.
        {-1, 0, 9, 1, 3, [](int, int j) { return std::max(j - 1, 0); }},
        // Left and right, xPos 1: the right rule, 3 samples then column 3 repeated.
        {1, 0, 9, 1, 3, [](int, int j) { return std::min(1 + j, 3); }},
        // Top and bottom, yPos -1: rows past the bottom come from memory below the plane.
        {0, -1, 1, 9, 12, [](int i, int) { return std::max(i - 1, 0) * kStep; }},
        // All four, xPos < 0 and yPos >= 0: bottom-left, rows past the bottom repeat row 3.
        {-2, 1, 9, 9, 15, [](int i, int j) { return std::min(1 + i, 3) * kStep + std::max(j - 2, 0); }},
    };
    for (const auto& c : cases) {
        std::vector<Vek8u> dst(9 * 9);
        VekInterpolationParams r = plane.rect(dst.data(), 9, c.x, c.y, c.dw, c.dh);
        vekiReadDataBlockThroughBoundary_8u(c.mask, &r);
        for (int i = 0; i < c.dh; ++i)
            for (int j = 0; j < c.dw; ++j)
                ASSERT_EQ(dst[i * 9 + j], plane.mem[c.want(i, j)]) << "mask " << c.mask << " at " << j << "," << i;
    }
}

// ---- Plane expansion ----

TEST(ExpandPlane, ChecksInOrder) {
    Vek8u buf[64 * 16] = {};
    Vek8u* p = buf + 4 * 64 + 8;
    struct Case {
        Vek8u* ptr;
        int w, h, e, mode;
        VekStatus want;
    } const cases[] = {
        {nullptr, 0, 3, 4, 9, vekStsNullPtrErr},  // the pointer decides first
        {p, 8, 3, 2, 0, vekStsBadArgErr},  {p, 8, 0, 2, 0, vekStsBadArgErr},  // odd height, height below 2
        {p, 8, -2, 2, 0, vekStsBadArgErr}, {p, 0, 4, 2, 0, vekStsBadArgErr},  // zero width
        {p, 0, 4, 0, 9, vekStsBadArgErr},                                     // size before expandPels
        {p, 8, 4, 0, 7, vekStsOk},                                            // nothing to do, mode not looked at
        {p, 8, 4, 1, 7, vekStsBadArgErr},  {p, 8, 4, 1, -1, vekStsBadArgErr},
    };
    for (const auto& c : cases) {
        std::fill(std::begin(buf), std::end(buf), Vek8u(0x77));
        EXPECT_EQ(vekiExpandPlane_H264_8u_C1R(c.ptr, c.w, c.h, 64, c.e, c.mode), c.want)
            << c.w << "x" << c.h << " e " << c.e << " mode " << c.mode;
        EXPECT_TRUE(std::all_of(std::begin(buf), std::end(buf), [](Vek8u v) { return v == 0x77; }));
    }
}

// Every byte around a 3x4 plane whose sample (x, y) is 10 * y + x + 1. The
// rows -4..7, worked by hand: a digit is the plane row a row repeats (its
// sides then widened by expandPels), '.' a row left as it was. A field is
// every other row; an odd expandPels gives the top field the extra row below
// and the bottom field the extra row above.
TEST(ExpandPlane, FrameAndFieldModesReplicateTheNearestSample) {
    constexpr int kW = 3, kH = 4, kM = 4, kStep = kW + 2 * kM;
    struct Case {
        int mode, e;
        const char* rows;
    } const cases[] = {
        {0, 2, "..00012333.."}, {1, 3, "..0.0.2.2.2."}, {2, 3, ".1.1.1.3.3.."},
        {1, 1, "....0.2.2..."}, {2, 1, "...1.1.3...."}, {2, 2, "...1.1.3.3.."},
    };
    for (const auto& c : cases) {
        std::vector<Vek8u> buf(kStep * (kH + 2 * kM), 0xEE);
        Vek8u* origin = buf.data() + kM * kStep + kM;
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) origin[y * kStep + x] = static_cast<Vek8u>(10 * y + x + 1);
        const std::vector<Vek8u> before = buf;
        ASSERT_EQ(vekiExpandPlane_H264_8u_C1R(origin, kW, kH, kStep, c.e, c.mode), vekStsOk);
        for (int y = -kM; y < kH + kM; ++y)
            for (int x = -kM; x < kW + kM; ++x) {
                const char r = c.rows[y + kM];
                const bool written = r != '.' && x >= -c.e && x < kW + c.e;
                const int want =
                    written ? 10 * (r - '0') + std::clamp(x, 0, kW - 1) + 1 : before[(y + kM) * kStep + x + kM];
                ASSERT_EQ(origin[y * kStep + x], want) << "mode " << c.mode << " e " << c.e << " at " << x << "," << y;
            }
    }
}

}  // namespace
