// VC-1 inverse transforms at each level this machine has (reference beside
// SSE4.1 and AVX2), full and partial, plus the 8x8 shell and a forward one.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "vc1/transform.h"
#include "vekvc.h"

namespace {

using namespace vek::vc1;

struct Block {
    alignas(32) std::array<Vek16s, 64> coeffs{};
    alignas(32) std::array<Vek16s, 64> out{};
    Block() {
        std::uint32_t s = 99;
        for (auto& v : coeffs) v = static_cast<Vek16s>(static_cast<int>((s = s * 1664525u + 1013904223u) >> 23) - 256);
    }
};

const bool kKernelCases = [] {
    struct Case {
        const char* name;
        int size, w, cols, rows;
    };
    const Case cases[] = {{"8x8/full", k8x8, 8, 8, 8}, {"8x8/nz4x4", k8x8, 8, 4, 4}, {"8x4/full", k8x4, 8, 8, 4},
                          {"4x8/full", k4x8, 4, 4, 8}, {"4x4/full", k4x4, 4, 4, 4}};
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const TransformTable t = make_transform_table(level.flags);
        for (const Case& c : cases) {
            InvTransformFn* fn = t.inverse[c.size];
            benchmark::RegisterBenchmark((std::string("BM_TransformInv_VC1/") + c.name + "/" + level.name).c_str(),
                                         [fn, c](benchmark::State& s) {
                                             Block b;
                                             for (auto _ : s) {
                                                 fn(b.coeffs.data(), 2 * c.w, b.out.data(), 2 * c.w, c.cols, c.rows);
                                                 benchmark::ClobberMemory();
                                             }
                                         });
        }
    }
    return true;
}();

const bool kShellCases = [] {
    benchmark::RegisterBenchmark("BM_vekiTransform8x8Inv_VC1_16s_C1R/full", [](benchmark::State& s) {
        Block b;
        for (auto _ : s) {
            benchmark::DoNotOptimize(vekiTransform8x8Inv_VC1_16s_C1R(b.coeffs.data(), 16, b.out.data(), 16, {8, 8}));
            benchmark::ClobberMemory();
        }
    });
    benchmark::RegisterBenchmark("BM_vekiTransform8x8Fwd_VC1_16s_C1R", [](benchmark::State& s) {
        Block b;
        for (auto _ : s) {
            benchmark::DoNotOptimize(vekiTransform8x8Fwd_VC1_16s_C1R(b.coeffs.data(), 16, b.out.data(), 16));
            benchmark::ClobberMemory();
        }
    });
    return true;
}();

}  // namespace
