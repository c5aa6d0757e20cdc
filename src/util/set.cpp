// Fill helpers: region fill with a cache-bypassing path for regions beyond the
// largest cache, and the one-dimensional fill and clear.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/core.h"
#include "frame/dispatch.h"
#include "util/util.h"

namespace vek::util {

void fill_8u_c(Vek8u* pDst, std::size_t len, Vek8u value) {
    if (len != 0) std::memset(pDst, value, len);
}

SetTable make_set_table(CpuFlags flags) {
    SetTable table{};
    // Without vector stores the streaming slot falls back to ordinary ones.
    table.fill[kFillCached] = fill_8u_c;
    table.fill[kFillStream] = fill_8u_c;
    if constexpr (kSimdBuilt) {
        if (flags & kCpuSse41) init_set_table_sse41(table);
    }
    return table;
}

namespace {
const SetTable kSetKernels = make_set_table(cpu_flags());
}  // namespace

const SetTable& set_kernels() { return kSetKernels; }

VekStatus set_region_8u(Vek8u value, Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                        CacheSizeQueryFn* queryCacheSize, const SetTable& kernels) {
    if (!pDst) return vekStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return vekStsSizeErr;

    const auto width = static_cast<std::size_t>(roi.width);
    const auto height = static_cast<std::size_t>(roi.height);
    const std::size_t count = width * height;
    // A region without gaps between its rows is one long row.
    const bool folded = dstStep == roi.width;
    const std::size_t rowLen = folded ? count : width;
    const std::size_t rows = folded ? 1 : height;

    Fill8uFn* fill = kernels.fill[kFillCached];
    // Small regions never pay for the cache query.
    if (count > kSetStreamThreshold) {
        Vek32s cacheSize = 0;
        if (queryCacheSize(&cacheSize) == vekStsOk &&
            static_cast<std::int64_t>(count) >= static_cast<std::int64_t>(cacheSize)) {
            fill = kernels.fill[kFillStream];
        }
    }
    for (std::size_t y = 0; y < rows; ++y) {
        fill(pDst + static_cast<std::ptrdiff_t>(y) * dstStep, rowLen, value);
    }
    return vekStsOk;
}

}  // namespace vek::util

VekStatus vekiSet_8u_C1R(Vek8u value, Vek8u* pDst, Vek32s dstStep, VekRoi roi) {
    return vek::util::set_region_8u(value, pDst, dstStep, roi, vekGetMaxCacheSizeB,
                                    vek::util::set_kernels());
}

VekStatus veksSet_8u(Vek8u value, Vek8u* pDst, Vek32s len) {
    if (!pDst) return vekStsNullPtrErr;
    if (len < 1) return vekStsSizeErr;
    vek::util::fill_8u_c(pDst, static_cast<std::size_t>(len), value);
    return vekStsOk;
}

VekStatus veksZero_8u(Vek8u* pDst, Vek32s len) {
    if (!pDst) return vekStsNullPtrErr;
    if (len < 1) return vekStsSizeErr;
    vek::util::fill_8u_c(pDst, static_cast<std::size_t>(len), 0);
    return vekStsOk;
}
