// AVS macroblock reconstruction: each 8x8 block is predicted (intra) or
// taken from the picture (inter), then gets its residual if its pattern bit
// is set. Coded blocks lie packed in the caller's buffer, so the cursor moves
// by one block per set bit only.
#include <cstddef>

#include "avs/intra_pred.h"
#include "avs/transform_inv.h"

using namespace vek::avs;

namespace {

constexpr std::ptrdiff_t kBlock = 64;

// Adds the next coded block at dst when `bit` of cbp is set.
inline void add_residual(Vek16s*& coeff, Vek8u* dst, Vek32s step, Vek32u cbp, int bit,
                         Vek32u numCoeff, Vek32u qp) {
    if (!((cbp >> bit) & 1)) return;
    transform_quant_add_inv(coeff, dst, step, numCoeff, qp);
    coeff += kBlock;
}

}  // namespace

VekStatus vekiReconstructLumaIntra_AVS_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pDst, Vek32s dstStep,
                                                 const Vek32u* pPredModes, const Vek32u* pNumCoeff,
                                                 Vek32u cbp, Vek32u QP, Vek32u edges) {
    if (!ppSrcCoeff || !pDst || !*ppSrcCoeff) return vekStsNullPtrErr;
    if (QP > 63) return vekStsOutOfRangeErr;
    Vek16s* coeff = *ppSrcCoeff;
    const std::ptrdiff_t down = static_cast<std::ptrdiff_t>(dstStep) * 8;
    // Blocks inside the macroblock see their left and upper neighbours in
    // it; above right is never there for block 3, and below left never for
    // the right-hand blocks or the lower ones.
    Vek8u* const place[4] = {pDst, pDst + 8, pDst + down, pDst + down + 8};
    const Vek32u edge[4] = {edges & ~kEdgeTopRight, (edges | kEdgeBottomLeft) & ~kEdgeLeft,
                            (edges & kEdgeLeft) | kEdgeBottomLeft, kEdgeTopRight | kEdgeBottomLeft};
    for (int b = 0; b < 4; ++b) {
        // A mode that lacks its neighbours leaves the picture as it was.
        kLumaPredictors[pPredModes[b] & 7](place[b], dstStep, edge[b]);
        add_residual(coeff, place[b], dstStep, cbp, b, pNumCoeff[b], QP);
    }
    *ppSrcCoeff = coeff;
    return vekStsOk;
}

VekStatus vekiReconstructChromaIntra_AVS_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pDstU, Vek8u* pDstV,
                                                   Vek32s dstStep, Vek32u predMode,
                                                   const Vek32u* pNumCoeff, Vek32u cbp, Vek32u QP,
                                                   Vek32u edges) {
    if (!ppSrcCoeff || !pDstU || !pDstV || !*ppSrcCoeff) return vekStsNullPtrErr;
    if (QP > 51) return vekStsOutOfRangeErr;  // chroma QP never goes higher in this coding
    Vek16s* coeff = *ppSrcCoeff;
    const IntraPredictor predict = kChromaPredictors[predMode & 3];
    Vek8u* const plane[2] = {pDstU, pDstV};
    for (int b = 0; b < 2; ++b) {
        predict(plane[b], dstStep, edges | kEdgeBottomLeft);
        add_residual(coeff, plane[b], dstStep, cbp, b, pNumCoeff[b], QP);
    }
    *ppSrcCoeff = coeff;
    return vekStsOk;
}

VekStatus vekiReconstructLumaInter_AVS_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pDst, Vek32s dstStep,
                                                 const Vek32u* pNumCoeff, Vek32u cbp, Vek32u QP) {
    if (!ppSrcCoeff || !pDst || !*ppSrcCoeff) return vekStsNullPtrErr;
    if (QP > 63) return vekStsOutOfRangeErr;
    Vek16s* coeff = *ppSrcCoeff;
    const std::ptrdiff_t down = static_cast<std::ptrdiff_t>(dstStep) * 8;
    Vek8u* const place[4] = {pDst, pDst + 8, pDst + down, pDst + down + 8};
    for (int b = 0; b < 4; ++b) add_residual(coeff, place[b], dstStep, cbp, b, pNumCoeff[b], QP);
    *ppSrcCoeff = coeff;
    return vekStsOk;
}

// Bits 2 and 3 are the lower halves of 4:2:2 chroma planes.
VekStatus vekiReconstructChromaInter_AVS_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pDstU, Vek8u* pDstV,
                                                   Vek32s dstStep, const Vek32u* pNumCoeff,
                                                   Vek32u cbp, Vek32u QP) {
    if (!ppSrcCoeff || !pDstU || !pDstV || !*ppSrcCoeff) return vekStsNullPtrErr;
    if (QP > 51) return vekStsOutOfRangeErr;
    Vek16s* coeff = *ppSrcCoeff;
    const std::ptrdiff_t down = static_cast<std::ptrdiff_t>(dstStep) * 8;
    Vek8u* const place[4] = {pDstU, pDstV, pDstU + down, pDstV + down};
    for (int b = 0; b < 4; ++b) add_residual(coeff, place[b], dstStep, cbp, b, pNumCoeff[b], QP);
    *ppSrcCoeff = coeff;
    return vekStsOk;
}
