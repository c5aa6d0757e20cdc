// Global motion compensation and sprite warping: record setup, luminance and
// chrominance warps for zero to four warping points, the global motion vector
// of a macroblock and the sprite brightness change.
#include "mpeg4/warp.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "util/util.h"

namespace vek::mpeg4 {

namespace {

// Smallest power of 2 at or above n, and its logarithm.
void power_above(Vek32s n, Vek32s& pow2, Vek32s& log2) {
    std::int64_t p = 1;
    Vek32s l = 0;
    while (p < n) p <<= 1, ++l;
    pow2 = Vek32s(Vek32u(p));
    log2 = l;
}

// Chrominance reference coordinate from a luminance one: static sprites round
// half up, global motion keeps the low bit as a sticky bit.
Vek32s chroma_point(Vek32s lumaPoint, Vek32s acc, Vek32s spriteType) {
    const Vek32s t = lumaPoint >> (3 - acc);
    const Vek32s c = spriteType == 1 ? (wadd(t, 1) >> 1) : ((t >> 1) | (t & 1));
    return wshl(c, 3 - acc);
}

// Luminance sample by the bilinear rule with the sprite's edges repeated.
inline int bilinear(const Vek8u* p, Vek32s step, Vek32s cw, Vek32s ch, Vek32s ix, Vek32s iy, int fx, int fy,
                    int K) {
    const Vek8u* r0;
    const Vek8u* r1;
    if (iy < 0) {
        r0 = r1 = p;
    } else if (iy < ch - 1) {
        r0 = p + std::ptrdiff_t(step) * iy;
        r1 = r0 + step;
    } else {
        r0 = r1 = p + std::ptrdiff_t(step) * (ch - 1);
    }
    const auto col = [&](const Vek8u* r) {
        if (ix < 0) return r[0] * 16;
        if (ix < cw - 1) return r[ix] * 16 + (r[ix + 1] - r[ix]) * fx;
        return r[cw - 1] * 16;
    };
    const int A0 = col(r0), A1 = col(r1);
    return (A0 * 16 + K + fy * (A1 - A0)) >> 8;
}

// Truncation of a double to 32 bits as the conversion instruction does it:
// out of range and NaN give the integer indefinite value.
inline Vek32s to_int32(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
    return static_cast<Vek32s>(v);
}

// The rounding of the perspective positions; the constant is deliberately a
// hair above one half.
inline Vek32s round_persp(double v) { return to_int32(v >= 0.0 ? v + 0.5000000001 : v - 0.5000000001); }

struct Plane {
    const Vek8u* p;
    Vek32s step;
    Vek8u* dst;
    Vek32s dstStep;
};

inline Vek8u* out_row(const Plane& pl, int y) { return pl.dst + std::ptrdiff_t(pl.dstStep) * y; }

inline Vek32s clampi(std::int64_t v, Vek32s lo, Vek32s hi) { return Vek32s(v < lo ? lo : (v > hi ? hi : v)); }

// No warping point: a copy with the source position clamped to the sprite.
void warp_copy(const Plane& pl, const VekRect& area, const VekRect& blk, bool chroma) {
    const Vek32s ox = blk.x - area.x, oy = blk.y - area.y;
    if (ox >= 0 && oy >= 0 && std::int64_t(ox) + blk.width <= area.width &&
        std::int64_t(oy) + blk.height <= area.height) {
        const Vek8u* src = pl.p + std::ptrdiff_t(pl.step) * oy + ox;
        if (!chroma && blk.width == 16 && blk.height == 16)
            vekiCopy16x16_8u_C1R(src, pl.step, pl.dst, pl.dstStep);
        else if (chroma && blk.width == 8 && blk.height == 8)
            vekiCopy8x8_8u_C1R(src, pl.step, pl.dst, pl.dstStep);
        else
            vekiCopy_8u_C1R(src, pl.step, pl.dst, pl.dstStep, VekRoi{blk.width, blk.height});
        return;
    }
    for (int y = 0; y < blk.height; ++y) {
        const Vek32s sy = clampi(std::int64_t(oy) + y, 0, area.height - 1);
        const Vek8u* row = pl.p + std::ptrdiff_t(pl.step) * sy;
        Vek8u* out = out_row(pl, y);
        for (int x = 0; x < blk.width; ++x)
            out[x] = row[clampi(std::int64_t(ox) + x, 0, area.width - 1)];
    }
}

// One luminance warping point: half-sample interpolation, clamped positions.
void warp_luma_one(const WarpSpec& s, const Plane& pl, const VekRect& blk) {
    const Vek32s xi = wsub(wsub(blk.x, s.spriteRect.x), wsub(s.vopX, s.i0 >> 4));
    const Vek32s yi = wadd(wsub(wsub(blk.y, s.vopY), s.spriteRect.y), s.j0 >> 4);
    const int fx = s.i0 & 15, fy = s.j0 & 15;
    const int mode = (fy >> 2) + (fx >> 3);
    const Vek32s sw = s.spriteRect.width, sh = s.spriteRect.height;
    if (blk.width == 16 && blk.height == 16 && xi >= 0 && yi >= 0 &&
        std::int64_t(xi) + 16 < sw && std::int64_t(yi) + 16 < sh) {
        vekiCopy16x16HP_8u_C1R(pl.p + std::ptrdiff_t(pl.step) * yi + xi, pl.step, pl.dst, pl.dstStep, mode,
                               s.rounding);
        return;
    }
    const int r = s.rounding;
    for (int y = 0; y < blk.height; ++y) {
        const Vek32s y0 = clampi(std::int64_t(yi) + y, 0, sh - 1);
        const Vek32s y1 = clampi(std::int64_t(yi) + y + 1, 0, sh - 1);
        const Vek8u* ra = pl.p + std::ptrdiff_t(pl.step) * y0;
        const Vek8u* rc = pl.p + std::ptrdiff_t(pl.step) * y1;
        Vek8u* out = out_row(pl, y);
        for (int x = 0; x < blk.width; ++x) {
            const Vek32s x0 = clampi(std::int64_t(xi) + x, 0, sw - 1);
            const Vek32s x1 = clampi(std::int64_t(xi) + x + 1, 0, sw - 1);
            int v;
            if (fx == 0 && fy == 0) v = ra[x0];
            else if (fy == 0) v = (ra[x0] + ra[x1] + 1 - r) >> 1;
            else if (fx == 0) v = (ra[x0] + rc[x0] + 1 - r) >> 1;
            else v = (ra[x0] + ra[x1] + rc[x0] + rc[x1] + 2 - r) >> 2;
            out[x] = Vek8u(v);
        }
    }
}

// One chrominance warping point on both planes.
void warp_chroma_one(const WarpSpec& s, const Plane (&pl)[2], const VekRect& blk) {
    const Vek32s xi = wsub(wsub(blk.x, s.chromaRect.x), wsub(s.vopX / 2, s.ci0 >> 4));
    const Vek32s yi = wadd(wsub(blk.y, s.chromaRect.y), wsub(s.cj0 >> 4, s.vopY / 2));
    const int fx = s.ci0 & 15, fy = s.cj0 & 15;
    const Vek32s cw = s.chromaRect.width, ch = s.chromaRect.height;
    if (blk.width == 8 && blk.height == 8 && (fx & 7) == 0 && (fy & 7) == 0 && xi >= 0 && yi >= 0 &&
        std::int64_t(xi) + 8 <= cw && std::int64_t(yi) + 8 <= ch) {
        const int mode = (fy >> 2) + (fx >> 3);
        for (const Plane& p : pl)
            vekiCopy8x8HP_8u_C1R(p.p + std::ptrdiff_t(p.step) * yi + xi, p.step, p.dst, p.dstStep, mode,
                                 s.rounding);
        return;
    }
    for (const Plane& p : pl)
        for (int y = 0; y < blk.height; ++y) {
            Vek8u* out = out_row(p, y);
            for (int x = 0; x < blk.width; ++x)
                out[x] = Vek8u(bilinear(p.p, p.step, cw, ch, wadd(xi, x), wadd(yi, y), fx, fy, s.bilinearRound));
        }
}

// Two or three points: fixed-point positions stepped across the block.
void warp_affine(const WarpSpec& s, const Plane* pl, int planes, const VekRect& area, const VekRect& blk,
                 Vek32s FX0, Vek32s FY0, int shift, Vek32s stepRightX, Vek32s stepRightY, Vek32s stepDownX,
                 Vek32s stepDownY) {
    const Vek32s mask = ~((1 << (3 - s.warpingAccuracy)) - 1);
    for (int n = 0; n < planes; ++n) {
        Vek32s rowX = FX0, rowY = FY0;
        for (int y = 0; y < blk.height; ++y) {
            Vek32s FX = rowX, FY = rowY;
            Vek8u* out = out_row(pl[n], y);
            for (int x = 0; x < blk.width; ++x) {
                const Vek32s u = ashr(FX, shift) & mask, v = ashr(FY, shift) & mask;
                out[x] = Vek8u(bilinear(pl[n].p, pl[n].step, area.width, area.height, u >> 4, v >> 4, u & 15,
                                        v & 15, s.bilinearRound));
                FX = wadd(FX, stepRightX);
                FY = wadd(FY, stepRightY);
            }
            rowX = wadd(rowX, stepDownX);
            rowY = wadd(rowY, stepDownY);
        }
    }
}

// Four points: perspective positions in double precision.
void warp_persp(const WarpSpec& s, const Plane* pl, int planes, const VekRect& area, const VekRect& blk,
                double NX0, double NY0, double D0, double rightX, double rightY, double rightD, double downX,
                double downY, double downD) {
    const int up = 3 - s.warpingAccuracy;
    for (int n = 0; n < planes; ++n) {
        double rowX = NX0, rowY = NY0, rowD = D0;
        for (int y = 0; y < blk.height; ++y) {
            double NX = rowX, NY = rowY, D = rowD;
            Vek8u* out = out_row(pl[n], y);
            for (int x = 0; x < blk.width; ++x) {
                const double w = 1.0 / D;
                const double tx = w * NX;
                const double ty = NY * w;
                const Vek32s u = wsub(wshl(round_persp(tx), up), wmul(16, area.x));
                const Vek32s v = wsub(wshl(round_persp(ty), up), wmul(16, area.y));
                out[x] = Vek8u(bilinear(pl[n].p, pl[n].step, area.width, area.height, u >> 4, v >> 4, u & 15,
                                        v & 15, s.bilinearRound));
                NX += rightX;
                NY += rightY;
                D += rightD;
            }
            rowX += downX;
            rowY += downY;
            rowD += downD;
        }
    }
}

void warp_luma(const WarpSpec& s, const Plane& pl, const VekRect& blk) {
    switch (s.numWarpingPoints) {
    case 0:
        warp_copy(pl, s.spriteRect, blk, false);
        return;
    case 1:
        warp_luma_one(s, pl, blk);
        return;
    case 4: {
        const double dx = double(wsub(blk.x, s.vopX)), dy = double(wsub(blk.y, s.vopY));
        warp_persp(s, &pl, 1, s.spriteRect, blk, s.a * dx + s.b * dy + s.c, s.d * dx + s.e * dy + s.f,
                   s.g * dx + s.h * dy + s.den0, s.a, s.d, s.g, s.b, s.e, s.h);
        return;
    }
    default: {
        const int Sl = s.S - (3 - s.warpingAccuracy);
        const Vek32s dx = wsub(blk.x, s.vopX), dy = wsub(blk.y, s.vopY);
        const Vek32s FX = wadd(wadd(wadd(wshl(wsub(s.i0, wmul(16, s.spriteRect.x)), Sl), wmul(s.stepXX, dx)),
                                    wmul(s.stepXY, dy)), s.R);
        const Vek32s FY = wadd(wadd(wadd(wshl(wsub(s.j0, wmul(16, s.spriteRect.y)), Sl), wmul(s.stepYX, dx)),
                                    wmul(s.stepYY, dy)), s.R);
        warp_affine(s, &pl, 1, s.spriteRect, blk, FX, FY, Sl, s.stepXX, s.stepYX, s.stepXY, s.stepYY);
        return;
    }
    }
}

void warp_chroma(const WarpSpec& s, const Plane (&pl)[2], const VekRect& blk) {
    switch (s.numWarpingPoints) {
    case 0:
        for (const Plane& p : pl) warp_copy(p, s.chromaRect, blk, true);
        return;
    case 1:
        warp_chroma_one(s, pl, blk);
        return;
    case 4: {
        const double dx = double(wadd(wsub(wmul(4, blk.x), wmul(2, s.vopX)), 1));
        const double dy = double(wadd(wsub(wmul(4, blk.y), wmul(2, s.vopY)), 1));
        const double k = double(2 << s.warpingAccuracy);
        const double m = (2 * s.den0 + s.g * dx + s.h * dy) * k;
        const double NX = 2 * s.a * dx + 2 * s.b * dy + 4 * s.c - m;
        const double NY = 2 * s.d * dx + 2 * s.e * dy + 4 * s.f - m;
        const double D = 4 * (dx * s.g + dy * s.h) + 8 * s.den0;
        warp_persp(s, pl, 2, s.chromaRect, blk, NX, NY, D, 8 * s.a - 4 * s.g * k, 8 * s.d - 4 * s.g * k, 16 * s.g,
                   8 * s.b - 4 * s.h * k, 8 * s.e - 4 * s.h * k, 16 * s.h);
        return;
    }
    default: {
        const int Sc = s.S - (3 - s.warpingAccuracy) + 2;
        const Vek32s dx = wadd(wsub(wmul(4, blk.x), wmul(2, s.vopX)), 1);
        const Vek32s dy = wadd(wsub(wmul(4, blk.y), wmul(2, s.vopY)), 1);
        const Vek32s FX = wsub(wadd(wadd(wadd(wmul(wmul(wsub(s.i0, 8), 2), s.chromaScale), wmul(4, s.R)),
                                         wmul(s.stepXX, dx)), wmul(s.stepXY, dy)),
                               wshl(wmul(s.chromaRect.x, 16), Sc));
        const Vek32s FY = wsub(wadd(wadd(wadd(wmul(wmul(wsub(s.j0, 8), 2), s.chromaScale), wmul(4, s.R)),
                                         wmul(s.stepYX, dx)), wmul(s.stepYY, dy)),
                               wshl(wmul(s.chromaRect.y, 16), Sc));
        warp_affine(s, pl, 2, s.chromaRect, blk, FX, FY, Sc, wmul(4, s.stepXX), wmul(4, s.stepYX),
                    wmul(4, s.stepXY), wmul(4, s.stepYY));
        return;
    }
    }
}

// Setup for one to three points, in wrapping 32-bit arithmetic.
void setup_points(WarpSpec& s, const Vek32s* du, const Vek32s* dv, Vek32s n, Vek32s W, Vek32s H) {
    const Vek32s vx = s.vopX, vy = s.vopY, acc = s.warpingAccuracy;
    s.i0 = wmul(wadd(du[0], wmul(2, vx)), 8);
    s.j0 = wadd(wmul(dv[0], 8), wmul(16, vy));
    s.ci0 = chroma_point(s.i0, acc, s.spriteType);
    s.cj0 = chroma_point(s.j0, acc, s.spriteType);
    if (n == 1) return;

    Vek32s warpW, alpha, warpH = 1, beta = 0;
    power_above(W, warpW, alpha);
    s.warpW = warpW;
    s.alpha = alpha;
    const Vek32s vx16 = wmul(16, vx), vy16 = wmul(16, vy);
    s.i1 = wadd(wmul(wadd(du[1], du[0]), 8), wmul(wadd(W, vx), 16));
    s.j1 = wadd(wmul(wadd(dv[1], dv[0]), 8), vy16);
    s.i1v = wadd(wmul(wadd(warpW, vx), 16),
                 rdiv(wadd(wmul(wsub(s.i0, vx16), wsub(W, warpW)),
                           wmul(wsub(wsub(s.i1, vx16), wmul(16, W)), warpW)), W));
    s.j1v = wadd(vy16, rdiv(wadd(wmul(wsub(s.j1, vy16), warpW), wmul(wmul(wsub(W, warpW), dv[0]), 8)), W));
    if (n == 3) {
        power_above(H, warpH, beta);
        s.warpH = warpH;
        s.beta = beta;
        s.i2 = wadd(wmul(wadd(du[2], du[0]), 8), vx16);
        s.j2 = wadd(wmul(wadd(dv[2], dv[0]), 8), wmul(wadd(vy, H), 16));
        s.i2v = wadd(vx16, rdiv(wadd(wmul(wsub(s.i2, vx16), warpH), wmul(wsub(s.i0, vx16), wsub(H, warpH))), H));
        s.j2v = wadd(wmul(wadd(vy, warpH), 16),
                     rdiv(wadd(wmul(wmul(dv[0], 8), wsub(H, warpH)),
                               wmul(wsub(wsub(s.j2, vy16), wmul(16, H)), warpH)), H));
    }
    s.sumCentre = wshl(wshl(120, acc + 1), 4);
    if (n == 2) {
        s.S = 3 - acc + alpha;
        s.chromaScale = warpW;
        s.stepXX = s.stepYY = wsub(s.i1v, s.i0);
        s.stepYX = wsub(s.j1v, s.j0);
        s.stepXY = wsub(s.j0, s.j1v);
    } else if (alpha < beta) {
        s.S = 3 - acc + beta;
        s.chromaScale = warpH;
        s.stepXX = wshl(wsub(s.i1v, s.i0), beta - alpha);
        s.stepYX = wshl(wsub(s.j1v, s.j0), beta - alpha);
        s.stepXY = wsub(s.i2v, s.i0);
        s.stepYY = wsub(s.j2v, s.j0);
    } else {
        s.S = 3 - acc + alpha;
        s.chromaScale = warpW;
        s.stepXX = wsub(s.i1v, s.i0);
        s.stepYX = wsub(s.j1v, s.j0);
        s.stepXY = wshl(wsub(s.i2v, s.i0), alpha - beta);
        s.stepYY = wshl(wsub(s.j2v, s.j0), alpha - beta);
    }
    s.R = wshl(1, (s.S - 1) & 31);
    for (int k = 0; k < 4; ++k) {
        s.rowStepX[k] = s.stepXY;
        s.rowStepY[k] = s.stepYY;
        s.colStepX4[k] = wmul(4, s.stepXX);
        s.colStepY4[k] = wmul(4, s.stepYX);
        s.laneStepX[k] = wmul(k, s.stepXX);
        s.laneStepY[k] = wmul(k, s.stepYX);
    }
}

// Setup for four points: corner positions in 32 bits, perspective terms in doubles.
void setup_perspective(WarpSpec& s, const Vek32s* du, const Vek32s* dv, Vek32s W, Vek32s H) {
    const Vek32s acc = s.warpingAccuracy;
    const Vek32s vx2 = wmul(2, s.vopX), vy2 = wmul(2, s.vopY), W2 = wmul(2, W), H2 = wmul(2, H);
    const Vek32s x0 = wshl(wadd(du[0], vx2), acc);
    const Vek32s y0 = wshl(wadd(dv[0], vy2), acc);
    const Vek32s x1 = wshl(wadd(wadd(wadd(du[1], vx2), W2), du[0]), acc);
    const Vek32s y1 = wshl(wadd(wadd(dv[1], vy2), dv[0]), acc);
    const Vek32s x2 = wshl(wadd(wadd(du[2], vx2), du[0]), acc);
    const Vek32s y2 = wshl(wadd(wadd(wadd(dv[2], vy2), dv[0]), H2), acc);
    const Vek32s x3 = wshl(wadd(wadd(wadd(wadd(wadd(du[3], du[2]), du[1]), vx2), W2), du[0]), acc);
    const Vek32s y3 = wshl(wadd(wadd(wadd(wadd(wadd(dv[3], dv[2]), dv[1]), vy2), dv[0]), H2), acc);
    const Vek32s p = wsub(y2, y3), q = wsub(wsub(wadd(x3, x0), x1), x2), sv = wsub(y1, y3), t = wsub(x2, x3),
                 u = wsub(wsub(wadd(y3, y0), y1), y2), v = wsub(x1, x3);
    const Vek32s den = wsub(wmul(p, v), wmul(t, sv));
    const Vek32s g = wmul(wsub(wmul(q, p), wmul(t, u)), H);
    const Vek32s h = wmul(wsub(wmul(u, v), wmul(q, sv)), W);
    const double fden = den, fg = g, fh = h, fW = W, fH = H;
    s.den = fden;
    s.g = fg;
    s.h = fh;
    s.c = double(x0) * fden * fW * fH;
    s.f = double(y0) * fden * fW * fH;
    s.den0 = fden * fW * fH;
    s.a = (double(x1) - double(x0)) * fden * fH + double(x1) * fg;
    s.b = (double(x2) - double(x0)) * fden * fW + double(x2) * fh;
    s.d = (double(y1) - double(y0)) * fden * fH + double(y1) * fg;
    s.e = (double(y2) - double(y0)) * fden * fW + double(y2) * fh;
}

}  // namespace

}  // namespace vek::mpeg4

using namespace vek::mpeg4;

VekStatus vekiWarpGetSize_MPEG4(Vek32s* pSize) {
    if (!pSize) return vekStsNullPtrErr;
    *pSize = kWarpSpecBytes;
    return vekStsOk;
}

VekStatus vekiWarpInit_MPEG4(VekiWarpSpec_MPEG4* pSpec, const Vek32s* pDU, const Vek32s* pDV,
                             Vek32s numWarpingPoints, Vek32s spriteType, Vek32s warpingAccuracy,
                             Vek32s roundingType, Vek32s quarterSample, Vek32s fcode, const VekRect* pSpriteRect,
                             const VekRect* pVopRect) {
    if (!pSpec) return vekStsNullPtrErr;
    if (numWarpingPoints < 0 || numWarpingPoints > 4) return vekStsOutOfRangeErr;
    if (numWarpingPoints == 4 && spriteType != 1) return vekStsOutOfRangeErr;
    if (warpingAccuracy < 0 || warpingAccuracy > 3 || fcode < 1 || fcode > 7) return vekStsOutOfRangeErr;
    if (pSpriteRect->width < 1 || pSpriteRect->height < 1 || pVopRect->width < 1 || pVopRect->height < 1)
        return vekStsSizeErr;

    WarpSpec& s = *warp_record(pSpec);
    std::memset(&s, 0, sizeof s);
    s.tag = kWarpTag;
    s.rounding = spriteType != 1 ? roundingType : 0;
    s.quarterSample = quarterSample != 0;
    s.numWarpingPoints = numWarpingPoints;
    s.warpingAccuracy = warpingAccuracy;
    s.spriteType = spriteType;
    s.mvMin = -(16 << fcode);
    s.mvMax = (16 << fcode) - 1;
    s.spriteRect = *pSpriteRect;
    s.chromaRect = VekRect{pSpriteRect->x / 2, pSpriteRect->y / 2, (pSpriteRect->width + 1) >> 1,
                           (pSpriteRect->height + 1) >> 1};
    s.vopX = pVopRect->x;
    s.vopY = pVopRect->y;
    s.bilinearRound = 128 - (s.rounding << (3 - warpingAccuracy));
    s.warpW = s.warpH = 1;
    if (numWarpingPoints == 0) return vekStsOk;
    if (!pDU || !pDV) return vekStsNullPtrErr;
    if (numWarpingPoints == 4)
        setup_perspective(s, pDU, pDV, pVopRect->width, pVopRect->height);
    else
        setup_points(s, pDU, pDV, numWarpingPoints, pVopRect->width, pVopRect->height);
    return vekStsOk;
}

VekStatus vekiWarpLuma_MPEG4_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                    const VekRect* pDstRect, const VekiWarpSpec_MPEG4* pSpec) {
    if (!pSpec || !pSrc || !pDst) return vekStsNullPtrErr;
    const WarpSpec& s = *warp_record(const_cast<VekiWarpSpec_MPEG4*>(pSpec));
    if (s.tag != kWarpTag) return vekStsContextMismatchErr;
    warp_luma(s, Plane{pSrc, srcStep, pDst, dstStep}, *pDstRect);
    return vekStsOk;
}

VekStatus vekiWarpChroma_MPEG4_8u_P2R(const Vek8u* pSrcCb, Vek32s srcStepCb, const Vek8u* pSrcCr,
                                      Vek32s srcStepCr, Vek8u* pDstCb, Vek32s dstStepCb, Vek8u* pDstCr,
                                      Vek32s dstStepCr, const VekRect* pDstRect, const VekiWarpSpec_MPEG4* pSpec) {
    if (!pSrcCb || !pSrcCr || !pDstCb || !pDstCr || !pSpec) return vekStsNullPtrErr;
    const WarpSpec& s = *warp_record(const_cast<VekiWarpSpec_MPEG4*>(pSpec));
    if (s.tag != kWarpTag) return vekStsContextMismatchErr;
    const Plane planes[2] = {{pSrcCb, srcStepCb, pDstCb, dstStepCb}, {pSrcCr, srcStepCr, pDstCr, dstStepCr}};
    warp_chroma(s, planes, *pDstRect);
    return vekStsOk;
}

VekStatus vekiCalcGlobalMV_MPEG4(Vek32s xOffset, Vek32s yOffset, VekMotionVector* pGMV,
                                 const VekiWarpSpec_MPEG4* pSpec) {
    if (!pSpec || !pGMV) return vekStsNullPtrErr;
    const WarpSpec& s = *warp_record(const_cast<VekiWarpSpec_MPEG4*>(pSpec));
    if (s.tag != kWarpTag) return vekStsContextMismatchErr;
    const Vek32s acc = s.warpingAccuracy;
    Vek32s mvx, mvy;
    if (s.numWarpingPoints == 0) {
        pGMV->dx = pGMV->dy = 0;
        return vekStsOk;
    }
    if (s.numWarpingPoints == 1) {
        // Cut to 16 bits first; the plane's origin stays part of the vector.
        mvx = Vek16s(s.i0 >> (3 - acc));
        mvy = Vek16s(s.j0 >> (3 - acc));
    } else {
        Vek32s SX = wsub(wshl(wsub(s.i0 >> (3 - acc), wshl(xOffset, acc + 1)), 8), s.sumCentre);
        Vek32s SY = wsub(wshl(wsub(s.j0 >> (3 - acc), wshl(yOffset, acc + 1)), 8), s.sumCentre);
        const int S = std::min(s.S, 31);
        for (int j = 0; j < 16; ++j)
            for (int i = 0; i < 16; ++i) {
                const Vek32s xi = wadd(xOffset, i), yj = wadd(yOffset, j);
                SX = wadd(SX, ashr(wadd(wadd(wmul(s.stepXX, xi), wmul(s.stepXY, yj)), s.R), S));
                SY = wadd(SY, ashr(wadd(wadd(wmul(s.stepYX, xi), wmul(s.stepYY, yj)), s.R), S));
            }
        const int n = acc + 8 - s.quarterSample;
        mvx = ashr(wadd(wsub(SX, SX < 0 ? 1 : 0), 1 << (n - 1)), n);
        mvy = ashr(wadd(wsub(SY, SY < 0 ? 1 : 0), 1 << (n - 1)), n);
    }
    pGMV->dx = Vek16s(clampi(mvx, s.mvMin, s.mvMax));
    pGMV->dy = Vek16s(clampi(mvy, s.mvMin, s.mvMax));
    return vekStsOk;
}

VekStatus vekiChangeSpriteBrightness_MPEG4_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, Vek32s width, Vek32s height,
                                                   Vek32s brightnessChange) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (brightnessChange < -112 || brightnessChange > 1648) return vekStsOutOfRangeErr;
    if (brightnessChange == 0) return vekStsOk;
    const Vek32s w = ((brightnessChange << 10) + (brightnessChange < 0 ? -50 : 50)) / 100 + 1024;
    for (Vek32s y = 0; y < height; ++y) {
        Vek8u* row = pSrcDst + std::ptrdiff_t(srcDstStep) * y;
        // 520 rather than 512: the brightened samples round a little upwards.
        for (Vek32s x = 0; x < width; ++x) row[x] = Vek8u(std::clamp((row[x] * w + 520) >> 10, 0, 255));
    }
    return vekStsOk;
}
