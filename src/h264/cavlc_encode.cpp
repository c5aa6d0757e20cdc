// H.264 CAVLC preparation of one block: the trailing ones and their signs,
// the count, total zeros, the levels and the runs that a code writer turns
// into bits. No bits are written here.
#include <cstdint>

#include "frame/tables.h"
#include "vekvc.h"

namespace {

// What one block leaves for the code writer.
template <class T>
struct CavlcOut {
    Vek8u* trailing_ones;
    Vek8u* trailing_one_signs;
    Vek8u* num_out;
    Vek8u* total_zeros;
    T* levels;
    Vek8u* runs;
};

// The walk from the highest scan position down: trailing ones are taken while
// the state is open (at most three, the first met in the highest bit of the
// signs); any other level closes it. The zeros above the highest level are
// dropped when that level is met, so total zeros counts only those below it.
template <class T, class At>
void walk(int first, int last, At at, const CavlcOut<T>& out) {
    int run = 0, n = 0, ones = 0, signs = 0, sum = 0;
    bool open = true;
    for (int k = last; k >= first; --k) {
        const T v = at(k);
        if (v == 0) {
            ++run;
            continue;
        }
        if (open && (v == 1 || v == -1)) {
            ++ones;
            signs = signs * 2 + (v == -1);
            open = ones < 3;
        } else {
            out.levels[n - ones] = v;
            open = false;
        }
        if (n > 0) {
            out.runs[n - 1] = static_cast<Vek8u>(run);
            sum += run;
        }
        ++n;
        run = 0;
    }
    *out.trailing_ones = static_cast<Vek8u>(ones);
    *out.trailing_one_signs = static_cast<Vek8u>(signs);
    *out.num_out = static_cast<Vek8u>(n);
    *out.total_zeros = static_cast<Vek8u>(run + sum);
}

template <class T>
VekStatus encode_block(const T* pSrc, Vek32s AC, const Vek32s* pScanMatrix, Vek32s Count, Vek8u* pTrailingOnes,
                       Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs, Vek8u* pTotalZeros, T* pLevels, Vek8u* pRuns) {
    if (!pSrc || !pScanMatrix || !pTrailingOnes || !pTrailingOneSigns || !pNumOutCoeffs || !pTotalZeros || !pLevels ||
        !pRuns)
        return vekStsNullPtrErr;
    // Only the low bytes of the two positions count.
    const int first = static_cast<Vek8u>(AC), last = static_cast<Vek8u>(Count);
    if (last > 15 || last < first) return vekStsOutOfRangeErr;
    walk<T>(first, last, [&](int k) { return pSrc[pScanMatrix[k]]; },
            {pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs, pTotalZeros, pLevels, pRuns});
    return vekStsOk;
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
    walk<T>(0, N - 1, [&](int k) { return pSrc[order[k]]; },
            {pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs, pTotalZeros, pLevels, pRuns});
    return vekStsOk;
}

}  // namespace

VekStatus vekiEncodeCoeffsCAVLC_H264_16s(const Vek16s* pSrc, Vek32s AC, const Vek32s* pScanMatrix, Vek32s Count,
                                         Vek8u* pTrailingOnes, Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                         Vek8u* pTotalZeros, Vek16s* pLevels, Vek8u* pRuns) {
    return encode_block(pSrc, AC, pScanMatrix, Count, pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs, pTotalZeros,
                        pLevels, pRuns);
}

VekStatus vekiEncodeCoeffsCAVLC_H264_32s(const Vek32s* pSrc, Vek32s AC, const Vek32s* pScanMatrix, Vek32s Count,
                                         Vek8u* pTrailingOnes, Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                         Vek8u* pTotalZeros, Vek32s* pLevels, Vek8u* pRuns) {
    return encode_block(pSrc, AC, pScanMatrix, Count, pTrailingOnes, pTrailingOneSigns, pNumOutCoeffs, pTotalZeros,
                        pLevels, pRuns);
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
