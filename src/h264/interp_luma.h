// Kernel tables of quarter-sample luma interpolation (8-bit and 16-bit).
//
// Positions are indexed 4 * dy + dx (dx, dy in quarter samples):
//   0 G   1 a   2 b   3 c
//   4 d   5 e   6 f   7 g
//   8 h   9 i  10 j  11 k
//  12 n  13 p  14 q  15 r
// b and h are the six-tap filter (1, -5, 20, 20, -5, 1) across a row or a
// column, rounded (+16) >> 5 and clipped; j filters the unrounded row sums
// down a column, (+512) >> 10; the quarter positions average two of G, b, h, j
// with (u + v + 1) >> 1. A kernel reads 2 columns left and 3 right of its block
// when dx != 0, 2 rows above and 3 below when dy != 0, and nothing more.
#pragma once

#include <algorithm>
#include <array>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::h264 {

inline constexpr int kLumaPositions = 16;
inline constexpr int kLumaWidthClasses = 4;  // 4, 8, 16, and 16 again

// 8-bit: a fixed width of 4, 8 or 16 columns, `height` rows (any count >= 0).
// Returns vekStsOk, so that the exported function ends in a jump to it.
using LumaInterp8uFn = VekStatus(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s height);
// 16-bit: width x height samples, steps in elements, clipped to 0..2^bitDepth - 1.
using LumaInterp16uFn = void(const Vek16u* src, Vek32s srcStep, Vek16u* dst, Vek32s dstStep, Vek32s width,
                             Vek32s height, Vek32s bitDepth);

// Index of the 8-bit table: the width class in bits 4-5 (its row), so a width
// that is not 4, 8 or 16 runs the kernel of the class its bits select.
constexpr unsigned luma_width_row_8u(int width) { return static_cast<unsigned>(width * 2) & 48; }
constexpr int luma_index_8u(int width, int dx, int dy) {
    return static_cast<int>(luma_width_row_8u(width)) | (4 * dy) | dx;
}
// Columns an 8-bit kernel of a width's class writes.
constexpr int luma_class_width(int width) { return std::min(4 << (luma_width_row_8u(width) >> 4), 16); }

struct LumaInterpTable {
    // h264_interpolate_luma_type_table_8u: 64 kernels, by luma_index_8u.
    std::array<LumaInterp8uFn*, kLumaWidthClasses * kLumaPositions> luma_8u;
    // h264_interpolate_luma_type_table_16u: by 4 * dy + dx (the Block function).
    std::array<LumaInterp16uFn*, kLumaPositions> luma_16u_block;
    // InterpolFnTbl_16u: the same kernels by 4 * dx + dy (plain, Top, Bottom).
    std::array<LumaInterp16uFn*, kLumaPositions> luma_16u_plain;
};
static_assert(std::tuple_size_v<decltype(LumaInterpTable::luma_8u)> == 64);

// Reference kernels in every slot, then the overrides of each level in `flags`.
LumaInterpTable make_luma_interp_table(CpuFlags flags);
// The table of this CPU, built once while the library loads.
const LumaInterpTable& luma_interp_kernels();

void init_luma_interp_table_sse41(LumaInterpTable& table);
void init_luma_interp_table_avx2(LumaInterpTable& table);

}  // namespace vek::h264

// Boundary path of the Block functions: reads the rectangle at (xPos, yPos)
// of the work record through the plane's edges into a local block and runs
// kernel `interpolationType` on it into pDst. Always vekStsOk.
VekStatus vekiInterpolateBoundaryLumaBlock_H264_8u(Vek32s sideMask, VekInterpolationParams* pWork);
VekStatus vekiInterpolateBoundaryLumaBlock_H264_16u(Vek32s sideMask, VekInterpolationParams* pWork);
