// H.264 residual dequantisation and inverse transforms: reference kernels,
// their table, the DC transforms and the exported shells.
#include "h264/residual.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/dispatch.h"
#include "vekvc.h"

namespace vek::h264 {

namespace {

// The two arithmetic widths of the transform stages.
struct Wrap16 {
    static Vek16s add(Vek32s a, Vek32s b) { return static_cast<Vek16s>(a + b); }
    static Vek16s sub(Vek32s a, Vek32s b) { return static_cast<Vek16s>(a - b); }
};
struct Saturate16 {
    static Vek16s add(Vek32s a, Vek32s b) { return static_cast<Vek16s>(std::clamp(a + b, -32768, 32767)); }
    static Vek16s sub(Vek32s a, Vek32s b) { return static_cast<Vek16s>(std::clamp(a - b, -32768, 32767)); }
};
// 32-bit wrapping, computed unsigned so that an overflow stays defined.
struct Wrap32 {
    static Vek32s add(Vek32s a, Vek32s b) {
        return static_cast<Vek32s>(static_cast<Vek32u>(a) + static_cast<Vek32u>(b));
    }
    static Vek32s sub(Vek32s a, Vek32s b) {
        return static_cast<Vek32s>(static_cast<Vek32u>(a) - static_cast<Vek32u>(b));
    }
};

// One pass of the inverse core over x0..x3, four values `stride` apart.
template <class Arith, class T>
void inverse_pass(T* x, int stride) {
    const T x0 = x[0], x1 = x[stride], x2 = x[2 * stride], x3 = x[3 * stride];
    const T e0 = Arith::add(x0, x2), e1 = Arith::sub(x0, x2);
    const T e2 = Arith::sub(x1 >> 1, x3), e3 = Arith::add(x1, x3 >> 1);
    x[0] = Arith::add(e0, e3);
    x[stride] = Arith::add(e1, e2);
    x[2 * stride] = Arith::sub(e1, e2);
    x[3 * stride] = Arith::sub(e0, e3);
}

// Rows, then columns, then (x + 32) >> 6.
template <class Arith, class T>
void inverse_core(T* b) {
    for (int r = 0; r < 4; ++r) inverse_pass<Arith>(b + 4 * r, 1);
    for (int c = 0; c < 4; ++c) inverse_pass<Arith>(b + c, 4);
    for (int k = 0; k < 16; ++k) b[k] = Arith::add(b[k], 32) >> 6;
}

template <class T>
T* row_at(T* p, Vek32s step, int y) {
    using Byte = std::conditional_t<std::is_const_v<T>, const std::uint8_t, std::uint8_t>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(p) + static_cast<std::ptrdiff_t>(step) * y);
}

// Samples plus residual, a 16-bit saturating sum clipped to 0..255. The whole
// prediction is read before the first write, so pred and dst may be one block.
void add_to_prediction(const Vek8u* pred, Vek32s predStep, const Vek16s* residual, Vek8u* dst, Vek32s dstStep) {
    Vek8u out[16];
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const Vek16s sum = Saturate16::add(row_at(pred, predStep, y)[x], residual[4 * y + x]);
            out[4 * y + x] = static_cast<Vek8u>(std::clamp<Vek32s>(sum, 0, 255));
        }
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) row_at(dst, dstStep, y)[x] = out[4 * y + x];
}

Vek16s dequant(Vek16s level, Vek32s qp, int k) { return static_cast<Vek16s>(level * kLevelScale[qp].factor[k]); }

VekStatus residual_no_dc_c(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek8u* dst, Vek32s dstStep,
                           Vek32s qp) {
    Vek16s b[16];
    for (int k = 0; k < 16; ++k) b[k] = dequant(coeffs[k], qp, k);
    inverse_core<Saturate16>(b);
    std::copy(b, b + 16, coeffs);
    add_to_prediction(pred, predStep, b, dst, dstStep);
    return vekStsOk;
}

VekStatus residual_dc_ac_c(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek16s dc, Vek8u* dst,
                           Vek32s dstStep, Vek32s qp) {
    Vek16s b[16];
    b[0] = dc;
    for (int k = 1; k < 16; ++k) b[k] = dequant(coeffs[k], qp, k);
    inverse_core<Saturate16>(b);
    std::copy(b, b + 16, coeffs);
    add_to_prediction(pred, predStep, b, dst, dstStep);
    return vekStsOk;
}

VekStatus residual_no_ac_c(const Vek8u* pred, Vek32s predStep, Vek16s dc, Vek8u* dst, Vek32s dstStep) {
    Vek16s b[16];
    std::fill(b, b + 16, static_cast<Vek16s>(Saturate16::add(dc, 32) >> 6));
    add_to_prediction(pred, predStep, b, dst, dstStep);
    return vekStsOk;
}

// Out-of-range QP and QS of the SP/SI forms aren't refused; they only must
// not read beside the tables.
int table_qp(Vek32s qp) { return std::clamp(qp, 0, kQpCount - 1); }

// Requantisation of the SP/SI forms: |sum| * qc + round, >> qbits, times
// the factor, with the sum's sign (positive only above 0), in 16 bits.
Vek16s requantise(std::int64_t sum, std::int64_t qc, int qbits, std::int64_t factor) {
    const std::int64_t round = std::int64_t{1} << (qbits - 1);
    const std::int64_t mag = (((sum < 0 ? -sum : sum) * qc + round) >> qbits) * factor;
    return static_cast<Vek16s>(static_cast<Vek32u>(sum > 0 ? mag : -mag));
}

}  // namespace

ResidualTable make_residual_table(CpuFlags flags) {
    ResidualTable t{residual_no_dc_c,
                    residual_dc_ac_c,
                    residual_no_ac_c,
                    &residual_no_dc_pair<residual_no_dc_c>,
                    &residual_dc_ac_pair<residual_dc_ac_c>,
                    &residual_no_ac_pair<residual_no_ac_c>,
                    transform_dequant_luma_dc};
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_residual_table_sse41, init_residual_table_avx2);
    assert(t.no_dc && t.dc_ac && t.no_ac && t.no_dc2 && t.dc_ac2 && t.no_ac2 && t.luma_dc);
    return t;
}

namespace {
// Built once while the library loads, never changed afterwards.
const ResidualTable kResidualKernels = make_residual_table(cpu_flags());
}  // namespace

const ResidualTable& residual_kernels() { return kResidualKernels; }

void transform_dequant_luma_dc(Vek16s* dc, Vek32s qp) {
    // H is symmetric, so H X H is the 4-point Hadamard on rows, then on columns.
    const auto hadamard = [](Vek16s* x, int stride) {
        const Vek32s a = x[0], b = x[stride], c = x[2 * stride], d = x[3 * stride];
        x[0] = static_cast<Vek16s>(a + b + c + d);
        x[stride] = static_cast<Vek16s>(a + b - c - d);
        x[2 * stride] = static_cast<Vek16s>(a - b - c + d);
        x[3 * stride] = static_cast<Vek16s>(a - b + c - d);
    };
    for (int r = 0; r < 4; ++r) hadamard(dc + 4 * r, 1);
    for (int c = 0; c < 4; ++c) hadamard(dc + c, 4);
    const Vek32s factor = InvQuantLuma16x16DCTable[qp], n = luma_dc_shift(qp);
    for (int k = 0; k < 16; ++k) dc[k] = static_cast<Vek16s>((dc[k] * factor + n) >> n);
}

void transform_dequant_chroma_dc(Vek16s* dc, Vek32s qp) {
    const Vek32s a0 = dc[0], a1 = dc[1], a2 = dc[2], a3 = dc[3];
    const Vek16s sums[4] = {static_cast<Vek16s>(a0 + a1 + a2 + a3), static_cast<Vek16s>(a0 - a1 + a2 - a3),
                            static_cast<Vek16s>(a0 + a1 - a2 - a3), static_cast<Vek16s>(a0 - a1 - a2 + a3)};
    const Vek32s factor = InvQuantTable[qp][0];
    for (int i = 0; i < 4; ++i) dc[i] = static_cast<Vek16s>((sums[i] * factor) >> 1);
}

}  // namespace vek::h264

using namespace vek::h264;

VekStatus vekiDequantTransformResidual_H264_16s_C1I(Vek16s* pSrcDst, Vek32s step, const Vek16s* pDC, Vek32s AC,
                                                    Vek32s QP) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (QP < 0 || QP >= kQpCount) return vekStsOutOfRangeErr;
    if (step < 8) return vekStsStepErr;
    Vek16s b[16];
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) b[4 * y + x] = row_at(pSrcDst, step, y)[x];
    const Vek16s dc = pDC ? *pDC : static_cast<Vek16s>(b[0] * InvQuantTable[QP][0]);
    if (!AC) {
        std::fill(b, b + 16, static_cast<Vek16s>(Wrap16::add(dc, 32) >> 6));
    } else {
        b[0] = dc;
        for (int k = 1; k < 16; ++k) b[k] = static_cast<Vek16s>(b[k] * kLevelScale[QP].factor[k]);
        inverse_core<Wrap16>(b);
    }
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) row_at(pSrcDst, step, y)[x] = b[4 * y + x];
    return vekStsOk;
}

VekStatus vekiDequantTransformResidualAndAdd_H264_16s_C1I(const Vek8u* pPred, Vek16s* pSrcDst, const Vek16s* pDC,
                                                          Vek8u* pDst, Vek32s predStep, Vek32s dstStep, Vek32s QP,
                                                          Vek32s AC) {
    if (!pPred || !pDst) return vekStsNullPtrErr;
    if (QP < 0 || QP >= kQpCount) return vekStsOutOfRangeErr;
    // Without levels the block is a DC alone, which must then be given.
    if (!pSrcDst && (!pDC || AC)) return vekStsNullPtrErr;
    // The kernels return the status, so each branch ends in a jump to one.
    const ResidualTable& k = kResidualKernels;
    if (!AC)
        return k.no_ac(pPred, predStep, pDC ? *pDC : static_cast<Vek16s>(pSrcDst[0] * kLevelScale[QP].factor[0]),
                       pDst, dstStep);
    if (pDC) return k.dc_ac(pPred, predStep, pSrcDst, *pDC, pDst, dstStep, QP);
    return k.no_dc(pPred, predStep, pSrcDst, pDst, dstStep, QP);
}

VekStatus vekiDequantTransformResidual_SISP_H264_16s_C1I(Vek16s* pSrcDst, const Vek16s* pPredictCoeffs,
                                                         const Vek16s* pDC, Vek32s AC, Vek32s QP, Vek32s QS,
                                                         Vek32s Switching) {
    if (!pSrcDst || !pPredictCoeffs) return vekStsNullPtrErr;
    const int qs = table_qp(QS), qpx = Switching ? qs : table_qp(QP);
    const int qbits = qs / 6 + 15;
    Vek16s b[16];
    for (int k = 0; k < 16; ++k) {
        if (k == 0 && pDC) {
            b[0] = *pDC;  // an SP/SI DC from its own transform, taken as it is
            continue;
        }
        std::int64_t sum = pPredictCoeffs[k];
        if (k == 0 || AC) sum += (std::int64_t{pSrcDst[k]} * InvQuantTable[qpx][QuantIndex[k]] * MATR[k]) >> 6;
        b[k] = requantise(sum, QuantCoef[qs % 6][k], qbits, InvQuantTable[qs][QuantIndex[k]]);
    }
    inverse_core<Wrap16>(b);
    for (int k = 0; k < 16; ++k) pSrcDst[k] = static_cast<Vek16s>(std::clamp<Vek32s>(b[k], 0, 255));
    return vekStsOk;
}

VekStatus vekiTransformDequantChromaDC_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (QP < 0 || QP >= kQpCount) return vekStsOutOfRangeErr;
    transform_dequant_chroma_dc(pSrcDst, QP);
    return vekStsOk;
}

VekStatus vekiTransformDequantChromaDC_SISP_H264_16s_C1I(Vek16s* pSrcDst, const Vek16s* pPredictDC, Vek32s QP,
                                                         Vek32s QS, Vek32s Switching) {
    if (!pSrcDst || !pPredictDC) return vekStsNullPtrErr;
    const int qs = table_qp(QS), qpx = Switching ? qs : table_qp(QP);
    const Vek32s p0 = pPredictDC[0], p1 = pPredictDC[1], p2 = pPredictDC[2], p3 = pPredictDC[3];
    const Vek16s pred[4] = {static_cast<Vek16s>(p0 + p1 + p2 + p3), static_cast<Vek16s>(p0 - p1 + p2 - p3),
                            static_cast<Vek16s>(p0 + p1 - p2 - p3), static_cast<Vek16s>(p0 - p1 - p2 + p3)};
    Vek32s l[4];
    for (int i = 0; i < 4; ++i) {
        const std::int64_t sum = pred[i] + ((std::int64_t{pSrcDst[i]} * InvQuantTable[qpx][0]) >> 1);
        // One more bit of shift than the 4x4 form: the 2x2 transform's own scale.
        l[i] = requantise(sum, QuantCoef[qs % 6][0], qs / 6 + 16, InvQuantTable[qs][0]);
    }
    pSrcDst[0] = static_cast<Vek16s>((l[0] + l[1] + l[2] + l[3]) >> 1);
    pSrcDst[1] = static_cast<Vek16s>((l[0] - l[1] + l[2] - l[3]) >> 1);
    pSrcDst[2] = static_cast<Vek16s>((l[0] + l[1] - l[2] - l[3]) >> 1);
    pSrcDst[3] = static_cast<Vek16s>((l[0] - l[1] - l[2] + l[3]) >> 1);
    return vekStsOk;
}

VekStatus vekiTransformDequantLumaDC_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (QP < 0 || QP >= kQpCount) return vekStsOutOfRangeErr;
    residual_kernels().luma_dc(pSrcDst, QP);
    return vekStsOk;
}

VekStatus vekiTransformPrediction_H264_8u16s_C1(const Vek8u* pSrc, Vek32s step, Vek16s* pDst) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    Vek32s t[16];
    const auto forward = [](Vek32s* x, int stride) {
        const Vek32s s0 = x[0] + x[3 * stride], d0 = x[0] - x[3 * stride];
        const Vek32s s1 = x[stride] + x[2 * stride], d1 = x[stride] - x[2 * stride];
        x[0] = s0 + s1;
        x[stride] = 2 * d0 + d1;
        x[2 * stride] = s0 - s1;
        x[3 * stride] = d0 - 2 * d1;
    };
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) t[4 * y + x] = row_at(pSrc, step, y)[x];
    for (int r = 0; r < 4; ++r) forward(t + 4 * r, 1);
    for (int c = 0; c < 4; ++c) forward(t + c, 4);
    for (int k = 0; k < 16; ++k) pDst[k] = static_cast<Vek16s>(t[k]);  // 8-bit input keeps every value in 16 bits
    return vekStsOk;
}

VekStatus vekiTransformResidual4x4Inv_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    Vek16s b[16];
    std::copy(pSrc, pSrc + 16, b);
    inverse_core<Wrap16>(b);
    std::copy(b, b + 16, pDst);
    return vekStsOk;
}

VekStatus vekiTransformResidual4x4Inv_H264_32s_C1(const Vek32s* pSrc, Vek32s* pDst) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    Vek32s b[16];
    std::copy(pSrc, pSrc + 16, b);
    inverse_core<Wrap32>(b);
    std::copy(b, b + 16, pDst);
    return vekStsOk;
}
