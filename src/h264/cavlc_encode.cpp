// H.264 CAVLC preparation of one block: the trailing ones and their signs,
// the count, total zeros, the levels and the runs that a code writer turns
// into bits. No bits are written here.
#include <cstdint>

#include "frame/tables.h"
#include "h264/transform_quant.h"
#include "vekvc.h"

namespace {

// The walk from the highest scan position down: trailing ones are taken while
// the state is open (at most three, the first met in the highest bit of the
// signs); any other level closes it. The zeros above the highest level are
// not counted in total zeros, only those below it.
//
// The walk runs in three loops, each with only its own state: the zeros above
// the highest level, the trailing ones, then the other levels, where a zero
// costs a load, a test and the loop step, and a run is the distance between
// two levels' positions rather than a counter kept over the zeros.
template <class T>
[[gnu::always_inline]] inline void walk(const T* src, const Vek32s* scan, int first, int last, Vek8u* pTrailingOnes,
                                        Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs, Vek8u* pTotalZeros, T* pLevels,
                                        Vek8u* pRuns) {
    int k = last;
    T v = 0;
    while (k >= first && (v = src[scan[k]]) == 0) --k;
    int ones = 0, signs = 0;
    T* level = pLevels;
    Vek8u* run = pRuns;
    const int top = k < first ? last : k;
    // v is the level at k.
    while (k >= first) {
        if (ones == 3 || static_cast<Vek32u>(v) + 1u > 2u) {
            *level++ = v;
            for (int j = k - 1; j >= first; --j) {
                const T w = src[scan[j]];
                if (w) {
                    *level++ = w;
                    *run++ = static_cast<Vek8u>(k - j - 1);
                    k = j;
                }
            }
            break;
        }
        ++ones;
        signs = signs * 2 + (v < 0);
        int j = k - 1;
        while (j >= first && (v = src[scan[j]]) == 0) --j;
        if (j < first) break;
        *run++ = static_cast<Vek8u>(k - j - 1);
        k = j;
    }
    const int n = ones + static_cast<int>(level - pLevels);
    *pTrailingOnes = static_cast<Vek8u>(ones);
    *pTrailingOneSigns = static_cast<Vek8u>(signs);
    *pNumOutCoeffs = static_cast<Vek8u>(n);
    // The zeros from `first` up to the highest level (all of them when there is none).
    *pTotalZeros = static_cast<Vek8u>(top - first + 1 - n);
}

// Null pointers, then the range: only the low bytes of the two positions count.
template <class T>
VekStatus check_block(const T* pSrc, Vek32s AC, const Vek32s* pScanMatrix, Vek32s Count, Vek8u* pTrailingOnes,
                      Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs, Vek8u* pTotalZeros, T* pLevels, Vek8u* pRuns) {
    if (!pSrc || !pScanMatrix || !pTrailingOnes || !pTrailingOneSigns || !pNumOutCoeffs || !pTotalZeros || !pLevels ||
        !pRuns)
        return vekStsNullPtrErr;
    const int first = static_cast<Vek8u>(AC), last = static_cast<Vek8u>(Count);
    return last > 15 || last < first ? vekStsOutOfRangeErr : vekStsOk;
}

// Scan position k of a chroma DC block is its place `order[k]`: 2x2 blocks
// are coded in raster order, the 4:2:2 block (2 wide, 4 tall) in the order
// of the decoder's ChromaDC422RasterScan.
constexpr Vek32s kDc2x2Order[4] = {0, 1, 2, 3};
const Vek32s* const kDc2x4Order = vek::ChromaDC422RasterScan.data();

template <int N, class T>
VekStatus encode_chroma_dc(const T* pSrc, const Vek32s* order, Vek8u* pTrailingOnes, Vek8u* pTrailingOneSigns,
                           Vek8u* pNumOutCoeffs, Vek8u* pTotalZeros, T* pLevels, Vek8u* pRuns) {
    if (!pSrc || !pTrailingOnes || !pTrailingOneSigns || !pNumOutCoeffs || !pTotalZeros || !pLevels || !pRuns)
        return vekStsNullPtrErr;
    walk<T>(pSrc, order, 0, N - 1, pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs, pTotalZeros, pLevels, pRuns);
    return vekStsOk;
}

}  // namespace

namespace vek::h264 {

VekStatus cavlc16_c(const Vek16s* pSrc, Vek32s AC, const Vek32s* pScanMatrix, Vek32s Count, Vek8u* pTrailingOnes,
                    Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs, Vek8u* pTotalZeros, Vek16s* pLevels,
                    Vek8u* pRuns) {
    walk<Vek16s>(pSrc, pScanMatrix, static_cast<Vek8u>(AC), static_cast<Vek8u>(Count), pTrailingOnes,
                 pTrailingOneSigns, pNumOutCoeffs, pTotalZeros, pLevels, pRuns);
    return vekStsOk;
}

}  // namespace vek::h264

VekStatus vekiEncodeCoeffsCAVLC_H264_16s(const Vek16s* pSrc, Vek32s AC, const Vek32s* pScanMatrix, Vek32s Count,
                                         Vek8u* pTrailingOnes, Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                         Vek8u* pTotalZeros, Vek16s* pLevels, Vek8u* pRuns) {
    const VekStatus st = check_block(pSrc, AC, pScanMatrix, Count, pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs,
                                     pTotalZeros, pLevels, pRuns);
    if (st != vekStsOk) return st;
    // The kernel has this function's arguments, so the call ends in a jump.
    return vek::h264::encode_transform_kernels().cavlc16(pSrc, AC, pScanMatrix, Count, pTrailingOnes,
                                                         pTrailingOneSigns, pNumOutCoeffs, pTotalZeros, pLevels,
                                                         pRuns);
}

VekStatus vekiEncodeCoeffsCAVLC_H264_32s(const Vek32s* pSrc, Vek32s AC, const Vek32s* pScanMatrix, Vek32s Count,
                                         Vek8u* pTrailingOnes, Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                         Vek8u* pTotalZeros, Vek32s* pLevels, Vek8u* pRuns) {
    const VekStatus st = check_block(pSrc, AC, pScanMatrix, Count, pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs,
                                     pTotalZeros, pLevels, pRuns);
    if (st != vekStsOk) return st;
    walk<Vek32s>(pSrc, pScanMatrix, static_cast<Vek8u>(AC), static_cast<Vek8u>(Count), pTrailingOnes,
                 pTrailingOneSigns, pNumOutCoeffs, pTotalZeros, pLevels, pRuns);
    return vekStsOk;
}

VekStatus vekiEncodeChromaDcCoeffsCAVLC_H264_16s(const Vek16s* pSrc, Vek8u* pTrailingOnes, Vek8u* pTrailingOneSigns,
                                                 Vek8u* pNumOutCoeffs, Vek8u* pTotalZeros, Vek16s* pLevels,
                                                 Vek8u* pRuns) {
    return encode_chroma_dc<4>(pSrc, kDc2x2Order, pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs, pTotalZeros, pLevels,
                            pRuns);
}

VekStatus vekiEncodeCoeffsCAVLCChromaDC2x2_H264_32s(const Vek32s* pSrc, Vek8u* pTrailingOnes,
                                                    Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                                    Vek8u* pTotalZeros, Vek32s* pLevels, Vek8u* pRuns) {
    return encode_chroma_dc<4>(pSrc, kDc2x2Order, pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs, pTotalZeros, pLevels,
                            pRuns);
}

VekStatus vekiEncodeCoeffsCAVLCChromaDC2x4_H264_16s(const Vek16s* pSrc, Vek8u* pTrailingOnes,
                                                    Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                                    Vek8u* pTotalZeros, Vek16s* pLevels, Vek8u* pRuns) {
    return encode_chroma_dc<8>(pSrc, kDc2x4Order, pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs, pTotalZeros, pLevels,
                            pRuns);
}

VekStatus vekiEncodeCoeffsCAVLCChromaDC2x4_H264_32s(const Vek32s* pSrc, Vek8u* pTrailingOnes,
                                                    Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                                    Vek8u* pTotalZeros, Vek32s* pLevels, Vek8u* pRuns) {
    return encode_chroma_dc<8>(pSrc, kDc2x4Order, pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs, pTotalZeros, pLevels,
                            pRuns);
}
