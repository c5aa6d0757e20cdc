// 128-bit half-sample copies shared by the SSE4.1 and AVX2 tables: eight
// samples a row widened to 16 bits, so the four-sample sum is exact.
#pragma once

#include <immintrin.h>

#include <cstddef>

#include "mc/copy_hp.h"

namespace vek::mc {

inline __m128i load8_widen(const Vek8u* p) {
    return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}

// One row of 8 outputs at `a` (row) and `c` (row below).
template <int Mode, int Rc>
inline __m128i copy_row8_128(const Vek8u* a, const Vek8u* c) {
    const __m128i x0 = load8_widen(a);
    if constexpr (Mode == kCopyFull) {
        return x0;
    } else if constexpr (Mode == kCopyHalfX) {
        return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(x0, load8_widen(a + 1)), _mm_set1_epi16(1 - Rc)), 1);
    } else if constexpr (Mode == kCopyHalfY) {
        return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(x0, load8_widen(c)), _mm_set1_epi16(1 - Rc)), 1);
    } else {
        const __m128i s = _mm_add_epi16(_mm_add_epi16(x0, load8_widen(a + 1)),
                                        _mm_add_epi16(load8_widen(c), load8_widen(c + 1)));
        return _mm_srli_epi16(_mm_add_epi16(s, _mm_set1_epi16(2 - Rc)), 2);
    }
}

template <int N, int Mode, int Rc>
void copy_block_128(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep) {
    for (int y = 0; y < N; ++y) {
        const Vek8u* a = src + static_cast<std::ptrdiff_t>(srcStep) * y;
        Vek8u* out = dst + static_cast<std::ptrdiff_t>(dstStep) * y;
        if constexpr (Mode == kCopyFull) {
            if constexpr (N == 16)
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                                 _mm_loadu_si128(reinterpret_cast<const __m128i*>(a)));
            else
                _mm_storel_epi64(reinterpret_cast<__m128i*>(out),
                                 _mm_loadl_epi64(reinterpret_cast<const __m128i*>(a)));
        } else if constexpr (N == 16) {
            const __m128i lo = copy_row8_128<Mode, Rc>(a, a + srcStep);
            const __m128i hi = copy_row8_128<Mode, Rc>(a + 8, a + 8 + srcStep);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(lo, hi));
        } else {
            const __m128i lo = copy_row8_128<Mode, Rc>(a, a + srcStep);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(lo, lo));
        }
    }
}

template <int N>
constexpr std::array<CopyBlockFn*, 2 * kCopyModeCount> copy_slots_128 = {
    copy_block_128<N, 0, 0>, copy_block_128<N, 0, 1>, copy_block_128<N, 1, 0>, copy_block_128<N, 1, 1>,
    copy_block_128<N, 2, 0>, copy_block_128<N, 2, 1>, copy_block_128<N, 3, 0>, copy_block_128<N, 3, 1>};

}  // namespace vek::mc
