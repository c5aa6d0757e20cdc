// Median of three planes, sample by sample.
#include <algorithm>
#include <cstddef>

#include "util/util.h"

namespace {

inline Vek8u median3(Vek8u a, Vek8u b, Vek8u c) {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

}  // namespace

VekStatus vekiMedian_8u_P3C1R(const Vek8u* const pSrc[3], Vek32s srcStep, Vek8u* pDst,
                              Vek32s dstStep, VekRoi roi) {
    if (!pSrc || !pSrc[0] || !pSrc[1] || !pSrc[2] || !pDst) return vekStsNullPtrErr;
    if (roi.width < 1) return vekStsSizeErr;
    if (roi.height < 1) return vekStsSizeErr;
    for (Vek32s y = 0; y < roi.height; ++y) {
        const std::ptrdiff_t srcOff = static_cast<std::ptrdiff_t>(y) * srcStep;
        const Vek8u* a = pSrc[0] + srcOff;
        const Vek8u* b = pSrc[1] + srcOff;
        const Vek8u* c = pSrc[2] + srcOff;
        Vek8u* d = pDst + static_cast<std::ptrdiff_t>(y) * dstStep;
        for (Vek32s x = 0; x < roi.width; ++x) d[x] = median3(a[x], b[x], c[x]);
    }
    return vekStsOk;
}
