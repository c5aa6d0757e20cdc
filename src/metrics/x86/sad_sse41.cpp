// SSE4.1 kernels of 8-bit SAD: psadbw per row, pavgb for the halves and the
// exact four-sample mean for HH.
#include "metrics/kernels.h"
#include "metrics/x86/sad_128.h"

namespace vek::metrics {

namespace {

constexpr Sad8uFn* sad16x16_sse41 = &sad16xh_128<16, kModeFF>;
constexpr Sad8uFn* sad16x16_fh_sse41 = &sad16xh_128<16, kModeFH>;
constexpr Sad8uFn* sad16x16_hf_sse41 = &sad16xh_128<16, kModeHF>;
constexpr Sad8uFn* sad16x16_hh_sse41 = &sad16xh_128<16, kModeHH>;
constexpr Sad8uFn* sad16x8_sse41 = &sad16xh_128<8, kModeFF>;
constexpr Sad8uFn* sad16x8_fh_sse41 = &sad16xh_128<8, kModeFH>;
constexpr Sad8uFn* sad16x8_hf_sse41 = &sad16xh_128<8, kModeHF>;
constexpr Sad8uFn* sad16x8_hh_sse41 = &sad16xh_128<8, kModeHH>;
constexpr Sad8uFn* sad8x8_sse41 = &sad8xh_128<8, kModeFF>;
constexpr Sad8uFn* sad8x8_fh_sse41 = &sad8xh_128<8, kModeFH>;
constexpr Sad8uFn* sad8x8_hf_sse41 = &sad8xh_128<8, kModeHF>;
constexpr Sad8uFn* sad8x8_hh_sse41 = &sad8xh_128<8, kModeHH>;
constexpr SadPair8uFn* sad8x8_c2_sse41 = &sad8x8_pair_128<kModeFF>;
constexpr SadPair8uFn* sad8x8_c2_fh_sse41 = &sad8x8_pair_128<kModeFH>;
constexpr SadPair8uFn* sad8x8_c2_hf_sse41 = &sad8x8_pair_128<kModeHF>;
constexpr SadPair8uFn* sad8x8_c2_hh_sse41 = &sad8x8_pair_128<kModeHH>;
constexpr Sad8uFn* sad8x16_sse41 = &sad8xh_128<16, kModeFF>;
constexpr Sad8uFn* sad8x4_sse41 = &sad8xh_128<4, kModeFF>;
constexpr Sad8uFn* sad4x8_sse41 = &sad4xh_128<8>;
constexpr Sad8uFn* sad4x4_sse41 = &sad4xh_128<4>;
constexpr SadBlocks8uFn* sad16x16_blocks8x8_sse41 = &sad16x16_blocks8x8_128;
constexpr SadBlocks8uFn* sad16x16_blocks4x4_sse41 = &sad16x16_blocks4x4_128;

}  // namespace

void init_sad_table_sse41(SadTable& t) {
    t.sad16x16 = {sad16x16_sse41, sad16x16_fh_sse41, sad16x16_hf_sse41, sad16x16_hh_sse41};
    t.sad16x8 = {sad16x8_sse41, sad16x8_fh_sse41, sad16x8_hf_sse41, sad16x8_hh_sse41};
    t.sad8x8 = {sad8x8_sse41, sad8x8_fh_sse41, sad8x8_hf_sse41, sad8x8_hh_sse41};
    t.sad8x8_c2 = {sad8x8_c2_sse41, sad8x8_c2_fh_sse41, sad8x8_c2_hf_sse41, sad8x8_c2_hh_sse41};
    t.sad8x16 = sad8x16_sse41;
    t.sad8x4 = sad8x4_sse41;
    t.sad4x8 = sad4x8_sse41;
    t.sad4x4 = sad4x4_sse41;
    t.sad16x16_blocks8x8 = sad16x16_blocks8x8_sse41;
    t.sad16x16_blocks4x4 = sad16x16_blocks4x4_sse41;
}

}  // namespace vek::metrics
