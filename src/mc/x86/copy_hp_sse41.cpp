// SSE4.1 block copies: 16-bit lanes for the half positions.
#include "mc/x86/copy_hp_128.h"

namespace vek::mc {

void init_copy_table_sse41(CopyTable& t) {
    t.copy8x8 = copy_slots_128<8>;
    t.copy16x16 = copy_slots_128<16>;
}

}  // namespace vek::mc
