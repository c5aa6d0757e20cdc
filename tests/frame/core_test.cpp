#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>

#include "frame/core.h"
#include "frame/cpu.h"

namespace {

bool aligned64(const void* p) { return (reinterpret_cast<std::uintptr_t>(p) & 63) == 0; }

// Largest cache size the kernel reports through sysfs, 0 when unreadable.
long sysfs_largest_cache() {
    long best = 0;
    for (int i = 0; i < 16; ++i) {
        const std::string dir = "/sys/devices/system/cpu/cpu0/cache/index" + std::to_string(i);
        std::ifstream type(dir + "/type"), size(dir + "/size");
        std::string t, s;
        if (!(type >> t) || !(size >> s)) continue;
        if (t == "Instruction") continue;
        long v = std::stol(s);
        if (s.back() == 'K') v *= 1024;
        if (s.back() == 'M') v *= 1024 * 1024;
        if (v > best) best = v;
    }
    return best;
}

}  // namespace

TEST(CoreMemory, AllocationsAreAlignedAndUsable) {
    for (Vek32s len : {1, 3, 63, 64, 65, 4096, 1 << 20}) {
        auto* p = static_cast<Vek8u*>(vekMalloc(len));
        ASSERT_NE(p, nullptr) << len;
        EXPECT_TRUE(aligned64(p)) << len;
        std::memset(p, 0xA5, static_cast<std::size_t>(len));
        vekFree(p);
    }
    vekFree(nullptr);
}

TEST(CoreMemory, VectorHelpersRefuseCountsBelowOne) {
    for (Vek32s len : {0, -1, -65536, INT32_MIN}) {
        EXPECT_EQ(veksMalloc_8u(len), nullptr) << len;
        EXPECT_EQ(veksMalloc_8s(len), nullptr) << len;
        EXPECT_EQ(veksMalloc_16u(len), nullptr) << len;
    }
    Vek16u* w = veksMalloc_16u(33);
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(aligned64(w));
    for (int i = 0; i < 33; ++i) w[i] = static_cast<Vek16u>(0xFFFF - i);  // 66 bytes usable
    vekiFree(w);
    Vek8s* s = veksMalloc_8s(1);
    ASSERT_NE(s, nullptr);
    veksFree(s);
}

TEST(CoreServices, CacheSizeIsTheLargestCache) {
    EXPECT_EQ(vekGetMaxCacheSizeB(nullptr), vekStsNullPtrErr);
    Vek32s size = -1;
    ASSERT_EQ(vekGetMaxCacheSizeB(&size), vekStsOk);
    EXPECT_GT(size, 0);
    const long expected = sysfs_largest_cache();
    if (expected > 0) {
        EXPECT_EQ(size, expected);
    }
}

TEST(CoreServices, ThreadCountIsAtLeastOne) { EXPECT_GE(ownGetNumThreads(), 1); }

TEST(CoreServices, CpuLevelNames) {
    EXPECT_STREQ(vek::cpu_level_name(vek::kCpuNone), "c");
    EXPECT_STREQ(vek::cpu_level_name(vek::kCpuSse41), "sse41");
    EXPECT_STREQ(vek::cpu_level_name(vek::kCpuSse41 | vek::kCpuAvx2), "avx2");
    // AVX2 is granted only on top of SSE4.1.
    const vek::CpuFlags f = vek::cpu_flags_detect();
    if (f & vek::kCpuAvx2) {
        EXPECT_TRUE(f & vek::kCpuSse41);
    }
#if !VEK_SIMD
    EXPECT_EQ(vek::cpu_flags(), vek::kCpuNone);
#endif
}
