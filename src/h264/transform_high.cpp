// Reference inverse transforms with add for the High reconstruction, and
// their table.
#include "h264/transform_high.h"

#include <cstddef>

#include "frame/dispatch.h"

namespace vek::h264 {

namespace {

// One pass of the 4x4 inverse core over four values `stride` apart.
void inv4_pass(Vek32s* x, int stride) {
    const Vek32s x0 = x[0], x1 = x[stride], x2 = x[2 * stride], x3 = x[3 * stride];
    const Vek32s e0 = wadd(x0, x2), e1 = wsub(x0, x2);
    const Vek32s e2 = wsub(x1 >> 1, x3), e3 = wadd(x1, x3 >> 1);
    x[0] = wadd(e0, e3);
    x[stride] = wadd(e1, e2);
    x[2 * stride] = wsub(e1, e2);
    x[3 * stride] = wsub(e0, e3);
}

// One pass of the H.264 8x8 inverse butterfly over eight values `stride` apart.
void inv8_pass(Vek32s* x, int stride) {
    Vek32s d[8];
    for (int i = 0; i < 8; ++i) d[i] = x[i * stride];
    const Vek32s a0 = wadd(d[0], d[4]), a4 = wsub(d[0], d[4]);
    const Vek32s a2 = wsub(d[2] >> 1, d[6]), a6 = wadd(d[2], d[6] >> 1);
    const Vek32s b0 = wadd(a0, a6), b2 = wadd(a4, a2), b4 = wsub(a4, a2), b6 = wsub(a0, a6);
    const Vek32s a1 = wsub(wsub(wsub(d[5], d[3]), d[7]), d[7] >> 1);
    const Vek32s a3 = wsub(wsub(wadd(d[1], d[7]), d[3]), d[3] >> 1);
    const Vek32s a5 = wadd(wadd(wsub(d[7], d[1]), d[5]), d[5] >> 1);
    const Vek32s a7 = wadd(wadd(wadd(d[3], d[5]), d[1]), d[1] >> 1);
    const Vek32s b1 = wadd(a1, a7 >> 2), b7 = wsub(a7, a1 >> 2);
    const Vek32s b3 = wadd(a3, a5 >> 2), b5 = wsub(a3 >> 2, a5);
    const Vek32s out[8] = {wadd(b0, b7), wadd(b2, b5), wadd(b4, b3), wadd(b6, b1),
                           wsub(b6, b1), wsub(b4, b3), wsub(b2, b5), wsub(b0, b7)};
    for (int i = 0; i < 8; ++i) x[i * stride] = out[i];
}

// Residual limited to -maxVal..maxVal, added, the sum clipped to 0..maxVal.
template <class Sample>
void add_block(const Vek32s* res, int size, Sample* dst, std::ptrdiff_t step, Vek32s maxVal) {
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            Vek32s r = wadd(res[y * size + x], 32) >> 6;
            r = r < -maxVal ? -maxVal : r > maxVal ? maxVal : r;
            const Vek32s v = dst[y * step + x] + r;
            dst[y * step + x] = static_cast<Sample>(v < 0 ? 0 : v > maxVal ? maxVal : v);
        }
}

void inv4(Vek32s* b) {
    for (int r = 0; r < 4; ++r) inv4_pass(b + 4 * r, 1);
    for (int c = 0; c < 4; ++c) inv4_pass(b + c, 4);
}

void inv8(Vek32s* b) {
    for (int r = 0; r < 8; ++r) inv8_pass(b + 8 * r, 1);
    for (int c = 0; c < 8; ++c) inv8_pass(b + c, 8);
}

void inv_add4x4_16u_c(Vek32s* c, Vek16u* dst, Vek32s step, Vek32s maxVal) {
    inv4(c);
    add_block(c, 4, dst, step, maxVal);
}
void inv_add8x8_16u_c(Vek32s* c, Vek16u* dst, Vek32s step, Vek32s maxVal) {
    inv8(c);
    add_block(c, 8, dst, step, maxVal);
}
void inv_add4x4_8u_c(Vek32s* c, Vek8u* dst, Vek32s step) {
    inv4(c);
    add_block(c, 4, dst, step, 255);
}
void inv_add8x8_8u_c(Vek32s* c, Vek8u* dst, Vek32s step) {
    inv8(c);
    add_block(c, 8, dst, step, 255);
}

void dequant_16s_c(const Vek16s* levels, const Vek16s* scale, Vek32s qp, Vek32s count, Vek32s* out) {
    dequant_high(levels, scale, qp, count, count == 16 ? 4 : 6, out);
}
void dequant_32s_c(const Vek32s* levels, const Vek16s* scale, Vek32s qp, Vek32s count, Vek32s* out) {
    dequant_high(levels, scale, qp, count, count == 16 ? 4 : 6, out);
}

struct KernelsC {
    static void dequant(const Vek16s* l, const Vek16s* s, Vek32s qp, Vek32s n, Vek32s* o) { dequant_16s_c(l, s, qp, n, o); }
    static void dequant(const Vek32s* l, const Vek16s* s, Vek32s qp, Vek32s n, Vek32s* o) { dequant_32s_c(l, s, qp, n, o); }
    template <int Size>
    static void inv_add(Vek32s* c, Vek16u* d, Vek32s step, Vek32s maxVal) {
        (Size == 4 ? inv_add4x4_16u_c : inv_add8x8_16u_c)(c, d, step, maxVal);
    }
    template <int Size>
    static void inv_add(Vek32s* c, Vek8u* d, Vek32s step, Vek32s) {
        (Size == 4 ? inv_add4x4_8u_c : inv_add8x8_8u_c)(c, d, step);
    }
};

template <int Size>
VekStatus mb_inter_8u_c(Vek16s** levels, Vek8u* plane, Vek32s step, Vek32u cbp, Vek32s qp, const Vek16s* scale) {
    return mb_inter_blocks<Size, KernelsC>(levels, plane, step, cbp, qp, scale, 255);
}

}  // namespace

TransformHighTable make_transform_high_table(CpuFlags flags) {
    TransformHighTable t{inv_add4x4_16u_c,
                         inv_add8x8_16u_c,
                         inv_add4x4_8u_c,
                         inv_add8x8_8u_c,
                         dequant_16s_c,
                         dequant_32s_c,
                         mb_inter_blocks<4, KernelsC, Vek16u, Vek32s>,
                         mb_inter_blocks<8, KernelsC, Vek16u, Vek32s>,
                         mb_inter_8u_c<4>,
                         mb_inter_8u_c<8>};
    if constexpr (kSimdBuilt)
        apply_simd_levels(t, flags, init_transform_high_table_sse41, init_transform_high_table_avx2);
    return t;
}

const TransformHighTable kTransformHighKernels = make_transform_high_table(cpu_flags());

}  // namespace vek::h264
