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

enum class Slot { kNoDc, kDcAc, kNoAc, kChroma, kNoDc2, kDcAc2, kNoAc2 };
constexpr const char* kSlotNames[] = {"no_dc", "dc_ac", "no_ac", "chroma", "no_dc2", "dc_ac2", "no_ac2"};
constexpr int kSlotCount = 7;

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

// Runs one slot of the tested and the reference table on the same inputs; a
// pair slot works on an 8x4 area with both blocks' levels and DCs.
struct Inputs {
    std::array<Vek16s, 32> levels;
    std::array<Vek16s, 2> dc;
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
    const int width = slot >= Slot::kNoDc2 ? 8 : 4;
    Rng rng(fill_seed);
    GuardedPlane<Vek8u> pred(width, 4, in.pred_layout.step, in.pred_layout.misalign);
    pred.fill(in.pred_pattern, 255, rng);
    GuardedPlane<Vek8u> dst_plane(width, 4, in.dst_layout.step, in.dst_layout.misalign);
    GuardedPlane<Vek8u>& dst = in.in_place ? pred : dst_plane;
    const auto pred_before = pred.snapshot();
    GuardedPlane<Vek16s> coeffs(4 * width, 1, 64, 2 * static_cast<int>(fill_seed % 8));
    for (int k = 0; k < 4 * width; ++k) coeffs.set(k, 0, in.levels[static_cast<std::size_t>(k)]);
    const bool no_levels = slot == Slot::kChroma && !in.ac && in.has_dc && (fill_seed & 1);
    Vek16s* c = no_levels ? nullptr : coeffs.data();
    const Vek16s* dc = in.has_dc ? in.dc.data() : nullptr;
    Vek8u *p = pred.data(), *d = dst.data();
    switch (slot) {
    case Slot::kNoDc: table.no_dc(p, pred.step(), c, d, dst.step(), in.qp); break;
    case Slot::kDcAc: table.dc_ac(p, pred.step(), c, in.dc[0], d, dst.step(), in.qp); break;
    case Slot::kNoAc: table.no_ac(p, pred.step(), in.dc[0], d, dst.step()); break;
    case Slot::kChroma: table.chroma(p, pred.step(), c, dc, in.ac, d, dst.step(), in.qp); break;
    case Slot::kNoDc2: table.no_dc2(p, pred.step(), c, d, dst.step(), in.qp); break;
    case Slot::kDcAc2: table.dc_ac2(p, pred.step(), c, in.dc.data(), d, dst.step(), in.qp); break;
    case Slot::kNoAc2: table.no_ac2(p, pred.step(), in.dc.data(), d, dst.step()); break;
    }
    Outputs out;
    out.samples = samples(dst);
    for (int k = 0; k < 4 * width; ++k) out.coeffs.push_back(coeffs.get(k, 0));
    out.guards = pred.guard_intact() && dst.guard_intact() && coeffs.guard_intact();
    out.pred_kept = in.in_place || pred.unchanged_since(pred_before);
    return out;
}

class ResidualKernels : public ::testing::TestWithParam<Level> {};

TEST_P(ResidualKernels, MatchReference) {
    const Level level = GetParam();
    const ResidualTable at = make_residual_table(level.flags), below = make_residual_table(level_below(level).flags);
    const ResidualTable ref = make_residual_table(vek::kCpuNone);
    const auto slots = [](const ResidualTable& t) {
        return std::array<const void*, kSlotCount>{
            reinterpret_cast<const void*>(t.no_dc),  reinterpret_cast<const void*>(t.dc_ac),
            reinterpret_cast<const void*>(t.no_ac),  reinterpret_cast<const void*>(t.chroma),
            reinterpret_cast<const void*>(t.no_dc2), reinterpret_cast<const void*>(t.dc_ac2),
            reinterpret_cast<const void*>(t.no_ac2)};
    };
    const auto slots_at = slots(at), slots_below = slots(below);
    int compared = 0;
    for (int s = 0; s < kSlotCount; ++s) {
        if (!changed_at(slots_at[s], slots_below[s])) {
            EXPECT_EQ(level.flags, vek::kCpuNone) << kSlotNames[s] << " is left to the level below";
            continue;
        }
        ++compared;
        const Slot slot = static_cast<Slot>(s);
        const std::string what = std::string(kSlotNames[s]) + "/" + level.name;
        SCOPED_TRACE(what);
        Rng rng = Rng::for_test(what);
        const auto layouts = layout_sweep(slot >= Slot::kNoDc2 ? 8 : 4, true, rng);
        const Pattern pred_patterns[] = {Pattern::kRandom, Pattern::kZero, Pattern::kMax, Pattern::kAlternating};
        for (int trial = 0; trial < 52 * 24; ++trial) {
            Inputs in;
            in.qp = trial % 52;
            for (int half = 0; half < 2; ++half) {
                const auto block = make_levels(trial / 52 + half, rng);
                std::copy(block.begin(), block.end(), in.levels.begin() + 16 * half);
                const int dc_kind = static_cast<int>(rng.uniform(0, 3));
                in.dc[static_cast<std::size_t>(half)] =
                    static_cast<Vek16s>(dc_kind == 0 ? 32767 : dc_kind == 1 ? -32768 : rng.uniform(-4000, 4000));
            }
            in.has_dc = rng.coin();
            in.ac = rng.coin();
            in.pred_layout = layouts[static_cast<std::size_t>(trial) % layouts.size()];
            in.dst_layout = layouts[static_cast<std::size_t>(trial * 7 + 3) % layouts.size()];
            in.in_place = trial % 3 == 0;
            in.pred_pattern = pred_patterns[(trial / 5) % 4];
            const std::uint64_t fill_seed = rng.next();
            const Outputs got = run(at, slot, in, fill_seed), want = run(ref, slot, in, fill_seed);
            if (got.samples != want.samples || got.coeffs != want.coeffs || !got.guards || !got.pred_kept) {
                const int width = static_cast<int>(want.samples.size()) / 4;
                ADD_FAILURE() << "trial " << trial << ", qp " << in.qp << ", dc " << in.dc[0] << " " << in.dc[1]
                              << (in.has_dc ? "" : " (none)") << ", ac " << in.ac << ", pred " << in.pred_layout
                              << ", dst " << in.dst_layout << (in.in_place ? ", in place" : "")
                              << (got.guards ? "" : "\nwrite outside a block")
                              << (got.pred_kept ? "" : "\nprediction changed") << "\nlevels:\n"
                              << side_by_side(in.levels.data(), in.levels.data(), 16, width / 4, "levels", "levels")
                              << "samples:\n"
                              << side_by_side(want.samples.data(), got.samples.data(), width, 4, "reference",
                                              "tested")
                              << "coefficients after:\n"
                              << side_by_side(want.coeffs.data(), got.coeffs.data(), 16, width / 4, "reference",
                                              "tested");
                return;
            }
        }
    }
    RecordProperty("kernels_compared", compared);
}

// The luma DC transform in place, every QP, on the level kinds above (full
// 16-bit and extreme levels make every pass wrap).
TEST_P(ResidualKernels, LumaDcMatchesReference) {
    const Level level = GetParam();
    const ResidualTable at = make_residual_table(level.flags), below = make_residual_table(level_below(level).flags);
    if (!changed_at(at.luma_dc, below.luma_dc)) return;
    const ResidualTable ref = make_residual_table(vek::kCpuNone);
    Rng rng = Rng::for_test(std::string("luma_dc/") + level.name);
    for (int trial = 0; trial < 52 * 24; ++trial) {
        const int qp = trial % 52;
        const std::array<Vek16s, 16> levels = make_levels(trial / 52, rng);
        std::array<Vek16s, 16> got = levels, want = levels;
        at.luma_dc(got.data(), qp);
        ref.luma_dc(want.data(), qp);
        ASSERT_EQ(got, want) << "trial " << trial << ", qp " << qp << "\n"
                             << side_by_side(want.data(), got.data(), 4, 4, "reference", "tested");
    }
}

VEK_INSTANTIATE_LEVELS(ResidualKernels);

}  // namespace
