// SSE4.1 inverse transforms with add for the High reconstruction: rows of
// four 32-bit lanes, 4x4 transposes between the passes.
#include <smmintrin.h>

#include <cstddef>

#include "h264/transform_high.h"
#include "h264/x86/transform_high_simd.h"

namespace vek::h264 {

namespace {

using x86::V128;

// The 4x4 transform, leaving row y of the residual (before rounding) in d[y].
inline void inv4_block(const Vek32s* c, __m128i* d) {
    for (int i = 0; i < 4; ++i) d[i] = V128::load(c + 4 * i);
    x86::inv4_lanes<V128>(d);
}

// The 8x8 transform: d[2 * y + h] holds columns 4h..4h+3 of row y.
inline void inv8_block(const Vek32s* c, __m128i* d) {
    for (int i = 0; i < 16; ++i) d[i] = V128::load(c + 4 * i);
    // t[2 * i + g] = coefficient i of rows 4g..4g+3, built from the 4x4
    // quarters (rows 4g.., columns 4h..).
    __m128i t[16];
    for (int g = 0; g < 2; ++g)
        for (int h = 0; h < 2; ++h) {
            __m128i q[4];
            for (int k = 0; k < 4; ++k) q[k] = d[2 * (4 * g + k) + h];
            x86::transpose4_lanes<V128>(q);
            for (int k = 0; k < 4; ++k) t[2 * (4 * h + k) + g] = q[k];
        }
    for (int g = 0; g < 2; ++g) {
        __m128i v[8];
        for (int i = 0; i < 8; ++i) v[i] = t[2 * i + g];
        x86::inv8_vectors<V128>(v);
        for (int i = 0; i < 8; ++i) t[2 * i + g] = v[i];  // output i of rows 4g..4g+3
    }
    // Back to d[2 * y + h] = row y, columns 4h..4h+3, and the column pass.
    for (int g = 0; g < 2; ++g)
        for (int h = 0; h < 2; ++h) {
            __m128i q[4];
            for (int k = 0; k < 4; ++k) q[k] = t[2 * (4 * h + k) + g];
            x86::transpose4_lanes<V128>(q);
            for (int k = 0; k < 4; ++k) d[2 * (4 * g + k) + h] = q[k];
        }
    for (int h = 0; h < 2; ++h) {
        __m128i v[8];
        for (int i = 0; i < 8; ++i) v[i] = d[2 * i + h];
        x86::inv8_vectors<V128>(v);
        for (int i = 0; i < 8; ++i) d[2 * i + h] = v[i];
    }
}

[[gnu::always_inline]] inline void inv_add4x4_16u_sse41(Vek32s* c, Vek16u* dst, Vek32s step, Vek32s maxVal) {
    __m128i d[4];
    inv4_block(c, d);
    const __m128i maxv = _mm_set1_epi32(maxVal);
    for (int y = 0; y < 4; ++y) {
        Vek16u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m128i v = x86::finish<V128>(d[y], V128::load_u16(row), maxv);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row), _mm_packus_epi32(v, v));
    }
}

[[gnu::always_inline]] inline void inv_add4x4_8u_sse41(Vek32s* c, Vek8u* dst, Vek32s step) {
    __m128i d[4];
    inv4_block(c, d);
    const __m128i maxv = _mm_set1_epi32(255);
    for (int y = 0; y < 4; ++y) {
        Vek8u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        Vek32s word;
        __builtin_memcpy(&word, row, 4);
        const __m128i v = x86::finish<V128>(d[y], _mm_cvtepu8_epi32(_mm_cvtsi32_si128(word)), maxv);
        const __m128i w = _mm_packus_epi32(v, v);
        word = _mm_cvtsi128_si32(_mm_packus_epi16(w, w));
        __builtin_memcpy(row, &word, 4);
    }
}

[[gnu::always_inline]] inline void inv_add8x8_16u_sse41(Vek32s* c, Vek16u* dst, Vek32s step, Vek32s maxVal) {
    __m128i d[16];
    inv8_block(c, d);
    const __m128i maxv = _mm_set1_epi32(maxVal);
    for (int y = 0; y < 8; ++y) {
        Vek16u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m128i lo = x86::finish<V128>(d[2 * y], V128::load_u16(row), maxv);
        const __m128i hi = x86::finish<V128>(d[2 * y + 1], V128::load_u16(row + 4), maxv);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row), _mm_packus_epi32(lo, hi));
    }
}

[[gnu::always_inline]] inline void inv_add8x8_8u_sse41(Vek32s* c, Vek8u* dst, Vek32s step) {
    __m128i d[16];
    inv8_block(c, d);
    const __m128i maxv = _mm_set1_epi32(255);
    for (int y = 0; y < 8; ++y) {
        Vek8u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m128i p = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row));
        const __m128i lo = x86::finish<V128>(d[2 * y], _mm_cvtepu8_epi32(p), maxv);
        const __m128i hi = x86::finish<V128>(d[2 * y + 1], _mm_cvtepu8_epi32(_mm_srli_si128(p, 4)), maxv);
        const __m128i w = _mm_packus_epi32(lo, hi);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row), _mm_packus_epi16(w, w));
    }
}

// The macroblock loop takes the kernels inline: the coefficients then stay
// in registers from the dequantisation to the add.
struct KernelsSse41 {
    template <class Level>
    static void dequant(const Level* l, const Vek16s* s, Vek32s qp, Vek32s n, Vek32s* o) {
        x86::dequant<V128>(l, s, qp, n, o);
    }
    template <int Size>
    static void inv_add(Vek32s* c, Vek16u* d, Vek32s step, Vek32s maxVal) {
        (Size == 4 ? inv_add4x4_16u_sse41 : inv_add8x8_16u_sse41)(c, d, step, maxVal);
    }
    template <int Size>
    static void inv_add(Vek32s* c, Vek8u* d, Vek32s step, Vek32s) {
        (Size == 4 ? inv_add4x4_8u_sse41 : inv_add8x8_8u_sse41)(c, d, step);
    }
};

template <int Size>
VekStatus mb_inter_8u_sse41(Vek16s** levels, Vek8u* plane, Vek32s step, Vek32u cbp, Vek32s qp,
                            const Vek16s* scale) {
    return mb_inter_blocks<Size, KernelsSse41>(levels, plane, step, cbp, qp, scale, 255);
}

}  // namespace

void init_transform_high_table_sse41(TransformHighTable& table) {
    table.mb_inter4x4_16u = mb_inter_blocks<4, KernelsSse41, Vek16u, Vek32s>;
    table.mb_inter8x8_16u = mb_inter_blocks<8, KernelsSse41, Vek16u, Vek32s>;
    table.mb_inter4x4_8u = mb_inter_8u_sse41<4>;
    table.mb_inter8x8_8u = mb_inter_8u_sse41<8>;
    table.inv_add4x4_16u = inv_add4x4_16u_sse41;
    table.inv_add8x8_16u = inv_add8x8_16u_sse41;
    table.inv_add4x4_8u = inv_add4x4_8u_sse41;
    table.inv_add8x8_8u = inv_add8x8_8u_sse41;
    table.dequant_16s = x86::dequant<V128, Vek16s>;
    table.dequant_32s = x86::dequant<V128, Vek32s>;
}

}  // namespace vek::h264
