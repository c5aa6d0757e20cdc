#include "frame/core.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#ifdef _OPENMP
#include <omp.h>
#endif

void* vekMalloc(Vek32s len) {
    if (len < 1) return nullptr;
    // aligned_alloc wants a multiple of the alignment.
    const std::size_t size =
        (static_cast<std::size_t>(len) + vek::kMallocAlignment - 1) & ~(vek::kMallocAlignment - 1);
    return std::aligned_alloc(vek::kMallocAlignment, size);
}

void vekFree(void* ptr) { std::free(ptr); }

namespace {

// Size in bytes of one cache as sysfs describes it ("32768K"), 0 if unreadable.
long sysfs_cache_size(int index) {
    char path[96];
    std::snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu0/cache/index%d/type", index);
    std::FILE* f = std::fopen(path, "r");
    if (!f) return 0;
    char type[32] = {};
    const bool typed = std::fscanf(f, "%31s", type) == 1;
    std::fclose(f);
    if (!typed || std::strcmp(type, "Instruction") == 0) return 0;
    std::snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu0/cache/index%d/size", index);
    f = std::fopen(path, "r");
    if (!f) return 0;
    long size = 0;
    char unit = 0;
    const int n = std::fscanf(f, "%ld%c", &size, &unit);
    std::fclose(f);
    if (n < 1) return 0;
    if (n == 2 && unit == 'K') size <<= 10;
    if (n == 2 && unit == 'M') size <<= 20;
    return size;
}

// The kernel's per-core view first: the C library's figures may add up the
// caches of every package, which is not the size one fill can use.
long largest_cache_size() {
    long best = 0;
    for (int i = 0; i < 16; ++i) best = std::max(best, sysfs_cache_size(i));
    if (best > 0) return best;
    for (int name : {_SC_LEVEL3_CACHE_SIZE, _SC_LEVEL2_CACHE_SIZE, _SC_LEVEL1_DCACHE_SIZE})
        best = std::max(best, sysconf(name));
    return best;
}

}  // namespace

VekStatus vekGetMaxCacheSizeB(Vek32s* pSizeByte) {
    if (!pSizeByte) return vekStsNullPtrErr;
    static const long size = largest_cache_size();
    if (size <= 0) return vekStsErr;
    *pSizeByte = size > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<Vek32s>(size);
    return vekStsOk;
}

Vek32s ownGetNumThreads() {
#ifdef _OPENMP
    const int n = omp_get_max_threads();
    return n > 0 ? n : 1;
#else
    return 1;
#endif
}

Vek8u* veksMalloc_8u(Vek32s len) {
    if (len < 1) return nullptr;
    return static_cast<Vek8u*>(vekMalloc(len));
}

Vek8s* veksMalloc_8s(Vek32s len) {
    if (len < 1) return nullptr;
    return static_cast<Vek8s*>(vekMalloc(len));
}

Vek16u* veksMalloc_16u(Vek32s len) {
    if (len < 1) return nullptr;
    // 2 * len beyond 32 bits is no size the allocator can give.
    if (len > 0x3FFFFFFF) return nullptr;
    return static_cast<Vek16u*>(vekMalloc(2 * len));
}

void veksFree(void* ptr) { vekFree(ptr); }

void vekiFree(void* ptr) { vekFree(ptr); }
