// Inverse transform passes on 128-bit lanes, shared by the SSE4.1 and AVX2
// files. A pass takes "rows" of coefficients (lanes = frequency) and gives one
// 32-bit vector per output position with the rows in its lanes, so a second
// pass over the packed result transforms the other direction without a
// separate transpose. Sums use the even/odd halves of the bases; packing to 16
// bits saturates, which is the saturation after each pass.
#pragma once

#include "vc1/transform.h"
#include "vc1/x86/simd_ops.h"

namespace {

// Four rows of 8 coefficients (one per 128-bit lane set) to the 8 outputs of
// the 8-point inverse, each with the 4 rows in its 32-bit lanes:
// (sum + Round) >> Shift, and with Lower also +1 on outputs 4..7. Paired rows
// come as x0, x4, x2, x6, x1, x3, x5, x7 instead of in order.
template <int Round, int Shift, bool Lower, bool Paired = false, class V>
inline void pass8(const V (&in)[4], V (&out)[8]) {
    // Per row: pairs (x0, x4), (x2, x6), (x1, x3), (x5, x7) as 32-bit lanes.
    static constexpr std::int8_t kOrder[16] = {0, 1, 8, 9, 4, 5, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};
    const auto pairs = [&](const V& x) { return Paired ? x : shuffle8(x, shuffle_pattern(in[0], kOrder)); };
    const V a = pairs(in[0]), b = pairs(in[1]), c = pairs(in[2]), d = pairs(in[3]);
    const V t0 = unpacklo32(a, b), t1 = unpackhi32(a, b), t2 = unpacklo32(c, d), t3 = unpackhi32(c, d);
    const V p04 = unpacklo64(t0, t2), p26 = unpackhi64(t0, t2), p13 = unpacklo64(t1, t3), p57 = unpackhi64(t1, t3);

    const V round = splat32<V>(Round);
    const V e0 = add32(madd16(p04, splat_pair16<V>(12, 12)), round);
    const V e1 = add32(madd16(p04, splat_pair16<V>(12, -12)), round);
    const V f0 = madd16(p26, splat_pair16<V>(16, 6)), f1 = madd16(p26, splat_pair16<V>(6, -16));
    const V even[4] = {add32(e0, f0), add32(e1, f1), sub32(e1, f1), sub32(e0, f0)};
    const V odd[4] = {add32(madd16(p13, splat_pair16<V>(16, 15)), madd16(p57, splat_pair16<V>(9, 4))),
                      add32(madd16(p13, splat_pair16<V>(15, -4)), madd16(p57, splat_pair16<V>(-16, -9))),
                      add32(madd16(p13, splat_pair16<V>(9, -16)), madd16(p57, splat_pair16<V>(4, 15))),
                      add32(madd16(p13, splat_pair16<V>(4, -9)), madd16(p57, splat_pair16<V>(15, -16)))};
    for (int n = 0; n < 4; ++n) {
        out[n] = srai32<Shift>(add32(even[n], odd[n]));
        const V lower = sub32(even[n], odd[n]);
        out[7 - n] = srai32<Shift>(Lower ? add32(lower, splat32<V>(1)) : lower);
    }
}

// Four rows of 4 coefficients, two rows per 128-bit lane set, to the 4 outputs
// of the 4-point inverse with the rows in the 32-bit lanes.
template <int Round, int Shift, class V>
inline void pass4(const V (&in)[2], V (&out)[4]) {
    // Per row: (x0, x2), (x1, x3); then the first pairs of both rows, the second pairs.
    static constexpr std::int8_t kOrder[16] = {0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15};
    const V order = shuffle_pattern(in[0], kOrder);
    const V a = shuffle32<0xD8>(shuffle8(in[0], order)), b = shuffle32<0xD8>(shuffle8(in[1], order));
    const V p02 = unpacklo64(a, b), p13 = unpackhi64(a, b);
    const V round = splat32<V>(Round);
    const V e0 = add32(madd16(p02, splat_pair16<V>(17, 17)), round);
    const V e1 = add32(madd16(p02, splat_pair16<V>(17, -17)), round);
    const V o0 = madd16(p13, splat_pair16<V>(22, 10)), o1 = madd16(p13, splat_pair16<V>(10, -22));
    out[0] = srai32<Shift>(add32(e0, o0));
    out[1] = srai32<Shift>(add32(e1, o1));
    out[2] = srai32<Shift>(sub32(e1, o1));
    out[3] = srai32<Shift>(sub32(e0, o0));
}

// Rows of coefficients with those outside cols x rows cleared.
inline __m128i col_mask(int cols) {
    alignas(16) static constexpr std::int16_t kOnes[16] = {-1, -1, -1, -1, -1, -1, -1, -1, 0, 0, 0, 0, 0, 0, 0, 0};
    return load16(kOnes + 8 - cols);
}
inline __m128i load_row8(const Vek16s* src, Vek32s step, int y, int rows, __m128i mask) {
    return y < rows ? _mm_and_si128(load16(byte_offset(src, static_cast<std::ptrdiff_t>(step) * y)), mask)
                    : _mm_setzero_si128();
}
inline __m128i load_row4(const Vek16s* src, Vek32s step, int y, int rows, __m128i mask) {
    return y < rows ? _mm_and_si128(load8(byte_offset(src, static_cast<std::ptrdiff_t>(step) * y)), mask)
                    : _mm_setzero_si128();
}
inline Vek16s* out_row(Vek16s* dst, Vek32s step, int y) {
    return byte_offset(dst, static_cast<std::ptrdiff_t>(step) * y);
}

void inverse8x8_128(const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep, int cols, int rows) {
    const __m128i mask = col_mask(cols);
    __m128i y[2][8];
    for (int half = 0; half < 2; ++half) {
        const __m128i in[4] = {load_row8(src, srcStep, 4 * half, rows, mask),
                               load_row8(src, srcStep, 4 * half + 1, rows, mask),
                               load_row8(src, srcStep, 4 * half + 2, rows, mask),
                               load_row8(src, srcStep, 4 * half + 3, rows, mask)};
        pass8<4, 3, false>(in, y[half]);
    }
    __m128i cols_in[8];
    for (int n = 0; n < 8; ++n) cols_in[n] = packs32(y[0][n], y[1][n]);
    __m128i z[2][8];
    for (int half = 0; half < 2; ++half) {
        const __m128i in[4] = {cols_in[4 * half], cols_in[4 * half + 1], cols_in[4 * half + 2], cols_in[4 * half + 3]};
        pass8<64, 7, true>(in, z[half]);
    }
    for (int m = 0; m < 8; ++m) store16(out_row(dst, dstStep, m), packs32(z[0][m], z[1][m]));
}

void inverse8x4_128(const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep, int cols, int rows) {
    const __m128i mask = col_mask(cols);
    const __m128i in[4] = {load_row8(src, srcStep, 0, rows, mask), load_row8(src, srcStep, 1, rows, mask),
                           load_row8(src, srcStep, 2, rows, mask), load_row8(src, srcStep, 3, rows, mask)};
    __m128i y[8];
    pass8<4, 3, false>(in, y);
    // Columns x and x + 1 of the four rows in one register: the 4-point input.
    const __m128i left[2] = {packs32(y[0], y[1]), packs32(y[2], y[3])};
    const __m128i right[2] = {packs32(y[4], y[5]), packs32(y[6], y[7])};
    __m128i zl[4], zr[4];
    pass4<64, 7>(left, zl);
    pass4<64, 7>(right, zr);
    for (int m = 0; m < 4; ++m) store16(out_row(dst, dstStep, m), packs32(zl[m], zr[m]));
}

void inverse4x8_128(const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep, int cols, int rows) {
    const __m128i mask = col_mask(cols);
    __m128i y[2][4];
    for (int half = 0; half < 2; ++half) {
        const int r = 4 * half;
        const __m128i in[2] = {
            unpacklo64(load_row4(src, srcStep, r, rows, mask), load_row4(src, srcStep, r + 1, rows, mask)),
            unpacklo64(load_row4(src, srcStep, r + 2, rows, mask), load_row4(src, srcStep, r + 3, rows, mask))};
        pass4<4, 3>(in, y[half]);
    }
    const __m128i in[4] = {packs32(y[0][0], y[1][0]), packs32(y[0][1], y[1][1]), packs32(y[0][2], y[1][2]),
                           packs32(y[0][3], y[1][3])};
    __m128i z[8];
    pass8<64, 7, true>(in, z);
    for (int m = 0; m < 8; m += 2) {
        const __m128i rows2 = packs32(z[m], z[m + 1]);
        store8(out_row(dst, dstStep, m), rows2);
        store8(out_row(dst, dstStep, m + 1), _mm_unpackhi_epi64(rows2, rows2));
    }
}

void inverse4x4_128(const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep, int cols, int rows) {
    const __m128i mask = col_mask(cols);
    const __m128i in[2] = {
        unpacklo64(load_row4(src, srcStep, 0, rows, mask), load_row4(src, srcStep, 1, rows, mask)),
        unpacklo64(load_row4(src, srcStep, 2, rows, mask), load_row4(src, srcStep, 3, rows, mask))};
    __m128i y[4];
    pass4<4, 3>(in, y);
    const __m128i cols_in[2] = {packs32(y[0], y[1]), packs32(y[2], y[3])};
    __m128i z[4];
    pass4<64, 7>(cols_in, z);
    for (int m = 0; m < 4; m += 2) {
        const __m128i rows2 = packs32(z[m], z[m + 1]);
        store8(out_row(dst, dstStep, m), rows2);
        store8(out_row(dst, dstStep, m + 1), _mm_unpackhi_epi64(rows2, rows2));
    }
}

inline void init_transform_128(vek::vc1::TransformTable& t) {
    using namespace vek::vc1;
    t.inverse[k8x8] = inverse8x8_128;
    t.inverse[k8x4] = inverse8x4_128;
    t.inverse[k4x8] = inverse4x8_128;
    t.inverse[k4x4] = inverse4x4_128;
}

}  // namespace
