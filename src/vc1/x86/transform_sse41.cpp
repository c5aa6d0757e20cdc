// SSE4.1 level of the VC-1 inverse transforms.
#include "vc1/x86/transform_simd.h"

namespace vek::vc1 {

void init_transform_table_sse41(TransformTable& table) { init_transform_128(table); }

}  // namespace vek::vc1
