// Deinterlacing: each function on one 720x576 plane (a PAL frame's luma) at
// each level this machine has, through the same code as the exported shells
// with the level's kernel table. The edge detector computes all 576 rows.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "bench_util.h"
#include "enhance/deinterlace.h"
#include "vekvc.h"

namespace {

using namespace vek::enhance;

constexpr int kWidth = 720, kHeight = 576, kStep = 768;

// Four frames of a moving, slightly noisy pattern: a mix of still and moving
// samples, so every branch of the motion rules runs.
struct Frames {
    std::array<std::vector<Vek8u>, 4> frame;
    std::vector<Vek8u> dst = std::vector<Vek8u>(std::size_t(kStep) * kHeight);
    Frames() {
        std::uint32_t s = 2024;
        for (int f = 0; f < 4; ++f) {
            frame[std::size_t(f)].resize(std::size_t(kStep) * kHeight);
            for (int y = 0; y < kHeight; ++y)
                for (int x = 0; x < kStep; ++x) {
                    s = s * 1664525u + 1013904223u;
                    const int moving = (x / 90 + y / 72) & 1;
                    const int v = ((x + moving * f * 5) * 3 + y * 2) % 220 + int((s >> 28) & 7);
                    frame[std::size_t(f)][std::size_t(y) * kStep + std::size_t(x)] = Vek8u(v);
                }
        }
    }
    std::array<const Vek8u*, 4> planes() const {
        return {frame[0].data(), frame[1].data(), frame[2].data(), frame[3].data()};
    }
};

Frames& frames() {
    static Frames f;
    return f;
}

void finish(benchmark::State& state, Vek8u* dst) {
    benchmark::DoNotOptimize(dst);
    benchmark::ClobberMemory();
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

[[maybe_unused]] const bool kRegistered = [] {
    const VekRoi roi{kWidth, kHeight};
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const std::string suffix = std::string("/") + level.name;
        const DeinterlaceTable table = make_deinterlace_table(level.flags);
        benchmark::RegisterBenchmark(("deinterlace/EdgeDetect" + suffix).c_str(), [table, roi](benchmark::State& st) {
            Frames& f = frames();
            for (auto _ : st) edge_detect(f.frame[1].data(), kStep, f.dst.data(), kStep, roi, 1, 1, table);
            finish(st, f.dst.data());
        });
        benchmark::RegisterBenchmark(
            ("deinterlace/MedianThreshold" + suffix).c_str(), [table, roi](benchmark::State& st) {
                Frames& f = frames();
                for (auto _ : st) median_threshold(f.frame[1].data(), kStep, f.dst.data(), kStep, roi, 12, 1, 1, table);
                finish(st, f.dst.data());
            });
        benchmark::RegisterBenchmark(
            ("deinterlace/MotionAdaptive" + suffix).c_str(), [table, roi](benchmark::State& st) {
                Frames& f = frames();
                for (auto _ : st)
                    motion_adaptive(f.planes().data(), kStep, f.dst.data(), kStep, roi, 10, 0, 0, 1, 1, table);
                finish(st, f.dst.data());
            });
        benchmark::RegisterBenchmark(("deinterlace/Blend" + suffix).c_str(), [table, roi](benchmark::State& st) {
            Frames& f = frames();
            Vek32s t[2] = {4, 40};
            double c[2] = {0.0, 1.0};
            DeinterlaceBlendState* state = nullptr;
            vekiDeinterlaceBlendInitAlloc_8u_C1(roi, t, c, &state);
            for (auto _ : st) blend(f.planes().data(), kStep, f.dst.data(), kStep, roi, 0, 0, 1, state, table);
            vekiDeinterlaceBlendFree_8u_C1(state);
            finish(st, f.dst.data());
        });
        benchmark::RegisterBenchmark(
            ("deinterlace/FilterTriangle" + suffix).c_str(), [table, roi](benchmark::State& st) {
                Frames& f = frames();
                for (auto _ : st) filter_triangle(f.frame[1].data(), kStep, f.dst.data(), kStep, roi, 128, 0, table);
                finish(st, f.dst.data());
            });
    }
    return true;
}();

}  // namespace
