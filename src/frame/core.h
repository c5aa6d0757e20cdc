// Services of the core layer below the library: aligned allocation, cache
// size and thread count, plus the vector allocation helpers built on them.
// All private: none of these names leaves the shared object.
#pragma once

#include <cstddef>

#include "vekvc.h"

namespace vek {

inline constexpr std::size_t kMallocAlignment = 64;

}  // namespace vek

// Aligned to 64 bytes; null when len is 0 or the system refuses.
void* vekMalloc(Vek32s len);
void vekFree(void* ptr);
// Size in bytes of the largest data cache. vekStsNullPtrErr for a null
// pointer, vekStsErr when the system does not tell.
VekStatus vekGetMaxCacheSizeB(Vek32s* pSizeByte);
// Threads the library may use, at least 1.
Vek32s ownGetNumThreads();

// Counts below 1 give null without asking the allocator.
Vek8u* veksMalloc_8u(Vek32s len);
Vek8s* veksMalloc_8s(Vek32s len);
Vek16u* veksMalloc_16u(Vek32s len);
void veksFree(void* ptr);
void vekiFree(void* ptr);
