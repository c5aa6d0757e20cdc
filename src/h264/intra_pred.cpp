// H.264 intra prediction: reference kernels, their table and the exported
// shells of the 4x4, 16x16 and 8x8 chroma predictors.
#include "h264/intra_pred.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

#include "frame/dispatch.h"
#include "vekvc.h"

namespace vek::h264 {

namespace {

constexpr int kMidSample = 128;  // stands in for a missing neighbour, and DC with none

template <class T>
inline T* row_at(T* p, Vek32s step, int y) {
    return p + static_cast<std::ptrdiff_t>(step) * y;
}

inline Vek8u clip_sample(int v) { return static_cast<Vek8u>(std::clamp(v, 0, 255)); }

// (a + 2b + c + 2) >> 2 and (a + b + 1) >> 1: the two filters of the directional modes.
inline int filter3(int a, int b, int c) { return (a + 2 * b + c + 2) >> 2; }
inline int filter2(int a, int b) { return (a + b + 1) >> 1; }

// ---- 4x4 --------------------------------------------------------------------

// Neighbours of a 4x4 block as a mode sees them: real samples where available,
// 128 where a needed group is missing (which is then reported).
struct Neighbours4x4 {
    int t[8] = {};  // row above, then four above right
    int l[4] = {};  // left column
    int m = 0;      // corner above left
    bool fell_back = false;

    // P(x, -1) and P(-1, y), with P(-1, -1) the corner.
    int above(int x) const { return x < 0 ? m : t[x]; }
    int left(int y) const { return y < 0 ? m : l[y]; }
};

// Reads the groups a mode uses. `Wide` adds the four samples above right;
// where they are missing the fourth sample above is repeated and nothing is
// reported, while a missing top row still reads as 128 (the real above-right
// samples staying in use).
template <bool Top, bool Wide, bool Left, bool Corner>
Neighbours4x4 read_neighbours(const Vek8u* p, Vek32s step, Vek32s availability) {
    Neighbours4x4 n;
    const Vek8u* above = p - static_cast<std::ptrdiff_t>(step);
    if constexpr (Top) {
        const bool have = availability & kAvailTop;
        for (int x = 0; x < 4; ++x) n.t[x] = have ? above[x] : kMidSample;
        n.fell_back |= !have;
    }
    if constexpr (Wide) {
        const bool have = availability & kAvailTopRight;
        for (int x = 4; x < 8; ++x) n.t[x] = have ? above[x] : n.t[3];
    }
    if constexpr (Left) {
        const bool have = availability & kAvailLeft;
        for (int y = 0; y < 4; ++y) n.l[y] = have ? row_at(p, step, y)[-1] : kMidSample;
        n.fell_back |= !have;
    }
    if constexpr (Corner) {
        const bool have = availability & kAvailTopLeft;
        n.m = have ? above[-1] : kMidSample;
        n.fell_back |= !have;
    }
    return n;
}

template <int Mode>
int predict4x4_sample(const Neighbours4x4& n, int x, int y) {
    if constexpr (Mode == kIntra4x4Vertical) {
        return n.t[x];
    } else if constexpr (Mode == kIntra4x4Horizontal) {
        return n.l[y];
    } else if constexpr (Mode == kIntra4x4DiagDownLeft) {
        if (x == 3 && y == 3) return (n.t[6] + 3 * n.t[7] + 2) >> 2;
        return filter3(n.t[x + y], n.t[x + y + 1], n.t[x + y + 2]);
    } else if constexpr (Mode == kIntra4x4DiagDownRight) {
        if (x > y) return filter3(n.above(x - y - 2), n.above(x - y - 1), n.above(x - y));
        if (x < y) return filter3(n.left(y - x - 2), n.left(y - x - 1), n.left(y - x));
        return filter3(n.t[0], n.m, n.l[0]);
    } else if constexpr (Mode == kIntra4x4VerticalRight) {
        const int z = 2 * x - y, i = x - (y >> 1);
        if (z >= 0 && (z & 1) == 0) return filter2(n.above(i - 1), n.above(i));
        if (z >= 0) return filter3(n.above(i - 2), n.above(i - 1), n.above(i));
        if (z == -1) return filter3(n.l[0], n.m, n.t[0]);
        return filter3(n.left(y - 1), n.left(y - 2), n.left(y - 3));
    } else if constexpr (Mode == kIntra4x4HorizontalDown) {
        const int z = 2 * y - x, j = y - (x >> 1);
        if (z >= 0 && (z & 1) == 0) return filter2(n.left(j - 1), n.left(j));
        if (z >= 0) return filter3(n.left(j - 2), n.left(j - 1), n.left(j));
        if (z == -1) return filter3(n.l[0], n.m, n.t[0]);
        return filter3(n.above(x - 1), n.above(x - 2), n.above(x - 3));
    } else if constexpr (Mode == kIntra4x4VerticalLeft) {
        const int i = x + (y >> 1);
        if ((y & 1) == 0) return filter2(n.t[i], n.t[i + 1]);
        return filter3(n.t[i], n.t[i + 1], n.t[i + 2]);
    } else {
        static_assert(Mode == kIntra4x4HorizontalUp);
        const int z = x + 2 * y, j = y + (x >> 1);
        if (z > 5) return n.l[3];
        if (z == 5) return (n.l[2] + 3 * n.l[3] + 2) >> 2;
        if ((z & 1) == 0) return filter2(n.l[j], n.l[j + 1]);
        return filter3(n.l[j], n.l[j + 1], n.l[j + 2]);
    }
}

template <int Mode, bool Top, bool Wide, bool Left, bool Corner>
VekStatus pred4x4_c(Vek8u* p, Vek32s step, Vek32s availability) {
    const Neighbours4x4 n = read_neighbours<Top, Wide, Left, Corner>(p, step, availability);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) row_at(p, step, y)[x] = static_cast<Vek8u>(predict4x4_sample<Mode>(n, x, y));
    return n.fell_back ? vekStsNeighbourFallbackWrn : vekStsOk;
}

// Mean of the sides that are there, each side `n` samples long (n a power of
// two); 128 with neither. Shared by the 4x4 and 16x16 DC modes.
template <int N>
int dc_of_sides(const Vek8u* p, Vek32s step, Vek32s availability) {
    constexpr int kShift = N == 4 ? 2 : 4;  // log2(N)
    const bool top = availability & kAvailTop, left = availability & kAvailLeft;
    int sum_top = 0, sum_left = 0;
    if (top)
        for (int x = 0; x < N; ++x) sum_top += (p - static_cast<std::ptrdiff_t>(step))[x];
    if (left)
        for (int y = 0; y < N; ++y) sum_left += row_at(p, step, y)[-1];
    if (top && left) return (sum_top + sum_left + N) >> (kShift + 1);
    if (top) return (sum_top + N / 2) >> kShift;
    if (left) return (sum_left + N / 2) >> kShift;
    return kMidSample;
}

template <int N>
void fill_block(Vek8u* p, Vek32s step, int value) {
    for (int y = 0; y < N; ++y)
        for (int x = 0; x < N; ++x) row_at(p, step, y)[x] = static_cast<Vek8u>(value);
}

// DC adapts to what is there and never reports.
VekStatus pred4x4_dc_c(Vek8u* p, Vek32s step, Vek32s availability) {
    fill_block<4>(p, step, dc_of_sides<4>(p, step, availability));
    return vekStsOk;
}

// ---- 16x16 and 8x8 chroma ---------------------------------------------------

template <int N>
VekStatus pred_vertical_c(Vek8u* p, Vek32s step, Vek32s) {
    const Vek8u* above = p - static_cast<std::ptrdiff_t>(step);
    for (int y = 0; y < N; ++y)
        for (int x = 0; x < N; ++x) row_at(p, step, y)[x] = above[x];
    return vekStsOk;
}

template <int N>
VekStatus pred_horizontal_c(Vek8u* p, Vek32s step, Vek32s) {
    for (int y = 0; y < N; ++y) {
        Vek8u* row = row_at(p, step, y);
        for (int x = 0; x < N; ++x) row[x] = row[-1];
    }
    return vekStsOk;
}

VekStatus pred16x16_dc_c(Vek8u* p, Vek32s step, Vek32s availability) {
    fill_block<16>(p, step, dc_of_sides<16>(p, step, availability));
    return vekStsOk;
}

// Plane prediction of an N x N block (16 luma, 8 chroma): gradients H and V
// from the row above and the left column through the corner, then a clipped
// linear ramp around the centre.
template <int N>
VekStatus pred_plane_c(Vek8u* p, Vek32s step, Vek32s) {
    constexpr int kHalf = N / 2;
    const Vek8u* above = p - static_cast<std::ptrdiff_t>(step);
    // t(-1) and l(-1) are both the corner.
    const auto t = [&](int x) { return static_cast<int>(above[x]); };
    const auto l = [&](int y) { return static_cast<int>(row_at(p, step, y)[-1]); };
    int h = 0, v = 0;
    for (int i = 0; i < kHalf; ++i) {
        h += (i + 1) * (t(kHalf + i) - t(kHalf - 2 - i));
        v += (i + 1) * (l(kHalf + i) - l(kHalf - 2 - i));
    }
    const int a = 16 * (l(N - 1) + t(N - 1));
    const int b = N == 16 ? (5 * h + 32) >> 6 : (17 * h + 16) >> 5;
    const int c = N == 16 ? (5 * v + 32) >> 6 : (17 * v + 16) >> 5;
    for (int y = 0; y < N; ++y)
        for (int x = 0; x < N; ++x)
            row_at(p, step, y)[x] = clip_sample((a + b * (x - (kHalf - 1)) + c * (y - (kHalf - 1)) + 16) >> 5);
    return vekStsOk;
}

// Chroma DC: each 4x4 quadrant on its own. The upper right quadrant prefers
// the row above and the lower left the left column; the two on the diagonal
// use both when they can.
VekStatus pred_chroma_dc_c(Vek8u* p, Vek32s step, Vek32s availability) {
    const bool top = availability & kAvailTop, left = availability & kAvailLeft;
    const Vek8u* above = p - static_cast<std::ptrdiff_t>(step);
    int t0 = 0, t1 = 0, l0 = 0, l1 = 0;
    if (top)
        for (int i = 0; i < 4; ++i) t0 += above[i], t1 += above[4 + i];
    if (left)
        for (int i = 0; i < 4; ++i) l0 += row_at(p, step, i)[-1], l1 += row_at(p, step, 4 + i)[-1];
    int dc[2][2];  // [quadrant row][quadrant column]
    if (top && left) {
        dc[0][0] = (t0 + l0 + 4) >> 3;
        dc[0][1] = (t1 + 2) >> 2;
        dc[1][0] = (l1 + 2) >> 2;
        dc[1][1] = (t1 + l1 + 4) >> 3;
    } else if (top) {
        dc[0][0] = dc[1][0] = (t0 + 2) >> 2;
        dc[0][1] = dc[1][1] = (t1 + 2) >> 2;
    } else if (left) {
        dc[0][0] = dc[0][1] = (l0 + 2) >> 2;
        dc[1][0] = dc[1][1] = (l1 + 2) >> 2;
    } else {
        dc[0][0] = dc[0][1] = dc[1][0] = dc[1][1] = kMidSample;
    }
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) row_at(p, step, y)[x] = static_cast<Vek8u>(dc[y / 4][x / 4]);
    return vekStsOk;
}

void assert_complete([[maybe_unused]] const IntraPredTable& t) {
#ifndef NDEBUG
    for (auto* fn : t.luma4x4) assert(fn);
    for (auto* fn : t.luma16x16) assert(fn);
    for (auto* fn : t.chroma8x8) assert(fn);
#endif
}

}  // namespace

IntraPredTable make_intra_pred_table(CpuFlags flags) {
    IntraPredTable t{};
    //                               mode                     top    wide   left   corner
    t.luma4x4 = {&pred4x4_c<kIntra4x4Vertical, /*       */ true, false, false, false>,
                 &pred4x4_c<kIntra4x4Horizontal, /*     */ false, false, true, false>,
                 &pred4x4_dc_c,
                 &pred4x4_c<kIntra4x4DiagDownLeft, /*   */ true, true, false, false>,
                 &pred4x4_c<kIntra4x4DiagDownRight, /*  */ true, false, true, true>,
                 &pred4x4_c<kIntra4x4VerticalRight, /*  */ true, false, true, true>,
                 &pred4x4_c<kIntra4x4HorizontalDown, /* */ true, false, true, true>,
                 &pred4x4_c<kIntra4x4VerticalLeft, /*   */ true, true, false, false>,
                 &pred4x4_c<kIntra4x4HorizontalUp, /*   */ false, false, true, false>};
    t.luma16x16 = {&pred_vertical_c<16>, &pred_horizontal_c<16>, &pred16x16_dc_c, &pred_plane_c<16>};
    t.chroma8x8 = {&pred_chroma_dc_c, &pred_horizontal_c<8>, &pred_vertical_c<8>, &pred_plane_c<8>};
    if constexpr (kSimdBuilt)
        apply_simd_levels(t, flags, init_intra_pred_table_sse41, init_intra_pred_table_avx2);
    assert_complete(t);
    return t;
}

namespace {

// Built once while the library loads, never changed afterwards.
const IntraPredTable kIntraPredKernels = make_intra_pred_table(cpu_flags());

}  // namespace

const IntraPredTable& intra_pred_kernels() { return kIntraPredKernels; }

}  // namespace vek::h264

// The shells read the table straight from this file: a call per block to the
// accessor above would cost as much as a small kernel.
using vek::h264::kIntraPredKernels;

VekStatus vekiPredictIntra_4x4_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, Vek32s predMode,
                                            Vek32s availability) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (srcDstStep < 4) return vekStsStepErr;
    const auto mode = static_cast<unsigned>(predMode);
    if (mode > 8) return vekStsOutOfRangeErr;
    // Missing neighbours don't stop a 4x4 block: the kernel fills in and warns.
    return kIntraPredKernels.luma4x4[mode](pSrcDst, srcDstStep, availability);
}

VekStatus vekiPredictIntra_16x16_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, Vek32s predMode,
                                              Vek32s availability) {
    if (!pSrcDst) return vekStsNullPtrErr;
    const auto mode = static_cast<unsigned>(predMode);
    // The neighbour test comes before the range test; the step is taken as given.
    if (vek::h264::missing_16x16_neighbour(mode, availability)) return vekStsNeighbourUnavailableErr;
    if (mode > 3) return vekStsOutOfRangeErr;
    return kIntraPredKernels.luma16x16[mode](pSrcDst, srcDstStep, availability);
}

VekStatus vekiPredictIntraChroma8x8_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep, Vek32s predMode,
                                                 Vek32s availability) {
    using namespace vek::h264;
    if (!pSrcDst) return vekStsNullPtrErr;
    if (srcDstStep < 8) return vekStsStepErr;
    const auto mode = static_cast<unsigned>(predMode);
    // Vertical and horizontal are refused for a missing neighbour before the
    // range test, plane only after it.
    if ((mode == kIntraChromaVertical || mode == kIntraChromaHorizontal) && missing_chroma_neighbour(mode, availability))
        return vekStsNeighbourUnavailableErr;
    if (mode > 3) return vekStsOutOfRangeErr;
    if (mode == kIntraChromaPlane && missing_chroma_neighbour(mode, availability))
        return vekStsNeighbourUnavailableErr;
    return kIntraPredKernels.chroma8x8[mode](pSrcDst, srcDstStep, availability);
}
