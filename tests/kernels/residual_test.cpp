// Differential tests of the H.264 residual kernels: every slot a level
// overrides against the reference, bit for bit, over every QP, hostile
// levels, swept prediction and destination layouts, in place and apart.
#include "h264/residual.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

enum class Slot { kNoDc, kDcAc, kNoAc, kChroma };
constexpr const char* kSlotNames[] = {"no_dc", "dc_ac", "no_ac", "chroma"};

// Levels of one block: small ones as in real streams, full 16-bit ones, and
// the extremes that make every saturating stage clip.
std::array<Vek16s, 16> make_levels(int kind, Rng& rng) {
    std::array<Vek16s, 16> l{};
    for (int k = 0; k < 16; ++k) {
        const std::int64_t v[] = {rng.uniform(-40, 40),
                                  rng.uniform(-32768, 32767),
                                  (k + kind / 6) % 2 ? 32767 : -32768,
                                  rng.coin() ? 32767 : -32768,
                                  rng.coin() ? rng.uniform(-3, 3) : 0,
                                  k == 0 ? rng.uniform(-2000, 2000) : 0};
        l[k] = static_cast<Vek16s>(v[kind % 6]);
    }
    return l;
}

// Runs one slot of the tested and the reference table on the same inputs.
struct Inputs {
    std::array<Vek16s, 16> levels;
    Vek16s dc;
    bool has_dc, ac;
    Layout pred_layout, dst_layout;
    bool in_place;
    int qp;
    Pattern pred_pattern;
};

struct Outputs {
    std::vector<Vek8u> samples;
    std::vector<Vek16s> coeffs;
    bool guards = true, pred_kept = true;
};

Outputs run(const ResidualTable& table, Slot slot, const Inputs& in, std::uint64_t fill_seed) {
    Rng rng(fill_seed);
    GuardedPlane<Vek8u> pred(4, 4, in.pred_layout.step, in.pred_layout.misalign);
    pred.fill(in.pred_pattern, 255, rng);
    GuardedPlane<Vek8u> dst_plane(4, 4, in.dst_layout.step, in.dst_layout.misalign);
    GuardedPlane<Vek8u>& dst = in.in_place ? pred : dst_plane;
    const auto pred_before = pred.snapshot();
    GuardedPlane<Vek16s> coeffs(16, 1, 32, 2 * static_cast<int>(fill_seed % 8));
    for (int k = 0; k < 16; ++k) coeffs.set(k, 0, in.levels[k]);
    const bool no_levels = slot == Slot::kChroma && !in.ac && in.has_dc && (fill_seed & 1);
    Vek16s* c = no_levels ? nullptr : coeffs.data();
    const Vek16s* dc = in.has_dc ? &in.dc : nullptr;
    if (slot == Slot::kNoDc) table.no_dc(pred.data(), pred.step(), c, dst.data(), dst.step(), in.qp);
    if (slot == Slot::kDcAc) table.dc_ac(pred.data(), pred.step(), c, in.dc, dst.data(), dst.step(), in.qp);
    if (slot == Slot::kNoAc) table.no_ac(pred.data(), pred.step(), in.dc, dst.data(), dst.step());
    if (slot == Slot::kChroma) table.chroma(pred.data(), pred.step(), c, dc, in.ac, dst.data(), dst.step(), in.qp);
    Outputs out;
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) out.samples.push_back(dst.get(x, y));
    for (int k = 0; k < 16; ++k) out.coeffs.push_back(coeffs.get(k, 0));
    out.guards = pred.guard_intact() && dst.guard_intact() && coeffs.guard_intact();
    out.pred_kept = in.in_place || pred.unchanged_since(pred_before);
    return out;
}

class ResidualKernels : public ::testing::TestWithParam<Level> {};

TEST_P(ResidualKernels, MatchReference) {
    const Level level = GetParam();
    const ResidualTable at = make_residual_table(level.flags), below = make_residual_table(level_below(level).flags);
    const ResidualTable ref = make_residual_table(vek::kCpuNone);
    const void* slots_at[] = {reinterpret_cast<void*>(at.no_dc), reinterpret_cast<void*>(at.dc_ac),
                              reinterpret_cast<void*>(at.no_ac), reinterpret_cast<void*>(at.chroma)};
    const void* slots_below[] = {reinterpret_cast<void*>(below.no_dc), reinterpret_cast<void*>(below.dc_ac),
                                 reinterpret_cast<void*>(below.no_ac), reinterpret_cast<void*>(below.chroma)};
    int compared = 0;
    for (int s = 0; s < 4; ++s) {
        if (!changed_at(slots_at[s], slots_below[s])) {
            EXPECT_EQ(level.flags, vek::kCpuNone) << kSlotNames[s] << " is left to the level below";
            continue;
        }
        ++compared;
        const Slot slot = static_cast<Slot>(s);
        const std::string what = std::string(kSlotNames[s]) + "/" + level.name;
        SCOPED_TRACE(what);
        Rng rng = Rng::for_test(what);
        const auto layouts = layout_sweep(4, true, rng);
        const Pattern pred_patterns[] = {Pattern::kRandom, Pattern::kZero, Pattern::kMax, Pattern::kAlternating};
        for (int trial = 0; trial < 52 * 24; ++trial) {
            Inputs in;
            in.qp = trial % 52;
            in.levels = make_levels(trial / 52, rng);
            const int dc_kind = static_cast<int>(rng.uniform(0, 3));
            in.dc = static_cast<Vek16s>(dc_kind == 0 ? 32767 : dc_kind == 1 ? -32768 : rng.uniform(-4000, 4000));
            in.has_dc = rng.coin();
            in.ac = rng.coin();
            in.pred_layout = layouts[static_cast<std::size_t>(trial) % layouts.size()];
            in.dst_layout = layouts[static_cast<std::size_t>(trial * 7 + 3) % layouts.size()];
            in.in_place = trial % 3 == 0;
            in.pred_pattern = pred_patterns[(trial / 5) % 4];
            const std::uint64_t fill_seed = rng.next();
            const Outputs got = run(at, slot, in, fill_seed), want = run(ref, slot, in, fill_seed);
            if (got.samples != want.samples || got.coeffs != want.coeffs || !got.guards || !got.pred_kept) {
                ADD_FAILURE() << "trial " << trial << ", qp " << in.qp << ", dc " << in.dc
                              << (in.has_dc ? "" : " (none)") << ", ac " << in.ac << ", pred " << in.pred_layout
                              << ", dst " << in.dst_layout << (in.in_place ? ", in place" : "")
                              << (got.guards ? "" : "\nwrite outside a block")
                              << (got.pred_kept ? "" : "\nprediction changed") << "\nlevels:\n"
                              << side_by_side(in.levels.data(), in.levels.data(), 4, 4, "levels", "levels")
                              << "samples:\n"
                              << side_by_side(want.samples.data(), got.samples.data(), 4, 4, "reference", "tested")
                              << "coefficients after:\n"
                              << side_by_side(want.coeffs.data(), got.coeffs.data(), 4, 4, "reference", "tested");
                return;
            }
        }
    }
    RecordProperty("kernels_compared", compared);
}

VEK_INSTANTIATE_LEVELS(ResidualKernels);

}  // namespace
