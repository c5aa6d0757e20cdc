// Luma interpolation through the exported functions: checks and their order,
// known answers for the sixteen positions, clipping, the width classes, Top
// and Bottom against a picture padded by its edge rows, and the Block
// functions against a picture padded without limit by its edge samples.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <random>
#include <vector>

#include "vekvc.h"

namespace {

// A picture of w x h samples inside a margin of `pad` on every side.
template <class T>
struct Picture {
    int w, h, pad, step;
    std::vector<T> mem;
    Picture(int w_, int h_, int pad_, std::mt19937* rng = nullptr, int max_value = 255)
        : w(w_), h(h_), pad(pad_), step(w_ + 2 * pad_), mem(static_cast<std::size_t>(step) * (h_ + 2 * pad_)) {
        if (rng)
            for (auto& v : mem) v = static_cast<T>((*rng)() % (max_value + 1));
    }
    T* at(int x, int y) { return mem.data() + static_cast<std::ptrdiff_t>(y + pad) * step + x + pad; }
};

// The plain (form 0), Top (1) and Bottom (2) functions, and Block, in both
// depths behind one signature each.
VekStatus luma(int form, const Vek8u* s, int ss, Vek8u* d, int ds, int dx, int dy, int w, int h, int, int out = 0) {
    constexpr decltype(&vekiInterpolateLumaTop_H264_8u_C1R) kEdge[2] = {vekiInterpolateLumaTop_H264_8u_C1R,
                                                                        vekiInterpolateLumaBottom_H264_8u_C1R};
    return form ? kEdge[form - 1](s, ss, d, ds, dx, dy, out, VekRoi{w, h})
                : vekiInterpolateLuma_H264_8u_C1R(s, ss, d, ds, dx, dy, VekRoi{w, h});
}
VekStatus luma(int form, const Vek16u* s, int ss, Vek16u* d, int ds, int dx, int dy, int w, int h, int depth,
               int out = 0) {
    const VekInterpolationLuma_16u r{s, ss, d, ds, dx, dy, w, h, depth};
    return form == 0   ? vekiInterpolateLuma_H264_16u_C1R(&r)
           : form == 1 ? vekiInterpolateLumaTop_H264_16u_C1R(&r, out)
                       : vekiInterpolateLumaBottom_H264_16u_C1R(&r, out);
}
VekStatus block(const Vek8u* s, int ss, Vek8u* d, VekRoi frame, VekRoi size, VekPoint pos, VekPoint mv, int) {
    const VekInterpolationBlock_8u b{{s, nullptr}, ss, {d, nullptr}, size.width, frame, size, pos, mv};
    return vekiInterpolateLumaBlock_H264_8u_P1R(&b);
}
VekStatus block(const Vek16u* s, int ss, Vek16u* d, VekRoi frame, VekRoi size, VekPoint pos, VekPoint mv, int depth) {
    const VekInterpolationBlock_16u b{{s, nullptr}, ss, {d, nullptr}, size.width, frame, size, pos, mv, depth};
    return vekiInterpolateLumaBlock_H264_16u_P1R(&b);
}

// ---- Checks ----

// Plain, Top and Bottom share the checks; Block (both depths, the fractions
// taken as its vector) checks its record, pointers and sizes only. An error
// writes nothing.
TEST(InterpolateLuma8u, ChecksInOrder) {
    Vek8u src[32 * 32] = {}, dst[32 * 32] = {};
    Vek16u src16[32 * 32] = {}, dst16[32 * 32] = {};
    const Vek8u* s = src + 2 * 32 + 2;
    struct Case { const Vek8u* src; Vek8u* dst; int dx, dy, w, h; VekStatus want, block; } const cases[] = {
        {nullptr, dst, 9, 0, 3, 3, vekStsNullPtrErr, vekStsNullPtrErr},
        {s, nullptr, 0, 0, 16, 16, vekStsNullPtrErr, vekStsNullPtrErr},
        {s, dst, 4, 0, 3, 3, vekStsBadArgErr, vekStsSizeErr},  {s, dst, 0, -1, 16, 16, vekStsBadArgErr, vekStsOk},
        {s, dst, 3, 3, 16, 6, vekStsSizeErr, vekStsSizeErr},   {s, dst, 3, 3, 2, 4, vekStsSizeErr, vekStsSizeErr},
        {s, dst, 3, 3, -4, 4, vekStsSizeErr, vekStsSizeErr},   {s, dst, 1, 1, 32, 4, vekStsSizeErr, vekStsSizeErr},
        {s, dst, 2, 2, 12, 4, vekStsOk, vekStsOk},             {s, dst, 2, 2, 4, 16, vekStsOk, vekStsOk},
    };
    EXPECT_EQ(vekiInterpolateLumaBlock_H264_8u_P1R(nullptr), vekStsNullPtrErr);
    EXPECT_EQ(vekiInterpolateLumaBlock_H264_16u_P1R(nullptr), vekStsNullPtrErr);
    // The shell forms its table index before the checks: extreme fractions must not overflow it.
    EXPECT_EQ(vekiInterpolateLuma_H264_8u_C1R(s, 32, dst, 32, INT_MIN, INT_MAX, {16, 16}), vekStsBadArgErr);
    for (const auto& c : cases) {
        std::fill(std::begin(dst), std::end(dst), Vek8u(0x11));
        for (int form = 0; form < 3; ++form)
            EXPECT_EQ(luma(form, c.src, 32, c.dst, 32, c.dx, c.dy, c.w, c.h, 8), c.want) << "form " << form;
        EXPECT_TRUE(c.want == vekStsOk || std::count(std::begin(dst), std::end(dst), 0x11) == 32 * 32);
        const VekRoi frame{32, 32}, size{c.w, c.h};
        EXPECT_EQ(block(c.src ? src : nullptr, 32, c.dst, frame, size, {4, 4}, {c.dx, c.dy}, 8), c.block);
        EXPECT_EQ(block(c.src ? src16 : nullptr, 32, c.dst ? dst16 : nullptr, frame, size, {4, 4}, {c.dx, c.dy}, 10),
                  c.block);
    }
}

// Pointers before all else, steps before fractions, fractions before sizes.
TEST(InterpolateLuma16u, ChecksInOrder) {
    Vek16u src[32 * 32] = {}, dst[32 * 32] = {};
    const Vek16u* s = src + 2 * 32 + 2;
    struct Case { VekInterpolationLuma_16u p; VekStatus want; } const cases[] = {
        {{nullptr, 1, dst, 1, 7, 7, 3, 3, 10}, vekStsNullPtrErr}, {{s, 1, nullptr, 3, 1, 1, 8, 8, 10}, vekStsNullPtrErr},
        {{s, 7, dst, 32, 9, 9, 8, 8, 10}, vekStsStepErr},        {{s, 32, dst, 15, 0, 0, 16, 8, 10}, vekStsStepErr},
        {{s, 32, dst, 32, -1, 0, 3, 3, 10}, vekStsBadArgErr},    {{s, 32, dst, 32, 0, 4, 8, 8, 10}, vekStsBadArgErr},
        {{s, 32, dst, 32, 0, 0, 12, 4, 10}, vekStsSizeErr},      {{s, 32, dst, 32, 0, 0, 4, 16, 10}, vekStsSizeErr},
        {{s, 32, dst, 32, 0, 0, 16, 4, 10}, vekStsSizeErr},      {{s, 32, dst, 32, 0, 0, 8, 0, 10}, vekStsSizeErr},
        {{s, 32, dst, 32, 3, 1, 16, 8, 10}, vekStsOk},
    };
    for (const auto& c : cases)
        for (const VekInterpolationLuma_16u* r : {&c.p, static_cast<const VekInterpolationLuma_16u*>(nullptr)}) {
            const VekStatus want = r ? c.want : vekStsNullPtrErr;  // no record at all
            EXPECT_EQ(vekiInterpolateLuma_H264_16u_C1R(r), want);
            EXPECT_EQ(vekiInterpolateLumaTop_H264_16u_C1R(r, 0), want);
            EXPECT_EQ(vekiInterpolateLumaBottom_H264_16u_C1R(r, 0), want);
        }
}

// ---- Known answers ----

// A single sample of 100 in a picture of zeros, at (0, 0) or (1, 1) relative
// to the block; the block's first sample at each position, worked by hand:
// b = h = (20 * 100 + 16) >> 5 = 63 next to the peak, j = (400 * 100 + 512) >> 10 = 39.
// Then columns of 0, 0, max, max repeated at depths 8 and 10: b is 0, half,
// max, half, clipped from -64 and 318 (-256 and 1279); a wrap shows otherwise.
TEST(InterpolateLuma, KnownAnswersAndClipping) {
    const auto run = [](auto zero) {
        using T = decltype(zero);
        constexpr std::array<int, 16> kPeakAt[2] = {  // by 4 * dy + dx: G a b c / d e f g / h i j k / n p q r
            {100, 82, 63, 32, 82, 63, 51, 32, 63, 51, 39, 20, 32, 32, 20, 0},
            {0, 0, 0, 0, 0, 0, 20, 32, 0, 20, 39, 51, 0, 32, 51, 63}};
        for (int w : {4, 8, 16}) {
            std::vector<T> d(16 * 8);
            for (int peak = 0; peak < 2; ++peak)
                for (int pos = 0; pos < 16; ++pos) {
                    Picture<T> p(w, 8, 8);
                    *p.at(peak, peak) = 100;
                    ASSERT_EQ(luma(0, p.at(0, 0), p.step, d.data(), w, pos & 3, pos >> 2, w, 8, 8), vekStsOk);
                    EXPECT_EQ(d[0], kPeakAt[peak][pos]) << sizeof(T) * 8 << "-bit width " << w << " position " << pos;
                }
            for (int depth = 8; depth <= (sizeof(T) == 2 ? 10 : 8); depth += 2) {
                const int top = (1 << depth) - 1, want[4] = {0, (top + 1) / 2, top, (top + 1) / 2};
                Picture<T> p(16, 8, 8);
                for (std::size_t i = 0; i < p.mem.size(); ++i) p.mem[i] = static_cast<T>((i % p.step) & 2 ? top : 0);
                ASSERT_EQ(luma(0, p.at(0, 0), p.step, d.data(), w, 2, 0, w, 8, depth), vekStsOk);
                for (int x = 0; x < w; ++x) EXPECT_EQ(d[x], want[x & 3]) << "depth " << depth << " x " << x;
            }
        }
    };
    run(Vek8u{});
    run(Vek16u{});
}

// A width that passes the check but is not 4, 8 or 16 writes its class's
// columns, the same as the class's own width, and nothing beyond.
TEST(InterpolateLuma8u, WidthClassDecidesTheColumnsWritten) {
    std::mt19937 rng(7);
    Picture<Vek8u> p(32, 8, 8, &rng);
    constexpr int kWidthWritten[][2] = {{0, 4}, {12, 8}, {20, 16}, {28, 16}};
    for (const auto& [width, written] : kWidthWritten)
        for (int pos : {0, 5, 10, 15}) {
            std::vector<Vek8u> got(40 * 4, 0xCC), want(40 * 4, 0xCC);
            ASSERT_EQ(luma(0, p.at(0, 0), p.step, got.data(), 40, pos & 3, pos >> 2, width, 4, 8), vekStsOk);
            luma(0, p.at(0, 0), p.step, want.data(), 40, pos & 3, pos >> 2, written, 4, 8);
            EXPECT_EQ(got, want) << "width " << width << " position " << pos;
            EXPECT_TRUE(want[written - 1] != 0xCC && want[written] == 0xCC);
        }
}

// ---- Top, Bottom and Block against padded pictures ----

// Each function equals the plain one on a window of the picture padded by its
// edge: Top by its first row, Bottom by its last (columns as they are), Block
// by its edge samples on every side without limit, for blocks inside,
// crossing and far beyond. Block pictures have no margin, so that a read
// outside them shows under the address sanitizer.
template <class T>
void expect_padded_models(int depth) {
    std::mt19937 rng(8 + depth);
    const auto rnd = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    for (int trial = 0; trial < 3600; ++trial) {
        const int w = 4 << rnd(3), h = 4 << rnd(3), kind = trial % 3;  // Top, Bottom, Block
        if (sizeof(T) == 2 && w + h == 20) continue;
        const bool blk = kind == 2;
        Picture<T> pic(blk ? 22 + rnd(30) : w + 8, blk ? 22 + rnd(20) : 12, blk ? 0 : 40, &rng, (1 << depth) - 1);
        int x0 = 2, y0 = kind == 0 ? rnd(40) - 34 : rnd(34) - 4, dx = rnd(4), dy = rnd(4);
        const int range = trial % 5 == 0 ? 1000 : 100;  // quarter samples
        const VekPoint pos{rnd(pic.w), rnd(pic.h)}, mv{rnd(2 * range + 1) - range, rnd(2 * range + 1) - range};
        if (blk) x0 = pos.x + (mv.x >> 2), y0 = pos.y + (mv.y >> 2), dx = mv.x & 3, dy = mv.y & 3;
        Picture<T> window(w + 5, h + 5, 0);
        for (int y = 0; y < h + 5; ++y)
            for (int x = 0; x < w + 5; ++x) {
                const int sx = x0 + x - 2, sy = y0 + y - 2;
                *window.at(x, y) = *pic.at(blk ? std::clamp(sx, 0, pic.w - 1) : sx,
                                           kind == 0   ? std::max(sy, 0)
                                           : kind == 1 ? std::min(sy, pic.h - 1)
                                                       : std::clamp(sy, 0, pic.h - 1));
            }
        std::vector<T> got(w * h), want(w * h);
        const int out = kind == 0 ? -y0 : y0 + h - pic.h;
        ASSERT_EQ(blk ? block(pic.at(0, 0), pic.step, got.data(), {pic.w, pic.h}, {w, h}, pos, mv, depth)
                      : luma(kind + 1, pic.at(x0, y0), pic.step, got.data(), w, dx, dy, w, h, depth, out),
                  vekStsOk);
        luma(0, window.at(2, 2), window.step, want.data(), w, dx, dy, w, h, depth);
        ASSERT_EQ(got, want) << "kind " << kind << " trial " << trial << " " << w << "x" << h << " in " << pic.w << "x"
                             << pic.h << " at " << x0 << "," << y0 << " dx " << dx << " dy " << dy;
    }
}

TEST(InterpolateLuma, TopBottomAndBlockEqualPaddedPictures) {
    expect_padded_models<Vek8u>(8);
    expect_padded_models<Vek16u>(10);
}

// A block right of and below a 16x16 frame: the zero vector copies what is there.
TEST(InterpolateLumaBlock, ZeroVectorCopiesWithoutEdgeCheck) {
    std::mt19937 rng(10);
    Picture<Vek8u> pic(16, 16, 24, &rng);
    std::vector<Vek8u> got(8 * 8);
    ASSERT_EQ(block(pic.at(0, 0), pic.step, got.data(), {16, 16}, {8, 8}, {14, 12}, {0, 0}, 8), vekStsOk);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) ASSERT_EQ(got[y * 8 + x], *pic.at(14 + x, 12 + y));
}

}  // namespace
