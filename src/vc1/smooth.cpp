// VC-1 overlap smoothing: reference kernels, their table and the shells.
#include "vc1/smooth.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/dispatch.h"

namespace vek::vc1 {

namespace {

inline int sat16(int v) { return std::clamp(v, -32768, 32767); }
inline Vek8u clip_u8(int v) { return static_cast<Vek8u>(std::clamp(v, 0, 255)); }

template <class T>
inline T* row_at(T* base, Vek32s step, int y) {
    using Byte = std::conditional_t<std::is_const_v<T>, const Vek8u, Vek8u>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) + static_cast<std::ptrdiff_t>(step) * y);
}

struct Quad {
    int a, b, c, d;
};

// The four outputs of one line, additions saturating left to right.
inline Quad smooth(Quad v, int r0) {
    const int r1 = 7 - r0;
    const auto x7 = [](int x) { return sat16(7 * x); };
    return {sat16(sat16(x7(v.a) + v.d) + r0) >> 3,
            sat16(sat16(sat16(sat16(x7(v.b) - v.a) + v.c) + v.d) + r1) >> 3,
            sat16(sat16(sat16(sat16(x7(v.c) + v.a) + v.b) - v.d) + r0) >> 3,
            sat16(sat16(x7(v.d) + v.a) + r1) >> 3};
}

template <int Pitch>
void hor_c(const Vek16s* upper, Vek32s upperStep, const Vek16s* lower, Vek32s lowerStep, Vek8u* dst, Vek32s dstStep) {
    for (int x = 0; x < 8; ++x) {
        const Quad q = smooth({row_at(upper, upperStep, 0)[x], row_at(upper, upperStep, 1)[x],
                               row_at(lower, lowerStep, 0)[x], row_at(lower, lowerStep, 1)[x]},
                              (x & 1) ? 3 : 4);
        row_at(dst, dstStep, -2)[x * Pitch] = clip_u8(q.a);
        row_at(dst, dstStep, -1)[x * Pitch] = clip_u8(q.b);
        row_at(dst, dstStep, 0)[x * Pitch] = clip_u8(q.c);
        row_at(dst, dstStep, 1)[x * Pitch] = clip_u8(q.d);
    }
}

template <int Pitch>
void ver_c(Vek16s* left, Vek32s leftStep, Vek16s* right, Vek32s rightStep, Vek8u* dst, Vek32s dstStep, int r0Even,
           int r0Odd) {
    for (int y = 0; y < 8; ++y) {
        Vek16s* l = row_at(left, leftStep, y);
        Vek16s* r = row_at(right, rightStep, y);
        const Quad q = smooth({l[0], l[1], r[0], r[1]}, (y & 1) ? r0Odd : r0Even);
        // The unclipped values go back to the sources, where a following
        // horizontal pass picks them up.
        l[0] = static_cast<Vek16s>(q.a);
        l[1] = static_cast<Vek16s>(q.b);
        r[0] = static_cast<Vek16s>(q.c);
        r[1] = static_cast<Vek16s>(q.d);
        Vek8u* out = row_at(dst, dstStep, y);
        out[-2 * Pitch] = clip_u8(q.a);
        out[-Pitch] = clip_u8(q.b);
        out[0] = clip_u8(q.c);
        out[Pitch] = clip_u8(q.d);
    }
}

void ver16_c(Vek16s* left, Vek32s leftStep, Vek16s* right, Vek32s rightStep, Vek8u* dst, Vek32s dstStep) {
    ver_c<1>(left, leftStep, right, rightStep, dst, dstStep, 4, 3);
    ver_c<1>(row_at(left, leftStep, 8), leftStep, row_at(right, rightStep, 8), rightStep, row_at(dst, dstStep, 8),
             dstStep, 4, 3);
}

void hor_pairs_c(const Vek16s* upperU, Vek32s upperStepU, const Vek16s* lowerU, Vek32s lowerStepU,
                 const Vek16s* upperV, Vek32s upperStepV, const Vek16s* lowerV, Vek32s lowerStepV, Vek8u* dst,
                 Vek32s dstStep, unsigned channels) {
    if (channels & 1) hor_c<2>(upperU, upperStepU, lowerU, lowerStepU, dst, dstStep);
    if (channels & 2) hor_c<2>(upperV, upperStepV, lowerV, lowerStepV, dst + 1, dstStep);
}

void ver_pairs_c(Vek16s* leftU, Vek32s leftStepU, Vek16s* rightU, Vek32s rightStepU, Vek16s* leftV,
                 Vek32s leftStepV, Vek16s* rightV, Vek32s rightStepV, Vek8u* dst, Vek32s dstStep, unsigned channels) {
    if (channels & 1) ver_c<2>(leftU, leftStepU, rightU, rightStepU, dst, dstStep, 4, 3);
    if (channels & 2) ver_c<2>(leftV, leftStepV, rightV, rightStepV, dst + 1, dstStep, 4, 3);
}

}  // namespace

SmoothTable make_smooth_table(CpuFlags flags) {
    SmoothTable t{hor_c<1>, hor_pairs_c, ver_c<1>, ver_pairs_c, ver16_c};
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_smooth_table_sse41, init_smooth_table_avx2);
    return t;
}

namespace {

const SmoothTable kSmoothKernels = make_smooth_table(cpu_flags());

template <class T>
T* rows_down(T* p, Vek32s step, int rows) {
    return row_at(p, step, rows);
}

// Luma vertical edge, 16 rows, the field pairing of fieldNeighbourFlag. Kept
// out of line so that the shell's common case (frame neighbours, both halves)
// stays a plain call without the register saves these paths need.
[[gnu::noinline]] void luma_ver(Vek16s* left, Vek32s ls, Vek16s* right, Vek32s rs, Vek8u* dst, Vek32s ds, Vek32u field,
              Vek32u flags) {
    SmoothVerFn* ver = kSmoothKernels.ver;
    switch (field) {
    case 1:  // left is a field pair: its rows alternate between the passes
        ver(left, 2 * ls, right, rs, dst, 2 * ds, 4, 4);
        ver(rows_down(left, ls, 1), 2 * ls, rows_down(right, rs, 8), rs, rows_down(dst, ds, 1), 2 * ds, 3, 3);
        return;
    case 2:  // right is a field pair
        ver(left, ls, right, 2 * rs, dst, 2 * ds, 4, 4);
        ver(rows_down(left, ls, 8), ls, rows_down(right, rs, 1), 2 * rs, rows_down(dst, ds, 1), 2 * ds, 3, 3);
        return;
    case 3:  // both sides field ordered: halves go to alternate output rows
        ver(left, ls, right, rs, dst, 2 * ds, 4, 4);
        ver(rows_down(left, ls, 8), ls, rows_down(right, rs, 8), rs, rows_down(dst, ds, 1), 2 * ds, 3, 3);
        return;
    default:  // frame neighbours, one half (both halves are the shell's)
        if (flags & 3) ver(left, ls, right, rs, dst, ds, 4, 3);
        if (flags & 12) ver(rows_down(left, ls, 8), ls, rows_down(right, rs, 8), rs, rows_down(dst, ds, 8), ds, 4, 3);
        return;
    }
}

}  // namespace

}  // namespace vek::vc1

using namespace vek::vc1;

VekStatus vekiSmoothingLuma_HorEdge_VC1_16s8u_C1R(const Vek16s* pSrcUpper, Vek32s srcUpperStep,
                                                  const Vek16s* pSrcBottom, Vek32s srcBottomStep, Vek8u* pDst,
                                                  Vek32s dstStep, Vek32u edgeDisabledFlag) {
    if (!pSrcUpper || !pSrcBottom || !pDst) return vekStsNullPtrErr;
    // A set bit selects its half for processing.
    if (edgeDisabledFlag & 3) kSmoothKernels.hor(pSrcUpper, srcUpperStep, pSrcBottom, srcBottomStep, pDst, dstStep);
    if (edgeDisabledFlag & 12)
        kSmoothKernels.hor(pSrcUpper + 8, srcUpperStep, pSrcBottom + 8, srcBottomStep, pDst + 8, dstStep);
    return vekStsOk;
}

VekStatus vekiSmoothingLuma_VerEdge_VC1_16s8u_C1R(Vek16s* pSrcLeft, Vek32s srcLeftStep, Vek16s* pSrcRight,
                                                  Vek32s srcRightStep, Vek8u* pDst, Vek32s dstStep,
                                                  Vek32u fieldNeighbourFlag, Vek32u edgeDisabledFlag) {
    if (!pSrcLeft || !pSrcRight || !pDst) return vekStsNullPtrErr;
    if (edgeDisabledFlag == 0) return vekStsOk;
    if (fieldNeighbourFlag == 0 && (edgeDisabledFlag & 3) && (edgeDisabledFlag & 12)) {
        kSmoothKernels.ver16(pSrcLeft, srcLeftStep, pSrcRight, srcRightStep, pDst, dstStep);
        return vekStsOk;
    }
    luma_ver(pSrcLeft, srcLeftStep, pSrcRight, srcRightStep, pDst, dstStep, fieldNeighbourFlag, edgeDisabledFlag);
    return vekStsOk;
}

VekStatus vekiSmoothingChroma_HorEdge_VC1_16s8u_C1R(const Vek16s* pSrcUpper, Vek32s srcUpperStep,
                                                    const Vek16s* pSrcBottom, Vek32s srcBottomStep, Vek8u* pDst,
                                                    Vek32s dstStep) {
    if (!pSrcUpper || !pSrcBottom || !pDst) return vekStsNullPtrErr;
    kSmoothKernels.hor(pSrcUpper, srcUpperStep, pSrcBottom, srcBottomStep, pDst, dstStep);
    return vekStsOk;
}

VekStatus vekiSmoothingChroma_VerEdge_VC1_16s8u_C1R(Vek16s* pSrcLeft, Vek32s srcLeftStep, Vek16s* pSrcRight,
                                                    Vek32s srcRightStep, Vek8u* pDst, Vek32s dstStep) {
    if (!pSrcLeft || !pSrcRight || !pDst) return vekStsNullPtrErr;
    kSmoothKernels.ver(pSrcLeft, srcLeftStep, pSrcRight, srcRightStep, pDst, dstStep, 4, 3);
    return vekStsOk;
}

VekStatus vekiSmoothingChroma_HorEdge_VC1_16s8u_P2C2R(const Vek16s* pSrcUpperU, Vek32s srcUpperStepU,
                                                      const Vek16s* pSrcBottomU, Vek32s srcBottomStepU,
                                                      const Vek16s* pSrcUpperV, Vek32s srcUpperStepV,
                                                      const Vek16s* pSrcBottomV, Vek32s srcBottomStepV, Vek8u* pDst,
                                                      Vek32s dstStep, Vek32u uEdgeDisabledFlag,
                                                      Vek32u vEdgeDisabledFlag) {
    if (!pSrcUpperU || !pSrcBottomU || !pSrcUpperV || !pSrcBottomV || !pDst) return vekStsNullPtrErr;
    // A set flag selects its channel for processing, as in the luma forms.
    const unsigned channels = (uEdgeDisabledFlag ? 1u : 0u) | (vEdgeDisabledFlag ? 2u : 0u);
    if (channels)
        kSmoothKernels.hor_pairs(pSrcUpperU, srcUpperStepU, pSrcBottomU, srcBottomStepU, pSrcUpperV, srcUpperStepV,
                                 pSrcBottomV, srcBottomStepV, pDst, dstStep, channels);
    return vekStsOk;
}

VekStatus vekiSmoothingChroma_VerEdge_VC1_16s8u_P2C2R(Vek16s* pSrcLeftU, Vek32s srcLeftStepU, Vek16s* pSrcRightU,
                                                      Vek32s srcRightStepU, Vek16s* pSrcLeftV, Vek32s srcLeftStepV,
                                                      Vek16s* pSrcRightV, Vek32s srcRightStepV, Vek8u* pDst,
                                                      Vek32s dstStep, Vek32u uEdgeDisabledFlag,
                                                      Vek32u vEdgeDisabledFlag) {
    if (!pSrcLeftU || !pSrcRightU || !pSrcLeftV || !pSrcRightV || !pDst) return vekStsNullPtrErr;
    const unsigned channels = (uEdgeDisabledFlag ? 1u : 0u) | (vEdgeDisabledFlag ? 2u : 0u);
    if (channels)
        kSmoothKernels.ver_pairs(pSrcLeftU, srcLeftStepU, pSrcRightU, srcRightStepU, pSrcLeftV, srcLeftStepV,
                                 pSrcRightV, srcRightStepV, pDst, dstStep, channels);
    return vekStsOk;
}
