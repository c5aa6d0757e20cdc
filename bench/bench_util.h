// Shared pieces of the benchmark program: levels to build kernel tables for.
#pragma once

#include <benchmark/benchmark.h>

#include "frame/cpu.h"

namespace vek::bench {

struct Level {
    const char* name;  // "c", "sse41", "avx2": the suffix of every benchmark name
    CpuFlags flags;
};

inline constexpr Level kLevels[] = {
    {"c", kCpuNone},
    {"sse41", kCpuSse41},
    {"avx2", kCpuSse41 | kCpuAvx2},
};

// True when this machine (and this build) can run kernels of `level`.
inline bool level_available(const Level& level) {
    return (cpu_flags() & level.flags) == level.flags;
}

}  // namespace vek::bench
