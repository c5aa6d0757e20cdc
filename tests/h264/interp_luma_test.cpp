// Luma interpolation through the exported functions: checks and their order,
// known answers for the sixteen positions, clipping, the width classes, Top
// and Bottom against a picture padded by its edge rows, and the Block
// functions against a picture padded without limit by its edge samples.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "vekvc.h"

namespace {

// A picture of w x h samples inside a margin of `pad` on every side.
template <class T>
struct Picture {
    int w, h, pad, step;
    std::vector<T> mem;
    Picture(int w_, int h_, int pad_) : w(w_), h(h_), pad(pad_), step(w_ + 2 * pad_),
                                        mem(static_cast<std::size_t>(step) * (h_ + 2 * pad_)) {}
    T* at(int x, int y) { return mem.data() + static_cast<std::ptrdiff_t>(y + pad) * step + x + pad; }
    void fill(std::mt19937& rng, int max_value) {
        for (auto& v : mem) v = static_cast<T>(rng() % (max_value + 1));
    }
    // The copy whose margin above (or below) repeats the first (last) row.
    Picture padded_rows(bool top) {
        Picture q = *this;
        for (int y = -pad; y < h + pad; ++y)
            for (int x = -pad; x < w + pad; ++x) *q.at(x, y) = *at(x, top ? std::max(y, 0) : std::min(y, h - 1));
        return q;
    }
};

VekRoi roi(int w, int h) { return VekRoi{w, h}; }

// The plain function of either depth on a w x h block at pos (dx, dy).
void plain(const Vek8u* s, int ss, Vek8u* d, int w, int h, int dx, int dy, int) {
    vekiInterpolateLuma_H264_8u_C1R(s, ss, d, w, dx, dy, roi(w, h));
}
void plain(const Vek16u* s, int ss, Vek16u* d, int w, int h, int dx, int dy, int depth) {
    const VekInterpolationLuma_16u r{s, ss, d, w, dx, dy, w, h, depth};
    vekiInterpolateLuma_H264_16u_C1R(&r);
}

// ---- Checks ----

TEST(InterpolateLuma8u, ChecksInOrder) {
    Vek8u src[32 * 32] = {}, dst[32 * 32] = {};
    const Vek8u* s = src + 2 * 32 + 2;
    struct Case {
        const Vek8u* src;
        Vek8u* dst;
        int dx, dy, w, h;
        VekStatus want;
    } const cases[] = {
        {nullptr, dst, 9, 0, 3, 3, vekStsNullPtrErr}, {s, nullptr, 0, 0, 16, 16, vekStsNullPtrErr},
        {s, dst, 4, 0, 3, 3, vekStsBadArgErr},       {s, dst, 0, -1, 16, 16, vekStsBadArgErr},
        {s, dst, 3, 3, 16, 6, vekStsSizeErr},         {s, dst, 3, 3, 2, 4, vekStsSizeErr},
        {s, dst, 3, 3, -4, 4, vekStsSizeErr},         {s, dst, 1, 1, 32, 4, vekStsSizeErr},
        {s, dst, 2, 2, 12, 4, vekStsOk},              {s, dst, 2, 2, 4, 16, vekStsOk},
        {s, dst, 2, 2, 16, 4, vekStsOk},
    };
    for (const auto& c : cases) {
        std::fill(std::begin(dst), std::end(dst), Vek8u(0x11));
        EXPECT_EQ(vekiInterpolateLuma_H264_8u_C1R(c.src, 32, c.dst, 32, c.dx, c.dy, roi(c.w, c.h)), c.want);
        EXPECT_EQ(vekiInterpolateLumaTop_H264_8u_C1R(c.src, 32, c.dst, 32, c.dx, c.dy, 0, roi(c.w, c.h)), c.want);
        EXPECT_EQ(vekiInterpolateLumaBottom_H264_8u_C1R(c.src, 32, c.dst, 32, c.dx, c.dy, 0, roi(c.w, c.h)), c.want);
        EXPECT_TRUE(c.want == vekStsOk || std::all_of(std::begin(dst), std::end(dst), [](Vek8u v) { return v == 0x11; }));
    }
}

TEST(InterpolateLuma16u, ChecksInOrder) {
    Vek16u src[32 * 32] = {}, dst[32 * 32] = {};
    const VekInterpolationLuma_16u ok{src + 2 * 32 + 2, 32, dst, 32, 1, 1, 8, 8, 10};
    struct Case {
        VekInterpolationLuma_16u p;
        VekStatus want;
    } const cases[] = {
        {{nullptr, 1, dst, 1, 7, 7, 3, 3, 10}, vekStsNullPtrErr},  // pointers before all else
        {{ok.pSrc, 1, nullptr, 32, 1, 1, 8, 8, 10}, vekStsNullPtrErr},
        {{ok.pSrc, 7, dst, 32, 9, 9, 8, 8, 10}, vekStsStepErr},    // steps before fractions
        {{ok.pSrc, 32, dst, 15, 0, 0, 16, 8, 10}, vekStsStepErr},
        {{ok.pSrc, 32, dst, 32, -1, 0, 3, 3, 10}, vekStsBadArgErr},  // fractions before sizes
        {{ok.pSrc, 32, dst, 32, 0, 4, 8, 8, 10}, vekStsBadArgErr},
        {{ok.pSrc, 32, dst, 32, 0, 0, 12, 4, 10}, vekStsSizeErr},
        {{ok.pSrc, 32, dst, 32, 0, 0, 4, 16, 10}, vekStsSizeErr},
        {{ok.pSrc, 32, dst, 32, 0, 0, 16, 4, 10}, vekStsSizeErr},
        {{ok.pSrc, 32, dst, 32, 0, 0, 8, 0, 10}, vekStsSizeErr},
        {{ok.pSrc, 32, dst, 32, 2, 2, 8, 16, 10}, vekStsOk},
        {{ok.pSrc, 32, dst, 32, 3, 1, 16, 8, 10}, vekStsOk},
    };
    for (const auto& c : cases)
        for (const VekInterpolationLuma_16u* r : {&c.p, static_cast<const VekInterpolationLuma_16u*>(nullptr)}) {
            const VekStatus want = r ? c.want : vekStsNullPtrErr;  // no record at all
            EXPECT_EQ(vekiInterpolateLuma_H264_16u_C1R(r), want);
            EXPECT_EQ(vekiInterpolateLumaTop_H264_16u_C1R(r, 0), want);
            EXPECT_EQ(vekiInterpolateLumaBottom_H264_16u_C1R(r, 0), want);
        }
}

TEST(InterpolateLumaBlock, ChecksInOrder) {
    Vek8u src8[64 * 64] = {}, dst8[16 * 16] = {};
    Vek16u src16[64 * 64] = {}, dst16[16 * 16] = {};
    struct Case {
        bool record, src, dst;
        int w, h;
        VekStatus want;
    } const cases[] = {
        {false, true, true, 16, 16, vekStsNullPtrErr}, {true, false, true, 3, 3, vekStsNullPtrErr},
        {true, true, false, 16, 16, vekStsNullPtrErr}, {true, true, true, 16, 2, vekStsSizeErr},
        {true, true, true, 2, 16, vekStsSizeErr},      {true, true, true, 12, 4, vekStsOk},
        {true, true, true, 16, 4, vekStsOk},
    };
    for (const auto& c : cases) {
        VekInterpolationBlock_8u b8{{c.src ? src8 : nullptr, nullptr}, 64, {c.dst ? dst8 : nullptr, nullptr}, 16,
                                    {64, 64}, {c.w, c.h}, {8, 8}, {5, 7}};
        VekInterpolationBlock_16u b16{{c.src ? src16 : nullptr, nullptr}, 64, {c.dst ? dst16 : nullptr, nullptr}, 16,
                                      {64, 64}, {c.w, c.h}, {8, 8}, {5, 7}, 10};
        EXPECT_EQ(vekiInterpolateLumaBlock_H264_8u_P1R(c.record ? &b8 : nullptr), c.want);
        EXPECT_EQ(vekiInterpolateLumaBlock_H264_16u_P1R(c.record ? &b16 : nullptr), c.want);
    }
}

// ---- Known answers ----

// A single sample of 100 in a picture of zeros, at (0, 0) or (1, 1) relative
// to the block; the block's first sample at each position, worked by hand:
// b = h = (20 * 100 + 16) >> 5 = 63 next to the peak, j = (400 * 100 + 512) >> 10 = 39.
struct KnownAnswer {
    int peak_x, peak_y;
    std::array<int, 16> want;  // by 4 * dy + dx: G a b c / d e f g / h i j k / n p q r
};
constexpr KnownAnswer kKnown[] = {
    {0, 0, {100, 82, 63, 32, 82, 63, 51, 32, 63, 51, 39, 20, 32, 32, 20, 0}},
    {1, 1, {0, 0, 0, 0, 0, 0, 20, 32, 0, 20, 39, 51, 0, 32, 51, 63}},
};

TEST(InterpolateLuma, KnownAnswersOfTheSixteenPositions) {
    for (const auto& k : kKnown)
        for (int w : {4, 8, 16})
            for (int pos = 0; pos < 16; ++pos) {
                const int dx = pos & 3, dy = pos >> 2;
                Picture<Vek8u> p8(w, 8, 8);
                Picture<Vek16u> p16(w, 8, 8);
                *p8.at(k.peak_x, k.peak_y) = 100;
                *p16.at(k.peak_x, k.peak_y) = 100;
                std::vector<Vek8u> d8(w * 8);
                std::vector<Vek16u> d16(w * 8);
                ASSERT_EQ(vekiInterpolateLuma_H264_8u_C1R(p8.at(0, 0), p8.step, d8.data(), w, dx, dy, roi(w, 8)),
                          vekStsOk);
                const VekInterpolationLuma_16u r{p16.at(0, 0), p16.step, d16.data(), w, dx, dy, w, 8, 8};
                ASSERT_EQ(vekiInterpolateLuma_H264_16u_C1R(&r), vekStsOk);
                EXPECT_EQ(d8[0], k.want[pos]) << "8-bit width " << w << " position " << pos << " peak " << k.peak_x;
                EXPECT_EQ(d16[0], k.want[pos]) << "16-bit width " << w << " position " << pos << " peak " << k.peak_x;
            }
}

// Rows of 0, 0, max, max repeated: b is 0, half, max, half, clipped from
// -64 and 318 (8-bit) or -256 and 1279 (10-bit); a wrap would show other
// values. A flat picture at the maximum stays there at every position.
TEST(InterpolateLuma, ClipsToTheDepth) {
    for (int depth : {8, 10}) {
        const int top = (1 << depth) - 1;
        Picture<Vek16u> p(16, 4, 8);
        Picture<Vek8u> p8(16, 4, 8);
        for (int y = -8; y < 12; ++y)
            for (int x = -8; x < 24; ++x) *p8.at(x, y) = static_cast<Vek8u>(*p.at(x, y) = (x & 2) ? top : 0);
        std::vector<Vek16u> d(16 * 8);
        const VekInterpolationLuma_16u r{p.at(0, 0), p.step, d.data(), 16, 2, 0, 16, 8, depth};
        ASSERT_EQ(vekiInterpolateLuma_H264_16u_C1R(&r), vekStsOk);
        const int want[4] = {0, (top + 1) / 2, top, (top + 1) / 2};
        for (int x = 0; x < 16; ++x) EXPECT_EQ(d[x], want[x & 3]) << "depth " << depth << " x " << x;
        for (int w = 4; depth == 8 && w <= 16; w *= 2) {
            std::vector<Vek8u> d8(16 * 4);
            vekiInterpolateLuma_H264_8u_C1R(p8.at(0, 0), p8.step, d8.data(), 16, 2, 0, roi(w, 4));
            for (int x = 0; x < w; ++x) EXPECT_EQ(d8[x], want[x & 3]) << "width " << w << " x " << x;
        }
    }
    Picture<Vek8u> flat(16, 16, 8);
    std::fill(flat.mem.begin(), flat.mem.end(), Vek8u(255));
    for (int pos = 0; pos < 16; ++pos) {
        std::vector<Vek8u> d(16 * 16);
        vekiInterpolateLuma_H264_8u_C1R(flat.at(0, 0), flat.step, d.data(), 16, pos & 3, pos >> 2, roi(16, 16));
        EXPECT_TRUE(std::all_of(d.begin(), d.end(), [](Vek8u v) { return v == 255; })) << pos;
    }
}

// A width that passes the check but is not 4, 8 or 16 writes its class's
// columns, the same as the class's own width, and nothing beyond.
TEST(InterpolateLuma8u, WidthClassDecidesTheColumnsWritten) {
    struct Case {
        int width, written;
    } const cases[] = {{0, 4}, {12, 8}, {20, 16}, {24, 16}, {28, 16}};
    std::mt19937 rng(7);
    Picture<Vek8u> p(32, 8, 8);
    p.fill(rng, 255);
    for (const auto& c : cases)
        for (int pos : {0, 5, 10, 15}) {
            std::vector<Vek8u> got(40 * 4, 0xCC), want(40 * 4, 0xCC);
            ASSERT_EQ(vekiInterpolateLuma_H264_8u_C1R(p.at(0, 0), p.step, got.data(), 40, pos & 3, pos >> 2,
                                                      roi(c.width, 4)),
                      vekStsOk);
            vekiInterpolateLuma_H264_8u_C1R(p.at(0, 0), p.step, want.data(), 40, pos & 3, pos >> 2,
                                            roi(c.written, 4));
            EXPECT_EQ(got, want) << "width " << c.width << " position " << pos;
            EXPECT_NE(want[c.written - 1], 0xCC);
            EXPECT_EQ(want[c.written], 0xCC);
        }
}

// ---- Top and Bottom ----

// Top and Bottom equal the plain function on the picture padded by its first
// and last rows (columns as they are), for blocks crossing, inside or beyond.
template <class T>
void expect_edge_rows_model(int depth) {
    std::mt19937 rng(8 + depth);
    const int max_value = (1 << depth) - 1;
    for (int trial = 0; trial < 600; ++trial) {
        const int w = 4 << (rng() % 3), h = 4 << (rng() % 3), pos = static_cast<int>(rng() % 16);
        if (sizeof(T) == 2 && w + h == 20) continue;
        Picture<T> pic(w + 8, 12, 40);
        pic.fill(rng, max_value);
        const bool top = rng() & 1;
        Picture<T> padded = pic.padded_rows(top);
        const int y0 = top ? static_cast<int>(rng() % 40) - 34 : static_cast<int>(rng() % 34) - 4;
        const int out = top ? -y0 : y0 + h - pic.h;
        std::vector<T> got(w * h), want(w * h);
        const int dx = pos & 3, dy = pos >> 2;
        if constexpr (sizeof(T) == 1) {
            auto* fn = top ? vekiInterpolateLumaTop_H264_8u_C1R : vekiInterpolateLumaBottom_H264_8u_C1R;
            ASSERT_EQ(fn(pic.at(2, y0), pic.step, got.data(), w, dx, dy, out, roi(w, h)), vekStsOk);
        } else {
            const VekInterpolationLuma_16u r{pic.at(2, y0), pic.step, got.data(), w, dx, dy, w, h, depth};
            ASSERT_EQ((top ? vekiInterpolateLumaTop_H264_16u_C1R : vekiInterpolateLumaBottom_H264_16u_C1R)(&r, out),
                      vekStsOk);
        }
        plain(padded.at(2, y0), padded.step, want.data(), w, h, dx, dy, depth);
        ASSERT_EQ(got, want) << (top ? "top" : "bottom") << " trial " << trial << " " << w << "x" << h << " position "
                             << pos << " y0 " << y0;
    }
}

TEST(InterpolateLumaTopBottom, EqualPictureRepeatingItsEdgeRows) {
    expect_edge_rows_model<Vek8u>(8);
    expect_edge_rows_model<Vek16u>(10);
}

// ---- Block functions ----

// The Block functions equal the plain function at the vector's position in
// the picture padded without limit by its edge samples, for vectors inside,
// across edges and corners, and far outside. The padded picture is built only
// where the filter reads.
template <class T>
void expect_block_padded_model(int depth) {
    std::mt19937 rng(9 + depth);
    const int max_value = (1 << depth) - 1;
    for (int trial = 0; trial < 3000; ++trial) {
        const int w = 4 << (rng() % 3), h = 4 << (rng() % 3);
        if (sizeof(T) == 2 && w + h == 20) continue;
        Picture<T> pic(22 + static_cast<int>(rng() % 30), 22 + static_cast<int>(rng() % 20), 0);
        pic.fill(rng, max_value);
        const int bx = static_cast<int>(rng() % pic.w), by = static_cast<int>(rng() % pic.h);
        const int range = trial % 5 == 0 ? 1000 : 100;  // quarter samples
        const int mvx = static_cast<int>(rng() % (2 * range + 1)) - range;
        const int mvy = static_cast<int>(rng() % (2 * range + 1)) - range;
        Picture<T> window(w + 5, h + 5, 0);
        for (int y = 0; y < h + 5; ++y)
            for (int x = 0; x < w + 5; ++x)
                *window.at(x, y) = *pic.at(std::clamp(bx + (mvx >> 2) + x - 2, 0, pic.w - 1),
                                           std::clamp(by + (mvy >> 2) + y - 2, 0, pic.h - 1));
        std::vector<T> got(w * h, 0), want(w * h, 0);
        if constexpr (sizeof(T) == 1) {
            const VekInterpolationBlock_8u b{{pic.at(0, 0), nullptr}, pic.step, {got.data(), nullptr}, w,
                                             {pic.w, pic.h}, {w, h}, {bx, by}, {mvx, mvy}};
            ASSERT_EQ(vekiInterpolateLumaBlock_H264_8u_P1R(&b), vekStsOk);
        } else {
            const VekInterpolationBlock_16u b{{pic.at(0, 0), nullptr}, pic.step, {got.data(), nullptr}, w,
                                              {pic.w, pic.h}, {w, h}, {bx, by}, {mvx, mvy}, depth};
            ASSERT_EQ(vekiInterpolateLumaBlock_H264_16u_P1R(&b), vekStsOk);
        }
        plain(window.at(2, 2), window.step, want.data(), w, h, mvx & 3, mvy & 3, depth);
        ASSERT_EQ(got, want) << "trial " << trial << " " << w << "x" << h << " in " << pic.w << "x" << pic.h
                             << " at " << bx << "," << by << " mv " << mvx << "," << mvy;
    }
}

TEST(InterpolateLumaBlock, EqualsPictureWithUnlimitedEdgePadding) {
    expect_block_padded_model<Vek8u>(8);
    expect_block_padded_model<Vek16u>(10);
}

TEST(InterpolateLumaBlock, ZeroVectorCopiesWithoutEdgeCheck) {
    // The block lies right of a 16x16 frame; the zero vector copies what is there.
    std::mt19937 rng(10);
    Picture<Vek8u> pic(16, 16, 24);
    pic.fill(rng, 255);
    std::vector<Vek8u> got(8 * 8);
    const VekInterpolationBlock_8u b{{pic.at(0, 0), nullptr}, pic.step, {got.data(), nullptr}, 8,
                                     {16, 16}, {8, 8}, {14, 12}, {0, 0}};
    ASSERT_EQ(vekiInterpolateLumaBlock_H264_8u_P1R(&b), vekStsOk);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) ASSERT_EQ(got[y * 8 + x], *pic.at(14 + x, 12 + y));
}

}  // namespace
