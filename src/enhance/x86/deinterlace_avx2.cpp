// AVX2 row kernels of the deinterlacers: 32 samples per step, then one step of
// 16; the blend gathers its paired weights eight at a time.
#include "enhance/x86/deinterlace_simd.h"

namespace vek::enhance {

void init_deinterlace_table_avx2(DeinterlaceTable& table) { fill_deinterlace_table<V256>(table); }

}  // namespace vek::enhance
