// Differential tests of the VC-1 interpolation tables: every block size and
// phase a level overrides, both roundings, against the reference kernels.
#include <gtest/gtest.h>

#include "kernel_compare.h"
#include "vc1/interp.h"
#include "vc1_diff.h"

namespace {

using namespace vek::vc1;
using namespace vek::test;

class Vc1InterpKernels : public ::testing::TestWithParam<Level> {};

TEST_P(Vc1InterpKernels, MatchReference) {
    const Level level = GetParam();
    const InterpTable at = make_interp_table(level.flags), below = make_interp_table(level_below(level).flags);
    const InterpTable ref = make_interp_table(vek::kCpuNone);
    // Kernels read exactly the neighbourhood: one sample before and two after
    // for bicubic, one after for bilinear (pitch bytes per sample position).
    const auto family = [&](const char* name, const PhaseTable& t_at, const PhaseTable& t_below,
                            const PhaseTable& t_ref, int w, int h, int pitch, bool bicubic) {
        const int before = bicubic ? 1 : 0, after = bicubic ? 2 : 1;
        const std::vector<vc1::PlaneShape> planes = {
            {(w + before + after) * pitch, h + before + after, before * pitch, before}, {w * pitch, h, 0, 0, 1, false}};
        for (int phase = 0; phase < kPhases; ++phase) {
            if (!own(level, changed_at(t_at[phase], t_below[phase]), name + (" phase " + std::to_string(phase))))
                continue;
            for (int rc = 0; rc < 2; ++rc) {
                const auto call = [rc](InterpFn* fn) {
                    return [fn, rc](const std::vector<void*>& p, const std::vector<Vek32s>& s) {
                        fn(static_cast<const Vek8u*>(p[0]), s[0], static_cast<Vek8u*>(p[1]), s[1], rc);
                    };
                };
                vc1::expect_same_effect(std::string(name) + " " + std::to_string(w) + "x" + std::to_string(h) + " dx " +
                                            std::to_string(phase / 4) + " dy " + std::to_string(phase % 4) + " rc " +
                                            std::to_string(rc) + "/" + level.name,
                                        planes, call(t_at[phase]), call(t_ref[phase]));
            }
        }
    };
    const int bic[][2] = {{8, 8}, {16, 8}, {16, 16}}, bil[][2] = {{4, 4}, {8, 4}, {8, 8}, {16, 16}};
    for (int i = 0; i < kBicubicSizes; ++i)
        family("bicubic", at.bicubic[i], below.bicubic[i], ref.bicubic[i], bic[i][0], bic[i][1], 1, true);
    for (int i = 0; i < kBilinearSizes; ++i)
        family("bilinear", at.bilinear[i], below.bilinear[i], ref.bilinear[i], bil[i][0], bil[i][1], 1, false);
    for (int i = 0; i < kPairSizes; ++i)
        family("bilinear pairs", at.bilinear_c2[i], below.bilinear_c2[i], ref.bilinear_c2[i], bil[i][0], bil[i][1], 2,
               false);
}

VEK_INSTANTIATE_LEVELS(Vc1InterpKernels);

}  // namespace
