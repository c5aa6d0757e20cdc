// Contract and known-answer tests of the VC-1 transforms: checks, both forms of
// each size, the DC shortcut, the partial kernels and saturation after the row pass.
#include <gtest/gtest.h>

#include <vector>

#include "vekvc.h"

namespace {

struct Size {
    int w, h;
    VekStatus (*inv_ir)(Vek16s*, Vek32s, VekRoi);
    VekStatus (*inv_r)(const Vek16s*, Vek32s, Vek16s*, Vek32s, VekRoi);
    VekStatus (*fwd_ir)(Vek16s*, Vek32s);
    VekStatus (*fwd_r)(const Vek16s*, Vek32s, Vek16s*, Vek32s);
    long inv_wsum, fwd_wsum;  // from an independent model of the formulas
};

const Size kSizes[] = {
    {8, 8, vekiTransform8x8Inv_VC1_16s_C1IR, vekiTransform8x8Inv_VC1_16s_C1R, vekiTransform8x8Fwd_VC1_16s_C1IR,
     vekiTransform8x8Fwd_VC1_16s_C1R, 703383, -7514},
    {4, 8, vekiTransform4x8Inv_VC1_16s_C1IR, vekiTransform4x8Inv_VC1_16s_C1R, vekiTransform4x8Fwd_VC1_16s_C1IR,
     vekiTransform4x8Fwd_VC1_16s_C1R, 254751, -6029},
    {8, 4, vekiTransform8x4Inv_VC1_16s_C1IR, vekiTransform8x4Inv_VC1_16s_C1R, vekiTransform8x4Fwd_VC1_16s_C1IR,
     vekiTransform8x4Fwd_VC1_16s_C1R, 138911, -12977},
    {4, 4, vekiTransform4x4Inv_VC1_16s_C1IR, vekiTransform4x4Inv_VC1_16s_C1R, vekiTransform4x4Fwd_VC1_16s_C1IR,
     vekiTransform4x4Fwd_VC1_16s_C1R, 53954, -5133},
};

constexpr int kStride = 24;  // elements
constexpr Vek32s kStep = 2 * kStride;

std::vector<Vek16s> block(const Size& s, int (*f)(int x, int y)) {
    std::vector<Vek16s> b(kStride * 8, 0);
    for (int y = 0; y < s.h; ++y)
        for (int x = 0; x < s.w; ++x) b[y * kStride + x] = static_cast<Vek16s>(f(x, y));
    return b;
}

long weighted_sum(const Size& s, const Vek16s* b) {
    long sum = 0;
    for (int y = 0, i = 0; y < s.h; ++y)
        for (int x = 0; x < s.w; ++x, ++i) sum += (i * 31L + 7) * b[y * kStride + x];
    return sum;
}

int ramp(int x, int y) { return (x - 2 * y) * 37 + (x * y) % 5 * 11; }
int residual(int x, int y) { return (x * 7 + y * 13) % 31 - 15; }

// Each pointer null, then known answers of both forms.
TEST(VC1Transform, NullPointersAndKnownAnswersBothForms) {
    for (const Size& s : kSizes) {
        SCOPED_TRACE(testing::Message() << s.w << "x" << s.h);
        auto in = block(s, ramp);
        std::vector<Vek16s> out(kStride * 8, 0x5A5A);
        for (const VekStatus st : {s.inv_ir(nullptr, 16, {8, 8}), s.inv_r(nullptr, 16, out.data(), 16, {8, 8}),
                                   s.inv_r(in.data(), 16, nullptr, 16, {8, 8}), s.fwd_ir(nullptr, 16),
                                   s.fwd_r(nullptr, 16, out.data(), 16), s.fwd_r(in.data(), 16, nullptr, 16)})
            EXPECT_EQ(st, vekStsNullPtrErr);
        ASSERT_EQ(s.inv_r(in.data(), kStep, out.data(), kStep, {s.w, s.h}), vekStsOk);
        EXPECT_EQ(weighted_sum(s, out.data()), s.inv_wsum);
        EXPECT_EQ(out[s.w], 0x5A5A) << "wrote beside the block";
        ASSERT_EQ(s.inv_ir(in.data(), kStep, {s.w, s.h}), vekStsOk);
        EXPECT_EQ(weighted_sum(s, in.data()), s.inv_wsum);

        auto res = block(s, residual);
        ASSERT_EQ(s.fwd_r(res.data(), kStep, out.data(), kStep), vekStsOk);
        EXPECT_EQ(weighted_sum(s, out.data()), s.fwd_wsum);
        ASSERT_EQ(s.fwd_ir(res.data(), kStep), vekStsOk);
        EXPECT_EQ(weighted_sum(s, res.data()), s.fwd_wsum);
    }
}

// Partial kernels read only the non-zero part and give the full path's values.
TEST(VC1Transform, PartialSizesMatchFullPath) {
    for (const Size& s : kSizes)
        for (int nh = 1; nh <= s.h; ++nh)
            for (int nw = nh < 2 ? 2 : 1; nw <= s.w; ++nw) {
                auto zeroed = block(s, ramp), junk = zeroed;
                for (int y = 0; y < s.h; ++y)
                    for (int x = 0; x < s.w; ++x)
                        if (x >= nw || y >= nh) zeroed[y * kStride + x] = 0, junk[y * kStride + x] = 9999;
                std::vector<Vek16s> want(kStride * 8), got(kStride * 8);
                ASSERT_EQ(s.inv_r(zeroed.data(), kStep, want.data(), kStep, {s.w, s.h}), vekStsOk);
                ASSERT_EQ(s.inv_r(junk.data(), kStep, got.data(), kStep, {nw, nh}), vekStsOk);
                ASSERT_EQ(got, want) << s.w << "x" << s.h << " nz " << nw << "x" << nh;
            }
}

// srcSizeNZ below 2 both ways: one flat value from the DC alone, AC ignored.
TEST(VC1Transform, DcShortcutIgnoresAc) {
    const struct {
        int size;
        Vek16s dc, flat;  // flat: (b0 x sat16((a0 x dc + 4) >> 3) + 64) >> 7
    } cases[] = {{0, 100, 14}, {1, 100, 20}, {2, 100, 20}, {3, 100, 28}, {3, -77, -22}, {0, 32767, 3072}};
    for (const auto& c : cases) {
        const Size& s = kSizes[c.size];
        auto in = block(s, ramp);
        in[0] = c.dc;
        std::vector<Vek16s> out(kStride * 8, 0);
        ASSERT_EQ(s.inv_r(in.data(), kStep, out.data(), kStep, {1, 1}), vekStsOk);
        for (int y = 0; y < s.h; ++y)
            for (int x = 0; x < s.w; ++x) ASSERT_EQ(out[y * kStride + x], c.flat) << s.w << "x" << s.h;
    }
}

// Extreme coefficients whose row pass exceeds 16 bits: the column pass sees 32767.
TEST(VC1Transform, RowPassSaturates) {
    const Vek16s sat8[8] = {3072, -3072, 3072, -1536, 3072, -768, 1536, 768};
    const Vek16s sat4[4] = {4352, -4352, 4352, 1088};
    for (const int size : {0, 3}) {
        const Size& s = kSizes[size];
        auto in = block(s, [](int, int) { return 0; });
        // Column 0 of both bases is positive: row 0 of the row pass far exceeds 16 bits.
        for (int k = 0; k < s.w; ++k) in[k] = 32767;
        ASSERT_EQ(s.inv_ir(in.data(), kStep, {s.w, s.h}), vekStsOk);
        for (int y = 0; y < s.h; ++y)
            for (int x = 0; x < s.w; ++x) ASSERT_EQ(in[y * kStride + x], s.w == 8 ? sat8[x] : sat4[x]) << x << "," << y;
    }
}

}  // namespace
