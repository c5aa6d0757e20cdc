// Kernel table of the VC-1 range mapping of a decoded plane.
#pragma once

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::vc1 {

// Maps width x height samples (both at least 1); `scale` is rangeMapParam + 9.
using RangeMapFn = void(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int width, int height,
                        int scale);

struct RangeMapTable {
    RangeMapFn* map;
};

RangeMapTable make_range_map_table(CpuFlags flags);
void init_range_map_table_sse41(RangeMapTable& table);
void init_range_map_table_avx2(RangeMapTable& table);

}  // namespace vek::vc1
