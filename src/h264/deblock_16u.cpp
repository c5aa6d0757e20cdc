// Exported 16-bit H.264 deblocking functions: record checks, then one kernel.
#include "h264/deblock.h"
#include "vekvc.h"

using vek::h264::Deblock16uFn;
using vek::h264::deblock_clip_max;
using vek::h264::deblock_kernels;

namespace {

VekStatus record(Deblock16uFn* kernel, const VekDeblockingParams_16u* pParams) {
    if (!pParams) return vekStsNullPtrErr;
    if (!pParams->pSrcDstPlane) return vekStsNullPtrErr;
    if (!pParams->pAlpha) return vekStsNullPtrErr;
    if (!pParams->pBeta) return vekStsNullPtrErr;
    if (!pParams->pThresholds) return vekStsNullPtrErr;
    if (!pParams->pBs) return vekStsNullPtrErr;
    kernel(pParams->pSrcDstPlane, pParams->srcDstStep, pParams->pAlpha, pParams->pBeta, pParams->pThresholds,
           pParams->pBs, deblock_clip_max(pParams->bitDepth));
    return vekStsOk;
}

}  // namespace

VekStatus vekiFilterDeblockingLumaVerEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams) {
    return record(deblock_kernels().luma_ver_16u, pParams);
}

VekStatus vekiFilterDeblockingLumaHorEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams) {
    return record(deblock_kernels().luma_hor_16u, pParams);
}

VekStatus vekiFilterDeblockingChromaVerEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams) {
    return record(deblock_kernels().chroma_ver_16u, pParams);
}

VekStatus vekiFilterDeblockingChromaHorEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams) {
    return record(deblock_kernels().chroma_hor_16u, pParams);
}

VekStatus vekiFilterDeblockingChroma422VerEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams) {
    return record(deblock_kernels().chroma422_ver_16u, pParams);
}

VekStatus vekiFilterDeblockingChroma422HorEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams) {
    return record(deblock_kernels().chroma422_hor_16u, pParams);
}

VekStatus vekiFilterDeblockingLumaVerEdgeMBAFF_H264_16u_C1IR(const VekDeblockingParams_16u* pParams) {
    return record(deblock_kernels().luma_ver_mbaff_16u, pParams);
}

VekStatus vekiFilterDeblockingChromaVerEdgeMBAFF_H264_16u_C1IR(const VekDeblockingParams_16u* pParams) {
    return record(deblock_kernels().chroma_ver_mbaff_16u, pParams);
}

// 4:2:2 MBAFF filtering is not provided: the name exists and always refuses,
// before and regardless of its argument.
VekStatus vekiFilterDeblockingChroma422VerEdgeMBAFF_H264_16u_C1IR(const VekDeblockingParams_16u* /*pParams*/) {
    return vekStsErr;
}
