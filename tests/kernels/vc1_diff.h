// Differential runner of the VC-1 kernel tests: a kernel and its reference
// run on identical copies of guarded planes, in swept layouts and hostile
// patterns, and must leave every byte of every plane (guards included) alike.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kernel_compare.h"

namespace vek::test::vc1 {

// One plane a kernel gets: width in elements of `elem` bytes, the element the
// kernel's pointer addresses, and whether its rows may use zero or negative steps
// (only for planes nothing writes).
struct PlaneShape {
    int width, height;
    int ox = 0, oy = 0;
    int elem = 1;
    bool read_only = true;
};

// Pointers (at ox, oy) and steps in bytes, one per plane, in the order given.
using Invoke = std::function<void(const std::vector<void*>& ptrs, const std::vector<Vek32s>& steps)>;
// Extra filler: the value at (x, y) of plane `plane`, for inputs the hostile
// patterns rarely give (e.g. edges a filter acts on).
using Filler = std::function<std::uint32_t(int plane, int x, int y, Rng& rng)>;

inline void expect_same_effect(const std::string& what, const std::vector<PlaneShape>& shapes, const Invoke& tested,
                               const Invoke& reference, const Filler& extra = nullptr, int extra_trials = 0) {
    SCOPED_TRACE(what);
    Rng rng = Rng::for_test(what);
    std::vector<std::vector<Layout>> layouts;
    for (const PlaneShape& s : shapes) layouts.push_back(layout_sweep(s.width * s.elem, s.read_only, rng, s.elem));
    std::size_t rounds = 0;
    for (const auto& l : layouts) rounds = std::max(rounds, l.size());
    const std::size_t n_pairs = std::size(kHostilePairs);
    const std::size_t total = rounds * n_pairs + 32 + static_cast<std::size_t>(extra_trials);
    for (std::size_t trial = 0; trial < total; ++trial) {
        const bool swept = trial < rounds * n_pairs;
        const bool custom = trial >= rounds * n_pairs + 32;
        std::vector<std::unique_ptr<GuardedPlane<Vek8u>>> got, want;
        std::vector<void*> pg, pw;
        std::vector<Vek32s> steps;
        for (std::size_t i = 0; i < shapes.size(); ++i) {
            const PlaneShape& s = shapes[i];
            const auto& ls = layouts[i];
            const Layout l = swept ? ls[(trial / n_pairs + 3 * i) % ls.size()] : ls[rng.uniform(0, std::ssize(ls) - 1)];
            const PatternPair pp = kHostilePairs[trial % n_pairs];
            const Pattern p = swept ? (i % 2 ? pp.second : pp.first) : Pattern::kRandom;
            const std::uint32_t max = s.elem == 2 ? 0xFFFF : 0xFF;
            got.push_back(std::make_unique<GuardedPlane<Vek8u>>(s.width * s.elem, s.height, l.step, l.misalign));
            want.push_back(std::make_unique<GuardedPlane<Vek8u>>(s.width * s.elem, s.height, l.step, l.misalign));
            for (int y = 0; y < s.height; ++y)
                for (int x = 0; x < s.width; ++x) {
                    const std::uint32_t v = custom ? extra(static_cast<int>(i), x, y, rng) & max
                                                   : pattern_value(p, x, y, max, rng);
                    for (int b = 0; b < s.elem; ++b) {
                        got.back()->set(x * s.elem + b, y, static_cast<Vek8u>(v >> (8 * b)));
                        want.back()->set(x * s.elem + b, y, static_cast<Vek8u>(v >> (8 * b)));
                    }
                }
            const std::ptrdiff_t off = static_cast<std::ptrdiff_t>(l.step) * s.oy + s.ox * s.elem;
            pg.push_back(got.back()->data() + off);
            pw.push_back(want.back()->data() + off);
            steps.push_back(l.step);
        }
        tested(pg, steps);
        reference(pw, steps);
        for (std::size_t i = 0; i < shapes.size(); ++i) {
            const bool same = same_samples(*got[i], *want[i]);
            if (!same || !got[i]->guard_intact()) {
                std::ostringstream os;
                os << "trial " << trial << ", plane " << i << (same ? "" : " differs") << (got[i]->guard_intact() ? "" : ", guard damaged")
                   << ", steps";
                for (Vek32s s : steps) os << " " << s;
                os << "\n";
                if (shapes[i].elem == 1) os << plane_grid(*want[i], "reference") << plane_grid(*got[i], "tested");
                ADD_FAILURE() << os.str();
                return;
            }
        }
    }
}

}  // namespace vek::test::vc1
