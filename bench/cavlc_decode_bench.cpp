// CAVLC block decoding on a realistic mix: luma blocks of 16 and 15
// coefficients over every nC class and 4:2:0 chroma DC blocks, in the
// proportions, coefficient counts and level sizes of the bundled conformance
// streams (about half the blocks empty, most levels +-1, a few escapes),
// written with the standard's tables. One iteration decodes one block. The
// exported functions beside the library's internal walking and word-by-word
// reference paths, which they fall back on.
#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "../tests/h264/cavlc_tables.h"
#include "bench_util.h"
#include "h264/cavlc_decode.h"
#include "vekvc.h"

namespace {

using namespace cavlc_tables;

struct Mix {
    struct Block {
        Form kind;
        Vek32s nc, capacity;
    };
    Codes codes;
    std::vector<Vek32s*> owned;
    std::array<const Vek32s*, 3> token_luma{};
    const Vek32s* token_dc = nullptr;
    std::array<const Vek32s*, 17> tz{}, tz_dc{}, rb{};
    std::vector<Block> blocks;
    BitWriter w;
    std::vector<Vek32u> words;
    bool ok = false, ok_prepared = true;

    const Vek32s* make(const CodeMap& m, int sel, const std::vector<Vek32s>& widths) {
        return owned.emplace_back(build(m, sel, widths));
    }

    Mix() {
        if (!codes.ok) return;
        // The table layouts an application would pick: a wide first level for
        // the common short codes, links for the long ones.
        token_luma = {make(codes.token, 0, {6, 5, 5}), make(codes.token, 2, {6, 5, 5}), make(codes.token, 4, {6, 5, 5})};
        token_dc = make(codes.token, -1, {8});
        for (int total = 1; total <= 15; ++total) tz[total] = make(codes.zeros[kLuma], total, {5, 4});
        for (int total = 1; total <= 3; ++total) tz_dc[total] = make(codes.zeros[kDc420], total, {3});
        for (int left = 1; left <= 16; ++left)
            rb[left] = left <= 6 ? make(codes.run, left, {3}) : left == 7 ? make(codes.run, 7, {4, 4, 3}) : rb[7];

        // Per mille by nC class (0-1, 2-3, 4-7, 8+, chroma DC): the share of
        // blocks, the coefficient count 0..16 and the level magnitude 1..15,
        // 16 and up, as counted in the conformance streams.
        const int share[5] = {540, 130, 170, 50, 130};
        const int count[5][17] = {{571, 246, 42, 24, 24, 17, 15, 24, 12, 7, 4, 2, 2, 2, 1, 2, 3},
                                  {440, 76, 99, 69, 81, 54, 45, 63, 30, 17, 9, 7, 4, 3, 2, 1, 0},
                                  {335, 58, 79, 53, 70, 58, 50, 118, 56, 41, 25, 18, 13, 12, 7, 5, 1},
                                  {183, 38, 40, 32, 44, 36, 52, 93, 82, 83, 71, 81, 58, 43, 33, 26, 5},
                                  {253, 210, 148, 80, 308}};
        const int magnitude[5][16] = {{614, 131, 74, 31, 14, 15, 8, 12, 21, 22, 9, 5, 3, 3, 5, 31},
                                      {691, 154, 74, 25, 11, 13, 6, 9, 8, 2, 1, 1, 1, 1, 1, 3},
                                      {590, 191, 92, 37, 18, 20, 8, 16, 14, 3, 1, 2, 1, 1, 1, 5},
                                      {530, 252, 110, 41, 21, 12, 7, 10, 6, 2, 2, 1, 1, 1, 1, 3},
                                      {424, 171, 92, 82, 60, 32, 24, 22, 18, 18, 7, 9, 7, 7, 5, 22}};
        std::mt19937 rng(2024);
        const auto pick = [&rng](const int* weights, int n) {
            int sum = 0;
            for (int i = 0; i < n; ++i) sum += weights[i];
            int r = static_cast<int>(rng() % static_cast<unsigned>(sum));
            for (int i = 0; i < n; ++i)
                if ((r -= weights[i]) < 0) return i;
            return n - 1;
        };
        for (int b = 0; b < 4096; ++b) {
            const int cls = pick(share, 5);
            const Form kind = cls == 4 ? kDc420 : kLuma;
            const int nc = cls == 0 ? static_cast<int>(rng() % 2) : cls == 1 ? 2 + static_cast<int>(rng() % 2)
                         : cls == 2 ? 4 + static_cast<int>(rng() % 4) : 8 + static_cast<int>(rng() % 5);
            const int capacity = kind == kDc420 ? 4 : rng() % 2 ? 15 : 16;
            const int total = std::min(pick(count[cls], 17), capacity);
            // Low frequencies are the likely places, and hold the larger levels.
            std::vector<int> weight(static_cast<std::size_t>(capacity)), places;
            for (int k = 0; k < capacity; ++k) weight[static_cast<std::size_t>(k)] = (capacity - k) * (capacity - k);
            for (int i = 0; i < total; ++i) {
                const int k = pick(weight.data(), capacity);
                places.push_back(k);
                weight[static_cast<std::size_t>(k)] = 0;
            }
            std::sort(places.begin(), places.end());
            std::vector<int> mags;
            for (int i = 0; i < total; ++i) {
                const int m = 1 + pick(magnitude[cls], 16);
                mags.push_back(m == 16 ? 16 + static_cast<int>(rng() % 48) : m);
            }
            std::sort(mags.rbegin(), mags.rend());
            // Coding position k (from the first the block holds) at its place, prepared by the library.
            std::array<Vek16s, 16> raster{};
            for (int i = 0; i < total; ++i)
                raster[kind == kDc420 ? places[i] : kZigzag[places[i] + 16 - capacity]] =
                    static_cast<Vek16s>(rng() % 2 ? mags[i] : -mags[i]);
            Coded c;
            ok_prepared = ok_prepared && prepare<Vek16s>(c, kind, raster, kind == kLuma ? 16 - capacity : 0) == vekStsOk;
            write_block(w, codes, kind, nc, capacity, c);
            blocks.push_back({kind, nc, capacity});
        }
        words = w.words();
        ok = ok_prepared && std::find(owned.begin(), owned.end(), nullptr) == owned.end();
    }
    ~Mix() {
        for (Vek32s* t : owned) vekiHuffmanTableFree_32s(t);
    }
};

// kExported: the exported functions; else the internal path of that number.
constexpr int kExported = -1;

template <class Coeff, int kPath>
void BM_Mix(benchmark::State& state) {
    static const Mix mix;
    if (!mix.ok) {
        state.SkipWithError("tests/data/vlc not found");
        return;
    }
    std::vector<Coeff> out(16 * mix.blocks.size());
    Vek32u* word = const_cast<Vek32u*>(mix.words.data());
    Vek32s offset = 31;
    Coeff* dst = out.data();
    Vek16s num = 0;
    std::size_t n = 0;
    for (auto _ : state) {
        const Mix::Block& b = mix.blocks[n];
        VekStatus st;
        if constexpr (kPath != kExported) {
            const bool luma = b.kind == kLuma;
            const Vek32s* token = !luma     ? mix.token_dc
                                  : b.nc >= 8 ? nullptr
                                              : mix.token_luma[static_cast<std::size_t>((b.nc >= 2) + (b.nc >= 4))];
            st = vek::h264::decode_cavlc_block<Coeff>(static_cast<vek::h264::CavlcPath>(kPath), luma ? 16 : 4, &word,
                                                      &offset, &num, &dst, token,
                                                      luma ? mix.tz.data() : mix.tz_dc.data(), mix.rb.data(),
                                                      kZigzag.data(), b.capacity, b.nc);
        } else if constexpr (sizeof(Coeff) == 2) {
            st = b.kind == kLuma
                     ? vekiDecodeCAVLCCoeffs_H264_1u16s(&word, &offset, &num, &dst, b.nc, b.capacity,
                                                        mix.token_luma.data(), mix.tz.data(), mix.rb.data(),
                                                        kZigzag.data())
                     : vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(&word, &offset, &num, &dst, mix.token_dc,
                                                                mix.tz_dc.data(), mix.rb.data());
        } else {
            st = b.kind == kLuma
                     ? vekiDecodeCAVLCCoeffs_H264_1u32s(&word, &offset, &num, &dst, b.nc, b.capacity,
                                                        mix.token_luma.data(), mix.tz.data(), mix.rb.data(),
                                                        kZigzag.data())
                     : vekiDecodeCAVLCChromaDcCoeffs_H264_1u32s(&word, &offset, &num, &dst, mix.token_dc,
                                                                mix.tz_dc.data(), mix.rb.data());
        }
        benchmark::DoNotOptimize(st);
        if (++n == mix.blocks.size()) {
            if (word != mix.words.data() + (mix.w.bits.size() >> 5) ||
                offset != 31 - static_cast<Vek32s>(mix.w.bits.size() & 31)) {
                state.SkipWithError("the mix does not decode to its end");
                return;
            }
            n = 0;
            word = const_cast<Vek32u*>(mix.words.data());
            offset = 31;
            dst = out.data();
        }
    }
}
using vek::h264::CavlcPath;
BENCHMARK(BM_Mix<Vek16s, kExported>)->Name("cavlc_decode/mix_1u16s/c");
BENCHMARK(BM_Mix<Vek32s, kExported>)->Name("cavlc_decode/mix_1u32s/c");
BENCHMARK(BM_Mix<Vek16s, static_cast<int>(CavlcPath::kWalk)>)->Name("cavlc_decode/mix_1u16s_walk/c");
BENCHMARK(BM_Mix<Vek16s, static_cast<int>(CavlcPath::kReference)>)->Name("cavlc_decode/mix_1u16s_reference/c");

}  // namespace
