// Deblocking kernels on 128-bit registers (and 256-bit ones in the AVX2 file),
// shared by the SSE4.1 and AVX2 files. Lines are processed side by side in
// 16-bit lanes: horizontal edges load rows directly, vertical edges transpose
// the 8 samples of each row into vectors p1..p8 and write back only p4, p5.
#pragma once

#include "vc1/deblock.h"
#include "vc1/x86/simd_ops.h"

namespace {

// Lines of a lane group of four whose third line decides for all of them:
// plain lines (groups of 4 consecutive lanes), or interleaved pairs, where
// even lanes are one channel and odd lanes the other.
enum class Grouping { kLines, kPairs };

// The signed amount moved across the edge on each line (0 where a line is not
// filtered); p are 16-bit samples, `enabled` is all ones on enabled lines.
// 5x by a shift and an add: one step shorter than a multiply on the paths
// that decide how long a filtered edge takes.
template <class V>
inline V times5(V x) {
    return add16(slli16<2>(x), x);
}

template <Grouping G, class V>
inline V deblock_amount(const V (&p)[8], V quant, V enabled) {
    const V five = splat16<V>(5), four = splat16<V>(4);
    // p4 and p5 come last: they are the samples the previous edge wrote.
    const V d45 = sub16(p[3], p[4]);
    const V a0 = srai16<3>(sub16(add16(slli16<1>(sub16(p[2], p[5])), four), times5(d45)));
    const V a1 = srai16<3>(add16(sub16(slli16<1>(sub16(p[0], p[3])), mullo16(sub16(p[1], p[2]), five)), four));
    const V a2 = srai16<3>(add16(sub16(slli16<1>(sub16(p[4], p[7])), mullo16(sub16(p[5], p[6]), five)), four));
    const V abs_a0 = abs16(a0);
    const V a3 = min16(abs16(a1), abs16(a2));
    const V clip = srai16<1>(sub16(d45, srai16<15>(d45)));  // halved toward zero
    const V zero = splat16<V>(0);
    const V pass = andnot_(cmpeq16(clip, zero), and_(cmpgt16(quant, abs_a0), cmpgt16(abs_a0, a3)));
    // The third line's verdict spread over its group.
    static constexpr std::int8_t kLines[16] = {4, 5, 4, 5, 4, 5, 4, 5, 12, 13, 12, 13, 12, 13, 12, 13};
    static constexpr std::int8_t kPairs[16] = {8, 9, 10, 11, 8, 9, 10, 11, 8, 9, 10, 11, 8, 9, 10, 11};
    const V group = shuffle8(pass, shuffle_pattern(pass, G == Grouping::kLines ? kLines : kPairs));
    // |d| = 5(|a0| - a3) / 8 points against a0; it is kept only along the step
    // (a0 and p4 - p5 of opposite signs) and limited to |clip|.
    const V against = srai16<15>(xor_(a0, d45));
    const V mag = min16(srli16<3>(times5(sub16(abs_a0, a3))), abs16(clip));
    return and_(sign16(mag, clip), and_(and_(pass, group), and_(against, enabled)));
}

// 16 lines of 8-bit samples p1..p8 (one byte per line) to new p4, p5.
inline void filter16(const __m128i (&p)[8], __m128i quant16, __m128i enabled8, Grouping g, __m128i& p4,
                     __m128i& p5) {
#ifdef __AVX2__
    __m256i w[8];
    for (int k = 0; k < 8; ++k) w[k] = _mm256_cvtepu8_epi16(p[k]);
    const __m256i q = _mm256_broadcastsi128_si256(quant16);
    const __m256i en = _mm256_cvtepi8_epi16(enabled8);
    const __m256i d = g == Grouping::kLines ? deblock_amount<Grouping::kLines>(w, q, en)
                                            : deblock_amount<Grouping::kPairs>(w, q, en);
    const __m256i out = _mm256_permute4x64_epi64(packus16(sub16(w[3], d), add16(w[4], d)), 0xD8);
    p4 = lane0(out);
    p5 = lane1(out);
#else
    __m128i lo[8], hi[8];
    const __m128i zero = _mm_setzero_si128();
    for (int k = 0; k < 8; ++k) lo[k] = unpacklo8(p[k], zero), hi[k] = unpackhi8(p[k], zero);
    const __m128i en_lo = _mm_cvtepi8_epi16(enabled8), en_hi = _mm_cvtepi8_epi16(_mm_srli_si128(enabled8, 8));
    const __m128i d_lo = g == Grouping::kLines ? deblock_amount<Grouping::kLines>(lo, quant16, en_lo)
                                               : deblock_amount<Grouping::kPairs>(lo, quant16, en_lo);
    const __m128i d_hi = g == Grouping::kLines ? deblock_amount<Grouping::kLines>(hi, quant16, en_hi)
                                               : deblock_amount<Grouping::kPairs>(hi, quant16, en_hi);
    p4 = packus16(sub16(lo[3], d_lo), sub16(hi[3], d_hi));
    p5 = packus16(add16(lo[4], d_lo), add16(hi[4], d_hi));
#endif
}

// 8 lines in the low bytes, for the chroma edges and the luma halves.
inline void filter8(const __m128i (&p)[8], __m128i quant16, __m128i enabled8, __m128i& p4, __m128i& p5) {
    __m128i w[8];
    for (int k = 0; k < 8; ++k) w[k] = _mm_cvtepu8_epi16(p[k]);
    const __m128i d = deblock_amount<Grouping::kLines>(w, quant16, _mm_cvtepi8_epi16(enabled8));
    p4 = packus16(sub16(w[3], d), sub16(w[3], d));
    p5 = packus16(add16(w[4], d), add16(w[4], d));
}

// Quant as a 16-bit comparand: |a0| never exceeds 224, so larger values act alike.
inline __m128i quant_vector(int quant) { return _mm_set1_epi16(static_cast<short>(quant < 0 ? 0 : (quant > 32767 ? 32767 : quant))); }

// All ones on the lines of each enabled group of four (bit g: lines 4g..4g+3).
inline __m128i groups_mask(unsigned groups) {
    alignas(16) static constexpr std::uint8_t kBits[16] = {1, 1, 1, 1, 2, 2, 2, 2, 4, 4, 4, 4, 8, 8, 8, 8};
    const __m128i bits = load16(kBits);
    return _mm_cmpeq_epi8(_mm_and_si128(_mm_set1_epi8(static_cast<char>(groups)), bits), bits);
}
// All ones on the even (U, bit 0) and odd (V, bit 1) lines of enabled channels.
inline __m128i channels_mask(unsigned channels) {
    alignas(16) static constexpr std::uint8_t kBits[16] = {1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2};
    const __m128i bits = load16(kBits);
    return _mm_cmpeq_epi8(_mm_and_si128(_mm_set1_epi8(static_cast<char>(channels)), bits), bits);
}

inline Vek8u* line_row(Vek8u* p, Vek32s step, int k) { return p + static_cast<std::ptrdiff_t>(step) * k; }

// Horizontal edges: rows -4..+3 are p1..p8.
void luma_hor_simd(Vek8u* p, Vek32s step, int quant, unsigned groups) {
    __m128i r[8];
    for (int k = 0; k < 8; ++k) r[k] = load16(line_row(p, step, k - 4));
    __m128i p4, p5;
    filter16(r, quant_vector(quant), groups_mask(groups), Grouping::kLines, p4, p5);
    store16(line_row(p, step, -1), p4);
    store16(line_row(p, step, 0), p5);
}

void chroma_hor_simd(Vek8u* p, Vek32s step, int quant, unsigned groups) {
    __m128i r[8];
    for (int k = 0; k < 8; ++k) r[k] = load8(line_row(p, step, k - 4));
    __m128i p4, p5;
    filter8(r, quant_vector(quant), groups_mask(groups), p4, p5);
    store8(line_row(p, step, -1), p4);
    store8(line_row(p, step, 0), p5);
}

void chroma_hor_c2_simd(Vek8u* p, Vek32s step, int quant, unsigned channels) {
    __m128i r[8];
    for (int k = 0; k < 8; ++k) r[k] = load16(line_row(p, step, k - 4));
    __m128i p4, p5;
    filter16(r, quant_vector(quant), channels_mask(channels), Grouping::kPairs, p4, p5);
    store16(line_row(p, step, -1), p4);
    store16(line_row(p, step, 0), p5);
}

// 8x8 bytes: rows in the low 8 bytes of in[0..7] to column pairs: out[j]
// holds columns 2j (low 8 bytes) and 2j + 1 (high 8 bytes).
inline void transpose8x8_bytes(const __m128i (&in)[8], __m128i (&out)[4]) {
    const __m128i s01 = unpacklo8(in[0], in[1]), s23 = unpacklo8(in[2], in[3]);
    const __m128i s45 = unpacklo8(in[4], in[5]), s67 = unpacklo8(in[6], in[7]);
    const __m128i q0 = _mm_unpacklo_epi16(s01, s23), q1 = _mm_unpackhi_epi16(s01, s23);
    const __m128i q2 = _mm_unpacklo_epi16(s45, s67), q3 = _mm_unpackhi_epi16(s45, s67);
    out[0] = unpacklo32(q0, q2);
    out[1] = unpackhi32(q0, q2);
    out[2] = unpacklo32(q1, q3);
    out[3] = unpackhi32(q1, q3);
}

// Vertical edges, 8 rows: row y's samples at columns -4..+3 are p1..p8.
inline void ver8(Vek8u* p, Vek32s step, __m128i quant16, __m128i enabled8) {
    __m128i rows[8], cols[4];
    for (int y = 0; y < 8; ++y) rows[y] = load8(line_row(p, step, y) - 4);
    transpose8x8_bytes(rows, cols);
    const __m128i pk[8] = {cols[0], _mm_unpackhi_epi64(cols[0], cols[0]), cols[1], _mm_unpackhi_epi64(cols[1], cols[1]),
                           cols[2], _mm_unpackhi_epi64(cols[2], cols[2]), cols[3], _mm_unpackhi_epi64(cols[3], cols[3])};
    __m128i p4, p5;
    filter8(pk, quant16, enabled8, p4, p5);
    alignas(16) std::uint16_t words[8];  // (p4, p5) of row y in word y
    store16(words, unpacklo8(p4, p5));
    for (int y = 0; y < 8; ++y) std::memcpy(line_row(p, step, y) - 1, &words[y], 2);
}

// The whole luma edge: rows r and r + 8 share a register through the
// transpose, then all 16 lines are filtered together.
void luma_ver_full_simd(Vek8u* p, Vek32s step, int quant) {
    __m128i lo[8], hi[8], clo[4], chi[4];
    for (int y = 0; y < 8; ++y) lo[y] = load8(line_row(p, step, y) - 4), hi[y] = load8(line_row(p, step, y + 8) - 4);
    transpose8x8_bytes(lo, clo);
    transpose8x8_bytes(hi, chi);
    __m128i pk[8];
    for (int j = 0; j < 4; ++j) pk[2 * j] = unpacklo64(clo[j], chi[j]), pk[2 * j + 1] = unpackhi64(clo[j], chi[j]);
    __m128i p4, p5;
    filter16(pk, quant_vector(quant), _mm_set1_epi8(-1), Grouping::kLines, p4, p5);
    alignas(16) std::uint16_t words[16];  // (p4, p5) of row y in word y
    store16(words, unpacklo8(p4, p5));
    store16(words + 8, unpackhi8(p4, p5));
    for (int y = 0; y < 16; ++y) std::memcpy(line_row(p, step, y) - 1, &words[y], 2);
}

template <unsigned Flags>
void luma_ver_half_simd(Vek8u* p, Vek32s step, int quant) {
    if constexpr (Flags == 3) {
        (void)p, (void)step, (void)quant;  // both groups cut off
    } else {
        ver8(p, step, quant_vector(quant), groups_mask(~Flags & 3));
    }
}

void chroma_ver_simd(Vek8u* p, Vek32s step, int quant, unsigned groups) {
    ver8(p, step, quant_vector(quant), groups_mask(groups));
}

// Interleaved pairs on a vertical edge: row y holds (U, V) words at pair
// columns -4..+3; the 8x8 word transpose gives p1..p8 over lines 2y + channel.
void chroma_ver_c2_simd(Vek8u* p, Vek32s step, int quant, unsigned channels) {
    __m128i r[8];
    for (int y = 0; y < 8; ++y) r[y] = load16(line_row(p, step, y) - 8);
    const __m128i a0 = _mm_unpacklo_epi16(r[0], r[1]), a1 = _mm_unpackhi_epi16(r[0], r[1]);
    const __m128i a2 = _mm_unpacklo_epi16(r[2], r[3]), a3 = _mm_unpackhi_epi16(r[2], r[3]);
    const __m128i a4 = _mm_unpacklo_epi16(r[4], r[5]), a5 = _mm_unpackhi_epi16(r[4], r[5]);
    const __m128i a6 = _mm_unpacklo_epi16(r[6], r[7]), a7 = _mm_unpackhi_epi16(r[6], r[7]);
    const __m128i b0 = unpacklo32(a0, a2), b1 = unpackhi32(a0, a2), b2 = unpacklo32(a1, a3), b3 = unpackhi32(a1, a3);
    const __m128i b4 = unpacklo32(a4, a6), b5 = unpackhi32(a4, a6), b6 = unpacklo32(a5, a7), b7 = unpackhi32(a5, a7);
    const __m128i pk[8] = {unpacklo64(b0, b4), unpackhi64(b0, b4), unpacklo64(b1, b5), unpackhi64(b1, b5),
                           unpacklo64(b2, b6), unpackhi64(b2, b6), unpacklo64(b3, b7), unpackhi64(b3, b7)};
    __m128i p4, p5;
    filter16(pk, quant_vector(quant), channels_mask(channels), Grouping::kPairs, p4, p5);
    // Row y: U p4, V p4, U p5, V p5 at bytes -2..+1.
    const __m128i lo = _mm_unpacklo_epi16(p4, p5), hi = _mm_unpackhi_epi16(p4, p5);
    alignas(16) std::uint32_t words[8];
    store16(words, lo);
    store16(words + 4, hi);
    for (int y = 0; y < 8; ++y) std::memcpy(line_row(p, step, y) - 2, &words[y], 4);
}

#ifdef __AVX2__
// The horizontal luma edge in 256-bit registers, columns 0..7 in lane 0 and
// 8..15 in lane 1: each row is a broadcast load widened by one in-lane byte
// shuffle. The amount goes back as bytes, since p4 - d and p5 + d never leave
// 0..255, so that a wrapping byte step gives them exactly.
void luma_hor_256(Vek8u* p, Vek32s step, int quant, unsigned groups) {
    const __m256i widen = _mm256_setr_epi8(0, -1, 1, -1, 2, -1, 3, -1, 4, -1, 5, -1, 6, -1, 7, -1, 8, -1, 9, -1, 10,
                                           -1, 11, -1, 12, -1, 13, -1, 14, -1, 15, -1);
    __m256i rows[8], w[8];
    for (int k = 0; k < 8; ++k) {
        rows[k] = _mm256_broadcastsi128_si256(load16(line_row(p, step, k - 4)));
        w[k] = shuffle8(rows[k], widen);
    }
    const __m256i d = deblock_amount<Grouping::kLines>(w, _mm256_broadcastsi128_si256(quant_vector(quant)),
                                                       _mm256_cvtepi8_epi16(groups_mask(groups)));
    const __m128i d8 = _mm_packs_epi16(lane0(d), lane1(d));
    store16(line_row(p, step, -1), _mm_sub_epi8(lane0(rows[3]), d8));
    store16(line_row(p, step, 0), _mm_add_epi8(lane0(rows[4]), d8));
}
#endif

#ifdef __AVX2__
// The amount moved across the edge on 16 lines, from the sample pairs (p1 p2),
// (p3 p4), (p5 p6), (p7 p8) of each line as 16-bit words, first sample in the
// low byte: every weighted sum of the filter is two byte multiply-adds.
inline __m256i deblock_amount_pairs(__m256i p12, __m256i p34, __m256i p56, __m256i p78, __m256i quant) {
    const __m256i k25 = splat_pair8<__m256i>(2, -5), k52 = splat_pair8<__m256i>(5, -2), four = splat16<__m256i>(4);
    const __m256i a0 = srai16<3>(add16(add16(maddubs(p34, k25), maddubs(p56, k52)), four));
    const __m256i a1 = srai16<3>(add16(add16(maddubs(p12, k25), maddubs(p34, k52)), four));
    const __m256i a2 = srai16<3>(add16(add16(maddubs(p56, k25), maddubs(p78, k52)), four));
    const __m256i d45 = sub16(srli16<8>(p34), and_(p56, splat16<__m256i>(0xFF)));
    const __m256i abs_a0 = abs16(a0);
    const __m256i a3 = min16(abs16(a1), abs16(a2));
    const __m256i clip = srai16<1>(sub16(d45, srai16<15>(d45)));  // halved toward zero
    const __m256i pass =
        andnot_(cmpeq16(clip, _mm256_setzero_si256()), and_(cmpgt16(quant, abs_a0), cmpgt16(abs_a0, a3)));
    // The third line's verdict spread over its group of four.
    const __m256i group = shuffle8(pass, _mm256_setr_epi8(4, 5, 4, 5, 4, 5, 4, 5, 12, 13, 12, 13, 12, 13, 12, 13, 4, 5,
                                                          4, 5, 4, 5, 4, 5, 12, 13, 12, 13, 12, 13, 12, 13));
    const __m256i against = srai16<15>(xor_(a0, d45));
    const __m256i mag = min16(srli16<3>(mullo16(sub16(abs_a0, a3), splat16<__m256i>(5))), abs16(clip));
    return and_(sign16(mag, clip), and_(and_(pass, group), against));
}

// The whole luma edge in 256-bit registers. Rows go in as quads [k, k + 4 |
// k + 8, k + 12]; three rounds of unpacks turn the four sample pairs of each
// row into four vectors of pairs, rows 0..7 in lane 0 and 8..15 in lane 1.
// Only p4 and p5 change, and the same unpacks take the pairs back to rows,
// which are written whole, as they were loaded, so that the next access to
// them can be served from the store buffer.
void luma_ver_full_256(Vek8u* p, Vek32s step, int quant) {
    const auto row = [&](int y) { return line_row(p, step, y) - 4; };
    const auto quad = [&](int k) {
        return join(unpacklo64(load8(row(k)), load8(row(k + 4))), unpacklo64(load8(row(k + 8)), load8(row(k + 12))));
    };
    const __m256i y0 = quad(0), y1 = quad(1), y2 = quad(2), y3 = quad(3);
    const __m256i r01 = _mm256_unpacklo_epi16(y0, y1), r45 = _mm256_unpackhi_epi16(y0, y1);
    const __m256i r23 = _mm256_unpacklo_epi16(y2, y3), r67 = _mm256_unpackhi_epi16(y2, y3);
    const __m256i lo03 = unpacklo32(r01, r23), hi03 = unpackhi32(r01, r23);
    const __m256i lo47 = unpacklo32(r45, r67), hi47 = unpackhi32(r45, r67);
    const __m256i p12 = unpacklo64(lo03, lo47), p34 = unpackhi64(lo03, lo47);
    const __m256i p56 = unpacklo64(hi03, hi47), p78 = unpackhi64(hi03, hi47);
    const __m256i d = deblock_amount_pairs(p12, p34, p56, p78, _mm256_set1_epi16(static_cast<short>(
                                                                  quant < 0 ? 0 : (quant > 32767 ? 32767 : quant))));
    // p4 is the high byte of its pair and p5 the low one; neither leaves 0..255.
    const __m256i n34 = sub16(p34, slli16<8>(d)), n56 = add16(p56, d);
    const __m256i w03 = _mm256_unpacklo_epi16(p12, n34), w47 = _mm256_unpackhi_epi16(p12, n34);
    const __m256i v03 = _mm256_unpacklo_epi16(n56, p78), v47 = _mm256_unpackhi_epi16(n56, p78);
    // Rows [r, r + 1 | r + 8, r + 9] for r = 0, 2, 4, 6.
    const __m256i rows[4] = {unpacklo32(w03, v03), unpackhi32(w03, v03), unpacklo32(w47, v47), unpackhi32(w47, v47)};
    for (int i = 0; i < 4; ++i) {
        const __m128i top = lane0(rows[i]), bottom = lane1(rows[i]);
        store8(row(2 * i), top);
        store8(row(2 * i + 1), unpackhi64(top, top));
        store8(row(2 * i + 8), bottom);
        store8(row(2 * i + 9), unpackhi64(bottom, bottom));
    }
}
#endif

inline void init_deblock_128(vek::vc1::DeblockTable& t) {
    t.luma_hor = luma_hor_simd;
    t.luma_ver = {luma_ver_half_simd<0>, luma_ver_half_simd<1>, luma_ver_half_simd<2>, luma_ver_half_simd<3>};
    t.luma_ver_full = luma_ver_full_simd;
    t.chroma_hor = chroma_hor_simd;
    t.chroma_ver = chroma_ver_simd;
    t.chroma_hor_c2 = chroma_hor_c2_simd;
    t.chroma_ver_c2 = chroma_ver_c2_simd;
}

}  // namespace
