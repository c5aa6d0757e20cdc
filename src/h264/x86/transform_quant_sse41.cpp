// SSE4.1 encoder transform kernels (transform_quant_128.h). The 8x8
// transform of a block with a value outside -256..255 is left to the
// reference kernel: only 9-bit and wider residuals have such values.
#include "h264/transform_quant.h"
#include "h264/x86/transform_quant_128.h"

namespace vek::h264 {

namespace {

VekStatus fwd_quant4x4_sse41(const Vek16s* src, Vek16s* dst, const Quant4x4Args* q, Vek32s* num,
                             const Vek16s* scan, Vek32s* last) {
    *num = fwd_quant4x4_128(src, dst, &q->plain, scan, last);
    return vekStsOk;
}

Vek32s quant8x8_sse41(const Vek16s* src, Vek16s* dst, const QuantArgs* q, const Vek16s* scan, Vek32s* last) {
    return quant_128(src, dst, 64, q, scan, last);
}

VekStatus fwd8x8_sse41(const Vek16s* src, Vek16s* dst) {
    __m128i r[8];
    load8x8(src, r);
    if (!fits_16bit_path(r)) return fwd8x8_c(src, dst);
    fwd8x8_16bit(r);
    for (int k = 0; k < 8; ++k) _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 8 * k), r[k]);
    return vekStsOk;
}

VekStatus fwd8x8_32_sse41(const Vek16s* src, Vek32s* dst) {
    __m128i r[8];
    load8x8(src, r);
    if (!fits_16bit_path(r)) return fwd8x8_32_c(src, dst);
    fwd8x8_16bit(r);
    for (int k = 0; k < 8; ++k) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 8 * k), _mm_cvtepi16_epi32(r[k]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 8 * k + 4), _mm_cvtepi16_epi32(_mm_unpackhi_epi64(r[k], r[k])));
    }
    return vekStsOk;
}

}  // namespace

void init_encode_transform_table_sse41(EncodeTransformTable& t) {
    t.fwd_quant4x4 = fwd_quant4x4_sse41;
    t.fwd_quant4x4_scaled = fwd_quant4x4_sse41;
    t.quant8x8 = quant8x8_sse41;
    t.fwd8x8 = fwd8x8_sse41;
    t.fwd8x8_32 = fwd8x8_32_sse41;
    t.cavlc16 = cavlc16_128;
}

}  // namespace vek::h264
