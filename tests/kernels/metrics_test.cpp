// Differential tests of the block-metric tables (SAD, SSD, 16-bit SAD):
// every slot a level overrides against the reference, bit for bit.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kernel_compare.h"
#include "metrics/kernels.h"

namespace {

using namespace vek::metrics;
using namespace vek::test;

constexpr const char* kModeNames[] = {"FF", "FH", "HF", "HH"};

// Geometry of one kernel: the current block, how much more of the reference it
// reads, how many outputs it writes, and whether steps may be zero or negative.
struct Shape {
    int width;            // samples per row of the current block (bytes for interleaved pairs)
    int height;
    int ref_extra_w = 0;  // extra reference columns the mode reads (samples; 2 bytes for pairs)
    int ref_extra_h = 0;
    int outputs = 1;
    bool nonpositive_steps = true;
    bool element_rows = false;  // rows advance by step >> 1 elements (an odd byte step rounds down)
};

// Runs `tested` and `reference` (both void(src, srcStep, ref, refStep, Out*))
// on every hostile pattern pair in swept layouts, then on random ones; stops at
// the first mismatch, write outside the outputs or change of an input.
template <class Sample, class Out, class Tested, class Reference>
void expect_matches_reference(const std::string& what, const Shape& shape, std::uint32_t max_value, Tested tested,
                              Reference reference) {
    Rng rng = Rng::for_test(what);
    // 16-bit rows may start at any byte: steps are in bytes and never rounded.
    const int sb = static_cast<int>(sizeof(Sample));
    const auto src_layouts = layout_sweep(shape.width * sb, shape.nonpositive_steps, rng);
    const auto ref_layouts = layout_sweep((shape.width + shape.ref_extra_w) * sb, shape.nonpositive_steps, rng);
    const std::size_t rounds = std::max(src_layouts.size(), ref_layouts.size()), n_pairs = std::size(kHostilePairs);
    const auto pick = [&rng](const std::vector<Layout>& l) { return l[rng.uniform(0, std::ssize(l) - 1)]; };
    // The planes hold the rows where the kernel will find them; the kernel gets the step as given.
    const auto row_step = [&shape](int step) { return shape.element_rows ? 2 * (step >> 1) : step; };
    for (std::size_t trial = 0; trial < rounds * n_pairs + 64; ++trial) {
        const bool swept = trial < rounds * n_pairs;
        const Layout sl = swept ? src_layouts[trial / n_pairs % src_layouts.size()] : pick(src_layouts);
        const Layout rl = swept ? ref_layouts[(trial / n_pairs * 3 + 1) % ref_layouts.size()] : pick(ref_layouts);
        const PatternPair pp = swept ? kHostilePairs[trial % n_pairs] : PatternPair{Pattern::kRandom, Pattern::kRandom};
        GuardedPlane<Sample> src(shape.width, shape.height, row_step(sl.step), sl.misalign);
        GuardedPlane<Sample> ref(shape.width + shape.ref_extra_w, shape.height + shape.ref_extra_h, row_step(rl.step),
                                 rl.misalign);
        src.fill(pp.first, max_value, rng);
        ref.fill(pp.second, max_value, rng);
        const auto src_before = src.snapshot(), ref_before = ref.snapshot();
        const int out_bytes = shape.outputs * static_cast<int>(sizeof(Out));
        GuardedPlane<Out> got(shape.outputs, 1, out_bytes, int(trial % 4) * 4), want(shape.outputs, 1, out_bytes);
        tested(src.data(), sl.step, ref.data(), rl.step, got.data());
        reference(src.data(), sl.step, ref.data(), rl.step, want.data());
        if (!same_samples(got, want) || !got.guard_intact() || !src.unchanged_since(src_before) ||
            !ref.unchanged_since(ref_before)) {
            ADD_FAILURE() << what << ", trial " << trial << ", patterns " << pattern_name(pp.first) << " / "
                          << pattern_name(pp.second) << ", src " << sl << ", ref " << rl << "\n"
                          << plane_grid(want, "reference") << plane_grid(got, "tested") << plane_grid(src, "current")
                          << plane_grid(ref, "reference block");
            return;
        }
    }
}

// Any kernel type as void(src, srcStep, ref, refStep, Out*).
template <class Fn>
auto as_call(Fn* fn) {
    return [fn](const auto* s, Vek32s ss, const auto* r, Vek32s rs, auto* out) {
        if constexpr (requires { fn(s, ss, r, rs, out, out); }) fn(s, ss, r, rs, &out[0], &out[1]);
        else if constexpr (requires { *out = fn(s, ss, r, rs); }) *out = fn(s, ss, r, rs);
        else fn(s, ss, r, rs, out);
    };
}

class MetricsKernels : public ::testing::TestWithParam<Level> {
protected:
    const Level level_ = GetParam();
    const Level below_ = level_below(GetParam());
    int compared_ = 0;

    // Compares the slot with the reference when the level overrides it. Every
    // slot is filled, and a SIMD level overrides every slot (none is left to
    // the level below, unchecked).
    template <class Sample, class Out, class Fn>
    void check_slot(const std::string& name, Fn* at, Fn* below, Fn* ref, const Shape& shape, std::uint32_t max_value) {
        const std::string what = name + "/" + level_.name;
        ASSERT_NE(at, nullptr) << what;
        if (!own(level_, changed_at(at, below), what)) return;
        expect_matches_reference<Sample, Out>(what, shape, max_value, as_call(at), as_call(ref));
        ++compared_;
    }

    // Every mode of a moded family: HF and HH read `pitch` more columns, FH and HH one more row.
    template <class Sample, class Fn>
    void check_moded(const char* family, const ModeTable<Fn>& at, const ModeTable<Fn>& below, const ModeTable<Fn>& ref,
                     Shape shape, std::uint32_t max_value, int pitch = 1) {
        for (int m = 0; m < kModeCount; ++m) {
            shape.ref_extra_w = (m == kModeHF || m == kModeHH) ? pitch : 0;
            shape.ref_extra_h = (m == kModeFH || m == kModeHH) ? 1 : 0;
            check_slot<Sample, Vek32s>(std::string(family) + "/" + kModeNames[m], at[m], below[m], ref[m], shape,
                                       max_value);
        }
    }

    void TearDown() override { RecordProperty("kernels_compared", compared_); }
};

#define SLOTS(name) #name, at.name, below.name, ref.name

TEST_P(MetricsKernels, Sad8uMatchesReference) {
    const SadTable at = make_sad_table(level_.flags), below = make_sad_table(below_.flags);
    const SadTable ref = make_sad_table(vek::kCpuNone);
    check_moded<Vek8u>(SLOTS(sad16x16), {16, 16}, 255);
    check_moded<Vek8u>(SLOTS(sad16x8), {16, 8}, 255);
    check_moded<Vek8u>(SLOTS(sad8x8), {8, 8}, 255);
    // Interleaved pairs: 16 bytes a row, the right neighbour 2 bytes on; the
    // exported function refuses steps below 1, so only positive steps here.
    check_moded<Vek8u>(SLOTS(sad8x8_c2), {.width = 16, .height = 8, .outputs = 2, .nonpositive_steps = false}, 255, 2);
    check_slot<Vek8u, Vek32s>(SLOTS(sad8x16), {8, 16}, 255);
    check_slot<Vek8u, Vek32s>(SLOTS(sad8x4), {8, 4}, 255);
    check_slot<Vek8u, Vek32s>(SLOTS(sad4x8), {4, 8}, 255);
    check_slot<Vek8u, Vek32s>(SLOTS(sad4x4), {4, 4}, 255);
    check_slot<Vek8u, Vek16u>(SLOTS(sad16x16_blocks8x8), {.width = 16, .height = 16, .outputs = 4}, 255);
    check_slot<Vek8u, Vek16u>(SLOTS(sad16x16_blocks4x4), {.width = 16, .height = 16, .outputs = 16}, 255);
}

TEST_P(MetricsKernels, Ssd8uMatchesReference) {
    const SsdTable at = make_ssd_table(level_.flags), below = make_ssd_table(below_.flags);
    const SsdTable ref = make_ssd_table(vek::kCpuNone);
    check_moded<Vek8u>(SLOTS(ssd8x8), {8, 8}, 255);
    check_moded<Vek8u>(SLOTS(ssd4x4), {4, 4}, 255);
}

// Both 16-bit arithmetics run on full 16-bit data as well as on 15-bit data:
// the wrapped totals above 15 bits are part of the contract.
TEST_P(MetricsKernels, Sad16uMatchesReference) {
    const Sad16Table at = make_sad16_table(level_.flags), below = make_sad16_table(below_.flags);
    const Sad16Table ref = make_sad16_table(vek::kCpuNone);
    for (const std::uint32_t max_value : {65535u, 32767u, 1023u}) {
        SCOPED_TRACE("samples up to " + std::to_string(max_value));
        check_moded<Vek16u>(SLOTS(sad16x16), {16, 16}, max_value);
        check_moded<Vek16u>(SLOTS(sad8x8), {8, 8}, max_value);
        check_moded<Vek16u>(SLOTS(sad4x4), {4, 4}, max_value);
        Shape blocks{.width = 16, .height = 16, .outputs = 4, .element_rows = true};
        check_slot<Vek16u, Vek32u>(SLOTS(sad16x16_blocks8x8), blocks, max_value);
        blocks.outputs = 16;
        check_slot<Vek16u, Vek32u>(SLOTS(sad16x16_blocks4x4), blocks, max_value);
    }
}

#undef SLOTS

VEK_INSTANTIATE_LEVELS(MetricsKernels);

}  // namespace
