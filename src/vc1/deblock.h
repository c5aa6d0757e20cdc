// Kernel tables of the VC-1 in-loop deblocking filter.
//
// A line crosses the edge with samples p1..p8, p4 the last before the edge
// and p5 (at the pointer) the first after it. Lines come in groups of four;
// the third line of a group decides whether any line of it may change.
#pragma once

#include <array>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::vc1 {

// `groups` bit g enables the lines 4g..4g+3; disabled groups are not touched.
// Horizontal edges: lines are columns (16 for luma, 8 for chroma).
using DeblockFn = void(Vek8u* p, Vek32s step, int quant, unsigned groups);
// Eight rows of a vertical luma edge; the flag pair picks the kernel.
using DeblockHalfFn = void(Vek8u* p, Vek32s step, int quant);
// Interleaved U/V edge of 8 pairs, enabled channels in bits 0 (U) and 1 (V).
using DeblockPairFn = void(Vek8u* p, Vek32s step, int quant, unsigned channels);

struct DeblockTable {
    DeblockFn* luma_hor;
    // By the two flag bits of a half: 0 filters both groups, 1 only the second,
    // 2 only the first, 3 neither.
    std::array<DeblockHalfFn*, 4> luma_ver;
    // The whole 16-row vertical edge with no flag set, the common case.
    DeblockHalfFn* luma_ver_full;
    DeblockFn* chroma_hor;
    DeblockFn* chroma_ver;
    DeblockPairFn* chroma_hor_c2;
    DeblockPairFn* chroma_ver_c2;
};

DeblockTable make_deblock_table(CpuFlags flags);
void init_deblock_table_sse41(DeblockTable& table);
void init_deblock_table_avx2(DeblockTable& table);

}  // namespace vek::vc1
