// The 8x8 path: argument checks, the scale tables against plain division,
// and round trips forward, quantised, scaled back and inverse transformed onto
// a prediction, in both widths.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>

#include "vekvc.h"

namespace {

using Block = std::array<Vek16s, 64>;
using Block32 = std::array<Vek32s, 64>;

TEST(Transform8x8, ChecksInOrder) {
    Block a{}, b{};
    Block32 c{};
    std::array<Vek8u, 64> p{};
    std::array<Vek16u, 64> p16{};
    Vek32s n = 0, last = 0;
    const Vek8u list[64] = {};
    const auto quant = [&](Vek32s qp_div6, const Vek16s* scan) {
        return vekiQuantLuma8x8_H264_16s_C1(a.data(), b.data(), qp_div6, 0, a.data(), scan, &n, &last);
    };
    const struct {
        const char* name;
        std::function<VekStatus()> call;
        VekStatus want;
    } cases[] = {
        {"scale: null first", [&] { return vekiGenScaleLevel8x8_H264_8u16s_D2(nullptr, 8, a.data(), b.data(), 6); },
         vekStsNullPtrErr},
        {"scale: QPRem 6", [&] { return vekiGenScaleLevel8x8_H264_8u16s_D2(list, 8, a.data(), b.data(), 6); },
         vekStsQpRangeErr},
        {"quant: QPDiv6 8", [&] { return quant(8, a.data()); }, vekStsOk},
        {"quant: QPDiv6 9", [&] { return quant(9, a.data()); }, vekStsQpRangeErr},
        {"quant: QPDiv6 -1", [&] { return quant(-1, a.data()); }, vekStsQpRangeErr},
        {"quant: null scan before QP", [&] { return quant(9, nullptr); }, vekStsNullPtrErr},
        {"quant 32s: QPDiv6 14",
         [&] { return vekiQuantLuma8x8_H264_32s_C1(c.data(), c.data(), 14, 0, a.data(), a.data(), &n, &last); },
         vekStsOk},
        {"dequant: QPDiv6 9", [&] { return vekiQuantLuma8x8Inv_H264_16s_C1I(a.data(), 9, b.data()); },
         vekStsQpRangeErr},
        {"dequant 32s: null table", [&] { return vekiQuantInvLuma8x8_H264_32s_C1I(c.data(), 99, nullptr); },
         vekStsNullPtrErr},
        {"fwd in place: null", [] { return vekiTransformLuma8x8Fwd_H264_16s_C1I(nullptr); }, vekStsNullPtrErr},
        {"inverse: null dst",
         [&] { return vekiTransformLuma8x8InvAddPred_H264_16s8u_C1R(p.data(), 8, a.data(), nullptr, 8); },
         vekStsNullPtrErr},
        {"inverse 16u: bitDepth 15",
         [&] { return vekiTransformInvAddPredLuma8x8_H264_32s16u_C1R(p16.data(), 8, c.data(), p16.data(), 8, 15); },
         vekStsOutOfRangeErr},
    };
    for (const auto& k : cases) EXPECT_EQ(k.call(), k.want) << k.name;
}

// The factors by QPRem and position class: known values, and the weighted
// tables as the flat ones scaled (inverse) or divided (forward) by the weight.
TEST(Transform8x8, ScaleTablesAreTheFloorOfTheQuotient) {
    std::array<Vek8u, 64> list{}, one{};
    one.fill(1);
    for (int w = 0; w < 256; ++w) {
        list.fill(static_cast<Vek8u>(w));
        for (int rem = 0; rem < 6; ++rem) {
            Block inv{}, fwd{}, flat_inv{}, flat_fwd{};
            ASSERT_EQ(vekiGenScaleLevel8x8_H264_8u16s_D2(list.data(), 8, inv.data(), fwd.data(), rem), vekStsOk);
            ASSERT_EQ(vekiGenScaleLevel8x8_H264_8u16s_D2(one.data(), 8, flat_inv.data(), flat_fwd.data(), rem),
                      vekStsOk);
            for (int k = 0; k < 64; ++k) {
                // With a weight of 1 the tables are the plain factors.
                EXPECT_EQ(inv[k], w * flat_inv[k]);
                // A weight of 0 has no reciprocal: both corrections step up from 0.
                EXPECT_EQ(fwd[k], w ? flat_fwd[k] / w : 2) << "w " << w << " rem " << rem << " place " << k;
            }
            if (w == 1) {
                constexpr Vek16s kDc[6] = {13107, 11916, 10082, 9362, 8192, 7282};
                constexpr Vek16s kOddOdd[6] = {11428, 10826, 8943, 8228, 7346, 6428};
                constexpr Vek16s kInv22[6] = {32, 35, 42, 45, 51, 58};
                EXPECT_EQ(flat_fwd[0], kDc[rem]);
                EXPECT_EQ(flat_fwd[9], kOddOdd[rem]);
                EXPECT_EQ(flat_inv[18], kInv22[rem]);
            }
        }
    }
    // srcStep moves the row pointer: the second row of a padded list.
    std::array<Vek8u, 16 * 8> padded{};
    for (int r = 0; r < 8; ++r) padded[16 * r] = static_cast<Vek8u>(r + 1);
    Block inv{}, fwd{};
    ASSERT_EQ(vekiGenScaleLevel8x8_H264_8u16s_D2(padded.data(), 16, inv.data(), fwd.data(), 0), vekStsOk);
    EXPECT_EQ(inv[8], 2 * 19);
    EXPECT_EQ(inv[9], 0);
}

TEST(Transform8x8, RoundTripOntoThePrediction) {
    std::mt19937 rng(808);
    std::array<Vek8u, 64> flat{};
    flat.fill(16);
    Block scan{};
    for (int k = 0; k < 64; ++k) scan[k] = static_cast<Vek16s>(63 - k);  // any map serves the count
    for (int qp = 0; qp <= 51; ++qp) {
        Block inv{}, fwd{};
        ASSERT_EQ(vekiGenScaleLevel8x8_H264_8u16s_D2(flat.data(), 8, inv.data(), fwd.data(), qp % 6), vekStsOk);
        double sse = 0;
        for (int b = 0; b < 40; ++b) {
            std::array<Vek8u, 64> pred{}, out{};
            std::array<Vek16u, 64> pred16{}, out16{};
            Block res{};
            for (int k = 0; k < 64; ++k) {
                pred[k] = static_cast<Vek8u>(rng() % 256);
                pred16[k] = pred[k];
                res[k] = static_cast<Vek16s>(static_cast<int>(rng() % 256) - pred[k]);  // the source is 0..255
            }
            Block t{}, lv{};
            Block32 t32{}, lv32{};
            ASSERT_EQ(vekiTransformFwdLuma8x8_H264_16s_C1(res.data(), t.data()), vekStsOk);
            ASSERT_EQ(vekiTransformFwdLuma8x8_H264_16s32s_C1(res.data(), t32.data()), vekStsOk);
            Block in_place = res;
            ASSERT_EQ(vekiTransformLuma8x8Fwd_H264_16s_C1I(in_place.data()), vekStsOk);
            ASSERT_EQ(in_place, t);
            Vek32s n = 0, last = 0, n32 = 0, last32 = 0;
            ASSERT_EQ(vekiQuantLuma8x8_H264_16s_C1(t.data(), lv.data(), qp / 6, b & 1, fwd.data(), scan.data(), &n,
                                                   &last),
                      vekStsOk);
            ASSERT_EQ(vekiQuantLuma8x8_H264_32s_C1(t32.data(), lv32.data(), qp / 6, b & 1, fwd.data(), scan.data(),
                                                   &n32, &last32),
                      vekStsOk);
            int count = 0, high = 0;
            for (int k = 0; k < 64; ++k) {
                ASSERT_EQ(t32[k], t[k]);
                ASSERT_EQ(lv32[k], lv[k]);
                if (lv[k]) ++count, high = std::max(high, 63 - k);
            }
            EXPECT_EQ(std::tie(n, last, n32, last32), std::tie(count, high, count, high));
            ASSERT_EQ(vekiQuantLuma8x8Inv_H264_16s_C1I(lv.data(), qp / 6, inv.data()), vekStsOk);
            ASSERT_EQ(vekiQuantInvLuma8x8_H264_32s_C1I(lv32.data(), qp / 6, inv.data()), vekStsOk);
            ASSERT_EQ(vekiTransformLuma8x8InvAddPred_H264_16s8u_C1R(pred.data(), 8, lv.data(), out.data(), 8),
                      vekStsOk);
            ASSERT_EQ(vekiTransformInvAddPredLuma8x8_H264_32s16u_C1R(pred16.data(), 8, lv32.data(), out16.data(), 8, 8),
                      vekStsOk);
            for (int k = 0; k < 64; ++k) {
                ASSERT_EQ(out16[k], out[k]) << "QP " << qp;
                const int e = out[k] - (pred[k] + res[k]);
                sse += e * e;
            }
        }
        // Qstep of the QP; the mean squared error stays within a third of its square.
        constexpr double kBase[6] = {0.625, 0.6875, 0.8125, 0.875, 1.0, 1.125};
        const double step = kBase[qp % 6] * (1 << (qp / 6));
        EXPECT_LE(sse / (40 * 64), step * step / 3 + 0.5) << "QP " << qp;
    }
}

}  // namespace
