// High intra macroblocks of 4:2:0: luma in 4x4 and 8x8 blocks, each block
// predicted from its finished neighbours and then given its residual, and
// the chroma planes predicted whole before their residual. 8-bit samples
// with 16-bit levels and 16-bit samples with 32-bit levels.
#include <cstddef>

#include "h264/intra_pred.h"
#include "h264/intra_pred_high.h"
#include "h264/mb_reconstruct_high.h"
#include "h264/transform_high.h"
#include "vekvc.h"

namespace vek::h264 {

namespace {

// Inside a macroblock: the 4x4 blocks (by coded number) on its left column
// and top row, and those whose above-right neighbour is decoded before them.
constexpr Vek8u left_edge_tab16[16] = {1, 0, 1, 0, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0};
constexpr Vek8u top_edge_tab16[16] = {1, 1, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
constexpr Vek8u above_right_avail_4x4[16] = {1, 1, 1, 0, 1, 1, 1, 0, 1, 1, 1, 0, 1, 0, 1, 0};
// The same for the four 8x8 blocks: block 1's above right lies in the
// macroblock above right, block 2's is block 1, block 3 has none.
constexpr Vek8u left_edge_tab4[4] = {1, 0, 1, 0};
constexpr Vek8u top_edge_tab4[4] = {1, 1, 0, 0};
constexpr Vek8u above_right_avail_8x8[4] = {1, 1, 1, 0};

// Availability word of block n (1 top, 2 left, 32 top-left, 64 top-right).
// Only block 0 looks at the macroblock's top-left bit, and only the block in
// the top right corner (4x4 block 5, 8x8 block 1) at its top-right bit.
template <int Size>
Vek32s block_availability(int n, Vek32u edgeType) {
    const bool on_left = Size == 4 ? left_edge_tab16[n] : left_edge_tab4[n];
    const bool on_top = Size == 4 ? top_edge_tab16[n] : top_edge_tab4[n];
    const bool inside_right = Size == 4 ? above_right_avail_4x4[n] : above_right_avail_8x8[n];
    const int corner_block = Size == 4 ? 5 : 1;
    const bool top = !(on_top && (edgeType & VEKVC_TOP_EDGE));
    const bool left = !(on_left && (edgeType & VEKVC_LEFT_EDGE));
    const bool top_left = n == 0 ? !(edgeType & VEKVC_TOP_LEFT_EDGE) : top && left;
    const bool top_right = n == corner_block ? !(edgeType & VEKVC_TOP_RIGHT_EDGE) : top && inside_right;
    return (top ? kAvailTop : 0) | (left ? kAvailLeft : 0) | (top_left ? kAvailTopLeft : 0) |
           (top_right ? kAvailTopRight : 0);
}

constexpr LosslessDir lossless_dir(Vek32s mode) {
    return mode == kIntra4x4Vertical ? LosslessDir::kVertical
           : mode == kIntra4x4Horizontal ? LosslessDir::kHorizontal
                                         : LosslessDir::kNone;
}

constexpr LosslessDir chroma_lossless_dir(Vek32u mode) {
    return mode == kIntraChromaVertical ? LosslessDir::kVertical
           : mode == kIntraChromaHorizontal ? LosslessDir::kHorizontal
                                            : LosslessDir::kNone;
}

// The modes are checked before anything is written: a mode past 8 would
// index past the predictors.
bool modes_in_range(const Vek32s* modes, int count) {
    for (int n = 0; n < count; ++n)
        if (static_cast<Vek32u>(modes[n]) > 8) return false;
    return true;
}

// Intra luma over blocks [0, count) of Size x Size (4: coded order; 8:
// raster). cbp bit n + 1 stands for block n. Returns true if a 4x4 block
// fell back on the stand-in value for a missing neighbour.
template <int Size, class Sample, class Level>
bool luma_intra(Level** ppCoeff, Sample* plane, std::ptrdiff_t step, const Vek32s* modes, Vek32u cbp, int count,
                Vek32s qp, const Vek16s* table, bool lossless, Vek32u edgeType, Vek32s maxVal) {
    const TransformHighTable& k = transform_high_kernels();
    const IntraPredTable& pred8 = intra_pred_kernels();
    const Vek32s mid = (maxVal + 1) >> 1;
    Level* coeffs = *ppCoeff;
    bool fell_back = false;
    for (int n = 0; n < count; ++n) {
        const int x = Size == 4 ? kBlockPos4x4[n][0] : (n & 1) * 8, y = Size == 4 ? kBlockPos4x4[n][1] : (n >> 1) * 8;
        Sample* blk = plane + y * step + x;
        const Vek32s avail = block_availability<Size>(n, edgeType);
        const auto mode = static_cast<unsigned>(modes[n]);
        if constexpr (Size == 8)
            predict_intra8x8_high(blk, step, mode, avail, mid);
        else if constexpr (sizeof(Sample) == 1)
            fell_back |= pred8.luma4x4[mode](blk, static_cast<Vek32s>(step), avail) != vekStsOk;
        else
            fell_back |= predict_intra4x4_high(blk, step, mode, avail, mid);
        if (cbp & (2u << n)) {
            luma_block_residual<Size>(k, coeffs, blk, step, qp, table, lossless, lossless_dir(modes[n]), maxVal);
            coeffs += Size * Size;
        }
    }
    *ppCoeff = coeffs;
    return fell_back;
}

template <int Size>
VekStatus luma_intra_high(const VekH264HighMBParam* pParam, const Vek32s* pMBIntraTypes, Vek8u edgeType,
                          int count) {
    if (!pMBIntraTypes) return vekStsNullPtrErr;
    Vek32s maxVal = 0;
    if (const VekStatus st = check_high_param(pParam, 51, &maxVal); st != vekStsOk) return st;
    if (!modes_in_range(pMBIntraTypes, count)) return vekStsOutOfRangeErr;
    const VekH264HighMBParam& p = *pParam;
    // The 8x8 form's bits 0..3 stand for the blocks: doubled, they meet the 4x4 numbering.
    const Vek32u cbp = Size == 4 ? p.cbp : p.cbp << 1;
    const bool fell_back = luma_intra<Size>(p.ppSrcDstCoeff, p.pSrcDstPlane, p.srcDstStep, pMBIntraTypes, cbp, count,
                                            p.QP, p.pQuantTable, p.bypass && p.QP < 1, edgeType, maxVal);
    return fell_back ? vekStsNeighbourFallbackWrn : vekStsOk;
}

// count 16 (4x4) or 4 (8x8) blocks; the Half forms do the upper half (8 or
// 2 blocks), check the step and have no bypass.
template <int Size>
VekStatus luma_intra_mb_8u(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep, const Vek32s* pMBIntraTypes,
                           Vek32u cbp4x4, Vek32u QP, Vek8u edgeType, const Vek16s* pQuantTable, bool bypass,
                           int count) {
    const bool half = count == (Size == 4 ? 8 : 2);
    if (!ppSrcCoeff || !pSrcDstY) return vekStsNullPtrErr;
    if (!pMBIntraTypes || !*ppSrcCoeff || !pQuantTable) return vekStsNullPtrErr;
    if (half && srcDstStep < 1) return vekStsStepErr;
    if (QP > 51) return vekStsOutOfRangeErr;
    if (!modes_in_range(pMBIntraTypes, count)) return vekStsOutOfRangeErr;
    const Vek32u cbp = Size == 4 ? cbp4x4 : cbp4x4 << 1;
    const bool fell_back = luma_intra<Size>(ppSrcCoeff, pSrcDstY, srcDstStep, pMBIntraTypes, cbp, count,
                                            static_cast<Vek32s>(QP), pQuantTable, bypass && QP < 1, edgeType, 255);
    return fell_back ? vekStsNeighbourFallbackWrn : vekStsOk;
}

// Chroma of both planes from their records: the records checked, then the
// mode (out of range, then its neighbours; nothing written on failure), the
// prediction of 8 x rows samples a plane, then the residual. The Half forms
// take the left column of the lower half from edgeBottom and offer DC and
// vertical prediction only.
template <class Param>
VekStatus chroma_intra_impl(const Param* const pParams[2], Vek32u mode, Vek8u edgeTop, Vek8u edgeBottom, bool half,
                            int rows, const Vek32s dcScale[2]) {
    if (!pParams) return vekStsNullPtrErr;
    Vek32s maxVal[2] = {0, 0};
    for (int c = 0; c < 2; ++c)
        if (const VekStatus st = check_high_param(pParams[c], 39, &maxVal[c]); st != vekStsOk) return st;
    const Vek32s avail = availability_from_edge_type(edgeTop);
    if (half) {
        if (mode != kIntraChromaDc && mode != kIntraChromaVertical) return vekStsNeighbourUnavailableErr;
    } else if (mode > 3) {
        return vekStsOutOfRangeErr;
    }
    if (missing_chroma_neighbour(mode, avail)) return vekStsNeighbourUnavailableErr;
    const bool left_lower = half ? !(edgeBottom & VEKVC_LEFT_EDGE) : (avail & kAvailLeft) != 0;
    const ChromaNeighbours n{(avail & kAvailTop) != 0, (avail & kAvailLeft) != 0, left_lower,
                             (avail & kAvailTopLeft) != 0};
    for (int c = 0; c < 2; ++c)
        predict_chroma_high(pParams[c]->pSrcDstPlane, pParams[c]->srcDstStep, rows, mode, n, maxVal[c]);
    chroma_residual_records(pParams, maxVal, rows / 2, dcScale, chroma_lossless_dir(mode));
    return vekStsOk;
}

}  // namespace

VekStatus chroma_intra_records(const VekH264HighMBParam* const pParams[2], Vek32u mode, Vek8u edgeTop,
                               Vek8u edgeBottom, bool half, int rows, const Vek32s dcScale[2]) {
    return chroma_intra_impl(pParams, mode, edgeTop, edgeBottom, half, rows, dcScale);
}
VekStatus chroma_intra_records(const VekH264HighMBParam_8u* const pParams[2], Vek32u mode, Vek8u edgeTop,
                               Vek8u edgeBottom, bool half, int rows, const Vek32s dcScale[2]) {
    return chroma_intra_impl(pParams, mode, edgeTop, edgeBottom, half, rows, dcScale);
}

}  // namespace vek::h264

using namespace vek::h264;

VekStatus vekiReconstructLumaIntra4x4_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam,
                                                          const Vek32s* pMBIntraTypes, Vek8u edgeType) {
    return luma_intra_high<4>(pParam, pMBIntraTypes, edgeType, 16);
}

VekStatus vekiReconstructLumaIntra8x8_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam,
                                                          const Vek32s* pMBIntraTypes, Vek8u edgeType) {
    return luma_intra_high<8>(pParam, pMBIntraTypes, edgeType, 4);
}

VekStatus vekiReconstructLumaIntra4x4MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                       const Vek32s* pMBIntraTypes, Vek32u cbp4x4, Vek32u QP,
                                                       Vek8u edgeType, const Vek16s* pQuantTable, Vek8u bypass) {
    return luma_intra_mb_8u<4>(ppSrcCoeff, pSrcDstY, srcDstStep, pMBIntraTypes, cbp4x4, QP, edgeType, pQuantTable,
                               bypass, 16);
}

VekStatus vekiReconstructLumaIntra8x8MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                       const Vek32s* pMBIntraTypes, Vek32u cbp4x4, Vek32u QP,
                                                       Vek8u edgeType, const Vek16s* pQuantTable, Vek8u bypass) {
    return luma_intra_mb_8u<8>(ppSrcCoeff, pSrcDstY, srcDstStep, pMBIntraTypes, cbp4x4, QP, edgeType, pQuantTable,
                               bypass, 4);
}

VekStatus vekiReconstructChromaIntra4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2],
                                                            Vek32u intraChromaPredMode, Vek8u edgeType) {
    const Vek32s no_scale[2] = {0, 0};
    return chroma_intra_records(pParams, intraChromaPredMode, edgeType, edgeType, false, 8, no_scale);
}

VekStatus vekiReconstructChromaIntra4x4MB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU, Vek8u* pSrcDstV,
                                                         Vek32s srcDstStep, Vek32u intraChromaPredMode, Vek32u cbp4x4,
                                                         Vek32u chromaQPU, Vek32u chromaQPV, Vek8u edgeType,
                                                         const Vek16s* pQuantTableU, const Vek16s* pQuantTableV,
                                                         Vek8u bypass) {
    if (!ppSrcCoeff || !pSrcDstU || !pSrcDstV || !*ppSrcCoeff || !pQuantTableU || !pQuantTableV)
        return vekStsNullPtrErr;
    if (chromaQPU > 39 || chromaQPV > 39) return vekStsOutOfRangeErr;
    if (intraChromaPredMode > 3) return vekStsOutOfRangeErr;
    if (predict_chroma_planes(intra_pred_kernels(), intraChromaPredMode, pSrcDstU, pSrcDstV, srcDstStep,
                              availability_from_edge_type(edgeType)) != vekStsOk)
        return vekStsNeighbourUnavailableErr;
    chroma420_mb_residual_8u(ppSrcCoeff, pSrcDstU, pSrcDstV, srcDstStep, cbp4x4, static_cast<Vek32s>(chromaQPU),
                             static_cast<Vek32s>(chromaQPV), pQuantTableU, pQuantTableV, bypass,
                             chroma_lossless_dir(intraChromaPredMode));
    return vekStsOk;
}

VekStatus vekiReconstructLumaIntraHalf4x4_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam,
                                                              const Vek32s* pMBIntraTypes, Vek8u edgeType) {
    return luma_intra_high<4>(pParam, pMBIntraTypes, edgeType, 8);
}

VekStatus vekiReconstructLumaIntraHalf8x8_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam,
                                                              const Vek32s* pMBIntraTypes, Vek8u edgeType) {
    return luma_intra_high<8>(pParam, pMBIntraTypes, edgeType, 2);
}

VekStatus vekiReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                           const Vek32s* pMBIntraTypes, Vek32u cbp4x4, Vek32u QP,
                                                           Vek8u edgeType, const Vek16s* pQuantTable) {
    return luma_intra_mb_8u<4>(ppSrcCoeff, pSrcDstY, srcDstStep, pMBIntraTypes, cbp4x4, QP, edgeType, pQuantTable,
                               false, 8);
}

VekStatus vekiReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                           const Vek32s* pMBIntraTypes, Vek32u cbp4x4, Vek32u QP,
                                                           Vek8u edgeType, const Vek16s* pQuantTable) {
    return luma_intra_mb_8u<8>(ppSrcCoeff, pSrcDstY, srcDstStep, pMBIntraTypes, cbp4x4, QP, edgeType, pQuantTable,
                               false, 2);
}

VekStatus vekiReconstructChromaIntraHalf4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2],
                                                                Vek32u intraChromaPredMode, Vek8u edgeTypeTop,
                                                                Vek8u edgeTypeBottom) {
    const Vek32s no_scale[2] = {0, 0};
    return chroma_intra_records(pParams, intraChromaPredMode, edgeTypeTop, edgeTypeBottom, true, 8, no_scale);
}

VekStatus vekiReconstructChromaIntraHalfs4x4MB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU, Vek8u* pSrcDstV,
                                                              Vek32s srcDstStep, Vek32u intraChromaPredMode,
                                                              Vek32u cbp4x4, Vek32u chromaQPU, Vek32u chromaQPV,
                                                              Vek8u edgeTypeTop, Vek8u edgeTypeBottom,
                                                              const Vek16s* pQuantTableU, const Vek16s* pQuantTableV,
                                                              Vek8u bypass) {
    if (!ppSrcCoeff || !pSrcDstU || !pSrcDstV || !*ppSrcCoeff || !pQuantTableU || !pQuantTableV)
        return vekStsNullPtrErr;
    if (chromaQPU > 39 || chromaQPV > 39) return vekStsOutOfRangeErr;
    // DC and vertical only, as the 8-bit Halfs form.
    if (intraChromaPredMode != kIntraChromaDc && intraChromaPredMode != kIntraChromaVertical)
        return vekStsNeighbourUnavailableErr;
    const bool top = !(edgeTypeTop & VEKVC_TOP_EDGE);
    if (intraChromaPredMode == kIntraChromaVertical && !top) return vekStsNeighbourUnavailableErr;
    const ChromaNeighbours n{top, !(edgeTypeTop & VEKVC_LEFT_EDGE), !(edgeTypeBottom & VEKVC_LEFT_EDGE), false};
    predict_chroma_high(pSrcDstU, srcDstStep, 8, intraChromaPredMode, n, 255);
    predict_chroma_high(pSrcDstV, srcDstStep, 8, intraChromaPredMode, n, 255);
    chroma420_mb_residual_8u(ppSrcCoeff, pSrcDstU, pSrcDstV, srcDstStep, cbp4x4, static_cast<Vek32s>(chromaQPU),
                             static_cast<Vek32s>(chromaQPV), pQuantTableU, pQuantTableV, bypass,
                             chroma_lossless_dir(intraChromaPredMode));
    return vekStsOk;
}

VekStatus vekiReconstructChromaIntraHalves4x4MB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU,
                                                               Vek8u* pSrcDstV, Vek32s srcDstStep,
                                                               Vek32u intraChromaPredMode, Vek32u cbp4x4,
                                                               Vek32u chromaQPU, Vek32u chromaQPV, Vek8u edgeTypeTop,
                                                               Vek8u edgeTypeBottom, const Vek16s* pQuantTableU,
                                                               const Vek16s* pQuantTableV, Vek8u bypass) {
    return vekiReconstructChromaIntraHalfs4x4MB_H264_16s8u_P2R(ppSrcCoeff, pSrcDstU, pSrcDstV, srcDstStep,
                                                               intraChromaPredMode, cbp4x4, chromaQPU, chromaQPV,
                                                               edgeTypeTop, edgeTypeBottom, pQuantTableU,
                                                               pQuantTableV, bypass);
}
