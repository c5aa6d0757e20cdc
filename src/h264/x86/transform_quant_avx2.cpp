// AVX2 encoder kernels. The 4x4 block sits in one 256-bit register through
// its row pass and the quantiser. The 8x8 transform of 8-bit residuals keeps
// two vectors of 16-bit values per register; wider values take 32-bit lanes,
// one row of the block per register, exact for every 16-bit input.
#include "h264/transform_quant.h"
#include "h264/x86/transform_quant_128.h"

namespace vek::h264 {

namespace {

inline __m256i load256(const Vek16s* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
inline __m256i const256(const void* p) { return _mm256_load_si256(static_cast<const __m256i*>(p)); }

// sign(c) * ((|c| * f + round) >> shift) on 16 lanes without the outer
// sign, cut to 16 bits. |c| * f is c * f with c's sign: madd against the
// factors of the even places (odd ones masked out) forms the products of the
// even lanes in 32 bits, exact for every pair of 16-bit values, and likewise
// the odd lanes; each 32-bit lane carries the sign of its odd value, and of
// its even value after a shift by 16. The even results keep their low
// halves, the odd ones move into the high halves, so the levels stay in order.
inline __m256i quant16_256_magnitude(__m256i c, __m256i f, __m256i round, __m128i shift) {
    const __m256i low = const256(simd_consts()->even_mask);
    const __m256i even = _mm256_sign_epi32(_mm256_madd_epi16(c, _mm256_and_si256(f, low)), _mm256_slli_epi32(c, 16));
    const __m256i odd = _mm256_sign_epi32(_mm256_madd_epi16(c, _mm256_andnot_si256(low, f)), c);
    const __m256i q_even = _mm256_sra_epi32(_mm256_add_epi32(even, round), shift);
    const __m256i q_odd = _mm256_sra_epi32(_mm256_add_epi32(odd, round), shift);
    return _mm256_blend_epi16(q_even, _mm256_slli_epi32(q_odd, 16), 0xAA);
}

inline __m256i quant16_256(__m256i c, __m256i f, __m256i round, __m128i shift) {
    return _mm256_sign_epi16(quant16_256_magnitude(c, f, round, shift), c);
}

// Bits set in a 32-bit mask.
inline int count32(unsigned m) {
    m = m - ((m >> 1) & 0x55555555u);
    m = (m & 0x33333333u) + ((m >> 2) & 0x33333333u);
    m = (m + (m >> 4)) & 0x0F0F0F0Fu;
    return static_cast<int>((m * 0x01010101u) >> 24);
}

inline Vek32s max_lane_256(__m256i v) {
    return max_lane_128(_mm_max_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}

// ---- 4x4 transform and quantisation ------------------------------------------
//
// The columns come first, on the block loaded as (rows 0-1 | rows 0-1) and
// (rows 3-2 | rows 3-2), which leaves each half with the sums and differences
// of its outputs: no lane crossing after the loads. The rows and the
// quantiser then work on the whole block in one 256-bit register.
struct alignas(32) Fwd4x4Consts {
    Vek16s col_lo[16];     // (1 2 | 1 1) by row of a half: the factors of (s0 d0 | s0 d0)
    Vek16s col_hi[16];     // (1 1 | -1 -2): those of (s1 d1 | s1 d1)
    Vek8s rev_rows[32];    // bytes reversing each row's four lanes
    Vek16s row_even[16];   // (1 1 -1 1) by lane
    Vek16s row_odd[16];    // (2 1 2 -1) by lane
    Vek16s max_place[16];  // 32767
    Vek16s low_place[8];   // 32767 where minpos leaves the minimum, 0 where it leaves the index
};
constexpr Fwd4x4Consts kFwd4x4 = [] {
    Fwd4x4Consts c{};
    constexpr int kEven[4] = {1, 1, -1, 1}, kOdd[4] = {2, 1, 2, -1};
    constexpr int kColLo[4] = {1, 2, 1, 1}, kColHi[4] = {1, 1, -1, -2};
    for (int k = 0; k < 16; ++k) {
        const int row = k / 4, lane = k % 4, from = (4 * row + 3 - lane) % 8;  // within the 128-bit half
        c.col_lo[k] = static_cast<Vek16s>(kColLo[row]), c.col_hi[k] = static_cast<Vek16s>(kColHi[row]);
        c.rev_rows[2 * k] = static_cast<Vek8s>(2 * from), c.rev_rows[2 * k + 1] = static_cast<Vek8s>(2 * from + 1);
        c.row_even[k] = static_cast<Vek16s>(kEven[lane]), c.row_odd[k] = static_cast<Vek16s>(kOdd[lane]);
        c.max_place[k] = 0x7FFF;
    }
    c.low_place[0] = 0x7FFF;
    return c;
}();
// Through a pointer the compiler can't see through, so that the constants
// are read as operands instead of rebuilt from immediates.
inline const Fwd4x4Consts* fwd4x4_consts() {
    const Fwd4x4Consts* c = &kFwd4x4;
    asm("" : "+r"(c));
    return c;
}

// Forward core and quantiser of the 4x4 block; the built-in form reads its
// quantiser operands prepared, the scaled one forms them from q->plain.
//
// The rows come last, each in two 32-bit madd sums: with u = x + rev(x) =
// (s0 s1 s1 s0) and v = x - rev(x) = (d0 d1 -d1 -d0), (s0 + s1, s0 - s1) are
// u's pairs against (1 1) and (-1 1), (2 d0 + d1, d0 - 2 d1) v's pairs
// against (2 1) and (2 -1). The core is linear, so the low halves of these
// sums are the results cut to 16 bits; shifted into the high halves, they
// are what the quantiser's madd multiplies by the factors there.
//
// sign(c) * ((|c| * f + round) >> shift) is (c * f + round) >> shift for
// c >= 0, and (c * f + 2^shift - 1 - round) >> shift for c < 0 (the floor of
// the negated value is the negated ceiling): the sign picks the rounding
// term, and the products need no absolute value.
template <bool kBuiltIn>
VekStatus fwd_quant4x4_avx2(const Vek16s* src, Vek16s* dst, const Quant4x4Args* args, Vek32s* num,
                            const Vek16s* scan, Vek32s* last) {
    const Fwd4x4Consts* k = fwd4x4_consts();
    __m256i f02, f13;
    __m256 up, down;
    __m128i count_lo, count_hi;
    if constexpr (kBuiltIn) {
        f02 = const256(args->lanes->factors[0]), f13 = const256(args->lanes->factors[1]);
        up = _mm256_broadcast_ss(reinterpret_cast<const float*>(&args->up));
        down = _mm256_broadcast_ss(reinterpret_cast<const float*>(&args->down));
        count_lo = _mm_load_si128(reinterpret_cast<const __m128i*>(args->shift_lo));
        count_hi = _mm_load_si128(reinterpret_cast<const __m128i*>(args->shift_hi));
    } else {
        const __m256i f = load256(args->plain.factors);
        f02 = _mm256_slli_epi32(f, 16), f13 = _mm256_andnot_si256(const256(simd_consts()->even_mask), f);
        const Vek32u shift = static_cast<Vek32u>(args->plain.shift), round = static_cast<Vek32u>(args->plain.round);
        up = _mm256_castsi256_ps(_mm256_set1_epi32(static_cast<Vek32s>(round)));
        down = _mm256_castsi256_ps(_mm256_set1_epi32(static_cast<Vek32s>((1u << shift) - 1u - round)));
        count_lo = count_hi = _mm_cvtsi32_si128(static_cast<int>(shift));
    }
    // 32767 - place, saturated: a negative place counts as 0, where the
    // reference's search starts, and the largest place is the smallest lane.
    const __m256i zero = _mm256_setzero_si256();
    const __m256i places = _mm256_subs_epi16(const256(k->max_place), load256(scan));
    // Columns: a = (r0 r1 | r0 r1), b = (r3 r2 | r3 r2) give s = (s0 s1 | s0 s1)
    // and d = (d0 d1 | d0 d1); the outputs are (s0 + s1, 2 d0 + d1 | s0 - s1, d0 - 2 d1).
    const __m256i a = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src)));
    const __m256i b = _mm256_permute4x64_epi64(load256(src), 0xBB);
    const __m256i s = _mm256_add_epi16(a, b), d = _mm256_sub_epi16(a, b);
    const __m256i x = _mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpacklo_epi64(s, d), const256(k->col_lo)),
                                       _mm256_mullo_epi16(_mm256_unpackhi_epi64(s, d), const256(k->col_hi)));
    const __m256i r = _mm256_shuffle_epi8(x, const256(k->rev_rows));
    const __m256i u = _mm256_add_epi16(x, r), v = _mm256_sub_epi16(x, r);
    // c of columns 0 and 2, and of 1 and 3, in the high halves of 32-bit lanes.
    const __m256i c02 = _mm256_slli_epi32(_mm256_madd_epi16(u, const256(k->row_even)), 16);
    const __m256i c13 = _mm256_slli_epi32(_mm256_madd_epi16(v, const256(k->row_odd)), 16);
    const __m256i r02 = _mm256_castps_si256(_mm256_blendv_ps(up, down, _mm256_castsi256_ps(c02)));
    const __m256i r13 = _mm256_castps_si256(_mm256_blendv_ps(up, down, _mm256_castsi256_ps(c13)));
    const __m256i q02 = _mm256_sra_epi32(_mm256_add_epi32(_mm256_madd_epi16(c02, f02), r02), count_lo);
    __m256i q13 = _mm256_sra_epi32(_mm256_add_epi32(_mm256_madd_epi16(c13, f13), r13), count_hi);
    // Levels cut to 16 bits, in order: columns 1 and 3 in the high halves,
    // where the built-in form's shift 16 short already leaves them.
    if constexpr (!kBuiltIn) q13 = _mm256_slli_epi32(q13, 16);
    const __m256i levels = _mm256_blend_epi16(q02, q13, 0xAA);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), levels);
    // A zero level's lane all ones, above every place; with none non-zero,
    // the smallest lane is all ones, which the final mask turns into 0.
    const __m256i zero_level = _mm256_cmpeq_epi16(levels, zero);
    const __m256i best = _mm256_or_si256(zero_level, places);
    const __m128i top = _mm_min_epu16(_mm256_castsi256_si128(best), _mm256_extracti128_si256(best, 1));
    // 32767 - min in the first 32-bit lane, stored straight from the register.
    const __m128i place = _mm_andnot_si128(_mm_minpos_epu16(top), const128(k->low_place));
    _mm_storeu_si32(last, place);
    // Two mask bits per zero level.
    const unsigned zeros = static_cast<unsigned>(_mm256_movemask_epi8(zero_level));
    const Vek32s n = 16 - (__builtin_popcount(zeros) >> 1);
    // A negative count tells the caller that the DC level is present.
    *num = (zeros & 1) ? n : -n;
    return vekStsOk;
}

Vek32s quant8x8_avx2(const Vek16s* src, Vek16s* dst, const QuantArgs* args, const Vek16s* scan, Vek32s* last) {
    const Vek16s* factors = args->factors;
    const __m256i r = _mm256_set1_epi32(args->round);
    const __m128i s = _mm_cvtsi32_si128(args->shift);
    __m256i best = _mm256_setzero_si256();
    unsigned zeros = 0;
    for (int i = 0; i < 64; i += 16) {
        const __m256i q = quant16_256(load256(src + i), load256(factors + i), r, s);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), q);
        const __m256i z = _mm256_cmpeq_epi16(q, _mm256_setzero_si256());
        zeros += count32(static_cast<unsigned>(_mm256_movemask_epi8(z)));
        best = _mm256_max_epi16(best, _mm256_andnot_si256(z, load256(scan + i)));
    }
    *last = max_lane_256(best);
    return 64 - static_cast<Vek32s>(zeros / 2);
}

// ---- 8x8 transform in 32-bit lanes ----------------------------------------------

struct Lanes32x8 {
    using Reg = __m256i;
    static Reg add(Reg a, Reg b) { return _mm256_add_epi32(a, b); }
    static Reg sub(Reg a, Reg b) { return _mm256_sub_epi32(a, b); }
    static Reg sra1(Reg a) { return _mm256_srai_epi32(a, 1); }
    static Reg sra2(Reg a) { return _mm256_srai_epi32(a, 2); }
};

void transpose8x8_256(__m256i (&r)[8]) {
    __m256i t[8], u[8];
    for (int k = 0; k < 8; k += 2) {
        t[k] = _mm256_unpacklo_epi32(r[k], r[k + 1]);
        t[k + 1] = _mm256_unpackhi_epi32(r[k], r[k + 1]);
    }
    for (int k = 0; k < 8; k += 4) {
        u[k] = _mm256_unpacklo_epi64(t[k], t[k + 2]);
        u[k + 1] = _mm256_unpackhi_epi64(t[k], t[k + 2]);
        u[k + 2] = _mm256_unpacklo_epi64(t[k + 1], t[k + 3]);
        u[k + 3] = _mm256_unpackhi_epi64(t[k + 1], t[k + 3]);
    }
    // u[k] holds columns k and k + 4 of rows 0-3 (k < 4) or 4-7 (k >= 4).
    for (int k = 0; k < 4; ++k) {
        r[k] = _mm256_permute2x128_si256(u[k], u[k + 4], 0x20);
        r[k + 4] = _mm256_permute2x128_si256(u[k], u[k + 4], 0x31);
    }
}

void fwd8x8_32bit(const Vek16s* src, __m256i (&r)[8]) {
    for (int k = 0; k < 8; ++k)
        r[k] = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 8 * k)));
    transpose8x8_256(r);
    fwd8_pass<Lanes32x8>(r);
    transpose8x8_256(r);
    fwd8_pass<Lanes32x8>(r);
}

// ---- 8x8 transform of 8-bit residuals in 16-bit lanes ----------------------------
//
// The block stays in four registers of two rows each, lane 0 holding rows 0,
// 7, 3 and 4 and lane 1 rows 1, 6, 2 and 5: the partners of the column pass's
// butterfly. A transpose within the lanes turns each lane's four rows into
// eight columns of four values, two a register in the halves of the lane, for
// the row pass; another one turns its results back into whole rows, in the
// registers they were loaded in, for the column pass. Nothing crosses lanes
// but the column pass itself, where a row of one lane meets one of the other.
//
// Both passes take their inputs as the pairs (x0 | x1), (x7 | x6), (x3 | x2),
// (x4 | x5), whose two parts are the halves of each lane in the row pass and
// the two lanes in the column pass. An output is formed in one part of its
// register only, the other part holding a value of no use: a register of two
// outputs would cost a blend or sign flips on the longest path. The
// transposes and the stores read each output from its part.

inline __m256i swap_halves(__m256i v) { return _mm256_shuffle_epi32(v, 0x4E); }
// The butterfly; y[k] holds output k in the first part for k = 0, 1, 6, 7 and
// in the second for k = 2..5.
inline void fwd8_pass_rows(const __m256i (&x)[4], __m256i (&y)[8]) {
    const auto add = [](__m256i a, __m256i b) { return _mm256_add_epi16(a, b); };
    const auto sub = [](__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); };
    const __m256i s1 = add(x[0], x[1]), d1 = sub(x[0], x[1]);  // (s07 | s16), (d07 | d16)
    const __m256i s2 = add(x[2], x[3]), d2 = sub(x[2], x[3]);  // (s34 | s25), (d34 | d25)
    const __m256i a01 = add(s1, s2), a23 = sub(s1, s2);         // (a0 | a1), (a2 | a3)
    const __m256i h1 = add(d1, _mm256_srai_epi16(d1, 1)), h2 = add(d2, _mm256_srai_epi16(d2, 1));
    const __m256i c01 = swap_halves(a01), c23 = swap_halves(a23);
    const __m256i cs = swap_halves(add(d1, d2)), cd = swap_halves(sub(d1, d2));  // (d16 + d25 | ..), (d16 - d25 | ..)
    const __m256i half23 = _mm256_srai_epi16(a23, 1);
    y[0] = add(a01, c01);     // a0 + a1 in both parts
    y[4] = sub(c01, a01);     // a0 - a1
    y[2] = add(c23, half23);  // a2 + a3 / 2
    y[6] = sub(half23, c23);  // a2 / 2 - a3
    // a4 and a7 in the first part, a6 and a5 in the second.
    const __m256i a4 = add(cs, h1), a6 = sub(cs, h1), a7 = add(cd, h2), a5 = sub(cd, h2);
    y[1] = add(a4, _mm256_srai_epi16(a7, 2));
    y[7] = sub(_mm256_srai_epi16(a4, 2), a7);
    y[5] = sub(a6, _mm256_srai_epi16(a5, 2));
    y[3] = add(a5, _mm256_srai_epi16(a6, 2));
}

// The column pass, on pairs of rows (x0 | x1), (x7 | x6), (x3 | x2), (x4 | x5):
// every output is formed in the low lane, so that it is stored as it is. The
// high lanes come down for four values only (a1, a3, d16 and d25); d16 + d25
// and d16 - d25 are then one add away, not two more lane moves.
template <class Store>
inline void fwd8_pass_low(const __m256i (&x)[4], Store store) {
    const auto add = [](__m256i a, __m256i b) { return _mm256_add_epi16(a, b); };
    const auto sub = [](__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); };
    const auto down = [](__m256i v) { return _mm256_castsi128_si256(_mm256_extracti128_si256(v, 1)); };
    const auto half = [](__m256i v) { return _mm256_srai_epi16(v, 1); };
    const __m256i s1 = add(x[0], x[1]), d1 = sub(x[0], x[1]);  // (s07 | s16), (d07 | d16)
    const __m256i s2 = add(x[2], x[3]), d2 = sub(x[2], x[3]);  // (s34 | s25), (d34 | d25)
    const __m256i a01 = add(s1, s2), a23 = sub(s1, s2);         // (a0 | a1), (a2 | a3)
    const __m256i a1 = down(a01), a3 = down(a23), d16 = down(d1), d25 = down(d2);
    store(0, add(a01, a1));
    store(4, sub(a01, a1));
    store(2, add(a23, half(a3)));
    store(6, sub(half(a23), a3));
    const __m256i a4 = add(add(d16, d25), add(d1, half(d1)));    // d16 + d25 + 1.5 d07
    const __m256i a7 = add(sub(d16, d25), add(d2, half(d2)));    // d16 - d25 + 1.5 d34
    const __m256i a6 = sub(add(d1, d2), add(d16, half(d16)));    // d07 + d34 - 1.5 d16
    const __m256i a5 = sub(sub(d1, d2), add(d25, half(d25)));    // d07 - d34 - 1.5 d25
    store(1, add(a4, _mm256_srai_epi16(a7, 2)));
    store(7, sub(_mm256_srai_epi16(a4, 2), a7));
    store(5, sub(a6, _mm256_srai_epi16(a5, 2)));
    store(3, add(a5, _mm256_srai_epi16(a6, 2)));
}

// Blocks with wider values, out of the way of the usual path.
[[gnu::noinline, gnu::cold]] void fwd8x8_wide(const Vek16s* src, Vek16s* dst16, Vek32s* dst32) {
    __m256i w[8];
    fwd8x8_32bit(src, w);
    if (dst32) {
        for (int k = 0; k < 8; ++k) _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst32 + 8 * k), w[k]);
        return;
    }
    // Each value cut to its low 16 bits; the in-lane pack leaves the rows'
    // quarters in the order 0 2 1 3.
    const __m256i low = _mm256_set1_epi32(0xFFFF);
    for (int k = 0; k < 8; k += 2) {
        const __m256i p = _mm256_packus_epi32(_mm256_and_si256(w[k], low), _mm256_and_si256(w[k + 1], low));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst16 + 8 * k), _mm256_permute4x64_epi64(p, 0xD8));
    }
}

template <class Out>
[[gnu::always_inline]] inline void fwd8x8_rows(const Vek16s* src, Out* dst) {
    Vek16s* dst16 = nullptr;
    Vek32s* dst32 = nullptr;
    if constexpr (sizeof(Out) == 2) dst16 = dst;
    else dst32 = dst;
    const auto row = [src](int r) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 8 * r)); };
    const auto rows = [&](int lo, int hi) { return _mm256_inserti128_si256(_mm256_castsi128_si256(row(lo)), row(hi), 1); };
    const __m256i r01 = load256(src), r76 = rows(7, 6), r32 = rows(3, 2), r45 = load256(src + 32);
    // Every value within -256..255: (x + 256) has no bit above the ninth.
    const SimdConsts* c = simd_consts();
    const __m256i bias = const256(c->bias);
    const __m256i any = _mm256_or_si256(_mm256_or_si256(_mm256_add_epi16(r01, bias), _mm256_add_epi16(r76, bias)),
                                        _mm256_or_si256(_mm256_add_epi16(r32, bias), _mm256_add_epi16(r45, bias)));
    if (!_mm256_testz_si256(any, const256(c->high_bits)))
        return fwd8x8_wide(src, dst16, dst32);
    // Columns 0-3 and 4-7 of the four rows of each lane, then pairs of columns.
    const __m256i t0 = _mm256_unpacklo_epi16(r01, r76), t1 = _mm256_unpackhi_epi16(r01, r76);
    const __m256i t2 = _mm256_unpacklo_epi16(r32, r45), t3 = _mm256_unpackhi_epi16(r32, r45);
    const __m256i cols[4] = {_mm256_unpacklo_epi32(t0, t2), swap_halves(_mm256_unpackhi_epi32(t1, t3)),
                             swap_halves(_mm256_unpackhi_epi32(t0, t2)), _mm256_unpacklo_epi32(t1, t3)};
    __m256i y[8];
    fwd8_pass_rows(cols, y);
    // Back to rows: each lane's four rows as (y0 y1 y2 y3 | y4 y5 y6 y7), each
    // output taken from the half that holds it.
    const __m256i u01 = _mm256_unpacklo_epi16(y[0], y[1]), u23 = _mm256_unpackhi_epi16(y[2], y[3]);
    const __m256i u45 = _mm256_unpackhi_epi16(y[4], y[5]), u67 = _mm256_unpacklo_epi16(y[6], y[7]);
    const __m256i v0 = _mm256_unpacklo_epi32(u01, u23), v1 = _mm256_unpackhi_epi32(u01, u23);
    const __m256i v2 = _mm256_unpacklo_epi32(u45, u67), v3 = _mm256_unpackhi_epi32(u45, u67);
    const __m256i mid[4] = {_mm256_unpacklo_epi64(v0, v2), _mm256_unpackhi_epi64(v0, v2),
                            _mm256_unpacklo_epi64(v1, v3), _mm256_unpackhi_epi64(v1, v3)};
    fwd8_pass_low(mid, [&](int k, __m256i y) {
        const __m128i v = _mm256_castsi256_si128(y);
        if constexpr (sizeof(Out) == 4)
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst32 + 8 * k), _mm256_cvtepi16_epi32(v));
        else
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst16 + 8 * k), v);
    });
}

VekStatus fwd8x8_avx2(const Vek16s* src, Vek16s* dst) {
    fwd8x8_rows(src, dst);
    return vekStsOk;
}
VekStatus fwd8x8_32_avx2(const Vek16s* src, Vek32s* dst) {
    fwd8x8_rows(src, dst);
    return vekStsOk;
}

}  // namespace

void init_encode_transform_table_avx2(EncodeTransformTable& t) {
    t.fwd_quant4x4 = fwd_quant4x4_avx2<true>;
    t.fwd_quant4x4_scaled = fwd_quant4x4_avx2<false>;
    t.cavlc16 = cavlc16_128;
    t.quant8x8 = quant8x8_avx2;
    t.fwd8x8 = fwd8x8_avx2;
    t.fwd8x8_32 = fwd8x8_32_avx2;
}

}  // namespace vek::h264
