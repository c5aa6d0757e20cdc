// SSE4.1 row kernels of the deinterlacers: 16 samples per step.
#include "enhance/x86/deinterlace_simd.h"

namespace vek::enhance {

void init_deinterlace_table_sse41(DeinterlaceTable& table) { fill_deinterlace_table<V128>(table); }

}  // namespace vek::enhance
