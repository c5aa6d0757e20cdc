// H.264 residual dequantisation and inverse transforms: the scale tables, the
// DC transforms and the kernels that add a 4x4 residual to its prediction.
//
// Two arithmetic widths, both deliberate: the transforms that return residuals
// (the plain and SP/SI forms) wrap every 16-bit intermediate, while the
// kernels that add the prediction saturate each 16-bit addition and
// subtraction of the transform, the rounding term 32 included. Conforming
// streams never see the difference. The macroblock reconstruction calls the
// same kernels and DC transforms through this header.
#pragma once

#include <array>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::h264 {

inline constexpr int kQpCount = 52;  // QP 0..51
inline constexpr int kCoeffClassCount = 3;

// H.264 normalisation factors by QP % 6 and coefficient class: class 0 where
// row and column are both even, 1 where both are odd, 2 otherwise.
inline constexpr std::array<std::array<Vek32s, kCoeffClassCount>, 6> kNormAdjust = {{
    {10, 16, 13},
    {11, 18, 14},
    {13, 20, 16},
    {14, 23, 18},
    {16, 25, 20},
    {18, 29, 23},
}};

// Dequantisation factors by [QP][class]: the normalisation factor << QP / 6.
inline constexpr std::array<std::array<Vek32s, kCoeffClassCount>, kQpCount> InvQuantTable = [] {
    std::array<std::array<Vek32s, kCoeffClassCount>, kQpCount> t{};
    for (int qp = 0; qp < kQpCount; ++qp)
        for (int c = 0; c < kCoeffClassCount; ++c) t[qp][c] = kNormAdjust[qp % 6][c] << (qp / 6);
    return t;
}();

// Class of each position of a 4x4 block in raster order.
inline constexpr std::array<Vek32s, 16> QuantIndex = {0, 2, 0, 2, 2, 1, 2, 1, 0, 2, 0, 2, 2, 1, 2, 1};

// Luma 16x16 DC factor by QP: unshifted below QP 12 (the transform then
// rounds by its own shift), the class-0 factor / 4 from QP 12 on.
inline constexpr std::array<Vek32s, kQpCount> InvQuantLuma16x16DCTable = [] {
    std::array<Vek32s, kQpCount> t{};
    for (int qp = 0; qp < kQpCount; ++qp) t[qp] = qp < 12 ? kNormAdjust[qp % 6][0] : InvQuantTable[qp][0] / 4;
    return t;
}();

// Shift of the luma 16x16 DC dequantisation by QP, also its rounding term.
constexpr int luma_dc_shift(int qp) { return qp < 6 ? 2 : qp < 12 ? 1 : 0; }

// H.264 forward quantisation factors by [QP % 6][position], raster order.
inline constexpr std::array<std::array<Vek32s, 16>, 6> QuantCoef = [] {
    constexpr Vek32s kByClass[6][kCoeffClassCount] = {
        {13107, 5243, 8066}, {11916, 4660, 7490}, {10082, 4194, 6554},
        {9362, 3647, 5825},  {8192, 3355, 5243},  {7282, 2893, 4559},
    };
    std::array<std::array<Vek32s, 16>, 6> t{};
    for (int r = 0; r < 6; ++r)
        for (int k = 0; k < 16; ++k) t[r][k] = kByClass[r][QuantIndex[k]];
    return t;
}();

// Flat weight (16) times the transform's norm by position: 16, 25 or 20 by class.
inline constexpr std::array<Vek32s, 16> MATR = [] {
    constexpr Vek32s kByClass[kCoeffClassCount] = {16, 25, 20};
    std::array<Vek32s, 16> t{};
    for (int k = 0; k < 16; ++k) t[k] = kByClass[QuantIndex[k]];
    return t;
}();

// InvQuantTable spread over the 16 positions as 16-bit factors (all fit), for
// multiplying a whole block at once.
struct alignas(32) LevelScaleRow {
    Vek16s factor[16];
};
inline constexpr std::array<LevelScaleRow, kQpCount> kLevelScale = [] {
    std::array<LevelScaleRow, kQpCount> t{};
    for (int qp = 0; qp < kQpCount; ++qp)
        for (int k = 0; k < 16; ++k) t[qp].factor[k] = static_cast<Vek16s>(InvQuantTable[qp][QuantIndex[k]]);
    return t;
}();

// ---- Residual kernels ---------------------------------------------------------
//
// Each adds one 4x4 residual to the 4x4 prediction at pred (rows predStep
// bytes apart) and writes the samples, clipped to 0..255, to dst (rows dstStep
// bytes apart); pred and dst may be the same block. Levels are 16 values in
// raster order, dequantised with kLevelScale[qp] in wrapping 16-bit products,
// then inverse transformed rows first with saturating 16-bit stages, and
// (x + 32) >> 6 with a saturating add. The forms that take levels write the
// residual (after the shift) back over them. qp must be 0..51. The single
// forms return vekStsOk, so that the exported function ends in a jump to one.

// All 16 levels dequantised, the DC among them.
using ResidualNoDcFn = VekStatus(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek8u* dst, Vek32s dstStep,
                                 Vek32s qp);
// dc (already dequantised) in place of level 0, the 15 others dequantised.
using ResidualDcAcFn = VekStatus(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek16s dc, Vek8u* dst,
                                 Vek32s dstStep, Vek32s qp);
// A block without AC: (dc + 32) >> 6 added to every sample. Reads no levels.
using ResidualNoAcFn = VekStatus(const Vek8u* pred, Vek32s predStep, Vek16s dc, Vek8u* dst, Vek32s dstStep);
// Two blocks side by side, for the macroblock walks when both of a pair are
// coded: the second block's samples start 4 bytes right of the first's in
// pred and dst, its 16 levels follow the first's, and dc points at the two
// DCs in block order. Each block gets exactly what the single form gives it.
// pred and dst are the same 8x4 area or don't overlap.
using ResidualNoDc2Fn = void(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek8u* dst, Vek32s dstStep,
                             Vek32s qp);
using ResidualDcAc2Fn = void(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, const Vek16s* dc, Vek8u* dst,
                             Vek32s dstStep, Vek32s qp);
using ResidualNoAc2Fn = void(const Vek8u* pred, Vek32s predStep, const Vek16s* dc, Vek8u* dst, Vek32s dstStep);
// The luma 16x16 DC transform of transform_dequant_luma_dc below, in place.
using LumaDcFn = void(Vek16s* dc, Vek32s qp);

struct ResidualTable {
    ResidualNoDcFn* no_dc;
    ResidualDcAcFn* dc_ac;
    ResidualNoAcFn* no_ac;
    ResidualNoDc2Fn* no_dc2;
    ResidualDcAc2Fn* dc_ac2;
    ResidualNoAc2Fn* no_ac2;
    LumaDcFn* luma_dc;
};

// Reference kernels in every slot, then the overrides of each level in `flags`.
ResidualTable make_residual_table(CpuFlags flags);
// The table of this CPU, built once at load.
const ResidualTable& residual_kernels();

void init_residual_table_sse41(ResidualTable& table);
void init_residual_table_avx2(ResidualTable& table);

// The pair forms as two calls of the single ones: the reference, and the
// SSE4.1 level's, where one block fills a register.
template <ResidualNoDcFn* NoDc>
void residual_no_dc_pair(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek8u* dst, Vek32s dstStep,
                         Vek32s qp) {
    NoDc(pred, predStep, coeffs, dst, dstStep, qp);
    NoDc(pred + 4, predStep, coeffs + 16, dst + 4, dstStep, qp);
}
template <ResidualDcAcFn* DcAc>
void residual_dc_ac_pair(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, const Vek16s* dc, Vek8u* dst,
                         Vek32s dstStep, Vek32s qp) {
    DcAc(pred, predStep, coeffs, dc[0], dst, dstStep, qp);
    DcAc(pred + 4, predStep, coeffs + 16, dc[1], dst + 4, dstStep, qp);
}
template <ResidualNoAcFn* NoAc>
void residual_no_ac_pair(const Vek8u* pred, Vek32s predStep, const Vek16s* dc, Vek8u* dst, Vek32s dstStep) {
    NoAc(pred, predStep, dc[0], dst, dstStep);
    NoAc(pred + 4, predStep, dc[1], dst + 4, dstStep);
}

// ---- DC transforms (no argument checks; qp 0..51) ------------------------------

// 16 luma DC levels in raster order of the 4x4 blocks: H X H in wrapping 16
// bits, then (y * InvQuantLuma16x16DCTable[qp] + n) >> n, n = luma_dc_shift(qp).
void transform_dequant_luma_dc(Vek16s* dc, Vek32s qp);
// 4 chroma DC levels: the 2x2 Hadamard sums cut to 16 bits, times the class-0
// factor of qp, >> 1.
void transform_dequant_chroma_dc(Vek16s* dc, Vek32s qp);

}  // namespace vek::h264
