// Differential tests of the VC-1 overlap smoothing table: horizontal and
// vertical kernels, plain and interleaved output, every rounding pattern,
// on hostile 16-bit inputs (saturation) and on typical residual ranges.
#include <gtest/gtest.h>

#include "kernel_compare.h"
#include "vc1/smooth.h"
#include "vc1_diff.h"

namespace {

using namespace vek::vc1;
using namespace vek::test;

class Vc1SmoothKernels : public ::testing::TestWithParam<Level> {};

// Sources around the sample range, where clipping and rounding both matter
// (plane 2 is read as 8-bit output by the three-plane kernels).
std::uint32_t sample_like(int plane, int, int, Rng& rng) {
    return plane == 2 ? static_cast<std::uint32_t>(rng.uniform(0, 255))
                      : static_cast<std::uint32_t>(static_cast<std::uint16_t>(rng.uniform(-300, 600)));
}

TEST_P(Vc1SmoothKernels, MatchReference) {
    const Level level = GetParam();
    const SmoothTable at = make_smooth_table(level.flags), below = make_smooth_table(level_below(level).flags);
    const SmoothTable ref = make_smooth_table(vek::kCpuNone);
    const std::string l = std::string("/") + level.name;
    const auto changed = [&](auto* slot, auto* slot_below, const char* name) {
        const bool changed = changed_at(slot, slot_below);
        if (!changed) {
            EXPECT_EQ(level.flags, vek::kCpuNone) << name << " is left to the level below";
        }
        return changed;
    };
    const auto src16 = [](int w, int h) { return vc1::PlaneShape{w, h, 0, 0, 2, false}; };
    const auto in = [](int i, const std::vector<void*>& q) { return static_cast<Vek16s*>(q[i]); };
    if (changed(at.hor, below.hor, "hor")) {
        const auto call = [in](SmoothHorFn* fn) {
            return [=](const std::vector<void*>& q, const std::vector<Vek32s>& s) {
                fn(in(0, q), s[0], in(1, q), s[1], static_cast<Vek8u*>(q[2]), s[2]);
            };
        };
        vc1::expect_same_effect("hor" + l, {src16(8, 2), src16(8, 2), {8, 4, 0, 2, 1, false}}, call(at.hor),
                                call(ref.hor), sample_like, 32);
    }
    if (changed(at.ver, below.ver, "ver"))
        for (const auto& [even, odd] : {std::pair{4, 3}, {4, 4}, {3, 3}}) {
            const auto call = [=](SmoothVerFn* fn) {
                return [=](const std::vector<void*>& q, const std::vector<Vek32s>& s) {
                    fn(in(0, q), s[0], in(1, q), s[1], static_cast<Vek8u*>(q[2]), s[2], even, odd);
                };
            };
            vc1::expect_same_effect("ver r0 " + std::to_string(even) + std::to_string(odd) + l,
                                    {src16(2, 8), src16(2, 8), {4, 8, 2, 0, 1, false}}, call(at.ver), call(ref.ver),
                                    sample_like, 32);
        }
    for (unsigned channels = 1; channels < 4; ++channels) {
        const std::string c = " channels " + std::to_string(channels) + l;
        const auto call = [=](auto* fn) {
            return [=](const std::vector<void*>& q, const std::vector<Vek32s>& s) {
                fn(in(0, q), s[0], in(1, q), s[1], in(2, q), s[2], in(3, q), s[3], static_cast<Vek8u*>(q[4]), s[4],
                   channels);
            };
        };
        if (changed(at.hor_pairs, below.hor_pairs, "hor pairs"))
            vc1::expect_same_effect("hor pairs" + c,
                                    {src16(8, 2), src16(8, 2), src16(8, 2), src16(8, 2), {16, 4, 0, 2, 1, false}},
                                    call(at.hor_pairs), call(ref.hor_pairs), sample_like, 32);
        if (changed(at.ver_pairs, below.ver_pairs, "ver pairs"))
            vc1::expect_same_effect("ver pairs" + c,
                                    {src16(2, 8), src16(2, 8), src16(2, 8), src16(2, 8), {8, 8, 4, 0, 1, false}},
                                    call(at.ver_pairs), call(ref.ver_pairs), sample_like, 32);
    }
}

TEST_P(Vc1SmoothKernels, Ver16MatchesReference) {
    const Level level = GetParam();
    const SmoothTable at = make_smooth_table(level.flags), below = make_smooth_table(level_below(level).flags);
    const SmoothTable ref = make_smooth_table(vek::kCpuNone);
    if (!changed_at(at.ver16, below.ver16)) return;  // only some levels have a 16-row kernel
    const auto call = [](SmoothVer16Fn* fn) {
        return [fn](const std::vector<void*>& q, const std::vector<Vek32s>& s) {
            fn(static_cast<Vek16s*>(q[0]), s[0], static_cast<Vek16s*>(q[1]), s[1], static_cast<Vek8u*>(q[2]), s[2]);
        };
    };
    vc1::expect_same_effect(std::string("ver16/") + level.name,
                            {{2, 16, 0, 0, 2, false}, {2, 16, 0, 0, 2, false}, {4, 16, 2, 0, 1, false}},
                            call(at.ver16), call(ref.ver16), sample_like, 32);
}

VEK_INSTANTIATE_LEVELS(Vc1SmoothKernels);

}  // namespace
