// Overlap smoothing kernels on 128-bit registers, shared by the SSE4.1 and AVX2
// files: 8 lines side by side in 16-bit lanes with saturating additions; 7x is
// formed by saturating doublings and sums, which saturates exactly like 7x.
#pragma once

#include "vc1/smooth.h"
#include "vc1/x86/simd_ops.h"

namespace {

struct Quad128 {
    __m128i a, b, c, d;
};

template <class V>
inline V times7(V v) {
    const V v2 = adds16(v, v);
    const V v4 = adds16(v2, v2);
    return adds16(adds16(v4, v2), v);
}

template <class V>
inline void smooth_lanes(V& a, V& b, V& c, V& d, V r0, V r1) {
    const V na = srai16<3>(adds16(adds16(times7(a), d), r0));
    const V nb = srai16<3>(adds16(adds16(adds16(subs16(times7(b), a), c), d), r1));
    const V nc = srai16<3>(adds16(subs16(adds16(adds16(times7(c), a), b), d), r0));
    const V nd = srai16<3>(adds16(adds16(times7(d), a), r1));
    a = na, b = nb, c = nc, d = nd;
}

inline const Vek16s* row16(const Vek16s* p, Vek32s step, int y) { return byte_offset(p, static_cast<std::ptrdiff_t>(step) * y); }
inline Vek16s* row16(Vek16s* p, Vek32s step, int y) { return byte_offset(p, static_cast<std::ptrdiff_t>(step) * y); }
inline Vek8u* row8(Vek8u* p, Vek32s step, int y) { return p + static_cast<std::ptrdiff_t>(step) * y; }

// The four output rows of a horizontal edge, 16-bit.
inline Quad128 hor_quad(const Vek16s* upper, Vek32s upperStep, const Vek16s* lower, Vek32s lowerStep) {
    Quad128 q{load16(row16(upper, upperStep, 0)), load16(row16(upper, upperStep, 1)), load16(row16(lower, lowerStep, 0)),
              load16(row16(lower, lowerStep, 1))};
    const __m128i r0 = _mm_setr_epi16(4, 3, 4, 3, 4, 3, 4, 3), r1 = _mm_setr_epi16(3, 4, 3, 4, 3, 4, 3, 4);
    smooth_lanes(q.a, q.b, q.c, q.d, r0, r1);
    return q;
}

void smooth_hor_simd(const Vek16s* upper, Vek32s upperStep, const Vek16s* lower, Vek32s lowerStep, Vek8u* dst,
                     Vek32s dstStep) {
    const Quad128 q = hor_quad(upper, upperStep, lower, lowerStep);
    store8(row8(dst, dstStep, -2), packus16(q.a, q.a));
    store8(row8(dst, dstStep, -1), packus16(q.b, q.b));
    store8(row8(dst, dstStep, 0), packus16(q.c, q.c));
    store8(row8(dst, dstStep, 1), packus16(q.d, q.d));
}

// Bytes of the channels in `channels` (bit 0: even bytes, bit 1: odd bytes).
inline __m128i channel_bytes(unsigned channels) {
    return _mm_set1_epi16(static_cast<short>(((channels & 1) ? 0x00FF : 0) | ((channels & 2) ? 0xFF00 : 0)));
}
inline void store_blend(Vek8u* p, __m128i v, __m128i mask, int bytes) {
    const __m128i old = bytes == 16 ? load16(p) : load8(p);
    const __m128i out = _mm_blendv_epi8(old, v, mask);
    if (bytes == 16) store16(p, out);
    else store8(p, out);
}

void smooth_hor_pairs_simd(const Vek16s* upperU, Vek32s upperStepU, const Vek16s* lowerU, Vek32s lowerStepU,
                           const Vek16s* upperV, Vek32s upperStepV, const Vek16s* lowerV, Vek32s lowerStepV, Vek8u* dst,
                           Vek32s dstStep, unsigned channels) {
    const __m128i zero = _mm_setzero_si128();
    const Quad128 u = (channels & 1) ? hor_quad(upperU, upperStepU, lowerU, lowerStepU) : Quad128{zero, zero, zero, zero};
    const Quad128 v = (channels & 2) ? hor_quad(upperV, upperStepV, lowerV, lowerStepV) : Quad128{zero, zero, zero, zero};
    const __m128i mask = channel_bytes(channels);
    const auto pairs = [](__m128i x, __m128i y) { return _mm_unpacklo_epi8(packus16(x, x), packus16(y, y)); };
    store_blend(row8(dst, dstStep, -2), pairs(u.a, v.a), mask, 16);
    store_blend(row8(dst, dstStep, -1), pairs(u.b, v.b), mask, 16);
    store_blend(row8(dst, dstStep, 0), pairs(u.c, v.c), mask, 16);
    store_blend(row8(dst, dstStep, 1), pairs(u.d, v.d), mask, 16);
}

// Rows 0..7 of a two-column 16-bit source to its first and second column.
inline void load_columns(const Vek16s* p, Vek32s step, __m128i& first, __m128i& second) {
    __m128i q[4];
    for (int i = 0; i < 4; ++i)
        q[i] = _mm_unpacklo_epi32(load4(row16(p, step, 2 * i)), load4(row16(p, step, 2 * i + 1)));
    const __m128i lo = _mm_unpacklo_epi64(q[0], q[1]), hi = _mm_unpacklo_epi64(q[2], q[3]);  // (x, y) per row
    const __m128i split = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    const __m128i l = _mm_shuffle_epi8(lo, split), h = _mm_shuffle_epi8(hi, split);
    first = _mm_unpacklo_epi64(l, h);
    second = _mm_unpackhi_epi64(l, h);
}

// Four 32-bit lanes to rows y..y + 3, two rows per 64-bit move.
template <class T>
inline void store_dwords(T* p, Vek32s step, int y, __m128i v) {
    const auto lo = static_cast<std::uint64_t>(_mm_cvtsi128_si64(v));
    const auto hi = static_cast<std::uint64_t>(_mm_extract_epi64(v, 1));
    const std::uint32_t w[4] = {static_cast<std::uint32_t>(lo), static_cast<std::uint32_t>(lo >> 32),
                                static_cast<std::uint32_t>(hi), static_cast<std::uint32_t>(hi >> 32)};
    for (int i = 0; i < 4; ++i) std::memcpy(byte_offset(p, static_cast<std::ptrdiff_t>(step) * (y + i)), &w[i], 4);
}

inline void store_columns(Vek16s* p, Vek32s step, __m128i first, __m128i second) {
    store_dwords(p, step, 0, _mm_unpacklo_epi16(first, second));
    store_dwords(p, step, 4, _mm_unpackhi_epi16(first, second));
}

// Eight rows of a vertical edge: sources written back, the clipped results
// returned as (a', b', c', d') bytes per row, rows 0..3 and 4..7.
inline void ver_rows(Vek16s* left, Vek32s leftStep, Vek16s* right, Vek32s rightStep, int r0Even, int r0Odd,
                     __m128i& rows_lo, __m128i& rows_hi) {
    __m128i a, b, c, d;
    load_columns(left, leftStep, a, b);
    load_columns(right, rightStep, c, d);
    const __m128i r0 = _mm_setr_epi16(static_cast<short>(r0Even), static_cast<short>(r0Odd), static_cast<short>(r0Even),
                                      static_cast<short>(r0Odd), static_cast<short>(r0Even), static_cast<short>(r0Odd),
                                      static_cast<short>(r0Even), static_cast<short>(r0Odd));
    smooth_lanes(a, b, c, d, r0, _mm_sub_epi16(_mm_set1_epi16(7), r0));
    store_columns(left, leftStep, a, b);
    store_columns(right, rightStep, c, d);
    const __m128i ab = _mm_unpacklo_epi8(packus16(a, a), packus16(b, b));
    const __m128i cd = _mm_unpacklo_epi8(packus16(c, c), packus16(d, d));
    rows_lo = _mm_unpacklo_epi16(ab, cd);
    rows_hi = _mm_unpackhi_epi16(ab, cd);
}

void smooth_ver_simd(Vek16s* left, Vek32s leftStep, Vek16s* right, Vek32s rightStep, Vek8u* dst, Vek32s dstStep,
                     int r0Even, int r0Odd) {
    __m128i lo, hi;
    ver_rows(left, leftStep, right, rightStep, r0Even, r0Odd, lo, hi);
    store_dwords(dst - 2, dstStep, 0, lo);
    store_dwords(dst - 2, dstStep, 4, hi);
}

void smooth_ver_pairs_simd(Vek16s* leftU, Vek32s leftStepU, Vek16s* rightU, Vek32s rightStepU, Vek16s* leftV,
                           Vek32s leftStepV, Vek16s* rightV, Vek32s rightStepV, Vek8u* dst, Vek32s dstStep,
                           unsigned channels) {
    __m128i u_lo = _mm_setzero_si128(), u_hi = u_lo, v_lo = u_lo, v_hi = u_lo;
    if (channels & 1) ver_rows(leftU, leftStepU, rightU, rightStepU, 4, 3, u_lo, u_hi);
    if (channels & 2) ver_rows(leftV, leftStepV, rightV, rightStepV, 4, 3, v_lo, v_hi);
    // Row y: U and V bytes of a', b', c', d' alternating, at bytes -4..+3.
    const __m128i rows[4] = {_mm_unpacklo_epi8(u_lo, v_lo), _mm_unpackhi_epi8(u_lo, v_lo), _mm_unpacklo_epi8(u_hi, v_hi),
                             _mm_unpackhi_epi8(u_hi, v_hi)};
    const __m128i mask = channel_bytes(channels);
    for (int y = 0; y < 8; ++y) {
        const __m128i two = rows[y / 2];
        store_blend(row8(dst, dstStep, y) - 4, (y & 1) ? _mm_unpackhi_epi64(two, two) : two, mask, 8);
    }
}

#ifdef __AVX2__
// A 16-row edge is made of 48 four-byte stores, and stores are what bounds it
// (one leaves the core per cycle), so the kernel keeps other stores, such as
// saved registers and spills, to a minimum: row accesses are base + index forms
// of the plane pointer and its step, and each block of eight stores is written
// out explicitly, so that the compiler does not keep all 48 row addresses live.
// (Written in plain C the same stores cost six saved registers and a dozen
// spills.) The differential tests check these stores with guard bands.

// The pairs of 16-bit values of rows 0..7 from p, row k in dword k: each is a
// broadcast load merged by a blend, which keeps the shuffle units free.
inline __m256i load_pairs8(const std::uint8_t* p, std::ptrdiff_t s) {
    const std::uint8_t* p4 = p + 4 * s;
    const std::ptrdiff_t s3 = 3 * s;
    const auto at = [](const std::uint8_t* q) {
        int x;
        std::memcpy(&x, q, sizeof x);
        return _mm256_set1_epi32(x);
    };
    const __m256i v01 = _mm256_blend_epi32(at(p), at(p + s), 0x02);
    const __m256i v23 = _mm256_blend_epi32(at(p + 2 * s), at(p + s3), 0x08);
    const __m256i v45 = _mm256_blend_epi32(at(p4), at(p4 + s), 0x20);
    const __m256i v67 = _mm256_blend_epi32(at(p4 + 2 * s), at(p4 + s3), 0x80);
    return _mm256_blend_epi32(_mm256_blend_epi32(v01, v23, 0x0C), _mm256_blend_epi32(v45, v67, 0xC0), 0xF0);
}

// Dword k of v to row k from p, k = 0..7, straight from the vector register:
// rows 0, 2, 4 and 6 off p, rows 1, 3, 5 and 7 off p + s, with s3 = 3s.
inline void store_dwords8(std::uint8_t* p, std::ptrdiff_t s, std::ptrdiff_t s3, __m256i v) {
    const __m128i lo = lane0(v), hi = lane1(v);
    std::uint8_t* q;
    __asm__ volatile(
        "lea (%[p],%[s]), %[q]\n\t"
        "vmovd %[lo], (%[p])\n\t"
        "vpextrd $1, %[lo], (%[q])\n\t"
        "vpextrd $2, %[lo], (%[p],%[s],2)\n\t"
        "vpextrd $3, %[lo], (%[q],%[s],2)\n\t"
        "vmovd %[hi], (%[p],%[s],4)\n\t"
        "vpextrd $1, %[hi], (%[q],%[s],4)\n\t"
        "vpextrd $2, %[hi], (%[p],%[s3],2)\n\t"
        "vpextrd $3, %[hi], (%[q],%[s3],2)"
        : [q] "=&r"(q)
        : [p] "r"(p), [lo] "x"(lo), [hi] "x"(hi), [s] "r"(s), [s3] "r"(s3)
        : "memory");
}

template <class T>
inline std::uint8_t* bytes(T* p) {
    return reinterpret_cast<std::uint8_t*>(p);
}

// 16 rows of frame neighbours in one pass. The pairs of rows 0..7 and 8..15
// are split into first and second values, rows 0..3 and 8..11 in lane 0, 4..7
// and 12..15 in lane 1; the rounding pattern 4, 3, ... follows the row parity,
// which every position keeps.
void smooth_ver16_simd(Vek16s* left, Vek32s leftStep, Vek16s* right, Vek32s rightStep, Vek8u* dst, Vek32s dstStep) {
    const std::ptrdiff_t ls = leftStep, rs = rightStep, ds = dstStep;
    const __m256i split = _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15));
    const __m256i lt = shuffle8(load_pairs8(bytes(left), ls), split);
    const __m256i lb = shuffle8(load_pairs8(bytes(left) + 8 * ls, ls), split);
    const __m256i rt = shuffle8(load_pairs8(bytes(right), rs), split);
    const __m256i rb = shuffle8(load_pairs8(bytes(right) + 8 * rs, rs), split);
    __m256i a = unpacklo64(lt, lb), b = unpackhi64(lt, lb), c = unpacklo64(rt, rb), d = unpackhi64(rt, rb);
    const __m256i round0 = _mm256_setr_epi16(4, 3, 4, 3, 4, 3, 4, 3, 4, 3, 4, 3, 4, 3, 4, 3);
    smooth_lanes(a, b, c, d, round0, _mm256_sub_epi16(_mm256_set1_epi16(7), round0));
    // Back to a pair per dword, rows 0..7 and 8..15 in order.
    const __m256i ab0 = _mm256_unpacklo_epi16(a, b), ab1 = _mm256_unpackhi_epi16(a, b);
    const __m256i cd0 = _mm256_unpacklo_epi16(c, d), cd1 = _mm256_unpackhi_epi16(c, d);
    store_dwords8(bytes(left), ls, 3 * ls, ab0);
    store_dwords8(bytes(left) + 8 * ls, ls, 3 * ls, ab1);
    store_dwords8(bytes(right), rs, 3 * rs, cd0);
    store_dwords8(bytes(right) + 8 * rs, rs, 3 * rs, cd1);
    // Bytes a', b', c', d' of one row per dword.
    const auto out = [](__m256i ab, __m256i cd) { return packus16(unpacklo32(ab, cd), unpackhi32(ab, cd)); };
    store_dwords8(dst - 2, ds, 3 * ds, out(ab0, cd0));
    store_dwords8(dst - 2 + 8 * ds, ds, 3 * ds, out(ab1, cd1));
}
#endif

// The 16 rows of frame neighbours as two passes of 8.
void smooth_ver16_128(Vek16s* left, Vek32s leftStep, Vek16s* right, Vek32s rightStep, Vek8u* dst, Vek32s dstStep) {
    smooth_ver_simd(left, leftStep, right, rightStep, dst, dstStep, 4, 3);
    smooth_ver_simd(row16(left, leftStep, 8), leftStep, row16(right, rightStep, 8), rightStep, row8(dst, dstStep, 8),
                    dstStep, 4, 3);
}

inline void init_smooth_128(vek::vc1::SmoothTable& t) {
    t.hor = smooth_hor_simd;
    t.hor_pairs = smooth_hor_pairs_simd;
    t.ver = smooth_ver_simd;
    t.ver_pairs = smooth_ver_pairs_simd;
    t.ver16 = smooth_ver16_128;
}

}  // namespace
