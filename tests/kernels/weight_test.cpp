// Differential tests of the averaging and weighting tables: every slot a level
// overrides against the reference, bit for bit, over weight sets on both sides
// of each fast path's conditions, in both sample depths.
#include "h264/weight.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

// A kernel on (src1, src2, dst) planes, steps in the kernel's units.
template <class T>
using KernelRun = std::function<void(const T* a, int sa, const T* b, int sb, T* d, int sd)>;

// Three free steps; src2 with src1's step; in place (dst holds src1's samples).
enum class Form { kThreeSteps, kSharedStep, kInPlace };

template <class T>
void expect_same(const std::string& what, int width, int height, Form form, Vek32u max, const KernelRun<T>& tested,
                 const KernelRun<T>& reference) {
    SCOPED_TRACE(what);
    Rng rng = Rng::for_test(what);
    constexpr int kSize = sizeof(T);
    const auto layouts = layout_sweep(width * kSize, form != Form::kInPlace, rng, kSize);
    const std::size_t n_pairs = std::size(kHostilePairs);
    for (std::size_t trial = 0; trial < layouts.size() * n_pairs; ++trial) {
        const Layout l1 = layouts[trial / n_pairs], ld = layouts[(trial * 3 + 2) % layouts.size()];
        const Layout l2 = form == Form::kSharedStep ? l1 : layouts[(trial * 5 + 1) % layouts.size()];
        const PatternPair pp = kHostilePairs[trial % n_pairs];
        GuardedPlane<T> s1(width, height, l1.step, l1.misalign), s2(width, height, l2.step, l2.misalign);
        GuardedPlane<T> got(width, height, ld.step, ld.misalign), want(width, height, ld.step, ld.misalign);
        s1.fill(pp.first, max, rng);
        s2.fill(pp.second, max, rng);
        for (int y = 0; form == Form::kInPlace && y < height; ++y)
            for (int x = 0; x < width; ++x) got.set(x, y, s1.get(x, y)), want.set(x, y, s1.get(x, y));
        const auto before1 = s1.snapshot(), before2 = s2.snapshot();
        const auto call = [&](const KernelRun<T>& run, GuardedPlane<T>& d) {
            run(s1.data(), s1.step() / kSize, s2.data(), s2.step() / kSize, d.data(), d.step() / kSize);
        };
        call(tested, got);
        call(reference, want);
        const auto g = samples(got), w = samples(want);
        ASSERT_TRUE(g == w && got.guard_intact() && s1.unchanged_since(before1) && s2.unchanged_since(before2))
            << "trial " << trial << ", patterns " << pattern_name(pp.first) << " / " << pattern_name(pp.second)
            << ", src1 " << l1 << ", src2 " << l2 << ", dst " << ld << (got.guard_intact() ? "" : ", guard hit") << "\n"
            << side_by_side(w.data(), g.data(), width, height, "reference", "tested");
    }
}

// {w1, w2, shift, offset}: the default average (pavgb); the add-and-shift
// bounds (S + c exactly at and one past 16 bits, both signs); the one-source
// byte-pair bounds (K = 255 and 257, shift 0 and 7, weights -128 and 128);
// the rounding-multiply path, weights of 128 and 32-bit sums, wrapping ones;
// then the unit-sum bounds (sum at 2^shift and one past, offsets of both signs
// and beyond a byte).
const WeightParams kWeights[] = {
    {32, 32, 6, 0},       {1, 1, 1, 0},        {64, 64, 7, 0},       {64, 64, 7, 1},         {-128, 0, 1, -64},
    {-128, 0, 1, -65},    {127, 1, 8, -128},   {-128, 127, 8, 127},  {-64, -64, 3, 300},     {5, -3, 15, -32768},
    {100, 28, 16, 32767}, {-1, 0, 31, 255},    {127, 0, 7, 127},     {-128, 0, 7, -128},     {5, 0, 7, 128},
    {3, 0, 0, 255},       {-7, 0, 0, -255},    {9, 0, 0, 256},       {128, -64, 7, 0},       {128, -128, 8, -3},
    {-128, 128, 1, 200},  {127, 127, 8, 0},    {200, -70, 5, 40000}, {-5000, 3000, 12, -20}, {0x7FFFFFFF, 3, 1, 0},
    {64, 64, 0, -300},    {3, 2, 2, -40000},   {-129, 1, 9, 1},      {-128, -1, 1, 16447},   {20, 10, 5, 0},
    {100, 28, 7, -5},     {0, 0, 1, 300},      {45, 19, 6, -300},    {40, 25, 6, 3},
};

class WeightKernels : public ::testing::TestWithParam<Level> {
protected:
    const Level level_ = GetParam();
    const WeightTable at_ = make_weight_table(level_.flags), below_ = make_weight_table(level_below(level_).flags);
    const WeightTable ref_ = make_weight_table(vek::kCpuNone);

    // Compares a slot with the reference when this level overrides it; call(fn,
    // a, sa, b, sb, d, sd) runs a kernel of the slot.
    template <class T, class Fn, class Call>
    void compare(Fn* at, Fn* below, Fn* ref, const std::string& what, int w, int h, Form form, Vek32u max,
                 Call call) const {
        const auto bind = [&call](Fn* fn) -> KernelRun<T> {
            return [=](const T* a, int sa, const T* b, int sb, T* d, int sd) { call(fn, a, sa, b, sb, d, sd); };
        };
        if (changed_at(at, below))
            expect_same<T>(what + "/" + std::to_string(w) + "x" + std::to_string(h) + "/" + level_.name, w, h, form,
                           max, bind(at), bind(ref));
    }
};
// The slot `s` of the three tables, as compare takes them.
#define SLOT(s) at_.s, below_.s, ref_.s

// Each averaging slot at the largest even size of its class, so that a kernel
// writing more or less than its slot's reference shows; the generic kernel at any size.
TEST_P(WeightKernels, AverageMatchesReference) {
    const auto call = [](int w, int h) {
        return [w, h](auto fn, auto a, int sa, auto b, int sb, auto d, int sd) { fn(a, b, d, w, h, sa, sb, sd); };
    };
    const int largest[] = {2, 6, 10, 14, 16};
    for (int i = 0; i < kAverageSlots; ++i) {
        const int w = largest[i / 5], h = largest[i % 5];
        compare<Vek8u>(SLOT(interpolate_block[i]), "average", w, h, Form::kThreeSteps, 255, call(w, h));
    }
    for (int w = 1; w <= 21; ++w)
        for (int h : {1, 3, 16})
            compare<Vek8u>(SLOT(average_generic), "average_generic", w, h, Form::kThreeSteps, 255, call(w, h));
}

TEST_P(WeightKernels, WeightingMatchesReference) {
    for (std::size_t k = 0; k < std::size(kWeights); ++k) {
        const WeightParams p = kWeights[k];
        const std::string set = "/weights " + std::to_string(k);
        const auto three = [p](auto fn, auto a, int sa, auto b, int sb, auto d, int sd) { fn(a, sa, b, sb, d, sd, p); };
        const auto shared = [p](auto fn, auto a, int sa, auto b, int, auto d, int sd) { fn(a, b, d, {sa, sd}, p); };
        const auto one = [p](auto fn, auto, int, auto, int, auto d, int sd) { fn(d, sd, p); };
        for (int i = 0; i < kWeightSlots; ++i) {
            const int w = 2 << (i / kWeightSides), h = 2 << (i % kWeightSides);
            compare<Vek8u>(SLOT(bidir_weight_block[i]), "bidir" + set, w, h, Form::kThreeSteps, 255, three);
            compare<Vek8u>(SLOT(bidir_weight_shared[i]), "bidir_shared" + set, w, h, Form::kSharedStep, 255, shared);
            compare<Vek8u>(SLOT(weighted_average[i]), "weighted_average" + set, w, h, Form::kSharedStep, 255, shared);
            compare<Vek8u>(SLOT(unidir_weight_block[i]), "unidir" + set, w, h, Form::kInPlace, 255, one);
        }
        // Any size: the widths around multiples of 16, and sides below 1 (nothing written).
        for (const auto& [w, h] : {std::pair{1, 1}, {15, 3}, {17, 4}, {40, 5}, {0, 4}, {4, -1}})
            compare<Vek8u>(SLOT(bidir_weight_generic), "bidir_generic" + set, std::max(w, 1), std::max(h, 1),
                           Form::kThreeSteps, 255, [&](auto fn, auto a, int sa, auto b, int sb, auto d, int sd) {
                               fn(a, sa, b, sb, d, sd, p, w, h);
                           });
    }
}

// 16 bits at depths 8 to 14, samples up to the depth's maximum and up to
// 65535, every size the functions accept.
TEST_P(WeightKernels, SixteenBitMatchesReference) {
    for (const Vek32s d : {8, 10, 12, 14})
        for (const Vek32u max : {(Vek32u{1} << d) - 1, Vek32u{65535}})
            for (const int w : {2, 4, 5, 8, 11, 16}) {
                const std::string tag = "/depth " + std::to_string(d) + "/max " + std::to_string(max);
                compare<Vek16u>(SLOT(average_16u), "average_16u" + tag, w, 3, Form::kThreeSteps, max,
                                [w](auto fn, auto a, int sa, auto b, int sb, auto o, int so) {
                                    fn(a, sa, b, sb, o, so, w, 3);
                                });
                for (const std::size_t k : {0u, 2u, 9u, 14u, 23u, 24u, 26u}) {
                    if (w & (w - 1)) break;  // the weightings take sides 2, 4, 8 and 16
                    const WeightParams p = kWeights[k];
                    const std::string set = tag + "/weights " + std::to_string(k);
                    compare<Vek16u>(SLOT(bidir_weight_16u), "bidir_16u" + set, w, 2, Form::kThreeSteps, max,
                                    [=](auto fn, auto a, int sa, auto b, int sb, auto o, int so) {
                                        fn(a, sa, b, sb, o, so, p, w, 2, d);
                                    });
                    compare<Vek16u>(SLOT(unidir_weight_16u), "unidir_16u" + set, w, 2, Form::kInPlace, max,
                                    [=](auto fn, auto, int, auto, int, auto o, int so) { fn(o, so, p, w, 2, d); });
                }
            }
}
#undef SLOT

VEK_INSTANTIATE_LEVELS(WeightKernels);

}  // namespace
