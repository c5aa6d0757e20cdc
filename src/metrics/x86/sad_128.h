// 128-bit SAD and SSD kernels of 8-bit blocks, shared by the SSE4.1 file and,
// for block shapes too narrow to gain from 256 bits, the AVX2 file.
//
// Every kernel starts on a 64-byte boundary: the short ones take a handful of
// cycles, and without it the same 4x4 code ran a fifth slower in one placement
// (the one an unrelated edit of the file gave it) than in another.
#pragma once

#include "metrics/x86/metrics_simd.h"

namespace {

// 16 x H: one row per register, psadbw per row.
template <int H, HalfPelMode M>
[[gnu::aligned(64)]]
Vek32s sad16xh_128(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    const auto load = [](const Vek8u* p) { return load16(p); };
    __m128i acc[2] = {_mm_setzero_si128(), _mm_setzero_si128()};
    if constexpr (M == kModeHH) {
        // Each reference row's byte averages serve the output rows above and below it.
        __m128i a = load16(ref), b = load16(ref + 1);
        __m128i avg_above = _mm_avg_epu8(a, b), xor_above = _mm_xor_si128(a, b);
#pragma GCC unroll 16
        for (int y = 0; y < H; ++y) {
            a = load16(advance(ref, refStep, y + 1));
            b = load16(advance(ref, refStep, y + 1) + 1);
            const __m128i avg_below = _mm_avg_epu8(a, b), xor_below = _mm_xor_si128(a, b);
            const __m128i r = avg4_u8(avg_above, xor_above, avg_below, xor_below);
            acc[y & 1] = _mm_add_epi64(acc[y & 1], _mm_sad_epu8(load16(advance(src, srcStep, y)), r));
            avg_above = avg_below;
            xor_above = xor_below;
        }
    } else {
#pragma GCC unroll 16
        for (int y = 0; y < H; ++y) {
            const __m128i r = half_pel<M, 1>(load, advance(ref, refStep, y), refStep);
            acc[y & 1] = _mm_add_epi64(acc[y & 1], _mm_sad_epu8(load16(advance(src, srcStep, y)), r));
        }
    }
    return sad_total(_mm_add_epi64(acc[0], acc[1]));
}

// 8 x H: two rows per register.
template <int H, HalfPelMode M>
[[gnu::aligned(64)]]
Vek32s sad8xh_128(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    const auto load = [refStep](const Vek8u* p) { return load8x2(p, refStep); };
    __m128i acc = _mm_setzero_si128();
#pragma GCC unroll 8
    for (int y = 0; y < H; y += 2) {
        const __m128i r = half_pel<M, 1>(load, advance(ref, refStep, y), refStep);
        acc = _mm_add_epi64(acc, _mm_sad_epu8(load8x2(advance(src, srcStep, y), srcStep), r));
    }
    return sad_total(acc);
}

// 4 x H: psadbw per 4-byte row (the zero upper bytes add nothing); the
// independent rows beat gathering four rows into one register first.
template <int H>
[[gnu::aligned(64)]]
Vek32s sad4xh_128(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    __m128i acc[2] = {_mm_setzero_si128(), _mm_setzero_si128()};
#pragma GCC unroll 8
    for (int y = 0; y < H; ++y) {
        const __m128i sad = _mm_sad_epu8(load4(advance(src, srcStep, y)), load4(advance(ref, refStep, y)));
        acc[y & 1] = _mm_add_epi32(acc[y & 1], sad);
    }
    return _mm_cvtsi128_si32(_mm_add_epi32(acc[0], acc[1]));
}

// Interleaved pairs: |C - r| per byte, even and odd bytes summed apart in
// 16-bit lanes (at most 8 * 255 each); the right neighbour is two bytes on.
template <HalfPelMode M>
[[gnu::aligned(64)]]
void sad8x8_pair_128(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep, Vek32s* first,
                     Vek32s* second) {
    const auto load = [](const Vek8u* p) { return load16(p); };
    const __m128i even_bytes = _mm_set1_epi16(0x00FF);
    __m128i acc_even = _mm_setzero_si128();
    __m128i acc_odd = _mm_setzero_si128();
#pragma GCC unroll 8
    for (int y = 0; y < 8; ++y) {
        const __m128i r = half_pel<M, 2>(load, advance(ref, refStep, y), refStep);
        const __m128i c = load16(advance(src, srcStep, y));
        const __m128i diff = _mm_or_si128(_mm_subs_epu8(c, r), _mm_subs_epu8(r, c));
        acc_even = _mm_add_epi16(acc_even, _mm_and_si128(diff, even_bytes));
        acc_odd = _mm_add_epi16(acc_odd, _mm_srli_epi16(diff, 8));
    }
    const __m128i ones = _mm_set1_epi16(1);
    *first = sum_epi32(_mm_madd_epi16(acc_even, ones));
    *second = sum_epi32(_mm_madd_epi16(acc_odd, ones));
}

// psadbw of one row gives the left and right 8-column sums in its two lanes.
[[gnu::aligned(64)]]
inline void sad16x16_blocks8x8_128(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep, Vek16u* sads) {
    __m128i top = _mm_setzero_si128();
    __m128i bottom = _mm_setzero_si128();
#pragma GCC unroll 8
    for (int y = 0; y < 8; ++y) {
        top = _mm_add_epi64(top, _mm_sad_epu8(load16(advance(src, srcStep, y)), load16(advance(ref, refStep, y))));
        bottom = _mm_add_epi64(
            bottom, _mm_sad_epu8(load16(advance(src, srcStep, y + 8)), load16(advance(ref, refStep, y + 8))));
    }
    // Lanes hold TL, TR | BL, BR below 2^15: two signed packs bring them to four u16.
    const __m128i packed = _mm_packs_epi32(top, bottom);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(sads), _mm_packs_epi32(packed, packed));
}

// One block row of 4x4 SADs: interleaving the 4-byte groups of two rows puts
// one block's two rows in one 8-byte lane, so psadbw yields per-block sums.
inline __m128i sad_blocks4x4_row_128(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    __m128i left = _mm_setzero_si128();   // blocks 0, 1
    __m128i right = _mm_setzero_si128();  // blocks 2, 3
#pragma GCC unroll 2
    for (int y = 0; y < 4; y += 2) {
        const __m128i s0 = load16(advance(src, srcStep, y));
        const __m128i s1 = load16(advance(src, srcStep, y + 1));
        const __m128i r0 = load16(advance(ref, refStep, y));
        const __m128i r1 = load16(advance(ref, refStep, y + 1));
        left = _mm_add_epi64(left, _mm_sad_epu8(_mm_unpacklo_epi32(s0, s1), _mm_unpacklo_epi32(r0, r1)));
        right = _mm_add_epi64(right, _mm_sad_epu8(_mm_unpackhi_epi32(s0, s1), _mm_unpackhi_epi32(r0, r1)));
    }
    return _mm_packs_epi32(left, right);  // as 32-bit lanes: blocks 0..3
}

[[gnu::aligned(64)]]
inline void sad16x16_blocks4x4_128(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep, Vek16u* sads) {
    const __m128i row0 = sad_blocks4x4_row_128(src, srcStep, ref, refStep);
    const __m128i row1 = sad_blocks4x4_row_128(advance(src, srcStep, 4), srcStep, advance(ref, refStep, 4), refStep);
    const __m128i row2 = sad_blocks4x4_row_128(advance(src, srcStep, 8), srcStep, advance(ref, refStep, 8), refStep);
    const __m128i row3 =
        sad_blocks4x4_row_128(advance(src, srcStep, 12), srcStep, advance(ref, refStep, 12), refStep);
    // Block sums are at most 4080: signed packs keep them.
    _mm_storeu_si128(reinterpret_cast<__m128i*>(sads), _mm_packs_epi32(row0, row1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(sads + 8), _mm_packs_epi32(row2, row3));
}

// Squared differences of 16 samples: widened to 16 bits, pmaddwd of d with itself.
inline __m128i ssd_16_128(__m128i c, __m128i r) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i lo = _mm_sub_epi16(_mm_unpacklo_epi8(c, zero), _mm_unpacklo_epi8(r, zero));
    const __m128i hi = _mm_sub_epi16(_mm_unpackhi_epi8(c, zero), _mm_unpackhi_epi8(r, zero));
    return _mm_add_epi32(_mm_madd_epi16(lo, lo), _mm_madd_epi16(hi, hi));
}

template <HalfPelMode M>
[[gnu::aligned(64)]]
Vek32s ssd8x8_128(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    const auto load = [refStep](const Vek8u* p) { return load8x2(p, refStep); };
    __m128i acc = _mm_setzero_si128();
#pragma GCC unroll 4
    for (int y = 0; y < 8; y += 2) {
        const __m128i r = half_pel<M, 1>(load, advance(ref, refStep, y), refStep);
        acc = _mm_add_epi32(acc, ssd_16_128(load8x2(advance(src, srcStep, y), srcStep), r));
    }
    return sum_epi32(acc);
}

template <HalfPelMode M>
[[gnu::aligned(64)]]
Vek32s ssd4x4_128(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    const auto load = [refStep](const Vek8u* p) { return load4x4(p, refStep); };
    const __m128i r = half_pel<M, 1>(load, ref, refStep);
    return sum_epi32(ssd_16_128(load4x4(src, srcStep), r));
}

}  // namespace
