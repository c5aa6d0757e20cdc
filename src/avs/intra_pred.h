// AVS 8x8 intra predictors and their mode tables.
#pragma once

#include "vekvc.h"

namespace vek::avs {

// Edge word: a set bit marks a neighbour as missing.
inline constexpr Vek32u kEdgeLeft = 1;
inline constexpr Vek32u kEdgeTop = 4;
inline constexpr Vek32u kEdgeTopRight = 32;
inline constexpr Vek32u kEdgeBottomLeft = 64;

// Predicts the 8x8 block at dst from the picture around it. Returns 1 when
// the block was written, 0 when the mode lacks a neighbour (nothing written).
using IntraPredictor = int (*)(Vek8u* dst, Vek32s step, Vek32u edges);

int predict_vertical(Vek8u* dst, Vek32s step, Vek32u edges);
int predict_horizontal(Vek8u* dst, Vek32s step, Vek32u edges);
int predict_dc(Vek8u* dst, Vek32s step, Vek32u edges);
int predict_down_left(Vek8u* dst, Vek32s step, Vek32u edges);
int predict_down_right(Vek8u* dst, Vek32s step, Vek32u edges);
int predict_plane(Vek8u* dst, Vek32s step, Vek32u edges);
int predict_fill(Vek8u* dst, Vek32s step, Vek32u edges);

// By luma mode & 7 and chroma mode & 3.
inline constexpr IntraPredictor kLumaPredictors[8] = {
    predict_vertical,   predict_horizontal, predict_dc,   predict_down_left,
    predict_down_right, predict_fill,       predict_fill, predict_fill};
inline constexpr IntraPredictor kChromaPredictors[4] = {predict_dc, predict_horizontal,
                                                        predict_vertical, predict_plane};

}  // namespace vek::avs
