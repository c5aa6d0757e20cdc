// H.263 edge filters and the half-sample block copies, reference beside the
// SIMD levels, plus the MPEG-4 warps and H.263 resampling through their shells.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "h263/deblock.h"
#include "mc/copy_hp.h"
#include "vekvc.h"

namespace {

constexpr int kStride = 64;

struct Planes {
    alignas(64) std::array<Vek8u, kStride * 64> a{};
    alignas(64) std::array<Vek8u, kStride * 64> b{};
    Planes() {
        std::uint32_t s = 99;
        for (auto& v : a) v = static_cast<Vek8u>((s = s * 1664525u + 1013904223u) >> 24);
        // Gentle ramps, so the deblocking corrections stay in their active range.
        for (int i = 0; i < kStride * 64; ++i) b[std::size_t(i)] = static_cast<Vek8u>(100 + (i % 7) + (i / kStride) % 5);
    }
};

Planes& planes() {
    static Planes p;
    return p;
}

void edge(const std::string& name, vek::h263::EdgeFilterFn* fn, Vek32s strength) {
    benchmark::RegisterBenchmark(name.c_str(), [fn, strength](benchmark::State& state) {
        Vek8u* p = planes().b.data() + 8 * kStride + 8;
        for (auto _ : state) {
            fn(p, kStride, strength);
            benchmark::ClobberMemory();
        }
    });
}

void copy(const std::string& name, vek::mc::CopyBlockFn* fn) {
    benchmark::RegisterBenchmark(name.c_str(), [fn](benchmark::State& state) {
        Planes& p = planes();
        for (auto _ : state) {
            fn(p.a.data() + kStride + 1, kStride, p.b.data() + 32 * kStride, kStride);
            benchmark::ClobberMemory();
        }
    });
}

const bool kKernelCases = [] {
    constexpr const char* kSlots[] = {"FF", "FF1", "HF0", "HF1", "FH0", "FH1", "HH0", "HH1"};
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const auto e = vek::h263::make_edge_filter_table(level.flags);
        const std::string l = std::string("/") + level.name;
        edge("h263_edge/deblock8x8_hor" + l, e.deblock8x8_hor, 6);
        edge("h263_edge/deblock8x8_ver" + l, e.deblock8x8_ver, 6);
        edge("h263_edge/deblock16x16_hor" + l, e.deblock16x16_hor, 0);
        edge("h263_edge/deblock16x16_ver" + l, e.deblock16x16_ver, 0);
        edge("h263_edge/boundary_hor" + l, e.boundary_hor, 0);
        edge("h263_edge/boundary_ver" + l, e.boundary_ver, 0);
        const auto c = vek::mc::make_copy_table(level.flags);
        for (int s = 0; s < 8; ++s) {
            if (s == 1) continue;  // the same kernel as FF
            copy(std::string("copy_hp/8x8_") + kSlots[s] + l, c.copy8x8[std::size_t(s)]);
            copy(std::string("copy_hp/16x16_") + kSlots[s] + l, c.copy16x16[std::size_t(s)]);
        }
    }
    return true;
}();

// Whole-block shells at this machine's level (their sample loops are scalar).
const bool kShellCases = [] {
    static std::array<Vek8u, 400> warpMem{};
    auto* warp = reinterpret_cast<VekiWarpSpec_MPEG4*>(warpMem.data());
    const Vek32s du[4] = {3, 5, -4, 0}, dv[4] = {1, -2, 6, 0};
    const VekRect sprite{0, 0, 64, 64}, vop{0, 0, 48, 48};
    for (const Vek32s n : {1, 2, 3}) {
        const std::string name = "mpeg4_warp/luma16x16_" + std::to_string(n) + "pt/c";
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            vekiWarpInit_MPEG4(warp, du, dv, n, 2, 3, 0, 0, 1, &sprite, &vop);
            const VekRect blk{16, 16, 16, 16};
            Planes& p = planes();
            for (auto _ : state) {
                vekiWarpLuma_MPEG4_8u_C1R(p.a.data(), kStride, p.b.data(), kStride, &blk, warp);
                benchmark::ClobberMemory();
            }
        });
    }
    benchmark::RegisterBenchmark("h263_resample/32x32_wda1/c", [](benchmark::State& state) {
        static std::array<Vek8u, 32 * 32 * 3> dst{};
        const Vek16s w[8] = {3, -2, 5, 1, -4, 2, 1, 3};
        Planes& p = planes();
        for (auto _ : state) {
            vekiResample_H263_8u_P3R(p.a.data(), kStride, VekRoi{32, 32}, p.a.data() + 32, kStride, p.a.data() + 48,
                                     kStride, dst.data(), 32, VekRoi{32, 32}, dst.data() + 1024, 16,
                                     dst.data() + 2048, 16, w, 1, 0, 3, nullptr);
            benchmark::ClobberMemory();
        }
    });
    return true;
}();

}  // namespace
