#include "frame/core.h"

#include <unistd.h>

#include <cstdlib>

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

VekStatus vekGetMaxCacheSizeB(Vek32s* pSizeByte) {
    if (!pSizeByte) return vekStsNullPtrErr;
    // The largest level the C library reports, searched from the outermost.
    static const int kLevels[] = {
#ifdef _SC_LEVEL4_CACHE_SIZE
        _SC_LEVEL4_CACHE_SIZE,
#endif
        _SC_LEVEL3_CACHE_SIZE, _SC_LEVEL2_CACHE_SIZE, _SC_LEVEL1_DCACHE_SIZE};
    long best = 0;
    for (int name : kLevels) {
        const long size = sysconf(name);
        if (size > best) best = size;
    }
    if (best <= 0) return vekStsErr;
    *pSizeByte = best > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<Vek32s>(best);
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
