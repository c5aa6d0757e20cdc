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

// Runs a kernel on input rows r(0), r(1), ... into one destination row.
using Rows = std::function<const Vek8u*(int)>;
using RowCall = std::function<void(const DeinterlaceTable&, const Rows& r, Vek8u* dst, int width)>;

class DeinterlaceKernels : public ::testing::TestWithParam<Level> {
protected:
    const DeinterlaceTable at_ = make_deinterlace_table(GetParam().flags);
    const DeinterlaceTable below_ = make_deinterlace_table(level_below(GetParam()).flags);
    const DeinterlaceTable ref_ = make_deinterlace_table(vek::kCpuNone);

    // Compares the level's kernel with the reference when the level overrides
    // the slot; a SIMD level must override every slot. Widths: every one to 70
    // (each tail after 16- and 32-sample runs) and a few longer rows.
    template <class Fn>
    void check(const std::string& what, Fn* at, Fn* below, int rows, int min_width, const RowCall& call) {
        if (!own(GetParam(), changed_at(at, below), what)) return;
        Rng rng = Rng::for_test(what + GetParam().name);
        std::vector<int> widths{95, 96, 97, 129, 720};
        for (int w = 1; w <= 70; ++w) widths.push_back(w);
        for (const int width : widths) {
            for (std::size_t trial = 0; width >= min_width && trial < std::size(kHostilePairs) + 6; ++trial) {
                const bool hostile = trial < std::size(kHostilePairs);
                const PatternPair pp = hostile ? kHostilePairs[trial] : PatternPair{Pattern::kRandom, Pattern::kRandom};
                GuardedPlane<Vek8u> src(width, rows, width + int(trial % 3), int(rng.uniform(0, 31)));
                // Rows alternate the two patterns: maximal differences between
                // neighbours and frames. The last trials make rows that differ
                // by a little, so thresholds split still from moving samples.
                const bool near = trial >= std::size(kHostilePairs) + 3;
                std::vector<int> base(static_cast<std::size_t>(width));
                for (int& b : base) b = int(rng.uniform(0, 255));
                for (int y = 0; y < rows; ++y)
                    for (int x = 0; x < width; ++x)
                        src.set(x, y, Vek8u(near ? std::clamp(base[std::size_t(x)] + int(rng.uniform(-12, 12)), 0, 255)
                                                 : int(pattern_value(y & 1 ? pp.second : pp.first, x, y, 255, rng))));
                const auto before = src.snapshot();
                GuardedPlane<Vek8u> got(width, 1, width, int(trial % 16)), want(width, 1, width);
                const Rows r = [&](int i) { return src.data() + std::ptrdiff_t(i) * src.step(); };
                call(at_, r, got.data(), width);
                call(ref_, r, want.data(), width);
                if (!same_samples(got, want) || !got.guard_intact() || !src.unchanged_since(before)) {
                    ADD_FAILURE() << what << ", width " << width << ", patterns " << pattern_name(pp.first) << " / "
                                  << pattern_name(pp.second) << (got.guard_intact() ? "" : "\nwrite outside the row")
                                  << "\n" << side_by_side(want.data(), got.data(), width, 1, "reference", "tested")
                                  << plane_grid(src, "rows");
                    return;
                }
            }
        }
    }
};

TEST_P(DeinterlaceKernels, EdgeRow) {
    check<EdgeRowFn>("edge_row", at_.edge_row, below_.edge_row, 2, 3,
                     [](const DeinterlaceTable& t, const Rows& r, Vek8u* d, int w) { t.edge_row(r(0), r(1), d, w); });
}

TEST_P(DeinterlaceKernels, MedianThresholdRow) {
    // Thresholds outside 0..255 too: their low byte in the 16-column runs is part of the rule.
    for (const Vek32s th : {0, 1, 5, 128, 255, 256, 261, -1, -250, 1000})
        check<MedianThresholdRowFn>("median_threshold_row/" + std::to_string(th), at_.median_threshold_row,
                                    below_.median_threshold_row, 3, 1,
                                    [th](const DeinterlaceTable& t, const Rows& r, Vek8u* d, int w) {
                                        t.median_threshold_row(r(0), r(1), r(2), d, w, th);
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
                          below_.blend_row, 8, 3, [weights](const DeinterlaceTable& t, const Rows& r, Vek8u* d, int w) {
                              t.blend_row({r(0), r(1), r(2), r(3), r(4), r(5), r(6), r(7)}, weights->data(), d, w);
                          });
    }
}

TEST_P(DeinterlaceKernels, MotionRow) {
    for (const int p : {kProtectionOff, kProtectionOn})
        for (const Vek32s th : {-5, 0, 1, 10, 128, 255, 256, 1000})
            check<MotionRowFn>("motion_row/" + std::to_string(p) + "/" + std::to_string(th), at_.motion_row[p],
                               below_.motion_row[p], 12, 1,
                               [p, th](const DeinterlaceTable& t, const Rows& r, Vek8u* d, int w) {
                                   const MotionRows m{{r(0), r(1), r(2), r(3)}, {r(4), r(5), r(6), r(7)},
                                                      r(8), r(9), r(10), r(11)};
                                   t.motion_row[p](m, d, w, th);
                               });
}

TEST_P(DeinterlaceKernels, TriangleRow) {
    for (const int c : {0, 1, 128, 200, 255, 256})
        check<TriangleRowFn>("triangle_row/" + std::to_string(c), at_.triangle_row, below_.triangle_row, 3, 1,
                             [c](const DeinterlaceTable& t, const Rows& r, Vek8u* d, int w) {
                                 t.triangle_row(r(0), r(1), r(2), d, w, c);
                             });
}

VEK_INSTANTIATE_LEVELS(DeinterlaceKernels);

}  // namespace
