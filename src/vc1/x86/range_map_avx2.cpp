// AVX2 level of the VC-1 range mapping.
#include "vc1/x86/range_map_simd.h"

namespace vek::vc1 {

void init_range_map_table_avx2(RangeMapTable& table) { table.map = range_map_simd; }

}  // namespace vek::vc1
