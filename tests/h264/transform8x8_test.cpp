// The 8x8 path: argument checks, the scale tables against plain division,
// and round trips forward, quantised, scaled back and inverse transformed onto
// a prediction, in both widths.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <utility>

#include "vekvc.h"

namespace {

// Every call below expects success.
#define OK(call) ASSERT_EQ((call), vekStsOk)

using Block = std::array<Vek16s, 64>;
using Block32 = std::array<Vek32s, 64>;

// Each row: the call (the arguments not named are valid), then the status.
TEST(Transform8x8, ChecksInOrder) {
    Block a{}, b{};
    Block32 c{};
    std::array<Vek8u, 64> p{};
    std::array<Vek16u, 64> p16{};
    Vek32s n = 0, last = 0;
    const Vek8u list[64] = {};
    const std::pair<VekStatus, VekStatus> cases[] = {
        {vekiGenScaleLevel8x8_H264_8u16s_D2(nullptr, 8, a.data(), b.data(), 6), vekStsNullPtrErr},
        {vekiGenScaleLevel8x8_H264_8u16s_D2(list, 8, a.data(), b.data(), 6), vekStsQpRangeErr},
        {vekiQuantLuma8x8_H264_16s_C1(a.data(), b.data(), 8, 0, a.data(), a.data(), &n, &last), vekStsOk},
        {vekiQuantLuma8x8_H264_16s_C1(a.data(), b.data(), 9, 0, a.data(), a.data(), &n, &last), vekStsQpRangeErr},
        {vekiQuantLuma8x8_H264_16s_C1(a.data(), b.data(), -1, 0, a.data(), a.data(), &n, &last), vekStsQpRangeErr},
        {vekiQuantLuma8x8_H264_16s_C1(a.data(), b.data(), 9, 0, a.data(), nullptr, &n, &last), vekStsNullPtrErr},
        {vekiQuantLuma8x8_H264_32s_C1(c.data(), c.data(), 14, 0, a.data(), a.data(), &n, &last), vekStsOk},
        {vekiQuantLuma8x8Inv_H264_16s_C1I(a.data(), 9, b.data()), vekStsQpRangeErr},
        {vekiQuantInvLuma8x8_H264_32s_C1I(c.data(), 99, nullptr), vekStsNullPtrErr},
        {vekiTransformLuma8x8Fwd_H264_16s_C1I(nullptr), vekStsNullPtrErr},
        {vekiTransformLuma8x8InvAddPred_H264_16s8u_C1R(p.data(), 8, a.data(), nullptr, 8), vekStsNullPtrErr},
        {vekiTransformInvAddPredLuma8x8_H264_32s16u_C1R(p16.data(), 8, c.data(), p16.data(), 8, 15),
         vekStsOutOfRangeErr},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;
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
            OK(vekiGenScaleLevel8x8_H264_8u16s_D2(list.data(), 8, inv.data(), fwd.data(), rem));
            OK(vekiGenScaleLevel8x8_H264_8u16s_D2(one.data(), 8, flat_inv.data(), flat_fwd.data(), rem));
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
    OK(vekiGenScaleLevel8x8_H264_8u16s_D2(padded.data(), 16, inv.data(), fwd.data(), 0));
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
        OK(vekiGenScaleLevel8x8_H264_8u16s_D2(flat.data(), 8, inv.data(), fwd.data(), qp % 6));
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
            OK(vekiTransformFwdLuma8x8_H264_16s_C1(res.data(), t.data()));
            OK(vekiTransformFwdLuma8x8_H264_16s32s_C1(res.data(), t32.data()));
            Block in_place = res;
            OK(vekiTransformLuma8x8Fwd_H264_16s_C1I(in_place.data()));
            ASSERT_EQ(in_place, t);
            Vek32s n = 0, last = 0, n32 = 0, last32 = 0;
            OK(vekiQuantLuma8x8_H264_16s_C1(t.data(), lv.data(), qp / 6, b & 1, fwd.data(), scan.data(), &n, &last));
            OK(vekiQuantLuma8x8_H264_32s_C1(t32.data(), lv32.data(), qp / 6, b & 1, fwd.data(), scan.data(), &n32,
                                            &last32));
            int count = 0, high = 0;
            for (int k = 0; k < 64; ++k) {
                ASSERT_EQ(t32[k], t[k]);
                ASSERT_EQ(lv32[k], lv[k]);
                if (lv[k]) ++count, high = std::max(high, 63 - k);
            }
            EXPECT_EQ(std::tie(n, last, n32, last32), std::tie(count, high, count, high));
            OK(vekiQuantLuma8x8Inv_H264_16s_C1I(lv.data(), qp / 6, inv.data()));
            OK(vekiQuantInvLuma8x8_H264_32s_C1I(lv32.data(), qp / 6, inv.data()));
            OK(vekiTransformLuma8x8InvAddPred_H264_16s8u_C1R(pred.data(), 8, lv.data(), out.data(), 8));
            OK(vekiTransformInvAddPredLuma8x8_H264_32s16u_C1R(pred16.data(), 8, lv32.data(), out16.data(), 8, 8));
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
