// Internal image and vector helpers: copy, fill, three-plane median, low-pass
// filter and the 8x8 DCT pair. None of them leaves the shared object: they are
// declared without the export attribute and the build hides everything else.
// They keep the checking style of the exported functions: pointers first, then
// the listed size and step tests, each failing check returning at once with
// nothing written. Steps are in bytes and taken as given (negative steps walk
// upwards). Source and destination must not overlap unless a line says so.
#pragma once

#include <array>
#include <cstddef>

#include "frame/cpu.h"
#include "vekvc.h"

// ---- copy.cpp -------------------------------------------------------------

// Copies roi.width bytes of each of roi.height rows. NullPtr, then SizeErr for
// a width or height below 1.
VekStatus vekiCopy_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                          VekRoi roi);
// Copy `len` bytes (16-bit: 2 * len bytes). NullPtr, then SizeErr for len below 1.
// Overlapping runs are allowed.
VekStatus veksCopy_8u(const Vek8u* pSrc, Vek8u* pDst, Vek32s len);
VekStatus veksCopy_16s(const Vek16s* pSrc, Vek16s* pDst, Vek32s len);
// Byte kernel under both copies; no checks, len may be 0.
void ownsCopy_8u(const Vek8u* pSrc, Vek8u* pDst, std::size_t len);

// ---- set.cpp --------------------------------------------------------------

// Fills the region with `value`. NullPtr, then SizeErr for a width or height
// below 1. Regions of more than 524288 bytes that reach the size of the largest
// cache are written with cache-bypassing stores; the bytes are the same.
VekStatus vekiSet_8u_C1R(Vek8u value, Vek8u* pDst, Vek32s dstStep, VekRoi roi);
// Fill or clear `len` bytes. NullPtr, then SizeErr for len below 1.
VekStatus veksSet_8u(Vek8u value, Vek8u* pDst, Vek32s len);
VekStatus veksZero_8u(Vek8u* pDst, Vek32s len);

// ---- median.cpp -----------------------------------------------------------

// pSrc is the array of the three source planes, all read with srcStep; each
// output sample is the median of the three samples at its place. NullPtr for
// a null array, plane or destination; then SizeErr for a width below 1, then
// for a height below 1.
VekStatus vekiMedian_8u_P3C1R(const Vek8u* const pSrc[3], Vek32s srcStep, Vek8u* pDst,
                              Vek32s dstStep, VekRoi roi);

// ---- lowpass.cpp ----------------------------------------------------------

// Binomial low-pass filter, rounded to nearest:
//   maskSize 33: [1 2 1] x [1 2 1] / 16,              (sum + 8) >> 4
//   maskSize 55: [1 4 6 4 1] x [1 4 6 4 1] / 256,     (sum + 128) >> 8
// Samples outside the region repeat the nearest edge sample (row and column
// clamped independently), so nothing outside the region is read.
// Checks: NullPtr; SizeErr for a width or height below 1; StepErr for a step
// below 1; MaskSizeErr for a code other than 33 or 55; NoMemErr when the row
// buffer can't be had.
VekStatus vekiFilterLowpass_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                   VekRoi roi, Vek32s maskSize);
// Drivers behind the shell; arguments already checked. The 5x5 driver shares
// its rows among `numThreads` OpenMP threads (the shell passes
// ownGetNumThreads()); the result does not depend on the thread count.
VekStatus ownvekiFilterLowpass3x3(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                  VekRoi roi);
VekStatus ownvekiFilterLowpass5x5(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                  VekRoi roi, Vek32s numThreads);

// ---- dct8x8.cpp -----------------------------------------------------------

// Orthonormal 8x8 DCT-II in the MPEG/JPEG scaling, F(u,v) = 1/4 C(u)C(v) sum
// f(x,y) cos((2x+1)u pi/16) cos((2y+1)v pi/16), C(0) = 1/sqrt(2), so DC is 8
// times the mean. Coefficients are 64 contiguous Vek16s, row v holds vertical
// frequency v. Integer fixed point, rounded to nearest.
// Forward: NullPtr, then StepErr for srcStep below 1.
VekStatus vekiDCT8x8Fwd_8u16s_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek16s* pDst);
// Inverse, samples clipped to 0..255: NullPtr, then StepErr for dstStep below 1.
VekStatus vekiDCT8x8Inv_16s8u_C1R(const Vek16s* pSrc, Vek8u* pDst, Vek32s dstStep);

namespace vek::util {

// Signed inverse under vekiDCT8x8Inv_16s8u_C1R, before clipping to samples:
// 64 coefficients in, 64 values out saturated to 16 bits. Meets the IEEE
// 1180-1990 accuracy bounds.
void idct8x8_16s(const Vek16s* pSrc, Vek16s* pDst);

// ---- fill kernels (set.cpp, x86/set_sse41.cpp) ----

// Writes `len` copies of `value` from pDst; any alignment, len may be 0.
using Fill8uFn = void(Vek8u* pDst, std::size_t len, Vek8u value);

enum FillKind : int {
    kFillCached,  // ordinary stores
    kFillStream,  // stores that bypass the caches, for regions beyond them
    kFillKindCount
};

struct SetTable {
    std::array<Fill8uFn*, kFillKindCount> fill;
};

void fill_8u_c(Vek8u* pDst, std::size_t len, Vek8u value);

SetTable make_set_table(CpuFlags flags);
const SetTable& set_kernels();
void init_set_table_sse41(SetTable& table);

// Regions above this many bytes ask for the cache size.
inline constexpr std::size_t kSetStreamThreshold = 524288;

using CacheSizeQueryFn = VekStatus(Vek32s* pSizeByte);

// Checked fill with the cache query and the kernels as parameters, so that
// tests can watch the query and the store kind. The shell passes
// vekGetMaxCacheSizeB and set_kernels().
VekStatus set_region_8u(Vek8u value, Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                        CacheSizeQueryFn* queryCacheSize, const SetTable& kernels);

}  // namespace vek::util
