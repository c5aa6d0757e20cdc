// Copy helpers: region copy row by row and the one-dimensional byte copies.
#include <cstddef>
#include <cstring>

#include "util/util.h"

void ownsCopy_8u(const Vek8u* pSrc, Vek8u* pDst, std::size_t len) {
    // memmove: callers copy rows of one picture onto itself.
    if (len != 0) std::memmove(pDst, pSrc, len);
}

VekStatus vekiCopy_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                          VekRoi roi) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return vekStsSizeErr;
    const auto width = static_cast<std::size_t>(roi.width);
    for (Vek32s y = 0; y < roi.height; ++y) {
        ownsCopy_8u(pSrc + static_cast<std::ptrdiff_t>(y) * srcStep,
                    pDst + static_cast<std::ptrdiff_t>(y) * dstStep, width);
    }
    return vekStsOk;
}

VekStatus veksCopy_8u(const Vek8u* pSrc, Vek8u* pDst, Vek32s len) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (len < 1) return vekStsSizeErr;
    ownsCopy_8u(pSrc, pDst, static_cast<std::size_t>(len));
    return vekStsOk;
}

VekStatus veksCopy_16s(const Vek16s* pSrc, Vek16s* pDst, Vek32s len) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (len < 1) return vekStsSizeErr;
    // Counted in size_t: 2 * len passes 32 bits for the longest runs.
    ownsCopy_8u(reinterpret_cast<const Vek8u*>(pSrc), reinterpret_cast<Vek8u*>(pDst),
                2 * static_cast<std::size_t>(len));
    return vekStsOk;
}
