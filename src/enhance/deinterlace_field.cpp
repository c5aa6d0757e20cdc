// Deinterlacers that work inside one picture (edge detection, thresholded
// median, triangle filter) and the four-frame motion-adaptive one.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "enhance/deinterlace.h"
#include "util/util.h"

namespace vek::enhance {

namespace {

// One edge-detected row: the kernel fills the inner columns, the two border
// columns come from `edge`.
void edge_row_full(const Vek8u* above, const Vek8u* below, const Vek8u* edge, Vek8u* dst, int width,
                   EdgeRowFn* kernel) {
    if (width >= 3) kernel(above, below, dst, width);
    dst[0] = edge[0];
    dst[width - 1] = edge[width - 1];
}

inline const Vek8u* at(const Vek8u* p, std::ptrdiff_t step, std::ptrdiff_t y) { return p + y * step; }
inline Vek8u* at(Vek8u* p, std::ptrdiff_t step, std::ptrdiff_t y) { return p + y * step; }

void copy_row(const Vek8u* src, Vek8u* dst, int width) { std::memcpy(dst, src, static_cast<std::size_t>(width)); }

}  // namespace

void edge_detect_rows(const Vek8u* pSrc, std::ptrdiff_t srcStep, Vek8u* pDst, std::ptrdiff_t dstStep, int width,
                      int rows, int fieldNum, EdgeRowFn* kernel) {
    // fieldNum shifts the source pair as a number: 0 reads rows y - 1 and y, 1 rows y and y + 1.
    for (int y = 0; y < rows; ++y) {
        const std::ptrdiff_t a = static_cast<std::ptrdiff_t>(y) - 1 + fieldNum;
        edge_row_full(at(pSrc, srcStep, a), at(pSrc, srcStep, a + 1), at(pSrc, srcStep, y), at(pDst, dstStep, y), width,
                      kernel);
    }
}

VekStatus edge_detect(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi, Vek32s fieldNum,
                      Vek32s copyBorder, const DeinterlaceTable& kernels) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return vekStsSizeErr;
    const int w = roi.width, h = roi.height;
    EdgeRowFn* kernel = kernels.edge_row;
    if (copyBorder == 0) {
        edge_detect_rows(pSrc, srcStep, pDst, dstStep, w, h, fieldNum, kernel);
    } else if (fieldNum == 0) {
        // The first row has nothing above it inside the picture.
        copy_row(pSrc, pDst, w);
        for (int y = 1; y < h; ++y)
            edge_row_full(at(pSrc, srcStep, y - 1), at(pSrc, srcStep, y), at(pSrc, srcStep, y), at(pDst, dstStep, y), w,
                          kernel);
    } else {
        // The last row has nothing below it inside the picture.
        for (int y = 0; y < h - 1; ++y)
            edge_row_full(at(pSrc, srcStep, y), at(pSrc, srcStep, y + 1), at(pSrc, srcStep, y + 1),
                          at(pDst, dstStep, y), w, kernel);
        copy_row(at(pSrc, srcStep, h - 1), at(pDst, dstStep, h - 1), w);
    }
    return vekStsOk;
}

VekStatus median_threshold(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi, Vek32s threshold,
                           Vek32s fieldNum, Vek32s copyBorder, const DeinterlaceTable& kernels) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (roi.width < 1 || roi.height < 2) return vekStsSizeErr;
    const int w = roi.width, h = roi.height;
    const VekRoi field{w, h / 2};
    if (fieldNum != 1) {
        // The odd field lands at pDst + srcStep: callers have always passed
        // equal steps, and the copy keeps addressing the destination that way.
        vekiCopy_8u_C1R(pSrc + srcStep, 2 * srcStep, pDst + srcStep, 2 * dstStep, field);
    } else {
        vekiCopy_8u_C1R(pSrc, 2 * srcStep, pDst, 2 * dstStep, field);
    }
    if (copyBorder != 0) {
        // Whole steps, not widths: the border copies take the padding along.
        veksCopy_8u(pSrc, pDst, srcStep);
        veksCopy_8u(at(pSrc, srcStep, h - 1), at(pDst, dstStep, h - 1), srcStep);
    }
    // Without a border the first computed row is fieldNum itself, taken as a number.
    const std::int64_t start = copyBorder == 0 ? fieldNum : (fieldNum == 1 ? 1 : 2);
    const std::int64_t end = copyBorder == 0 ? h : h - 1;
    MedianThresholdRowFn* kernel = kernels.median_threshold_row;
    for (std::int64_t y = start; y < end; y += 2)
        kernel(at(pSrc, srcStep, y - 1), at(pSrc, srcStep, y), at(pSrc, srcStep, y + 1), at(pDst, dstStep, y), w,
               threshold);
    return vekStsOk;
}

VekStatus motion_adaptive(const Vek8u* const pSrc[4], Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                          Vek32s threshold, Vek32s firstField, Vek32s topField, Vek32s copyField,
                          Vek32s artifactProtection, const DeinterlaceTable& kernels) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (!pSrc[0] || !pSrc[1] || !pSrc[2] || !pSrc[3]) return vekStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return vekStsSizeErr;
    const int w = roi.width, h = roi.height;
    // Rows of parity `top` are kept; any topField other than 1 keeps the even rows.
    const int top = topField == 1 ? 1 : 0;
    const bool first_is_top = firstField == topField;
    const Vek8u* kept = first_is_top ? pSrc[1] : pSrc[2];
    if (copyField != 0 && h / 2 > 0)
        vekiCopy_8u_C1R(at(kept, srcStep, top), 2 * srcStep, at(pDst, dstStep, top), 2 * dstStep, VekRoi{w, h / 2});
    // Computed rows without a neighbour on both sides keep the kept plane's row.
    if (top == 1) {
        copy_row(kept, pDst, w);
        if (h & 1) copy_row(at(kept, srcStep, h - 1), at(pDst, dstStep, h - 1), w);
    } else if ((h & 1) == 0) {
        copy_row(at(kept, srcStep, h - 1), at(pDst, dstStep, h - 1), w);
    }
    MotionRowFn* kernel = kernels.motion_row[artifactProtection != 0 ? kProtectionOn : kProtectionOff];
    // C is the sample of the computed row taken from the frame before the kept one.
    const Vek8u* c_plane = first_is_top ? pSrc[0] : pSrc[1];
    for (int y = 1 + top; y < h - 1; y += 2) {
        MotionRows rows{};
        for (int i = 0; i < 4; ++i) {
            rows.above[i] = at(pSrc[i], srcStep, y - 1);
            rows.below[i] = at(pSrc[i], srcStep, y + 1);
        }
        rows.c = at(c_plane, srcStep, y);
        rows.e = at(kept, srcStep, y);
        rows.u = at(kept, srcStep, y - 1);
        rows.d = at(kept, srcStep, y + 1);
        kernel(rows, at(pDst, dstStep, y), w, threshold);
    }
    return vekStsOk;
}

VekStatus filter_triangle(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                          Vek32u centerWeight, Vek32s layout, const DeinterlaceTable& kernels) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (roi.height < 3 || roi.width < 1) return vekStsSizeErr;
    const int w = roi.width, h = roi.height;
    const int c = centerWeight < 256u ? static_cast<int>(centerWeight) : 256;
    // Stripes of one picture: every stripe but the first also filters the
    // row above it, whose lower neighbour only this stripe holds; the last
    // row is written by the stripe below, except in the last stripe.
    enum : Vek32s { kFirstStripe = 1, kInnerStripe = 4, kLastStripe = 16 };
    const bool row_above = layout == kInnerStripe || layout == kLastStripe;
    const bool last_row = layout != kFirstStripe && layout != kInnerStripe;
    if (!row_above) copy_row(pSrc, pDst, w);
    TriangleRowFn* kernel = kernels.triangle_row;
    for (int y = row_above ? -1 : 1; y < h - 1; ++y)
        kernel(at(pSrc, srcStep, y - 1), at(pSrc, srcStep, y), at(pSrc, srcStep, y + 1), at(pDst, dstStep, y), w, c);
    if (last_row) copy_row(at(pSrc, srcStep, h - 1), at(pDst, dstStep, h - 1), w);
    return vekStsOk;
}

}  // namespace vek::enhance

using namespace vek::enhance;

VekStatus vekiDeinterlaceEdgeDetect_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                                           Vek32s fieldNum, Vek32s copyBorder) {
    return edge_detect(pSrc, srcStep, pDst, dstStep, roi, fieldNum, copyBorder, deinterlace_kernels());
}

VekStatus vekiDeinterlaceMedianThreshold_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                                VekRoi roi, Vek32s threshold, Vek32s fieldNum, Vek32s copyBorder) {
    return median_threshold(pSrc, srcStep, pDst, dstStep, roi, threshold, fieldNum, copyBorder, deinterlace_kernels());
}

VekStatus vekiDeinterlaceMotionAdaptive_8u_C1(const Vek8u* const pSrc[4], Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                              VekRoi roi, Vek32s threshold, Vek32s firstField, Vek32s topField,
                                              Vek32s copyField, Vek32s artifactProtection) {
    return motion_adaptive(pSrc, srcStep, pDst, dstStep, roi, threshold, firstField, topField, copyField,
                           artifactProtection, deinterlace_kernels());
}

VekStatus vekiDeinterlaceFilterTriangle_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                               VekRoi roi, Vek32u centerWeight, Vek32s layout) {
    return filter_triangle(pSrc, srcStep, pDst, dstStep, roi, centerWeight, layout, deinterlace_kernels());
}
