// AVX2 chroma interpolation kernels: 8-wide blocks two rows per register,
// 16-bit blocks eight columns per register. Narrower 8-bit blocks keep the
// SSE4.1 kernels.
#include <immintrin.h>

#include "h264/interp_chroma.h"

namespace vek::h264 {

namespace {

inline __m128i load8(const Vek8u* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }

// Pairs (p[x], p[x + next]) of one row, 8 columns.
inline __m128i pairs(const Vek8u* p, std::ptrdiff_t next) { return _mm_unpacklo_epi8(load8(p), load8(p + next)); }

inline void store_two_rows(Vek8u* dst, Vek32s dstStep, __m256i words) {
    const __m256i packed = _mm256_packus_epi16(words, words);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm256_castsi256_si128(packed));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + dstStep), _mm256_extracti128_si256(packed, 1));
}

inline void store_one_row(Vek8u* dst, __m128i words) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm_packus_epi16(words, words));
}

template <bool kVertical>
void two_tap_w8(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s dx, Vek32s dy, Vek32s height) {
    const int f = kVertical ? dy : dx;
    const short wv = static_cast<short>((f << 8) | (8 - f));
    const __m256i w = _mm256_set1_epi16(wv);
    const __m256i round = _mm256_set1_epi16(4);
    const std::ptrdiff_t next = kVertical ? srcStep : 1;
    int y = 0;
    for (; y + 2 <= height; y += 2, src += 2 * srcStep, dst += 2 * dstStep) {
        const __m256i p = _mm256_inserti128_si256(_mm256_castsi128_si256(pairs(src, next)), pairs(src + srcStep, next), 1);
        const __m256i sum = _mm256_srli_epi16(_mm256_add_epi16(_mm256_maddubs_epi16(p, w), round), 3);
        store_two_rows(dst, dstStep, sum);
    }
    if (y < height) {
        const __m128i sum = _mm_srli_epi16(
            _mm_add_epi16(_mm_maddubs_epi16(pairs(src, next), _mm_set1_epi16(wv)), _mm_set1_epi16(4)), 3);
        store_one_row(dst, sum);
    }
}

void full_w8(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s dx, Vek32s dy, Vek32s height) {
    const short ab = static_cast<short>(((dx * (8 - dy)) << 8) | ((8 - dx) * (8 - dy)));
    const short cd = static_cast<short>(((dx * dy) << 8) | ((8 - dx) * dy));
    const __m256i wab = _mm256_set1_epi16(ab), wcd = _mm256_set1_epi16(cd);
    const __m256i round = _mm256_set1_epi16(32);
    __m128i r0 = pairs(src, 1);
    int y = 0;
    for (; y + 2 <= height; y += 2, dst += 2 * dstStep) {
        const __m128i r1 = pairs(src + srcStep, 1);
        const __m128i r2 = pairs(src + 2 * srcStep, 1);
        src += 2 * srcStep;
        const __m256i top = _mm256_inserti128_si256(_mm256_castsi128_si256(r0), r1, 1);
        const __m256i bottom = _mm256_inserti128_si256(_mm256_castsi128_si256(r1), r2, 1);
        __m256i sum = _mm256_add_epi16(_mm256_maddubs_epi16(top, wab), _mm256_maddubs_epi16(bottom, wcd));
        sum = _mm256_srli_epi16(_mm256_add_epi16(sum, round), 6);
        store_two_rows(dst, dstStep, sum);
        r0 = r2;
    }
    if (y < height) {
        const __m128i r1 = pairs(src + srcStep, 1);
        __m128i sum = _mm_add_epi16(_mm_maddubs_epi16(r0, _mm_set1_epi16(ab)), _mm_maddubs_epi16(r1, _mm_set1_epi16(cd)));
        sum = _mm_srli_epi16(_mm_add_epi16(sum, _mm_set1_epi16(32)), 6);
        store_one_row(dst, sum);
    }
}

// 16-bit samples in 32-bit lanes, eight columns at a time, the remaining
// columns one by one.
template <int K>
void chroma_16u(const Vek16u* src, Vek32s srcStep, Vek16u* dst, Vek32s dstStep, Vek32s dx, Vek32s dy, Vek32s width,
                Vek32s height) {
    const int wa = (8 - dx) * (8 - dy), wb = dx * (8 - dy), wc = (8 - dx) * dy, wd = dx * dy;
    auto load8x = [](const Vek16u* p) {
        return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    };
    const int wide = width & ~7;
    for (int y = 0; y < height; ++y) {
        const Vek16u* row = src + static_cast<std::ptrdiff_t>(y) * srcStep;
        Vek16u* out = dst + static_cast<std::ptrdiff_t>(y) * dstStep;
        for (int x = 0; x < wide; x += 8) {
            const Vek16u* s = row + x;
            __m256i r;
            if constexpr (K == 0) {
                r = load8x(s);
            } else if constexpr (K == 1) {
                r = _mm256_add_epi32(_mm256_mullo_epi32(load8x(s), _mm256_set1_epi32(8 - dx)),
                                     _mm256_mullo_epi32(load8x(s + 1), _mm256_set1_epi32(dx)));
                r = _mm256_srli_epi32(_mm256_add_epi32(r, _mm256_set1_epi32(4)), 3);
            } else if constexpr (K == 2) {
                r = _mm256_add_epi32(_mm256_mullo_epi32(load8x(s), _mm256_set1_epi32(8 - dy)),
                                     _mm256_mullo_epi32(load8x(s + srcStep), _mm256_set1_epi32(dy)));
                r = _mm256_srli_epi32(_mm256_add_epi32(r, _mm256_set1_epi32(4)), 3);
            } else {
                r = _mm256_add_epi32(_mm256_mullo_epi32(load8x(s), _mm256_set1_epi32(wa)),
                                     _mm256_mullo_epi32(load8x(s + 1), _mm256_set1_epi32(wb)));
                r = _mm256_add_epi32(r, _mm256_mullo_epi32(load8x(s + srcStep), _mm256_set1_epi32(wc)));
                r = _mm256_add_epi32(r, _mm256_mullo_epi32(load8x(s + srcStep + 1), _mm256_set1_epi32(wd)));
                r = _mm256_srli_epi32(_mm256_add_epi32(r, _mm256_set1_epi32(32)), 6);
            }
            const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(r, r), 0x08);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), _mm256_castsi256_si128(packed));
        }
        for (int x = wide; x < width; ++x) {
            const Vek16u* s = row + x;
            int v;
            if constexpr (K == 0) v = s[0];
            else if constexpr (K == 1) v = ((8 - dx) * s[0] + dx * s[1] + 4) >> 3;
            else if constexpr (K == 2) v = ((8 - dy) * s[0] + dy * s[srcStep] + 4) >> 3;
            else v = (wa * s[0] + wb * s[1] + wc * s[srcStep] + wd * s[srcStep + 1] + 32) >> 6;
            out[x] = static_cast<Vek16u>(v);
        }
    }
}

}  // namespace

void init_chroma_interp_table_avx2(ChromaInterpTable& t) {
    for (int row = 2; row < 4; ++row) {
        t.chroma_8u[row * 4 + 1] = two_tap_w8<false>;
        t.chroma_8u[row * 4 + 2] = two_tap_w8<true>;
        t.chroma_8u[row * 4 + 3] = full_w8;
    }
    t.chroma_16u = {chroma_16u<0>, chroma_16u<1>, chroma_16u<2>, chroma_16u<3>};
    t.chroma_16u_full = chroma_16u<3>;
}

}  // namespace vek::h264
