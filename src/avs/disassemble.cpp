// AVS intra macroblock disassembly, the encoder's side of reconstruction:
// each block takes the cheapest mode by SAD, its residual is transformed and
// quantised, and the picture gets the same reconstruction the decoder will
// make. Blocks whose levels all vanish take no room in the coefficients.
#include <cstddef>

#include "avs/intra_pred.h"
#include "avs/transform_fwd.h"
#include "avs/transform_inv.h"

using namespace vek::avs;

namespace {

constexpr Vek32s kDiffStep = 8 * sizeof(Vek16s);

// Quantises the residual in coeff and, when a level survives, reconstructs
// it on the prediction at dst. Returns whether the block is coded.
bool code_block(Vek16s* coeff, Vek8u* dst, Vek32s step, Vek32u qp) {
    if (transform_quant_fwd(coeff, coeff, qp, true) == 0) return false;
    transform_quant_add_inv(coeff, dst, step, frame_scan_count(coeff), qp);
    return true;
}

}  // namespace

VekStatus vekiDisassembleLumaIntra_AVS_16s8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst,
                                                 Vek32s dstStep, Vek16s** ppDstCoeff,
                                                 Vek32u* pPredModes, Vek32u* pCbp, Vek32u QP,
                                                 Vek32u edges) {
    if (!pSrc || !pDst || !ppDstCoeff || !*ppDstCoeff || !pPredModes || !pCbp)
        return vekStsNullPtrErr;
    if (QP > 63) return vekStsOutOfRangeErr;
    Vek16s* coeff = *ppDstCoeff;
    const std::ptrdiff_t src_down = static_cast<std::ptrdiff_t>(srcStep) * 8;
    const std::ptrdiff_t dst_down = static_cast<std::ptrdiff_t>(dstStep) * 8;
    const Vek8u* const from[4] = {pSrc, pSrc + 8, pSrc + src_down, pSrc + src_down + 8};
    Vek8u* const place[4] = {pDst, pDst + 8, pDst + dst_down, pDst + dst_down + 8};
    const Vek32u edge[4] = {edges & ~kEdgeTopRight, (edges | kEdgeBottomLeft) & ~kEdgeLeft,
                            (edges & kEdgeLeft) | kEdgeBottomLeft, kEdgeTopRight | kEdgeBottomLeft};
    Vek32u cbp = 0;
    for (int b = 0; b < 4; ++b) {
        Vek32u best_cost = 0xFFFFFFFFu, best = 2;
        // Modes 5-7 only fill with 128 and are never chosen; ties keep the lower mode.
        for (Vek32u mode = 0; mode < 5; ++mode) {
            if (!kLumaPredictors[mode](place[b], dstStep, edge[b])) continue;
            const auto cost = static_cast<Vek32u>(
                sub_sad_8x8(from[b], srcStep, place[b], dstStep, coeff, kDiffStep));
            if (cost < best_cost) best_cost = cost, best = mode;
        }
        pPredModes[b] = best;
        kLumaPredictors[best](place[b], dstStep, edge[b]);
        sub_sad_8x8(from[b], srcStep, place[b], dstStep, coeff, kDiffStep);
        if (code_block(coeff, place[b], dstStep, QP)) {
            cbp |= 1u << b;
            coeff += 64;
        }
    }
    if (cbp) *ppDstCoeff = coeff;
    *pCbp = cbp;
    return vekStsOk;
}

VekStatus vekiDisassembleChroma420Intra_AVS_16s8u_C1R(const Vek8u** ppSrc, Vek32s srcStep,
                                                      Vek8u** ppDst, Vek32s dstStep,
                                                      Vek16s** ppDstCoeff, Vek32u* pPredMode,
                                                      Vek32u* pCbp, Vek32u QP, Vek32u edges) {
    if (!ppSrc || !ppDst || !ppSrc[0] || !ppSrc[1] || !ppDst[0] || !ppDst[1] || !ppDstCoeff ||
        !*ppDstCoeff || !pPredMode || !pCbp)
        return vekStsNullPtrErr;
    if (QP > 51) return vekStsOutOfRangeErr;
    Vek16s* coeff = *ppDstCoeff;
    const Vek32u edge = edges | kEdgeBottomLeft;
    Vek32u best_cost = 0xFFFFFFFFu, best = 0;
    for (Vek32u mode = 0; mode < 4; ++mode) {
        // U and V share their neighbours' availability, so V's answer speaks for both.
        kChromaPredictors[mode](ppDst[0], dstStep, edge);
        if (!kChromaPredictors[mode](ppDst[1], dstStep, edge)) continue;
        const auto cost =
            static_cast<Vek32u>(sub_sad_8x8(ppSrc[0], srcStep, ppDst[0], dstStep, coeff, kDiffStep)) +
            static_cast<Vek32u>(
                sub_sad_8x8(ppSrc[1], srcStep, ppDst[1], dstStep, coeff + 64, kDiffStep));
        if (best_cost > cost) best_cost = cost, best = mode;
    }
    *pPredMode = best;
    kChromaPredictors[best](ppDst[0], dstStep, edge);
    kChromaPredictors[best](ppDst[1], dstStep, edge);
    sub_sad_8x8(ppSrc[0], srcStep, ppDst[0], dstStep, coeff, kDiffStep);
    sub_sad_8x8(ppSrc[1], srcStep, ppDst[1], dstStep, coeff + 64, kDiffStep);
    const Vek32u count_u = transform_quant_fwd(coeff, coeff, QP, true);
    // V moves down into U's place when U has nothing, keeping coded blocks packed.
    Vek16s* const v_block = count_u ? coeff + 64 : coeff;
    const Vek32u count_v = transform_quant_fwd(coeff + 64, v_block, QP, true);
    Vek32u cbp = 0;
    if (count_u) {
        transform_quant_add_inv(coeff, ppDst[0], dstStep, frame_scan_count(coeff), QP);
        cbp |= 1;
        coeff += 64;
    }
    if (count_v) {
        transform_quant_add_inv(coeff, ppDst[1], dstStep, frame_scan_count(coeff), QP);
        cbp |= 2;
        coeff += 64;
    }
    if (cbp) *ppDstCoeff = coeff;
    *pCbp = cbp;
    return vekStsOk;
}
