// AVX2 level of the VC-1 deblocking kernels: the same kernels, with the 16-line
// edges (luma horizontal, interleaved chroma) in one 256-bit register.
#include "vc1/x86/deblock_simd.h"

namespace vek::vc1 {

void init_deblock_table_avx2(DeblockTable& table) { init_deblock_128(table); }

}  // namespace vek::vc1
