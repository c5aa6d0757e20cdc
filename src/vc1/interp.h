// Kernel tables of the VC-1 quarter-sample interpolation: bicubic luma and
// bilinear (plain and interleaved pairs), one kernel per block size and phase.
//
// A kernel reads the block's neighbourhood straight from the reference with no
// bounds test: one sample before and two after in each direction that has a
// fraction (bilinear kernels only read one after). Phase index is 4 x dx + dy.
#pragma once

#include <array>
#include <cstddef>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::vc1 {

// One block size at one phase; rc is the rounding control, 0 or 1.
using InterpFn = void(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int rc);

inline constexpr int kPhases = 16;
using PhaseTable = std::array<InterpFn*, kPhases>;

// Block sizes of each family, in table order.
enum BicubicSize : int { kBicubic8x8, kBicubic16x8, kBicubic16x16, kBicubicSizes };
enum BilinearSize : int { kBilinear4x4, kBilinear8x4, kBilinear8x8, kBilinear16x16, kBilinearSizes };
enum BilinearPairSize : int { kPairs4x4, kPairs8x4, kPairs8x8, kPairSizes };

struct InterpTable {
    std::array<PhaseTable, kBicubicSizes> bicubic;
    std::array<PhaseTable, kBilinearSizes> bilinear;
    std::array<PhaseTable, kPairSizes> bilinear_c2;
};

// Taps of the bicubic filter by fraction, applied at -1, 0, +1, +2.
inline constexpr int kBicubicTaps[4][4] = {{0, 64, 0, 0}, {-4, 53, 18, -3}, {-1, 9, 9, -1}, {-3, 18, 53, -4}};
// Shift of the first (vertical) pass by [dx][dy]; dx 0 is the vertical-only case.
inline constexpr int kVertShift[4][4] = {{0, 6, 4, 6}, {0, 5, 3, 5}, {0, 3, 1, 3}, {0, 5, 3, 5}};
// Shift of the horizontal-only case by dx.
inline constexpr int kHorzShift[4] = {0, 6, 4, 6};

constexpr int phase_index(int dx, int dy) { return 4 * (dx & 3) + (dy & 3); }

// Size of the block each family runs for a requested size.
struct BlockDims {
    int table;   // size index in the family's table
    int width;   // samples (pairs for C2)
    int height;
};
inline BlockDims bicubic_dims(VekRoi roi) {
    const int c = (roi.width >> 4) + (roi.height >> 4);
    if (c <= 0) return {kBicubic8x8, 8, 8};
    if (c == 1) return {kBicubic16x8, 16, 8};  // 8x16 is run as 16x8
    return {kBicubic16x16, 16, 16};
}
inline BlockDims bilinear_dims(VekRoi roi) {
    if (roi.width == 16) return {kBilinear16x16, 16, 16};
    if (roi.width == 8) return roi.height == 8 ? BlockDims{kBilinear8x8, 8, 8} : BlockDims{kBilinear8x4, 8, 4};
    return {kBilinear4x4, 4, 4};
}
inline BlockDims bilinear_pair_dims(VekRoi roi) {
    if (roi.width != 8) return {kPairs4x4, 4, 4};
    return roi.height == 8 ? BlockDims{kPairs8x8, 8, 8} : BlockDims{kPairs8x4, 8, 4};
}

// Reference kernels in every slot, then the overrides of each level in `flags`.
InterpTable make_interp_table(CpuFlags flags);
void init_interp_table_sse41(InterpTable& table);
void init_interp_table_avx2(InterpTable& table);

// The table of this CPU, shared by the plain and the IC forms.
const InterpTable& interp_kernels();

}  // namespace vek::vc1
