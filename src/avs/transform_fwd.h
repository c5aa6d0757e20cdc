// AVS forward 8x8 transform and quantisation, the encoder's counterpart of
// transform_quant_add_inv.
#pragma once

#include "vekvc.h"

namespace vek::avs {

// Transforms and quantises 64 residuals (src and dst may be the same block);
// returns the count of non-zero levels.
Vek32u transform_quant_fwd(const Vek16s* src, Vek16s* dst, Vek32u qp, bool intra);

// Block difference src - pred into diff (diffStep in bytes) and its SAD.
Vek32s sub_sad_8x8(const Vek8u* src, Vek32s srcStep, const Vek8u* pred, Vek32s predStep,
                   Vek16s* diff, Vek32s diffStep);

// Scan positions a frame-scanned block of these levels uses: what the block
// decoder reports for it.
Vek32u frame_scan_count(const Vek16s* levels);

}  // namespace vek::avs
