// Macroblock reconstruction: argument checks, the walk over the coefficient
// buffer, and whole macroblocks against the same work done block by block
// through the single-block functions.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "vekvc.h"

namespace {

constexpr int kStep = 48;
constexpr int kBlockX[16] = {0, 4, 0, 4, 8, 12, 8, 12, 0, 4, 0, 4, 8, 12, 8, 12};
constexpr int kBlockY[16] = {0, 0, 4, 4, 0, 0, 4, 4, 8, 8, 12, 12, 8, 8, 12, 12};

// A luma plane with one macroblock at (16, 16) and its neighbours, and two
// chroma planes with the 8x8 block at (8, 8).
struct Picture {
    std::vector<Vek8u> y = std::vector<Vek8u>(kStep * 48), u = std::vector<Vek8u>(kStep * 24),
                       v = std::vector<Vek8u>(kStep * 24);
    explicit Picture(std::mt19937& rng) {
        for (auto* p : {&y, &u, &v})
            for (auto& s : *p) s = static_cast<Vek8u>(rng());
    }
    Vek8u* mb() { return y.data() + 16 * kStep + 16; }
    Vek8u* mbu() { return u.data() + 8 * kStep + 8; }
    Vek8u* mbv() { return v.data() + 8 * kStep + 8; }
};

std::vector<Vek16s> random_coeffs(std::mt19937& rng, std::size_t n) {
    std::vector<Vek16s> c(n);
    for (auto& x : c) x = static_cast<Vek16s>(static_cast<int>(rng() % 41) - 20);
    return c;
}

// Availability of coded block n from the macroblock's edge type (the 4x4 table).
Vek32s avail4x4(int n, int edge) {
    const bool top = !(edge & VEKVC_TOP_EDGE), left = !(edge & VEKVC_LEFT_EDGE);
    const bool tl = !(edge & VEKVC_TOP_LEFT_EDGE), tr = !(edge & VEKVC_TOP_RIGHT_EDGE);
    switch (n) {
    case 0: return (top ? 65 : 0) + (left ? 2 : 0) + (tl ? 32 : 0);
    case 1: case 4: return (top ? 97 : 0) + 2;
    case 2: case 8: case 10: return 65 + (left ? 34 : 0);
    case 5: return (top ? 33 : 0) + (tr ? 64 : 0) + 2;
    case 6: case 9: case 12: case 14: return 99;
    default: return 35;
    }
}

Vek32s avail_mb(int edge) {
    return (edge & VEKVC_TOP_EDGE ? 0 : 1) | (edge & VEKVC_LEFT_EDGE ? 0 : 2) | (edge & VEKVC_TOP_LEFT_EDGE ? 0 : 32);
}

TEST(MacroblockReconstruction, ChecksInOrder) {
    std::mt19937 rng(1);
    Picture pic(rng);
    std::vector<Vek16s> buf(512);
    Vek16s* p = buf.data();
    Vek16s* null_coeffs = nullptr;
    const Vek32s modes[16] = {};
    EXPECT_EQ(vekiReconstructLumaInterMB_H264_16s8u_C1R(nullptr, pic.mb(), kStep, 2, 60), vekStsNullPtrErr);
    EXPECT_EQ(vekiReconstructLumaInterMB_H264_16s8u_C1R(&null_coeffs, pic.mb(), kStep, 2, 26), vekStsNullPtrErr);
    EXPECT_EQ(vekiReconstructLumaInterMB_H264_16s8u_C1R(&p, pic.mb(), kStep, 2, 52), vekStsOutOfRangeErr);
    EXPECT_EQ(vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&p, nullptr, kStep, 0, 0, 26, 0), vekStsNullPtrErr);
    EXPECT_EQ(vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&p, pic.mb(), kStep, 4, 0, 26, 0), vekStsOutOfRangeErr);
    EXPECT_EQ(vekiReconstructLumaIntraMB_H264_16s8u_C1R(&p, pic.mb(), kStep, nullptr, 0, 26, 0), vekStsNullPtrErr);
    EXPECT_EQ(vekiReconstructLumaIntraMB_H264_16s8u_C1R(&p, pic.mb(), kStep, modes, 0, Vek32u(-1), 0),
              vekStsOutOfRangeErr);
    EXPECT_EQ(vekiReconstructLumaIntraHalfMB_H264_16s8u_C1R(&p, pic.mb(), 0, modes, 0, 52, 0), vekStsStepErr);
    EXPECT_EQ(vekiReconstructLumaIntraHalfMB_H264_16s8u_C1R(&p, pic.mb(), kStep, modes, 0, 52, 0),
              vekStsOutOfRangeErr);
    EXPECT_EQ(vekiReconstructChromaInterMB_H264_16s8u_P2R(&p, pic.mbu(), nullptr, kStep, 0, 40), vekStsNullPtrErr);
    EXPECT_EQ(vekiReconstructChromaInterMB_H264_16s8u_P2R(&p, pic.mbu(), pic.mbv(), kStep, 0, 40),
              vekStsOutOfRangeErr);
    EXPECT_EQ(vekiReconstructChromaIntraMB_H264_16s8u_P2R(&p, pic.mbu(), pic.mbv(), kStep, 4, 0, 39, 0),
              vekStsOutOfRangeErr);
    // The halves form refuses horizontal even with every neighbour there, and
    // checks chromaQP 40..51 only after predicting.
    EXPECT_EQ(vekiReconstructChromaIntraHalfsMB_H264_16s8u_P2R(&p, pic.mbu(), pic.mbv(), kStep, 1, 0, 20, 0, 0),
              vekStsNeighbourUnavailableErr);
    EXPECT_EQ(vekiReconstructChromaIntraHalfsMB_H264_16s8u_P2R(&p, pic.mbu(), pic.mbv(), kStep, 0, 0, 52, 0, 0),
              vekStsOutOfRangeErr);
    const Vek8u before = pic.mbu()[0];
    pic.mbu()[-kStep] = static_cast<Vek8u>(before + 77);
    EXPECT_EQ(vekiReconstructChromaIntraHalvesMB_H264_16s8u_P2R(&p, pic.mbu(), pic.mbv(), kStep, 2, 0, 45, 0, 0),
              vekStsOutOfRangeErr);
    EXPECT_EQ(pic.mbu()[7 * kStep], static_cast<Vek8u>(before + 77));  // vertical prediction was written
    EXPECT_EQ(p, buf.data());
}

TEST(MacroblockReconstruction, EdgeCasesOfTheWalk) {
    std::mt19937 rng(2);
    Picture pic(rng);
    std::vector<Vek16s> buf = random_coeffs(rng, 512);
    Vek16s* p = buf.data();
    const std::vector<Vek8u> orig = pic.y;
    // Only the DC bit: an inter macroblock has nothing to do.
    EXPECT_EQ(vekiReconstructLumaInterMB_H264_16s8u_C1R(&p, pic.mb(), kStep, 1, 26), vekStsOk);
    EXPECT_EQ(p, buf.data());
    EXPECT_EQ(pic.y, orig);
    // Vertical 16x16 without the row above: refused, nothing written.
    EXPECT_EQ(vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&p, pic.mb(), kStep, 0, 0x1FFFF, 26,
                                                             VEKVC_TOP_EDGE | VEKVC_LEFT_EDGE),
              vekStsNeighbourUnavailableErr);
    EXPECT_EQ(pic.y, orig);
    // Vertical 4x4 in block 0 of the top-left macroblock: 128 there, the walk goes on, warning 11.
    Vek32s modes[16];
    std::fill(std::begin(modes), std::end(modes), 2);
    modes[0] = 0;
    const int edge = VEKVC_TOP_EDGE | VEKVC_LEFT_EDGE | VEKVC_TOP_LEFT_EDGE | VEKVC_TOP_RIGHT_EDGE;
    EXPECT_EQ(vekiReconstructLumaIntraMB_H264_16s8u_C1R(&p, pic.mb(), kStep, modes, 0, 26, edge),
              vekStsNeighbourFallbackWrn);
    EXPECT_EQ(pic.mb()[3 * kStep + 3], 128);
    // Pointer movement: 16 per luma bit, 16 for the luma DC, 4 per chroma DC, 16 per chroma block.
    p = buf.data();
    EXPECT_EQ(vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&p, pic.mb(), kStep, 2, 0x1 | 0x2 | 0x80, 26, 0), 0);
    EXPECT_EQ(p - buf.data(), 16 + 2 * 16);
    p = buf.data();
    EXPECT_EQ(vekiReconstructChromaInterMB_H264_16s8u_P2R(&p, pic.mbu(), pic.mbv(), kStep, (1u << 18) | (1u << 20), 30),
              vekStsOk);
    EXPECT_EQ(p - buf.data(), 4 + 16);
}

// Whole macroblocks against the single-block functions applied in the same order.
TEST(MacroblockReconstruction, MatchesBlockByBlockComposition) {
    std::mt19937 rng(3);
    for (int trial = 0; trial < 200; ++trial) {
        Picture got(rng);
        Picture want = got;
        const std::vector<Vek16s> coeffs = random_coeffs(rng, 16 * 27);
        std::vector<Vek16s> a = coeffs, b = coeffs;
        Vek16s* pa = a.data();
        Vek16s* pb = b.data();
        const Vek32u cbp = static_cast<Vek32u>(rng()) & 0x7FFFFFF;
        const int qp = static_cast<int>(rng() % 52), cqp = static_cast<int>(rng() % 40);
        const int edge = static_cast<int>(rng() & (VEKVC_TOP_EDGE | VEKVC_LEFT_EDGE | VEKVC_TOP_LEFT_EDGE |
                                                   VEKVC_TOP_RIGHT_EDGE));
        const int kind = trial % 3;  // inter, intra 4x4, intra 16x16
        const auto residual = [&](Vek8u* blk) {
            vekiDequantTransformResidualAndAdd_H264_16s_C1I(blk, pb, nullptr, blk, kStep, kStep, qp, 1);
            pb += 16;
        };
        if (kind == 0) {
            ASSERT_GE(vekiReconstructLumaInterMB_H264_16s8u_C1R(&pa, got.mb(), kStep, cbp, qp), 0);
            for (int n = 0; n < 16; ++n)
                if (cbp & (2u << n)) residual(want.mb() + kBlockY[n] * kStep + kBlockX[n]);
        } else if (kind == 1) {
            Vek32s modes[16];
            for (auto& m : modes) m = static_cast<Vek32s>(rng() % 9);
            vekiReconstructLumaIntraMB_H264_16s8u_C1R(&pa, got.mb(), kStep, modes, cbp, qp, static_cast<Vek8u>(edge));
            for (int n = 0; n < 16; ++n) {
                Vek8u* blk = want.mb() + kBlockY[n] * kStep + kBlockX[n];
                vekiPredictIntra_4x4_H264_8u_C1IR(blk, kStep, modes[n], avail4x4(n, edge));
                if (cbp & (2u << n)) residual(blk);
            }
        } else {
            const int mode = 2;  // DC predicts whatever is available
            ASSERT_EQ(vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&pa, got.mb(), kStep, mode, cbp, qp,
                                                                     static_cast<Vek8u>(edge)),
                      vekStsOk);
            vekiPredictIntra_16x16_H264_8u_C1IR(want.mb(), kStep, mode, avail_mb(edge));
            if (cbp & 0x1FFFF) {
                Vek16s zero[16] = {};
                Vek16s* dcs = zero;
                if (cbp & 1) {
                    vekiTransformDequantLumaDC_H264_16s_C1I(pb, qp);
                    dcs = pb;
                    pb += 16;
                }
                for (int n = 0; n < 16; ++n) {
                    Vek8u* blk = want.mb() + kBlockY[n] * kStep + kBlockX[n];
                    const Vek16s dc = dcs[kBlockY[n] + kBlockX[n] / 4];
                    const Vek32s ac = (cbp >> (n + 1)) & 1;
                    vekiDequantTransformResidualAndAdd_H264_16s_C1I(blk, ac ? pb : zero, &dc, blk, kStep, kStep, qp,
                                                                    ac);
                    if (ac) pb += 16;
                }
            }
        }
        // Chroma: inter after luma, on the same cursor.
        const int cmode = static_cast<int>(rng() % 4);
        const VekStatus st = kind == 0
            ? vekiReconstructChromaInterMB_H264_16s8u_P2R(&pa, got.mbu(), got.mbv(), kStep, cbp, cqp)
            : vekiReconstructChromaIntraMB_H264_16s8u_P2R(&pa, got.mbu(), got.mbv(), kStep, cmode, cbp, cqp, 0);
        ASSERT_EQ(st, vekStsOk);
        if (kind != 0) {
            vekiPredictIntraChroma8x8_H264_8u_C1IR(want.mbu(), kStep, cmode, 35);
            vekiPredictIntraChroma8x8_H264_8u_C1IR(want.mbv(), kStep, cmode, 35);
        }
        if (cbp & 0x7FE0000) {
            Vek16s zero[4] = {};
            Vek16s* dcs[2] = {zero, zero};
            for (int c = 0; c < 2; ++c)
                if (cbp & (1u << (17 + c))) {
                    vekiTransformDequantChromaDC_H264_16s_C1I(pb, cqp);
                    dcs[c] = pb;
                    pb += 4;
                }
            Vek8u* planes[2] = {want.mbu(), want.mbv()};
            for (int c = 0; c < 2; ++c)
                for (int k = 0; k < 4; ++k) {
                    Vek8u* blk = planes[c] + (k >> 1) * 4 * kStep + (k & 1) * 4;
                    const Vek32s ac = (cbp >> (19 + 4 * c + k)) & 1;
                    Vek16s zero16[16] = {};
                    vekiDequantTransformResidualAndAdd_H264_16s_C1I(blk, ac ? pb : zero16, &dcs[c][k], blk, kStep,
                                                                    kStep, cqp, ac);
                    if (ac) pb += 16;
                }
        }
        ASSERT_EQ(pa - a.data(), pb - b.data()) << "trial " << trial;
        ASSERT_EQ(got.y, want.y) << "trial " << trial << " kind " << kind;
        ASSERT_EQ(got.u, want.u) << "trial " << trial;
        ASSERT_EQ(got.v, want.v) << "trial " << trial;
    }
}

// DC of the halves form: each quadrant from the sums it may use, the lower
// half's left neighbour told by its own edge type.
TEST(MacroblockReconstruction, ChromaDcHalves) {
    std::mt19937 rng(4);
    for (const bool lower_left_open : {true, false}) {
        Picture pic(rng);
        for (Vek8u* p : {pic.mbu(), pic.mbv()}) {
            for (int i = 0; i < 8; ++i) {
                p[i - kStep] = i < 4 ? 10 : 50;
                p[i * kStep - 1] = i < 4 ? 20 : 90;
            }
        }
        std::vector<Vek16s> buf(16);
        Vek16s* p = buf.data();
        ASSERT_EQ(vekiReconstructChromaIntraHalfsMB_H264_16s8u_P2R(&p, pic.mbu(), pic.mbv(), kStep, 0, 0, 20, 0,
                                                                   lower_left_open ? 0 : VEKVC_LEFT_EDGE),
                  vekStsOk);
        const int want[4] = {15, 50, lower_left_open ? 90 : 10, lower_left_open ? 70 : 50};
        for (Vek8u* plane : {pic.mbu(), pic.mbv()})
            for (int q = 0; q < 4; ++q)
                EXPECT_EQ(plane[(q >> 1) * 4 * kStep + (q & 1) * 4 + kStep + 1], want[q]) << q << lower_left_open;
    }
}

}  // namespace
