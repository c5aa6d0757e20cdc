// VC-1 in-loop deblocking: reference kernels, their table and the shells.
#include "vc1/deblock.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "frame/dispatch.h"

namespace vek::vc1 {

namespace {

struct LineFilter {
    bool pass;  // the line's own tests
    int d;      // amount moved across the edge when it is filtered
};

// One line: `p` is p5, `s` the distance between neighbouring samples of the line.
inline LineFilter analyse(const Vek8u* p, std::ptrdiff_t s, int quant) {
    const int p1 = p[-4 * s], p2 = p[-3 * s], p3 = p[-2 * s], p4 = p[-s];
    const int p5 = p[0], p6 = p[s], p7 = p[2 * s], p8 = p[3 * s];
    const int clip = (p4 - p5) / 2;
    const int a0 = (2 * (p3 - p6) - 5 * (p4 - p5) + 4) >> 3;
    const int a1 = (2 * (p1 - p4) - 5 * (p2 - p3) + 4) >> 3;
    const int a2 = (2 * (p5 - p8) - 5 * (p6 - p7) + 4) >> 3;
    const int a3 = std::min(std::abs(a1), std::abs(a2));
    const bool pass = clip != 0 && std::abs(a0) < quant && a3 < std::abs(a0);
    int d = 5 * ((a0 < 0 ? -a3 : a3) - a0) / 8;
    // A correction against the step's direction is dropped, one along it is
    // limited to half the step.
    if ((d < 0) != (clip < 0) || d == 0) d = 0;
    else if (std::abs(d) > std::abs(clip)) d = clip;
    return {pass, d};
}

inline void apply(Vek8u* p, std::ptrdiff_t s, int d) {
    p[-s] = static_cast<Vek8u>(p[-s] - d);
    p[0] = static_cast<Vek8u>(p[0] + d);
}

// `lines` lines, line i at first + i * along, samples across at `across`.
void filter_lines(Vek8u* first, std::ptrdiff_t along, std::ptrdiff_t across, int lines, int quant, unsigned groups) {
    for (int g = 0; g < lines / 4; ++g) {
        if (!((groups >> g) & 1)) continue;
        Vek8u* base = first + along * 4 * g;
        if (!analyse(base + 2 * along, across, quant).pass) continue;
        for (int i = 0; i < 4; ++i) {
            const LineFilter f = analyse(base + i * along, across, quant);
            if (f.pass) apply(base + i * along, across, f.d);
        }
    }
}

void luma_hor_c(Vek8u* p, Vek32s step, int quant, unsigned groups) { filter_lines(p, 1, step, 16, quant, groups); }
void chroma_hor_c(Vek8u* p, Vek32s step, int quant, unsigned groups) { filter_lines(p, 1, step, 8, quant, groups); }
void chroma_ver_c(Vek8u* p, Vek32s step, int quant, unsigned groups) { filter_lines(p, step, 1, 8, quant, groups); }

template <unsigned Flags>
void luma_ver_half_c(Vek8u* p, Vek32s step, int quant) {
    filter_lines(p, step, 1, 8, quant, ~Flags & 3);
}

void luma_ver_full_c(Vek8u* p, Vek32s step, int quant) { filter_lines(p, step, 1, 16, quant, 15); }

void chroma_hor_c2_c(Vek8u* p, Vek32s step, int quant, unsigned channels) {
    for (int ch = 0; ch < 2; ++ch)
        if ((channels >> ch) & 1) filter_lines(p + ch, 2, step, 8, quant, 3);
}
void chroma_ver_c2_c(Vek8u* p, Vek32s step, int quant, unsigned channels) {
    for (int ch = 0; ch < 2; ++ch)
        if ((channels >> ch) & 1) filter_lines(p + ch, step, 2, 8, quant, 3);
}

}  // namespace

DeblockTable make_deblock_table(CpuFlags flags) {
    DeblockTable t{};
    t.luma_hor = luma_hor_c;
    t.luma_ver = {luma_ver_half_c<0>, luma_ver_half_c<1>, luma_ver_half_c<2>, luma_ver_half_c<3>};
    t.luma_ver_full = luma_ver_full_c;
    t.chroma_hor = chroma_hor_c;
    t.chroma_ver = chroma_ver_c;
    t.chroma_hor_c2 = chroma_hor_c2_c;
    t.chroma_ver_c2 = chroma_ver_c2_c;
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_deblock_table_sse41, init_deblock_table_avx2);
    return t;
}

namespace {

const DeblockTable kDeblockKernels = make_deblock_table(cpu_flags());

// Chroma flags: bit 1 cuts out the first four lines, bit 2 the last four.
constexpr unsigned chroma_groups(Vek32u flags) { return ((flags >> 1) & 1 ? 0u : 1u) | ((flags >> 2) & 1 ? 0u : 2u); }
// Interleaved chroma: bit 1 of a channel's flag leaves the whole channel alone.
constexpr unsigned pair_channels(Vek32u u, Vek32u v) { return ((u & 2) ? 0u : 1u) | ((v & 2) ? 0u : 2u); }

}  // namespace

}  // namespace vek::vc1

using namespace vek::vc1;

VekStatus vekiFilterDeblockingLuma_HorEdge_VC1_8u_C1IR(Vek8u* pSrcDst, Vek32s pQuant, Vek32s srcDstStep,
                                                       Vek32u edgeDisabledFlag) {
    if (!pSrcDst) return vekStsNullPtrErr;
    kDeblockKernels.luma_hor(pSrcDst, srcDstStep, pQuant, ~edgeDisabledFlag & 15u);
    return vekStsOk;
}

VekStatus vekiFilterDeblockingLuma_VerEdge_VC1_8u_C1IR(Vek8u* pSrcDst, Vek32s pQuant, Vek32s srcDstStep,
                                                       Vek32u edgeDisabledFlag) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if ((edgeDisabledFlag & 15) == 0) {
        kDeblockKernels.luma_ver_full(pSrcDst, srcDstStep, pQuant);
        return vekStsOk;
    }
    kDeblockKernels.luma_ver[edgeDisabledFlag & 3](pSrcDst, srcDstStep, pQuant);
    kDeblockKernels.luma_ver[(edgeDisabledFlag >> 2) & 3](pSrcDst + 8 * static_cast<std::ptrdiff_t>(srcDstStep),
                                                           srcDstStep, pQuant);
    return vekStsOk;
}

VekStatus vekiFilterDeblockingChroma_HorEdge_VC1_8u_C1IR(Vek8u* pSrcDst, Vek32s pQuant, Vek32s srcDstStep,
                                                         Vek32u edgeDisabledFlag) {
    if (!pSrcDst) return vekStsNullPtrErr;
    kDeblockKernels.chroma_hor(pSrcDst, srcDstStep, pQuant, chroma_groups(edgeDisabledFlag));
    return vekStsOk;
}

VekStatus vekiFilterDeblockingChroma_VerEdge_VC1_8u_C1IR(Vek8u* pSrcDst, Vek32s pQuant, Vek32s srcDstStep,
                                                         Vek32u edgeDisabledFlag) {
    if (!pSrcDst) return vekStsNullPtrErr;
    kDeblockKernels.chroma_ver(pSrcDst, srcDstStep, pQuant, chroma_groups(edgeDisabledFlag));
    return vekStsOk;
}

VekStatus vekiFilterDeblockingChroma_HorEdge_VC1_8u_C2IR(Vek8u* pSrcDst, Vek32s pQuant, Vek32s srcDstStep,
                                                         Vek32u uEdgeDisabledFlag, Vek32u vEdgeDisabledFlag) {
    if (!pSrcDst) return vekStsNullPtrErr;
    kDeblockKernels.chroma_hor_c2(pSrcDst, srcDstStep, pQuant, pair_channels(uEdgeDisabledFlag, vEdgeDisabledFlag));
    return vekStsOk;
}

VekStatus vekiFilterDeblockingChroma_VerEdge_VC1_8u_C2IR(Vek8u* pSrcDst, Vek32s pQuant, Vek32s srcDstStep,
                                                         Vek32u uEdgeDisabledFlag, Vek32u vEdgeDisabledFlag) {
    if (!pSrcDst) return vekStsNullPtrErr;
    kDeblockKernels.chroma_ver_c2(pSrcDst, srcDstStep, pQuant, pair_channels(uEdgeDisabledFlag, vEdgeDisabledFlag));
    return vekStsOk;
}
