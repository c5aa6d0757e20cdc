// Differential tests of the VC-1 inverse transform table: every size and every
// non-zero region a level overrides, against the reference kernels.
#include <gtest/gtest.h>

#include "kernel_compare.h"
#include "vc1/transform.h"
#include "vc1_diff.h"

namespace {

using namespace vek::vc1;
using namespace vek::test;

class Vc1TransformKernels : public ::testing::TestWithParam<Level> {};

TEST_P(Vc1TransformKernels, MatchReference) {
    const Level level = GetParam();
    const TransformTable at = make_transform_table(level.flags), below = make_transform_table(level_below(level).flags);
    const TransformTable ref = make_transform_table(vek::kCpuNone);
    const int dims[kTransformSizes][2] = {{8, 8}, {4, 8}, {8, 4}, {4, 4}};
    for (int size = 0; size < kTransformSizes; ++size) {
        if (!own(level, changed_at(at.inverse[size], below.inverse[size]), "size " + std::to_string(size))) continue;
        const int w = dims[size][0], h = dims[size][1];
        // Separate source and destination, and the in-place form (one plane).
        const std::vector<vc1::PlaneShape> copying = {{w, h, 0, 0, 2}, {w, h, 0, 0, 2, false}};
        const std::vector<vc1::PlaneShape> in_place = {{w, h, 0, 0, 2, false}};
        for (int rows = 1; rows <= h; ++rows)
            for (int cols = 1; cols <= w; ++cols) {
                // Source is the first plane, destination the last (the same one in place).
                const auto call = [cols, rows](InvTransformFn* fn) {
                    return [=](const std::vector<void*>& p, const std::vector<Vek32s>& s) {
                        fn(static_cast<const Vek16s*>(p[0]), s[0], static_cast<Vek16s*>(p.back()), s.back(), cols,
                           rows);
                    };
                };
                const std::string what = std::to_string(w) + "x" + std::to_string(h) + " nz " + std::to_string(cols) +
                                         "x" + std::to_string(rows) + "/" + level.name;
                vc1::expect_same_effect(what, copying, call(at.inverse[size]), call(ref.inverse[size]));
                if (rows == h && cols == w)
                    vc1::expect_same_effect(what + " in place", in_place, call(at.inverse[size]),
                                            call(ref.inverse[size]));
            }
    }
}

VEK_INSTANTIATE_LEVELS(Vc1TransformKernels);

}  // namespace
