// Differential tests of the chroma interpolation tables: every fraction, several heights and layouts,
// the source exactly what the kind may read, the destination inside a guard band.
#include <gtest/gtest.h>

#include <vector>

#include "h264/interp_chroma.h"
#include "kernel_compare.h"

namespace {

using namespace vek::h264;
using namespace vek::test;

class ChromaInterp : public ::testing::TestWithParam<Level> {
protected:
    const ChromaInterpTable ref_ = make_chroma_interp_table(vek::kCpuNone);
    const ChromaInterpTable below_ = make_chroma_interp_table(level_below(GetParam()).flags);
    const ChromaInterpTable at_ = make_chroma_interp_table(GetParam().flags);
};

// Heights 1 to 16 take the four-row, two-row and single-row steps of the kernels.
TEST_P(ChromaInterp, Kernels8uMatchReference) {
    Rng rng = Rng::for_test("chroma_8u");
    for (int index = 0; index < 16; ++index) {
        if (!changed_at(at_.chroma_8u[index], below_.chroma_8u[index])) continue;
        const int kind = index & 3, w = chroma_class_width(index & 12);
        for (int f = 0; f < 8; ++f) {
            const int dx = (kind & 1) ? (f ? f : 4) : f, dy = (kind & 2) ? (f ? 8 - f : 3) : 0;
            for (int h : {1, 2, 4, 7, 8, 16})
                for (const PatternPair pp : kHostilePairs) {
                    GuardedPlane<Vek8u> src(w + (kind & 1), h + (kind >> 1), 19 + (f & 3) * 16, f);
                    src.fill(pp.first, 255, rng);
                    GuardedPlane<Vek8u> a(w, h, 24), b(w, h, 24);
                    ref_.chroma_8u[index](src.data(), src.step(), a.data(), a.step(), chroma_frac(dx, dy), h);
                    at_.chroma_8u[index](src.data(), src.step(), b.data(), b.step(), chroma_frac(dx, dy), h);
                    ASSERT_TRUE(same_samples(a, b) && b.guard_intact())
                        << "index " << index << " dx " << dx << " dy " << dy << " h " << h << "\n"
                        << plane_grid(a, "reference") << plane_grid(b, "tested");
                }
        }
    }
}

TEST_P(ChromaInterp, Nv12SplittersMatchReference) {
    Rng rng = Rng::for_test("chroma_nv12");
    for (int index = 0; index < 16; ++index) {
        const int kind = index & 3, w = chroma_class_width(index & 12);
        for (int h : {1, 2, 8, 16}) {
            GuardedPlane<Vek8u> src(2 * (w + (kind & 1)), h + (kind >> 1), 37, h & 7);
            src.fill(Pattern::kRandom, 255, rng);
            std::vector<Vek8u> a(2 * kSplitSecond, 0x5A), b(2 * kSplitSecond, 0x5A);
            ref_.nv12touv_8u[index](src.data(), src.step(), a.data(), h);
            at_.nv12touv_8u[index](src.data(), src.step(), b.data(), h);
            ASSERT_EQ(a, b) << "index " << index << " h " << h;
        }
    }
}

TEST_P(ChromaInterp, Kernels16uMatchReference) {
    Rng rng = Rng::for_test("chroma_16u");
    for (int kind = 0; kind <= kChromaKinds; ++kind) {  // kChromaKinds stands for the full-formula kernel
        const bool full = kind == kChromaKinds;
        auto* r = full ? ref_.chroma_16u_full : ref_.chroma_16u[kind];
        auto* t = full ? at_.chroma_16u_full : at_.chroma_16u[kind];
        const int reads = full ? 3 : kind;
        for (int w : {2, 4, 8, 12, 16})
            for (int h : {2, 8, 16})
                for (const PatternPair pp : kHostilePairs) {
                    const int dx = (reads & 1) ? 1 + static_cast<int>(rng.uniform(0, 6)) : 0;
                    const int dy = (reads & 2) ? 1 + static_cast<int>(rng.uniform(0, 6)) : 0;
                    GuardedPlane<Vek16u> src(w + (reads & 1), h + (reads >> 1), 2 * (w + 3), 2);
                    src.fill(pp.first, 65535, rng);
                    GuardedPlane<Vek16u> a(w, h, 2 * w), b(w, h, 2 * w);
                    r(src.data(), src.step() / 2, a.data(), a.step() / 2, dx, dy, w, h);
                    t(src.data(), src.step() / 2, b.data(), b.step() / 2, dx, dy, w, h);
                    ASSERT_TRUE(same_samples(a, b) && b.guard_intact()) << "kind " << kind << " " << w << "x" << h;
                }
    }
}

INSTANTIATE_TEST_SUITE_P(SSE41, ChromaInterp, ::testing::Values(kLevelSse41), LevelName());
INSTANTIATE_TEST_SUITE_P(AVX2, ChromaInterp, ::testing::Values(kLevelAvx2), LevelName());

}  // namespace
