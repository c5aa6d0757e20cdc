#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "frame/tables.h"
#include "stream.h"
#include "vekvc.h"

namespace {

using namespace mpeg4_test;
using Block = std::array<Vek16s, 64>;
using Pairs = std::vector<std::pair<int, int>>;  // (index, value); other entries 0

Block block_of(const Pairs& p) {
    Block b{};
    for (auto [i, v] : p) b[i] = static_cast<Vek16s>(v);
    return b;
}

// Caller memory of the reported size, one byte off any alignment; intra and
// inter views of the same record, so that the tags can be crossed.
struct Record {
    std::vector<Vek8u> memory;
    Record() {
        Vek32s inter = 0, intra = 0;
        EXPECT_EQ(vekiQuantInvInterGetSize_MPEG4(&inter), vekStsOk);
        EXPECT_EQ(vekiQuantInvIntraGetSize_MPEG4(&intra), vekStsOk);
        memory.assign(std::max(inter, intra) + 1, 0xEE);
    }
    VekQuantInvInterSpec_MPEG4* inter() { return reinterpret_cast<VekQuantInvInterSpec_MPEG4*>(memory.data() + 1); }
    VekQuantInvIntraSpec_MPEG4* intra() { return reinterpret_cast<VekQuantInvIntraSpec_MPEG4*>(memory.data() + 1); }
};

struct QuantCase {
    const char* name;
    bool intra;
    int weight;  // every matrix entry; 0: no matrix
    Vek32s bits, qp, block_type;
    Pairs in, out;
};

// Worked by hand; the inter rules (saturation, then the mismatch step) are
// held to a model on random blocks at 4, 5, 8 and 12 bits below. DC scalers of
// QP 4, 6, 10, 30: luminance 8, 12, 18, 44; chrominance 8, 9, 11, 24.
const QuantCase kQuantCases[] = {
    {"matrix, zero block gets 1 at 63", false, 16, 8, 2, 0, {}, {{63, 1}}},
    {"intra plain, luminance DC", true, 0, 8, 10, 0, {{0, 10}, {1, 1}}, {{0, 180}, {1, 29}}},
    {"intra plain, chrominance DC", true, 0, 8, 10, 1, {{0, 10}, {1, -1}}, {{0, 110}, {1, -29}}},
    {"intra DC scaler QP 4", true, 0, 8, 4, 0, {{0, 3}}, {{0, 24}}},
    {"intra DC scaler QP 6, chrominance", true, 0, 8, 6, 2, {{0, 3}}, {{0, 27}}},
    {"intra DC scaler QP 6, luminance", true, 0, 8, 6, 0, {{0, 3}}, {{0, 36}}},
    {"intra DC scaler QP 30, luminance", true, 0, 8, 30, 0, {{0, 3}}, {{0, 132}}},
    {"intra DC scaler QP 30, chrominance", true, 0, 8, 30, 1, {{0, 3}}, {{0, 72}}},
    {"intra matrix, even sum", true, 16, 8, 2, 0, {{0, 1}, {9, 1}}, {{0, 8}, {9, 4}, {63, 1}}},
    {"intra matrix toward zero", true, 17, 8, 3, 0, {{0, 1}, {9, -1}}, {{0, 8}, {9, -6}, {63, 1}}},
};

TEST(Mpeg4QuantInv, KnownAnswers) {
    for (const QuantCase& qc : kQuantCases) {
        SCOPED_TRACE(qc.name);
        Record r;
        std::array<Vek8u, 64> m;
        m.fill(static_cast<Vek8u>(qc.weight));
        const Vek8u* matrix = qc.weight ? m.data() : nullptr;
        Block b = block_of(qc.in);
        if (qc.intra) {
            ASSERT_EQ(vekiQuantInvIntraInit_MPEG4(matrix, r.intra(), qc.bits), vekStsOk);
            ASSERT_EQ(vekiQuantInvIntra_MPEG4_16s_C1I(b.data(), 63, r.intra(), qc.qp, qc.block_type), vekStsOk);
        } else {
            ASSERT_EQ(vekiQuantInvInterInit_MPEG4(matrix, r.inter(), qc.bits), vekStsOk);
            ASSERT_EQ(vekiQuantInvInter_MPEG4_16s_C1I(b.data(), 63, r.inter(), qc.qp), vekStsOk);
        }
        EXPECT_EQ(b, block_of(qc.out));
    }
    // Entries after indxLastNonZero are left as they are (odd sum: no mismatch step).
    Record r;
    ASSERT_EQ(vekiQuantInvInterInit_MPEG4(nullptr, r.inter(), 8), vekStsOk);
    Block b;
    b.fill(1);
    ASSERT_EQ(vekiQuantInvInter_MPEG4_16s_C1I(b.data(), 9, r.inter(), 2), vekStsOk);
    for (int i = 0; i < 64; ++i) EXPECT_EQ(b[i], i <= 9 ? 5 : 1) << i;
}

// Checks in order: pointers, tag, QP for the bit depth (1..2^(bits-3)-1), last index.
TEST(Mpeg4QuantInv, Contract) {
    Record r, intra;
    EXPECT_EQ(vekiQuantInvInterGetSize_MPEG4(nullptr), vekStsNullPtrErr);
    EXPECT_EQ(vekiQuantInvIntraGetSize_MPEG4(nullptr), vekStsNullPtrErr);
    EXPECT_EQ(vekiQuantInvInterInit_MPEG4(nullptr, nullptr, 99), vekStsNullPtrErr);
    EXPECT_EQ(vekiQuantInvIntraInit_MPEG4(nullptr, nullptr, 8), vekStsNullPtrErr);
    for (Vek32s bits : {3, 13}) {
        EXPECT_EQ(vekiQuantInvInterInit_MPEG4(nullptr, r.inter(), bits), vekStsOutOfRangeErr);
        EXPECT_EQ(vekiQuantInvIntraInit_MPEG4(nullptr, r.intra(), bits), vekStsOutOfRangeErr);
    }
    Block b{};
    EXPECT_EQ(vekiQuantInvInter_MPEG4_16s_C1I(b.data(), 63, r.inter(), 0), vekStsContextMismatchErr);  // no Init yet
    ASSERT_EQ(vekiQuantInvIntraInit_MPEG4(nullptr, intra.intra(), 8), vekStsOk);
    EXPECT_EQ(vekiQuantInvInter_MPEG4_16s_C1I(b.data(), 63, intra.inter(), 5), vekStsContextMismatchErr);
    ASSERT_EQ(vekiQuantInvInterInit_MPEG4(nullptr, r.inter(), 8), vekStsOk);
    EXPECT_EQ(vekiQuantInvIntra_MPEG4_16s_C1I(b.data(), 63, r.intra(), 5, 0), vekStsContextMismatchErr);
    const struct {
        Vek32s bits, qp, last, status;
    } uses[] = {
        {8, 0, -1, vekStsQpRangeErr}, {8, 32, 63, vekStsQpRangeErr}, {8, 31, 64, vekStsOutOfRangeErr},
        {8, 1, -1, vekStsOutOfRangeErr}, {4, 2, 0, vekStsQpRangeErr}, {4, 1, 0, vekStsOk},
        {12, 511, 63, vekStsOk}, {12, 512, 63, vekStsQpRangeErr}, {9, 64, 0, vekStsQpRangeErr},
    };
    for (const auto& u : uses) {
        SCOPED_TRACE(::testing::Message() << u.bits << " " << u.qp << " " << u.last);
        ASSERT_EQ(vekiQuantInvInterInit_MPEG4(nullptr, r.inter(), u.bits), vekStsOk);
        ASSERT_EQ(vekiQuantInvIntraInit_MPEG4(nullptr, intra.intra(), u.bits), vekStsOk);
        Block c;
        c.fill(3);
        EXPECT_EQ(vekiQuantInvInter_MPEG4_16s_C1I(c.data(), u.last, r.inter(), u.qp), u.status);
        EXPECT_EQ(vekiQuantInvIntra_MPEG4_16s_C1I(c.data(), u.last, intra.intra(), u.qp, 0), u.status);
        EXPECT_EQ(c[0] == 3, u.status != vekStsOk);
        EXPECT_EQ(vekiQuantInvInter_MPEG4_16s_C1I(nullptr, u.last, r.inter(), u.qp), vekStsNullPtrErr);
        EXPECT_EQ(vekiQuantInvIntra_MPEG4_16s_C1I(c.data(), u.last, nullptr, u.qp, 0), vekStsNullPtrErr);
    }
}

// The fused decoder against the plain decoder of the same stream and the
// per-level formulas, at several bit depths, with and without a matrix.
TEST(Mpeg4Reconstruct, MatchesDecodeThenDequantise) {
    std::mt19937 rng(test_seed("Mpeg4Reconstruct"));
    const CodeTable b17 = read_table("mpeg4_tcoef_inter_b17.txt");
    std::array<Vek8u, 64> weights;
    for (Vek8u& w : weights) w = static_cast<Vek8u>(1 + rng() % 255);
    const Vek32s kBits[] = {4, 5, 8, 12};
    for (int iter = 0; iter < 600; ++iter) {
        const bool matrix = iter & 1;
        const Vek32s bits = kBits[iter / 2 % 4];
        const Vek32s qp = 1 + static_cast<Vek32s>(rng() % ((1 << (bits - 3)) - 1)), scan = rng() % 4;
        SCOPED_TRACE(::testing::Message() << iter << " qp " << qp << " bits " << bits);
        BitWriter w;
        for (const Coef& c : random_block(rng, -1, 2047)) {
            const std::vector<Form> f = forms_for(b17, c);
            put_tcoef(w, b17, c, f[rng() % f.size()]);
        }
        w.put(0, 32);
        Record r;
        ASSERT_EQ(vekiQuantInvInterInit_MPEG4(matrix ? weights.data() : nullptr, r.inter(), bits), vekStsOk);
        Vek8u *p = w.bytes.data(), *p2 = p;
        Vek32s o = 0, o2 = 0, last = 0, plain_last = 0;
        Block got, levels, want{};
        ASSERT_EQ(vekiReconstructCoeffsInter_MPEG4_1u16s(&p, &o, got.data(), &last, 0, scan, r.inter(), qp), 0);
        ASSERT_EQ(vekiDecodeCoeffsInter_MPEG4_1u16s(&p2, &o2, levels.data(), &plain_last, 0, scan == 1), 0);
        EXPECT_TRUE(p == p2 && o == o2 && last == plain_last);
        // Plain: (2|L| + 1) QP, less 1 for even QP. Matrix: ((2L + sign) W QP) / 16
        // toward zero, then an even sum flips the lowest bit at 63.
        const Vek32s lo = -(1 << (bits + 3)), hi = (1 << (bits + 3)) - 1, q = (qp & 1) ? qp : qp - 1;
        int sum = 0;
        for (int i = 0; i < 64; ++i) {
            const int L = levels[i], s = L < 0 ? -1 : 1;
            if (L == 0) continue;
            const int v = matrix ? ((2 * L + s) * weights[i] * qp + (L < 0 ? 15 : 0)) >> 4 : 2 * qp * L + s * q;
            sum += want[i] = static_cast<Vek16s>(std::clamp(v, lo, hi));
        }
        if (matrix && sum % 2 == 0) want[63] = static_cast<Vek16s>(want[63] + ((want[63] & 1) ? -1 : 1));
        EXPECT_EQ(got, want);
        ASSERT_EQ(vekiQuantInvInter_MPEG4_16s_C1I(levels.data(), 63, r.inter(), qp), vekStsOk);
        EXPECT_EQ(levels, want);  // the plain dequantiser agrees
    }
}

// Known answers and the order of checks of the fused decoder; on the
// reversible path the bits are consumed before the record is looked at.
TEST(Mpeg4Reconstruct, KnownAnswersAndChecks) {
    Record plain, weighted, intra;
    std::array<Vek8u, 64> w20;
    w20.fill(20);
    ASSERT_EQ(vekiQuantInvInterInit_MPEG4(nullptr, plain.inter(), 8), vekStsOk);
    ASSERT_EQ(vekiQuantInvInterInit_MPEG4(w20.data(), weighted.inter(), 8), vekStsOk);
    ASSERT_EQ(vekiQuantInvIntraInit_MPEG4(nullptr, intra.intra(), 8), vekStsOk);
    // Type-3 (1, run 5, level 0): plain stores +Q = 3 at QP 4; the matrix (20 * 4) >> 4 = 5, odd sum.
    const std::string zero_level = "0000011" "11" "1" "000101" "1" "000000000000" "1";
    const std::string reversible = "1100" "10111";  // B-23 (0,0,1) then (1,0,-1); scan 2 is zigzag here
    const int z5 = vek::ownvc_Zigzag[5];
    const struct {
        const char* name;
        const std::string& bits;
        Vek32s rvlc;
        const VekQuantInvInterSpec_MPEG4* quant;
        Vek32s qp, status;
        Pairs out;
        bool moved;
    } cases[] = {
        {"plain, type-3 zero stores +Q", zero_level, 0, plain.inter(), 4, vekStsOk, {{z5, 3}}, true},
        {"matrix, type-3 zero", zero_level, 0, weighted.inter(), 4, vekStsOk, {{z5, 5}}, true},
        {"reversible, then the whole block", reversible, 1, weighted.inter(), 2, vekStsOk, {{0, 7}, {1, -7}, {63, 1}}, true},
        {"null record", zero_level, 0, nullptr, 4, vekStsNullPtrErr, {}, false},
        {"intra record", zero_level, 0, intra.inter(), 4, vekStsContextMismatchErr, {}, false},
        {"QP 0", zero_level, 0, plain.inter(), 0, vekStsQpRangeErr, {}, false},
        {"QP 32 at 8 bits", zero_level, 0, plain.inter(), 32, vekStsQpRangeErr, {}, false},
        {"reversible, QP after decoding", reversible, 1, plain.inter(), 32, vekStsQpRangeErr, {{0, 1}, {1, -1}}, true},
        {"reversible, null record after decoding", reversible, 1, nullptr, 4, vekStsNullPtrErr, {{0, 1}, {1, -1}}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        BitWriter w;
        w.put(c.bits);
        w.put(0, 32);
        Vek8u* p = w.bytes.data();
        Vek32s o = 0, last = -5;
        Block got;
        got.fill(99);
        EXPECT_EQ(vekiReconstructCoeffsInter_MPEG4_1u16s(&p, &o, got.data(), &last, c.rvlc, 2, c.quant, c.qp), c.status);
        EXPECT_EQ(p != w.bytes.data() || o != 0, c.moved);
        EXPECT_EQ(got, c.moved ? block_of(c.out) : [] { Block b; b.fill(99); return b; }());
    }
}

}  // namespace
