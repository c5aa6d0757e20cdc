// SAD of 8-bit blocks: reference kernels, their table and the exported shells.
#include <cassert>
#include <cstdlib>

#include "frame/dispatch.h"
#include "metrics/half_pel.h"
#include "metrics/kernels.h"
#include "vekvc.h"

namespace vek::metrics {

namespace {

template <int W, int H, HalfPelMode Mode>
Vek32s sad_block_c(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    Vek32s total = 0;
    for (int y = 0; y < H; ++y) {
        const Vek8u* cur = row_at(src, srcStep, y);
        const Vek8u* row = row_at(ref, refStep, y);
        const Vek8u* below = row_at(ref, refStep, y + 1);
        for (int x = 0; x < W; ++x) total += std::abs(cur[x] - ref_sample_8u<Mode>(row, below, x, 1));
    }
    return total;
}

// Interleaved pairs: even bytes are the first plane, odd bytes the second.
template <HalfPelMode Mode>
void sad8x8_pair_c(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep,
                   Vek32s* first, Vek32s* second) {
    Vek32s total[2] = {0, 0};
    for (int y = 0; y < 8; ++y) {
        const Vek8u* cur = row_at(src, srcStep, y);
        const Vek8u* row = row_at(ref, refStep, y);
        const Vek8u* below = row_at(ref, refStep, y + 1);
        for (int x = 0; x < 16; ++x)
            total[x & 1] += std::abs(cur[x] - ref_sample_8u<Mode>(row, below, x, 2));
    }
    *first = total[0];
    *second = total[1];
}

// SADs of the (16 / B)^2 blocks of B x B samples in a 16x16 block, raster order.
template <int B>
void sad16x16_blocks_c(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep,
                       Vek16u* sads) {
    constexpr int kPerRow = 16 / B;
    Vek32s totals[kPerRow * kPerRow] = {};
    for (int y = 0; y < 16; ++y) {
        const Vek8u* cur = row_at(src, srcStep, y);
        const Vek8u* row = row_at(ref, refStep, y);
        for (int x = 0; x < 16; ++x) totals[(y / B) * kPerRow + x / B] += std::abs(cur[x] - row[x]);
    }
    for (int i = 0; i < kPerRow * kPerRow; ++i) sads[i] = static_cast<Vek16u>(totals[i]);
}

constexpr Sad8uFn* sad16x16_c = &sad_block_c<16, 16, kModeFF>;
constexpr Sad8uFn* sad16x16_fh_c = &sad_block_c<16, 16, kModeFH>;
constexpr Sad8uFn* sad16x16_hf_c = &sad_block_c<16, 16, kModeHF>;
constexpr Sad8uFn* sad16x16_hh_c = &sad_block_c<16, 16, kModeHH>;
constexpr Sad8uFn* sad16x8_c = &sad_block_c<16, 8, kModeFF>;
constexpr Sad8uFn* sad16x8_fh_c = &sad_block_c<16, 8, kModeFH>;
constexpr Sad8uFn* sad16x8_hf_c = &sad_block_c<16, 8, kModeHF>;
constexpr Sad8uFn* sad16x8_hh_c = &sad_block_c<16, 8, kModeHH>;
constexpr Sad8uFn* sad8x8_c = &sad_block_c<8, 8, kModeFF>;
constexpr Sad8uFn* sad8x8_fh_c = &sad_block_c<8, 8, kModeFH>;
constexpr Sad8uFn* sad8x8_hf_c = &sad_block_c<8, 8, kModeHF>;
constexpr Sad8uFn* sad8x8_hh_c = &sad_block_c<8, 8, kModeHH>;
constexpr SadPair8uFn* sad8x8_c2_c = &sad8x8_pair_c<kModeFF>;
constexpr SadPair8uFn* sad8x8_c2_fh_c = &sad8x8_pair_c<kModeFH>;
constexpr SadPair8uFn* sad8x8_c2_hf_c = &sad8x8_pair_c<kModeHF>;
constexpr SadPair8uFn* sad8x8_c2_hh_c = &sad8x8_pair_c<kModeHH>;
constexpr Sad8uFn* sad8x16_c = &sad_block_c<8, 16, kModeFF>;
constexpr Sad8uFn* sad8x4_c = &sad_block_c<8, 4, kModeFF>;
constexpr Sad8uFn* sad4x8_c = &sad_block_c<4, 8, kModeFF>;
constexpr Sad8uFn* sad4x4_c = &sad_block_c<4, 4, kModeFF>;
constexpr SadBlocks8uFn* sad16x16_blocks8x8_c = &sad16x16_blocks_c<8>;
constexpr SadBlocks8uFn* sad16x16_blocks4x4_c = &sad16x16_blocks_c<4>;

void assert_complete([[maybe_unused]] const SadTable& t) {
#ifndef NDEBUG
    for (auto* fn : t.sad16x16) assert(fn);
    for (auto* fn : t.sad16x8) assert(fn);
    for (auto* fn : t.sad8x8) assert(fn);
    for (auto* fn : t.sad8x8_c2) assert(fn);
    assert(t.sad8x16 && t.sad8x4 && t.sad4x8 && t.sad4x4);
    assert(t.sad16x16_blocks8x8 && t.sad16x16_blocks4x4);
#endif
}

}  // namespace

SadTable make_sad_table(CpuFlags flags) {
    SadTable t{};
    t.sad16x16 = {sad16x16_c, sad16x16_fh_c, sad16x16_hf_c, sad16x16_hh_c};
    t.sad16x8 = {sad16x8_c, sad16x8_fh_c, sad16x8_hf_c, sad16x8_hh_c};
    t.sad8x8 = {sad8x8_c, sad8x8_fh_c, sad8x8_hf_c, sad8x8_hh_c};
    t.sad8x8_c2 = {sad8x8_c2_c, sad8x8_c2_fh_c, sad8x8_c2_hf_c, sad8x8_c2_hh_c};
    t.sad8x16 = sad8x16_c;
    t.sad8x4 = sad8x4_c;
    t.sad4x8 = sad4x8_c;
    t.sad4x4 = sad4x4_c;
    t.sad16x16_blocks8x8 = sad16x16_blocks8x8_c;
    t.sad16x16_blocks4x4 = sad16x16_blocks4x4_c;
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_sad_table_sse41, init_sad_table_avx2);
    assert_complete(t);
    return t;
}

namespace {

// Built once while the library loads, never changed afterwards.
const SadTable kSadKernels = make_sad_table(cpu_flags());

// The table of this CPU, the one the exported functions use.
inline const SadTable& sad_kernels() { return kSadKernels; }

}  // namespace

}  // namespace vek::metrics

using vek::metrics::sad_kernels;
using vek::metrics::mode_index;

VekStatus vekiSAD16x16_8u32s(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef, Vek32s refStep,
                             Vek32s* pSAD, Vek32s mcType) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSAD) return vekStsNullPtrErr;
    *pSAD = sad_kernels().sad16x16[mode_index(mcType)](pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

VekStatus vekiSAD16x8_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef, Vek32s refStep,
                                Vek32s* pSAD, Vek32s mcType) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSAD) return vekStsNullPtrErr;
    *pSAD = sad_kernels().sad16x8[mode_index(mcType)](pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

VekStatus vekiSAD8x8_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef, Vek32s refStep,
                               Vek32s* pSAD, Vek32s mcType) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSAD) return vekStsNullPtrErr;
    *pSAD = sad_kernels().sad8x8[mode_index(mcType)](pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

// The one metric that checks its steps: the interleaved rows must move forward.
VekStatus vekiSAD8x8_8u32s_C2R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef, Vek32s refStep,
                               Vek32s* pSADFirst, Vek32s* pSADSecond, Vek32s mcType) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSADFirst) return vekStsNullPtrErr;
    if (!pSADSecond) return vekStsNullPtrErr;
    if (srcStep < 1) return vekStsStepErr;
    if (refStep < 1) return vekStsStepErr;
    sad_kernels().sad8x8_c2[mode_index(mcType)](pSrc, srcStep, pRef, refStep, pSADFirst, pSADSecond);
    return vekStsOk;
}

VekStatus vekiSAD8x16_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef, Vek32s refStep,
                                Vek32s* pSAD) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSAD) return vekStsNullPtrErr;
    *pSAD = sad_kernels().sad8x16(pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

VekStatus vekiSAD8x4_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef, Vek32s refStep,
                               Vek32s* pSAD) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSAD) return vekStsNullPtrErr;
    *pSAD = sad_kernels().sad8x4(pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

VekStatus vekiSAD4x8_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef, Vek32s refStep,
                               Vek32s* pSAD) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSAD) return vekStsNullPtrErr;
    *pSAD = sad_kernels().sad4x8(pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

VekStatus vekiSAD4x4_8u32s(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef, Vek32s refStep,
                           Vek32s* pSAD) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSAD) return vekStsNullPtrErr;
    *pSAD = sad_kernels().sad4x4(pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

VekStatus vekiSAD16x16Blocks8x8_8u16u(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                      Vek32s refStep, Vek16u* pDstSAD) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pDstSAD) return vekStsNullPtrErr;
    sad_kernels().sad16x16_blocks8x8(pSrc, srcStep, pRef, refStep, pDstSAD);
    return vekStsOk;
}

VekStatus vekiSAD16x16Blocks4x4_8u16u(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                      Vek32s refStep, Vek16u* pDstSAD) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pDstSAD) return vekStsNullPtrErr;
    sad_kernels().sad16x16_blocks4x4(pSrc, srcStep, pRef, refStep, pDstSAD);
    return vekStsOk;
}
