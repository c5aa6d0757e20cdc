// H.264 deblocking: every kernel of the table at each level this machine has
// (reference beside SSE4.1 and AVX2), time per macroblock call, with all bS 2
// ("bs2") and with the outer edge at bS 4 ("bs4"); thresholds let nearly every
// line through the filter test. As in a decoder, successive calls walk along
// a row of eight macroblocks (each call's edges on the samples the previous
// calls left). Plus the exported 8-bit functions through their shells.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "h264/deblock.h"
#include "vekvc.h"

namespace {

using namespace vek::h264;

constexpr int kStride = 160;  // samples; macroblocks at (16 + 16 i, 16) of a 160x48 plane, i = 0 .. 7

struct Plane {
    alignas(64) std::array<Vek8u, kStride * 48> s8{};
    alignas(64) std::array<Vek16u, kStride * 48> s16{};
    Plane() {
        std::uint32_t s = 2024;
        const auto next = [&s] { return s = s * 1664525u + 1013904223u, s >> 24; };
        for (auto& v : s8) v = static_cast<Vek8u>(120 + next() % 16);
        for (auto& v : s16) v = static_cast<Vek16u>(480 + next() % 64);
    }
    // Macroblock i of the row (chroma planes use the first half of the row).
    Vek8u* mb8(int i, int width) { return s8.data() + 16 * kStride + 16 + width * (i & 7); }
    Vek16u* mb16(int i) { return s16.data() + 16 * kStride + 16 + 16 * (i & 7); }
};

struct Thresholds {
    Vek8u alpha[2] = {60, 60}, beta[2] = {20, 20}, tc0[16];
    Vek16u alpha16[2] = {240, 240}, beta16[2] = {80, 80}, tc016[16];
    Vek8u bs[16];
    explicit Thresholds(bool outer4) {
        for (int i = 0; i < 16; ++i) {
            tc0[i] = 4;
            tc016[i] = 16;
            bs[i] = (outer4 && i < 4) ? 4 : 2;
        }
    }
};

// `width`: samples between macroblocks (16 luma and interleaved chroma, 8 chroma).
void add8(const std::string& name, Deblock8uFn* fn, bool outer4, int width) {
    benchmark::RegisterBenchmark(name.c_str(), [fn, outer4, width](benchmark::State& state) {
        Plane plane;
        const Thresholds t(outer4);
        int i = 0;
        for (auto _ : state) {
            fn(plane.mb8(i++, width), kStride, t.alpha, t.beta, t.tc0, t.bs);
            benchmark::ClobberMemory();
        }
    });
}

void add16(const std::string& name, Deblock16uFn* fn, bool outer4) {
    benchmark::RegisterBenchmark(name.c_str(), [fn, outer4](benchmark::State& state) {
        Plane plane;
        const Thresholds t(outer4);
        int i = 0;
        for (auto _ : state) {
            fn(plane.mb16(i++), kStride, t.alpha16, t.beta16, t.tc016, t.bs, 1023);
            benchmark::ClobberMemory();
        }
    });
}

const bool kKernelCases = [] {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const DeblockTable t = make_deblock_table(level.flags);
        for (const bool outer4 : {false, true}) {
            const std::string tail = std::string(outer4 ? "/bs4/" : "/bs2/") + level.name;
            add8("BM_FilterDeblockingLuma_VerEdge_H264_8u_C1IR" + tail, t.luma_ver_8u, outer4, 16);
            add8("BM_FilterDeblockingLuma_HorEdge_H264_8u_C1IR" + tail, t.luma_hor_8u, outer4, 16);
            add8("BM_FilterDeblockingChroma_VerEdge_H264_8u_C1IR" + tail, t.chroma_ver_8u, outer4, 8);
            add8("BM_FilterDeblockingChroma_HorEdge_H264_8u_C1IR" + tail, t.chroma_hor_8u, outer4, 8);
            add8("BM_FilterDeblockingChroma_VerEdge_H264_8u_C2IR" + tail, t.chroma_ver_c2_8u, outer4, 16);
            add8("BM_FilterDeblockingChroma_HorEdge_H264_8u_C2IR" + tail, t.chroma_hor_c2_8u, outer4, 16);
            add16("BM_FilterDeblockingLumaVerEdge_H264_16u_C1IR" + tail, t.luma_ver_16u, outer4);
            add16("BM_FilterDeblockingLumaHorEdge_H264_16u_C1IR" + tail, t.luma_hor_16u, outer4);
            add16("BM_FilterDeblockingChromaVerEdge_H264_16u_C1IR" + tail, t.chroma_ver_16u, outer4);
            add16("BM_FilterDeblockingChromaHorEdge_H264_16u_C1IR" + tail, t.chroma_hor_16u, outer4);
            add16("BM_FilterDeblockingChroma422VerEdge_H264_16u_C1IR" + tail, t.chroma422_ver_16u, outer4);
            add16("BM_FilterDeblockingChroma422HorEdge_H264_16u_C1IR" + tail, t.chroma422_hor_16u, outer4);
        }
    }
    return true;
}();

// The exported functions as a caller sees them (this machine's level), bS 2.
using Exported8u = VekStatus(Vek8u*, Vek32s, const Vek8u*, const Vek8u*, const Vek8u*, const Vek8u*);
void shell(const char* name, Exported8u* fn, int width) {
    benchmark::RegisterBenchmark(name, [fn, width](benchmark::State& state) {
        Plane plane;
        const Thresholds t(false);
        int i = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(fn(plane.mb8(i++, width), kStride, t.alpha, t.beta, t.tc0, t.bs));
            benchmark::ClobberMemory();
        }
    });
}

const bool kShellCases = [] {
    shell("BM_vekiFilterDeblockingLuma_VerEdge_H264_8u_C1IR", vekiFilterDeblockingLuma_VerEdge_H264_8u_C1IR, 16);
    shell("BM_vekiFilterDeblockingLuma_HorEdge_H264_8u_C1IR", vekiFilterDeblockingLuma_HorEdge_H264_8u_C1IR, 16);
    shell("BM_vekiFilterDeblockingChroma_VerEdge_H264_8u_C1IR", vekiFilterDeblockingChroma_VerEdge_H264_8u_C1IR, 8);
    shell("BM_vekiFilterDeblockingChroma_HorEdge_H264_8u_C1IR", vekiFilterDeblockingChroma_HorEdge_H264_8u_C1IR, 8);
    return true;
}();

}  // namespace
