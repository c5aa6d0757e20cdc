// Differential tests of the deblocking table on smooth and hostile samples, any thresholds (tc
// wrapping included), any bS, swept layouts, guard bands around the block.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "h264/deblock.h"
#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

// Footprint of one kernel: `left` columns and `above` rows before the
// macroblock, width x height samples in all; edges with pBs at bs_stride * e.
struct Shape {
    int left, above, width, height, edges, bs_stride;
};
constexpr Shape kLumaVer{4, 0, 20, 16, 4, 4}, kLumaHor{0, 4, 16, 20, 4, 4};
constexpr Shape kChromaVer{2, 0, 8, 8, 2, 8}, kChromaHor{0, 2, 8, 8, 2, 8};
constexpr Shape kC2Ver{4, 0, 16, 8, 2, 8}, kC2Hor{0, 2, 16, 8, 2, 8};
constexpr Shape k422Ver{2, 0, 8, 16, 2, 8}, k422Hor{0, 2, 8, 16, 4, 4};

template <class T>
struct Inputs {
    T alpha[2], beta[2], tc0[16];
    Vek8u bs[16];
    bool steep;  // samples near 0 and max, thresholds near max: the largest deltas
    bool gap;    // outer edge at bS 4, samples stepping across it by about (alpha >> 2) + 2
};

// Regime 0: any thresholds, half the time steep lines whose deltas exceed tc
// with the largest tc0 just below or above 92 and 93 (where the 8-bit kernels
// change path) or at the top; 1: tc0 at the top, where tc wraps; 2: small thresholds; 3: moderate
// thresholds, half the time with a step across a strong outer edge.
template <class T>
Inputs<T> draw_inputs(Rng& rng, const Shape& shape, std::uint32_t max) {
    Inputs<T> in{};
    const int regime = static_cast<int>(rng.uniform(0, 3));
    in.steep = regime == 0 && rng.uniform(0, 1);
    in.gap = regime == 3 && rng.uniform(0, 1);
    for (int i = 0; i < 2; ++i) {
        const std::int64_t a = rng.uniform(0, regime ? max / 4 : max), b = rng.uniform(0, regime ? max / 16 + 2 : max);
        in.alpha[i] = static_cast<T>(in.steep ? max - a / 12 : a);
        in.beta[i] = static_cast<T>(in.steep ? max - b / 6 : b);
    }
    const std::uint32_t top =
        in.steep ? (rng.uniform(0, 3) ? 86 + static_cast<std::uint32_t>(rng.uniform(0, 9)) : 255) : 0;
    for (auto& t : in.tc0)
        t = static_cast<T>(regime == 1 ? max - rng.uniform(0, 2)
                           : top      ? top - rng.uniform(0, 3)
                                      : rng.uniform(0, regime == 2 ? max : 25));
    constexpr Vek8u kValues[] = {0, 1, 2, 3, 4, 4, 4, 5, 255};
    for (auto& b : in.bs) b = kValues[rng.uniform(0, 8)];
    for (int e = 0; e < shape.edges; ++e) {
        // all 4, all 0, all 2, mixed, mixed
        const int kind = e == 0 && in.gap ? 0 : static_cast<int>(rng.uniform(0, 4));
        for (int g = 0; g < 4 && kind < 3; ++g)
            in.bs[shape.bs_stride * e + g] = static_cast<Vek8u>(kind == 0 ? 4 : kind == 1 ? 0 : 2);
    }
    return in;
}

// `before(x, y)`: the sample lies before the outer edge.
template <class T, class Before>
void fill(GuardedPlane<T>& plane, Rng& rng, std::uint32_t max, int trial, const Inputs<T>& in, Before before) {
    const int kinds = 1 + static_cast<int>(std::size(kHostilePairs)), kind = trial % kinds;
    if (in.gap) {  // two flat sides, often at 0 or max, with a step of (alpha >> 2) + 2 - 2 .. + 1
        const std::int64_t step = (in.alpha[0] >> 2) + rng.uniform(0, 3), noise = rng.uniform(0, 3);
        const std::int64_t low = rng.uniform(0, 2) ? rng.uniform(0, 2) * (max - step) : rng.uniform(0, max - step);
        const bool up = rng.uniform(0, 1);
        for (int y = 0; y < plane.height(); ++y)
            for (int x = 0; x < plane.width(); ++x)
                plane.set(x, y, static_cast<T>(std::clamp<std::int64_t>(
                                    (before(x, y) == up ? low : low + step) + rng.uniform(-noise, noise), 0, max)));
        return;
    }
    const bool steep = in.steep;
    if (!steep && kind > 0) return plane.fill(kHostilePairs[kind - 1].first, max, rng);
    const std::int64_t base = rng.uniform(0, max), amp = rng.uniform(0, max / 16 + 2);
    for (int y = 0; y < plane.height(); ++y)
        for (int x = 0; x < plane.width(); ++x) {
            const std::int64_t near_edge = rng.uniform(0, max / 8), v = base + rng.uniform(-amp, amp);
            plane.set(x, y, static_cast<T>(steep ? (rng.uniform(0, 1) ? near_edge : max - near_edge)
                                                 : std::clamp<std::int64_t>(v, 0, max)));
        }
}

// Runs tested and reference on equal planes; `call(fn, mb, step, inputs)`.
template <class T, class Fn, class Call>
void expect_matches_reference(const std::string& what, const Shape& shape, Fn* tested, Fn* reference,
                              std::uint32_t max, int trials, Call call) {
    SCOPED_TRACE(what);
    Rng rng = Rng::for_test(what);
    const int sb = static_cast<int>(sizeof(T));
    std::vector<Layout> layouts;
    for (const Layout& l : layout_sweep(shape.width * sb, true, rng, sb))
        if (l.step != 0) layouts.push_back(l);  // rows that alias would make the order of lines visible
    for (int trial = 0; trial < trials; ++trial) {
        const Layout l = layouts[static_cast<std::size_t>(trial) % layouts.size()];
        const Inputs<T> in = draw_inputs<T>(rng, shape, max);
        // An outer edge with all bS 0 must not be read: leave its margin out of the block.
        const bool outer_off = (in.bs[0] | in.bs[1] | in.bs[2] | in.bs[3]) == 0;
        const int left = outer_off ? 0 : shape.left, above = outer_off ? 0 : shape.above;
        const int w = shape.width - (shape.left - left), h = shape.height - (shape.above - above);
        GuardedPlane<T> got(w, h, l.step, l.misalign), want(w, h, l.step, l.misalign);
        fill(got, rng, max, trial, in, [&](int x, int y) { return x < left || y < above; });
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) want.set(x, y, got.get(x, y));
        const Vek32s step = l.step / sb;
        call(tested, got.data() + above * step + left, step, in);
        call(reference, want.data() + above * step + left, step, in);
        const auto g = samples(got), r = samples(want);
        if (g != r || !got.guard_intact()) {
            std::string bs;
            for (const Vek8u b : in.bs) bs += std::to_string(b) + " ";
            ADD_FAILURE() << "trial " << trial << ", " << l << ", alpha " << +in.alpha[0] << "/" << +in.alpha[1]
                          << ", beta " << +in.beta[0] << "/" << +in.beta[1] << ", bS " << bs
                          << (got.guard_intact() ? "" : "\nwrite outside the block") << "\n"
                          << side_by_side(r.data(), g.data(), w, h, "reference", "tested");
            return;
        }
    }
}

class DeblockKernels : public ::testing::TestWithParam<Level> {
protected:
    const Level level_ = GetParam();
    const DeblockTable at_ = make_deblock_table(level_.flags), below_ = make_deblock_table(level_below(level_).flags);
    const DeblockTable ref_ = make_deblock_table(vek::kCpuNone);

    template <class T, class Fn, class Call>
    void check(const std::string& name, Fn* DeblockTable::*slot, const Shape& shape, std::uint32_t max, int trials,
               Call call) {
        if (!changed_at(at_.*slot, below_.*slot)) return;
        expect_matches_reference<T>(name + "/" + level_.name, shape, at_.*slot, ref_.*slot, max, trials, call);
    }
};

template <class Fn>
struct Slot {
    const char* name;
    Fn* DeblockTable::*slot;
    Shape shape;
};

TEST_P(DeblockKernels, Edges8uMatchReference) {
    const Slot<Deblock8uFn> kSlots[] = {
        {"luma_ver_8u", &DeblockTable::luma_ver_8u, kLumaVer},
        {"luma_hor_8u", &DeblockTable::luma_hor_8u, kLumaHor},
        {"chroma_ver_8u", &DeblockTable::chroma_ver_8u, kChromaVer},
        {"chroma_hor_8u", &DeblockTable::chroma_hor_8u, kChromaHor},
        {"chroma_ver_c2_8u", &DeblockTable::chroma_ver_c2_8u, kC2Ver},
        {"chroma_hor_c2_8u", &DeblockTable::chroma_hor_c2_8u, kC2Hor},
    };
    for (const auto& s : kSlots)
        check<Vek8u>(s.name, s.slot, s.shape, 255, 600,
                     [](Deblock8uFn* fn, Vek8u* mb, Vek32s step, const Inputs<Vek8u>& in) {
                         fn(mb, step, in.alpha, in.beta, in.tc0, in.bs);
                     });
}

// Bit depths 8 to 16 and beyond (the clip bound then stops mattering or wraps); samples of at most
// 12 bits and larger ones take different lanes, so depths 12 and 13 and 12-bit samples under a
// 16-bit clip bound probe the switch and get the most trials.
TEST_P(DeblockKernels, Edges16uMatchReference) {
    const Slot<Deblock16uFn> kSlots[] = {
        {"luma_ver_16u", &DeblockTable::luma_ver_16u, kLumaVer},
        {"luma_hor_16u", &DeblockTable::luma_hor_16u, kLumaHor},
        {"chroma_ver_16u", &DeblockTable::chroma_ver_16u, kChromaVer},
        {"chroma_hor_16u", &DeblockTable::chroma_hor_16u, kChromaHor},
        {"chroma422_ver_16u", &DeblockTable::chroma422_ver_16u, k422Ver},
        {"chroma422_hor_16u", &DeblockTable::chroma422_hor_16u, k422Hor},
    };
    struct Depth {
        int bit_depth;
        std::uint32_t max;
        int trials;
    };
    const Depth kDepths[] = {{8, 255, 120},    {10, 1023, 120},  {12, 4095, 400},  {13, 8191, 400},
                             {14, 16383, 120}, {16, 65535, 120}, {17, 65535, 120}, {16, 4095, 400}};
    for (const auto& [bit_depth, max, trials] : kDepths) {
        const Vek32s clip_max = deblock_clip_max(bit_depth);
        for (const auto& s : kSlots)
            check<Vek16u>(std::string(s.name) + "/depth " + std::to_string(bit_depth) + "/max " + std::to_string(max),
                          s.slot, s.shape, max, trials,
                          [clip_max](Deblock16uFn* fn, Vek16u* mb, Vek32s step, const Inputs<Vek16u>& in) {
                              fn(mb, step, in.alpha, in.beta, in.tc0, in.bs, clip_max);
                          });
    }
}

// The byte chroma filter for every p0, q0 and p1 - q1, with tc above any
// delta and thresholds that let nearly every line through.
TEST_P(DeblockKernels, ChromaBytesEveryDelta) {
    if (!changed_at(at_.chroma_hor_8u, below_.chroma_hor_8u)) return;
    const Vek8u alpha[2] = {255, 255}, beta[2] = {255, 255}, tc0[8] = {254, 254, 254, 254, 254, 254, 254, 254};
    Vek8u bs[16], got[64], want[64];
    std::fill(std::begin(bs), std::end(bs), Vek8u{2});
    int line = 0;
    for (int p0 = 0; p0 < 256; ++p0)
        for (int q0 = 0; q0 < 256; ++q0)
            for (int d = -255; d < 256; ++d) {
                // Line n: column n % 8 of rows -2 .. 1 or (n >= 8) of rows 2 .. 5.
                Vek8u* l = want + (line & 8) * 4 + (line & 7);
                l[0] = static_cast<Vek8u>(std::max(d, 0));
                l[8] = static_cast<Vek8u>(p0);
                l[16] = static_cast<Vek8u>(q0);
                l[24] = static_cast<Vek8u>(l[0] - d);
                if (++line < 16) continue;
                line = 0;
                std::copy(std::begin(want), std::end(want), got);
                at_.chroma_hor_8u(got + 16, 8, alpha, beta, tc0, bs);
                ref_.chroma_hor_8u(want + 16, 8, alpha, beta, tc0, bs);
                if (!std::equal(std::begin(got), std::end(got), want)) {
                    ADD_FAILURE() << "p0 " << p0 << ", q0 " << q0 << ", p1 - q1 up to " << d;
                    return;
                }
            }
}

VEK_INSTANTIATE_LEVELS(DeblockKernels);

}  // namespace
