// Reconstruction of a whole 4:2:0 8-bit macroblock from the coefficients the
// CAVLC functions left behind one another: prediction (intra) and residual,
// walking the coded-block word and moving the caller's coefficient pointer.
#include <array>
#include <cstddef>

#include "h264/intra_pred.h"
#include "h264/residual.h"

namespace vek::h264 {

namespace {

// Stands in for an absent DC block: 32 zero bytes.
alignas(32) constexpr Vek16s zeroArray[16] = {};

// Position of each luma 4x4 block, by coded number, in samples.
constexpr std::array<Vek8u, 16> kBlockX = {0, 4, 0, 4, 8, 12, 8, 12, 0, 4, 0, 4, 8, 12, 8, 12};
constexpr std::array<Vek8u, 16> kBlockY = {0, 0, 4, 4, 0, 0, 4, 4, 8, 8, 12, 12, 8, 8, 12, 12};

// Inside a macroblock: blocks on the left column, on the top row, and blocks
// whose above-right neighbour is decoded before them.
constexpr std::array<Vek8u, 16> left_edge_tab16 = {1, 0, 1, 0, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0};
constexpr std::array<Vek8u, 16> top_edge_tab16 = {1, 1, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
constexpr std::array<Vek8u, 16> above_right_avail_4x4 = {1, 1, 1, 0, 1, 1, 1, 0, 1, 1, 1, 0, 1, 0, 1, 0};

constexpr Vek32s kLumaBits = 0x1FFFE;
constexpr Vek32s kLumaBitsWithDc = 0x1FFFF;
constexpr Vek32s kChromaBits = 0x7FE0000;

inline Vek8u* block_at(Vek8u* plane, Vek32s step, int n) {
    return plane + static_cast<std::ptrdiff_t>(kBlockY[n]) * step + kBlockX[n];
}

// Two side-by-side blocks that both carry a DC: `coded` has bit 0 for the left
// block's AC levels and bit 1 for the right one's. One pair kernel when both or
// neither are coded, else one kernel each. Returns the cursor behind the
// levels used.
inline Vek16s* pair_with_dc(const ResidualTable& res, Vek8u* blk, Vek32s step, Vek16s* coeffs, const Vek16s* dc,
                            Vek32u coded, Vek32s qp) {
    switch (coded) {
    case 3: res.dc_ac2(blk, step, coeffs, dc, blk, step, qp); return coeffs + 32;
    case 0: res.no_ac2(blk, step, dc, blk, step); return coeffs;
    case 1:
        res.dc_ac(blk, step, coeffs, dc[0], blk, step, qp);
        res.no_ac(blk + 4, step, dc[1], blk + 4, step);
        return coeffs + 16;
    default:
        res.no_ac(blk, step, dc[0], blk, step);
        res.dc_ac(blk + 4, step, coeffs, dc[1], blk + 4, step, qp);
        return coeffs + 16;
    }
}

// Availability word of coded block n of a full macroblock (1 top, 2 left,
// 32 top-left, 64 top-right), from the macroblock's edge type.
Vek32s block_availability(int n, Vek32u edgeType) {
    const bool top = !(edgeType & VEKVC_TOP_EDGE), left = !(edgeType & VEKVC_LEFT_EDGE);
    const bool corner = !(edgeType & VEKVC_TOP_LEFT_EDGE), right = !(edgeType & VEKVC_TOP_RIGHT_EDGE);
    switch (n) {
    case 0: return (top ? 65 : 0) + (left ? 2 : 0) + (corner ? 32 : 0);
    case 1: case 4: return (top ? 97 : 0) + 2;
    case 2: case 8: case 10: return 65 + (left ? 34 : 0);
    case 5: return (top ? 33 : 0) + (right ? 64 : 0) + 2;
    case 6: case 9: case 12: case 14: return 99;
    default: return 35;  // 3, 7, 11, 13, 15: the above-right block comes later
    }
}

// The same, worked out from the position tables, for the half macroblock.
Vek32s half_block_availability(int n, Vek32u edgeType) {
    const bool top = !(top_edge_tab16[n] && (edgeType & VEKVC_TOP_EDGE));
    const bool left = !(left_edge_tab16[n] && (edgeType & VEKVC_LEFT_EDGE));
    const bool corner = n == 0 ? !(edgeType & VEKVC_TOP_LEFT_EDGE) : (top && left);
    const bool right = n == 5 ? !(edgeType & VEKVC_TOP_RIGHT_EDGE) : (top && above_right_avail_4x4[n]);
    return (top ? kAvailTop : 0) | (left ? kAvailLeft : 0) | (corner ? kAvailTopLeft : 0) |
           (right ? kAvailTopRight : 0);
}

// Intra 4x4 luma over coded blocks [0, count): each block predicts from its
// finished neighbours, then gets its residual.
VekStatus reconstruct_intra4x4(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s step, const Vek32s* pMBIntraTypes,
                               Vek32u cbp4x4, Vek32s qp, Vek32u edgeType, int count, bool half) {
    const IntraPredTable& pred = intra_pred_kernels();
    const ResidualTable& res = residual_kernels();
    Vek16s* coeffs = *ppSrcCoeff;
    bool fell_back = false;
    for (int n = 0; n < count; ++n) {
        Vek8u* blk = block_at(pSrcDstY, step, n);
        const Vek32s avail = half ? half_block_availability(n, edgeType) : block_availability(n, edgeType);
        // Modes are the caller's to keep in 0..8.
        if (pred.luma4x4[pMBIntraTypes[n]](blk, step, avail) != vekStsOk) fell_back = true;
        if (cbp4x4 & (2u << n)) {
            res.no_dc(blk, step, coeffs, blk, step, qp);
            coeffs += 16;
        }
    }
    *ppSrcCoeff = coeffs;
    return fell_back ? vekStsNeighbourFallbackWrn : vekStsOk;
}

}  // namespace

}  // namespace vek::h264

using namespace vek::h264;

VekStatus vekiReconstructLumaInterMB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                    Vek32u cbp4x4, Vek32u QP) {
    if (!ppSrcCoeff || !pSrcDstY || !*ppSrcCoeff) return vekStsNullPtrErr;
    if (QP > 51) return vekStsOutOfRangeErr;
    if (!(cbp4x4 & kLumaBits)) return vekStsOk;
    const ResidualTable& res = residual_kernels();
    const Vek32s qp = static_cast<Vek32s>(QP);
    Vek16s* coeffs = *ppSrcCoeff;
    // Blocks 2k and 2k + 1 sit side by side; a pair both coded is one call.
    for (int n = 0; n < 16; n += 2) {
        Vek8u* blk = block_at(pSrcDstY, srcDstStep, n);
        switch ((cbp4x4 >> (n + 1)) & 3) {
        case 3:
            res.no_dc2(blk, srcDstStep, coeffs, blk, srcDstStep, qp);
            coeffs += 32;
            break;
        case 1:
            res.no_dc(blk, srcDstStep, coeffs, blk, srcDstStep, qp);
            coeffs += 16;
            break;
        case 2:
            res.no_dc(blk + 4, srcDstStep, coeffs, blk + 4, srcDstStep, qp);
            coeffs += 16;
            break;
        default: break;
        }
    }
    *ppSrcCoeff = coeffs;
    return vekStsOk;
}

VekStatus vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                         Vek32u intra16x16PredMode, Vek32u cbp4x4, Vek32u QP,
                                                         Vek8u edgeType) {
    if (!ppSrcCoeff || !pSrcDstY || !*ppSrcCoeff) return vekStsNullPtrErr;
    if (QP > 51) return vekStsOutOfRangeErr;
    const Vek32s avail = availability_from_edge_type(edgeType);
    // Vertical, horizontal and plane fail at once without their neighbours;
    // DC adapts to what is there.
    if (missing_16x16_neighbour(intra16x16PredMode, avail)) return vekStsNeighbourUnavailableErr;
    if (intra16x16PredMode > 3) return vekStsOutOfRangeErr;
    intra_pred_kernels().luma16x16[intra16x16PredMode](pSrcDstY, srcDstStep, avail);
    if (!(cbp4x4 & kLumaBitsWithDc)) return vekStsOk;

    const ResidualTable& res = residual_kernels();
    Vek16s* coeffs = *ppSrcCoeff;
    const Vek16s* dcs = zeroArray;
    if (cbp4x4 & 1) {
        res.luma_dc(coeffs, static_cast<Vek32s>(QP));
        dcs = coeffs;
        coeffs += 16;
    }
    const Vek32s qp = static_cast<Vek32s>(QP);
    for (int n = 0; n < 16; n += 2) {
        Vek8u* blk = block_at(pSrcDstY, srcDstStep, n);
        // The DCs are in raster order of the blocks, so a pair's are adjacent.
        const Vek16s* dc = dcs + (kBlockY[n] / 4) * 4 + kBlockX[n] / 4;
        coeffs = pair_with_dc(res, blk, srcDstStep, coeffs, dc, (cbp4x4 >> (n + 1)) & 3, qp);
    }
    *ppSrcCoeff = coeffs;
    return vekStsOk;
}

VekStatus vekiReconstructLumaIntraMB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                    const Vek32s* pMBIntraTypes, Vek32u cbp4x4, Vek32u QP,
                                                    Vek8u edgeType) {
    if (!ppSrcCoeff || !pSrcDstY) return vekStsNullPtrErr;
    if (!pMBIntraTypes || !*ppSrcCoeff) return vekStsNullPtrErr;
    if (QP > 51) return vekStsOutOfRangeErr;
    return reconstruct_intra4x4(ppSrcCoeff, pSrcDstY, srcDstStep, pMBIntraTypes, cbp4x4, static_cast<Vek32s>(QP),
                                edgeType, 16, false);
}

VekStatus vekiReconstructLumaIntraHalfMB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                        const Vek32s* pMBIntraTypes, Vek32u cbp4x4, Vek32u QP,
                                                        Vek8u edgeType) {
    if (!ppSrcCoeff || !pSrcDstY) return vekStsNullPtrErr;
    if (!pMBIntraTypes || !*ppSrcCoeff) return vekStsNullPtrErr;
    if (srcDstStep < 1) return vekStsStepErr;
    if (QP > 51) return vekStsOutOfRangeErr;
    return reconstruct_intra4x4(ppSrcCoeff, pSrcDstY, srcDstStep, pMBIntraTypes, cbp4x4, static_cast<Vek32s>(QP),
                                edgeType, 8, true);
}

VekStatus vekiReconstructChromaInterMB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU, Vek8u* pSrcDstV,
                                                      Vek32s srcDstStep, Vek32u cbp4x4, Vek32u chromaQP) {
    if (!ppSrcCoeff || !pSrcDstU || !pSrcDstV || !*ppSrcCoeff) return vekStsNullPtrErr;
    if (chromaQP > 39) return vekStsOutOfRangeErr;
    if (!(cbp4x4 & kChromaBits)) return vekStsOk;
    const ResidualTable& res = residual_kernels();
    const Vek32s qp = static_cast<Vek32s>(chromaQP);
    Vek16s* coeffs = *ppSrcCoeff;
    const Vek16s* dcs[2] = {zeroArray, zeroArray};
    for (int c = 0; c < 2; ++c) {
        if (!(cbp4x4 & (1u << (17 + c)))) continue;
        transform_dequant_chroma_dc(coeffs, qp);
        dcs[c] = coeffs;
        coeffs += 4;
    }
    Vek8u* planes[2] = {pSrcDstU, pSrcDstV};
    // All four blocks get their residual, even with a zero DC and no AC; the
    // blocks 2k and 2k + 1 of a plane sit side by side and go as a pair.
    for (int c = 0; c < 2; ++c)
        for (int b = 0; b < 4; b += 2) {
            Vek8u* blk = planes[c] + static_cast<std::ptrdiff_t>(b >> 1) * 4 * srcDstStep;
            const Vek16s* dc = dcs[c] + b;
            coeffs = pair_with_dc(res, blk, srcDstStep, coeffs, dc, (cbp4x4 >> (19 + 4 * c + b)) & 3, qp);
        }
    *ppSrcCoeff = coeffs;
    return vekStsOk;
}

VekStatus vekiReconstructChromaIntraMB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU, Vek8u* pSrcDstV,
                                                      Vek32s srcDstStep, Vek32u intraChromaPredMode, Vek32u cbp4x4,
                                                      Vek32u chromaQP, Vek8u edgeType) {
    if (!ppSrcCoeff || !pSrcDstU || !pSrcDstV || !*ppSrcCoeff) return vekStsNullPtrErr;
    if (chromaQP > 39) return vekStsOutOfRangeErr;
    if (intraChromaPredMode > 3) return vekStsOutOfRangeErr;
    const VekStatus st = predict_chroma_planes(intra_pred_kernels(), intraChromaPredMode, pSrcDstU, pSrcDstV,
                                               srcDstStep, availability_from_edge_type(edgeType));
    if (st != vekStsOk) return vekStsNeighbourUnavailableErr;
    return vekiReconstructChromaInterMB_H264_16s8u_P2R(ppSrcCoeff, pSrcDstU, pSrcDstV, srcDstStep, cbp4x4, chromaQP);
}

namespace {

// DC prediction of one 8x8 chroma plane whose upper and lower halves may have
// different left neighbours: each 4x4 quadrant from the sums of the four
// samples above it and the four to its left that are there.
void predict_chroma_dc_halves(Vek8u* p, Vek32s step, bool top, bool left_upper, bool left_lower) {
    int t[2] = {0, 0}, l[2] = {0, 0};
    for (int i = 0; i < 4; ++i) {
        if (top) {
            t[0] += p[-step + i];
            t[1] += p[-step + 4 + i];
        }
        if (left_upper) l[0] += p[static_cast<std::ptrdiff_t>(i) * step - 1];
        if (left_lower) l[1] += p[static_cast<std::ptrdiff_t>(4 + i) * step - 1];
    }
    auto top_dc = [&](int q) { return (t[q] + 2) >> 2; };
    auto left_dc = [&](int q) { return (l[q] + 2) >> 2; };
    // Upper-left and lower-right use both sums when they can; upper-right
    // prefers the top, lower-left the left.
    const int dcs[4] = {
        top && left_upper ? (t[0] + l[0] + 4) >> 3 : top ? top_dc(0) : left_upper ? left_dc(0) : 128,
        top ? top_dc(1) : left_upper ? left_dc(0) : 128,
        left_lower ? left_dc(1) : top ? top_dc(0) : 128,
        top && left_lower ? (t[1] + l[1] + 4) >> 3 : top ? top_dc(1) : left_lower ? left_dc(1) : 128,
    };
    for (int qy = 0; qy < 2; ++qy)
        for (int qx = 0; qx < 2; ++qx) {
            const int dc = dcs[qy * 2 + qx];
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 4; ++x)
                    p[static_cast<std::ptrdiff_t>(qy * 4 + y) * step + qx * 4 + x] = static_cast<Vek8u>(dc);
        }
}

}  // namespace

VekStatus vekiReconstructChromaIntraHalfsMB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU, Vek8u* pSrcDstV,
                                                           Vek32s srcDstStep, Vek32u intraChromaPredMode,
                                                           Vek32u cbp4x4, Vek32u chromaQP, Vek8u edgeTypeTop,
                                                           Vek8u edgeTypeBottom) {
    if (!ppSrcCoeff || !pSrcDstU || !pSrcDstV || !*ppSrcCoeff) return vekStsNullPtrErr;
    // A wider range than the other chroma functions; the inter step at the end
    // refuses 40 to 51 after the prediction has been written.
    if (chromaQP > 51) return vekStsOutOfRangeErr;
    const bool top = !(edgeTypeTop & VEKVC_TOP_EDGE);
    Vek8u* planes[2] = {pSrcDstU, pSrcDstV};
    if (intraChromaPredMode == 2) {
        if (!top) return vekStsNeighbourUnavailableErr;
        for (Vek8u* p : planes)
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x) p[static_cast<std::ptrdiff_t>(y) * srcDstStep + x] = p[x - srcDstStep];
    } else if (intraChromaPredMode != 0) {
        // Horizontal and plane prediction are not offered in this form.
        return vekStsNeighbourUnavailableErr;
    } else {
        const bool left_upper = !(edgeTypeTop & VEKVC_LEFT_EDGE), left_lower = !(edgeTypeBottom & VEKVC_LEFT_EDGE);
        for (Vek8u* p : planes) predict_chroma_dc_halves(p, srcDstStep, top, left_upper, left_lower);
    }
    return vekiReconstructChromaInterMB_H264_16s8u_P2R(ppSrcCoeff, pSrcDstU, pSrcDstV, srcDstStep, cbp4x4, chromaQP);
}

VekStatus vekiReconstructChromaIntraHalvesMB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU, Vek8u* pSrcDstV,
                                                            Vek32s srcDstStep, Vek32u intraChromaPredMode,
                                                            Vek32u cbp4x4, Vek32u chromaQP, Vek8u edgeTypeTop,
                                                            Vek8u edgeTypeBottom) {
    return vekiReconstructChromaIntraHalfsMB_H264_16s8u_P2R(ppSrcCoeff, pSrcDstU, pSrcDstV, srcDstStep,
                                                            intraChromaPredMode, cbp4x4, chromaQP, edgeTypeTop,
                                                            edgeTypeBottom);
}
