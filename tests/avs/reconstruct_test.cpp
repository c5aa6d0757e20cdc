// AVS reconstruction: predictors on a known neighbourhood, the three inverse
// routes against a plain matrix form and where they part, block order and
// the coefficient cursor, and the argument checks.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "vekvc.h"

namespace {

constexpr int kM[8][8] = {{8, 10, 10, 9, 8, 6, 4, 2},     {8, 9, 4, -2, -8, -10, -10, -6},
                          {8, 6, -4, -10, -8, 2, 10, 9},  {8, 2, -10, -6, 8, 9, -4, -10},
                          {8, -2, -10, 6, 8, -9, -4, 10}, {8, -6, -4, 10, -8, -2, 10, -9},
                          {8, -9, 4, 2, -8, 10, -10, 6},  {8, -10, 10, -9, 8, -6, 4, -2}};
constexpr int kMul[64] = {32768, 36061, 38968, 42495, 46341, 50535, 55437, 60424, 32932, 35734, 38968, 42495, 46177,
                          50535, 55109, 59933, 65535, 35734, 38968, 42577, 46341, 50617, 55027, 60097, 32809, 35734,
                          38968, 42454, 46382, 50576, 55109, 60056, 65535, 35734, 38968, 42495, 46320, 50515, 55109,
                          60076, 65535, 35744, 38968, 42495, 46341, 50535, 55099, 60087, 65535, 35734, 38973, 42500,
                          46341, 50535, 55109, 60097, 32771, 35734, 38965, 42497, 46341, 50535, 55109, 60099};
int shift_of(int qp) {
    return qp < 8 ? 14 : qp < 17 ? 13 : qp < 24 ? 12 : qp < 33 ? 11 : qp < 41 ? 10 : qp < 49 ? 9 : qp < 56 ? 8 : 7;
}

// The inverse in plain matrix form, wide enough never to overflow.
std::array<Vek8u, 64> matrix_inverse(const std::array<Vek16s, 64>& lv, const std::array<Vek8u, 64>& pred, int qp) {
    std::int64_t w[64], t[64];
    for (int i = 0; i < 64; ++i) w[i] = (std::int64_t{lv[i]} * kMul[qp] + (1 << (shift_of(qp) - 1))) >> shift_of(qp);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            std::int64_t s = 4;
            for (int i = 0; i < 8; ++i) s += kM[x][i] * w[y * 8 + i];
            t[y * 8 + x] = s >> 3;
        }
    std::array<Vek8u, 64> out;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            std::int64_t s = 64;
            for (int i = 0; i < 8; ++i) s += kM[y][i] * t[i * 8 + x];
            const std::int64_t v = pred[y * 8 + x] + (s >> 7);
            out[y * 8 + x] = static_cast<Vek8u>(v < 0 ? 0 : v > 255 ? 255 : v);
        }
    return out;
}

// One block through luma inter reconstruction, block 0 coded with numCoeff.
std::array<Vek8u, 64> inverse(const std::array<Vek16s, 64>& lv, const std::array<Vek8u, 64>& pred, Vek32u n,
                              Vek32u qp) {
    std::vector<Vek8u> pic(16 * 16, 0);
    for (int i = 0; i < 64; ++i) pic[(i / 8) * 16 + i % 8] = pred[i];
    std::array<Vek16s, 64> coeff = lv;
    Vek16s* cursor = coeff.data();
    const Vek32u counts[4] = {n, 0, 0, 0};
    EXPECT_EQ(vekiReconstructLumaInter_AVS_16s8u_C1R(&cursor, pic.data(), 16, counts, 1, qp), vekStsOk);
    EXPECT_EQ(cursor, coeff.data() + 64);
    std::array<Vek8u, 64> out;
    for (int i = 0; i < 64; ++i) out[i] = pic[(i / 8) * 16 + i % 8];
    return out;
}

// Every route against the matrix form while values keep within 16 bits;
// levels outside a route's reach are ignored, and a count of 0 takes the full route.
TEST(AvsInverse, RoutesMatchMatrixFormWithinRange) {
    std::mt19937 rng(5);
    for (int n = 0; n < 600; ++n) {
        const int qp = static_cast<int>(rng() % 64);
        const Vek32u count = std::array<Vek32u, 6>{0, 1, 2, 10, 11, 64}[n % 6];
        const int limit = std::max(1, (300 << shift_of(qp)) / kMul[qp]);
        std::array<Vek16s, 64> lv{}, reached{};
        std::array<Vek8u, 64> pred;
        for (int i = 0; i < 64; ++i) {
            if (rng() % 3 == 0) lv[i] = static_cast<Vek16s>(static_cast<int>(rng() % (2 * limit + 1)) - limit);
            const bool in_reach = count == 1 ? i == 0 : (count >= 2 && count <= 10) ? (i % 8 < 4 && i / 8 < 4) : true;
            reached[i] = in_reach ? lv[i] : 0;
            pred[i] = static_cast<Vek8u>(rng());
        }
        EXPECT_EQ(inverse(lv, pred, count, static_cast<Vek32u>(qp)), matrix_inverse(reached, pred, qp))
            << "qp " << qp << " n " << count;
    }
}

// Level 200 at QP 60 overflows 16 bits: the DC route wraps its level and
// saturates up, the full route's dequantisation wraps negative and its first
// pass saturates at -4096, the low route's 16-bit products wrap differently.
TEST(AvsInverse, RoutesPartOnOverflow) {
    std::array<Vek16s, 64> lv{};
    lv[0] = 200;
    std::array<Vek8u, 64> pred;
    pred.fill(250);
    const struct {
        Vek32u count;
        int pixel;
    } cases[] = {{1, 255}, {2, 7}, {10, 7}, {11, 0}, {0, 0}};
    for (const auto& c : cases) {
        const auto out = inverse(lv, pred, c.count, 60);
        for (Vek8u v : out) ASSERT_EQ(v, c.pixel) << "count " << c.count;
    }
}

// A 24x24 picture: the row above the block at (8, 8) rises by 4 from 10, the
// column to its left falls by 6 from 200, the corner and the rest are 50.
std::vector<Vek8u> neighbourhood() {
    std::vector<Vek8u> pic(24 * 24, 50);
    for (int x = 8; x < 24; ++x) pic[7 * 24 + x] = static_cast<Vek8u>(10 + 4 * (x - 8));
    for (int y = 8; y < 24; ++y) pic[y * 24 + 7] = static_cast<Vek8u>(200 - 6 * (y - 8));
    return pic;
}

TEST(AvsPredict, KnownAnswers) {
    const struct {
        bool luma;
        Vek32u mode, edges;
        int spot[5];  // (0,0) (7,0) (0,7) (7,7) (3,5) as (x,y)
    } cases[] = {
        {true, 2, 0, {91, 99, 89, 98, 96}},       {true, 2, 4, {199, 199, 158, 158, 170}},
        {true, 2, 1, {11, 38, 11, 38, 22}},       {true, 2, 5, {128, 128, 128, 128, 128}},
        {true, 3, 0, {104, 97, 97, 90, 96}},      {true, 3, 64, {104, 100, 100, 113, 102}},
        {true, 4, 0, {78, 34, 164, 78, 194}},     {false, 0, 96, {91, 99, 90, 98, 96}},
        {false, 3, 64, {82, 89, 112, 120, 107}},  {false, 0, 64, {91, 99, 90, 99, 96}},
        {true, 0, 1, {10, 38, 10, 38, 22}},       {true, 1, 4, {200, 200, 158, 158, 170}},
        {true, 13, 5, {128, 128, 128, 128, 128}}, {false, 6, 0, {10, 38, 10, 38, 22}},
        {false, 5, 0, {200, 200, 158, 158, 170}},
    };
    const int spots[5][2] = {{0, 0}, {7, 0}, {0, 7}, {7, 7}, {3, 5}};
    for (const auto& c : cases) {
        auto pic = neighbourhood();
        Vek16s coeff[64] = {};
        Vek16s* cursor = coeff;
        const Vek32u modes[4] = {c.mode, 5, 5, 5}, counts[4] = {};
        Vek8u* block = pic.data() + 8 * 24 + 8;
        const VekStatus st =
            c.luma ? vekiReconstructLumaIntra_AVS_16s8u_C1R(&cursor, block, 24, modes, counts, 0, 0, c.edges)
                   : vekiReconstructChromaIntra_AVS_16s8u_C1R(&cursor, block, block, 24, c.mode, counts, 0, 0, c.edges);
        ASSERT_EQ(st, vekStsOk);
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(block[spots[i][1] * 24 + spots[i][0]], c.spot[i])
                << c.luma << " mode " << c.mode << " edges " << c.edges << " spot " << i;
        EXPECT_EQ(cursor, coeff);
    }
}

// Modes that lack a neighbour leave the picture alone and the residual is still added.
TEST(AvsPredict, MissingNeighboursKeepPicture) {
    for (Vek32u mode : {0u, 1u, 3u, 4u}) {
        auto pic = neighbourhood();
        Vek16s coeff[64] = {16};  // DC of +2 at QP 0
        Vek16s* cursor = coeff;
        const Vek32u modes[4] = {mode, 5, 5, 5}, counts[4] = {1, 0, 0, 0};
        Vek8u* block = pic.data() + 8 * 24 + 8;
        ASSERT_EQ(vekiReconstructLumaIntra_AVS_16s8u_C1R(&cursor, block, 24, modes, counts, 1, 0, 5), vekStsOk);
        EXPECT_TRUE(block[0] == 52 && block[7 * 24 + 7] == 52) << "mode " << mode;
        EXPECT_EQ(cursor, coeff + 64);
    }
}

// Block order, packed coefficients and counts by block: each block is
// predicted from the ones before it.
TEST(AvsReconstruct, BlockOrderAndCursor) {
    std::vector<Vek8u> pic(17 * 24, 0);
    for (int y = 1; y < 17; ++y) pic[y * 24] = static_cast<Vek8u>(10 * y);  // left column
    Vek8u* mb = pic.data() + 24 + 1;
    Vek16s coeff[3 * 64] = {};
    coeff[0] = 16;    // block 0: +2 through the DC route
    coeff[64] = 16;   // block 2: +2 (a count of 1)
    coeff[128] = 16;  // spare, never read
    Vek16s* cursor = coeff;
    const Vek32u modes[4] = {1, 1, 1, 1}, counts[4] = {1, 9, 1, 9};
    ASSERT_EQ(vekiReconstructLumaIntra_AVS_16s8u_C1R(&cursor, mb, 24, modes, counts, 0b0101, 0, 4), vekStsOk);
    EXPECT_EQ(cursor, coeff + 128);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x)
            ASSERT_EQ(mb[y * 24 + x], 10 * (y + 1) + 2) << x << "," << y;  // block 1 and 3 copy 0 and 2

    std::vector<Vek8u> u(16 * 16, 100), v(16 * 16, 100);
    cursor = coeff;
    const Vek32u chroma_counts[4] = {1, 1, 1, 1};
    ASSERT_EQ(vekiReconstructChromaInter_AVS_16s8u_C1R(&cursor, u.data(), v.data(), 16, chroma_counts, 0b1010, 0),
              vekStsOk);
    EXPECT_EQ(cursor, coeff + 128);
    EXPECT_TRUE(u[0] == 100 && u[8 * 16] == 100 && v[8] == 100) << +u[0] << " " << +u[8 * 16] << " " << +v[8];
    EXPECT_TRUE(v[0] == 102 && v[15 * 16 + 7] == 102) << +v[0] << " " << +v[15 * 16 + 7];
}

TEST(AvsReconstruct, ArgumentChecks) {
    // Edge word 5: no neighbours outside the picture, so the predictors stay inside it.
    Vek8u pic[16 * 16] = {};
    Vek16s coeff[64] = {};
    Vek16s* cursor = coeff;
    Vek16s* null_cursor = nullptr;
    const Vek32u n[4] = {}, modes[4] = {};
    const struct {
        Vek16s** pp;
        Vek8u *a, *b;
        Vek32u qp;
        VekStatus luma, chroma;
    } cases[] = {
        {nullptr, pic, pic, 99, vekStsNullPtrErr, vekStsNullPtrErr},
        {&cursor, nullptr, pic, 99, vekStsNullPtrErr, vekStsNullPtrErr},
        {&cursor, pic, nullptr, 99, vekStsOk, vekStsNullPtrErr},
        {&null_cursor, pic, pic, 99, vekStsNullPtrErr, vekStsNullPtrErr},
        {&cursor, pic, pic, 64, vekStsOutOfRangeErr, vekStsOutOfRangeErr},
        {&cursor, pic, pic, 63, vekStsOk, vekStsOutOfRangeErr},
        {&cursor, pic, pic, 52, vekStsOk, vekStsOutOfRangeErr},
        {&cursor, pic, pic, 51, vekStsOk, vekStsOk},
    };
    for (const auto& c : cases) {
        if (c.b) {
            EXPECT_EQ(vekiReconstructLumaIntra_AVS_16s8u_C1R(c.pp, c.a, 16, modes, n, 0, c.qp, 5), c.luma);
            EXPECT_EQ(vekiReconstructLumaInter_AVS_16s8u_C1R(c.pp, c.a, 16, n, 0, c.qp), c.luma);
        }
        EXPECT_EQ(vekiReconstructChromaIntra_AVS_16s8u_C1R(c.pp, c.a, c.b, 16, 0, n, 0, c.qp, 5), c.chroma);
        EXPECT_EQ(vekiReconstructChromaInter_AVS_16s8u_C1R(c.pp, c.a, c.b, 16, n, 0, c.qp), c.chroma);
    }
}

}  // namespace
