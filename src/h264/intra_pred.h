// Kernel tables of H.264 intra prediction: the nine 4x4 predictors, the four
// 16x16 predictors and the four predictors of an 8x8 chroma plane, working in
// place in the picture and reading the row above and the column to the left
// of the block straight from it.
//
// Availability words: a set bit means the neighbour is usable (the reverse of
// a macroblock's edge type, where a set bit means cut off).
//
// Reads: a kernel reads only what its mode uses: the row above (16x16: 16
// samples, chroma: 8, 4x4: 4 plus 4 above right), the column to the left and
// the corner. No alignment is required of the pointer or the step.
#pragma once

#include <array>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::h264 {

enum IntraAvailability : Vek32s {
    kAvailTop = 1,
    kAvailLeft = 2,
    kAvailTopLeft = 32,
    kAvailTopRight = 64,
};

// 4x4 modes, as the bit stream numbers them; the index of the 4x4 table.
enum Intra4x4Mode : int {
    kIntra4x4Vertical = 0,
    kIntra4x4Horizontal = 1,
    kIntra4x4Dc = 2,
    kIntra4x4DiagDownLeft = 3,
    kIntra4x4DiagDownRight = 4,
    kIntra4x4VerticalRight = 5,
    kIntra4x4HorizontalDown = 6,
    kIntra4x4VerticalLeft = 7,
    kIntra4x4HorizontalUp = 8,
    kIntra4x4ModeCount = 9,
};

// 16x16 modes; the index of the 16x16 table.
enum Intra16x16Mode : int {
    kIntra16x16Vertical = 0,
    kIntra16x16Horizontal = 1,
    kIntra16x16Dc = 2,
    kIntra16x16Plane = 3,
    kIntra16x16ModeCount = 4,
};

// Chroma modes: numbered differently from 16x16 (DC first), as in the bit stream.
enum IntraChromaMode : int {
    kIntraChromaDc = 0,
    kIntraChromaHorizontal = 1,
    kIntraChromaVertical = 2,
    kIntraChromaPlane = 3,
    kIntraChromaModeCount = 4,
};

// 4x4 predictor. A neighbour the mode needs but `availability` lacks reads as
// 128 and the kernel returns vekStsNeighbourFallbackWrn (DC adapts instead and
// never reports); a missing top-right repeats the fourth sample above without
// a report. Otherwise vekStsOk.
using Intra4x4Fn = VekStatus(Vek8u* pSrcDst, Vek32s srcDstStep, Vek32s availability);

// 16x16 or 8x8 chroma predictor. The caller has made sure the neighbours the
// mode needs are there (see missing_* below); DC looks at the top and left
// bits itself and fills 128 where it has neither. Always vekStsOk, returned
// so that a shell can end in the kernel (a jump rather than a call).
using IntraBlockFn = VekStatus(Vek8u* pSrcDst, Vek32s srcDstStep, Vek32s availability);

struct IntraPredTable {
    std::array<Intra4x4Fn*, kIntra4x4ModeCount> luma4x4;          // by Intra4x4Mode
    std::array<IntraBlockFn*, kIntra16x16ModeCount> luma16x16;    // by Intra16x16Mode
    std::array<IntraBlockFn*, kIntraChromaModeCount> chroma8x8;   // by IntraChromaMode, one plane a call
};

// Reference kernels in every slot, then the overrides of each level in `flags`.
IntraPredTable make_intra_pred_table(CpuFlags flags);

// The table of this CPU, built once while the library loads.
const IntraPredTable& intra_pred_kernels();

// Overrides of the SIMD levels (x86/intra_pred_sse41.cpp, x86/intra_pred_avx2.cpp).
void init_intra_pred_table_sse41(IntraPredTable& table);
void init_intra_pred_table_avx2(IntraPredTable& table);

// Availability word of a macroblock from its edge type (set bit: cut off).
constexpr Vek32s availability_from_edge_type(Vek32s edgeType) {
    return ((edgeType & VEKVC_TOP_EDGE) ? 0 : kAvailTop) | ((edgeType & VEKVC_LEFT_EDGE) ? 0 : kAvailLeft) |
           ((edgeType & VEKVC_TOP_LEFT_EDGE) ? 0 : kAvailTopLeft) |
           ((edgeType & VEKVC_TOP_RIGHT_EDGE) ? 0 : kAvailTopRight);
}

constexpr bool has_all(Vek32s availability, Vek32s bits) { return (availability & bits) == bits; }

// True when a 16x16 mode in 0..3 lacks a neighbour it needs: vertical the row
// above, horizontal the left column, plane both and the corner. DC never does.
constexpr bool missing_16x16_neighbour(unsigned mode, Vek32s availability) {
    switch (mode) {
        case kIntra16x16Vertical: return !has_all(availability, kAvailTop);
        case kIntra16x16Horizontal: return !has_all(availability, kAvailLeft);
        case kIntra16x16Plane: return !has_all(availability, kAvailTop | kAvailLeft | kAvailTopLeft);
        default: return false;
    }
}

// The same for a chroma mode in 0..3 (vertical is 2 and horizontal 1 here).
constexpr bool missing_chroma_neighbour(unsigned mode, Vek32s availability) {
    switch (mode) {
        case kIntraChromaVertical: return !has_all(availability, kAvailTop);
        case kIntraChromaHorizontal: return !has_all(availability, kAvailLeft);
        case kIntraChromaPlane: return !has_all(availability, kAvailTop | kAvailLeft | kAvailTopLeft);
        default: return false;
    }
}

// Chroma prediction of a macroblock, both planes with one mode in 0..3: fails
// with vekStsNeighbourUnavailableErr, writing nothing, when the mode lacks a
// neighbour. The macroblock paths reach their chroma kernels through this.
inline VekStatus predict_chroma_planes(const IntraPredTable& table, unsigned mode, Vek8u* pSrcDstU, Vek8u* pSrcDstV,
                                       Vek32s srcDstStep, Vek32s availability) {
    if (missing_chroma_neighbour(mode, availability)) return vekStsNeighbourUnavailableErr;
    table.chroma8x8[mode](pSrcDstU, srcDstStep, availability);
    return table.chroma8x8[mode](pSrcDstV, srcDstStep, availability);
}

}  // namespace vek::h264
