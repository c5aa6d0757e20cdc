// The MPEG-4 inverse quantisation record behind VekQuantInvInterSpec_MPEG4
// and VekQuantInvIntraSpec_MPEG4, shared by the quantisation functions and
// the fused inter decoder.
#pragma once

#include <cstdint>

#include "vekvc.h"

namespace vek::mpeg4 {

// Tags written by Init and checked at each use; an intra record is no inter one.
inline constexpr Vek32s kQuantInvInterTag = 0x51494E54;  // "QINT"
inline constexpr Vek32s kQuantInvIntraTag = 0x51494E41;  // "QINA"

inline constexpr Vek32s kMinBitDepth = 4;
inline constexpr Vek32s kMaxBitDepth = 12;

struct QuantInvSpec {
    Vek32s tag;
    Vek32s bit_depth;
    Vek32s min;     // -(1 << (bit_depth + 3))
    Vek32s max;     // (1 << (bit_depth + 3)) - 1
    Vek32s qp_max;  // (1 << (bit_depth - 3)) - 1: 31 at 8 bits
    Vek32s has_matrix;
    Vek16u matrix[64];  // weights by block index, when has_matrix
};

// The record sits at the first 16-byte boundary of the caller's memory, so
// any buffer of the reported size holds it.
inline constexpr Vek32s kQuantInvSpecAlign = 16;
inline constexpr Vek32s kQuantInvSpecSize =
    static_cast<Vek32s>(sizeof(QuantInvSpec)) + kQuantInvSpecAlign - 1;

inline QuantInvSpec* quant_inv_record(void* memory) {
    const auto at = reinterpret_cast<std::uintptr_t>(memory);
    return reinterpret_cast<QuantInvSpec*>((at + kQuantInvSpecAlign - 1) &
                                           ~std::uintptr_t{kQuantInvSpecAlign - 1});
}
inline const QuantInvSpec* quant_inv_record(const void* memory) {
    return quant_inv_record(const_cast<void*>(memory));
}

}  // namespace vek::mpeg4
