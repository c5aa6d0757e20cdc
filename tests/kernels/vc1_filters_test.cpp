// Differential tests of the VC-1 deblocking, overlap smoothing and range
// mapping tables: every kernel a level overrides, every flag combination and
// rounding pattern, on hostile patterns (saturation) and on inputs the filters
// act on, against the reference kernels.
#include <gtest/gtest.h>

#include "kernel_compare.h"
#include "vc1/deblock.h"
#include "vc1/range_map.h"
#include "vc1/smooth.h"
#include "vc1_diff.h"

namespace {

using namespace vek::vc1;
using namespace vek::test;
using Ptrs = std::vector<void*>;
using Steps = std::vector<Vek32s>;

class Vc1FilterKernels : public ::testing::TestWithParam<Level> {};

// Smooth areas with a step of a few levels where lines cross the edge: most
// lines pass the filter's tests, and small noise makes some fail.
vc1::Filler soft_edge(bool vertical, int edge) {
    return [vertical, edge](int, int x, int y, Rng& rng) -> std::uint32_t {
        const int across = vertical ? x : y;
        const int base = 100 + (across >= edge ? static_cast<int>(rng.uniform(-12, 12)) : 0);
        return static_cast<std::uint32_t>(base + across + rng.uniform(-2, 2));
    };
}

TEST_P(Vc1FilterKernels, DeblockingMatchesReference) {
    const Level level = GetParam();
    const DeblockTable at = make_deblock_table(level.flags), below = make_deblock_table(level_below(level).flags);
    const DeblockTable ref = make_deblock_table(vek::kCpuNone);
    // quant 0 filters nothing, 300 acts as no limit; the group flag (or channel
    // pair, or the unused 0) is passed to the kernels that take one.
    const auto check = [&](const std::string& name, auto* fn_at, auto* fn_below, auto* fn_ref, vc1::PlaneShape plane,
                           bool vertical, int edge, unsigned groups) {
        if (!own(level, changed_at(fn_at, fn_below), name)) return;
        for (const int quant : {0, 1, 3, 7, 16, 31, 300}) {
            const auto call = [quant, groups](auto* fn) {
                return [=](const Ptrs& p, const Steps& s) {
                    if constexpr (std::is_same_v<decltype(fn), DeblockHalfFn*>) fn(static_cast<Vek8u*>(p[0]), s[0], quant);
                    else fn(static_cast<Vek8u*>(p[0]), s[0], quant, groups);
                };
            };
            vc1::expect_same_effect(name + " quant " + std::to_string(quant) + "/" + level.name, {plane},
                                    call(fn_at), call(fn_ref), soft_edge(vertical, edge), 48);
        }
    };
    for (unsigned g = 0; g < 16; ++g) {
        const std::string gs = " groups " + std::to_string(g);
        check("luma hor" + gs, at.luma_hor, below.luma_hor, ref.luma_hor, {16, 8, 0, 4, 1, false}, false, 4, g);
        if (g >= 4) continue;
        check("chroma hor" + gs, at.chroma_hor, below.chroma_hor, ref.chroma_hor, {8, 8, 0, 4, 1, false}, false, 4, g);
        check("chroma ver" + gs, at.chroma_ver, below.chroma_ver, ref.chroma_ver, {8, 8, 4, 0, 1, false}, true, 4, g);
        check("chroma hor c2" + gs, at.chroma_hor_c2, below.chroma_hor_c2, ref.chroma_hor_c2, {16, 8, 0, 4, 1, false},
              false, 4, g);
        check("chroma ver c2" + gs, at.chroma_ver_c2, below.chroma_ver_c2, ref.chroma_ver_c2, {16, 8, 8, 0, 1, false},
              true, 8, g);
        check("luma ver half" + gs, at.luma_ver[g], below.luma_ver[g], ref.luma_ver[g], {8, 8, 4, 0, 1, false}, true,
              4, 0);
    }
    check("luma ver full", at.luma_ver_full, below.luma_ver_full, ref.luma_ver_full, {8, 16, 4, 0, 1, false}, true, 4,
          0);
}

// Sources around the sample range, where clipping and rounding both matter
// (the last plane is the 8-bit output).
std::uint32_t sample_like(int plane, int, int, Rng& rng) {
    return plane == 2 || plane == 4 ? static_cast<std::uint32_t>(rng.uniform(0, 255))
                                    : static_cast<std::uint32_t>(static_cast<std::uint16_t>(rng.uniform(-300, 600)));
}

TEST_P(Vc1FilterKernels, SmoothingMatchesReference) {
    const Level level = GetParam();
    const SmoothTable at = make_smooth_table(level.flags), below = make_smooth_table(level_below(level).flags);
    const SmoothTable ref = make_smooth_table(vek::kCpuNone);
    const auto src16 = [](int w, int h) { return vc1::PlaneShape{w, h, 0, 0, 2, false}; };
    const auto in = [](const Ptrs& q, int i) { return static_cast<Vek16s*>(q[static_cast<std::size_t>(i)]); };
    const auto out = [](const Ptrs& q, int i) { return static_cast<Vek8u*>(q[static_cast<std::size_t>(i)]); };
    // Not every level has its own 16-row kernel.
    const auto run = [&](const std::string& name, auto* fn_at, auto* fn_below, auto* fn_ref, std::vector<vc1::PlaneShape> planes,
                         auto call, bool optional = false) {
        if (optional ? changed_at(fn_at, fn_below) : own(level, changed_at(fn_at, fn_below), name))
            vc1::expect_same_effect(name + "/" + level.name, planes, call(fn_at), call(fn_ref), sample_like, 32);
    };
    const auto two_planes = [&](auto* fn, auto... extra) {
        return [=](const Ptrs& q, const Steps& s) { fn(in(q, 0), s[0], in(q, 1), s[1], out(q, 2), s[2], extra...); };
    };
    run("hor", at.hor, below.hor, ref.hor, {src16(8, 2), src16(8, 2), {8, 4, 0, 2, 1, false}},
        [&](SmoothHorFn* fn) { return two_planes(fn); });
    for (const auto& [even, odd] : {std::pair{4, 3}, {4, 4}, {3, 3}})
        run("ver r0 " + std::to_string(even) + std::to_string(odd), at.ver, below.ver, ref.ver,
            {src16(2, 8), src16(2, 8), {4, 8, 2, 0, 1, false}}, [&](SmoothVerFn* fn) { return two_planes(fn, even, odd); });
    run("ver16", at.ver16, below.ver16, ref.ver16, {src16(2, 16), src16(2, 16), {4, 16, 2, 0, 1, false}},
        [&](SmoothVer16Fn* fn) { return two_planes(fn); }, true);
    for (unsigned channels = 1; channels < 4; ++channels) {
        const auto call = [&](auto* fn) {
            return [=](const Ptrs& q, const Steps& s) {
                fn(in(q, 0), s[0], in(q, 1), s[1], in(q, 2), s[2], in(q, 3), s[3], out(q, 4), s[4], channels);
            };
        };
        const std::string c = " channels " + std::to_string(channels);
        run("hor pairs" + c, at.hor_pairs, below.hor_pairs, ref.hor_pairs,
            {src16(8, 2), src16(8, 2), src16(8, 2), src16(8, 2), {16, 4, 0, 2, 1, false}}, call);
        run("ver pairs" + c, at.ver_pairs, below.ver_pairs, ref.ver_pairs,
            {src16(2, 8), src16(2, 8), src16(2, 8), src16(2, 8), {8, 8, 4, 0, 1, false}}, call);
    }
}

// Every parameter, widths around the vector chunk sizes.
TEST_P(Vc1FilterKernels, RangeMappingMatchesReference) {
    const Level level = GetParam();
    const RangeMapTable at = make_range_map_table(level.flags), below = make_range_map_table(level_below(level).flags);
    const RangeMapTable ref = make_range_map_table(vek::kCpuNone);
    if (!own(level, changed_at(at.map, below.map), "range map")) return;
    for (int scale = 9; scale <= 16; ++scale)
        for (const int width : {1, 7, 8, 15, 16, 24, 33}) {
            const auto call = [scale, width](RangeMapFn* fn) {
                return [=](const Ptrs& p, const Steps& s) {
                    fn(static_cast<const Vek8u*>(p[0]), s[0], static_cast<Vek8u*>(p[1]), s[1], width, 3, scale);
                };
            };
            vc1::expect_same_effect("scale " + std::to_string(scale) + " width " + std::to_string(width) + "/" +
                                        level.name,
                                    {{width, 3}, {width, 3, 0, 0, 1, false}}, call(at.map), call(ref.map));
        }
}

VEK_INSTANTIATE_LEVELS(Vc1FilterKernels);

}  // namespace
