// Contract and known-answer tests of the VC-1 interpolations, and the IC forms
// against a model that builds the padded neighbourhood sample by sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "vekvc.h"

namespace {

constexpr int kStep = 96;  // bytes; planes of 40 rows

int pattern(int x, int y) { return (x * x * 7 + y * 13 + x * y * 5 + 11) & 255; }

std::vector<Vek8u> pattern_plane() {
    std::vector<Vek8u> plane(kStep * 40);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < kStep; ++x) plane[y * kStep + x] = static_cast<Vek8u>(pattern(x, y));
    return plane;
}

using PlainFn = VekStatus (*)(const VekVCInterpolate_8u*);
using IcFn = VekStatus (*)(const VekVCInterpolateBlockIC_8u*);

TEST(VC1Interp, NullPointers) {
    Vek8u buf[64] = {};
    for (PlainFn fn : {vekiInterpolateQPBicubic_VC1_8u_C1R, vekiInterpolateQPBilinear_VC1_8u_C1R,
                       vekiInterpolateQPBilinear_VC1_8u_C2R}) {
        VekVCInterpolate_8u no_dst{buf, 8, nullptr, 8, 0, 0, {4, 4}, 0}, no_src{nullptr, 8, buf, 8, 0, 0, {4, 4}, 0};
        for (const VekVCInterpolate_8u* p : {(VekVCInterpolate_8u*)nullptr, &no_dst, &no_src}) EXPECT_EQ(fn(p), vekStsNullPtrErr);
    }
    for (IcFn fn : {vekiInterpolateICBicubicBlock_VC1_8u_C1R, vekiInterpolateICBilinearBlock_VC1_8u_C1R,
                    vekiInterpolateICBilinearBlock_VC1_8u_C2R}) {
        VekVCInterpolateBlockIC_8u p{};
        p.pSrc = buf;
        for (const VekVCInterpolateBlockIC_8u* q : {(VekVCInterpolateBlockIC_8u*)nullptr, &p}) EXPECT_EQ(fn(q), vekStsNullPtrErr);
    }
}

// Sum, first and last sample of the prediction at (3, 3) of the pattern plane
// (pairs: byte 6), from an independent model of the formulas. Bicubic cases
// cover each shift class and both rounding senses; the bilinear ones each
// half-sample kernel and the quarter-sample forms.
struct KnownCase {
    PlainFn fn;
    int width, height, pitch, dx, dy, rc;
    int sum, first, last;
};

constexpr PlainFn kBic = vekiInterpolateQPBicubic_VC1_8u_C1R;
constexpr PlainFn kBil = vekiInterpolateQPBilinear_VC1_8u_C1R;
constexpr PlainFn kBil2 = vekiInterpolateQPBilinear_VC1_8u_C2R;

constexpr KnownCase kKnown[] = {
    {kBic, 8, 8, 1, 0, 0, 0, 8144, 158, 61},      {kBic, 8, 8, 1, 1, 0, 0, 8100, 184, 33},
    {kBic, 8, 8, 1, 2, 0, 1, 8080, 204, 14},      {kBic, 8, 8, 1, 0, 1, 1, 8128, 165, 61},
    {kBic, 8, 8, 1, 0, 2, 0, 8064, 172, 76},      {kBic, 8, 8, 1, 1, 1, 0, 8076, 195, 34},
    {kBic, 8, 8, 1, 2, 2, 1, 8017, 228, 36},      {kBic, 8, 8, 1, 2, 2, 0, 8049, 229, 37},
    {kBic, 8, 8, 1, 3, 1, 1, 8049, 239, 2},       {kBic, 8, 8, 1, 1, 2, 0, 8051, 204, 53},
    {kBic, 8, 8, 1, 2, 3, 1, 7999, 236, 62},      {kBic, 16, 8, 1, 0, 3, 1, 16532, 179, 118},
    {kBic, 8, 16, 1, 3, 1, 1, 16444, 239, 79},  // 8x16 runs as 16x8
    {kBic, 16, 16, 1, 1, 1, 0, 32566, 195, 65},   {kBic, 16, 16, 1, 2, 3, 1, 32845, 236, 172},
    {kBil, 4, 4, 1, 2, 0, 1, 2164, 190, 69},      {kBil, 4, 4, 1, 0, 2, 0, 2228, 172, 31},
    {kBil, 4, 4, 1, 2, 2, 1, 2088, 205, 92},      {kBil, 4, 4, 1, 1, 1, 1, 2202, 181, 50},
    {kBil, 8, 4, 1, 0, 3, 0, 3984, 179, 112},     {kBil, 8, 8, 1, 6, 0, 1, 8080, 190, 31},  // dx 6 is 2
    {kBil, 16, 16, 1, 4, 7, 0, 32896, 179, 114},  // (4, 7) is (0, 3)
    {kBil2, 4, 4, 2, 0, 0, 0, 4088, 136, 126},    {kBil2, 8, 4, 2, 1, 0, 1, 7696, 128, 199},
    {kBil2, 8, 8, 2, 3, 2, 0, 16032, 139, 78},
};

TEST(VC1Interp, KnownAnswers) {
    const auto plane = pattern_plane();
    for (const KnownCase& k : kKnown) {
        const bool tall = k.fn == kBic && k.width == 8 && k.height == 16;
        const int w = tall ? 16 : k.width, h = tall ? 8 : k.height;
        std::vector<Vek8u> out(32 * 17, 0xEE);
        VekVCInterpolate_8u p{plane.data() + 3 * kStep + 3 * k.pitch, kStep, out.data(), 32, k.dx, k.dy,
                              {k.width, k.height}, k.rc};
        ASSERT_EQ(k.fn(&p), vekStsOk);
        int sum = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w * k.pitch; ++x) sum += out[y * 32 + x];
        SCOPED_TRACE(testing::Message() << k.width << "x" << k.height << " pitch " << k.pitch << " dx " << k.dx
                                        << " dy " << k.dy << " rc " << k.rc);
        EXPECT_EQ(sum, k.sum);
        EXPECT_EQ(out[0], k.first);
        EXPECT_EQ(out[(h - 1) * 32 + w * k.pitch - 1], k.last);
        EXPECT_EQ(out[h * 32], 0xEE) << "row below the block written";
        EXPECT_EQ(out[w * k.pitch], 0xEE) << "column after the block written";
    }
}

// ---- IC forms -----------------------------------------------------------------

constexpr int kFrameW = 40, kFrameH = 24;  // samples (pairs for C2)

// The neighbourhood sample at region row j, column i, byte b, built from the
// padding rules one sample at a time.
int model_sample(const VekVCInterpolateBlockIC_8u& p, const Vek8u* frame, int pitch, int i, int j, int b) {
    const bool field = p.fieldPrediction != 0, bottom = p.isPredBottom != 0;
    const int h = field ? kFrameH / 2 : kFrameH;
    const int r = p.pointBlockPos.y - 1 + j;
    int frame_row;
    const Vek8u* lut;
    if (field) {
        lut = bottom ? p.pLUTBottom : p.pLUTTop;
        if (p.oppositePadding && r < 0) {
            frame_row = 0;
            lut = p.pLUTTop;
        } else if (p.oppositePadding && r >= h) {
            frame_row = kFrameH - 1;
            lut = p.pLUTBottom;
        } else {
            frame_row = 2 * std::clamp(r, 0, h - 1) + (bottom ? 1 : 0);
        }
    } else {
        if (r < 0) frame_row = p.oppositePadding ? (r % 2 == 0 ? 0 : 1) : 0;
        else if (r >= h) frame_row = p.oppositePadding ? ((h - 1 - r) % 2 == 0 ? h - 1 : h - 2) : h - 1;
        else frame_row = r;
        lut = (r % 2 == 0) ? p.pLUTTop : p.pLUTBottom;
    }
    const int col = std::clamp(p.pointBlockPos.x - 1 + i, 0, kFrameW - 1);
    const int v = frame[frame_row * kStep + col * pitch + b];
    return lut ? lut[v] : v;
}

TEST(VC1Interp, IcFormsMatchPaddedModel) {
    const auto frame = pattern_plane();
    std::array<Vek8u, 256> top{}, bottom{};
    for (int v = 0; v < 256; ++v) {
        top[v] = static_cast<Vek8u>(255 - v);
        bottom[v] = static_cast<Vek8u>(v / 2 + 60);
    }
    struct Form {
        IcFn ic;
        PlainFn plain;
        int pitch, bw, bh;
    };
    const Form forms[] = {{vekiInterpolateICBicubicBlock_VC1_8u_C1R, kBic, 1, 16, 16},
                          {vekiInterpolateICBilinearBlock_VC1_8u_C1R, kBil, 1, 8, 4},
                          {vekiInterpolateICBilinearBlock_VC1_8u_C2R, kBil2, 2, 8, 8}};
    // Interior, each border and corner, wholly outside above, below, left, right.
    const VekPoint positions[] = {{5, 4},  {0, 0},   {-3, -2}, {30, 2},  {kFrameW - 4, 20}, {10, -30},
                                  {8, 25}, {-40, 3}, {60, 6},  {-20, 40}, {1, 1}};
    const Vek8u* luts[][2] = {{nullptr, nullptr}, {top.data(), bottom.data()}, {nullptr, bottom.data()}};
    int phase = 0;
    for (const Form& f : forms)
        for (const VekPoint pos : positions)
            for (const auto& lut : luts)
                for (int mode = 0; mode < 6; ++mode) {  // frame, then field top and bottom; opposite padding or not
                    const int field = mode >= 2, opposite = mode & 1, bot = mode >= 4;
                    ++phase;
                    std::vector<Vek8u> got(16 * 32, 0xEE), want(16 * 32, 0xEE);
                    const VekVCInterpolateBlockIC_8u p{frame.data() + (bot ? kStep : 0), kStep, got.data(), 32, lut[0],
                        lut[1], {kFrameW, kFrameH}, {f.bw, f.bh}, pos, phase % 4, (phase / 4) % 4, opposite, field,
                        (phase / 16) & 1, bot};
                    ASSERT_EQ(f.ic(&p), vekStsOk);
                    constexpr int kRs = 64;
                    std::vector<Vek8u> region(kRs * 19);
                    for (int j = 0; j < f.bh + 3; ++j)
                        for (int i = 0; i < (f.bw + 3) * f.pitch; ++i)
                            region[j * kRs + i] = static_cast<Vek8u>(model_sample(p, frame.data(), f.pitch, i / f.pitch, j, i % f.pitch));
                    VekVCInterpolate_8u plain{region.data() + kRs + f.pitch, kRs, want.data(), 32, p.dx, p.dy,
                                              p.sizeBlock, p.roundControl};
                    ASSERT_EQ(f.plain(&plain), vekStsOk);
                    ASSERT_EQ(got, want) << "block " << f.bw << "x" << f.bh << " pitch " << f.pitch << " at (" << pos.x
                                         << ", " << pos.y << ") mode " << mode << " luts " << (lut[0] != nullptr)
                                         << (lut[1] != nullptr);
                }
}

}  // namespace
