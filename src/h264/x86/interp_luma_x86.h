// Shared bodies of the luma kernels (8-bit and 16-bit) of the SIMD levels.
// Included by interp_luma_sse41.cpp and interp_luma_avx2.cpp, each compiling
// its own copy with its own instruction set (all of it has internal linkage).
//
// A kernel is written once over an Ops class that says how one row of W
// outputs is held (16-bit lanes) and how two rows of bytes are packed,
// averaged and stored. Two output rows are made per step (heights are
// multiples of 4). Both six-taps run on byte pairs with pmaddubsw: across a
// row (x-2, x-1) by (1, -5), (x, x+1) by (20, 20), (x+2, x+3) by (-5, 1), and
// down a column the same on two rows' bytes interleaved. Loads cover exactly
// the window the position needs: nothing outside it is read.
#pragma once

#include <immintrin.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "h264/interp_luma.h"

namespace vek::h264 {
namespace {

using Ctl = std::array<Vek8u, 16>;

// pshufb controls making the pairs of tap pair k (0, 1, 2) for outputs
// x = first .. first + 7 from a register whose byte i holds row byte index(i).
template <class Index>
constexpr Ctl pair_control(int k, int first, Index index) {
    Ctl c{};
    for (int x = 0; x < 8; ++x) {
        c[2 * x] = static_cast<Vek8u>(index(first + x - 2 + 2 * k));
        c[2 * x + 1] = static_cast<Vek8u>(index(first + x - 1 + 2 * k));
    }
    return c;
}
// Row bytes -2..5 in the low half, 3..10 in the high half (widths 4 and 8).
constexpr int split_index(int b) { return b <= 5 ? b + 2 : b + 5; }
constexpr int lo_index(int b) { return b + 2; }  // bytes -2..13, outputs 0..7
constexpr int hi_index(int b) { return b - 3; }  // bytes 3..18, outputs 8..15

constexpr Ctl kSplit[3] = {pair_control(0, 0, split_index), pair_control(1, 0, split_index),
                           pair_control(2, 0, split_index)};
constexpr Ctl kLo[3] = {pair_control(0, 0, lo_index), pair_control(1, 0, lo_index), pair_control(2, 0, lo_index)};
constexpr Ctl kHi[3] = {pair_control(0, 8, hi_index), pair_control(1, 8, hi_index), pair_control(2, 8, hi_index)};

inline __m128i ctl128(const Ctl& c) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(c.data())); }

// Tap pairs as signed bytes: (1, -5), (20, 20), (-5, 1).
inline __m128i taps128(int k) {
    constexpr short kPair[3] = {static_cast<short>((-5 << 8) | 1), static_cast<short>((20 << 8) | 20),
                                static_cast<short>((1 << 8) | 0xFB)};
    return _mm_set1_epi16(kPair[k]);
}

inline __m128i load4(const Vek8u* p) {
    int v;
    std::memcpy(&v, p, 4);
    return _mm_cvtsi32_si128(v);
}
inline void store4(Vek8u* p, __m128i v) {
    const int x = _mm_cvtsi128_si32(v);
    std::memcpy(p, &x, 4);
}
inline __m128i loadl(const Vek8u* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
inline __m128i loadu(const Vek8u* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load_high8(__m128i lo, const Vek8u* p) { return _mm_unpacklo_epi64(lo, loadl(p)); }
inline void store_high8(Vek8u* p, __m128i v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_unpackhi_epi64(v, v));
}

// Unrounded six-tap sums of the pairs in x, 16-bit lanes.
inline __m128i six_tap_pairs(__m128i x, const Ctl* ctl) {
    const __m128i t0 = _mm_maddubs_epi16(_mm_shuffle_epi8(x, ctl128(ctl[0])), taps128(0));
    const __m128i t1 = _mm_maddubs_epi16(_mm_shuffle_epi8(x, ctl128(ctl[1])), taps128(1));
    const __m128i t2 = _mm_maddubs_epi16(_mm_shuffle_epi8(x, ctl128(ctl[2])), taps128(2));
    return _mm_add_epi16(_mm_add_epi16(t0, t2), t1);
}

// ---- 16-bit lane arithmetic over one or two registers ----

template <int N>
struct Lanes {
    __m128i r[N];
};

template <int N, class F>
Lanes<N> map2(Lanes<N> a, Lanes<N> b, F f) {
    Lanes<N> out;
    for (int i = 0; i < N; ++i) out.r[i] = f(a.r[i], b.r[i]);
    return out;
}
template <int N>
Lanes<N> add(Lanes<N> a, Lanes<N> b) { return map2(a, b, [](__m128i u, __m128i v) { return _mm_add_epi16(u, v); }); }
template <int N>
Lanes<N> sub(Lanes<N> a, Lanes<N> b) { return map2(a, b, [](__m128i u, __m128i v) { return _mm_sub_epi16(u, v); }); }
template <int S, int N>
Lanes<N> sra(Lanes<N> a) { return map2(a, a, [](__m128i u, __m128i) { return _mm_srai_epi16(u, S); }); }
// (s + 16) >> 5, exactly: mulhrs gives (s * 1024 + 16384) >> 15.
template <int N>
Lanes<N> round5(Lanes<N> a) {
    return map2(a, a, [](__m128i u, __m128i) { return _mm_mulhrs_epi16(u, _mm_set1_epi16(1024)); });
}

// (s + 32) >> 6, exactly: mulhrs gives (s * 512 + 16384) >> 15.
template <int N>
Lanes<N> round6(Lanes<N> a) {
    return map2(a, a, [](__m128i u, __m128i) { return _mm_mulhrs_epi16(u, _mm_set1_epi16(512)); });
}

// Column six-tap on byte pairs of rows (k, k + 1) interleaved: the pairs of
// rows y - 2, y and y + 2 by (1, -5), (20, 20), (-5, 1).
inline __m128i column_taps(__m128i u0, __m128i u2, __m128i u4) {
    return _mm_add_epi16(_mm_add_epi16(_mm_maddubs_epi16(u0, taps128(0)), _mm_maddubs_epi16(u4, taps128(2))),
                         _mm_maddubs_epi16(u2, taps128(1)));
}

// ---- Ops of the 128-bit registers, widths 4, 8 and 16 ----

template <int W>
struct Ops128;

template <>
struct Ops128<4> {
    static constexpr int kWidth = 4, kRowsPerLanes = 1;
    Ops128(std::ptrdiff_t, std::ptrdiff_t) {}
    using V = Lanes<1>;
    using B = __m128i;  // row y in bytes 0..3, row y + 1 in bytes 8..11
    static V hfilt(const Vek8u* p) {
        const __m128i x = _mm_insert_epi32(loadl(p - 2), _mm_cvtsi128_si32(load4(p + 3)), 2);
        return {{six_tap_pairs(x, kSplit)}};
    }
    using Z = __m128i;  // a row of bytes
    using U = __m128i;  // two rows' bytes interleaved
    static Z row(const Vek8u* p) { return load4(p); }
    static U pair(Z a, Z b) { return _mm_unpacklo_epi8(a, b); }
    static V vsum(U u0, U u2, U u4) { return {{column_taps(u0, u2, u4)}}; }
    static B pack2(V a, V b) { return _mm_packus_epi16(a.r[0], b.r[0]); }
    static B load2(const Vek8u* p, std::ptrdiff_t s) {
        return _mm_insert_epi32(load4(p), _mm_cvtsi128_si32(load4(p + s)), 2);
    }
    static B avg(B a, B b) { return _mm_avg_epu8(a, b); }
    static void store2(Vek8u* d, std::ptrdiff_t s, B v) {
        store4(d, v);
        store4(d + s, _mm_srli_si128(v, 8));
    }
};

template <>
struct Ops128<8> {
    static constexpr int kWidth = 8, kRowsPerLanes = 1;
    Ops128(std::ptrdiff_t, std::ptrdiff_t) {}
    using V = Lanes<1>;
    using B = __m128i;  // row y in the low half, row y + 1 in the high half
    static V hfilt(const Vek8u* p) { return {{six_tap_pairs(load_high8(loadl(p - 2), p + 3), kSplit)}}; }
    using Z = __m128i;
    using U = __m128i;
    static Z row(const Vek8u* p) { return loadl(p); }
    static U pair(Z a, Z b) { return _mm_unpacklo_epi8(a, b); }
    static V vsum(U u0, U u2, U u4) { return {{column_taps(u0, u2, u4)}}; }
    static B pack2(V a, V b) { return _mm_packus_epi16(a.r[0], b.r[0]); }
    static B load2(const Vek8u* p, std::ptrdiff_t s) { return load_high8(loadl(p), p + s); }
    static B avg(B a, B b) { return _mm_avg_epu8(a, b); }
    static void store2(Vek8u* d, std::ptrdiff_t s, B v) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d), v);
        store_high8(d + s, v);
    }
};

// ---- The kernel over any Ops ----

// Columns of a strip, two output rows at a time: the interleaved pairs of
// rows (k, k + 1) from two rows above the first output row on, each pair made
// once and used by three output rows.
template <class O>
struct ColumnWindow {
    typename O::U u0, u1, u2, u3;  // pairs starting at rows y - 2 .. y + 1
    typename O::Z last;            // row y + 2
    ColumnWindow(const O& o, const Vek8u* c, std::ptrdiff_t ss) {  // c: row y - 2
        const auto r0 = o.row(c), r1 = o.row(c + ss), r2 = o.row(c + 2 * ss), r3 = o.row(c + 3 * ss);
        last = o.row(c + 4 * ss);
        u0 = o.pair(r0, r1), u1 = o.pair(r1, r2), u2 = o.pair(r2, r3), u3 = o.pair(r3, last);
    }
    // Unrounded column sums of rows y and y + 1 (c is row y - 2), reading
    // rows y + 3 and y + 4; then moves on two rows.
    void next2(const O& o, const Vek8u* c, std::ptrdiff_t ss, typename O::V& h0, typename O::V& h1) {
        const auto r5 = o.row(c + 5 * ss), r6 = o.row(c + 6 * ss);
        const auto u4 = o.pair(last, r5), u5 = o.pair(r5, r6);
        h0 = o.vsum(u0, u2, u4);
        h1 = o.vsum(u1, u3, u5);
        u0 = u2, u1 = u3, u2 = u4, u3 = u5, last = r6;
    }
};

// Width 16 at the full position, four rows at a time.
inline VekStatus copy_rows_by4(const Vek8u* src, std::ptrdiff_t ss, Vek8u* dst, std::ptrdiff_t ds, int height) {
    for (int y = 0; y < height; y += 4, src += 4 * ss, dst += 4 * ds) {
        const __m128i r0 = loadu(src), r1 = loadu(src + ss), r2 = loadu(src + 2 * ss), r3 = loadu(src + 3 * ss);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), r0);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + ds), r1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * ds), r2);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 3 * ds), r3);
    }
    return vekStsOk;
}

// A block of 16 rows is all loads, then all stores (a store never sits
// between two loads it could alias), with four rows from each of four bases
// by scaled indices, so that no row's address waits on the one before.
inline VekStatus copy_rows16(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s height) {
    const std::ptrdiff_t ss = srcStep, ds = dstStep;
    if (height != 16) return copy_rows_by4(src, ss, dst, ds, height);
    __m128i r[16];
    for (int k = 0; k < 4; ++k) {
        const Vek8u* s = src + 4 * k * ss;
        r[4 * k] = loadu(s), r[4 * k + 1] = loadu(s + ss), r[4 * k + 2] = loadu(s + 2 * ss);
        r[4 * k + 3] = loadu(s + ss + 2 * ss);
    }
    for (int k = 0; k < 4; ++k) {
        Vek8u* d = dst + 4 * k * ds;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), r[4 * k]);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + ds), r[4 * k + 1]);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 2 * ds), r[4 * k + 2]);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + ds + 2 * ds), r[4 * k + 3]);
    }
    return vekStsOk;
}

// j from the unrounded row sums of six rows, in 16 bits without overflow:
// with P, Q, R the outer, middle and inner pair sums,
// (P - 5Q + 20R + 512) >> 10 == ((((P - Q) >> 2) - Q + R) >> 2) + R + 32) >> 6
// by nested flooring; row sums lie in [-2550, 10200], so every term stays
// within 16 signed bits.
template <class V>
V jfilt(V s0, V s1, V s2, V s3, V s4, V s5) {
    const V p = add(s0, s5), q = add(s1, s4), r = add(s2, s3);
    const V x = add(sub(sra<2>(sub(p, q)), q), r);
    return round6(add(sra<2>(x), r));
}

template <class O, int Pos>
VekStatus luma_kernel(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s height) {
    using V = typename O::V;
    constexpr int dx = Pos & 3, dy = Pos >> 2;
    if (height <= 0) return vekStsOk;  // nothing to write, and nothing is read
    const std::ptrdiff_t ss = srcStep, ds = dstStep;
    // An Ops holding two rows per register (row y and row y + height / 2)
    // walks half the rows.
    const O o(ss * (height / 2), ds * (height / 2));
    const int steps = O::kRowsPerLanes == 2 ? height / 2 : height;
    const auto rows = [&](auto body) {
        for (int y = 0; y < steps; y += 2, src += 2 * ss, dst += 2 * ds) body();
    };
    if constexpr (Pos == 0) {
        for (int y = 0; y < height; y += 4, src += 4 * ss, dst += 4 * ds) {
            std::memcpy(dst, src, O::kWidth);
            std::memcpy(dst + ds, src + ss, O::kWidth);
            std::memcpy(dst + 2 * ds, src + 2 * ss, O::kWidth);
            std::memcpy(dst + 3 * ds, src + 3 * ss, O::kWidth);
        }
    } else if constexpr (dy == 0) {  // a, b, c
        rows([&] {
            auto b = o.pack2(round5(o.hfilt(src)), round5(o.hfilt(src + ss)));
            if constexpr (dx != 2) b = o.avg(b, o.load2(src + (dx == 3), ss));
            o.store2(dst, ds, b);
        });
    } else if constexpr (dx == 0) {  // d, h, n
        const Vek8u* c = src - 2 * ss;
        ColumnWindow<O> col(o, c, ss);
        rows([&] {
            V h0, h1;
            col.next2(o, c, ss, h0, h1);
            auto h = o.pack2(round5(h0), round5(h1));
            if constexpr (dy != 2) h = o.avg(h, o.load2(src + (dy == 3 ? ss : 0), ss));
            o.store2(dst, ds, h);
            c += 2 * ss;
        });
    } else if constexpr (dx == 2 || dy == 2) {  // f, j, q (row sums); i, k (plus a column)
        const Vek8u* p = src - 2 * ss;
        const Vek8u* c = p + (dx == 3);
        V s0 = o.hfilt(p), s1 = o.hfilt(p + ss), s2 = o.hfilt(p + 2 * ss), s3 = o.hfilt(p + 3 * ss),
          s4 = o.hfilt(p + 4 * ss);
        ColumnWindow<O> col(o, c, ss);
        rows([&] {
            const V s5 = o.hfilt(p + 5 * ss), s6 = o.hfilt(p + 6 * ss);
            auto j = o.pack2(jfilt(s0, s1, s2, s3, s4, s5), jfilt(s1, s2, s3, s4, s5, s6));
            if constexpr (dx == 2 && dy == 1) j = o.avg(j, o.pack2(round5(s2), round5(s3)));
            if constexpr (dx == 2 && dy == 3) j = o.avg(j, o.pack2(round5(s3), round5(s4)));
            if constexpr (dx != 2) {
                V h0, h1;
                col.next2(o, c, ss, h0, h1);
                j = o.avg(j, o.pack2(round5(h0), round5(h1)));
                c += 2 * ss;
            }
            o.store2(dst, ds, j);
            s0 = s2, s1 = s3, s2 = s4, s3 = s5, s4 = s6;
            p += 2 * ss;
        });
    } else {  // e, g, p, r: b of row y or y + 1 with h of column x or x + 1
        const Vek8u* b_row = src + (dy == 3 ? ss : 0);
        const Vek8u* c = src - 2 * ss + (dx == 3);
        ColumnWindow<O> col(o, c, ss);
        rows([&] {
            V h0, h1;
            col.next2(o, c, ss, h0, h1);
            const auto h = o.pack2(round5(h0), round5(h1));
            const auto b = o.pack2(round5(o.hfilt(b_row)), round5(o.hfilt(b_row + ss)));
            o.store2(dst, ds, o.avg(b, h));
            c += 2 * ss;
            b_row += 2 * ss;
        });
    }
    return vekStsOk;
}

template <class O, int... Pos>
constexpr std::array<LumaInterp8uFn*, kLumaPositions> luma_row(std::integer_sequence<int, Pos...>) {
    return {&luma_kernel<O, Pos>...};
}

// Width 16 on 128-bit registers as two strips of 8 columns: one register per
// row term keeps the windows of six rows within the sixteen registers.
template <int Pos>
VekStatus luma_two_strips(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s height) {
    if constexpr (Pos == 0) {
        return copy_rows16(src, srcStep, dst, dstStep, height);
    } else {
        luma_kernel<Ops128<8>, Pos>(src, srcStep, dst, dstStep, height);
        return luma_kernel<Ops128<8>, Pos>(src + 8, srcStep, dst + 8, dstStep, height);
    }
}

template <int... Pos>
constexpr std::array<LumaInterp8uFn*, kLumaPositions> luma_row_two_strips(std::integer_sequence<int, Pos...>) {
    return {&luma_two_strips<Pos>...};
}

// Places the sixteen kernels of width class `row` (0: 4, 1: 8, 2 and 3: 16).
inline void set_luma_row(LumaInterpTable& t, int row, const std::array<LumaInterp8uFn*, kLumaPositions>& fns) {
    for (int pos = 0; pos < kLumaPositions; ++pos) t.luma_8u[row * kLumaPositions + pos] = fns[pos];
}

}  // namespace
}  // namespace vek::h264

// ---- 16-bit samples: 32-bit lanes ----
//
// A 16-bit kernel walks the block in column strips of Ops::kLanes outputs
// (widths are multiples of 4), one row per step. Row sums and the j sum take
// 32 bits (up to 42 * 65535 and 42 times that); values are clipped to the
// depth's range before an average, as the reference does.
namespace vek::h264 {
namespace {

struct X32 {
    __m128i v;
};
inline X32 add(X32 a, X32 b) { return {_mm_add_epi32(a.v, b.v)}; }
inline X32 sub(X32 a, X32 b) { return {_mm_sub_epi32(a.v, b.v)}; }
template <int S>
X32 shl(X32 a) { return {_mm_slli_epi32(a.v, S)}; }
template <int S>
X32 sra(X32 a) { return {_mm_srai_epi32(a.v, S)}; }
inline X32 addc32(X32 a, int c) { return {_mm_add_epi32(a.v, _mm_set1_epi32(c))}; }
inline X32 clip(X32 a, int max_value) {
    return {_mm_min_epi32(_mm_max_epi32(a.v, _mm_setzero_si128()), _mm_set1_epi32(max_value))};
}
// (u + v + 1) >> 1 of clipped (non-negative) values.
inline X32 avg(X32 a, X32 b) { return {_mm_srli_epi32(_mm_add_epi32(_mm_add_epi32(a.v, b.v), _mm_set1_epi32(1)), 1)}; }

struct Ops16x4 {
    static constexpr int kLanes = 4;
    using V = X32;
    static V load(const Vek16u* p) {
        return {_mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)))};
    }
    static void store(Vek16u* p, V v) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi32(v.v, v.v));
    }
};

// Six-tap sum of six values: (v0 + v5) + 5 * (4 * (v2 + v3) - (v1 + v4)).
template <class V>
V six_tap32(V v0, V v1, V v2, V v3, V v4, V v5) {
    const V t = sub(shl<2>(add(v2, v3)), add(v1, v4));
    return add(add(v0, v5), add(t, shl<2>(t)));
}

template <class O>
typename O::V row_sum16(const Vek16u* p) {
    return six_tap32(O::load(p - 2), O::load(p - 1), O::load(p), O::load(p + 1), O::load(p + 2), O::load(p + 3));
}

// Position 0 copies rows as they are (samples are not clipped).
inline void copy16(const Vek16u* src, std::ptrdiff_t ss, Vek16u* dst, std::ptrdiff_t ds, int width, int height) {
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) dst[y * ds + x] = src[y * ss + x];
}

template <class O, int Pos>
void luma16_columns(const Vek16u* src, std::ptrdiff_t ss, Vek16u* dst, std::ptrdiff_t ds, int x_begin, int x_end,
                    int height, int max_value) {
    static_assert(Pos != 0);
    if (height <= 0) return;
    using V = typename O::V;
    constexpr int dx = Pos & 3, dy = Pos >> 2;
    constexpr bool kJ = (dx == 2 && dy != 0) || (dy == 2 && dx != 0);  // f, i, j, k, q
    constexpr bool kColumn = dx != 2;                                    // h of a column
    const auto half = [max_value](V s) { return clip(sra<5>(addc32(s, 16)), max_value); };
    for (int x = x_begin; x < x_end; x += O::kLanes) {
        const Vek16u* s = src + x;
        Vek16u* d = dst + x;
        if constexpr (dy == 0) {
            for (int y = 0; y < height; ++y) {
                const Vek16u* row = s + y * ss;
                V b = half(row_sum16<O>(row));
                if constexpr (dx != 2) b = avg(b, O::load(row + (dx == 3)));
                O::store(d + y * ds, b);
            }
        } else {
            // Column terms (h) from a window of six rows, row terms (b, j) per row.
            const Vek16u* c = s - 2 * ss + (dx == 3);
            const Vek16u* r = s - 2 * ss;
            V z[6], rs[6];
            for (int k = 0; k < 5; ++k) {
                if constexpr (kColumn) z[k] = O::load(c + k * ss);
                if constexpr (kJ) rs[k] = row_sum16<O>(r + k * ss);
            }
            for (int y = 0; y < height; ++y) {
                if constexpr (kColumn) z[5] = O::load(c + (y + 5) * ss);
                if constexpr (kJ) rs[5] = row_sum16<O>(r + (y + 5) * ss);
                V out{};
                if constexpr (kJ) {
                    const V j = clip(sra<10>(addc32(six_tap32(rs[0], rs[1], rs[2], rs[3], rs[4], rs[5]), 512)),
                                     max_value);
                    if constexpr (dx == 2 && dy == 2) out = j;
                    if constexpr (dx == 2 && dy == 1) out = avg(half(rs[2]), j);
                    if constexpr (dx == 2 && dy == 3) out = avg(half(rs[3]), j);
                    if constexpr (dx != 2) out = avg(half(six_tap32(z[0], z[1], z[2], z[3], z[4], z[5])), j);
                } else {
                    const V h = half(six_tap32(z[0], z[1], z[2], z[3], z[4], z[5]));
                    if constexpr (dx == 0 && dy == 2) out = h;
                    if constexpr (dx == 0 && dy == 1) out = avg(O::load(s + y * ss), h);
                    if constexpr (dx == 0 && dy == 3) out = avg(O::load(s + (y + 1) * ss), h);
                    if constexpr (dx != 0) out = avg(half(row_sum16<O>(s + (y + (dy == 3)) * ss)), h);
                }
                O::store(d + y * ds, out);
                for (int k = 0; k < 5; ++k) z[k] = z[k + 1], rs[k] = rs[k + 1];
            }
        }
    }
}

inline int max_sample16(Vek32s bitDepth) {
    return static_cast<int>((1u << (bitDepth < 0 ? 0 : bitDepth > 16 ? 16 : bitDepth)) - 1);
}

template <int Pos>
void luma16_sse41(const Vek16u* src, Vek32s srcStep, Vek16u* dst, Vek32s dstStep, Vek32s width, Vek32s height,
                  Vek32s bitDepth) {
    if constexpr (Pos == 0)
        copy16(src, srcStep, dst, dstStep, width, height);
    else
        luma16_columns<Ops16x4, Pos>(src, srcStep, dst, dstStep, 0, width, height, max_sample16(bitDepth));
}


}  // namespace
}  // namespace vek::h264
