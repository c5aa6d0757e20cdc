// SSE4.1 kernels of 8-bit SSD: differences widened to 16 bits, pmaddwd of
// each with itself.
#include "metrics/kernels.h"
#include "metrics/x86/sad_128.h"

namespace vek::metrics {

namespace {

constexpr Ssd8uFn* ssd8x8_sse41 = &ssd8x8_128<kModeFF>;
constexpr Ssd8uFn* ssd8x8_fh_sse41 = &ssd8x8_128<kModeFH>;
constexpr Ssd8uFn* ssd8x8_hf_sse41 = &ssd8x8_128<kModeHF>;
constexpr Ssd8uFn* ssd8x8_hh_sse41 = &ssd8x8_128<kModeHH>;
constexpr Ssd8uFn* ssd4x4_sse41 = &ssd4x4_128<kModeFF>;
constexpr Ssd8uFn* ssd4x4_fh_sse41 = &ssd4x4_128<kModeFH>;
constexpr Ssd8uFn* ssd4x4_hf_sse41 = &ssd4x4_128<kModeHF>;
constexpr Ssd8uFn* ssd4x4_hh_sse41 = &ssd4x4_128<kModeHH>;

}  // namespace

void init_ssd_table_sse41(SsdTable& t) {
    t.ssd8x8 = {ssd8x8_sse41, ssd8x8_fh_sse41, ssd8x8_hf_sse41, ssd8x8_hh_sse41};
    t.ssd4x4 = {ssd4x4_sse41, ssd4x4_fh_sse41, ssd4x4_hf_sse41, ssd4x4_hh_sse41};
}

}  // namespace vek::metrics
