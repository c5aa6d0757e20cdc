// AVX2 full route of the AVS inverse transform with add: the first pass as in
// SSE4.1, the second with both halves of a row in one 256-bit multiply-add.
#include "avs/transform_inv.h"
#include "avs/x86/inverse_128.h"

namespace vek::avs {
namespace {

using namespace x86;

void inverse_full_avx2(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul_q, Vek32s shift) {
    __m128i c[8], t[8];
    load_dequantised(src, mul_q, shift, c);
    row_pass(c, t);
    transpose8x8(t);
    __m256i pairs[4];
    for (int p = 0; p < 4; ++p)
        pairs[p] = _mm256_set_m128i(_mm_unpackhi_epi16(t[2 * p], t[2 * p + 1]),
                                    _mm_unpacklo_epi16(t[2 * p], t[2 * p + 1]));
    const __m256i round = _mm256_set1_epi32(64);
    for (int r = 0; r < 8; ++r) {
        __m256i a = round;
        for (int p = 0; p < 4; ++p)
            a = _mm256_add_epi32(a, _mm256_madd_epi16(pairs[p], _mm256_set1_epi32(kPairs[r][p])));
        const __m128i sum = _mm_packs_epi32(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
        add_row(dst + static_cast<std::ptrdiff_t>(r) * step, _mm_srai_epi16(sum, 7));
    }
}

}  // namespace

void init_inverse_table_avx2(InverseTable& t) {
    t.full = inverse_full_avx2;
    t.low = inverse_low_128;
}

}  // namespace vek::avs
