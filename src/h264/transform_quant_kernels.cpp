// Reference kernels of the encoder's forward transforms and quantisers, and
// the kernel table the exported shells call through.
#include <cassert>
#include <cstdint>

#include "frame/dispatch.h"
#include "h264/transform_quant.h"

namespace vek::h264 {

namespace {

// One pass of the 4x4 forward core over four values `stride` apart.
void forward4(Vek32s* x, int stride) {
    const Vek32s x0 = x[0], x1 = x[stride], x2 = x[2 * stride], x3 = x[3 * stride];
    const Vek32s s0 = x0 + x3, d0 = x0 - x3, s1 = x1 + x2, d1 = x1 - x2;
    x[0] = s0 + s1;
    x[stride] = 2 * d0 + d1;
    x[2 * stride] = s0 - s1;
    x[3 * stride] = d0 - 2 * d1;
}

// Quantises n values into dst; returns the count, the largest scan position
// among the non-zero levels in *last. The sign is restored by xor and
// subtract on the 32-bit result, then cut to 16 bits.
Vek32s quant_c(const Vek16s* c, Vek16s* dst, int n, const Vek16s* f, Vek32s round, int shift, const Vek16s* scan,
               Vek32s* last) {
    Vek32s count = 0, l = 0;
    for (int i = 0; i < n; ++i) {
        const Vek32s v = c[i], sign = v >> 31;
        const Vek32s q = (((v ^ sign) - sign) * f[i] + round) >> shift;
        dst[i] = static_cast<Vek16s>((q ^ sign) - sign);
        if (dst[i]) {
            ++count;
            if (scan[i] > l) l = scan[i];
        }
    }
    *last = l;
    return count;
}

VekStatus fwd_quant4x4_c(const Vek16s* src, Vek16s* dst, const Quant4x4Args* args, Vek32s* num,
                         const Vek16s* scan, Vek32s* last) {
    const QuantArgs* q = &args->plain;
    Vek32s t[16];
    for (int k = 0; k < 16; ++k) t[k] = src[k];
    for (int r = 0; r < 4; ++r) forward4(t + 4 * r, 1);
    for (int c = 0; c < 4; ++c) forward4(t + c, 4);
    Vek16s c[16];
    for (int k = 0; k < 16; ++k) c[k] = static_cast<Vek16s>(t[k]);
    const Vek32s n = quant_c(c, dst, 16, q->factors, q->round, q->shift, scan, last);
    // A negative count tells the caller that the DC level is present.
    *num = dst[0] ? -n : n;
    return vekStsOk;
}

Vek32s quant8x8_c(const Vek16s* src, Vek16s* dst, const QuantArgs* q, const Vek16s* scan, Vek32s* last) {
    return quant_c(src, dst, 64, q->factors, q->round, q->shift, scan, last);
}

// One pass of the forward 8x8 butterfly over values `s` apart. 16-bit
// input grows by less than 16 per pass, so 32 bits hold both passes.
void forward8(Vek32s* x, int s) {
    const Vek32s s07 = x[0] + x[7 * s], s16 = x[s] + x[6 * s], s25 = x[2 * s] + x[5 * s], s34 = x[3 * s] + x[4 * s];
    const Vek32s d07 = x[0] - x[7 * s], d16 = x[s] - x[6 * s], d25 = x[2 * s] - x[5 * s], d34 = x[3 * s] - x[4 * s];
    const Vek32s a0 = s07 + s34, a1 = s16 + s25, a2 = s07 - s34, a3 = s16 - s25;
    const Vek32s a4 = d16 + d25 + (d07 + (d07 >> 1));
    const Vek32s a5 = d07 - d34 - (d25 + (d25 >> 1));
    const Vek32s a6 = d07 + d34 - (d16 + (d16 >> 1));
    const Vek32s a7 = d16 - d25 + (d34 + (d34 >> 1));
    x[0] = a0 + a1;
    x[s] = a4 + (a7 >> 2);
    x[2 * s] = a2 + (a3 >> 1);
    x[3 * s] = a5 + (a6 >> 2);
    x[4 * s] = a0 - a1;
    x[5 * s] = a6 - (a5 >> 2);
    x[6 * s] = (a2 >> 1) - a3;
    x[7 * s] = (a4 >> 2) - a7;
}

template <class Out>
void fwd8x8_ref(const Vek16s* src, Out* dst) {
    Vek32s t[64];
    for (int k = 0; k < 64; ++k) t[k] = src[k];
    for (int r = 0; r < 8; ++r) forward8(t + 8 * r, 1);
    for (int c = 0; c < 8; ++c) forward8(t + c, 8);
    for (int k = 0; k < 64; ++k) dst[k] = static_cast<Out>(t[k]);
}

}  // namespace

VekStatus fwd8x8_c(const Vek16s* src, Vek16s* dst) {
    fwd8x8_ref(src, dst);
    return vekStsOk;
}
VekStatus fwd8x8_32_c(const Vek16s* src, Vek32s* dst) {
    fwd8x8_ref(src, dst);
    return vekStsOk;
}

EncodeTransformTable make_encode_transform_table(CpuFlags flags) {
    EncodeTransformTable t{fwd_quant4x4_c, fwd_quant4x4_c, quant8x8_c, fwd8x8_c, fwd8x8_32_c, cavlc16_c};
    if constexpr (kSimdBuilt)
        apply_simd_levels(t, flags, init_encode_transform_table_sse41, init_encode_transform_table_avx2);
    assert(t.fwd_quant4x4 && t.fwd_quant4x4_scaled && t.quant8x8 && t.fwd8x8 && t.fwd8x8_32 && t.cavlc16);
    return t;
}

// Built once while the library loads, never changed afterwards.
const EncodeTransformTable kEncodeTransformKernels = make_encode_transform_table(cpu_flags());

}  // namespace vek::h264
