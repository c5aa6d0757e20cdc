// Differential tests of the H.263 edge filters on hostile, random and nearly flat edges, every
// strength and step layout (zero and negative too), with guard bands around the touched samples.
#include "h263/deblock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "kernel_compare.h"

namespace {

using namespace vek::h263;
using namespace vek::test;

const struct EdgeCase {
    const char* name;
    EdgeFilterFn* EdgeFilterTable::*slot;
    int positions;  // along the edge
    int before;     // samples read before the edge (as many from the edge on)
    bool vertical;
} kEdgeCases[] = {
    {"deblock8x8_hor", &EdgeFilterTable::deblock8x8_hor, 8, 2, false},
    {"deblock8x8_ver", &EdgeFilterTable::deblock8x8_ver, 8, 2, true},
    {"deblock16x16_hor", &EdgeFilterTable::deblock16x16_hor, 16, 2, false},
    {"deblock16x16_ver", &EdgeFilterTable::deblock16x16_ver, 16, 2, true},
    {"boundary_hor", &EdgeFilterTable::boundary_hor, 16, 1, false},
    {"boundary_ver", &EdgeFilterTable::boundary_ver, 16, 1, true},
};

class EdgeFilterKernels : public ::testing::TestWithParam<Level> {};

TEST_P(EdgeFilterKernels, MatchReference) {
    const EdgeFilterTable at = make_edge_filter_table(GetParam().flags);
    const EdgeFilterTable ref = make_edge_filter_table(vek::kCpuNone);
    for (const EdgeCase& c : kEdgeCases) {
        Rng rng = Rng::for_test(std::string(c.name) + GetParam().name);
        const int w = c.vertical ? 2 * c.before : c.positions, h = c.vertical ? c.positions : 2 * c.before;
        for (const Layout& layout : layout_sweep(w, true, rng)) {
            // In-place filters on overlapping rows would see their own output.
            if (std::abs(layout.step) < w) continue;
            for (int trial = 0; trial < 40; ++trial) {
                // The hostile pairs across the edge, then nearly flat edges.
                const bool near = trial >= int(std::size(kHostilePairs));
                const PatternPair pp = near ? PatternPair{} : kHostilePairs[trial];
                const int base = int(rng.uniform(0, 255)), spread = int(rng.uniform(1, 40));
                GuardedPlane<Vek8u> got(w, h, layout.step, layout.misalign), want(w, h, layout.step);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        const int v = near ? std::clamp(base + int(rng.uniform(-spread, spread)), 0, 255)
                                           : int(pattern_value((c.vertical ? x : y) & 1 ? pp.second : pp.first, x, y,
                                                               255, rng));
                        got.set(x, y, Vek8u(v)), want.set(x, y, Vek8u(v));
                    }
                const int strength = h263_Deblock_QPStrength[1 + trial % 31];
                const int offset = c.vertical ? c.before : c.before * layout.step;
                (at.*c.slot)(got.data() + offset, layout.step, strength);
                (ref.*c.slot)(want.data() + offset, layout.step, strength);
                if (!same_samples(got, want) || !got.guard_intact()) {
                    ADD_FAILURE() << c.name << "/" << GetParam().name << ", " << layout << ", trial " << trial
                                  << ", strength " << strength << (got.guard_intact() ? "" : "\nwrite outside")
                                  << "\n" << plane_grid(want, "reference") << plane_grid(got, "tested");
                    return;
                }
            }
        }
    }
}

VEK_INSTANTIATE_LEVELS(EdgeFilterKernels);

}  // namespace
