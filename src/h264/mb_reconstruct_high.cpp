// High macroblock reconstruction: the 8x8 transform, the caller's level scale
// tables and the lossless bypass, on 16-bit samples with 32-bit coefficients
// and on 8-bit samples with 16-bit coefficients.
#include <cstddef>
#include <cstdint>

#include "h264/intra_pred.h"
#include "h264/mb_reconstruct_high.h"
#include "h264/transform_high.h"
#include "vekvc.h"

namespace vek::h264 {

VekStatus check_high_param(const VekH264HighMBParam* p, Vek32s qpExtra, Vek32s* maxVal) {
    if (!p || !p->ppSrcDstCoeff || !p->pSrcDstPlane || !*p->ppSrcDstCoeff || !p->pQuantTable)
        return vekStsNullPtrErr;
    if (p->srcDstStep < 1) return vekStsStepErr;
    const std::int64_t limit = (std::int64_t{p->bitDepth} - 8) * 6 + qpExtra;
    if (p->QP < 0 || p->QP > limit) return vekStsOutOfRangeErr;
    // A depth past 16 bits can't be stored; the sample clip stays at 16 bits.
    const int depth = p->bitDepth > 16 ? 16 : p->bitDepth;
    *maxVal = static_cast<Vek32s>((1 << depth) - 1);
    return vekStsOk;
}

VekStatus check_high_param(const VekH264HighMBParam_8u* p, Vek32s qpExtra, Vek32s* maxVal) {
    if (!p || !p->ppSrcDstCoeff || !p->pSrcDstPlane || !*p->ppSrcDstCoeff || !p->pQuantTable)
        return vekStsNullPtrErr;
    if (p->srcDstStep < 1) return vekStsStepErr;
    if (p->QP < 0 || p->QP > qpExtra) return vekStsOutOfRangeErr;
    *maxVal = 255;
    return vekStsOk;
}

namespace {

constexpr Vek32u kLumaBits = 0x1FFFE;

// The walk over the coded 4x4 blocks, (x, y) from each block to the next,
// and over the four 8x8 blocks.
constexpr Vek8s xyoff[16][2] = {{4, 0}, {-4, 4}, {4, 0}, {4, -4}, {4, 0}, {-4, 4}, {4, 0}, {-12, 4},
                                {4, 0}, {-4, 4}, {4, 0}, {4, -4}, {4, 0}, {-4, 4}, {4, 0}, {-12, 4}};
constexpr Vek8s xyoff8[4][2] = {{8, 0}, {-8, 8}, {8, 0}, {0, 0}};

// The lossless luma residual of one macroblock through `size` x `size`
// blocks (4 or 8): each present block's levels added as they stand to the
// samples the walk points at. The dequantising path is a kernel of its own.
template <int Size, class Sample, class Level>
Level* luma_inter_lossless(Level* coeffs, Sample* plane, std::ptrdiff_t step, Vek32u cbp, Vek32s maxVal) {
    Sample* p = plane;
    for (int i = 0; i < (Size == 4 ? 16 : 4); ++i) {
        const Vek8s* off = Size == 4 ? xyoff[i] : xyoff8[i];
        if (cbp & (2u << i)) {
            add_levels_lossless(coeffs, Size, p, step, maxVal);
            coeffs += Size * Size;
        }
        p += off[0] + off[1] * step;
    }
    return coeffs;
}

template <int Size>
VekStatus luma_inter_high(const VekH264HighMBParam* p) {
    Vek32s maxVal = 0;
    if (const VekStatus st = check_high_param(p, 51, &maxVal); st != vekStsOk) return st;
    // The 8x8 forms' bits 0..3 stand for the blocks: doubled, they meet the 4x4 mask.
    const Vek32u cbp = Size == 4 ? p->cbp : p->cbp << 1;
    if (!(cbp & kLumaBits)) return vekStsOk;
    if (p->bypass && p->QP < 1) {
        *p->ppSrcDstCoeff = luma_inter_lossless<Size>(*p->ppSrcDstCoeff, p->pSrcDstPlane, p->srcDstStep, cbp, maxVal);
        return vekStsOk;
    }
    return (Size == 4 ? kTransformHighKernels.mb_inter4x4_16u : kTransformHighKernels.mb_inter8x8_16u)(
        p->ppSrcDstCoeff, p->pSrcDstPlane, p->srcDstStep, cbp, p->QP, p->pQuantTable, maxVal);
}

template <int Size>
VekStatus luma_inter_mb_8u(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep, Vek32u cbp4x4, Vek32u QP,
                           const Vek16s* pQuantTable, Vek8u bypass) {
    if (!ppSrcCoeff || !pSrcDstY || !*ppSrcCoeff || !pQuantTable) return vekStsNullPtrErr;
    if (QP > 51) return vekStsOutOfRangeErr;
    const Vek32u cbp = Size == 4 ? cbp4x4 : cbp4x4 << 1;
    if (!(cbp & kLumaBits)) return vekStsOk;
    if (bypass && QP < 1) {
        *ppSrcCoeff = luma_inter_lossless<Size>(*ppSrcCoeff, pSrcDstY, srcDstStep, cbp, 255);
        return vekStsOk;
    }
    return (Size == 4 ? kTransformHighKernels.mb_inter4x4_8u : kTransformHighKernels.mb_inter8x8_8u)(
        ppSrcCoeff, pSrcDstY, srcDstStep, cbp, static_cast<Vek32s>(QP), pQuantTable);
}

// 16x16 prediction of 16-bit samples by the H.264 formulas; the caller has
// checked that the mode's neighbours are there. DC without any neighbour is
// the middle of the range.
void predict16x16_16u(Vek16u* p, std::ptrdiff_t step, unsigned mode, Vek32s avail, Vek32s maxVal) {
    const auto at = [&](int x, int y) -> Vek16u& { return p[y * step + x]; };
    Vek32s fill = -1;
    if (mode == kIntra16x16Dc) {
        const bool top = avail & kAvailTop, left = avail & kAvailLeft;
        Vek32s st = 0, sl = 0;
        for (int i = 0; i < 16; ++i) {
            if (top) st += at(i, -1);
            if (left) sl += at(-1, i);
        }
        fill = top && left ? (st + sl + 16) >> 5 : top ? (st + 8) >> 4 : left ? (sl + 8) >> 4 : (maxVal + 1) >> 1;
    }
    Vek32s a = 0, b = 0, c = 0;
    if (mode == kIntra16x16Plane) {
        Vek32s h = 0, v = 0;
        for (int i = 0; i < 8; ++i) {
            h += (i + 1) * (at(8 + i, -1) - at(6 - i, -1));
            v += (i + 1) * (at(-1, 8 + i) - at(-1, 6 - i));
        }
        a = 16 * (at(-1, 15) + at(15, -1));
        b = (5 * h + 32) >> 6;
        c = (5 * v + 32) >> 6;
    }
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            Vek32s v = fill;
            if (mode == kIntra16x16Vertical) v = at(x, -1);
            else if (mode == kIntra16x16Horizontal) v = at(-1, y);
            else if (mode == kIntra16x16Plane) {
                v = (a + b * (x - 7) + c * (y - 7) + 16) >> 5;
                v = v < 0 ? 0 : v > maxVal ? maxVal : v;
            }
            at(x, y) = static_cast<Vek16u>(v);
        }
}

// Residual of an Intra 16x16 macroblock after its prediction. Bit 0 of cbp
// brings the 16 DC levels (raster order of the 4x4 blocks), bits 1..16 the
// blocks' AC levels (position 0 unused). Lossless, the levels stand as the
// residual, and under vertical or horizontal prediction they accumulate down
// the columns or along the rows of the whole macroblock, as the standard's
// lossless intra path does.
template <class Sample, class Level, class Kernel>
Level* intra16x16_residual(Level* coeffs, Sample* plane, std::ptrdiff_t step, Vek32u cbp, Vek32s qp,
                           const Vek16s* table, bool lossless, unsigned mode, Vek32s maxVal, Kernel kernel) {
    Vek32s dc[16] = {};
    if (cbp & 1) {
        for (int k = 0; k < 16; ++k) dc[k] = coeffs[k];
        coeffs += 16;
        if (!lossless) {
            // 4x4 Hadamard on rows, then columns, then the DC scaling.
            const auto hadamard = [](Vek32s* x, int s) {
                const Vek32s a = wadd(x[0], x[s]), b = wsub(x[0], x[s]);
                const Vek32s c = wsub(x[2 * s], x[3 * s]), d = wadd(x[2 * s], x[3 * s]);
                x[0] = wadd(a, d), x[s] = wsub(a, d), x[2 * s] = wsub(b, c), x[3 * s] = wadd(b, c);
            };
            for (int r = 0; r < 4; ++r) hadamard(dc + 4 * r, 1);
            for (int col = 0; col < 4; ++col) hadamard(dc + col, 4);
            const int s = qp / 6;
            for (Vek32s& v : dc)
                v = s >= 6 ? static_cast<Vek32s>(static_cast<Vek32u>(wmul(v, table[0])) << (s - 6))
                           : wadd(wmul(v, table[0]), 1 << (5 - s)) >> (6 - s);
        }
    }
    if (lossless) {
        Vek32s r[256];
        for (int n = 0; n < 16; ++n) {
            const int bx = kBlockPos4x4[n][0], by = kBlockPos4x4[n][1];
            const bool ac = cbp & (2u << n);
            for (int k = 0; k < 16; ++k)
                r[(by + k / 4) * 16 + bx + k % 4] = k == 0 ? dc[(by / 4) * 4 + bx / 4] : ac ? Vek32s{coeffs[k]} : 0;
            if (ac) coeffs += 16;
        }
        accumulate_lossless(r, 16, 16,
                            mode == kIntra16x16Vertical     ? LosslessDir::kVertical
                            : mode == kIntra16x16Horizontal ? LosslessDir::kHorizontal
                                                            : LosslessDir::kNone);
        add_levels_lossless(r, 16, plane, step, maxVal);
        return coeffs;
    }
    for (int n = 0; n < 16; ++n) {
        const int bx = kBlockPos4x4[n][0], by = kBlockPos4x4[n][1];
        alignas(32) Vek32s c[16] = {};
        if (cbp & (2u << n)) {
            dequant_high(coeffs, table, qp, 16, 4, c);
            coeffs += 16;
        }
        c[0] = dc[(by / 4) * 4 + bx / 4];
        kernel(c, plane + by * step + bx, step, maxVal);
    }
    return coeffs;
}

}  // namespace

}  // namespace vek::h264

using namespace vek::h264;

VekStatus vekiReconstructLumaInter4x4_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam) {
    return luma_inter_high<4>(pParam);
}

VekStatus vekiReconstructLumaInter8x8_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam) {
    return luma_inter_high<8>(pParam);
}

VekStatus vekiReconstructLumaInter4x4MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                       Vek32u cbp4x4, Vek32u QP, const Vek16s* pQuantTable,
                                                       Vek8u bypass) {
    return luma_inter_mb_8u<4>(ppSrcCoeff, pSrcDstY, srcDstStep, cbp4x4, QP, pQuantTable, bypass);
}

VekStatus vekiReconstructLumaInter8x8MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                       Vek32u cbp4x4, Vek32u QP, const Vek16s* pQuantTable,
                                                       Vek8u bypass) {
    return luma_inter_mb_8u<8>(ppSrcCoeff, pSrcDstY, srcDstStep, cbp4x4, QP, pQuantTable, bypass);
}

VekStatus vekiReconstructLumaIntra16x16_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam,
                                                            Vek32u intra16x16PredMode, Vek8u edgeType) {
    Vek32s maxVal = 0;
    if (const VekStatus st = check_high_param(pParam, 51, &maxVal); st != vekStsOk) return st;
    const Vek32s avail = availability_from_edge_type(edgeType);
    if (missing_16x16_neighbour(intra16x16PredMode, avail)) return vekStsNeighbourUnavailableErr;
    if (intra16x16PredMode > 3) return vekStsOutOfRangeErr;
    const VekH264HighMBParam& p = *pParam;
    predict16x16_16u(p.pSrcDstPlane, p.srcDstStep, intra16x16PredMode, avail, maxVal);
    if (!(p.cbp & 0x1FFFF)) return vekStsOk;
    *p.ppSrcDstCoeff = intra16x16_residual(*p.ppSrcDstCoeff, p.pSrcDstPlane, p.srcDstStep, p.cbp, p.QP,
                                           p.pQuantTable, p.bypass && p.QP < 1, intra16x16PredMode, maxVal,
                                           transform_high_kernels().inv_add4x4_16u);
    return vekStsOk;
}

VekStatus vekiReconstructLumaIntra_16x16MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep,
                                                         Vek32u intra16x16PredMode, Vek32u cbp4x4, Vek32u QP,
                                                         Vek8u edgeType, const Vek16s* pQuantTable, Vek8u bypass) {
    if (!ppSrcCoeff || !pSrcDstY || !*ppSrcCoeff || !pQuantTable) return vekStsNullPtrErr;
    if (QP > 51) return vekStsOutOfRangeErr;
    const Vek32s avail = availability_from_edge_type(edgeType);
    if (missing_16x16_neighbour(intra16x16PredMode, avail)) return vekStsNeighbourUnavailableErr;
    if (intra16x16PredMode > 3) return vekStsOutOfRangeErr;
    intra_pred_kernels().luma16x16[intra16x16PredMode](pSrcDstY, srcDstStep, avail);
    if (!(cbp4x4 & 0x1FFFF)) return vekStsOk;
    auto* k4 = transform_high_kernels().inv_add4x4_8u;
    const auto kernel = [k4](Vek32s* c, Vek8u* dst, std::ptrdiff_t step, Vek32s) {
        k4(c, dst, static_cast<Vek32s>(step));
    };
    *ppSrcCoeff = intra16x16_residual(*ppSrcCoeff, pSrcDstY, srcDstStep, cbp4x4, static_cast<Vek32s>(QP),
                                      pQuantTable, bypass && QP < 1, intra16x16PredMode, 255, kernel);
    return vekStsOk;
}

VekStatus vekiReconstructChromaInter4x4MB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU, Vek8u* pSrcDstV,
                                                         Vek32s srcDstStep, Vek32u cbp4x4, Vek32u chromaQPU,
                                                         Vek32u chromaQPV, const Vek16s* pQuantTableU,
                                                         const Vek16s* pQuantTableV, Vek8u bypass) {
    if (!ppSrcCoeff || !pSrcDstU || !pSrcDstV || !*ppSrcCoeff || !pQuantTableU || !pQuantTableV)
        return vekStsNullPtrErr;
    if (chromaQPU > 39 || chromaQPV > 39) return vekStsOutOfRangeErr;
    chroma420_mb_residual_8u(ppSrcCoeff, pSrcDstU, pSrcDstV, srcDstStep, cbp4x4, static_cast<Vek32s>(chromaQPU),
                             static_cast<Vek32s>(chromaQPV), pQuantTableU, pQuantTableV, bypass, LosslessDir::kNone);
    return vekStsOk;
}

VekStatus vekiReconstructChromaInter4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2]) {
    if (!pParams) return vekStsNullPtrErr;
    Vek32s maxVal[2] = {0, 0};
    for (int c = 0; c < 2; ++c)
        if (const VekStatus st = check_high_param(pParams[c], 39, &maxVal[c]); st != vekStsOk) return st;
    const Vek32s no_scale[2] = {0, 0};
    chroma_residual_records(pParams, maxVal, 4, no_scale, LosslessDir::kNone);
    return vekStsOk;
}
