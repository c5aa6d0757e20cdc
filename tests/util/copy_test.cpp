#include <cstdlib>
#include <numeric>

#include "util/guard.h"

namespace {

using namespace vek::util_test;

// The one-dimensional helpers as byte runs: bytes per element, and the value
// they write (-1: the source).
struct RunHelper {
    const char* name;
    VekStatus (*run)(const Vek8u* src, Vek8u* dst, Vek32s len);
    int bytesPerElement, fillValue;
};
const RunHelper kRuns[] = {
    {"veksCopy_8u", veksCopy_8u, 1, -1},
    {"veksCopy_16s", [](const Vek8u* s, Vek8u* d, Vek32s n) {
         return veksCopy_16s(reinterpret_cast<const Vek16s*>(s), reinterpret_cast<Vek16s*>(d), n);
     }, 2, -1},
    {"veksSet_8u", [](const Vek8u*, Vek8u* d, Vek32s n) { return veksSet_8u(7, d, n); }, 1, 7},
    {"veksZero_8u", [](const Vek8u*, Vek8u* d, Vek32s n) { return veksZero_8u(d, n); }, 1, 0},
};

// Pointers before the length, nothing written on error, exactly len elements
// written otherwise.
TEST(UtilRun, ContractAndExactLength) {
    Vek8u src[80];
    std::iota(src, src + 80, 1);
    for (const RunHelper& r : kRuns) {
        SCOPED_TRACE(r.name);
        GuardedRegion none(1, 1, 1);
        EXPECT_EQ(r.run(src, nullptr, 0), vekStsNullPtrErr);
        if (r.fillValue < 0) {  // the fills take no source
            EXPECT_EQ(r.run(nullptr, none.data(), 8), vekStsNullPtrErr);
        }
        for (Vek32s len : {0, INT32_MIN}) EXPECT_EQ(r.run(src, none.data(), len), vekStsSizeErr);
        EXPECT_TRUE(none.untouched());
        for (Vek32s len : {1, 17, 33}) {
            const Vek8u fill = Vek8u(r.fillValue);
            GuardedRegion dst(len * r.bytesPerElement, 1, len * r.bytesPerElement);
            ASSERT_EQ(r.run(src, dst.data(), len), vekStsOk);
            EXPECT_TRUE(r.fillValue < 0 ? dst.intact(src, 1) : dst.intact(&fill)) << len;
        }
    }
}

TEST(UtilCopyRegion, ContractWritesNothingOnError) {
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiCopy_8u_C1R(nullptr, 8, d, 8, {4, 4}));
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiCopy_8u_C1R(kZeros, 8, nullptr, 8, {0, 4}));
    EXPECT_REFUSAL(vekStsSizeErr, vekiCopy_8u_C1R(kZeros, 8, d, 8, {0, 4}));
    EXPECT_REFUSAL(vekStsSizeErr, vekiCopy_8u_C1R(kZeros, 8, d, 8, {4, -1}));
}

// Rows through independent steps; a negative step starts at the last row and
// walks upwards.
TEST(UtilCopyRegion, CopiesRowsThroughStepsIncludingBottomUp) {
    const VekRoi sizes[] = {{1, 1}, {5, 3}, {16, 4}, {13, 6}};
    const Vek32s srcSteps[] = {1, 7, 16, 20}, dstSteps[] = {1, 9, 16, -13};
    for (int i = 0; i < 4; ++i) {
        const VekRoi roi = sizes[i];
        std::vector<Vek8u> src(std::size_t(srcSteps[i]) * roi.height);
        std::iota(src.begin(), src.end(), 3);
        GuardedRegion dst(roi.width, roi.height, std::abs(dstSteps[i]));
        const bool up = dstSteps[i] < 0;
        ASSERT_EQ(vekiCopy_8u_C1R(src.data(), srcSteps[i], up ? &dst.at(0, roi.height - 1) : dst.data(), dstSteps[i], roi),
                  vekStsOk);
        const Vek8u* want = up ? &src[std::size_t(roi.height - 1) * srcSteps[i]] : src.data();
        EXPECT_TRUE(dst.intact(want, up ? -srcSteps[i] : srcSteps[i])) << "case " << i;
    }
}

}  // namespace
