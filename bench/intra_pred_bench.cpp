// H.264 intra prediction: every kernel of the table at each level this
// machine has (reference beside SSE4.1 and AVX2), with all neighbours there,
// plus the exported functions through their shells for the hot modes.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "h264/intra_pred.h"
#include "vekvc.h"

namespace {

using namespace vek::h264;

constexpr int kStride = 64;  // bytes; the picture stays in L1
constexpr Vek32s kAll = kAvailTop | kAvailLeft | kAvailTopLeft | kAvailTopRight;

// A picture of random samples; the block sits 16 rows down and 16 columns in,
// so every neighbour a mode reads is inside. Prediction leaves the neighbours
// as they are, so each iteration sees the same input.
struct Picture {
    alignas(64) std::array<Vek8u, kStride * 40> px{};
    Picture() {
        std::uint32_t s = 4242;
        for (auto& v : px) v = static_cast<Vek8u>((s = s * 1664525u + 1013904223u) >> 24);
    }
    Vek8u* block() { return px.data() + 16 * kStride + 16; }
};

Picture& picture() {
    static Picture p;
    return p;
}

template <class Fn>
void add(const std::string& name, Fn* fn) {
    benchmark::RegisterBenchmark(name.c_str(), [fn](benchmark::State& state) {
        Vek8u* block = picture().block();
        for (auto _ : state) {
            benchmark::DoNotOptimize(fn(block, kStride, kAll));
            benchmark::ClobberMemory();
        }
    });
}

constexpr const char* k4x4Modes[] = {"vertical", "horizontal", "dc", "diag_down_left", "diag_down_right",
                                     "vertical_right", "horizontal_down", "vertical_left", "horizontal_up"};
constexpr const char* k16x16Modes[] = {"vertical", "horizontal", "dc", "plane"};
constexpr const char* kChromaModes[] = {"dc", "horizontal", "vertical", "plane"};

// Kernel cases, one per (size, mode, level).
const bool kKernelCases = [] {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const IntraPredTable t = make_intra_pred_table(level.flags);
        for (int m = 0; m < kIntra4x4ModeCount; ++m)
            add(std::string("BM_PredictIntra_4x4/") + k4x4Modes[m] + "/" + level.name, t.luma4x4[m]);
        for (int m = 0; m < kIntra16x16ModeCount; ++m)
            add(std::string("BM_PredictIntra_16x16/") + k16x16Modes[m] + "/" + level.name, t.luma16x16[m]);
        for (int m = 0; m < kIntraChromaModeCount; ++m)
            add(std::string("BM_PredictIntraChroma8x8/") + kChromaModes[m] + "/" + level.name, t.chroma8x8[m]);
    }
    return true;
}();

// Shell cases: the exported functions as a caller sees them (this machine's level).
void shell(const std::string& name, VekStatus (*fn)(Vek8u*, Vek32s, Vek32s, Vek32s), Vek32s mode) {
    benchmark::RegisterBenchmark(name.c_str(), [fn, mode](benchmark::State& state) {
        Vek8u* block = picture().block();
        for (auto _ : state) {
            benchmark::DoNotOptimize(fn(block, kStride, mode, kAll));
            benchmark::ClobberMemory();
        }
    });
}

const bool kShellCases = [] {
    shell("BM_vekiPredictIntra_16x16_H264_8u_C1IR/dc", vekiPredictIntra_16x16_H264_8u_C1IR, kIntra16x16Dc);
    shell("BM_vekiPredictIntra_16x16_H264_8u_C1IR/plane", vekiPredictIntra_16x16_H264_8u_C1IR, kIntra16x16Plane);
    shell("BM_vekiPredictIntraChroma8x8_H264_8u_C1IR/dc", vekiPredictIntraChroma8x8_H264_8u_C1IR, kIntraChromaDc);
    shell("BM_vekiPredictIntraChroma8x8_H264_8u_C1IR/plane", vekiPredictIntraChroma8x8_H264_8u_C1IR,
          kIntraChromaPlane);
    shell("BM_vekiPredictIntra_4x4_H264_8u_C1IR/dc", vekiPredictIntra_4x4_H264_8u_C1IR, kIntra4x4Dc);
    shell("BM_vekiPredictIntra_4x4_H264_8u_C1IR/diag_down_right", vekiPredictIntra_4x4_H264_8u_C1IR,
          kIntra4x4DiagDownRight);
    return true;
}();

}  // namespace
