// AVX2 intra predictors of 16x16 luma and 8x8 chroma blocks: the 128-bit
// kernels in VEX encoding, and a 16x16 plane ramp that carries one row of
// sixteen 16-bit lanes per register.
#include "h264/intra_pred.h"
#include "h264/x86/intra_pred_128.h"

namespace {

// b of a 16x16 block in all eight words, in 16 bits throughout: the corner
// goes into slot 7 of the row above (t7's own weight is 0), one multiply-add
// by -7 .. -1, -8, 1 .. 8, three word-sum levels (|H| <= 9180 and every
// partial sum fits), and (5H + 32) >> 6 as a rounding high multiply by 5 * 512.
inline __m128i plane_b16(const Vek8u* above) {
    const __m128i t = _mm_insert_epi8(load16(above), above[-1], 7);
    __m128i h = _mm_maddubs_epi16(t, _mm_setr_epi8(-7, -6, -5, -4, -3, -2, -1, -8, 1, 2, 3, 4, 5, 6, 7, 8));
    h = _mm_add_epi16(h, _mm_shuffle_epi32(h, _MM_SHUFFLE(1, 0, 3, 2)));
    h = _mm_add_epi16(h, _mm_shuffle_epi32(h, _MM_SHUFFLE(2, 3, 0, 1)));
    h = _mm_add_epi16(h, _mm_shuffle_epi8(h, _mm_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13)));
    return _mm_mulhrs_epi16(h, _mm_set1_epi16(5 * 512));
}

VekStatus pred16x16_plane_avx2(Vek8u* p, Vek32s srcDstStep, Vek32s) {
    const std::ptrdiff_t step = srcDstStep;
    const __m256i b = _mm256_broadcastsi128_si256(plane_b16(p - step));
    const auto [c, a] = plane_left<16>(p, step);
    // Two rows per register pair: `left` holds x = 0..7 of rows y and y + 1 in
    // its two lanes, `right` x = 8..15, so one pack gives both rows whole.
    // Before the shift, sample (x, y) is a + 16 + b(x - 7) + c(y - 7). The
    // four quarters of the block start from their own rows (0, 4, 8, 12), so
    // that no row waits for more than one addition after the ramp is set up.
    const __m256i x_minus_7 = _mm256_setr_epi16(-7, -6, -5, -4, -3, -2, -1, 0, -7, -6, -5, -4, -3, -2, -1, 0);
    const __m256i base = _mm256_setr_m128i(_mm_set1_epi16(static_cast<short>(a + 16 - 7 * c)),
                                           _mm_set1_epi16(static_cast<short>(a + 16 - 6 * c)));
    const __m256i c2 = _mm256_set1_epi16(static_cast<short>(2 * c)), c4 = _mm256_add_epi16(c2, c2);
    const __m256i c8 = _mm256_add_epi16(c4, c4);
    __m256i left[4], right[4];
    left[0] = _mm256_add_epi16(base, _mm256_mullo_epi16(b, x_minus_7));
    left[1] = _mm256_add_epi16(left[0], c4);
    left[2] = _mm256_add_epi16(left[0], c8);
    left[3] = _mm256_add_epi16(left[1], c8);
    const __m256i b8 = _mm256_slli_epi16(b, 3);
    for (int q = 0; q < 4; ++q) right[q] = _mm256_add_epi16(left[q], b8);
    std::ptrdiff_t step2 = 2 * step, step3 = 3 * step, step4 = 4 * step;
    asm("" : "+r"(step2), "+r"(step3), "+r"(step4));  // see for_rows
    const auto two_rows = [](Vek8u* row, std::ptrdiff_t next, __m256i l, __m256i r) {
        const __m256i two = _mm256_packus_epi16(_mm256_srai_epi16(l, 5), _mm256_srai_epi16(r, 5));
        store16(row, _mm256_castsi256_si128(two));
        store16(row + next, _mm256_extracti128_si256(two, 1));
    };
    for (int q = 0; q < 4; ++q) {
        two_rows(p, step, left[q], right[q]);
        two_rows(p + step2, step, _mm256_add_epi16(left[q], c2), _mm256_add_epi16(right[q], c2));
        p += step4;
    }
    (void)step3;
    return vekStsOk;
}

}  // namespace

namespace vek::h264 {

void init_intra_pred_table_avx2(IntraPredTable& t) {
    t.luma4x4 = {pred4x4_vertical_128,        pred4x4_horizontal_128,     pred4x4_dc_128,
                 pred4x4_diag_down_left_128,  pred4x4_diag_down_right_128, pred4x4_vertical_right_128,
                 pred4x4_horizontal_down_128, pred4x4_vertical_left_128,   pred4x4_horizontal_up_128};
    t.luma16x16 = {pred16x16_vertical_128, pred16x16_horizontal_128, pred16x16_dc_128, pred16x16_plane_avx2};
    t.chroma8x8 = {pred_chroma_dc_128, pred_chroma_horizontal_128, pred_chroma_vertical_128, pred_chroma_plane_128};
}

}  // namespace vek::h264
