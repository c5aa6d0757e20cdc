// H.264 forward 4x4 transform and quantisation, the forward and inverse DC
// transforms of luma and chroma, and the scale tables built from a scaling
// list: reference code and the exported shells.
//
// Products of a magnitude and a factor are formed in 64 bits in every width,
// so that the 32-bit forms stay exact over the whole high-bit-depth range;
// results are cut to the width of the destination.
#include "h264/transform_quant.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "vekvc.h"

namespace vek::h264 {

namespace {

// One pass of the forward core over four values `stride` apart.
template <class T>
void forward_pass(T* x, int stride) {
    const T x0 = x[0], x1 = x[stride], x2 = x[2 * stride], x3 = x[3 * stride];
    const T s0 = x0 + x3, d0 = x0 - x3, s1 = x1 + x2, d1 = x1 - x2;
    x[0] = s0 + s1;
    x[stride] = 2 * d0 + d1;
    x[2 * stride] = s0 - s1;
    x[3 * stride] = d0 - 2 * d1;
}

// Rows, then columns, in 64 bits; the caller cuts the results.
template <class In>
void forward_core(const In* src, std::int64_t* t) {
    for (int k = 0; k < 16; ++k) t[k] = src[k];
    for (int r = 0; r < 4; ++r) forward_pass(t + 4 * r, 1);
    for (int c = 0; c < 4; ++c) forward_pass(t + c, 4);
}

// One coefficient: sign of c times (|c| * factor + round) >> shift.
std::int64_t quant_one(std::int64_t c, std::int64_t factor, std::int64_t round, int shift) {
    const std::int64_t q = (std::llabs(c) * factor + round) >> shift;
    return c < 0 ? -q : q;
}

// Quantises 16 transformed values into dst, counting the non-zero levels in
// *num and the highest scan position among them (scan maps a raster place to
// its scan position) in *last.
template <class In, class Out>
void quant_block(const In* c, Out* dst, int qp, bool intra, const Vek16s* scale, const Vek16s* scan, Vek32s* num,
                 Vek32s* last) {
    const int div = vekH264QpDevide[qp].div, rem = vekH264QpDevide[qp].rem;
    const int shift = div + (scale ? 11 : 15);
    const std::int64_t round = scale ? vekH264QuantResid_RoundValDef_32s[div + intra]
                                     : vekH264QuantResid_RoundValGiven_32s[div + intra];
    Vek32s n = 0, l = 0;
    for (int i = 0; i < 16; ++i) {
        const std::int64_t f = scale ? scale[i] : vekH264FwdQuant_32s[rem][i];
        dst[i] = static_cast<Out>(quant_one(c[i], f, round, shift));
        if (dst[i]) {
            ++n;
            if (scan[i] > l) l = scan[i];
        }
    }
    *num = n;
    *last = l;
}

// The core of 16-bit blocks in 32 bits: 16-bit inputs grow by at most 6 x 6.
void forward_core32(const Vek16s* src, Vek32s* t) {
    for (int k = 0; k < 16; ++k) t[k] = src[k];
    for (int r = 0; r < 4; ++r) forward_pass(t + 4 * r, 1);
    for (int c = 0; c < 4; ++c) forward_pass(t + c, 4);
}

// A caller's scale table: its quantiser arguments live on this frame, out of
// the shell, so that the shell's built-in path ends in a jump to the kernel.
[[gnu::noinline]] VekStatus fwd_quant4x4_scaled(const Vek16s* pSrc, Vek16s* pDst, Vek32s QP, Vek32s* pNumLevels,
                                                bool intra, const Vek16s* pScanMatrix, Vek32s* pLastCoeff,
                                                const Vek16s* pScaleLevels) {
    const int div = vekH264QpDevide[QP].div;
    Quant4x4Args q{};
    q.plain = {pScaleLevels, vekH264QuantResid_RoundValDef_32s[div + intra], div + 11};
    return encode_transform_kernels().fwd_quant4x4_scaled(pSrc, pDst, &q, pNumLevels, pScanMatrix, pLastCoeff);
}

template <class Out>
VekStatus transform_quant_4x4(const Vek16s* pSrc, Out* pDst, Vek32s QP, Vek32s* pNumLevels, Vek32s Intra,
                              const Vek16s* pScanMatrix, Vek32s* pLastCoeff, const Vek16s* pScaleLevels, int maxQp) {
    if (!pSrc || !pDst || !pNumLevels || !pScanMatrix || !pLastCoeff) return vekStsNullPtrErr;
    if (static_cast<Vek32u>(QP) > static_cast<Vek32u>(maxQp)) return vekStsOutOfRangeErr;
    if constexpr (std::is_same_v<Out, Vek16s>) {
        // Everything fits 32 bits here: the kernel of this CPU does it all.
        // The built-in factors fall through, with no taken branch on their way,
        // and Intra picks its arguments by a conditional move.
        if (pScaleLevels) [[unlikely]]
            return fwd_quant4x4_scaled(pSrc, pDst, QP, pNumLevels, Intra != 0, pScanMatrix, pLastCoeff, pScaleLevels);
        const Quant4x4Args* q = kFwdQuant4x4Args[static_cast<Vek32u>(QP)].data();
        if (Intra) ++q;
        return encode_transform_kernels().fwd_quant4x4(pSrc, pDst, q, pNumLevels, pScanMatrix, pLastCoeff);
    }
    std::int64_t t[16];
    forward_core(pSrc, t);
    // The transformed block passes through pDst's width before quantisation.
    Out c[16];
    for (int k = 0; k < 16; ++k) c[k] = static_cast<Out>(t[k]);
    quant_block(c, pDst, QP, Intra != 0, pScaleLevels, pScanMatrix, pNumLevels, pLastCoeff);
    // A negative count tells the caller that the DC level is present.
    if (pDst[0]) *pNumLevels = -*pNumLevels;
    return vekStsOk;
}

template <class In, class Out>
VekStatus quantize_4x4(const In* pSrc, Out* pDst, Vek32s* pNumLevels, Vek32s* pLastCoeff, const Vek16s* pScaleLevels,
                       const Vek16s* pScanMatrix, Vek32s QP, Vek32s Intra, int maxQp) {
    if (!pSrc || !pDst || !pNumLevels || !pLastCoeff || !pScanMatrix) return vekStsNullPtrErr;
    if (static_cast<Vek32u>(QP) > static_cast<Vek32u>(maxQp)) return vekStsOutOfRangeErr;
    quant_block(pSrc, pDst, QP, Intra != 0, pScaleLevels, pScanMatrix, pNumLevels, pLastCoeff);
    return vekStsOk;
}

// The DC quantiser shared by chroma and luma: one factor for every value,
// the shift one above the 4x4 block's. Returns the signed count.
template <class T>
Vek32s quant_dc(const T* t, T* dst, int n, int qp, bool intra, const Vek16s* scale) {
    const int div = vekH264QpDevide[qp].div, rem = vekH264QpDevide[qp].rem;
    const int shift = div + (scale ? 12 : 16);
    const std::int64_t f = scale ? scale[0] : vekH264FwdQuant_32s[rem][0];
    const std::int64_t round = (std::int64_t{1} << shift) / (intra ? 3 : 6);
    Vek32s count = 0;
    for (int i = 0; i < n; ++i) {
        dst[i] = static_cast<T>(quant_one(t[i], f, round, shift));
        count += dst[i] != 0;
    }
    return dst[0] ? -count : count;
}

// 2x2 Hadamard of a0..a3 (raster order).
template <class T>
void hadamard2x2(const T* a, T* t) {
    const std::int64_t a0 = a[0], a1 = a[1], a2 = a[2], a3 = a[3];
    t[0] = static_cast<T>(a0 + a2 + a1 + a3);
    t[1] = static_cast<T>(a0 + a2 - a1 - a3);
    t[2] = static_cast<T>(a0 - a2 + a1 - a3);
    t[3] = static_cast<T>(a0 - a2 - a1 + a3);
}

// The 4-point Hadamard of the DC transforms over values `stride` apart.
void hadamard4(std::int64_t* x, int stride) {
    const std::int64_t x0 = x[0], x1 = x[stride], x2 = x[2 * stride], x3 = x[3 * stride];
    const std::int64_t s0 = x0 + x1, s1 = x2 + x3, d0 = x0 - x1, d1 = x2 - x3;
    x[0] = s0 + s1;
    x[stride] = s0 - s1;
    x[2 * stride] = d0 - d1;
    x[3 * stride] = d0 + d1;
}

// The 4:2:2 chroma DC block, 2 wide and 4 tall in raster order: the 4-point
// transform down each column, the 2-point one across each row.
template <class T>
void hadamard2x4(const T* a, T* t) {
    std::int64_t x[8];
    for (int k = 0; k < 8; ++k) x[k] = a[k];
    hadamard4(x, 2);
    hadamard4(x + 1, 2);
    for (int r = 0; r < 4; ++r) {
        const std::int64_t l = x[2 * r], h = x[2 * r + 1];
        x[2 * r] = l + h;
        x[2 * r + 1] = l - h;
    }
    for (int k = 0; k < 8; ++k) t[k] = static_cast<T>(x[k]);
}

// The 4x4 luma DC Hadamard, rows then columns, halved (an arithmetic shift)
// as the encoder's counterpart of the decoder's extra scaling.
template <class T>
void hadamard4x4_half(const T* a, T* t) {
    std::int64_t x[16];
    for (int k = 0; k < 16; ++k) x[k] = a[k];
    for (int r = 0; r < 4; ++r) hadamard4(x + 4 * r, 1);
    for (int c = 0; c < 4; ++c) hadamard4(x + c, 4);
    for (int k = 0; k < 16; ++k) t[k] = static_cast<T>(x[k] >> 1);
}

// The chroma DC QP of a 4:2:2 block is three above the block's QP.
constexpr int kChroma422DcQpOffset = 3;

template <class T, int N>
VekStatus fwd_chroma_dc(T* pSrcDst, T* pTBlock, Vek32s QP, Vek32s* pNumLevels, Vek32s Intra, Vek32s NeedTransform,
                        const Vek16s* pScaleLevels, int maxQp) {
    if (!pSrcDst || !pTBlock || !pNumLevels) return vekStsNullPtrErr;
    if (QP < 0 || QP > maxQp) return vekStsOutOfRangeErr;
    if (NeedTransform) {
        if constexpr (N == 4)
            hadamard2x2(pSrcDst, pTBlock);
        else
            hadamard2x4(pSrcDst, pTBlock);
    }
    const int qp = N == 4 ? QP : QP + kChroma422DcQpOffset;
    *pNumLevels = quant_dc(pTBlock, pSrcDst, N, qp, Intra != 0, pScaleLevels);
    return vekStsOk;
}

template <class T>
VekStatus fwd_luma_dc(T* pSrcDst, T* pTBlock, Vek32s QP, Vek32s* pNumLevels, Vek32s NeedTransform,
                      const Vek16s* pScanMatrix, Vek32s* pLastCoeff, const Vek16s* pScaleLevels, int maxQp) {
    if (!pSrcDst || !pTBlock || !pNumLevels || !pScanMatrix || !pLastCoeff) return vekStsNullPtrErr;
    if (QP < 0 || QP > maxQp) return vekStsOutOfRangeErr;
    if (NeedTransform) hadamard4x4_half(pSrcDst, pTBlock);
    // A luma DC block belongs to an Intra 16x16 macroblock: always intra rounding.
    const Vek32s n = quant_dc(pTBlock, pSrcDst, 16, QP, true, pScaleLevels);
    Vek32s last = 0;
    for (int i = 0; i < 16; ++i)
        if (pSrcDst[i] && pScanMatrix[i] > last) last = pScanMatrix[i];
    *pNumLevels = n;
    *pLastCoeff = last;
    return vekStsOk;
}

// The DC level scale of a QP: the caller's first entry (a weighted factor,
// 16 times the plain one for a flat list) or the built-in one likewise scaled.
std::int64_t dc_level_scale(int qp, const Vek16s* scale) {
    return scale ? scale[0] : 16 * kNormAdjust[vekH264QpDevide[qp].rem][0];
}

template <class T>
VekStatus inv_chroma_dc2x2(T* pSrcDst, Vek32s QP, const Vek16s* pScaleLevels, int maxQp) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (QP < 0 || QP > maxQp) return vekStsOutOfRangeErr;
    std::int64_t f[4];
    const T a[4] = {pSrcDst[0], pSrcDst[1], pSrcDst[2], pSrcDst[3]};
    f[0] = std::int64_t{a[0]} + a[1] + a[2] + a[3];
    f[1] = std::int64_t{a[0]} - a[1] + a[2] - a[3];
    f[2] = std::int64_t{a[0]} + a[1] - a[2] - a[3];
    f[3] = std::int64_t{a[0]} - a[1] - a[2] + a[3];
    const std::int64_t ls = dc_level_scale(QP, pScaleLevels);
    for (int i = 0; i < 4; ++i) pSrcDst[i] = static_cast<T>(((f[i] * ls) << vekH264QpDevide[QP].div) >> 5);
    return vekStsOk;
}

template <class T>
VekStatus inv_chroma_dc2x4(T* pSrcDst, Vek32s QP, const Vek16s* pScaleLevels, int maxQp) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (QP < 0 || QP > maxQp) return vekStsOutOfRangeErr;
    // The same butterflies as the forward transform: both matrices are symmetric.
    T f[8];
    hadamard2x4(pSrcDst, f);
    const int qp = QP + kChroma422DcQpOffset, div = vekH264QpDevide[qp].div;
    const std::int64_t ls = dc_level_scale(qp, pScaleLevels);
    for (int i = 0; i < 8; ++i) {
        const std::int64_t v = f[i] * ls;
        pSrcDst[i] = static_cast<T>(div >= 6 ? v << (div - 6) : (v + (std::int64_t{1} << (5 - div))) >> (6 - div));
    }
    return vekStsOk;
}

template <class T>
VekStatus inv_luma_dc4x4(T* pSrcDst, Vek32s QP, const Vek16s* pScaleLevels, int maxQp) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if (QP < 0 || QP > maxQp) return vekStsOutOfRangeErr;
    std::int64_t x[16];
    for (int k = 0; k < 16; ++k) x[k] = pSrcDst[k];
    for (int r = 0; r < 4; ++r) hadamard4(x + 4 * r, 1);
    for (int c = 0; c < 4; ++c) hadamard4(x + c, 4);
    const int div = vekH264QpDevide[QP].div;
    const std::int64_t ls = dc_level_scale(QP, pScaleLevels);
    for (int i = 0; i < 16; ++i) {
        const std::int64_t v = x[i] * ls;
        pSrcDst[i] = static_cast<T>(div >= 6 ? v << (div - 6) : (v + (std::int64_t{1} << (5 - div))) >> (6 - div));
    }
    return vekStsOk;
}

template <class T>
T* row_at(T* p, std::ptrdiff_t stepBytes, int y) {
    using Byte = std::conditional_t<std::is_const_v<T>, const std::uint8_t, std::uint8_t>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(p) + stepBytes * y);
}

// The decoder's 4x4 path for the encoder's reconstruction loop: levels scaled
// with LS (the caller's weighted factors, or 16 times the built-in ones),
// the DC taken from *dc when given, the inverse core with (x + 32) >> 6, and
// the sum with the prediction clipped to 0..maxSample. Without AC only the DC
// is read and the levels stay as they are; with AC the residual is written
// back over them. Steps are in bytes.
template <class Coef, class Sample>
void inv_add_pred(const Sample* pred, std::ptrdiff_t predStep, Coef* levels, const Coef* dc, Sample* dst,
                  std::ptrdiff_t dstStep, int qp, bool ac, const Vek16s* scale, std::int64_t maxSample) {
    const int div = vekH264QpDevide[qp].div, rem = vekH264QpDevide[qp].rem;
    const auto scaled = [&](int k) {
        const std::int64_t ls = scale ? scale[k] : 16 * kNormAdjust[rem][QuantIndex[k]];
        const std::int64_t v = std::int64_t{levels[k]} * ls;
        return div >= 4 ? v << (div - 4) : (v + (std::int64_t{1} << (3 - div))) >> (4 - div);
    };
    std::int64_t x[16] = {};
    x[0] = dc ? std::int64_t{*dc} : scaled(0);
    if (ac)
        for (int k = 1; k < 16; ++k) x[k] = scaled(k);
    const auto pass = [](std::int64_t* v, int s) {
        const std::int64_t e0 = v[0] + v[2 * s], e1 = v[0] - v[2 * s];
        const std::int64_t e2 = (v[s] >> 1) - v[3 * s], e3 = v[s] + (v[3 * s] >> 1);
        v[0] = e0 + e3, v[s] = e1 + e2, v[2 * s] = e1 - e2, v[3 * s] = e0 - e3;
    };
    for (int r = 0; r < 4; ++r) pass(x + 4 * r, 1);
    for (int c = 0; c < 4; ++c) pass(x + c, 4);
    Sample out[16];
    for (int y = 0; y < 4; ++y)
        for (int i = 0; i < 4; ++i) {
            const std::int64_t r = (x[4 * y + i] + 32) >> 6;
            if (ac) levels[4 * y + i] = static_cast<Coef>(r);
            out[4 * y + i] = static_cast<Sample>(std::clamp<std::int64_t>(row_at(pred, predStep, y)[i] + r, 0,
                                                                          maxSample));
        }
    for (int y = 0; y < 4; ++y)
        for (int i = 0; i < 4; ++i) row_at(dst, dstStep, y)[i] = out[4 * y + i];
}

}  // namespace

}  // namespace vek::h264

using namespace vek::h264;

VekStatus vekiTransformResidual4x4Fwd_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    Vek32s t[16];
    forward_core32(pSrc, t);
    for (int k = 0; k < 16; ++k) pDst[k] = static_cast<Vek16s>(t[k]);
    return vekStsOk;
}

VekStatus vekiTransformResidual4x4Fwd_H264_32s_C1(const Vek32s* pSrc, Vek32s* pDst) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    std::int64_t t[16];
    forward_core(pSrc, t);
    for (int k = 0; k < 16; ++k) pDst[k] = static_cast<Vek32s>(t[k]);
    return vekStsOk;
}

VekStatus vekiTransformQuantFwd4x4_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst, Vek32s QP, Vek32s* pNumLevels,
                                               Vek32s Intra, const Vek16s* pScanMatrix, Vek32s* pLastCoeff,
                                               const Vek16s* pScaleLevels) {
    return transform_quant_4x4(pSrc, pDst, QP, pNumLevels, Intra, pScanMatrix, pLastCoeff, pScaleLevels, 51);
}

VekStatus vekiTransformQuantFwd4x4_H264_16s32s_C1(const Vek16s* pSrc, Vek32s* pDst, Vek32s QP, Vek32s* pNumLevels,
                                                  Vek32s Intra, const Vek16s* pScanMatrix, Vek32s* pLastCoeff,
                                                  const Vek16s* pScaleLevels) {
    return transform_quant_4x4(pSrc, pDst, QP, pNumLevels, Intra, pScanMatrix, pLastCoeff, pScaleLevels, 87);
}

VekStatus vekiQuantizeResidual4x4Fwd_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst, Vek32s* pNumLevels,
                                                 Vek32s* pLastCoeff, const Vek16s* pScaleLevels,
                                                 const Vek16s* pScanMatrix, Vek32s QP, Vek32s Intra) {
    return quantize_4x4(pSrc, pDst, pNumLevels, pLastCoeff, pScaleLevels, pScanMatrix, QP, Intra, 51);
}

VekStatus vekiQuantizeResidual4x4Fwd_H264_16s32s_C1(const Vek16s* pSrc, Vek32s* pDst, Vek32s* pNumLevels,
                                                    Vek32s* pLastCoeff, const Vek16s* pScaleLevels,
                                                    const Vek16s* pScanMatrix, Vek32s QP, Vek32s Intra) {
    return quantize_4x4(pSrc, pDst, pNumLevels, pLastCoeff, pScaleLevels, pScanMatrix, QP, Intra, 51);
}

VekStatus vekiQuantizeResidual4x4Fwd_H264_32s_C1(const Vek32s* pSrc, Vek32s* pDst, Vek32s* pNumLevels,
                                                 Vek32s* pLastCoeff, const Vek16s* pScaleLevels,
                                                 const Vek16s* pScanMatrix, Vek32s QP, Vek32s Intra) {
    return quantize_4x4(pSrc, pDst, pNumLevels, pLastCoeff, pScaleLevels, pScanMatrix, QP, Intra, 87);
}

VekStatus vekiTransformQuantFwdChromaDC2x2_H264_16s_C1I(Vek16s* pSrcDst, Vek16s* pTBlock, Vek32s QP,
                                                        Vek32s* pNumLevels, Vek32s Intra, Vek32s NeedTransform,
                                                        const Vek16s* pScaleLevels) {
    return fwd_chroma_dc<Vek16s, 4>(pSrcDst, pTBlock, QP, pNumLevels, Intra, NeedTransform, pScaleLevels, 39);
}

VekStatus vekiTransformQuantFwdChromaDC2x2_H264_32s_C1I(Vek32s* pSrcDst, Vek32s* pTBlock, Vek32s QP,
                                                        Vek32s* pNumLevels, Vek32s Intra, Vek32s NeedTransform,
                                                        const Vek16s* pScaleLevels) {
    return fwd_chroma_dc<Vek32s, 4>(pSrcDst, pTBlock, QP, pNumLevels, Intra, NeedTransform, pScaleLevels, 75);
}

VekStatus vekiTransformQuantFwdChromaDC2x4_H264_16s_C1I(Vek16s* pSrcDst, Vek16s* pTBlock, Vek32s QP,
                                                        Vek32s* pNumLevels, Vek32s Intra, Vek32s NeedTransform,
                                                        const Vek16s* pScaleLevels) {
    return fwd_chroma_dc<Vek16s, 8>(pSrcDst, pTBlock, QP, pNumLevels, Intra, NeedTransform, pScaleLevels, 39);
}

VekStatus vekiTransformQuantFwdChromaDC2x4_H264_32s_C1I(Vek32s* pSrcDst, Vek32s* pTBlock, Vek32s QP,
                                                        Vek32s* pNumLevels, Vek32s Intra, Vek32s NeedTransform,
                                                        const Vek16s* pScaleLevels) {
    return fwd_chroma_dc<Vek32s, 8>(pSrcDst, pTBlock, QP, pNumLevels, Intra, NeedTransform, pScaleLevels, 75);
}

VekStatus vekiTransformQuantFwdLumaDC4x4_H264_16s_C1I(Vek16s* pSrcDst, Vek16s* pTBlock, Vek32s QP,
                                                      Vek32s* pNumLevels, Vek32s NeedTransform,
                                                      const Vek16s* pScanMatrix, Vek32s* pLastCoeff,
                                                      const Vek16s* pScaleLevels) {
    return fwd_luma_dc(pSrcDst, pTBlock, QP, pNumLevels, NeedTransform, pScanMatrix, pLastCoeff, pScaleLevels, 51);
}

VekStatus vekiTransformQuantFwdLumaDC4x4_H264_32s_C1I(Vek32s* pSrcDst, Vek32s* pTBlock, Vek32s QP,
                                                      Vek32s* pNumLevels, Vek32s NeedTransform,
                                                      const Vek16s* pScanMatrix, Vek32s* pLastCoeff,
                                                      const Vek16s* pScaleLevels) {
    return fwd_luma_dc(pSrcDst, pTBlock, QP, pNumLevels, NeedTransform, pScanMatrix, pLastCoeff, pScaleLevels, 87);
}

VekStatus vekiTransformQuantInvChromaDC2x2_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP, const Vek16s* pScaleLevels) {
    return inv_chroma_dc2x2(pSrcDst, QP, pScaleLevels, 39);
}
VekStatus vekiTransformQuantInvChromaDC2x2_H264_32s_C1I(Vek32s* pSrcDst, Vek32s QP, const Vek16s* pScaleLevels) {
    return inv_chroma_dc2x2(pSrcDst, QP, pScaleLevels, 75);
}
VekStatus vekiTransformQuantInvChromaDC2x4_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP, const Vek16s* pScaleLevels) {
    return inv_chroma_dc2x4(pSrcDst, QP, pScaleLevels, 39);
}
VekStatus vekiTransformQuantInvChromaDC2x4_H264_32s_C1I(Vek32s* pSrcDst, Vek32s QP, const Vek16s* pScaleLevels) {
    return inv_chroma_dc2x4(pSrcDst, QP, pScaleLevels, 75);
}
VekStatus vekiTransformQuantInvLumaDC4x4_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP, const Vek16s* pScaleLevels) {
    return inv_luma_dc4x4(pSrcDst, QP, pScaleLevels, 51);
}
VekStatus vekiTransformQuantInvLumaDC4x4_H264_32s_C1I(Vek32s* pSrcDst, Vek32s QP, const Vek16s* pScaleLevels) {
    return inv_luma_dc4x4(pSrcDst, QP, pScaleLevels, 87);
}

VekStatus vekiGenScaleLevel4x4_H264_8u16s_C1(const Vek8u* pSrcScaleList, Vek16s* pDstInvScale, Vek16s* pDstFwdScale,
                                             Vek32s QPRem) {
    if (!pSrcScaleList || !pDstInvScale || !pDstFwdScale) return vekStsNullPtrErr;
    if (QPRem < 0 || QPRem > 5) return vekStsOutOfRangeErr;
    for (int i = 0; i < 16; ++i) {
        const Vek32s w = pSrcScaleList[i];
        pDstInvScale[i] = static_cast<Vek16s>(w * kNormAdjust[QPRem][QuantIndex[i]]);
        // f / w, the largest factor whose product with w stays within f: a
        // flat list (16) gives the built-in factors / 16 for the shift 4 lower.
        const Vek32s g = w ? QuantCoef[QPRem][i] / w : 32767;
        pDstFwdScale[i] = static_cast<Vek16s>(g > 32767 ? 32767 : g);
    }
    return vekStsOk;
}

VekStatus vekiTransformQuantInvAddPred4x4_H264_16s_C1IR(const Vek8u* pPred, Vek32s predStep, Vek16s* pSrcDst,
                                                       const Vek16s* pDC, Vek8u* pDst, Vek32s dstStep, Vek32s QP,
                                                       Vek32s AC, const Vek16s* pScaleLevels) {
    if (!pPred || !pSrcDst || !pDst) return vekStsNullPtrErr;
    if (QP < 0 || QP > 51) return vekStsOutOfRangeErr;
    inv_add_pred(pPred, predStep, pSrcDst, pDC, pDst, dstStep, QP, AC != 0, pScaleLevels, 255);
    return vekStsOk;
}

VekStatus vekiTransformQuantInvAddPred4x4_H264_32s_C1IR(const Vek16u* pPred, Vek32s predStep, Vek32s* pSrcDst,
                                                       const Vek32s* pDC, Vek16u* pDst, Vek32s dstStep, Vek32s QP,
                                                       Vek32s AC, Vek32s bitDepth, const Vek16s* pScaleLevels) {
    if (!pPred || !pSrcDst || !pDst) return vekStsNullPtrErr;
    if (QP < 0 || QP > 87 || bitDepth < 9 || bitDepth > 14) return vekStsOutOfRangeErr;
    inv_add_pred(pPred, std::ptrdiff_t{predStep} * 2, pSrcDst, pDC, pDst, std::ptrdiff_t{dstStep} * 2, QP, AC != 0,
                 pScaleLevels, (std::int64_t{1} << bitDepth) - 1);
    return vekStsOk;
}

// The older entry points: 8-bit results, the same arithmetic as the forms above.

VekStatus vekiTransformQuantLumaDC_H264_16s_C1I(Vek16s* pSrcDst, Vek16s* pTBlock, Vek32s QP, Vek8s* pNumLevels,
                                                Vek32s NeedTransform, const Vek16s* pScanMatrix, Vek8u* pLastCoeff) {
    if (!pSrcDst || !pTBlock || !pNumLevels || !pScanMatrix || !pLastCoeff) return vekStsNullPtrErr;
    if (QP < 0 || QP > 51) return vekStsOutOfRangeErr;
    Vek32s n = 0, last = 0;
    fwd_luma_dc(pSrcDst, pTBlock, QP, &n, NeedTransform, pScanMatrix, &last, nullptr, 51);
    *pNumLevels = static_cast<Vek8s>(n);
    *pLastCoeff = static_cast<Vek8u>(last);
    return vekStsOk;
}

VekStatus vekiTransformQuantChromaDC_H264_16s_C1I(Vek16s* pSrcDst, Vek16s* pTBlock, Vek32s QP, Vek8s* pNumLevels,
                                                  Vek32s Intra, Vek32s NeedTransform) {
    if (!pSrcDst || !pTBlock || !pNumLevels) return vekStsNullPtrErr;
    if (QP < 0 || QP > 39) return vekStsOutOfRangeErr;
    Vek32s n = 0;
    fwd_chroma_dc<Vek16s, 4>(pSrcDst, pTBlock, QP, &n, static_cast<Vek8u>(Intra), static_cast<Vek8u>(NeedTransform),
                             nullptr, 39);
    *pNumLevels = static_cast<Vek8s>(n);
    return vekStsOk;
}

VekStatus vekiTransformQuantResidual_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP, Vek8s* pNumLevels, Vek32s Intra,
                                                  const Vek16s* pScanMatrix, Vek8u* pLastCoeff) {
    if (!pSrcDst || !pNumLevels || !pScanMatrix || !pLastCoeff) return vekStsNullPtrErr;
    if (QP < 0 || QP > 51) return vekStsOutOfRangeErr;
    Vek32s n = 0, last = 0;
    transform_quant_4x4(pSrcDst, pSrcDst, QP, &n, static_cast<Vek8u>(Intra), pScanMatrix, &last, nullptr, 51);
    *pNumLevels = static_cast<Vek8s>(n);
    *pLastCoeff = static_cast<Vek8u>(last);
    return vekStsOk;
}
