// SSE4.1 chroma interpolation kernels: the two-tap and four-tap bilinear
// filters as byte multiply-adds (every weight fits a signed byte, every
// weighted sum of a pair a signed 16-bit word), the NV12 splitters as byte
// shuffles, and the 16-bit kernels in 32-bit lanes.
#include <immintrin.h>

#include <cstring>

#include "h264/interp_chroma.h"

namespace vek::h264 {

namespace {

// Loads exactly W bytes (2, 4 or 8) into the low bytes of a register.
template <int W>
inline __m128i load_w(const Vek8u* p) {
    if constexpr (W == 8) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    } else if constexpr (W == 4) {
        Vek32s v;
        std::memcpy(&v, p, 4);
        return _mm_cvtsi32_si128(v);
    } else {
        Vek16u v;
        std::memcpy(&v, p, 2);
        return _mm_cvtsi32_si128(v);
    }
}

template <int W>
inline void store_w(Vek8u* p, __m128i v) {
    if constexpr (W == 8) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
    } else if constexpr (W == 4) {
        const Vek32s x = _mm_cvtsi128_si32(v);
        std::memcpy(p, &x, 4);
    } else {
        const Vek16u x = static_cast<Vek16u>(_mm_cvtsi128_si32(v));
        std::memcpy(p, &x, 2);
    }
}

// Weight pair (lo for the first sample, hi for the second) for maddubs.
inline __m128i weights(int lo, int hi) { return _mm_set1_epi16(static_cast<short>((hi << 8) | lo)); }

template <int W>
VekStatus copy_8u(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s, Vek32s height) {
    for (int y = 0; y < height; ++y, src += srcStep, dst += dstStep) store_w<W>(dst, load_w<W>(src));
    return vekStsOk;
}

// Two taps: the sample and its neighbour at `next` (1 horizontal, the step vertical).
template <int W, bool kVertical>
VekStatus two_tap_8u(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s frac, Vek32s height) {
    const int f = kVertical ? frac >> 3 : frac & 7;
    const __m128i w = weights(8 - f, f);
    const __m128i round = _mm_set1_epi16(4);
    const std::ptrdiff_t next = kVertical ? srcStep : 1;
    for (int y = 0; y < height; ++y, src += srcStep, dst += dstStep) {
        const __m128i pairs = _mm_unpacklo_epi8(load_w<W>(src), load_w<W>(src + next));
        __m128i sum = _mm_maddubs_epi16(pairs, w);
        sum = _mm_srli_epi16(_mm_add_epi16(sum, round), 3);
        store_w<W>(dst, _mm_packus_epi16(sum, sum));
    }
    return vekStsOk;
}

template <int W>
VekStatus full_8u(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s frac, Vek32s height) {
    const int dx = frac & 7, dy = frac >> 3;
    const __m128i wab = weights((8 - dx) * (8 - dy), dx * (8 - dy));
    const __m128i wcd = weights((8 - dx) * dy, dx * dy);
    const __m128i round = _mm_set1_epi16(32);
    __m128i top = _mm_unpacklo_epi8(load_w<W>(src), load_w<W>(src + 1));
    for (int y = 0; y < height; ++y, dst += dstStep) {
        src += srcStep;
        const __m128i bottom = _mm_unpacklo_epi8(load_w<W>(src), load_w<W>(src + 1));
        __m128i sum = _mm_add_epi16(_mm_maddubs_epi16(top, wab), _mm_maddubs_epi16(bottom, wcd));
        sum = _mm_srli_epi16(_mm_add_epi16(sum, round), 6);
        store_w<W>(dst, _mm_packus_epi16(sum, sum));
        top = bottom;
    }
    return vekStsOk;
}

// NV12 pairs to two planes; the extra column comes from a second load that
// starts one pair later, so no byte beyond the last pair is read.
template <int W, int K>
void split_nv12(const Vek8u* src, Vek32s srcStep, Vek8u* planes, Vek32s height) {
    const __m128i even_odd = _mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15);
    const int rows = height + (K >> 1);
    constexpr int kBytes = 2 * W;
    for (int y = 0; y < rows; ++y, src += srcStep) {
        Vek8u* u = planes + y * kSplitPitch;
        Vek8u* v = u + kSplitSecond;
        auto split_at = [&](const Vek8u* s, int col) {
            __m128i x;
            if constexpr (kBytes == 16) {
                x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
            } else {
                x = load_w<kBytes>(s);
            }
            if constexpr (W == 8) {
                x = _mm_shuffle_epi8(x, even_odd);
                store_w<8>(u + col, x);
                store_w<8>(v + col, _mm_srli_si128(x, 8));
            } else {
                // W samples of each plane: even bytes in the low half, odd in the high half.
                const __m128i small = _mm_setr_epi8(0, 2, 4, 6, 1, 3, 5, 7, -1, -1, -1, -1, -1, -1, -1, -1);
                x = _mm_shuffle_epi8(x, small);
                if constexpr (W == 4) {
                    store_w<4>(u + col, x);
                    store_w<4>(v + col, _mm_srli_si128(x, 4));
                } else {
                    const __m128i two = _mm_setr_epi8(0, 1, 4, 5, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
                    const __m128i y2 = _mm_shuffle_epi8(x, two);
                    store_w<2>(u + col, y2);
                    store_w<2>(v + col, _mm_srli_si128(y2, 2));
                }
            }
        };
        split_at(src, 0);
        if constexpr (K & 1) split_at(src + 2, 1);
    }
}

// 16-bit samples in 32-bit lanes, four columns at a time.
template <int K>
void chroma_16u(const Vek16u* src, Vek32s srcStep, Vek16u* dst, Vek32s dstStep, Vek32s dx, Vek32s dy, Vek32s width,
                Vek32s height) {
    const int wa = (8 - dx) * (8 - dy), wb = dx * (8 - dy), wc = (8 - dx) * dy, wd = dx * dy;
    auto load4 = [](const Vek16u* p) { return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))); };
    for (int y = 0; y < height; ++y, src += srcStep, dst += dstStep) {
        int x = 0;
        for (; x + 4 <= width; x += 4) {
            const Vek16u* s = src + x;
            __m128i r;
            if constexpr (K == 0) {
                r = load4(s);
            } else if constexpr (K == 1) {
                r = _mm_add_epi32(_mm_mullo_epi32(load4(s), _mm_set1_epi32(8 - dx)),
                                  _mm_mullo_epi32(load4(s + 1), _mm_set1_epi32(dx)));
                r = _mm_srli_epi32(_mm_add_epi32(r, _mm_set1_epi32(4)), 3);
            } else if constexpr (K == 2) {
                r = _mm_add_epi32(_mm_mullo_epi32(load4(s), _mm_set1_epi32(8 - dy)),
                                  _mm_mullo_epi32(load4(s + srcStep), _mm_set1_epi32(dy)));
                r = _mm_srli_epi32(_mm_add_epi32(r, _mm_set1_epi32(4)), 3);
            } else {
                r = _mm_add_epi32(_mm_mullo_epi32(load4(s), _mm_set1_epi32(wa)),
                                  _mm_mullo_epi32(load4(s + 1), _mm_set1_epi32(wb)));
                r = _mm_add_epi32(r, _mm_mullo_epi32(load4(s + srcStep), _mm_set1_epi32(wc)));
                r = _mm_add_epi32(r, _mm_mullo_epi32(load4(s + srcStep + 1), _mm_set1_epi32(wd)));
                r = _mm_srli_epi32(_mm_add_epi32(r, _mm_set1_epi32(32)), 6);
            }
            _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + x), _mm_packus_epi32(r, r));
        }
        for (; x < width; ++x) {
            const Vek16u* s = src + x;
            int v;
            if constexpr (K == 0) v = s[0];
            else if constexpr (K == 1) v = ((8 - dx) * s[0] + dx * s[1] + 4) >> 3;
            else if constexpr (K == 2) v = ((8 - dy) * s[0] + dy * s[srcStep] + 4) >> 3;
            else v = (wa * s[0] + wb * s[1] + wc * s[srcStep] + wd * s[srcStep + 1] + 32) >> 6;
            dst[x] = static_cast<Vek16u>(v);
        }
    }
}

template <int W>
void fill_row(ChromaInterpTable& t, int row) {
    t.chroma_8u[row * 4 + 0] = copy_8u<W>;
    t.chroma_8u[row * 4 + 1] = two_tap_8u<W, false>;
    t.chroma_8u[row * 4 + 2] = two_tap_8u<W, true>;
    t.chroma_8u[row * 4 + 3] = full_8u<W>;
    t.nv12touv_8u[row * 4 + 0] = split_nv12<W, 0>;
    t.nv12touv_8u[row * 4 + 1] = split_nv12<W, 1>;
    t.nv12touv_8u[row * 4 + 2] = split_nv12<W, 2>;
    t.nv12touv_8u[row * 4 + 3] = split_nv12<W, 3>;
}

}  // namespace

void init_chroma_interp_table_sse41(ChromaInterpTable& t) {
    fill_row<2>(t, 0);
    fill_row<4>(t, 1);
    fill_row<8>(t, 2);
    fill_row<8>(t, 3);
    t.chroma_16u = {chroma_16u<0>, chroma_16u<1>, chroma_16u<2>, chroma_16u<3>};
    t.chroma_16u_full = chroma_16u<3>;
}

}  // namespace vek::h264
