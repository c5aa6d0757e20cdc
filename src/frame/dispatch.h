// Layering of kernel tables by instruction-set level. Every topic builds its
// table the same way: the reference kernels fill every slot, then each SIMD
// level the flags grant overrides the slots it implements, lowest first.
//
//   XTable make_x_table(CpuFlags flags) {
//       XTable t = reference_x_table();
//       if constexpr (kSimdBuilt) apply_simd_levels(t, flags, init_x_table_sse41, init_x_table_avx2);
//       return t;
//   }
//
// In a build without SIMD the `if constexpr` discards the call, so the init
// functions, whose files are not compiled then, need no definition.
#pragma once

#include "frame/cpu.h"

namespace vek {

inline constexpr bool kSimdBuilt = VEK_SIMD != 0;

template <class Table>
void apply_simd_levels(Table& table, CpuFlags flags, void (*init_sse41)(Table&),
                       void (*init_avx2)(Table&)) {
    if (!(flags & kCpuSse41)) return;
    init_sse41(table);
    if (!(flags & kCpuAvx2)) return;
    init_avx2(table);
}

}  // namespace vek
