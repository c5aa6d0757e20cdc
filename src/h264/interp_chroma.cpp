// Eighth-sample chroma interpolation: reference kernels, tables and the
// exported plain, Top/Bottom and Block functions.
#include "h264/interp_chroma.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/dispatch.h"
#include "h264/read_boundary.h"

namespace vek::h264 {

namespace {

template <class T>
inline T chroma_sample(const T* s, std::ptrdiff_t step, int kind, int dx, int dy) {
    const int a = s[0];
    switch (kind) {
    case 0:
        return static_cast<T>(a);
    case 1:
        return static_cast<T>(((8 - dx) * a + dx * s[1] + 4) >> 3);
    case 2:
        return static_cast<T>(((8 - dy) * a + dy * s[step] + 4) >> 3);
    default:
        return static_cast<T>(((8 - dx) * (8 - dy) * a + dx * (8 - dy) * s[1] + (8 - dx) * dy * s[step] +
                               dx * dy * s[step + 1] + 32) >>
                              6);
    }
}

template <int W, int K>
VekStatus chroma_8u_c(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s frac, Vek32s height) {
    const int dx = frac & 7, dy = frac >> 3;
    for (int y = 0; y < height; ++y, src += srcStep, dst += dstStep)
        for (int x = 0; x < W; ++x) dst[x] = chroma_sample(src + x, srcStep, K, dx, dy);
    return vekStsOk;
}

template <int W, int K>
void split_nv12_c(const Vek8u* src, Vek32s srcStep, Vek8u* planes, Vek32s height) {
    const int cols = W + (K & 1), rows = height + (K >> 1);
    for (int y = 0; y < rows; ++y, src += srcStep)
        for (int x = 0; x < cols; ++x) {
            planes[y * kSplitPitch + x] = src[2 * x];
            planes[kSplitSecond + y * kSplitPitch + x] = src[2 * x + 1];
        }
}

template <int K>
void chroma_16u_c(const Vek16u* src, Vek32s srcStep, Vek16u* dst, Vek32s dstStep, Vek32s dx, Vek32s dy,
                  Vek32s width, Vek32s height) {
    for (int y = 0; y < height; ++y, src += srcStep, dst += dstStep)
        for (int x = 0; x < width; ++x) dst[x] = chroma_sample(src + x, srcStep, K, dx, dy);
}

template <int W>
void fill_row(ChromaInterpTable& t, int row) {
    t.chroma_8u[row * 4 + 0] = chroma_8u_c<W, 0>;
    t.chroma_8u[row * 4 + 1] = chroma_8u_c<W, 1>;
    t.chroma_8u[row * 4 + 2] = chroma_8u_c<W, 2>;
    t.chroma_8u[row * 4 + 3] = chroma_8u_c<W, 3>;
    t.nv12touv_8u[row * 4 + 0] = split_nv12_c<W, 0>;
    t.nv12touv_8u[row * 4 + 1] = split_nv12_c<W, 1>;
    t.nv12touv_8u[row * 4 + 2] = split_nv12_c<W, 2>;
    t.nv12touv_8u[row * 4 + 3] = split_nv12_c<W, 3>;
}

ChromaInterpTable reference_chroma_interp_table() {
    ChromaInterpTable t{};
    fill_row<2>(t, 0);
    fill_row<4>(t, 1);
    fill_row<8>(t, 2);
    fill_row<8>(t, 3);
    t.chroma_16u = {chroma_16u_c<0>, chroma_16u_c<1>, chroma_16u_c<2>, chroma_16u_c<3>};
    t.chroma_16u_full = chroma_16u_c<3>;
    return t;
}

}  // namespace

ChromaInterpTable make_chroma_interp_table(CpuFlags flags) {
    ChromaInterpTable t = reference_chroma_interp_table();
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_chroma_interp_table_sse41, init_chroma_interp_table_avx2);
    for (int width = 0; width < 16; width += 4)
        for (int frac = 0; frac < 64; ++frac)
            t.chroma_8u_by_frac[chroma_frac_index_8u(width, frac)] =
                t.chroma_8u[chroma_index_8u(width, frac & 7, frac >> 3)];
    return t;
}

namespace {
// Built once while the library loads: a function-local static would put a
// guard test (and the registers its slow path needs) on every call.
const ChromaInterpTable kChromaKernels = make_chroma_interp_table(cpu_flags());
}  // namespace

const ChromaInterpTable& chroma_interp_kernels() { return kChromaKernels; }

void launch_h264_interpolate_chroma_nv12touv(const ChromaInterpTable& t, int index, const Vek8u* src,
                                            Vek32s srcStep, Vek8u* dst0, Vek8u* dst1, Vek32s dstStep, Vek32s dx,
                                            Vek32s dy, Vek32s height) {
    alignas(16) Vek8u planes[2 * kSplitSecond];
    const Vek32s frac = chroma_frac(dx, dy);
    // The temporary planes hold 20 rows; taller blocks go in strips, which
    // gives the same samples.
    constexpr int kStrip = kSplitRows - 4;
    for (int row = 0; row < height; row += kStrip) {
        const int n = std::min(kStrip, height - row);
        t.nv12touv_8u[index](src + static_cast<std::ptrdiff_t>(row) * srcStep, srcStep, planes, n);
        t.chroma_8u[index](planes, kSplitPitch, dst0 + static_cast<std::ptrdiff_t>(row) * dstStep, dstStep, frac, n);
        t.chroma_8u[index](planes + kSplitSecond, kSplitPitch, dst1 + static_cast<std::ptrdiff_t>(row) * dstStep,
                           dstStep, frac, n);
    }
}

}  // namespace vek::h264

using vek::h264::chroma_index_8u;
using vek::h264::chroma_interp_kernels;
using vek::h264::chroma_frac;
using vek::h264::chroma_frac_index_8u;
using vek::h264::chroma_kind;

namespace {

// An odd height or a width bit other than 1 to 3: one test of the record as
// a word (width low, height high), which needs no register but the mask's.
bool bad_size_8u(VekRoi roi) {
    static_assert(sizeof(VekRoi) == 8 && offsetof(VekRoi, width) == 0 && offsetof(VekRoi, height) == 4);
    std::uint64_t sizes;
    std::memcpy(&sizes, &roi, sizeof sizes);
    return (sizes & 0x1'FFFF'FFF1ull) != 0;
}

bool bad_size_16u(Vek32s width, Vek32s height) {
    auto ok = [](Vek32s v) { return v == 2 || v == 4 || v == 8 || v == 16; };
    return !ok(width) || !ok(height);
}

// Top and Bottom, 8-bit: the block's rows come from a temporary block of
// pitch 16 whose row i copies source row r(i); `width` + 4 samples are copied
// per row when dx is not 0.
template <class RowOf>
VekStatus interpolate_chroma_rows_8u(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, Vek32s dx,
                                     Vek32s dy, VekRoi roi, RowOf row_of) {
    const auto& t = chroma_interp_kernels();
    const int index = chroma_index_8u(roi.width, dx, dy);
    const int cols = dx ? roi.width + 4 : roi.width;
    constexpr int kPitch = 16, kStrip = 16;
    // A row may be wider than the pitch (widths 12 and 14 copy 16 and 18
    // samples); the next row overwrites the overflow, which lies beyond the
    // columns the 8-wide kernel reads. The slack keeps the last row in bounds.
    alignas(16) Vek8u temp[kPitch * (kStrip + 1) + kPitch];
    for (int first = 0; first < roi.height; first += kStrip) {
        const int n = std::min(kStrip, roi.height - first);
        const int rows = n + (dy ? 1 : 0);
        for (int i = 0; i < rows; ++i)
            std::memcpy(temp + i * kPitch, pSrc + static_cast<std::ptrdiff_t>(row_of(first + i)) * srcStep,
                        static_cast<std::size_t>(cols));
        t.chroma_8u[index](temp, kPitch, pDst + static_cast<std::ptrdiff_t>(first) * dstStep, dstStep,
                           chroma_frac(dx, dy), n);
    }
    return vekStsOk;
}

VekStatus check_chroma_8u(const void* pSrc, const void* pDst, Vek32s dx, Vek32s dy, VekRoi roi) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (static_cast<Vek32u>(dx | dy) > 7) return vekStsBadArgErr;  // either negative or above 7
    if (bad_size_8u(roi)) return vekStsSizeErr;
    return vekStsOk;
}

VekStatus check_chroma_16u(const VekInterpolationLuma_16u* p) {
    if (!p || !p->pSrc || !p->pDst) return vekStsNullPtrErr;
    // The step test is against 8 elements, not against the width.
    if (p->srcStep < 8 || p->dstStep < 8) return vekStsStepErr;
    if (p->dx < 0 || p->dx > 7 || p->dy < 0 || p->dy > 7) return vekStsBadArgErr;
    if (bad_size_16u(p->width, p->height)) return vekStsSizeErr;
    return vekStsOk;
}

void own_InterpolateChroma_H264_16u(const Vek16u* src, Vek32s srcStep, const VekInterpolationLuma_16u* p) {
    chroma_interp_kernels().chroma_16u_full(src, srcStep, p->pDst, p->dstStep, p->dx, p->dy, p->width, p->height);
}

// Top and Bottom, 16-bit: copies the luma window (width + 5 columns from -2
// when dx is not 0, height + 5 rows with two above when dy is not 0, pitch 32)
// and runs the chroma filter from row D, column 2.
template <class RowOf>
VekStatus interpolate_chroma_rows_16u(const VekInterpolationLuma_16u* p, RowOf row_of) {
    constexpr int kPitch = 32;
    alignas(64) Vek16u temp[kPitch * 22] = {};
    const int d = p->dy ? 2 : 0, left = p->dx ? 2 : 0;
    const int rows = p->height + (p->dy ? 5 : 0), cols = p->width + (p->dx ? 5 : 0);
    for (int i = 0; i < rows; ++i)
        std::memcpy(temp + i * kPitch, p->pSrc + static_cast<std::ptrdiff_t>(row_of(i, d)) * p->srcStep - left,
                    sizeof(Vek16u) * static_cast<std::size_t>(cols));
    own_InterpolateChroma_H264_16u(temp + d * kPitch + left, kPitch, p);
    return vekStsOk;
}

}  // namespace

// The kernel's status is the call's: the shell ends in a jump to it.
VekStatus vekiInterpolateChroma_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                            Vek32s dx, Vek32s dy, VekRoi roi) {
    if (const VekStatus st = check_chroma_8u(pSrc, pDst, dx, dy, roi); st != vekStsOk) return st;
    const Vek32s frac = chroma_frac(dx, dy);
    return chroma_interp_kernels().chroma_8u_by_frac[chroma_frac_index_8u(roi.width, frac)](
        pSrc, srcStep, pDst, dstStep, frac, roi.height);
}

VekStatus vekiInterpolateChroma_H264_8u_C2P2R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDstFirst,
                                              Vek8u* pDstSecond, Vek32s dstStep, Vek32s dx, Vek32s dy, VekRoi roi) {
    if (!pSrc || !pDstFirst || !pDstSecond) return vekStsNullPtrErr;
    if (const VekStatus st = check_chroma_8u(pSrc, pDstFirst, dx, dy, roi); st != vekStsOk) return st;
    const auto& t = chroma_interp_kernels();
    vek::h264::launch_h264_interpolate_chroma_nv12touv(t, chroma_index_8u(roi.width, dx, dy), pSrc, srcStep,
                                                       pDstFirst, pDstSecond, dstStep, dx, dy, roi.height);
    return vekStsOk;
}

VekStatus vekiInterpolateChromaTop_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                               Vek32s dx, Vek32s dy, Vek32s outPixels, VekRoi roi) {
    if (const VekStatus st = check_chroma_8u(pSrc, pDst, dx, dy, roi); st != vekStsOk) return st;
    // A negative outPixels moves the whole block up rather than clamping,
    // unlike the luma Top function; callers rely on that.
    return interpolate_chroma_rows_8u(pSrc, srcStep, pDst, dstStep, dx, dy, roi, [outPixels](int i) {
        return outPixels > 0 ? std::max(i, outPixels) : i + outPixels;
    });
}

VekStatus vekiInterpolateChromaBottom_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                                  Vek32s dx, Vek32s dy, Vek32s outPixels, VekRoi roi) {
    if (const VekStatus st = check_chroma_8u(pSrc, pDst, dx, dy, roi); st != vekStsOk) return st;
    const int last = roi.height - 1 - outPixels;
    return interpolate_chroma_rows_8u(pSrc, srcStep, pDst, dstStep, dx, dy, roi,
                                      [last](int i) { return std::min(i, last); });
}

VekStatus vekiInterpolateChroma_H264_16u_C1R(const VekInterpolationLuma_16u* pParams) {
    if (const VekStatus st = check_chroma_16u(pParams); st != vekStsOk) return st;
    own_InterpolateChroma_H264_16u(pParams->pSrc, pParams->srcStep, pParams);
    return vekStsOk;
}

VekStatus vekiInterpolateChromaTop_H264_16u_C1R(const VekInterpolationLuma_16u* pParams, Vek32s outPixels) {
    if (const VekStatus st = check_chroma_16u(pParams); st != vekStsOk) return st;
    return interpolate_chroma_rows_16u(pParams, [outPixels](int i, int d) { return std::max(i - d, outPixels); });
}

VekStatus vekiInterpolateChromaBottom_H264_16u_C1R(const VekInterpolationLuma_16u* pParams, Vek32s outPixels) {
    if (const VekStatus st = check_chroma_16u(pParams); st != vekStsOk) return st;
    const int last = pParams->height - 1 - outPixels;
    return interpolate_chroma_rows_16u(pParams, [last](int i, int d) { return std::min(i - d, last); });
}

// ---- Block functions ---------------------------------------------------------

namespace {

struct ChromaBlockGeometry {
    int dx, dy, xPos, yPos, dataWidth, dataHeight, mask;
};

ChromaBlockGeometry chroma_geometry(const VekPoint& mv, const VekPoint& pos, const VekRoi& block,
                                    const VekRoi& frame) {
    ChromaBlockGeometry g{};
    g.dx = mv.x & 7;
    g.dy = mv.y & 7;
    g.xPos = (mv.x >> 3) + pos.x;  // arithmetic: negative vectors floor
    g.yPos = (mv.y >> 3) + pos.y;
    g.dataWidth = block.width + (g.dx ? 1 : 0);
    g.dataHeight = block.height + (g.dy ? 1 : 0);
    g.mask = vek::h264::side_mask(g.xPos, g.yPos, g.dataWidth, g.dataHeight, frame.width, frame.height);
    return g;
}

// The work record of a Block function's edge path.
template <class Block>
VekInterpolationParams chroma_work(const Block* b, const ChromaBlockGeometry& g, int type, const void* src_second,
                                   void* dst_second) {
    VekInterpolationParams w{};
    w.pSrc = b->pSrc[0];
    w.pSrcSecond = src_second;
    w.srcStep = b->srcStep;
    w.pDst = b->pDst[0];
    w.pDstSecond = dst_second;
    w.dstStep = b->dstStep;
    w.hFraction = g.dx;
    w.vFraction = g.dy;
    w.width = b->blockSize.width;
    w.height = b->blockSize.height;
    w.interpolationType = type;
    w.xPos = g.xPos;
    w.yPos = g.yPos;
    w.dataWidth = g.dataWidth;
    w.dataHeight = g.dataHeight;
    w.frameWidth = b->frameSize.width;
    w.frameHeight = b->frameSize.height;
    return w;
}

// Rows per pass of the boundary path's local rectangle.
constexpr int kRectRows = 32;

}  // namespace

namespace {

// Both planes through the same local rectangle: the first plane is read, then
// interpolated into pDst; the second plane is read from where the first read
// left the rectangle's position and interpolated into pDstSecond. Blocks
// taller than the rectangle go in strips, which gives the same samples.
template <class T, class Run>
void boundary_two_planes(Vek32s sideMask, VekInterpolationParams* pWork, const vek::h264::ReadBoundaryTable& read,
                         Run run) {
    const int pitch = (pWork->dataWidth + 15) & ~15;
    alignas(16) T rect[32 * (kRectRows + 1)];
    const void* planes[2] = {pWork->pSrc, pWork->pSrcSecond};
    T* dsts[2] = {static_cast<T*>(pWork->pDst), static_cast<T*>(pWork->pDstSecond)};
    for (int k = 0; k < 2; ++k) {
        VekInterpolationParams w = *pWork;
        w.pSrc = planes[k];
        w.pDst = rect;
        w.dstStep = pitch;
        if (pWork->height <= kRectRows) {
            read[sideMask](&w);
            pWork->xPos = w.xPos;
            pWork->yPos = w.yPos;
            run(rect, pitch, dsts[k], pWork->height);
            continue;
        }
        for (int row = 0; row < pWork->height; row += kRectRows) {
            const int n = std::min(kRectRows, pWork->height - row);
            w.xPos = pWork->xPos;
            w.yPos = pWork->yPos + row;
            w.dataHeight = n + (pWork->vFraction ? 1 : 0);
            read[vek::h264::side_mask(w.xPos, w.yPos, w.dataWidth, w.dataHeight, w.frameWidth, w.frameHeight)](&w);
            run(rect, pitch, dsts[k] + static_cast<std::ptrdiff_t>(row) * pWork->dstStep, n);
        }
    }
}

}  // namespace

// Boundary path of the 8-bit planar Block function.
VekStatus vekiInterpolateBoundaryChromaBlock_H264_8u(Vek32s sideMask, VekInterpolationParams* pWork) {
    const auto& t = chroma_interp_kernels();
    const auto* p = pWork;
    boundary_two_planes<Vek8u>(sideMask, pWork, vek::h264::read_data_through_boundary_table_8u(),
                               [&](const Vek8u* rect, int pitch, Vek8u* dst, int n) {
                                   t.chroma_8u[p->interpolationType](rect, pitch, dst, static_cast<Vek32s>(p->dstStep),
                                                                     chroma_frac(p->hFraction, p->vFraction),
                                                                     n);
                               });
    return vekStsOk;
}

// Boundary path of the 16-bit Block function; steps and positions in elements.
VekStatus vekiInterpolateBoundaryChromaBlock_H264_16u(Vek32s sideMask, VekInterpolationParams* pWork) {
    const auto& t = chroma_interp_kernels();
    const auto* p = pWork;
    boundary_two_planes<Vek16u>(sideMask, pWork, vek::h264::read_data_through_boundary_table_16u(),
                                [&](const Vek16u* rect, int pitch, Vek16u* dst, int n) {
                                    t.chroma_16u[p->interpolationType](rect, pitch, dst,
                                                                       static_cast<Vek32s>(p->dstStep), p->hFraction,
                                                                       p->vFraction, p->width, n);
                                });
    return vekStsOk;
}

// Boundary path of the interleaved Block function: the pair reader fills a
// rectangle of pitch 32 bytes, which is then split and interpolated.
VekStatus vekiInterpolateBoundaryChromaBlock_NV12_H264_C2P2_8u(Vek32s sideMask, VekInterpolationParams* pWork) {
    const auto& t = chroma_interp_kernels();
    const auto& read = vek::h264::read_data_through_boundary_table_nv12_8u();
    constexpr int kPitch = 32;
    alignas(16) Vek8u rect[kPitch * (kRectRows + 1)];
    for (int row = 0; row < pWork->height; row += kRectRows) {
        const int n = std::min(kRectRows, pWork->height - row);
        VekInterpolationParams w = *pWork;
        w.pDst = rect;
        w.dstStep = kPitch;
        w.yPos = pWork->yPos + row;
        w.dataHeight = n + (pWork->vFraction ? 1 : 0);
        const int mask = pWork->height <= kRectRows ? sideMask
                                                    : vek::h264::side_mask(w.xPos, w.yPos, w.dataWidth, w.dataHeight,
                                                                           w.frameWidth, w.frameHeight);
        read[mask](&w);
        vek::h264::launch_h264_interpolate_chroma_nv12touv(
            t, pWork->interpolationType, rect, kPitch,
            static_cast<Vek8u*>(pWork->pDst) + static_cast<std::ptrdiff_t>(row) * pWork->dstStep,
            static_cast<Vek8u*>(pWork->pDstSecond) + static_cast<std::ptrdiff_t>(row) * pWork->dstStep,
            static_cast<Vek32s>(pWork->dstStep), pWork->hFraction, pWork->vFraction, n);
    }
    return vekStsOk;
}

VekStatus vekiInterpolateChromaBlock_H264_8u_P2R(const VekInterpolationBlock_8u* pParams) {
    if (!pParams) return vekStsNullPtrErr;
    if (!pParams->pSrc[0] || !pParams->pSrc[1] || !pParams->pDst[0] || !pParams->pDst[1]) return vekStsNullPtrErr;
    const VekRoi block = pParams->blockSize;
    if (bad_size_8u(block)) return vekStsSizeErr;
    const auto& t = chroma_interp_kernels();
    const Vek32s step = pParams->srcStep;
    if (pParams->motionVector.x == 0 && pParams->motionVector.y == 0) {
        // No edge check for a zero vector: the block is read where it stands.
        const std::ptrdiff_t off = static_cast<std::ptrdiff_t>(pParams->blockPos.y) * step + pParams->blockPos.x;
        auto* copy = t.chroma_8u[chroma_index_8u(block.width, 0, 0)];
        copy(pParams->pSrc[0] + off, step, pParams->pDst[0], pParams->dstStep, 0, block.height);
        copy(pParams->pSrc[1] + off, step, pParams->pDst[1], pParams->dstStep, 0, block.height);
        return vekStsOk;
    }
    const ChromaBlockGeometry g = chroma_geometry(pParams->motionVector, pParams->blockPos, block, pParams->frameSize);
    const int index = chroma_index_8u(block.width, g.dx, g.dy);
    if (g.mask == 0) {
        const std::ptrdiff_t off = static_cast<std::ptrdiff_t>(g.yPos) * step + g.xPos;
        const Vek32s frac = chroma_frac(g.dx, g.dy);
        t.chroma_8u[index](pParams->pSrc[0] + off, step, pParams->pDst[0], pParams->dstStep, frac, block.height);
        t.chroma_8u[index](pParams->pSrc[1] + off, step, pParams->pDst[1], pParams->dstStep, frac, block.height);
        return vekStsOk;
    }
    VekInterpolationParams w = chroma_work(pParams, g, index, pParams->pSrc[1], pParams->pDst[1]);
    return vekiInterpolateBoundaryChromaBlock_H264_8u(g.mask, &w);
}

VekStatus vekiInterpolateChromaBlock_H264_16u_P2R(const VekInterpolationBlock_16u* pParams) {
    if (!pParams) return vekStsNullPtrErr;
    if (!pParams->pSrc[0] || !pParams->pSrc[1] || !pParams->pDst[0] || !pParams->pDst[1]) return vekStsNullPtrErr;
    const VekRoi block = pParams->blockSize;
    if (bad_size_8u(block)) return vekStsSizeErr;
    const auto& t = chroma_interp_kernels();
    const Vek32s step = pParams->srcStep;
    if (pParams->motionVector.x == 0 && pParams->motionVector.y == 0) {
        const std::ptrdiff_t off = static_cast<std::ptrdiff_t>(pParams->blockPos.y) * step + pParams->blockPos.x;
        for (int k = 0; k < 2; ++k)
            t.chroma_16u[0](pParams->pSrc[k] + off, step, pParams->pDst[k], pParams->dstStep, 0, 0, block.width,
                            block.height);
        return vekStsOk;
    }
    const ChromaBlockGeometry g = chroma_geometry(pParams->motionVector, pParams->blockPos, block, pParams->frameSize);
    const int kind = chroma_kind(g.dx, g.dy);
    if (g.mask == 0) {
        const std::ptrdiff_t off = static_cast<std::ptrdiff_t>(g.yPos) * step + g.xPos;
        for (int k = 0; k < 2; ++k)
            t.chroma_16u[kind](pParams->pSrc[k] + off, step, pParams->pDst[k], pParams->dstStep, g.dx, g.dy,
                               block.width, block.height);
        return vekStsOk;
    }
    VekInterpolationParams w = chroma_work(pParams, g, kind, pParams->pSrc[1], pParams->pDst[1]);
    w.bitDepth = pParams->bitDepth;
    return vekiInterpolateBoundaryChromaBlock_H264_16u(g.mask, &w);
}

VekStatus vekiInterpolateChromaBlock_H264_8u_C2P2R(const VekInterpolationBlock_8u* pParams) {
    if (!pParams) return vekStsNullPtrErr;
    // pDst[1] is not tested here; the caller must give both destinations.
    if (!pParams->pSrc[0] || !pParams->pDst[0]) return vekStsNullPtrErr;
    const VekRoi block = pParams->blockSize;
    if (bad_size_8u(block)) return vekStsSizeErr;
    const auto& t = chroma_interp_kernels();
    const Vek32s step = pParams->srcStep;
    if (pParams->motionVector.x == 0 && pParams->motionVector.y == 0) {
        const std::ptrdiff_t off = static_cast<std::ptrdiff_t>(pParams->blockPos.y) * step + 2 * pParams->blockPos.x;
        vek::h264::launch_h264_interpolate_chroma_nv12touv(t, chroma_index_8u(block.width, 0, 0), pParams->pSrc[0] + off,
                                                           step, pParams->pDst[0], pParams->pDst[1], pParams->dstStep,
                                                           0, 0, block.height);
        return vekStsOk;
    }
    // Positions and the frame width count pairs.
    const ChromaBlockGeometry g = chroma_geometry(pParams->motionVector, pParams->blockPos, block, pParams->frameSize);
    const int index = chroma_index_8u(block.width, g.dx, g.dy);
    if (g.mask == 0) {
        const std::ptrdiff_t off = static_cast<std::ptrdiff_t>(g.yPos) * step + 2 * g.xPos;
        vek::h264::launch_h264_interpolate_chroma_nv12touv(t, index, pParams->pSrc[0] + off, step, pParams->pDst[0],
                                                           pParams->pDst[1], pParams->dstStep, g.dx, g.dy, block.height);
        return vekStsOk;
    }
    VekInterpolationParams w = chroma_work(pParams, g, index, nullptr, pParams->pDst[1]);
    return vekiInterpolateBoundaryChromaBlock_NV12_H264_C2P2_8u(g.mask, &w);
}
