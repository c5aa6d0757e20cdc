// Differential tests of the High inverse transforms with add: coefficients that wrap the 32-bit
// stages, predictions above the sample range, every sample depth, swept guarded layouts.
#include "h264/transform_high.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

enum class Slot { k4x4_16u, k8x8_16u, k4x4_8u, k8x8_8u };
constexpr const char* kSlotNames[] = {"inv_add4x4_16u", "inv_add8x8_16u", "inv_add4x4_8u", "inv_add8x8_8u"};

void* slot_of(const TransformHighTable& t, Slot s) {
    switch (s) {
    case Slot::k4x4_16u: return reinterpret_cast<void*>(t.inv_add4x4_16u);
    case Slot::k8x8_16u: return reinterpret_cast<void*>(t.inv_add8x8_16u);
    case Slot::k4x4_8u: return reinterpret_cast<void*>(t.inv_add4x4_8u);
    default: return reinterpret_cast<void*>(t.inv_add8x8_8u);
    }
}

// Coefficients: realistic, full 32-bit (the stages wrap), the two extremes,
// sparse, and DC alone.
std::vector<Vek32s> make_coeffs(int n, int kind, Rng& rng) {
    std::vector<Vek32s> c(static_cast<std::size_t>(n * n));
    for (int k = 0; k < n * n; ++k) {
        const std::int64_t v[] = {rng.uniform(-5000, 5000),        rng.uniform(INT32_MIN, INT32_MAX),
                                  rng.coin() ? INT32_MAX : INT32_MIN, rng.coin() ? rng.uniform(-300, 300) : 0,
                                  k == 0 ? rng.uniform(-70000, 70000) : 0, rng.uniform(-(1 << 22), 1 << 22)};
        c[static_cast<std::size_t>(k)] = static_cast<Vek32s>(v[kind % 6]);
    }
    return c;
}

template <class Sample>
std::vector<Sample> run(const TransformHighTable& t, Slot slot, std::vector<Vek32s> c, const Layout& layout,
                        Pattern pattern, Vek32s maxVal, std::uint64_t seed, bool* guards) {
    const int n = slot == Slot::k4x4_16u || slot == Slot::k4x4_8u ? 4 : 8;
    Rng rng(seed);
    GuardedPlane<Sample> plane(n, n, layout.step, layout.misalign);
    // 16-bit predictions may exceed maxVal: the residual limit then shows.
    plane.fill(pattern, sizeof(Sample) == 1 ? 255 : 65535, rng);
    const Vek32s step = layout.step / static_cast<int>(sizeof(Sample));
    if constexpr (sizeof(Sample) == 2) {
        (slot == Slot::k4x4_16u ? t.inv_add4x4_16u : t.inv_add8x8_16u)(c.data(), plane.data(), step, maxVal);
    } else {
        (slot == Slot::k4x4_8u ? t.inv_add4x4_8u : t.inv_add8x8_8u)(c.data(), plane.data(), step);
    }
    *guards = plane.guard_intact();
    return samples(plane);
}

class TransformHighKernels : public ::testing::TestWithParam<Level> {};

TEST_P(TransformHighKernels, MatchReference) {
    const Level level = GetParam();
    const TransformHighTable at = make_transform_high_table(level.flags);
    const TransformHighTable below = make_transform_high_table(level_below(level).flags);
    const TransformHighTable ref = make_transform_high_table(vek::kCpuNone);
    for (int s = 0; s < 4; ++s) {
        const Slot slot = static_cast<Slot>(s);
        if (!changed_at(slot_of(at, slot), slot_of(below, slot))) continue;
        const std::string what = std::string(kSlotNames[s]) + "/" + level.name;
        SCOPED_TRACE(what);
        Rng rng = Rng::for_test(what);
        const bool wide = slot == Slot::k4x4_16u || slot == Slot::k8x8_16u;
        const int n = slot == Slot::k4x4_16u || slot == Slot::k4x4_8u ? 4 : 8;
        const auto layouts = layout_sweep(n * (wide ? 2 : 1), true, rng, wide ? 2 : 1);
        const Pattern patterns[] = {Pattern::kRandom, Pattern::kZero, Pattern::kMax, Pattern::kAlternating,
                                    Pattern::kRandomExtremes};
        const Vek32s depths[] = {255, 511, 1023, 4095, 16383, 65535};
        for (int trial = 0; trial < 1200; ++trial) {
            const auto c = make_coeffs(n, trial, rng);
            const Layout layout = layouts[static_cast<std::size_t>(trial) % layouts.size()];
            const Pattern pattern = patterns[(trial / 6) % 5];
            const Vek32s maxVal = depths[(trial / 30) % 6];
            const std::uint64_t seed = rng.next();
            bool g1 = true, g2 = true;
            const bool same = wide ? run<Vek16u>(at, slot, c, layout, pattern, maxVal, seed, &g1) ==
                                         run<Vek16u>(ref, slot, c, layout, pattern, maxVal, seed, &g2)
                                   : run<Vek8u>(at, slot, c, layout, pattern, 255, seed, &g1) ==
                                         run<Vek8u>(ref, slot, c, layout, pattern, 255, seed, &g2);
            if (!same || !g1) {
                ADD_FAILURE() << "trial " << trial << ", " << layout << ", max " << maxVal << ", pattern "
                              << pattern_name(pattern) << (g1 ? "" : "\nwrite outside the block");
                return;
            }
        }
    }
}

// The dequantisation slots over every shift on both sides, full-range levels
// and scale entries (the products wrap), both block sizes.
TEST_P(TransformHighKernels, DequantMatchesReference) {
    const Level level = GetParam();
    const TransformHighTable at = make_transform_high_table(level.flags);
    const TransformHighTable below = make_transform_high_table(level_below(level).flags);
    const TransformHighTable ref = make_transform_high_table(vek::kCpuNone);
    Rng rng = Rng::for_test(std::string("dequant/") + level.name);
    for (int wide = 0; wide < 2; ++wide) {
        if (wide ? !changed_at(at.dequant_32s, below.dequant_32s) : !changed_at(at.dequant_16s, below.dequant_16s))
            continue;
        for (int trial = 0; trial < 2000; ++trial) {
            const int count = trial & 1 ? 64 : 16, qp = static_cast<int>(rng.uniform(0, 250));
            std::vector<Vek32s> l32(64);
            std::vector<Vek16s> l16(64), scale(64);
            const bool big = trial % 3 == 0;
            for (int k = 0; k < 64; ++k) {
                l32[k] = static_cast<Vek32s>(big ? rng.uniform(INT32_MIN, INT32_MAX) : rng.uniform(-3000, 3000));
                l16[k] = static_cast<Vek16s>(big ? rng.uniform(-32768, 32767) : rng.uniform(-300, 300));
                scale[k] = static_cast<Vek16s>(big ? rng.uniform(-32768, 32767) : rng.uniform(1, 255));
            }
            std::vector<Vek32s> got(64, 7), want(64, 7);
            for (const auto* t : {&at, &ref})
                wide ? t->dequant_32s(l32.data(), scale.data(), qp, count, (t == &at ? got : want).data())
                     : t->dequant_16s(l16.data(), scale.data(), qp, count, (t == &at ? got : want).data());
            ASSERT_EQ(got, want) << (wide ? "32s" : "16s") << " trial " << trial << " qp " << qp << " count " << count;
        }
    }
}

// Whole-macroblock slots: every coded-block pattern class, qp on both sides
// of each shift, coefficients small (the 16-bit paths), near their bound,
// and full range, at every sample depth; the cursor they return included.
TEST_P(TransformHighKernels, MacroblocksMatchReference) {
    const Level level = GetParam();
    const TransformHighTable at = make_transform_high_table(level.flags);
    const TransformHighTable below = make_transform_high_table(level_below(level).flags);
    const TransformHighTable ref = make_transform_high_table(vek::kCpuNone);
    const Vek32s depths[] = {255, 1023, 4095, 65535};
    for (int slot = 0; slot < 4; ++slot) {
        const bool wide = slot < 2, eight = slot & 1;
        if (wide ? !changed_at(eight ? at.mb_inter8x8_16u : at.mb_inter4x4_16u,
                               eight ? below.mb_inter8x8_16u : below.mb_inter4x4_16u)
                 : !changed_at(eight ? at.mb_inter8x8_8u : at.mb_inter4x4_8u,
                               eight ? below.mb_inter8x8_8u : below.mb_inter4x4_8u))
            continue;
        const std::string what = std::string("mb_inter") + (eight ? "8x8_" : "4x4_") + (wide ? "16u/" : "8u/") + level.name;
        SCOPED_TRACE(what);
        Rng rng = Rng::for_test(what);
        const int bytes = wide ? 2 : 1;
        const auto layouts = layout_sweep(16 * bytes, false, rng, bytes);
        for (int trial = 0; trial < 1500; ++trial) {
            const Vek32u cbp = (trial % 5 == 0 ? 0x1FFFEu : static_cast<Vek32u>(rng.next())) & (eight ? 0x1Eu : 0x1FFFEu);
            const int qp = static_cast<int>(trial % 3 == 0 ? rng.uniform(30, 42) : rng.uniform(0, 100));
            // Small (the 16-bit paths), near their bound, full range, sparse, and
            // flat blocks (equal levels and scales: the largest transform gain).
            const int kind = trial % 5;
            const auto flat_level = rng.uniform(-300, 300), flat_scale = rng.uniform(1, 40);
            std::vector<Vek16s> scale(64), l16(256);
            std::vector<Vek32s> l32(256);
            for (auto& f : scale)
                f = static_cast<Vek16s>(kind == 2 ? rng.uniform(-32768, 32767) : kind == 4 ? flat_scale : rng.uniform(1, 40));
            for (std::size_t k = 0; k < l16.size(); ++k) {
                const std::int64_t v[] = {rng.uniform(-8, 8), rng.uniform(-40, 40), rng.uniform(-32768, 32767),
                                          rng.coin() ? 0 : rng.uniform(-600, 600), flat_level};
                l16[k] = static_cast<Vek16s>(v[kind]);
                l32[k] = kind == 2 ? static_cast<Vek32s>(rng.uniform(INT32_MIN, INT32_MAX)) : l16[k];
            }
            const Layout layout = layouts[static_cast<std::size_t>(trial) % layouts.size()];
            const Vek32s maxVal = wide ? depths[trial % 4] : 255;
            const Pattern pattern = trial % 7 == 0 ? Pattern::kRandomExtremes : Pattern::kRandom;
            const std::uint64_t seed = rng.next();
            std::vector<int> used;
            std::vector<std::vector<std::uint8_t>> out;
            bool guards = true;
            for (const TransformHighTable* t : {&at, &ref}) {
                Rng fill(seed);
                const Vek32s step = layout.step / bytes;
                if (wide) {
                    GuardedPlane<Vek16u> plane(16, 16, layout.step, layout.misalign);
                    plane.fill(pattern, 65535, fill);
                    std::vector<Vek32s> c = l32;
                    auto* fn = eight ? t->mb_inter8x8_16u : t->mb_inter4x4_16u;
                    used.push_back(static_cast<int>(fn(c.data(), plane.data(), step, cbp, qp, scale.data(), maxVal) - c.data()));
                    const auto v = samples(plane);
                    out.emplace_back(reinterpret_cast<const std::uint8_t*>(v.data()),
                                     reinterpret_cast<const std::uint8_t*>(v.data() + v.size()));
                    guards = guards && plane.guard_intact();
                } else {
                    GuardedPlane<Vek8u> plane(16, 16, layout.step, layout.misalign);
                    plane.fill(pattern, 255, fill);
                    std::vector<Vek16s> c = l16;
                    auto* fn = eight ? t->mb_inter8x8_8u : t->mb_inter4x4_8u;
                    used.push_back(static_cast<int>(fn(c.data(), plane.data(), step, cbp, qp, scale.data()) - c.data()));
                    out.push_back(samples(plane));
                    guards = guards && plane.guard_intact();
                }
            }
            if (out[0] != out[1] || used[0] != used[1] || !guards) {
                ADD_FAILURE() << "trial " << trial << ", " << layout << ", cbp " << cbp << ", qp " << qp << ", kind "
                              << kind << (guards ? "" : "\nwrite outside the macroblock");
                return;
            }
        }
    }
}

VEK_INSTANTIATE_LEVELS(TransformHighKernels);

}  // namespace
