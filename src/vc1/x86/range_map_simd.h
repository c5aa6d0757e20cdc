// Range mapping on 128-bit registers, shared by the SSE4.1 and AVX2 files:
// (p - 128) x scale stays within 16 bits, so the whole formula runs in 16-bit
// lanes, 16 samples at a time, with a scalar tail.
#pragma once

#include <algorithm>

#include "vc1/range_map.h"
#include "vc1/x86/simd_ops.h"

namespace {

inline __m128i map8(__m128i bytes, __m128i scale) {
    const __m128i v = _mm_sub_epi16(_mm_cvtepu8_epi16(bytes), _mm_set1_epi16(128));
    return _mm_add_epi16(_mm_srai_epi16(_mm_add_epi16(_mm_mullo_epi16(v, scale), _mm_set1_epi16(4)), 3),
                         _mm_set1_epi16(128));
}

void range_map_simd(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int width, int height, int scale) {
    const __m128i s = _mm_set1_epi16(static_cast<short>(scale));
    for (int y = 0; y < height; ++y) {
        const Vek8u* in = src + static_cast<std::ptrdiff_t>(srcStep) * y;
        Vek8u* out = dst + static_cast<std::ptrdiff_t>(dstStep) * y;
        int x = 0;
        for (; x + 16 <= width; x += 16) {
            const __m128i b = load16(in + x);
            store16(out + x, packus16(map8(b, s), map8(_mm_srli_si128(b, 8), s)));
        }
        for (; x + 8 <= width; x += 8) {
            const __m128i v = map8(load8(in + x), s);
            store8(out + x, packus16(v, v));
        }
        for (; x < width; ++x)
            out[x] = static_cast<Vek8u>(std::clamp((((in[x] - 128) * scale + 4) >> 3) + 128, 0, 255));
    }
}

}  // namespace
