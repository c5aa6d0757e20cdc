// 128-bit weighting and averaging of 8-bit blocks, shared by the SSE4.1 file
// and, for the rarer paths and the narrow blocks, the AVX2 file. Everything is
// in an anonymous namespace so each instruction set keeps its own copy.
//
// Two arithmetics give the same bits as the 32-bit reference:
//  - 16-bit lanes, taken when the weighted sum cannot leave 16 bits:
//    pmaddubsw (pmullw for a weight of 128) forms a * w1 + b * w2 exactly,
//    pmulhrsw by 1 << (15 - shift) gives (sum + (1 << (shift - 1))) >> shift
//    exactly, and a saturating add of the offset followed by packuswb clips
//    as the reference does (a saturated sum lies beyond 0..255 either way);
//  - 32-bit lanes for every other weight, offset and shift, with the
//    reference's wrapping products.
#pragma once

#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "h264/weight.h"

namespace {

using vek::h264::WeightParams;

template <class T>
inline T* row_ptr(T* p, Vek32s step, int rows) {
    return p + static_cast<std::ptrdiff_t>(step) * rows;
}

inline __m128i load16(const Vek8u* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load8(const Vek8u* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load4(const Vek8u* p) {
    int v;
    std::memcpy(&v, p, sizeof v);
    return _mm_cvtsi32_si128(v);
}
inline int load2(const Vek8u* p) {
    Vek16u v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void store16(Vek8u* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline void store8(Vek8u* p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }
inline void store4(Vek8u* p, __m128i v) {
    const int x = _mm_cvtsi128_si32(v);
    std::memcpy(p, &x, sizeof x);
}
inline void store2(Vek8u* p, __m128i v) {
    const auto x = static_cast<Vek16u>(_mm_cvtsi128_si32(v));
    std::memcpy(p, &x, sizeof x);
}

// ---- Row groups -------------------------------------------------------------
// A block is walked in groups of up to 16 samples: one row of 16, two rows of
// 8, four (or two) rows of 4, eight (or fewer) rows of 2, packed in row order.

template <int W, int H>
inline constexpr int kGroupRows = std::min(std::max(16 / W, 1), H);

template <int W, int G>
inline __m128i gather(const Vek8u* p, Vek32s step) {
    if constexpr (W == 16) {
        return load16(p);
    } else if constexpr (W == 8) {
        return _mm_castpd_si128(
            _mm_loadh_pd(_mm_castsi128_pd(load8(p)), reinterpret_cast<const double*>(row_ptr(p, step, 1))));
    } else if constexpr (W == 4) {
        const __m128i r01 = _mm_unpacklo_epi32(load4(p), load4(row_ptr(p, step, 1)));
        if constexpr (G == 2)
            return r01;
        else
            return _mm_unpacklo_epi64(r01, _mm_unpacklo_epi32(load4(row_ptr(p, step, 2)), load4(row_ptr(p, step, 3))));
    } else {
        unsigned long long half[2] = {0, 0};
#pragma GCC unroll 8
        for (int g = 0; g < G; ++g)
            half[g / 4] |= static_cast<unsigned long long>(load2(row_ptr(p, step, g))) << (16 * (g % 4));
        return _mm_set_epi64x(static_cast<long long>(half[1]), static_cast<long long>(half[0]));
    }
}

template <int W, int G>
inline void scatter(Vek8u* p, Vek32s step, __m128i v) {
    if constexpr (W == 16) {
        store16(p, v);
    } else if constexpr (W == 8) {
        store8(p, v);
        const long long high = _mm_extract_epi64(v, 1);
        std::memcpy(row_ptr(p, step, 1), &high, sizeof high);
    } else {
#pragma GCC unroll 8
        for (int g = 0; g < G; ++g) {
            if constexpr (W == 4)
                store4(row_ptr(p, step, g), v);
            else
                store2(row_ptr(p, step, g), v);
            v = _mm_srli_si128(v, W);
        }
    }
}

// ---- Averages -----------------------------------------------------------------
// pavgb is the rounded average itself.

// 16 x H. With one step for all three blocks (the usual call) a single
// offset walks them, so a row costs its two loads, its store and one add.
template <int H>
inline void average_16xh_128(const Vek8u* src1, std::ptrdiff_t s1, const Vek8u* src2, std::ptrdiff_t s2, Vek8u* dst,
                             std::ptrdiff_t sd) {
    if (s1 == s2 && s1 == sd) {
        std::ptrdiff_t off = 0;
#pragma GCC unroll 16
        for (int y = 0; y < H; ++y, off += s1)
            store16(dst + off, _mm_avg_epu8(load16(src1 + off), load16(src2 + off)));
        return;
    }
#pragma GCC unroll 16
    for (int y = 0; y < H; ++y, src1 += s1, src2 += s2, dst += sd)
        store16(dst, _mm_avg_epu8(load16(src1), load16(src2)));
}

template <int W, int H>
VekStatus average_block_128(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, Vek32u, Vek32u, Vek32s step1,
                            Vek32s step2, Vek32s dstStep) {
    if constexpr (W == 16) {
        average_16xh_128<H>(src1, step1, src2, step2, dst, dstStep);
    } else {
        constexpr int G = kGroupRows<W, H>;
#pragma GCC unroll 16
        for (int y = 0; y < H; y += G) {
            const __m128i a = gather<W, G>(row_ptr(src1, step1, y), step1);
            const __m128i b = gather<W, G>(row_ptr(src2, step2, y), step2);
            scatter<W, G>(row_ptr(dst, dstStep, y), dstStep, _mm_avg_epu8(a, b));
        }
    }
    return vekStsOk;
}

// Any size: each row in pieces of 16, 8 and 4 samples, the last 1 to 3 one by one.
inline VekStatus average_generic_128(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, Vek32u width, Vek32u height,
                                     Vek32s step1, Vek32s step2, Vek32s dstStep) {
    for (int y = 0; y < static_cast<int>(height); ++y) {
        const Vek8u* a = row_ptr(src1, step1, y);
        const Vek8u* b = row_ptr(src2, step2, y);
        Vek8u* d = row_ptr(dst, dstStep, y);
        const int w = static_cast<int>(width);
        int x = 0;
        for (; x + 16 <= w; x += 16) store16(d + x, _mm_avg_epu8(load16(a + x), load16(b + x)));
        if (x + 8 <= w) store8(d + x, _mm_avg_epu8(load8(a + x), load8(b + x))), x += 8;
        if (x + 4 <= w) store4(d + x, _mm_avg_epu8(load4(a + x), load4(b + x))), x += 4;
        for (; x < w; ++x) d[x] = static_cast<Vek8u>((a[x] + b[x] + 1) >> 1);
    }
    return vekStsOk;
}

// The special slots and every generic slot of the averaging table.
inline void set_average_kernels_128(vek::h264::WeightTable& t) {
    using vek::h264::average_block_index;
    for (auto& slot : t.interpolate_block)
        if (slot == t.average_generic) slot = &average_generic_128;
    t.average_generic = &average_generic_128;
    t.interpolate_block[average_block_index(2, 2)] = &average_block_128<2, 2>;
    t.interpolate_block[average_block_index(2, 4)] = &average_block_128<2, 4>;
    t.interpolate_block[average_block_index(4, 2)] = &average_block_128<4, 2>;
    t.interpolate_block[average_block_index(4, 4)] = &average_block_128<4, 4>;
    t.interpolate_block[average_block_index(4, 8)] = &average_block_128<4, 8>;
    t.interpolate_block[average_block_index(8, 4)] = &average_block_128<8, 4>;
    t.interpolate_block[average_block_index(8, 8)] = &average_block_128<8, 8>;
    t.interpolate_block[average_block_index(8, 16)] = &average_block_128<8, 16>;
    t.interpolate_block[average_block_index(16, 8)] = &average_block_128<16, 8>;
    t.interpolate_block[average_block_index(16, 16)] = &average_block_128<16, 16>;
}

// ---- Weighting arithmetic ---------------------------------------------------

// The 16-bit paths' conditions: each weight within [-128, 128] keeps a * w
// exact in 16 bits, the sum of the positive (negative) weights times 255 must
// fit 16 signed bits, and the offset must fit 16 bits for the saturating add to
// clip like the reference. pmaddubsw further needs byte weights (not 128).
inline bool fits_16bit_sum(const WeightParams& p) {
    const auto fits = [](Vek32s w) { return w >= -128 && w <= 128; };
    if (!fits(p.w1) || !fits(p.w2)) return false;
    const Vek32s pos = std::max(p.w1, 0) + std::max(p.w2, 0), neg = std::min(p.w1, 0) + std::min(p.w2, 0);
    return pos <= 128 && neg >= -128 && p.shift >= 1 && p.shift <= 31 && p.offset >= -32768 && p.offset <= 32767;
}
inline bool fits_16bit_bidir(const WeightParams& p) { return fits_16bit_sum(p) && p.w1 != 128 && p.w2 != 128; }
// One source: pmullw of a 16-bit sample keeps a * w exact for |w| up to 128.
inline bool fits_16bit_unidir(const WeightParams& p) {
    return p.w1 >= -128 && p.w1 <= 128 && p.shift <= 31 && p.offset >= -32768 && p.offset <= 32767;
}
// pmulhrsw factor for a rounding shift; from 16 on the result is 0 for any 16-bit sum.
inline Vek16s rounding_factor(Vek32u shift) { return shift >= 16 ? 0 : static_cast<Vek16s>(1 << (15 - shift)); }

// Two sources in 16-bit lanes: lo/hi take the low and high 8 samples of a and b
// and give 8 clipped-to-16-bit results.
struct BidirFast {
    __m128i weights, factor, offset;
    explicit BidirFast(const WeightParams& p)
        : weights(_mm_set1_epi16(static_cast<Vek16s>((p.w1 & 0xFF) | ((p.w2 & 0xFF) << 8)))),
          factor(_mm_set1_epi16(rounding_factor(p.shift))),
          offset(_mm_set1_epi16(static_cast<Vek16s>(p.offset))) {}
    __m128i pairs(__m128i ab) const {
        return _mm_adds_epi16(_mm_mulhrs_epi16(_mm_maddubs_epi16(ab, weights), factor), offset);
    }
    __m128i lo(__m128i a, __m128i b) const { return pairs(_mm_unpacklo_epi8(a, b)); }
    __m128i hi(__m128i a, __m128i b) const { return pairs(_mm_unpackhi_epi8(a, b)); }
};

// Two sources in 16-bit lanes by pmullw, for a weight of 128.
struct BidirMul {
    __m128i w1, w2, factor, offset;
    explicit BidirMul(const WeightParams& p)
        : w1(_mm_set1_epi16(static_cast<Vek16s>(p.w1))),
          w2(_mm_set1_epi16(static_cast<Vek16s>(p.w2))),
          factor(_mm_set1_epi16(rounding_factor(p.shift))),
          offset(_mm_set1_epi16(static_cast<Vek16s>(p.offset))) {}
    __m128i words(__m128i a16, __m128i b16) const {
        const __m128i sum = _mm_add_epi16(_mm_mullo_epi16(a16, w1), _mm_mullo_epi16(b16, w2));
        return _mm_adds_epi16(_mm_mulhrs_epi16(sum, factor), offset);
    }
    __m128i lo(__m128i a, __m128i b) const { return words(_mm_cvtepu8_epi16(a), _mm_cvtepu8_epi16(b)); }
    __m128i hi(__m128i a, __m128i b) const {
        const __m128i zero = _mm_setzero_si128();
        return words(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero));
    }
};

// One source in 16-bit lanes; Shift false is logWD 0 (no rounding, no shift).
template <bool Shift>
struct UnidirFast {
    __m128i weight, factor, offset;
    explicit UnidirFast(const WeightParams& p)
        : weight(_mm_set1_epi16(static_cast<Vek16s>(p.w1))),
          factor(_mm_set1_epi16(rounding_factor(p.shift))),
          offset(_mm_set1_epi16(static_cast<Vek16s>(p.offset))) {}
    __m128i words(__m128i a16) const {
        __m128i v = _mm_mullo_epi16(a16, weight);
        if constexpr (Shift) v = _mm_mulhrs_epi16(v, factor);
        return _mm_adds_epi16(v, offset);
    }
    __m128i lo(__m128i a, __m128i) const { return words(_mm_cvtepu8_epi16(a)); }
    __m128i hi(__m128i a, __m128i) const { return words(_mm_unpackhi_epi8(a, _mm_setzero_si128())); }
};

// Any weights in 32-bit lanes, wrapping as the reference does; packssdw keeps
// the clip (a saturated value lies beyond 0..255 either way).
struct BidirExact {
    __m128i w1, w2, round, offset, count;
    explicit BidirExact(const WeightParams& p)
        : w1(_mm_set1_epi32(p.w1)),
          w2(_mm_set1_epi32(p.w2)),
          round(_mm_set1_epi32(p.shift > 0 ? static_cast<int>(1u << ((p.shift - 1) & 31)) : 0)),
          offset(_mm_set1_epi32(p.offset)),
          count(_mm_cvtsi32_si128(static_cast<int>(p.shift))) {}
    __m128i quad(__m128i a, __m128i b) const {
        const __m128i sum =
            _mm_add_epi32(_mm_mullo_epi32(_mm_cvtepu8_epi32(a), w1), _mm_mullo_epi32(_mm_cvtepu8_epi32(b), w2));
        return _mm_add_epi32(_mm_sra_epi32(_mm_add_epi32(sum, round), count), offset);
    }
    __m128i lo(__m128i a, __m128i b) const {
        return _mm_packs_epi32(quad(a, b), quad(_mm_srli_si128(a, 4), _mm_srli_si128(b, 4)));
    }
    __m128i hi(__m128i a, __m128i b) const { return lo(_mm_srli_si128(a, 8), _mm_srli_si128(b, 8)); }
};

// A W x H block through Op, a group of rows at a time. Each group's sources
// are read before its results are written, so dst may be src2 (or src1).
template <int W, int H, class Op>
inline void weigh_block_128(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2, Vek8u* dst,
                            Vek32s dstStep, const Op& op) {
    constexpr int G = kGroupRows<W, H>;
#pragma GCC unroll 16
    for (int y = 0; y < H; y += G) {
        const __m128i a = gather<W, G>(row_ptr(src1, step1, y), step1);
        const __m128i b = gather<W, G>(row_ptr(src2, step2, y), step2);
        const __m128i hi = (W * G > 8) ? op.hi(a, b) : _mm_setzero_si128();
        scatter<W, G>(row_ptr(dst, dstStep, y), dstStep, _mm_packus_epi16(op.lo(a, b), hi));
    }
}

// Any size, 16 samples at a time; a row's last 1 to 15 samples go through a
// small buffer so that nothing beyond the row is read or written.
template <class Op>
inline void weigh_rows_128(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2, Vek8u* dst, Vek32s dstStep,
                           Vek32s width, Vek32s height, const Op& op) {
    for (int y = 0; y < height; ++y) {
        const Vek8u* a = row_ptr(src1, step1, y);
        const Vek8u* b = row_ptr(src2, step2, y);
        Vek8u* d = row_ptr(dst, dstStep, y);
        int x = 0;
        for (; x + 16 <= width; x += 16) {
            const __m128i va = load16(a + x), vb = load16(b + x);
            store16(d + x, _mm_packus_epi16(op.lo(va, vb), op.hi(va, vb)));
        }
        if (x < width) {
            alignas(16) Vek8u ta[16] = {}, tb[16] = {}, td[16];
            const auto n = static_cast<std::size_t>(width - x);
            std::memcpy(ta, a + x, n);
            std::memcpy(tb, b + x, n);
            const __m128i va = load16(ta), vb = load16(tb);
            store16(td, _mm_packus_epi16(op.lo(va, vb), op.hi(va, vb)));
            std::memcpy(d + x, td, n);
        }
    }
}

inline void bidir_weight_generic_128(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2, Vek8u* dst,
                                     Vek32s dstStep, const WeightParams& p, Vek32s width, Vek32s height) {
    if (fits_16bit_bidir(p))
        weigh_rows_128(src1, step1, src2, step2, dst, dstStep, width, height, BidirFast(p));
    else if (fits_16bit_sum(p))
        weigh_rows_128(src1, step1, src2, step2, dst, dstStep, width, height, BidirMul(p));
    else
        weigh_rows_128(src1, step1, src2, step2, dst, dstStep, width, height, BidirExact(p));
}

// The paths for weights beyond pmaddubsw stay out of line, so that the fast
// path's kernel keeps a short prologue (no saved registers, no stack frame).
template <int W, int H>
[[gnu::noinline]] void bidir_weight_wide_128(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2,
                                             Vek8u* dst, Vek32s dstStep, const WeightParams& p) {
    if (fits_16bit_sum(p)) weigh_block_128<W, H>(src1, step1, src2, step2, dst, dstStep, BidirMul(p));
    else weigh_block_128<W, H>(src1, step1, src2, step2, dst, dstStep, BidirExact(p));
}

template <int W, int H>
[[gnu::noinline]] void unidir_weight_wide_128(Vek8u* srcDst, Vek32s step, const WeightParams& p) {
    weigh_block_128<W, H>(srcDst, step, srcDst, step, srcDst, step, BidirExact(WeightParams{p.w1, 0, p.shift, p.offset}));
}

template <int W, int H>
void bidir_weight_block_128(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2, Vek8u* dst,
                            Vek32s dstStep, const WeightParams& p) {
    if (fits_16bit_bidir(p)) weigh_block_128<W, H>(src1, step1, src2, step2, dst, dstStep, BidirFast(p));
    else bidir_weight_wide_128<W, H>(src1, step1, src2, step2, dst, dstStep, p);
}

template <int W, int H>
VekStatus unidir_weight_block_128(Vek8u* srcDst, Vek32s step, WeightParams p) {
    if (!fits_16bit_unidir(p)) unidir_weight_wide_128<W, H>(srcDst, step, p);
    else if (p.shift > 0) weigh_block_128<W, H>(srcDst, step, srcDst, step, srcDst, step, UnidirFast<true>(p));
    else weigh_block_128<W, H>(srcDst, step, srcDst, step, srcDst, step, UnidirFast<false>(p));
    return vekStsOk;
}

}  // namespace
