// 4:2:2 chroma macroblocks: planes of 8 x 16 samples with eight 4x4 blocks
// in raster order and a 2x4 DC block, on 8-bit and 16-bit samples.
#include "h264/mb_reconstruct_high.h"
#include "vekvc.h"

namespace vek::h264 {

namespace {

template <class Param>
VekStatus chroma422_inter(const Param* const pParams[2], Vek32s levelScaleDCU, Vek32s levelScaleDCV) {
    if (!pParams) return vekStsNullPtrErr;
    Vek32s maxVal[2] = {0, 0};
    for (int c = 0; c < 2; ++c)
        if (const VekStatus st = check_high_param(pParams[c], 39, &maxVal[c]); st != vekStsOk) return st;
    const Vek32s dcScale[2] = {levelScaleDCU, levelScaleDCV};
    chroma_residual_records(pParams, maxVal, 8, dcScale, LosslessDir::kNone);
    return vekStsOk;
}

}  // namespace

}  // namespace vek::h264

using namespace vek::h264;

VekStatus vekiReconstructChroma422Inter4x4_H264High_16s8u_IP2R(const VekH264HighMBParam_8u* const pParams[2],
                                                              Vek32s levelScaleDCU, Vek32s levelScaleDCV) {
    return chroma422_inter(pParams, levelScaleDCU, levelScaleDCV);
}

VekStatus vekiReconstructChroma422Inter4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2],
                                                               Vek32s levelScaleDCU, Vek32s levelScaleDCV) {
    return chroma422_inter(pParams, levelScaleDCU, levelScaleDCV);
}

VekStatus vekiReconstructChroma422Intra4x4_H264High_16s8u_IP2R(const VekH264HighMBParam_8u* const pParams[2],
                                                              Vek32u intraChromaPredMode, Vek8u edgeType,
                                                              Vek32s levelScaleDCU, Vek32s levelScaleDCV) {
    const Vek32s dcScale[2] = {levelScaleDCU, levelScaleDCV};
    return chroma_intra_records(pParams, intraChromaPredMode, edgeType, edgeType, false, 16, dcScale);
}

VekStatus vekiReconstructChroma422Intra4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2],
                                                               Vek32u intraChromaPredMode, Vek8u edgeType,
                                                               Vek32s levelScaleDCU, Vek32s levelScaleDCV) {
    const Vek32s dcScale[2] = {levelScaleDCU, levelScaleDCV};
    return chroma_intra_records(pParams, intraChromaPredMode, edgeType, edgeType, false, 16, dcScale);
}

VekStatus vekiReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R(const VekH264HighMBParam_8u* const pParams[2],
                                                                  Vek32u intraChromaPredMode, Vek8u edgeTypeTop,
                                                                  Vek8u edgeTypeBottom, Vek32s levelScaleDCU,
                                                                  Vek32s levelScaleDCV) {
    const Vek32s dcScale[2] = {levelScaleDCU, levelScaleDCV};
    return chroma_intra_records(pParams, intraChromaPredMode, edgeTypeTop, edgeTypeBottom, true, 16, dcScale);
}

VekStatus vekiReconstructChroma422IntraHalf4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2],
                                                                   Vek32u intraChromaPredMode, Vek8u edgeTypeTop,
                                                                   Vek8u edgeTypeBottom, Vek32s levelScaleDCU,
                                                                   Vek32s levelScaleDCV) {
    const Vek32s dcScale[2] = {levelScaleDCU, levelScaleDCV};
    return chroma_intra_records(pParams, intraChromaPredMode, edgeTypeTop, edgeTypeBottom, true, 16, dcScale);
}
