// Luma interpolation: the 8-bit kernels at the phase classes a decoder meets
// (full, a/b/c, d/h/n, the diagonals, j and its neighbours) and the 16-bit
// kernels, at each level this machine has; then the exported plain and Block
// functions as a caller sees them (this machine's level), the Block function
// inside the picture and across a corner.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "h264/interp_luma.h"
#include "vekvc.h"

namespace {

using namespace vek::h264;

constexpr int kStride = 64;  // samples; the pictures stay in L1
constexpr int kRows = 48;

struct Pictures {
    alignas(64) std::array<Vek8u, kStride * kRows> src8{};
    alignas(64) std::array<Vek8u, kStride * 16> dst8{};
    alignas(64) std::array<Vek16u, kStride * kRows> src16{};
    alignas(64) std::array<Vek16u, kStride * 16> dst16{};
    Pictures() {
        std::uint32_t s = 2024;
        const auto next = [&s] { return s = s * 1664525u + 1013904223u, s >> 8; };
        for (auto& v : src8) v = static_cast<Vek8u>(next());
        for (auto& v : src16) v = static_cast<Vek16u>(next() & 0x3FF);
    }
    // A block a little inside, one sample off a 16-byte boundary, as in motion search.
    const Vek8u* block8() const { return src8.data() + 8 * kStride + 17; }
    const Vek16u* block16() const { return src16.data() + 8 * kStride + 17; }
};

Pictures& pictures() {
    static Pictures p;
    return p;
}

struct Phase {
    const char* name;
    int pos;
};
constexpr Phase kPhases[] = {{"full", 0}, {"a", 1}, {"b", 2}, {"d", 4}, {"e", 5}, {"f", 6},
                             {"h", 8},    {"i", 9}, {"j", 10}, {"k", 11}, {"q", 14}, {"r", 15}};

void add_8u(const std::string& name, LumaInterp8uFn* fn, int height) {
    benchmark::RegisterBenchmark(name.c_str(), [fn, height](benchmark::State& state) {
        Pictures& p = pictures();
        for (auto _ : state) {
            fn(p.block8(), kStride, p.dst8.data(), kStride, height);
            benchmark::ClobberMemory();
        }
    });
}

void add_16u(const std::string& name, LumaInterp16uFn* fn, int width, int height) {
    benchmark::RegisterBenchmark(name.c_str(), [fn, width, height](benchmark::State& state) {
        Pictures& p = pictures();
        for (auto _ : state) {
            fn(p.block16(), kStride, p.dst16.data(), kStride, width, height, 10);
            benchmark::ClobberMemory();
        }
    });
}

const bool kKernelCases = [] {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const LumaInterpTable t = make_luma_interp_table(level.flags);
        for (const auto& ph : kPhases) {
            const std::string tail = std::string("/") + ph.name + "/" + level.name;
            add_8u("BM_InterpolateLuma_8u/16x16" + tail, t.luma_8u[luma_index_8u(16, ph.pos & 3, ph.pos >> 2)], 16);
            add_8u("BM_InterpolateLuma_8u/8x8" + tail, t.luma_8u[luma_index_8u(8, ph.pos & 3, ph.pos >> 2)], 8);
            add_8u("BM_InterpolateLuma_8u/4x4" + tail, t.luma_8u[luma_index_8u(4, ph.pos & 3, ph.pos >> 2)], 4);
            add_16u("BM_InterpolateLuma_16u/16x16" + tail, t.luma_16u_block[ph.pos], 16, 16);
        }
    }
    return true;
}();

// Shell cases.
const bool kShellCases = [] {
    for (const auto& ph : kPhases) {
        const int pos = ph.pos;
        benchmark::RegisterBenchmark((std::string("BM_vekiInterpolateLuma_H264_8u_C1R/16x16/") + ph.name).c_str(),
                                     [pos](benchmark::State& state) {
                                         Pictures& p = pictures();
                                         for (auto _ : state) {
                                             benchmark::DoNotOptimize(vekiInterpolateLuma_H264_8u_C1R(
                                                 p.block8(), kStride, p.dst8.data(), kStride, pos & 3, pos >> 2,
                                                 VekRoi{16, 16}));
                                             benchmark::ClobberMemory();
                                         }
                                     });
    }
    benchmark::RegisterBenchmark("BM_vekiInterpolateLuma_H264_8u_C1R/8x8/j", [](benchmark::State& state) {
        Pictures& p = pictures();
        for (auto _ : state) {
            benchmark::DoNotOptimize(
                vekiInterpolateLuma_H264_8u_C1R(p.block8(), kStride, p.dst8.data(), kStride, 2, 2, VekRoi{8, 8}));
            benchmark::ClobberMemory();
        }
    });
    // Block at j (quarter-sample vector (2, 2) from an integer position), inside
    // a 48x40 picture and across its top-left corner.
    struct Where {
        const char* name;
        VekPoint pos;
        VekPoint mv;
    };
    constexpr Where kWhere[] = {{"inside", {16, 16}, {2 + 4 * 3, 2 - 4 * 5}},
                                {"corner", {0, 0}, {2 - 4 * 7, 2 - 4 * 9}}};
    for (const auto& w : kWhere) {
        const std::string tail = std::string("/16x16/j/") + w.name;
        benchmark::RegisterBenchmark(("BM_vekiInterpolateLumaBlock_H264_8u_P1R" + tail).c_str(),
                                     [w](benchmark::State& state) {
                                         Pictures& p = pictures();
                                         const VekInterpolationBlock_8u b{{p.src8.data(), nullptr}, kStride,
                                                                          {p.dst8.data(), nullptr}, kStride,
                                                                          {48, 40}, {16, 16}, w.pos, w.mv};
                                         for (auto _ : state) {
                                             benchmark::DoNotOptimize(vekiInterpolateLumaBlock_H264_8u_P1R(&b));
                                             benchmark::ClobberMemory();
                                         }
                                     });
        benchmark::RegisterBenchmark(("BM_vekiInterpolateLumaBlock_H264_16u_P1R" + tail).c_str(),
                                     [w](benchmark::State& state) {
                                         Pictures& p = pictures();
                                         const VekInterpolationBlock_16u b{{p.src16.data(), nullptr}, kStride,
                                                                           {p.dst16.data(), nullptr}, kStride,
                                                                           {48, 40}, {16, 16}, w.pos, w.mv, 10};
                                         for (auto _ : state) {
                                             benchmark::DoNotOptimize(vekiInterpolateLumaBlock_H264_16u_P1R(&b));
                                             benchmark::ClobberMemory();
                                         }
                                     });
    }
    // The boundary reader alone, for a 21x21 rectangle across the top-left corner.
    benchmark::RegisterBenchmark("BM_vekiReadDataBlockThroughBoundary_8u/21x21/top_left", [](benchmark::State& state) {
        Pictures& p = pictures();
        alignas(32) Vek8u local[21 * 32];
        for (auto _ : state) {
            VekInterpolationParams w{};
            w.pSrc = p.src8.data();
            w.srcStep = kStride;
            w.pDst = local;
            w.dstStep = 32;
            w.xPos = -9;
            w.yPos = -11;
            w.dataWidth = 21;
            w.dataHeight = 21;
            w.frameWidth = 48;
            w.frameHeight = 40;
            benchmark::DoNotOptimize(vekiReadDataBlockThroughBoundary_8u(5, &w));
            benchmark::ClobberMemory();
        }
    });
    return true;
}();

}  // namespace
