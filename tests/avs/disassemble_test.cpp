// AVS encoder side: block difference with SAD, the forward transform's round
// trip through the inverse, and disassembly followed by reconstruction.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

#include "avs/stream.h"

namespace {

using avs_test::kFrameScan;

// What the block decoder would report for these levels in a frame scan.
Vek32u scan_count(const Vek16s* lv) {
    Vek32u n = 0;
    for (Vek32u s = 0; s < 64; ++s)
        if (lv[kFrameScan[s]]) n = s + 1;
    return n;
}

TEST(AvsSubSad, DifferenceAndSum) {
    Vek8u a[8 * 12], b[8 * 10];
    for (int i = 0; i < 96; ++i) a[i] = static_cast<Vek8u>(i * 37);
    for (int i = 0; i < 80; ++i) b[i] = static_cast<Vek8u>(255 - i * 11);
    Vek16s d[8 * 9];
    std::fill(std::begin(d), std::end(d), Vek16s{-999});
    Vek32s sad = -1, expect = 0;
    ASSERT_EQ(vekiSubSAD8x8_8u16s_C1R(a, 12, b, 10, d, 18, &sad), vekStsOk);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            const int v = a[y * 12 + x] - b[y * 10 + x];
            ASSERT_EQ(d[y * 9 + x], v);
            expect += std::abs(v);
        }
    EXPECT_EQ(sad, expect);
    for (int y = 0; y < 8; ++y) EXPECT_EQ(d[y * 9 + 8], -999);  // the gap in each row stays
    EXPECT_EQ(vekiSubSAD8x8_8u16s_C1R(a, 12, b, 10, d, 18, nullptr), vekStsNullPtrErr);
    EXPECT_EQ(vekiSubSAD8x8_8u16s_C1R(a, 12, nullptr, 10, d, 18, &sad), vekStsNullPtrErr);
}

// Forward then inverse on a flat prediction stays within the quantiser's
// error, which doubles every 8 QP, and without bias.
TEST(AvsForward, RoundTripWithinQuantisationError) {
    std::mt19937 rng(3);
    for (Vek32u qp = 0; qp < 64; qp += 3) {
        double err2 = 0, bias = 0;
        for (int n = 0; n < 40; ++n) {
            std::array<Vek16s, 64> res, lv;
            for (auto& r : res) r = static_cast<Vek16s>(static_cast<int>(rng() % 121) - 60);
            Vek32u count = 99;
            ASSERT_EQ(vekiTransformQuant8x8Fwd_AVS_16s_C1(res.data(), lv.data(), &count, qp, 1), vekStsOk);
            Vek32u nonzero = 0;
            for (Vek16s v : lv) nonzero += v != 0;
            ASSERT_EQ(count, nonzero);
            std::vector<Vek8u> pic(64, 128);
            Vek16s* cursor = lv.data();
            const Vek32u counts[4] = {scan_count(lv.data())};
            ASSERT_EQ(vekiReconstructLumaInter_AVS_16s8u_C1R(&cursor, pic.data(), 8, counts, count ? 1 : 0, qp),
                      vekStsOk);
            for (int i = 0; i < 64; ++i) {
                const double e = pic[i] - 128 - res[i];
                err2 += e * e;
                bias += e;
            }
        }
        const double step = std::pow(2.0, qp / 8.0);
        const double rms = std::sqrt(err2 / (40 * 64));
        EXPECT_LE(rms, std::min(0.5 * step + 0.6, 62.0)) << "qp " << qp;
        EXPECT_LE(std::abs(bias / (40 * 64)), 0.1 * step + 0.3) << "qp " << qp;
    }
}

TEST(AvsForward, InPlaceRoundingAndChecks) {
    std::array<Vek16s, 64> res{}, lv{}, inter{};
    res.fill(-20);
    Vek32u count = 0, inter_count = 0;
    ASSERT_EQ(vekiTransformQuant8x8Fwd_AVS_16s_C1(res.data(), lv.data(), &count, 30, 1), vekStsOk);
    ASSERT_EQ(vekiTransformQuant8x8Fwd_AVS_16s_C1(res.data(), inter.data(), &inter_count, 30, 0), vekStsOk);
    EXPECT_EQ(count, 1u);  // a flat block has its DC alone
    EXPECT_LT(lv[0], 0);
    EXPECT_LE(inter[0], 0);
    EXPECT_GE(std::abs(lv[0]), std::abs(inter[0]));  // the intra dead zone is the smaller
    std::array<Vek16s, 64> same = res;
    ASSERT_EQ(vekiTransformQuant8x8Fwd_AVS_16s_C1(same.data(), same.data(), &count, 30, 1), vekStsOk);
    EXPECT_EQ(same, lv);
    EXPECT_EQ(vekiTransformQuant8x8Fwd_AVS_16s_C1(nullptr, lv.data(), &count, 99, 1), vekStsNullPtrErr);
    EXPECT_EQ(vekiTransformQuant8x8Fwd_AVS_16s_C1(res.data(), lv.data(), nullptr, 99, 1), vekStsNullPtrErr);
    EXPECT_EQ(vekiTransformQuant8x8Fwd_AVS_16s_C1(res.data(), lv.data(), &count, 64, 1), vekStsOutOfRangeErr);
}

// A 48x48 picture, macroblock at (16, 16): random source, a reconstructed
// neighbourhood from a smoothed copy.
constexpr int kAt = 16 * 48 + 16;  // the macroblock's first sample

struct Scene {
    std::vector<Vek8u> src = std::vector<Vek8u>(48 * 48), rec = std::vector<Vek8u>(48 * 48);
    explicit Scene(unsigned seed, int noise) {
        std::mt19937 rng(seed);
        for (int y = 0; y < 48; ++y)
            for (int x = 0; x < 48; ++x) {
                src[y * 48 + x] = static_cast<Vek8u>(
                    std::clamp(80 + 2 * x + y + static_cast<int>(rng() % (2 * noise + 1)) - noise, 0, 255));
                rec[y * 48 + x] =
                    static_cast<Vek8u>(std::clamp(src[y * 48 + x] + static_cast<int>(rng() % 5) - 2, 0, 255));
            }
    }
};

TEST(AvsDisassemble, LumaReconstructsAsEncoderSaw) {
    for (const Vek32u qp : {0u, 17u, 40u, 63u})
        for (const Vek32u edges : {0u, 1u, 4u, 5u, 32u, 64u, 101u})
            for (const int noise : {0, 3, 60}) {
                Scene s(qp * 7 + edges, noise);
                std::vector<Vek8u> before = s.rec;
                Vek16s coeff[5 * 64];
                Vek16s* cursor = coeff;
                Vek32u modes[4] = {9, 9, 9, 9}, cbp = 99;
                ASSERT_EQ(vekiDisassembleLumaIntra_AVS_16s8u_C1R(s.src.data() + kAt, 48, s.rec.data() + kAt, 48, &cursor,
                                                                 modes, &cbp, qp, edges), vekStsOk);
                ASSERT_LT(cbp, 16u);
                const int coded = __builtin_popcount(cbp);
                EXPECT_EQ(cursor, coded ? coeff + 64 * coded : coeff);
                Vek32u counts[4] = {};
                for (int b = 0, k = 0; b < 4; ++b) {
                    ASSERT_LT(modes[b], 5u);
                    if (cbp >> b & 1) counts[b] = scan_count(coeff + 64 * k++);
                }
                Vek16s* read = coeff;
                ASSERT_EQ(vekiReconstructLumaIntra_AVS_16s8u_C1R(&read, before.data() + kAt, 48, modes, counts, cbp,
                                                                 qp, edges), vekStsOk);
                EXPECT_EQ(before, s.rec) << "qp " << qp << " edges " << edges << " noise " << noise;
                if (qp == 0 && noise == 60) { EXPECT_EQ(cbp, 15u); }
            }
}

TEST(AvsDisassemble, ChromaReconstructsAsEncoderSaw) {
    for (const Vek32u qp : {0u, 25u, 51u})
        for (const Vek32u edges : {0u, 1u, 4u, 5u})
            for (const int noise : {0, 40}) {
                Scene u(qp + edges * 3, noise), v(qp + edges * 3 + 1, noise);
                std::vector<Vek8u> bu = u.rec, bv = v.rec;
                Vek16s coeff[3 * 64];
                Vek16s* cursor = coeff;
                const Vek8u* srcs[2] = {u.src.data() + kAt, v.src.data() + kAt};
                Vek8u* dsts[2] = {u.rec.data() + kAt, v.rec.data() + kAt};
                Vek32u mode = 9, cbp = 99;
                ASSERT_EQ(vekiDisassembleChroma420Intra_AVS_16s8u_C1R(srcs, 48, dsts, 48, &cursor, &mode, &cbp, qp, edges),
                          vekStsOk);
                ASSERT_LT(mode, 4u);
                ASSERT_LT(cbp, 4u);
                const int coded = __builtin_popcount(cbp);
                EXPECT_EQ(cursor, coded ? coeff + 64 * coded : coeff);
                Vek32u counts[2] = {};
                for (int b = 0, k = 0; b < 2; ++b)
                    if (cbp >> b & 1) counts[b] = scan_count(coeff + 64 * k++);
                Vek16s* read = coeff;
                ASSERT_EQ(vekiReconstructChromaIntra_AVS_16s8u_C1R(&read, bu.data() + kAt, bv.data() + kAt, 48, mode,
                                                                   counts, cbp, qp, edges), vekStsOk);
                EXPECT_EQ(bu, u.rec) << "qp " << qp << " edges " << edges;
                EXPECT_EQ(bv, v.rec) << "qp " << qp << " edges " << edges;
            }
}

// A flat picture of 128: every available mode predicts it exactly, so equal
// costs keep the lowest (DC for the block with no neighbours), no block is
// coded and the cursor stays.
TEST(AvsDisassemble, TiesAndEmptyPattern) {
    std::vector<Vek8u> src(48 * 48, 128), rec(48 * 48, 128);
    Vek16s coeff[4 * 64];
    Vek16s* cursor = coeff;
    Vek32u modes[4], cbp = 99;
    ASSERT_EQ(vekiDisassembleLumaIntra_AVS_16s8u_C1R(src.data() + kAt, 48, rec.data() + kAt, 48, &cursor, modes, &cbp,
                                                     20, 5), vekStsOk);
    EXPECT_EQ(cbp, 0u);
    EXPECT_EQ(cursor, coeff);
    EXPECT_EQ((std::array<Vek32u, 4>{modes[0], modes[1], modes[2], modes[3]}), (std::array<Vek32u, 4>{2, 1, 0, 0}));
    const Vek8u* srcs[2] = {src.data(), src.data()};
    Vek8u* dsts[2] = {rec.data() + kAt, rec.data() + 16 * 48 + 24};
    Vek32u mode = 9;
    ASSERT_EQ(vekiDisassembleChroma420Intra_AVS_16s8u_C1R(srcs, 48, dsts, 48, &cursor, &mode, &cbp, 20, 0), vekStsOk);
    EXPECT_EQ(mode, 0u);
    EXPECT_EQ(cbp, 0u);
}

TEST(AvsDisassemble, ArgumentChecks) {
    Vek8u pic[16 * 16] = {};
    Vek16s coeff[4 * 64];
    Vek16s *cursor = coeff, *none = nullptr;
    Vek32u modes[4], cbp = 7;
    const auto luma = [&](const Vek8u* s, Vek16s** c, Vek32u* pcbp, Vek32u qp) {
        return vekiDisassembleLumaIntra_AVS_16s8u_C1R(s, 16, pic, 16, c, modes, pcbp, qp, 0);
    };
    EXPECT_EQ(luma(nullptr, &cursor, &cbp, 99), vekStsNullPtrErr);
    EXPECT_EQ(luma(pic, &none, &cbp, 99), vekStsNullPtrErr);
    EXPECT_EQ(luma(pic, &cursor, nullptr, 99), vekStsNullPtrErr);
    EXPECT_EQ(luma(pic, &cursor, &cbp, 64), vekStsOutOfRangeErr);
    const Vek8u *srcs[2] = {pic, nullptr}, *good_srcs[2] = {pic, pic};
    Vek8u* dsts[2] = {pic, pic};
    const auto chroma = [&](const Vek8u** s, Vek32u* mode, Vek32u qp) {
        return vekiDisassembleChroma420Intra_AVS_16s8u_C1R(s, 16, dsts, 16, &cursor, mode, &cbp, qp, 0);
    };
    EXPECT_EQ(chroma(srcs, modes, 99), vekStsNullPtrErr);
    EXPECT_EQ(chroma(good_srcs, nullptr, 99), vekStsNullPtrErr);
    EXPECT_EQ(chroma(good_srcs, modes, 52), vekStsOutOfRangeErr);
    EXPECT_EQ(cbp, 7u);
    EXPECT_EQ(cursor, coeff);
}

}  // namespace
