// AVX2 8x8 inverse transforms with add for the High reconstruction: one row
// of eight 32-bit lanes per register, 8x8 transposes between the passes. The
// 4x4 kernels stay those of SSE4.1, whose register already holds a row; the
// dequantisation takes eight levels at a time.
#include <immintrin.h>

#include <cstddef>

#include "h264/transform_high.h"
#include "h264/x86/transform_high_simd.h"

namespace vek::h264 {

namespace {

struct Ops256 {
    static __m256i add(__m256i a, __m256i b) { return _mm256_add_epi32(a, b); }
    static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi32(a, b); }
    template <int N>
    static __m256i sra(__m256i a) { return _mm256_srai_epi32(a, N); }
};

inline void transpose8(__m256i* r) {
    __m256i t[8], u[8];
    for (int i = 0; i < 4; ++i) {
        t[2 * i] = _mm256_unpacklo_epi32(r[2 * i], r[2 * i + 1]);
        t[2 * i + 1] = _mm256_unpackhi_epi32(r[2 * i], r[2 * i + 1]);
    }
    for (int i = 0; i < 2; ++i) {
        u[4 * i] = _mm256_unpacklo_epi64(t[4 * i], t[4 * i + 2]);
        u[4 * i + 1] = _mm256_unpackhi_epi64(t[4 * i], t[4 * i + 2]);
        u[4 * i + 2] = _mm256_unpacklo_epi64(t[4 * i + 1], t[4 * i + 3]);
        u[4 * i + 3] = _mm256_unpackhi_epi64(t[4 * i + 1], t[4 * i + 3]);
    }
    for (int i = 0; i < 4; ++i) {
        r[i] = _mm256_permute2x128_si256(u[i], u[4 + i], 0x20);
        r[4 + i] = _mm256_permute2x128_si256(u[i], u[4 + i], 0x31);
    }
}

// The 8x8 transform, leaving row y of the residual (before rounding) in d[y].
inline void inv8_block(const Vek32s* c, __m256i* d) {
    for (int i = 0; i < 8; ++i) d[i] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + 8 * i));
    transpose8(d);
    x86::inv8_vectors<Ops256>(d);
    transpose8(d);
    x86::inv8_vectors<Ops256>(d);
}

// (x + 32) >> 6, limited to -max..max, added to the prediction, clipped to 0..max.
inline __m256i finish(__m256i x, __m256i pred, __m256i maxv) {
    __m256i r = _mm256_srai_epi32(_mm256_add_epi32(x, _mm256_set1_epi32(32)), 6);
    r = _mm256_max_epi32(_mm256_min_epi32(r, maxv), _mm256_sub_epi32(_mm256_setzero_si256(), maxv));
    return _mm256_max_epi32(_mm256_min_epi32(_mm256_add_epi32(r, pred), maxv), _mm256_setzero_si256());
}

inline __m128i pack_row(__m256i v) {
    return _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
}

void inv_add8x8_16u_avx2(Vek32s* c, Vek16u* dst, Vek32s step, Vek32s maxVal) {
    __m256i d[8];
    inv8_block(c, d);
    const __m256i maxv = _mm256_set1_epi32(maxVal);
    for (int y = 0; y < 8; ++y) {
        Vek16u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m256i pred = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row), pack_row(finish(d[y], pred, maxv)));
    }
}

void inv_add8x8_8u_avx2(Vek32s* c, Vek8u* dst, Vek32s step) {
    __m256i d[8];
    inv8_block(c, d);
    const __m256i maxv = _mm256_set1_epi32(255);
    for (int y = 0; y < 8; ++y) {
        Vek8u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m256i pred = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(row)));
        const __m128i w = pack_row(finish(d[y], pred, maxv));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row), _mm_packus_epi16(w, w));
    }
}

// Eight levels widened to 32 bits at a time; the shift counts sit in registers.
template <class Level>
void dequant_avx2(const Level* levels, const Vek16s* scale, Vek32s qp, Vek32s count, Vek32s* out) {
    const int norm = count == 16 ? 4 : 6, s = qp / 6;
    const bool down = s < norm;
    const __m128i sh = _mm_cvtsi32_si128(down ? norm - s : s - norm);
    const __m256i round = _mm256_set1_epi32(down ? 1 << (norm - s - 1) : 0);
    for (int k = 0; k < count; k += 8) {
        __m256i l;
        if constexpr (sizeof(Level) == 2)
            l = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(levels + k)));
        else
            l = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(levels + k));
        const __m256i f = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(scale + k)));
        const __m256i p = _mm256_mullo_epi32(l, f);
        const __m256i v = down ? _mm256_sra_epi32(_mm256_add_epi32(p, round), sh) : _mm256_sll_epi32(p, sh);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + k), v);
    }
}

}  // namespace

void init_transform_high_table_avx2(TransformHighTable& table) {
    table.inv_add8x8_16u = inv_add8x8_16u_avx2;
    table.inv_add8x8_8u = inv_add8x8_8u_avx2;
    table.dequant_16s = dequant_avx2<Vek16s>;
    table.dequant_32s = dequant_avx2<Vek32s>;
}

}  // namespace vek::h264
