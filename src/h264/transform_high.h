// Inverse transforms with add for the High macroblock reconstruction: the
// 4x4 core and the 8x8 transform over 32-bit dequantised coefficients, added
// to 16-bit or 8-bit samples, and the lossless add of levels as they stand.
//
// All stages run in wrapping 32-bit arithmetic (conforming streams never come
// near it), rows first, then (x + 32) >> 6. Each residual value is limited to
// -max..max before the add and the sum is clipped to 0..max, max being
// 2^bitDepth - 1 (255 for the 8-bit forms). The kernels read the coefficients
// and may overwrite them with intermediate values.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::h264 {

// 16-bit samples, step in samples. maxVal is 1..65535.
using InvAdd4x4_16uFn = void(Vek32s* coeffs, Vek16u* dst, Vek32s step, Vek32s maxVal);
using InvAdd8x8_16uFn = void(Vek32s* coeffs, Vek16u* dst, Vek32s step, Vek32s maxVal);
// 8-bit samples, step in bytes.
using InvAdd4x4_8uFn = void(Vek32s* coeffs, Vek8u* dst, Vek32s step);
using InvAdd8x8_8uFn = void(Vek32s* coeffs, Vek8u* dst, Vek32s step);

// Dequantisation of `count` levels (16 or 64) with the caller's level scale
// table into 32-bit coefficients, as dequant_high below with norm 4 for
// 16 levels and 6 for 64. qp is 0 or more.
using Dequant16sFn = void(const Vek16s* levels, const Vek16s* scale, Vek32s qp, Vek32s count, Vek32s* out);
using Dequant32sFn = void(const Vek32s* levels, const Vek16s* scale, Vek32s qp, Vek32s count, Vek32s* out);

// The residual of a whole luma macroblock in blocks of one size: each coded
// block (bit i + 1 of cbp for 4x4 block i in coded order, or for 8x8 block i
// in raster order) dequantised at qp with the scale table, transformed and
// added; blocks without their bit are left untouched. The cursor moves
// behind the last block used and the status is vekStsOk, so a shell may end
// in the call. (The lossless bypass stays with the shells.)
using MbInter16uFn = VekStatus(Vek32s** levels, Vek16u* plane, Vek32s step, Vek32u cbp, Vek32s qp,
                               const Vek16s* scale, Vek32s maxVal);
using MbInter8uFn = VekStatus(Vek16s** levels, Vek8u* plane, Vek32s step, Vek32u cbp, Vek32s qp,
                              const Vek16s* scale);

struct TransformHighTable {
    InvAdd4x4_16uFn* inv_add4x4_16u;
    InvAdd8x8_16uFn* inv_add8x8_16u;
    InvAdd4x4_8uFn* inv_add4x4_8u;
    InvAdd8x8_8uFn* inv_add8x8_8u;
    Dequant16sFn* dequant_16s;
    Dequant32sFn* dequant_32s;
    MbInter16uFn* mb_inter4x4_16u;
    MbInter16uFn* mb_inter8x8_16u;
    MbInter8uFn* mb_inter4x4_8u;
    MbInter8uFn* mb_inter8x8_8u;
};

// Reference kernels in every slot, then the overrides of each level in `flags`.
TransformHighTable make_transform_high_table(CpuFlags flags);
// The table of this CPU, built once while the library loads and never
// changed afterwards: the shells read it directly, without a call or a guard.
[[gnu::visibility("hidden")]] extern const TransformHighTable kTransformHighKernels;
inline const TransformHighTable& transform_high_kernels() { return kTransformHighKernels; }

void init_transform_high_table_sse41(TransformHighTable& table);
void init_transform_high_table_avx2(TransformHighTable& table);

// Wrapping 32-bit helpers shared by the reference kernels and the shells.
inline Vek32s wadd(Vek32s a, Vek32s b) { return static_cast<Vek32s>(static_cast<Vek32u>(a) + static_cast<Vek32u>(b)); }
inline Vek32s wsub(Vek32s a, Vek32s b) { return static_cast<Vek32s>(static_cast<Vek32u>(a) - static_cast<Vek32u>(b)); }
inline Vek32s wmul(Vek32s a, Vek32s b) { return static_cast<Vek32s>(static_cast<Vek32u>(a) * static_cast<Vek32u>(b)); }

// Dequantisation of n levels (16 or 64) with the caller's level scale table:
// with s = qp / 6 and n = 4 for 4x4 (6 for 8x8), (level * scale + 2^(n-1-s))
// >> (n - s) while s < n, else (level * scale) << (s - n), in 32 bits.
template <class Level>
void dequant_high(const Level* levels, const Vek16s* scale, Vek32s qp, int count, int norm, Vek32s* out) {
    const int s = qp / 6;
    if (s < norm) {
        const int sh = norm - s;
        const Vek32s round = 1 << (sh - 1);
        for (int k = 0; k < count; ++k) out[k] = wadd(wmul(levels[k], scale[k]), round) >> sh;
    } else {
        // Past 31 bits every product has been shifted out.
        const int sh = s - norm;
        for (int k = 0; k < count; ++k)
            out[k] = sh > 31 ? 0 : static_cast<Vek32s>(static_cast<Vek32u>(wmul(levels[k], scale[k])) << sh);
    }
}

// Position of each coded 4x4 block of a macroblock, (x, y) in samples.
inline constexpr Vek8u kBlockPos4x4[16][2] = {{0, 0}, {4, 0}, {0, 4}, {4, 4}, {8, 0}, {12, 0}, {8, 4}, {12, 4},
                                              {0, 8}, {4, 8}, {0, 12}, {4, 12}, {8, 8}, {12, 8}, {8, 12}, {12, 12}};

// The macroblock loop over per-block kernels: K supplies static dequant (for
// both level widths) and inv_add<Size> (for both sample widths).
template <int Size, class K, class Sample, class Level>
VekStatus mb_inter_blocks(Level** cursor, Sample* plane, Vek32s step, Vek32u cbp, Vek32s qp, const Vek16s* scale,
                          Vek32s maxVal) {
    constexpr int kCount = Size * Size;
    Level* levels = *cursor;
    for (int i = 0; i < (Size == 4 ? 16 : 4); ++i) {
        if (!(cbp & (2u << i))) continue;
        const int x = Size == 4 ? kBlockPos4x4[i][0] : (i & 1) * 8, y = Size == 4 ? kBlockPos4x4[i][1] : (i >> 1) * 8;
        alignas(32) Vek32s c[kCount];
        K::dequant(levels, scale, qp, kCount, c);
        K::template inv_add<Size>(c, plane + static_cast<std::ptrdiff_t>(y) * step + x, step, maxVal);
        levels += kCount;
    }
    *cursor = levels;
    return vekStsOk;
}

// The lossless bypass: size x size levels limited to -maxVal..maxVal and added.
template <class Sample, class Level>
void add_levels_lossless(const Level* levels, int size, Sample* dst, std::ptrdiff_t step, Vek32s maxVal) {
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            Vek32s r = levels[y * size + x];
            r = r < -maxVal ? -maxVal : r > maxVal ? maxVal : r;
            const Vek32s v = dst[y * step + x] + r;
            dst[y * step + x] = static_cast<Sample>(v < 0 ? 0 : v > maxVal ? maxVal : v);
        }
}

}  // namespace vek::h264
