// SSE4.1 kernels of H.264 block averaging and weighting: the 8-bit ones from
// weight_128.h, the 16-bit ones from weight_16u_simd.h.
#include "h264/weight.h"
#include "h264/x86/weight_128.h"
#include "h264/x86/weight_16u_simd.h"

namespace vek::h264 {

namespace {

template <int W, int H>
struct BidirSse41 {
    static constexpr BiWeightBlockFn* fn = &bidir_weight_block_128<W, H>;
};
template <int W, int H>
struct BidirSharedSse41 {
    static constexpr BiWeightSharedFn* fn = &with_shared_steps<&bidir_weight_block_128<W, H>>;
};
template <int W, int H>
struct UnidirSse41 {
    static constexpr UniWeightBlockFn* fn = &unidir_weight_block_128<W, H>;
};

constexpr auto kNoWide = [](const Vek16u*, const Vek16u*, Vek16u*) {};

void average_16u_sse41(const Vek16u* src1, Vek32s step1, const Vek16u* src2, Vek32s step2, Vek16u* dst,
                       Vek32s dstStep, Vek32s width, Vek32s height) {
    average16_rows<8>(src1, step1, src2, step2, dst, dstStep, width, height,
                      [](const Vek16u* a, const Vek16u* b, Vek16u* d) {
                          _mm_storeu_si128(reinterpret_cast<__m128i*>(d),
                                           _mm_avg_epu16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a)),
                                                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(b))));
                      });
}

void bidir_weight_16u_sse41(const Vek16u* src1, Vek32s step1, const Vek16u* src2, Vek32s step2, Vek16u* dst,
                            Vek32s dstStep, const WeightParams& p, Vek32s width, Vek32s height, Vek32s bitDepth) {
    weigh16_rows<0, true>(src1, step1, src2, step2, dst, dstStep, width, height, Weigh16x4(p, bitDepth), kNoWide);
}

void unidir_weight_16u_sse41(Vek16u* srcDst, Vek32s step, const WeightParams& p, Vek32s width, Vek32s height,
                             Vek32s bitDepth) {
    weigh16_rows<0, false>(srcDst, step, srcDst, step, srcDst, step, width, height, Weigh16x4(p, bitDepth), kNoWide);
}

}  // namespace

void init_weight_table_sse41(WeightTable& t) {
    set_average_kernels_128(t);
    t.bidir_weight_block = fixed_size_table<BidirSse41, BiWeightBlockFn>();
    t.bidir_weight_shared = fixed_size_table<BidirSharedSse41, BiWeightSharedFn>();
    t.bidir_weight_generic = &bidir_weight_generic_128;
    // The saturating packs clip exactly as the look-up table does over its range.
    t.weighted_average = t.bidir_weight_shared;
    t.unidir_weight_block = fixed_size_table<UnidirSse41, UniWeightBlockFn>();
    t.average_16u = &average_16u_sse41;
    t.bidir_weight_16u = &bidir_weight_16u_sse41;
    t.unidir_weight_16u = &unidir_weight_16u_sse41;
}

}  // namespace vek::h264
