// H.264 forward transform and quantisation of the encoder's 4x4 path: the
// factor and rounding tables shared by the 4x4 and DC quantisers.
#pragma once

#include <array>
#include <cstdint>

#include "frame/cpu.h"
#include "h264/residual.h"
#include "vekvc.h"

namespace vek::h264 {

inline constexpr int kQpHighCount = 90;  // QP 0..87 of the 32-bit forms, with room to spare

// (QP / 6, QP % 6) by QP.
struct QpDivRem {
    Vek8u div;
    Vek8u rem;
};
inline constexpr std::array<QpDivRem, kQpHighCount> vekH264QpDevide = [] {
    std::array<QpDivRem, kQpHighCount> t{};
    for (int qp = 0; qp < kQpHighCount; ++qp) t[qp] = {static_cast<Vek8u>(qp / 6), static_cast<Vek8u>(qp % 6)};
    return t;
}();

// The forward factors of QuantCoef in both coefficient widths.
inline constexpr std::array<std::array<Vek16s, 16>, 6> vekH264FwdQuant_16s = [] {
    std::array<std::array<Vek16s, 16>, 6> t{};
    for (int r = 0; r < 6; ++r)
        for (int k = 0; k < 16; ++k) t[r][k] = static_cast<Vek16s>(QuantCoef[r][k]);
    return t;
}();
inline constexpr std::array<std::array<Vek32s, 16>, 6> vekH264FwdQuant_32s = QuantCoef;

// Rounding terms by QP / 6, plus one for an intra block: each entry doubles
// the one before, so the step up turns a sixth of the shift's power of two
// into a third. Def pairs with a caller's scale table (shift QP / 6 + 11),
// Given with the built-in factors (shift QP / 6 + 15).
inline constexpr int kRoundCount = 16;
inline constexpr std::array<Vek32s, kRoundCount> vekH264QuantResid_RoundValDef_32s = [] {
    std::array<Vek32s, kRoundCount> t{};
    for (int n = 0; n < kRoundCount; ++n) t[n] = static_cast<Vek32s>((std::int64_t{1} << (n + 11)) / 6);
    return t;
}();
inline constexpr std::array<Vek32s, kRoundCount> vekH264QuantResid_RoundValGiven_32s = [] {
    std::array<Vek32s, kRoundCount> t{};
    for (int n = 0; n < kRoundCount; ++n) t[n] = static_cast<Vek32s>((std::int64_t{1} << (n + 15)) / 6);
    return t;
}();

}  // namespace vek::h264

namespace vek::h264 {

// ---- Encoder transform kernels --------------------------------------------
//
// Blocks are packed in raster order; no alignment is required of any pointer.

// Factors, rounding term and shift of one quantiser call.
struct QuantArgs {
    const Vek16s* factors;
    Vek32s round;
    Vek32s shift;
};

// The 4x4 quantiser's arguments: the plain ones, which the reference and
// the kernels for a caller's scale table read, and for the built-in factors
// the same prepared for the vector kernels. Those work with the factor and
// the rounding term doubled and the shift one higher (the same levels: the
// built-in factors stay below 2^14), so that the shift is at least 16 and
// a level can land in either half of a 32-bit lane by one arithmetic shift.
struct alignas(32) Quant4x4Lanes {
    Vek16s factors[2][16];  // doubled, columns 0 and 2, then 1 and 3, each in the high half of a 32-bit lane
};
struct alignas(64) Quant4x4Args {
    QuantArgs plain;
    const Quant4x4Lanes* lanes;
    Vek32s up;                  // 2 * round, for c >= 0
    Vek32s down;                // 2^(shift + 1) - 1 - 2 * round, for c < 0
    std::int64_t shift_lo[2];   // shift + 1 in the first: the count of the levels bound for the low halves
    std::int64_t shift_hi[2];   // shift - 15 in the first: those bound for the high halves
};

inline constexpr std::array<Quant4x4Lanes, 6> kQuant4x4Lanes = [] {
    std::array<Quant4x4Lanes, 6> t{};
    for (int rem = 0; rem < 6; ++rem)
        for (int k = 0; k < 16; ++k)
            t[rem].factors[k % 2][k / 2 * 2 + 1] = static_cast<Vek16s>(2 * vekH264FwdQuant_16s[rem][k]);
    return t;
}();

// The arguments with the built-in factors, by [QP][Intra].
inline constexpr std::array<std::array<Quant4x4Args, 2>, 52> kFwdQuant4x4Args = [] {
    std::array<std::array<Quant4x4Args, 2>, 52> t{};
    for (int intra = 0; intra < 2; ++intra)
        for (int qp = 0; qp < 52; ++qp) {
            const Vek32s round = vekH264QuantResid_RoundValGiven_32s[qp / 6 + intra], shift = qp / 6 + 15;
            Quant4x4Args& a = t[qp][intra];
            a.plain = {vekH264FwdQuant_16s[qp % 6].data(), round, shift};
            a.lanes = &kQuant4x4Lanes[qp % 6];
            a.up = 2 * round;
            a.down = (Vek32s{2} << shift) - 1 - 2 * round;
            a.shift_lo[0] = shift + 1, a.shift_hi[0] = shift - 15;
        }
    return t;
}();

// Forward 4x4 core of src (cut to 16 bits), then each value c quantised to
// sign(c) * ((|c| * q->factors[i] + q->round) >> q->shift), the product and
// the sum in 32 bits (exact for 16-bit values and factors and a round below
// 2^30), the level cut to 16 bits, into dst (which may be src). Writes the
// largest scan[i] among the non-zero levels (0 if none) to *last and their
// count, negated when dst[0] is non-zero, to *num; returns vekStsOk, so that
// a shell can end in a jump to it (the pointers come in the order of the
// exported function's, which leaves the shell little to move). The shift
// must be 0..30 and the round below 2^shift. The built-in form takes q from
// kFwdQuant4x4Args and may read the prepared operands, the scaled one reads
// only q->plain.
using FwdQuant4x4Fn = VekStatus(const Vek16s* src, Vek16s* dst, const Quant4x4Args* q, Vek32s* num,
                                const Vek16s* scan, Vek32s* last);
// The same quantisation on 64 transformed values, with the plain count.
using Quant8x8Fn = Vek32s(const Vek16s* src, Vek16s* dst, const QuantArgs* q, const Vek16s* scan, Vek32s* last);
// Forward 8x8 transform, rows then columns, in 32 bits, the results cut to
// dst's width. dst may be src in the 16-bit form. Returns vekStsOk, so that
// a shell can end in a jump to it.
using Fwd8x8Fn = VekStatus(const Vek16s* src, Vek16s* dst);
using Fwd8x8To32Fn = VekStatus(const Vek16s* src, Vek32s* dst);

// CAVLC preparation of a 4x4 block of 16-bit levels, with the exported
// function's arguments, checked by the shell: the low bytes of AC and Count
// are the first and last scan positions, 0 <= first <= last <= 15. Writes
// all 16 entries of pLevels and the first 15 of pRuns, of which only those
// the counts name carry results.
using Cavlc16Fn = VekStatus(const Vek16s* pSrc, Vek32s AC, const Vek32s* pScanMatrix, Vek32s Count,
                            Vek8u* pTrailingOnes, Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs, Vek8u* pTotalZeros,
                            Vek16s* pLevels, Vek8u* pRuns);

struct EncodeTransformTable {
    FwdQuant4x4Fn* fwd_quant4x4;
    FwdQuant4x4Fn* fwd_quant4x4_scaled;
    Quant8x8Fn* quant8x8;
    Fwd8x8Fn* fwd8x8;
    Fwd8x8To32Fn* fwd8x8_32;
    Cavlc16Fn* cavlc16;
};

// The reference CAVLC walk (cavlc_encode.cpp).
VekStatus cavlc16_c(const Vek16s* pSrc, Vek32s AC, const Vek32s* pScanMatrix, Vek32s Count, Vek8u* pTrailingOnes,
                    Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs, Vek8u* pTotalZeros, Vek16s* pLevels,
                    Vek8u* pRuns);

// The reference 8x8 transforms; the SSE4.1 kernels fall back on them for
// values outside -256..255.
VekStatus fwd8x8_c(const Vek16s* src, Vek16s* dst);
VekStatus fwd8x8_32_c(const Vek16s* src, Vek32s* dst);

// Reference kernels in every slot, then the overrides of each level in `flags`.
EncodeTransformTable make_encode_transform_table(CpuFlags flags);
// The table of this CPU, built once at load. The shells read it directly, so
// that a call costs one load and one indirect call, with no accessor between
// (and no indirection through the symbol table).
[[gnu::visibility("hidden")]] extern const EncodeTransformTable kEncodeTransformKernels;
inline const EncodeTransformTable& encode_transform_kernels() { return kEncodeTransformKernels; }

void init_encode_transform_table_sse41(EncodeTransformTable& table);
void init_encode_transform_table_avx2(EncodeTransformTable& table);

}  // namespace vek::h264
