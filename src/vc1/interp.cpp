// VC-1 quarter-sample interpolation: reference kernels, their table and the
// shells of the three plain forms.
#include "vc1/interp.h"

#include <cassert>
#include <cstring>

#include "frame/dispatch.h"

namespace vek::vc1 {

namespace {

inline const Vek8u* at(const Vek8u* base, Vek32s step, int y) { return base + static_cast<std::ptrdiff_t>(step) * y; }
inline Vek8u* at(Vek8u* base, Vek32s step, int y) { return base + static_cast<std::ptrdiff_t>(step) * y; }
inline Vek8u clip_u8(int v) { return static_cast<Vek8u>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

// Bicubic block at one phase, straight from the four cases.
template <int W, int H, int DX, int DY>
void bicubic_c(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int rc) {
    const int* fx = kBicubicTaps[DX];
    const int* fy = kBicubicTaps[DY];
    for (int y = 0; y < H; ++y) {
        Vek8u* out = at(dst, dstStep, y);
        if constexpr (DX == 0 && DY == 0) {
            std::memcpy(out, at(src, srcStep, y), W);
        } else if constexpr (DY == 0) {
            // Horizontal only: the rounding control is subtracted.
            constexpr int s = kHorzShift[DX];
            const Vek8u* row = at(src, srcStep, y);
            for (int x = 0; x < W; ++x) {
                int sum = 0;
                for (int k = 0; k < 4; ++k) sum += fx[k] * row[x - 1 + k];
                out[x] = clip_u8((sum + (1 << (s - 1)) - rc) >> s);
            }
        } else {
            // A vertical pass first, rounded with the control added and one
            // less; in the two-pass case it covers columns -1 .. W + 1 and is
            // held in 16 bits before the horizontal pass.
            constexpr int s = kVertShift[DX][DY];
            Vek16s t[W + 3];
            constexpr int lo = DX == 0 ? 0 : -1, hi = DX == 0 ? W : W + 2;
            for (int x = lo; x < hi; ++x) {
                int sum = 0;
                for (int k = 0; k < 4; ++k) sum += fy[k] * at(src, srcStep, y - 1 + k)[x];
                t[x + 1] = static_cast<Vek16s>((sum + (1 << (s - 1)) - 1 + rc) >> s);
            }
            for (int x = 0; x < W; ++x) {
                if constexpr (DX == 0) {
                    out[x] = clip_u8(t[x + 1]);
                } else {
                    int sum = 0;
                    for (int k = 0; k < 4; ++k) sum += fx[k] * t[x + k];
                    out[x] = clip_u8((sum + 64 - rc) >> 7);
                }
            }
        }
    }
}

// Bilinear block at one phase; P is the distance in bytes to the right
// neighbour (2 for interleaved pairs, whose channels never mix).
template <int W, int H, int P, int DX, int DY>
void bilinear_c(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, int rc) {
    for (int y = 0; y < H; ++y) {
        const Vek8u* row = at(src, srcStep, y);
        const Vek8u* below = at(src, srcStep, y + 1);
        Vek8u* out = at(dst, dstStep, y);
        for (int x = 0; x < W * P; ++x) {
            const int a = row[x];
            int v;
            if constexpr (DX == 0 && DY == 0) {
                v = a;
            } else if constexpr (DX == 0 && DY == 2) {
                v = (a + below[x] + 1 - rc) >> 1;
            } else if constexpr (DX == 2 && DY == 0) {
                v = (a + row[x + P] + 1 - rc) >> 1;
            } else if constexpr (DX == 2 && DY == 2) {
                v = (a + row[x + P] + below[x] + below[x + P] + 2 - rc) >> 2;
            } else if constexpr (DY == 0) {
                v = ((4 - DX) * a + DX * row[x + P] + 2 - rc) >> 2;
            } else if constexpr (DX == 0) {
                v = ((4 - DY) * a + DY * below[x] + 2 - rc) >> 2;
            } else {
                v = ((4 - DY) * ((4 - DX) * a + DX * row[x + P]) + DY * ((4 - DX) * below[x] + DX * below[x + P]) +
                     8 - rc) >> 4;
            }
            out[x] = static_cast<Vek8u>(v);
        }
    }
}

template <template <int, int> class Maker, std::size_t... I>
constexpr PhaseTable phases(std::index_sequence<I...>) {
    return {Maker<static_cast<int>(I) / 4, static_cast<int>(I) % 4>::fn...};
}

template <int W, int H>
struct Bicubic {
    template <int DX, int DY>
    struct At {
        static constexpr InterpFn* fn = &bicubic_c<W, H, DX, DY>;
    };
    static constexpr PhaseTable table = phases<At>(std::make_index_sequence<kPhases>{});
};

template <int W, int H, int P>
struct Bilinear {
    template <int DX, int DY>
    struct At {
        static constexpr InterpFn* fn = &bilinear_c<W, H, P, DX, DY>;
    };
    static constexpr PhaseTable table = phases<At>(std::make_index_sequence<kPhases>{});
};

void assert_complete([[maybe_unused]] const InterpTable& t) {
#ifndef NDEBUG
    for (const auto& size : t.bicubic)
        for (auto* fn : size) assert(fn);
    for (const auto& size : t.bilinear)
        for (auto* fn : size) assert(fn);
    for (const auto& size : t.bilinear_c2)
        for (auto* fn : size) assert(fn);
#endif
}

}  // namespace

InterpTable make_interp_table(CpuFlags flags) {
    InterpTable t{};
    t.bicubic = {Bicubic<8, 8>::table, Bicubic<16, 8>::table, Bicubic<16, 16>::table};
    t.bilinear = {Bilinear<4, 4, 1>::table, Bilinear<8, 4, 1>::table, Bilinear<8, 8, 1>::table,
                  Bilinear<16, 16, 1>::table};
    t.bilinear_c2 = {Bilinear<4, 4, 2>::table, Bilinear<8, 4, 2>::table, Bilinear<8, 8, 2>::table};
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_interp_table_sse41, init_interp_table_avx2);
    assert_complete(t);
    return t;
}

namespace {
// Built once while the library loads, never changed afterwards.
const InterpTable kInterpKernels = make_interp_table(cpu_flags());
}  // namespace

const InterpTable& interp_kernels() { return kInterpKernels; }

}  // namespace vek::vc1

using namespace vek::vc1;

VekStatus vekiInterpolateQPBicubic_VC1_8u_C1R(const VekVCInterpolate_8u* pParams) {
    if (!pParams || !pParams->pSrc || !pParams->pDst) return vekStsNullPtrErr;
    const VekVCInterpolate_8u& p = *pParams;
    // Fractions outside 0..3 are outside the contract; the mask only keeps such
    // a call inside the table.
    interp_kernels().bicubic[bicubic_dims(p.roi).table][phase_index(p.dx, p.dy)](p.pSrc, p.srcStep, p.pDst,
                                                                                p.dstStep, p.roundControl & 1);
    return vekStsOk;
}

VekStatus vekiInterpolateQPBilinear_VC1_8u_C1R(const VekVCInterpolate_8u* pParams) {
    if (!pParams || !pParams->pSrc || !pParams->pDst) return vekStsNullPtrErr;
    const VekVCInterpolate_8u& p = *pParams;
    interp_kernels().bilinear[bilinear_dims(p.roi).table][phase_index(p.dx, p.dy)](p.pSrc, p.srcStep, p.pDst,
                                                                                  p.dstStep, p.roundControl & 1);
    return vekStsOk;
}

VekStatus vekiInterpolateQPBilinear_VC1_8u_C2R(const VekVCInterpolate_8u* pParams) {
    if (!pParams || !pParams->pSrc || !pParams->pDst) return vekStsNullPtrErr;
    const VekVCInterpolate_8u& p = *pParams;
    interp_kernels().bilinear_c2[bilinear_pair_dims(p.roi).table][phase_index(p.dx, p.dy)](
        p.pSrc, p.srcStep, p.pDst, p.dstStep, p.roundControl & 1);
    return vekStsOk;
}
