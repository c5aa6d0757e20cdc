// Block copies at full- and half-sample positions, with a rounding control.
//
// A copy mode has bit 0 for a half-sample offset to the right and bit 1 for
// one downwards, so a caller holding fractions in sixteenths passes
// (fy >> 2) + (fx >> 3). The half positions round with (sum + 1 - rounding)
// for two samples and (sum + 2 - rounding) for four, one exact sum and one
// rounding. A copy reads w x h samples, plus one column for a horizontal half
// and one row for a vertical half.
#pragma once

#include <array>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::mc {

enum CopyMode : int {
    kCopyFull = 0,   // a
    kCopyHalfX = 1,  // (a + b + 1 - rc) >> 1, b right of a
    kCopyHalfY = 2,  // (a + c + 1 - rc) >> 1, c below a
    kCopyHalfXY = 3, // (a + b + c + d + 2 - rc) >> 2
    kCopyModeCount = 4,
};

using CopyBlockFn = void(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep);

// Slot 2 * mode + rounding; both full-sample slots copy.
constexpr int copy_slot(Vek32s mode, Vek32s rounding) { return ((mode & 3) << 1) | (rounding & 1); }

struct CopyTable {
    std::array<CopyBlockFn*, 2 * kCopyModeCount> copy8x8;
    std::array<CopyBlockFn*, 2 * kCopyModeCount> copy16x16;
};

CopyTable make_copy_table(CpuFlags flags);
const CopyTable& copy_kernels();
void init_copy_table_sse41(CopyTable& table);
void init_copy_table_avx2(CopyTable& table);

}  // namespace vek::mc
