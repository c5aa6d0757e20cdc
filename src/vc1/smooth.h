// Kernel tables of the VC-1 overlap smoothing: four 16-bit values a, b | c, d
// across a block edge become
//   a' = (7a + d + r0) >> 3        b' = (7b - a + c + d + r1) >> 3
//   c' = (7c + a + b - d + r0) >> 3  d' = (7d + a + r1) >> 3
// with every addition (7a counted as one) saturated to 16 bits, and are
// written clipped to 8 bits.
#pragma once

#include <array>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::vc1 {

// Horizontal edge, 8 columns: rows a, b at `upper`, c, d at `lower`; output rows
// -2..+1 around dst. r0 is 4 on even columns and 3 on odd ones, r1 = 7 - r0.
using SmoothHorFn = void(const Vek16s* upper, Vek32s upperStep, const Vek16s* lower, Vek32s lowerStep, Vek8u* dst,
                         Vek32s dstStep);
// Vertical edge, 8 rows: columns a, b at `left`, c, d at `right`, written back
// unclipped; output columns -2..+1 around dst. r0 is r0Even on rows 0, 2, ..
// and r0Odd on rows 1, 3, ..; r1 = 7 - r0.
using SmoothVerFn = void(Vek16s* left, Vek32s leftStep, Vek16s* right, Vek32s rightStep, Vek8u* dst, Vek32s dstStep,
                         int r0Even, int r0Odd);

// The 16 rows of a luma vertical edge of frame neighbours: r0 4, 3, 4, 3, ...
using SmoothVer16Fn = void(Vek16s* left, Vek32s leftStep, Vek16s* right, Vek32s rightStep, Vek8u* dst,
                           Vek32s dstStep);

// The chroma forms over U and V sources into interleaved pairs (U in even
// bytes); `channels` bit 0 processes U, bit 1 V, and the bytes of a channel
// left out are not touched. Vertical: r0 4, 3, 4, 3, ... by row.
using SmoothHorPairsFn = void(const Vek16s* upperU, Vek32s upperStepU, const Vek16s* lowerU, Vek32s lowerStepU,
                              const Vek16s* upperV, Vek32s upperStepV, const Vek16s* lowerV, Vek32s lowerStepV,
                              Vek8u* dst, Vek32s dstStep, unsigned channels);
using SmoothVerPairsFn = void(Vek16s* leftU, Vek32s leftStepU, Vek16s* rightU, Vek32s rightStepU, Vek16s* leftV,
                              Vek32s leftStepV, Vek16s* rightV, Vek32s rightStepV, Vek8u* dst, Vek32s dstStep,
                              unsigned channels);

struct SmoothTable {
    SmoothHorFn* hor;
    SmoothHorPairsFn* hor_pairs;
    SmoothVerFn* ver;
    SmoothVerPairsFn* ver_pairs;
    SmoothVer16Fn* ver16;
};

SmoothTable make_smooth_table(CpuFlags flags);
void init_smooth_table_sse41(SmoothTable& table);
void init_smooth_table_avx2(SmoothTable& table);

}  // namespace vek::vc1
