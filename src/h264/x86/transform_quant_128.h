// The 128-bit encoder transform kernels, shared by the SSE4.1 file and the
// AVX2 file, which compiles them VEX-encoded. Everything is in an anonymous
// namespace, so each instruction set keeps its own copy.
//
// The 4x4 core has no shifts: it is linear, so 16-bit wrapping lanes give
// exactly the 32-bit results cut to 16 bits, and the order of the passes
// doesn't matter. The 8x8 transform shifts its intermediates, so 16-bit lanes
// are exact only while nothing overflows: they are used for inputs within
// -256..255 (every 8-bit residual), where no intermediate passes 2^15.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "h264/transform_quant.h"

namespace {

using vek::h264::QuantArgs;

// Constants read from memory as operands: built from immediates instead, each
// costs the compiler two or three more instructions per call.
struct alignas(32) SimdConsts {
    Vek16s bias[16];       // 256
    Vek16s high_bits[16];  // 0xFE00
    Vek16s plus_minus[16];  // +1 in the first and third quarters, -1 in the others
    Vek16s minus_plus[16];
    Vek16s even_mask[16];  // 0xFFFF in the even lanes, 0 in the odd ones
};
constexpr SimdConsts kConsts = [] {
    SimdConsts c{};
    for (int k = 0; k < 16; ++k) {
        c.bias[k] = 256, c.high_bits[k] = static_cast<Vek16s>(0xFE00);
        c.plus_minus[k] = static_cast<Vek16s>(k % 8 < 4 ? 1 : -1);
        c.minus_plus[k] = static_cast<Vek16s>(-c.plus_minus[k]);
        c.even_mask[k] = static_cast<Vek16s>(k % 2 ? 0 : -1);
    }
    return c;
}();
inline __m128i const128(const void* p) { return _mm_load_si128(static_cast<const __m128i*>(p)); }
// The constants through a pointer the compiler can't see through, so that it
// reads them as operands instead of rebuilding the splats from immediates.
inline const SimdConsts* simd_consts() {
    const SimdConsts* c = &kConsts;
    asm("" : "+r"(c));
    return c;
}

// ---- 4x4 core ---------------------------------------------------------------

// One pass of the forward core down the columns of (r0 | r1), (r2 | r3).
inline void fwd4_pass(__m128i& a, __m128i& b) {
    const __m128i rev = _mm_shuffle_epi32(b, _MM_SHUFFLE(1, 0, 3, 2));  // (r3 | r2)
    const __m128i s = _mm_add_epi16(a, rev), d = _mm_sub_epi16(a, rev);  // (s0 | s1), (d0 | d1)
    const __m128i d2 = _mm_add_epi16(d, d);                               // (2 d0 | 2 d1)
    a = _mm_add_epi16(_mm_unpacklo_epi64(s, d2), _mm_unpackhi_epi64(s, d));  // (s0 + s1 | 2 d0 + d1)
    b = _mm_sub_epi16(_mm_unpacklo_epi64(s, d), _mm_unpackhi_epi64(s, d2));  // (s0 - s1 | d0 - 2 d1)
}

// (r0 | r1), (r2 | r3) -> (c0 | c1), (c2 | c3).
inline void transpose4(__m128i& a, __m128i& b) {
    const __m128i t0 = _mm_unpacklo_epi16(a, b), t1 = _mm_unpackhi_epi16(a, b);
    a = _mm_unpacklo_epi16(t0, t1);
    b = _mm_unpackhi_epi16(t0, t1);
}

// The forward core of a packed block, rows 0-1 in a and 2-3 in b.
inline void fwd4x4_128(const Vek16s* src, __m128i& a, __m128i& b) {
    a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
    b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 8));
    fwd4_pass(a, b);
    transpose4(a, b);
    fwd4_pass(a, b);
    transpose4(a, b);
}

// ---- Quantisation -------------------------------------------------------------

// sign(c) * ((|c| * f + round) >> shift), cut to 16 bits. |c| of -32768 is
// 32768, whose top bit the signed high product reads as a sign: adding f
// there gives the high half of the unsigned product. Masking each 32-bit
// result to its low half (a blend with zero) before the unsigned pack cuts
// instead of saturating.
inline __m128i quant8_128(__m128i c, __m128i f, __m128i round, __m128i shift) {
    const __m128i a = _mm_abs_epi16(c);
    const __m128i lo = _mm_mullo_epi16(a, f);
    const __m128i hi = _mm_add_epi16(_mm_mulhi_epi16(a, f), _mm_and_si128(f, _mm_srai_epi16(a, 15)));
    const __m128i p0 = _mm_sra_epi32(_mm_add_epi32(_mm_unpacklo_epi16(lo, hi), round), shift);
    const __m128i p1 = _mm_sra_epi32(_mm_add_epi32(_mm_unpackhi_epi16(lo, hi), round), shift);
    const __m128i zero = _mm_setzero_si128();
    return _mm_sign_epi16(_mm_packus_epi32(_mm_blend_epi16(p0, zero, 0xAA), _mm_blend_epi16(p1, zero, 0xAA)), c);
}

// Largest lane of v, whose lanes are all 0..32767: minpos finds the smallest
// of ~v, which orders the lanes the other way round; the all-ones operand
// needs no constant from memory.
inline Vek32s max_lane_128(__m128i v) {
    const __m128i ones = _mm_cmpeq_epi16(v, v);
    return ~_mm_cvtsi128_si32(_mm_minpos_epu16(_mm_xor_si128(v, ones))) & 0xFFFF;
}

// Bits set in a 16-bit mask: the popcount instruction where the AVX2 build
// has it, arithmetic on the SSE4.1 level, whose CPUs may lack it.
inline int count16(unsigned m) {
#ifdef __POPCNT__
    return __builtin_popcount(m);
#else
    m = m - ((m >> 1) & 0x5555u);
    m = (m & 0x3333u) + ((m >> 2) & 0x3333u);
    m = (m + (m >> 4)) & 0x0F0Fu;
    return static_cast<int>((m + (m >> 8)) & 0x1Fu);
#endif
}

// Quantises n (a multiple of 16) values; the count of the non-zero levels is
// returned, the largest scan position among them (never below 0) in *last.
inline Vek32s quant_128(const Vek16s* src, Vek16s* dst, int n, const QuantArgs* q, const Vek16s* scan,
                        Vek32s* last) {
    const Vek16s* factors = q->factors;
    const __m128i round = _mm_set1_epi32(q->round), shift = _mm_cvtsi32_si128(q->shift);
    const __m128i zero = _mm_setzero_si128();
    __m128i best = zero;
    Vek32s count = 0;
    for (int i = 0; i < n; i += 16) {
        const auto at = [](const Vek16s* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
        const __m128i q0 = quant8_128(at(src + i), at(factors + i), round, shift);
        const __m128i q1 = quant8_128(at(src + i + 8), at(factors + i + 8), round, shift);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), q0);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 8), q1);
        const __m128i z0 = _mm_cmpeq_epi16(q0, zero), z1 = _mm_cmpeq_epi16(q1, zero);
        count += 16 - count16(static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(z0, z1))));
        best = _mm_max_epi16(best, _mm_max_epi16(_mm_andnot_si128(z0, at(scan + i)), _mm_andnot_si128(z1, at(scan + i + 8))));
    }
    *last = max_lane_128(best);
    return count;
}

// The fused 4x4 kernel: the block never leaves the registers between the
// transform and the quantiser.
inline Vek32s fwd_quant4x4_128(const Vek16s* src, Vek16s* dst, const QuantArgs* q, const Vek16s* scan,
                               Vek32s* last) {
    __m128i a, b;
    fwd4x4_128(src, a, b);
    const Vek16s* factors = q->factors;
    const __m128i round = _mm_set1_epi32(q->round), shift = _mm_cvtsi32_si128(q->shift);
    const auto at = [](const Vek16s* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    const __m128i q0 = quant8_128(a, at(factors), round, shift);
    const __m128i q1 = quant8_128(b, at(factors + 8), round, shift);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), q0);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 8), q1);
    const __m128i zero = _mm_setzero_si128();
    const __m128i z0 = _mm_cmpeq_epi16(q0, zero), z1 = _mm_cmpeq_epi16(q1, zero);
    const unsigned nz = ~static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(z0, z1))) & 0xFFFFu;
    *last = max_lane_128(
        _mm_max_epi16(zero, _mm_max_epi16(_mm_andnot_si128(z0, at(scan)), _mm_andnot_si128(z1, at(scan + 8)))));
    const Vek32s n = count16(nz);
    // A negative count tells the caller that the DC level is present.
    return (nz & 1) ? -n : n;
}

// ---- 8x8 transform in 16-bit lanes ----------------------------------------------

// True when every one of the 64 values lies within -256..255.
inline bool fits_16bit_path(const __m128i (&r)[8]) {
    const __m128i bias = const128(kConsts.bias);
    __m128i any = _mm_setzero_si128();
    for (int k = 0; k < 8; ++k) any = _mm_or_si128(any, _mm_add_epi16(r[k], bias));
    return _mm_testz_si128(any, const128(kConsts.high_bits));
}

inline void transpose8x8_128(__m128i (&r)[8]) {
    const __m128i a0 = _mm_unpacklo_epi16(r[0], r[1]), a1 = _mm_unpackhi_epi16(r[0], r[1]);
    const __m128i a2 = _mm_unpacklo_epi16(r[2], r[3]), a3 = _mm_unpackhi_epi16(r[2], r[3]);
    const __m128i a4 = _mm_unpacklo_epi16(r[4], r[5]), a5 = _mm_unpackhi_epi16(r[4], r[5]);
    const __m128i a6 = _mm_unpacklo_epi16(r[6], r[7]), a7 = _mm_unpackhi_epi16(r[6], r[7]);
    const __m128i b0 = _mm_unpacklo_epi32(a0, a2), b1 = _mm_unpackhi_epi32(a0, a2);
    const __m128i b2 = _mm_unpacklo_epi32(a1, a3), b3 = _mm_unpackhi_epi32(a1, a3);
    const __m128i b4 = _mm_unpacklo_epi32(a4, a6), b5 = _mm_unpackhi_epi32(a4, a6);
    const __m128i b6 = _mm_unpacklo_epi32(a5, a7), b7 = _mm_unpackhi_epi32(a5, a7);
    r[0] = _mm_unpacklo_epi64(b0, b4), r[1] = _mm_unpackhi_epi64(b0, b4);
    r[2] = _mm_unpacklo_epi64(b1, b5), r[3] = _mm_unpackhi_epi64(b1, b5);
    r[4] = _mm_unpacklo_epi64(b2, b6), r[5] = _mm_unpackhi_epi64(b2, b6);
    r[6] = _mm_unpacklo_epi64(b3, b7), r[7] = _mm_unpackhi_epi64(b3, b7);
}

// The 8-point butterfly across eight registers, lane by lane. V supplies the
// lane width: add, sub and arithmetic shifts right by 1 and 2.
template <class V>
inline void fwd8_pass(typename V::Reg (&x)[8]) {
    using R = typename V::Reg;
    const R s07 = V::add(x[0], x[7]), s16 = V::add(x[1], x[6]), s25 = V::add(x[2], x[5]), s34 = V::add(x[3], x[4]);
    const R d07 = V::sub(x[0], x[7]), d16 = V::sub(x[1], x[6]), d25 = V::sub(x[2], x[5]), d34 = V::sub(x[3], x[4]);
    const R a0 = V::add(s07, s34), a1 = V::add(s16, s25), a2 = V::sub(s07, s34), a3 = V::sub(s16, s25);
    const R a4 = V::add(V::add(d16, d25), V::add(d07, V::sra1(d07)));
    const R a5 = V::sub(V::sub(d07, d34), V::add(d25, V::sra1(d25)));
    const R a6 = V::sub(V::add(d07, d34), V::add(d16, V::sra1(d16)));
    const R a7 = V::add(V::sub(d16, d25), V::add(d34, V::sra1(d34)));
    x[0] = V::add(a0, a1);
    x[1] = V::add(a4, V::sra2(a7));
    x[2] = V::add(a2, V::sra1(a3));
    x[3] = V::add(a5, V::sra2(a6));
    x[4] = V::sub(a0, a1);
    x[5] = V::sub(a6, V::sra2(a5));
    x[6] = V::sub(V::sra1(a2), a3);
    x[7] = V::sub(V::sra2(a4), a7);
}

struct Lanes16x8 {
    using Reg = __m128i;
    static Reg add(Reg a, Reg b) { return _mm_add_epi16(a, b); }
    static Reg sub(Reg a, Reg b) { return _mm_sub_epi16(a, b); }
    static Reg sra1(Reg a) { return _mm_srai_epi16(a, 1); }
    static Reg sra2(Reg a) { return _mm_srai_epi16(a, 2); }
};

// Rows, then columns: the block is transposed before each pass, so that the
// row pass works across registers and the result comes back in rows.
inline void fwd8x8_16bit(__m128i (&r)[8]) {
    transpose8x8_128(r);
    fwd8_pass<Lanes16x8>(r);
    transpose8x8_128(r);
    fwd8_pass<Lanes16x8>(r);
}

inline void load8x8(const Vek16s* src, __m128i (&r)[8]) {
    for (int k = 0; k < 8; ++k) r[k] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 8 * k));
}

// ---- CAVLC preparation ---------------------------------------------------------
//
// No branch per coefficient: the non-zero positions come as one mask, from
// which table lookups give the list of those positions, highest first; the
// runs are the differences of neighbours in that list, and the levels are
// gathered from the block by shuffles through the scan.

struct alignas(16) CavlcTables {
    Vek8u pick[256][16];  // [m]: the set bits of m, highest first, then zeros; bytes 8-15: the same plus 8
    Vek8u up[9][16];      // shuffles moving eight bytes up by j places, zeros elsewhere
    Vek8u down[4][16];    // shuffles moving the bytes down by t places
    Vek8u reverse3[8];    // the low three bits in the other order
};
constexpr CavlcTables kCavlc = [] {
    CavlcTables t{};
    for (int m = 0; m < 256; ++m)
        for (int b = 7, i = 0; b >= 0; --b)
            if (m >> b & 1) {
                t.pick[m][i] = static_cast<Vek8u>(b);
                t.pick[m][8 + i++] = static_cast<Vek8u>(b + 8);
            }
    for (int j = 0; j < 9; ++j)
        for (int i = 0; i < 16; ++i) t.up[j][i] = static_cast<Vek8u>(i >= j && i < j + 8 ? i - j : 0x80);
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 16; ++i) t.down[j][i] = static_cast<Vek8u>(i + j < 16 ? i + j : 0x80);
    for (int b = 0; b < 8; ++b) t.reverse3[b] = static_cast<Vek8u>((b & 1) << 2 | (b & 2) | (b >> 2 & 1));
    return t;
}();

inline VekStatus cavlc16_128(const Vek16s* pSrc, Vek32s AC, const Vek32s* pScanMatrix, Vek32s Count,
                             Vek8u* pTrailingOnes, Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs, Vek8u* pTotalZeros,
                             Vek16s* pLevels, Vek8u* pRuns) {
    const auto at = [](const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); };
    const int first = static_cast<Vek8u>(AC), last = static_cast<Vek8u>(Count);
    // The block's place of each scan position, a byte each; places outside
    // 0..15 read some other coefficient, but never outside the block.
    const __m128i scan = _mm_packus_epi16(_mm_packs_epi32(at(pScanMatrix), at(pScanMatrix + 4)),
                                          _mm_packs_epi32(at(pScanMatrix + 8), at(pScanMatrix + 12)));
    const __m128i v0 = at(pSrc), v1 = at(pSrc + 8), zero = _mm_setzero_si128();
    const __m128i is_zero = _mm_packs_epi16(_mm_cmpeq_epi16(v0, zero), _mm_cmpeq_epi16(v1, zero));
    // Bit k: scan position k holds a level and lies within first..last.
    const unsigned nz = ~static_cast<unsigned>(_mm_movemask_epi8(_mm_shuffle_epi8(is_zero, scan))) &
                        ((2u << last) - (1u << first));
    if (!nz) {
        *pTrailingOnes = 0, *pTrailingOneSigns = 0, *pNumOutCoeffs = 0;
        *pTotalZeros = static_cast<Vek8u>(last - first + 1);
        return vekStsOk;
    }
    const int n = count16(nz), top = 31 - __builtin_clz(nz);
    const unsigned high = nz >> 8, low = nz & 0xFFu;
    // The positions of the levels, highest first: those of the upper eight,
    // then those of the lower eight moved up behind them.
    const __m128i pos = _mm_or_si128(
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kCavlc.pick[high] + 8)),
        _mm_shuffle_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(kCavlc.pick[low])), at(kCavlc.up[count16(high)])));
    // The run before each level but the last: the gap to the next position.
    const __m128i runs = _mm_sub_epi8(_mm_sub_epi8(pos, _mm_srli_si128(pos, 1)), _mm_set1_epi8(1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(pRuns), runs);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(pRuns + 7), _mm_srli_si128(runs, 7));
    // The places of the levels in the block, and from them which are 1 or -1
    // and which are negative, a bit each, the highest position in bit 0.
    const __m128i places = _mm_shuffle_epi8(scan, pos);
    const __m128i one = _mm_set1_epi16(1);
    const __m128i is_one = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_abs_epi16(v0), one), _mm_cmpeq_epi16(_mm_abs_epi16(v1), one));
    const unsigned ones = static_cast<unsigned>(_mm_movemask_epi8(_mm_shuffle_epi8(is_one, places))) & ((1u << n) - 1);
    const unsigned negative = static_cast<unsigned>(_mm_movemask_epi8(_mm_shuffle_epi8(_mm_packs_epi16(v0, v1), places)));
    // Trailing ones: the leading run of ones, at most three.
    const int t = __builtin_ctz(~ones | 8u);
    *pTrailingOnes = static_cast<Vek8u>(t);
    *pTrailingOneSigns = static_cast<Vek8u>(kCavlc.reverse3[negative & 7] >> (3 - t));
    *pNumOutCoeffs = static_cast<Vek8u>(n);
    *pTotalZeros = static_cast<Vek8u>(top - first + 1 - n);
    // The other levels: word shuffles of the block's two halves by the places
    // after the trailing ones, (2 p, 2 p + 1) a word, the half by p's bit 3.
    const __m128i rest = _mm_shuffle_epi8(places, at(kCavlc.down[t]));
    const __m128i pair = _mm_set1_epi16(0x0100);
    const auto gather = [&](__m128i p) {
        const __m128i w = _mm_or_si128(_mm_add_epi8(p, p), pair);
        return _mm_blendv_epi8(_mm_shuffle_epi8(v0, w), _mm_shuffle_epi8(v1, w), _mm_slli_epi16(w, 3));
    };
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pLevels), gather(_mm_unpacklo_epi8(rest, rest)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pLevels + 8), gather(_mm_unpackhi_epi8(rest, rest)));
    return vekStsOk;
}

}  // namespace
