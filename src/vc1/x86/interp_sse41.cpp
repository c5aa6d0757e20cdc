// SSE4.1 level of the VC-1 interpolation kernels.
#include "vc1/x86/interp_simd.h"

namespace vek::vc1 {

void init_interp_table_sse41(InterpTable& table) { init_interp_128(table); }

}  // namespace vek::vc1
