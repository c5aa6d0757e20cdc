// AVX2 full route of the AVS inverse transform with add.
//
// Lane 0 carries rows 0, 4, 2, 6 and lane 1 rows 1, 5, 3, 7, each qword one
// element (or one first-pass output) of four rows. The first pass then works
// on two of its terms a register with in-lane shuffles only, and each of its
// outputs comes out as the word pairs (0, 4), (2, 6) | (1, 5), (3, 7) that the
// column butterfly of the second pass multiplies and adds; one lane exchange
// per pair set puts eight columns in a register. The second pass sums exactly
// in 32 bits, as the reference does; its saturation to 16 bits before the
// final shift only ever meets values the clip to 0..255 decides alike.
//
// Saturating word adds take two cycles here and the first pass chains a
// dozen of them, so blocks whose first pass cannot leave 16 bits (nearly all)
// take a linear form of it that is one multiply and two plain adds deep.
#include "avs/transform_inv.h"
#include "avs/x86/inverse_128.h"

namespace vek::avs {
namespace {

using namespace x86;

inline __m256i twice(__m256i a) { return _mm256_adds_epi16(a, a); }

// Output j of the first pass, (((b >> 1) + e) doubled) >> 3 with saturation.
inline __m256i first_out(__m256i b, __m256i e) {
    return _mm256_srai_epi16(twice(_mm256_adds_epi16(_mm256_srai_epi16(b, 1), e)), 3);
}

// Rows r and r + 1 of the result added to the prediction, as 16-bit words
// laid out [r 0..3, r + 1 0..3 | r 4..7, r + 1 4..7].
inline __m256i add_pair(__m256i res_r, __m256i res_r1, const Vek8u* dst, Vek32s step, int r) {
    const __m256i v = _mm256_srai_epi16(_mm256_packs_epi32(res_r, res_r1), 7);
    const __m128i a = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(dst + static_cast<std::ptrdiff_t>(r) * step));
    const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(dst + static_cast<std::ptrdiff_t>(r + 1) * step));
    // -256..255 on 0..255 cannot leave 16 bits: a plain add.
    return _mm256_add_epi16(v, _mm256_cvtepu8_epi16(_mm_unpacklo_epi32(a, b)));
}

// Rows r..r + 3 from two add_pair results: the packed bytes hold the left
// halves of the four rows in lane 0 and the right halves in lane 1, joined
// again by dword unpacks of the two lanes.
inline void store4(__m256i s01, __m256i s23, Vek8u* dst, Vek32s step, int r) {
    const __m256i o = _mm256_packus_epi16(s01, s23);
    const __m128i lo = _mm256_castsi256_si128(o), hi = _mm256_extracti128_si256(o, 1);
    const __m128i r01 = _mm_unpacklo_epi32(lo, hi), r23 = _mm_unpackhi_epi32(lo, hi);
    const auto row = [&](int k) { return dst + static_cast<std::ptrdiff_t>(r + k) * step; };
    _mm_storel_epi64(reinterpret_cast<__m128i*>(row(0)), r01);
    _mm_storeh_pi(reinterpret_cast<__m64*>(row(1)), _mm_castsi128_ps(r01));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(row(2)), r23);
    _mm_storeh_pi(reinterpret_cast<__m64*>(row(3)), _mm_castsi128_ps(r23));
}

// A row of the first pass whose absolute values sum to at most this never
// saturates or wraps in it: every intermediate of the saturating chain is a
// linear form with coefficients of at most 10, plus a constant of at most 3.
constexpr short kL = 3276;

// Constant vectors from memory: the compiler would otherwise build each from a
// general register in three instructions on this short path.
// Row 0 of the first pass sits in words 0 and 4 of lane 0; it has weight 8
// in every output of the second pass, so 8 more on it is that pass's rounding
// 64 (it stays far inside 16 bits). kRound carries it on top of the first
// pass's own rounding 4, as 64 before the shift by 3.
enum ConstVec { kTwo, kEights, kRowZero8, kRound, kLimit };
alignas(32) constexpr short kConsts[5][16] = {{2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2},
                                              {8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8},
                                              {8, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
                                              {68, 4, 4, 4, 68, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4},
                                              {kL, kL, kL, kL, kL, kL, kL, kL, kL, kL, kL, kL, kL, kL, kL, kL}};
inline __m256i splats(ConstVec k) {
    const short(*table)[16] = kConsts;
    __asm__("" : "+r"(table));
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(table[k]));
}

// Qwords of each lane in swapped order.
inline __m256i swap64(__m256i v) { return _mm256_shuffle_epi32(v, 0x4E); }
// The low qword of each lane from lo, the high one from hi.
inline __m256i take_hi(__m256i lo, __m256i hi) { return _mm256_blend_epi32(lo, hi, 0xCC); }
// Dwords of a and b picked by Imm within each lane (shufps).
template <int Imm>
inline __m256i pick(__m256i a, __m256i b) {
    return _mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), Imm));
}
// The first four rows of the 8-point basis.
inline constexpr int kBasisRow8[4][8] = {{8, 10, 10, 9, 8, 6, 4, 2}, {8, 9, 4, -2, -8, -10, -10, -6},
                                         {8, 6, -4, -10, -8, 2, 10, 9}, {8, 2, -10, -6, 8, 9, -4, -10}};
// lo in the low qword of each lane, hi in the high one.
inline __m256i lanes16(short lo, short hi) {
    return _mm256_setr_epi16(lo, lo, lo, lo, hi, hi, hi, hi, lo, lo, lo, lo, hi, hi, hi, hi);
}

// First-pass outputs (0, 1), (2, 3), (5, 4) and (7, 6), one per qword of
// each lane, from t[k] holding elements 2k and 2k + 1 of the eight rows.
struct FirstPass {
    __m256i o01, o23, o54, o76;
};

inline FirstPass first_pass_saturating(__m256i t0, __m256i t1, __m256i t2, __m256i t3) {
    // Two terms a register (one per qword of each lane), every step with the
    // operation and operand order of the reference. Where the two terms need
    // different operations both are formed and blended.
    const __m256i two = splats(kTwo);
    const __m256i a45 = _mm256_adds_epi16(
        twice(twice(_mm256_unpacklo_epi64(_mm256_adds_epi16(t0, t2), _mm256_subs_epi16(t0, t2)))), two);
    const __m256i c26 = _mm256_unpacklo_epi64(t1, t3);
    const __m256i t13 = _mm256_shuffle_epi32(_mm256_adds_epi16(t1, t3), 0x44);
    const __m256i tt = _mm256_add_epi16(t13, t13);
    const __m256i a67 = _mm256_adds_epi16(_mm256_mullo_epi16(c26, lanes16(3, -7)), tt);
    const __m256i e01 = _mm256_adds_epi16(a45, a67);
    const __m256i x = _mm256_unpackhi_epi64(t1, t0), y = _mm256_unpackhi_epi64(t2, t3);  // (c3, c1), (c5, c7)
    const __m256i pr = _mm256_adds_epi16(_mm256_mullo_epi16(x, lanes16(3, 2)), _mm256_mullo_epi16(y, lanes16(2, 3)));
    const __m256i qs = _mm256_subs_epi16(_mm256_mullo_epi16(x, lanes16(2, 3)), _mm256_mullo_epi16(y, lanes16(3, 2)));
    const __m256i pq = _mm256_unpacklo_epi64(pr, qs), rs = _mm256_unpackhi_epi64(pr, qs);
    // (p + s + r, q + s - p), then doubled plus (p, s).
    const __m256i u45 = _mm256_adds_epi16(pq, _mm256_unpackhi_epi64(qs, qs));
    const __m256i rp = swap64(pr);
    const __m256i v45 = take_hi(_mm256_adds_epi16(u45, rp), _mm256_subs_epi16(u45, rp));
    const __m256i b45 = _mm256_adds_epi16(twice(v45), take_hi(pr, qs));
    // (r - p - q, s - q - r), then doubled plus r and less q.
    const __m256i qr = take_hi(qs, pr);
    const __m256i v67 = twice(_mm256_subs_epi16(_mm256_subs_epi16(rs, pq), qr));
    const __m256i rq = swap64(qr);
    const __m256i b67 = take_hi(_mm256_adds_epi16(v67, rq), _mm256_subs_epi16(v67, rq));
    // Outputs (0, 1), (2, 3), (5, 4) and (7, 6): the even halves for (2, 3)
    // are swapped rather than the odd terms, which arrive last.
    const __m256i zero = _mm256_setzero_si256();
    const __m256i e23 = _mm256_subs_epi16(swap64(a45), swap64(a67));
    const __m256i r8 = splats(kRowZero8);
    return {_mm256_add_epi16(first_out(b45, e01), r8), _mm256_add_epi16(first_out(b67, e23), r8),
            _mm256_add_epi16(first_out(_mm256_subs_epi16(zero, b67), e23), r8),
            _mm256_add_epi16(first_out(_mm256_subs_epi16(zero, b45), e01), r8)};
}

// While no step of the first pass can leave 16 bits (rows within kL), it is
// the plain 8-point transform with (x + 4) >> 3, the halving of the odd terms
// included: floor((floor(b / 2) + e) / 4) is floor((b + 2e) / 8).
inline bool fits_linear(__m256i t0, __m256i t1, __m256i t2, __m256i t3) {
    // Absolute values as unsigned words (32768 included), summed saturating.
    const __m256i a = _mm256_adds_epu16(_mm256_adds_epu16(_mm256_abs_epi16(t0), _mm256_abs_epi16(t1)),
                                        _mm256_adds_epu16(_mm256_abs_epi16(t2), _mm256_abs_epi16(t3)));
    const __m256i row = _mm256_adds_epu16(a, swap64(a));
    const __m256i over = _mm256_subs_epu16(row, splats(kLimit));
    return __builtin_expect(_mm256_testz_si256(over, over), 1);
}

inline FirstPass first_pass_linear(__m256i t0, __m256i t1, __m256i t2, __m256i t3) {
    // Output j of the rows as (even half, odd half) in the two qwords: each
    // t[k] times the basis pair (M[j][2k], M[j][2k + 1]).
    const auto out = [&](int j) {
        const auto term = [&](__m256i t, int k) {
            return _mm256_mullo_epi16(t, lanes16(static_cast<short>(kBasisRow8[j][2 * k]),
                                                 static_cast<short>(kBasisRow8[j][2 * k + 1])));
        };
        return _mm256_add_epi16(_mm256_add_epi16(term(t0, 0), term(t1, 1)), _mm256_add_epi16(term(t2, 2), term(t3, 3)));
    };
    const __m256i p0 = out(0), p1 = out(1), p2 = out(2), p3 = out(3);
    const __m256i round = splats(kRound);
    const __m256i e01 = _mm256_add_epi16(_mm256_unpacklo_epi64(p0, p1), round), d01 = _mm256_unpackhi_epi64(p0, p1);
    const __m256i e23 = _mm256_add_epi16(_mm256_unpacklo_epi64(p2, p3), round), d23 = _mm256_unpackhi_epi64(p2, p3);
    return {_mm256_srai_epi16(_mm256_add_epi16(e01, d01), 3), _mm256_srai_epi16(_mm256_add_epi16(e23, d23), 3),
            _mm256_srai_epi16(_mm256_sub_epi16(e23, d23), 3), _mm256_srai_epi16(_mm256_sub_epi16(e01, d01), 3)};
}

void inverse_full_avx2(const Vek16s* src, Vek8u* dst, Vek32s step, Vek32s mul_q, Vek32s shift) {
    // Dequantisation as in the 128-bit kernels, two rows a register: rows
    // (0, 1), (2, 3), (4, 5), (6, 7), so that after two unpacks t[k] holds
    // elements 2k and 2k + 1 of rows 0, 4, 2, 6 as its two qwords in lane 0
    // and of rows 1, 5, 3, 7 in lane 1.
    const __m128i count = _mm_cvtsi32_si128(15 - shift);
    const __m256i w = _mm256_set1_epi16(static_cast<short>(mul_q - 32768));
    const auto load = [&](int row) {
        const __m256i u = _mm256_sll_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 8 * row)), count);
        return _mm256_adds_epi16(_mm256_mulhrs_epi16(u, w), u);
    };
    const __m256i y0 = load(0), y1 = load(2), y2 = load(4), y3 = load(6);
    const __m256i s0 = _mm256_unpacklo_epi16(y0, y2), s1 = _mm256_unpackhi_epi16(y0, y2);
    const __m256i s2 = _mm256_unpacklo_epi16(y1, y3), s3 = _mm256_unpackhi_epi16(y1, y3);
    const __m256i t0 = _mm256_unpacklo_epi32(s0, s2), t1 = _mm256_unpackhi_epi32(s0, s2);
    const __m256i t2 = _mm256_unpacklo_epi32(s1, s3), t3 = _mm256_unpackhi_epi32(s1, s3);

    const auto [o01, o23, o54, o76] = fits_linear(t0, t1, t2, t3) ? first_pass_linear(t0, t1, t2, t3)
                                                                   : first_pass_saturating(t0, t1, t2, t3);

    // Each qword of these holds one output of rows 0, 4, 2, 6 (lane 0) or
    // 1, 5, 3, 7 (lane 1): the word pairs (0, 4), (2, 6) and (1, 5), (3, 7)
    // of the second pass for that column. Even dwords gather the first pairs
    // of four columns in order, odd dwords the second.
    const __m256i f0 = pick<0x88>(o01, o23), f1 = pick<0xDD>(o01, o23);  // columns 0..3
    const __m256i g0 = pick<0x22>(o54, o76), g1 = pick<0x77>(o54, o76);  // columns 4..7
    // One lane exchange per pair set puts eight columns in a register.
    const __m256i q04 = _mm256_permute2x128_si256(f0, g0, 0x20), q15 = _mm256_permute2x128_si256(f0, g0, 0x31);
    const __m256i q26 = _mm256_permute2x128_si256(f1, g1, 0x20), q37 = _mm256_permute2x128_si256(f1, g1, 0x31);
    const auto madd = [](__m256i q, int lo, int hi) { return _mm256_madd_epi16(q, _mm256_set1_epi32(pair(lo, hi))); };
    const __m256i a0 = _mm256_madd_epi16(q04, splats(kEights)), a1 = madd(q04, 8, -8);
    const __m256i b0 = madd(q26, 10, 4), b1 = madd(q26, 4, -10);
    const __m256i e0 = _mm256_add_epi32(a0, b0), e3 = _mm256_sub_epi32(a0, b0);
    const __m256i e1 = _mm256_add_epi32(a1, b1), e2 = _mm256_sub_epi32(a1, b1);
    const __m256i d0 = _mm256_add_epi32(madd(q15, 10, 6), madd(q37, 9, 2));
    const __m256i d1 = _mm256_add_epi32(madd(q15, 9, -10), madd(q37, -2, -6));
    const __m256i d2 = _mm256_add_epi32(madd(q15, 6, 2), madd(q37, -10, 9));
    const __m256i d3 = _mm256_add_epi32(madd(q15, 2, 9), madd(q37, -6, -10));
    const __m256i s01 = add_pair(_mm256_add_epi32(e0, d0), _mm256_add_epi32(e1, d1), dst, step, 0);
    const __m256i s23 = add_pair(_mm256_add_epi32(e2, d2), _mm256_add_epi32(e3, d3), dst, step, 2);
    const __m256i s45 = add_pair(_mm256_sub_epi32(e3, d3), _mm256_sub_epi32(e2, d2), dst, step, 4);
    const __m256i s67 = add_pair(_mm256_sub_epi32(e1, d1), _mm256_sub_epi32(e0, d0), dst, step, 6);
    store4(s01, s23, dst, step, 0);
    store4(s45, s67, dst, step, 4);
}

}  // namespace

void init_inverse_table_avx2(InverseTable& t) {
    t.full = inverse_full_avx2;
    t.low = inverse_low_128;
}

}  // namespace vek::avs
