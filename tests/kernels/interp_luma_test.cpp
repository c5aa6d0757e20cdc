// Differential tests of the luma interpolation tables: all positions and width classes on hostile
// patterns, positive and negative steps, the source exactly the window a kernel may read (2 left,
// 3 right, 2 above, 3 below: under the address sanitizer a read beyond it fails) and the output
// inside a guard band.
#include <gtest/gtest.h>

#include <string>

#include "h264/interp_luma.h"
#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

// Runs `run(table, src, srcStep, dst, dstStep)` for a w x h block with the
// reference and the tested table on each pattern pair and three layouts
// (steps in samples: tight, negative, wide and odd).
template <class T, class Run>
void expect_matches_reference(const std::string& what, int w, int h, std::uint32_t max_value, Run run) {
    Rng rng = Rng::for_test(what);
    const int sb = sizeof(T), steps[3][2] = {{w + 5, w}, {-(w + 5), -w}, {w + 37, w + 9}};
    for (const PatternPair pp : kHostilePairs)
        for (int l = 0; l < 3; ++l) {
            GuardedPlane<T> src(w + 5, h + 5, steps[l][0] * sb, (3 * l + 1) * sb), want(w, h, steps[l][1] * sb),
                got(w, h, steps[l][1] * sb, l * sb);
            src.fill(l == 1 ? pp.second : pp.first, max_value, rng);
            const T* origin = src.data() + 2 * steps[l][0] + 2;
            run(false, origin, steps[l][0], want.data(), steps[l][1]);
            run(true, origin, steps[l][0], got.data(), steps[l][1]);
            ASSERT_TRUE(samples(got) == samples(want) && got.guard_intact())
                << what << " layout " << l << (got.guard_intact() ? "" : ": write outside the block") << "\n"
                << plane_grid(want, "reference") << plane_grid(got, "tested") << plane_grid(src, "source");
        }
}

class LumaInterp : public ::testing::TestWithParam<Level> {
protected:
    const LumaInterpTable at_ = make_luma_interp_table(GetParam().flags);
    const LumaInterpTable below_ = make_luma_interp_table(level_below(GetParam()).flags);
    const LumaInterpTable ref_ = make_luma_interp_table(vek::kCpuNone);
};

// Heights 4 to 16 and 28 (16 + 8 + 4) take every block and strip split of the kernels.
TEST_P(LumaInterp, Kernels8uMatchReference) {
    int compared = 0;
    for (int slot = 0; slot < 64; ++slot) {
        if (!changed_at(at_.luma_8u[slot], below_.luma_8u[slot])) continue;
        const int w = luma_class_width(8 * (slot >> 4));  // 4, 8, 16, 16
        for (int h : {4, 8, 12, 16, 28})
            expect_matches_reference<Vek8u>("8u slot " + std::to_string(slot) + " height " + std::to_string(h), w, h,
                                            255, [&](bool tested, const Vek8u* s, int ss, Vek8u* d, int ds) {
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
