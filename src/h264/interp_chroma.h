// Kernel tables of eighth-sample chroma interpolation (8-bit, NV12 pairs,
// 16-bit).
//
// A position has one of four kinds, 2 * (dy != 0) + (dx != 0):
//   0 copy  A
//   1 horz  ((8 - dx) * A + dx * B + 4) >> 3
//   2 vert  ((8 - dy) * A + dy * C + 4) >> 3
//   3 full  ((8 - dx)(8 - dy) A + dx (8 - dy) B + (8 - dx) dy C + dx dy D + 32) >> 6
// with A at (x, y), B at (x + 1, y), C at (x, y + 1), D at (x + 1, y + 1). The
// weights sum to the divisor, so no result needs a clip. A kernel reads the
// column to the right of its block only for kinds 1 and 3 and the row below
// only for kinds 2 and 3.
#pragma once

#include <array>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::h264 {

inline constexpr int kChromaKinds = 4;
inline constexpr int kChromaWidthClasses = 4;  // 2, 4, 8, and 8 again

constexpr int chroma_kind(int dx, int dy) { return (dy != 0 ? 2 : 0) | (dx != 0 ? 1 : 0); }
// Index of the 8-bit tables: width & 12 picks the row, so widths 4 and 6 run
// the 4-wide kernels, 8 to 14 the 8-wide ones, 0 and 2 the 2-wide ones.
constexpr int chroma_index_8u(int width, int dx, int dy) { return (width & 12) | chroma_kind(dx, dy); }
// Index of chroma_8u_by_frac: the row of chroma_index_8u, then chroma_frac.
constexpr unsigned chroma_frac_index_8u(int width, Vek32s frac) {
    return static_cast<unsigned>(width & 12) * 16 + static_cast<unsigned>(frac);
}
constexpr int chroma_class_width(int width) {
    constexpr int kWidths[kChromaWidthClasses] = {2, 4, 8, 8};
    return kWidths[(width & 12) >> 2];
}

// 8-bit: a fixed width of 2, 4 or 8 columns, `height` rows (any count >= 0),
// the fractions as chroma_frac(dx, dy). Six register arguments and the status
// as the result let the exported function end in a jump to the kernel.
using ChromaInterp8uFn = VekStatus(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s frac,
                                   Vek32s height);
constexpr Vek32s chroma_frac(Vek32s dx, Vek32s dy) { return 8 * dy + dx; }
// NV12 splitter: separates the interleaved pairs at src into two planes of
// pitch kSplitPitch, the second kSplitSecond bytes after the first, with the
// extra column and row the kind needs (class width + 1 pairs, height + 1 rows).
using ChromaSplitFn = void(const Vek8u* src, Vek32s srcStep, Vek8u* planes, Vek32s height);
inline constexpr int kSplitPitch = 16;
inline constexpr int kSplitSecond = 320;
inline constexpr int kSplitRows = kSplitSecond / kSplitPitch;  // 20 rows per temporary plane
// 16-bit: width x height samples, steps in elements.
using ChromaInterp16uFn = void(const Vek16u* src, Vek32s srcStep, Vek16u* dst, Vek32s dstStep, Vek32s dx,
                               Vek32s dy, Vek32s width, Vek32s height);

struct ChromaInterpTable {
    // h264_interpolate_chroma_type_table_8u: 16 kernels by chroma_index_8u.
    std::array<ChromaInterp8uFn*, kChromaWidthClasses * kChromaKinds> chroma_8u;
    // Splitters of h264_interpolate_chroma_type_table_nv12touv_8u, same index;
    // the kernel of chroma_8u at that index runs on each split plane.
    std::array<ChromaSplitFn*, kChromaWidthClasses * kChromaKinds> nv12touv_8u;
    // h264_interpolate_chroma_type_table_16u: by kind (the Block function).
    std::array<ChromaInterp16uFn*, kChromaKinds> chroma_16u;
    // own_InterpolateChroma_H264_16u: the full formula whatever dx and dy, so
    // it always reads the column to the right and the row below.
    ChromaInterp16uFn* chroma_16u_full;
    // chroma_8u again, by chroma_frac_index_8u: the exported function's one
    // look-up, with no kind test between the call and the kernel.
    std::array<ChromaInterp8uFn*, kChromaWidthClasses * 64> chroma_8u_by_frac;
};

ChromaInterpTable make_chroma_interp_table(CpuFlags flags);
const ChromaInterpTable& chroma_interp_kernels();

void init_chroma_interp_table_sse41(ChromaInterpTable& table);
void init_chroma_interp_table_avx2(ChromaInterpTable& table);

// Splits and interpolates `height` rows of NV12 pairs at src into two planes,
// kernel `index` of the tables, in strips that fit the temporary planes.
void launch_h264_interpolate_chroma_nv12touv(const ChromaInterpTable& t, int index, const Vek8u* src,
                                            Vek32s srcStep, Vek8u* dst0, Vek8u* dst1, Vek32s dstStep, Vek32s dx,
                                            Vek32s dy, Vek32s height);

}  // namespace vek::h264
