// AVX2 level of the VC-1 inverse transforms: the 128-bit kernels in VEX form,
// and an 8x8 whose two lanes carry rows 0, 4, 2, 6 and 1, 3, 5, 7 in the row
// pass and columns 0..3 and 4..7 in the column pass.
#include "vc1/x86/transform_simd.h"

namespace {

using V = __m256i;

void inverse8x8_256(const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep, int cols, int rows) {
    // Lane 0 takes rows 0, 4, 2, 6 and lane 1 rows 1, 3, 5, 7: each column of
    // the row pass then comes out in the pair order of the column pass.
    const auto row = [&](int y) { return load16(byte_offset(src, static_cast<std::ptrdiff_t>(srcStep) * y)); };
    V in[4];
    if (cols == 8 && rows == 8) {
        in[0] = join(row(0), row(1)), in[1] = join(row(4), row(3)), in[2] = join(row(2), row(5));
        in[3] = join(row(6), row(7));
    } else {
        const __m128i mask = col_mask(cols);
        const auto part = [&](int y) { return load_row8(src, srcStep, y, rows, mask); };
        in[0] = join(part(0), part(1)), in[1] = join(part(4), part(3)), in[2] = join(part(2), part(5));
        in[3] = join(part(6), part(7));
    }
    V y[8];
    pass8<4, 3, false>(in, y);
    // Output position n over all 8 rows in one lane, n + 4 in the other.
    V cols_in[4];
    for (int n = 0; n < 4; ++n) cols_in[n] = _mm256_permute4x64_epi64(packs32(y[n], y[n + 4]), 0xD8);
    V z[8];
    pass8<64, 7, true, true>(cols_in, z);
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
