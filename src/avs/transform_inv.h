// AVS dequantisation, 8x8 inverse transform and addition to a prediction.
#pragma once

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::avs {

// (multiplier, shift) by QP 0..63.
struct Dequant {
    Vek32s mul;
    Vek32s shift;
};
extern const Dequant kDequant[64];

// Dequantise, transform and add for the full and the low-frequency route,
// with the (multiplier, shift) of QP.
using InverseKernel = void (*)(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul,
                               Vek32s shift);
struct InverseTable {
    InverseKernel full;
    InverseKernel low;
};
void inverse_full_c(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul, Vek32s shift);
void inverse_low_c(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul, Vek32s shift);
InverseTable make_inverse_table(CpuFlags flags);
void init_inverse_table_sse41(InverseTable& t);
void init_inverse_table_avx2(InverseTable& t);

// Dequantises the 64 levels at src with QP, inverse transforms them and adds
// the result to the 8x8 prediction at dst. numCoeff picks the route: 1 reads
// the DC alone, 2 to 10 the top left 4x4, anything else (0 included) all.
void transform_quant_add_inv(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32u numCoeff,
                             Vek32u qp);

}  // namespace vek::avs
