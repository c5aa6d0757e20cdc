// Macroblock reconstruction: argument checks, the walk over the coefficient
// buffer, and whole macroblocks against the same work done block by block
// through the single-block functions.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "h264/intra_pred.h"
#include "vekvc.h"

namespace {

constexpr int kStep = 48;
constexpr int kBlockX[16] = {0, 4, 0, 4, 8, 12, 8, 12, 0, 4, 0, 4, 8, 12, 8, 12};
constexpr int kBlockY[16] = {0, 0, 4, 4, 0, 0, 4, 4, 8, 8, 12, 12, 8, 8, 12, 12};
constexpr int kAllEdges = VEKVC_TOP_EDGE | VEKVC_LEFT_EDGE | VEKVC_TOP_LEFT_EDGE | VEKVC_TOP_RIGHT_EDGE;

// A random luma plane with one macroblock at (16, 16), and two chroma planes
// with the 8x8 block at (8, 8).
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
    Vek8u* blk(int n) { return mb() + kBlockY[n] * kStep + kBlockX[n]; }
};

// Availability of coded block n from the macroblock's edge type: inside the
// macroblock by position, on its border from the edge type.
Vek32s avail4x4(int n, int edge) {
    const bool top = !(edge & VEKVC_TOP_EDGE), left = !(edge & VEKVC_LEFT_EDGE);
    const bool tl = !(edge & VEKVC_TOP_LEFT_EDGE), tr = !(edge & VEKVC_TOP_RIGHT_EDGE);
    const bool top_row = kBlockY[n] == 0, left_col = kBlockX[n] == 0;
    const bool t = !top_row || top, l = !left_col || left;
    const bool c = top_row ? (left_col ? tl : top) : (left_col ? left : true);
    // Above right: decoded before for these blocks, from the next macroblock for block 5.
    const bool r = n == 5 ? tr : (n == 0 || n == 1 || n == 4) ? top : (n == 2 || n == 6 || n == 8 || n == 9 ||
                                                                        n == 10 || n == 12 || n == 14);
    return (t ? 1 : 0) | (l ? 2 : 0) | (c ? 32 : 0) | (r ? 64 : 0);
}

// Each call fails on the first check it reaches, writing nothing and leaving
// the cursor where it was.
TEST(MacroblockReconstruction, ChecksInOrder) {
    std::mt19937 rng(1);
    Picture pic(rng);
    const Picture before = pic;
    std::vector<Vek16s> buf(512);
    Vek16s *p = buf.data(), *none = nullptr;
    const Vek32s m[16] = {};
    Vek8u *y = pic.mb(), *u = pic.mbu(), *v = pic.mbv();
    const auto halves = vekiReconstructChromaIntraHalfsMB_H264_16s8u_P2R;
    const std::pair<VekStatus, VekStatus> got_want[] = {
        {vekiReconstructLumaInterMB_H264_16s8u_C1R(nullptr, y, kStep, 2, 60), vekStsNullPtrErr},
        {vekiReconstructLumaInterMB_H264_16s8u_C1R(&none, y, kStep, 2, 26), vekStsNullPtrErr},
        {vekiReconstructLumaInterMB_H264_16s8u_C1R(&p, y, kStep, 2, 52), vekStsOutOfRangeErr},
        {vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&p, nullptr, kStep, 0, 0, 26, 0), vekStsNullPtrErr},
        {vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&p, y, kStep, 4, 0, 26, 0), vekStsOutOfRangeErr},
        {vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&p, y, kStep, 0, 3, 26, VEKVC_TOP_EDGE),
         vekStsNeighbourUnavailableErr},
        {vekiReconstructLumaIntraMB_H264_16s8u_C1R(&p, y, kStep, nullptr, 0, 26, 0), vekStsNullPtrErr},
        {vekiReconstructLumaIntraMB_H264_16s8u_C1R(&p, y, kStep, m, 0, Vek32u(-1), 0), vekStsOutOfRangeErr},
        {vekiReconstructLumaIntraHalfMB_H264_16s8u_C1R(&p, y, 0, m, 0, 52, 0), vekStsStepErr},
        {vekiReconstructLumaIntraHalfMB_H264_16s8u_C1R(&p, y, kStep, m, 0, 52, 0), vekStsOutOfRangeErr},
        {vekiReconstructChromaInterMB_H264_16s8u_P2R(&p, u, nullptr, kStep, 0, 40), vekStsNullPtrErr},
        {vekiReconstructChromaInterMB_H264_16s8u_P2R(&p, u, v, kStep, 0, 40), vekStsOutOfRangeErr},
        {vekiReconstructChromaIntraMB_H264_16s8u_P2R(&p, u, v, kStep, 4, 0, 39, 0), vekStsOutOfRangeErr},
        // Plane without the corner: neither plane is predicted.
        {vekiReconstructChromaIntraMB_H264_16s8u_P2R(&p, u, v, kStep, 3, 0, 39, VEKVC_TOP_LEFT_EDGE),
         vekStsNeighbourUnavailableErr},
        // The halves form refuses horizontal even with every neighbour there.
        {halves(&p, u, v, kStep, 1, 0, 20, 0, 0), vekStsNeighbourUnavailableErr},
        {halves(&p, u, v, kStep, 0, 0, 52, 0, 0), vekStsOutOfRangeErr},
        {halves(&p, u, v, kStep, 2, 0, 20, VEKVC_TOP_EDGE, 0), vekStsNeighbourUnavailableErr},
    };
    for (std::size_t i = 0; i < std::size(got_want); ++i)
        EXPECT_EQ(got_want[i].first, got_want[i].second) << "case " << i;
    EXPECT_TRUE(pic.y == before.y && pic.u == before.u && pic.v == before.v);
    // The halves form checks chromaQP 40..51 only after predicting.
    u[-kStep] = static_cast<Vek8u>(u[0] + 77);
    EXPECT_EQ(vekiReconstructChromaIntraHalvesMB_H264_16s8u_P2R(&p, u, v, kStep, 2, 0, 45, 0, 0), vekStsOutOfRangeErr);
    EXPECT_EQ(u[7 * kStep], u[-kStep]);
    EXPECT_EQ(p, buf.data());
}

// Only the DC bit: an inter macroblock has nothing to do. Vertical 4x4 in
// block 0 of the top-left macroblock: 128 there, the walk goes on, with the
// warning. The cursor's movement is held to the composition below.
TEST(MacroblockReconstruction, EdgeCasesOfTheWalk) {
    std::mt19937 rng(2);
    Picture pic(rng);
    const std::vector<Vek8u> orig = pic.y;
    std::vector<Vek16s> buf(512, 3);
    Vek16s* p = buf.data();
    EXPECT_EQ(vekiReconstructLumaInterMB_H264_16s8u_C1R(&p, pic.mb(), kStep, 1, 26), vekStsOk);
    EXPECT_TRUE(p == buf.data() && pic.y == orig);
    const Vek32s modes[16] = {0, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2};
    EXPECT_EQ(vekiReconstructLumaIntraMB_H264_16s8u_C1R(&p, pic.mb(), kStep, modes, 0, 26, kAllEdges),
              vekStsNeighbourFallbackWrn);
    EXPECT_EQ(pic.mb()[3 * kStep + 3], 128);
}

// Whole macroblocks against the single-block functions applied in the same
// order: inter, intra 4x4 and intra 16x16 DC luma, then inter or intra chroma
// on the same cursor.
TEST(MacroblockReconstruction, MatchesBlockByBlockComposition) {
    std::mt19937 rng(3);
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        Picture got(rng), want = got;
        std::vector<Vek16s> a(16 * 27), b;
        for (auto& x : a) x = static_cast<Vek16s>(static_cast<int>(rng() % 41) - 20);
        b = a;
        Vek16s *pa = a.data(), *pb = b.data();
        const Vek32u cbp = static_cast<Vek32u>(rng()) & 0x7FFFFFF;
        const int qp = static_cast<int>(rng() % 52), cqp = static_cast<int>(rng() % 40);
        const int edge = static_cast<int>(rng() & kAllEdges), kind = trial % 3;
        // One block's residual with an optional DC, moving the cursor past its levels.
        const auto residual = [&](Vek8u* blk, const Vek16s* dc, bool ac, int q) {
            Vek16s zero[16] = {};
            vekiDequantTransformResidualAndAdd_H264_16s_C1I(blk, ac ? pb : zero, dc, blk, kStep, kStep, q, ac);
            if (ac) pb += 16;
        };
        if (kind == 0) {
            ASSERT_EQ(vekiReconstructLumaInterMB_H264_16s8u_C1R(&pa, got.mb(), kStep, cbp, qp), vekStsOk);
            for (int n = 0; n < 16; ++n)
                if (cbp & (2u << n)) residual(want.blk(n), nullptr, true, qp);
        } else if (kind == 1) {
            Vek32s modes[16];
            for (auto& m : modes) m = static_cast<Vek32s>(rng() % 9);
            ASSERT_GE(vekiReconstructLumaIntraMB_H264_16s8u_C1R(&pa, got.mb(), kStep, modes, cbp, qp,
                                                                 static_cast<Vek8u>(edge)), 0);
            for (int n = 0; n < 16; ++n) {
                vekiPredictIntra_4x4_H264_8u_C1IR(want.blk(n), kStep, modes[n], avail4x4(n, edge));
                if (cbp & (2u << n)) residual(want.blk(n), nullptr, true, qp);
            }
        } else {
            ASSERT_EQ(vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&pa, got.mb(), kStep, 2, cbp, qp,
                                                                     static_cast<Vek8u>(edge)), vekStsOk);
            vekiPredictIntra_16x16_H264_8u_C1IR(want.mb(), kStep, 2, vek::h264::availability_from_edge_type(edge));
            if (cbp & 0x1FFFF) {
                const Vek16s zero[16] = {};
                const Vek16s* dcs = zero;
                if (cbp & 1) {
                    vekiTransformDequantLumaDC_H264_16s_C1I(pb, qp);
                    dcs = pb;
                    pb += 16;
                }
                for (int n = 0; n < 16; ++n)
                    residual(want.blk(n), &dcs[kBlockY[n] + kBlockX[n] / 4], (cbp >> (n + 1)) & 1, qp);
            }
        }
        const int cmode = static_cast<int>(rng() % 4);
        ASSERT_EQ(kind == 0 ? vekiReconstructChromaInterMB_H264_16s8u_P2R(&pa, got.mbu(), got.mbv(), kStep, cbp, cqp)
                            : vekiReconstructChromaIntraMB_H264_16s8u_P2R(&pa, got.mbu(), got.mbv(), kStep, cmode,
                                                                          cbp, cqp, 0),
                  vekStsOk);
        if (kind != 0)
            for (Vek8u* plane : {want.mbu(), want.mbv()})
                vekiPredictIntraChroma8x8_H264_8u_C1IR(plane, kStep, cmode, 35);
        if (cbp & 0x7FE0000) {
            const Vek16s zero[4] = {};
            const Vek16s* dcs[2] = {zero, zero};
            for (int c = 0; c < 2; ++c)
                if (cbp & (1u << (17 + c))) {
                    vekiTransformDequantChromaDC_H264_16s_C1I(pb, cqp);
                    dcs[c] = pb;
                    pb += 4;
                }
            Vek8u* planes[2] = {want.mbu(), want.mbv()};
            for (int c = 0; c < 2; ++c)
                for (int k = 0; k < 4; ++k)
                    residual(planes[c] + (k >> 1) * 4 * kStep + (k & 1) * 4, &dcs[c][k], (cbp >> (19 + 4 * c + k)) & 1,
                             cqp);
        }
        ASSERT_EQ(pa - a.data(), pb - b.data());
        ASSERT_EQ(got.y, want.y) << "kind " << kind;
        ASSERT_EQ(got.u, want.u);
        ASSERT_EQ(got.v, want.v);
    }
}

// DC of the halves form: each quadrant from the sums it may use, the lower
// half's left neighbour told by its own edge type.
TEST(MacroblockReconstruction, ChromaDcHalves) {
    std::mt19937 rng(4);
    for (const bool lower_left_open : {true, false}) {
        Picture pic(rng);
        for (Vek8u* p : {pic.mbu(), pic.mbv()})
            for (int i = 0; i < 8; ++i) {
                p[i - kStep] = i < 4 ? 10 : 50;
                p[i * kStep - 1] = i < 4 ? 20 : 90;
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
