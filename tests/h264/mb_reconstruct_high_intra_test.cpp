// High intra macroblocks: argument checks, and whole macroblocks against the
// model of high_model.h at every depth and edge combination (the 8x8
// reference sample filter, the stand-in 2^(depth - 1) for a missing sample,
// the 4x4 forms' warning).
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "h264/high_model.h"
#include "vekvc.h"

namespace {

using namespace high_model;

int coded_number(int x, int y) {
    for (int b = 0; b < 16; ++b)
        if (kX4[b] == x && kY4[b] == y) return b;
    return 16;
}

// Expected Intra N x N luma macroblock: blocks in decoding order, each
// predicted from the expected plane with neighbour availability worked out
// from positions, then its residual. Returns the levels used; *warn tells
// whether a 4x4 mode lacked a neighbour it needs.
template <class Sample, class Level>
int luma_intra_model(int n, int count, Sample* mb, const Vek32s* modes, Vek32u cbp, const Level* lv, int qp,
                     const Vek16s* table, bool lossless, int edge, int maxv, bool* warn) {
    const I64 mid = (maxv + 1) / 2;
    int used = 0;
    *warn = false;
    for (int b = 0; b < count; ++b) {
        const int x = n == 4 ? kX4[b] : (b & 1) * 8, y = n == 4 ? kY4[b] : (b >> 1) * 8, mode = modes[b];
        Sample* blk = mb + y * kStep + x;
        const bool top = y > 0 || !(edge & VEKVC_TOP_EDGE), left = x > 0 || !(edge & VEKVC_LEFT_EDGE);
        const bool corner = x > 0 && y > 0 ? true : x == 0 && y == 0 ? !(edge & VEKVC_TOP_LEFT_EDGE) : x == 0 ? left : top;
        const bool right = y == 0 ? (x + n < 16 ? top : !(edge & VEKVC_TOP_RIGHT_EDGE))
                                  : x + n < 16 && (n == 8 ? b == 2 : coded_number(x + 4, y - 4) < b);
        Neighbours nb;
        nb.top[0] = corner ? blk[-kStep - 1] : mid;
        for (int i = 0; i < 2 * n; ++i) {
            if (n == 4) nb.top[i + 1] = i < 4 ? (top ? blk[i - kStep] : mid) : right ? blk[i - kStep] : nb.top[4];
            else nb.top[i + 1] = !top ? mid : i < 8 || right ? blk[i - kStep] : blk[7 - kStep];
        }
        for (int i = 0; i < n; ++i) nb.left[i] = left ? blk[i * kStep - 1] : mid;
        if (n == 8) nb = filter8x8(nb, top, left, corner);
        const bool needs_top = mode != 1 && mode != 2 && mode != 8, needs_left = mode == 1 || (mode >= 4 && mode <= 6) || mode == 8;
        *warn |= n == 4 && ((needs_top && !top) || (needs_left && !left) || (mode >= 4 && mode <= 6 && !corner));
        for (int yy = 0; yy < n; ++yy)
            for (int xx = 0; xx < n; ++xx)
                blk[yy * kStep + xx] = static_cast<Sample>(predict_nxn(n, mode, nb, top, left, mid, xx, yy));
        if (!((cbp >> (b + 1)) & 1)) continue;
        std::vector<I64> c(n * n);
        for (int k = 0; k < n * n; ++k) c[k] = lossless ? lv[used + k] : scale(lv[used + k], table[k], qp, n == 4 ? 4 : 6);
        if (lossless) accumulate(c, n, mode == 0 ? 1 : mode == 1 ? 2 : 0);
        add_block(c, n, lossless, maxv, blk, kStep);
        used += n * n;
    }
    return used;
}

template <class Sample, class Level>
VekStatus run_luma_intra(int n, bool half, Level** pp, Sample* mb, const Vek32s* modes, Vek32u cbp, int qp,
                         const Vek16s* table, bool bypass, int edge, int depth) {
    const auto e = static_cast<Vek8u>(edge);
    if constexpr (sizeof(Sample) == 1) {
        if (half)
            return (n == 4 ? vekiReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R
                           : vekiReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R)(pp, mb, kStep, modes, cbp, qp, e, table);
        return (n == 4 ? vekiReconstructLumaIntra4x4MB_H264_16s8u_C1R : vekiReconstructLumaIntra8x8MB_H264_16s8u_C1R)(
            pp, mb, kStep, modes, cbp, qp, e, table, bypass);
    } else {
        const VekH264HighMBParam prm = param(pp, mb, cbp, qp, table, bypass, depth);
        if (half)
            return (n == 4 ? vekiReconstructLumaIntraHalf4x4_H264High_32s16u_IP1R
                           : vekiReconstructLumaIntraHalf8x8_H264High_32s16u_IP1R)(&prm, modes, e);
        return (n == 4 ? vekiReconstructLumaIntra4x4_H264High_32s16u_IP1R
                       : vekiReconstructLumaIntra8x8_H264High_32s16u_IP1R)(&prm, modes, e);
    }
}

TEST(HighIntra, ChecksInOrder) {
    std::vector<Vek32s> buf(1024);
    std::vector<Vek16u> pic(kStep * 32, 7);
    const std::vector<Vek16u> untouched = pic;
    Vek32s* p = buf.data();
    const Vek16s table[64] = {};
    const Vek32s modes[16] = {}, bad_mode[16] = {0, 9};
    Vek16u* mb = pic.data() + 8 * kStep + 8;
    const VekH264HighMBParam ok = param(&p, mb, 0x1FFFF, 20, table, 0, 9), qp64 = param(&p, mb, 2, 64, table, 0, 10);
    const struct {
        const VekH264HighMBParam* prm;
        const Vek32s* modes;
        VekStatus want;
    } luma[] = {{&ok, nullptr, vekStsNullPtrErr},
                {nullptr, modes, vekStsNullPtrErr},
                {&qp64, nullptr, vekStsNullPtrErr},
                {&qp64, bad_mode, vekStsOutOfRangeErr},
                {&ok, bad_mode, vekStsOutOfRangeErr}};
    for (const auto& c : luma) {
        EXPECT_EQ(vekiReconstructLumaIntra4x4_H264High_32s16u_IP1R(c.prm, c.modes, 0), c.want);
        EXPECT_EQ(vekiReconstructLumaIntra8x8_H264High_32s16u_IP1R(c.prm, c.modes, 0), c.want);
    }
    EXPECT_EQ(pic, untouched);
    EXPECT_EQ(p, buf.data());

    std::vector<Vek16s> b16(1024);
    std::vector<Vek8u> y(kStep * 32, 7);
    const std::vector<Vek8u> y_untouched = y;
    Vek16s *q = b16.data(), *none = nullptr;
    Vek8u* y8 = y.data() + 8 * kStep + 8;
    for (auto* fn : {vekiReconstructLumaIntra4x4MB_H264_16s8u_C1R, vekiReconstructLumaIntra8x8MB_H264_16s8u_C1R}) {
        EXPECT_EQ(fn(&q, y8, kStep, nullptr, 2, 0, 0, table, 0), vekStsNullPtrErr);
        EXPECT_EQ(fn(&none, y8, kStep, modes, 2, 0, 0, table, 0), vekStsNullPtrErr);
        EXPECT_EQ(fn(&q, y8, kStep, modes, 2, 52, 0, nullptr, 0), vekStsNullPtrErr);
        EXPECT_EQ(fn(&q, y8, kStep, bad_mode, 2, 52, 0, table, 0), vekStsOutOfRangeErr);
        EXPECT_EQ(fn(&q, y8, kStep, bad_mode, 2, 51, 0, table, 0), vekStsOutOfRangeErr);
    }
    for (auto* fn : {vekiReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R, vekiReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R}) {
        EXPECT_EQ(fn(&q, y8, kStep, nullptr, 2, 52, 0, table), vekStsNullPtrErr);
        EXPECT_EQ(fn(&q, y8, 0, bad_mode, 2, 52, 0, table), vekStsStepErr);
        EXPECT_EQ(fn(&q, y8, kStep, modes, 2, 52, 0, table), vekStsOutOfRangeErr);
        EXPECT_EQ(fn(&q, y8, kStep, bad_mode, 2, 51, 0, table), vekStsOutOfRangeErr);
    }
    EXPECT_EQ(y, y_untouched);
    EXPECT_EQ(q, b16.data());
}

template <class Sample, class Level>
void luma_intra_trial(std::mt19937& rng, int trial) {
    const int n = trial & 2 ? 8 : 4, depth = sizeof(Sample) == 1 ? 8 : 8 + static_cast<int>(rng() % 7);
    const int maxv = (1 << depth) - 1, qp = rng() % 3 ? static_cast<int>(rng() % ((depth - 8) * 6 + 52)) : 0;
    const bool half = trial & 4, bypass = rng() % 2;
    const bool lossless = bypass && qp == 0 && !(half && sizeof(Sample) == 1);  // the 8-bit Half forms have no bypass
    const Vek32u cbp = static_cast<Vek32u>(rng());
    const int edge = static_cast<int>(rng() & (VEKVC_LEFT_EDGE | VEKVC_TOP_EDGE | VEKVC_TOP_LEFT_EDGE | VEKVC_TOP_RIGHT_EDGE));
    Vek32s modes[16];
    for (auto& m : modes) m = static_cast<Vek32s>(rng() % 9);
    std::vector<Vek16s> table(64);
    for (auto& t : table) t = static_cast<Vek16s>(6 + rng() % 250);
    std::vector<Level> lv(256);
    for (auto& l : lv) l = static_cast<Level>(static_cast<int>(rng() % 201) - 100) / (qp < 6 ? 1 : 4);
    std::vector<Sample> got = plane<Sample>(rng, maxv), want = got;
    bool warn = false;
    const Vek32u block_bits = n == 4 ? cbp : cbp << 1;
    const int used = luma_intra_model(n, (n == 4 ? 16 : 4) / (half ? 2 : 1), want.data() + 8 * kStep + 8, modes, block_bits, lv.data(), qp, table.data(),
                                      lossless, edge, maxv, &warn);
    Level* p = lv.data();
    ASSERT_EQ(run_luma_intra(n, half, &p, got.data() + 8 * kStep + 8, modes, cbp, qp, table.data(), bypass, edge, depth),
              warn ? vekStsNeighbourFallbackWrn : vekStsOk)
        << trial;
    EXPECT_EQ(p - lv.data(), used);
    ASSERT_EQ(got, want) << trial << " n " << n << " half " << half << " edge " << edge;
}

TEST(HighIntra, LumaMatchesModel) {
    std::mt19937 rng(13);
    for (int trial = 0; trial < 800; ++trial)
        trial & 1 ? luma_intra_trial<Vek8u, Vek16s>(rng, trial) : luma_intra_trial<Vek16u, Vek32s>(rng, trial);
}

}  // namespace
