// Differential test of the VC-1 range mapping: every parameter, widths around
// the vector chunk sizes, against the reference kernel.
#include <gtest/gtest.h>

#include "kernel_compare.h"
#include "vc1/range_map.h"
#include "vc1_diff.h"

namespace {

using namespace vek::vc1;
using namespace vek::test;

class Vc1RangeMapKernels : public ::testing::TestWithParam<Level> {};

TEST_P(Vc1RangeMapKernels, MatchReference) {
    const Level level = GetParam();
    const RangeMapTable at = make_range_map_table(level.flags), below = make_range_map_table(level_below(level).flags);
    const RangeMapTable ref = make_range_map_table(vek::kCpuNone);
    if (!changed_at(at.map, below.map)) {
        EXPECT_EQ(level.flags, vek::kCpuNone) << "left to the level below";
        return;
    }
    for (int scale = 9; scale <= 16; ++scale)
        for (const int width : {1, 7, 8, 15, 16, 24, 33}) {
            const auto call = [scale, width](RangeMapFn* fn) {
                return [=](const std::vector<void*>& p, const std::vector<Vek32s>& s) {
                    fn(static_cast<const Vek8u*>(p[0]), s[0], static_cast<Vek8u*>(p[1]), s[1], width, 3, scale);
                };
            };
            vc1::expect_same_effect("scale " + std::to_string(scale) + " width " + std::to_string(width) + "/" +
                                        level.name,
                                    {{width, 3}, {width, 3, 0, 0, 1, false}}, call(at.map), call(ref.map));
        }
}

VEK_INSTANTIATE_LEVELS(Vc1RangeMapKernels);

}  // namespace
