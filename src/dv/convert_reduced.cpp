// DV output conversion of blocks already reduced to 4x4 in the transform
// domain: a reduced block is the first 16 elements of its block, four rows of
// four. Chroma is repeated, never interpolated.
#include "dv/convert.h"

namespace vek::dv {

namespace {

inline const Vek16s* blk(const Vek16s* mb, int k) { return mb + 64 * k; }

// 16x4: row r of blocks 0-3 side by side; each chroma sample serves two pairs.
void yuv411_16x4(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int r = 0; r < 4; ++r)
        for (int i = 0; i < 8; ++i) {
            const Vek16s* y = blk(mb, i / 2) + 4 * r + 2 * (i % 2);
            put_pair(dst + r * step, i, y[0], blk(mb, 5)[4 * r + i / 2], y[1], blk(mb, 4)[4 * r + i / 2]);
        }
}

// 8x8 luma: rows 0-3 from blocks 0, 1, rows 4-7 from blocks 2, 3. `chroma`
// gives the chroma element of pair i in output row y.
template <class ChromaAt>
void luma_8x8(const Vek16s* mb, Vek8u* dst, Vek32s step, ChromaAt chroma) {
    for (int y = 0; y < 8; ++y)
        for (int i = 0; i < 4; ++i) {
            const Vek16s* yy = blk(mb, 2 * (y / 4) + i / 2) + 4 * (y % 4) + 2 * (i % 2);
            const int c = chroma(y, i);
            put_pair(dst + y * step, i, yy[0], blk(mb, 5)[c], yy[1], blk(mb, 4)[c]);
        }
}

// Chroma columns 0-1 serve the upper rows, 2-3 the lower, each sample twice.
void yuv411_8x8(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    luma_8x8(mb, dst, step, [](int y, int i) { return 4 * (y % 4) + 2 * (y / 4) + i / 2; });
}

// Chroma row i serves output rows 2i and 2i + 1.
void yuv420_8x8(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    luma_8x8(mb, dst, step, [](int y, int i) { return 4 * (y / 2) + i; });
}

void yuv422_8x4(const Vek16s* mb, Vek8u* dst, Vek32s step) {
    for (int r = 0; r < 4; ++r)
        for (int i = 0; i < 4; ++i) {
            const Vek16s* y = blk(mb, i < 2 ? 0 : 2) + 4 * r + 2 * (i % 2);
            put_pair(dst + r * step, i, y[0], blk(mb, 5)[4 * r + i], y[1], blk(mb, 4)[4 * r + i]);
        }
}

}  // namespace

}  // namespace vek::dv

using namespace vek::dv;

extern "C" {

// A null source entry ends the work without error.
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_16x4x5MB_DV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                  Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    for (int m = 0; m < 5 && pSrc[m]; ++m) yuv411_16x4(pSrc[m], pDst[m], dstStep);
    return vekStsOk;
}

VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_8x8MB_DV_16s8u_P3C2R(const Vek16s* pSrc, Vek8u* pDst, Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    yuv411_8x8(pSrc, pDst, dstStep);
    return vekStsOk;
}

// Entries are not tested.
VEKVC_API VekStatus vekiYCrCb420ToYCbCr422_8x8x5MB_DV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                 Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    for (int m = 0; m < 5; ++m) yuv420_8x8(pSrc[m], pDst[m], dstStep);
    return vekStsOk;
}

VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_8x4x5MB_DV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                 Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    for (int m = 0; m < 5; ++m) yuv422_8x4(pSrc[m], pDst[m], dstStep);
    return vekStsOk;
}

}  // extern "C"
