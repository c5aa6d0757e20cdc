// Intra prediction of the High macroblock reconstruction, on 8-bit and
// 16-bit samples: 4x4 luma blocks with the 4x4 fallback of a missing
// neighbour, 8x8 luma blocks with the reference sample filter, and chroma
// planes of 8 columns by 8 (4:2:0) or 16 (4:2:2) rows.
//
// The predictors work in place in the picture (step in samples) and read
// only the neighbours their mode uses. `mid` is the value that stands in for
// a missing neighbour, 2^(bitDepth - 1); `maxVal` the largest sample.
#pragma once

#include <cstddef>

#include "h264/intra_pred.h"
#include "vekvc.h"

namespace vek::h264 {

// 4x4 luma, mode 0..8 (as Intra4x4Mode). A neighbour group the mode needs but
// `availability` lacks reads as `mid`; the result is then true (the caller
// reports vekStsNeighbourFallbackWrn). DC adapts and never reports; a missing
// top-right repeats the fourth sample above without a report.
template <class Sample>
bool predict_intra4x4_high(Sample* p, std::ptrdiff_t step, unsigned mode, Vek32s availability, Vek32s mid);

// 8x8 luma, mode 0..8: the neighbours are filtered ([1 2 1], with the ends
// and the corner as the standard's 8x8 rules take them) before the
// directional formulas run. A missing top-right repeats the last sample above;
// a missing row, column or corner reads as `mid` when the mode needs it.
template <class Sample>
void predict_intra8x8_high(Sample* p, std::ptrdiff_t step, unsigned mode, Vek32s availability, Vek32s mid);

// Which neighbours of a chroma plane are there. The left column may differ
// between the upper and the lower half of the plane (the Half forms).
struct ChromaNeighbours {
    bool top;
    bool left_upper;
    bool left_lower;
    bool top_left;
};

// Chroma plane of 8 x `rows` samples (8 or 16), mode as IntraChromaMode. The
// caller has made sure the mode's neighbours are there. DC works per 4x4
// block from the four samples above it (in the row above the plane) and the
// four to its left: the top left block and the blocks off the top row and
// the left column average both sides, the other blocks of the top row prefer
// the row above, those of the left column the left side; `mid` with neither.
template <class Sample>
void predict_chroma_high(Sample* p, std::ptrdiff_t step, int rows, unsigned mode, const ChromaNeighbours& n,
                         Vek32s maxVal);

}  // namespace vek::h264
