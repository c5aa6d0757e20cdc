// High macroblock reconstruction: argument checks, the bypass and the
// residual limit, and whole macroblocks against an independent model of the
// standard's formulas (64-bit arithmetic, blocks placed by position rather
// than by the walk).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "h264/high_model.h"
#include "vekvc.h"

namespace {

using namespace high_model;

TEST(HighReconstruction, ChecksInOrder) {
    std::vector<Vek32s> buf(256);
    std::vector<Vek16u> pic(kStep * 32);
    Vek32s *p = buf.data(), *none = nullptr;
    const Vek16s table[64] = {};
    Vek16u* mb = pic.data() + 8 * kStep + 8;
    const struct {
        VekH264HighMBParam prm;
        VekStatus want, chroma;  // luma limit 51 + 6 (depth - 8), chroma 39 + 6 (depth - 8)
    } cases[] = {
        {param(nullptr, mb, 2, 0, table, 0, 8), vekStsNullPtrErr, vekStsNullPtrErr},
        {param(&p, nullptr, 2, 0, table, 0, 8), vekStsNullPtrErr, vekStsNullPtrErr},
        {param(&none, mb, 2, 0, table, 0, 8), vekStsNullPtrErr, vekStsNullPtrErr},
        {param(&p, mb, 2, 99, nullptr, 0, 8), vekStsNullPtrErr, vekStsNullPtrErr},
        {VekH264HighMBParam{&p, mb, 0, 2, 99, table, 0, 8}, vekStsStepErr, vekStsStepErr},
        {param(&p, mb, 2, -1, table, 0, 10), vekStsOutOfRangeErr, vekStsOutOfRangeErr},
        {param(&p, mb, 0, 63, table, 0, 10), vekStsOk, vekStsOutOfRangeErr},
        {param(&p, mb, 0, 51, table, 0, 10), vekStsOk, vekStsOk},
        {param(&p, mb, 0, 64, table, 0, 10), vekStsOutOfRangeErr, vekStsOutOfRangeErr},
    };
    const VekH264HighMBParam ok = param(&p, mb, 0, 0, table, 0, 8);
    for (const auto& c : cases) {
        EXPECT_EQ(vekiReconstructLumaInter4x4_H264High_32s16u_IP1R(&c.prm), c.want);
        EXPECT_EQ(vekiReconstructLumaInter8x8_H264High_32s16u_IP1R(&c.prm), c.want);
        EXPECT_EQ(vekiReconstructLumaIntra16x16_H264High_32s16u_IP1R(&c.prm, 4, 0), c.want ? c.want : -11);
        const VekH264HighMBParam* v_bad[2] = {&ok, &c.prm};
        EXPECT_EQ(vekiReconstructChromaInter4x4_H264High_32s16u_IP2R(v_bad), c.chroma);
    }
    EXPECT_EQ(vekiReconstructLumaInter4x4_H264High_32s16u_IP1R(nullptr), vekStsNullPtrErr);
    EXPECT_EQ(vekiReconstructChromaInter4x4_H264High_32s16u_IP2R(nullptr), vekStsNullPtrErr);
    // Intra 16x16: a missing neighbour before the mode's range; nothing written.
    const VekH264HighMBParam coded = param(&p, mb, 0x1FFFF, 20, table, 0, 10);
    EXPECT_EQ(vekiReconstructLumaIntra16x16_H264High_32s16u_IP1R(&coded, 0, VEKVC_TOP_EDGE),
              vekStsNeighbourUnavailableErr);
    EXPECT_EQ(vekiReconstructLumaIntra16x16_H264High_32s16u_IP1R(&coded, 3, VEKVC_TOP_LEFT_EDGE),
              vekStsNeighbourUnavailableErr);
    EXPECT_EQ(pic, std::vector<Vek16u>(kStep * 32));
    EXPECT_EQ(p, buf.data());

    // The 8-bit forms: pointers, then QP (51 luma, 39 chroma), then the mode's neighbours.
    std::vector<Vek16s> b16(64);
    std::vector<Vek8u> y(kStep * 32);
    Vek16s *q = b16.data(), *qnone = nullptr;
    Vek8u* y8 = y.data() + 8 * kStep + 8;
    const VekStatus null = vekStsNullPtrErr, range = vekStsOutOfRangeErr;
    for (auto* fn : {vekiReconstructLumaInter4x4MB_H264_16s8u_C1R, vekiReconstructLumaInter8x8MB_H264_16s8u_C1R}) {
        const VekStatus got[] = {fn(nullptr, y8, kStep, 2, 0, table, 0), fn(&qnone, y8, kStep, 2, 0, table, 0),
                                 fn(&q, y8, kStep, 2, 52, nullptr, 0), fn(&q, y8, kStep, 2, Vek32u(-1), table, 0)};
        EXPECT_EQ(std::vector<VekStatus>(got, got + 4), (std::vector<VekStatus>{null, null, null, range}));
    }
    const VekStatus got8[] = {
        vekiReconstructLumaIntra_16x16MB_H264_16s8u_C1R(&q, y8, kStep, 4, 0, 52, 0, table, 0),
        vekiReconstructLumaIntra_16x16MB_H264_16s8u_C1R(&q, y8, kStep, 1, 0, 20, VEKVC_LEFT_EDGE, table, 0),
        vekiReconstructChromaInter4x4MB_H264_16s8u_P2R(&q, y8, y8, kStep, 1u << 17, 0, 0, table, nullptr, 0),
        vekiReconstructChromaInter4x4MB_H264_16s8u_P2R(&q, y8, y8, kStep, 1u << 17, 39, 40, table, table, 0)};
    EXPECT_EQ(std::vector<VekStatus>(got8, got8 + 4),
              (std::vector<VekStatus>{range, vekStsNeighbourUnavailableErr, null, range}));
    EXPECT_EQ(q, b16.data());
}

// The bypass acts only at QP 0 and takes the levels as the residual, which is
// limited to -1023..1023 before the add at 10 bits: seen with a prediction
// above the range. Only the first 8x8 block is coded.
TEST(HighReconstruction, BypassAndResidualLimit) {
    const std::vector<Vek16s> flat(64, 16);
    const struct {
        int qp, level;
        Vek32u bypass;
        Vek16u pred, want;
    } cases[] = {{0, 7, 1, 500, 507},      {0, -600, 1, 500, 0},  {0, 900, 1, 500, 1023},
                 {0, -5000, 1, 4000, 1023}, {1, 7, 1, 500, 500}, {0, 7, 0, 500, 500}};
    for (const auto& c : cases) {
        std::vector<Vek32s> lv(64, c.level);
        std::vector<Vek16u> pic(kStep * 16, c.pred);
        Vek32s* p = lv.data();
        const VekH264HighMBParam prm = param(&p, pic.data(), 1, c.qp, flat.data(), c.bypass, 10);
        ASSERT_EQ(vekiReconstructLumaInter8x8_H264High_32s16u_IP1R(&prm), 0);
        EXPECT_EQ(pic[3 * kStep + 3], c.want) << c.qp << " " << c.level;
        EXPECT_EQ(pic[8], c.pred);
    }
}

// Runs the 8-bit or the 16-bit form of a luma inter function.
template <class Sample, class Level>
VekStatus run_inter(int n, Level** pp, Sample* mb, Vek32u cbp, int qp, const Vek16s* table, bool bypass, int depth) {
    if constexpr (sizeof(Sample) == 1) {
        return (n == 4 ? vekiReconstructLumaInter4x4MB_H264_16s8u_C1R : vekiReconstructLumaInter8x8MB_H264_16s8u_C1R)(
            pp, mb, kStep, cbp, qp, table, bypass);
    } else {
        const VekH264HighMBParam prm = param(pp, mb, cbp, qp, table, bypass, depth);
        return (n == 4 ? vekiReconstructLumaInter4x4_H264High_32s16u_IP1R
                       : vekiReconstructLumaInter8x8_H264High_32s16u_IP1R)(&prm);
    }
}

template <class Sample, class Level>
void inter_trial(std::mt19937& rng, int trial) {
    const int n = trial & 1 ? 8 : 4, depth = sizeof(Sample) == 1 ? 8 : 8 + static_cast<int>(rng() % 7);
    const int maxv = (1 << depth) - 1, qp = static_cast<int>(rng() % ((depth - 8) * 6 + 52)), per = n * n;
    const bool bypass = rng() % 4 == 0, lossless = bypass && qp == 0;
    const Vek32u cbp = static_cast<Vek32u>(rng());
    std::vector<Vek16s> table(64);
    for (auto& t : table) t = static_cast<Vek16s>(6 + rng() % 250);
    std::vector<Level> lv(256);
    for (auto& l : lv) l = static_cast<Level>(static_cast<int>(rng() % 801) - 400) / (qp < 6 ? 1 : 10);
    std::vector<Sample> got = plane<Sample>(rng, maxv), want = got;
    int used = 0;
    for (int i = 0; i < (n == 4 ? 16 : 4); ++i) {
        if (!((n == 4 ? cbp >> (i + 1) : cbp >> i) & 1)) continue;
        const int x = n == 4 ? kX4[i] : (i & 1) * 8, y = n == 4 ? kY4[i] : (i >> 1) * 8;
        std::vector<I64> c(per);
        for (int k = 0; k < per; ++k) c[k] = lossless ? lv[used + k] : scale(lv[used + k], table[k], qp, n == 4 ? 4 : 6);
        add_block(c, n, lossless, maxv, want.data() + (8 + y) * kStep + 8 + x, kStep);
        used += per;
    }
    Level* p = lv.data();
    ASSERT_EQ(run_inter(n, &p, got.data() + 8 * kStep + 8, cbp, qp, table.data(), bypass, depth), 0);
    EXPECT_EQ(p - lv.data(), used);
    ASSERT_EQ(got, want) << trial;
}

TEST(HighReconstruction, InterMatchesModel) {
    std::mt19937 rng(5);
    for (int trial = 0; trial < 400; ++trial)
        trial & 2 ? inter_trial<Vek8u, Vek16s>(rng, trial) : inter_trial<Vek16u, Vek32s>(rng, trial);
}

// Intra 16x16: the residual against the model (DC Hadamard scaled with
// table[0], or lossless with the accumulation along the prediction's
// direction) over the library's own prediction, DC without neighbours at
// mid-range, and at 8 bits the whole macroblock against the 8-bit form's
// (whose prediction is held to the standard elsewhere).
TEST(HighReconstruction, Intra16x16MatchesModel) {
    std::mt19937 rng(7);
    const int h[4][4] = {{1, 1, 1, 1}, {1, 1, -1, -1}, {1, -1, -1, 1}, {1, -1, 1, -1}};
    for (int trial = 0; trial < 300; ++trial) {
        const int mode = static_cast<int>(rng() % 4), depth = 8 + static_cast<int>(rng() % 7), maxv = (1 << depth) - 1;
        const int qp = rng() % 3 == 0 ? 0 : static_cast<int>(rng() % ((depth - 8) * 6 + 52));
        const bool bypass = rng() % 2, lossless = bypass && qp == 0;
        const Vek32u cbp = static_cast<Vek32u>(rng()) & 0x1FFFF;
        const Vek8u edge = static_cast<Vek8u>(mode == 2 ? rng() & 5 : 0);
        std::vector<Vek16s> table(16);
        for (auto& t : table) t = static_cast<Vek16s>(6 + rng() % 250);
        std::vector<Vek32s> lv(17 * 16);
        for (auto& l : lv) l = static_cast<int>(rng() % 61) - 30;
        std::vector<Vek16u> got = plane<Vek16u>(rng, maxv), want = got, none(16);
        const std::vector<Vek16u> orig = got;
        Vek32s *p = lv.data(), *d = reinterpret_cast<Vek32s*>(none.data());
        const VekH264HighMBParam prm = param(&p, got.data() + 8 * kStep + 8, cbp, qp, table.data(), bypass, depth);
        const VekH264HighMBParam pred = param(&d, want.data() + 8 * kStep + 8, 0, 0, table.data(), 0, depth);
        ASSERT_EQ(vekiReconstructLumaIntra16x16_H264High_32s16u_IP1R(&prm, mode, edge), 0);
        ASSERT_EQ(vekiReconstructLumaIntra16x16_H264High_32s16u_IP1R(&pred, mode, edge), 0);
        EXPECT_TRUE(edge != (VEKVC_TOP_EDGE | VEKVC_LEFT_EDGE) || want[23 * kStep + 23] == (maxv + 1) / 2);  // mid-range
        int used = cbp & 1 ? 16 : 0;
        I64 dc[16] = {};
        for (int i = 0; i < 16 && (cbp & 1); ++i)
            for (int a = 0; a < 16 && !lossless; ++a) dc[i] += h[i / 4][a / 4] * lv[a] * h[i % 4][a % 4];
        for (int i = 0; i < 16 && (cbp & 1); ++i)
            dc[i] = lossless ? lv[i] : scale(dc[i], table[0], qp, 6);
        std::vector<I64> r(256);
        for (int b = 0; b < 16; ++b) {
            std::vector<I64> c(16, 0);
            const bool ac = (cbp >> (b + 1)) & 1;
            for (int k = 1; k < 16 && ac; ++k) c[k] = lossless ? lv[used + k] : scale(lv[used + k], table[k], qp, 4);
            used += ac ? 16 : 0;
            c[0] = dc[(kY4[b] / 4) * 4 + kX4[b] / 4];
            if (!lossless) transform(c, 4);
            for (int k = 0; k < 16; ++k) r[(kY4[b] + k / 4) * 16 + kX4[b] + k % 4] = c[k];
        }
        if (lossless) accumulate(r, 16, mode == 0 ? 1 : mode == 1 ? 2 : 0);
        add_block(r, 16, true, maxv, want.data() + 8 * kStep + 8, kStep);
        EXPECT_EQ(p - lv.data(), used);
        ASSERT_EQ(got, want) << trial;
        if (depth == 8) {  // the 8-bit form on the same macroblock
            std::vector<Vek8u> y(orig.begin(), orig.end());
            std::vector<Vek16s> l16(lv.begin(), lv.end());
            Vek16s* q = l16.data();
            ASSERT_EQ(vekiReconstructLumaIntra_16x16MB_H264_16s8u_C1R(&q, y.data() + 8 * kStep + 8, kStep, mode, cbp, qp,
                                                                    edge, table.data(), bypass),
                      0);
            EXPECT_EQ(q - l16.data(), used);
            ASSERT_TRUE(std::equal(y.begin(), y.end(), got.begin())) << trial;
        }
    }
}

}  // namespace
