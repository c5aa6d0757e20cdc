// Full-size DV output conversion: reference kernels, their table and the
// exported shells of the full-size and 100 Mbit/s functions.
#include "dv/convert.h"
#include "frame/dispatch.h"

namespace vek::dv {

namespace {

// 16 chroma samples from 8: the even ones are the samples, the odd ones the
// mean of a sample and its right neighbour; the last sample repeats.
void spread_chroma(const Vek16s* c, int n, int* out) {
    for (int i = 0; i < n; ++i) {
        const int next = i + 1 < n ? c[i + 1] : c[i];
        out[2 * i] = c[i];
        out[2 * i + 1] = sat16(c[i] + next) >> 1;
    }
}

void yuv411_c(const Vek16s* mb, Vek8u* dst, Vek32s dstStep) {
    for (int r = 0; r < 8; ++r) {
        Vek8u* row = dst + r * dstStep;
        int cb[16], cr[16];
        spread_chroma(mb + 5 * 64 + 8 * r, 8, cb);
        spread_chroma(mb + 4 * 64 + 8 * r, 8, cr);
        for (int i = 0; i < 16; ++i) {
            const Vek16s* y = mb + (i / 4) * 64 + 8 * r + 2 * (i % 4);
            put_pair(row, i, y[0], cb[i], y[1], cr[i]);
        }
    }
}

// Rows 0-7 from blocks 0, 1; rows 8-15 from blocks 2, 3. Chroma elements 0-3
// of row r serve output row r, elements 4-7 output row r + 8; the spreading
// stays inside each group of four.
void yuv411_edge_c(const Vek16s* mb, Vek8u* dst, Vek32s dstStep) {
    for (int y = 0; y < 16; ++y) {
        Vek8u* row = dst + y * dstStep;
        const int half = y / 8, r = y % 8;
        int cb[8], cr[8];
        spread_chroma(mb + 5 * 64 + 8 * r + 4 * half, 4, cb);
        spread_chroma(mb + 4 * 64 + 8 * r + 4 * half, 4, cr);
        for (int i = 0; i < 8; ++i) {
            const Vek16s* yy = mb + (2 * half + i / 4) * 64 + 8 * r + 2 * (i % 4);
            put_pair(row, i, yy[0], cb[i], yy[1], cr[i]);
        }
    }
}

// Chroma row of output row y: each field repeats its own rows,
// 0 1 0 1 2 3 2 3 4 5 4 5 6 7 6 7.
void yuv420_c(const Vek16s* mb, Vek8u* dst, Vek32s dstStep) {
    for (int y = 0; y < 16; ++y) {
        Vek8u* row = dst + y * dstStep;
        const int half = y / 8, r = y % 8, c = 2 * (y / 4) + (y % 2);
        const Vek16s* cb = mb + 5 * 64 + 8 * c;
        const Vek16s* cr = mb + 4 * 64 + 8 * c;
        for (int i = 0; i < 8; ++i) {
            const Vek16s* yy = mb + (2 * half + i / 4) * 64 + 8 * r + 2 * (i % 4);
            put_pair(row, i, yy[0], cb[i], yy[1], cr[i]);
        }
    }
}

void yuv422_c(const Vek16s* y0, const Vek16s* y1, const Vek16s* cb, const Vek16s* cr, Vek8u* dst,
              Vek32s dstStep) {
    for (int r = 0; r < 8; ++r) {
        Vek8u* row = dst + r * dstStep;
        for (int i = 0; i < 8; ++i) {
            const Vek16s* y = (i < 4 ? y0 : y1) + 8 * r + 2 * (i % 4);
            put_pair(row, i, y[0], cb[8 * r + i], y[1], cr[8 * r + i]);
        }
    }
}

}  // namespace

ConvertTable make_convert_table(CpuFlags flags) {
    ConvertTable t{yuv411_c, yuv411_edge_c, yuv420_c, yuv422_c};
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_convert_table_sse41, init_convert_table_avx2);
    return t;
}

namespace {
// Built once while the library loads, never changed afterwards.
const ConvertTable kKernels = make_convert_table(cpu_flags());
const ConvertTable& convert_kernels() { return kKernels; }
}  // namespace

}  // namespace vek::dv

using vek::dv::convert_kernels;

extern "C" {

// A null source entry ends the work; the macroblocks before it stay written.
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                            Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    for (int m = 0; m < 5 && pSrc[m]; ++m) convert_kernels().yuv411(pSrc[m], pDst[m], dstStep);
    return vekStsOk;
}

VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_EdgeDV_16s8u_P3C2R(const Vek16s* pSrc, Vek8u* pDst, Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    convert_kernels().yuv411_edge(pSrc, pDst, dstStep);
    return vekStsOk;
}

// Entries are not tested.
VEKVC_API VekStatus vekiYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                            Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    for (int m = 0; m < 5; ++m) convert_kernels().yuv420(pSrc[m], pDst[m], dstStep);
    return vekStsOk;
}

// The arrays themselves are not tested; a null entry ends the work with an error.
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                            Vek32s dstStep) {
    for (int m = 0; m < 5; ++m) {
        if (!pSrc[m] || !pDst[m]) return vekStsNullPtrErr;
        const Vek16s* mb = pSrc[m];
        convert_kernels().yuv422(mb, mb + 2 * 64, mb + 5 * 64, mb + 4 * 64, pDst[m], dstStep);
    }
    return vekStsOk;
}

// Eight blocks a macroblock: luma 0-3, Cr 4-5, Cb 6-7; each half at its own pointer.
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_10HalvesMB16x8_DV100_16s8u_P3C2R(const Vek16s* pSrc,
                                                                           Vek8u* const* pDst, Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    for (int m = 0; m < 5; ++m) {
        const Vek16s* mb = pSrc + m * 8 * 64;
        convert_kernels().yuv422(mb, mb + 64, mb + 6 * 64, mb + 4 * 64, pDst[2 * m], dstStep);
        convert_kernels().yuv422(mb + 2 * 64, mb + 3 * 64, mb + 7 * 64, mb + 5 * 64, pDst[2 * m + 1], dstStep);
    }
    return vekStsOk;
}

}  // extern "C"
