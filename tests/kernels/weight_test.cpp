// Differential tests of the averaging and weighting tables: every slot a level
// overrides against the reference, bit for bit, for weights that take the
// 16-bit fast path and weights that need 32 bits.
#include "h264/weight.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

// Kernel under test on (src1, src2, dst) planes; in-place kernels get dst
// already holding src1's samples.
using BlockRun = std::function<void(const GuardedPlane<Vek8u>&, const GuardedPlane<Vek8u>&, GuardedPlane<Vek8u>&)>;

void expect_same(const std::string& what, int width, int height, bool in_place, const BlockRun& tested,
                 const BlockRun& reference) {
    SCOPED_TRACE(what);
    Rng rng = Rng::for_test(what);
    auto layouts = layout_sweep(width, !in_place, rng);
    const std::size_t n_pairs = std::size(kHostilePairs);
    for (std::size_t trial = 0; trial < layouts.size() * n_pairs; ++trial) {
        const Layout l1 = layouts[trial / n_pairs], l2 = layouts[(trial * 5 + 1) % layouts.size()];
        const Layout ld = layouts[(trial * 3 + 2) % layouts.size()];
        const PatternPair pp = kHostilePairs[trial % n_pairs];
        GuardedPlane<Vek8u> s1(width, height, l1.step, l1.misalign), s2(width, height, l2.step, l2.misalign);
        GuardedPlane<Vek8u> got(width, height, ld.step, ld.misalign), want(width, height, ld.step, ld.misalign);
        s1.fill(pp.first, 255, rng);
        s2.fill(pp.second, 255, rng);
        if (in_place)
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) got.set(x, y, s1.get(x, y)), want.set(x, y, s1.get(x, y));
        const auto before1 = s1.snapshot(), before2 = s2.snapshot();
        tested(s1, s2, got);
        reference(s1, s2, want);
        const auto g = samples(got), w = samples(want);
        if (g != w || !got.guard_intact() || !s1.unchanged_since(before1) || !s2.unchanged_since(before2)) {
            ADD_FAILURE() << "trial " << trial << ", patterns " << pattern_name(pp.first) << " / "
                          << pattern_name(pp.second) << ", src1 " << l1 << ", src2 " << l2 << ", dst " << ld
                          << (got.guard_intact() ? "" : "\nwrite outside the block") << "\n"
                          << side_by_side(w.data(), g.data(), width, height, "reference", "tested")
                          << plane_grid(s1, "src1") << plane_grid(s2, "src2");
            return;
        }
    }
}

// Weight sets: byte weights for pmaddubsw (the edges of its conditions
// included), weights of 128 for pmullw, then weights, offsets and shifts that
// need 32 bits (sums beyond 16 bits, wide offsets, wrapping sums, no shift).
const WeightParams kWeights[] = {
    {32, 32, 6, 0},        {1, 0, 1, 0},         {127, 1, 8, -128}, {-128, 127, 8, 127},  {-64, -64, 3, 300},
    {5, -3, 15, -32768},   {100, 28, 16, 32767}, {-1, 0, 31, 255},  {128, -64, 7, 0},     {128, -128, 8, -3},
    {-128, 128, 1, 200},   {128, 1, 7, 0},       {127, 127, 8, 0},  {200, -70, 5, 40000}, {-5000, 3000, 12, -20},
    {0x7FFFFFFF, 3, 1, 0}, {64, 64, 0, -300},    {3, 2, 2, -40000}, {-129, 1, 9, 1},      {127, 2, 7, -2},
    {-128, -1, 1, 16447},
};

BlockRun average_run(AverageBlockFn* fn, int w, int h) {
    return [fn, w, h](const auto& a, const auto& b, auto& d) {
        fn(a.data(), a.step(), b.data(), b.step(), d.data(), d.step(), w, h);
    };
}

class WeightKernels : public ::testing::TestWithParam<Level> {
   protected:
    const Level level_ = GetParam();
    const WeightTable at_ = make_weight_table(level_.flags), below_ = make_weight_table(level_below(level_).flags);
    const WeightTable ref_ = make_weight_table(vek::kCpuNone);
    std::string name(const std::string& what, int w, int h) const {
        return what + "/" + std::to_string(w) + "x" + std::to_string(h) + "/" + level_.name;
    }
};

// Each slot at the largest even size of its class, so a kernel writing more
// (or less) than its slot's reference shows.
TEST_P(WeightKernels, AverageMatchesReference) {
    const int largest[] = {2, 6, 10, 14, 16};
    for (int wc = 0; wc < 5; ++wc)
        for (int hc = 0; hc < 5; ++hc) {
            const int i = 5 * wc + hc;
            if (!changed_at(at_.interpolate_block[i], below_.interpolate_block[i])) continue;
            const int w = largest[wc], h = largest[hc];
            expect_same(name("average", w, h), w, h, false, average_run(at_.interpolate_block[i], w, h),
                        average_run(ref_.interpolate_block[i], w, h));
        }
    if (!changed_at(at_.average_generic, below_.average_generic)) return;
    for (int w = 1; w <= 21; ++w)
        for (int h : {1, 2, 3, 16})
            expect_same(name("average_generic", w, h), w, h, false, average_run(at_.average_generic, w, h),
                        average_run(ref_.average_generic, w, h));
}

TEST_P(WeightKernels, WeightingMatchesReference) {
    for (int i = 0; i < kWeightSlots; ++i) {
        const int w = 2 << (i / kWeightSides), h = 2 << (i % kWeightSides);
        for (std::size_t k = 0; k < std::size(kWeights); ++k) {
            const WeightParams p = kWeights[k];
            const std::string set = "/weights " + std::to_string(k);
            const auto two = [p](BiWeightBlockFn* fn) -> BlockRun {
                return [fn, p](const auto& a, const auto& b, auto& d) {
                    fn(a.data(), a.step(), b.data(), b.step(), d.data(), d.step(), p);
                };
            };
            const auto one = [p](UniWeightBlockFn* fn) -> BlockRun {
                return [fn, p](const auto&, const auto&, auto& d) { fn(d.data(), d.step(), p); };
            };
            if (changed_at(at_.bidir_weight_block[i], below_.bidir_weight_block[i]))
                expect_same(name("bidir", w, h) + set, w, h, false, two(at_.bidir_weight_block[i]),
                            two(ref_.bidir_weight_block[i]));
            if (changed_at(at_.weighted_average[i], below_.weighted_average[i]))
                expect_same(name("weighted_average", w, h) + set, w, h, false, two(at_.weighted_average[i]),
                            two(ref_.weighted_average[i]));
            if (changed_at(at_.unidir_weight_block[i], below_.unidir_weight_block[i]))
                expect_same(name("unidir", w, h) + set, w, h, true, one(at_.unidir_weight_block[i]),
                            one(ref_.unidir_weight_block[i]));
        }
    }
}

// Any size, the widths around each multiple of 16 and the sides below 1.
TEST_P(WeightKernels, GenericWeightingMatchesReference) {
    if (!changed_at(at_.bidir_weight_generic, below_.bidir_weight_generic)) return;
    const auto run = [](BiWeightGenericFn* fn, const WeightParams& p, int w, int h) -> BlockRun {
        return [=](const auto& a, const auto& b, auto& d) {
            fn(a.data(), a.step(), b.data(), b.step(), d.data(), d.step(), p, w, h);
        };
    };
    for (const auto& [w, h] : {std::pair{1, 1}, {3, 2}, {15, 3}, {16, 1}, {17, 4}, {33, 2}, {40, 5}})
        for (const std::size_t k : {0u, 9u, 13u})
            expect_same(name("bidir_generic", w, h) + "/weights " + std::to_string(k), w, h, false,
                        run(at_.bidir_weight_generic, kWeights[k], w, h),
                        run(ref_.bidir_weight_generic, kWeights[k], w, h));
    for (const auto& [w, h] : {std::pair{0, 4}, {4, 0}, {-3, 4}, {4, -1}}) {  // writes nothing
        GuardedPlane<Vek8u> s(8, 4, 8), d(8, 4, 8);
        const auto before = d.snapshot();
        at_.bidir_weight_generic(s.data(), 8, s.data(), 8, d.data(), 8, kWeights[0], w, h);
        EXPECT_TRUE(d.unchanged_since(before)) << w << "x" << h;
    }
}

VEK_INSTANTIATE_LEVELS(WeightKernels);

}  // namespace
