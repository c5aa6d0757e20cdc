// AVX2 kernels of the 8-bit weightings of 16-wide blocks: two rows per
// register, one in each lane, so that the byte interleave, the arithmetic and
// the final pack all stay within lanes and the lanes hold whole output rows.
// The rarer paths (weights of 128, 32-bit sums), the narrower blocks and the
// averages (a 16-byte row is one pavgb) use the 128-bit kernels, compiled
// here in VEX encoding.
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
// each row, and packuswb puts each row back together in its own lane. With
// one step for all three blocks (the usual call) two offsets walk them all.
template <int H, class Op>
inline void weigh_16xh_avx2(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2, Vek8u* dst,
                            Vek32s dstStep, const Op& op) {
    const auto two_rows = [&op](const Vek8u* a0, const Vek8u* a1, const Vek8u* b0, const Vek8u* b1, Vek8u* d0,
                                Vek8u* d1) {
        const __m256i a = _mm256_inserti128_si256(_mm256_castsi128_si256(load16(a0)), load16(a1), 1);
        const __m256i b = _mm256_inserti128_si256(_mm256_castsi128_si256(load16(b0)), load16(b1), 1);
        const __m256i v = _mm256_packus_epi16(op.lo(a, b), op.hi(a, b));
        store16(d0, _mm256_castsi256_si128(v));
        store16(d1, _mm256_extracti128_si256(v, 1));
    };
    if (step1 == step2 && step1 == dstStep) {
        const std::ptrdiff_t s = step1;
        std::ptrdiff_t even = 0, odd = s;
#pragma GCC unroll 8
        for (int y = 0; y < H; y += 2, even += 2 * s, odd += 2 * s)
            two_rows(src1 + even, src1 + odd, src2 + even, src2 + odd, dst + even, dst + odd);
        return;
    }
#pragma GCC unroll 8
    for (int y = 0; y < H; y += 2)
        two_rows(row_ptr(src1, step1, y), row_ptr(src1, step1, y + 1), row_ptr(src2, step2, y),
                 row_ptr(src2, step2, y + 1), row_ptr(dst, dstStep, y), row_ptr(dst, dstStep, y + 1));
}

template <int H>
void bidir_weight_16xh_avx2(const Vek8u* src1, Vek32s step1, const Vek8u* src2, Vek32s step2, Vek8u* dst,
                            Vek32s dstStep, const WeightParams& p) {
    if (fits_16bit_bidir(p))
        weigh_16xh_avx2<H>(src1, step1, src2, step2, dst, dstStep, BidirFast256(p));
    else
        bidir_weight_wide_128<16, H>(src1, step1, src2, step2, dst, dstStep, p);
}

template <int H>
void unidir_weight_16xh_avx2(Vek8u* srcDst, Vek32s step, const WeightParams& p) {
    if (!fits_16bit_unidir(p))
        unidir_weight_wide_128<16, H>(srcDst, step, p);
    else if (p.shift > 0)
        weigh_16xh_avx2<H>(srcDst, step, srcDst, step, srcDst, step, UnidirFast256<true>(p));
    else
        weigh_16xh_avx2<H>(srcDst, step, srcDst, step, srcDst, step, UnidirFast256<false>(p));
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
