// AVX2 kernels of the full-size DV output conversion. Rows r and r + 1 of a
// block are 32 contiguous bytes, so each 256-bit register carries two output
// rows, one per lane; every operation stays inside its lane and the stores
// put the lanes back together row by row.
#include <immintrin.h>

#include "dv/convert.h"

namespace vek::dv {

namespace {

inline __m256i load2(const Vek16s* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }

inline __m256i pixels(__m256i a, __m256i b) {
    return _mm256_xor_si256(_mm256_packs_epi16(a, b), _mm256_set1_epi8(-128));
}

// Two vectors holding bytes 0-15 and 16-31 of rows r (low lanes) and r + 1
// (high lanes) to the two rows.
inline void store_rows(Vek8u* row0, Vek8u* row1, __m256i first, __m256i second) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(row0), _mm256_permute2x128_si256(first, second, 0x20));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(row1), _mm256_permute2x128_si256(first, second, 0x31));
}

inline void store_row16x2(Vek8u* row0, Vek8u* row1, __m256i y, __m256i c) {
    const __m256i cc = _mm256_unpacklo_epi8(c, _mm256_srli_si256(c, 8));
    store_rows(row0, row1, _mm256_unpacklo_epi8(y, cc), _mm256_unpackhi_epi8(y, cc));
}

inline __m256i spread(__m256i c, __m256i next_mask, bool upper) {
    const __m256i next = _mm256_shuffle_epi8(c, next_mask);
    const __m256i mean = _mm256_srai_epi16(_mm256_adds_epi16(c, next), 1);
    return upper ? _mm256_unpackhi_epi16(c, mean) : _mm256_unpacklo_epi16(c, mean);
}

void yuv411_avx2(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    const __m256i nm = _mm256_setr_epi8(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 14, 15, 2, 3, 4, 5, 6, 7,
                                        8, 9, 10, 11, 12, 13, 14, 15, 14, 15);
    for (int r = 0; r < 8; r += 2) {
        Vek8u* out0 = dst + r * step;
        Vek8u* out1 = out0 + step;
        const __m256i cb = load2(mb + 5 * 64 + 8 * r), cr = load2(mb + 4 * 64 + 8 * r);
        const __m256i CB = pixels(spread(cb, nm, false), spread(cb, nm, true));
        const __m256i CR = pixels(spread(cr, nm, false), spread(cr, nm, true));
        const __m256i y01 = pixels(load2(mb + 8 * r), load2(mb + 64 + 8 * r));
        const __m256i y23 = pixels(load2(mb + 128 + 8 * r), load2(mb + 192 + 8 * r));
        const __m256i c0 = _mm256_unpacklo_epi8(CB, CR), c1 = _mm256_unpackhi_epi8(CB, CR);
        store_rows(out0, out1, _mm256_unpacklo_epi8(y01, c0), _mm256_unpackhi_epi8(y01, c0));
        store_rows(out0 + 32, out1 + 32, _mm256_unpacklo_epi8(y23, c1), _mm256_unpackhi_epi8(y23, c1));
    }
}

void yuv411_edge_avx2(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    const __m256i nm = _mm256_setr_epi8(2, 3, 4, 5, 6, 7, 6, 7, 10, 11, 12, 13, 14, 15, 14, 15, 2, 3, 4, 5, 6, 7,
                                        6, 7, 10, 11, 12, 13, 14, 15, 14, 15);
    for (int y = 0; y < 16; y += 2) {
        const int half = y / 8, r = y % 8;
        const __m256i cb = spread(load2(mb + 5 * 64 + 8 * r), nm, half != 0);
        const __m256i cr = spread(load2(mb + 4 * 64 + 8 * r), nm, half != 0);
        const __m256i c = _mm256_unpacklo_epi8(pixels(cb, cb), pixels(cr, cr));
        const __m256i yy = pixels(load2(mb + 128 * half + 8 * r), load2(mb + 128 * half + 64 + 8 * r));
        store_rows(dst + y * step, dst + (y + 1) * step, _mm256_unpacklo_epi8(yy, c), _mm256_unpackhi_epi8(yy, c));
    }
}

// Output rows y and y + 1 (y even) take chroma rows c and c + 1.
void yuv420_avx2(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int y = 0; y < 16; y += 2) {
        const int half = y / 8, r = y % 8, c = 2 * (y / 4);
        const __m256i yy = pixels(load2(mb + 128 * half + 8 * r), load2(mb + 128 * half + 64 + 8 * r));
        store_row16x2(dst + y * step, dst + (y + 1) * step, yy,
                      pixels(load2(mb + 5 * 64 + 8 * c), load2(mb + 4 * 64 + 8 * c)));
    }
}

void yuv422_avx2(const Vek16s* y0, const Vek16s* y1, const Vek16s* cb, const Vek16s* cr, Vek8u* dst,
                 Vek32s step) {
    for (int r = 0; r < 8; r += 2)
        store_row16x2(dst + r * step, dst + (r + 1) * step, pixels(load2(y0 + 8 * r), load2(y1 + 8 * r)),
                      pixels(load2(cb + 8 * r), load2(cr + 8 * r)));
}

}  // namespace

void init_convert_table_avx2(ConvertTable& t) {
    t.yuv411 = yuv411_avx2;
    t.yuv411_edge = yuv411_edge_avx2;
    t.yuv420 = yuv420_avx2;
    t.yuv422 = yuv422_avx2;
}

}  // namespace vek::dv
