// Quarter-sample luma interpolation: reference kernels, their tables and the
// exported plain, Top, Bottom and Block functions in both depths.
#include "h264/interp_luma.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "frame/dispatch.h"
#include "h264/read_boundary.h"

namespace vek::h264 {

namespace {

// The six-tap sum across `step` (1: a row, srcStep: a column), unrounded.
template <class T>
int six_tap(const T* p, std::ptrdiff_t step) {
    return p[-2 * step] - 5 * p[-step] + 20 * p[0] + 20 * p[step] - 5 * p[2 * step] + p[3 * step];
}

// The sample at position `Pos` of integer sample p, straight from the
// formulas for G, b, h and j. Every sum fits 32 bits even for 16-bit
// samples; for 8-bit samples the row sums of j would fit 16 bits.
template <int Pos, class T>
int luma_sample(const T* p, std::ptrdiff_t step, int max_value) {
    const auto clip = [max_value](int v) { return std::clamp(v, 0, max_value); };
    const auto b = [&](const T* q) { return clip((six_tap(q, 1) + 16) >> 5); };
    const auto h = [&](const T* q) { return clip((six_tap(q, step) + 16) >> 5); };
    const auto j = [&](const T* q) {
        constexpr int kTaps[6] = {1, -5, 20, 20, -5, 1};
        int s2 = 0;
        for (int k = -2; k <= 3; ++k) s2 += kTaps[k + 2] * six_tap(q + k * step, 1);
        return clip((s2 + 512) >> 10);
    };
    const auto avg = [](int u, int v) { return (u + v + 1) >> 1; };
    const T* right = p + 1;
    const T* below = p + step;
    if constexpr (Pos == 0) return p[0];
    if constexpr (Pos == 1) return avg(p[0], b(p));
    if constexpr (Pos == 2) return b(p);
    if constexpr (Pos == 3) return avg(right[0], b(p));
    if constexpr (Pos == 4) return avg(p[0], h(p));
    if constexpr (Pos == 5) return avg(b(p), h(p));
    if constexpr (Pos == 6) return avg(b(p), j(p));
    if constexpr (Pos == 7) return avg(b(p), h(right));
    if constexpr (Pos == 8) return h(p);
    if constexpr (Pos == 9) return avg(h(p), j(p));
    if constexpr (Pos == 10) return j(p);
    if constexpr (Pos == 11) return avg(h(right), j(p));
    if constexpr (Pos == 12) return avg(below[0], h(p));
    if constexpr (Pos == 13) return avg(b(below), h(p));
    if constexpr (Pos == 14) return avg(b(below), j(p));
    if constexpr (Pos == 15) return avg(b(below), h(right));
}

template <int W, int Pos>
VekStatus luma_8u_c(const Vek8u* src, Vek32s srcStep, Vek8u* dst, Vek32s dstStep, Vek32s height) {
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < W; ++x)
            dst[static_cast<std::ptrdiff_t>(y) * dstStep + x] =
                static_cast<Vek8u>(luma_sample<Pos>(src + static_cast<std::ptrdiff_t>(y) * srcStep + x, srcStep, 255));
    return vekStsOk;
}

// Largest sample of a depth; depths outside 1..16 are outside the contract
// and only kept from shifting out of range.
int max_sample(Vek32s bitDepth) { return static_cast<int>((1u << std::clamp(bitDepth, 0, 16)) - 1); }

template <int Pos>
void luma_16u_c(const Vek16u* src, Vek32s srcStep, Vek16u* dst, Vek32s dstStep, Vek32s width, Vek32s height,
                Vek32s bitDepth) {
    const int max_value = max_sample(bitDepth);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            dst[static_cast<std::ptrdiff_t>(y) * dstStep + x] = static_cast<Vek16u>(
                luma_sample<Pos>(src + static_cast<std::ptrdiff_t>(y) * srcStep + x, srcStep, max_value));
}

template <int W, int... Pos>
constexpr std::array<LumaInterp8uFn*, kLumaPositions> row_8u_c(std::integer_sequence<int, Pos...>) {
    return {&luma_8u_c<W, Pos>...};
}

template <int... Pos>
constexpr std::array<LumaInterp16uFn*, kLumaPositions> table_16u_c(std::integer_sequence<int, Pos...>) {
    return {&luma_16u_c<Pos>...};
}

void assert_complete([[maybe_unused]] const LumaInterpTable& t) {
#ifndef NDEBUG
    for (auto* fn : t.luma_8u) assert(fn);
    for (auto* fn : t.luma_16u_block) assert(fn);
    for (auto* fn : t.luma_16u_plain) assert(fn);
#endif
}

}  // namespace

LumaInterpTable make_luma_interp_table(CpuFlags flags) {
    LumaInterpTable t{};
    constexpr auto kPositions = std::make_integer_sequence<int, kLumaPositions>{};
    const auto w4 = row_8u_c<4>(kPositions), w8 = row_8u_c<8>(kPositions), w16 = row_8u_c<16>(kPositions);
    for (int pos = 0; pos < kLumaPositions; ++pos) {
        t.luma_8u[pos] = w4[pos];
        t.luma_8u[16 + pos] = w8[pos];
        t.luma_8u[32 + pos] = w16[pos];
        t.luma_8u[48 + pos] = w16[pos];
    }
    t.luma_16u_block = table_16u_c(kPositions);
    for (int dx = 0; dx < 4; ++dx)
        for (int dy = 0; dy < 4; ++dy) t.luma_16u_plain[4 * dx + dy] = t.luma_16u_block[4 * dy + dx];
    if constexpr (kSimdBuilt)
        apply_simd_levels(t, flags, init_luma_interp_table_sse41, init_luma_interp_table_avx2);
    // A SIMD level overrides the Block table; the plain table is the same kernels.
    for (int dx = 0; dx < 4; ++dx)
        for (int dy = 0; dy < 4; ++dy) t.luma_16u_plain[4 * dx + dy] = t.luma_16u_block[4 * dy + dx];
    assert_complete(t);
    return t;
}

namespace {
const LumaInterpTable kLumaKernels = make_luma_interp_table(cpu_flags());
}  // namespace

const LumaInterpTable& luma_interp_kernels() { return kLumaKernels; }

namespace {

// ---- Top and Bottom: rows repeated at the picture's edge ----

// A block leaving the picture at the top or bottom runs its kernel on a local
// copy whose rows outside the picture repeat the edge row. Only rows are
// treated; columns are taken as they are. Blocks taller than 16 go in strips
// of 16 rows, which changes nothing as each output row depends on its own six
// source rows.
constexpr int kStripRows = 16;
constexpr int kTempPitch = 32;  // samples
constexpr int kTempRows = kStripRows + 5;

enum class EdgeSide { kTop, kBottom };

// Source row (relative to pSrc) of local row `i`, counted from the block's
// first row minus the filter margin `margin`.
constexpr int edge_source_row(EdgeSide side, int i, int margin, int outPixels, int height) {
    return side == EdgeSide::kTop ? std::max(i - margin, outPixels) : std::min(i - margin, height - 1 - outPixels);
}

template <class T, class RunKernel>
void interpolate_edge_rows(EdgeSide side, const T* pSrc, Vek32s srcStep, Vek32s dx, Vek32s dy, Vek32s outPixels,
                           Vek32s width, Vek32s height, RunKernel run) {
    const int left = dx ? 2 : 0, margin = dy ? 2 : 0;
    const int columns = width + (dx ? 5 : 0), extra_rows = dy ? 5 : 0;
    for (int first = 0; first < height; first += kStripRows) {
        const int rows = std::min(kStripRows, height - first);
        alignas(64) T temp[kTempRows * kTempPitch];
        for (int i = 0; i < rows + extra_rows; ++i) {
            const int r = edge_source_row(side, first + i, margin, outPixels, height);
            std::memcpy(temp + i * kTempPitch, pSrc + static_cast<std::ptrdiff_t>(r) * srcStep - left,
                        sizeof(T) * static_cast<std::size_t>(columns));
        }
        run(temp + margin * kTempPitch + left, kTempPitch, first, rows);
    }
}

VekStatus check_8u(const Vek8u* pSrc, const Vek8u* pDst, Vek32s dx, Vek32s dy, VekRoi roi) {
    if (!pSrc) return vekStsNullPtrErr;
    if (!pDst) return vekStsNullPtrErr;
    if (static_cast<Vek32u>(dx | dy) > 3) return vekStsBadArgErr;
    // Both sizes in one test of the record as a word (width low, height high):
    // the height a multiple of 4, the width made of 4, 8 and 16 only.
    static_assert(sizeof(VekRoi) == 8 && offsetof(VekRoi, width) == 0 && offsetof(VekRoi, height) == 4);
    std::uint64_t sizes;
    std::memcpy(&sizes, &roi, sizeof sizes);
    if (sizes & ((std::uint64_t{3} << 32) | static_cast<Vek32u>(~(4 | 8 | 16)))) return vekStsSizeErr;
    return vekStsOk;
}

VekStatus edge_8u(EdgeSide side, const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, Vek32s dx,
                  Vek32s dy, Vek32s outPixels, VekRoi roi) {
    if (const VekStatus st = check_8u(pSrc, pDst, dx, dy, roi); st != vekStsOk) return st;
    LumaInterp8uFn* kernel = luma_interp_kernels().luma_8u[luma_index_8u(roi.width, dx, dy)];
    // Only the class's columns are filtered, so only they (and the margin) are copied.
    interpolate_edge_rows(side, pSrc, srcStep, dx, dy, outPixels, luma_class_width(roi.width), roi.height,
                          [&](const Vek8u* src, Vek32s step, int first, int rows) {
                              kernel(src, step, pDst + static_cast<std::ptrdiff_t>(first) * dstStep, dstStep, rows);
                          });
    return vekStsOk;
}

bool size_16u_allowed(Vek32s n) { return n == 4 || n == 8 || n == 16; }

VekStatus check_16u(const VekInterpolationLuma_16u* p) {
    if (!p) return vekStsNullPtrErr;
    if (!p->pSrc) return vekStsNullPtrErr;
    if (!p->pDst) return vekStsNullPtrErr;
    if (p->srcStep < p->width || p->dstStep < p->width) return vekStsStepErr;
    if (p->dx < 0 || p->dx > 3 || p->dy < 0 || p->dy > 3) return vekStsBadArgErr;
    if (!size_16u_allowed(p->height) || !size_16u_allowed(p->width) || p->width + p->height == 20)
        return vekStsSizeErr;
    return vekStsOk;
}

// The plain 16-bit path, with the source given apart from the record so that
// Top and Bottom can hand it a local block.
void own_InterpolateLuma_H264_16u(const Vek16u* pSrc, Vek32s srcStep, const VekInterpolationLuma_16u* p) {
    luma_interp_kernels().luma_16u_plain[4 * p->dx + p->dy](pSrc, srcStep, p->pDst, p->dstStep, p->width, p->height,
                                                            p->bitDepth);
}

VekStatus edge_16u(EdgeSide side, const VekInterpolationLuma_16u* p, Vek32s outPixels) {
    if (const VekStatus st = check_16u(p); st != vekStsOk) return st;
    interpolate_edge_rows(side, p->pSrc, p->srcStep, p->dx, p->dy, outPixels, p->width, p->height,
                          [&](const Vek16u* src, Vek32s step, int first, int rows) {
                              VekInterpolationLuma_16u strip = *p;
                              strip.pDst = p->pDst + static_cast<std::ptrdiff_t>(first) * p->dstStep;
                              strip.height = rows;
                              own_InterpolateLuma_H264_16u(src, step, &strip);
                          });
    return vekStsOk;
}

// ---- Block functions ----

template <class T>
const T* plane_at(const void* origin, std::int64_t step, std::int64_t x, std::int64_t y) {
    return static_cast<const T*>(origin) + y * step + x;
}

// Kernel `type` of the Block tables (8-bit: by luma_index_8u; 16-bit: 4 * dy + dx).
// Returns vekStsOk, from the 8-bit kernel itself so that a caller can end in a jump to it.
template <class T>
VekStatus run_kernel(int type, const T* src, std::int64_t srcStep, T* dst, std::int64_t dstStep, int width,
                     int height, [[maybe_unused]] int bitDepth) {
    if constexpr (sizeof(T) == 1) {
        return luma_interp_kernels().luma_8u[type](src, static_cast<Vek32s>(srcStep), dst,
                                                   static_cast<Vek32s>(dstStep), height);
    } else {
        luma_interp_kernels().luma_16u_block[type](src, static_cast<Vek32s>(srcStep), dst,
                                                   static_cast<Vek32s>(dstStep), width, height, bitDepth);
        return vekStsOk;
    }
}

// Runs the work record's kernel from `src` into the record's destination,
// rows [first, first + rows).
template <class T>
void run_work_kernel(const VekInterpolationParams& w, const T* src, std::int64_t srcStep, int first, int rows) {
    run_kernel<T>(w.interpolationType, src, srcStep, static_cast<T*>(w.pDst) + first * w.dstStep, w.dstStep, w.width,
                  rows, w.bitDepth);
}

template <class T>
const ReadBoundaryTable& boundary_readers() {
    if constexpr (sizeof(T) == 1)
        return read_data_through_boundary_table_8u();
    else
        return read_data_through_boundary_table_16u();
}

// The rectangle (filter margin included) goes through the boundary reader
// into an aligned local block, and the kernel filters that. A block taller
// than 16 rows goes in strips of 16, each with the mask of its own rectangle.
template <class T>
void interpolate_boundary(Vek32s sideMask, VekInterpolationParams* w) {
    constexpr int kMaxPitch = 48;  // dataWidth is at most 28 + 5
    constexpr int kAlign = sizeof(T) == 1 ? 32 : 64;
    const int fx = w->hFraction != 0, fy = w->vFraction != 0;
    const int pitch = (w->dataWidth + 15) & ~15;
    for (int first = 0; first < w->height; first += kStripRows) {
        const int rows = std::min(kStripRows, w->height - first);
        VekInterpolationParams strip = *w;
        strip.yPos = w->yPos + first;
        strip.dataHeight = rows + 5 * fy;
        const int mask = w->height <= kStripRows ? sideMask
                                                 : side_mask(strip.xPos, strip.yPos, strip.dataWidth, strip.dataHeight,
                                                             strip.frameWidth, strip.frameHeight);
        if (mask == 0) {
            run_work_kernel<T>(*w, plane_at<T>(w->pSrc, w->srcStep, strip.xPos + 2 * fx, strip.yPos + 2 * fy),
                               w->srcStep, first, rows);
            continue;
        }
        alignas(kAlign) T local[kTempRows * kMaxPitch];
        strip.pDst = local;
        strip.dstStep = pitch;
        boundary_readers<T>()[mask](&strip);
        run_work_kernel<T>(*w, local + 2 * fy * pitch + 2 * fx, pitch, first, rows);
        if (w->height <= kStripRows) {
            w->xPos = strip.xPos;
            w->yPos = strip.yPos;
        }
    }
}

template <class Block>
VekStatus check_block(const Block* p) {
    if (!p) return vekStsNullPtrErr;
    if (!p->pSrc[0]) return vekStsNullPtrErr;
    if (!p->pDst[0]) return vekStsNullPtrErr;
    if ((p->blockSize.height & 3) || (p->blockSize.width & ~(4 | 8 | 16))) return vekStsSizeErr;
    return vekStsOk;
}

// Position, fraction and read width of a Block function's vector. Arithmetic
// shifts: a negative vector takes the next lower integer position and a
// positive fraction (-1 is one sample left at 3/4). An 8-bit kernel writes at
// least its class's width (4 for a width of 0), so it reads that much.
struct BlockMotion {
    int x, y, dx, dy, read_width;
};
template <class T, class Block>
BlockMotion block_motion(const Block* p) {
    const int mvx = p->motionVector.x, mvy = p->motionVector.y, width = p->blockSize.width;
    return {(mvx >> 2) + p->blockPos.x, (mvy >> 2) + p->blockPos.y, mvx & 3, mvy & 3,
            sizeof(T) == 1 ? std::max(width, luma_class_width(width)) : width};
}

// A block whose rectangle crosses an edge: the work record for the boundary
// path. Kept out of line, so that the path inside the picture saves no
// registers and builds no record.
template <class T, class Block>
[[gnu::noinline]] VekStatus interpolate_crossing(const Block* p, int mask) {
    const BlockMotion m = block_motion<T>(p);
    const int fx = m.dx != 0, fy = m.dy != 0;
    VekInterpolationParams w{};
    w.pDst = p->pDst[0];
    w.dstStep = p->dstStep;
    w.pSrc = p->pSrc[0];
    w.srcStep = p->srcStep;
    w.width = p->blockSize.width;
    w.height = p->blockSize.height;
    if constexpr (sizeof(T) == 2) w.bitDepth = p->bitDepth;
    w.hFraction = m.dx;
    w.vFraction = m.dy;
    w.xPos = m.x - 2 * fx;
    w.yPos = m.y - 2 * fy;
    w.dataWidth = m.read_width + 5 * fx;
    w.dataHeight = w.height + 5 * fy;
    w.interpolationType = sizeof(T) == 1 ? luma_index_8u(w.width, m.dx, m.dy) : 4 * m.dy + m.dx;
    w.frameWidth = p->frameSize.width;
    w.frameHeight = p->frameSize.height;
    interpolate_boundary<T>(mask, &w);
    return vekStsOk;
}

// The path inside the picture is the kernel and a few integer steps: the work
// record is filled only for a block that crosses an edge.
template <class T, class Block>
VekStatus interpolate_block(const Block* p) {
    if (const VekStatus st = check_block(p); st != vekStsOk) return st;
    constexpr bool k8u = sizeof(T) == 1;
    const int width = p->blockSize.width, height = p->blockSize.height;
    int bitDepth = 0;
    if constexpr (!k8u) bitDepth = p->bitDepth;
    const std::int64_t srcStep = p->srcStep;
    const int mvx = p->motionVector.x, mvy = p->motionVector.y;
    // A zero vector copies from blockPos as it stands, without an edge check,
    // even for a block placed outside the picture.
    if (mvx == 0 && mvy == 0)
        return run_kernel<T>(k8u ? luma_index_8u(width, 0, 0) : 0,
                             plane_at<T>(p->pSrc[0], srcStep, p->blockPos.x, p->blockPos.y), srcStep, p->pDst[0],
                             p->dstStep, width, height, bitDepth);
    const BlockMotion m = block_motion<T>(p);
    const int fx = m.dx != 0, fy = m.dy != 0;
    // The test uses the whole filter margin even where the position needs less
    // of it; the reader's replicated samples are what the filter would see.
    const int mask = side_mask(m.x - 2 * fx, m.y - 2 * fy, m.read_width + 5 * fx, height + 5 * fy,
                               p->frameSize.width, p->frameSize.height);
    if (mask != 0) return interpolate_crossing<T>(p, mask);
    return run_kernel<T>(k8u ? luma_index_8u(width, m.dx, m.dy) : 4 * m.dy + m.dx,
                         plane_at<T>(p->pSrc[0], srcStep, m.x, m.y), srcStep, p->pDst[0], p->dstStep, width, height,
                         bitDepth);
}

}  // namespace

}  // namespace vek::h264

using namespace vek::h264;

VekStatus vekiInterpolateBoundaryLumaBlock_H264_8u(Vek32s sideMask, VekInterpolationParams* pWork) {
    interpolate_boundary<Vek8u>(sideMask, pWork);
    return vekStsOk;
}

VekStatus vekiInterpolateBoundaryLumaBlock_H264_16u(Vek32s sideMask, VekInterpolationParams* pWork) {
    interpolate_boundary<Vek16u>(sideMask, pWork);
    return vekStsOk;
}

VekStatus vekiInterpolateLuma_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, Vek32s dx,
                                          Vek32s dy, VekRoi roi) {
    // The position first: dx leaves the register the kernel takes the height
    // in, and the shell needs no other register moves. Unsigned, as dx and dy
    // are not yet checked.
    const Vek32u position = 4u * static_cast<Vek32u>(dy) + static_cast<Vek32u>(dx);
    if (const VekStatus st = check_8u(pSrc, pDst, dx, dy, roi); st != vekStsOk) return st;
    return luma_interp_kernels().luma_8u[luma_width_row_8u(roi.width) | position](pSrc, srcStep, pDst, dstStep,
                                                                                roi.height);
}

VekStatus vekiInterpolateLumaTop_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                             Vek32s dx, Vek32s dy, Vek32s outPixels, VekRoi roi) {
    return edge_8u(EdgeSide::kTop, pSrc, srcStep, pDst, dstStep, dx, dy, outPixels, roi);
}

VekStatus vekiInterpolateLumaBottom_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                                Vek32s dx, Vek32s dy, Vek32s outPixels, VekRoi roi) {
    return edge_8u(EdgeSide::kBottom, pSrc, srcStep, pDst, dstStep, dx, dy, outPixels, roi);
}

VekStatus vekiInterpolateLuma_H264_16u_C1R(const VekInterpolationLuma_16u* pParams) {
    if (const VekStatus st = check_16u(pParams); st != vekStsOk) return st;
    own_InterpolateLuma_H264_16u(pParams->pSrc, pParams->srcStep, pParams);
    return vekStsOk;
}

VekStatus vekiInterpolateLumaTop_H264_16u_C1R(const VekInterpolationLuma_16u* pParams, Vek32s outPixels) {
    return edge_16u(EdgeSide::kTop, pParams, outPixels);
}

VekStatus vekiInterpolateLumaBottom_H264_16u_C1R(const VekInterpolationLuma_16u* pParams, Vek32s outPixels) {
    return edge_16u(EdgeSide::kBottom, pParams, outPixels);
}

VekStatus vekiInterpolateLumaBlock_H264_8u_P1R(const VekInterpolationBlock_8u* pParams) {
    return interpolate_block<Vek8u>(pParams);
}

VekStatus vekiInterpolateLumaBlock_H264_16u_P1R(const VekInterpolationBlock_16u* pParams) {
    return interpolate_block<Vek16u>(pParams);
}
