// CAVLC residual blocks: the library prepares the symbols of a block, this
// writer turns them into bits with the standard's code tables.
#pragma once

#include "bitwriter.h"
#include "vekvc.h"

namespace h264enc {

// Zigzag scan of a 4x4 frame block: scan position -> raster place.
extern const Vek32s kZigzag[16];
// Raster place -> scan position, the form the quantisers take.
extern const Vek16s kZigzagPosition[16];

// The largest level magnitude written: with it the escape code of prefix 15
// always suffices, as Baseline streams require.
constexpr int kMaxLevel = 2047;

// Writes one 4x4 block of levels (raster order) with its context nC; ac 1
// leaves out position 0 (Intra 16x16 AC and chroma AC blocks). Returns the
// number of non-zero levels written.
int write_residual_block(BitWriter& bw, const Vek16s* levels, int nc, int ac);
// Writes the 2x2 DC block of one chroma plane (raster order).
int write_chroma_dc_block(BitWriter& bw, const Vek16s* levels);

}  // namespace h264enc
