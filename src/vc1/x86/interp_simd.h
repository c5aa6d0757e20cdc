// Bicubic and bilinear interpolation kernels on 128-bit registers, shared by
// the SSE4.1 and AVX2 files (the AVX2 file adds 256-bit forms of the bicubic
// and bilinear blocks on top). Included only by files of src/vc1/x86/.
//
// The two-pass bicubic keeps everything in 16 bits: the vertical sums fit
// (-1785..18105), and the horizontal sums over the first pass span less than
// 65536 for every phase (-9512..41820), so they are formed modulo 2^16 and
// brought into range by adding 128 x 128 before a logical shift.
#pragma once

#include <type_traits>

#include "vc1/interp.h"
#include "vc1/x86/simd_ops.h"

namespace {

using vek::vc1::InterpFn;
using vek::vc1::InterpTable;
using vek::vc1::kBicubicTaps;
using vek::vc1::kHorzShift;
using vek::vc1::kVertShift;
using vek::vc1::PhaseTable;

inline const Vek8u* src_row(const Vek8u* p, Vek32s step, int y) { return p + static_cast<std::ptrdiff_t>(step) * y; }
inline Vek8u* dst_row(Vek8u* p, Vek32s step, int y) { return p + static_cast<std::ptrdiff_t>(step) * y; }

// Columns -1..9 of the 8 outputs at p, in bytes 0..10 (cols 7..9 at 8..10),
// reading exactly those 11 samples.
inline __m128i unit_narrow(const Vek8u* p) {
    return _mm_unpacklo_epi64(load8(p - 1), _mm_srli_epi64(load8(p + 2), 40));
}
// The same for the two 8-output units of a 16-wide row, reading columns -1..17.
inline __m128i unit_wide_a(const Vek8u* p) { return load16(p - 1); }
inline __m128i unit_wide_b(const Vek8u* p) { return _mm_srli_si128(load16(p + 2), 5); }

// Two prepared rows interleaved byte by byte, low and high halves of each lane:
// the operands of one pair of taps.
struct RowPair128 {
    __m128i lo, hi;
};
inline RowPair128 row_pair(__m128i a, __m128i b) { return {unpacklo8(a, b), unpackhi8(a, b)}; }
#ifdef __AVX2__
struct RowPair256 {
    __m256i lo, hi;
};
inline RowPair256 row_pair(__m256i a, __m256i b) { return {unpacklo8(a, b), unpackhi8(a, b)}; }
#endif

// Vertical pass over rows (-1, 0) and (+1, +2), then the horizontal pass on
// the 16-bit result: 8 outputs per 128-bit lane, unclipped 16-bit.
//
// The vertical rounding shift is one rounding high multiply by 2^(15 - s),
// which adds exactly half: right for a rounding control of 1. With 0 the
// rounding is half less one, (x + h - 1) >> s, which is -((-x + h) >> s), so
// Neg runs both passes on negated taps: the vertical pass then yields the
// negated intermediate and the horizontal taps bring the sign back.
template <int DY, bool Neg, class V>
inline V bicubic_vert(V first, V second, V vscale) {
    constexpr int sign = Neg ? -1 : 1;
    constexpr const int* fy = kBicubicTaps[DY];
    const V c01 = splat_pair8<V>(sign * fy[0], sign * fy[1]), c23 = splat_pair8<V>(sign * fy[2], sign * fy[3]);
    return mulhrs16(add16(maddubs(first, c01), maddubs(second, c23)), vscale);
}
// The horizontal pass over the first-pass values t0..t3 of columns x - 1 ..
// x + 2 of each output x (bicubic_taps), or over columns lo[0]..hi[7]
// (bicubic_horz). Only the two large taps are multiplies: the outer ones are
// -4, -3 (or -1 for the half position, whose inner taps are equal), so they
// become one shift of the outer pair's sum and one add, which run beside the
// multiplies instead of queueing for the same units. After the logical shift the value
// is the result plus 128, in -75 + 128 .. 327 + 128, so a plain subtraction
// leaves it for the saturating pack.
template <int DX, bool Neg, class V>
inline V bicubic_taps(V t0, V t1, V t2, V t3, V hround) {
    const V outer = add16(t0, t3);
    V sum;
    if constexpr (DX == 2) {
        // -1, 9, 9, -1.
        V f = splat16<V>(Neg ? -9 : 9);
        __asm__("" : "+x"(f));  // kept a multiply, not expanded into shifts
        const V inner = mullo16(add16(t1, t2), f);
        sum = Neg ? add16(inner, outer) : sub16(inner, outer);
    } else {
        // -4, 53, 18, -3 or its mirror: the -3 tap is -4 plus one.
        constexpr int a = DX == 1 ? 53 : 18, b = DX == 1 ? 18 : 53;
        V fa = splat16<V>(Neg ? -a : a), fb = splat16<V>(Neg ? -b : b);
        __asm__("" : "+x"(fa), "+x"(fb));
        const V one = DX == 1 ? t3 : t0;
        const V inner = add16(mullo16(t1, fa), mullo16(t2, fb));
        sum = Neg ? add16(sub16(inner, one), slli16<2>(outer)) : sub16(add16(inner, one), slli16<2>(outer));
    }
    return sub16(srli16<7>(add16(sum, hround)), splat16<V>(128));
}
template <int DX, bool Neg, class V>
inline V bicubic_horz(V lo, V hi, V hround) {
    return bicubic_taps<DX, Neg>(lo, alignr<2>(hi, lo), alignr<4>(hi, lo), alignr<6>(hi, lo), hround);
}
template <int DX, int DY, bool Neg, class Pair, class V>
inline V bicubic_2d(const Pair& first, const Pair& second, V vscale, V hround) {
    return bicubic_horz<DX, Neg>(bicubic_vert<DY, Neg>(first.lo, second.lo, vscale),
                                 bicubic_vert<DY, Neg>(first.hi, second.hi, vscale), hround);
}
template <int DX, int DY, bool Neg, class V>
inline V bicubic_2d(V r0, V r1, V r2, V r3, V vscale, V hround) {
    return bicubic_2d<DX, DY, Neg>(row_pair(r0, r1), row_pair(r2, r3), vscale, hround);
}

// Runs body(std::bool_constant<Neg>) with Neg set for a rounding control of 0.
template <class Body>
inline void with_rounding(int rc, Body body) {
    if (rc) body(std::false_type{});
    else body(std::true_type{});
}
// The multiplier of the vertical rounding shift of a two-pass phase.
template <int DX, int DY>
constexpr int vscale_of() {
    return 1 << (15 - kVertShift[DX][DY]);
}

// Horizontal only, from a prepared unit.
template <int DX, class V>
inline V bicubic_h(V r, V round) {
    constexpr int s = kHorzShift[DX];
    constexpr const int* fx = kBicubicTaps[DX];
    static constexpr std::int8_t kFirst[16] = {0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8};
    static constexpr std::int8_t kSecond[16] = {2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10};
    const V a = shuffle8(r, shuffle_pattern(r, kFirst)), b = shuffle8(r, shuffle_pattern(r, kSecond));
    const V sum = add16(maddubs(a, splat_pair8<V>(fx[0], fx[1])), maddubs(b, splat_pair8<V>(fx[2], fx[3])));
    return srai16<s>(add16(sum, round));
}

// Vertical only, from four rows of plain samples: the low or high 8 bytes of each lane.
template <int DY, bool High, class V>
inline V bicubic_v(V r0, V r1, V r2, V r3, V round) {
    constexpr int s = kVertShift[0][DY];
    constexpr const int* fy = kBicubicTaps[DY];
    const V c01 = splat_pair8<V>(fy[0], fy[1]), c23 = splat_pair8<V>(fy[2], fy[3]);
    const V sum = High ? add16(maddubs(unpackhi8(r0, r1), c01), maddubs(unpackhi8(r2, r3), c23))
                       : add16(maddubs(unpacklo8(r0, r1), c01), maddubs(unpacklo8(r2, r3), c23));
    return srai16<s>(add16(sum, round));
}

template <int DX, int DY>
constexpr int vround_of(int rc) {
    return (1 << (kVertShift[DX][DY] - 1)) - 1 + rc;
}

template <int W, int H>
void copy_128(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int) {
    for (int y = 0; y < H; ++y) {
        if constexpr (W == 16) store16(dst_row(dst, dstStep, y), load16(src_row(src, srcStep, y)));
        else if constexpr (W == 8) store8(dst_row(dst, dstStep, y), load8(src_row(src, srcStep, y)));
        else store4(dst_row(dst, dstStep, y), load4(src_row(src, srcStep, y)));
    }
}

// Bicubic block of 8 or 16 columns at one phase, 128-bit registers.
template <int W, int H, int DX, int DY>
void bicubic_128(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int rc) {
    using V = __m128i;
    const auto row = [&](int y) { return src_row(src, srcStep, y); };
    if constexpr (DX == 0 && DY == 0) {
        copy_128<W, H>(src, srcStep, dst, dstStep, rc);
    } else if constexpr (DY == 0) {
        const V round = splat16<V>((1 << (kHorzShift[DX] - 1)) - rc);
        for (int y = 0; y < H; ++y) {
            if constexpr (W == 8) {
                const V v = bicubic_h<DX>(unit_narrow(row(y)), round);
                store8(dst_row(dst, dstStep, y), packus16(v, v));
            } else {
                store16(dst_row(dst, dstStep, y), packus16(bicubic_h<DX>(unit_wide_a(row(y)), round),
                                                           bicubic_h<DX>(unit_wide_b(row(y)), round)));
            }
        }
    } else if constexpr (DX == 0) {
        const V round = splat16<V>(vround_of<0, DY>(rc));
        const auto load = [&](int y) { return W == 8 ? load8(row(y)) : load16(row(y)); };
        V r0 = load(-1), r1 = load(0), r2 = load(1);
        for (int y = 0; y < H; ++y) {
            const V r3 = load(y + 2);
            const V lo = bicubic_v<DY, false>(r0, r1, r2, r3, round);
            if constexpr (W == 8) store8(dst_row(dst, dstStep, y), packus16(lo, lo));
            else store16(dst_row(dst, dstStep, y), packus16(lo, bicubic_v<DY, true>(r0, r1, r2, r3, round)));
            r0 = r1, r1 = r2, r2 = r3;
        }
    } else {
        const V vscale = splat16<V>(vscale_of<DX, DY>()), hround = splat16<V>(64 - rc + 128 * 128);
        with_rounding(rc, [&](auto neg) {
            constexpr bool Neg = decltype(neg)::value;
            if constexpr (W == 8) {
                V r0 = unit_narrow(row(-1)), r1 = unit_narrow(row(0)), r2 = unit_narrow(row(1));
                for (int y = 0; y < H; ++y) {
                    const V r3 = unit_narrow(row(y + 2));
                    const V v = bicubic_2d<DX, DY, Neg>(r0, r1, r2, r3, vscale, hround);
                    store8(dst_row(dst, dstStep, y), packus16(v, v));
                    r0 = r1, r1 = r2, r2 = r3;
                }
            } else {
                V a0 = unit_wide_a(row(-1)), a1 = unit_wide_a(row(0)), a2 = unit_wide_a(row(1));
                V b0 = unit_wide_b(row(-1)), b1 = unit_wide_b(row(0)), b2 = unit_wide_b(row(1));
                for (int y = 0; y < H; ++y) {
                    const V a3 = unit_wide_a(row(y + 2)), b3 = unit_wide_b(row(y + 2));
                    store16(dst_row(dst, dstStep, y),
                            packus16(bicubic_2d<DX, DY, Neg>(a0, a1, a2, a3, vscale, hround),
                                     bicubic_2d<DX, DY, Neg>(b0, b1, b2, b3, vscale, hround)));
                    a0 = a1, a1 = a2, a2 = a3;
                    b0 = b1, b1 = b2, b2 = b3;
                }
            }
        });
    }
}

// ---- Bilinear ---------------------------------------------------------------
//
// Every phase is one weighted sum: ((4 - dy)((4 - dx)a + dx b) + dy((4 - dx)c +
// dx d) + 8 - rc) >> 4 equals each half- and quarter-sample formula, as the
// coarser roundings never cross a multiple of the finer divisor. A fraction of
// 0 reads no neighbour in its direction.

// Samples x and x + P side by side (P bytes apart), W * P bytes of a row.
template <int Bytes, int P>
inline __m128i pairs_lo(const Vek8u* p) {
    if constexpr (Bytes == 4) return unpacklo8(load4(p), load4(p + P));
    else return unpacklo8(load8(p), load8(p + P));
}

template <int W, int H, int P, int DX, int DY>
void bilinear_128(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int rc) {
    using V = __m128i;
    constexpr int bytes = W * P;  // 4, 8 or 16
    const auto row = [&](int y) { return src_row(src, srcStep, y); };
    if constexpr (DX == 0 && DY == 0) {
        copy_128<bytes, H>(src, srcStep, dst, dstStep, rc);
    } else {
        const V round = splat16<V>(8 - rc);
        const V w0 = splat_pair8<V>((4 - DX) * (4 - DY), DX * (4 - DY));  // row y: a, b
        const V w1 = splat_pair8<V>((4 - DX) * DY, DX * DY);              // row y + 1: c, d
        // One row's pairs: (a, b) interleaved, or (a, 0) when DX is 0.
        const auto pairs = [&](const Vek8u* p, bool high) -> V {
            if constexpr (DX == 0) {
                if constexpr (bytes == 16) return high ? unpackhi8(load16(p), _mm_setzero_si128())
                                                       : unpacklo8(load16(p), _mm_setzero_si128());
                else if constexpr (bytes == 8) return unpacklo8(load8(p), _mm_setzero_si128());
                else return unpacklo8(load4(p), _mm_setzero_si128());
            } else {
                if constexpr (bytes == 16) return high ? unpackhi8(load16(p), load16(p + P))
                                                       : unpacklo8(load16(p), load16(p + P));
                else return pairs_lo<bytes, P>(p);
            }
        };
        const auto half = [&](int y, bool high) {
            V sum = maddubs(pairs(row(y), high), w0);
            if constexpr (DY != 0) sum = add16(sum, maddubs(pairs(row(y + 1), high), w1));
            return srli16<4>(add16(sum, round));
        };
        for (int y = 0; y < H; ++y) {
            const V lo = half(y, false);
            Vek8u* out = dst_row(dst, dstStep, y);
            if constexpr (bytes == 16) store16(out, packus16(lo, half(y, true)));
            else if constexpr (bytes == 8) store8(out, packus16(lo, lo));
            else store4(out, packus16(lo, lo));
        }
    }
}

template <template <int, int> class Maker, std::size_t... I>
constexpr PhaseTable phase_table(std::index_sequence<I...>) {
    return {Maker<static_cast<int>(I) / 4, static_cast<int>(I) % 4>::fn...};
}

template <int W, int H>
struct Bicubic128 {
    template <int DX, int DY>
    struct At {
        static constexpr InterpFn* fn = &bicubic_128<W, H, DX, DY>;
    };
    static constexpr PhaseTable table = phase_table<At>(std::make_index_sequence<16>{});
};

template <int W, int H, int P>
struct Bilinear128 {
    template <int DX, int DY>
    struct At {
        static constexpr InterpFn* fn = &bilinear_128<W, H, P, DX, DY>;
    };
    static constexpr PhaseTable table = phase_table<At>(std::make_index_sequence<16>{});
};

inline void init_interp_128(InterpTable& t) {
    t.bicubic = {Bicubic128<8, 8>::table, Bicubic128<16, 8>::table, Bicubic128<16, 16>::table};
    t.bilinear = {Bilinear128<4, 4, 1>::table, Bilinear128<8, 4, 1>::table, Bilinear128<8, 8, 1>::table,
                  Bilinear128<16, 16, 1>::table};
    t.bilinear_c2 = {Bilinear128<4, 4, 2>::table, Bilinear128<8, 4, 2>::table, Bilinear128<8, 8, 2>::table};
}

}  // namespace
