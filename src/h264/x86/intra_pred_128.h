// 128-bit intra predictors of 16x16 luma and 8x8 chroma blocks, shared by the
// SSE4.1 file and (recompiled with VEX encoding, where broadcasts come from
// memory in one instruction) by the AVX2 file. Everything is in an anonymous
// namespace so each instruction set keeps its own copy.
//
// The plane ramps run in 16-bit lanes: with samples of 8 bits, |a| <= 8160,
// |b|, |c| <= 717 (luma) or 1355 (chroma), so a + 16 + b(x - 7) + c(y - 7)
// stays within -11500..19700 and no step of the ramp can wrap.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "h264/intra_pred.h"

namespace {

using vek::h264::kAvailLeft;
using vek::h264::kAvailTop;
using vek::h264::kAvailTopLeft;
using vek::h264::kAvailTopRight;

inline __m128i load16(const Vek8u* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load8(const Vek8u* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
inline void store16(Vek8u* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline void store8(Vek8u* p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }
inline void store8(Vek8u* p, std::uint64_t v) { std::memcpy(p, &v, sizeof v); }
// The upper half (a movhps through a double pointer would claim an alignment rows don't have).
inline void store8_high(Vek8u* p, __m128i v) { store8(p, static_cast<std::uint64_t>(_mm_extract_epi64(v, 1))); }

inline __m128i splat(const Vek8u* p) { return _mm_set1_epi8(static_cast<char>(*p)); }

// Calls f(row, y) for the N rows, four from each base: base + {0, 1, 2, 3}
// steps are single base + index addresses, so no row waits for another's
// pointer. The empty asm hides that the multiples are multiples: otherwise
// the compiler rebuilds every row pointer from the one before (a chain of
// sixteen additions ahead of the last load) and spills them.
template <int N, class F>
[[gnu::always_inline]] inline void for_rows(Vek8u* p, std::ptrdiff_t step, F&& f) {
    std::ptrdiff_t step2 = 2 * step, step3 = 3 * step, step4 = 4 * step;
    asm("" : "+r"(step2), "+r"(step3), "+r"(step4));
#pragma GCC unroll 4
    for (int y = 0; y < N; y += 4) {
        f(p, y);
        f(p + step, y + 1);
        f(p + step2, y + 2);
        f(p + step3, y + 3);
        p += step4;
    }
}

// Sum of `Count` left neighbours from row `first` on, scalar (gathering a
// column into a register costs more), in four chains so the loads overlap.
template <int Count>
inline int sum_left(Vek8u* p, std::ptrdiff_t step) {
    int sum[4] = {};
    for_rows<Count>(p - 1, step, [&](const Vek8u* row, int y) { sum[y & 3] += *row; });
    return (sum[0] + sum[1]) + (sum[2] + sum[3]);
}

// Fills N rows of 16 or 8 bytes.
// Rows y .. y + 3 at p, p + step, p + 2 step (a scaled index) and p + 3 step:
// four general registers in all, none of them callee-saved, and no row
// pointer built from the one before (see for_rows).
template <int N>
inline void fill_rows16(Vek8u* p, std::ptrdiff_t step, __m128i v) {
    std::ptrdiff_t step3 = 3 * step, step4 = 4 * step;
    asm("" : "+r"(step3), "+r"(step4));
#pragma GCC unroll 4
    for (int y = 0; y < N; y += 4) {
        store16(p, v);
        store16(p + step, v);
        store16(p + 2 * step, v);
        store16(p + step3, v);
        p += step4;
    }
}
template <int N>
inline void fill_rows8(Vek8u* p, std::ptrdiff_t step, __m128i v) {
    for_rows<N>(p, step, [v](Vek8u* row, int) { store8(row, v); });
}

// ---- 4x4 --------------------------------------------------------------------
//
// A missing group reads as 128 and sets the warning, as in the reference.
// The directional modes filter one edge vector e at once: F2[i] = (e[i] +
// e[i + 1] + 1) >> 1 and F3[i] = (e[i - 1] + 2 e[i] + e[i + 1] + 2) >> 2 (as
// pavgb(pavgb(a, c) - ((a ^ c) & 1), b), exact), then one pshufb picks the
// sixteen samples from G = [F3[0..7] | F2[0..7]].

constexpr std::uint32_t kMid4 = 0x80808080u;  // four samples of 128

inline std::uint32_t load32(const Vek8u* p) {
    std::uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void store32(Vek8u* p, std::uint32_t v) { std::memcpy(p, &v, sizeof v); }

inline VekStatus report(bool fell_back) { return fell_back ? vekStsNeighbourFallbackWrn : vekStsOk; }

// The four samples above, or 128s.
inline std::uint32_t top4(const Vek8u* p, std::ptrdiff_t step, Vek32s availability) {
    return (availability & kAvailTop) ? load32(p - step) : kMid4;
}

// The left column packed low byte first (l0 in bits 0..7), or 128s.
inline std::uint32_t left4(const Vek8u* p, std::ptrdiff_t step, Vek32s availability) {
    if (!(availability & kAvailLeft)) return kMid4;
    const std::uint32_t l0 = p[-1], l1 = p[step - 1], l2 = p[2 * step - 1], l3 = p[3 * step - 1];
    return (l0 | l1 << 8) | (l2 << 16 | l3 << 24);
}

inline void store4x4(Vek8u* p, std::ptrdiff_t step, __m128i rows) {
    store32(p, static_cast<std::uint32_t>(_mm_cvtsi128_si32(rows)));
    store32(p + step, static_cast<std::uint32_t>(_mm_extract_epi32(rows, 1)));
    store32(p + 2 * step, static_cast<std::uint32_t>(_mm_extract_epi32(rows, 2)));
    store32(p + 3 * step, static_cast<std::uint32_t>(_mm_extract_epi32(rows, 3)));
}

inline void store4x4(Vek8u* p, std::ptrdiff_t step, std::uint32_t r0, std::uint32_t r1, std::uint32_t r2,
                     std::uint32_t r3) {
    store32(p, r0);
    store32(p + step, r1);
    store32(p + 2 * step, r2);
    store32(p + 3 * step, r3);
}

// G = [F3 | F2] of the edge in bytes 0..8 of e.
inline __m128i filtered_edge(__m128i e) {
    const __m128i prev = _mm_slli_si128(e, 1), next = _mm_srli_si128(e, 1);
    const __m128i outer = _mm_sub_epi8(_mm_avg_epu8(prev, next),
                                       _mm_and_si128(_mm_xor_si128(prev, next), _mm_set1_epi8(1)));
    return _mm_unpacklo_epi64(_mm_avg_epu8(outer, e), _mm_avg_epu8(e, next));
}

// Indices into G: F3[i] is i, F2[i] is 8 + i; four rows of four.
#define VEK_F3(i) (i)
#define VEK_F2(i) (8 + (i))

// Edge of the modes that use the corner: l3 l2 l1 l0 m t0 t1 t2 t3.
inline __m128i corner_edge(const Vek8u* p, std::ptrdiff_t step, Vek32s availability, bool& fell_back) {
    fell_back = (availability & (kAvailTop | kAvailLeft | kAvailTopLeft)) !=
                (kAvailTop | kAvailLeft | kAvailTopLeft);
    const std::uint64_t corner = (availability & kAvailTopLeft) ? p[-step - 1] : 128;
    const std::uint64_t low = __builtin_bswap32(left4(p, step, availability)) | corner << 32;
    return _mm_or_si128(_mm_cvtsi64_si128(static_cast<long long>(low)),
                        _mm_slli_si128(_mm_cvtsi32_si128(static_cast<int>(top4(p, step, availability))), 5));
}

// Edge of the modes that read above right: t0..t7 and t7 again. A missing
// top-right repeats t3 without a report.
inline __m128i top_edge(const Vek8u* p, std::ptrdiff_t step, Vek32s availability, bool& fell_back) {
    fell_back = !(availability & kAvailTop);
    const std::uint32_t top = top4(p, step, availability);
    const std::uint32_t right = (availability & kAvailTopRight) ? load32(p - step + 4)
                                                                          : (top >> 24) * 0x01010101u;
    const __m128i t = _mm_cvtsi64_si128(static_cast<long long>(top | static_cast<std::uint64_t>(right) << 32));
    return _mm_shuffle_epi8(t, _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 7, 7, 7, 7, 7, 7, 7, 7));
}

template <int M0, int M1, int M2, int M3, int M4, int M5, int M6, int M7, int M8, int M9, int M10, int M11, int M12,
          int M13, int M14, int M15>
inline void store_picked(Vek8u* p, std::ptrdiff_t step, __m128i e) {
    const __m128i pick = _mm_setr_epi8(M0, M1, M2, M3, M4, M5, M6, M7, M8, M9, M10, M11, M12, M13, M14, M15);
    store4x4(p, step, _mm_shuffle_epi8(filtered_edge(e), pick));
}

VekStatus pred4x4_vertical_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    const std::ptrdiff_t step = srcDstStep;
    const std::uint32_t top = top4(p, step, availability);
    store4x4(p, step, top, top, top, top);
    return report(!(availability & kAvailTop));
}

VekStatus pred4x4_horizontal_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    const std::ptrdiff_t step = srcDstStep;
    const std::uint32_t left = left4(p, step, availability);
    store4x4(p, step, (left & 0xFF) * 0x01010101u, (left >> 8 & 0xFF) * 0x01010101u,
             (left >> 16 & 0xFF) * 0x01010101u, (left >> 24) * 0x01010101u);
    return report(!(availability & kAvailLeft));
}

VekStatus pred4x4_dc_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    const std::ptrdiff_t step = srcDstStep;
    const bool top = availability & kAvailTop, left = availability & kAvailLeft;
    // psadbw of the eight neighbours; a missing side is zeroed out of the sum.
    const std::uint64_t both = (top ? load32(p - step) : 0) | static_cast<std::uint64_t>(
                                                                  left ? left4(p, step, availability) : 0) << 32;
    const int sum = _mm_cvtsi128_si32(_mm_sad_epu8(_mm_cvtsi64_si128(static_cast<long long>(both)),
                                                   _mm_setzero_si128()));
    const std::uint32_t dc = top && left ? (sum + 4) >> 3 : (top || left) ? (sum + 2) >> 2 : 128;
    const std::uint32_t row = dc * 0x01010101u;
    store4x4(p, step, row, row, row, row);
    return vekStsOk;
}

VekStatus pred4x4_diag_down_left_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    bool fell_back;
    const __m128i e = top_edge(p, srcDstStep, availability, fell_back);
    store_picked<1, 2, 3, 4, 2, 3, 4, 5, 3, 4, 5, 6, 4, 5, 6, 7>(p, srcDstStep, e);
    return report(fell_back);
}

VekStatus pred4x4_vertical_left_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    bool fell_back;
    const __m128i e = top_edge(p, srcDstStep, availability, fell_back);
    store_picked<VEK_F2(0), VEK_F2(1), VEK_F2(2), VEK_F2(3), VEK_F3(1), VEK_F3(2), VEK_F3(3), VEK_F3(4),  //
                 VEK_F2(1), VEK_F2(2), VEK_F2(3), VEK_F2(4), VEK_F3(2), VEK_F3(3), VEK_F3(4), VEK_F3(5)>(
        p, srcDstStep, e);
    return report(fell_back);
}

// Corner edge: e = l3 l2 l1 l0 m t0 t1 t2 t3, so m is e[4].
VekStatus pred4x4_diag_down_right_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    bool fell_back;
    const __m128i e = corner_edge(p, srcDstStep, availability, fell_back);
    store_picked<4, 5, 6, 7, 3, 4, 5, 6, 2, 3, 4, 5, 1, 2, 3, 4>(p, srcDstStep, e);
    return report(fell_back);
}

VekStatus pred4x4_vertical_right_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    bool fell_back;
    const __m128i e = corner_edge(p, srcDstStep, availability, fell_back);
    store_picked<VEK_F2(4), VEK_F2(5), VEK_F2(6), VEK_F2(7), VEK_F3(4), VEK_F3(5), VEK_F3(6), VEK_F3(7),  //
                 VEK_F3(3), VEK_F2(4), VEK_F2(5), VEK_F2(6), VEK_F3(2), VEK_F3(4), VEK_F3(5), VEK_F3(6)>(
        p, srcDstStep, e);
    return report(fell_back);
}

VekStatus pred4x4_horizontal_down_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    bool fell_back;
    const __m128i e = corner_edge(p, srcDstStep, availability, fell_back);
    store_picked<VEK_F2(3), VEK_F3(4), VEK_F3(5), VEK_F3(6), VEK_F2(2), VEK_F3(3), VEK_F2(3), VEK_F3(4),  //
                 VEK_F2(1), VEK_F3(2), VEK_F2(2), VEK_F3(3), VEK_F2(0), VEK_F3(1), VEK_F2(1), VEK_F3(2)>(
        p, srcDstStep, e);
    return report(fell_back);
}

// Left edge: l0..l3, then l3 repeated, which also gives (l2 + 3 l3 + 2) >> 2
// as F3[3] and l3 itself as F3[4].
VekStatus pred4x4_horizontal_up_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    const std::uint32_t left = left4(p, srcDstStep, availability);
    const __m128i e = _mm_shuffle_epi8(_mm_cvtsi32_si128(static_cast<int>(left)),
                                       _mm_setr_epi8(0, 1, 2, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3));
    store_picked<VEK_F2(0), VEK_F3(1), VEK_F2(1), VEK_F3(2), VEK_F2(1), VEK_F3(2), VEK_F2(2), VEK_F3(3),  //
                 VEK_F2(2), VEK_F3(3), VEK_F3(4), VEK_F3(4), VEK_F3(4), VEK_F3(4), VEK_F3(4), VEK_F3(4)>(
        p, srcDstStep, e);
    return report(!(availability & kAvailLeft));
}

#undef VEK_F2
#undef VEK_F3

// ---- 16x16 ------------------------------------------------------------------

VekStatus pred16x16_vertical_128(Vek8u* p, Vek32s srcDstStep, Vek32s) {
    const std::ptrdiff_t step = srcDstStep;
    fill_rows16<16>(p, step, load16(p - step));
    return vekStsOk;
}

VekStatus pred16x16_horizontal_128(Vek8u* p, Vek32s srcDstStep, Vek32s) {
    for_rows<16>(p, srcDstStep, [](Vek8u* row, int) { store16(row, splat(row - 1)); });
    return vekStsOk;
}

// The eight samples at q, q + step, ..., q + 7 step (one column of eight
// rows) as bytes 0..7: byte inserts straight from memory, every load
// independent of the others. Vector registers keep the kernels that use it
// clear of the callee-saved general registers, whose saving would add stores
// to a path that is bound by its stores.
inline __m128i column8(const Vek8u* q, std::ptrdiff_t step) {
    const Vek8u* r = q + 4 * step;
    __m128i v = _mm_cvtsi32_si128(q[0]);
    v = _mm_insert_epi8(v, q[step], 1);
    v = _mm_insert_epi8(v, q[2 * step], 2);
    v = _mm_insert_epi8(v, q[3 * step], 3);
    v = _mm_insert_epi8(v, r[0], 4);
    v = _mm_insert_epi8(v, r[step], 5);
    v = _mm_insert_epi8(v, r[2 * step], 6);
    return _mm_insert_epi8(v, r[3 * step], 7);
}

// Sum of the 16 bytes in both quadwords.
inline __m128i sum_bytes(__m128i v) {
    const __m128i s = _mm_sad_epu8(v, _mm_setzero_si128());
    return _mm_add_epi64(s, _mm_unpackhi_epi64(s, s));
}

// A 16x16 block writes sixteen rows: those stores, not the sums, set the pace,
// so everything ahead of them stays in vector registers.
VekStatus pred16x16_dc_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    const std::ptrdiff_t step = srcDstStep;
    const bool top = availability & kAvailTop, left = availability & kAvailLeft;
    __m128i dc = _mm_set1_epi8(static_cast<char>(128));
    if (top || left) {
        const __m128i t = top ? load16(p - step) : _mm_setzero_si128();
        const __m128i l = left ? _mm_unpacklo_epi64(column8(p - 1, step), column8(p - 1 + 8 * step, step))
                               : _mm_setzero_si128();
        // (sum + 16) >> 5 of both sides, (sum + 8) >> 4 of one.
        const int both = top && left;
        const __m128i sum = _mm_add_epi64(sum_bytes(t), sum_bytes(l));
        dc = _mm_srl_epi64(_mm_add_epi64(sum, _mm_cvtsi32_si128(8 << both)), _mm_cvtsi32_si128(4 + both));
        dc = _mm_shuffle_epi8(dc, _mm_setzero_si128());
    }
    fill_rows16<16>(p, step, dc);
    return vekStsOk;
}

// Plane parameters of an N x N block. Both gradients weigh sample i of their
// side (i = 0..N-1) by i - (N/2 - 1) and the corner by -N/2.
//
// H and b stay in vector registers (corner and row above in pmaddubsw, the
// last sample in a second one): a round trip through general registers sat on
// the longest dependency chain of the kernel. V goes down the left column in
// scalar code, in the paired form sum (i + 1)(l[N/2 + i] - l[N/2 - 2 - i]),
// whose small factors are shifts and lea forms.

// b in all eight 16-bit lanes: (5H + 32) >> 6 for 16x16, (17H + 16) >> 5 for
// chroma; |b| <= 1355 fits.
template <int N>
inline __m128i plane_b(const Vek8u* above) {
    __m128i h;
    if constexpr (N == 16) {
        h = _mm_add_epi16(
            _mm_maddubs_epi16(load16(above - 1), _mm_setr_epi8(-8, -7, -6, -5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7)),
            _mm_maddubs_epi16(load16(above), _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8)));
    } else {
        h = _mm_add_epi16(
            _mm_maddubs_epi16(load8(above - 1), _mm_setr_epi8(-4, -3, -2, -1, 0, 1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0)),
            _mm_maddubs_epi16(load8(above), _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0)));
    }
    h = _mm_madd_epi16(h, _mm_set1_epi16(1));
    h = _mm_add_epi32(h, _mm_shuffle_epi32(h, _MM_SHUFFLE(1, 0, 3, 2)));
    h = _mm_add_epi32(h, _mm_shuffle_epi32(h, _MM_SHUFFLE(2, 3, 0, 1)));
    const __m128i b = N == 16 ? _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(h, _mm_slli_epi32(h, 2)), _mm_set1_epi32(32)), 6)
                              : _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(h, _mm_slli_epi32(h, 4)), _mm_set1_epi32(16)), 5);
    return _mm_packs_epi32(b, b);
}

// c and a of an N x N block, from the left column, the corner and the last
// sample above.
struct PlaneLeft {
    int c, a;
};

template <int N>
inline PlaneLeft plane_left(Vek8u* p, std::ptrdiff_t step) {
    constexpr int kHalf = N / 2;
    const Vek8u* above = p - step;
    int l[N + 1];  // l[0] the corner, l[1 + y] the left of row y
    l[0] = above[-1];
    for_rows<N>(p - 1, step, [&](const Vek8u* left, int y) { l[1 + y] = *left; });
    const auto d = [&](int i) { return l[1 + kHalf + i] - l[kHalf - 1 - i]; };
    const int a = 16 * (l[N] + above[N - 1]);
    if constexpr (N == 16) {
        const int v = ((d(0) + 2 * d(1)) + (3 * d(2) + 4 * d(3))) + ((5 * d(4) + 6 * d(5)) + (7 * d(6) + 8 * d(7)));
        return {(5 * v + 32) >> 6, a};
    } else {
        const int v = (d(0) + 2 * d(1)) + (3 * d(2) + 4 * d(3));
        return {(17 * v + 16) >> 5, a};
    }
}

[[maybe_unused]] VekStatus pred16x16_plane_128(Vek8u* p, Vek32s srcDstStep, Vek32s) {
    const std::ptrdiff_t step = srcDstStep;
    const __m128i b = plane_b<16>(p - step);
    const PlaneLeft k = plane_left<16>(p, step);
    // Row 0 before the shift: a + 16 + b(x - 7) - 7c.
    const __m128i cv = _mm_set1_epi16(static_cast<short>(k.c));
    __m128i lo = _mm_add_epi16(_mm_set1_epi16(static_cast<short>(k.a + 16 - 7 * k.c)),
                               _mm_mullo_epi16(b, _mm_setr_epi16(-7, -6, -5, -4, -3, -2, -1, 0)));
    __m128i hi = _mm_add_epi16(lo, _mm_slli_epi16(b, 3));
    for_rows<16>(p, step, [&](Vek8u* row, int) {
        store16(row, _mm_packus_epi16(_mm_srai_epi16(lo, 5), _mm_srai_epi16(hi, 5)));
        lo = _mm_add_epi16(lo, cv);
        hi = _mm_add_epi16(hi, cv);
    });
    return vekStsOk;
}

// ---- 8x8 chroma -------------------------------------------------------------

VekStatus pred_chroma_vertical_128(Vek8u* p, Vek32s srcDstStep, Vek32s) {
    const std::ptrdiff_t step = srcDstStep;
    fill_rows8<8>(p, step, load8(p - step));
    return vekStsOk;
}

VekStatus pred_chroma_horizontal_128(Vek8u* p, Vek32s srcDstStep, Vek32s) {
    for_rows<8>(p, srcDstStep, [](Vek8u* row, int) { store8(row, splat(row - 1)); });
    return vekStsOk;
}

// Quadrant DCs: the row above's halves come out of one psadbw after moving
// t4..t7 into the upper quadword.
VekStatus pred_chroma_dc_128(Vek8u* p, Vek32s srcDstStep, Vek32s availability) {
    const std::ptrdiff_t step = srcDstStep;
    const bool top = availability & kAvailTop, left = availability & kAvailLeft;
    int t0 = 0, t1 = 0, l0 = 0, l1 = 0;
    if (top) {
        const __m128i halves = _mm_unpacklo_epi32(load8(p - step), _mm_setzero_si128());
        const __m128i s = _mm_sad_epu8(halves, _mm_setzero_si128());
        t0 = _mm_cvtsi128_si32(s);
        t1 = _mm_extract_epi32(s, 2);
    }
    if (left) {
        l0 = sum_left<4>(p, step);
        l1 = sum_left<4>(p + 4 * step, step);
    }
    std::uint32_t q00 = 128, q01 = 128, q10 = 128, q11 = 128;
    if (top && left) {
        q00 = (t0 + l0 + 4) >> 3, q01 = (t1 + 2) >> 2, q10 = (l1 + 2) >> 2, q11 = (t1 + l1 + 4) >> 3;
    } else if (top) {
        q00 = q10 = (t0 + 2) >> 2, q01 = q11 = (t1 + 2) >> 2;
    } else if (left) {
        q00 = q01 = (l0 + 2) >> 2, q10 = q11 = (l1 + 2) >> 2;
    }
    constexpr std::uint64_t kBytes4 = 0x01010101u;
    const std::uint64_t upper = q00 * kBytes4 | (q01 * kBytes4) << 32;
    const std::uint64_t lower = q10 * kBytes4 | (q11 * kBytes4) << 32;
    for_rows<8>(p, step, [=](Vek8u* row, int y) { store8(row, y < 4 ? upper : lower); });
    return vekStsOk;
}

VekStatus pred_chroma_plane_128(Vek8u* p, Vek32s srcDstStep, Vek32s) {
    const std::ptrdiff_t step = srcDstStep;
    const __m128i b = plane_b<8>(p - step);
    const PlaneLeft k = plane_left<8>(p, step);
    const __m128i cv = _mm_set1_epi16(static_cast<short>(k.c));
    // Row 0 before the shift: a + 16 + b(x - 3) - 3c; two rows a store pair.
    __m128i r0 = _mm_add_epi16(_mm_set1_epi16(static_cast<short>(k.a + 16 - 3 * k.c)),
                               _mm_mullo_epi16(b, _mm_setr_epi16(-3, -2, -1, 0, 1, 2, 3, 4)));
    __m128i two = _mm_setzero_si128();
    for_rows<8>(p, step, [&](Vek8u* row, int y) {
        if (y & 1) {
            two = _mm_packus_epi16(_mm_srai_epi16(two, 5), _mm_srai_epi16(r0, 5));
            store8(row - step, two);
            store8_high(row, two);
        } else {
            two = r0;
        }
        r0 = _mm_add_epi16(r0, cv);
    });
    return vekStsOk;
}

}  // namespace
