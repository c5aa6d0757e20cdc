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
    const T* origin() const { return mem.data(); }
    T at(int x, int y, int c) const { return mem[static_cast<std::size_t>(y) * step + x * pair + c]; }
};

template <class T>
VekInterpolationParams rect(const Plane<T>& p, T* dst, int dstStep, int x, int y, int dw, int dh) {
    VekInterpolationParams r{};
    r.pSrc = p.origin(), r.srcStep = p.step, r.pDst = dst, r.dstStep = dstStep;
    r.xPos = x, r.yPos = y, r.dataWidth = dw, r.dataHeight = dh, r.frameWidth = p.w, r.frameHeight = p.h;
    return r;
}

// Every reader on random rectangles, near and far, in planes at least as
// large as the rectangle: each sample is the plane's at the clamped position.
template <class T>
void expect_padded_model(Reader read, int pair, std::uint32_t seed) {
    std::mt19937 rng(seed);
    for (int trial = 0; trial < 1000; ++trial) {
        const int dw = 1 + static_cast<int>(rng() % 21), dh = 1 + static_cast<int>(rng() % 21);
        Plane<T> plane(dw + static_cast<int>(rng() % 12), dh + static_cast<int>(rng() % 12), pair, rng);
        const int x = static_cast<int>(rng() % 80) - 40, y = static_cast<int>(rng() % 80) - 40;
        const int dstStep = (dw + 3) * pair;
        std::vector<T> dst(static_cast<std::size_t>(dstStep) * dh, T(0x5A));
        VekInterpolationParams r = rect(plane, dst.data(), dstStep, x, y, dw, dh);
        const int mask = (x < 0 ? 1 : 0) | (x + dw > plane.w ? 2 : 0) | (y < 0 ? 4 : 0) | (y + dh > plane.h ? 8 : 0);
        ASSERT_EQ(read(mask, &r), vekStsOk);
        // A start wholly outside is pulled back to keep one plane sample, in the record.
        ASSERT_EQ(r.xPos, x < 0 ? std::max(x, 1 - dw) : std::min(x, plane.w - 1)) << "trial " << trial;
        ASSERT_EQ(r.yPos, y < 0 ? std::max(y, 1 - dh) : std::min(y, plane.h - 1)) << "trial " << trial;
        if (mask == 0) {
            ASSERT_TRUE(std::all_of(dst.begin(), dst.end(), [](T v) { return v == T(0x5A); })) << "mask 0 wrote";
            continue;
        }
        for (int i = 0; i < dh; ++i)
            for (int j = 0; j < dw; ++j)
                for (int c = 0; c < pair; ++c)
                    ASSERT_EQ(dst[static_cast<std::size_t>(i) * dstStep + j * pair + c],
                              plane.at(std::clamp(x + j, 0, plane.w - 1), std::clamp(y + i, 0, plane.h - 1), c))
                        << "trial " << trial << " rect " << x << "," << y << " " << dw << "x" << dh << " in "
                        << plane.w << "x" << plane.h << " at " << j << "," << i;
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
    Plane<Vek8u> plane(4, 4, 1, rng);
    const Vek8u* mem = plane.origin();
    std::vector<Vek8u> dst(9 * 9);
    // Left and right, xPos -1: one copy of column 0, then 8 bytes from the row start.
    VekInterpolationParams r = rect(plane, dst.data(), 9, -1, 0, 9, 1);
    vekiReadDataBlockThroughBoundary_8u(3, &r);
    EXPECT_EQ(dst[0], mem[0]);
    for (int j = 1; j < 9; ++j) EXPECT_EQ(dst[j], mem[j - 1]) << j;
    // Left and right, xPos 1: the right rule, 3 samples then column 3 repeated.
    r = rect(plane, dst.data(), 9, 1, 0, 9, 1);
    vekiReadDataBlockThroughBoundary_8u(3, &r);
    for (int j = 0; j < 9; ++j) EXPECT_EQ(dst[j], mem[std::min(1 + j, 3)]) << j;
    // Top and bottom, yPos -1: rows past the bottom come from memory below the plane.
    r = rect(plane, dst.data(), 1, 0, -1, 1, 9);
    vekiReadDataBlockThroughBoundary_8u(12, &r);
    EXPECT_EQ(dst[0], mem[0]);
    for (int i = 1; i < 9; ++i) EXPECT_EQ(dst[i], mem[(i - 1) * plane.step]) << i;
    // All four, xPos < 0 and yPos >= 0: bottom-left, rows past the bottom repeat row 3.
    r = rect(plane, dst.data(), 9, -2, 1, 9, 9);
    vekiReadDataBlockThroughBoundary_8u(15, &r);
    for (int i = 0; i < 9; ++i) {
        const Vek8u* row = mem + std::min(1 + i, 3) * plane.step;
        for (int j = 0; j < 9; ++j) ASSERT_EQ(dst[i * 9 + j], row[std::max(j - 2, 0)]) << i << "," << j;
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
        {p, 8, 3, 2, 0, vekStsBadArgErr},         // odd height
        {p, 8, 0, 2, 0, vekStsBadArgErr},         // height below 2
        {p, 8, -2, 2, 0, vekStsBadArgErr},
        {p, 0, 4, 2, 0, vekStsBadArgErr},         // zero width
        {p, 0, 4, 0, 9, vekStsBadArgErr},         // size before expandPels
        {p, 8, 4, 0, 7, vekStsOk},                // nothing to do, mode not looked at
        {p, 8, 4, 1, 7, vekStsBadArgErr},
        {p, 8, 4, 1, -1, vekStsBadArgErr},
    };
    for (const auto& c : cases) {
        std::fill(std::begin(buf), std::end(buf), Vek8u(0x77));
        EXPECT_EQ(vekiExpandPlane_H264_8u_C1R(c.ptr, c.w, c.h, 64, c.e, c.mode), c.want)
            << c.w << "x" << c.h << " e " << c.e << " mode " << c.mode;
        EXPECT_TRUE(std::all_of(std::begin(buf), std::end(buf), [](Vek8u v) { return v == 0x77; }));
    }
}

// Every byte of a frame around the plane: the field's replicated rows and
// sides hold the nearest sample of that field, everything else is untouched.
TEST(ExpandPlane, FrameAndFieldModesReplicateTheNearestSample) {
    constexpr int kW = 7, kH = 6, kMargin = 8, kStep = kW + 2 * kMargin;
    std::mt19937 rng(6);
    for (int mode = 0; mode <= 2; ++mode)
        for (int e : {1, 2, 3, 6}) {
            std::vector<Vek8u> buf(static_cast<std::size_t>(kStep) * (kH + 2 * kMargin), 0xEE);
            Vek8u* origin = buf.data() + kMargin * kStep + kMargin;
            for (int y = 0; y < kH; ++y)
                for (int x = 0; x < kW; ++x) origin[y * kStep + x] = static_cast<Vek8u>(rng() % 200);
            const std::vector<Vek8u> before = buf;
            const auto sample = [&](int x, int y) { return before[(kMargin + y) * kStep + kMargin + x]; };
            ASSERT_EQ(vekiExpandPlane_H264_8u_C1R(origin, kW, kH, kStep, e, mode), vekStsOk);
            // Rows of the field and the span of rows it gets, relative to the plane.
            const int parity = mode == 2 ? 1 : 0, pitch = mode ? 2 : 1;
            const int below = mode == 0 ? e : mode == 1 ? (e + 1) >> 1 : e >> 1;
            const int above = mode == 0 ? e : mode == 1 ? e >> 1 : (e + 1) >> 1;
            const int first_row = parity, last_row = mode == 1 ? kH - 2 : kH - 1;
            for (int y = -kMargin; y < kH + kMargin; ++y)
                for (int x = -kMargin; x < kW + kMargin; ++x) {
                    const bool in_field = mode == 0 || ((y & 1) == parity);
                    const bool in_span = y >= first_row - above * pitch && y <= last_row + below * pitch;
                    const bool written = in_field && in_span && x >= -e && x < kW + e;
                    const Vek8u want = written ? sample(std::clamp(x, 0, kW - 1), std::clamp(y, first_row, last_row))
                                               : before[(kMargin + y) * kStep + kMargin + x];
                    ASSERT_EQ(origin[y * kStep + x], want) << "mode " << mode << " e " << e << " at " << x << "," << y;
                }
        }
}

}  // namespace
