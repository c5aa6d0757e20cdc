// Edge filters: reference kernels, table and the exported shells.
#include "h263/deblock.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "frame/dispatch.h"

namespace vek::h263 {

const Vek32s h263_Deblock_QPStrength[32] = {0, 1, 1, 2, 2, 3, 3, 4, 4, 4, 5, 5, 6, 6, 7, 7,
                                             7, 8, 8, 8, 9, 9, 9, 10, 10, 10, 11, 11, 11, 12, 12, 12};

namespace {

inline Vek8u clip255(int v) { return Vek8u(std::clamp(v, 0, 255)); }

// One position across the edge: A, B before it (B nearest), C, D after it.
// With a strength the correction ramps down to 0 at twice the strength; the
// 16x16 filter has no ramp and limits the outer change by |d| / 2.
template <bool kRamp>
inline void deblock_position(Vek8u* c, std::ptrdiff_t across, int strength) {
    const int A = c[-2 * across], B = c[-across], C = c[0], D = c[across];
    const int d = (4 * C - 4 * B + A - D) / 8;
    const int ad = std::abs(d);
    int d1, lim;
    if constexpr (kRamp) {
        const int m = std::max(0, ad - std::max(0, 2 * (ad - strength)));
        d1 = d < 0 ? -m : m;
        lim = m >> 1;
    } else {
        d1 = d;
        lim = ad >> 1;
    }
    const int d2 = std::clamp((A - D) / 4, -lim, lim);
    c[-2 * across] = clip255(A - d2);
    c[-across] = clip255(B + d1);
    c[0] = clip255(C - d1);
    c[across] = clip255(D + d2);
}

inline void boundary_position(Vek8u* c, std::ptrdiff_t across) {
    const int B = c[-across], C = c[0];
    c[-across] = Vek8u((3 * B + C + 2) >> 2);
    c[0] = Vek8u((3 * C + B + 2) >> 2);
}

template <int N, bool kRamp, bool kVertical>
void deblock_c(Vek8u* p, Vek32s step, Vek32s strength) {
    const std::ptrdiff_t along = kVertical ? step : 1, across = kVertical ? 1 : step;
    for (int i = 0; i < N; ++i) deblock_position<kRamp>(p + along * i, across, strength);
}

template <bool kVertical>
void boundary_c(Vek8u* p, Vek32s step, Vek32s) {
    const std::ptrdiff_t along = kVertical ? step : 1, across = kVertical ? 1 : step;
    for (int i = 0; i < 16; ++i) boundary_position(p + along * i, across);
}

}  // namespace

EdgeFilterTable make_edge_filter_table(CpuFlags flags) {
    EdgeFilterTable t{deblock_c<8, true, false>,   deblock_c<8, true, true>, deblock_c<16, false, false>,
                      deblock_c<16, false, true>,  boundary_c<false>,        boundary_c<true>};
    if constexpr (kSimdBuilt)
        apply_simd_levels(t, flags, init_edge_filter_table_sse41, init_edge_filter_table_avx2);
    return t;
}

namespace {
// Built once while the library loads, never changed afterwards.
const EdgeFilterTable kEdgeFilters = make_edge_filter_table(cpu_flags());
}  // namespace

}  // namespace vek::h263

using vek::h263::kEdgeFilters;

VekStatus vekiFilterDeblocking8x8HorEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, Vek32s QP) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (QP < 1 || QP > 31) return vekStsQpRangeErr;
    kEdgeFilters.deblock8x8_hor(pSrcDst, srcDstStep, vek::h263::h263_Deblock_QPStrength[QP]);
    return vekStsOk;
}

VekStatus vekiFilterDeblocking8x8VerEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, Vek32s QP) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (QP < 1 || QP > 31) return vekStsQpRangeErr;
    kEdgeFilters.deblock8x8_ver(pSrcDst, srcDstStep, vek::h263::h263_Deblock_QPStrength[QP]);
    return vekStsOk;
}

VekStatus vekiFilterDeblocking16x16HorEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep) {
    if (!pSrcDst) return vekStsNullPtrErr;
    kEdgeFilters.deblock16x16_hor(pSrcDst, srcDstStep, 0);
    return vekStsOk;
}

VekStatus vekiFilterDeblocking16x16VerEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep) {
    if (!pSrcDst) return vekStsNullPtrErr;
    kEdgeFilters.deblock16x16_ver(pSrcDst, srcDstStep, 0);
    return vekStsOk;
}

VekStatus vekiFilterBlockBoundaryHorEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep) {
    if (!pSrcDst) return vekStsNullPtrErr;
    kEdgeFilters.boundary_hor(pSrcDst, srcDstStep, 0);
    return vekStsOk;
}

VekStatus vekiFilterBlockBoundaryVerEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep) {
    if (!pSrcDst) return vekStsNullPtrErr;
    kEdgeFilters.boundary_ver(pSrcDst, srcDstStep, 0);
    return vekStsOk;
}
