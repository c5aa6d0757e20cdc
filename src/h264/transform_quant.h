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

// The 4x4 quantiser's arguments with the built-in factors, by [QP][Intra]:
// shift QP / 6 + 15, the rounding term of QP / 6 (plus one for intra).
inline constexpr std::array<std::array<QuantArgs, 2>, 52> kFwdQuant4x4Args = [] {
    std::array<std::array<QuantArgs, 2>, 52> t{};
    for (int intra = 0; intra < 2; ++intra)
        for (int qp = 0; qp < 52; ++qp)
            t[qp][intra] = {vekH264FwdQuant_16s[qp % 6].data(), vekH264QuantResid_RoundValGiven_32s[qp / 6 + intra],
                            qp / 6 + 15};
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
// must be 0..31 and the round below 2^shift.
using FwdQuant4x4Fn = VekStatus(const Vek16s* src, Vek16s* dst, const QuantArgs* q, Vek32s* num,
                                const Vek16s* scan, Vek32s* last);
// The same quantisation on 64 transformed values, with the plain count.
using Quant8x8Fn = Vek32s(const Vek16s* src, Vek16s* dst, const QuantArgs* q, const Vek16s* scan, Vek32s* last);
// Forward 8x8 transform, rows then columns, in 32 bits, the results cut to
// dst's width. dst may be src in the 16-bit form.
using Fwd8x8Fn = void(const Vek16s* src, Vek16s* dst);
using Fwd8x8To32Fn = void(const Vek16s* src, Vek32s* dst);

struct EncodeTransformTable {
    FwdQuant4x4Fn* fwd_quant4x4;
    Quant8x8Fn* quant8x8;
    Fwd8x8Fn* fwd8x8;
    Fwd8x8To32Fn* fwd8x8_32;
};

// The reference 8x8 transforms; the SSE4.1 kernels fall back on them for
// values outside -256..255.
void fwd8x8_c(const Vek16s* src, Vek16s* dst);
void fwd8x8_32_c(const Vek16s* src, Vek32s* dst);

// Reference kernels in every slot, then the overrides of each level in `flags`.
EncodeTransformTable make_encode_transform_table(CpuFlags flags);
// The table of this CPU, built once at load. The shells read it directly, so
// that a call costs one load and one indirect call, with no accessor between.
extern const EncodeTransformTable kEncodeTransformKernels;
inline const EncodeTransformTable& encode_transform_kernels() { return kEncodeTransformKernels; }

void init_encode_transform_table_sse41(EncodeTransformTable& table);
void init_encode_transform_table_avx2(EncodeTransformTable& table);

}  // namespace vek::h264
