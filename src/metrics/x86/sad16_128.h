// 16-bit SAD helpers and 128-bit kernels shared by the SSE4.1 and AVX2 files.
// Moded family: halves are saturating sums (paddusw) shifted, so the sum
// clips at 65535 exactly as the reference; |C - r| is added through pmaddwd,
// which takes it as a signed 16-bit number. Per-block family: psubw wraps,
// pabsw gives 0x8000 for -32768, and the magnitudes are added unsigned in 32 bits.
#pragma once

#include "metrics/x86/metrics_simd.h"

namespace {

inline __m128i adds_u16(__m128i a, __m128i b) { return _mm_adds_epu16(a, b); }
inline __m128i srli_u16(__m128i a, int n) { return _mm_srli_epi16(a, n); }
inline __m128i set1_u16(__m128i, short v) { return _mm_set1_epi16(v); }
#ifdef __AVX2__
inline __m256i adds_u16(__m256i a, __m256i b) { return _mm256_adds_epu16(a, b); }
inline __m256i srli_u16(__m256i a, int n) { return _mm256_srli_epi16(a, n); }
inline __m256i set1_u16(__m256i, short v) { return _mm256_set1_epi16(v); }
#endif

// 16-bit reference samples at mode M; the right neighbour is 2 bytes on.
template <HalfPelMode M, class Load>
inline auto half_pel_16u(Load load, const Vek8u* row, std::ptrdiff_t step) {
    const auto a = load(row);
    if constexpr (M == kModeFF) {
        return a;
    } else if constexpr (M == kModeFH) {
        return srli_u16(adds_u16(adds_u16(a, load(advance(row, step, 1))), set1_u16(a, 1)), 1);
    } else if constexpr (M == kModeHF) {
        return srli_u16(adds_u16(adds_u16(a, load(row + 2)), set1_u16(a, 1)), 1);
    } else {
        // A chain of saturating adds of non-negative terms is the clipped total.
        const auto below = advance(row, step, 1);
        const auto sum = adds_u16(adds_u16(adds_u16(a, load(row + 2)), adds_u16(load(below), load(below + 2))),
                                  set1_u16(a, 2));
        return srli_u16(sum, 2);
    }
}

// |c - r| of unsigned 16-bit lanes, taken as signed 16-bit and summed in pairs.
inline __m128i sad_pairs_16u(__m128i c, __m128i r) {
    const __m128i magnitude = _mm_or_si128(_mm_subs_epu16(c, r), _mm_subs_epu16(r, c));
    return _mm_madd_epi16(magnitude, _mm_set1_epi16(1));
}

// Per-block family: |(c - r) wrapped to 16 signed bits| summed unsigned in pairs.
inline __m128i wrapped_sad_pairs_16u(__m128i c, __m128i r) {
    const __m128i magnitude = _mm_abs_epi16(_mm_sub_epi16(c, r));
    return _mm_add_epi32(_mm_srli_epi32(magnitude, 16), _mm_and_si128(magnitude, _mm_set1_epi32(0xFFFF)));
}

// N x N block with N a multiple of 8 in samples (16 bytes per register).
template <int N, HalfPelMode M>
Vek32s sad_16u_128(const Vek16u* src16, Vek32s srcStep, const Vek16u* ref16, Vek32s refStep) {
    const auto* src = reinterpret_cast<const Vek8u*>(src16);
    const auto* ref = reinterpret_cast<const Vek8u*>(ref16);
    const auto load = [](const Vek8u* p) { return load16(p); };
    __m128i acc = _mm_setzero_si128();
#pragma GCC unroll 16
    for (int y = 0; y < N; ++y) {
#pragma GCC unroll 2
        for (int x = 0; x < 2 * N; x += 16) {
            const __m128i r = half_pel_16u<M>(load, advance(ref, refStep, y) + x, refStep);
            acc = _mm_add_epi32(acc, sad_pairs_16u(load16(advance(src, srcStep, y) + x), r));
        }
    }
    return sum_epi32(acc);
}

// 4x4: two rows of four samples per register.
template <HalfPelMode M>
Vek32s sad4x4_16u_128(const Vek16u* src16, Vek32s srcStep, const Vek16u* ref16, Vek32s refStep) {
    const auto* src = reinterpret_cast<const Vek8u*>(src16);
    const auto* ref = reinterpret_cast<const Vek8u*>(ref16);
    const auto load = [refStep](const Vek8u* p) { return load8x2(p, refStep); };
    __m128i acc = _mm_setzero_si128();
#pragma GCC unroll 2
    for (int y = 0; y < 4; y += 2) {
        const __m128i r = half_pel_16u<M>(load, advance(ref, refStep, y), refStep);
        acc = _mm_add_epi32(acc, sad_pairs_16u(load8x2(advance(src, srcStep, y), srcStep), r));
    }
    return sum_epi32(acc);
}

// Byte step of the per-block family: rows advance by step >> 1 elements.
inline Vek32s element_step(Vek32s step) { return 2 * (step >> 1); }

inline void sad16x16_blocks8x8_16u_128(const Vek16u* src16, Vek32s srcStep, const Vek16u* ref16, Vek32s refStep,
                                       Vek32u* sads) {
    const auto* src = reinterpret_cast<const Vek8u*>(src16);
    const auto* ref = reinterpret_cast<const Vek8u*>(ref16);
    srcStep = element_step(srcStep);
    refStep = element_step(refStep);
    __m128i acc[2][2] = {};  // [top, bottom][left, right]
#pragma GCC unroll 16
    for (int y = 0; y < 16; ++y) {
        const Vek8u* s = advance(src, srcStep, y);
        const Vek8u* r = advance(ref, refStep, y);
        acc[y / 8][0] = _mm_add_epi32(acc[y / 8][0], wrapped_sad_pairs_16u(load16(s), load16(r)));
        acc[y / 8][1] = _mm_add_epi32(acc[y / 8][1], wrapped_sad_pairs_16u(load16(s + 16), load16(r + 16)));
    }
    const __m128i top = _mm_hadd_epi32(acc[0][0], acc[0][1]);
    const __m128i bottom = _mm_hadd_epi32(acc[1][0], acc[1][1]);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(sads), _mm_hadd_epi32(top, bottom));
}

inline void sad16x16_blocks4x4_16u_128(const Vek16u* src16, Vek32s srcStep, const Vek16u* ref16, Vek32s refStep,
                                       Vek32u* sads) {
    const auto* src = reinterpret_cast<const Vek8u*>(src16);
    const auto* ref = reinterpret_cast<const Vek8u*>(ref16);
    srcStep = element_step(srcStep);
    refStep = element_step(refStep);
#pragma GCC unroll 4
    for (int by = 0; by < 4; ++by) {
        __m128i left = _mm_setzero_si128();   // columns 0..7: blocks 0, 1 as lane pairs
        __m128i right = _mm_setzero_si128();  // columns 8..15: blocks 2, 3
#pragma GCC unroll 4
        for (int y = 4 * by; y < 4 * by + 4; ++y) {
            const Vek8u* s = advance(src, srcStep, y);
            const Vek8u* r = advance(ref, refStep, y);
            left = _mm_add_epi32(left, wrapped_sad_pairs_16u(load16(s), load16(r)));
            right = _mm_add_epi32(right, wrapped_sad_pairs_16u(load16(s + 16), load16(r + 16)));
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(sads + 4 * by), _mm_hadd_epi32(left, right));
    }
}

}  // namespace
