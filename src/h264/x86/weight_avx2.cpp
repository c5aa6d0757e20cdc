// AVX2 kernels of the 8-bit weightings of 16-wide blocks: two rows per
// register, one in each lane, so that the byte interleave, the arithmetic and
// the final pack all stay within lanes and the lanes hold whole output rows.
// The shared-step form (the one a decoder calls) takes the weights of coded
// streams through the shortest arithmetic there is for them, and the rest
// through the three-step kernel.
// The rarer paths (weights of 128, 32-bit sums), the narrower blocks and the
// averages (a 16-byte row is one pavgb) use the 128-bit kernels, compiled
// here in VEX encoding.
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "h264/weight.h"
#include "h264/x86/weight_128.h"
#include "h264/x86/weight_16u_simd.h"

namespace vek::h264 {

namespace {

struct BidirFast256 {
    __m256i weights, factor, offset;
    explicit BidirFast256(const WeightParams& p)
        : weights(_mm256_set1_epi16(static_cast<Vek16s>((p.w1 & 0xFF) | ((p.w2 & 0xFF) << 8)))),
          factor(_mm256_set1_epi16(rounding_factor(p.shift))),
          offset(_mm256_set1_epi16(static_cast<Vek16s>(p.offset))) {}
    __m256i pairs(__m256i ab) const {
        return _mm256_adds_epi16(_mm256_mulhrs_epi16(_mm256_maddubs_epi16(ab, weights), factor), offset);
    }
    __m256i lo(__m256i a, __m256i b) const { return pairs(_mm256_unpacklo_epi8(a, b)); }
    __m256i hi(__m256i a, __m256i b) const { return pairs(_mm256_unpackhi_epi8(a, b)); }
};

template <bool Shift>
struct UnidirFast256 {
    __m256i weight, factor, offset;
    explicit UnidirFast256(const WeightParams& p)
        : weight(_mm256_set1_epi16(static_cast<Vek16s>(p.w1))),
          factor(_mm256_set1_epi16(rounding_factor(p.shift))),
          offset(_mm256_set1_epi16(static_cast<Vek16s>(p.offset))) {}
    __m256i words(__m256i a16) const {
        __m256i v = _mm256_mullo_epi16(a16, weight);
        if constexpr (Shift) v = _mm256_mulhrs_epi16(v, factor);
        return _mm256_adds_epi16(v, offset);
    }
    __m256i lo(__m256i a, __m256i) const { return words(_mm256_unpacklo_epi8(a, _mm256_setzero_si256())); }
    __m256i hi(__m256i a, __m256i) const { return words(_mm256_unpackhi_epi8(a, _mm256_setzero_si256())); }
};

// (S + c) >> shift with S = a * w1 + b * w2 from pmaddubsw and c the rounding
// term plus the offset times 2^shift: the offset rides along in the same add,
// and the arithmetic shift runs on other pipes than the multiplies.
struct BidirAddShift256 {
    __m256i weights, c;
    __m128i count;
    BidirAddShift256(const WeightParams& p, Vek32s c32)
        : weights(_mm256_set1_epi16(static_cast<Vek16s>((p.w1 & 0xFF) | ((p.w2 & 0xFF) << 8)))),
          c(_mm256_set1_epi16(static_cast<Vek16s>(c32))),
          count(_mm_cvtsi32_si128(static_cast<int>(p.shift))) {}
    __m256i pairs(__m256i ab) const {
        return _mm256_sra_epi16(_mm256_add_epi16(_mm256_maddubs_epi16(ab, weights), c), count);
    }
    __m256i lo(__m256i a, __m256i b) const { return pairs(_mm256_unpacklo_epi8(a, b)); }
    __m256i hi(__m256i a, __m256i b) const { return pairs(_mm256_unpackhi_epi8(a, b)); }
};

// One source: each sample paired with a constant byte K, so that pmaddubsw
// forms a * w + K * m, K * m being the rounding term plus the offset times
// 2^shift; an arithmetic shift finishes. A sum pmaddubsw saturates lies
// beyond 0..255 after any shift up to 7, as the exact one does.
struct UnidirPair256 {
    __m256i weights, k;
    __m128i count;
    UnidirPair256(const WeightParams& p, Vek32s k8, Vek32s m)
        : weights(_mm256_set1_epi16(static_cast<Vek16s>((p.w1 & 0xFF) | ((m & 0xFF) << 8)))),
          k(_mm256_set1_epi8(static_cast<char>(k8))),
          count(_mm_cvtsi32_si128(static_cast<int>(p.shift))) {}
    __m256i pairs(__m256i ak) const { return _mm256_sra_epi16(_mm256_maddubs_epi16(ak, weights), count); }
    __m256i lo(__m256i a, __m256i) const { return pairs(_mm256_unpacklo_epi8(a, k)); }
    __m256i hi(__m256i a, __m256i) const { return pairs(_mm256_unpackhi_epi8(a, k)); }
};

// Rows y and y + 1 in the two lanes: lo and hi are samples 0-7 and 8-15 of
// each row, and packuswb puts each row back together in its own lane. The
// high lane comes by an insert from memory.
inline __m256i two_rows(const Vek8u* r0, const Vek8u* r1) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(r0)), load16(r1), 1);
}

template <class Op>
[[gnu::always_inline]] inline void weigh_two_rows(const Vek8u* a0, const Vek8u* a1, const Vek8u* b0, const Vek8u* b1,
                                                  Vek8u* d0, Vek8u* d1, Op op) {
    const __m256i a = two_rows(a0, a1), b = two_rows(b0, b1);
    const __m256i v = _mm256_packus_epi16(op.lo(a, b), op.hi(a, b));
    store16(d0, _mm256_castsi256_si128(v));
    store16(d1, _mm256_extracti128_si256(v, 1));
}

// Each source walks by its own pointer, two rows a step: row y + 1 is one
// step past row y, an addressing mode of its own.
template <int H, class Op>
[[gnu::always_inline]] inline void weigh_16xh_avx2(const Vek8u* src1, std::ptrdiff_t s1, const Vek8u* src2,
                                                   std::ptrdiff_t s2, Vek8u* dst, std::ptrdiff_t sd, Op op) {
#pragma GCC unroll 8
    for (int y = 0; y < H; y += 2, src1 += 2 * s1, src2 += 2 * s2, dst += 2 * sd)
        weigh_two_rows(src1, src1 + s1, src2, src2 + s2, dst, dst + sd, op);
}

// The default weights, 2^logWD each without offsets, give the rounded average
// exactly: pavgb. (Products stay far below the 32-bit wrap for shifts up to 15.)
inline bool is_average(const WeightParams& p) {
    return p.shift - 1 < 15 && p.offset == 0 && p.w1 == p.w2 && p.w1 == (1 << (p.shift - 1));
}

// The add-and-shift form is exact when both weights are signed bytes, the
// shift is 1 to 15 and no S + c can leave 16 bits (nor S itself): tested as
// 255 (|w1| + |w2|) + |c| <= 32767, a little stricter than needed with weights
// of opposite signs, and cheap. c is set when it holds.
inline bool fits_add_shift(const WeightParams& p, Vek32s& c) {
    const auto byte = [](Vek32s w) { return static_cast<Vek32u>(w) + 128u <= 255u; };
    if (p.shift - 1 >= 15 || !byte(p.w1) || !byte(p.w2)) return false;
    const Vek32s limit = 32767 >> p.shift;  // keeps the offset's term, and c, far from the 32-bit wrap
    if (p.offset > limit || p.offset < -limit) return false;
    c = (1 << (p.shift - 1)) + p.offset * (1 << p.shift);
    return 255 * (std::abs(p.w1) + std::abs(p.w2)) + std::abs(c) <= 32767;
}

// Everything else (out of line, so that the fast kernel keeps a prologue
// without saved registers or stack frame, and reached by a jump): the
// rounding multiply with a saturating offset add, then 32-bit lanes. The
// weights come by value: a reference would make the caller keep them in memory.
template <int H>
[[gnu::noinline]] VekStatus bidir_16xh_other(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2,
                                             Vek8u* dst, Vek32s dstStep, WeightParams p) {
    if (fits_16bit_bidir(p))
        weigh_16xh_avx2<H>(src1, step1, src2, step2, dst, dstStep, BidirFast256(p));
    else
        bidir_weight_wide_128<16, H>(src1, step1, src2, step2, dst, dstStep, p);
    return vekStsOk;
}

// The default weights first (pavgb), then the add-and-shift form, then the rest.
template <int H>
void bidir_weight_16xh_avx2(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2, Vek8u* dst,
                            Vek32s dstStep, const WeightParams& p) {
    Vek32s c;
    if (is_average(p))
        average_16xh_128<H>(src1, step1, src2, step2, dst, dstStep);
    else if (fits_add_shift(p, c))
        weigh_16xh_avx2<H>(src1, step1, src2, step2, dst, dstStep, BidirAddShift256(p, c));
    else
        bidir_16xh_other<H>(src1, step1, src2, step2, dst, dstStep, p);
}

// The shared-step form's rarer paths take at most six register arguments, so
// that the kernel reaches them by a jump.
template <int H>
[[gnu::noinline]] VekStatus average_shared_16xh(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, SharedSteps steps) {
    average_16xh_128<H>(src1, steps.src, src2, steps.src, dst, steps.dst);
    return vekStsOk;
}
template <int H>
[[gnu::noinline]] VekStatus bidir_shared_16xh_other(const Vek8u* src1, const Vek8u* src2, Vek8u* dst,
                                                    SharedSteps steps, WeightParams p) {
    bidir_weight_16xh_avx2<H>(src1, steps.src, src2, steps.src, dst, steps.dst, p);
    return vekStsOk;
}

// Weights of 0 to 127 whose sum is at most 2^shift (at most 128 for shift
// 8): the implicit weights and the explicit ones of coded streams. Every
// (S + r) >> shift then lies in 0..255 and S below 2^15, so pmulhrsw rounds
// and shifts in one instruction. An offset, pinned to -256..255 (anything
// beyond saturates every sample just the same), is a 16-bit add on any
// vector pipe before packuswb clips as the reference does.
template <bool Offset>
struct UnitSum256 {
    __m256i weights, factor, offset;
    __m256i words(__m256i ab) const {
        const __m256i v = _mm256_mulhrs_epi16(_mm256_maddubs_epi16(ab, weights), factor);
        return Offset ? _mm256_add_epi16(v, offset) : v;
    }
    __m256i bytes(__m256i a, __m256i b) const {
        return _mm256_packus_epi16(words(_mm256_unpacklo_epi8(a, b)), words(_mm256_unpackhi_epi8(a, b)));
    }
};

// Two rows a step. The second source is addressed off the first (the two
// share a step), so a step costs two adds: the first source's and the
// destination's.
template <int H, class Op>
[[gnu::always_inline]] inline void unit_sum_16xh(const Vek8u* a, const Vek8u* b, Vek8u* d, std::ptrdiff_t s,
                                                 std::ptrdiff_t sd, Op op) {
    const std::ptrdiff_t ab = b - a, ab1 = ab + s;
#pragma GCC unroll 8
    for (int y = 0; y < H; y += 2) {
        const __m256i v = op.bytes(two_rows(a, a + s), two_rows(a + ab, a + ab1));
        store16(d, _mm256_castsi256_si128(v));
        store16(d + sd, _mm256_extracti128_si256(v, 1));
        a += 2 * s;
        d += 2 * sd;
    }
}

// By shift & 7: the pmulhrsw factor 2^(15 - shift), and 2^shift, the sum of
// the plain average's weights.
struct UnitSumShift {
    Vek16s factor;
    Vek32s unit;
};
constexpr UnitSumShift kUnitSumShift[8] = {{1 << 7, 256},  {1 << 14, 2},  {1 << 13, 4},  {1 << 12, 8},
                                           {1 << 11, 16},  {1 << 10, 32}, {1 << 9, 64},   {1 << 8, 128}};
// The largest weight sum of the unit-sum path by shift & 7; slot 0 is shift
// 8, whose sum stays at 128 to keep S below 2^15. 32 bits wide, so that the
// test compares the sum with memory and needs no register for the limit.
constexpr Vek32u kUnitSumLimit[8] = {128, 2, 4, 8, 16, 32, 64, 128};

// The block's loop, reached by a jump with the call's own arguments.
// Without an offset, equal weights of sum 2^shift are the rounded average.
template <int H, bool Offset>
[[gnu::noinline]] VekStatus unit_sum_shared_16xh(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, SharedSteps steps,
                                                 WeightParams p) {
    const UnitSumShift& k = kUnitSumShift[p.shift & 7];
    if (!Offset && ((p.w1 ^ p.w2) | (p.w1 + p.w2 - k.unit)) == 0) return average_shared_16xh<H>(src1, src2, dst, steps);
    const UnitSum256<Offset> op{_mm256_set1_epi16(static_cast<Vek16s>(p.w1 | (p.w2 << 8))),
                                _mm256_set1_epi16(k.factor),
                                _mm256_set1_epi16(static_cast<Vek16s>(std::clamp(p.offset, -256, 255)))};
    unit_sum_16xh<H>(src1, src2, dst, steps.src, steps.dst, op);
    return vekStsOk;
}

// The unit-sum tests, each a branch of its own so that the function keeps to
// the scratch registers and ends in a jump: weights within 0..127 (one test
// of the two as they travel, in one register), shift 1 to 8, the sum within
// the limit.
template <int H>
VekStatus bidir_shared_16xh_avx2(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, SharedSteps steps,
                                 WeightParams p) {
    unsigned long long weights;  // w1 and w2 as they travel, w2 in the high half
    static_assert(offsetof(WeightParams, w1) == 0 && offsetof(WeightParams, w2) == 4);
    std::memcpy(&weights, &p, sizeof weights);
    if (weights & 0xFFFFFF80FFFFFF80ull) [[unlikely]]
        return bidir_shared_16xh_other<H>(src1, src2, dst, steps, p);
    if (p.shift - 1 > 7) [[unlikely]]
        return bidir_shared_16xh_other<H>(src1, src2, dst, steps, p);
    if (static_cast<Vek32u>(p.w1 + p.w2) > kUnitSumLimit[p.shift & 7]) [[unlikely]]
        return bidir_shared_16xh_other<H>(src1, src2, dst, steps, p);
    if (p.offset != 0) return unit_sum_shared_16xh<H, true>(src1, src2, dst, steps, p);
    return unit_sum_shared_16xh<H, false>(src1, src2, dst, steps, p);
}

template <int H>
[[gnu::noinline]] VekStatus unidir_weight_16xh_other(Vek8u* srcDst, Vek32s step, WeightParams p) {
    if (!fits_16bit_unidir(p))
        unidir_weight_wide_128<16, H>(srcDst, step, p);
    else if (p.shift > 0)
        weigh_16xh_avx2<H>(srcDst, step, srcDst, step, srcDst, step, UnidirFast256<true>(p));
    else
        weigh_16xh_avx2<H>(srcDst, step, srcDst, step, srcDst, step, UnidirFast256<false>(p));
    return vekStsOk;
}

// One source: a signed byte weight, a shift of at most 7 and an offset whose
// term K * m has K within a byte take UnidirPair256; anything else goes out of
// line.
template <int H>
VekStatus unidir_weight_16xh_avx2(Vek8u* srcDst, Vek32s step, WeightParams p) {
    if (p.shift <= 7 && static_cast<Vek32u>(p.w1) + 128u <= 255u) {
        const bool shifted = p.shift != 0;
        long long k = shifted ? 2LL * p.offset + 1 : p.offset;
        int m = shifted ? 1 << (p.shift - 1) : 1;
        if (k < 0) k = -k, m = -m;
        if (k <= 255) {
            weigh_16xh_avx2<H>(srcDst, step, srcDst, step, srcDst, step, UnidirPair256(p, static_cast<Vek32s>(k), m));
            return vekStsOk;
        }
    }
    return unidir_weight_16xh_other<H>(srcDst, step, p);
}

template <int W, int H>
struct BidirVex {
    static constexpr BiWeightBlockFn* fn = &bidir_weight_block_128<W, H>;
};
template <int W, int H>
struct BidirSharedVex {
    static constexpr BiWeightSharedFn* fn = &with_shared_steps<&bidir_weight_block_128<W, H>>;
};
template <int W, int H>
struct UnidirVex {
    static constexpr UniWeightBlockFn* fn = &unidir_weight_block_128<W, H>;
};

// 16-bit samples: eight 32-bit lanes per register for the weightings, sixteen
// samples per pavgw for the average; the tails as at SSE4.1.
struct Weigh16x8 {
    __m256i w1, w2, round, offset, max;
    __m128i count;
    explicit Weigh16x8(const Weigh16x4& w)
        : w1(_mm256_broadcastd_epi32(w.w1)),
          w2(_mm256_broadcastd_epi32(w.w2)),
          round(_mm256_broadcastd_epi32(w.round)),
          offset(_mm256_broadcastd_epi32(w.offset)),
          max(_mm256_broadcastd_epi32(w.max)),
          count(w.count) {}
    static __m256i load(const Vek16u* p) {
        return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    }
    void store(Vek16u* p, __m256i sum) const {
        __m256i v = _mm256_add_epi32(_mm256_sra_epi32(_mm256_add_epi32(sum, round), count), offset);
        v = _mm256_min_epi32(_mm256_max_epi32(v, _mm256_setzero_si256()), max);
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(v, v), 0x08);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(packed));
    }
};

void average_16u_avx2(const Vek16u* src1, Vek32s step1, const Vek16u* src2, Vek32s step2, Vek16u* dst,
                      Vek32s dstStep, Vek32s width, Vek32s height) {
    average16_rows<16>(src1, step1, src2, step2, dst, dstStep, width, height,
                       [](const Vek16u* a, const Vek16u* b, Vek16u* d) {
                           _mm256_storeu_si256(reinterpret_cast<__m256i*>(d),
                                               _mm256_avg_epu16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a)),
                                                                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b))));
                       });
}

void bidir_weight_16u_avx2(const Vek16u* src1, Vek32s step1, const Vek16u* src2, Vek32s step2, Vek16u* dst,
                           Vek32s dstStep, const WeightParams& p, Vek32s width, Vek32s height, Vek32s bitDepth) {
    const Weigh16x4 w(p, bitDepth);
    const Weigh16x8 w8(w);
    weigh16_rows<8, true>(src1, step1, src2, step2, dst, dstStep, width, height, w,
                          [&w8](const Vek16u* a, const Vek16u* b, Vek16u* d) {
                              w8.store(d, _mm256_add_epi32(_mm256_mullo_epi32(Weigh16x8::load(a), w8.w1),
                                                           _mm256_mullo_epi32(Weigh16x8::load(b), w8.w2)));
                          });
}

void unidir_weight_16u_avx2(Vek16u* srcDst, Vek32s step, const WeightParams& p, Vek32s width, Vek32s height,
                            Vek32s bitDepth) {
    const Weigh16x4 w(p, bitDepth);
    const Weigh16x8 w8(w);
    weigh16_rows<8, false>(srcDst, step, srcDst, step, srcDst, step, width, height, w,
                           [&w8](const Vek16u* a, const Vek16u*, Vek16u* d) {
                               w8.store(d, _mm256_mullo_epi32(Weigh16x8::load(a), w8.w1));
                           });
}

}  // namespace

void init_weight_table_avx2(WeightTable& t) {
    // The 128-bit kernels again in VEX encoding, which takes unaligned memory
    // operands: a load folds into the arithmetic. The 16-wide weightings follow.
    set_average_kernels_128(t);
    t.bidir_weight_block = fixed_size_table<BidirVex, BiWeightBlockFn>();
    t.bidir_weight_shared = fixed_size_table<BidirSharedVex, BiWeightSharedFn>();
    t.unidir_weight_block = fixed_size_table<UnidirVex, UniWeightBlockFn>();
    t.bidir_weight_generic = &bidir_weight_generic_128;
    const auto set16 = [&t](int h, BiWeightBlockFn* bidir, BiWeightSharedFn* shared, UniWeightBlockFn* unidir) {
        t.bidir_weight_block[weight_block_index(16, h)] = bidir;
        t.bidir_weight_shared[weight_block_index(16, h)] = shared;
        t.unidir_weight_block[weight_block_index(16, h)] = unidir;
    };
    set16(2, &bidir_weight_16xh_avx2<2>, &bidir_shared_16xh_avx2<2>, &unidir_weight_16xh_avx2<2>);
    set16(4, &bidir_weight_16xh_avx2<4>, &bidir_shared_16xh_avx2<4>, &unidir_weight_16xh_avx2<4>);
    set16(8, &bidir_weight_16xh_avx2<8>, &bidir_shared_16xh_avx2<8>, &unidir_weight_16xh_avx2<8>);
    set16(16, &bidir_weight_16xh_avx2<16>, &bidir_shared_16xh_avx2<16>, &unidir_weight_16xh_avx2<16>);
    // The saturating packs clip exactly as the weighted average's look-up table
    // does over its range.
    t.weighted_average = t.bidir_weight_shared;
    t.average_16u = &average_16u_avx2;
    t.bidir_weight_16u = &bidir_weight_16u_avx2;
    t.unidir_weight_16u = &unidir_weight_16u_avx2;
}

}  // namespace vek::h264
