// High macroblock reconstruction: the 8x8 transform, the caller's level scale
// tables and the lossless bypass, on 16-bit samples with 32-bit coefficients
// and on 8-bit samples with 16-bit coefficients.
#include <cstddef>
#include <cstdint>

#include "h264/intra_pred.h"
#include "h264/transform_high.h"
#include "vekvc.h"

namespace vek::h264 {

namespace {

constexpr Vek32u kLumaBits = 0x1FFFE;

// The walk over the coded 4x4 blocks, (x, y) from each block to the next,
// and over the four 8x8 blocks.
constexpr Vek8s xyoff[16][2] = {{4, 0}, {-4, 4}, {4, 0}, {4, -4}, {4, 0}, {-4, 4}, {4, 0}, {-12, 4},
                                {4, 0}, {-4, 4}, {4, 0}, {4, -4}, {4, 0}, {-4, 4}, {4, 0}, {-12, 4}};
constexpr Vek8s xyoff8[4][2] = {{8, 0}, {-8, 8}, {8, 0}, {0, 0}};
// Position of each coded 4x4 block, (x, y) in samples.
constexpr Vek8u xyblock[16][2] = {{0, 0}, {4, 0}, {0, 4}, {4, 4}, {8, 0}, {12, 0}, {8, 4}, {12, 4},
                                  {0, 8}, {4, 8}, {0, 12}, {4, 12}, {8, 8}, {12, 8}, {8, 12}, {12, 12}};

// Checks shared by the 16-bit luma functions; on success *maxVal is the
// largest sample, 2^bitDepth - 1, kept to 16 bits.
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

// Luma residual of one macroblock through `size` x `size` blocks (4 or 8):
// each present block is dequantised with the table (unless the bypass acts)
// and added to the samples the walk points at.
template <int Size, class Sample, class Level, class Kernel>
Level* luma_inter(Level* coeffs, Sample* plane, std::ptrdiff_t step, Vek32u cbp, Vek32s qp,
                  const Vek16s* pQuantTable, bool lossless, Vek32s maxVal, Kernel kernel) {
    const TransformHighTable& k = transform_high_kernels();
    constexpr int kBlocks = Size == 4 ? 16 : 4;
    constexpr int kCount = Size * Size;
    Sample* p = plane;
    for (int i = 0; i < kBlocks; ++i) {
        const Vek8s* off = Size == 4 ? xyoff[i] : xyoff8[i];
        if (cbp & (2u << i)) {
            if (lossless) {
                add_levels_lossless(coeffs, Size, p, step, maxVal);
            } else {
                alignas(32) Vek32s c[kCount];
                if constexpr (sizeof(Level) == 2)
                    k.dequant_16s(coeffs, pQuantTable, qp, kCount, c);
                else
                    k.dequant_32s(coeffs, pQuantTable, qp, kCount, c);
                kernel(c, p, step, maxVal);
            }
            coeffs += kCount;
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
    const TransformHighTable& k = transform_high_kernels();
    auto* kernel = Size == 4 ? k.inv_add4x4_16u : k.inv_add8x8_16u;
    *p->ppSrcDstCoeff = luma_inter<Size>(*p->ppSrcDstCoeff, p->pSrcDstPlane, p->srcDstStep, cbp, p->QP,
                                         p->pQuantTable, p->bypass && p->QP < 1, maxVal, kernel);
    return vekStsOk;
}

template <int Size>
VekStatus luma_inter_mb_8u(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY, Vek32s srcDstStep, Vek32u cbp4x4, Vek32u QP,
                           const Vek16s* pQuantTable, Vek8u bypass) {
    if (!ppSrcCoeff || !pSrcDstY || !*ppSrcCoeff || !pQuantTable) return vekStsNullPtrErr;
    if (QP > 51) return vekStsOutOfRangeErr;
    const Vek32u cbp = Size == 4 ? cbp4x4 : cbp4x4 << 1;
    if (!(cbp & kLumaBits)) return vekStsOk;
    const TransformHighTable& k = transform_high_kernels();
    auto* k8 = Size == 4 ? k.inv_add4x4_8u : k.inv_add8x8_8u;
    const auto kernel = [k8](Vek32s* c, Vek8u* dst, std::ptrdiff_t step, Vek32s) {
        k8(c, dst, static_cast<Vek32s>(step));
    };
    *ppSrcCoeff = luma_inter<Size>(*ppSrcCoeff, pSrcDstY, srcDstStep, cbp, static_cast<Vek32s>(QP), pQuantTable,
                                   bypass && QP < 1, 255, kernel);
    return vekStsOk;
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
            const int bx = xyblock[n][0], by = xyblock[n][1];
            const bool ac = cbp & (2u << n);
            for (int k = 0; k < 16; ++k)
                r[(by + k / 4) * 16 + bx + k % 4] = k == 0 ? dc[(by / 4) * 4 + bx / 4] : ac ? Vek32s{coeffs[k]} : 0;
            if (ac) coeffs += 16;
        }
        if (mode == kIntra16x16Vertical)
            for (int i = 16; i < 256; ++i) r[i] = wadd(r[i], r[i - 16]);
        else if (mode == kIntra16x16Horizontal)
            for (int i = 0; i < 256; ++i)
                if (i % 16) r[i] = wadd(r[i], r[i - 1]);
        add_levels_lossless(r, 16, plane, step, maxVal);
        return coeffs;
    }
    for (int n = 0; n < 16; ++n) {
        const int bx = xyblock[n][0], by = xyblock[n][1];
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

// One 4:2:0 chroma plane's walk state: its cursor, samples, scaling and the
// DC of each of its four blocks.
template <class Sample, class Level>
struct ChromaPlane {
    Level** cursor;
    Sample* samples;
    std::ptrdiff_t step;
    Vek32s maxVal;
    Vek32s qp;
    const Vek16s* table;
    bool lossless;
    bool has_dc;
    Vek32u ac;  // bit b: block b (raster) holds AC levels
    Vek32s dc[4];
};

// Residual of both 4:2:0 chroma planes in the order the levels lie: the DC
// blocks of U and V (a 2x2 Hadamard, then (f * scale << qp / 6) >> 5), then
// the four blocks of U and of V. Each plane reads through its own cursor,
// re-read at each step, so the two may share one.
template <class Sample, class Level, class Kernel>
void chroma420_residual(ChromaPlane<Sample, Level>* planes, Kernel kernel) {
    const TransformHighTable& k = transform_high_kernels();
    for (int c = 0; c < 2; ++c) {
        ChromaPlane<Sample, Level>& pl = planes[c];
        for (Vek32s& v : pl.dc) v = 0;
        if (!pl.has_dc) continue;
        const Level* l = *pl.cursor;
        *pl.cursor += 4;
        for (int i = 0; i < 4; ++i) pl.dc[i] = l[i];
        if (pl.lossless) continue;
        const Vek32s a = wadd(l[0], l[1]), b = wsub(l[0], l[1]), cc = wadd(l[2], l[3]), d = wsub(l[2], l[3]);
        const Vek32s f[4] = {wadd(a, cc), wadd(b, d), wsub(a, cc), wsub(b, d)};
        const int sh = pl.qp / 6;
        for (int i = 0; i < 4; ++i)
            pl.dc[i] = (sh > 31 ? 0 : static_cast<Vek32s>(static_cast<Vek32u>(wmul(f[i], pl.table[0])) << sh)) >> 5;
    }
    for (int c = 0; c < 2; ++c) {
        ChromaPlane<Sample, Level>& pl = planes[c];
        for (int b = 0; b < 4; ++b) {
            alignas(32) Vek32s co[16] = {};
            const bool ac = (pl.ac >> b) & 1;
            if (ac) {
                const Level* l = *pl.cursor;
                *pl.cursor += 16;
                if (pl.lossless) {
                    for (int i = 1; i < 16; ++i) co[i] = l[i];
                } else if constexpr (sizeof(Level) == 2) {
                    k.dequant_16s(l, pl.table, pl.qp, 16, co);
                } else {
                    k.dequant_32s(l, pl.table, pl.qp, 16, co);
                }
            }
            co[0] = pl.dc[b];
            Sample* blk = pl.samples + (b >> 1) * 4 * pl.step + (b & 1) * 4;
            if (pl.lossless)
                add_levels_lossless(co, 4, blk, pl.step, pl.maxVal);
            else if (ac || co[0])
                kernel(co, blk, pl.step, pl.maxVal);
        }
    }
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
    if (!(cbp4x4 & 0x7FE0000)) return vekStsOk;
    const Vek32s qu = static_cast<Vek32s>(chromaQPU), qv = static_cast<Vek32s>(chromaQPV);
    ChromaPlane<Vek8u, Vek16s> planes[2] = {
        {ppSrcCoeff, pSrcDstU, srcDstStep, 255, qu, pQuantTableU, bypass && qu < 1, ((cbp4x4 >> 17) & 1) != 0, (cbp4x4 >> 19) & 15, {}},
        {ppSrcCoeff, pSrcDstV, srcDstStep, 255, qv, pQuantTableV, bypass && qv < 1, ((cbp4x4 >> 18) & 1) != 0, (cbp4x4 >> 23) & 15, {}},
    };
    auto* k4 = transform_high_kernels().inv_add4x4_8u;
    chroma420_residual(planes, [k4](Vek32s* c, Vek8u* dst, std::ptrdiff_t step, Vek32s) {
        k4(c, dst, static_cast<Vek32s>(step));
    });
    return vekStsOk;
}

VekStatus vekiReconstructChromaInter4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2]) {
    if (!pParams) return vekStsNullPtrErr;
    Vek32s maxVal[2] = {0, 0};
    for (int c = 0; c < 2; ++c)
        if (const VekStatus st = check_high_param(pParams[c], 39, &maxVal[c]); st != vekStsOk) return st;
    ChromaPlane<Vek16u, Vek32s> planes[2];
    bool any = false;
    for (int c = 0; c < 2; ++c) {
        const VekH264HighMBParam& p = *pParams[c];
        planes[c] = {p.ppSrcDstCoeff, p.pSrcDstPlane, p.srcDstStep, maxVal[c], p.QP, p.pQuantTable,
                     p.bypass && p.QP < 1, (p.cbp & 1) != 0, (p.cbp >> 1) & 15, {}};
        any = any || (p.cbp & 0x1F);
    }
    if (!any) return vekStsOk;
    chroma420_residual(planes, transform_high_kernels().inv_add4x4_16u);
    return vekStsOk;
}
