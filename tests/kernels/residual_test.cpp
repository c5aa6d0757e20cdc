// Differential tests of the H.264 residual kernels: every slot a level
// overrides against the reference, bit for bit, over every QP, hostile
// levels, swept prediction and destination layouts, in place and apart, for
// single blocks and pairs.
#include "h264/residual.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

// The luma DC transform rides along: it works in place on the levels alone.
enum Slot { kNoDc, kDcAc, kNoAc, kNoDc2, kDcAc2, kNoAc2, kLumaDc, kSlotCount };
constexpr const char* kSlotNames[] = {"no_dc", "dc_ac", "no_ac", "no_dc2", "dc_ac2", "no_ac2", "luma_dc"};

constexpr bool is_pair(int slot) { return slot >= kNoDc2 && slot <= kNoAc2; }

const void* slot_of(const ResidualTable& t, int s) {
    const auto v = [](auto* fn) { return reinterpret_cast<const void*>(fn); };
    const void* slots[] = {v(t.no_dc), v(t.dc_ac), v(t.no_ac), v(t.no_dc2), v(t.dc_ac2), v(t.no_ac2), v(t.luma_dc)};
    return slots[s];
}

// Levels of one block: small ones as in real streams, full 16-bit ones, and
// the extremes that make every saturating stage clip.
std::array<Vek16s, 16> make_levels(int kind, Rng& rng) {
    std::array<Vek16s, 16> l{};
    for (int k = 0; k < 16; ++k) {
        const std::int64_t v[] = {rng.uniform(-40, 40),          rng.uniform(-32768, 32767),
                                  (k + kind / 6) % 2 ? 32767 : -32768, rng.coin() ? 32767 : -32768,
                                  rng.coin() ? rng.uniform(-3, 3) : 0, k == 0 ? rng.uniform(-2000, 2000) : 0};
        l[k] = static_cast<Vek16s>(v[kind % 6]);
    }
    return l;
}

struct Inputs {
    std::array<Vek16s, 32> levels;
    std::array<Vek16s, 2> dc;
    Layout pred_layout, dst_layout;
    bool in_place;
    int qp;
    Pattern pred_pattern;
};

// Samples and levels after one slot ran; empty when it wrote outside its
// blocks or changed a prediction it only had to read.
std::pair<std::vector<Vek8u>, std::vector<Vek16s>> run(const ResidualTable& t, int slot, const Inputs& in,
                                                      std::uint64_t seed) {
    const int width = is_pair(slot) ? 8 : 4;
    Rng rng(seed);
    GuardedPlane<Vek8u> pred(width, 4, in.pred_layout.step, in.pred_layout.misalign);
    pred.fill(in.pred_pattern, 255, rng);
    GuardedPlane<Vek8u> apart(width, 4, in.dst_layout.step, in.dst_layout.misalign);
    GuardedPlane<Vek8u>& dst = in.in_place ? pred : apart;
    const auto pred_before = pred.snapshot();
    GuardedPlane<Vek16s> coeffs(4 * width, 1, 64, 2 * static_cast<int>(seed % 8));
    for (int k = 0; k < 4 * width; ++k) coeffs.set(k, 0, in.levels[static_cast<std::size_t>(k)]);
    Vek8u *p = pred.data(), *d = dst.data();
    Vek16s* c = coeffs.data();
    switch (slot) {
    case kNoDc: t.no_dc(p, pred.step(), c, d, dst.step(), in.qp); break;
    case kDcAc: t.dc_ac(p, pred.step(), c, in.dc[0], d, dst.step(), in.qp); break;
    case kNoAc: t.no_ac(p, pred.step(), in.dc[0], d, dst.step()); break;
    case kNoDc2: t.no_dc2(p, pred.step(), c, d, dst.step(), in.qp); break;
    case kDcAc2: t.dc_ac2(p, pred.step(), c, in.dc.data(), d, dst.step(), in.qp); break;
    case kNoAc2: t.no_ac2(p, pred.step(), in.dc.data(), d, dst.step()); break;
    default: t.luma_dc(c, in.qp); break;
    }
    if (!pred.guard_intact() || !dst.guard_intact() || !coeffs.guard_intact() ||
        !(in.in_place || pred.unchanged_since(pred_before)))
        return {};
    return {samples(dst), samples(coeffs)};
}

class ResidualKernels : public ::testing::TestWithParam<Level> {};

TEST_P(ResidualKernels, MatchReference) {
    const Level level = GetParam();
    const ResidualTable at = make_residual_table(level.flags), below = make_residual_table(level_below(level).flags);
    const ResidualTable ref = make_residual_table(vek::kCpuNone);
    int compared = 0;
    for (int slot = 0; slot < kSlotCount; ++slot) {
        if (!own(level, changed_at(slot_of(at, slot), slot_of(below, slot)), kSlotNames[slot])) continue;
        ++compared;
        const std::string what = std::string(kSlotNames[slot]) + "/" + level.name;
        SCOPED_TRACE(what);
        Rng rng = Rng::for_test(what);
        const auto layouts = layout_sweep(is_pair(slot) ? 8 : 4, true, rng);
        const Pattern patterns[] = {Pattern::kRandom, Pattern::kZero, Pattern::kMax, Pattern::kAlternating};
        for (int trial = 0; trial < 52 * 24; ++trial) {
            Inputs in{};
            in.qp = trial % 52;
            for (int half = 0; half < 2; ++half) {
                const auto block = make_levels(trial / 52 + half, rng);
                std::copy(block.begin(), block.end(), in.levels.begin() + 16 * half);
                const int kind = static_cast<int>(rng.uniform(0, 3));
                in.dc[static_cast<std::size_t>(half)] =
                    static_cast<Vek16s>(kind == 0 ? 32767 : kind == 1 ? -32768 : rng.uniform(-4000, 4000));
            }
            in.pred_layout = layouts[static_cast<std::size_t>(trial) % layouts.size()];
            in.dst_layout = layouts[static_cast<std::size_t>(trial * 7 + 3) % layouts.size()];
            in.in_place = trial % 3 == 0;
            in.pred_pattern = patterns[(trial / 5) % 4];
            const std::uint64_t seed = rng.next();
            const auto got = run(at, slot, in, seed), want = run(ref, slot, in, seed);
            if (got.first.empty() || got != want) {
                ADD_FAILURE() << "trial " << trial << ", qp " << in.qp << ", dc " << in.dc[0] << " " << in.dc[1]
                              << ", pred " << in.pred_layout << ", dst " << in.dst_layout
                              << (in.in_place ? ", in place" : "") << (got.first.empty() ? "\nwrite outside a block or prediction changed" : "");
                return;
            }
        }
    }
    RecordProperty("kernels_compared", compared);
}

VEK_INSTANTIATE_LEVELS(ResidualKernels);

}  // namespace
