// SSE4.1 kernels of H.264 block averaging and 8-bit weighting, all from
// weight_128.h.
#include "h264/weight.h"
#include "h264/x86/weight_128.h"

namespace vek::h264 {

namespace {

template <int W, int H>
struct BidirSse41 {
    static constexpr BiWeightBlockFn* fn = &bidir_weight_block_128<W, H>;
};
template <int W, int H>
struct UnidirSse41 {
    static constexpr UniWeightBlockFn* fn = &unidir_weight_block_128<W, H>;
};

}  // namespace

void init_weight_table_sse41(WeightTable& t) {
    set_average_kernels_128(t);
    t.bidir_weight_block = fixed_size_table<BidirSse41, BiWeightBlockFn>();
    t.bidir_weight_generic = &bidir_weight_generic_128;
    // The saturating packs clip exactly as the look-up table does over its range.
    t.weighted_average = t.bidir_weight_block;
    t.unidir_weight_block = fixed_size_table<UnidirSse41, UniWeightBlockFn>();
}

}  // namespace vek::h264
