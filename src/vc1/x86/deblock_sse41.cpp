// SSE4.1 level of the VC-1 deblocking kernels.
#include "vc1/x86/deblock_simd.h"

namespace vek::vc1 {

void init_deblock_table_sse41(DeblockTable& table) { init_deblock_128(table); }

}  // namespace vek::vc1
