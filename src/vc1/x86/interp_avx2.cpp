// AVX2 level of the VC-1 interpolation kernels: the 128-bit kernels in VEX
// form, and 256-bit bicubic and bilinear blocks whose two lanes carry either
// the two 8-column halves of a 16-wide row or two rows (of an 8-wide block, or
// of a 16-wide one in the two-pass bicubic).
#include "vc1/x86/interp_simd.h"

namespace {

using V = __m256i;

// Two rows of 16 packed samples, [row y halves | row y + 1 halves] by qword
// as packus leaves them, stored in row order.
inline void store_rows16(Vek8u* dst, Vek32s dstStep, int y, V packed) {
    const V rows = _mm256_permute4x64_epi64(packed, 0xD8);
    store16(dst_row(dst, dstStep, y), lane0(rows));
    store16(dst_row(dst, dstStep, y + 1), lane1(rows));
}
// Two rows of 8 samples, one in the low qword of each lane.
inline void store_rows8(Vek8u* dst, Vek32s dstStep, int y, V packed) {
    store8(dst_row(dst, dstStep, y), lane0(packed));
    store8(dst_row(dst, dstStep, y + 1), lane1(packed));
}

template <int W, int H, int DX, int DY>
void bicubic_256(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int rc) {
    const auto row = [&](int y) { return src_row(src, srcStep, y); };
    if constexpr (DX == 0 && DY == 0) {
        copy_128<W, H>(src, srcStep, dst, dstStep, rc);
    } else if constexpr (DY == 0) {
        const V round = splat16<V>((1 << (kHorzShift[DX] - 1)) - rc);
        for (int y = 0; y < H; y += 2) {
            if constexpr (W == 16) {
                const V v0 = bicubic_h<DX>(join(unit_wide_a(row(y)), unit_wide_b(row(y))), round);
                const V v1 = bicubic_h<DX>(join(unit_wide_a(row(y + 1)), unit_wide_b(row(y + 1))), round);
                store_rows16(dst, dstStep, y, packus16(v0, v1));
            } else {
                const V v = bicubic_h<DX>(join(unit_narrow(row(y)), unit_narrow(row(y + 1))), round);
                store_rows8(dst, dstStep, y, packus16(v, v));
            }
        }
    } else if constexpr (DX == 0) {
        const V round = splat16<V>(vround_of<0, DY>(rc));
        // Rows r and r + 1 in the two lanes.
        const auto pair = [&](int r) {
            return W == 16 ? join(load16(row(r)), load16(row(r + 1))) : join(load8(row(r)), load8(row(r + 1)));
        };
        V r0 = pair(-1), r1 = pair(0);
        for (int y = 0; y < H; y += 2) {
            const V r2 = pair(y + 1), r3 = pair(y + 2);
            const V lo = bicubic_v<DY, false>(r0, r1, r2, r3, round);
            if constexpr (W == 16) {
                const V rows = packus16(lo, bicubic_v<DY, true>(r0, r1, r2, r3, round));
                store16(dst_row(dst, dstStep, y), lane0(rows));
                store16(dst_row(dst, dstStep, y + 1), lane1(rows));
            } else {
                store_rows8(dst, dstStep, y, packus16(lo, lo));
            }
            r0 = r2, r1 = r3;
        }
    } else {
        const V vscale = splat16<V>(vscale_of<DX, DY>()), hround = splat16<V>(64 - rc + 128 * 128);
        with_rounding(rc, [&](auto neg) {
            constexpr bool Neg = decltype(neg)::value;
            if constexpr (W == 16) {
                // Two rows a register: (r, r + 1) by lane, each row read once
                // by a broadcast load and placed by a blend, which leaves the
                // shuffle units to the passes. Columns -1..14 come from one
                // read, 10..17 from the high bytes of a read at column 2. The
                // first pass runs one row pair ahead of the second, so each
                // step has independent work for both.
                const auto cols = [&](int r) { return _mm256_broadcastsi128_si256(load16(row(r) - 1)); };
                const auto ends = [&](int r) { return _mm256_broadcastsi128_si256(load16(row(r) + 2)); };
                const auto two = [](V upper, V lower) { return _mm256_blend_epi32(upper, lower, 0xF0); };
                V c2 = cols(1), e2 = ends(1);
                RowPair256 first = row_pair(two(cols(-1), cols(0)), two(cols(0), c2));
                V first_e = unpackhi8(two(ends(-1), ends(0)), two(ends(0), e2));
                struct Pass {
                    V lo, hi, tail;  // columns -1..6, 7..14 and 10..17
                };
                // The first pass of output rows r - 2 and r - 1, reading rows r and r + 1.
                const auto vertical = [&](int r) {
                    const V c3 = cols(r), c4 = cols(r + 1), e3 = ends(r), e4 = ends(r + 1);
                    const RowPair256 second = row_pair(two(c2, c3), two(c3, c4));
                    const V second_e = unpackhi8(two(e2, e3), two(e3, e4));
                    const Pass p{bicubic_vert<DY, Neg>(first.lo, second.lo, vscale),
                                 bicubic_vert<DY, Neg>(first.hi, second.hi, vscale),
                                 bicubic_vert<DY, Neg>(first_e, second_e, vscale)};
                    first = second, first_e = second_e, c2 = c4, e2 = e4;
                    return p;
                };
                Pass cur = vertical(2);
                for (int y = 0; y < H; y += 2) {
                    const Pass next = y + 2 < H ? vertical(y + 4) : cur;
                    // Columns 15..17 at the start of the lane, after 7..14;
                    // the last tap's window of the right half is the tail.
                    const V end = _mm256_srli_si256(cur.tail, 10);
                    const V right = bicubic_taps<DX, Neg>(cur.hi, alignr<2>(end, cur.hi), alignr<4>(end, cur.hi),
                                                          cur.tail, hround);
                    const V out = packus16(bicubic_horz<DX, Neg>(cur.lo, cur.hi, hround), right);
                    store16(dst_row(dst, dstStep, y), lane0(out));
                    store16(dst_row(dst, dstStep, y + 1), lane1(out));
                    cur = next;
                }
            } else {
                // Rows (r, r + 1) by lane, columns -1..6 then 2..9 in each,
                // built from broadcast reads and blends; the first pass runs
                // one row pair ahead, as above. The high half of the first pass
                // is then the last tap's window, and moved down by five columns
                // it completes the other two.
                const auto unit = [&](int r) {
                    return _mm256_blend_epi32(_mm256_broadcastq_epi64(load8(row(r) - 1)),
                                              _mm256_broadcastq_epi64(load8(row(r) + 2)), 0xCC);
                };
                const auto two = [](V upper, V lower) { return _mm256_blend_epi32(upper, lower, 0xF0); };
                V u2 = unit(1);
                const V u0 = unit(-1), u1 = unit(0);
                RowPair256 first = row_pair(two(u0, u1), two(u1, u2));
                struct Pass {
                    V lo, hi;
                };
                const auto vertical = [&](int r) {
                    const V u3 = unit(r), u4 = unit(r + 1);
                    const RowPair256 second = row_pair(two(u2, u3), two(u3, u4));
                    const Pass p{bicubic_vert<DY, Neg>(first.lo, second.lo, vscale),
                                 bicubic_vert<DY, Neg>(first.hi, second.hi, vscale)};
                    first = second, u2 = u4;
                    return p;
                };
                Pass cur = vertical(2);
                for (int y = 0; y < H; y += 2) {
                    const Pass next = y + 2 < H ? vertical(y + 4) : cur;
                    const V next5 = _mm256_srli_si256(cur.hi, 10);
                    const V v = bicubic_taps<DX, Neg>(cur.lo, alignr<2>(next5, cur.lo), alignr<4>(next5, cur.lo), cur.hi,
                                                      hround);
                    store_rows8(dst, dstStep, y, packus16(v, v));
                    cur = next;
                }
            }
        });
    }
}

// Bilinear blocks of 16 or 8 bytes a row, two rows per register.
template <int W, int H, int P, int DX, int DY>
void bilinear_256(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int rc) {
    constexpr int bytes = W * P;
    const auto row = [&](int y) { return src_row(src, srcStep, y); };
    if constexpr (DX == 0 && DY == 0) {
        copy_128<bytes, H>(src, srcStep, dst, dstStep, rc);
    } else {
        const V round = splat16<V>(8 - rc);
        const V w0 = splat_pair8<V>((4 - DX) * (4 - DY), DX * (4 - DY));
        const V w1 = splat_pair8<V>((4 - DX) * DY, DX * DY);
        const auto rows = [&](int r, int off) {
            return bytes == 16 ? join(load16(row(r) + off), load16(row(r + 1) + off))
                               : join(load8(row(r) + off), load8(row(r + 1) + off));
        };
        // Rows r and r + 1 as (a, b) pairs, low and high halves of each lane.
        struct Pairs {
            V lo, hi;
        };
        const auto pairs = [&](int r) -> Pairs {
            const V a = rows(r, 0);
            const V b = DX == 0 ? _mm256_setzero_si256() : rows(r, P);
            return {unpacklo8(a, b), unpackhi8(a, b)};
        };
        for (int y = 0; y < H; y += 2) {
            const Pairs top = pairs(y);
            V lo = maddubs(top.lo, w0), hi = maddubs(top.hi, w0);
            if constexpr (DY != 0) {
                const Pairs next = pairs(y + 1);
                lo = add16(lo, maddubs(next.lo, w1));
                hi = add16(hi, maddubs(next.hi, w1));
            }
            lo = srli16<4>(add16(lo, round));
            if constexpr (bytes == 16) {
                const V out = packus16(lo, srli16<4>(add16(hi, round)));
                store16(dst_row(dst, dstStep, y), lane0(out));
                store16(dst_row(dst, dstStep, y + 1), lane1(out));
            } else {
                store_rows8(dst, dstStep, y, packus16(lo, lo));
            }
        }
    }
}

template <int W, int H>
struct Bicubic256 {
    template <int DX, int DY>
    struct At {
        static constexpr InterpFn* fn = &bicubic_256<W, H, DX, DY>;
    };
    static constexpr PhaseTable table = phase_table<At>(std::make_index_sequence<16>{});
};

template <int W, int H, int P>
struct Bilinear256 {
    template <int DX, int DY>
    struct At {
        static constexpr InterpFn* fn = &bilinear_256<W, H, P, DX, DY>;
    };
    static constexpr PhaseTable table = phase_table<At>(std::make_index_sequence<16>{});
};

}  // namespace

namespace vek::vc1 {

void init_interp_table_avx2(InterpTable& table) {
    init_interp_128(table);
    table.bicubic = {Bicubic256<8, 8>::table, Bicubic256<16, 8>::table, Bicubic256<16, 16>::table};
    table.bilinear[kBilinear8x4] = Bilinear256<8, 4, 1>::table;
    table.bilinear[kBilinear8x8] = Bilinear256<8, 8, 1>::table;
    table.bilinear[kBilinear16x16] = Bilinear256<16, 16, 1>::table;
    table.bilinear_c2[kPairs4x4] = Bilinear256<4, 4, 2>::table;
    table.bilinear_c2[kPairs8x4] = Bilinear256<8, 4, 2>::table;
    table.bilinear_c2[kPairs8x8] = Bilinear256<8, 8, 2>::table;
}

}  // namespace vek::vc1
