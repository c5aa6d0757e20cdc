// Reference picture resampling: each output sample is looked up directly in
// the source through the bilinear map of the four warped corners, with the
// corners moved to power-of-2 virtual positions so that the per-sample
// increments are exact shifts.
#include <algorithm>
#include <cstddef>

#include "vekvc.h"

namespace vek::h263 {

namespace {

// Wrapping 32-bit arithmetic.
inline Vek32s wadd(Vek32s a, Vek32s b) { return Vek32s(Vek32u(a) + Vek32u(b)); }
inline Vek32s wsub(Vek32s a, Vek32s b) { return Vek32s(Vek32u(a) - Vek32u(b)); }
inline Vek32s wmul(Vek32s a, Vek32s b) { return Vek32s(Vek32u(a) * Vek32u(b)); }
inline Vek32s wshl(Vek32s a, int s) { return Vek32s(Vek32u(a) << (s & 31)); }

// Division rounded half away from zero. Only a product of two sizes can wrap
// to 0; such a divisor counts as 1 rather than trapping.
inline Vek32s rdiv(Vek32s n, Vek32s m) {
    if (m == 0) m = 1;
    return wadd(n, n < 0 ? -(m >> 1) : (m >> 1)) / m;
}
// Shift right by e rounding half up, ties of negatives toward zero.
inline Vek32s half(Vek32s n, int e) { return wsub(wadd(Vek32s(1) << (e - 1), n), n < 0 ? 1 : 0) >> e; }

inline void power_above(Vek32s n, Vek32s& pow2, int& log2) {
    pow2 = 1;
    log2 = 0;
    while (pow2 < n) pow2 <<= 1, ++log2;
}

struct Corners {
    Vek32s x00, y00, x10, y10, x01, y01, x11, y11;
};

struct PlaneIn {
    const Vek8u* p;
    Vek32s step, w, h;
    int fill;  // colour outside; with `clamp` the edge is repeated instead
};

struct Map {
    Vek32s x00, y00, xH0, yH0, x0V, y0V, xHV, yHV, Wp, Hp;
    int hx, vx, s;
    int rounding;
    bool clamp;
};

inline int sample(const PlaneIn& pl, const Map& m, int x, int y) {
    if (x < 0 || x >= pl.w || y < 0 || y >= pl.h) {
        if (!m.clamp) return pl.fill;
        x = std::clamp(x, 0, pl.w - 1);
        y = std::clamp(y, 0, pl.h - 1);
    }
    return pl.p[std::ptrdiff_t(pl.step) * y + x];
}

// One plane: `chroma` halves the vertical interpolation of the edge values.
void resample_plane(const PlaneIn& pl, Vek8u* dst, Vek32s dstStep, int Wd, int Hd, const Map& m, bool chroma) {
    const int s = m.s, one = 1 << s, mask = one - 1;
    const int shift = m.hx - s + 6;
    const Vek32s span = chroma ? m.Hp : wmul(2, m.Hp), e = chroma ? m.vx : m.vx + 1;
    const int start = chroma ? m.hx : m.hx + 1;
    for (int j = 0; j < Hd; ++j) {
        const Vek32s t = 2 * j;
        const Vek32s wa = wsub(wsub(span, 1), t), wb = wadd(1, t);
        const Vek32s xL = half(wadd(wmul(m.x00, wa), wmul(m.x0V, wb)), e);
        const Vek32s xR = half(wadd(wmul(m.xH0, wa), wmul(m.xHV, wb)), e);
        const Vek32s yL = half(wadd(wmul(m.y00, wa), wmul(m.y0V, wb)), e);
        const Vek32s yR = half(wadd(wmul(m.yH0, wa), wmul(m.yHV, wb)), e);
        const Vek32s dX = wadd(wmul(wsub(xR, xL), 2), wmul(64, m.Wp));
        const Vek32s dY = wmul(wsub(yR, yL), 2);
        const Vek32s bias = Vek32s(1) << (m.hx - s + 5);
        Vek32s X = wadd(wadd(wshl(xL, start), bias), wsub(xR, xL));
        Vek32s Y = wadd(wadd(wadd(wshl(yL, start), wshl(j, m.hx + 6)), bias), wsub(yR, yL));
        Vek8u* out = dst + std::ptrdiff_t(dstStep) * j;
        for (int i = 0; i < Wd; ++i) {
            const Vek32s px = X >> shift, py = Y >> shift;
            const int ix = px >> s, iy = py >> s, fx = px & mask, fy = py & mask;
            const int p00 = sample(pl, m, ix, iy), p10 = sample(pl, m, ix + 1, iy);
            const int p01 = sample(pl, m, ix, iy + 1), p11 = sample(pl, m, ix + 1, iy + 1);
            const int v = ((one - fy) * ((p00 << s) + (p10 - p00) * fx) + fy * ((p01 << s) + (p11 - p01) * fx) +
                           (1 << (2 * s - 1)) + m.rounding - 1) >> (2 * s);
            out[i] = Vek8u(v);
            X = wadd(X, dX);
            Y = wadd(Y, dY);
        }
    }
}

}  // namespace

}  // namespace vek::h263

using namespace vek::h263;

VekStatus vekiResample_H263_8u_P3R(const Vek8u* pSrcY, Vek32s srcYStep, VekRoi srcRoi, const Vek8u* pSrcCb,
                                   Vek32s srcCbStep, const Vek8u* pSrcCr, Vek32s srcCrStep, Vek8u* pDstY,
                                   Vek32s dstYStep, VekRoi dstRoi, Vek8u* pDstCb, Vek32s dstCbStep, Vek8u* pDstCr,
                                   Vek32s dstCrStep, const Vek16s* pWarpParams, Vek32s wda, Vek32s rounding,
                                   Vek32s fillMode, const Vek32s* pFillColor) {
    if (!pSrcY || !pSrcCb || !pSrcCr || !pDstY || !pDstCb || !pDstCr || !pWarpParams) return vekStsNullPtrErr;
    const auto bad = [](Vek32s n) { return n < 4 || (n & 1); };
    if (bad(srcRoi.width) || bad(srcRoi.height) || bad(dstRoi.width) || bad(dstRoi.height)) return vekStsSizeErr;
    if (fillMode == 0 && !pFillColor) return vekStsNullPtrErr;

    int fill[3] = {-1, -1, -1};
    if (fillMode == 0) fill[0] = pFillColor[0], fill[1] = pFillColor[1], fill[2] = pFillColor[2];
    else if (fillMode == 1) fill[0] = 16, fill[1] = fill[2] = 128;
    else if (fillMode == 2) fill[0] = fill[1] = fill[2] = 128;

    const Vek32s Ws = srcRoi.width, Hs = srcRoi.height, Wd = dstRoi.width, Hd = dstRoi.height;
    Vek32s w[8];
    for (int k = 0; k < 8; ++k) w[k] = pWarpParams[k];
    const Vek32s dW = wmul(2, wsub(Ws, Wd)), dH = wmul(2, wsub(Hs, Hd));
    const Corners c{wmul(16, w[0]),
                    wmul(16, w[1]),
                    wmul(16, wadd(wadd(w[0], w[2]), dW)),
                    wmul(16, wadd(w[1], w[3])),
                    wmul(16, wadd(w[0], w[4])),
                    wmul(16, wadd(wadd(w[1], w[5]), dH)),
                    wmul(16, wadd(wadd(wadd(wadd(w[0], w[2]), w[4]), w[6]), dW)),
                    wmul(16, wadd(wadd(wadd(wadd(w[1], w[3]), w[5]), w[7]), dH))};
    Map m{};
    power_above(Wd, m.Wp, m.hx);
    power_above(Hd, m.Hp, m.vx);
    const Vek32s aW = wsub(Wd, m.Wp), aH = wsub(Hd, m.Hp);
    m.x00 = c.x00;
    m.y00 = c.y00;
    m.xH0 = rdiv(wadd(wmul(aW, c.x00), wmul(m.Wp, c.x10)), Wd);
    m.yH0 = rdiv(wadd(wmul(aW, c.y00), wmul(m.Wp, c.y10)), Wd);
    m.x0V = rdiv(wadd(wmul(aH, c.x00), wmul(m.Hp, c.x01)), Hd);
    m.y0V = rdiv(wadd(wmul(aH, c.y00), wmul(m.Hp, c.y01)), Hd);
    m.xHV = rdiv(wadd(wmul(aH, wadd(wmul(aW, c.x00), wmul(m.Wp, c.x10))),
                      wmul(m.Hp, wadd(wmul(aW, c.x01), wmul(m.Wp, c.x11)))), wmul(Wd, Hd));
    m.yHV = rdiv(wadd(wmul(aH, wadd(wmul(aW, c.y00), wmul(m.Wp, c.y10))),
                      wmul(m.Hp, wadd(wmul(aW, c.y01), wmul(m.Wp, c.y11)))), wmul(Wd, Hd));
    m.s = wda ? 4 : 1;
    m.rounding = rounding;
    // A negative luma colour repeats the edges of all three planes.
    m.clamp = fill[0] < 0;

    resample_plane(PlaneIn{pSrcY, srcYStep, Ws, Hs, fill[0]}, pDstY, dstYStep, Wd, Hd, m, false);
    resample_plane(PlaneIn{pSrcCb, srcCbStep, Ws / 2, Hs / 2, fill[1]}, pDstCb, dstCbStep, Wd / 2, Hd / 2, m, true);
    resample_plane(PlaneIn{pSrcCr, srcCrStep, Ws / 2, Hs / 2, fill[2]}, pDstCr, dstCrStep, Wd / 2, Hd / 2, m, true);
    return vekStsOk;
}
