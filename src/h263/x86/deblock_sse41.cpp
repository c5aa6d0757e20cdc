// SSE4.1 edge filters: 8 positions per pass in 16-bit lanes; vertical edges
// are transposed in registers.
#include "h263/x86/deblock_128.h"

namespace vek::h263 {

namespace {

void deblock8x8_hor_sse41(Vek8u* p, Vek32s step, Vek32s strength) {
    deblock_hor8_128<true>(p, step, _mm_set1_epi16(Vek16s(strength)));
}

void deblock8x8_ver_sse41(Vek8u* p, Vek32s step, Vek32s strength) {
    deblock_ver8_128<true>(p, step, _mm_set1_epi16(Vek16s(strength)));
}

void deblock16x16_hor_sse41(Vek8u* p, Vek32s step, Vek32s) {
    deblock_hor8_128<false>(p, step, _mm_setzero_si128());
    deblock_hor8_128<false>(p + 8, step, _mm_setzero_si128());
}

void deblock16x16_ver_sse41(Vek8u* p, Vek32s step, Vek32s) {
    deblock_ver8_128<false>(p, step, _mm_setzero_si128());
    deblock_ver8_128<false>(p + std::ptrdiff_t(step) * 8, step, _mm_setzero_si128());
}

void boundary_hor_sse41(Vek8u* p, Vek32s step, Vek32s) {
    Vek8u* above = p - step;
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(above));
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    __m128i Blo = _mm_cvtepu8_epi16(b), Bhi = _mm_cvtepu8_epi16(_mm_srli_si128(b, 8));
    __m128i Clo = _mm_cvtepu8_epi16(c), Chi = _mm_cvtepu8_epi16(_mm_srli_si128(c, 8));
    boundary_lanes_128(Blo, Clo);
    boundary_lanes_128(Bhi, Chi);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(above), _mm_packus_epi16(Blo, Bhi));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(Clo, Chi));
}

void boundary_ver_sse41(Vek8u* p, Vek32s step, Vek32s) {
    boundary_ver8_128(p, step);
    boundary_ver8_128(p + std::ptrdiff_t(step) * 8, step);
}

}  // namespace

void init_edge_filter_table_sse41(EdgeFilterTable& t) {
    t.deblock8x8_hor = deblock8x8_hor_sse41;
    t.deblock8x8_ver = deblock8x8_ver_sse41;
    t.deblock16x16_hor = deblock16x16_hor_sse41;
    t.deblock16x16_ver = deblock16x16_ver_sse41;
    t.boundary_hor = boundary_hor_sse41;
    t.boundary_ver = boundary_ver_sse41;
}

}  // namespace vek::h263
