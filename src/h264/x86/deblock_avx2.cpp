// AVX2 deblocking kernels: a whole 16-line edge of 8-bit samples (or both
// 8-line edges of a chroma plane, or two luma edges on bytes) per vector; 16
// lines of 16-bit luma samples up to 12 bits, else 8 lines of 16-bit samples.
#include "h264/deblock.h"
#include "h264/x86/deblock_chroma16_simd.h"
#include "h264/x86/deblock_chroma8_bytes.h"
#include "h264/x86/deblock_edges_simd.h"
#include "h264/x86/deblock_luma16_simd.h"

namespace vek::h264 {

void init_deblock_table_avx2(DeblockTable& t) {
    t.luma_ver_8u = returning_ok<luma_ver_8u_simd<I16x16>>;
    t.luma_hor_8u = returning_ok<luma_hor_8u_simd<I16x16>>;
    t.chroma_ver_8u = returning_ok<chroma_ver_8u_avx2>;
    t.chroma_hor_8u = returning_ok<chroma_hor_8u_bytes>;
    t.chroma_ver_c2_8u = returning_ok<chroma_ver_c2_8u_simd<I16x16>>;
    t.chroma_hor_c2_8u = returning_ok<chroma_hor_c2_8u_simd<I16x16>>;
    t.luma_ver_16u = luma_ver_16u_simd<I16x16, I32x8>;
    t.luma_hor_16u = luma_hor_16u_simd<I16x16, I32x8>;
    t.chroma_ver_16u = chroma_ver_16u_simd<I32x8>;
    t.chroma_hor_16u = chroma_hor_16u_simd<I32x8>;
    t.chroma422_ver_16u = chroma422_ver_16u_simd<I32x8>;
    t.chroma422_hor_16u = chroma422_hor_16u_simd<I32x8>;
}

}  // namespace vek::h264
