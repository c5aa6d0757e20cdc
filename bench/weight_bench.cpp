// H.264 weighting and averaging: the kernels at each level this machine has
// (reference beside SSE4.1 and AVX2) at 16x16, 8x8 and 4x4, the weightings
// with weights for the 16-bit path and with weights that need 32 bits, plus
// the exported functions as a caller sees them.
#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "h264/weight.h"
#include "vekvc.h"

namespace {

using namespace vek::h264;

constexpr int kStride = 64;  // bytes; planes stay in L1

struct Planes {
    alignas(64) std::array<Vek8u, kStride * 20> a{}, b{}, d{};
    Planes() {
        std::uint32_t s = 2024;
        const auto next = [&s] { return s = s * 1664525u + 1013904223u, s >> 8; };
        for (auto& v : a) v = static_cast<Vek8u>(next());
        for (auto& v : b) v = static_cast<Vek8u>(next());
        d = a;
    }
};

Planes& planes() {
    static Planes p;
    return p;
}

// 10-bit samples, steps of kStride elements, in one buffer. The planes sit
// 96 and 192 bytes off whole rows of each other: a destination row 4096 bytes
// past a source row would make its loads wait on the stores (4K aliasing).
struct Planes16 {
    static constexpr int kPlane = kStride * 20;
    alignas(64) std::array<Vek16u, 3 * kPlane + 96> buf{};
    Vek16u* a = buf.data();
    Vek16u* b = a + kPlane + 48;
    Vek16u* d = b + kPlane + 48;
    Planes16() {
        std::uint32_t s = 2025;
        const auto next = [&s] { return s = s * 1664525u + 1013904223u, s >> 8; };
        for (int i = 0; i < kPlane; ++i) a[i] = static_cast<Vek16u>(next() & 1023), b[i] = static_cast<Vek16u>(next() & 1023);
        std::copy(a, a + kPlane, d);
    }
};

Planes16& planes16() {
    static Planes16 p;
    return p;
}

// In-place calls on one block would each wait for the previous call's stores;
// a decoder weighs a fresh block each time, so these cases rotate over the
// four 16-wide blocks side by side in the destination plane.
struct Rotation {
    int next = 0;
    Vek8u* block(Planes& p) { return p.d.data() + 16 * (next++ & 3); }
};

constexpr WeightParams kTypical{45, 19, 6, 3};  // explicit weights of a coded stream: the 16-bit path
constexpr WeightParams kWide{128, -64, 7, 0};   // a weight of 128: 32-bit lanes

template <class Body>
void add(const std::string& name, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), body);
}

const bool kKernelCases = [] {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const WeightTable t = make_weight_table(level.flags);
        for (const int side : {16, 8, 4}) {
            const std::string size = std::to_string(side) + "x" + std::to_string(side) + "/";
            const int i = weight_block_index(side, side);
            add("BM_weight/bidir_" + size + level.name, [fn = t.bidir_weight_block[i]](benchmark::State& st) {
                Planes& p = planes();
                for (auto _ : st) {
                    fn(p.a.data(), kStride, p.b.data(), kStride, p.d.data(), kStride, kTypical);
                    benchmark::ClobberMemory();
                }
            });
            add("BM_weight/bidir_shared_" + size + level.name, [fn = t.bidir_weight_shared[i]](benchmark::State& st) {
                Planes& p = planes();
                for (auto _ : st) {
                    fn(p.a.data(), p.b.data(), p.d.data(), SharedSteps{kStride, kStride}, kTypical);
                    benchmark::ClobberMemory();
                }
            });
            add("BM_weight/bidir_wide_" + size + level.name, [fn = t.bidir_weight_block[i]](benchmark::State& st) {
                Planes& p = planes();
                for (auto _ : st) {
                    fn(p.a.data(), kStride, p.b.data(), kStride, p.d.data(), kStride, kWide);
                    benchmark::ClobberMemory();
                }
            });
            // w 1, o 0 keeps the block as it is, so every call weighs the same samples.
            add("BM_weight/unidir_" + size + level.name, [fn = t.unidir_weight_block[i]](benchmark::State& st) {
                Planes& p = planes();
                Rotation r;
                for (auto _ : st) {
                    fn(r.block(p), kStride, WeightParams{1, 0, 0, 0});
                    benchmark::ClobberMemory();
                }
            });
            add("BM_weight/unidir_shift_" + size + level.name, [fn = t.unidir_weight_block[i]](benchmark::State& st) {
                Planes& p = planes();
                Rotation r;
                for (auto _ : st) {
                    fn(r.block(p), kStride, WeightParams{64, 0, 6, 0});
                    benchmark::ClobberMemory();
                }
            });
            const int avg = average_block_index(static_cast<Vek32u>(side), static_cast<Vek32u>(side));
            add("BM_weight/average_" + size + level.name, [fn = t.interpolate_block[avg], side](benchmark::State& st) {
                Planes& p = planes();
                for (auto _ : st) {
                    fn(p.a.data(), p.b.data(), p.d.data(), side, side, kStride, kStride, kStride);
                    benchmark::ClobberMemory();
                }
            });
        }
    }
    // 16 bits, 10-bit samples: the kernels the example decoder's 10-bit streams take.
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const WeightTable t = make_weight_table(level.flags);
        add(std::string("BM_weight/bidir_16u_16x16/") + level.name, [fn = t.bidir_weight_16u](benchmark::State& st) {
            Planes16& p = planes16();
            for (auto _ : st) {
                fn(p.a, kStride, p.b, kStride, p.d, kStride, kTypical, 16, 16, 10);
                benchmark::ClobberMemory();
            }
        });
        add(std::string("BM_weight/unidir_16u_16x16/") + level.name, [fn = t.unidir_weight_16u](benchmark::State& st) {
            Planes16& p = planes16();
            for (auto _ : st) {
                fn(p.d, kStride, WeightParams{1, 0, 0, 0}, 16, 16, 10);
                benchmark::ClobberMemory();
            }
        });
        add(std::string("BM_weight/average_16u_16x16/") + level.name, [fn = t.average_16u](benchmark::State& st) {
            Planes16& p = planes16();
            for (auto _ : st) {
                fn(p.a, kStride, p.b, kStride, p.d, kStride, 16, 16);
                benchmark::ClobberMemory();
            }
        });
    }
    return true;
}();

// The exported functions at this machine's level.
const bool kShellCases = [] {
    add("BM_vekiUniDirWeightBlock_H264_8u_C1R/16x16", [](benchmark::State& st) {
        Planes& p = planes();
        Rotation r;
        for (auto _ : st) {
            benchmark::DoNotOptimize(vekiUniDirWeightBlock_H264_8u_C1R(r.block(p), kStride, 6, 64, 0, VekRoi{16, 16}));
            benchmark::ClobberMemory();
        }
    });
    add("BM_vekiBiDirWeightBlock_H264_8u_P2P1R/16x16", [](benchmark::State& st) {
        Planes& p = planes();
        for (auto _ : st) {
            benchmark::DoNotOptimize(vekiBiDirWeightBlock_H264_8u_P2P1R(p.a.data(), p.b.data(), p.d.data(), kStride,
                                                                        kStride, 5, 45, 3, 19, 2, VekRoi{16, 16}));
            benchmark::ClobberMemory();
        }
    });
    add("BM_vekiInterpolateBlock_H264_8u_P3P1R/16x16", [](benchmark::State& st) {
        Planes& p = planes();
        for (auto _ : st) {
            benchmark::DoNotOptimize(vekiInterpolateBlock_H264_8u_P3P1R(p.a.data(), p.b.data(), p.d.data(), 16, 16,
                                                                        kStride, kStride, kStride));
            benchmark::ClobberMemory();
        }
    });
    add("BM_vekiWeightedAverage_H264_8u_C1IR/16x16", [](benchmark::State& st) {
        Planes& p = planes();
        Rotation r;
        for (auto _ : st) {
            benchmark::DoNotOptimize(
                vekiWeightedAverage_H264_8u_C1IR(p.a.data(), r.block(p), kStride, 1, 1, 1, 0, VekRoi{16, 16}));
            benchmark::ClobberMemory();
        }
    });
    return true;
}();

}  // namespace
