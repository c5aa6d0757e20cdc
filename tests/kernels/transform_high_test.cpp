// Differential tests of the High inverse transforms with add, the
// dequantisation and the whole-macroblock kernels: coefficients that wrap the
// 32-bit stages, predictions above the sample range, every sample depth,
// levels on both sides of the 16-bit paths' bounds, swept guarded layouts.
#include "h264/transform_high.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

// Runs call(table, samples, step) on a plane filled from `seed`, with the
// level's table and with the reference; true when the samples and the value
// returned (a cursor's advance) agree and nothing outside the block changed.
template <class Sample, class Call>
bool same_as_reference(const TransformHighTable& at, const TransformHighTable& ref, int width, const Layout& layout,
                       Pattern pattern, std::uint64_t seed, Call call) {
    std::vector<Sample> out[2];
    long used[2];
    bool guards = true;
    for (int i = 0; i < 2; ++i) {
        Rng fill(seed);
        GuardedPlane<Sample> plane(width, width, layout.step, layout.misalign);
        plane.fill(pattern, sizeof(Sample) == 1 ? 255 : 65535, fill);  // 16 bits: above maxVal too
        used[i] = call(i ? ref : at, plane.data(), layout.step / static_cast<int>(sizeof(Sample)));
        out[i] = samples(plane);
        guards = guards && plane.guard_intact();
    }
    return out[0] == out[1] && used[0] == used[1] && guards;
}

class TransformHighKernels : public ::testing::TestWithParam<Level> {
protected:
    const TransformHighTable at = make_transform_high_table(GetParam().flags);
    const TransformHighTable below = make_transform_high_table(level_below(GetParam()).flags);
    const TransformHighTable ref = make_transform_high_table(vek::kCpuNone);
};

TEST_P(TransformHighKernels, InverseAddMatchesReference) {
    const Vek32s depths[] = {255, 511, 1023, 4095, 16383, 65535};
    const Pattern patterns[] = {Pattern::kRandom, Pattern::kZero, Pattern::kMax, Pattern::kAlternating,
                                Pattern::kRandomExtremes};
    for (int slot = 0; slot < 4; ++slot) {
        const int n = slot & 1 ? 8 : 4;
        const bool wide = slot < 2;
        const auto fn16 = [&](const TransformHighTable& t) { return n == 4 ? t.inv_add4x4_16u : t.inv_add8x8_16u; };
        const auto fn8 = [&](const TransformHighTable& t) { return n == 4 ? t.inv_add4x4_8u : t.inv_add8x8_8u; };
        if (wide ? !changed_at(fn16(at), fn16(below)) : !changed_at(fn8(at), fn8(below))) continue;
        const std::string what = "inv_add" + std::to_string(n) + (wide ? "_16u/" : "_8u/") + GetParam().name;
        SCOPED_TRACE(what);
        Rng rng = Rng::for_test(what);
        const auto layouts = layout_sweep(n * (wide ? 2 : 1), true, rng, wide ? 2 : 1);
        for (int trial = 0; trial < 1200; ++trial) {
            // Realistic, full 32-bit (the stages wrap), the extremes, sparse, DC alone, 23 bits.
            std::vector<Vek32s> c(n * n);
            for (int k = 0; k < n * n; ++k) {
                const std::int64_t v[] = {rng.uniform(-5000, 5000), rng.uniform(INT32_MIN, INT32_MAX),
                                          rng.coin() ? INT32_MAX : INT32_MIN, rng.coin() ? rng.uniform(-300, 300) : 0,
                                          k == 0 ? rng.uniform(-70000, 70000) : 0, rng.uniform(-(1 << 22), 1 << 22)};
                c[k] = static_cast<Vek32s>(v[trial % 6]);
            }
            const Layout layout = layouts[trial % layouts.size()];
            const Vek32s maxVal = wide ? depths[(trial / 30) % 6] : 255;
            const Pattern pattern = patterns[(trial / 6) % 5];
            const auto run = [&](const TransformHighTable& t, auto* dst, Vek32s step) {
                std::vector<Vek32s> work = c;
                if constexpr (sizeof(*dst) == 2) fn16(t)(work.data(), dst, step, maxVal);
                else fn8(t)(work.data(), dst, step);
                return 0L;
            };
            const bool same = wide ? same_as_reference<Vek16u>(at, ref, n, layout, pattern, rng.next(), run)
                                   : same_as_reference<Vek8u>(at, ref, n, layout, pattern, rng.next(), run);
            ASSERT_TRUE(same) << "trial " << trial << ", " << layout << ", max " << maxVal << ", "
                              << pattern_name(pattern);
        }
    }
}

// Every shift on both sides, full-range levels and scale entries (the
// products wrap), both block sizes.
TEST_P(TransformHighKernels, DequantMatchesReference) {
    Rng rng = Rng::for_test(std::string("dequant/") + GetParam().name);
    for (int wide = 0; wide < 2; ++wide) {
        if (wide ? !changed_at(at.dequant_32s, below.dequant_32s) : !changed_at(at.dequant_16s, below.dequant_16s))
            continue;
        for (int trial = 0; trial < 2000; ++trial) {
            const int count = trial & 1 ? 64 : 16, qp = static_cast<int>(rng.uniform(0, 250));
            const bool big = trial % 3 == 0;
            std::vector<Vek32s> l32(64), got(64, 7), want(64, 7);
            std::vector<Vek16s> l16(64), scale(64);
            for (int k = 0; k < 64; ++k) {
                l32[k] = static_cast<Vek32s>(big ? rng.uniform(INT32_MIN, INT32_MAX) : rng.uniform(-3000, 3000));
                l16[k] = static_cast<Vek16s>(big ? rng.uniform(-32768, 32767) : rng.uniform(-300, 300));
                scale[k] = static_cast<Vek16s>(big ? rng.uniform(-32768, 32767) : rng.uniform(1, 255));
            }
            for (const auto* t : {&at, &ref})
                wide ? t->dequant_32s(l32.data(), scale.data(), qp, count, (t == &at ? got : want).data())
                     : t->dequant_16s(l16.data(), scale.data(), qp, count, (t == &at ? got : want).data());
            ASSERT_EQ(got, want) << (wide ? "32s" : "16s") << " trial " << trial << " qp " << qp;
        }
    }
}

// Every coded-block pattern class and qp on both sides of each shift, with
// levels: small, moderate, full range, sparse, flat (equal levels and scales:
// the largest transform gain), and products of level and scale entry on both
// sides of 2^15, rounded (qp < 6) or shifted up until they wrap to 0 (qp 36
// and more): the edges of the 16-bit paths. The returned cursor included.
TEST_P(TransformHighKernels, MacroblocksMatchReference) {
    const Vek32s depths[] = {255, 1023, 4095, 65535};
    for (int slot = 0; slot < 4; ++slot) {
        const bool wide = slot < 2, eight = slot & 1;
        if (wide ? !changed_at(eight ? at.mb_inter8x8_16u : at.mb_inter4x4_16u,
                               eight ? below.mb_inter8x8_16u : below.mb_inter4x4_16u)
                 : !changed_at(eight ? at.mb_inter8x8_8u : at.mb_inter4x4_8u,
                               eight ? below.mb_inter8x8_8u : below.mb_inter4x4_8u))
            continue;
        const std::string what = std::string("mb_inter") + (eight ? "8x8_" : "4x4_") + (wide ? "16u/" : "8u/") +
                                 GetParam().name;
        SCOPED_TRACE(what);
        Rng rng = Rng::for_test(what);
        const auto layouts = layout_sweep(16 * (wide ? 2 : 1), false, rng, wide ? 2 : 1);
        for (int trial = 0; trial < 2100; ++trial) {
            const int kind = trial % 7;
            const Vek32u cbp = (trial % 5 == 0 ? ~0u : static_cast<Vek32u>(rng.next())) & (eight ? 0x1Eu : 0x1FFFEu);
            int qp = static_cast<int>(trial % 3 == 0 ? rng.uniform(30, 42) : rng.uniform(0, 100));
            // edge * m lies just below 2^15: m levels of edge, rounded, wrap 16 bits.
            const std::int64_t flat = rng.uniform(1, 40), m = rng.uniform(20, 40), edge = 32767 / m;
            std::vector<Vek16s> scale(64), l16(256);
            std::vector<Vek32s> l32(256);
            for (auto& f : scale) {
                const std::int64_t v[] = {rng.uniform(1, 40), rng.uniform(1, 40), rng.uniform(-32768, 32767),
                                          rng.uniform(1, 40), flat, edge, 1024};
                f = static_cast<Vek16s>(v[kind]);
            }
            if (kind == 5) qp = static_cast<int>(rng.uniform(0, 5));
            if (kind == 6) qp = static_cast<int>(rng.uniform(36, 51));
            const std::int64_t flat_level = rng.uniform(-300, 300);
            for (std::size_t k = 0; k < l16.size(); ++k) {
                const std::int64_t near = m - rng.uniform(0, 1) + (trial % 4 == 0 && k == 99);
                const std::int64_t v[] = {rng.uniform(-8, 8), rng.uniform(-40, 40), rng.uniform(-32768, 32767),
                                          rng.coin() ? 0 : rng.uniform(-600, 600), flat_level,
                                          rng.coin() ? near : -near, 16 * rng.uniform(-1, 1)};
                l16[k] = static_cast<Vek16s>(v[kind]);
                l32[k] = kind == 2 ? static_cast<Vek32s>(rng.uniform(INT32_MIN, INT32_MAX)) : l16[k];
            }
            const Layout layout = layouts[trial % layouts.size()];
            const Vek32s maxVal = wide ? depths[trial % 4] : 255;
            const auto run = [&](const TransformHighTable& t, auto* plane, Vek32s step) {
                if constexpr (sizeof(*plane) == 2) {
                    std::vector<Vek32s> c = l32;
                    Vek32s* cur = c.data();
                    (eight ? t.mb_inter8x8_16u : t.mb_inter4x4_16u)(&cur, plane, step, cbp, qp, scale.data(), maxVal);
                    return static_cast<long>(cur - c.data());
                } else {
                    std::vector<Vek16s> c = l16;
                    Vek16s* cur = c.data();
                    (eight ? t.mb_inter8x8_8u : t.mb_inter4x4_8u)(&cur, plane, step, cbp, qp, scale.data());
                    return static_cast<long>(cur - c.data());
                }
            };
            const Pattern pattern = trial % 7 == 3 ? Pattern::kRandomExtremes : Pattern::kRandom;
            const bool same = wide ? same_as_reference<Vek16u>(at, ref, 16, layout, pattern, rng.next(), run)
                                   : same_as_reference<Vek8u>(at, ref, 16, layout, pattern, rng.next(), run);
            ASSERT_TRUE(same) << "trial " << trial << ", " << layout << ", cbp " << cbp << ", qp " << qp << ", kind "
                              << kind;
        }
    }
}

VEK_INSTANTIATE_LEVELS(TransformHighKernels);

}  // namespace
