// SSE4.1 kernels of the full-size DV output conversion. A pixel is the
// sample packed to 8 signed bits with saturation, then flipped by 0x80, which
// is the clamp to -128..127 plus 128 of the reference.
#include <smmintrin.h>

#include "dv/convert.h"
#include "dv/x86/convert_128.h"

namespace vek::dv {

void init_convert_table_sse41(ConvertTable& t) {
    t.yuv411 = x128::yuv411;
    t.yuv411_edge = x128::yuv411_edge;
    t.yuv420 = x128::yuv420;
    t.yuv422 = x128::yuv422;
}

}  // namespace vek::dv
