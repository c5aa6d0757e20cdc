// MPEG-4 inverse quantisation: the caller-held records and the in-place
// intra and inter functions, with either the weight-matrix method (and its
// mismatch control) or the plain QP method, saturated to the bit depth.
#include "mpeg4/quant_inv.h"

#include <cstdint>

namespace vek::mpeg4 {
namespace {

VekStatus init_record(void* memory, const Vek8u* matrix, Vek32s bit_depth, Vek32s tag) {
    if (!memory) return vekStsNullPtrErr;
    if (bit_depth < kMinBitDepth || bit_depth > kMaxBitDepth) return vekStsOutOfRangeErr;
    QuantInvSpec& s = *quant_inv_record(memory);
    s.tag = tag;
    s.bit_depth = bit_depth;
    s.min = -(1 << (bit_depth + 3));
    s.max = (1 << (bit_depth + 3)) - 1;
    s.qp_max = (1 << (bit_depth - 3)) - 1;
    s.has_matrix = matrix != nullptr;
    for (int i = 0; i < 64; ++i) s.matrix[i] = matrix ? matrix[i] : 16;
    return vekStsOk;
}

// Checks of a use, in order: pointers, tag, QP for the bit depth, the last index.
VekStatus check_use(const Vek16s* coef, const void* memory, Vek32s tag, Vek32s qp, Vek32s last) {
    if (!coef) return vekStsNullPtrErr;
    if (!memory) return vekStsNullPtrErr;
    const QuantInvSpec& s = *quant_inv_record(memory);
    if (s.tag != tag) return vekStsContextMismatchErr;
    if (qp < 1 || qp > s.qp_max) return vekStsQpRangeErr;
    if (last < 0 || last > 63) return vekStsOutOfRangeErr;
    return vekStsOk;
}

inline Vek16s saturate(std::int64_t v, const QuantInvSpec& s) {
    return static_cast<Vek16s>(v < s.min ? s.min : v > s.max ? s.max : v);
}

// The plain method: (2|L| + 1) QP, less one for an even QP, with L's sign; 0 stays 0.
inline std::int64_t dequant_plain(Vek32s level, Vek32s qp) {
    if (level == 0) return 0;
    const std::int64_t magnitude = (2 * std::int64_t{level < 0 ? -level : level} + 1) * qp - (qp & 1 ? 0 : 1);
    return level < 0 ? -magnitude : magnitude;
}

// The matrix method: ((2L + k) W QP) / 16 toward zero; k is sign(L) for
// inter, 0 for intra.
inline std::int64_t dequant_matrix(Vek32s level, Vek32s k, Vek32s weight, Vek32s qp) {
    return (2 * std::int64_t{level} + k) * weight * qp / 16;
}

// Matrix method only: an even sum of the block flips the lowest bit of its
// last coefficient.
void mismatch_control(Vek16s* coef) {
    Vek32u sum = 0;
    for (int i = 0; i < 64; ++i) sum += static_cast<Vek32u>(coef[i]);
    if (sum & 1) return;
    coef[63] = static_cast<Vek16s>(coef[63] + ((coef[63] & 1) ? -1 : 1));
}

// DC multiplier of intra blocks by QP, luminance and chrominance.
Vek32s dc_scaler(Vek32s qp, bool luma) {
    if (qp <= 4) return 8;
    if (luma) return qp <= 8 ? 2 * qp : qp <= 24 ? qp + 8 : 2 * qp - 16;
    return qp <= 24 ? (qp + 13) / 2 : qp - 6;
}

}  // namespace
}  // namespace vek::mpeg4

using namespace vek::mpeg4;

VekStatus vekiQuantInvInterGetSize_MPEG4(Vek32s* pSpecSize) {
    if (!pSpecSize) return vekStsNullPtrErr;
    *pSpecSize = kQuantInvSpecSize;
    return vekStsOk;
}

VekStatus vekiQuantInvIntraGetSize_MPEG4(Vek32s* pSpecSize) {
    if (!pSpecSize) return vekStsNullPtrErr;
    *pSpecSize = kQuantInvSpecSize;
    return vekStsOk;
}

VekStatus vekiQuantInvInterInit_MPEG4(const Vek8u* pQuantMatrix, VekQuantInvInterSpec_MPEG4* pSpec,
                                      Vek32s bitsPerPixel) {
    return init_record(pSpec, pQuantMatrix, bitsPerPixel, kQuantInvInterTag);
}

VekStatus vekiQuantInvIntraInit_MPEG4(const Vek8u* pQuantMatrix, VekQuantInvIntraSpec_MPEG4* pSpec,
                                      Vek32s bitsPerPixel) {
    return init_record(pSpec, pQuantMatrix, bitsPerPixel, kQuantInvIntraTag);
}

VekStatus vekiQuantInvInter_MPEG4_16s_C1I(Vek16s* pCoeffs, Vek32s indxLastNonZero,
                                          const VekQuantInvInterSpec_MPEG4* pSpec, Vek32s QP) {
    const VekStatus st = check_use(pCoeffs, pSpec, kQuantInvInterTag, QP, indxLastNonZero);
    if (st != vekStsOk) return st;
    const QuantInvSpec& s = *quant_inv_record(pSpec);
    for (Vek32s i = 0; i <= indxLastNonZero; ++i) {
        const Vek32s level = pCoeffs[i];
        const Vek32s sign = (level > 0) - (level < 0);
        pCoeffs[i] = saturate(s.has_matrix ? dequant_matrix(level, sign, s.matrix[i], QP)
                                           : dequant_plain(level, QP),
                              s);
    }
    if (s.has_matrix) mismatch_control(pCoeffs);
    return vekStsOk;
}

VekStatus vekiQuantInvIntra_MPEG4_16s_C1I(Vek16s* pCoeffs, Vek32s indxLastNonZero,
                                          const VekQuantInvIntraSpec_MPEG4* pSpec, Vek32s QP,
                                          Vek32s blockType) {
    const VekStatus st = check_use(pCoeffs, pSpec, kQuantInvIntraTag, QP, indxLastNonZero);
    if (st != vekStsOk) return st;
    const QuantInvSpec& s = *quant_inv_record(pSpec);
    pCoeffs[0] = saturate(std::int64_t{pCoeffs[0]} * dc_scaler(QP, blockType == 0), s);
    for (Vek32s i = 1; i <= indxLastNonZero; ++i) {
        const Vek32s level = pCoeffs[i];
        pCoeffs[i] = saturate(s.has_matrix ? dequant_matrix(level, 0, s.matrix[i], QP)
                                           : dequant_plain(level, QP),
                              s);
    }
    if (s.has_matrix) mismatch_control(pCoeffs);
    return vekStsOk;
}
