// SSE4.1 full and low-frequency routes of the AVS inverse transform with add.
#include "avs/transform_inv.h"
#include "avs/x86/inverse_128.h"

namespace vek::avs {
namespace {

using namespace x86;

void inverse_full_sse41(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul_q, Vek32s shift) {
    __m128i c[8], t[8];
    load_dequantised(src, mul_q, shift, c);
    row_pass(c, t);
    transpose8x8(t);  // t[i] now holds row i of the first pass
    __m128i lo[4], hi[4];
    for (int p = 0; p < 4; ++p) {
        lo[p] = _mm_unpacklo_epi16(t[2 * p], t[2 * p + 1]);
        hi[p] = _mm_unpackhi_epi16(t[2 * p], t[2 * p + 1]);
    }
    const __m128i round = _mm_set1_epi32(64);
    for (int r = 0; r < 8; ++r) {
        __m128i a = round, b = round;
        for (int p = 0; p < 4; ++p) {
            const __m128i k = _mm_set1_epi32(kPairs[r][p]);
            a = _mm_add_epi32(a, _mm_madd_epi16(lo[p], k));
            b = _mm_add_epi32(b, _mm_madd_epi16(hi[p], k));
        }
        add_row(dst + static_cast<std::ptrdiff_t>(r) * step, _mm_srai_epi16(_mm_packs_epi32(a, b), 7));
    }
}

}  // namespace

void init_inverse_table_sse41(InverseTable& t) {
    t.full = inverse_full_sse41;
    t.low = inverse_low_128;
}

}  // namespace vek::avs
