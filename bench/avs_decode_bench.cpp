// AVS block decoding: one intra luma block of 12 coefficients, mostly table
// codes across three table changes and one escape.
#include <array>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

#include "avs/block_decode.h"
#include "vekvc.h"

namespace {

struct Stream {
    std::vector<Vek32u> words = std::vector<Vek32u>(16, 0);
    int bits = 0;
    void put_bit(int b) {
        if (b) words[static_cast<std::size_t>(bits / 32)] |= 0x80000000u >> (bits % 32);
        ++bits;
    }
    void exp_golomb(Vek32u v, int k) {
        const Vek32u x = v + (1u << k);
        const int len = 31 - __builtin_clz(x);
        for (int i = 0; i < len - k; ++i) put_bit(0);
        for (int i = len; i >= 0; --i) put_bit(static_cast<int>((x >> i) & 1));
    }
    // Intra tables move up at magnitudes 1, 2, 4; this block stays below 5.
    Stream() {
        using vek::avs::kIntraTables;
        const int pairs[12][2] = {{0, 1}, {1, 1}, {0, -1}, {0, 2}, {2, 1}, {0, 1},
                                  {0, -1}, {1, -1}, {0, 3}, {0, 1}, {0, -2}, {3, 1}};
        int table = 0, largest = 0;
        for (const auto& p : pairs) {
            int code = -1;
            for (int c = 0; c < 59; ++c)
                if (kIntraTables[table].pair[c].run == p[0] && kIntraTables[table].pair[c].level == p[1]) code = c;
            exp_golomb(static_cast<Vek32u>(code), 2);
            const int mag = p[1] < 0 ? -p[1] : p[1];
            if (mag > largest) {
                table = mag == 1 ? 1 : mag == 2 ? 2 : 3;
                largest = mag <= 2 ? mag : 4;
            }
        }
        for (int c = 0; c < 59; ++c)
            if (kIntraTables[table].pair[c].run == 64) exp_golomb(static_cast<Vek32u>(c), 2);
    }
};

void BM_DecodeIntra12(benchmark::State& state) {
    static const Stream s;
    alignas(64) std::array<Vek16s, 64> coef;
    for (auto _ : state) {
        Vek32u* p = const_cast<Vek32u*>(s.words.data());
        Vek32s offset = 31, n = 0;
        vekiDecodeLumaBlockIntra_AVS_1u16s(&p, &offset, &n, coef.data(), 0);
        benchmark::DoNotOptimize(coef.data());
        benchmark::DoNotOptimize(n);
    }
}
BENCHMARK(BM_DecodeIntra12)->Name("avs_decode/intra_12coef/c");

}  // namespace
