// Factor-of-4 resampling (twice the size in each direction and back) and the
// spatial interpolation of scalable layers.
#include <algorithm>
#include <cstddef>

#include "vekvc.h"

namespace vek::h263 {

namespace {

inline const Vek8u* row8(const Vek8u* p, Vek32s step, int y) { return p + std::ptrdiff_t(step) * y; }

// Near and far source positions of output position X: the near one is the
// source sample the output lies closest to, the far one its other neighbour.
inline void near_far(int X, int& n, int& f) {
    if ((X & 1) == 0) n = X / 2, f = X / 2 - 1;
    else n = (X - 1) / 2, f = n + 1;
}

// Sample of the source, or the fill colour outside it (edge repeated when the
// colour is negative).
struct Source8u {
    const Vek8u* p;
    Vek32s step, w, h, fill;
    int at(int x, int y) const {
        if (x < 0 || x >= w || y < 0 || y >= h) {
            if (fill >= 0) return fill;
            x = std::clamp(x, 0, w - 1);
            y = std::clamp(y, 0, h - 1);
        }
        return row8(p, step, y)[x];
    }
};

void upsample4_rows(const Source8u& s, Vek8u* dst, Vek32s dstStep, int rounding) {
    for (int Y = 0; Y < 2 * s.h; ++Y) {
        int yn, yf;
        near_far(Y, yn, yf);
        Vek8u* out = dst + std::ptrdiff_t(dstStep) * Y;
        for (int X = 0; X < 2 * s.w; ++X) {
            int xn, xf;
            near_far(X, xn, xf);
            const int t = 9 * s.at(xn, yn) + 3 * s.at(xf, yn) + 3 * s.at(xn, yf) + s.at(xf, yf) + 7 + rounding;
            out[X] = Vek8u(t >> 4);
        }
    }
}

inline const Vek16s* row16(const Vek16s* p, Vek32s step, int y) {
    return reinterpret_cast<const Vek16s*>(reinterpret_cast<const Vek8u*>(p) + std::ptrdiff_t(step) * y);
}

// Division by 2^s toward zero, as an arithmetic shift after a bias for negatives.
inline int div_pow2(int t, int s) { return (t + (t < 0 ? (1 << s) - 1 : 0)) >> s; }

}  // namespace

}  // namespace vek::h263

using namespace vek::h263;

VekStatus vekiUpsampleFour_H263_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, VekRoi srcRoi, Vek8u* pDst,
                                       Vek32s dstStep, Vek32s rounding, Vek32s fillColor) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (srcRoi.width < 4 || srcRoi.height < 4 || (srcRoi.width & 1) || (srcRoi.height & 1)) return vekStsSizeErr;
    upsample4_rows(Source8u{pSrc, srcStep, srcRoi.width, srcRoi.height, fillColor}, pDst, dstStep, rounding);
    return vekStsOk;
}

VekStatus vekiDownsampleFour_H263_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, VekRoi srcRoi, Vek8u* pDst,
                                         Vek32s dstStep, Vek32s rounding) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (srcRoi.width < 1 || srcRoi.height < 1) return vekStsSizeErr;
    // An odd height reads the row below the region for the last output row.
    for (int k = 0; 2 * k < srcRoi.height; ++k) {
        const Vek8u* a = row8(pSrc, srcStep, 2 * k);
        const Vek8u* c = a + srcStep;
        Vek8u* out = pDst + std::ptrdiff_t(dstStep) * k;
        for (int i = 0; i < srcRoi.width / 2; ++i)
            out[i] = Vek8u((a[2 * i] + a[2 * i + 1] + c[2 * i] + c[2 * i + 1] + 1 + rounding) >> 2);
    }
    return vekStsOk;
}

VekStatus vekiUpsampleFour8x8_H263_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst, Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    for (int Y = 0; Y < 16; ++Y) {
        int yn, yf;
        near_far(Y, yn, yf);
        const bool edgeY = yf < 0 || yf > 7;
        const Vek16s* rn = row16(pSrc, srcStep, yn);
        const Vek16s* rf = edgeY ? rn : row16(pSrc, srcStep, yf);
        Vek16s* out = reinterpret_cast<Vek16s*>(reinterpret_cast<Vek8u*>(pDst) + std::ptrdiff_t(dstStep) * Y);
        for (int X = 0; X < 16; ++X) {
            int xn, xf;
            near_far(X, xn, xf);
            const bool edgeX = xf < 0 || xf > 7;
            int v;
            if (edgeX && edgeY) v = rn[xn];
            else if (edgeY) v = div_pow2(3 * rn[xn] + rn[xf] + 2, 2);
            else if (edgeX) v = div_pow2(3 * rn[xn] + rf[xn] + 2, 2);
            else v = div_pow2(9 * rn[xn] + 3 * rn[xf] + 3 * rf[xn] + rf[xf] + 8, 4);
            out[X] = Vek16s(v);
        }
    }
    return vekStsOk;
}

VekStatus vekiDownsampleFour16x16_H263_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst,
                                               Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    for (int k = 0; k < 8; ++k) {
        const Vek16s* a = row16(pSrc, srcStep, 2 * k);
        const Vek16s* c = row16(pSrc, srcStep, 2 * k + 1);
        Vek16s* out = reinterpret_cast<Vek16s*>(reinterpret_cast<Vek8u*>(pDst) + std::ptrdiff_t(dstStep) * k);
        for (int i = 0; i < 8; ++i) {
            // The sum wraps in 16 bits and is then shifted as a signed value.
            const auto sum = Vek16u(Vek16u(a[2 * i]) + Vek16u(a[2 * i + 1]) + Vek16u(c[2 * i]) +
                                    Vek16u(c[2 * i + 1]) + 2u);
            out[i] = Vek16s(Vek16s(sum) >> 2);
        }
    }
    return vekStsOk;
}

VekStatus vekiSpatialInterpolation_H263_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, VekRoi srcRoi, Vek8u* pDst,
                                               Vek32s dstStep, Vek32s interpolation) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (srcRoi.width < 4 || srcRoi.height < 4 || (srcRoi.width & 1) || (srcRoi.height & 1)) return vekStsSizeErr;
    const int W = srcRoi.width, H = srcRoi.height;
    if (interpolation == 3) {
        upsample4_rows(Source8u{pSrc, srcStep, W, H, -1}, pDst, dstStep, 1);
    } else if (interpolation == 2) {
        for (int x = 0; x < W; ++x) {
            pDst[x] = pSrc[x];
            (pDst + std::ptrdiff_t(dstStep) * (2 * H - 1))[x] = row8(pSrc, srcStep, H - 1)[x];
        }
        for (int j = 0; j + 1 < H; ++j) {
            const Vek8u* a = row8(pSrc, srcStep, j);
            const Vek8u* b = a + srcStep;
            Vek8u* o1 = pDst + std::ptrdiff_t(dstStep) * (2 * j + 1);
            Vek8u* o2 = o1 + dstStep;
            for (int x = 0; x < W; ++x) {
                o1[x] = Vek8u((3 * a[x] + b[x] + 2) >> 2);
                o2[x] = Vek8u((a[x] + 3 * b[x] + 2) >> 2);
            }
        }
    } else {
        for (int y = 0; y < H; ++y) {
            const Vek8u* p = row8(pSrc, srcStep, y);
            Vek8u* out = pDst + std::ptrdiff_t(dstStep) * y;
            out[0] = p[0];
            for (int i = 0; i + 1 < W; ++i) {
                out[2 * i + 1] = Vek8u((3 * p[i] + p[i + 1] + 2) >> 2);
                out[2 * i + 2] = Vek8u((p[i] + 3 * p[i + 1] + 2) >> 2);
            }
            out[2 * W - 1] = p[W - 1];
        }
    }
    return vekStsOk;
}
