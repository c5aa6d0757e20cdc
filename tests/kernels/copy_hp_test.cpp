// Differential tests of the full- and half-sample block copies (every mode x rounding, both sizes):
// hostile blocks, every step layout, guarded destination, source of exactly the samples a mode reads.
#include "mc/copy_hp.h"

#include <gtest/gtest.h>

#include <string>

#include "kernel_compare.h"

namespace {

using namespace vek::mc;
using namespace vek::test;

class CopyKernels : public ::testing::TestWithParam<Level> {};

TEST_P(CopyKernels, MatchReference) {
    const CopyTable at = make_copy_table(GetParam().flags), ref = make_copy_table(vek::kCpuNone);
    for (const int n : {8, 16}) {
        const auto& slots = n == 8 ? at.copy8x8 : at.copy16x16;
        const auto& refs = n == 8 ? ref.copy8x8 : ref.copy16x16;
        for (int slot = 0; slot < 8; ++slot) {
            const int mode = slot >> 1;
            const int sw = n + (mode & 1), sh = n + (mode >> 1);
            const std::string what = "copy" + std::to_string(n) + "/slot" + std::to_string(slot) + "/" + GetParam().name;
            Rng rng = Rng::for_test(what);
            for (const Layout& layout : layout_sweep(sw, true, rng)) {
                for (const PatternPair& pp : kHostilePairs) {
                    GuardedPlane<Vek8u> src(sw, sh, layout.step, layout.misalign);
                    for (int y = 0; y < sh; ++y)
                        for (int x = 0; x < sw; ++x)
                            src.set(x, y, Vek8u(pattern_value((x + y) & 1 ? pp.second : pp.first, x, y, 255, rng)));
                    GuardedPlane<Vek8u> got(n, n, n + 5, layout.misalign & 15), want(n, n, n);
                    slots[std::size_t(slot)](src.data(), src.step(), got.data(), got.step());
                    refs[std::size_t(slot)](src.data(), src.step(), want.data(), want.step());
                    if (!same_samples(got, want) || !got.guard_intact()) {
                        ADD_FAILURE() << what << ", " << layout << (got.guard_intact() ? "" : "\nwrite outside") << "\n"
                                      << plane_grid(want, "reference") << plane_grid(got, "tested");
                        return;
                    }
                }
            }
        }
    }
}

VEK_INSTANTIATE_LEVELS(CopyKernels);

}  // namespace
