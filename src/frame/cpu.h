// CPU feature levels that pick kernel variants. Kernel tables are built by
// functions taking these flags, so tests and benchmarks can build any level.
#pragma once

namespace vek {

using CpuFlags = unsigned;

enum : CpuFlags {
    kCpuNone = 0,
    kCpuSse41 = 1u << 0,
    kCpuAvx2 = 1u << 1,  // granted only with SSE4.1 and OS support for YMM state
};

// Features of this CPU, detected once; 0 when the library is built without SIMD.
CpuFlags cpu_flags();

// Detection itself, without the SIMD build switch; for tools that report the machine.
CpuFlags cpu_flags_detect();

// Name of the highest level in `flags`: "c", "sse41" or "avx2".
const char* cpu_level_name(CpuFlags flags);

}  // namespace vek
