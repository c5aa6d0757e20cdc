// SSD of 8-bit blocks: reference kernels, their table and the exported shells.
#include <cassert>

#include "frame/dispatch.h"
#include "metrics/half_pel.h"
#include "metrics/kernels.h"
#include "vekvc.h"

namespace vek::metrics {

namespace {

// The largest total, 64 * 255^2 = 4161600, fits 32 bits with room to spare.
template <int W, int H, HalfPelMode Mode>
Vek32s ssd_block_c(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep) {
    Vek32s total = 0;
    for (int y = 0; y < H; ++y) {
        const Vek8u* cur = row_at(src, srcStep, y);
        const Vek8u* row = row_at(ref, refStep, y);
        const Vek8u* below = row_at(ref, refStep, y + 1);
        for (int x = 0; x < W; ++x) {
            const int diff = cur[x] - ref_sample_8u<Mode>(row, below, x, 1);
            total += diff * diff;
        }
    }
    return total;
}

constexpr Ssd8uFn* ssd8x8_c = &ssd_block_c<8, 8, kModeFF>;
constexpr Ssd8uFn* ssd8x8_fh_c = &ssd_block_c<8, 8, kModeFH>;
constexpr Ssd8uFn* ssd8x8_hf_c = &ssd_block_c<8, 8, kModeHF>;
constexpr Ssd8uFn* ssd8x8_hh_c = &ssd_block_c<8, 8, kModeHH>;
constexpr Ssd8uFn* ssd4x4_c = &ssd_block_c<4, 4, kModeFF>;
constexpr Ssd8uFn* ssd4x4_fh_c = &ssd_block_c<4, 4, kModeFH>;
constexpr Ssd8uFn* ssd4x4_hf_c = &ssd_block_c<4, 4, kModeHF>;
constexpr Ssd8uFn* ssd4x4_hh_c = &ssd_block_c<4, 4, kModeHH>;

void assert_complete([[maybe_unused]] const SsdTable& t) {
#ifndef NDEBUG
    for (auto* fn : t.ssd8x8) assert(fn);
    for (auto* fn : t.ssd4x4) assert(fn);
#endif
}

}  // namespace

SsdTable make_ssd_table(CpuFlags flags) {
    SsdTable t{};
    t.ssd8x8 = {ssd8x8_c, ssd8x8_fh_c, ssd8x8_hf_c, ssd8x8_hh_c};
    t.ssd4x4 = {ssd4x4_c, ssd4x4_fh_c, ssd4x4_hf_c, ssd4x4_hh_c};
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_ssd_table_sse41, init_ssd_table_avx2);
    assert_complete(t);
    return t;
}

namespace {

// Built once while the library loads, never changed afterwards.
const SsdTable kSsdKernels = make_ssd_table(cpu_flags());

// The table of this CPU, the one the exported functions use.
inline const SsdTable& ssd_kernels() { return kSsdKernels; }

}  // namespace

}  // namespace vek::metrics

using vek::metrics::ssd_kernels;
using vek::metrics::mode_index;

VekStatus vekiSSD8x8_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef, Vek32s refStep,
                               Vek32s* pSSD, Vek32s mcType) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSSD) return vekStsNullPtrErr;
    *pSSD = ssd_kernels().ssd8x8[mode_index(mcType)](pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}

VekStatus vekiSSD4x4_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef, Vek32s refStep,
                               Vek32s* pSSD, Vek32s mcType) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pRef) return vekStsNullPtrErr;
    if (!pSSD) return vekStsNullPtrErr;
    *pSSD = ssd_kernels().ssd4x4[mode_index(mcType)](pSrc, srcStep, pRef, refStep);
    return vekStsOk;
}
