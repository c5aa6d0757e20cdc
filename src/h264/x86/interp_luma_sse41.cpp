// SSE4.1 kernels of luma interpolation on 128-bit registers (see
// interp_luma_x86.h): 8-bit at every position for widths 4, 8 and 16 (two
// strips of 8), 16-bit four columns at a time.
#include "h264/x86/interp_luma_x86.h"

namespace vek::h264 {

namespace {
template <int... Pos>
constexpr std::array<LumaInterp16uFn*, kLumaPositions> luma16_row(std::integer_sequence<int, Pos...>) {
    return {&luma16_sse41<Pos>...};
}
}  // namespace

void init_luma_interp_table_sse41(LumaInterpTable& table) {
    constexpr auto kPositions = std::make_integer_sequence<int, kLumaPositions>{};
    set_luma_row(table, 0, luma_row<Ops128<4>>(kPositions));
    set_luma_row(table, 1, luma_row<Ops128<8>>(kPositions));
    const auto w16 = luma_row_two_strips(kPositions);
    set_luma_row(table, 2, w16);
    set_luma_row(table, 3, w16);
    table.luma_16u_block = luma16_row(kPositions);
}

}  // namespace vek::h264
