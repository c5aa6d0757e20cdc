// SSE4.1 inverse transforms with add for the High reconstruction: rows of
// four 32-bit lanes, 4x4 transposes between the passes.
#include <smmintrin.h>

#include <cstddef>

#include "h264/transform_high.h"
#include "h264/x86/transform_high_simd.h"

namespace vek::h264 {

namespace {

struct Ops128 {
    static __m128i add(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
    static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
    template <int N>
    static __m128i sra(__m128i a) { return _mm_srai_epi32(a, N); }
};

inline void transpose4(__m128i& r0, __m128i& r1, __m128i& r2, __m128i& r3) {
    const __m128i t0 = _mm_unpacklo_epi32(r0, r1), t1 = _mm_unpackhi_epi32(r0, r1);
    const __m128i t2 = _mm_unpacklo_epi32(r2, r3), t3 = _mm_unpackhi_epi32(r2, r3);
    r0 = _mm_unpacklo_epi64(t0, t2);
    r1 = _mm_unpackhi_epi64(t0, t2);
    r2 = _mm_unpacklo_epi64(t1, t3);
    r3 = _mm_unpackhi_epi64(t1, t3);
}

// (x + 32) >> 6, limited to -max..max, added to the prediction, clipped to 0..max.
inline __m128i finish(__m128i x, __m128i pred, __m128i maxv) {
    __m128i r = _mm_srai_epi32(_mm_add_epi32(x, _mm_set1_epi32(32)), 6);
    r = _mm_max_epi32(_mm_min_epi32(r, maxv), _mm_sub_epi32(_mm_setzero_si128(), maxv));
    return _mm_max_epi32(_mm_min_epi32(_mm_add_epi32(r, pred), maxv), _mm_setzero_si128());
}

// The 4x4 transform, leaving row y of the residual (before rounding) in d[y].
inline void inv4_block(const Vek32s* c, __m128i* d) {
    for (int i = 0; i < 4; ++i) d[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c + 4 * i));
    transpose4(d[0], d[1], d[2], d[3]);  // d[i]: coefficient i of each row
    x86::inv4_vectors<Ops128>(d);        // d[j]: output j of each row
    transpose4(d[0], d[1], d[2], d[3]);  // d[y]: row y
    x86::inv4_vectors<Ops128>(d);        // d[y]: final row y
}

// The 8x8 transform: d[2 * y + h] holds columns 4h..4h+3 of row y.
inline void inv8_block(const Vek32s* c, __m128i* d) {
    for (int i = 0; i < 16; ++i) d[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c + 4 * i));
    // Transpose: t[2 * i + g] = coefficient i of rows 4g..4g+3.
    __m128i t[16];
    for (int g = 0; g < 2; ++g)
        for (int h = 0; h < 2; ++h) {
            __m128i r0 = d[2 * (4 * g) + h], r1 = d[2 * (4 * g + 1) + h], r2 = d[2 * (4 * g + 2) + h],
                    r3 = d[2 * (4 * g + 3) + h];
            transpose4(r0, r1, r2, r3);
            t[2 * (4 * h) + g] = r0, t[2 * (4 * h + 1) + g] = r1, t[2 * (4 * h + 2) + g] = r2,
                            t[2 * (4 * h + 3) + g] = r3;
        }
    for (int g = 0; g < 2; ++g) {
        __m128i v[8];
        for (int i = 0; i < 8; ++i) v[i] = t[2 * i + g];
        x86::inv8_vectors<Ops128>(v);
        for (int i = 0; i < 8; ++i) t[2 * i + g] = v[i];  // output i of rows 4g..4g+3
    }
    // Transpose back: d[2 * y + h] = row y, columns 4h..4h+3.
    for (int g = 0; g < 2; ++g)
        for (int h = 0; h < 2; ++h) {
            __m128i r0 = t[2 * (4 * h) + g], r1 = t[2 * (4 * h + 1) + g], r2 = t[2 * (4 * h + 2) + g],
                    r3 = t[2 * (4 * h + 3) + g];
            transpose4(r0, r1, r2, r3);
            d[2 * (4 * g) + h] = r0, d[2 * (4 * g + 1) + h] = r1, d[2 * (4 * g + 2) + h] = r2,
                            d[2 * (4 * g + 3) + h] = r3;
        }
    for (int h = 0; h < 2; ++h) {
        __m128i v[8];
        for (int i = 0; i < 8; ++i) v[i] = d[2 * i + h];
        x86::inv8_vectors<Ops128>(v);
        for (int i = 0; i < 8; ++i) d[2 * i + h] = v[i];
    }
}

void inv_add4x4_16u_sse41(Vek32s* c, Vek16u* dst, Vek32s step, Vek32s maxVal) {
    __m128i d[4];
    inv4_block(c, d);
    const __m128i maxv = _mm_set1_epi32(maxVal);
    for (int y = 0; y < 4; ++y) {
        Vek16u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m128i pred = _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(row)));
        const __m128i v = finish(d[y], pred, maxv);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row), _mm_packus_epi32(v, v));
    }
}

void inv_add4x4_8u_sse41(Vek32s* c, Vek8u* dst, Vek32s step) {
    __m128i d[4];
    inv4_block(c, d);
    const __m128i maxv = _mm_set1_epi32(255);
    for (int y = 0; y < 4; ++y) {
        Vek8u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        Vek32s word;
        __builtin_memcpy(&word, row, 4);
        const __m128i v = finish(d[y], _mm_cvtepu8_epi32(_mm_cvtsi32_si128(word)), maxv);
        const __m128i w = _mm_packus_epi32(v, v);
        word = _mm_cvtsi128_si32(_mm_packus_epi16(w, w));
        __builtin_memcpy(row, &word, 4);
    }
}

void inv_add8x8_16u_sse41(Vek32s* c, Vek16u* dst, Vek32s step, Vek32s maxVal) {
    __m128i d[16];
    inv8_block(c, d);
    const __m128i maxv = _mm_set1_epi32(maxVal);
    for (int y = 0; y < 8; ++y) {
        Vek16u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m128i p = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row));
        const __m128i lo = finish(d[2 * y], _mm_cvtepu16_epi32(p), maxv);
        const __m128i hi = finish(d[2 * y + 1], _mm_cvtepu16_epi32(_mm_srli_si128(p, 8)), maxv);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row), _mm_packus_epi32(lo, hi));
    }
}

void inv_add8x8_8u_sse41(Vek32s* c, Vek8u* dst, Vek32s step) {
    __m128i d[16];
    inv8_block(c, d);
    const __m128i maxv = _mm_set1_epi32(255);
    for (int y = 0; y < 8; ++y) {
        Vek8u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m128i p = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row));
        const __m128i lo = finish(d[2 * y], _mm_cvtepu8_epi32(p), maxv);
        const __m128i hi = finish(d[2 * y + 1], _mm_cvtepu8_epi32(_mm_srli_si128(p, 4)), maxv);
        const __m128i w = _mm_packus_epi32(lo, hi);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row), _mm_packus_epi16(w, w));
    }
}

// Four levels widened to 32 bits at a time; the shift counts sit in registers.
template <class Level>
void dequant_sse41(const Level* levels, const Vek16s* scale, Vek32s qp, Vek32s count, Vek32s* out) {
    const int norm = count == 16 ? 4 : 6, s = qp / 6;
    const bool down = s < norm;
    const __m128i sh = _mm_cvtsi32_si128(down ? norm - s : s - norm);
    const __m128i round = _mm_set1_epi32(down ? 1 << (norm - s - 1) : 0);
    for (int k = 0; k < count; k += 4) {
        __m128i l;
        if constexpr (sizeof(Level) == 2)
            l = _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(levels + k)));
        else
            l = _mm_loadu_si128(reinterpret_cast<const __m128i*>(levels + k));
        const __m128i f = _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(scale + k)));
        const __m128i p = _mm_mullo_epi32(l, f);
        const __m128i v = down ? _mm_sra_epi32(_mm_add_epi32(p, round), sh) : _mm_sll_epi32(p, sh);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + k), v);
    }
}

struct KernelsSse41 {
    static void dequant(const Vek16s* l, const Vek16s* s, Vek32s qp, Vek32s n, Vek32s* o) { dequant_sse41(l, s, qp, n, o); }
    static void dequant(const Vek32s* l, const Vek16s* s, Vek32s qp, Vek32s n, Vek32s* o) { dequant_sse41(l, s, qp, n, o); }
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
Vek16s* mb_inter_8u_sse41(Vek16s* levels, Vek8u* plane, Vek32s step, Vek32u cbp, Vek32s qp, const Vek16s* scale) {
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
    table.dequant_16s = dequant_sse41<Vek16s>;
    table.dequant_32s = dequant_sse41<Vek32s>;
}

}  // namespace vek::h264
