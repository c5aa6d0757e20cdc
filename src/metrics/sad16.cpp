// SAD of 16-bit samples: reference kernels, their table and the exported shells.
//
// Two arithmetics live here on purpose. The moded family works in 16 bits with
// saturation (halves clip their sum at 65535, |C - r| is added as a signed
// 16-bit number), which keeps the totals callers of this family have always
// seen. The per-block family wraps each difference to signed 16 bits and adds
// its magnitude in 32 bits.
#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstring>

#include "frame/dispatch.h"
#include "metrics/half_pel.h"
#include "metrics/kernels.h"
#include "vekvc.h"

namespace vek::metrics {

namespace {

// Steps are in bytes and may be odd, so a row may start at any byte.
inline int load_16u(const Vek8u* row, int x) {
    Vek16u v;
    std::memcpy(&v, row + 2 * x, sizeof v);
    return v;
}

template <HalfPelMode Mode>
int ref_sample_16u(const Vek8u* row, const Vek8u* below, int x) {
    const int a = load_16u(row, x);
    if constexpr (Mode == kModeFF) {
        return a;
    } else if constexpr (Mode == kModeFH) {
        return std::min(65535, a + load_16u(below, x) + 1) >> 1;
    } else if constexpr (Mode == kModeHF) {
        return std::min(65535, a + load_16u(row, x + 1) + 1) >> 1;
    } else {
        const int sum = a + load_16u(row, x + 1) + load_16u(below, x) + load_16u(below, x + 1) + 2;
        return std::min(65535, sum) >> 2;
    }
}

template <int N, HalfPelMode Mode>
Vek32s sad_block_16u_c(const Vek16u* src, Vek32s srcStep, const Vek16u* ref, Vek32s refStep) {
    const auto* src8 = reinterpret_cast<const Vek8u*>(src);
    const auto* ref8 = reinterpret_cast<const Vek8u*>(ref);
    Vek32s total = 0;
    for (int y = 0; y < N; ++y) {
        const Vek8u* cur = row_at(src8, srcStep, y);
        const Vek8u* row = row_at(ref8, refStep, y);
        const Vek8u* below = row_at(ref8, refStep, y + 1);
        for (int x = 0; x < N; ++x) {
            const int c = load_16u(cur, x);
            const int r = ref_sample_16u<Mode>(row, below, x);
            const auto magnitude = static_cast<Vek16u>(c > r ? c - r : r - c);
            // A magnitude of 32768 or more counts as negative: the family's 16-bit total.
            total += static_cast<Vek16s>(magnitude);
        }
    }
    return total;
}

// Rows advance by step >> 1 elements (an odd byte step rounds down).
template <int B>
void sad16x16_blocks_16u_c(const Vek16u* src, Vek32s srcStep, const Vek16u* ref, Vek32s refStep,
                           Vek32u* sads) {
    constexpr int kPerRow = 16 / B;
    Vek32u totals[kPerRow * kPerRow] = {};
    const auto* src8 = reinterpret_cast<const Vek8u*>(src);
    const auto* ref8 = reinterpret_cast<const Vek8u*>(ref);
    for (int y = 0; y < 16; ++y) {
        const Vek8u* cur = src8 + 2 * static_cast<std::ptrdiff_t>(srcStep >> 1) * y;
        const Vek8u* row = ref8 + 2 * static_cast<std::ptrdiff_t>(refStep >> 1) * y;
        for (int x = 0; x < 16; ++x) {
            const auto diff = static_cast<Vek16s>(static_cast<Vek16u>(load_16u(cur, x) - load_16u(row, x)));
            const auto magnitude = static_cast<Vek32u>(diff < 0 ? -diff : diff);  // 32768 for -32768
            totals[(y / B) * kPerRow + x / B] += magnitude;
        }
    }
    for (int i = 0; i < kPerRow * kPerRow; ++i) sads[i] = totals[i];
}

constexpr Sad16uFn* sad16x16_16u_c = &sad_block_16u_c<16, kModeFF>;
constexpr Sad16uFn* sad16x16_16u_fh_c = &sad_block_16u_c<16, kModeFH>;
constexpr Sad16uFn* sad16x16_16u_hf_c = &sad_block_16u_c<16, kModeHF>;
constexpr Sad16uFn* sad16x16_16u_hh_c = &sad_block_16u_c<16, kModeHH>;
constexpr Sad16uFn* sad8x8_16u_c = &sad_block_16u_c<8, kModeFF>;
constexpr Sad16uFn* sad8x8_16u_fh_c = &sad_block_16u_c<8, kModeFH>;
constexpr Sad16uFn* sad8x8_16u_hf_c = &sad_block_16u_c<8, kModeHF>;
constexpr Sad16uFn* sad8x8_16u_hh_c = &sad_block_16u_c<8, kModeHH>;
constexpr Sad16uFn* sad4x4_16u_c = &sad_block_16u_c<4, kModeFF>;
constexpr Sad16uFn* sad4x4_16u_fh_c = &sad_block_16u_c<4, kModeFH>;
constexpr Sad16uFn* sad4x4_16u_hf_c = &sad_block_16u_c<4, kModeHF>;
constexpr Sad16uFn* sad4x4_16u_hh_c = &sad_block_16u_c<4, kModeHH>;
constexpr SadBlocks16uFn* sad16x16_blocks8x8_16u_c = &sad16x16_blocks_16u_c<8>;
constexpr SadBlocks16uFn* sad16x16_blocks4x4_16u_c = &sad16x16_blocks_16u_c<4>;

void assert_complete([[maybe_unused]] const Sad16Table& t) {
#ifndef NDEBUG
    for (auto* fn : t.sad16x16) assert(fn);
    for (auto* fn : t.sad8x8) assert(fn);
    for (auto* fn : t.sad4x4) assert(fn);
    assert(t.sad16x16_blocks8x8 && t.sad16x16_blocks4x4);
#endif
}

}  // namespace

Sad16Table make_sad16_table(CpuFlags flags) {
    Sad16Table t{};
    t.sad16x16 = {sad16x16_16u_c, sad16x16_16u_fh_c, sad16x16_16u_hf_c, sad16x16_16u_hh_c};
    t.sad8x8 = {sad8x8_16u_c, sad8x8_16u_fh_c, sad8x8_16u_hf_c, sad8x8_16u_hh_c};
    t.sad4x4 = {sad4x4_16u_c, sad4x4_16u_fh_c, sad4x4_16u_hf_c, sad4x4_16u_hh_c};
    t.sad16x16_blocks8x8 = sad16x16_blocks8x8_16u_c;
    t.sad16x16_blocks4x4 = sad16x16_blocks4x4_16u_c;
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_sad16_table_sse41, init_sad16_table_avx2);
    assert_complete(t);
    return t;
}

namespace {

// Built once while the library loads, never changed afterwards.
const Sad16Table kSad16Kernels = make_sad16_table(cpu_flags());

// The table of this CPU, the one the exported functions use.
inline const Sad16Table& sad16_kernels() { return kSad16Kernels; }

}  // namespace

}  // namespace vek::metrics

using vek::metrics::sad16_kernels;
using vek::metrics::mode_index;

VekStatus vekiSAD16x16_16u32s_C1R(const Vek16u* pSrc, Vek32s srcStep, const Vek16u* pRef,
                                  Vek32s refStep, Vek32s* pSAD, Vek32s mcType) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSAD) return vekStsNullPtrErr;
    *pSAD = sad16_kernels().sad16x16[mode_index(mcType)](pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

VekStatus vekiSAD8x8_16u32s_C1R(const Vek16u* pSrc, Vek32s srcStep, const Vek16u* pRef, Vek32s refStep,
                                Vek32s* pSAD, Vek32s mcType) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSAD) return vekStsNullPtrErr;
    *pSAD = sad16_kernels().sad8x8[mode_index(mcType)](pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

VekStatus vekiSAD4x4_16u32s_C1R(const Vek16u* pSrc, Vek32s srcStep, const Vek16u* pRef, Vek32s refStep,
                                Vek32s* pSAD, Vek32s mcType) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSAD) return vekStsNullPtrErr;
    *pSAD = sad16_kernels().sad4x4[mode_index(mcType)](pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

VekStatus vekiSAD16x16Blocks8x8_16u32u_C1R(const Vek16u* pSrc, Vek32s srcStep, const Vek16u* pRef,
                                           Vek32s refStep, Vek32u* pDstSAD) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pDstSAD) return vekStsNullPtrErr;
    sad16_kernels().sad16x16_blocks8x8(pSrc, srcStep, pRef, refStep, pDstSAD);
    return vekStsOk;
}

VekStatus vekiSAD16x16Blocks4x4_16u32u_C1R(const Vek16u* pSrc, Vek32s srcStep, const Vek16u* pRef,
                                           Vek32s refStep, Vek32u* pDstSAD) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pDstSAD) return vekStsNullPtrErr;
    sad16_kernels().sad16x16_blocks4x4(pSrc, srcStep, pRef, refStep, pDstSAD);
    return vekStsOk;
}
