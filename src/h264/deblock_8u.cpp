// Exported 8-bit H.264 deblocking functions: argument checks, then one kernel.
#include "h264/deblock.h"
#include "vekvc.h"

using vek::h264::Deblock8uFn;
using vek::h264::deblock_kernels;

namespace {

// Each null test stays a branch of its own: the empty statements between them
// keep the compiler from merging them into flag arithmetic (a set and an or
// per pointer), which costs a call more than five fused test-and-jumps.
VekStatus plain(Deblock8uFn* kernel, Vek8u* pSrcDst, Vek32s srcDstStep, const Vek8u* pAlpha, const Vek8u* pBeta,
                const Vek8u* pThresholds, const Vek8u* pBs) {
    if (!pSrcDst) return vekStsNullPtrErr;
    __asm__ volatile("");
    if (!pAlpha) return vekStsNullPtrErr;
    __asm__ volatile("");
    if (!pBeta) return vekStsNullPtrErr;
    __asm__ volatile("");
    if (!pThresholds) return vekStsNullPtrErr;
    __asm__ volatile("");
    if (!pBs) return vekStsNullPtrErr;
    return kernel(pSrcDst, srcDstStep, pAlpha, pBeta, pThresholds, pBs);
}

VekStatus record(Deblock8uFn* kernel, const VekDeblockingParams* pParams) {
    if (!pParams) return vekStsNullPtrErr;
    return plain(kernel, pParams->pSrcDstPlane, pParams->srcDstStep, pParams->pAlpha, pParams->pBeta,
                 pParams->pThresholds, pParams->pBs);
}

}  // namespace

VekStatus vekiFilterDeblockingLuma_VerEdge_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, const Vek8u* pAlpha,
                                                        const Vek8u* pBeta, const Vek8u* pThresholds,
                                                        const Vek8u* pBs) {
    return plain(deblock_kernels().luma_ver_8u, pSrcDst, srcDstStep, pAlpha, pBeta, pThresholds, pBs);
}

VekStatus vekiFilterDeblockingLuma_HorEdge_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, const Vek8u* pAlpha,
                                                        const Vek8u* pBeta, const Vek8u* pThresholds,
                                                        const Vek8u* pBs) {
    return plain(deblock_kernels().luma_hor_8u, pSrcDst, srcDstStep, pAlpha, pBeta, pThresholds, pBs);
}

VekStatus vekiFilterDeblockingChroma_VerEdge_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, const Vek8u* pAlpha,
                                                          const Vek8u* pBeta, const Vek8u* pThresholds,
                                                          const Vek8u* pBs) {
    return plain(deblock_kernels().chroma_ver_8u, pSrcDst, srcDstStep, pAlpha, pBeta, pThresholds, pBs);
}

VekStatus vekiFilterDeblockingChroma_HorEdge_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, const Vek8u* pAlpha,
                                                          const Vek8u* pBeta, const Vek8u* pThresholds,
                                                          const Vek8u* pBs) {
    return plain(deblock_kernels().chroma_hor_8u, pSrcDst, srcDstStep, pAlpha, pBeta, pThresholds, pBs);
}

VekStatus vekiFilterDeblockingChroma_VerEdge_H264_8u_C2IR(Vek8u* pSrcDst, Vek32s srcDstStep, const Vek8u* pAlpha,
                                                          const Vek8u* pBeta, const Vek8u* pThresholds,
                                                          const Vek8u* pBs) {
    return plain(deblock_kernels().chroma_ver_c2_8u, pSrcDst, srcDstStep, pAlpha, pBeta, pThresholds, pBs);
}

VekStatus vekiFilterDeblockingChroma_HorEdge_H264_8u_C2IR(Vek8u* pSrcDst, Vek32s srcDstStep, const Vek8u* pAlpha,
                                                          const Vek8u* pBeta, const Vek8u* pThresholds,
                                                          const Vek8u* pBs) {
    return plain(deblock_kernels().chroma_hor_c2_8u, pSrcDst, srcDstStep, pAlpha, pBeta, pThresholds, pBs);
}

// The MBAFF pieces take their thresholds by value, so only three pointers are checked.
VekStatus vekiFilterDeblockingLuma_VerEdge_MBAFF_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, Vek32u alpha,
                                                              Vek32u beta, const Vek8u* pThresholds,
                                                              const Vek8u* pBs) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (!pThresholds) return vekStsNullPtrErr;
    if (!pBs) return vekStsNullPtrErr;
    deblock_kernels().luma_ver_mbaff_8u(pSrcDst, srcDstStep, alpha, beta, pThresholds, pBs);
    return vekStsOk;
}

VekStatus vekiFilterDeblockingChroma_VerEdge_MBAFF_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, Vek32u alpha,
                                                                Vek32u beta, const Vek8u* pThresholds,
                                                                const Vek8u* pBs) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (!pThresholds) return vekStsNullPtrErr;
    if (!pBs) return vekStsNullPtrErr;
    deblock_kernels().chroma_ver_mbaff_8u(pSrcDst, srcDstStep, alpha, beta, pThresholds, pBs);
    return vekStsOk;
}

VekStatus vekiFilterDeblockingChroma422VerEdge_H264_8u_C1IR(const VekDeblockingParams* pParams) {
    return record(deblock_kernels().chroma422_ver_8u, pParams);
}

VekStatus vekiFilterDeblockingChroma422HorEdge_H264_8u_C1IR(const VekDeblockingParams* pParams) {
    return record(deblock_kernels().chroma422_hor_8u, pParams);
}

// 4:2:2 MBAFF filtering is not provided: the name exists and always refuses,
// before and regardless of its argument.
VekStatus vekiFilterDeblockingChroma422VerEdgeMBAFF_H264_8u_C1IR(const VekDeblockingParams* /*pParams*/) {
    return vekStsErr;
}
