// Differential tests of the intra prediction table: every slot a level
// overrides against the reference, bit for bit, over the whole picture around
// the block (neighbours must stay as they were) and the guard band.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "h264/intra_pred.h"
#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

// Sample (x, y) of the picture, x = 0 the left column and y = 0 the row above.
// Fills from 0 are harness patterns; -3 to -1 are step edges that drive the
// plane gradients to their extremes both ways, to catch a wrapping 16-bit ramp.
Vek8u sample(int fill, int x, int y, int n, Rng& rng) {
    const bool far = x > n / 2 || y > n / 2, edges[3] = {far, !far, y == 0 ? x > n / 2 : y <= n / 2};
    return fill < 0 ? (edges[fill + 3] ? 255 : 0) : static_cast<Vek8u>(pattern_value(Pattern(fill), x, y, 255, rng));
}

// Runs `tested` and `reference` on an n x n block with its neighbours
// (`right` more samples above right) in swept layouts, over hostile and random
// fills and the availabilities `accept` lets through; stops at the first
// mismatch and prints both pictures.
template <class Accept>
void expect_matches_reference(const std::string& what, int n, int right, IntraBlockFn* tested,
                              IntraBlockFn* reference, Accept accept) {
    SCOPED_TRACE(what);
    Rng rng = Rng::for_test(what);
    const int width = 1 + n + right, height = 1 + n;
    std::vector<int> fills = {-3, -2, -1};
    for (const auto& pair : kHostilePairs) fills.push_back(int(pair.first));
    fills.insert(fills.end(), 8, int(Pattern::kRandom));
    int trial = 0;
    for (const Layout& layout : layout_sweep(width, true, rng)) {
        if (layout.step < width && layout.step > -width) continue;  // rows must not overlap
        for (const int fill : fills)
            for (int bits = 0; bits < 16; ++bits) {
                // Every combination of top (1), left (2), corner (32) and top-right (64).
                const Vek32s availability = (bits & 3) | (bits & 12) << 3;
                if (!accept(availability)) continue;
                ++trial;
                GuardedPlane<Vek8u> got(width, height, layout.step, layout.misalign);
                GuardedPlane<Vek8u> want(width, height, layout.step, layout.misalign);
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) {
                        const Vek8u v = sample(fill, x, y, n, rng);
                        got.set(x, y, v), want.set(x, y, v);
                    }
                const VekStatus got_status = tested(got.data() + layout.step + 1, layout.step, availability);
                const VekStatus want_status = reference(want.data() + layout.step + 1, layout.step, availability);
                if (got_status != want_status || !same_samples(got, want) || !got.guard_intact()) {
                    ADD_FAILURE() << "trial " << trial << ", " << layout << ", availability " << availability
                                  << ", status " << got_status << " (reference " << want_status << ")"
                                  << (got.guard_intact() ? "" : "\nwrite outside the picture") << "\n"
                                  << plane_grid(want, "reference") << plane_grid(got, "tested");
                    return;
                }
            }
    }
}

class IntraPredKernels : public ::testing::TestWithParam<Level> {};

// Every slot a level overrides. The 4x4 kernels take every availability (they
// fall back on 128 and say so), the ones that read above right get the four
// extra samples; the block kernels are called only with the neighbours their
// mode needs.
TEST_P(IntraPredKernels, MatchReference) {
    const Level level = GetParam();
    const IntraPredTable at = make_intra_pred_table(level.flags);
    const IntraPredTable below = make_intra_pred_table(level_below(level).flags);
    const IntraPredTable ref = make_intra_pred_table(vek::kCpuNone);
    int compared = 0;
    const auto check = [&](const std::string& name, IntraBlockFn* a, IntraBlockFn* b, IntraBlockFn* r, int n,
                           int right, auto accept) {
        ASSERT_NE(a, nullptr) << name;
        if (!changed_at(a, b)) return;  // left to the level below, compared there
        expect_matches_reference(name + "/" + level.name, n, right, a, r, accept);
        ++compared;
    };
    for (unsigned m = 0; m < kIntra4x4ModeCount; ++m)
        check("4x4/mode" + std::to_string(m), at.luma4x4[m], below.luma4x4[m], ref.luma4x4[m], 4,
              m == kIntra4x4DiagDownLeft || m == kIntra4x4VerticalLeft ? 4 : 0, [](Vek32s) { return true; });
    for (unsigned m = 0; m < kIntra16x16ModeCount; ++m)
        check("16x16/mode" + std::to_string(m), at.luma16x16[m], below.luma16x16[m], ref.luma16x16[m], 16, 0,
              [m](Vek32s a) { return !missing_16x16_neighbour(m, a); });
    for (unsigned m = 0; m < kIntraChromaModeCount; ++m)
        check("chroma/mode" + std::to_string(m), at.chroma8x8[m], below.chroma8x8[m], ref.chroma8x8[m], 8, 0,
              [m](Vek32s a) { return !missing_chroma_neighbour(m, a); });
    RecordProperty("kernels_compared", compared);
}

VEK_INSTANTIATE_LEVELS(IntraPredKernels);

}  // namespace
