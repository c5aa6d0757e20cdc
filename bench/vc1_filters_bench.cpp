// VC-1 deblocking, overlap smoothing and range mapping: each kernel at each
// level this machine has (reference beside SSE4.1 and AVX2), plus the exported
// luma shells the way a decoder calls them.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "vc1/deblock.h"
#include "vc1/range_map.h"
#include "vc1/smooth.h"
#include "vekvc.h"

namespace {

using namespace vek::vc1;

constexpr int kStride = 64;

struct Planes {
    alignas(64) std::array<Vek8u, kStride * 32> pixels{};
    alignas(64) std::array<Vek8u, kStride * 32> work{};
    alignas(64) std::array<Vek16s, 32 * 16> left{}, right{};
    Planes() {
        std::uint32_t s = 4242;
        const auto next = [&s] { return s = s * 1664525u + 1013904223u, static_cast<int>(s >> 28); };
        // Soft edges at row 8 and column 8 so that most lines are filtered.
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < kStride; ++x)
                pixels[y * kStride + x] = static_cast<Vek8u>(100 + 2 * x + y + (x >= 8 ? 6 : 0) + (y >= 8 ? 6 : 0) + next() % 3);
        for (auto& v : left) v = static_cast<Vek16s>(next() * 20 - 40);
        for (auto& v : right) v = static_cast<Vek16s>(next() * 20 - 40);
    }
    Vek8u* edge() { return work.data() + 8 * kStride + 8; }
};

Planes& planes() {
    static Planes p;
    return p;
}

// Filters run in place on a plane that is not restored: the SIMD kernels do the
// same work whatever the data, while the reference kernels skip groups whose
// third line fails, so their figures are the favourable case.
template <class Body>
void add_steady(const std::string& name, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State& state) {
        Planes& p = planes();
        p.work = p.pixels;
        for (auto _ : state) {
            body(p);
            benchmark::ClobberMemory();
        }
    });
}

const bool kKernelCases = [] {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const std::string l = std::string("/") + level.name;
        const DeblockTable d = make_deblock_table(level.flags);
        const SmoothTable s = make_smooth_table(level.flags);
        const RangeMapTable r = make_range_map_table(level.flags);
        add_steady("BM_DeblockLuma_VC1/hor" + l, [fn = d.luma_hor](Planes& p) { fn(p.edge(), kStride, 16, 15); });
        add_steady("BM_DeblockLuma_VC1/ver_half" + l, [fn = d.luma_ver[0]](Planes& p) { fn(p.edge(), kStride, 16); });
        add_steady("BM_DeblockLuma_VC1/ver_full" + l, [fn = d.luma_ver_full](Planes& p) { fn(p.edge(), kStride, 16); });
        add_steady("BM_DeblockChroma_VC1/hor" + l, [fn = d.chroma_hor](Planes& p) { fn(p.edge(), kStride, 16, 3); });
        add_steady("BM_DeblockChroma_VC1/ver" + l, [fn = d.chroma_ver](Planes& p) { fn(p.edge(), kStride, 16, 3); });
        add_steady("BM_DeblockChroma_VC1_C2/hor" + l, [fn = d.chroma_hor_c2](Planes& p) { fn(p.edge(), kStride, 16, 3); });
        add_steady("BM_DeblockChroma_VC1_C2/ver" + l, [fn = d.chroma_ver_c2](Planes& p) { fn(p.edge(), kStride, 16, 3); });
        add_steady("BM_Smoothing_VC1/hor8" + l, [fn = s.hor](Planes& p) {
            fn(p.left.data(), 32, p.right.data(), 32, p.edge(), kStride);
        });
        add_steady("BM_Smoothing_VC1/ver8" + l, [fn = s.ver](Planes& p) {
            fn(p.left.data(), 32, p.right.data(), 32, p.edge(), kStride, 4, 3);
        });
        add_steady("BM_Smoothing_VC1/ver16" + l, [fn = s.ver16](Planes& p) {
            fn(p.left.data(), 32, p.right.data(), 32, p.edge(), kStride);
        });
        add_steady("BM_RangeMapping_VC1/64x16" + l, [fn = r.map](Planes& p) {
            fn(p.pixels.data(), kStride, p.work.data(), kStride, 64, 16, 12);
        });
    }
    return true;
}();

const bool kShellCases = [] {
    add_steady("BM_vekiFilterDeblockingLuma_HorEdge_VC1_8u_C1IR", [](Planes& p) {
        vekiFilterDeblockingLuma_HorEdge_VC1_8u_C1IR(p.edge(), 16, kStride, 0);
    });
    add_steady("BM_vekiFilterDeblockingLuma_VerEdge_VC1_8u_C1IR", [](Planes& p) {
        vekiFilterDeblockingLuma_VerEdge_VC1_8u_C1IR(p.edge(), 16, kStride, 0);
    });
    add_steady("BM_vekiSmoothingLuma_VerEdge_VC1_16s8u_C1R", [](Planes& p) {
        vekiSmoothingLuma_VerEdge_VC1_16s8u_C1R(p.left.data(), 32, p.right.data(), 32, p.edge(), kStride, 0, 15);
    });
    add_steady("BM_vekiSmoothingLuma_HorEdge_VC1_16s8u_C1R", [](Planes& p) {
        vekiSmoothingLuma_HorEdge_VC1_16s8u_C1R(p.left.data(), 32, p.right.data(), 32, p.edge(), kStride, 15);
    });
    return true;
}();

}  // namespace
