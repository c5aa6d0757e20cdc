#include <gtest/gtest.h>

#include <functional>
#include <numeric>

#include "util/guard.h"
#include "util/util.h"

using vek::util_test::GuardedRegion;

namespace {

// The one-dimensional helpers share one contract: pointers, then len below 1.
using RunFn = std::function<VekStatus(const Vek8u* src, Vek8u* dst, Vek32s len)>;
struct RunHelper {
    const char* name;
    RunFn run;
    int bytesPerElement;
    int fillValue;  // -1: copies the source; otherwise the source is not an argument
};

const RunHelper kRunHelpers[] = {
    {"veksCopy_8u", [](const Vek8u* s, Vek8u* d, Vek32s n) { return veksCopy_8u(s, d, n); }, 1, -1},
    {"veksCopy_16s",
     [](const Vek8u* s, Vek8u* d, Vek32s n) {
         return veksCopy_16s(reinterpret_cast<const Vek16s*>(s), reinterpret_cast<Vek16s*>(d), n);
     },
     2, -1},
    {"veksSet_8u", [](const Vek8u*, Vek8u* d, Vek32s n) { return veksSet_8u(7, d, n); }, 1, 7},
    {"veksZero_8u", [](const Vek8u*, Vek8u* d, Vek32s n) { return veksZero_8u(d, n); }, 1, 0},
};

TEST(UtilRun, ContractWritesNothingOnError) {
    struct Case {
        bool nullSrc, nullDst;
        Vek32s len;
        VekStatus expected;
    };
    const Case cases[] = {
        {true, false, 8, vekStsNullPtrErr},       {false, true, 8, vekStsNullPtrErr},
        {false, true, 0, vekStsNullPtrErr},  // pointers come before the length
        {false, false, 0, vekStsSizeErr},         {false, false, -1, vekStsSizeErr},
        {false, false, INT32_MIN, vekStsSizeErr},
    };
    alignas(16) Vek8u src[64];
    std::iota(src, src + 64, 1);
    for (const RunHelper& h : kRunHelpers) {
        for (const Case& c : cases) {
            if (c.nullSrc && h.fillValue >= 0) continue;
            GuardedRegion dst(32, 1, 32);
            const VekStatus st =
                h.run(c.nullSrc ? nullptr : src, c.nullDst ? nullptr : dst.data(), c.len);
            EXPECT_EQ(st, c.expected) << h.name << " len " << c.len;
            EXPECT_TRUE(dst.untouched()) << h.name << " len " << c.len;
        }
    }
}

TEST(UtilRun, WritesExactlyLenElements) {
    Vek8u src[80];
    std::iota(src, src + 80, 1);
    for (const RunHelper& h : kRunHelpers) {
        for (Vek32s len : {1, 2, 15, 16, 17, 33}) {
            const Vek32s bytes = len * h.bytesPerElement;
            GuardedRegion dst(bytes, 1, bytes, 48);
            ASSERT_EQ(h.run(src + 1, dst.data(), len), vekStsOk) << h.name;
            for (Vek32s i = 0; i < bytes; ++i) {
                EXPECT_EQ(dst.data()[i], h.fillValue < 0 ? src[1 + i] : h.fillValue)
                    << h.name << " " << i;
            }
            EXPECT_TRUE(dst.outside_intact()) << h.name << " len " << len;
        }
    }
}

TEST(UtilCopyRegion, ContractWritesNothingOnError) {
    struct Case {
        bool nullSrc, nullDst;
        VekRoi roi;
        VekStatus expected;
    };
    const Case cases[] = {
        {true, false, {4, 4}, vekStsNullPtrErr}, {false, true, {0, 4}, vekStsNullPtrErr},
        {false, false, {0, 4}, vekStsSizeErr},   {false, false, {4, 0}, vekStsSizeErr},
        {false, false, {-3, 4}, vekStsSizeErr},  {false, false, {4, -1}, vekStsSizeErr},
    };
    Vek8u src[64] = {};
    for (const Case& c : cases) {
        GuardedRegion dst(8, 8, 8);
        EXPECT_EQ(vekiCopy_8u_C1R(c.nullSrc ? nullptr : src, 8, c.nullDst ? nullptr : dst.data(), 8,
                                  c.roi),
                  c.expected);
        EXPECT_TRUE(dst.untouched());
    }
}

TEST(UtilCopyRegion, CopiesRowsThroughStepsIncludingBottomUp) {
    struct Case {
        Vek32s width, height, srcStep, dstStep;
    };
    for (const Case c :
         {Case{1, 1, 1, 1}, Case{5, 3, 7, 9}, Case{16, 4, 16, 16}, Case{13, 6, 20, -13}}) {
        std::vector<Vek8u> src(static_cast<std::size_t>(c.srcStep) * c.height);
        std::iota(src.begin(), src.end(), 3);
        const Vek32s absDst = c.dstStep < 0 ? -c.dstStep : c.dstStep;
        GuardedRegion dst(c.width, c.height, absDst);
        // A negative step starts at the last row and walks upwards.
        Vek8u* start = c.dstStep < 0 ? &dst.at(0, c.height - 1) : dst.data();
        ASSERT_EQ(vekiCopy_8u_C1R(src.data(), c.srcStep, start, c.dstStep, {c.width, c.height}),
                  vekStsOk);
        for (Vek32s y = 0; y < c.height; ++y) {
            const Vek32s dy = c.dstStep < 0 ? c.height - 1 - y : y;
            for (Vek32s x = 0; x < c.width; ++x) {
                EXPECT_EQ(dst.at(x, dy), src[static_cast<std::size_t>(y) * c.srcStep + x])
                    << x << "," << y;
            }
        }
        EXPECT_TRUE(dst.outside_intact()) << c.width << "x" << c.height;
    }
}

}  // namespace
