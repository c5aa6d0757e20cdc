// H.264 weighted prediction and block averaging: reference kernels, their
// table and the exported shells.
#include "h264/weight.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "frame/dispatch.h"
#include "frame/tables.h"
#include "vekvc.h"

namespace vek::h264 {

namespace {

// 32-bit signed arithmetic that wraps, as the registers of the vector kernels
// do; only weights and offsets far outside any coded stream come near the wrap.
inline Vek32s add_wrap(Vek32s x, Vek32s y) {
    return static_cast<Vek32s>(static_cast<Vek32u>(x) + static_cast<Vek32u>(y));
}
inline Vek32s mul_wrap(Vek32s x, Vek32s y) {
    return static_cast<Vek32s>(static_cast<Vek32u>(x) * static_cast<Vek32u>(y));
}

// ((a * w1 + b * w2 + r) >> shift) + offset, before the clip.
inline Vek32s weigh(Vek32s a, Vek32s b, const WeightParams& p) {
    const Vek32s round = p.shift > 0 ? static_cast<Vek32s>(Vek32u{1} << (p.shift - 1)) : 0;
    const Vek32s sum = add_wrap(add_wrap(mul_wrap(a, p.w1), mul_wrap(b, p.w2)), round);
    return add_wrap(sum >> p.shift, p.offset);
}

inline Vek8u clip_8u(Vek32s v) { return static_cast<Vek8u>(std::clamp(v, 0, 255)); }

// The weighted average clips by look-up. The table reaches -256..511; a value
// beyond is outside the contract, and pinning it to the table's ends keeps such
// a call inside the table (and equal to a plain clip).
inline Vek8u clamp_tbl_8u(Vek32s v) { return clamp_tbl_zero()[std::clamp(v, -kClampTblZero, kClampTblZero + 255)]; }

// Largest sample of a bit depth; depths outside 0..31 are outside the contract.
inline Vek32s sample_max(Vek32s bitDepth) {
    return static_cast<Vek32s>((Vek32u{1} << std::clamp(bitDepth, 0, 31)) - 1);
}

template <class T>
inline T* row_at(T* p, Vek32s step, Vek32s y) {
    return p + static_cast<std::ptrdiff_t>(step) * y;
}

VekStatus average_rows_c(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, Vek32u width, Vek32u height,
                         Vek32s srcStep1, Vek32s srcStep2, Vek32s dstStep) {
    for (Vek32s y = 0; y < static_cast<Vek32s>(height); ++y) {
        const Vek8u* a = row_at(src1, srcStep1, y);
        const Vek8u* b = row_at(src2, srcStep2, y);
        Vek8u* d = row_at(dst, dstStep, y);
        for (Vek32s x = 0; x < static_cast<Vek32s>(width); ++x) d[x] = static_cast<Vek8u>((a[x] + b[x] + 1) >> 1);
    }
    return vekStsOk;
}

// A special averaging kernel: its size is built in, the size of the call is not used.
template <int W, int H>
VekStatus average_block_c(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, Vek32u, Vek32u, Vek32s srcStep1,
                          Vek32s srcStep2, Vek32s dstStep) {
    return average_rows_c(src1, src2, dst, W, H, srcStep1, srcStep2, dstStep);
}

template <Vek8u (*Clip)(Vek32s)>
void bidir_weight_rows_c(const Vek8u* src1, Vek32s srcStep1, const Vek8u* src2, Vek32s srcStep2, Vek8u* dst,
                         Vek32s dstStep, const WeightParams& p, Vek32s width, Vek32s height) {
    for (Vek32s y = 0; y < height; ++y) {
        const Vek8u* a = row_at(src1, srcStep1, y);
        const Vek8u* b = row_at(src2, srcStep2, y);
        Vek8u* d = row_at(dst, dstStep, y);
        for (Vek32s x = 0; x < width; ++x) d[x] = Clip(weigh(a[x], b[x], p));
    }
}

template <int W, int H>
void bidir_weight_block_c(const Vek8u* src1, Vek32s srcStep1, const Vek8u* src2, Vek32s srcStep2, Vek8u* dst,
                          Vek32s dstStep, const WeightParams& p) {
    bidir_weight_rows_c<clip_8u>(src1, srcStep1, src2, srcStep2, dst, dstStep, p, W, H);
}

template <int W, int H>
VekStatus weighted_average_block_c(const Vek8u* src1, const Vek8u* src2, Vek8u* dst, SharedSteps steps,
                                   WeightParams p) {
    bidir_weight_rows_c<clamp_tbl_8u>(src1, steps.src, src2, steps.src, dst, steps.dst, p, W, H);
    return vekStsOk;
}

template <int W, int H>
VekStatus unidir_weight_block_c(Vek8u* srcDst, Vek32s srcDstStep, WeightParams p) {
    for (int y = 0; y < H; ++y) {
        Vek8u* row = row_at(srcDst, srcDstStep, y);
        for (int x = 0; x < W; ++x) row[x] = clip_8u(weigh(row[x], 0, p));
    }
    return vekStsOk;
}

void average_16u_c(const Vek16u* src1, Vek32s srcStep1, const Vek16u* src2, Vek32s srcStep2, Vek16u* dst,
                   Vek32s dstStep, Vek32s width, Vek32s height) {
    for (Vek32s y = 0; y < height; ++y) {
        const Vek16u* a = row_at(src1, srcStep1, y);
        const Vek16u* b = row_at(src2, srcStep2, y);
        Vek16u* d = row_at(dst, dstStep, y);
        for (Vek32s x = 0; x < width; ++x) d[x] = static_cast<Vek16u>((a[x] + b[x] + 1) >> 1);
    }
}

void bidir_weight_16u_c(const Vek16u* src1, Vek32s srcStep1, const Vek16u* src2, Vek32s srcStep2, Vek16u* dst,
                        Vek32s dstStep, const WeightParams& p, Vek32s width, Vek32s height, Vek32s bitDepth) {
    const Vek32s max = sample_max(bitDepth);
    for (Vek32s y = 0; y < height; ++y) {
        const Vek16u* a = row_at(src1, srcStep1, y);
        const Vek16u* b = row_at(src2, srcStep2, y);
        Vek16u* d = row_at(dst, dstStep, y);
        for (Vek32s x = 0; x < width; ++x) d[x] = static_cast<Vek16u>(std::clamp(weigh(a[x], b[x], p), 0, max));
    }
}

void unidir_weight_16u_c(Vek16u* srcDst, Vek32s srcDstStep, const WeightParams& p, Vek32s width, Vek32s height,
                         Vek32s bitDepth) {
    const Vek32s max = sample_max(bitDepth);
    for (Vek32s y = 0; y < height; ++y) {
        Vek16u* row = row_at(srcDst, srcDstStep, y);
        for (Vek32s x = 0; x < width; ++x) row[x] = static_cast<Vek16u>(std::clamp(weigh(row[x], 0, p), 0, max));
    }
}

template <int W, int H>
struct BidirC {
    static constexpr BiWeightBlockFn* fn = &bidir_weight_block_c<W, H>;
};
template <int W, int H>
struct BidirSharedC {
    static constexpr BiWeightSharedFn* fn = &with_shared_steps<&bidir_weight_block_c<W, H>>;
};
template <int W, int H>
struct AverageTblC {
    static constexpr BiWeightSharedFn* fn = &weighted_average_block_c<W, H>;
};
template <int W, int H>
struct UnidirC {
    static constexpr UniWeightBlockFn* fn = &unidir_weight_block_c<W, H>;
};

void assert_complete([[maybe_unused]] const WeightTable& t) {
#ifndef NDEBUG
    for (auto* fn : t.interpolate_block) assert(fn);
    for (auto* fn : t.average_by_size) assert(fn);
    for (auto* fn : t.bidir_weight_block) assert(fn);
    for (auto* fn : t.bidir_weight_shared) assert(fn);
    for (auto* fn : t.weighted_average) assert(fn);
    for (auto* fn : t.unidir_weight_block) assert(fn);
    assert(t.average_generic && t.bidir_weight_generic);
    assert(t.average_16u && t.bidir_weight_16u && t.unidir_weight_16u);
#endif
}

}  // namespace

WeightTable make_weight_table(CpuFlags flags) {
    WeightTable t{};
    t.interpolate_block.fill(&average_rows_c);
    t.interpolate_block[average_block_index(2, 2)] = &average_block_c<2, 2>;
    t.interpolate_block[average_block_index(2, 4)] = &average_block_c<2, 4>;
    t.interpolate_block[average_block_index(4, 2)] = &average_block_c<4, 2>;
    t.interpolate_block[average_block_index(4, 4)] = &average_block_c<4, 4>;
    t.interpolate_block[average_block_index(4, 8)] = &average_block_c<4, 8>;
    t.interpolate_block[average_block_index(8, 4)] = &average_block_c<8, 4>;
    t.interpolate_block[average_block_index(8, 8)] = &average_block_c<8, 8>;
    t.interpolate_block[average_block_index(8, 16)] = &average_block_c<8, 16>;
    t.interpolate_block[average_block_index(16, 8)] = &average_block_c<16, 8>;
    t.interpolate_block[average_block_index(16, 16)] = &average_block_c<16, 16>;
    t.average_generic = &average_rows_c;
    t.bidir_weight_block = fixed_size_table<BidirC, BiWeightBlockFn>();
    t.bidir_weight_shared = fixed_size_table<BidirSharedC, BiWeightSharedFn>();
    t.bidir_weight_generic = &bidir_weight_rows_c<clip_8u>;
    t.weighted_average = fixed_size_table<AverageTblC, BiWeightSharedFn>();
    t.unidir_weight_block = fixed_size_table<UnidirC, UniWeightBlockFn>();
    t.average_16u = &average_16u_c;
    t.bidir_weight_16u = &bidir_weight_16u_c;
    t.unidir_weight_16u = &unidir_weight_16u_c;
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_weight_table_sse41, init_weight_table_avx2);
    for (Vek32u w = 0; w <= 16; ++w)
        for (Vek32u h = 0; h <= 16; ++h)
            t.average_by_size[17 * w + h] =
                ((w | h) & 1) ? t.average_generic : t.interpolate_block[average_block_index(w, h)];
    assert_complete(t);
    return t;
}

namespace {

// Built once while the library loads, never changed afterwards.
const WeightTable kWeightKernels = make_weight_table(cpu_flags());

inline const WeightTable& weight_kernels() { return kWeightKernels; }

// The block sides the weighting functions accept.
inline bool is_weight_side(Vek32s side) {
    return static_cast<Vek32u>(side) <= 16 && ((0x10114u >> side) & 1);  // bits 2, 4, 8 and 16
}

// True when one of the pointers is null, as one test of their smallest
// address (separate tests cost a flag register each).
template <class... P>
inline bool any_null(const P*... p) {
    return std::min({reinterpret_cast<std::uintptr_t>(p)...}) == 0;
}

// The index of a shell's last jump, pinned to a scratch register by an empty
// asm: computed in the open, it makes the compiler save and restore a
// callee-saved register around the checks, a store and a load on every call
// of functions whose kernels are store-bound themselves.
inline Vek32u in_scratch_register(Vek32u index) {
    asm("" : "+r"(index));
    return index;
}

// Offsets of the explicit form: their sum is rounded and halved once per call.
inline Vek32s explicit_offset(Vek32s o1, Vek32s o2) { return add_wrap(add_wrap(o1, o2), 1) >> 1; }

// The implicit form is the explicit one at logWD 5 without offsets.
constexpr Vek32u kImplicitShift = 6;

}  // namespace

}  // namespace vek::h264

using vek::h264::any_null;
using vek::h264::average_block_index;
using vek::h264::explicit_offset;
using vek::h264::in_scratch_register;
using vek::h264::is_weight_side;
using vek::h264::kImplicitShift;
using vek::h264::SharedSteps;
using vek::h264::weight_block_index;
using vek::h264::weight_kernels;
using vek::h264::WeightParams;

VekStatus vekiInterpolateBlock_H264_8u_P2P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst, Vek32u width,
                                             Vek32u height, Vek32s step) {
    if (!pSrc1 || !pSrc2 || !pDst) return vekStsNullPtrErr;
    if (width < 2 || width > 16 || height < 2 || height > 16) return vekStsSizeErr;
    return weight_kernels().average_generic(pSrc1, pSrc2, pDst, width, height, step, step, step);
}

// Odd sizes take the generic kernel; even sizes take their table slot, whose
// special kernel writes its own size: 6x4 writes 4x4, 2x6 writes 2x4.
VekStatus vekiInterpolateBlock_H264_8u_P3P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst, Vek32u width,
                                             Vek32u height, Vek32s srcStep1, Vek32s srcStep2, Vek32s dstStep) {
    if (any_null(pSrc1, pSrc2, pDst)) return vekStsNullPtrErr;
    if (width - 2 > 14 || height - 2 > 14) return vekStsSizeErr;  // 2..16, as unsigned numbers
    return weight_kernels().average_by_size[in_scratch_register(17 * width + height)](
        pSrc1, pSrc2, pDst, width, height, srcStep1, srcStep2, dstStep);
}

// The 8-bit weightings compare steps with the width as unsigned numbers, before the size.
VekStatus vekiBiDirWeightBlock_H264_8u_P2P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst, Vek32u srcStep,
                                             Vek32u dstStep, Vek32u logWD, Vek32s w1, Vek32s o1, Vek32s w2, Vek32s o2,
                                             VekRoi roi) {
    // The kernel's weights first: the stack arguments are loaded once anyway,
    // and packed at once they hold two registers through the checks, not four.
    const WeightParams p{w1, w2, logWD + 1, explicit_offset(o1, o2)};
    if (any_null(pSrc1, pSrc2, pDst)) [[unlikely]]
        return vekStsNullPtrErr;
    if (srcStep < static_cast<Vek32u>(roi.width) || dstStep < static_cast<Vek32u>(roi.width)) [[unlikely]]
        return vekStsStepErr;
    if (!is_weight_side(roi.width) || !is_weight_side(roi.height)) [[unlikely]]
        return vekStsSizeErr;
    return weight_kernels().bidir_weight_shared[weight_block_index(roi.width, roi.height)](
        pSrc1, pSrc2, pDst, SharedSteps{static_cast<Vek32s>(srcStep), static_cast<Vek32s>(dstStep)}, p);
}

VekStatus vekiBiDirWeightBlock_H264_8u_P3P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst, Vek32u srcStep1,
                                             Vek32u srcStep2, Vek32u dstStep, Vek32u logWD, Vek32s w1, Vek32s o1,
                                             Vek32s w2, Vek32s o2, VekRoi roi) {
    if (!pSrc1 || !pSrc2 || !pDst) return vekStsNullPtrErr;
    const auto width = static_cast<Vek32u>(roi.width);
    if (srcStep1 < width || srcStep2 < width || dstStep < width) return vekStsStepErr;
    if (!is_weight_side(roi.width) || !is_weight_side(roi.height)) return vekStsSizeErr;
    const WeightParams p{w1, w2, logWD + 1, explicit_offset(o1, o2)};
    weight_kernels().bidir_weight_block[weight_block_index(roi.width, roi.height)](
        pSrc1, static_cast<Vek32s>(srcStep1), pSrc2, static_cast<Vek32s>(srcStep2), pDst, static_cast<Vek32s>(dstStep),
        p);
    return vekStsOk;
}

VekStatus vekiBiDirWeightBlockImplicit_H264_8u_P2P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst,
                                                     Vek32u srcStep, Vek32u dstStep, Vek32s w1, Vek32s w2, VekRoi roi) {
    if (!pSrc1 || !pSrc2 || !pDst) return vekStsNullPtrErr;
    if (srcStep < static_cast<Vek32u>(roi.width) || dstStep < static_cast<Vek32u>(roi.width)) return vekStsStepErr;
    if (!is_weight_side(roi.width) || !is_weight_side(roi.height)) return vekStsSizeErr;
    return weight_kernels().bidir_weight_shared[weight_block_index(roi.width, roi.height)](
        pSrc1, pSrc2, pDst, SharedSteps{static_cast<Vek32s>(srcStep), static_cast<Vek32s>(dstStep)},
        WeightParams{w1, w2, kImplicitShift, 0});
}

// Checks nothing but its pointers and loops over any size.
VekStatus vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst,
                                                     Vek32s srcStep1, Vek32s srcStep2, Vek32s dstStep, Vek32s w1,
                                                     Vek32s w2, VekRoi roi) {
    if (!pSrc1 || !pSrc2 || !pDst) return vekStsNullPtrErr;
    const WeightParams p{w1, w2, kImplicitShift, 0};
    weight_kernels().bidir_weight_generic(pSrc1, srcStep1, pSrc2, srcStep2, pDst, dstStep, p, roi.width, roi.height);
    return vekStsOk;
}

VekStatus vekiUniDirWeightBlock_H264_8u_C1R(Vek8u* pSrcDst, Vek32u srcDstStep, Vek32u logWD, Vek32s w, Vek32s o,
                                            VekRoi roi) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (srcDstStep < static_cast<Vek32u>(roi.width)) return vekStsStepErr;
    if (!is_weight_side(roi.width) || !is_weight_side(roi.height)) return vekStsSizeErr;
    return weight_kernels().unidir_weight_block[weight_block_index(roi.width, roi.height)](
        pSrcDst, static_cast<Vek32s>(srcDstStep), WeightParams{w, 0, logWD, o});
}

VekStatus vekiUniDirWeightBlock_H264_8u_C1IR(Vek8u* pSrcDst, Vek32u srcDstStep, Vek32u logWD, Vek32s w, Vek32s o,
                                             VekRoi roi) {
    return vekiUniDirWeightBlock_H264_8u_C1R(pSrcDst, srcDstStep, logWD, w, o, roi);
}

// pSrcDst is the second source; here the step is compared as a signed number.
VekStatus vekiWeightedAverage_H264_8u_C1IR(const Vek8u* pSrc, Vek8u* pSrcDst, Vek32s srcDstStep, Vek32s w1, Vek32s w2,
                                           Vek32u shift, Vek32s offset, VekRoi roi) {
    if (!pSrc || !pSrcDst) return vekStsNullPtrErr;
    if (srcDstStep < roi.width) return vekStsStepErr;
    if (!is_weight_side(roi.width) || !is_weight_side(roi.height)) return vekStsSizeErr;
    return weight_kernels().weighted_average[weight_block_index(roi.width, roi.height)](
        pSrc, pSrcDst, pSrcDst, SharedSteps{srcDstStep, srcDstStep}, WeightParams{w1, w2, shift, offset});
}

// The plain 16-bit average accepts any size from 2 to 16 and does not check steps.
VekStatus vekiBidir_H264_16u_P2P1R(const VekBidir_16u* pParams) {
    if (!pParams || !pParams->pSrc1 || !pParams->pSrc2 || !pParams->pDst) return vekStsNullPtrErr;
    const VekBidir_16u& b = *pParams;
    if (b.width < 2 || b.width > 16 || b.height < 2 || b.height > 16) return vekStsSizeErr;
    weight_kernels().average_16u(b.pSrc1, b.srcStep1, b.pSrc2, b.srcStep2, b.pDst, b.dstStep, b.width, b.height);
    return vekStsOk;
}

namespace {

// The 16-bit weightings compare steps with the width as signed numbers, before the size.
VekStatus bidir_weight_16u(const VekBidir_16u* pParams, const WeightParams& p) {
    if (!pParams || !pParams->pSrc1 || !pParams->pSrc2 || !pParams->pDst) return vekStsNullPtrErr;
    const VekBidir_16u& b = *pParams;
    if (b.srcStep1 < b.width || b.srcStep2 < b.width || b.dstStep < b.width) return vekStsStepErr;
    if (!is_weight_side(b.width) || !is_weight_side(b.height)) return vekStsSizeErr;
    weight_kernels().bidir_weight_16u(b.pSrc1, b.srcStep1, b.pSrc2, b.srcStep2, b.pDst, b.dstStep, p, b.width, b.height,
                                      b.bitDepth);
    return vekStsOk;
}

}  // namespace

VekStatus vekiBidirWeight_H264_16u_P2P1R(const VekBidir_16u* pParams, Vek32u logWD, Vek32s w1, Vek32s o1, Vek32s w2,
                                         Vek32s o2) {
    return bidir_weight_16u(pParams, WeightParams{w1, w2, logWD + 1, explicit_offset(o1, o2)});
}

VekStatus vekiBidirWeightImplicit_H264_16u_P2P1R(const VekBidir_16u* pParams, Vek32s w1, Vek32s w2) {
    return bidir_weight_16u(pParams, WeightParams{w1, w2, kImplicitShift, 0});
}

VekStatus vekiUnidirWeight_H264_16u_IP2P1R(Vek16u* pSrcDst, Vek32u srcDstStep, Vek32u logWD, Vek32s w, Vek32s o,
                                           VekRoi roi, Vek32s bitDepth) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (srcDstStep < static_cast<Vek32u>(roi.width)) return vekStsStepErr;
    if (!is_weight_side(roi.width) || !is_weight_side(roi.height)) return vekStsSizeErr;
    weight_kernels().unidir_weight_16u(pSrcDst, static_cast<Vek32s>(srcDstStep), WeightParams{w, 0, logWD, o},
                                       roi.width, roi.height, bitDepth);
    return vekStsOk;
}
