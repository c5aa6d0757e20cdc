// Internal helpers: the fill kernels per level, the 8x8 DCT pair and the
// low-pass filters on a standard-definition plane.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench_util.h"
#include "util/util.h"

namespace {

using vek::bench::kLevels;
using vek::bench::Level;

void BM_Fill(benchmark::State& state, const Level& level, int kind) {
    if (!vek::bench::level_available(level)) {
        state.SkipWithError("level not available");
        return;
    }
    const vek::util::SetTable table = vek::util::make_set_table(level.flags);
    std::vector<Vek8u> buf(static_cast<std::size_t>(state.range(0)) + 1);
    for (auto _ : state) {
        table.fill[kind](buf.data() + 1, static_cast<std::size_t>(state.range(0)), 0x42);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_DCT8x8Fwd(benchmark::State& state) {
    Vek8u src[64];
    for (int i = 0; i < 64; ++i) src[i] = static_cast<Vek8u>(i * 37);
    Vek16s dst[64];
    for (auto _ : state) {
        vekiDCT8x8Fwd_8u16s_C1R(src, 8, dst);
        benchmark::DoNotOptimize(dst);
    }
}

void BM_DCT8x8Inv(benchmark::State& state) {
    Vek16s src[64] = {800, -30, 12, 0, 5, 0, 0, -1, 22, 7};
    Vek8u dst[64];
    for (auto _ : state) {
        vekiDCT8x8Inv_16s8u_C1R(src, dst, 8);
        benchmark::DoNotOptimize(dst);
    }
}

void BM_Lowpass(benchmark::State& state) {
    const VekRoi roi{720, 576};
    std::vector<Vek8u> src(720 * 576), dst(720 * 576);
    for (std::size_t i = 0; i < src.size(); ++i) src[i] = static_cast<Vek8u>(i * 13);
    for (auto _ : state) {
        vekiFilterLowpass_8u_C1R(src.data(), 720, dst.data(), 720, roi,
                                 static_cast<Vek32s>(state.range(0)));
        benchmark::DoNotOptimize(dst.data());
    }
}

[[maybe_unused]] const bool kRegistered = [] {
    for (const Level& level : kLevels) {
        if (level.flags & vek::kCpuAvx2) continue;  // no AVX2 fill kernel: it would repeat SSE4.1
        const std::string suffix = std::string("_") + level.name;
        benchmark::RegisterBenchmark(("Fill_cached" + suffix).c_str(), BM_Fill, level,
                                     vek::util::kFillCached)
            ->Arg(4096)
            ->Arg(8 << 20);
        benchmark::RegisterBenchmark(("Fill_stream" + suffix).c_str(), BM_Fill, level,
                                     vek::util::kFillStream)
            ->Arg(4096)
            ->Arg(8 << 20);
    }
    return true;
}();

BENCHMARK(BM_DCT8x8Fwd);
BENCHMARK(BM_DCT8x8Inv);
BENCHMARK(BM_Lowpass)->Arg(33)->Arg(55);

}  // namespace
