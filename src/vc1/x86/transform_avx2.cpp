// AVX2 level of the VC-1 inverse transforms: the 128-bit kernels in VEX form,
// and an 8x8 whose two lanes carry rows 0..3 and 4..7 in the row pass and
// columns 0..3 and 4..7 in the column pass.
#include "vc1/x86/transform_simd.h"

namespace {

using V = __m256i;

void inverse8x8_256(const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep, int cols, int rows) {
    const __m128i mask = col_mask(cols);
    const auto row = [&](int y) { return load_row8(src, srcStep, y, rows, mask); };
    const V in[4] = {join(row(0), row(4)), join(row(1), row(5)), join(row(2), row(6)), join(row(3), row(7))};
    V y[8];
    pass8<4, 3, false>(in, y);
    // Output position n over all 8 rows in one lane, n + 4 in the other.
    V cols_in[4];
    for (int n = 0; n < 4; ++n) cols_in[n] = _mm256_permute4x64_epi64(packs32(y[n], y[n + 4]), 0xD8);
    V z[8];
    pass8<64, 7, true>(cols_in, z);
    for (int m = 0; m < 4; ++m) {
        const V rows2 = _mm256_permute4x64_epi64(packs32(z[m], z[m + 4]), 0xD8);
        store16(out_row(dst, dstStep, m), lane0(rows2));
        store16(out_row(dst, dstStep, m + 4), lane1(rows2));
    }
}

}  // namespace

namespace vek::vc1 {

void init_transform_table_avx2(TransformTable& table) {
    init_transform_128(table);
    table.inverse[k8x8] = inverse8x8_256;
}

}  // namespace vek::vc1
