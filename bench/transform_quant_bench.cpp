// H.264 encoder primitives through their exported functions: the forward 4x4
// transform with quantisation, the forward 8x8 transform with its quantiser,
// and CAVLC preparation of a block with eight coefficients. Only reference
// code exists for them, so each case runs at the "c" level.
#include <array>
#include <cstdint>
#include <string>

#include "bench_util.h"
#include "vekvc.h"

namespace {

constexpr int kBlocks = 8;  // inputs used in turn, as an encoder's successive blocks are

std::uint32_t lcg(std::uint32_t& s) { return s = s * 1664525u + 1013904223u, s >> 8; }

constexpr std::array<Vek16s, 16> kRasterToZigzag = {0, 1, 5, 6, 2, 4, 7, 12, 3, 8, 11, 13, 9, 10, 14, 15};
constexpr std::array<Vek32s, 16> kZigzag = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};

template <class Body>
void add(const std::string& name, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State& state) {
        int i = 0;
        for (auto _ : state) {
            body(i++ & (kBlocks - 1));
            benchmark::ClobberMemory();
        }
    });
}

const bool kCases = [] {
    static std::array<std::array<Vek16s, 64>, kBlocks> residual{}, cavlc{};
    static std::array<Vek16s, 64> out{}, fwd_scale{}, inv_scale{}, scan8{};
    std::uint32_t s = 99;
    for (auto& b : residual)
        for (auto& v : b) v = static_cast<Vek16s>(static_cast<int>(lcg(s) % 61) - 30);
    // Eight non-zero coefficients among the 16, small as most are.
    for (auto& b : cavlc)
        for (int k = 0, placed = 0; placed < 8; k = (k + 1 + static_cast<int>(lcg(s) % 2)) % 16)
            if (!b[k]) b[k] = static_cast<Vek16s>(lcg(s) % 2 ? 1 + lcg(s) % 3 : -1 - static_cast<int>(lcg(s) % 3)), ++placed;
    std::array<Vek8u, 64> flat{};
    flat.fill(16);
    vekiGenScaleLevel8x8_H264_8u16s_D2(flat.data(), 8, inv_scale.data(), fwd_scale.data(), 2);
    for (int k = 0; k < 64; ++k) scan8[k] = static_cast<Vek16s>(k);

    add("transform_quant/fwd4x4_quant_qp28/c", [](int b) {
        Vek32s n, last;
        vekiTransformQuantFwd4x4_H264_16s_C1(residual[b].data(), out.data(), 28, &n, 0, kRasterToZigzag.data(), &last,
                                             nullptr);
        benchmark::DoNotOptimize(n);
    });
    add("transform_quant/fwd4x4_core/c",
        [](int b) { vekiTransformResidual4x4Fwd_H264_16s_C1(residual[b].data(), out.data()); });
    add("transform_quant/fwd8x8/c",
        [](int b) { vekiTransformFwdLuma8x8_H264_16s_C1(residual[b].data(), out.data()); });
    add("transform_quant/quant8x8_qp28/c", [](int b) {
        Vek32s n, last;
        vekiQuantLuma8x8_H264_16s_C1(residual[b].data(), out.data(), 4, 0, fwd_scale.data(), scan8.data(), &n, &last);
        benchmark::DoNotOptimize(n);
    });
    add("transform_quant/cavlc_8coeffs/c", [](int b) {
        Vek8u ones, signs, num, zeros, runs[16];
        vekiEncodeCoeffsCAVLC_H264_16s(cavlc[b].data(), 0, kZigzag.data(), 15, &ones, &signs, &num, &zeros,
                                       out.data(), runs);
        benchmark::DoNotOptimize(num);
        benchmark::DoNotOptimize(zeros);
    });
    return true;
}();

}  // namespace
