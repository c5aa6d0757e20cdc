#include "frame/cpu.h"

#include <cpuid.h>

namespace vek {

namespace {

// XCR0 through xgetbv, read only after CPUID reports OSXSAVE.
unsigned long long read_xcr0() {
    unsigned lo = 0, hi = 0;
    __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    return (static_cast<unsigned long long>(hi) << 32) | lo;
}

}  // namespace

CpuFlags cpu_flags_detect() {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return kCpuNone;
    CpuFlags flags = kCpuNone;
    const bool sse41 = (ecx & bit_SSE4_1) != 0;
    if (sse41) flags |= kCpuSse41;
    const bool avx = (ecx & bit_AVX) != 0;
    const bool osxsave = (ecx & bit_OSXSAVE) != 0;
    // AVX2 needs the OS to save XMM and YMM state (XCR0 bits 1 and 2).
    if (sse41 && avx && osxsave && (read_xcr0() & 0x6) == 0x6) {
        unsigned a7 = 0, b7 = 0, c7 = 0, d7 = 0;
        if (__get_cpuid_count(7, 0, &a7, &b7, &c7, &d7) && (b7 & bit_AVX2)) flags |= kCpuAvx2;
    }
    return flags;
}

CpuFlags cpu_flags() {
#if VEK_SIMD
    static const CpuFlags flags = cpu_flags_detect();
    return flags;
#else
    return kCpuNone;
#endif
}

const char* cpu_level_name(CpuFlags flags) {
    if (flags & kCpuAvx2) return "avx2";
    if (flags & kCpuSse41) return "sse41";
    return "c";
}

}  // namespace vek
