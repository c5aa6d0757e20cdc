// AVX2 chroma interpolation kernels: 8-wide blocks two rows per register and
// four rows per pack, 16-bit blocks eight columns per register. Narrower 8-bit
// blocks keep the SSE4.1 kernels.
#include <immintrin.h>

#include <array>
#include <cstring>

#include "h264/interp_chroma.h"

namespace vek::h264 {

namespace {

// The 8 bytes at p in all four quarters: a load alone, no shuffle.
inline __m256i broadcast8(const Vek8u* p) {
    long long v;
    std::memcpy(&v, p, sizeof v);
    return _mm256_set1_epi64x(v);
}

// Pairs (p[x], p[x + next]) of one row, 8 columns, in both lanes. Two rows'
// pairs then share a register through a blend, which any vector pipe runs,
// where a lane insert would queue on the two shuffle pipes.
inline __m256i pairs(const Vek8u* p, std::ptrdiff_t next) {
    return _mm256_unpacklo_epi8(broadcast8(p), broadcast8(p + next));
}
inline __m256i low_lane_high_lane(__m256i lo, __m256i hi) { return _mm256_blend_epi32(lo, hi, 0xF0); }

inline void store_high8(Vek8u* p, __m128i v) {
    const long long high = _mm_extract_epi64(v, 1);
    std::memcpy(p, &high, sizeof high);
}

// Words of rows y (low lane) and y + 1 (high lane) to bytes.
inline void store_two_rows(Vek8u* dst, Vek32s dstStep, __m256i words) {
    const __m256i packed = _mm256_packus_epi16(words, words);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm256_castsi256_si128(packed));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + dstStep), _mm256_extracti128_si256(packed, 1));
}

// Words of rows y, y + 1 and y + 2, y + 3 in one pack: the low lane then
// holds rows y and y + 2, the high lane rows y + 1 and y + 3.
inline void store_four_rows(Vek8u* dst, Vek32s dstStep, __m256i words01, __m256i words23) {
    const __m256i packed = _mm256_packus_epi16(words01, words23);
    const __m128i r02 = _mm256_castsi256_si128(packed), r13 = _mm256_extracti128_si256(packed, 1);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), r02);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + dstStep), r13);
    store_high8(dst + 2 * dstStep, r02);
    store_high8(dst + 3 * dstStep, r13);
}

inline void store_one_row(Vek8u* dst, __m128i words) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm_packus_epi16(words, words));
}

// Byte weight pairs of the bilinear filters by chroma_frac, each pair twice
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
            const int i = chroma_frac(dx, dy);
            w.horz[i] = twice(8 - dx, dx);
            w.vert[i] = twice(8 - dy, dy);
            w.ab[i] = twice((8 - dx) * (8 - dy), dx * (8 - dy));
            w.cd[i] = twice((8 - dx) * dy, dx * dy);
        }
    return w;
}
alignas(64) constexpr WeightPairs kWeightPairs = make_weight_pairs();

// (s + 4) >> 3 and (s + 32) >> 6 of non-negative sums below 2^15: pmulhrsw
// by 2^12 and 2^9 rounds exactly so, in one instruction.
template <int kShift>
inline __m256i round_shift(__m256i s) { return _mm256_mulhrs_epi16(s, _mm256_set1_epi16(1 << (15 - kShift))); }
template <int kShift>
inline __m128i round_shift(__m128i s) { return _mm_mulhrs_epi16(s, _mm_set1_epi16(1 << (15 - kShift))); }

// Both filters walk the block two output rows at a time and read no row
// beyond the ones their kind needs.
//
// Two taps: pairs (p[x], p[x + next]) of rows y and y + 1 by one weight pair.
template <bool kVertical>
struct TwoTap {
    __m256i w;
    const Vek8u* src;
    std::ptrdiff_t step;
    static constexpr int kShift = 3;
    static constexpr std::ptrdiff_t next(std::ptrdiff_t s) { return kVertical ? s : 1; }
    TwoTap(const Vek8u* s, Vek32s srcStep, __m256i weights) : w(weights), src(s), step(srcStep) {}
    __m256i two_rows() {
        const __m256i p0 = pairs(src, next(step)), p1 = pairs(src + step, next(step));
        src += 2 * step;
        return round_shift<kShift>(_mm256_maddubs_epi16(low_lane_high_lane(p0, p1), w));
    }
    __m128i last_row() const {
        const __m128i p0 = _mm256_castsi256_si128(pairs(src, next(step)));
        return round_shift<kShift>(_mm_maddubs_epi16(p0, _mm256_castsi256_si128(w)));
    }
};

// Four taps: `prev` holds the pairs of the current row in both lanes and each
// step makes those of the next two rows, so every source row is read once:
// the pairs (A, B) of rows y, y + 1 by the weights of A and B, plus the pairs
// of rows y + 1, y + 2 by those of C and D.
struct FourTap {
    __m256i wab, wcd;
    const Vek8u* src;
    std::ptrdiff_t step;
    __m256i prev;
    static constexpr int kShift = 6;
    FourTap(const Vek8u* s, Vek32s srcStep, __m256i ab, __m256i cd)
        : wab(ab), wcd(cd), src(s), step(srcStep), prev(pairs(s, 1)) {}
    __m256i two_rows() {
        const __m256i p1 = pairs(src + step, 1), p2 = pairs(src + 2 * step, 1);
        src += 2 * step;
        const __m256i sum = _mm256_add_epi16(_mm256_maddubs_epi16(low_lane_high_lane(prev, p1), wab),
                                             _mm256_maddubs_epi16(low_lane_high_lane(p1, p2), wcd));
        prev = p2;
        return round_shift<kShift>(sum);
    }
    __m128i last_row() const {
        const __m128i below = _mm256_castsi256_si128(pairs(src + step, 1));
        const __m128i top = _mm256_castsi256_si128(prev);
        return round_shift<kShift>(_mm_add_epi16(_mm_maddubs_epi16(top, _mm256_castsi256_si128(wab)),
                                                 _mm_maddubs_epi16(below, _mm256_castsi256_si128(wcd))));
    }
};

// kRows > 0 is the height built in (fully unrolled: for blocks this small a
// loop's own overhead is a large share of the work), 0 a height known only at
// run time.
template <int kRows, class Filter>
[[gnu::always_inline]] inline void filter_rows(Filter f, Vek8u* dst, Vek32s dstStep, Vek32s run_height) {
    const int height = kRows ? kRows : run_height;
    int y = 0;
    for (; y + 4 <= height; y += 4, dst += 4 * static_cast<std::ptrdiff_t>(dstStep)) {
        const __m256i r01 = f.two_rows();
        store_four_rows(dst, dstStep, r01, f.two_rows());
    }
    if (y + 2 <= height) {
        store_two_rows(dst, dstStep, f.two_rows());
        y += 2;
        dst += 2 * static_cast<std::ptrdiff_t>(dstStep);
    }
    if (y < height) store_one_row(dst, f.last_row());
}

// Other heights out of line, so that the common ones keep a prologue free of
// saved registers.
template <bool kVertical>
[[gnu::noinline]] void two_tap_any(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s pair,
                                   Vek32s height) {
    filter_rows<0>(TwoTap<kVertical>(src, srcStep, _mm256_set1_epi32(pair)), dst, dstStep, height);
}

template <bool kVertical>
VekStatus two_tap_w8(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s frac, Vek32s height) {
    const Vek32s pair = kVertical ? kWeightPairs.vert[frac] : kWeightPairs.horz[frac];
    const TwoTap<kVertical> f(src, srcStep, _mm256_set1_epi32(pair));
    if (height == 8)
        filter_rows<8>(f, dst, dstStep, height);
    else if (height == 4)
        filter_rows<4>(f, dst, dstStep, height);
    else
        two_tap_any<kVertical>(src, srcStep, dst, dstStep, pair, height);
    return vekStsOk;
}

[[gnu::noinline]] void full_any(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int frac,
                                Vek32s height) {
    filter_rows<0>(FourTap(src, srcStep, _mm256_set1_epi32(kWeightPairs.ab[frac]),
                           _mm256_set1_epi32(kWeightPairs.cd[frac])),
                   dst, dstStep, height);
}

VekStatus full_w8(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s frac, Vek32s height) {
    const FourTap f(src, srcStep, _mm256_set1_epi32(kWeightPairs.ab[frac]), _mm256_set1_epi32(kWeightPairs.cd[frac]));
    if (height == 8)
        filter_rows<8>(f, dst, dstStep, height);
    else if (height == 4)
        filter_rows<4>(f, dst, dstStep, height);
    else
        full_any(src, srcStep, dst, dstStep, frac, height);
    return vekStsOk;
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
