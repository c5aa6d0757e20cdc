// Kernel table of the H.264 deblocking filter: one kernel per plane, direction
// and sample depth, each filtering all edges of one macroblock call in order.
//
// A kernel receives the caller's pointers unchanged (already checked for
// null). pBs and pThresholds follow the layout of the plane (luma 4 * e + i;
// 4:2:0 chroma pBs 8 * e + i, tc0 4 * e + i; ...). A kernel never reads the
// samples of an edge whose bS are all 0. Vertical kernels read 4 (luma) or 2
// (chroma) samples left of the block, horizontal ones as many rows above it.
// Steps are bytes for 8-bit kernels and elements for 16-bit ones, any sign.
#pragma once

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::h264 {

// 8-bit edges of a macroblock: alpha, beta [0] outer edge, [1] inner edges.
// They return the status of the call, so that a shell passing its arguments
// on unchanged ends in a jump to the kernel.
using Deblock8uFn = VekStatus(Vek8u* src_dst, Vek32s step, const Vek8u* alpha, const Vek8u* beta,
                              const Vek8u* tc0, const Vek8u* bs);
using Deblock8uBody = void(Vek8u* src_dst, Vek32s step, const Vek8u* alpha, const Vek8u* beta,
                           const Vek8u* tc0, const Vek8u* bs);
// A filter body as a table kernel: the body is inlined and the status follows.
template <Deblock8uBody* F>
VekStatus returning_ok(Vek8u* src_dst, Vek32s step, const Vek8u* alpha, const Vek8u* beta, const Vek8u* tc0,
                       const Vek8u* bs) {
    F(src_dst, step, alpha, beta, tc0, bs);
    return vekStsOk;
}
// 8-bit MBAFF edge piece with scalar thresholds; nothing happens for alpha 0
// or four bS 0.
using DeblockMbaff8uFn = void(Vek8u* src_dst, Vek32s step, Vek32u alpha, Vek32u beta, const Vek8u* tc0,
                              const Vek8u* bs);
// 16-bit edges (MBAFF kernels use alpha[0], beta[0] only). Filtered values
// clip to 0..clip_max, then keep their low 16 bits.
using Deblock16uFn = void(Vek16u* src_dst, Vek32s step, const Vek16u* alpha, const Vek16u* beta,
                          const Vek16u* tc0, const Vek8u* bs, Vek32s clip_max);

struct DeblockTable {
    Deblock8uFn* luma_ver_8u;
    Deblock8uFn* luma_hor_8u;
    Deblock8uFn* chroma_ver_8u;
    Deblock8uFn* chroma_hor_8u;
    Deblock8uFn* chroma_ver_c2_8u;  // interleaved pairs, both planes share the thresholds
    Deblock8uFn* chroma_hor_c2_8u;
    Deblock8uFn* chroma422_ver_8u;
    Deblock8uFn* chroma422_hor_8u;
    DeblockMbaff8uFn* luma_ver_mbaff_8u;
    DeblockMbaff8uFn* chroma_ver_mbaff_8u;
    Deblock16uFn* luma_ver_16u;
    Deblock16uFn* luma_hor_16u;
    Deblock16uFn* chroma_ver_16u;
    Deblock16uFn* chroma_hor_16u;
    Deblock16uFn* chroma422_ver_16u;
    Deblock16uFn* chroma422_hor_16u;
    Deblock16uFn* luma_ver_mbaff_16u;
    Deblock16uFn* chroma_ver_mbaff_16u;
};

// Reference kernels in every slot, then the overrides of each level in `flags`.
DeblockTable make_deblock_table(CpuFlags flags);

// The table of this CPU, built once while the library loads and never changed
// afterwards. The shells read it in place: a call to an accessor in another
// file costs every macroblock call a few cycles for nothing.
[[gnu::visibility("hidden")]] extern const DeblockTable kDeblockKernels;
inline const DeblockTable& deblock_kernels() { return kDeblockKernels; }

// Clip bound of a 16-bit call: (1 << bitDepth) - 1 with the shift count taken
// modulo 32, so that no bit depth makes the shift undefined.
constexpr Vek32s deblock_clip_max(Vek32s bitDepth) {
    return static_cast<Vek32s>((1u << (static_cast<unsigned>(bitDepth) & 31u)) - 1u);
}

// Overrides of the SIMD levels (x86/deblock_sse41.cpp, x86/deblock_avx2.cpp).
void init_deblock_table_sse41(DeblockTable& table);
void init_deblock_table_avx2(DeblockTable& table);

}  // namespace vek::h264
