#include "bench_util.h"
#include "vekvc.h"

// The cost of a shell with no work: a floor for every other figure.
static void BM_vekvcGetLibVersion(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(vekvcGetLibVersion());
}
BENCHMARK(BM_vekvcGetLibVersion);
