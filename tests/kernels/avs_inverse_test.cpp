// Differential tests of the AVS inverse transform kernels: every slot a level
// overrides against the reference, bit for bit, over every QP, small and
// overflowing levels, swept destination layouts.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "avs/transform_inv.h"
#include "kernel_compare.h"

namespace {

using namespace vek::avs;
using namespace vek::test;

class AvsInverseKernels : public ::testing::TestWithParam<Level> {};

TEST_P(AvsInverseKernels, MatchReference) {
    const Level level = GetParam();
    const InverseTable at = make_inverse_table(level.flags), below = make_inverse_table(level_below(level).flags);
    const InverseTable ref = make_inverse_table(vek::kCpuNone);
    const InverseKernel slots[3][2] = {{at.full, at.low}, {below.full, below.low}, {ref.full, ref.low}};
    for (int s = 0; s < 2; ++s) {
        if (!changed_at(slots[0][s], slots[1][s])) continue;
        const std::string what = std::string(s ? "low" : "full") + "/" + level.name;
        Rng rng = Rng::for_test(what);
        const auto layouts = layout_sweep(8, false, rng);
        for (int trial = 0; trial < 64 * 20; ++trial) {
            // Levels as in real streams, full 16-bit ones, saturating extremes,
            // mid-sized ones, a lone DC, and rows whose two weight-10 terms of
            // one sign dequantise to about 1650 each: just past where the
            // first pass can leave 16 bits.
            const int qp = trial % 64;
            const double scale = kDequant[qp].mul / static_cast<double>(1 << kDequant[qp].shift);
            std::array<Vek16s, 64> levels{};
            for (int k = 0; k < 64; ++k) {
                const std::int64_t edge = static_cast<std::int64_t>(rng.uniform(1550, 1750) / scale + 0.5);
                const std::int64_t v[] = {rng.coin() ? rng.uniform(-30, 30) : 0, rng.uniform(-32768, 32767),
                                          (k + trial / 64) % 2 ? 32767 : -32768, rng.uniform(-400, 400),
                                          k == 0 ? rng.uniform(-3000, 3000) : 0,
                                          k % 8 == 1 || k % 8 == 2 ? ((k / 8 + trial) % 2 ? edge : -edge) : 0};
                levels[static_cast<std::size_t>(k)] = static_cast<Vek16s>(v[trial / 64 % 6]);
            }
            const Layout layout = layouts[static_cast<std::size_t>(trial) % layouts.size()];
            const std::uint64_t seed = rng.next();
            std::array<std::array<Vek8u, 64>, 2> out;
            bool guards = true;
            for (int pass = 0; pass < 2; ++pass) {
                Rng fill(seed);
                GuardedPlane<Vek8u> dst(8, 8, layout.step, layout.misalign);
                dst.fill(std::array{Pattern::kRandom, Pattern::kZero, Pattern::kMax}[trial % 3], 255, fill);
                slots[pass ? 0 : 2][s](levels.data(), dst.data(), dst.step(), kDequant[qp].mul, kDequant[qp].shift);
                for (int i = 0; i < 64; ++i) out[static_cast<std::size_t>(pass)][static_cast<std::size_t>(i)] = dst.get(i % 8, i / 8);
                guards = guards && dst.guard_intact();
            }
            ASSERT_TRUE(out[0] == out[1] && guards)
                << what << " trial " << trial << ", qp " << qp << ", " << layout << (guards ? "" : ", guard damaged")
                << "\n" << side_by_side(out[0].data(), out[1].data(), 8, 8, "reference", "tested");
        }
    }
}

VEK_INSTANTIATE_LEVELS(AvsInverseKernels);

}  // namespace
