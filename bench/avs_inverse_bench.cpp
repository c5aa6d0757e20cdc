// AVS inverse transform with add, full and low-frequency routes per level
// (reference beside SSE4.1 and AVX2), on eight blocks of typical levels used
// in turn.
#include <array>
#include <string>

#include "avs/transform_inv.h"
#include "bench_util.h"

namespace {

using namespace vek::avs;

struct Inputs {
    alignas(32) std::array<std::array<Vek16s, 64>, 8> blocks{};
    alignas(32) std::array<Vek8u, 32 * 8> pic{};
    int next = 0;
    Inputs() {
        std::uint32_t s = 99;
        const auto rnd = [&s] { return s = s * 1664525u + 1013904223u, s >> 8; };
        for (auto& b : blocks)
            for (std::size_t k = 0; k < 64; ++k)
                b[k] = static_cast<Vek16s>(k < 24 || rnd() % 4 == 0 ? static_cast<int>(rnd() % 31) - 15 : 0);
        for (auto& v : pic) v = static_cast<Vek8u>(rnd());
    }
};

const bool kCases = [] {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const InverseTable t = make_inverse_table(level.flags);
        for (const auto& [name, fn] : {std::pair{"full", t.full}, std::pair{"low", t.low}}) {
            const std::string id = std::string("avs_inverse/") + name + "/" + level.name;
            benchmark::RegisterBenchmark(id.c_str(), [fn = fn](benchmark::State& state) {
                Inputs in;
                const Dequant q = kDequant[28];
                for (auto _ : state) {
                    fn(in.blocks[static_cast<std::size_t>(in.next++ & 7)].data(), in.pic.data(), 32, q.mul, q.shift);
                    benchmark::ClobberMemory();
                }
            });
        }
    }
    return true;
}();

}  // namespace
