// DV output conversion to interleaved 4:2:2 (Y, Cb, Y, Cr). Source blocks
// are 64 Vek16s in raster order, one sample less 128; the blocks of a
// macroblock follow each other. Every stored byte is the sample saturated to
// -128..127 plus 128.
#pragma once

#include <algorithm>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::dv {

inline Vek8u to_pixel(int x) { return static_cast<Vek8u>(std::clamp(x, -128, 127) + 128); }
inline int sat16(int x) { return std::clamp(x, -32768, 32767); }

// Pixel pair i of a row: Y, Cb, Y, Cr.
inline void put_pair(Vek8u* row, int i, int y0, int cb, int y1, int cr) {
    row[4 * i] = to_pixel(y0);
    row[4 * i + 1] = to_pixel(cb);
    row[4 * i + 2] = to_pixel(y1);
    row[4 * i + 3] = to_pixel(cr);
}

// Full-size kernels of one macroblock.
// 4:1:1 segment macroblock, 32x8: blocks 0-3 side by side, Cr block 4, Cb block 5.
using Convert411Fn = void(const Vek16s* mb, Vek8u* dst, Vek32s dstStep);
// 4:1:1 edge macroblock, 16x16, and 4:2:0 macroblock, 16x16.
using Convert16x16Fn = void(const Vek16s* mb, Vek8u* dst, Vek32s dstStep);
// Eight rows of 16 pixels: luma blocks y0 | y1, chroma element i of each row
// to pixel pair i (4:2:2 macroblocks and the halves of 100 Mbit/s ones).
using Convert422Fn = void(const Vek16s* y0, const Vek16s* y1, const Vek16s* cb, const Vek16s* cr, Vek8u* dst,
                          Vek32s dstStep);

struct ConvertTable {
    Convert411Fn* yuv411;
    Convert16x16Fn* yuv411_edge;
    Convert16x16Fn* yuv420;
    Convert422Fn* yuv422;
};

ConvertTable make_convert_table(CpuFlags flags);
void init_convert_table_sse41(ConvertTable& table);
void init_convert_table_avx2(ConvertTable& table);

}  // namespace vek::dv
