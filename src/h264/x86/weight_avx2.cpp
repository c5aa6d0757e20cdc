// AVX2 kernels of the 8-bit weightings of 16-wide blocks: two rows per
// register, one in each lane, so that the byte interleave, the arithmetic and
// the final pack all stay within lanes and the lanes hold whole output rows.
// The rarer paths (weights of 128, 32-bit sums), the narrower blocks and the
// averages (a 16-byte row is one pavgb) use the 128-bit kernels, compiled
// here in VEX encoding.
#include <cstdlib>

#include "h264/weight.h"
#include "h264/x86/weight_128.h"

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

// Rows y and y + 1 in the two lanes: lo and hi are samples 0-7 and 8-15 of
// each row, and packuswb puts each row back together in its own lane. A lane
// is loaded by a broadcast and the two merged by a blend, which keeps the
// shuffle unit (the busiest here) free for the interleave and the pack.
inline __m256i load_two_rows(const Vek8u* r0, const Vek8u* r1) {
    return _mm256_blend_epi32(_mm256_broadcastsi128_si256(load16(r0)), _mm256_broadcastsi128_si256(load16(r1)), 0xF0);
}

template <class Op>
[[gnu::always_inline]] inline void weigh_two_rows(const Vek8u* a0, const Vek8u* a1, const Vek8u* b0, const Vek8u* b1,
                                                  Vek8u* d0, Vek8u* d1, const Op& op) {
    const __m256i a = load_two_rows(a0, a1), b = load_two_rows(b0, b1);
    const __m256i v = _mm256_packus_epi16(op.lo(a, b), op.hi(a, b));
    store16(d0, _mm256_castsi256_si128(v));
    store16(d1, _mm256_extracti128_si256(v, 1));
}

// Each source walks by its own pointer, two rows a step: row y + 1 is one
// step past row y, an addressing mode of its own.
template <int H, class Op>
[[gnu::always_inline]] inline void weigh_16xh_avx2(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2,
                                                   Vek8u* dst, Vek32s dstStep, const Op& op) {
    const std::ptrdiff_t s1 = step1, s2 = step2, sd = dstStep;
#pragma GCC unroll 8
    for (int y = 0; y < H; y += 2, src1 += 2 * s1, src2 += 2 * s2, dst += 2 * sd)
        weigh_two_rows(src1, src1 + s1, src2, src2 + s2, dst, dst + sd, op);
}

// The weights pmaddubsw takes, tested in a few instructions: each weight a
// signed byte other than -128, their sizes adding up to at most 128 (so no
// sum of products leaves 16 bits), a rounding shift of 1 to 15 and an offset
// of 16 bits. Weights of opposite signs beyond that go out of line, where the
// full conditions are tested.
inline bool fast_bidir(const WeightParams& p) {
    const auto byte = [](Vek32s w) { return static_cast<Vek32u>(w) + 127u <= 254u; };
    return byte(p.w1) && byte(p.w2) && std::abs(p.w1) + std::abs(p.w2) <= 128 && p.shift - 1 < 15 &&
           static_cast<Vek32u>(p.offset) + 32768u <= 65535u;
}

// Everything else (out of line, so that the fast kernel keeps a prologue
// without saved registers or stack frame).
template <int H>
[[gnu::noinline]] void bidir_weight_16xh_other(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2,
                                               Vek8u* dst, Vek32s dstStep, const WeightParams& p) {
    if (fits_16bit_bidir(p))
        weigh_16xh_avx2<H>(src1, step1, src2, step2, dst, dstStep, BidirFast256(p));
    else
        bidir_weight_wide_128<16, H>(src1, step1, src2, step2, dst, dstStep, p);
}

template <int H>
void bidir_weight_16xh_avx2(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2, Vek8u* dst,
                            Vek32s dstStep, const WeightParams& p) {
    if (fast_bidir(p))
        weigh_16xh_avx2<H>(src1, step1, src2, step2, dst, dstStep, BidirFast256(p));
    else
        bidir_weight_16xh_other<H>(src1, step1, src2, step2, dst, dstStep, p);
}

template <int H>
[[gnu::noinline]] void unidir_weight_16xh_other(Vek8u* srcDst, Vek32s step, const WeightParams& p) {
    if (!fits_16bit_unidir(p))
        unidir_weight_wide_128<16, H>(srcDst, step, p);
    else if (p.shift > 0)
        weigh_16xh_avx2<H>(srcDst, step, srcDst, step, srcDst, step, UnidirFast256<true>(p));
    else
        weigh_16xh_avx2<H>(srcDst, step, srcDst, step, srcDst, step, UnidirFast256<false>(p));
}

// One source: a weight of at most 128 in size, a rounding shift of 1 to 15
// and an offset of 16 bits take pmullw and pmulhrsw; no shift, or anything
// wider, goes out of line.
template <int H>
void unidir_weight_16xh_avx2(Vek8u* srcDst, Vek32s step, const WeightParams& p) {
    if (static_cast<Vek32u>(p.w1) + 128u <= 256u && p.shift - 1 < 15 && static_cast<Vek32u>(p.offset) + 32768u <= 65535u)
        weigh_16xh_avx2<H>(srcDst, step, srcDst, step, srcDst, step, UnidirFast256<true>(p));
    else
        unidir_weight_16xh_other<H>(srcDst, step, p);
}

template <int W, int H>
struct BidirVex {
    static constexpr BiWeightBlockFn* fn = &bidir_weight_block_128<W, H>;
};
template <int W, int H>
struct UnidirVex {
    static constexpr UniWeightBlockFn* fn = &unidir_weight_block_128<W, H>;
};

}  // namespace

void init_weight_table_avx2(WeightTable& t) {
    // The 128-bit kernels again in VEX encoding, which takes unaligned memory
    // operands: a load folds into the arithmetic. The 16-wide weightings follow.
    set_average_kernels_128(t);
    t.bidir_weight_block = fixed_size_table<BidirVex, BiWeightBlockFn>();
    t.weighted_average = t.bidir_weight_block;
    t.unidir_weight_block = fixed_size_table<UnidirVex, UniWeightBlockFn>();
    t.bidir_weight_generic = &bidir_weight_generic_128;
    const auto set16 = [&t](int h, BiWeightBlockFn* bidir, UniWeightBlockFn* unidir) {
        t.bidir_weight_block[weight_block_index(16, h)] = bidir;
        t.weighted_average[weight_block_index(16, h)] = bidir;  // same clip as the table's, see the SSE4.1 file
        t.unidir_weight_block[weight_block_index(16, h)] = unidir;
    };
    set16(2, &bidir_weight_16xh_avx2<2>, &unidir_weight_16xh_avx2<2>);
    set16(4, &bidir_weight_16xh_avx2<4>, &unidir_weight_16xh_avx2<4>);
    set16(8, &bidir_weight_16xh_avx2<8>, &unidir_weight_16xh_avx2<8>);
    set16(16, &bidir_weight_16xh_avx2<16>, &unidir_weight_16xh_avx2<16>);
}

}  // namespace vek::h264
