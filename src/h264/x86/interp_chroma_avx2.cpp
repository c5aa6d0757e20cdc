// AVX2 chroma interpolation kernels: 8-wide blocks two rows per register,
// 16-bit blocks eight columns per register. Narrower 8-bit blocks keep the
// SSE4.1 kernels.
#include <immintrin.h>

#include <array>

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

// Byte weight pairs of the bilinear filters by 8 * dy + dx, each pair twice
// in a 32-bit word, so that one broadcast load puts it in every lane and no
// multiply or shuffle sits between the call and the first row.
struct WeightPairs {
    std::array<Vek32s, 64> horz, vert, ab, cd;
};
constexpr Vek32s twice(int lo, int hi) { return static_cast<Vek32s>(((hi << 8 | lo) << 16) | (hi << 8 | lo)); }
constexpr WeightPairs make_weight_pairs() {
    WeightPairs w{};
    for (int dy = 0; dy < 8; ++dy)
        for (int dx = 0; dx < 8; ++dx) {
            const int i = 8 * dy + dx;
            w.horz[i] = twice(8 - dx, dx);
            w.vert[i] = twice(8 - dy, dy);
            w.ab[i] = twice((8 - dx) * (8 - dy), dx * (8 - dy));
            w.cd[i] = twice((8 - dx) * dy, dx * dy);
        }
    return w;
}
alignas(64) constexpr WeightPairs kWeightPairs = make_weight_pairs();

inline int weight_index(Vek32s dx, Vek32s dy) { return 8 * (dy & 7) + (dx & 7); }

// (s + 4) >> 3 and (s + 32) >> 6 of non-negative sums below 2^15: pmulhrsw
// by 2^12 and 2^9 rounds exactly so, in one instruction.
template <int kShift>
inline __m256i round_shift(__m256i s) { return _mm256_mulhrs_epi16(s, _mm256_set1_epi16(1 << (15 - kShift))); }
template <int kShift>
inline __m128i round_shift(__m128i s) { return _mm_mulhrs_epi16(s, _mm_set1_epi16(1 << (15 - kShift))); }

inline __m256i two_lanes(__m128i lo, __m128i hi) { return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1); }

// kRows > 0 is the height built in (fully unrolled: for blocks this small a
// loop's own overhead is a large share of the work), 0 a height known only at
// run time.
template <bool kVertical, int kRows>
[[gnu::always_inline]] inline void two_tap_rows(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep,
                                                __m256i w, Vek32s run_height) {
    const int height = kRows ? kRows : run_height;
    const std::ptrdiff_t next = kVertical ? srcStep : 1;
    int y = 0;
    for (; y + 2 <= height; y += 2, src += 2 * srcStep, dst += 2 * dstStep) {
        const __m256i p = two_lanes(pairs(src, next), pairs(src + srcStep, next));
        store_two_rows(dst, dstStep, round_shift<3>(_mm256_maddubs_epi16(p, w)));
    }
    if (y < height)
        store_one_row(dst, round_shift<3>(_mm_maddubs_epi16(pairs(src, next), _mm256_castsi256_si128(w))));
}

// Other heights out of line, so that the common ones keep a prologue free of
// saved registers.
template <bool kVertical>
[[gnu::noinline]] void two_tap_any(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s pair,
                                   Vek32s height) {
    two_tap_rows<kVertical, 0>(src, srcStep, dst, dstStep, _mm256_set1_epi32(pair), height);
}

template <bool kVertical>
void two_tap_w8(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s dx, Vek32s dy, Vek32s height) {
    const int i = weight_index(dx, dy);
    const Vek32s pair = kVertical ? kWeightPairs.vert[i] : kWeightPairs.horz[i];
    const __m256i w = _mm256_set1_epi32(pair);
    if (height == 8)
        two_tap_rows<kVertical, 8>(src, srcStep, dst, dstStep, w, height);
    else if (height == 4)
        two_tap_rows<kVertical, 4>(src, srcStep, dst, dstStep, w, height);
    else
        two_tap_any<kVertical>(src, srcStep, dst, dstStep, pair, height);
}

// Rows y and y + 1 in the two lanes: the pairs (A, B) of rows y, y + 1 by
// the weights of A and B, plus the pairs of rows y + 1, y + 2 by those of C
// and D. Each row's pairs are made once and serve two output rows.
template <int kRows>
[[gnu::always_inline]] inline void full_rows(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep,
                                             __m256i wab, __m256i wcd, Vek32s run_height) {
    const int height = kRows ? kRows : run_height;
    __m128i r0 = pairs(src, 1);
    int y = 0;
    for (; y + 2 <= height; y += 2, dst += 2 * dstStep) {
        const __m128i r1 = pairs(src + srcStep, 1);
        const __m128i r2 = pairs(src + 2 * srcStep, 1);
        src += 2 * srcStep;
        const __m256i sum = _mm256_add_epi16(_mm256_maddubs_epi16(two_lanes(r0, r1), wab),
                                             _mm256_maddubs_epi16(two_lanes(r1, r2), wcd));
        store_two_rows(dst, dstStep, round_shift<6>(sum));
        r0 = r2;
    }
    if (y < height) {
        const __m128i sum = _mm_add_epi16(_mm_maddubs_epi16(r0, _mm256_castsi256_si128(wab)),
                                          _mm_maddubs_epi16(pairs(src + srcStep, 1), _mm256_castsi256_si128(wcd)));
        store_one_row(dst, round_shift<6>(sum));
    }
}

[[gnu::noinline]] void full_any(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int i, Vek32s height) {
    full_rows<0>(src, srcStep, dst, dstStep, _mm256_set1_epi32(kWeightPairs.ab[i]),
                 _mm256_set1_epi32(kWeightPairs.cd[i]), height);
}

void full_w8(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s dx, Vek32s dy, Vek32s height) {
    const int i = weight_index(dx, dy);
    const __m256i wab = _mm256_set1_epi32(kWeightPairs.ab[i]), wcd = _mm256_set1_epi32(kWeightPairs.cd[i]);
    if (height == 8)
        full_rows<8>(src, srcStep, dst, dstStep, wab, wcd, height);
    else if (height == 4)
        full_rows<4>(src, srcStep, dst, dstStep, wab, wcd, height);
    else
        full_any(src, srcStep, dst, dstStep, i, height);
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
