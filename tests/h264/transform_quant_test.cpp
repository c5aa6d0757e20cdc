// Forward 4x4 and 8x8 transforms, quantisation and the DC paths: argument
// checks, answers worked out by hand, the 8x8 scale tables against plain
// division, and round trips through the library's decoding side, which must
// reconstruct what the encoder's own loop expects.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <tuple>
#include <utility>

#include "vekvc.h"

namespace {

// Every call below expects success.
#define OK(call) ASSERT_EQ((call), vekStsOk)

using Block = std::array<Vek16s, 16>;
using Block64 = std::array<Vek16s, 64>;
using Block64x32 = std::array<Vek32s, 64>;
constexpr std::array<Vek16s, 16> kRasterToZigzag = {0, 1, 5, 6, 2, 4, 7, 12, 3, 8, 11, 13, 9, 10, 14, 15};

// Each row: the call (the arguments not named are valid), then the status.
TEST(TransformQuant, ChecksInOrder) {
    Block s{}, d{}, t{};
    std::array<Vek32s, 16> s32{}, d32{};
    Vek32s n = 0, l = 0;
    Vek8s n8 = 0;
    Vek16u p[16] = {};
    const Vek16s* z = kRasterToZigzag.data();
    const Vek8u list[64] = {};
    Block64 a{}, b{};
    Block64x32 c{};
    std::array<Vek8u, 64> p8{};
    std::array<Vek16u, 64> p16{};
    const std::pair<VekStatus, VekStatus> cases[] = {
        {vekiTransformQuantFwd4x4_H264_16s_C1(s.data(), d.data(), 99, &n, 0, nullptr, &l, nullptr), vekStsNullPtrErr},
        {vekiTransformQuantFwd4x4_H264_16s_C1(s.data(), d.data(), 52, &n, 0, z, &l, nullptr), vekStsOutOfRangeErr},
        {vekiTransformQuantFwd4x4_H264_16s32s_C1(s.data(), d32.data(), 87, &n, 0, z, &l, nullptr), vekStsOk},
        {vekiTransformQuantFwd4x4_H264_16s32s_C1(s.data(), d32.data(), 88, &n, 0, z, &l, nullptr), vekStsOutOfRangeErr},
        // QP compared as unsigned.
        {vekiQuantizeResidual4x4Fwd_H264_16s_C1(s.data(), d.data(), &n, &l, nullptr, z, -1, 0), vekStsOutOfRangeErr},
        {vekiQuantizeResidual4x4Fwd_H264_16s_C1(s.data(), d.data(), &n, nullptr, nullptr, z, 0, 0), vekStsNullPtrErr},
        {vekiQuantizeResidual4x4Fwd_H264_32s_C1(s32.data(), d32.data(), &n, &l, nullptr, z, 87, 0), vekStsOk},
        {vekiTransformQuantFwdChromaDC2x2_H264_16s_C1I(d.data(), t.data(), 40, &n, 0, 1, nullptr), vekStsOutOfRangeErr},
        {vekiTransformQuantFwdChromaDC2x2_H264_16s_C1I(d.data(), nullptr, 99, &n, 0, 1, nullptr), vekStsNullPtrErr},
        {vekiTransformQuantFwdChromaDC2x4_H264_32s_C1I(d32.data(), s32.data(), 75, &n, 0, 1, nullptr), vekStsOk},
        {vekiTransformQuantFwdLumaDC4x4_H264_16s_C1I(d.data(), t.data(), 0, &n, 1, z, nullptr, nullptr),
         vekStsNullPtrErr},
        {vekiTransformQuantFwdLumaDC4x4_H264_32s_C1I(d32.data(), s32.data(), 88, &n, 1, z, &l, nullptr),
         vekStsOutOfRangeErr},
        {vekiTransformQuantInvChromaDC2x4_H264_16s_C1I(d.data(), 40, nullptr), vekStsOutOfRangeErr},
        {vekiTransformQuantInvLumaDC4x4_H264_32s_C1I(nullptr, 99, nullptr), vekStsNullPtrErr},
        {vekiGenScaleLevel4x4_H264_8u16s_C1(list, d.data(), t.data(), 6), vekStsOutOfRangeErr},
        {vekiGenScaleLevel4x4_H264_8u16s_C1(list, nullptr, t.data(), 6), vekStsNullPtrErr},
        {vekiTransformQuantInvAddPred4x4_H264_32s_C1IR(p, 8, s32.data(), nullptr, p, 8, 88, 1, 9, nullptr),
         vekStsOutOfRangeErr},
        {vekiTransformQuantInvAddPred4x4_H264_32s_C1IR(p, 8, s32.data(), nullptr, p, 8, 0, 1, 8, nullptr),
         vekStsOutOfRangeErr},
        {vekiTransformQuantInvAddPred4x4_H264_16s_C1IR(nullptr, 8, nullptr, nullptr, nullptr, 8, 99, 1, nullptr),
         vekStsNullPtrErr},
        {vekiTransformQuantChromaDC_H264_16s_C1I(s.data(), t.data(), 40, &n8, 0, 0), vekStsOutOfRangeErr},
        {vekiTransformQuantResidual_H264_16s_C1I(nullptr, 0, nullptr, 0, nullptr, nullptr), vekStsNullPtrErr},
        // The 8x8 path.
        {vekiGenScaleLevel8x8_H264_8u16s_D2(nullptr, 8, a.data(), b.data(), 6), vekStsNullPtrErr},
        {vekiGenScaleLevel8x8_H264_8u16s_D2(list, 8, a.data(), b.data(), 6), vekStsQpRangeErr},
        {vekiQuantLuma8x8_H264_16s_C1(a.data(), b.data(), 8, 0, a.data(), a.data(), &n, &l), vekStsOk},
        {vekiQuantLuma8x8_H264_16s_C1(a.data(), b.data(), 9, 0, a.data(), a.data(), &n, &l), vekStsQpRangeErr},
        {vekiQuantLuma8x8_H264_16s_C1(a.data(), b.data(), -1, 0, a.data(), a.data(), &n, &l), vekStsQpRangeErr},
        {vekiQuantLuma8x8_H264_16s_C1(a.data(), b.data(), 9, 0, a.data(), nullptr, &n, &l), vekStsNullPtrErr},
        {vekiQuantLuma8x8_H264_32s_C1(c.data(), c.data(), 14, 0, a.data(), a.data(), &n, &l), vekStsOk},
        {vekiQuantLuma8x8Inv_H264_16s_C1I(a.data(), 9, b.data()), vekStsQpRangeErr},
        {vekiQuantInvLuma8x8_H264_32s_C1I(c.data(), 99, nullptr), vekStsNullPtrErr},
        {vekiTransformLuma8x8Fwd_H264_16s_C1I(nullptr), vekStsNullPtrErr},
        {vekiTransformLuma8x8InvAddPred_H264_16s8u_C1R(p8.data(), 8, a.data(), nullptr, 8), vekStsNullPtrErr},
        {vekiTransformInvAddPredLuma8x8_H264_32s16u_C1R(p16.data(), 8, c.data(), p16.data(), 8, 15),
         vekStsOutOfRangeErr},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;
}

// Hand-worked blocks: the count's sign, the last scan position, and levels.
TEST(TransformQuant, KnownAnswers) {
    const Block ones = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    const Block step = {-1, 0, 0, 1, -1, 0, 0, 1, -1, 0, 0, 1, -1, 0, 0, 1};
    const struct {
        const char* name;
        Block src;
        Vek32s qp, intra;
        Vek32s num, last;
        Vek16s dc, level1;  // levels at raster places 0 and 1
    } cases[] = {
        {"zero block", {}, 28, 1, 0, 0, 0, 0},
        // All ones: DC 16, (16 * 13107 + 5461) >> 15 = 6 inter; intra rounds by 10922, still 6.
        {"flat ones, inter", ones, 0, 0, -1, 0, 6, 0},
        {"flat ones, intra", ones, 0, 1, -1, 0, 6, 0},
        // Rows -1, 0, 0, 1 give -16 at place 1 and -8 at place 3 (zigzag 6), both of factor
        // 8066: (16 * 8066 + 5461) >> 15 = 4 and (8 * 8066 + 5461) >> 15 = 2.
        {"horizontal step", step, 0, 0, 2, 6, 0, -4},
        // The same at QP 30: (16 * 8066 + 2^20 / 6) >> 20 rounds to 0.
        {"step vanishes", step, 30, 0, 0, 0, 0, 0},
    };
    for (const auto& c : cases) {
        Block d{};
        Vek32s n = 99, last = 99;
        OK(vekiTransformQuantFwd4x4_H264_16s_C1(c.src.data(), d.data(), c.qp, &n, c.intra, kRasterToZigzag.data(),
                                                &last, nullptr));
        EXPECT_EQ(std::tie(n, last, d[0], d[1]), std::tie(c.num, c.last, c.dc, c.level1)) << c.name;
    }
}

// Qstep of a QP: doubles every 6 steps.
double qstep(int qp) {
    static constexpr double base[6] = {0.625, 0.6875, 0.8125, 0.875, 1.0, 1.125};
    return base[qp % 6] * (1 << (qp / 6));
}

// Both widths and the older in-place form (only the low byte of its Intra
// counts) agree, and the decoder brings the levels back within the step.
TEST(TransformQuant, RoundTripThroughTheDecoderAtEveryQp) {
    std::mt19937 rng(911);
    const Vek16s* z = kRasterToZigzag.data();
    for (int qp = 0; qp <= 51; ++qp) {
        double sse = 0;
        for (int b = 0; b < 200; ++b) {
            Block res{}, lv{};
            const int range = 1 + static_cast<int>(rng() % 255);
            for (auto& x : res) x = static_cast<Vek16s>(static_cast<int>(rng() % (2 * range + 1)) - range);
            std::array<Vek32s, 16> lv32{};
            Vek32s n = 0, last = 0, n32 = 0, last32 = 0;
            Vek8s n8 = 0;
            Vek8u last8 = 0;
            Block old = res;
            OK(vekiTransformQuantFwd4x4_H264_16s_C1(res.data(), lv.data(), qp, &n, b & 1, z, &last, nullptr));
            OK(vekiTransformQuantFwd4x4_H264_16s32s_C1(res.data(), lv32.data(), qp, &n32, b & 1, z, &last32, nullptr));
            OK(vekiTransformQuantResidual_H264_16s_C1I(old.data(), qp, &n8, 0x100 | (b & 1), z, &last8));
            ASSERT_TRUE(std::equal(lv.begin(), lv.end(), lv32.begin()) && old == lv) << "QP " << qp;
            ASSERT_EQ(std::tie(n32, last32, n8, last8), std::tie(n, last, n, last)) << "QP " << qp;
            OK(vekiDequantTransformResidual_H264_16s_C1I(lv.data(), 8, nullptr, 1, qp));
            for (int k = 0; k < 16; ++k) sse += (lv[k] - res[k]) * (lv[k] - res[k]);
        }
        // A wrong factor row or shift leaves an error well beyond the step.
        EXPECT_LE(sse / (200 * 16), qstep(qp) * qstep(qp) / 3 + 0.5) << "QP " << qp;
    }
}

// The DC paths: forward with the library's decoder functions behind it, this
// family's inverse forms (built-in and flat-list factors) against them, and
// the older forms (only the low bytes of Intra and NeedTransform count)
// against the current ones.
TEST(TransformQuant, DcRoundTrips) {
    std::mt19937 rng(77);
    Vek8u flat[16];
    std::fill(std::begin(flat), std::end(flat), Vek8u{16});
    const Vek16s* z = kRasterToZigzag.data();
    for (int qp = 0; qp <= 39; ++qp) {
        Block inv{}, fwd{};
        OK(vekiGenScaleLevel4x4_H264_8u16s_C1(flat, inv.data(), fwd.data(), qp % 6));
        for (int b = 0; b < 50; ++b) {
            SCOPED_TRACE(::testing::Message() << "QP " << qp << " block " << b);
            Block dc{}, t{};
            for (auto& x : dc) x = static_cast<Vek16s>(static_cast<int>(rng() % 8001) - 4000);
            Block luma = dc, old = dc, chroma = dc, ca = dc, c8 = dc;
            Vek32s n = 0, last = 0;
            Vek8s n8 = 0;
            Vek8u last8 = 0;
            OK(vekiTransformQuantFwdLumaDC4x4_H264_16s_C1I(luma.data(), t.data(), qp, &n, 1, z, &last, nullptr));
            OK(vekiTransformQuantLumaDC_H264_16s_C1I(old.data(), t.data(), qp, &n8, 1, z, &last8));
            const int count = static_cast<int>(std::count_if(luma.begin(), luma.end(), [](Vek16s x) { return x; }));
            EXPECT_EQ(std::tie(n, n8, old), std::make_tuple(luma[0] ? -count : count, static_cast<Vek8s>(n), luma));
            Block a = luma, b2 = luma, c = luma;
            OK(vekiTransformDequantLumaDC_H264_16s_C1I(a.data(), qp));
            OK(vekiTransformQuantInvLumaDC4x4_H264_16s_C1I(b2.data(), qp, nullptr));
            OK(vekiTransformQuantInvLumaDC4x4_H264_16s_C1I(c.data(), qp, inv.data()));
            EXPECT_EQ(std::tie(b2, c), std::tie(a, a));
            OK(vekiTransformQuantFwdChromaDC2x2_H264_16s_C1I(chroma.data(), t.data(), qp, &n, b & 1, 1, nullptr));
            OK(vekiTransformQuantChromaDC_H264_16s_C1I(ca.data(), t.data(), qp, &n8, 0x300 | (b & 1), 0x201));
            EXPECT_EQ(std::tie(ca, n8), std::make_tuple(chroma, static_cast<Vek8s>(n)));
            OK(vekiTransformDequantChromaDC_H264_16s_C1I(ca.data(), qp));
            OK(vekiTransformQuantInvChromaDC2x2_H264_16s_C1I(chroma.data(), qp, nullptr));
            EXPECT_EQ(chroma, ca);
            // 4:2:2: two halves of the dynamic range, the decoder's QP + 3 on both sides.
            OK(vekiTransformQuantFwdChromaDC2x4_H264_16s_C1I(c8.data(), t.data(), qp, &n, b & 1, 1, nullptr));
            OK(vekiTransformQuantInvChromaDC2x4_H264_16s_C1I(c8.data(), qp, nullptr));
            // The reconstructed DCs (scaled by 16 x 4 as the 4x4 inverse expects) stay near the input.
            for (int k = 0; k < 16; ++k) {
                EXPECT_NEAR(a[k] / 4.0, dc[k], 8 * qstep(qp) + 2) << "place " << k;
                EXPECT_NEAR(ca[k % 4] / 4.0, dc[k % 4], 8 * qstep(qp) + 2) << "place " << k % 4;
                EXPECT_NEAR(c8[k % 8] / 4.0, dc[k % 8], 8 * qstep(qp + 3) + 2) << "place " << k % 8;
            }
        }
    }
}

// The encoder's reconstruction against the decoder's function, with built-in
// and flat-list factors, the given DC and the DC-only form; the high-bit-depth
// form agrees wherever the 8-bit result isn't clipped.
TEST(TransformQuant, InvAddPredMatchesTheDecoder) {
    std::mt19937 rng(5150);
    Vek8u flat[16];
    std::fill(std::begin(flat), std::end(flat), Vek8u{16});
    for (int qp = 0; qp <= 51; ++qp) {
        Block inv{}, fwd{};
        OK(vekiGenScaleLevel4x4_H264_8u16s_C1(flat, inv.data(), fwd.data(), qp % 6));
        for (int b = 0; b < 40; ++b) {
            std::array<Vek8u, 16> pred{}, want{}, got{}, got_flat{};
            std::array<Vek16u, 16> pred16{}, got16{};
            Block lv{};
            std::array<Vek32s, 16> lv32{};
            for (int k = 0; k < 16; ++k) {
                pred16[k] = pred[k] = static_cast<Vek8u>(rng() % 256);
                // From QP 36 on the decoder's 16-bit stages saturate on dense levels, past any
                // residual of 8-bit video: a few +-1 levels there.
                lv32[k] = lv[k] = static_cast<Vek16s>(qp < 36     ? static_cast<int>(rng() % 9) - 4
                                                      : rng() % 8 ? 0
                                                                  : static_cast<int>(rng() % 2) * 2 - 1);
            }
            const Vek16s dc = static_cast<Vek16s>(static_cast<int>(rng() % 2001) - 1000);
            const Vek32s dc32 = dc, ac = b % 4 != 1;
            const bool give = b % 3 == 0;
            Block a = lv, c = lv, d = lv;
            OK(vekiDequantTransformResidualAndAdd_H264_16s_C1I(pred.data(), a.data(), give ? &dc : nullptr, want.data(),
                                                               4, 4, qp, ac));
            OK(vekiTransformQuantInvAddPred4x4_H264_16s_C1IR(pred.data(), 4, c.data(), give ? &dc : nullptr, got.data(),
                                                             4, qp, ac, nullptr));
            OK(vekiTransformQuantInvAddPred4x4_H264_16s_C1IR(pred.data(), 4, d.data(), give ? &dc : nullptr,
                                                             got_flat.data(), 4, qp, ac, inv.data()));
            OK(vekiTransformQuantInvAddPred4x4_H264_32s_C1IR(pred16.data(), 4, lv32.data(), give ? &dc32 : nullptr,
                                                             got16.data(), 4, qp, ac, 10, nullptr));
            SCOPED_TRACE(::testing::Message() << "QP " << qp << " block " << b);
            EXPECT_EQ(std::tie(got, got_flat, c), std::tie(want, want, a));
            for (int k = 0; k < 16; ++k)
                if (want[k] > 0 && want[k] < 255) {
                    EXPECT_EQ(got16[k], want[k]) << "place " << k;
                }
        }
    }
}

// The factors by QPRem and position class: known values, and the weighted
// tables as the flat ones scaled (inverse) or divided (forward) by the weight.
TEST(Transform8x8, ScaleTablesAreTheFloorOfTheQuotient) {
    std::array<Vek8u, 64> list{}, one{};
    one.fill(1);
    for (int w = 0; w < 256; ++w) {
        list.fill(static_cast<Vek8u>(w));
        for (int rem = 0; rem < 6; ++rem) {
            Block64 inv{}, fwd{}, flat_inv{}, flat_fwd{};
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
    Block64 inv{}, fwd{};
    OK(vekiGenScaleLevel8x8_H264_8u16s_D2(padded.data(), 16, inv.data(), fwd.data(), 0));
    EXPECT_EQ(inv[8], 2 * 19);
    EXPECT_EQ(inv[9], 0);
}

TEST(Transform8x8, RoundTripOntoThePrediction) {
    std::mt19937 rng(808);
    std::array<Vek8u, 64> flat{};
    flat.fill(16);
    Block64 scan{};
    for (int k = 0; k < 64; ++k) scan[k] = static_cast<Vek16s>(63 - k);  // any map serves the count
    for (int qp = 0; qp <= 51; ++qp) {
        Block64 inv{}, fwd{};
        OK(vekiGenScaleLevel8x8_H264_8u16s_D2(flat.data(), 8, inv.data(), fwd.data(), qp % 6));
        double sse = 0;
        for (int b = 0; b < 40; ++b) {
            std::array<Vek8u, 64> pred{}, out{};
            std::array<Vek16u, 64> pred16{}, out16{};
            Block64 res{};
            for (int k = 0; k < 64; ++k) {
                pred[k] = static_cast<Vek8u>(rng() % 256);
                pred16[k] = pred[k];
                res[k] = static_cast<Vek16s>(static_cast<int>(rng() % 256) - pred[k]);  // the source is 0..255
            }
            Block64 t{}, lv{};
            Block64x32 t32{}, lv32{};
            OK(vekiTransformFwdLuma8x8_H264_16s_C1(res.data(), t.data()));
            OK(vekiTransformFwdLuma8x8_H264_16s32s_C1(res.data(), t32.data()));
            Block64 in_place = res;
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
        // The mean squared error stays within a third of the step's square.
        EXPECT_LE(sse / (40 * 64), qstep(qp) * qstep(qp) / 3 + 0.5) << "QP " << qp;
    }
}

}  // namespace
