// VC-1 forward and inverse transforms: reference kernels, the inverse table and
// the sixteen exported shells.
#include "vc1/transform.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/dispatch.h"

namespace vek::vc1 {

namespace {

inline Vek16s sat16(std::int32_t v) { return static_cast<Vek16s>(std::clamp(v, -32768, 32767)); }

template <class T>
inline T* row_at(T* base, Vek32s step, int y) {
    using Byte = std::conditional_t<std::is_const_v<T>, const Vek8u, Vek8u>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) + static_cast<std::ptrdiff_t>(step) * y);
}

template <int N>
constexpr int basis(int k, int n) {
    if constexpr (N == 8) return kT8[k][n];
    else return kT4[k][n];
}

// Full inverse: row pass (+4) >> 3, column pass (+64) >> 7, each saturated;
// an eight-row column pass rounds its lower half with 65.
template <int W, int H>
void inverse_c(const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep, int cols, int rows) {
    Vek16s in[H][W] = {};
    for (int y = 0; y < rows; ++y) std::memcpy(in[y], row_at(src, srcStep, y), sizeof(Vek16s) * cols);
    Vek16s mid[H][W];
    for (int y = 0; y < H; ++y)
        for (int n = 0; n < W; ++n) {
            std::int32_t sum = 0;
            for (int k = 0; k < W; ++k) sum += basis<W>(k, n) * in[y][k];
            mid[y][n] = sat16((sum + 4) >> 3);
        }
    for (int x = 0; x < W; ++x)
        for (int n = 0; n < H; ++n) {
            std::int32_t sum = 0;
            for (int k = 0; k < H; ++k) sum += basis<H>(k, n) * mid[k][x];
            const int round = (H == 8 && n >= 4) ? 65 : 64;
            row_at(dst, dstStep, n)[x] = sat16((sum + round) >> 7);
        }
}

// DC only: one value for the whole block, with 64 in every row. For 8 rows
// this differs from the full path, whose lower half rounds with 65; callers
// depend on the flat result, so it stays.
template <int W, int H>
void inverse_dc_c(const Vek16s* src, Vek16s* dst, Vek32s dstStep) {
    const std::int32_t d = sat16((basis<W>(0, 0) * src[0] + 4) >> 3);
    const Vek16s v = sat16((basis<H>(0, 0) * d + 64) >> 7);
    for (int y = 0; y < H; ++y) std::fill_n(row_at(dst, dstStep, y), W, v);
}

// Forward matrices, rows by frequency.
constexpr Vek16s kFwd4[4][4] = {
    {15420, 15420, 15420, 15420}, {19751, 8978, -8978, -19751}, {15420, -15420, -15420, 15420},
    {8978, -19751, 19751, -8978}};
constexpr Vek16s kFwd8[8][8] = {
    {21845, 21845, 21845, 21845, 21845, 21845, 21845, 21845},
    {29026, 27212, 16327, 7257, -7257, -16327, -27212, -29026},
    {28728, 10773, -10773, -28728, -28728, -10773, 10773, 28728},
    {27212, -7257, -29026, -16327, 16327, 29026, 7257, -27212},
    {21845, -21845, -21845, 21845, 21845, -21845, -21845, 21845},
    {16327, -29026, 7257, 27212, -27212, -7257, 29026, -16327},
    {10773, -28728, 28728, -10773, -10773, 28728, -28728, 10773},
    {7257, -16327, 27212, -29026, 29026, -27212, 16327, -7257}};

// One forward pass of N points: sums wrap at 32 bits as the products are
// accumulated, then the arithmetic shift and a 16-bit saturation.
template <int N>
Vek16s forward_point(const Vek16s* x, int stride, int k, std::int32_t round, int shift) {
    std::uint32_t sum = 0;
    for (int n = 0; n < N; ++n) {
        const int m = N == 8 ? kFwd8[k][n] : kFwd4[k][n];
        sum += static_cast<std::uint32_t>(m * static_cast<std::int32_t>(x[n * stride]));
    }
    sum += static_cast<std::uint32_t>(round);
    return sat16(static_cast<std::int32_t>(sum) >> shift);
}

template <int W, int H>
void forward_c(const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep) {
    constexpr std::int32_t r1 = W == 8 ? 2048 : 1024, r2 = H == 8 ? 524288 : 262144;
    constexpr int s1 = W == 8 ? 12 : 11, s2 = H == 8 ? 20 : 19;
    Vek16s in[H][W], mid[H][W];
    for (int y = 0; y < H; ++y) std::memcpy(in[y], row_at(src, srcStep, y), sizeof in[y]);
    for (int y = 0; y < H; ++y)
        for (int k = 0; k < W; ++k) mid[y][k] = forward_point<W>(in[y], 1, k, r1, s1);
    for (int x = 0; x < W; ++x)
        for (int k = 0; k < H; ++k) row_at(dst, dstStep, k)[x] = forward_point<H>(&mid[0][x], W, k, r2, s2);
}

}  // namespace

TransformTable make_transform_table(CpuFlags flags) {
    TransformTable t{};
    t.inverse = {inverse_c<8, 8>, inverse_c<4, 8>, inverse_c<8, 4>, inverse_c<4, 4>};
    t.inverse_dc = {inverse_dc_c<8, 8>, inverse_dc_c<4, 8>, inverse_dc_c<8, 4>, inverse_dc_c<4, 4>};
    if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_transform_table_sse41, init_transform_table_avx2);
    return t;
}

namespace {

const TransformTable kTransformKernels = make_transform_table(cpu_flags());

constexpr int kWidth[kTransformSizes] = {8, 4, 8, 4};
constexpr int kHeight[kTransformSizes] = {8, 8, 4, 4};

VekStatus inverse(TransformSize size, const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep, VekRoi nz) {
    if (!src || !dst) return vekStsNullPtrErr;
    if (nz.width < 2 && nz.height < 2) {
        kTransformKernels.inverse_dc[size](src, dst, dstStep);
        return vekStsOk;
    }
    const int cols = std::clamp(nz.width, 0, kWidth[size]), rows = std::clamp(nz.height, 0, kHeight[size]);
    if (cols == 0 || rows == 0) {
        // Nothing may be non-zero: every output is 0.
        for (int y = 0; y < kHeight[size]; ++y) std::memset(row_at(dst, dstStep, y), 0, 2 * kWidth[size]);
        return vekStsOk;
    }
    kTransformKernels.inverse[size](src, srcStep, dst, dstStep, cols, rows);
    return vekStsOk;
}

template <int W, int H>
VekStatus forward(const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep) {
    if (!src || !dst) return vekStsNullPtrErr;
    forward_c<W, H>(src, srcStep, dst, dstStep);
    return vekStsOk;
}

}  // namespace

}  // namespace vek::vc1

using namespace vek::vc1;

VekStatus vekiTransform8x8Inv_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep, VekRoi srcSizeNZ) {
    return inverse(k8x8, pSrcDst, srcDstStep, pSrcDst, srcDstStep, srcSizeNZ);
}
VekStatus vekiTransform4x8Inv_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep, VekRoi srcSizeNZ) {
    return inverse(k4x8, pSrcDst, srcDstStep, pSrcDst, srcDstStep, srcSizeNZ);
}
VekStatus vekiTransform8x4Inv_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep, VekRoi srcSizeNZ) {
    return inverse(k8x4, pSrcDst, srcDstStep, pSrcDst, srcDstStep, srcSizeNZ);
}
VekStatus vekiTransform4x4Inv_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep, VekRoi srcSizeNZ) {
    return inverse(k4x4, pSrcDst, srcDstStep, pSrcDst, srcDstStep, srcSizeNZ);
}
VekStatus vekiTransform8x8Inv_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst, Vek32s dstStep,
                                          VekRoi srcSizeNZ) {
    return inverse(k8x8, pSrc, srcStep, pDst, dstStep, srcSizeNZ);
}
VekStatus vekiTransform4x8Inv_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst, Vek32s dstStep,
                                          VekRoi srcSizeNZ) {
    return inverse(k4x8, pSrc, srcStep, pDst, dstStep, srcSizeNZ);
}
VekStatus vekiTransform8x4Inv_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst, Vek32s dstStep,
                                          VekRoi srcSizeNZ) {
    return inverse(k8x4, pSrc, srcStep, pDst, dstStep, srcSizeNZ);
}
VekStatus vekiTransform4x4Inv_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst, Vek32s dstStep,
                                          VekRoi srcSizeNZ) {
    return inverse(k4x4, pSrc, srcStep, pDst, dstStep, srcSizeNZ);
}
VekStatus vekiTransform8x8Fwd_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep) {
    return forward<8, 8>(pSrcDst, srcDstStep, pSrcDst, srcDstStep);
}
VekStatus vekiTransform4x8Fwd_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep) {
    return forward<4, 8>(pSrcDst, srcDstStep, pSrcDst, srcDstStep);
}
VekStatus vekiTransform8x4Fwd_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep) {
    return forward<8, 4>(pSrcDst, srcDstStep, pSrcDst, srcDstStep);
}
VekStatus vekiTransform4x4Fwd_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep) {
    return forward<4, 4>(pSrcDst, srcDstStep, pSrcDst, srcDstStep);
}
VekStatus vekiTransform8x8Fwd_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst, Vek32s dstStep) {
    return forward<8, 8>(pSrc, srcStep, pDst, dstStep);
}
VekStatus vekiTransform4x8Fwd_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst, Vek32s dstStep) {
    return forward<4, 8>(pSrc, srcStep, pDst, dstStep);
}
VekStatus vekiTransform8x4Fwd_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst, Vek32s dstStep) {
    return forward<8, 4>(pSrc, srcStep, pDst, dstStep);
}
VekStatus vekiTransform4x4Fwd_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst, Vek32s dstStep) {
    return forward<4, 4>(pSrc, srcStep, pDst, dstStep);
}
