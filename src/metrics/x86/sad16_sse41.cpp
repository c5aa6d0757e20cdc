// SSE4.1 kernels of 16-bit SAD, both the saturating moded family and the
// wrapped per-block family.
#include "metrics/kernels.h"
#include "metrics/x86/sad16_128.h"

namespace vek::metrics {

namespace {

constexpr Sad16uFn* sad16x16_16u_sse41 = &sad_16u_128<16, kModeFF>;
constexpr Sad16uFn* sad16x16_16u_fh_sse41 = &sad_16u_128<16, kModeFH>;
constexpr Sad16uFn* sad16x16_16u_hf_sse41 = &sad_16u_128<16, kModeHF>;
constexpr Sad16uFn* sad16x16_16u_hh_sse41 = &sad_16u_128<16, kModeHH>;
constexpr Sad16uFn* sad8x8_16u_sse41 = &sad_16u_128<8, kModeFF>;
constexpr Sad16uFn* sad8x8_16u_fh_sse41 = &sad_16u_128<8, kModeFH>;
constexpr Sad16uFn* sad8x8_16u_hf_sse41 = &sad_16u_128<8, kModeHF>;
constexpr Sad16uFn* sad8x8_16u_hh_sse41 = &sad_16u_128<8, kModeHH>;
constexpr Sad16uFn* sad4x4_16u_sse41 = &sad4x4_16u_128<kModeFF>;
constexpr Sad16uFn* sad4x4_16u_fh_sse41 = &sad4x4_16u_128<kModeFH>;
constexpr Sad16uFn* sad4x4_16u_hf_sse41 = &sad4x4_16u_128<kModeHF>;
constexpr Sad16uFn* sad4x4_16u_hh_sse41 = &sad4x4_16u_128<kModeHH>;
constexpr SadBlocks16uFn* sad16x16_blocks8x8_16u_sse41 = &sad16x16_blocks8x8_16u_128;
constexpr SadBlocks16uFn* sad16x16_blocks4x4_16u_sse41 = &sad16x16_blocks4x4_16u_128;

}  // namespace

void init_sad16_table_sse41(Sad16Table& t) {
    t.sad16x16 = {sad16x16_16u_sse41, sad16x16_16u_fh_sse41, sad16x16_16u_hf_sse41, sad16x16_16u_hh_sse41};
    t.sad8x8 = {sad8x8_16u_sse41, sad8x8_16u_fh_sse41, sad8x8_16u_hf_sse41, sad8x8_16u_hh_sse41};
    t.sad4x4 = {sad4x4_16u_sse41, sad4x4_16u_fh_sse41, sad4x4_16u_hf_sse41, sad4x4_16u_hh_sse41};
    t.sad16x16_blocks8x8 = sad16x16_blocks8x8_16u_sse41;
    t.sad16x16_blocks4x4 = sad16x16_blocks4x4_16u_sse41;
}

}  // namespace vek::metrics
