// SSE4.1 full and low-frequency routes of the AVS inverse transform with add.
#include "avs/transform_inv.h"
#include "avs/x86/inverse_128.h"

namespace vek::avs {
namespace {

using namespace x86;

// A row of the first pass whose absolute values sum to at most this never
// saturates or wraps in it: every intermediate of the saturating chain is a
// linear form with coefficients of at most 10, plus a constant of at most 3.
constexpr short kLinearLimit = 3276;

// c[k] holds element k of the eight rows.
inline bool fits_linear(const __m128i c[8]) {
    __m128i sum = _mm_abs_epi16(c[0]);  // 32768 included, as an unsigned word
    for (int k = 1; k < 8; ++k) sum = _mm_adds_epu16(sum, _mm_abs_epi16(c[k]));
    const __m128i over = _mm_subs_epu16(sum, _mm_set1_epi16(kLinearLimit));
    return __builtin_expect(_mm_testz_si128(over, over), 1);
}

// The first pass of rows within the limit: the plain 8-point transform with
// (x + 4) >> 3, the halving of the odd terms included, since
// floor((floor(b / 2) + e) / 4) is floor((b + 2e) / 8). Two-cycle saturating
// steps in a long chain give way to one multiply and a few plain adds.
inline void row_pass_linear(const __m128i c[8], __m128i out[8]) {
    const __m128i a0 = _mm_add_epi16(_mm_slli_epi16(_mm_add_epi16(c[0], c[4]), 3), _mm_set1_epi16(4));
    const __m128i a1 = _mm_add_epi16(_mm_slli_epi16(_mm_sub_epi16(c[0], c[4]), 3), _mm_set1_epi16(4));
    const __m128i b0 = _mm_add_epi16(mul(c[2], 10), mul(c[6], 4));
    const __m128i b1 = _mm_sub_epi16(mul(c[2], 4), mul(c[6], 10));
    const __m128i e[4] = {_mm_add_epi16(a0, b0), _mm_add_epi16(a1, b1), _mm_sub_epi16(a1, b1), _mm_sub_epi16(a0, b0)};
    for (int j = 0; j < 4; ++j) {
        const auto& m = kBasisRowOdd[j];
        const __m128i d = _mm_add_epi16(_mm_add_epi16(mul(c[1], m[0]), mul(c[3], m[1])),
                                        _mm_add_epi16(mul(c[5], m[2]), mul(c[7], m[3])));
        out[j] = _mm_srai_epi16(_mm_add_epi16(e[j], d), 3);
        out[7 - j] = _mm_srai_epi16(_mm_sub_epi16(e[j], d), 3);
    }
}

void inverse_full_sse41(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul_q, Vek32s shift) {
    __m128i c[8], t[8];
    load_dequantised(src, mul_q, shift, c);
    if (fits_linear(c)) row_pass_linear(c, t);
    else row_pass(c, t);
    transpose8x8(t);  // t[i] now holds row i of the first pass
    // Row 0 has weight 8 in every output: 8 more on it is the rounding 64,
    // and it stays far inside 16 bits.
    t[0] = _mm_add_epi16(t[0], _mm_set1_epi16(8));
    // The column butterfly on word pairs of rows (0, 4), (2, 6), (1, 5) and
    // (3, 7), each sum exact in 32 bits; h picks columns 0..3 or 4..7.
    __m128i sums[2][8];
    for (int h = 0; h < 2; ++h) {
        const auto pairs = [&](int i, int k) {
            return h ? _mm_unpackhi_epi16(t[i], t[k]) : _mm_unpacklo_epi16(t[i], t[k]);
        };
        const __m128i p04 = pairs(0, 4), p26 = pairs(2, 6), p15 = pairs(1, 5), p37 = pairs(3, 7);
        const auto madd = [](__m128i p, int lo, int hi) { return _mm_madd_epi16(p, _mm_set1_epi32(pair(lo, hi))); };
        const __m128i a0 = madd(p04, 8, 8), a1 = madd(p04, 8, -8);
        const __m128i b0 = madd(p26, 10, 4), b1 = madd(p26, 4, -10);
        const __m128i e[4] = {_mm_add_epi32(a0, b0), _mm_add_epi32(a1, b1), _mm_sub_epi32(a1, b1),
                              _mm_sub_epi32(a0, b0)};
        const __m128i d[4] = {_mm_add_epi32(madd(p15, 10, 6), madd(p37, 9, 2)),
                              _mm_add_epi32(madd(p15, 9, -10), madd(p37, -2, -6)),
                              _mm_add_epi32(madd(p15, 6, 2), madd(p37, -10, 9)),
                              _mm_add_epi32(madd(p15, 2, 9), madd(p37, -6, -10))};
        for (int r = 0; r < 4; ++r) {
            sums[h][r] = _mm_add_epi32(e[r], d[r]);
            sums[h][7 - r] = _mm_sub_epi32(e[r], d[r]);
        }
    }
    for (int r = 0; r < 8; ++r)
        add_row(dst + static_cast<std::ptrdiff_t>(r) * step, _mm_srai_epi16(_mm_packs_epi32(sums[0][r], sums[1][r]), 7));
}

}  // namespace

void init_inverse_table_sse41(InverseTable& t) {
    t.full = inverse_full_sse41;
    t.low = inverse_low_128;
}

}  // namespace vek::avs
