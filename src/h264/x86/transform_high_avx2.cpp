// AVX2 inverse transforms with add for the High reconstruction. The 8x8
// kernels hold a row of eight 32-bit lanes a register, with 8x8 transposes
// between the passes; the 4x4 kernels stay those of SSE4.1, whose register
// already holds a row. The macroblock kernels keep dequantisation, transform
// and add in registers, two blocks side by side where both are coded.
#include <immintrin.h>

#include <cstddef>

#include "h264/transform_high.h"
#include "h264/x86/transform_high_simd.h"

namespace vek::h264 {

namespace {

using x86::V128;

struct V256 {
    using T = __m256i;
    static constexpr int kLanes = 8;
    static T load(const Vek32s* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
    static T load(const Vek16s* p) { return _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))); }
    static void store(Vek32s* p, T v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
    static T set1(Vek32s v) { return _mm256_set1_epi32(v); }
    static T zero() { return _mm256_setzero_si256(); }
    static T add(T a, T b) { return _mm256_add_epi32(a, b); }
    static T sub(T a, T b) { return _mm256_sub_epi32(a, b); }
    static T mul(T a, T b) { return _mm256_mullo_epi32(a, b); }
    static T min(T a, T b) { return _mm256_min_epi32(a, b); }
    static T max(T a, T b) { return _mm256_max_epi32(a, b); }
    template <int N>
    static T sra(T a) { return _mm256_srai_epi32(a, N); }
    static T sra(T a, __m128i n) { return _mm256_sra_epi32(a, n); }
    static T sll(T a, __m128i n) { return _mm256_sll_epi32(a, n); }
    static T lo32(T a, T b) { return _mm256_unpacklo_epi32(a, b); }
    static T hi32(T a, T b) { return _mm256_unpackhi_epi32(a, b); }
    static T lo64(T a, T b) { return _mm256_unpacklo_epi64(a, b); }
    static T hi64(T a, T b) { return _mm256_unpackhi_epi64(a, b); }
};

// Sixteen 16-bit lanes, for the butterflies of the 16-bit 8x8 path.
struct Ops16 {
    static __m256i add(__m256i a, __m256i b) { return _mm256_add_epi16(a, b); }
    static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); }
    template <int N>
    static __m256i sra(__m256i a) { return _mm256_srai_epi16(a, N); }
};

inline __m256i two_rows(const Vek16s* p, int a, int b) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + a))),
                                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + b)), 1);
}

inline __m128i pack_row(__m256i v) {
    return _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
}

// ---- Single 8x8 blocks of 32-bit coefficients ----

inline void transpose8(__m256i* r) {
    __m256i t[8];
    for (int i = 0; i < 8; i += 4) {
        for (int k = 0; k < 4; ++k) t[i + k] = r[i + k];
        x86::transpose4_lanes<V256>(t + i);
    }
    for (int i = 0; i < 4; ++i) {
        r[i] = _mm256_permute2x128_si256(t[i], t[4 + i], 0x20);
        r[4 + i] = _mm256_permute2x128_si256(t[i], t[4 + i], 0x31);
    }
}

// The 8x8 transform, leaving row y of the residual (before rounding) in d[y].
inline void inv8_block(const Vek32s* c, __m256i* d) {
    for (int i = 0; i < 8; ++i) d[i] = V256::load(c + 8 * i);
    transpose8(d);
    x86::inv8_vectors<V256>(d);
    transpose8(d);
    x86::inv8_vectors<V256>(d);
}

void inv_add8x8_16u_avx2(Vek32s* c, Vek16u* dst, Vek32s step, Vek32s maxVal) {
    __m256i d[8];
    inv8_block(c, d);
    const __m256i maxv = _mm256_set1_epi32(maxVal);
    for (int y = 0; y < 8; ++y) {
        Vek16u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m256i pred = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row), pack_row(x86::finish<V256>(d[y], pred, maxv)));
    }
}

void inv_add8x8_8u_avx2(Vek32s* c, Vek8u* dst, Vek32s step) {
    __m256i d[8];
    inv8_block(c, d);
    const __m256i maxv = _mm256_set1_epi32(255);
    for (int y = 0; y < 8; ++y) {
        Vek8u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m256i pred = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(row)));
        const __m128i w = pack_row(x86::finish<V256>(d[y], pred, maxv));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row), _mm_packus_epi16(w, w));
    }
}

// ---- Whole macroblocks of 4x4 blocks, 16-bit samples ----

// Per-macroblock scaling: both directions of the shift run as one,
// ((l * f + round) << up) >> down, with up = 0 while qp / 6 is below the
// norm and round = down = 0 above it.
struct Scaling {
    __m256i round;
    __m128i up, down;
};

inline Scaling scaling(Vek32s qp, int norm) {
    const int s = qp / 6;
    const bool shrink = s < norm;
    return {_mm256_set1_epi32(shrink ? 1 << (norm - s - 1) : 0), _mm_cvtsi32_si128(shrink ? 0 : s - norm),
            _mm_cvtsi32_si128(shrink ? norm - s : 0)};
}

// One 4x4 block (V128) or two side by side (V256: the levels of the left
// block, then of the right one; each register holds a row of both, the left
// block in the low lane, which is how the eight samples of the row lie).
template <class V>
inline void blocks4x4_16u(const Vek32s* levels, Vek16u* dst, Vek32s step, const __m256i* factors, const Scaling& q,
                          __m256i maxv) {
    using T = typename V::T;
    constexpr bool kPair = V::kLanes == 8;
    const auto narrow = [](__m256i v) {
        if constexpr (kPair) return v; else return _mm256_castsi256_si128(v);
    };
    T d[4];
    for (int r = 0; r < 4; ++r) {
        T l;
        if constexpr (kPair)
            l = _mm256_inserti128_si256(_mm256_castsi128_si256(V128::load(levels + 4 * r)), V128::load(levels + 16 + 4 * r), 1);
        else
            l = V128::load(levels + 4 * r);
        d[r] = V::sra(V::sll(V::add(V::mul(l, narrow(factors[r])), narrow(q.round)), q.up), q.down);
    }
    x86::inv4_lanes<V>(d);
    for (int y = 0; y < 4; ++y) {
        Vek16u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        if constexpr (kPair) {
            const __m256i pred = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row)));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(row), pack_row(x86::finish<V>(d[y], pred, maxv)));
        } else {
            const __m128i r = x86::finish<V>(d[y], V128::load_u16(row), narrow(maxv));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(row), _mm_packus_epi32(r, r));
        }
    }
}

// The blocks of a pair (coded numbers 2p and 2p + 1) sit side by side.
VekStatus mb_inter4x4_16u_avx2(Vek32s** cursor, Vek16u* plane, Vek32s step, Vek32u cbp, Vek32s qp,
                               const Vek16s* scale, Vek32s maxVal) {
    const Scaling q = scaling(qp, 4);
    __m256i factors[4];
    for (int r = 0; r < 4; ++r)
        factors[r] = _mm256_broadcastsi128_si256(
            _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(scale + 4 * r))));
    const __m256i maxv = _mm256_set1_epi32(maxVal);
    Vek32s* levels = *cursor;
    for (int pair = 0; pair < 8; ++pair) {
        const Vek32u bits = (cbp >> (2 * pair + 1)) & 3;
        if (!bits) continue;
        Vek16u* blk = plane + static_cast<std::ptrdiff_t>(kBlockPos4x4[2 * pair][1]) * step + kBlockPos4x4[2 * pair][0];
        if (bits == 3) {
            blocks4x4_16u<V256>(levels, blk, step, factors, q, maxv);
            levels += 32;
        } else {
            blocks4x4_16u<V128>(levels, blk + (bits == 2 ? 4 : 0), step, factors, q, maxv);
            levels += 16;
        }
    }
    *cursor = levels;
    return vekStsOk;
}

// ---- Whole macroblocks of 8x8 blocks, 8-bit samples ----

// One shift only, in the direction qp calls for.
template <bool Shrink>
inline __m256i rescale(__m256i p, const Scaling& q) {
    return Shrink ? _mm256_sra_epi32(_mm256_add_epi32(p, q.round), q.down) : _mm256_sll_epi32(p, q.up);
}

// One block in 32 bits, for coefficients the 16-bit path can't take. The
// 16-bit levels and scale entries multiply exactly in 32 bits by pairs: a
// multiply-add against the even entries of a scale row (odd ones zeroed)
// gives the even coefficients, one against the odd entries the odd ones.
// Register i holds rows i and i + 4, one per lane, so that both transposes
// stay inside the lanes but the last step.
template <bool Shrink>
void block8x8_8u(const Vek16s* levels, Vek8u* blk, Vek32s step, const Vek16s* scale, const Scaling& q) {
    const __m256i even_mask = _mm256_set1_epi32(0xFFFF);
    __m256i ev[4], od[4];
    for (int i = 0; i < 4; ++i) {
        const __m256i l = two_rows(levels, 8 * i, 8 * (i + 4)), s = two_rows(scale, 8 * i, 8 * (i + 4));
        ev[i] = rescale<Shrink>(_mm256_madd_epi16(l, _mm256_and_si256(s, even_mask)), q);
        od[i] = rescale<Shrink>(_mm256_madd_epi16(l, _mm256_andnot_si256(even_mask, s)), q);
    }
    // Coefficient x of rows 0-3 | of rows 4-7.
    x86::transpose4_lanes<V256>(ev);
    x86::transpose4_lanes<V256>(od);
    __m256i d[8] = {ev[0], od[0], ev[1], od[1], ev[2], od[2], ev[3], od[3]};
    x86::inv8_vectors<V256>(d);
    // Rows y | y + 4 of columns 0-3 and of columns 4-7, then whole rows.
    x86::transpose4_lanes<V256>(d);
    x86::transpose4_lanes<V256>(d + 4);
    __m256i r[8];
    for (int y = 0; y < 4; ++y) {
        r[y] = _mm256_permute2x128_si256(d[y], d[4 + y], 0x20);
        r[4 + y] = _mm256_permute2x128_si256(d[y], d[4 + y], 0x31);
    }
    // Every output takes row 0 once, unshifted: the rounding term goes in there.
    r[0] = _mm256_add_epi32(r[0], _mm256_set1_epi32(32));
    x86::inv8_vectors<V256>(r);
    // Residual and prediction in 16 bits, two rows a register ([row y, row
    // y + 1] of columns 0-3 | of columns 4-7): saturation then stands in for
    // the limit to -255..255, and the final pack clips to 0..255.
    const __m256i gather = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    for (int y = 0; y < 8; y += 4) {
        __m256i sum[2];
        for (int h = 0; h < 2; ++h) {
            Vek8u* row = blk + static_cast<std::ptrdiff_t>(y + 2 * h) * step;
            const __m256i res =
                _mm256_packs_epi32(_mm256_srai_epi32(r[y + 2 * h], 6), _mm256_srai_epi32(r[y + 2 * h + 1], 6));
            const __m128i p = _mm_unpacklo_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(row)),
                                                 _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + step)));
            sum[h] = _mm256_adds_epi16(res, _mm256_cvtepu8_epi16(p));
        }
        const __m256i rows4 = _mm256_permutevar8x32_epi32(_mm256_packus_epi16(sum[0], sum[1]), gather);
        const __m128i lo = _mm256_castsi256_si128(rows4), hi = _mm256_extracti128_si256(rows4, 1);
        Vek8u* row = blk + static_cast<std::ptrdiff_t>(y) * step;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row), lo);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row + step), _mm_unpackhi_epi64(lo, lo));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row + 2 * step), hi);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row + 3 * step), _mm_unpackhi_epi64(hi, hi));
    }
}

// 8x8 transpose of 16-bit values in each lane.
inline void transpose8x16_lanes(__m256i* r) {
    __m256i a[8], b[8];
    for (int i = 0; i < 4; ++i) {
        a[2 * i] = _mm256_unpacklo_epi16(r[2 * i], r[2 * i + 1]);
        a[2 * i + 1] = _mm256_unpackhi_epi16(r[2 * i], r[2 * i + 1]);
    }
    for (int i = 0; i < 2; ++i)
        for (int h = 0; h < 2; ++h) {
            b[4 * i + 2 * h] = _mm256_unpacklo_epi32(a[4 * i + h], a[4 * i + 2 + h]);
            b[4 * i + 2 * h + 1] = _mm256_unpackhi_epi32(a[4 * i + h], a[4 * i + 2 + h]);
        }
    for (int k = 0; k < 4; ++k) {
        r[2 * k] = _mm256_unpacklo_epi64(b[k], b[4 + k]);
        r[2 * k + 1] = _mm256_unpackhi_epi64(b[k], b[4 + k]);
    }
}

// The scaling of the 16-bit path, in 16-bit lanes. With every dequantised
// coefficient within +-512 the whole 8x8 transform, both passes and the
// rounding term, stays inside 16 bits (a bound worked out over the
// butterflies' intervals). The coefficients themselves come from 16-bit
// products, exact while every level is within `limit`: then each product,
// with its rounding term or its shift up, fits in 16 bits.
struct Scaling16 {
    Scaling q;
    __m256i round, limit;
};

inline Scaling16 scaling16(const Vek16s* scale, Vek32s qp) {
    Scaling16 f;
    f.q = scaling(qp, 6);
    const int s = qp / 6, round = s < 6 ? 1 << (5 - s) : 0, up = s < 6 ? 0 : s - 6;
    f.round = _mm256_set1_epi16(static_cast<Vek16s>(round));
    // The largest |entry| (32768 for -32768): the top of the inverted values' minimum.
    __m256i peak = _mm256_abs_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(scale)));
    for (int k = 16; k < 64; k += 16)
        peak = _mm256_max_epu16(peak, _mm256_abs_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(scale + k))));
    const __m128i half = _mm_max_epu16(_mm256_castsi256_si128(peak), _mm256_extracti128_si256(peak, 1));
    const unsigned top = 0xFFFF - (_mm_cvtsi128_si32(_mm_minpos_epu16(_mm_xor_si128(half, _mm_set1_epi16(-1)))) & 0xFFFF);
    const unsigned room = up > 14 ? 0 : (32767u - round) >> up;
    f.limit = _mm256_set1_epi16(static_cast<Vek16s>(top ? room / top : 32767));
    return f;
}

// Two horizontally adjacent coded blocks in 16-bit lanes, a row of each in
// a register (the left block in the low lane), which is how the sixteen
// samples of the row lie. False, with nothing written, when a level or a
// coefficient is out of bounds.
template <bool Shrink>
bool pair8x8_8u_16bit(const Vek16s* levels, Vek8u* blk, Vek32s step, const Vek16s* scale, const Scaling16& f) {
    __m256i c[8];
    __m256i peak_l = _mm256_setzero_si256(), peak_c = _mm256_setzero_si256();
    for (int y = 0; y < 8; ++y) {
        const __m256i l = two_rows(levels, 8 * y, 64 + 8 * y);
        const __m256i p = _mm256_mullo_epi16(
            l, _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(scale + 8 * y))));
        c[y] = Shrink ? _mm256_sra_epi16(_mm256_add_epi16(p, f.round), f.q.down) : _mm256_sll_epi16(p, f.q.up);
        peak_l = _mm256_max_epu16(peak_l, _mm256_abs_epi16(l));
        peak_c = _mm256_max_epu16(peak_c, _mm256_abs_epi16(c[y]));
    }
    const __m256i over = _mm256_or_si256(_mm256_subs_epu16(peak_l, f.limit),
                                         _mm256_subs_epu16(peak_c, _mm256_set1_epi16(512)));
    if (!_mm256_testz_si256(over, over)) return false;
    transpose8x16_lanes(c);  // c[x]: coefficient x of each row
    x86::inv8_vectors<Ops16>(c);
    transpose8x16_lanes(c);  // c[y]: row y of the row pass's output
    c[0] = _mm256_add_epi16(c[0], _mm256_set1_epi16(32));
    x86::inv8_vectors<Ops16>(c);
    for (int y = 0; y < 8; y += 2) {
        Vek8u* row = blk + static_cast<std::ptrdiff_t>(y) * step;
        __m256i sum[2];
        for (int h = 0; h < 2; ++h) {
            const __m128i p = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + h * step));
            sum[h] = _mm256_adds_epi16(_mm256_srai_epi16(c[y + h], 6), _mm256_cvtepu8_epi16(p));
        }
        const __m256i both = _mm256_permute4x64_epi64(_mm256_packus_epi16(sum[0], sum[1]), 0xD8);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row), _mm256_castsi256_si128(both));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row + step), _mm256_extracti128_si256(both, 1));
    }
    return true;
}

template <bool Shrink>
VekStatus mb_inter8x8_8u(Vek16s** cursor, Vek8u* plane, Vek32s step, Vek32u cbp, Vek32s qp, const Vek16s* scale) {
    const Scaling16 f = scaling16(scale, qp);
    Vek16s* levels = *cursor;
    for (int pair = 0; pair < 2; ++pair) {
        Vek8u* blk = plane + static_cast<std::ptrdiff_t>(pair * 8) * step;
        const Vek32u bits = (cbp >> (2 * pair + 1)) & 3;
        if (bits == 3 && pair8x8_8u_16bit<Shrink>(levels, blk, step, scale, f)) {
            levels += 128;
            continue;
        }
        for (int h = 0; h < 2; ++h)
            if (bits & (1u << h)) {
                block8x8_8u<Shrink>(levels, blk + 8 * h, step, scale, f.q);
                levels += 64;
            }
    }
    *cursor = levels;
    return vekStsOk;
}

VekStatus mb_inter8x8_8u_avx2(Vek16s** cursor, Vek8u* plane, Vek32s step, Vek32u cbp, Vek32s qp,
                              const Vek16s* scale) {
    return qp / 6 < 6 ? mb_inter8x8_8u<true>(cursor, plane, step, cbp, qp, scale)
                      : mb_inter8x8_8u<false>(cursor, plane, step, cbp, qp, scale);
}

}  // namespace

void init_transform_high_table_avx2(TransformHighTable& table) {
    table.mb_inter4x4_16u = mb_inter4x4_16u_avx2;
    table.mb_inter8x8_8u = mb_inter8x8_8u_avx2;
    table.inv_add8x8_16u = inv_add8x8_16u_avx2;
    table.inv_add8x8_8u = inv_add8x8_8u_avx2;
    table.dequant_16s = x86::dequant<V256, Vek16s>;
    table.dequant_32s = x86::dequant<V256, Vek32s>;
}

}  // namespace vek::h264
