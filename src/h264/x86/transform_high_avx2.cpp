// AVX2 8x8 inverse transforms with add for the High reconstruction: one row
// of eight 32-bit lanes per register, 8x8 transposes between the passes. The
// 4x4 kernels stay those of SSE4.1, whose register already holds a row; the
// dequantisation takes eight levels at a time.
#include <immintrin.h>

#include <cstddef>

#include "h264/transform_high.h"
#include "h264/x86/transform_high_simd.h"

namespace vek::h264 {

namespace {

struct Ops256 {
    static __m256i add(__m256i a, __m256i b) { return _mm256_add_epi32(a, b); }
    static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi32(a, b); }
    template <int N>
    static __m256i sra(__m256i a) { return _mm256_srai_epi32(a, N); }
};

inline void transpose8(__m256i* r) {
    __m256i t[8], u[8];
    for (int i = 0; i < 4; ++i) {
        t[2 * i] = _mm256_unpacklo_epi32(r[2 * i], r[2 * i + 1]);
        t[2 * i + 1] = _mm256_unpackhi_epi32(r[2 * i], r[2 * i + 1]);
    }
    for (int i = 0; i < 2; ++i) {
        u[4 * i] = _mm256_unpacklo_epi64(t[4 * i], t[4 * i + 2]);
        u[4 * i + 1] = _mm256_unpackhi_epi64(t[4 * i], t[4 * i + 2]);
        u[4 * i + 2] = _mm256_unpacklo_epi64(t[4 * i + 1], t[4 * i + 3]);
        u[4 * i + 3] = _mm256_unpackhi_epi64(t[4 * i + 1], t[4 * i + 3]);
    }
    for (int i = 0; i < 4; ++i) {
        r[i] = _mm256_permute2x128_si256(u[i], u[4 + i], 0x20);
        r[4 + i] = _mm256_permute2x128_si256(u[i], u[4 + i], 0x31);
    }
}

// The 8x8 transform, leaving row y of the residual (before rounding) in d[y].
inline void inv8_block(const Vek32s* c, __m256i* d) {
    for (int i = 0; i < 8; ++i) d[i] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + 8 * i));
    transpose8(d);
    x86::inv8_vectors<Ops256>(d);
    transpose8(d);
    x86::inv8_vectors<Ops256>(d);
}

// (x + 32) >> 6, limited to -max..max, added to the prediction, clipped to 0..max.
inline __m256i finish(__m256i x, __m256i pred, __m256i maxv) {
    __m256i r = _mm256_srai_epi32(_mm256_add_epi32(x, _mm256_set1_epi32(32)), 6);
    r = _mm256_max_epi32(_mm256_min_epi32(r, maxv), _mm256_sub_epi32(_mm256_setzero_si256(), maxv));
    return _mm256_max_epi32(_mm256_min_epi32(_mm256_add_epi32(r, pred), maxv), _mm256_setzero_si256());
}

inline __m128i pack_row(__m256i v) {
    return _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
}

void inv_add8x8_16u_avx2(Vek32s* c, Vek16u* dst, Vek32s step, Vek32s maxVal) {
    __m256i d[8];
    inv8_block(c, d);
    const __m256i maxv = _mm256_set1_epi32(maxVal);
    for (int y = 0; y < 8; ++y) {
        Vek16u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m256i pred = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row), pack_row(finish(d[y], pred, maxv)));
    }
}

void inv_add8x8_8u_avx2(Vek32s* c, Vek8u* dst, Vek32s step) {
    __m256i d[8];
    inv8_block(c, d);
    const __m256i maxv = _mm256_set1_epi32(255);
    for (int y = 0; y < 8; ++y) {
        Vek8u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m256i pred = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(row)));
        const __m128i w = pack_row(finish(d[y], pred, maxv));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row), _mm_packus_epi16(w, w));
    }
}

// Eight levels widened to 32 bits at a time; the shift counts sit in registers.
template <class Level>
void dequant_avx2(const Level* levels, const Vek16s* scale, Vek32s qp, Vek32s count, Vek32s* out) {
    const int norm = count == 16 ? 4 : 6, s = qp / 6;
    const bool down = s < norm;
    const __m128i sh = _mm_cvtsi32_si128(down ? norm - s : s - norm);
    const __m256i round = _mm256_set1_epi32(down ? 1 << (norm - s - 1) : 0);
    for (int k = 0; k < count; k += 8) {
        __m256i l;
        if constexpr (sizeof(Level) == 2)
            l = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(levels + k)));
        else
            l = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(levels + k));
        const __m256i f = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(scale + k)));
        const __m256i p = _mm256_mullo_epi32(l, f);
        const __m256i v = down ? _mm256_sra_epi32(_mm256_add_epi32(p, round), sh) : _mm256_sll_epi32(p, sh);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + k), v);
    }
}

// ---- Whole macroblocks: dequantisation, transform and add in registers ----

// Per-macroblock scaling: the table rows widened to 32 bits and the shifts.
// Both directions of the shift run as one: ((l * f + round) << up) >> down,
// with up = 0 while qp / 6 is below the norm and round = down = 0 above it.
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

inline __m256i scale_row(__m256i levels, __m256i factors, const Scaling& q) {
    const __m256i p = _mm256_add_epi32(_mm256_mullo_epi32(levels, factors), q.round);
    return _mm256_sra_epi32(_mm256_sll_epi32(p, q.up), q.down);
}

inline __m128i scale_row(__m128i levels, __m256i factors, const Scaling& q) {
    const __m128i p = _mm_add_epi32(_mm_mullo_epi32(levels, _mm256_castsi256_si128(factors)),
                                    _mm256_castsi256_si128(q.round));
    return _mm_sra_epi32(_mm_sll_epi32(p, q.up), q.down);
}

inline __m128i load4(const Vek32s* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

struct Ops128 {
    static __m128i add(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
    static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
    template <int N>
    static __m128i sra(__m128i a) { return _mm_srai_epi32(a, N); }
};

// 4x4 transposes in each 128-bit lane (the unpacks work lane by lane).
template <class V, class Unpack>
inline void transpose4_lanes(V* r, Unpack u) {
    const V t0 = u.lo32(r[0], r[1]), t1 = u.hi32(r[0], r[1]), t2 = u.lo32(r[2], r[3]), t3 = u.hi32(r[2], r[3]);
    r[0] = u.lo64(t0, t2), r[1] = u.hi64(t0, t2), r[2] = u.lo64(t1, t3), r[3] = u.hi64(t1, t3);
}
struct Unpack256 {
    __m256i lo32(__m256i a, __m256i b) const { return _mm256_unpacklo_epi32(a, b); }
    __m256i hi32(__m256i a, __m256i b) const { return _mm256_unpackhi_epi32(a, b); }
    __m256i lo64(__m256i a, __m256i b) const { return _mm256_unpacklo_epi64(a, b); }
    __m256i hi64(__m256i a, __m256i b) const { return _mm256_unpackhi_epi64(a, b); }
};
struct Unpack128 {
    __m128i lo32(__m128i a, __m128i b) const { return _mm_unpacklo_epi32(a, b); }
    __m128i hi32(__m128i a, __m128i b) const { return _mm_unpackhi_epi32(a, b); }
    __m128i lo64(__m128i a, __m128i b) const { return _mm_unpacklo_epi64(a, b); }
    __m128i hi64(__m128i a, __m128i b) const { return _mm_unpackhi_epi64(a, b); }
};

// Two horizontally adjacent coded 4x4 blocks (levels of the left one, then
// of the right one): each register holds a row of both, the left block in
// the low lane, which is how the eight samples of the row lie.
inline void pair4x4_16u(const Vek32s* levels, Vek16u* dst, Vek32s step, const __m256i* factors, const Scaling& q,
                        __m256i maxv) {
    __m256i d[4];
    for (int r = 0; r < 4; ++r)
        d[r] = scale_row(_mm256_inserti128_si256(_mm256_castsi128_si256(load4(levels + 4 * r)),
                                                 load4(levels + 16 + 4 * r), 1),
                         factors[r], q);
    transpose4_lanes(d, Unpack256{});
    x86::inv4_vectors<Ops256>(d);
    transpose4_lanes(d, Unpack256{});
    x86::inv4_vectors<Ops256>(d);
    for (int y = 0; y < 4; ++y) {
        Vek16u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m256i pred = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row), pack_row(finish(d[y], pred, maxv)));
    }
}

inline void single4x4_16u(const Vek32s* levels, Vek16u* dst, Vek32s step, const __m256i* factors, const Scaling& q,
                          __m256i maxv) {
    __m128i d[4];
    for (int r = 0; r < 4; ++r) d[r] = scale_row(load4(levels + 4 * r), factors[r], q);
    transpose4_lanes(d, Unpack128{});
    x86::inv4_vectors<Ops128>(d);
    transpose4_lanes(d, Unpack128{});
    x86::inv4_vectors<Ops128>(d);
    const __m128i m = _mm256_castsi256_si128(maxv);
    for (int y = 0; y < 4; ++y) {
        Vek16u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        const __m128i pred = _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(row)));
        __m128i r = _mm_srai_epi32(_mm_add_epi32(d[y], _mm_set1_epi32(32)), 6);
        r = _mm_max_epi32(_mm_min_epi32(r, m), _mm_sub_epi32(_mm_setzero_si128(), m));
        r = _mm_max_epi32(_mm_min_epi32(_mm_add_epi32(r, pred), m), _mm_setzero_si128());
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row), _mm_packus_epi32(r, r));
    }
}

// The blocks of a pair (coded numbers 2p and 2p + 1) sit side by side.
Vek32s* mb_inter4x4_16u_avx2(Vek32s* levels, Vek16u* plane, Vek32s step, Vek32u cbp, Vek32s qp, const Vek16s* scale,
                             Vek32s maxVal) {
    const Scaling q = scaling(qp, 4);
    __m256i factors[4];
    for (int r = 0; r < 4; ++r)
        factors[r] = _mm256_broadcastsi128_si256(
            _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(scale + 4 * r))));
    const __m256i maxv = _mm256_set1_epi32(maxVal);
    for (int pair = 0; pair < 8; ++pair) {
        const Vek32u bits = (cbp >> (2 * pair + 1)) & 3;
        if (!bits) continue;
        Vek16u* blk = plane + static_cast<std::ptrdiff_t>(kBlockPos4x4[2 * pair][1]) * step + kBlockPos4x4[2 * pair][0];
        if (bits == 3) {
            pair4x4_16u(levels, blk, step, factors, q, maxv);
            levels += 32;
        } else {
            single4x4_16u(levels, blk + (bits == 2 ? 4 : 0), step, factors, q, maxv);
            levels += 16;
        }
    }
    return levels;
}

// ---- 8x8 blocks of 8-bit samples ----
//
// The 16-bit levels and scale entries multiply exactly in 32 bits by pairs:
// a multiply-add against the even entries of a scale row (odd ones zeroed)
// gives the even coefficients, one against the odd entries the odd ones.

struct Scale8x8 {
    Scaling q;
    const Vek16s* table;
    __m256i even[8], odd[8];  // row y in both lanes
};

inline __m256i two_rows(const Vek16s* p, int a, int b) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + a))),
                                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + b)), 1);
}

inline Scale8x8 scale8x8(const Vek16s* scale, Vek32s qp) {
    Scale8x8 f;
    f.q = scaling(qp, 6);
    f.table = scale;
    const __m256i even_mask = _mm256_set1_epi32(0xFFFF);
    for (int y = 0; y < 8; ++y) {
        const __m256i r = two_rows(scale, 8 * y, 8 * y);
        f.even[y] = _mm256_and_si256(r, even_mask);
        f.odd[y] = _mm256_andnot_si256(even_mask, r);
    }
    return f;
}

// One shift only, in the direction qp calls for.
template <bool Shrink>
inline __m256i rescale(__m256i p, const Scaling& q) {
    return Shrink ? _mm256_sra_epi32(_mm256_add_epi32(p, q.round), q.down) : _mm256_sll_epi32(p, q.up);
}

// One block in 32 bits. Register i holds rows i and i + 4, one per lane, so
// that both transposes stay inside the lanes but the last step.
template <bool Shrink>
void block8x8_8u(const Vek16s* levels, Vek8u* blk, Vek32s step, const Scale8x8& f) {
    const __m256i even_mask = _mm256_set1_epi32(0xFFFF);
    __m256i ev[4], od[4];
    for (int i = 0; i < 4; ++i) {
        const __m256i l = two_rows(levels, 8 * i, 8 * (i + 4)), s = two_rows(f.table, 8 * i, 8 * (i + 4));
        ev[i] = rescale<Shrink>(_mm256_madd_epi16(l, _mm256_and_si256(s, even_mask)), f.q);
        od[i] = rescale<Shrink>(_mm256_madd_epi16(l, _mm256_andnot_si256(even_mask, s)), f.q);
    }
    // Coefficient x of rows 0-3 | of rows 4-7.
    transpose4_lanes(ev, Unpack256{});
    transpose4_lanes(od, Unpack256{});
    __m256i d[8] = {ev[0], od[0], ev[1], od[1], ev[2], od[2], ev[3], od[3]};
    x86::inv8_vectors<Ops256>(d);
    // Rows y | y + 4 of columns 0-3 and of columns 4-7, then whole rows.
    transpose4_lanes(d, Unpack256{});
    transpose4_lanes(d + 4, Unpack256{});
    __m256i r[8];
    for (int y = 0; y < 4; ++y) {
        r[y] = _mm256_permute2x128_si256(d[y], d[4 + y], 0x20);
        r[4 + y] = _mm256_permute2x128_si256(d[y], d[4 + y], 0x31);
    }
    // Every output takes row 0 once, unshifted: the rounding term goes in there.
    r[0] = _mm256_add_epi32(r[0], _mm256_set1_epi32(32));
    x86::inv8_vectors<Ops256>(r);
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

struct Ops16 {
    static __m256i add(__m256i a, __m256i b) { return _mm256_add_epi16(a, b); }
    static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); }
    template <int N>
    static __m256i sra(__m256i a) { return _mm256_srai_epi16(a, N); }
};

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

// With every dequantised coefficient within +-512 the whole 8x8 transform,
// both passes and the rounding term, stays inside 16 bits (a bound worked
// out over the butterflies' intervals), so it may run in 16-bit lanes. Two
// blocks side by side then share each register, a row of each, which is how
// the sixteen samples of the row lie. False, with nothing written, when a
// coefficient is out of bounds.
template <bool Shrink>
bool pair8x8_8u_16bit(const Vek16s* levels, Vek8u* blk, Vek32s step, const Scale8x8& f) {
    __m256i c[8];
    __m256i peak = _mm256_setzero_si256();
    for (int y = 0; y < 8; ++y) {
        const __m256i l = two_rows(levels, 8 * y, 64 + 8 * y);
        const __m256i ev = rescale<Shrink>(_mm256_madd_epi16(l, f.even[y]), f.q);
        const __m256i od = rescale<Shrink>(_mm256_madd_epi16(l, f.odd[y]), f.q);
        // Saturation keeps anything out of bounds out of bounds.
        c[y] = _mm256_packs_epi32(ev, od);  // coefficients 0 2 4 6 1 3 5 7 of row y
        peak = _mm256_max_epu16(peak, _mm256_abs_epi16(c[y]));
    }
    const __m256i bound = _mm256_set1_epi16(512);
    if (_mm256_movemask_epi8(_mm256_cmpeq_epi16(_mm256_max_epu16(peak, bound), bound)) != -1) return false;
    transpose8x16_lanes(c);
    __m256i d[8] = {c[0], c[4], c[1], c[5], c[2], c[6], c[3], c[7]};
    x86::inv8_vectors<Ops16>(d);
    transpose8x16_lanes(d);
    d[0] = _mm256_add_epi16(d[0], _mm256_set1_epi16(32));
    x86::inv8_vectors<Ops16>(d);
    for (int y = 0; y < 8; y += 2) {
        Vek8u* row = blk + static_cast<std::ptrdiff_t>(y) * step;
        __m256i sum[2];
        for (int h = 0; h < 2; ++h) {
            const __m128i p = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + h * step));
            sum[h] = _mm256_adds_epi16(_mm256_srai_epi16(d[y + h], 6), _mm256_cvtepu8_epi16(p));
        }
        const __m256i both = _mm256_permute4x64_epi64(_mm256_packus_epi16(sum[0], sum[1]), 0xD8);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row), _mm256_castsi256_si128(both));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row + step), _mm256_extracti128_si256(both, 1));
    }
    return true;
}

template <bool Shrink>
Vek16s* mb_inter8x8_8u(Vek16s* levels, Vek8u* plane, Vek32s step, Vek32u cbp, Vek32s qp, const Vek16s* scale) {
    const Scale8x8 f = scale8x8(scale, qp);
    for (int pair = 0; pair < 2; ++pair) {
        Vek8u* blk = plane + static_cast<std::ptrdiff_t>(pair * 8) * step;
        const Vek32u bits = (cbp >> (2 * pair + 1)) & 3;
        if (bits == 3 && pair8x8_8u_16bit<Shrink>(levels, blk, step, f)) {
            levels += 128;
            continue;
        }
        for (int h = 0; h < 2; ++h)
            if (bits & (1u << h)) {
                block8x8_8u<Shrink>(levels, blk + 8 * h, step, f);
                levels += 64;
            }
    }
    return levels;
}

Vek16s* mb_inter8x8_8u_avx2(Vek16s* levels, Vek8u* plane, Vek32s step, Vek32u cbp, Vek32s qp,
                            const Vek16s* scale) {
    return qp / 6 < 6 ? mb_inter8x8_8u<true>(levels, plane, step, cbp, qp, scale)
                      : mb_inter8x8_8u<false>(levels, plane, step, cbp, qp, scale);
}

}  // namespace

void init_transform_high_table_avx2(TransformHighTable& table) {
    table.mb_inter4x4_16u = mb_inter4x4_16u_avx2;
    table.mb_inter8x8_8u = mb_inter8x8_8u_avx2;
    table.inv_add8x8_16u = inv_add8x8_16u_avx2;
    table.inv_add8x8_8u = inv_add8x8_8u_avx2;
    table.dequant_16s = dequant_avx2<Vek16s>;
    table.dequant_32s = dequant_avx2<Vek32s>;
}

}  // namespace vek::h264
