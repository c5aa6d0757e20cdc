// High reconstruction: the inverse transforms with add per level (reference
// beside SSE4.1 and AVX2), and the exported macroblock functions with every
// block coded at the level this CPU chose.
#include <cstdint>
#include <string>
#include <vector>

#include "bench_util.h"
#include "h264/transform_high.h"
#include "vekvc.h"

namespace {

using namespace vek::h264;

constexpr int kStep = 64;  // samples

struct Data {
    std::vector<Vek8u> y8 = std::vector<Vek8u>(kStep * 40);
    std::vector<Vek16u> y16 = std::vector<Vek16u>(kStep * 40);
    std::vector<Vek16s> levels16 = std::vector<Vek16s>(256);
    std::vector<Vek32s> levels32 = std::vector<Vek32s>(256);
    std::vector<Vek16s> table = std::vector<Vek16s>(64);
    Data() {
        std::uint32_t s = 7;
        const auto next = [&s] { return s = s * 1664525u + 1013904223u, s >> 8; };
        for (auto& x : y8) x = static_cast<Vek8u>(next());
        for (auto& x : y16) x = static_cast<Vek16u>(next() & 1023);
        for (std::size_t i = 0; i < levels16.size(); ++i)
            levels32[i] = levels16[i] = static_cast<Vek16s>(static_cast<int>(next() % 15) - 7);
        for (auto& t : table) t = static_cast<Vek16s>(16 + next() % 20);
    }
};

// Kernels: the coefficients are copied in each time, since the kernels may
// overwrite them, as the macroblock functions do from their dequantisation.
void register_kernels() {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const TransformHighTable t = make_transform_high_table(level.flags);
        const std::string suffix = std::string("/") + level.name;
        benchmark::RegisterBenchmark(("transform_high/inv_add8x8_8u" + suffix).c_str(), [t](benchmark::State& st) {
            Data d;
            alignas(32) Vek32s c[64];
            for (auto _ : st) {
                for (int k = 0; k < 64; ++k) c[k] = d.levels32[k] * 40;
                t.inv_add8x8_8u(c, d.y8.data() + 16 * kStep + 16, kStep);
                benchmark::ClobberMemory();
            }
        });
        benchmark::RegisterBenchmark(("transform_high/inv_add8x8_16u" + suffix).c_str(), [t](benchmark::State& st) {
            Data d;
            alignas(32) Vek32s c[64];
            for (auto _ : st) {
                for (int k = 0; k < 64; ++k) c[k] = d.levels32[k] * 40;
                t.inv_add8x8_16u(c, d.y16.data() + 16 * kStep + 16, kStep, 1023);
                benchmark::ClobberMemory();
            }
        });
        benchmark::RegisterBenchmark(("transform_high/inv_add4x4_16u" + suffix).c_str(), [t](benchmark::State& st) {
            Data d;
            alignas(32) Vek32s c[16];
            for (auto _ : st) {
                for (int k = 0; k < 16; ++k) c[k] = d.levels32[k] * 40;
                t.inv_add4x4_16u(c, d.y16.data() + 16 * kStep + 16, kStep, 1023);
                benchmark::ClobberMemory();
            }
        });
        // Whole macroblocks, every block coded: the dequantisation included.
        benchmark::RegisterBenchmark(("transform_high/mb_inter8x8_8u" + suffix).c_str(), [t](benchmark::State& st) {
            Data d;
            for (auto _ : st) {
                Vek16s* p = d.levels16.data();
                benchmark::DoNotOptimize(t.mb_inter8x8_8u(&p, d.y8.data() + 16 * kStep + 16, kStep, 0x1E, 28,
                                                          d.table.data()));
                benchmark::ClobberMemory();
            }
        });
        benchmark::RegisterBenchmark(("transform_high/mb_inter4x4_16u" + suffix).c_str(), [t](benchmark::State& st) {
            Data d;
            for (auto _ : st) {
                Vek32s* p = d.levels32.data();
                benchmark::DoNotOptimize(t.mb_inter4x4_16u(&p, d.y16.data() + 16 * kStep + 16, kStep, 0x1FFFE, 40,
                                                           d.table.data(), 1023));
                benchmark::ClobberMemory();
            }
        });
    }
}

const int kRegistered = (register_kernels(), 0);

void BM_vekiReconstructLumaInter8x8MB_H264_16s8u_C1R_all(benchmark::State& state) {
    Data d;
    for (auto _ : state) {
        Vek16s* p = d.levels16.data();
        vekiReconstructLumaInter8x8MB_H264_16s8u_C1R(&p, d.y8.data() + 16 * kStep + 16, kStep, 0xF, 28,
                                                     d.table.data(), 0);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_vekiReconstructLumaInter8x8MB_H264_16s8u_C1R_all);

void BM_vekiReconstructLumaInter4x4_H264High_32s16u_IP1R_all(benchmark::State& state) {
    Data d;
    for (auto _ : state) {
        Vek32s* p = d.levels32.data();
        const VekH264HighMBParam prm{&p, d.y16.data() + 16 * kStep + 16, kStep, 0x1FFFE, 40, d.table.data(), 0, 10};
        vekiReconstructLumaInter4x4_H264High_32s16u_IP1R(&prm);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_vekiReconstructLumaInter4x4_H264High_32s16u_IP1R_all);

void BM_vekiReconstructLumaInter8x8_H264High_32s16u_IP1R_all(benchmark::State& state) {
    Data d;
    for (auto _ : state) {
        Vek32s* p = d.levels32.data();
        const VekH264HighMBParam prm{&p, d.y16.data() + 16 * kStep + 16, kStep, 0xF, 40, d.table.data(), 0, 10};
        vekiReconstructLumaInter8x8_H264High_32s16u_IP1R(&prm);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_vekiReconstructLumaInter8x8_H264High_32s16u_IP1R_all);

}  // namespace
