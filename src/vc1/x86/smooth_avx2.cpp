// AVX2 level of the VC-1 overlap smoothing kernels.
#include "vc1/x86/smooth_simd.h"

namespace vek::vc1 {

void init_smooth_table_avx2(SmoothTable& table) {
    init_smooth_128(table);
    table.ver16 = smooth_ver16_simd;
}

}  // namespace vek::vc1
