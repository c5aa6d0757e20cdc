// VC-1 interpolation: bicubic and bilinear kernels at each level this machine
// has (reference beside SSE4.1 and AVX2) for the typical block sizes and
// phases, plus the exported shells, the IC form included.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "vc1/interp.h"
#include "vekvc.h"

namespace {

using namespace vek::vc1;

constexpr int kStride = 64;

struct Planes {
    alignas(64) std::array<Vek8u, kStride * 40> src{};
    alignas(64) std::array<Vek8u, kStride * 20> dst{};
    Planes() {
        std::uint32_t s = 777;
        for (auto& v : src) v = static_cast<Vek8u>((s = s * 1664525u + 1013904223u) >> 24);
    }
    const Vek8u* block() const { return src.data() + 2 * kStride + 3; }
};

Planes& planes() {
    static Planes p;
    return p;
}

void run(benchmark::State& state, InterpFn* fn) {
    Planes& p = planes();
    for (auto _ : state) {
        fn(p.block(), kStride, p.dst.data(), kStride, 1);
        benchmark::ClobberMemory();
    }
}

const bool kKernelCases = [] {
    struct Case {
        const char* name;
        int size, dx, dy;
    };
    const Case bicubic[] = {{"16x16/dx1dy1", kBicubic16x16, 1, 1}, {"16x16/dx2dy2", kBicubic16x16, 2, 2},
                            {"16x16/dx3dy0", kBicubic16x16, 3, 0}, {"16x16/dx0dy1", kBicubic16x16, 0, 1},
                            {"8x8/dx1dy1", kBicubic8x8, 1, 1},     {"8x8/dx2dy0", kBicubic8x8, 2, 0}};
    const Case bilinear[] = {{"16x16/dx1dy1", kBilinear16x16, 1, 1}, {"8x8/dx1dy3", kBilinear8x8, 1, 3},
                             {"4x4/dx2dy2", kBilinear4x4, 2, 2}};
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const InterpTable t = make_interp_table(level.flags);
        for (const Case& c : bicubic) {
            InterpFn* fn = t.bicubic[c.size][phase_index(c.dx, c.dy)];
            benchmark::RegisterBenchmark((std::string("BM_InterpolateQPBicubic_VC1/") + c.name + "/" + level.name).c_str(),
                                         [fn](benchmark::State& s) { run(s, fn); });
        }
        for (const Case& c : bilinear) {
            InterpFn* fn = t.bilinear[c.size][phase_index(c.dx, c.dy)];
            benchmark::RegisterBenchmark((std::string("BM_InterpolateQPBilinear_VC1/") + c.name + "/" + level.name).c_str(),
                                         [fn](benchmark::State& s) { run(s, fn); });
        }
        InterpFn* fn = t.bilinear_c2[kPairs8x8][phase_index(1, 2)];
        benchmark::RegisterBenchmark((std::string("BM_InterpolateQPBilinear_VC1_C2/8x8/dx1dy2/") + level.name).c_str(),
                                     [fn](benchmark::State& s) { run(s, fn); });
    }
    return true;
}();

const bool kShellCases = [] {
    benchmark::RegisterBenchmark("BM_vekiInterpolateQPBicubic_VC1_8u_C1R/16x16/dx1dy1", [](benchmark::State& s) {
        Planes& p = planes();
        const VekVCInterpolate_8u params{p.block(), kStride, p.dst.data(), kStride, 1, 1, {16, 16}, 0};
        for (auto _ : s) {
            benchmark::DoNotOptimize(vekiInterpolateQPBicubic_VC1_8u_C1R(&params));
            benchmark::ClobberMemory();
        }
    });
    benchmark::RegisterBenchmark("BM_vekiInterpolateICBicubicBlock_VC1_8u_C1R/16x16/corner_lut", [](benchmark::State& s) {
        Planes& p = planes();
        static std::array<Vek8u, 256> lut{};
        for (int i = 0; i < 256; ++i) lut[i] = static_cast<Vek8u>(255 - i);
        VekVCInterpolateBlockIC_8u params{};
        params.pSrc = p.src.data();
        params.srcStep = kStride;
        params.pDst = p.dst.data();
        params.dstStep = kStride;
        params.pLUTTop = lut.data();
        params.pLUTBottom = lut.data();
        params.sizeFrame = {kStride, 40};
        params.sizeBlock = {16, 16};
        params.pointBlockPos = {-2, -3};
        params.dx = 1;
        params.dy = 3;
        for (auto _ : s) {
            benchmark::DoNotOptimize(vekiInterpolateICBicubicBlock_VC1_8u_C1R(&params));
            benchmark::ClobberMemory();
        }
    });
    return true;
}();

}  // namespace
