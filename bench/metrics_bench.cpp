// Block metrics: every kernel of the SAD, SSD and 16-bit SAD tables at each
// level this machine has (reference beside SSE4.1 and AVX2), every mode, plus
// one case per exported function through its shell, so the dispatch cost shows.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "metrics/kernels.h"
#include "vekvc.h"

namespace {

using namespace vek::metrics;

constexpr int kStride = 64;  // bytes; planes of 64 rows stay in L1
constexpr const char* kModes[] = {"FF", "FH", "HF", "HH"};

struct Planes {
    alignas(64) std::array<Vek8u, kStride * 40> src8{};
    alignas(64) std::array<Vek8u, kStride * 40> ref8{};
    alignas(64) std::array<Vek16u, kStride * 40> src16{};
    alignas(64) std::array<Vek16u, kStride * 40> ref16{};
    Planes() {
        std::uint32_t s = 12345;
        const auto next = [&s] { return s = s * 1664525u + 1013904223u, s >> 8; };
        for (auto& v : src8) v = static_cast<Vek8u>(next());
        for (auto& v : ref8) v = static_cast<Vek8u>(next());
        for (auto& v : src16) v = static_cast<Vek16u>(next() & 0x3FF);
        for (auto& v : ref16) v = static_cast<Vek16u>(next() & 0x3FF);
    }
    // The reference block starts one sample right of a row start, as in a search.
    const Vek8u* src() const { return src8.data(); }
    const Vek8u* ref() const { return ref8.data() + kStride + 1; }
    const Vek16u* src_16u() const { return src16.data(); }
    const Vek16u* ref_16u() const { return ref16.data() + kStride + 1; }
};

const Planes& planes() {
    static const Planes p;
    return p;
}

void scalar_8u(benchmark::State& state, Sad8uFn* fn) {
    const Planes& p = planes();
    for (auto _ : state) benchmark::DoNotOptimize(fn(p.src(), kStride, p.ref(), kStride));
}

void pair_8u(benchmark::State& state, SadPair8uFn* fn) {
    const Planes& p = planes();
    Vek32s first = 0, second = 0;
    for (auto _ : state) {
        fn(p.src(), kStride, p.ref(), kStride, &first, &second);
        benchmark::DoNotOptimize(first);
        benchmark::DoNotOptimize(second);
    }
}

void blocks_8u(benchmark::State& state, SadBlocks8uFn* fn) {
    const Planes& p = planes();
    std::array<Vek16u, 16> sads{};
    for (auto _ : state) {
        fn(p.src(), kStride, p.ref(), kStride, sads.data());
        benchmark::DoNotOptimize(sads.data());
        benchmark::ClobberMemory();
    }
}

void scalar_16u(benchmark::State& state, Sad16uFn* fn) {
    const Planes& p = planes();
    for (auto _ : state) benchmark::DoNotOptimize(fn(p.src_16u(), 2 * kStride, p.ref_16u(), 2 * kStride));
}

void blocks_16u(benchmark::State& state, SadBlocks16uFn* fn) {
    const Planes& p = planes();
    std::array<Vek32u, 16> sads{};
    for (auto _ : state) {
        fn(p.src_16u(), 2 * kStride, p.ref_16u(), 2 * kStride, sads.data());
        benchmark::DoNotOptimize(sads.data());
        benchmark::ClobberMemory();
    }
}

template <class Fn, class Body>
void add(const std::string& name, Fn* fn, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), [fn, body](benchmark::State& state) { body(state, fn); });
}

template <class Fn, class Body>
void add_moded(const char* stem, const ModeTable<Fn>& table, const char* level, Body body) {
    for (int m = 0; m < kModeCount; ++m)
        add(std::string("BM_") + stem + "/" + kModes[m] + "/" + level, table[m], body);
}

// Kernel cases, one per (function, mode, level).
const bool kKernelCases = [] {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const SadTable sad = make_sad_table(level.flags);
        const SsdTable ssd = make_ssd_table(level.flags);
        const Sad16Table sad16 = make_sad16_table(level.flags);
        add_moded("SAD16x16_8u32s", sad.sad16x16, level.name, scalar_8u);
        add_moded("SAD16x8_8u32s_C1R", sad.sad16x8, level.name, scalar_8u);
        add_moded("SAD8x8_8u32s_C1R", sad.sad8x8, level.name, scalar_8u);
        add_moded("SAD8x8_8u32s_C2R", sad.sad8x8_c2, level.name, pair_8u);
        add(std::string("BM_SAD8x16_8u32s_C1R/") + level.name, sad.sad8x16, scalar_8u);
        add(std::string("BM_SAD8x4_8u32s_C1R/") + level.name, sad.sad8x4, scalar_8u);
        add(std::string("BM_SAD4x8_8u32s_C1R/") + level.name, sad.sad4x8, scalar_8u);
        add(std::string("BM_SAD4x4_8u32s/") + level.name, sad.sad4x4, scalar_8u);
        add(std::string("BM_SAD16x16Blocks8x8_8u16u/") + level.name, sad.sad16x16_blocks8x8, blocks_8u);
        add(std::string("BM_SAD16x16Blocks4x4_8u16u/") + level.name, sad.sad16x16_blocks4x4, blocks_8u);
        add_moded("SSD8x8_8u32s_C1R", ssd.ssd8x8, level.name, scalar_8u);
        add_moded("SSD4x4_8u32s_C1R", ssd.ssd4x4, level.name, scalar_8u);
        add_moded("SAD16x16_16u32s_C1R", sad16.sad16x16, level.name, scalar_16u);
        add_moded("SAD8x8_16u32s_C1R", sad16.sad8x8, level.name, scalar_16u);
        add_moded("SAD4x4_16u32s_C1R", sad16.sad4x4, level.name, scalar_16u);
        add(std::string("BM_SAD16x16Blocks8x8_16u32u_C1R/") + level.name, sad16.sad16x16_blocks8x8, blocks_16u);
        add(std::string("BM_SAD16x16Blocks4x4_16u32u_C1R/") + level.name, sad16.sad16x16_blocks4x4, blocks_16u);
    }
    return true;
}();

// Shell cases: the exported functions as a caller sees them (this machine's level).
template <class Call>
void shell(const char* name, Call body) {
    benchmark::RegisterBenchmark(name, [body](benchmark::State& state) {
        const Planes& p = planes();
        std::array<Vek32u, 16> out{};
        for (auto _ : state) {
            benchmark::DoNotOptimize(body(p, out.data()));
            benchmark::ClobberMemory();
        }
    });
}

const bool kShellCases = [] {
    using P = const Planes&;
    shell("BM_vekiSAD16x16_8u32s/FF", [](P p, Vek32u* o) {
        return vekiSAD16x16_8u32s(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o), 0);
    });
    shell("BM_vekiSAD16x16_8u32s/HH", [](P p, Vek32u* o) {
        return vekiSAD16x16_8u32s(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o), 12);
    });
    shell("BM_vekiSAD16x8_8u32s_C1R/FF", [](P p, Vek32u* o) {
        return vekiSAD16x8_8u32s_C1R(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o), 0);
    });
    shell("BM_vekiSAD8x8_8u32s_C1R/FF", [](P p, Vek32u* o) {
        return vekiSAD8x8_8u32s_C1R(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o), 0);
    });
    shell("BM_vekiSAD8x8_8u32s_C2R/FF", [](P p, Vek32u* o) {
        return vekiSAD8x8_8u32s_C2R(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o),
                                    reinterpret_cast<Vek32s*>(o + 1), 0);
    });
    shell("BM_vekiSAD8x16_8u32s_C1R", [](P p, Vek32u* o) {
        return vekiSAD8x16_8u32s_C1R(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o));
    });
    shell("BM_vekiSAD8x4_8u32s_C1R", [](P p, Vek32u* o) {
        return vekiSAD8x4_8u32s_C1R(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o));
    });
    shell("BM_vekiSAD4x8_8u32s_C1R", [](P p, Vek32u* o) {
        return vekiSAD4x8_8u32s_C1R(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o));
    });
    shell("BM_vekiSAD4x4_8u32s", [](P p, Vek32u* o) {
        return vekiSAD4x4_8u32s(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o));
    });
    shell("BM_vekiSAD16x16_16u32s_C1R/FF", [](P p, Vek32u* o) {
        return vekiSAD16x16_16u32s_C1R(p.src_16u(), 2 * kStride, p.ref_16u(), 2 * kStride,
                                       reinterpret_cast<Vek32s*>(o), 0);
    });
    shell("BM_vekiSAD8x8_16u32s_C1R/FF", [](P p, Vek32u* o) {
        return vekiSAD8x8_16u32s_C1R(p.src_16u(), 2 * kStride, p.ref_16u(), 2 * kStride,
                                     reinterpret_cast<Vek32s*>(o), 0);
    });
    shell("BM_vekiSAD4x4_16u32s_C1R/FF", [](P p, Vek32u* o) {
        return vekiSAD4x4_16u32s_C1R(p.src_16u(), 2 * kStride, p.ref_16u(), 2 * kStride,
                                     reinterpret_cast<Vek32s*>(o), 0);
    });
    shell("BM_vekiSSD8x8_8u32s_C1R/FF", [](P p, Vek32u* o) {
        return vekiSSD8x8_8u32s_C1R(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o), 0);
    });
    shell("BM_vekiSSD4x4_8u32s_C1R/FF", [](P p, Vek32u* o) {
        return vekiSSD4x4_8u32s_C1R(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek32s*>(o), 0);
    });
    shell("BM_vekiSAD16x16Blocks8x8_8u16u", [](P p, Vek32u* o) {
        return vekiSAD16x16Blocks8x8_8u16u(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek16u*>(o));
    });
    shell("BM_vekiSAD16x16Blocks4x4_8u16u", [](P p, Vek32u* o) {
        return vekiSAD16x16Blocks4x4_8u16u(p.src(), kStride, p.ref(), kStride, reinterpret_cast<Vek16u*>(o));
    });
    shell("BM_vekiSAD16x16Blocks8x8_16u32u_C1R", [](P p, Vek32u* o) {
        return vekiSAD16x16Blocks8x8_16u32u_C1R(p.src_16u(), 2 * kStride, p.ref_16u(), 2 * kStride, o);
    });
    shell("BM_vekiSAD16x16Blocks4x4_16u32u_C1R", [](P p, Vek32u* o) {
        return vekiSAD16x16Blocks4x4_16u32u_C1R(p.src_16u(), 2 * kStride, p.ref_16u(), 2 * kStride, o);
    });
    return true;
}();

}  // namespace
