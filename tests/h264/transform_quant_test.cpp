// Forward 4x4 transform, quantisation and the DC paths: argument checks,
// answers worked out by hand, and round trips through the library's decoding
// side, which must reconstruct what the encoder's own loop expects.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <random>
#include <tuple>

#include "vekvc.h"

namespace {

using Block = std::array<Vek16s, 16>;
constexpr std::array<Vek16s, 16> kRasterToZigzag = {0, 1, 5, 6, 2, 4, 7, 12, 3, 8, 11, 13, 9, 10, 14, 15};

TEST(TransformQuant, ChecksInOrder) {
    Block s{}, d{}, t{};
    std::array<Vek32s, 16> s32{}, d32{};
    Vek32s n = 0, last = 0;
    const Vek16s* z = kRasterToZigzag.data();
    const Vek8u list[16] = {};
    // Short forms; the arguments not named are valid.
    const auto fwd = [&](Vek32s qp, const Vek16s* scan) {
        return vekiTransformQuantFwd4x4_H264_16s_C1(s.data(), d.data(), qp, &n, 0, scan, &last, nullptr);
    };
    const auto fwd32 = [&](Vek32s qp) {
        return vekiTransformQuantFwd4x4_H264_16s32s_C1(s.data(), d32.data(), qp, &n, 0, z, &last, nullptr);
    };
    const auto quant = [&](Vek32s qp, Vek32s* plast) {
        return vekiQuantizeResidual4x4Fwd_H264_16s_C1(s.data(), d.data(), &n, plast, nullptr, z, qp, 0);
    };
    const auto c22 = [&](Vek16s* tb, Vek32s qp) {
        return vekiTransformQuantFwdChromaDC2x2_H264_16s_C1I(d.data(), tb, qp, &n, 0, 1, nullptr);
    };
    const struct {
        const char* name;
        std::function<VekStatus()> call;
        VekStatus want;
    } cases[] = {
        {"fwd 16s: null scan before QP", [&] { return fwd(99, nullptr); }, vekStsNullPtrErr},
        {"fwd 16s: QP 52", [&] { return fwd(52, z); }, vekStsOutOfRangeErr},
        {"fwd 16s32s: QP 87 accepted", [&] { return fwd32(87); }, vekStsOk},
        {"fwd 16s32s: QP 88", [&] { return fwd32(88); }, vekStsOutOfRangeErr},
        {"quant 16s: QP -1 as unsigned", [&] { return quant(-1, &last); }, vekStsOutOfRangeErr},
        {"quant 16s: null last", [&] { return quant(0, nullptr); }, vekStsNullPtrErr},
        {"quant 32s: QP 87 accepted",
         [&] { return vekiQuantizeResidual4x4Fwd_H264_32s_C1(s32.data(), d32.data(), &n, &last, nullptr, z, 87, 0); },
         vekStsOk},
        {"chroma 2x2: QP 40", [&] { return c22(t.data(), 40); }, vekStsOutOfRangeErr},
        {"chroma 2x4 32s: QP 75 accepted",
         [&] { return vekiTransformQuantFwdChromaDC2x4_H264_32s_C1I(d32.data(), s32.data(), 75, &n, 0, 1, nullptr); },
         vekStsOk},
        {"chroma 2x2: null TBlock", [&] { return c22(nullptr, 99); }, vekStsNullPtrErr},
        {"luma DC: null last",
         [&] { return vekiTransformQuantFwdLumaDC4x4_H264_16s_C1I(d.data(), t.data(), 0, &n, 1, z, nullptr, nullptr); },
         vekStsNullPtrErr},
        {"luma DC 32s: QP 88",
         [&] { return vekiTransformQuantFwdLumaDC4x4_H264_32s_C1I(d32.data(), s32.data(), 88, &n, 1, z, &last, nullptr); },
         vekStsOutOfRangeErr},
        {"inv chroma 2x4: QP 40", [&] { return vekiTransformQuantInvChromaDC2x4_H264_16s_C1I(d.data(), 40, nullptr); },
         vekStsOutOfRangeErr},
        {"inv luma 32s: null", [&] { return vekiTransformQuantInvLumaDC4x4_H264_32s_C1I(nullptr, 99, nullptr); },
         vekStsNullPtrErr},
        {"scale 4x4: QPRem 6",
         [&] { return vekiGenScaleLevel4x4_H264_8u16s_C1(list, d.data(), t.data(), 6); }, vekStsOutOfRangeErr},
        {"scale 4x4: null", [&] { return vekiGenScaleLevel4x4_H264_8u16s_C1(list, nullptr, t.data(), 6); },
         vekStsNullPtrErr},
    };
    for (const auto& c : cases) EXPECT_EQ(c.call(), c.want) << c.name;
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
        ASSERT_EQ(vekiTransformQuantFwd4x4_H264_16s_C1(c.src.data(), d.data(), c.qp, &n, c.intra,
                                                       kRasterToZigzag.data(), &last, nullptr),
                  vekStsOk);
        EXPECT_EQ(std::tie(n, last, d[0], d[1]), std::tie(c.num, c.last, c.dc, c.level1)) << c.name;
    }
}

// A model of the decoder's scaling and inverse transform, for comparison with
// the library's decoding functions.
Block model_decode(const Block& level, int qp) {
    static constexpr int v[6][3] = {{10, 16, 13}, {11, 18, 14}, {13, 20, 16},
                                    {14, 23, 18}, {16, 25, 20}, {18, 29, 23}};
    int d[16];
    for (int k = 0; k < 16; ++k) {
        const int r = k / 4, c = k % 4, cls = r % 2 == 0 && c % 2 == 0 ? 0 : r % 2 && c % 2 ? 1 : 2;
        d[k] = (level[k] * v[qp % 6][cls]) << (qp / 6);
    }
    const auto pass = [](int* x, int s) {
        const int e0 = x[0] + x[2 * s], e1 = x[0] - x[2 * s], e2 = (x[s] >> 1) - x[3 * s], e3 = x[s] + (x[3 * s] >> 1);
        x[0] = e0 + e3, x[s] = e1 + e2, x[2 * s] = e1 - e2, x[3 * s] = e0 - e3;
    };
    for (int r = 0; r < 4; ++r) pass(d + 4 * r, 1);
    for (int c = 0; c < 4; ++c) pass(d + c, 4);
    Block out{};
    for (int k = 0; k < 16; ++k) out[k] = static_cast<Vek16s>((d[k] + 32) >> 6);
    return out;
}

// Qstep of a QP: doubles every 6 steps.
double qstep(int qp) {
    static constexpr double base[6] = {0.625, 0.6875, 0.8125, 0.875, 1.0, 1.125};
    return base[qp % 6] * (1 << (qp / 6));
}

TEST(TransformQuant, RoundTripThroughTheDecoderAtEveryQp) {
    std::mt19937 rng(911);
    for (int qp = 0; qp <= 51; ++qp) {
        double sse = 0;
        int samples = 0;
        for (int b = 0; b < 200; ++b) {
            Block res{};
            const int range = 1 + static_cast<int>(rng() % 255);
            for (auto& x : res) x = static_cast<Vek16s>(static_cast<int>(rng() % (2 * range + 1)) - range);
            const Vek32s intra = b & 1;
            Block lv{};
            std::array<Vek32s, 16> lv32{};
            Vek32s n = 0, last = 0, n32 = 0, last32 = 0;
            ASSERT_EQ(vekiTransformQuantFwd4x4_H264_16s_C1(res.data(), lv.data(), qp, &n, intra,
                                                           kRasterToZigzag.data(), &last, nullptr),
                      vekStsOk);
            ASSERT_EQ(vekiTransformQuantFwd4x4_H264_16s32s_C1(res.data(), lv32.data(), qp, &n32, intra,
                                                              kRasterToZigzag.data(), &last32, nullptr),
                      vekStsOk);
            for (int k = 0; k < 16; ++k) ASSERT_EQ(lv32[k], lv[k]) << "QP " << qp;
            ASSERT_EQ(std::tie(n32, last32), std::tie(n, last));
            // The decoder side: the library's function against the model.
            const Block want = model_decode(lv, qp);
            Block got = lv;
            ASSERT_EQ(vekiDequantTransformResidual_H264_16s_C1I(got.data(), 8, nullptr, 1, qp), vekStsOk);
            ASSERT_EQ(got, want) << "QP " << qp << " block " << b;
            for (int k = 0; k < 16; ++k) sse += (got[k] - res[k]) * (got[k] - res[k]);
            samples += 16;
        }
        // A quantiser with the right factors keeps the error within its step;
        // a wrong factor row or shift does not.
        EXPECT_LE(sse / samples, qstep(qp) * qstep(qp) / 3 + 0.5) << "QP " << qp;
    }
}

// The DC paths: forward with the library's decoder functions behind it, and
// this family's inverse forms against them and against a flat scaling list.
TEST(TransformQuant, DcRoundTrips) {
    std::mt19937 rng(77);
    Vek8u flat[16];
    std::fill(std::begin(flat), std::end(flat), Vek8u{16});
    for (int qp = 0; qp <= 39; ++qp) {
        Block inv{}, fwd{};
        ASSERT_EQ(vekiGenScaleLevel4x4_H264_8u16s_C1(flat, inv.data(), fwd.data(), qp % 6), vekStsOk);
        for (int b = 0; b < 50; ++b) {
            Block dc{}, t{};
            for (auto& x : dc) x = static_cast<Vek16s>(static_cast<int>(rng() % 8001) - 4000);
            Block luma = dc;
            Vek32s n = 0, last = 0;
            ASSERT_EQ(vekiTransformQuantFwdLumaDC4x4_H264_16s_C1I(luma.data(), t.data(), qp, &n, 1,
                                                                  kRasterToZigzag.data(), &last, nullptr),
                      vekStsOk);
            int count = 0;
            for (auto x : luma) count += x != 0;
            EXPECT_EQ(n, luma[0] ? -count : count);
            Block a = luma, b2 = luma, c = luma;
            ASSERT_EQ(vekiTransformDequantLumaDC_H264_16s_C1I(a.data(), qp), vekStsOk);
            ASSERT_EQ(vekiTransformQuantInvLumaDC4x4_H264_16s_C1I(b2.data(), qp, nullptr), vekStsOk);
            ASSERT_EQ(vekiTransformQuantInvLumaDC4x4_H264_16s_C1I(c.data(), qp, inv.data()), vekStsOk);
            EXPECT_EQ(b2, a) << "QP " << qp;
            EXPECT_EQ(c, a) << "QP " << qp;
            // The reconstructed DC (scaled by 16 x 4 as the 4x4 inverse expects) stays near the input.
            for (int k = 0; k < 16; ++k)
                EXPECT_NEAR(a[k] / 4.0, dc[k], 8 * qstep(qp) + 2) << "QP " << qp << " place " << k;

            Block chroma = dc;
            ASSERT_EQ(vekiTransformQuantFwdChromaDC2x2_H264_16s_C1I(chroma.data(), t.data(), qp, &n, b & 1, 1, nullptr),
                      vekStsOk);
            Block ca = chroma, cb = chroma;
            ASSERT_EQ(vekiTransformDequantChromaDC_H264_16s_C1I(ca.data(), qp), vekStsOk);
            ASSERT_EQ(vekiTransformQuantInvChromaDC2x2_H264_16s_C1I(cb.data(), qp, nullptr), vekStsOk);
            for (int k = 0; k < 4; ++k) {
                EXPECT_EQ(cb[k], ca[k]) << "QP " << qp;
                EXPECT_NEAR(ca[k] / 4.0, dc[k], 8 * qstep(qp) + 2) << "QP " << qp << " place " << k;
            }
            // 4:2:2: two halves of the dynamic range, the decoder's QP + 3 on both sides.
            Block c8 = dc;
            ASSERT_EQ(vekiTransformQuantFwdChromaDC2x4_H264_16s_C1I(c8.data(), t.data(), qp, &n, b & 1, 1, nullptr),
                      vekStsOk);
            ASSERT_EQ(vekiTransformQuantInvChromaDC2x4_H264_16s_C1I(c8.data(), qp, nullptr), vekStsOk);
            for (int k = 0; k < 8; ++k)
                EXPECT_NEAR(c8[k] / 4.0, dc[k], 8 * qstep(qp + 3) + 2) << "QP " << qp << " place " << k;
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
    const Vek16u p16[16] = {};
    Vek16u o16[16];
    Vek32s l32[16] = {};
    EXPECT_EQ(vekiTransformQuantInvAddPred4x4_H264_32s_C1IR(p16, 8, l32, nullptr, o16, 8, 88, 1, 9, nullptr),
              vekStsOutOfRangeErr);
    EXPECT_EQ(vekiTransformQuantInvAddPred4x4_H264_32s_C1IR(p16, 8, l32, nullptr, o16, 8, 0, 1, 8, nullptr),
              vekStsOutOfRangeErr);
    EXPECT_EQ(vekiTransformQuantInvAddPred4x4_H264_16s_C1IR(nullptr, 8, nullptr, nullptr, nullptr, 8, 99, 1, nullptr),
              vekStsNullPtrErr);
    for (int qp = 0; qp <= 51; ++qp) {
        Block inv{}, fwd{};
        ASSERT_EQ(vekiGenScaleLevel4x4_H264_8u16s_C1(flat, inv.data(), fwd.data(), qp % 6), vekStsOk);
        for (int b = 0; b < 40; ++b) {
            std::array<Vek8u, 16> pred{}, want{}, got{}, got_flat{};
            std::array<Vek16u, 16> pred16{}, got16{};
            Block lv{};
            for (int k = 0; k < 16; ++k) {
                pred[k] = static_cast<Vek8u>(rng() % 256);
                pred16[k] = pred[k];
                // From QP 36 on the decoder's 16-bit stages saturate on dense levels, past any
                // residual of 8-bit video: a few +-1 levels there.
                lv[k] = static_cast<Vek16s>(qp < 36 ? static_cast<int>(rng() % 9) - 4
                                            : rng() % 8 ? 0 : static_cast<int>(rng() % 2) * 2 - 1);
            }
            const Vek16s dc = static_cast<Vek16s>(static_cast<int>(rng() % 2001) - 1000);
            const bool give_dc = b % 3 == 0;
            const Vek32s ac = b % 4 != 1;
            Block a = lv, c = lv, d = lv;
            ASSERT_EQ(vekiDequantTransformResidualAndAdd_H264_16s_C1I(pred.data(), a.data(), give_dc ? &dc : nullptr,
                                                                      want.data(), 4, 4, qp, ac),
                      vekStsOk);
            ASSERT_EQ(vekiTransformQuantInvAddPred4x4_H264_16s_C1IR(pred.data(), 4, c.data(), give_dc ? &dc : nullptr,
                                                                    got.data(), 4, qp, ac, nullptr),
                      vekStsOk);
            ASSERT_EQ(vekiTransformQuantInvAddPred4x4_H264_16s_C1IR(pred.data(), 4, d.data(), give_dc ? &dc : nullptr,
                                                                    got_flat.data(), 4, qp, ac, inv.data()),
                      vekStsOk);
            SCOPED_TRACE(::testing::Message() << "QP " << qp << " block " << b);
            EXPECT_EQ(got, want);
            EXPECT_EQ(got_flat, want);
            EXPECT_EQ(c, a);
            std::array<Vek32s, 16> l32b{};
            std::copy(lv.begin(), lv.end(), l32b.begin());
            const Vek32s dc32 = dc;
            ASSERT_EQ(vekiTransformQuantInvAddPred4x4_H264_32s_C1IR(pred16.data(), 4, l32b.data(),
                                                                    give_dc ? &dc32 : nullptr, got16.data(), 4, qp,
                                                                    ac, 10, nullptr),
                      vekStsOk);
            for (int k = 0; k < 16; ++k)
                if (want[k] > 0 && want[k] < 255) {
                    EXPECT_EQ(got16[k], want[k]) << "place " << k;
                }
        }
    }
}

// The older entry points give what the current forms give; only the low byte
// of their flags counts.
TEST(TransformQuant, OlderFormsAgree) {
    std::mt19937 rng(31);
    for (int qp = 0; qp <= 51; ++qp) {
        Block src{};
        for (auto& x : src) x = static_cast<Vek16s>(static_cast<int>(rng() % 301) - 150);
        Block a = src, b{}, ta{}, tb{};
        Vek32s n = 0, last = 0;
        Vek8s n8 = 0;
        Vek8u last8 = 0;
        ASSERT_EQ(vekiTransformQuantFwd4x4_H264_16s_C1(src.data(), b.data(), qp, &n, 1, kRasterToZigzag.data(), &last,
                                                       nullptr),
                  vekStsOk);
        ASSERT_EQ(vekiTransformQuantResidual_H264_16s_C1I(a.data(), qp, &n8, 0x101, kRasterToZigzag.data(), &last8),
                  vekStsOk);
        EXPECT_EQ(a, b);
        EXPECT_EQ(std::tie(n8, last8), std::make_tuple(static_cast<Vek8s>(n), static_cast<Vek8u>(last)));
        a = src, b = src;
        ASSERT_EQ(vekiTransformQuantFwdLumaDC4x4_H264_16s_C1I(b.data(), tb.data(), qp, &n, 1, kRasterToZigzag.data(),
                                                              &last, nullptr),
                  vekStsOk);
        ASSERT_EQ(vekiTransformQuantLumaDC_H264_16s_C1I(a.data(), ta.data(), qp, &n8, 1, kRasterToZigzag.data(), &last8),
                  vekStsOk);
        EXPECT_EQ(a, b);
        EXPECT_EQ(n8, n);
        if (qp > 39) continue;
        a = src, b = src;
        ASSERT_EQ(vekiTransformQuantFwdChromaDC2x2_H264_16s_C1I(b.data(), tb.data(), qp, &n, 0, 1, nullptr), vekStsOk);
        ASSERT_EQ(vekiTransformQuantChromaDC_H264_16s_C1I(a.data(), ta.data(), qp, &n8, 0x100, 0x301), vekStsOk);
        EXPECT_EQ(a, b);
        EXPECT_EQ(n8, n);
    }
    Vek8s n8 = 0;
    Block s{}, t{};
    EXPECT_EQ(vekiTransformQuantChromaDC_H264_16s_C1I(s.data(), t.data(), 40, &n8, 0, 0), vekStsOutOfRangeErr);
    EXPECT_EQ(vekiTransformQuantResidual_H264_16s_C1I(s.data(), 0, nullptr, 0, nullptr, nullptr), vekStsNullPtrErr);
}

}  // namespace
