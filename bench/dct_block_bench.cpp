// MPEG-2 intra block reconstruction: a DC and 11 AC codes of B.14 through a
// two-level table, as a decoder meets them in a typical intra block.
#include <array>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "frame/bitstream.h"
#include "vekvc.h"

namespace {

Vek32u bits_of(const std::string& s) {
    Vek32u v = 0;
    for (char c : s) v = (v << 1) | (c == '1');
    return v;
}

struct IntraBlock {
    Vek32s* ac = nullptr;
    Vek32s* dc = nullptr;
    std::array<Vek32u, 16> words{}, inter_words{};
    std::array<Vek32s, 64> scan{};
    std::array<Vek16s, 64> matrix{};
    IntraBlock() {
        // B.14 codes of this block (sign bit appended), end of block and escape.
        const std::vector<Vek32s> ac_list = {0, 2, 8, 9,
                                             0, 1, 0b10, 254, 0,
                                             2, 0b110, 0, 1, 0b111, 0, -1,
                                             2, 0b0110, 1, 1, 0b0111, 1, -1,
                                             4, 0b01000, 0, 2, 0b01001, 0, -2, 0b01010, 2, 1, 0b01011, 2, -1,
                                             3, 0b001010, 0, 3, 0b001011, 0, -3, 0b000001, 255, 0,
                                             -1};
        const std::vector<Vek32s> dc_list = {0, 1, 9, 0, 2, 0b00, 1, 0b01, 2, 3, 0b100, 0, 0b101, 3, 0b110, 4, -1};
        vekiHuffmanRunLevelTableInitAlloc_32s(ac_list.data(), &ac);
        vekiHuffmanTableInitAlloc_32s(dc_list.data(), &dc);
        vek::WordWriter w{words.data(), 32};
        for (const char* code : {"01", "10", "110", "0111", "01000", "110", "01010", "111", "001010", "0110",
                                 "111", "01001", "110", "10"}) {
            vek::write_bits(w, bits_of(code), static_cast<Vek32s>(std::string(code).size()));
        }
        // The same AC codes in a non-intra block, after a first '1s' code.
        vek::WordWriter n{inter_words.data(), 32};
        for (const char* code : {"10", "110", "0111", "01000", "110", "01010", "111", "001010", "0110", "111",
                                 "01001", "110", "10"}) {
            vek::write_bits(n, bits_of(code), static_cast<Vek32s>(std::string(code).size()));
        }
        for (int i = 0; i < 64; ++i) scan[i] = i;
        matrix.fill(16);
    }
};

void BM_ReconstructIntraMpeg2(benchmark::State& state) {
    static const IntraBlock b;
    alignas(64) std::array<Vek16s, 64> block;
    {
        Vek32u* word = const_cast<Vek32u*>(b.words.data());
        Vek32s offset = 31, size = 0;
        Vek16s pred = 128;
        if (vekiReconstructDCTBlockIntra_MPEG2_32s(&word, &offset, b.dc, b.ac, b.scan.data(), 8, b.matrix.data(),
                                                   &pred, 1, block.data(), &size) != vekStsOk || size != 15)
            state.SkipWithError("stream does not decode");
    }
    for (auto _ : state) {
        Vek32u* word = const_cast<Vek32u*>(b.words.data());
        Vek32s offset = 31, size = 0;
        Vek16s pred = 128;
        vekiReconstructDCTBlockIntra_MPEG2_32s(&word, &offset, b.dc, b.ac, b.scan.data(), 8, b.matrix.data(), &pred,
                                               1, block.data(), &size);
        benchmark::DoNotOptimize(block.data());
        benchmark::DoNotOptimize(size);
    }
}
BENCHMARK(BM_ReconstructIntraMpeg2)->Name("dct_block/intra_mpeg2_12coef/c");

void BM_ReconstructInterMpeg2(benchmark::State& state) {
    static const IntraBlock b;
    alignas(64) std::array<Vek16s, 64> block;
    for (auto _ : state) {
        Vek32u* word = const_cast<Vek32u*>(b.inter_words.data());
        Vek32s offset = 31, size = 0;
        vekiReconstructDCTBlock_MPEG2_32s(&word, &offset, b.ac, b.ac, b.scan.data(), 8, nullptr, block.data(), &size);
        benchmark::DoNotOptimize(block.data());
        benchmark::DoNotOptimize(size);
    }
}
BENCHMARK(BM_ReconstructInterMpeg2)->Name("dct_block/inter_mpeg2_12coef/c");

}  // namespace
