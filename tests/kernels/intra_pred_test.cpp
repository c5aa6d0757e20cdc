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
// Besides the harness patterns: step edges that drive the plane gradients to
// their extremes in both directions, to catch a wrapping 16-bit ramp.
enum class Fill { kHarness, kEdgeUp, kEdgeDown, kEdgeCross };

Vek8u sample(Fill fill, Pattern p, int x, int y, int n, Rng& rng) {
    const bool far = x > n / 2 || y > n / 2;
    switch (fill) {
        case Fill::kHarness: return static_cast<Vek8u>(pattern_value(p, x, y, 255, rng));
        case Fill::kEdgeUp: return far ? 255 : 0;
        case Fill::kEdgeDown: return far ? 0 : 255;
        case Fill::kEdgeCross: return (y == 0 ? x > n / 2 : y <= n / 2) ? 255 : 0;
    }
    return 0;
}

// Every combination of top, left, corner and top-right.
std::vector<Vek32s> all_availabilities() {
    std::vector<Vek32s> v;
    for (int bits = 0; bits < 16; ++bits)
        v.push_back((bits & 1 ? kAvailTop : 0) | (bits & 2 ? kAvailLeft : 0) | (bits & 4 ? kAvailTopLeft : 0) |
                    (bits & 8 ? kAvailTopRight : 0));
    return v;
}

// Runs `tested` and `reference` (VekStatus(Fn*, Vek8u* block, step, availability))
// on an n x n block with its neighbours (`right` more samples above right) in
// swept layouts, over hostile and random fills and the availabilities `accept`
// lets through; stops at the first mismatch and prints both pictures.
template <class Fn, class Call, class Accept>
void expect_matches_reference(const std::string& what, int n, int right, Fn* tested, Fn* reference, Call call,
                              Accept accept) {
    SCOPED_TRACE(what);
    Rng rng = Rng::for_test(what);
    const int width = 1 + n + right, height = 1 + n;
    std::vector<Layout> layouts;
    for (const Layout& l : layout_sweep(width, true, rng))
        if (l.step >= width || l.step <= -width) layouts.push_back(l);  // rows must not overlap
    std::vector<std::pair<Fill, Pattern>> fills = {{Fill::kEdgeUp, {}}, {Fill::kEdgeDown, {}}, {Fill::kEdgeCross, {}}};
    for (const auto& pair : kHostilePairs) fills.push_back({Fill::kHarness, pair.first});
    for (int i = 0; i < 8; ++i) fills.push_back({Fill::kHarness, Pattern::kRandom});
    int trial = 0;
    for (const Layout& layout : layouts)
        for (const auto& [fill, pattern] : fills)
            for (const Vek32s availability : all_availabilities()) {
                if (!accept(availability)) continue;
                ++trial;
                GuardedPlane<Vek8u> got(width, height, layout.step, layout.misalign);
                GuardedPlane<Vek8u> want(width, height, layout.step, layout.misalign);
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) {
                        const Vek8u v = sample(fill, pattern, x, y, n, rng);
                        got.set(x, y, v);
                        want.set(x, y, v);
                    }
                const auto block = [&](GuardedPlane<Vek8u>& p) { return p.data() + layout.step + 1; };
                const VekStatus got_status = call(tested, block(got), layout.step, availability);
                const VekStatus want_status = call(reference, block(want), layout.step, availability);
                if (got_status != want_status || !same_samples(got, want) || !got.guard_intact()) {
                    ADD_FAILURE() << "trial " << trial << ", " << layout << ", availability " << availability
                                  << ", status " << got_status << " (reference " << want_status << ")"
                                  << (got.guard_intact() ? "" : "\nwrite outside the picture") << "\n"
                                  << plane_grid(want, "reference") << plane_grid(got, "tested");
                    return;
                }
            }
}

template <class Fn>
VekStatus call(Fn* fn, Vek8u* block, Vek32s step, Vek32s availability) {
    return fn(block, step, availability);
}

class IntraPredKernels : public ::testing::TestWithParam<Level> {
protected:
    const Level level_ = GetParam();
    const IntraPredTable at_ = make_intra_pred_table(level_.flags);
    const IntraPredTable below_ = make_intra_pred_table(level_below(level_).flags);
    const IntraPredTable ref_ = make_intra_pred_table(vek::kCpuNone);
    int compared_ = 0;

    template <class Fn, class Call, class Accept>
    void check_slot(const std::string& name, Fn* at, Fn* below, Fn* ref, int n, int right, Call call,
                    Accept accept) {
        ASSERT_NE(at, nullptr) << name;
        if (!changed_at(at, below)) return;  // left to the level below, compared there
        expect_matches_reference(name + "/" + level_.name, n, right, at, ref, call, accept);
        ++compared_;
    }

    void TearDown() override { RecordProperty("kernels_compared", compared_); }
};

// The 4x4 kernels take every availability (they fall back on 128 and say so);
// the ones that read above right get the four extra samples.
TEST_P(IntraPredKernels, Luma4x4MatchesReference) {
    for (int m = 0; m < kIntra4x4ModeCount; ++m) {
        const int right = (m == kIntra4x4DiagDownLeft || m == kIntra4x4VerticalLeft) ? 4 : 0;
        check_slot("4x4/mode" + std::to_string(m), at_.luma4x4[m], below_.luma4x4[m], ref_.luma4x4[m], 4, right,
                   call<Intra4x4Fn>, [](Vek32s) { return true; });
    }
}

// The block kernels are called only with the neighbours their mode needs.
TEST_P(IntraPredKernels, Luma16x16MatchesReference) {
    for (unsigned m = 0; m < kIntra16x16ModeCount; ++m)
        check_slot("16x16/mode" + std::to_string(m), at_.luma16x16[m], below_.luma16x16[m], ref_.luma16x16[m], 16,
                   0, call<IntraBlockFn>, [m](Vek32s a) { return !missing_16x16_neighbour(m, a); });
}

TEST_P(IntraPredKernels, Chroma8x8MatchesReference) {
    for (unsigned m = 0; m < kIntraChromaModeCount; ++m)
        check_slot("chroma/mode" + std::to_string(m), at_.chroma8x8[m], below_.chroma8x8[m], ref_.chroma8x8[m], 8,
                   0, call<IntraBlockFn>, [m](Vek32s a) { return !missing_chroma_neighbour(m, a); });
}

VEK_INSTANTIATE_LEVELS(IntraPredKernels);

}  // namespace
