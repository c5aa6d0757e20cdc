// 16-bit weighting and averaging, shared by the SSE4.1 and AVX2 files: the
// sums in 32-bit lanes (pmulld wraps exactly as the reference's products and
// sums do, psrad is its arithmetic shift), then the clip to 0..2^bitDepth - 1.
// The average is pavgw itself. A row goes in pieces of kWide (AVX2: 8, SSE4.1:
// 4) samples, then 4 and 2 samples and a last odd one, so nothing beyond the
// row is read or written. Everything is in an anonymous namespace so each
// instruction set keeps its own copy.
#pragma once

#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "h264/weight.h"
#include "h264/x86/weight_128.h"

namespace {

using vek::h264::WeightParams;

// n (2 or 4) samples zero-extended to 32-bit lanes, and back with a store of n.
template <int N>
inline __m128i load_u16x(const Vek16u* p) {
    if constexpr (N == 4) {
        return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
    } else {
        int v;
        std::memcpy(&v, p, sizeof v);
        return _mm_cvtepu16_epi32(_mm_cvtsi32_si128(v));
    }
}
template <int N>
inline void store_u16x(Vek16u* p, __m128i v32) {
    const __m128i v = _mm_packus_epi32(v32, v32);
    if constexpr (N == 4) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
    } else {
        const int x = _mm_cvtsi128_si32(v);
        std::memcpy(p, &x, sizeof x);
    }
}

// The weighting of a and b (b times 0 for one source) in 32-bit lanes.
struct Weigh16x4 {
    __m128i w1, w2, round, offset, max;
    __m128i count;
    Weigh16x4(const WeightParams& p, Vek32s bitDepth)
        : w1(_mm_set1_epi32(p.w1)),
          w2(_mm_set1_epi32(p.w2)),
          round(_mm_set1_epi32(p.shift > 0 ? static_cast<int>(1u << ((p.shift - 1) & 31)) : 0)),
          offset(_mm_set1_epi32(p.offset)),
          max(_mm_set1_epi32(static_cast<int>((Vek32u{1} << std::clamp(bitDepth, 0, 31)) - 1))),
          count(_mm_cvtsi32_si128(static_cast<int>(p.shift))) {}
    __m128i one(__m128i a) const { return finish(_mm_mullo_epi32(a, w1)); }
    __m128i two(__m128i a, __m128i b) const {
        return finish(_mm_add_epi32(_mm_mullo_epi32(a, w1), _mm_mullo_epi32(b, w2)));
    }
    __m128i finish(__m128i sum) const {
        const __m128i v = _mm_add_epi32(_mm_sra_epi32(_mm_add_epi32(sum, round), count), offset);
        return _mm_min_epi32(_mm_max_epi32(v, _mm_setzero_si128()), max);
    }
    int scalar(int a, int b) const {
        const Vek32u sum = static_cast<Vek32u>(a) * static_cast<Vek32u>(_mm_cvtsi128_si32(w1)) +
                           static_cast<Vek32u>(b) * static_cast<Vek32u>(_mm_cvtsi128_si32(w2)) +
                           static_cast<Vek32u>(_mm_cvtsi128_si32(round));
        const Vek32s v = static_cast<Vek32s>(static_cast<Vek32u>(static_cast<Vek32s>(sum) >> _mm_cvtsi128_si32(count)) +
                                             static_cast<Vek32u>(_mm_cvtsi128_si32(offset)));
        return std::clamp(v, 0, _mm_cvtsi128_si32(max));
    }
};

// Pieces of 4 and 2 samples from x on, then a last odd one; returns nothing
// as the row ends at width.
template <bool kTwo>
inline void weigh16_tail(const Vek16u* a, const Vek16u* b, Vek16u* d, int x, int width, const Weigh16x4& w) {
    const auto piece = [&]<int N>() {
        const __m128i va = load_u16x<N>(a + x);
        store_u16x<N>(d + x, kTwo ? w.two(va, load_u16x<N>(b + x)) : w.one(va));
        x += N;
    };
    while (x + 4 <= width) piece.template operator()<4>();
    if (x + 2 <= width) piece.template operator()<2>();
    if (x < width) d[x] = static_cast<Vek16u>(w.scalar(a[x], kTwo ? b[x] : 0));
}

inline void average16_tail(const Vek16u* a, const Vek16u* b, Vek16u* d, int x, int width) {
    for (; x + 4 <= width; x += 4)
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d + x),
                         _mm_avg_epu16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(a + x)),
                                       _mm_loadl_epi64(reinterpret_cast<const __m128i*>(b + x))));
    for (; x < width; ++x) d[x] = static_cast<Vek16u>((a[x] + b[x] + 1) >> 1);
}

// Row by row: kWide samples at a time through Wide (none when kWide is 0),
// the rest through the tails.
template <int kWide, class Wide>
inline void average16_rows(const Vek16u* src1, Vek32s step1, const Vek16u* src2, Vek32s step2, Vek16u* dst,
                           Vek32s dstStep, Vek32s width, Vek32s height, Wide wide) {
    for (int y = 0; y < height; ++y) {
        const Vek16u* a = row_ptr(src1, step1, y);
        const Vek16u* b = row_ptr(src2, step2, y);
        Vek16u* d = row_ptr(dst, dstStep, y);
        int x = 0;
        if constexpr (kWide > 0)
            for (; x + kWide <= width; x += kWide) wide(a + x, b + x, d + x);
        average16_tail(a, b, d, x, width);
    }
}

template <int kWide, bool kTwo, class Wide>
inline void weigh16_rows(const Vek16u* src1, Vek32s step1, const Vek16u* src2, Vek32s step2, Vek16u* dst,
                         Vek32s dstStep, Vek32s width, Vek32s height, const Weigh16x4& w, Wide wide) {
    for (int y = 0; y < height; ++y) {
        const Vek16u* a = row_ptr(src1, step1, y);
        const Vek16u* b = kTwo ? row_ptr(src2, step2, y) : a;
        Vek16u* d = row_ptr(dst, dstStep, y);
        int x = 0;
        if constexpr (kWide > 0)
            for (; x + kWide <= width; x += kWide) wide(a + x, b + x, d + x);
        weigh16_tail<kTwo>(a, b, d, x, width, w);
    }
}

}  // namespace
