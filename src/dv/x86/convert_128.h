// 128-bit conversion kernels of the SSE4.1 level. Internal linkage, so that
// no other file's differently compiled copy can stand in for them.
#pragma once

#include <smmintrin.h>

#include "dv/convert.h"

namespace vek::dv::x128 {
namespace {

inline __m128i load(const Vek16s* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store(Vek8u* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// Sixteen pixels from two vectors of eight samples.
inline __m128i pixels(__m128i a, __m128i b) { return _mm_xor_si128(_mm_packs_epi16(a, b), _mm_set1_epi8(-128)); }

// 16 luma bytes and the 8 + 8 chroma bytes of pairs 0-7 (Cb in the low half,
// Cr in the high half) into 32 bytes Y Cb Y Cr.
inline void store_row16(Vek8u* out, __m128i y, __m128i c) {
    const __m128i cc = _mm_unpacklo_epi8(c, _mm_srli_si128(c, 8));
    store(out, _mm_unpacklo_epi8(y, cc));
    store(out + 16, _mm_unpackhi_epi8(y, cc));
}

// 16 chroma samples from 8: the samples, each followed by the saturating
// mean with its right neighbour (the last repeated).
inline __m128i spread(__m128i c, __m128i next_mask, bool upper) {
    const __m128i next = _mm_shuffle_epi8(c, next_mask);
    const __m128i mean = _mm_srai_epi16(_mm_adds_epi16(c, next), 1);
    return upper ? _mm_unpackhi_epi16(c, mean) : _mm_unpacklo_epi16(c, mean);
}

inline __m128i next_of_row() { return _mm_setr_epi8(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 14, 15); }
// Groups of four: elements 1 2 3 3 5 6 7 7.
inline __m128i next_of_groups() { return _mm_setr_epi8(2, 3, 4, 5, 6, 7, 6, 7, 10, 11, 12, 13, 14, 15, 14, 15); }

inline void yuv411(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    const __m128i nm = next_of_row();
    for (int r = 0; r < 8; ++r) {
        Vek8u* out = dst + r * step;
        const __m128i cb = load(mb + 5 * 64 + 8 * r), cr = load(mb + 4 * 64 + 8 * r);
        const __m128i CB = pixels(spread(cb, nm, false), spread(cb, nm, true));
        const __m128i CR = pixels(spread(cr, nm, false), spread(cr, nm, true));
        const __m128i y01 = pixels(load(mb + 8 * r), load(mb + 64 + 8 * r));
        const __m128i y23 = pixels(load(mb + 128 + 8 * r), load(mb + 192 + 8 * r));
        const __m128i c0 = _mm_unpacklo_epi8(CB, CR), c1 = _mm_unpackhi_epi8(CB, CR);
        store(out, _mm_unpacklo_epi8(y01, c0));
        store(out + 16, _mm_unpackhi_epi8(y01, c0));
        store(out + 32, _mm_unpacklo_epi8(y23, c1));
        store(out + 48, _mm_unpackhi_epi8(y23, c1));
    }
}

inline void yuv411_edge(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    const __m128i nm = next_of_groups();
    for (int y = 0; y < 16; ++y) {
        const int half = y / 8, r = y % 8;
        const __m128i cb = spread(load(mb + 5 * 64 + 8 * r), nm, half != 0);
        const __m128i cr = spread(load(mb + 4 * 64 + 8 * r), nm, half != 0);
        const __m128i CB = pixels(cb, cb), CR = pixels(cr, cr);
        const __m128i yy = pixels(load(mb + 128 * half + 8 * r), load(mb + 128 * half + 64 + 8 * r));
        const __m128i c = _mm_unpacklo_epi8(CB, CR);
        store(dst + y * step, _mm_unpacklo_epi8(yy, c));
        store(dst + y * step + 16, _mm_unpackhi_epi8(yy, c));
    }
}

inline void yuv420(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int y = 0; y < 16; ++y) {
        const int half = y / 8, r = y % 8, c = 2 * (y / 4) + (y % 2);
        const __m128i yy = pixels(load(mb + 128 * half + 8 * r), load(mb + 128 * half + 64 + 8 * r));
        store_row16(dst + y * step, yy, pixels(load(mb + 5 * 64 + 8 * c), load(mb + 4 * 64 + 8 * c)));
    }
}

inline void yuv422(const Vek16s* y0, const Vek16s* y1, const Vek16s* cb, const Vek16s* cr, Vek8u* dst,
                   Vek32s step) {
    for (int r = 0; r < 8; ++r)
        store_row16(dst + r * step, pixels(load(y0 + 8 * r), load(y1 + 8 * r)),
                    pixels(load(cb + 8 * r), load(cr + 8 * r)));
}

}  // namespace
}  // namespace vek::dv::x128
