// Pieces shared by the High macroblock functions (mb_reconstruct_high*.cpp,
// mb_reconstruct_422.cpp): the record checks, the residual of one luma block
// of either sample width, and the chroma residual of 4:2:0 and 4:2:2 planes.
#pragma once

#include <cstddef>
#include <type_traits>

#include "h264/transform_high.h"
#include "vekvc.h"

namespace vek::h264 {

// Pointers, then step, then QP against (bitDepth - 8) * 6 + qpExtra. On
// success *maxVal is the largest sample, 2^bitDepth - 1, kept to 16 bits.
VekStatus check_high_param(const VekH264HighMBParam* p, Vek32s qpExtra, Vek32s* maxVal);
// The 8-bit record: pointers, step, QP 0..39; *maxVal is 255.
VekStatus check_high_param(const VekH264HighMBParam_8u* p, Vek32s qpExtra, Vek32s* maxVal);

// Under the lossless bypass the residual of an intra block predicted
// vertically (horizontally) is sent as differences down the columns (along
// the rows): it is summed back before the add.
enum class LosslessDir { kNone, kVertical, kHorizontal };

inline void accumulate_lossless(Vek32s* r, int w, int h, LosslessDir dir) {
    if (dir == LosslessDir::kVertical)
        for (int i = w; i < w * h; ++i) r[i] = wadd(r[i], r[i - w]);
    else if (dir == LosslessDir::kHorizontal)
        for (int i = 0; i < w * h; ++i)
            if (i % w) r[i] = wadd(r[i], r[i - 1]);
}

// A w x h residual limited to -maxVal..maxVal, added, the sum clipped.
template <class Sample>
void add_residual_rect(const Vek32s* r, int w, int h, Sample* dst, std::ptrdiff_t step, Vek32s maxVal) {
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            Vek32s v = r[y * w + x];
            v = v < -maxVal ? -maxVal : v > maxVal ? maxVal : v;
            v += dst[y * step + x];
            dst[y * step + x] = static_cast<Sample>(v < 0 ? 0 : v > maxVal ? maxVal : v);
        }
}

// Inverse transform with add of a Size x Size block on either sample width.
template <int Size>
inline void inv_add(const TransformHighTable& k, Vek32s* c, Vek8u* dst, std::ptrdiff_t step, Vek32s) {
    (Size == 4 ? k.inv_add4x4_8u : k.inv_add8x8_8u)(c, dst, static_cast<Vek32s>(step));
}
template <int Size>
inline void inv_add(const TransformHighTable& k, Vek32s* c, Vek16u* dst, std::ptrdiff_t step, Vek32s maxVal) {
    (Size == 4 ? k.inv_add4x4_16u : k.inv_add8x8_16u)(c, dst, static_cast<Vek32s>(step), maxVal);
}

inline void dequant(const TransformHighTable& k, const Vek16s* l, const Vek16s* table, Vek32s qp, int count,
                    Vek32s* out) {
    k.dequant_16s(l, table, qp, count, out);
}
inline void dequant(const TransformHighTable& k, const Vek32s* l, const Vek16s* table, Vek32s qp, int count,
                    Vek32s* out) {
    k.dequant_32s(l, table, qp, count, out);
}

// Residual of one coded luma block: dequantised with the table and
// transformed, or, lossless, the levels as they stand (summed along `dir`).
template <int Size, class Sample, class Level>
void luma_block_residual(const TransformHighTable& k, const Level* levels, Sample* dst, std::ptrdiff_t step, Vek32s qp,
                         const Vek16s* table, bool lossless, LosslessDir dir, Vek32s maxVal) {
    alignas(32) Vek32s c[Size * Size];
    if (!lossless) {
        dequant(k, levels, table, qp, Size * Size, c);
        inv_add<Size>(k, c, dst, step, maxVal);
        return;
    }
    for (int i = 0; i < Size * Size; ++i) c[i] = levels[i];
    accumulate_lossless(c, Size, Size, dir);
    add_residual_rect(c, Size, Size, dst, step, maxVal);
}

// One chroma plane's walk state: its cursor, samples, scaling, the number of
// 4x4 blocks (4 for 4:2:0, 8 for 4:2:2, raster order in 8 columns) and the
// DC of each.
template <class Sample, class Level>
struct ChromaPlane {
    Level** cursor;
    Sample* samples;
    std::ptrdiff_t step;
    Vek32s maxVal;
    Vek32s qp;
    const Vek16s* table;
    bool lossless;
    bool has_dc;
    Vek32u ac;        // bit b: block b holds AC levels
    int blocks;       // 4 or 8
    Vek32s dc_scale;  // 4:2:2: the DC level scale at qp + 3
    LosslessDir dir;  // intra prediction direction, for the lossless sums
    Vek32s dc[8];
};

// 4:2:0 DC: 2x2 Hadamard, then (f * scale << qp / 6) >> 5.
inline void chroma420_dc(Vek32s* dc, Vek32s qp, Vek32s scale) {
    const Vek32s a = wadd(dc[0], dc[1]), b = wsub(dc[0], dc[1]), c = wadd(dc[2], dc[3]), d = wsub(dc[2], dc[3]);
    const Vek32s f[4] = {wadd(a, c), wadd(b, d), wsub(a, c), wsub(b, d)};
    const int sh = qp / 6;
    for (int i = 0; i < 4; ++i)
        dc[i] = (sh > 31 ? 0 : static_cast<Vek32s>(static_cast<Vek32u>(wmul(f[i], scale)) << sh)) >> 5;
}

// 4:2:2 DC: the eight levels in raster order of two columns by four rows;
// a 2-point transform along the rows, a 4-point Hadamard down the columns,
// then scaled at qp + 3: (f * scale + 2^(5 - s)) >> (6 - s) with s =
// (qp + 3) / 6 below 6, else (f * scale) << (s - 6).
inline void chroma422_dc(Vek32s* dc, Vek32s qp, Vek32s scale) {
    Vek32s g[4][2];
    for (int r = 0; r < 4; ++r) g[r][0] = wadd(dc[2 * r], dc[2 * r + 1]), g[r][1] = wsub(dc[2 * r], dc[2 * r + 1]);
    const int s = (qp + 3) / 6;
    for (int j = 0; j < 2; ++j) {
        const Vek32s a = wadd(g[0][j], g[1][j]), b = wsub(g[0][j], g[1][j]);
        const Vek32s c = wadd(g[2][j], g[3][j]), d = wsub(g[2][j], g[3][j]);
        const Vek32s f[4] = {wadd(a, c), wsub(a, c), wsub(b, d), wadd(b, d)};
        for (int i = 0; i < 4; ++i) {
            const Vek32s v = wmul(f[i], scale);
            dc[2 * i + j] = s >= 6 ? (s - 6 > 31 ? 0 : static_cast<Vek32s>(static_cast<Vek32u>(v) << (s - 6)))
                                   : wadd(v, 1 << (5 - s)) >> (6 - s);
        }
    }
}

// Residual of both chroma planes in the order the levels lie: the DC blocks
// of U and V, then the 4x4 blocks of U and of V. Each plane reads through its
// own cursor, re-read at each step, so the two may share one.
template <class Sample, class Level>
void chroma_residual(ChromaPlane<Sample, Level>* planes) {
    const TransformHighTable& k = transform_high_kernels();
    for (int c = 0; c < 2; ++c) {
        ChromaPlane<Sample, Level>& pl = planes[c];
        for (Vek32s& v : pl.dc) v = 0;
        if (!pl.has_dc) continue;
        const Level* l = *pl.cursor;
        *pl.cursor += pl.blocks;
        for (int i = 0; i < pl.blocks; ++i) pl.dc[i] = l[i];
        if (pl.lossless) continue;
        if (pl.blocks == 4)
            chroma420_dc(pl.dc, pl.qp, pl.table[0]);
        else
            chroma422_dc(pl.dc, pl.qp, pl.dc_scale);
    }
    for (int c = 0; c < 2; ++c) {
        ChromaPlane<Sample, Level>& pl = planes[c];
        Vek32s whole[8 * 16];  // lossless: the plane's residual, added at the end
        for (int b = 0; b < pl.blocks; ++b) {
            alignas(32) Vek32s co[16] = {};
            const bool ac = (pl.ac >> b) & 1;
            if (ac) {
                const Level* l = *pl.cursor;
                *pl.cursor += 16;
                if (pl.lossless)
                    for (int i = 1; i < 16; ++i) co[i] = l[i];
                else
                    dequant(k, l, pl.table, pl.qp, 16, co);
            }
            co[0] = pl.dc[b];
            const int bx = (b & 1) * 4, by = (b >> 1) * 4;
            if (pl.lossless) {
                for (int i = 0; i < 16; ++i) whole[(by + i / 4) * 8 + bx + i % 4] = co[i];
            } else if (ac || co[0]) {
                inv_add<4>(k, co, pl.samples + by * pl.step + bx, pl.step, pl.maxVal);
            }
        }
        if (pl.lossless) {
            const int rows = pl.blocks * 2;
            accumulate_lossless(whole, 8, rows, pl.dir);
            add_residual_rect(whole, 8, rows, pl.samples, pl.step, pl.maxVal);
        }
    }
}

// Both planes from their records (cbp bit 0 the DC block, bits 1.. the 4x4
// blocks), with 4 (4:2:0) or 8 (4:2:2) blocks a plane; nothing to do when
// neither record has a bit of its blocks. maxVal as check_high_param gave.
template <class Param>
void chroma_residual_records(const Param* const pParams[2], const Vek32s maxVal[2], int blocks,
                             const Vek32s dcScale[2], LosslessDir dir) {
    using Sample = std::remove_pointer_t<decltype(pParams[0]->pSrcDstPlane)>;
    using Level = std::remove_pointer_t<std::remove_pointer_t<decltype(pParams[0]->ppSrcDstCoeff)>>;
    const Vek32u mask = (2u << blocks) - 1;
    if (!(pParams[0]->cbp & mask) && !(pParams[1]->cbp & mask)) return;
    ChromaPlane<Sample, Level> planes[2];
    for (int c = 0; c < 2; ++c) {
        const Param& p = *pParams[c];
        planes[c] = {p.ppSrcDstCoeff, p.pSrcDstPlane, p.srcDstStep, maxVal[c], p.QP, p.pQuantTable,
                     p.bypass && p.QP < 1, (p.cbp & 1) != 0, (p.cbp >> 1) & (mask >> 1), blocks, dcScale[c], dir, {}};
    }
    chroma_residual(planes);
}

// The 8-bit 4:2:0 form: cbp4x4 bits 17, 18 the DC blocks of U and V, bits
// 19-22 and 23-26 their 4x4 blocks; one cursor for both planes.
inline void chroma420_mb_residual_8u(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU, Vek8u* pSrcDstV, Vek32s srcDstStep,
                                     Vek32u cbp4x4, Vek32s qu, Vek32s qv, const Vek16s* tableU,
                                     const Vek16s* tableV, bool bypass, LosslessDir dir) {
    if (!(cbp4x4 & 0x7FE0000)) return;
    ChromaPlane<Vek8u, Vek16s> planes[2] = {
        {ppSrcCoeff, pSrcDstU, srcDstStep, 255, qu, tableU, bypass && qu < 1, ((cbp4x4 >> 17) & 1) != 0,
         (cbp4x4 >> 19) & 15, 4, 0, dir, {}},
        {ppSrcCoeff, pSrcDstV, srcDstStep, 255, qv, tableV, bypass && qv < 1, ((cbp4x4 >> 18) & 1) != 0,
         (cbp4x4 >> 23) & 15, 4, 0, dir, {}},
    };
    chroma_residual(planes);
}

// Chroma intra of both planes from their records (mb_reconstruct_high_intra.cpp):
// rows 8 (4:2:0) or 16 (4:2:2); half: the lower half's left column follows
// edgeBottom, and only DC and vertical prediction are offered.
VekStatus chroma_intra_records(const VekH264HighMBParam* const pParams[2], Vek32u mode, Vek8u edgeTop,
                               Vek8u edgeBottom, bool half, int rows, const Vek32s dcScale[2]);
VekStatus chroma_intra_records(const VekH264HighMBParam_8u* const pParams[2], Vek32u mode, Vek8u edgeTop,
                               Vek8u edgeBottom, bool half, int rows, const Vek32s dcScale[2]);

}  // namespace vek::h264
