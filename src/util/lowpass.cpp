// Binomial low-pass filters, 3x3 and 5x5, separable in exact integer
// arithmetic: a vertical pass into a row buffer of 16-bit column sums, then a
// horizontal pass. Products of the two 1-D passes equal the direct 2-D sum, so
// the rounding is that of the 2-D filter. Edges repeat the nearest sample.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "frame/core.h"
#include "util/util.h"

namespace {

template <int Radius>
struct Binomial;

template <>
struct Binomial<1> {
    static constexpr int kTaps[3] = {1, 2, 1};
    static constexpr int kShift = 4;  // 16 = 4 * 4
};

template <>
struct Binomial<2> {
    static constexpr int kTaps[5] = {1, 4, 6, 4, 1};
    static constexpr int kShift = 8;  // 256 = 16 * 16
};

// Column sums of one row plus Radius replicated entries on either side.
// Largest sum 255 * 16 fits 16 bits.
template <int Radius>
constexpr std::int64_t row_buffer_bytes(Vek32s width) {
    return (static_cast<std::int64_t>(width) + 2 * Radius) *
           static_cast<std::int64_t>(sizeof(Vek16u));
}

// Filters output rows y0 .. y1 - 1 of the region.
template <int Radius>
void filter_rows(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                 Vek32s y0, Vek32s y1, Vek16u* colSums) {
    using Taps = Binomial<Radius>;
    constexpr int kLen = 2 * Radius + 1;
    const Vek32s width = roi.width;
    const Vek32s lastRow = roi.height - 1;
    for (Vek32s y = y0; y < y1; ++y) {
        const Vek8u* rows[kLen];
        for (int k = 0; k < kLen; ++k) {
            const Vek32s sy = std::clamp(y + k - Radius, 0, lastRow);
            rows[k] = pSrc + static_cast<std::ptrdiff_t>(sy) * srcStep;
        }
        Vek16u* sums = colSums + Radius;
        for (Vek32s x = 0; x < width; ++x) {
            int s = 0;
            for (int k = 0; k < kLen; ++k) s += Taps::kTaps[k] * rows[k][x];
            sums[x] = static_cast<Vek16u>(s);
        }
        for (int i = 1; i <= Radius; ++i) {
            sums[-i] = sums[0];
            sums[width - 1 + i] = sums[width - 1];
        }
        Vek8u* d = pDst + static_cast<std::ptrdiff_t>(y) * dstStep;
        for (Vek32s x = 0; x < width; ++x) {
            int s = 0;
            for (int k = 0; k < kLen; ++k) s += Taps::kTaps[k] * colSums[x + k];
            d[x] = static_cast<Vek8u>((s + (1 << (Taps::kShift - 1))) >> Taps::kShift);
        }
    }
}

}  // namespace

VekStatus ownvekiFilterLowpass3x3(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                  VekRoi roi) {
    const std::int64_t bytes = row_buffer_bytes<1>(roi.width);
    if (bytes > INT32_MAX) return vekStsNoMemErr;
    Vek8u* buffer = veksMalloc_8u(static_cast<Vek32s>(bytes));
    if (!buffer) return vekStsNoMemErr;
    filter_rows<1>(pSrc, srcStep, pDst, dstStep, roi, 0, roi.height,
                   reinterpret_cast<Vek16u*>(buffer));
    veksFree(buffer);
    return vekStsOk;
}

VekStatus ownvekiFilterLowpass5x5(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                  VekRoi roi, Vek32s numThreads) {
    // One buffer for all threads, each share on its own cache lines, taken
    // before the parallel region so a refusal is reported once and cleanly.
    const std::int64_t line = static_cast<std::int64_t>(vek::kMallocAlignment);
    const std::int64_t stride = (row_buffer_bytes<2>(roi.width) + line - 1) / line * line;
    if (stride > INT32_MAX) return vekStsNoMemErr;
    std::int64_t threads = std::clamp<std::int64_t>(numThreads, 1, roi.height);
    threads = std::min<std::int64_t>(threads, INT32_MAX / stride);
    Vek8u* buffer = veksMalloc_8u(static_cast<Vek32s>(threads * stride));
    if (!buffer) return vekStsNoMemErr;

#ifdef _OPENMP
    if (threads > 1) {
        const int asked = static_cast<int>(threads);
        int teamSize = 1;
#pragma omp parallel num_threads(asked)
        {
            // The runtime may grant fewer threads than asked: the master's
            // count decides the shares.
#pragma omp master
            teamSize = omp_get_num_threads();
#pragma omp barrier
            const int t = omp_get_thread_num();
            const auto y0 =
                static_cast<Vek32s>(static_cast<std::int64_t>(roi.height) * t / teamSize);
            const auto y1 =
                static_cast<Vek32s>(static_cast<std::int64_t>(roi.height) * (t + 1) / teamSize);
            filter_rows<2>(pSrc, srcStep, pDst, dstStep, roi, y0, y1,
                           reinterpret_cast<Vek16u*>(buffer + t * stride));
        }
        veksFree(buffer);
        return vekStsOk;
    }
#endif
    filter_rows<2>(pSrc, srcStep, pDst, dstStep, roi, 0, roi.height,
                   reinterpret_cast<Vek16u*>(buffer));
    veksFree(buffer);
    return vekStsOk;
}

VekStatus vekiFilterLowpass_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                   VekRoi roi, Vek32s maskSize) {
    if (!pSrc || !pDst) return vekStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return vekStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return vekStsStepErr;
    if (maskSize == 33) return ownvekiFilterLowpass3x3(pSrc, srcStep, pDst, dstStep, roi);
    if (maskSize == 55) {
        return ownvekiFilterLowpass5x5(pSrc, srcStep, pDst, dstStep, roi, ownGetNumThreads());
    }
    return vekStsMaskSizeErr;
}
