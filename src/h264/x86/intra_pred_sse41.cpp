// SSE4.1 intra predictors of 16x16 luma and 8x8 chroma blocks.
#include "h264/intra_pred.h"
#include "h264/x86/intra_pred_128.h"

namespace vek::h264 {

void init_intra_pred_table_sse41(IntraPredTable& t) {
    t.luma4x4 = {pred4x4_vertical_128,        pred4x4_horizontal_128,     pred4x4_dc_128,
                 pred4x4_diag_down_left_128,  pred4x4_diag_down_right_128, pred4x4_vertical_right_128,
                 pred4x4_horizontal_down_128, pred4x4_vertical_left_128,   pred4x4_horizontal_up_128};
    t.luma16x16 = {pred16x16_vertical_128, pred16x16_horizontal_128, pred16x16_dc_128, pred16x16_plane_128};
    t.chroma8x8 = {pred_chroma_dc_128, pred_chroma_horizontal_128, pred_chroma_vertical_128, pred_chroma_plane_128};
}

}  // namespace vek::h264
