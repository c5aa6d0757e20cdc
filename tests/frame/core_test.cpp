#include "frame/core.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>

#include "frame/cpu.h"

namespace {

bool aligned64(const void* p) { return (reinterpret_cast<std::uintptr_t>(p) & 63) == 0; }

// Every allocation is aligned to 64 bytes and as long as asked (the sanitizer
// build checks the writes); the vector helpers give null for counts below 1.
TEST(CoreMemory, AlignedUsableAndNullBelowOne) {
    for (Vek32s len : {1, 3, 63, 64, 65, 4096, 1 << 20}) {
        void* blocks[4] = {vekMalloc(len), veksMalloc_8u(len), veksMalloc_8s(len), veksMalloc_16u(len)};
        for (int i = 0; i < 4; ++i) {
            ASSERT_TRUE(blocks[i] && aligned64(blocks[i])) << "allocator " << i << " len " << len;
            std::memset(blocks[i], 0xA5, std::size_t(len) * (i == 3 ? 2 : 1));
        }
        vekFree(blocks[0]), veksFree(blocks[1]), veksFree(blocks[2]), vekiFree(blocks[3]);
    }
    vekFree(nullptr);
    for (Vek32s len : {0, -1, INT32_MIN})
        EXPECT_TRUE(!veksMalloc_8u(len) && !veksMalloc_8s(len) && !veksMalloc_16u(len)) << len;
    EXPECT_EQ(veksMalloc_16u(0x40000000), nullptr);  // 2^31 bytes: no 32-bit count
}

// The largest data or unified cache the kernel reports through sysfs.
TEST(CoreServices, CacheSizeIsTheLargestCache) {
    long expected = 0;
    for (int i = 0; i < 16; ++i) {
        const std::string dir = "/sys/devices/system/cpu/cpu0/cache/index" + std::to_string(i);
        std::ifstream type(dir + "/type"), size(dir + "/size");
        std::string t, s;
        if (!(type >> t) || !(size >> s) || t == "Instruction") continue;
        expected = std::max(expected, std::stol(s) << (s.back() == 'K' ? 10 : s.back() == 'M' ? 20 : 0));
    }
    Vek32s size = -1;
    EXPECT_EQ(vekGetMaxCacheSizeB(nullptr), vekStsNullPtrErr);
    ASSERT_EQ(vekGetMaxCacheSizeB(&size), vekStsOk);
    EXPECT_EQ(size, expected > 0 ? expected : std::max(size, 1));
}

TEST(CoreServices, ThreadsAndCpuLevels) {
    EXPECT_GE(ownGetNumThreads(), 1);
    EXPECT_STREQ(vek::cpu_level_name(vek::kCpuNone), "c");
    EXPECT_STREQ(vek::cpu_level_name(vek::kCpuSse41), "sse41");
    EXPECT_STREQ(vek::cpu_level_name(vek::kCpuSse41 | vek::kCpuAvx2), "avx2");
    // AVX2 is granted only on top of SSE4.1.
    const vek::CpuFlags f = vek::cpu_flags_detect();
    EXPECT_TRUE(!(f & vek::kCpuAvx2) || (f & vek::kCpuSse41));
#if !VEK_SIMD
    EXPECT_EQ(vek::cpu_flags(), vek::kCpuNone);
#endif
}

}  // namespace
