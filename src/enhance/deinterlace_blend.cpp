// Motion-weighted blend deinterlacer: the weight table of its state and the
// exported shells.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#include "enhance/deinterlace.h"
#include "frame/core.h"
#include "util/util.h"

namespace vek::enhance {

namespace {

constexpr int kTableEntries = 512;

// The fixed-point arithmetic of the builder is 32-bit and wraps, as the
// accumulation of the table entries does.
inline Vek32s add32(Vek32s a, Vek32s b) {
    return static_cast<Vek32s>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline Vek32s sub32(Vek32s a, Vek32s b) {
    return static_cast<Vek32s>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
inline Vek32s mul32(Vek32s a, Vek32s b) {
    return static_cast<Vek32s>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// Truncation towards zero; a value beyond 32 bits, or not a number, gives
// -2^31 as the processor's conversion does.
inline Vek32s trunc32(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
    return static_cast<Vek32s>(v);
}

void* alloc_bytes(Vek32s bytes) { return veksMalloc_8u(bytes); }

}  // namespace

void build_blend_table(DeinterlaceBlendState& state, const Vek32s threshold[2], const double constant[2]) {
    Vek16u* table = state.pTable;
    const Vek32s t0 = threshold[0], t1 = threshold[1];
    const double c1 = constant[1];
    if (t0 == t1) {
        // A step: no weight below the level, full weight from it on.
        for (int i = 0; i < 256; ++i) {
            table[i] = static_cast<Vek16u>(i < t0 ? 0 : 256);
            table[256 + i] = static_cast<Vek16u>(256 - table[i]);
        }
        state.lowerLimit = t0;
        state.upperLimit = sub32(t0, 1);
        return;
    }
    const double s = std::fabs((c1 - constant[0]) / (static_cast<double>(t1) - static_cast<double>(t0)));
    const double b = c1 - s * t1;
    Vek32s slope = trunc32(s * 256 + 0.5);
    Vek32s offset = b > 0 ? trunc32(b * 256 + 0.5) : trunc32(b * 256 - 0.5);
    Vek32s upper = 255, lower = 0;
    if (offset >= 257) {
        offset = 256;
        slope = 0;
    } else if (slope == 0) {
        if (offset < 0) {
            lower = 256;
            offset = 0;
        }
    } else {
        const Vek32s top = std::min(add32(mul32(slope, 255), offset), 256);
        if (top < 0) {
            lower = 256;
            slope = 0;
            offset = 0;
        } else {
            if (sub32(top, offset) > 32767) {
                // Keep the line within a 16-bit span: raise the start and aim
                // the line at the upper weight again.
                offset = top - 32767;
                slope = trunc32((c1 * 256 - offset) / t1);
            }
            if (slope <= 0) {
                // A line from below zero that never rises: no weight anywhere
                // (and no division by a zero slope).
                lower = 256;
            } else {
                const Vek32s span = sub32(256, offset);
                Vek32s q = span / slope;
                if (span < 0) q = sub32(q, 1);
                upper = std::min(q, 255);
                Vek32s p = sub32(0, offset) / slope;
                if (offset < 0) p = add32(p, 1);
                lower = std::max(p, 0);
            }
        }
    }
    Vek32s weight = offset;
    for (int i = 0; i < 256; ++i) {
        const Vek32s w = std::clamp(weight, 0, 256);
        table[i] = static_cast<Vek16u>(w);
        table[256 + i] = static_cast<Vek16u>(256 - w);
        weight = add32(weight, slope);
    }
    state.slope = slope;
    state.offset = offset;
    state.upperLimit = upper;
    state.lowerLimit = lower;
}

VekStatus blend_state_init_alloc(VekRoi roi, Vek32s pThreshold[2], double pConstant[2], DeinterlaceBlendState** ppState,
                                 StateAllocFn* alloc_record, StateAllocFn* alloc_table) {
    if (!ppState) return vekStsNullPtrErr;
    if (!pThreshold || !pConstant) return vekStsNullPtrErr;
    if (roi.width < 3 || roi.height < 3) return vekStsSizeErr;
    auto* state = static_cast<DeinterlaceBlendState*>(alloc_record(sizeof(DeinterlaceBlendState)));
    if (!state) return vekStsNoMemErr;
    *state = DeinterlaceBlendState{};
    // The record stays with the caller even when its table can't be had;
    // the free function takes it back.
    *ppState = state;
    state->pTable = static_cast<Vek16u*>(alloc_table(kTableEntries * sizeof(Vek16u)));
    if (!state->pTable) return vekStsNoMemErr;
    // The caller sees its pairs ordered and limited.
    if (pThreshold[0] > pThreshold[1]) std::swap(pThreshold[0], pThreshold[1]);
    if (pConstant[0] > pConstant[1]) std::swap(pConstant[0], pConstant[1]);
    if (pConstant[1] > 32767.0) pConstant[1] = 32767.0;
    if (pConstant[0] < -32768.0) pConstant[0] = -32768.0;
    build_blend_table(*state, pThreshold, pConstant);
    return vekStsOk;
}

VekStatus blend(const Vek8u* const pSrc[3], Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi, Vek32s firstField,
                Vek32s topField, Vek32s copyField, DeinterlaceBlendState* pState, const DeinterlaceTable& kernels) {
    if (!pSrc || !pDst || !pState) return vekStsNullPtrErr;
    if (!pSrc[0] || !pSrc[1] || !pSrc[2]) return vekStsNullPtrErr;
    if (!pState->pTable) return vekStsNullPtrErr;
    if (roi.width < 3 || roi.height < 3) return vekStsSizeErr;
    const int w = roi.width, h = roi.height;
    const int top = topField != 0 ? 1 : 0;
    const std::ptrdiff_t ss = srcStep, ds = dstStep;
    const Vek8u* cur = pSrc[1];
    const auto src_row = [ss](const Vek8u* plane, int y) { return plane + y * ss; };
    const auto dst_row = [pDst, ds](int y) { return pDst + y * ds; };

    // Kept rows: even rows for topField 0, odd rows otherwise; row 0 has no
    // row above it, so it is copied whichever field is kept.
    if (copyField != 0) {
        const VekRoi kept{w, top ? h >> 1 : (h + 1) >> 1};
        vekiCopy_8u_C1R(src_row(cur, top), 2 * srcStep, dst_row(top), 2 * dstStep, kept);
    }
    if (top) std::memcpy(pDst, cur, static_cast<std::size_t>(w));

    // Computed rows with a row below them: from 1 (topField 0) or 2, by 2.
    const int first = 1 + top;
    const int count = (h - 1 - top) >> 1;
    if (pState->upperLimit < 0) {
        // Full spatial weight everywhere: edge detection on the kept field.
        edge_detect_rows(src_row(cur, top ? 3 : 0), 2 * ss, dst_row(first), 2 * ds, w, count, top ? 0 : 1,
                         kernels.edge_row);
    } else if (pState->lowerLimit >= 256) {
        // No spatial weight anywhere: the vertical median alone.
        if (count > 0) {
            const Vek8u* const planes[3] = {src_row(cur, first - 1), src_row(cur, first), src_row(cur, first + 1)};
            vekiMedian_8u_P3C1R(planes, 2 * srcStep, dst_row(first), 2 * dstStep, VekRoi{w, count});
        }
    } else {
        const Vek8u* other = firstField == topField ? pSrc[0] : pSrc[2];
        BlendRowFn* row_fn = w <= 17 ? deinterlace_reference_kernels().blend_row : kernels.blend_row;
        BlendWeights paired;
        pair_blend_weights(pState->pTable, paired);
        const Vek32u* weights = paired.data();
        for (int y = first, i = 0; i < count; y += 2, ++i) {
            const BlendRows rows{src_row(cur, y - 1),     src_row(cur, y),         src_row(cur, y + 1),
                                 src_row(other, y),       src_row(pSrc[0], y - 1), src_row(pSrc[0], y + 1),
                                 src_row(pSrc[2], y - 1), src_row(pSrc[2], y + 1)};
            Vek8u* d = dst_row(y);
            row_fn(rows, weights, d, w);
            // The border columns take the kept row on the far side as their spatial value.
            const Vek8u* side = top ? rows.below : rows.above;
            d[0] = static_cast<Vek8u>(blend_value(rows, weights, 0, side[0]));
            d[w - 1] = static_cast<Vek8u>(blend_value(rows, weights, w - 1, side[w - 1]));
        }
    }
    // A computed last row has no row below it: it keeps the current frame's.
    if ((h & 1) == top) std::memcpy(dst_row(h - 1), src_row(cur, h - 1), static_cast<std::size_t>(w));
    return vekStsOk;
}

}  // namespace vek::enhance

using namespace vek::enhance;

VekStatus vekiDeinterlaceBlendInitAlloc_8u_C1(VekRoi roi, Vek32s pThreshold[2], double pConstant[2],
                                              DeinterlaceBlendState** ppState) {
    return blend_state_init_alloc(roi, pThreshold, pConstant, ppState, alloc_bytes, alloc_bytes);
}

VekStatus vekiDeinterlaceBlendFree_8u_C1(DeinterlaceBlendState* pState) {
    if (!pState) return vekStsNullPtrErr;
    veksFree(pState->pTable);
    veksFree(pState);
    return vekStsOk;
}

VekStatus vekiDeinterlaceBlend_8u_C1(const Vek8u* const pSrc[3], Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                     VekRoi roi, Vek32s firstField, Vek32s topField, Vek32s copyField,
                                     DeinterlaceBlendState* pState) {
    return blend(pSrc, srcStep, pDst, dstStep, roi, firstField, topField, copyField, pState, deinterlace_kernels());
}
