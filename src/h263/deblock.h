// Edge filters of the H.263 optional modes: the deblocking filter with a
// strength over 8 positions, the one without over 16 positions, and the block
// boundary smoother over 16 positions.
//
// A kernel gets the first sample after the edge (`p`) and the step in bytes.
// A horizontal edge runs along a row: positions are p[i], the samples across
// it are one step apart. A vertical edge runs down a column: positions are one
// step apart, the samples across it are neighbours in the row.
#pragma once

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::h263 {

// Strength by QP, entry 0 unused.
extern const Vek32s h263_Deblock_QPStrength[32];

// `strength` is used by the 8x8 kernels only.
using EdgeFilterFn = void(Vek8u* p, Vek32s step, Vek32s strength);

struct EdgeFilterTable {
    EdgeFilterFn* deblock8x8_hor;
    EdgeFilterFn* deblock8x8_ver;
    EdgeFilterFn* deblock16x16_hor;
    EdgeFilterFn* deblock16x16_ver;
    EdgeFilterFn* boundary_hor;
    EdgeFilterFn* boundary_ver;
};

EdgeFilterTable make_edge_filter_table(CpuFlags flags);
void init_edge_filter_table_sse41(EdgeFilterTable& table);
void init_edge_filter_table_avx2(EdgeFilterTable& table);

}  // namespace vek::h263
