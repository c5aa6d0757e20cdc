// H.264 forward transform and quantisation of the encoder's 4x4 path: the
// factor and rounding tables shared by the 4x4 and DC quantisers.
#pragma once

#include <array>
#include <cstdint>

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
