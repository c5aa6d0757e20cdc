// Differential tests of the luma interpolation tables: all positions and width classes, hostile
// patterns, swept layouts, guard bands around the output and the exact window a kernel may read.
#include <gtest/gtest.h>

#include <string>

#include "h264/interp_luma.h"
#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

// Runs `call(tested, src, srcStep, dst, dstStep)` for a w x h block, tested
// and reference, on every swept layout and hostile pattern, then random ones.
// The source plane is exactly the window (2 left, 3 right, 2 above, 3 below).
template <class T, class Call>
void expect_matches_reference(const std::string& what, int w, int h, std::uint32_t max_value, Call call) {
    SCOPED_TRACE(what);
    Rng rng = Rng::for_test(what);
    constexpr int sb = sizeof(T);
    const auto src_layouts = layout_sweep((w + 5) * sb, true, rng, sb);
    const auto dst_layouts = layout_sweep(w * sb, true, rng, sb);
    const std::size_t rounds = std::max(src_layouts.size(), dst_layouts.size()), n = std::size(kHostilePairs);
    for (std::size_t trial = 0; trial < rounds * n + 16; ++trial) {
        const bool swept = trial < rounds * n;
        const Layout sl = src_layouts[(swept ? trial / n : trial) % src_layouts.size()];
        const Layout dl = dst_layouts[(swept ? trial / n * 3 + 1 : trial) % dst_layouts.size()];
        const PatternPair pat = swept ? kHostilePairs[trial % n] : PatternPair{Pattern::kRandom, Pattern::kRandom};
        GuardedPlane<T> src(w + 5, h + 5, sl.step, sl.misalign), got(w, h, dl.step, dl.misalign),
            want(w, h, dl.step, dl.misalign);
        src.fill(trial % 2 ? pat.first : pat.second, max_value, rng);
        const auto before = src.snapshot();
        const T* origin = src.data() + 2 * (sl.step / sb) + 2;
        call(true, origin, sl.step / sb, got.data(), dl.step / sb);
        call(false, origin, sl.step / sb, want.data(), dl.step / sb);
        const auto g = samples(got), r = samples(want);
        if (g != r || !got.guard_intact() || !src.unchanged_since(before)) {
            ADD_FAILURE() << "trial " << trial << " src " << sl << " dst " << dl
                          << (got.guard_intact() ? "" : "\nwrite outside the block") << "\n"
                          << side_by_side(r.data(), g.data(), w, h, "reference", "tested") << plane_grid(src, "source");
            return;
        }
    }
}

class LumaInterp : public ::testing::TestWithParam<Level> {
protected:
    const LumaInterpTable at_ = make_luma_interp_table(GetParam().flags);
    const LumaInterpTable below_ = make_luma_interp_table(level_below(GetParam()).flags);
    const LumaInterpTable ref_ = make_luma_interp_table(vek::kCpuNone);
};

TEST_P(LumaInterp, Kernels8uMatchReference) {
    int compared = 0;
    for (int slot = 0; slot < 64; ++slot) {
        if (!changed_at(at_.luma_8u[slot], below_.luma_8u[slot])) continue;
        constexpr int kWidths[4] = {4, 8, 16, 16};
        const int w = kWidths[slot >> 4];
        for (int h : {4, 8, 12, 16})
            expect_matches_reference<Vek8u>(
                "8u slot " + std::to_string(slot) + " " + std::to_string(w) + "x" + std::to_string(h), w, h, 255,
                [&](bool tested, const Vek8u* s, int ss, Vek8u* d, int ds) {
                    (tested ? at_ : ref_).luma_8u[slot](s, ss, d, ds, h);
                });
        ++compared;
    }
    EXPECT_TRUE(GetParam().flags == vek::kCpuNone || compared == 64) << "every 8-bit slot has a kernel at this level";
}

TEST_P(LumaInterp, Kernels16uMatchReference) {
    for (int pos = 0; pos < kLumaPositions; ++pos) {
        EXPECT_EQ(at_.luma_16u_plain[4 * (pos & 3) + (pos >> 2)], at_.luma_16u_block[pos]) << "tables disagree";
        if (!changed_at(at_.luma_16u_block[pos], below_.luma_16u_block[pos])) continue;
        const int depth = pos % 2 ? 16 : 10;
        for (int w : {4, 12, 16, 28})  // strips of 8 and of 4 columns
            for (int h : {4, 16})
                expect_matches_reference<Vek16u>(
                    "16u position " + std::to_string(pos) + " " + std::to_string(w) + "x" + std::to_string(h), w, h,
                    (1u << depth) - 1, [&](bool tested, const Vek16u* s, int ss, Vek16u* d, int ds) {
                        (tested ? at_ : ref_).luma_16u_block[pos](s, ss, d, ds, w, h, depth);
                    });
    }
}

VEK_INSTANTIATE_LEVELS(LumaInterp);

}  // namespace
