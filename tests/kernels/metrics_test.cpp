// Differential tests of the block-metric tables (SAD, SSD, 16-bit SAD):
// every slot a level overrides against the reference, bit for bit.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "harness.h"
#include "metrics/kernels.h"

namespace {

using namespace vek::metrics;
using vek::test::GuardedPlane;
using vek::test::Layout;
using vek::test::Level;
using vek::test::Rng;

constexpr const char* kModeNames[] = {"FF", "FH", "HF", "HH"};

// Geometry of one kernel: the current block, how much more of the reference it
// reads, how many outputs it writes, and whether steps may be zero or negative.
struct Shape {
    int width;       // samples per row of the current block (bytes for interleaved pairs)
    int height;
    int ref_extra_w; // extra reference columns the mode reads (samples; 2 bytes for pairs)
    int ref_extra_h;
    int outputs;
    bool nonpositive_steps;
    bool element_rows = false;  // rows advance by step >> 1 elements (an odd byte step rounds down)
};

Shape moded_shape(int w, int h, int mode, int pitch = 1) {
    const bool right = mode == kModeHF || mode == kModeHH;
    const bool down = mode == kModeFH || mode == kModeHH;
    return {w, h, right ? pitch : 0, down ? 1 : 0, 1, true};
}

// Runs `tested` and `reference` (both void(src, srcStep, ref, refStep, Out*))
// on every hostile pattern pair, in swept layouts, plus random trials; stops at
// the first mismatch of a kernel and prints the inputs and both outputs.
template <class Sample, class Out, class Tested, class Reference>
void expect_matches_reference(const std::string& what, const Shape& shape, std::uint32_t max_value,
                              Tested tested, Reference reference) {
    SCOPED_TRACE(what);
    Rng rng = Rng::for_test(what);
    const int sample_bytes = static_cast<int>(sizeof(Sample));
    // 16-bit rows may start at any byte: steps are in bytes and never rounded.
    const auto src_layouts = vek::test::layout_sweep(shape.width * sample_bytes, shape.nonpositive_steps, rng);
    const auto ref_layouts =
        vek::test::layout_sweep((shape.width + shape.ref_extra_w) * sample_bytes, shape.nonpositive_steps, rng);
    const std::size_t rounds = std::max(src_layouts.size(), ref_layouts.size());
    constexpr int kRandomTrials = 64;
    const std::size_t n_pairs = std::size(vek::test::kHostilePairs);
    for (std::size_t trial = 0; trial < rounds * n_pairs + kRandomTrials; ++trial) {
        Layout sl, rl;
        vek::test::PatternPair patterns{vek::test::Pattern::kRandom, vek::test::Pattern::kRandom};
        if (trial < rounds * n_pairs) {
            const std::size_t round = trial / n_pairs;
            sl = src_layouts[round % src_layouts.size()];
            rl = ref_layouts[(round * 3 + 1) % ref_layouts.size()];
            patterns = vek::test::kHostilePairs[trial % n_pairs];
        } else {
            sl = src_layouts[rng.uniform(0, static_cast<std::int64_t>(src_layouts.size()) - 1)];
            rl = ref_layouts[rng.uniform(0, static_cast<std::int64_t>(ref_layouts.size()) - 1)];
        }
        // The planes hold the rows where the kernel will find them; the kernel gets the step as given.
        const auto row_step = [&shape](int step) { return shape.element_rows ? 2 * (step >> 1) : step; };
        GuardedPlane<Sample> src(shape.width, shape.height, row_step(sl.step), sl.misalign);
        GuardedPlane<Sample> ref(shape.width + shape.ref_extra_w, shape.height + shape.ref_extra_h, row_step(rl.step),
                                 rl.misalign);
        src.fill(patterns.first, max_value, rng);
        ref.fill(patterns.second, max_value, rng);
        const auto src_before = src.snapshot();
        const auto ref_before = ref.snapshot();
        const int out_bytes = shape.outputs * static_cast<int>(sizeof(Out));
        GuardedPlane<Out> got(shape.outputs, 1, out_bytes, static_cast<int>(trial % 4) * 4);
        GuardedPlane<Out> want(shape.outputs, 1, out_bytes);
        tested(src.data(), sl.step, ref.data(), rl.step, got.data());
        reference(src.data(), sl.step, ref.data(), rl.step, want.data());

        std::vector<Out> g(shape.outputs), w(shape.outputs);
        for (int i = 0; i < shape.outputs; ++i) {
            g[i] = got.get(i, 0);
            w[i] = want.get(i, 0);
        }
        const bool same = g == w;
        const bool guard = got.guard_intact();
        const bool inputs_kept = src.unchanged_since(src_before) && ref.unchanged_since(ref_before);
        if (!same || !guard || !inputs_kept) {
            const int grid_w = shape.outputs == 16 ? 4 : (shape.outputs == 4 ? 2 : shape.outputs);
            ADD_FAILURE() << "trial " << trial << ", patterns " << vek::test::pattern_name(patterns.first) << " / "
                          << vek::test::pattern_name(patterns.second) << ", src " << sl << ", ref " << rl
                          << (guard ? "" : "\nwrite outside the output block")
                          << (inputs_kept ? "" : "\ninput changed") << "\n"
                          << vek::test::side_by_side(w.data(), g.data(), grid_w, shape.outputs / grid_w,
                                                     "reference", "tested")
                          << vek::test::plane_grid(src, "current") << vek::test::plane_grid(ref, "reference");
            return;
        }
    }
}

template <class Fn>
auto scalar_call(Fn* fn) {
    return [fn](const auto* s, Vek32s ss, const auto* r, Vek32s rs, Vek32s* out) { *out = fn(s, ss, r, rs); };
}

auto pair_call(SadPair8uFn* fn) {
    return [fn](const Vek8u* s, Vek32s ss, const Vek8u* r, Vek32s rs, Vek32s* out) {
        fn(s, ss, r, rs, &out[0], &out[1]);
    };
}

template <class Fn>
auto blocks_call(Fn* fn) {
    return [fn](const auto* s, Vek32s ss, const auto* r, Vek32s rs, auto* out) { fn(s, ss, r, rs, out); };
}

class MetricsKernels : public ::testing::TestWithParam<Level> {
protected:
    const Level level_ = GetParam();
    const Level below_ = vek::test::level_below(GetParam());
    int compared_ = 0;

    // Compares each mode of a moded family the level overrides.
    template <class Sample, class Fn, class Call>
    void check_moded(const char* family, const ModeTable<Fn>& at, const ModeTable<Fn>& below,
                     const ModeTable<Fn>& ref, int w, int h, std::uint32_t max_value, Call call, int pitch = 1,
                     int outputs = 1, bool nonpositive = true) {
        for (int m = 0; m < kModeCount; ++m) {
            if (!vek::test::changed_at(at[m], below[m])) continue;
            Shape shape = moded_shape(w, h, m, pitch);
            shape.outputs = outputs;
            shape.nonpositive_steps = nonpositive;
            const std::string what = std::string(family) + "/" + kModeNames[m] + "/" + level_.name;
            expect_matches_reference<Sample, Vek32s>(what, shape, max_value, call(at[m]), call(ref[m]));
            ++compared_;
        }
    }

    template <class Sample, class Out, class Fn, class Call>
    void check_fixed(const char* family, Fn* at, Fn* below, Fn* ref, int w, int h, int outputs,
                     std::uint32_t max_value, Call call, bool element_rows = false) {
        if (!vek::test::changed_at(at, below)) return;
        const std::string what = std::string(family) + "/" + level_.name;
        expect_matches_reference<Sample, Out>(what, {w, h, 0, 0, outputs, true, element_rows}, max_value, call(at),
                                              call(ref));
        ++compared_;
    }

    void TearDown() override { RecordProperty("kernels_compared", compared_); }
};

TEST_P(MetricsKernels, Sad8uMatchesReference) {
    const SadTable at = make_sad_table(level_.flags);
    const SadTable below = make_sad_table(below_.flags);
    const SadTable ref = make_sad_table(vek::kCpuNone);
    const auto scalar = [](Sad8uFn* fn) { return scalar_call(fn); };
    check_moded<Vek8u>("sad16x16", at.sad16x16, below.sad16x16, ref.sad16x16, 16, 16, 255, scalar);
    check_moded<Vek8u>("sad16x8", at.sad16x8, below.sad16x8, ref.sad16x8, 16, 8, 255, scalar);
    check_moded<Vek8u>("sad8x8", at.sad8x8, below.sad8x8, ref.sad8x8, 8, 8, 255, scalar);
    // Interleaved pairs: 16 bytes a row, the right neighbour 2 bytes on; the
    // exported function refuses steps below 1, so only positive steps here.
    check_moded<Vek8u>("sad8x8_c2", at.sad8x8_c2, below.sad8x8_c2, ref.sad8x8_c2, 16, 8, 255, pair_call, 2, 2,
                       false);
    check_fixed<Vek8u, Vek32s>("sad8x16", at.sad8x16, below.sad8x16, ref.sad8x16, 8, 16, 1, 255, scalar);
    check_fixed<Vek8u, Vek32s>("sad8x4", at.sad8x4, below.sad8x4, ref.sad8x4, 8, 4, 1, 255, scalar);
    check_fixed<Vek8u, Vek32s>("sad4x8", at.sad4x8, below.sad4x8, ref.sad4x8, 4, 8, 1, 255, scalar);
    check_fixed<Vek8u, Vek32s>("sad4x4", at.sad4x4, below.sad4x4, ref.sad4x4, 4, 4, 1, 255, scalar);
    const auto blocks = [](SadBlocks8uFn* fn) { return blocks_call(fn); };
    check_fixed<Vek8u, Vek16u>("sad16x16_blocks8x8", at.sad16x16_blocks8x8, below.sad16x16_blocks8x8,
                               ref.sad16x16_blocks8x8, 16, 16, 4, 255, blocks);
    check_fixed<Vek8u, Vek16u>("sad16x16_blocks4x4", at.sad16x16_blocks4x4, below.sad16x16_blocks4x4,
                               ref.sad16x16_blocks4x4, 16, 16, 16, 255, blocks);
}

TEST_P(MetricsKernels, Ssd8uMatchesReference) {
    const SsdTable at = make_ssd_table(level_.flags);
    const SsdTable below = make_ssd_table(below_.flags);
    const SsdTable ref = make_ssd_table(vek::kCpuNone);
    const auto scalar = [](Ssd8uFn* fn) { return scalar_call(fn); };
    check_moded<Vek8u>("ssd8x8", at.ssd8x8, below.ssd8x8, ref.ssd8x8, 8, 8, 255, scalar);
    check_moded<Vek8u>("ssd4x4", at.ssd4x4, below.ssd4x4, ref.ssd4x4, 4, 4, 255, scalar);
}

// Both 16-bit arithmetics run on full 16-bit data as well as on 15-bit data:
// the wrapped totals above 15 bits are part of the contract.
TEST_P(MetricsKernels, Sad16uMatchesReference) {
    const Sad16Table at = make_sad16_table(level_.flags);
    const Sad16Table below = make_sad16_table(below_.flags);
    const Sad16Table ref = make_sad16_table(vek::kCpuNone);
    const auto scalar = [](Sad16uFn* fn) { return scalar_call(fn); };
    const auto blocks = [](SadBlocks16uFn* fn) { return blocks_call(fn); };
    for (const std::uint32_t max_value : {65535u, 32767u, 1023u}) {
        SCOPED_TRACE("samples up to " + std::to_string(max_value));
        check_moded<Vek16u>("sad16x16_16u", at.sad16x16, below.sad16x16, ref.sad16x16, 16, 16, max_value, scalar);
        check_moded<Vek16u>("sad8x8_16u", at.sad8x8, below.sad8x8, ref.sad8x8, 8, 8, max_value, scalar);
        check_moded<Vek16u>("sad4x4_16u", at.sad4x4, below.sad4x4, ref.sad4x4, 4, 4, max_value, scalar);
        check_fixed<Vek16u, Vek32u>("sad16x16_blocks8x8_16u", at.sad16x16_blocks8x8, below.sad16x16_blocks8x8,
                                    ref.sad16x16_blocks8x8, 16, 16, 4, max_value, blocks, true);
        check_fixed<Vek16u, Vek32u>("sad16x16_blocks4x4_16u", at.sad16x16_blocks4x4, below.sad16x16_blocks4x4,
                                    ref.sad16x16_blocks4x4, 16, 16, 16, max_value, blocks, true);
    }
}

// Every slot of every table is filled at every level, and each SIMD level
// provides its own kernel for every slot (none is left to the level below).
TEST_P(MetricsKernels, EverySlotFilledAndOverridden) {
    const bool simd = level_.flags != vek::kCpuNone;
    std::vector<std::pair<std::string, bool>> slots;  // name, changed at this level
    const auto note = [&](const std::string& name, auto* at, auto* below) {
        EXPECT_NE(at, nullptr) << name;
        slots.emplace_back(name, vek::test::changed_at(at, below));
    };
    {
        const SadTable a = make_sad_table(level_.flags), b = make_sad_table(below_.flags);
        for (int m = 0; m < kModeCount; ++m) {
            note(std::string("sad16x16/") + kModeNames[m], a.sad16x16[m], b.sad16x16[m]);
            note(std::string("sad16x8/") + kModeNames[m], a.sad16x8[m], b.sad16x8[m]);
            note(std::string("sad8x8/") + kModeNames[m], a.sad8x8[m], b.sad8x8[m]);
            note(std::string("sad8x8_c2/") + kModeNames[m], a.sad8x8_c2[m], b.sad8x8_c2[m]);
        }
        note("sad8x16", a.sad8x16, b.sad8x16);
        note("sad8x4", a.sad8x4, b.sad8x4);
        note("sad4x8", a.sad4x8, b.sad4x8);
        note("sad4x4", a.sad4x4, b.sad4x4);
        note("sad16x16_blocks8x8", a.sad16x16_blocks8x8, b.sad16x16_blocks8x8);
        note("sad16x16_blocks4x4", a.sad16x16_blocks4x4, b.sad16x16_blocks4x4);
    }
    {
        const SsdTable a = make_ssd_table(level_.flags), b = make_ssd_table(below_.flags);
        for (int m = 0; m < kModeCount; ++m) {
            note(std::string("ssd8x8/") + kModeNames[m], a.ssd8x8[m], b.ssd8x8[m]);
            note(std::string("ssd4x4/") + kModeNames[m], a.ssd4x4[m], b.ssd4x4[m]);
        }
    }
    {
        const Sad16Table a = make_sad16_table(level_.flags), b = make_sad16_table(below_.flags);
        for (int m = 0; m < kModeCount; ++m) {
            note(std::string("sad16x16_16u/") + kModeNames[m], a.sad16x16[m], b.sad16x16[m]);
            note(std::string("sad8x8_16u/") + kModeNames[m], a.sad8x8[m], b.sad8x8[m]);
            note(std::string("sad4x4_16u/") + kModeNames[m], a.sad4x4[m], b.sad4x4[m]);
        }
        note("sad16x16_blocks8x8_16u", a.sad16x16_blocks8x8, b.sad16x16_blocks8x8);
        note("sad16x16_blocks4x4_16u", a.sad16x16_blocks4x4, b.sad16x16_blocks4x4);
    }
    for (const auto& [name, changed] : slots) EXPECT_EQ(changed, simd) << name;
}

INSTANTIATE_TEST_SUITE_P(C, MetricsKernels, ::testing::Values(vek::test::kLevelC), vek::test::LevelName{});
INSTANTIATE_TEST_SUITE_P(SSE41, MetricsKernels, ::testing::Values(vek::test::kLevelSse41),
                         vek::test::LevelName{});
INSTANTIATE_TEST_SUITE_P(AVX2, MetricsKernels, ::testing::Values(vek::test::kLevelAvx2), vek::test::LevelName{});

}  // namespace
