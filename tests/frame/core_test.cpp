#include "frame/core.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

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

// A cache size the fill helper can compare with (it only chooses the kind of
// store, never the bytes), a thread count of at least one, and CPU levels.
TEST(CoreServices, CacheSizeThreadsAndCpuLevels) {
    Vek32s size = -1;
    EXPECT_EQ(vekGetMaxCacheSizeB(nullptr), vekStsNullPtrErr);
    ASSERT_EQ(vekGetMaxCacheSizeB(&size), vekStsOk);
    EXPECT_GE(size, 1);
    EXPECT_GE(ownGetNumThreads(), 1);
    // AVX2 is granted only on top of SSE4.1.
    const vek::CpuFlags f = vek::cpu_flags_detect();
    EXPECT_TRUE(!(f & vek::kCpuAvx2) || (f & vek::kCpuSse41));
#if !VEK_SIMD
    EXPECT_EQ(vek::cpu_flags(), vek::kCpuNone);
#endif
}

}  // namespace
