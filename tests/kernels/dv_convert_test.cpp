// Differential tests of the full-size DV conversion kernels on random and extreme samples, swept
// destination layouts inside guard bands, the source checked for changes.
#include <gtest/gtest.h>

#include <string>

#include "dv/convert.h"
#include "kernel_compare.h"

namespace {

using namespace vek::dv;
using namespace vek::test;

// A slot run on a source of eight blocks into a destination of `rows` rows.
struct Slot {
    const char* name;
    int width_bytes, rows;
    bool (*overridden)(const ConvertTable& at, const ConvertTable& below);
    void (*call)(const ConvertTable&, const Vek16s* src, Vek8u* dst, Vek32s step);
};

#define SLOT(f, width_bytes, rows, ...)                                                                            \
    {#f, width_bytes, rows, [](const ConvertTable& a, const ConvertTable& b) { return changed_at(a.f, b.f); }, \
     [](const ConvertTable& t, const Vek16s* s, Vek8u* d, Vek32s st) { __VA_ARGS__; }}

const Slot kSlots[] = {
    SLOT(yuv411, 64, 8, t.yuv411(s, d, st)),
    SLOT(yuv411_edge, 32, 16, t.yuv411_edge(s, d, st)),
    SLOT(yuv420, 32, 16, t.yuv420(s, d, st)),
    // Luma from blocks 0 and 3, Cb 7, Cr 4: any four blocks, as the halves of 100 Mbit/s macroblocks use them.
    SLOT(yuv422, 32, 8, t.yuv422(s, s + 3 * 64, s + 7 * 64, s + 4 * 64, d, st)),
};

// Samples: the whole 16-bit range, the range around the clamp, and the
// extremes that make a chroma sum saturate.
Vek16s sample(int trial, Rng& rng) {
    switch (trial % 4) {
    case 0: return static_cast<Vek16s>(rng.uniform(-32768, 32767));
    case 1: return static_cast<Vek16s>(rng.uniform(-300, 300));
    case 2: return static_cast<Vek16s>(rng.coin() ? 32767 - rng.uniform(0, 3) : -32768 + rng.uniform(0, 3));
    default: return static_cast<Vek16s>(rng.uniform(-130, 130));
    }
}

class DvConvertKernels : public ::testing::TestWithParam<Level> {};

TEST_P(DvConvertKernels, MatchReference) {
    const ConvertTable at = make_convert_table(GetParam().flags);
    const ConvertTable below = make_convert_table(level_below(GetParam()).flags);
    const ConvertTable ref = make_convert_table(vek::kCpuNone);
    for (const Slot& slot : kSlots) {
        if (!own(GetParam(), slot.overridden(at, below), slot.name)) continue;
        Rng rng = Rng::for_test(std::string("dv ") + slot.name + GetParam().name);
        for (const Layout& layout : layout_sweep(slot.width_bytes, true, rng)) {
            for (int trial = 0; trial < 8; ++trial) {
                GuardedPlane<Vek16s> src(8 * 64, 1, 8 * 64 * 2, 2 * int(rng.uniform(0, 15)));
                for (int i = 0; i < 8 * 64; ++i) src.set(i, 0, sample(trial, rng));
                const auto before = src.snapshot();
                GuardedPlane<Vek8u> want(slot.width_bytes, slot.rows, layout.step, layout.misalign);
                GuardedPlane<Vek8u> got(slot.width_bytes, slot.rows, layout.step, layout.misalign);
                slot.call(ref, src.data(), want.data(), layout.step);
                slot.call(at, src.data(), got.data(), layout.step);
                ASSERT_TRUE(src.unchanged_since(before)) << slot.name;
                ASSERT_TRUE(got.guard_intact()) << slot.name << " " << layout << " writes at " << got.first_damaged();
                if (layout.step == 0) continue;  // rows overlap: only the last one stands
                ASSERT_TRUE(same_samples(got, want)) << slot.name << " " << layout << " trial " << trial << "\n"
                                                     << plane_grid(want, "reference") << plane_grid(got, "tested");
            }
        }
    }
}

VEK_INSTANTIATE_LEVELS(DvConvertKernels);

}  // namespace
