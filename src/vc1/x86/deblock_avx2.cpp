// AVX2 level of the VC-1 deblocking kernels: the same kernels, with the 16-line
// edges (luma both ways, interleaved chroma) in one 256-bit register.
#include "vc1/x86/deblock_simd.h"

namespace vek::vc1 {

void init_deblock_table_avx2(DeblockTable& table) {
    init_deblock_128(table);
    table.luma_hor = luma_hor_256;
    table.luma_ver_full = luma_ver_full_256;
}

}  // namespace vek::vc1
