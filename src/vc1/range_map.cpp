// VC-1 range mapping: reference kernel, its table and the shell.
#include "vc1/range_map.h"

#include <algorithm>
#include <cstddef>

#include "frame/dispatch.h"

namespace vek::vc1 {

namespace {

void range_map_c(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int width, int height, int scale) {
    for (int y = 0; y < height; ++y) {
        const Vek8u* in = src + static_cast<std::ptrdiff_t>(srcStep) * y;
        Vek8u* out = dst + static_cast<std::ptrdiff_t>(dstStep) * y;
        for (int x = 0; x < width; ++x)
            out[x] = static_cast<Vek8u>(std::clamp((((in[x] - 128) * scale + 4) >> 3) + 128, 0, 255));
    }
}

}  // namespace

RangeMapTable make_range_map_table(CpuFlags flags) {
    RangeMapTable t{range_map_c};
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_range_map_table_sse41, init_range_map_table_avx2);
    return t;
}

namespace {
const RangeMapTable kRangeMapKernels = make_range_map_table(cpu_flags());
}  // namespace

}  // namespace vek::vc1

VekStatus vekiRangeMapping_VC1_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                                      Vek32s rangeMapParam) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (rangeMapParam < 0 || rangeMapParam > 7) return vekStsOutOfRangeErr;
    if (roi.width < 1 || roi.height < 1) return vekStsOk;
    vek::vc1::kRangeMapKernels.map(pSrc, srcStep, pDst, dstStep, roi.width, roi.height, rangeMapParam + 9);
    return vekStsOk;
}
