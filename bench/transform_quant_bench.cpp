// H.264 encoder primitives: the forward transform and quantiser kernels at
// each level this machine has (reference beside SSE4.1 and AVX2), then the
// exported functions through their shells (this machine's level, argument
// checks and table lookups included), and CAVLC preparation of a block with
// eight coefficients.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "h264/transform_quant.h"
#include "vekvc.h"

namespace {

using namespace vek::h264;

// Inputs used in turn, as an encoder's successive blocks are: one block over
// and over would let the branch predictor learn it.
constexpr int kBlocks = 8;

std::uint32_t lcg(std::uint32_t& s) { return s = s * 1664525u + 1013904223u, s >> 8; }

constexpr std::array<Vek16s, 16> kRasterToZigzag = {0, 1, 5, 6, 2, 4, 7, 12, 3, 8, 11, 13, 9, 10, 14, 15};
constexpr std::array<Vek32s, 16> kZigzag = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};

struct Inputs {
    // Residuals of 8-bit video: mostly small, some large.
    alignas(32) std::array<std::array<Vek16s, 64>, kBlocks> residual{};
    // Eight non-zero levels among 16, small as most are.
    alignas(32) std::array<std::array<Vek16s, 16>, kBlocks> cavlc{};
    alignas(32) std::array<Vek16s, 64> out{}, fwd_scale{}, inv_scale{}, scan8{};
    alignas(32) std::array<Vek32s, 64> out32{};
    Inputs() {
        std::uint32_t s = 99;
        for (auto& b : residual)
            for (auto& v : b) v = static_cast<Vek16s>(static_cast<int>(lcg(s) % 61) - 30 + (lcg(s) % 8 == 0 ? 90 : 0));
        for (auto& b : cavlc)
            for (int k = 0, placed = 0; placed < 8; k = (k + 1 + static_cast<int>(lcg(s) % 2)) % 16)
                if (!b[k])
                    b[k] = static_cast<Vek16s>(lcg(s) % 2 ? 1 + lcg(s) % 3 : -1 - static_cast<int>(lcg(s) % 3)),
                    ++placed;
        std::array<Vek8u, 64> flat{};
        flat.fill(16);
        vekiGenScaleLevel8x8_H264_8u16s_D2(flat.data(), 8, inv_scale.data(), fwd_scale.data(), 4);
        for (int k = 0; k < 64; ++k) scan8[k] = static_cast<Vek16s>(k);
    }
};

Inputs& inputs() {
    static Inputs in;
    return in;
}

template <class Body>
void add(const std::string& name, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State& state) {
        Inputs& in = inputs();
        int i = 0;
        for (auto _ : state) {
            body(in, i++ & (kBlocks - 1));
            benchmark::ClobberMemory();
        }
    });
}

const bool kKernelCases = [] {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const EncodeTransformTable t = make_encode_transform_table(level.flags);
        const std::string suffix = std::string("/") + level.name;
        add("transform_quant/fwd_quant4x4" + suffix, [t](Inputs& in, int b) {
            Vek32s last, num;
            t.fwd_quant4x4(in.residual[b].data(), in.out.data(), &kFwdQuant4x4Args[28][0], &num,
                           kRasterToZigzag.data(), &last);
            benchmark::DoNotOptimize(num);
        });
        add("transform_quant/quant8x8" + suffix, [t](Inputs& in, int b) {
            Vek32s last;
            const QuantArgs q{in.fwd_scale.data(), 342 << 5, 16};
            benchmark::DoNotOptimize(t.quant8x8(in.residual[b].data(), in.out.data(), &q, in.scan8.data(), &last));
        });
        add("transform_quant/fwd8x8" + suffix, [t](Inputs& in, int b) { t.fwd8x8(in.residual[b].data(), in.out.data()); });
        add("transform_quant/cavlc16" + suffix, [t](Inputs& in, int b) {
            Vek8u ones, signs, num, zeros, runs[16];
            t.cavlc16(in.cavlc[b].data(), 0, kZigzag.data(), 15, &ones, &signs, &num, &zeros, in.out.data(), runs);
            benchmark::DoNotOptimize(num);
            benchmark::DoNotOptimize(zeros);
        });
        add("transform_quant/fwd8x8_32" + suffix,
            [t](Inputs& in, int b) { t.fwd8x8_32(in.residual[b].data(), in.out32.data()); });
    }
    return true;
}();

const bool kShellCases = [] {
    add("transform_quant/vekiTransformQuantFwd4x4_H264_16s_C1/shell", [](Inputs& in, int b) {
        Vek32s n, last;
        vekiTransformQuantFwd4x4_H264_16s_C1(in.residual[b].data(), in.out.data(), 28, &n, 0, kRasterToZigzag.data(),
                                             &last, nullptr);
        benchmark::DoNotOptimize(n);
    });
    add("transform_quant/vekiTransformResidual4x4Fwd_H264_16s_C1/shell",
        [](Inputs& in, int b) { vekiTransformResidual4x4Fwd_H264_16s_C1(in.residual[b].data(), in.out.data()); });
    add("transform_quant/vekiTransformFwdLuma8x8_H264_16s_C1/shell",
        [](Inputs& in, int b) { vekiTransformFwdLuma8x8_H264_16s_C1(in.residual[b].data(), in.out.data()); });
    add("transform_quant/vekiQuantLuma8x8_H264_16s_C1/shell", [](Inputs& in, int b) {
        Vek32s n, last;
        vekiQuantLuma8x8_H264_16s_C1(in.residual[b].data(), in.out.data(), 4, 0, in.fwd_scale.data(),
                                     in.scan8.data(), &n, &last);
        benchmark::DoNotOptimize(n);
    });
    add("transform_quant/vekiEncodeCoeffsCAVLC_H264_16s/shell", [](Inputs& in, int b) {
        Vek8u ones, signs, num, zeros, runs[16];
        vekiEncodeCoeffsCAVLC_H264_16s(in.cavlc[b].data(), 0, kZigzag.data(), 15, &ones, &signs, &num, &zeros,
                                       in.out.data(), runs);
        benchmark::DoNotOptimize(num);
        benchmark::DoNotOptimize(zeros);
    });
    return true;
}();

}  // namespace
