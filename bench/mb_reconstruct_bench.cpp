// Whole-macroblock reconstruction through the exported functions, at the
// kernel level this CPU chose: every block coded, the worst case of a frame.
#include <array>
#include <cstdint>
#include <vector>

#include "bench_util.h"
#include "vekvc.h"

namespace {

constexpr int kStep = 64;

struct Data {
    std::vector<Vek8u> y = std::vector<Vek8u>(kStep * 40), u = std::vector<Vek8u>(kStep * 20),
                       v = std::vector<Vek8u>(kStep * 20);
    std::vector<Vek16s> coeffs = std::vector<Vek16s>(16 * 27);
    Data() {
        std::uint32_t s = 99;
        const auto next = [&s] { return s = s * 1664525u + 1013904223u, s >> 8; };
        for (auto* p : {&y, &u, &v})
            for (auto& x : *p) x = static_cast<Vek8u>(next());
        for (auto& c : coeffs) c = static_cast<Vek16s>(static_cast<int>(next() % 15) - 7);
    }
};

void BM_vekiReconstructLumaInterMB_H264_16s8u_C1R_all(benchmark::State& state) {
    Data d;
    // The functions write residuals over the levels; running again on them
    // costs the same, since no kernel branches on values.
    for (auto _ : state) {
        Vek16s* p = d.coeffs.data();
        vekiReconstructLumaInterMB_H264_16s8u_C1R(&p, d.y.data() + 16 * kStep + 16, kStep, 0x1FFFE, 28);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_vekiReconstructLumaInterMB_H264_16s8u_C1R_all);

void BM_vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R_plane_all(benchmark::State& state) {
    Data d;
    // The functions write residuals over the levels; running again on them
    // costs the same, since no kernel branches on values.
    for (auto _ : state) {
        Vek16s* p = d.coeffs.data();
        vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(&p, d.y.data() + 16 * kStep + 16, kStep, 3, 0x1FFFF, 28, 0);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R_plane_all);

void BM_vekiReconstructChromaInterMB_H264_16s8u_P2R_all(benchmark::State& state) {
    Data d;
    // The functions write residuals over the levels; running again on them
    // costs the same, since no kernel branches on values.
    for (auto _ : state) {
        Vek16s* p = d.coeffs.data();
        vekiReconstructChromaInterMB_H264_16s8u_P2R(&p, d.u.data() + 8 * kStep + 8, d.v.data() + 8 * kStep + 8, kStep,
                                                    0x7FE0000, 30);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_vekiReconstructChromaInterMB_H264_16s8u_P2R_all);

}  // namespace
