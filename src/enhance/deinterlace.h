// Row kernels of the deinterlacers and the blend-table builder.
//
// Every kernel works on one output row and reads only the rows it is given,
// columns 0 to width - 1 of each; no alignment is required. The exported
// shells walk the rows, copy the kept and border rows and treat the columns a
// kernel leaves out.
#pragma once

#include <array>
#include <cstddef>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::enhance {

// ---- scalar rules shared by the kernels and the shells ----

inline int avg_up(int a, int b) { return (a + b + 1) >> 1; }
inline int abs_diff(int a, int b) { return a > b ? a - b : b - a; }
inline int median3(int a, int b, int c) {
    const int lo = a < b ? a : b, hi = a < b ? b : a;
    return c < lo ? lo : (c > hi ? hi : c);
}

// Value between `above` and `below` at column x (1 <= x <= width - 2): the
// average along whichever of the two diagonals or the vertical differs least;
// a tie keeps the vertical, and the second diagonal wins a tie of the two.
inline int edge_directed(const Vek8u* above, const Vek8u* below, int x) {
    const int d1 = abs_diff(above[x - 1], below[x + 1]);
    const int d2 = abs_diff(above[x + 1], below[x - 1]);
    const int d3 = abs_diff(above[x], below[x]);
    if (d1 < d2) return d1 < d3 ? avg_up(above[x - 1], below[x + 1]) : avg_up(above[x], below[x]);
    return d2 < d3 ? avg_up(above[x + 1], below[x - 1]) : avg_up(above[x], below[x]);
}

// ---- kernel types ----

// Edge-directed value of columns 1 to width - 2; columns 0 and width - 1 of
// dst are left alone. width >= 3.
using EdgeRowFn = void(const Vek8u* above, const Vek8u* below, Vek8u* dst, int width);

// Median of the three rows at each column, replaced by the centre sample where
// threshold > |median - centre|. The whole 16-column runs from column 0 compare
// the low byte of threshold as an unsigned byte, the last width % 16 columns
// the signed 32-bit value: outside 0..255 the two differ, on purpose.
using MedianThresholdRowFn = void(const Vek8u* above, const Vek8u* center, const Vek8u* below, Vek8u* dst, int width,
                                  Vek32s threshold);

// Rows around a blended row y: A, C, B of the current frame (y - 1, y, y + 1),
// O the other frame's row y, and rows y - 1 and y + 1 of the previous and the
// next frame.
struct BlendRows {
    const Vek8u* above;
    const Vek8u* center;
    const Vek8u* below;
    const Vek8u* other;
    const Vek8u* prev_above;
    const Vek8u* prev_below;
    const Vek8u* next_above;
    const Vek8u* next_below;
};

// The two weights of each motion m in one word, as the blend kernels read
// them: table[m] (spatial) in the low half, table[256 + m] (median) in the high.
using BlendWeights = std::array<Vek32u, 256>;
inline void pair_blend_weights(const Vek16u* table, BlendWeights& weights) {
    for (int m = 0; m < 256; ++m) weights[std::size_t(m)] = table[m] | static_cast<Vek32u>(table[256 + m]) << 16;
}

// Blended value at column x with the given spatial value: the motion picks a
// weight pair, the spatial value takes the low weight, the vertical median the high one.
inline int blend_value(const BlendRows& r, const Vek32u* weights, int x, int spatial) {
    const int u = avg_up(abs_diff(r.above[x], r.prev_above[x]), abs_diff(r.above[x], r.next_above[x]));
    const int v = avg_up(abs_diff(r.below[x], r.prev_below[x]), abs_diff(r.below[x], r.next_below[x]));
    const int temporal = avg_up(u, v), cross = abs_diff(r.center[x], r.other[x]);
    const int m = temporal > cross ? temporal : cross;
    const int median = median3(r.above[x], r.center[x], r.below[x]);
    const Vek32u w = weights[m];
    return static_cast<int>((static_cast<Vek32u>(spatial) * (w & 0xFFFF) + static_cast<Vek32u>(median) * (w >> 16)) >>
                            8);
}

// Columns 1 to width - 2 of a blended row: motion m = max(avg(avg(|A-Pa|,
// |A-Na|), avg(|B-Pb|, |B-Nb|)), |C-O|), output (edge * table[m] + median(A,
// C, B) * table[256 + m]) >> 8, with the table paired into `weights`. The
// weights are 0..256 and add to 256, as the state builder makes them. width >= 3.
using BlendRowFn = void(const BlendRows& rows, const Vek32u* weights, Vek8u* dst, int width);

// Rows around a motion-adaptive row y: rows y - 1 and y + 1 of the four
// frames, and the C, E, U, D rows the kept field selects.
struct MotionRows {
    std::array<const Vek8u*, 4> above;
    std::array<const Vek8u*, 4> below;
    const Vek8u* c;  // sample taken where the pixel is static
    const Vek8u* e;  // compared with c first
    const Vek8u* u;  // kept rows above and below
    const Vek8u* d;
};

// A motion-adaptive row over all width columns. threshold is signed: 0 or less
// makes every pixel moving, above 255 every pixel static.
using MotionRowFn = void(const MotionRows& rows, Vek8u* dst, int width, Vek32s threshold);

// ((above + below) * ((256 - c) >> 1) + center * c) >> 8 over all width
// columns, c in 0..256.
using TriangleRowFn = void(const Vek8u* above, const Vek8u* center, const Vek8u* below, Vek8u* dst, int width,
                           int center_weight);

enum Protection : int {
    kProtectionOff,  // a static pixel takes C
    kProtectionOn,   // a static pixel is checked against U and D with a margin of 30
    kProtectionCount
};

struct DeinterlaceTable {
    EdgeRowFn* edge_row;
    MedianThresholdRowFn* median_threshold_row;
    BlendRowFn* blend_row;
    std::array<MotionRowFn*, kProtectionCount> motion_row;  // by artifactProtection != 0
    TriangleRowFn* triangle_row;
};

DeinterlaceTable make_deinterlace_table(CpuFlags flags);
// The table of this CPU, built once while the library loads.
const DeinterlaceTable& deinterlace_kernels();
// The reference kernels, for the narrow pictures the blend treats in scalar code.
const DeinterlaceTable& deinterlace_reference_kernels();

void init_deinterlace_table_sse41(DeinterlaceTable& table);
void init_deinterlace_table_avx2(DeinterlaceTable& table);

// ---- blend state ----

using StateAllocFn = void*(Vek32s bytes);

// The builder behind vekiDeinterlaceBlendInitAlloc_8u_C1, with the allocators
// of the record and of the table as parameters so that tests can fail either.
VekStatus blend_state_init_alloc(VekRoi roi, Vek32s pThreshold[2], double pConstant[2], DeinterlaceBlendState** ppState,
                                 StateAllocFn* alloc_record, StateAllocFn* alloc_table);

// Fills state fields and the 512 entries from sorted, limited pairs.
void build_blend_table(DeinterlaceBlendState& state, const Vek32s threshold[2], const double constant[2]);

// ---- edge-detection rows, shared by the edge detector and the blend ----

// Writes `rows` rows of dst from src as vekiDeinterlaceEdgeDetect_8u_C1R does
// without a border (copyBorder 0); no checks, rows may be 0.
void edge_detect_rows(const Vek8u* pSrc, std::ptrdiff_t srcStep, Vek8u* pDst, std::ptrdiff_t dstStep, int width,
                      int rows, int fieldNum, EdgeRowFn* kernel);

// ---- the exported functions over a given kernel table ----
//
// The exported shells pass deinterlace_kernels(); benchmarks and tests pass
// the table of any level. Checks and results as the exported functions.

VekStatus blend(const Vek8u* const pSrc[3], Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi, Vek32s firstField,
                Vek32s topField, Vek32s copyField, DeinterlaceBlendState* pState, const DeinterlaceTable& kernels);
VekStatus edge_detect(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi, Vek32s fieldNum,
                      Vek32s copyBorder, const DeinterlaceTable& kernels);
VekStatus median_threshold(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi, Vek32s threshold,
                           Vek32s fieldNum, Vek32s copyBorder, const DeinterlaceTable& kernels);
VekStatus motion_adaptive(const Vek8u* const pSrc[4], Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                          Vek32s threshold, Vek32s firstField, Vek32s topField, Vek32s copyField,
                          Vek32s artifactProtection, const DeinterlaceTable& kernels);
VekStatus filter_triangle(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                          Vek32u centerWeight, Vek32s layout, const DeinterlaceTable& kernels);

}  // namespace vek::enhance
