// DV output conversion reduced in the pixel domain by 2, 4 and 8. The 4:1:1
// and 4:2:0 families average with saturating 16-bit sums and arithmetic
// shifts; the 4:2:2 family sums in 32 bits and divides with truncation toward
// zero. The two disagree on negative sums, and both behaviours are kept.
#include "dv/convert.h"

namespace vek::dv {

namespace {

inline const Vek16s* blk(const Vek16s* mb, int k) { return mb + 64 * k; }

// 2x2 square at (r, c), each row's pair first, every addition saturating.
int sum2x2_sat(const Vek16s* b, int r, int c) {
    const int top = sat16(b[8 * r + c] + b[8 * r + c + 1]);
    const int bottom = sat16(b[8 * r + 8 + c] + b[8 * r + 8 + c + 1]);
    return sat16(top + bottom);
}

// Exact sum of an h x w area at (r, c).
int sum_area(const Vek16s* b, int r, int c, int h, int w) {
    int s = 0;
    for (int i = 0; i < h; ++i)
        for (int j = 0; j < w; ++j) s += b[8 * (r + i) + c + j];
    return s;
}

// Mean of two vertically adjacent chroma samples, the sum saturating.
int pair_mean(const Vek16s* b, int r, int c) { return sat16(b[8 * r + c] + b[8 * r + 8 + c]) >> 1; }

void yuv411_zoom2(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int y = 0; y < 4; ++y)
        for (int i = 0; i < 8; ++i) {
            const int y0 = sum2x2_sat(blk(mb, i / 2), 2 * y, 4 * (i % 2)) >> 2;
            const int y1 = sum2x2_sat(blk(mb, i / 2), 2 * y, 4 * (i % 2) + 2) >> 2;
            put_pair(dst + y * step, i, y0, pair_mean(blk(mb, 5), 2 * y, i), y1, pair_mean(blk(mb, 4), 2 * y, i));
        }
}

void yuv411_edge_zoom2(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int y = 0; y < 8; ++y) {
        const int half = y / 4, r = 2 * (y % 4);
        for (int i = 0; i < 4; ++i) {
            const Vek16s* b = blk(mb, 2 * half + i / 2);
            const int c = 4 * (i % 2);
            put_pair(dst + y * step, i, sum2x2_sat(b, r, c) >> 2, pair_mean(blk(mb, 5), r, 4 * half + i),
                     sum2x2_sat(b, r, c + 2) >> 2, pair_mean(blk(mb, 4), r, 4 * half + i));
        }
    }
}

// Each output row takes rows 4j..4j+3 of the four luma blocks, two samples a
// block; chroma over four rows and two columns.
void yuv411_zoom4(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int y = 0; y < 2; ++y)
        for (int i = 0; i < 4; ++i) {
            const Vek16s* b = blk(mb, i);
            put_pair(dst + y * step, i, sum_area(b, 4 * y, 0, 4, 4) >> 4, sum_area(blk(mb, 5), 4 * y, 2 * i, 4, 2) >> 3,
                     sum_area(b, 4 * y, 4, 4, 4) >> 4, sum_area(blk(mb, 4), 4 * y, 2 * i, 4, 2) >> 3);
        }
}

void yuv411_edge_zoom4(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int y = 0; y < 4; ++y) {
        const int half = y / 2, r = 4 * (y % 2);
        for (int i = 0; i < 2; ++i) {
            const Vek16s* b = blk(mb, 2 * half + i);
            const int c = 4 * half + 2 * i;
            put_pair(dst + y * step, i, sum_area(b, r, 0, 4, 4) >> 4, sum_area(blk(mb, 5), r, c, 4, 2) >> 3,
                     sum_area(b, r, 4, 4, 4) >> 4, sum_area(blk(mb, 4), r, c, 4, 2) >> 3);
        }
    }
}

// Luma as 4:1:1; a chroma square serves two output rows.
void yuv420_zoom2(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int y = 0; y < 8; ++y) {
        const int half = y / 4, r = 2 * (y % 4), cr = 2 * (y / 2);
        for (int i = 0; i < 4; ++i) {
            const Vek16s* b = blk(mb, 2 * half + i / 2);
            const int c = 4 * (i % 2);
            put_pair(dst + y * step, i, sum2x2_sat(b, r, c) >> 2, sum2x2_sat(blk(mb, 5), cr, 2 * i) >> 2,
                     sum2x2_sat(b, r, c + 2) >> 2, sum2x2_sat(blk(mb, 4), cr, 2 * i) >> 2);
        }
    }
}

void yuv420_zoom4(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int y = 0; y < 4; ++y) {
        const int half = y / 2, r = 4 * (y % 2), cr = 4 * (y / 2);
        for (int i = 0; i < 2; ++i) {
            const Vek16s* b = blk(mb, 2 * half + i);
            put_pair(dst + y * step, i, sum_area(b, r, 0, 4, 4) >> 4, sum_area(blk(mb, 5), cr, 4 * i, 4, 4) >> 4,
                     sum_area(b, r, 4, 4, 4) >> 4, sum_area(blk(mb, 4), cr, 4 * i, 4, 4) >> 4);
        }
    }
}

// Two rows of one pixel pair each: blocks 0, 1 above 2, 3.
void dc_2x2(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    put_pair(dst, 0, blk(mb, 0)[0], blk(mb, 5)[0], blk(mb, 1)[0], blk(mb, 4)[0]);
    put_pair(dst + step, 0, blk(mb, 2)[0], blk(mb, 5)[0], blk(mb, 3)[0], blk(mb, 4)[0]);
}

void yuv422_zoom2(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int y = 0; y < 4; ++y)
        for (int i = 0; i < 4; ++i) {
            const Vek16s* b = blk(mb, i < 2 ? 0 : 2);
            const int c = 4 * (i % 2);
            put_pair(dst + y * step, i, sum_area(b, 2 * y, c, 2, 2) / 4, sum_area(blk(mb, 5), 2 * y, 2 * i, 2, 2) / 4,
                     sum_area(b, 2 * y, c + 2, 2, 2) / 4, sum_area(blk(mb, 4), 2 * y, 2 * i, 2, 2) / 4);
        }
}

void yuv422_zoom4(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int y = 0; y < 2; ++y)
        for (int i = 0; i < 2; ++i) {
            const Vek16s* b = blk(mb, 2 * i);
            put_pair(dst + y * step, i, sum_area(b, 4 * y, 0, 4, 4) / 16, sum_area(blk(mb, 5), 4 * y, 4 * i, 4, 4) / 16,
                     sum_area(b, 4 * y, 4, 4, 4) / 16, sum_area(blk(mb, 4), 4 * y, 4 * i, 4, 4) / 16);
        }
}

void yuv422_zoom8(const Vek16s* mb, Vek8u* dst, Vek32s) {
    put_pair(dst, 0, blk(mb, 0)[0], blk(mb, 5)[0], blk(mb, 2)[0], blk(mb, 4)[0]);
}

using MbFn = void(const Vek16s* mb, Vek8u* dst, Vek32s step);

// The 4:2:2 segment functions: the arrays are taken as given, a null entry
// ends the work with an error.
VekStatus run_422(MbFn* fn, const Vek16s* const* src, Vek8u* const* dst, Vek32s step) {
    for (int m = 0; m < 5; ++m) {
        if (!src[m] || !dst[m]) return vekStsNullPtrErr;
        fn(src[m], dst[m], step);
    }
    return vekStsOk;
}

// 4:1:1 segment functions: a null source entry ends the work without error.
VekStatus run_411(MbFn* fn, const Vek16s* const* src, Vek8u* const* dst, Vek32s step) {
    if (!src || !dst) return vekStsNullPtrErr;
    for (int m = 0; m < 5 && src[m]; ++m) fn(src[m], dst[m], step);
    return vekStsOk;
}

// 4:2:0 segment functions: entries are not tested.
VekStatus run_420(MbFn* fn, const Vek16s* const* src, Vek8u* const* dst, Vek32s step) {
    if (!src || !dst) return vekStsNullPtrErr;
    for (int m = 0; m < 5; ++m) fn(src[m], dst[m], step);
    return vekStsOk;
}

VekStatus run_single(MbFn* fn, const Vek16s* src, Vek8u* dst, Vek32s step) {
    if (!src || !dst) return vekStsNullPtrErr;
    fn(src, dst, step);
    return vekStsOk;
}

}  // namespace

}  // namespace vek::dv

using namespace vek::dv;

extern "C" {

VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc,
                                                                     Vek8u* const* pDst, Vek32s dstStep) {
    return run_411(yuv411_zoom2, pSrc, pDst, dstStep);
}
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut2_EdgeDV_16s8u_P3C2R(const Vek16s* pSrc, Vek8u* pDst,
                                                                      Vek32s dstStep) {
    return run_single(yuv411_edge_zoom2, pSrc, pDst, dstStep);
}
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc,
                                                                     Vek8u* const* pDst, Vek32s dstStep) {
    return run_411(yuv411_zoom4, pSrc, pDst, dstStep);
}
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut4_EdgeDV_16s8u_P3C2R(const Vek16s* pSrc, Vek8u* pDst,
                                                                      Vek32s dstStep) {
    return run_single(yuv411_edge_zoom4, pSrc, pDst, dstStep);
}
// One row Y0 Cb Y1 Cr Y2 Cb Y3 Cr; a null destination entry skips its macroblock.
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc,
                                                                     Vek8u* const* pDst, Vek32s) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    for (int m = 0; m < 5; ++m) {
        if (!pDst[m]) continue;
        const Vek16s* mb = pSrc[m];
        put_pair(pDst[m], 0, mb[0], mb[5 * 64], mb[64], mb[4 * 64]);
        put_pair(pDst[m], 1, mb[2 * 64], mb[5 * 64], mb[3 * 64], mb[4 * 64]);
    }
    return vekStsOk;
}
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut8_EdgeDV_16s8u_P3C2R(const Vek16s* pSrc, Vek8u* pDst,
                                                                      Vek32s dstStep) {
    return run_single(dc_2x2, pSrc, pDst, dstStep);
}
VEKVC_API VekStatus vekiYCrCb420ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc,
                                                                     Vek8u* const* pDst, Vek32s dstStep) {
    return run_420(yuv420_zoom2, pSrc, pDst, dstStep);
}
VEKVC_API VekStatus vekiYCrCb420ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc,
                                                                     Vek8u* const* pDst, Vek32s dstStep) {
    return run_420(yuv420_zoom4, pSrc, pDst, dstStep);
}
VEKVC_API VekStatus vekiYCrCb420ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc,
                                                                     Vek8u* const* pDst, Vek32s dstStep) {
    return run_420(dc_2x2, pSrc, pDst, dstStep);
}
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc,
                                                                     Vek8u* const* pDst, Vek32s dstStep) {
    return run_422(yuv422_zoom2, pSrc, pDst, dstStep);
}
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc,
                                                                     Vek8u* const* pDst, Vek32s dstStep) {
    return run_422(yuv422_zoom4, pSrc, pDst, dstStep);
}
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc,
                                                                     Vek8u* const* pDst, Vek32s dstStep) {
    return run_422(yuv422_zoom8, pSrc, pDst, dstStep);
}

}  // extern "C"
