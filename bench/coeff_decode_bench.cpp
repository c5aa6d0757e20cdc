// MPEG-4 inter coefficient decoding: 10 coefficients of B-17 codes, plain
// and fused with inverse quantisation (both methods).
#include <array>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "vekvc.h"

namespace {

struct InterBlock {
    std::array<Vek8u, 32> bytes{}, intra_bytes{};
    std::vector<Vek8u> flat_spec, matrix_spec;
    InterBlock() {
        // (0,0,1) (0,1,1) (0,0,2) (0,0,1) (0,0,3) (0,0,1) (0,1,1) (0,0,1) (0,0,2) then last (1,0,1).
        std::string bits;
        for (const char* code : {"100", "1101", "11110", "101", "0101010", "100", "1100", "101", "11111", "01110"})
            bits += code;
        for (std::size_t i = 0; i < bits.size(); ++i)
            if (bits[i] == '1') bytes[i / 8] |= static_cast<Vek8u>(0x80 >> (i % 8));
        // Intra: (0,0,1) (0,0,-2) (0,0,1) (0,0,3) ... then last (1,0,1), ten in all.
        std::string intra;
        for (const char* code : {"100", "1101", "100", "11110", "1100", "101", "1100", "100", "11111", "01110"})
            intra += code;
        for (std::size_t i = 0; i < intra.size(); ++i)
            if (intra[i] == '1') intra_bytes[i / 8] |= static_cast<Vek8u>(0x80 >> (i % 8));
        Vek32s size = 0;
        vekiQuantInvInterGetSize_MPEG4(&size);
        flat_spec.resize(size);
        matrix_spec.resize(size);
        std::array<Vek8u, 64> weights;
        for (int i = 0; i < 64; ++i) weights[i] = static_cast<Vek8u>(16 + i);
        vekiQuantInvInterInit_MPEG4(nullptr, reinterpret_cast<VekQuantInvInterSpec_MPEG4*>(flat_spec.data()), 8);
        vekiQuantInvInterInit_MPEG4(weights.data(), reinterpret_cast<VekQuantInvInterSpec_MPEG4*>(matrix_spec.data()),
                                    8);
    }
};

const InterBlock& inter_block() {
    static const InterBlock b;
    return b;
}

void BM_DecodeInter(benchmark::State& state) {
    const InterBlock& b = inter_block();
    alignas(64) std::array<Vek16s, 64> coef;
    Vek8u* p0 = const_cast<Vek8u*>(b.bytes.data());
    Vek32s o0 = 0, l0 = 0;
    if (vekiDecodeCoeffsInter_MPEG4_1u16s(&p0, &o0, coef.data(), &l0, 0, 0) != vekStsOk || l0 != 11)
        state.SkipWithError("stream does not decode");
    for (auto _ : state) {
        Vek8u* p = const_cast<Vek8u*>(b.bytes.data());
        Vek32s offset = 0, last = 0;
        vekiDecodeCoeffsInter_MPEG4_1u16s(&p, &offset, coef.data(), &last, 0, 0);
        benchmark::DoNotOptimize(coef.data());
        benchmark::DoNotOptimize(last);
    }
}
BENCHMARK(BM_DecodeInter)->Name("coeff_decode/inter_10coef/c");

void BM_DecodeIntra(benchmark::State& state) {
    const InterBlock& b = inter_block();
    alignas(64) std::array<Vek16s, 64> coef;
    for (auto _ : state) {
        Vek8u* p = const_cast<Vek8u*>(b.intra_bytes.data());
        Vek32s offset = 0, last = 0;
        vekiDecodeCoeffsIntra_MPEG4_1u16s(&p, &offset, coef.data(), &last, 0, 0, 0);
        benchmark::DoNotOptimize(coef.data());
        benchmark::DoNotOptimize(last);
    }
}
BENCHMARK(BM_DecodeIntra)->Name("coeff_decode/intra_10coef/c");

void BM_ReconstructInter(benchmark::State& state, bool matrix) {
    const InterBlock& b = inter_block();
    const auto* quant = reinterpret_cast<const VekQuantInvInterSpec_MPEG4*>(matrix ? b.matrix_spec.data()
                                                                                   : b.flat_spec.data());
    alignas(64) std::array<Vek16s, 64> coef;
    Vek8u* p0 = const_cast<Vek8u*>(b.bytes.data());
    Vek32s o0 = 0, l0 = 0;
    if (vekiReconstructCoeffsInter_MPEG4_1u16s(&p0, &o0, coef.data(), &l0, 0, 0, quant, 9) != vekStsOk)
        state.SkipWithError("stream does not decode");
    for (auto _ : state) {
        Vek8u* p = const_cast<Vek8u*>(b.bytes.data());
        Vek32s offset = 0, last = 0;
        vekiReconstructCoeffsInter_MPEG4_1u16s(&p, &offset, coef.data(), &last, 0, 0, quant, 9);
        benchmark::DoNotOptimize(coef.data());
        benchmark::DoNotOptimize(last);
    }
}
BENCHMARK_CAPTURE(BM_ReconstructInter, flat, false)->Name("coeff_decode/reconstruct_inter_10coef_flat/c");
BENCHMARK_CAPTURE(BM_ReconstructInter, matrix, true)->Name("coeff_decode/reconstruct_inter_10coef_matrix/c");

}  // namespace
