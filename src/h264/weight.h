// Kernel tables of H.264 weighted prediction and block averaging: the plain
// average of two prediction blocks, the explicit and implicit bi-directional
// weightings, the uni-directional weighting and the weighted average.
//
// Every weighting is one formula, clip(((a * w1 + b * w2 + r) >> shift) + offset)
// with r = 1 << (shift - 1) when shift is above 0, else 0; the uni-directional
// form has no b. Products and sums are 32-bit signed and wrap, shifts are
// arithmetic. The explicit form has shift = logWD + 1 and offset
// (o1 + o2 + 1) >> 1, the implicit form shift 6 and offset 0.
//
// Kernels read and write exactly their block; no alignment is required of
// pointers or steps, and steps may be zero or negative. 8-bit steps are in
// bytes, 16-bit steps in elements.
#pragma once

#include <array>
#include <utility>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::h264 {

// The arguments of one weighting, prepared once per call by the shell.
struct WeightParams {
    Vek32s w1;      // weight of the first source (the only one for uni-directional weighting)
    Vek32s w2;      // weight of the second source
    Vek32u shift;   // right shift after the rounding term; 0 to 31
    Vek32s offset;  // added after the shift, in sample units
};

// Kernels an exported function calls last return the status and take either
// at most six register arguments (small records by value travel in
// registers) or the function's own arguments in its order, so that the
// function ends in a jump to the kernel.
//
// Steps of a call whose two sources share one step: one register.
struct SharedSteps {
    Vek32s src;
    Vek32s dst;
};

// (a + b + 1) >> 1 over a block, with the arguments of the three-step
// exported function, whose stack arguments then stay where they are. Special
// kernels have their size built in and ignore width and height; the generic
// kernel loops over them.
using AverageBlockFn = VekStatus(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, Vek32u width, Vek32u height,
                                 Vek32s srcStep1, Vek32s srcStep2, Vek32s dstStep);
// Two-source weighting of a fixed-size block, clipped to 0..255. The destination
// may be the second source with the same step (rows are read before written).
using BiWeightBlockFn = void(const Vek8u* src1, Vek32s srcStep1, const Vek8u* src2, Vek32s srcStep2, Vek8u* dst,
                             Vek32s dstStep, const WeightParams& p);
// The same with one step for both sources.
using BiWeightSharedFn = VekStatus(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, SharedSteps steps,
                                   WeightParams p);
// The same for any size; a width or height below 1 writes nothing.
using BiWeightGenericFn = void(const Vek8u* src1, Vek32s srcStep1, const Vek8u* src2, Vek32s srcStep2, Vek8u* dst,
                               Vek32s dstStep, const WeightParams& p, Vek32s width, Vek32s height);
// One-source weighting in place, clipped to 0..255.
using UniWeightBlockFn = VekStatus(Vek8u* srcDst, Vek32s srcDstStep, WeightParams p);

// 16-bit forms over any size, clipped to 0..(1 << bitDepth) - 1; steps in elements.
using Average16uFn = void(const Vek16u* src1, Vek32s srcStep1, const Vek16u* src2, Vek32s srcStep2, Vek16u* dst,
                          Vek32s dstStep, Vek32s width, Vek32s height);
using BiWeight16uFn = void(const Vek16u* src1, Vek32s srcStep1, const Vek16u* src2, Vek32s srcStep2, Vek16u* dst,
                           Vek32s dstStep, const WeightParams& p, Vek32s width, Vek32s height, Vek32s bitDepth);
using UniWeight16uFn = void(Vek16u* srcDst, Vek32s srcDstStep, const WeightParams& p, Vek32s width, Vek32s height,
                            Vek32s bitDepth);

// Slot of a block side in the fixed-size weighting tables: 2 -> 0, 4 -> 1,
// 8 -> 2, 16 -> 3; only those four sides get here (never 0, so the count
// needs no zero test).
inline constexpr int kWeightSides = 4;
inline constexpr int kWeightSlots = kWeightSides * kWeightSides;
constexpr int weight_side_slot(Vek32s side) { return __builtin_ctz(static_cast<Vek32u>(side)) - 1; }
// Index 4 * slot(width) + slot(height).
constexpr int weight_block_index(Vek32s width, Vek32s height) {
    return kWeightSides * weight_side_slot(width) + weight_side_slot(height);
}

// The averaging table is indexed 5 * (width >> 2) + (height >> 2) for even
// sizes 2..16; its special kernels (2x2, 2x4, 4x2, 4x4, 4x8, 8x4, 8x8, 8x16,
// 16x8, 16x16) write their own size whatever size falls into their slot.
inline constexpr int kAverageSlots = 25;
constexpr int average_block_index(Vek32u width, Vek32u height) {
    return static_cast<int>(5 * (width >> 2) + (height >> 2));
}

// The averaging kernel of every size 0..16 x 0..16 at 17 * width + height: the
// slot of interpolate_block for even sizes, the generic kernel for odd ones,
// so that a call picks its kernel by one load.
inline constexpr int kAverageSizes = 17 * 17;

template <class Fn>
using WeightBlockTable = std::array<Fn*, kWeightSlots>;

// A fixed-size table from a kernel template: K<W, H>::fn in the slot of W x H.
template <template <int, int> class K, class Fn>
constexpr WeightBlockTable<Fn> fixed_size_table() {
    WeightBlockTable<Fn> t{};
    [&]<int... I>(std::integer_sequence<int, I...>) {
        ((t[I] = K<(2 << (I / kWeightSides)), (2 << (I % kWeightSides))>::fn), ...);
    }
    (std::make_integer_sequence<int, kWeightSlots>{});
    return t;
}

// A three-step kernel in the shared-step form.
template <BiWeightBlockFn* F>
VekStatus with_shared_steps(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, SharedSteps steps, WeightParams p) {
    F(src1, steps.src, src2, steps.src, dst, steps.dst, p);
    return vekStsOk;
}

struct WeightTable {
    std::array<AverageBlockFn*, kAverageSlots> interpolate_block;  // interpolate_block_h264_function_table
    AverageBlockFn* average_generic;                               // odd sizes and the shared-step form
    std::array<AverageBlockFn*, kAverageSizes> average_by_size;    // filled from the two above
    WeightBlockTable<BiWeightBlockFn> bidir_weight_block;          // bidir_weight_block_H264_8u_P3P1
    WeightBlockTable<BiWeightSharedFn> bidir_weight_shared;        // the same kernels, one source step
    BiWeightGenericFn* bidir_weight_generic;                       // any size
    WeightBlockTable<BiWeightSharedFn> weighted_average;           // clip through ClampTbl
    WeightBlockTable<UniWeightBlockFn> unidir_weight_block;
    Average16uFn* average_16u;
    BiWeight16uFn* bidir_weight_16u;
    UniWeight16uFn* unidir_weight_16u;
};

// Reference kernels in every slot, then the overrides of each level in `flags`.
WeightTable make_weight_table(CpuFlags flags);

// Overrides of the SIMD levels (x86/weight_sse41.cpp, x86/weight_avx2.cpp).
void init_weight_table_sse41(WeightTable& table);
void init_weight_table_avx2(WeightTable& table);

}  // namespace vek::h264
