// Chroma interpolation: the 8-bit kernels of each kind at widths 2, 4, 8, the
// NV12 path, the 16-bit 16-wide kernel, at each level; and the exported plain
// and Block functions through their shells.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "h264/interp_chroma.h"
#include "vekvc.h"

namespace {

using namespace vek::h264;

constexpr int kStride = 64;
constexpr const char* kKinds[] = {"copy", "horz", "vert", "full"};

struct Planes {
    alignas(64) std::array<Vek8u, kStride * 40> src8{};
    alignas(64) std::array<Vek8u, kStride * 40> dst8{};
    alignas(64) std::array<Vek8u, kStride * 40> dst8b{};
    alignas(64) std::array<Vek16u, kStride * 40> src16{};
    alignas(64) std::array<Vek16u, kStride * 40> dst16{};
    Planes() {
        std::uint32_t s = 4321;
        const auto next = [&s] { return s = s * 1664525u + 1013904223u, s >> 8; };
        for (auto& v : src8) v = static_cast<Vek8u>(next());
        for (auto& v : src16) v = static_cast<Vek16u>(next() & 0x3FF);
    }
};

Planes& planes() {
    static Planes p;
    return p;
}

const bool kKernelCases = [] {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const ChromaInterpTable t = make_chroma_interp_table(level.flags);
        for (int row = 0; row < 3; ++row) {
            const int w = chroma_class_width(row * 4);
            for (int kind = 0; kind < kChromaKinds; ++kind) {
                const std::string name = "BM_InterpolateChroma_8u/" + std::to_string(w) + "x" + std::to_string(w) +
                                         "/" + kKinds[kind] + "/" + level.name;
                ChromaInterp8uFn* fn = t.chroma_8u[row * 4 + kind];
                benchmark::RegisterBenchmark(name.c_str(), [fn, w](benchmark::State& state) {
                    Planes& p = planes();
                    for (auto _ : state) {
                        fn(p.src8.data() + kStride + 3, kStride, p.dst8.data(), kStride, chroma_frac(3, 5), w);
                        benchmark::ClobberMemory();
                    }
                });
            }
        }
        const std::string nv12 = std::string("BM_InterpolateChroma_NV12/8x8/full/") + level.name;
        benchmark::RegisterBenchmark(nv12.c_str(), [t](benchmark::State& state) {
            Planes& p = planes();
            for (auto _ : state) {
                launch_h264_interpolate_chroma_nv12touv(t, 11, p.src8.data() + kStride + 6, kStride, p.dst8.data(),
                                                        p.dst8b.data(), kStride, 3, 5, 8);
                benchmark::ClobberMemory();
            }
        });
        const std::string name16 = std::string("BM_InterpolateChroma_16u/16x16/full/") + level.name;
        ChromaInterp16uFn* fn16 = t.chroma_16u[3];
        benchmark::RegisterBenchmark(name16.c_str(), [fn16](benchmark::State& state) {
            Planes& p = planes();
            for (auto _ : state) {
                fn16(p.src16.data() + kStride + 3, kStride, p.dst16.data(), kStride, 3, 5, 16, 16);
                benchmark::ClobberMemory();
            }
        });
    }
    return true;
}();

void BM_vekiInterpolateChroma_H264_8u_C1R_8x8_full(benchmark::State& state) {
    Planes& p = planes();
    for (auto _ : state) {
        vekiInterpolateChroma_H264_8u_C1R(p.src8.data() + kStride + 3, kStride, p.dst8.data(), kStride, 3, 5, {8, 8});
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_vekiInterpolateChroma_H264_8u_C1R_8x8_full);

// A block inside the picture and one whose rectangle crosses the top-left corner.
void BM_vekiInterpolateChromaBlock_H264_8u_P2R_8x8(benchmark::State& state) {
    Planes& p = planes();
    const VekPoint mv = state.range(0) ? VekPoint{-43, -29} : VekPoint{11, 13};
    VekInterpolationBlock_8u b{{p.src8.data(), p.src8.data() + 32}, kStride, {p.dst8.data(), p.dst8b.data()},
                               kStride,  {32, 32}, {8, 8}, {4, 4}, mv};
    for (auto _ : state) {
        vekiInterpolateChromaBlock_H264_8u_P2R(&b);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_vekiInterpolateChromaBlock_H264_8u_P2R_8x8)->Arg(0)->Arg(1);

}  // namespace
