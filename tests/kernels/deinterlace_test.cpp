// Differential tests of the deinterlacing row kernels against the reference: widths 1 to 70 and
// longer rows, hostile and random rows, misaligned starts, guarded destination rows.
#include "enhance/deinterlace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kernel_compare.h"

namespace {

using namespace vek::enhance;
using namespace vek::test;

// Runs a kernel on `rows` input rows of `width` samples (row i at src + i *
// step) into one destination row.
using RowCall = std::function<void(const DeinterlaceTable&, const Vek8u* src, int step, Vek8u* dst, int width)>;

// Every width to 70 (each tail after 16- and 32-sample runs), a few longer rows.
const std::vector<int> kWidths = [] {
    std::vector<int> w;
    for (int i = 1; i <= 70; ++i) w.push_back(i);
    w.insert(w.end(), {95, 96, 97, 129, 720});
    return w;
}();

class DeinterlaceKernels : public ::testing::TestWithParam<Level> {
protected:
    const DeinterlaceTable at_ = make_deinterlace_table(GetParam().flags);
    const DeinterlaceTable below_ = make_deinterlace_table(level_below(GetParam()).flags);
    const DeinterlaceTable ref_ = make_deinterlace_table(vek::kCpuNone);

    // Compares the level's kernel with the reference when the level overrides
    // the slot; a SIMD level must override every slot.
    template <class Fn>
    void check(const std::string& what, Fn* at, Fn* below, int rows, int min_width, const RowCall& call) {
        if (!changed_at(at, below)) {
            EXPECT_EQ(GetParam().flags, vek::kCpuNone) << what << " is left to the level below";
            return;
        }
        Rng rng = Rng::for_test(what + GetParam().name);
        for (const int width : kWidths) {
            if (width < min_width) continue;
            for (std::size_t trial = 0; trial < std::size(kHostilePairs) + 6; ++trial) {
                const PatternPair pp = trial < std::size(kHostilePairs)
                                           ? kHostilePairs[trial]
                                           : PatternPair{Pattern::kRandom, Pattern::kRandom};
                const int misalign = static_cast<int>(rng.uniform(0, 31));
                GuardedPlane<Vek8u> src(width, rows, width + static_cast<int>(trial % 3), misalign);
                // Rows alternate the two patterns: maximal differences between
                // neighbours and frames. The last trials make rows that differ
                // by a little, so thresholds split still from moving samples.
                const bool near = trial >= std::size(kHostilePairs) + 3;
                std::vector<int> base(static_cast<std::size_t>(width));
                for (int& b : base) b = static_cast<int>(rng.uniform(0, 255));
                for (int y = 0; y < rows; ++y)
                    for (int x = 0; x < width; ++x) {
                        const int v =
                            near ? std::clamp(base[std::size_t(x)] + static_cast<int>(rng.uniform(-12, 12)), 0, 255)
                                 : static_cast<int>(pattern_value(y & 1 ? pp.second : pp.first, x, y, 255, rng));
                        src.set(x, y, static_cast<Vek8u>(v));
                    }
                const auto before = src.snapshot();
                GuardedPlane<Vek8u> got(width, 1, width, static_cast<int>(trial % 16)), want(width, 1, width);
                call(at_, src.data(), src.step(), got.data(), width);
                call(ref_, src.data(), src.step(), want.data(), width);
                const std::vector<Vek8u> g(got.data(), got.data() + width), w(want.data(), want.data() + width);
                if (g != w || !got.guard_intact() || !src.unchanged_since(before)) {
                    ADD_FAILURE() << what << ", width " << width << ", patterns " << pattern_name(pp.first) << " / "
                                  << pattern_name(pp.second) << (got.guard_intact() ? "" : "\nwrite outside the row")
                                  << "\n"
                                  << side_by_side(w.data(), g.data(), width, 1, "reference", "tested")
                                  << plane_grid(src, "rows");
                    return;
                }
            }
        }
    }
};

const Vek8u* row(const Vek8u* src, int step, int i) { return src + static_cast<std::ptrdiff_t>(i) * step; }

TEST_P(DeinterlaceKernels, EdgeRow) {
    check<EdgeRowFn>("edge_row", at_.edge_row, below_.edge_row, 2, 3,
                     [](const DeinterlaceTable& t, const Vek8u* s, int step, Vek8u* d, int w) {
                         t.edge_row(s, row(s, step, 1), d, w);
                     });
}

TEST_P(DeinterlaceKernels, MedianThresholdRow) {
    // Thresholds outside 0..255 too: their low byte in the 16-column runs is part of the rule.
    for (const Vek32s threshold : {0, 1, 5, 128, 255, 256, 261, -1, -250, 1000})
        check<MedianThresholdRowFn>("median_threshold_row/" + std::to_string(threshold), at_.median_threshold_row,
                                    below_.median_threshold_row, 3, 1,
                                    [threshold](const DeinterlaceTable& t, const Vek8u* s, int step, Vek8u* d, int w) {
                                        t.median_threshold_row(s, row(s, step, 1), row(s, step, 2), d, w, threshold);
                                    });
}

TEST_P(DeinterlaceKernels, BlendRow) {
    // Tables of each kind the builder makes: steps, ramps, flat weights.
    const struct {
        Vek32s t[2];
        double c[2];
    } pairs[] = {
        {{40, 40}, {0, 1}}, {{0, 255}, {0, 1}}, {{10, 20}, {0, 1}}, {{0, 100}, {0.5, 0.5}}, {{3, 90}, {0.2, 0.9}}};
    for (const auto& p : pairs) {
        std::vector<Vek16u> table(512);
        DeinterlaceBlendState state{table.data(), 0, 0, 0, 0};
        build_blend_table(state, p.t, p.c);
        auto weights = std::make_shared<BlendWeights>();
        pair_blend_weights(table.data(), *weights);
        check<BlendRowFn>("blend_row/" + std::to_string(p.t[0]) + "-" + std::to_string(p.t[1]), at_.blend_row,
                          below_.blend_row, 8, 3,
                          [weights](const DeinterlaceTable& t, const Vek8u* s, int step, Vek8u* d, int w) {
                              const BlendRows r{s, row(s, step, 1), row(s, step, 2), row(s, step, 3),
                                                row(s, step, 4), row(s, step, 5), row(s, step, 6), row(s, step, 7)};
                              t.blend_row(r, weights->data(), d, w);
                          });
    }
}

TEST_P(DeinterlaceKernels, MotionRow) {
    for (const int p : {kProtectionOff, kProtectionOn})
        for (const Vek32s threshold : {-5, 0, 1, 10, 128, 255, 256, 1000})
            check<MotionRowFn>("motion_row/" + std::to_string(p) + "/" + std::to_string(threshold), at_.motion_row[p],
                               below_.motion_row[p], 12, 1,
                               [p, threshold](const DeinterlaceTable& t, const Vek8u* s, int step, Vek8u* d, int w) {
                                   MotionRows r{{s, row(s, step, 1), row(s, step, 2), row(s, step, 3)},
                                                {row(s, step, 4), row(s, step, 5), row(s, step, 6), row(s, step, 7)},
                                                row(s, step, 8), row(s, step, 9), row(s, step, 10), row(s, step, 11)};
                                   t.motion_row[p](r, d, w, threshold);
                               });
}

TEST_P(DeinterlaceKernels, TriangleRow) {
    for (const int c : {0, 1, 128, 200, 255, 256})
        check<TriangleRowFn>("triangle_row/" + std::to_string(c), at_.triangle_row, below_.triangle_row, 3, 1,
                             [c](const DeinterlaceTable& t, const Vek8u* s, int step, Vek8u* d, int w) {
                                 t.triangle_row(s, row(s, step, 1), row(s, step, 2), d, w, c);
                             });
}

VEK_INSTANTIATE_LEVELS(DeinterlaceKernels);

}  // namespace
