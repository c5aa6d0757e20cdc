// SSE4.1 level of the VC-1 overlap smoothing kernels.
#include "vc1/x86/smooth_simd.h"

namespace vek::vc1 {

void init_smooth_table_sse41(SmoothTable& table) { init_smooth_128(table); }

}  // namespace vek::vc1
