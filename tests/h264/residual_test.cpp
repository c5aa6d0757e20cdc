// Residual dequantisation and inverse transforms: the order of the argument
// checks, and answers worked out by hand, including where the wrapping and the
// saturating widths part.
#include <gtest/gtest.h>

#include <array>
#include <utility>

#include "vekvc.h"

namespace {

using Block = std::array<Vek16s, 16>;

Block rows_of(std::array<Vek16s, 4> row) {
    Block b{};
    for (int k = 0; k < 16; ++k) b[k] = row[k % 4];
    return b;
}
Block flat(Vek16s v) { return rows_of({v, v, v, v}); }

TEST(Residual, ChecksInOrderAndNothingWrittenOnFailure) {
    Block buf = flat(5);
    std::array<Vek8u, 16> p{}, d{};
    std::array<Vek32s, 16> b32{};
    const Vek16s dc = 0;
    Vek16s* b = buf.data();
    const Vek8u* pred = p.data();
    Vek8u* dst = d.data();
    // Short forms of the calls; steps that aren't checked are 4.
    const auto plain = [&](Vek16s* s, Vek32s step, Vek32s qp) {
        return vekiDequantTransformResidual_H264_16s_C1I(s, step, &dc, 1, qp);
    };
    const auto add = [&](const Vek8u* p, Vek16s* s, const Vek16s* pdc, Vek8u* d, Vek32s qp, Vek32s ac) {
        return vekiDequantTransformResidualAndAdd_H264_16s_C1I(p, s, pdc, d, 4, 4, qp, ac);
    };
    const std::pair<VekStatus, VekStatus> got_want[] = {
        {plain(nullptr, 0, 99), vekStsNullPtrErr},
        {plain(b, 8, -1), vekStsOutOfRangeErr},
        {plain(b, 0, 52), vekStsOutOfRangeErr},  // QP before step
        {plain(b, 7, 51), vekStsStepErr},
        {add(nullptr, b, &dc, dst, 52, 1), vekStsNullPtrErr},
        {add(pred, b, &dc, nullptr, 0, 1), vekStsNullPtrErr},
        {add(pred, nullptr, nullptr, dst, 52, 1), vekStsOutOfRangeErr},  // QP before missing levels
        {add(pred, nullptr, nullptr, dst, 0, 0), vekStsNullPtrErr},      // no levels, no DC
        {add(pred, nullptr, &dc, dst, 0, 1), vekStsNullPtrErr},          // no levels but AC
        {vekiDequantTransformResidual_SISP_H264_16s_C1I(nullptr, b, &dc, 1, 0, 0, 0), vekStsNullPtrErr},
        {vekiDequantTransformResidual_SISP_H264_16s_C1I(b, nullptr, &dc, 1, 0, 0, 0), vekStsNullPtrErr},
        {vekiTransformDequantChromaDC_H264_16s_C1I(nullptr, 52), vekStsNullPtrErr},
        {vekiTransformDequantChromaDC_H264_16s_C1I(b, 52), vekStsOutOfRangeErr},
        {vekiTransformDequantChromaDC_SISP_H264_16s_C1I(b, nullptr, 0, 0, 0), vekStsNullPtrErr},
        {vekiTransformDequantLumaDC_H264_16s_C1I(nullptr, -1), vekStsNullPtrErr},
        {vekiTransformDequantLumaDC_H264_16s_C1I(b, -1), vekStsOutOfRangeErr},
        {vekiTransformPrediction_H264_8u16s_C1(pred, 4, nullptr), vekStsNullPtrErr},
        {vekiTransformResidual4x4Inv_H264_16s_C1(b, nullptr), vekStsNullPtrErr},
        {vekiTransformResidual4x4Inv_H264_32s_C1(nullptr, b32.data()), vekStsNullPtrErr},
    };
    for (std::size_t i = 0; i < std::size(got_want); ++i)
        EXPECT_EQ(got_want[i].first, got_want[i].second) << "case " << i;
    EXPECT_EQ(buf, flat(5));
    EXPECT_EQ(d, (std::array<Vek8u, 16>{}));
}

// One level of 4 at (0, 1) and QP 2 is 64 there: every row becomes 64 32 -32 -64, then 1 1 0 -1.
const Block kOneAc = {0, 4};
// A DC of 32767 beside 3276 * 10 at (0, 2): 65527 wraps to -9 in 16 bits and saturates to 32767.
const Block kWide = {0, 0, 3276};

// Both forms on the same levels: the plain one wraps, in place with rows 14
// bytes apart (the gaps stay); the one that adds the prediction saturates, and
// with AC writes the residual back over the levels, without it leaves them.
TEST(Residual, DequantTransformKnownAnswers) {
    const struct {
        const char* name; bool has_levels; Block levels; bool has_dc; Vek16s dc; Vek32s ac, qp; Block plain;
        Vek8u pred; std::array<Vek8u, 4> row; Block after;  // row: every output row alike
    } cases[] = {
        {"no AC, DC -33 rounds down", true, flat(9), true, -33, 0, 51, flat(-1), 50, {49, 49, 49, 49}, flat(9)},
        {"given DC unscaled", true, flat(9), true, 640, 0, 51, flat(10), 50, {60, 60, 60, 60}, flat(9)},
        {"DC scaled at QP 36", true, Block{1}, false, 0, 0, 36, flat(10), 7, {17, 17, 17, 17}, Block{1}},
        {"DC + 32 wraps, saturates", true, flat(3), true, 32767, 0, 0, flat(-512), 0, {255, 255, 255, 255}, flat(3)},
        {"one AC level", true, kOneAc, false, 0, 1, 2, rows_of({1, 1, 0, -1}), 10, {11, 11, 10, 9}, rows_of({1, 1, 0, -1})},
        {"transform wraps, saturates", true, kWide, true, 32767, 1, 0, flat(0), 100, {255, 100, 100, 255},
         rows_of({511, 0, 0, 511})},
        {"DC alone, no levels", false, {}, true, -32768, 0, 0, {}, 255, {0, 0, 0, 0}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Vek16s* dc = c.has_dc ? &c.dc : nullptr;
        std::array<Vek16s, 28> plane;
        plane.fill(-7);
        for (int k = 0; k < 16; ++k) plane[7 * (k / 4) + k % 4] = c.levels[k];
        ASSERT_EQ(c.has_levels ? vekiDequantTransformResidual_H264_16s_C1I(plane.data(), 14, dc, c.ac, c.qp) : vekStsOk, vekStsOk);
        for (int i = 0; i < 28 && c.has_levels; ++i) EXPECT_EQ(plane[i], i % 7 < 4 ? c.plain[4 * (i / 7) + i % 7] : -7) << i;
        std::array<Vek8u, 40> pred;
        pred.fill(c.pred);
        std::array<Vek8u, 24> dst;
        dst.fill(0xEE);
        Block levels = c.levels;
        ASSERT_EQ(vekiDequantTransformResidualAndAdd_H264_16s_C1I(pred.data(), c.has_levels ? levels.data() : nullptr, dc,
                                                                  dst.data(), 10, 6, c.qp, c.ac),
                  vekStsOk);
        for (int i = 0; i < 24; ++i) EXPECT_EQ(dst[i], i % 6 < 4 ? c.row[i % 6] : 0xEE) << i;
        EXPECT_EQ(levels, c.after);
    }
}

TEST(Residual, DcTransformsAndCoreKnownAnswers) {
    // Chroma DC: the 2x2 sums 10, -2, -4, 0 times the class-0 factor at QP 7 (22), halved.
    std::array<Vek16s, 4> chroma = {1, 2, 3, 4};
    ASSERT_EQ(vekiTransformDequantChromaDC_H264_16s_C1I(chroma.data(), 7), vekStsOk);
    EXPECT_EQ(chroma, (std::array<Vek16s, 4>{110, -22, -44, 0}));
    // Luma DC: a single 1 spreads to all 16; the factor and the shift change at QP 6 and 12.
    const std::pair<int, int> luma_cases[] = {{5, 5}, {6, 5}, {11, 9}, {12, 10}, {51, 896}};
    for (const auto& [qp, want] : luma_cases) {
        Block dc{1};
        ASSERT_EQ(vekiTransformDequantLumaDC_H264_16s_C1I(dc.data(), qp), vekStsOk);
        EXPECT_EQ(dc, flat(static_cast<Vek16s>(want))) << "QP " << qp;
    }
    Block two{1, 2};  // H X H: every row 1 + 2 * (1, 1, -1, -1)
    ASSERT_EQ(vekiTransformDequantLumaDC_H264_16s_C1I(two.data(), 12), vekStsOk);
    EXPECT_EQ(two, rows_of({30, 30, -10, -10}));

    // Forward core of a prediction whose rows are all 1 2 3 4 (8 bytes apart).
    std::array<Vek8u, 32> pred{};
    for (int k = 0; k < 32; ++k) pred[k] = static_cast<Vek8u>(k % 8 < 4 ? k % 8 + 1 : 0);
    Block fwd{};
    ASSERT_EQ(vekiTransformPrediction_H264_8u16s_C1(pred.data(), 8, fwd.data()), vekStsOk);
    EXPECT_EQ(fwd, (Block{40, -28, 0, -4}));

    // The plain inverse core wraps in its own width: 32767 + 32767 is -2 in 16 bits.
    const Block in16 = {32767, 0, 32767};
    const std::array<Vek32s, 16> in32 = {32767, 0, 32767};
    Block out16{};
    std::array<Vek32s, 16> out32{};
    ASSERT_EQ(vekiTransformResidual4x4Inv_H264_16s_C1(in16.data(), out16.data()), vekStsOk);
    ASSERT_EQ(vekiTransformResidual4x4Inv_H264_32s_C1(in32.data(), out32.data()), vekStsOk);
    EXPECT_EQ(out16, flat(0));
    for (int k = 0; k < 16; ++k) EXPECT_EQ(out32[k], k % 4 == 0 || k % 4 == 3 ? 1024 : 0) << k;
}

// SP/SI: a flat prediction of 100 (1600 at DC once transformed) requantised at QS 28.
TEST(Residual, SwitchingFormsKnownAnswers) {
    const struct {
        const char* name; Vek16s level0, pred_dc; bool has_dc; Vek16s dc; Vek32s qp, switching;
        Vek16s want;  // flat
    } cases[] = {
        {"prediction alone", 0, 1600, false, 0, 28, 0, 100},
        {"negative sum", 0, -1600, false, 0, 28, 0, 0},
        {"level dequantised with QP", 1, 1600, false, 0, 0, 0, 100},
        {"level dequantised with QS when switching", 1, 1600, false, 0, 0, 1, 104},
        {"given DC taken as it is", 1, 1600, true, 640, 0, 1, 10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Block levels{c.level0, 5, 5};  // AC levels present, but with AC zero never read
        const Block pred{c.pred_dc};
        ASSERT_EQ(vekiDequantTransformResidual_SISP_H264_16s_C1I(levels.data(), pred.data(), c.has_dc ? &c.dc : nullptr,
                                                                 0, c.qp, 28, c.switching),
                  vekStsOk);
        EXPECT_EQ(levels, flat(c.want));
    }
    std::array<Vek16s, 4> dc = {0, 0, 0, 0};
    const std::array<Vek16s, 4> pred_dc = {400, 0, 0, 0};
    ASSERT_EQ(vekiTransformDequantChromaDC_SISP_H264_16s_C1I(dc.data(), pred_dc.data(), 28, 28, 0), vekStsOk);
    EXPECT_EQ(dc, (std::array<Vek16s, 4>{1536, 0, 0, 0}));
}

}  // namespace
