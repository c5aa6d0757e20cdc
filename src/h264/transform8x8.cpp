// H.264 High-profile 8x8 luma path: the scale tables built from a scaling
// list, forward and inverse quantisation, the forward 8x8 transform and the
// inverse added to the prediction.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "h264/transform_quant.h"
#include "vekvc.h"

namespace {

// Class of each position of an 8x8 block (raster order) for the factor tables.
constexpr int position_class(int r, int c) {
    if (r % 4 == 0 && c % 4 == 0) return 0;
    if (r % 2 == 1 && c % 2 == 1) return 1;
    if (r % 4 == 2 && c % 4 == 2) return 2;
    if ((r % 4 == 0 && c % 2 == 1) || (r % 2 == 1 && c % 4 == 0)) return 3;
    if ((r % 4 == 0 && c % 4 == 2) || (r % 4 == 2 && c % 4 == 0)) return 4;
    return 5;
}

using Table8x8 = std::array<std::array<Vek16s, 64>, 6>;

constexpr Table8x8 spread(const Vek16s (&by_class)[6][6]) {
    Table8x8 t{};
    for (int q = 0; q < 6; ++q)
        for (int k = 0; k < 64; ++k) t[q][k] = by_class[q][position_class(k / 8, k % 8)];
    return t;
}

// Forward and inverse (normalisation) factors by [QP % 6][position].
constexpr Vek16s kFwdByClass[6][6] = {
    {13107, 11428, 20972, 12222, 16777, 15481}, {11916, 10826, 19174, 11058, 14980, 14290},
    {10082, 8943, 15978, 9675, 12710, 11985},   {9362, 8228, 14913, 8931, 11984, 11259},
    {8192, 7346, 13159, 7740, 10486, 9777},     {7282, 6428, 11570, 6830, 9118, 8640},
};
constexpr Vek16s kInvByClass[6][6] = {
    {20, 18, 32, 19, 25, 24}, {22, 19, 35, 21, 28, 26}, {26, 23, 42, 24, 33, 31},
    {28, 25, 45, 26, 35, 33}, {32, 28, 51, 30, 40, 38}, {36, 32, 58, 34, 46, 43},
};
constexpr Table8x8 kFwdQuant8x8 = spread(kFwdByClass);
constexpr Table8x8 kInvQuant8x8 = spread(kInvByClass);

// 16384 / w rounded down, 0 for w 0: a first guess of factor / w by one
// multiplication, corrected afterwards.
constexpr std::array<Vek16u, 256> kReciprocal = [] {
    std::array<Vek16u, 256> t{};
    for (int w = 1; w < 256; ++w) t[w] = static_cast<Vek16u>(16384 / w);
    return t;
}();

// One pass of the decoder's inverse 8x8 butterfly.
void inverse8(std::int64_t* x, int s) {
    const std::int64_t d0 = x[0], d1 = x[s], d2 = x[2 * s], d3 = x[3 * s], d4 = x[4 * s], d5 = x[5 * s],
                       d6 = x[6 * s], d7 = x[7 * s];
    const std::int64_t e0 = d0 + d4, e4 = d0 - d4, e2 = (d2 >> 1) - d6, e6 = d2 + (d6 >> 1);
    const std::int64_t f0 = e0 + e6, f2 = e4 + e2, f4 = e4 - e2, f6 = e0 - e6;
    const std::int64_t e1 = -d3 + d5 - d7 - (d7 >> 1), e3 = d1 + d7 - d3 - (d3 >> 1);
    const std::int64_t e5 = -d1 + d7 + d5 + (d5 >> 1), e7 = d3 + d5 + d1 + (d1 >> 1);
    const std::int64_t f1 = e1 + (e7 >> 2), f7 = e7 - (e1 >> 2), f3 = e3 + (e5 >> 2), f5 = (e3 >> 2) - e5;
    x[0] = f0 + f7;
    x[s] = f2 + f5;
    x[2 * s] = f4 + f3;
    x[3 * s] = f6 + f1;
    x[4 * s] = f6 - f1;
    x[5 * s] = f4 - f3;
    x[6 * s] = f2 - f5;
    x[7 * s] = f0 - f7;
}

template <class T>
T* row_at(T* p, std::ptrdiff_t stepBytes, int y) {
    using Byte = std::conditional_t<std::is_const_v<T>, const std::uint8_t, std::uint8_t>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(p) + stepBytes * y);
}

// Inverse rows, then columns, then (x + 32) >> 6 added to the prediction and
// clipped to 0..maxSample. Steps are in bytes; the whole prediction is read
// before the first write, so pred and dst may be one block.
template <class Coef, class Sample>
void inverse_add(const Sample* pred, std::ptrdiff_t predStep, Coef* coeffs, Sample* dst, std::ptrdiff_t dstStep,
                 std::int64_t maxSample) {
    std::int64_t t[64];
    for (int k = 0; k < 64; ++k) t[k] = coeffs[k];
    for (int r = 0; r < 8; ++r) inverse8(t + 8 * r, 1);
    for (int c = 0; c < 8; ++c) inverse8(t + c, 8);
    Sample out[64];
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            const std::int64_t v = row_at(pred, predStep, y)[x] + ((t[8 * y + x] + 32) >> 6);
            out[8 * y + x] = static_cast<Sample>(std::clamp<std::int64_t>(v, 0, maxSample));
        }
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) row_at(dst, dstStep, y)[x] = out[8 * y + x];
}

template <class T>
VekStatus quant8x8(const T* pSrc, T* pDst, Vek32s QPDiv6, Vek32s Intra, const Vek16s* pScaleLevels,
                   const Vek16s* pScanMatrix, Vek32s* pNumLevels, Vek32s* pLastCoeff, int maxDiv) {
    if (!pSrc || !pDst || !pScaleLevels || !pScanMatrix || !pNumLevels || !pLastCoeff) return vekStsNullPtrErr;
    if (QPDiv6 < 0 || QPDiv6 > maxDiv) return vekStsQpRangeErr;
    const int shift = QPDiv6 + 12;
    const std::int64_t round = std::int64_t{Intra ? 682 : 342} << (QPDiv6 + 1);
    if constexpr (std::is_same_v<T, Vek16s>) {
        // |c| * factor + round stays below 2^31 for 16-bit values: the kernel of this CPU.
        const vek::h264::QuantArgs q{pScaleLevels, static_cast<Vek32s>(round), shift};
        *pNumLevels = vek::h264::encode_transform_kernels().quant8x8(pSrc, pDst, &q, pScanMatrix, pLastCoeff);
        return vekStsOk;
    }
    Vek32s n = 0, last = 0;
    for (int i = 0; i < 64; ++i) {
        const std::int64_t c = pSrc[i];
        const std::int64_t q = (std::llabs(c) * pScaleLevels[i] + round) >> shift;
        pDst[i] = static_cast<T>(c < 0 ? -q : q);
        if (pDst[i]) {
            ++n;
            last = std::max<Vek32s>(last, pScanMatrix[i]);
        }
    }
    *pNumLevels = n;
    *pLastCoeff = last;
    return vekStsOk;
}

template <class T>
VekStatus dequant8x8(T* pSrcDst, Vek32s QPDiv6, const Vek16s* pInvLevelScale, int maxDiv) {
    if (!pSrcDst || !pInvLevelScale) return vekStsNullPtrErr;
    if (QPDiv6 < 0 || QPDiv6 > maxDiv) return vekStsQpRangeErr;
    for (int i = 0; i < 64; ++i) {
        const std::int64_t v = std::int64_t{pSrcDst[i]} * pInvLevelScale[i];
        pSrcDst[i] = static_cast<T>(QPDiv6 >= 6 ? v << (QPDiv6 - 6)
                                                : (v + (std::int64_t{1} << (5 - QPDiv6))) >> (6 - QPDiv6));
    }
    return vekStsOk;
}

}  // namespace

VekStatus vekiGenScaleLevel8x8_H264_8u16s_D2(const Vek8u* pSrcScaleList, Vek32s srcStep, Vek16s* pDstInvScale,
                                             Vek16s* pDstFwdScale, Vek32s QPRem) {
    if (!pSrcScaleList || !pDstInvScale || !pDstFwdScale) return vekStsNullPtrErr;
    if (QPRem < 0 || QPRem > 5) return vekStsQpRangeErr;
    for (int r = 0; r < 8; ++r) {
        const Vek8u* row = pSrcScaleList + static_cast<std::ptrdiff_t>(srcStep) * r;
        Vek16s inv[8], fwd[8];
        for (int c = 0; c < 8; ++c) {
            const Vek32s w = row[c], f = kFwdQuant8x8[QPRem][8 * r + c];
            inv[c] = static_cast<Vek16s>(w * kInvQuant8x8[QPRem][8 * r + c]);
            Vek32s g = std::clamp<Vek32s>((f * kReciprocal[w]) >> 14, -32768, 32767);
            // The reciprocal rounds down, so the guess may fall one or two short
            // of the largest g with g * w within f; the test runs in 16 bits.
            for (int pass = 0; pass < 2; ++pass)
                if (static_cast<Vek16s>((g + 1) * w) <= static_cast<Vek16s>(f)) ++g;
            fwd[c] = static_cast<Vek16s>(g);
        }
        for (int c = 0; c < 8; ++c) pDstInvScale[8 * r + c] = inv[c], pDstFwdScale[8 * r + c] = fwd[c];
    }
    return vekStsOk;
}

VekStatus vekiQuantLuma8x8_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst, Vek32s QPDiv6, Vek32s Intra,
                                       const Vek16s* pScaleLevels, const Vek16s* pScanMatrix, Vek32s* pNumLevels,
                                       Vek32s* pLastCoeff) {
    return quant8x8(pSrc, pDst, QPDiv6, Intra, pScaleLevels, pScanMatrix, pNumLevels, pLastCoeff, 8);
}

VekStatus vekiQuantLuma8x8_H264_32s_C1(const Vek32s* pSrc, Vek32s* pDst, Vek32s QPDiv6, Vek32s Intra,
                                       const Vek16s* pScaleLevels, const Vek16s* pScanMatrix, Vek32s* pNumLevels,
                                       Vek32s* pLastCoeff) {
    return quant8x8(pSrc, pDst, QPDiv6, Intra, pScaleLevels, pScanMatrix, pNumLevels, pLastCoeff, 14);
}

VekStatus vekiQuantLuma8x8Inv_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QPDiv6, const Vek16s* pInvLevelScale) {
    return dequant8x8(pSrcDst, QPDiv6, pInvLevelScale, 8);
}

VekStatus vekiQuantInvLuma8x8_H264_32s_C1I(Vek32s* pSrcDst, Vek32s QPDiv6, const Vek16s* pInvLevelScale) {
    return dequant8x8(pSrcDst, QPDiv6, pInvLevelScale, 14);
}

VekStatus vekiTransformLuma8x8Fwd_H264_16s_C1I(Vek16s* pSrcDst) {
    if (!pSrcDst) return vekStsNullPtrErr;
    return vek::h264::encode_transform_kernels().fwd8x8(pSrcDst, pSrcDst);
}

VekStatus vekiTransformFwdLuma8x8_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    return vek::h264::encode_transform_kernels().fwd8x8(pSrc, pDst);
}

VekStatus vekiTransformFwdLuma8x8_H264_16s32s_C1(const Vek16s* pSrc, Vek32s* pDst) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    return vek::h264::encode_transform_kernels().fwd8x8_32(pSrc, pDst);
}

VekStatus vekiTransformLuma8x8InvAddPred_H264_16s8u_C1R(const Vek8u* pPred, Vek32s predStep, Vek16s* pSrcDst,
                                                        Vek8u* pDst, Vek32s dstStep) {
    if (!pPred || !pSrcDst || !pDst) return vekStsNullPtrErr;
    inverse_add(pPred, predStep, pSrcDst, pDst, dstStep, 255);
    return vekStsOk;
}

VekStatus vekiTransformInvAddPredLuma8x8_H264_32s16u_C1R(const Vek16u* pPred, Vek32s predStep, Vek32s* pSrcDst,
                                                         Vek16u* pDst, Vek32s dstStep, Vek32s bitDepth) {
    if (!pPred || !pSrcDst || !pDst) return vekStsNullPtrErr;
    if (bitDepth < 8 || bitDepth > 14) return vekStsOutOfRangeErr;
    inverse_add(pPred, std::ptrdiff_t{predStep} * 2, pSrcDst, pDst, std::ptrdiff_t{dstStep} * 2,
                (std::int64_t{1} << bitDepth) - 1);
    return vekStsOk;
}
