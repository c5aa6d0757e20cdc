// Full- and half-sample block copies: reference kernels, table and shells.
#include "mc/copy_hp.h"

#include <cstddef>

#include "frame/dispatch.h"

namespace vek::mc {

namespace {

template <int N, int Mode, int Rc>
void copy_block_c(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep) {
    for (int y = 0; y < N; ++y) {
        const Vek8u* a = src + static_cast<std::ptrdiff_t>(srcStep) * y;
        const Vek8u* c = a + srcStep;
        Vek8u* out = dst + static_cast<std::ptrdiff_t>(dstStep) * y;
        for (int x = 0; x < N; ++x) {
            int v;
            if constexpr (Mode == kCopyFull) v = a[x];
            else if constexpr (Mode == kCopyHalfX) v = (a[x] + a[x + 1] + 1 - Rc) >> 1;
            else if constexpr (Mode == kCopyHalfY) v = (a[x] + c[x] + 1 - Rc) >> 1;
            else v = (a[x] + a[x + 1] + c[x] + c[x + 1] + 2 - Rc) >> 2;
            out[x] = static_cast<Vek8u>(v);
        }
    }
}

template <int N>
constexpr std::array<CopyBlockFn*, 2 * kCopyModeCount> copy_slots_c = {
    copy_block_c<N, 0, 0>, copy_block_c<N, 0, 1>, copy_block_c<N, 1, 0>, copy_block_c<N, 1, 1>,
    copy_block_c<N, 2, 0>, copy_block_c<N, 2, 1>, copy_block_c<N, 3, 0>, copy_block_c<N, 3, 1>};

}  // namespace

CopyTable make_copy_table(CpuFlags flags) {
    CopyTable t{copy_slots_c<8>, copy_slots_c<16>};
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_copy_table_sse41, init_copy_table_avx2);
    return t;
}

namespace {
// Built once while the library loads, never changed afterwards.
const CopyTable kCopyKernels = make_copy_table(cpu_flags());
}  // namespace

const CopyTable& copy_kernels() { return kCopyKernels; }

}  // namespace vek::mc

using vek::mc::copy_kernels;
using vek::mc::copy_slot;

VekStatus vekiCopy8x8_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    copy_kernels().copy8x8[0](pSrc, srcStep, pDst, dstStep);
    return vekStsOk;
}

VekStatus vekiCopy16x16_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    copy_kernels().copy16x16[0](pSrc, srcStep, pDst, dstStep);
    return vekStsOk;
}

VekStatus vekiCopy8x8HP_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                               Vek32s acc, Vek32s rounding) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    copy_kernels().copy8x8[std::size_t(copy_slot(acc, rounding))](pSrc, srcStep, pDst, dstStep);
    return vekStsOk;
}

VekStatus vekiCopy16x16HP_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                 Vek32s acc, Vek32s rounding) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    copy_kernels().copy16x16[std::size_t(copy_slot(acc, rounding))](pSrc, srcStep, pDst, dstStep);
    return vekStsOk;
}
