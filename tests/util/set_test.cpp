#include "util/guard.h"

namespace {

using namespace vek::util;
using namespace vek::util_test;

// Test doubles: a cache query that counts its calls and reports a chosen size
// or failure, and the best kernels of this machine, counting their calls.
struct Watch {
    int queries = 0;
    VekStatus queryStatus = vekStsOk;
    Vek32s cacheSize = 0;
    int calls[kFillKindCount] = {};
} g_watch;
const SetTable kBest = make_set_table(vek::cpu_flags());
const Vek8u kValue = 0x3C;

template <int Kind>
void counting_fill(Vek8u* dst, std::size_t len, Vek8u value) {
    ++g_watch.calls[Kind];
    kBest.fill[Kind](dst, len, value);
}

VekStatus set_watched(Vek8u* dst, Vek32s step, VekRoi roi) {
    static const SetTable counting{{counting_fill<kFillCached>, counting_fill<kFillStream>}};
    const auto query = [](Vek32s* size) {
        ++g_watch.queries;
        *size = g_watch.cacheSize;
        return g_watch.queryStatus;
    };
    return set_region_8u(kValue, dst, step, roi, query, counting);
}

TEST(UtilSet, ContractWritesNothingAndNeverAsks) {
    g_watch = Watch{};
    EXPECT_REFUSAL(vekStsNullPtrErr, set_watched(nullptr, 8, {0, 0}));
    EXPECT_REFUSAL(vekStsSizeErr, set_watched(d, 8, {0, 4}));
    EXPECT_REFUSAL(vekStsSizeErr, set_watched(d, 8, {4, -1}));
    EXPECT_REFUSAL(vekStsNullPtrErr, vekiSet_8u_C1R(9, nullptr, 8, {0, 0}));
    EXPECT_EQ(g_watch.queries, 0);
}

// Which store kind a region gets: folding, the 524288-byte threshold, the
// cache size reached or not, and a failed query. Either kind must give exactly
// the region's bytes, from a misaligned start, and so must the shell.
TEST(UtilSet, PathChoiceAndSameBytes) {
    const struct {
        Vek32s width, height, step;
        VekStatus queryStatus;
        Vek32s cacheSize, queries, streamCalls, cachedCalls;
    } cases[] = {
        {1024, 512, 1024, vekStsOk, 1, 0, 0, 1},         // exactly 524288: no query, one folded row
        {1024, 512, 1040, vekStsOk, 1, 0, 0, 512},       // not folded: row by row
        {524289, 1, 524289, vekStsOk, 524289, 1, 1, 0},  // count reaches the cache size
        {524289, 1, 524289, vekStsOk, 524290, 1, 0, 1},  // one byte short of it
        {1000, 600, 1000, vekStsErr, 1, 1, 0, 1},        // the query fails: ordinary stores
        {1000, 600, 1000, vekStsOk, 1, 1, 1, 0},         // streamed, one folded row
        {1000, 600, 1027, vekStsOk, 600000, 1, 600, 0},  // streamed row by row
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.width << "x" << c.height << " step " << c.step);
        g_watch = Watch{0, c.queryStatus, c.cacheSize};
        GuardedRegion dst(c.width, c.height, c.step, 7), shell = dst;
        ASSERT_EQ(set_watched(dst.data(), c.step, {c.width, c.height}), vekStsOk);
        EXPECT_EQ(g_watch.queries, c.queries);
        EXPECT_EQ(g_watch.calls[kFillStream], c.streamCalls);
        EXPECT_EQ(g_watch.calls[kFillCached], c.cachedCalls);
        EXPECT_TRUE(dst.intact(&kValue));
        ASSERT_EQ(vekiSet_8u_C1R(kValue, shell.data(), c.step, {c.width, c.height}), vekStsOk);
        EXPECT_EQ(shell.mem, dst.mem);
    }
}

// Each level's fill kernels at every start alignment and across the lengths
// where the streaming kernel changes its form.
class UtilFillKernel : public ::testing::TestWithParam<vek::CpuFlags> {};

TEST_P(UtilFillKernel, WritesExactlyTheRun) {
    if ((vek::cpu_flags() & GetParam()) != GetParam()) GTEST_SKIP() << "level not available";
    const SetTable table = make_set_table(GetParam());
    for (int kind = 0; kind < kFillKindCount; ++kind)
        for (Vek32s offset = 0; offset < 16; ++offset)
            for (Vek32s len : {0, 1, 15, 16, 17, 63, 64, 65, 79, 80, 127, 128, 129, 200, 4099}) {
                GuardedRegion dst(len, 1, len + 1, 32 + offset);  // data() misaligned by offset
                table.fill[kind](dst.data(), std::size_t(len), kValue);
                ASSERT_TRUE(dst.intact(&kValue)) << "kind " << kind << " offset " << offset;
            }
}

INSTANTIATE_TEST_SUITE_P(C, UtilFillKernel, ::testing::Values(vek::kCpuNone));
INSTANTIATE_TEST_SUITE_P(SSE41, UtilFillKernel, ::testing::Values(vek::kCpuSse41));

}  // namespace
