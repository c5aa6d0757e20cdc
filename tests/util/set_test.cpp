#include <gtest/gtest.h>

#include <vector>

#include "frame/cpu.h"
#include "util/guard.h"
#include "util/util.h"

using vek::util::kFillCached;
using vek::util::kFillStream;
using vek::util::SetTable;
using vek::util_test::GuardedRegion;

namespace {

// Test doubles: a cache query that counts its calls and reports a chosen
// size or failure, and fill kernels that count the stores of each kind.
struct Watch {
    int queries = 0;
    VekStatus queryStatus = vekStsOk;
    Vek32s cacheSize = 0;
    int calls[vek::util::kFillKindCount] = {};
    std::size_t bytes[vek::util::kFillKindCount] = {};
};
Watch g_watch;

VekStatus fake_query(Vek32s* size) {
    ++g_watch.queries;
    *size = g_watch.cacheSize;
    return g_watch.queryStatus;
}

template <int Kind>
void counting_fill(Vek8u* dst, std::size_t len, Vek8u value) {
    ++g_watch.calls[Kind];
    g_watch.bytes[Kind] += len;
    vek::util::fill_8u_c(dst, len, value);
}

const SetTable kCountingTable{{counting_fill<kFillCached>, counting_fill<kFillStream>}};

TEST(UtilSet, ContractWritesNothingAndNeverAsks) {
    struct Case {
        bool nullDst;
        VekRoi roi;
        VekStatus expected;
    };
    const Case cases[] = {
        {true, {4, 4}, vekStsNullPtrErr}, {true, {0, 0}, vekStsNullPtrErr},
        {false, {0, 4}, vekStsSizeErr},   {false, {4, 0}, vekStsSizeErr},
        {false, {-1, -1}, vekStsSizeErr},
    };
    for (const Case& c : cases) {
        g_watch = Watch{};
        GuardedRegion dst(8, 8, 8);
        EXPECT_EQ(vek::util::set_region_8u(9, c.nullDst ? nullptr : dst.data(), 8, c.roi,
                                           fake_query, kCountingTable),
                  c.expected);
        EXPECT_EQ(vekiSet_8u_C1R(9, c.nullDst ? nullptr : dst.data(), 8, c.roi), c.expected);
        EXPECT_TRUE(dst.untouched());
        EXPECT_EQ(g_watch.queries, 0);
    }
}

// Which store kind a region gets: folding, the 524288-byte threshold, the
// cache size reached or not, and a failed query.
TEST(UtilSet, PathChoice) {
    struct Case {
        Vek32s width, height, step;
        VekStatus queryStatus;
        Vek32s cacheSize;
        int queries, streamCalls, cachedCalls;
    };
    const Case cases[] = {
        {1024, 512, 1024, vekStsOk, 1, 0, 0, 1},         // exactly 524288: no query, one folded row
        {1024, 512, 1040, vekStsOk, 1, 0, 0, 512},       // not folded: row by row
        {524289, 1, 524289, vekStsOk, 524289, 1, 1, 0},  // count reaches the cache size
        {524289, 1, 524289, vekStsOk, 524290, 1, 0, 1},  // one byte short of it
        {1000, 600, 1000, vekStsErr, 1, 1, 0, 1},        // the query fails: ordinary stores
        {1000, 600, 1024, vekStsOk, 600000, 1, 600, 0},  // streamed row by row
    };
    for (const Case& c : cases) {
        g_watch = Watch{};
        g_watch.queryStatus = c.queryStatus;
        g_watch.cacheSize = c.cacheSize;
        GuardedRegion dst(c.width, c.height, c.step, 16);
        ASSERT_EQ(vek::util::set_region_8u(0x3C, dst.data(), c.step, {c.width, c.height},
                                           fake_query, kCountingTable),
                  vekStsOk);
        const std::size_t count = static_cast<std::size_t>(c.width) * c.height;
        EXPECT_EQ(g_watch.queries, c.queries) << c.width << "x" << c.height;
        EXPECT_EQ(g_watch.calls[kFillStream], c.streamCalls) << c.width << "x" << c.height;
        EXPECT_EQ(g_watch.calls[kFillCached], c.cachedCalls) << c.width << "x" << c.height;
        EXPECT_EQ(g_watch.bytes[kFillStream] + g_watch.bytes[kFillCached], count);
        EXPECT_TRUE(dst.inside_equals(0x3C));
        EXPECT_TRUE(dst.outside_intact());
    }
}

// Each level's fill kernels against plain bytes, at every start alignment and
// across the lengths where the streaming kernel changes its form.
class FillKernel : public ::testing::TestWithParam<vek::CpuFlags> {};

TEST_P(FillKernel, MatchesReferenceInsideGuards) {
    if ((vek::cpu_flags() & GetParam()) != GetParam()) GTEST_SKIP() << "level not available";
    const SetTable table = vek::util::make_set_table(GetParam());
    for (int kind = 0; kind < vek::util::kFillKindCount; ++kind) {
        for (Vek32s offset = 0; offset < 16; ++offset) {
            for (Vek32s len : {0, 1, 15, 16, 17, 63, 64, 65, 79, 80, 127, 128, 129, 200, 4099}) {
                GuardedRegion dst(offset + len, 1, offset + len + 1, 32);
                table.fill[kind](dst.data() + offset, static_cast<std::size_t>(len), 0x5E);
                for (Vek32s i = 0; i < offset; ++i)
                    ASSERT_EQ(dst.data()[i], vek::util_test::kSentinel);
                for (Vek32s i = 0; i < len; ++i) {
                    ASSERT_EQ(dst.data()[offset + i], 0x5E)
                        << "kind " << kind << " off " << offset << " len " << len;
                }
                ASSERT_TRUE(dst.outside_intact())
                    << "kind " << kind << " off " << offset << " len " << len;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(C, FillKernel, ::testing::Values(vek::kCpuNone));
INSTANTIATE_TEST_SUITE_P(SSE41, FillKernel, ::testing::Values(vek::kCpuSse41));

// Both store kinds give the same bytes through the driver, on a region beyond
// the threshold with a misaligned start and a gap between rows.
TEST(UtilSet, StreamAndCachedGiveSameBytes) {
    const SetTable table = vek::util::make_set_table(vek::cpu_flags());
    for (Vek32s step : {1283, 1280}) {
        GuardedRegion cached(1280, 450, step, 7);
        GuardedRegion streamed(1280, 450, step, 7);
        g_watch = Watch{};
        g_watch.queryStatus = vekStsErr;
        ASSERT_EQ(
            vek::util::set_region_8u(0xC3, cached.data(), step, {1280, 450}, fake_query, table),
            vekStsOk);
        g_watch.queryStatus = vekStsOk;
        g_watch.cacheSize = 1;
        ASSERT_EQ(
            vek::util::set_region_8u(0xC3, streamed.data(), step, {1280, 450}, fake_query, table),
            vekStsOk);
        EXPECT_EQ(g_watch.queries, 2);
        EXPECT_EQ(cached.mem, streamed.mem);
        EXPECT_TRUE(cached.inside_equals(0xC3));
        EXPECT_TRUE(streamed.outside_intact());
    }
}

TEST(UtilSet, ShellFillsLargeAndSmallRegions) {
    for (VekRoi roi : {VekRoi{3, 2}, VekRoi{2048, 1100}}) {
        GuardedRegion dst(roi.width, roi.height, roi.width + 5);
        ASSERT_EQ(vekiSet_8u_C1R(0x11, dst.data(), dst.step, roi), vekStsOk);
        EXPECT_TRUE(dst.inside_equals(0x11));
        EXPECT_TRUE(dst.outside_intact());
    }
}

}  // namespace
