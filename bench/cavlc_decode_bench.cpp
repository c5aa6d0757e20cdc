// CAVLC block decoding on a realistic mix: luma blocks of 16 and 15
// coefficients over every nC class and 4:2:0 chroma DC blocks, in the
// proportions, coefficient counts and level sizes of the bundled conformance
// streams (about half the blocks empty, most levels +-1, a few escapes),
// written with the standard's tables. One iteration decodes one block. The
// exported functions beside the library's internal walking and word-by-word
// reference paths, which they fall back on.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "bench_util.h"
#include "h264/cavlc_decode.h"
#include "vekvc.h"

namespace {

// Rows of a code-table file: the code and its numbers.
std::vector<std::pair<std::string, std::vector<int>>> rows(const char* name) {
    std::ifstream in(std::filesystem::path(__FILE__).parent_path() / ".." / "tests" / "data" / "vlc" / name);
    std::vector<std::pair<std::string, std::vector<int>>> out;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream f(line);
        auto& [code, v] = out.emplace_back();
        f >> code;
        for (int x; f >> x;) v.push_back(x);
    }
    return out;
}

using CodeMap = std::map<std::vector<int>, std::string>;  // (selector, symbol...) -> code

struct Mix {
    enum Kind { kLuma, kChromaDc };
    struct Block {
        Kind kind;
        Vek32s nc, capacity;
    };
    CodeMap token, zeros4x4, zeros_dc, run;
    std::vector<Vek32s*> owned;
    std::array<const Vek32s*, 3> token_luma{};
    const Vek32s* token_dc = nullptr;
    std::array<const Vek32s*, 17> tz{}, tz_dc{}, rb{};
    std::vector<Block> blocks;
    std::vector<Vek32u> words;
    bool ok = false;

    // The table layouts an application would pick: a wide first level for
    // the common short codes, links for the long ones.
    const Vek32s* build(const CodeMap& m, int sel, std::vector<Vek32s> widths) {
        std::vector<Vek32s> list = {0, static_cast<Vek32s>(widths.size())};
        list.insert(list.end(), widths.begin(), widths.end());
        for (std::size_t len = 1; len <= 16; ++len) {
            const std::size_t count = list.size();
            list.push_back(0);
            for (const auto& [key, code] : m)
                if (key[0] == sel && code.size() == len) {
                    ++list[count];
                    list.push_back(static_cast<Vek32s>(std::stoul(code, nullptr, 2)));
                    list.push_back(key.size() == 3 ? key[1] | key[2] << 8 : key[1]);
                }
        }
        list.push_back(-1);
        Vek32s* t = nullptr;
        if (vekiHuffmanTableInitAlloc_32s(list.data(), &t) != vekStsOk) return nullptr;
        owned.push_back(t);
        return t;
    }

    std::string bits;
    void put(Vek32u v, int n) {
        for (int i = n - 1; i >= 0; --i) bits += (v >> i) & 1 ? '1' : '0';
    }

    // coef in coding order, `capacity` entries.
    void write_block(Kind kind, int nc, const std::vector<int>& coef) {
        std::vector<int> levels;  // highest frequency first
        int last = -1;
        for (int i = static_cast<int>(coef.size()) - 1; i >= 0; --i)
            if (coef[i]) levels.push_back(coef[i]), last = std::max(last, i);
        const int total = static_cast<int>(levels.size());
        int t1 = 0;
        while (t1 < total && t1 < 3 && std::abs(levels[t1]) == 1) ++t1;
        const int cls = kind == kChromaDc ? -1 : nc < 2 ? 0 : nc < 4 ? 2 : nc < 8 ? 4 : 8;
        bits += token.at({cls, t1, total});
        for (int i = 0; i < t1; ++i) put(levels[i] < 0, 1);
        int sl = total > 10 && t1 < 3 ? 1 : 0;
        for (int i = t1; i < total; ++i) {
            const int v = levels[i];
            const int code = (v > 0 ? 2 * v - 2 : -2 * v - 1) - (i == t1 && t1 < 3 ? 2 : 0);
            if (code < (sl ? 15 << sl : 14)) {
                put(1, (code >> sl) + 1);
                put(static_cast<Vek32u>(code), sl);
            } else if (sl == 0 && code < 30) {
                put(1, 15);
                put(static_cast<Vek32u>(code - 14), 4);
            } else {  // levels here stay below 2063, so prefix 15 holds them
                put(1, 16);
                put(static_cast<Vek32u>(code - (15 << sl) - (sl ? 0 : 15)), 12);
            }
            if (sl == 0) sl = 1;
            if (std::abs(v) > (3 << (sl - 1)) && sl < 6) ++sl;
        }
        if (total == 0) return;
        int left = last + 1 - total;
        if (total < static_cast<int>(coef.size())) bits += (kind == kLuma ? zeros4x4 : zeros_dc).at({total, left});
        for (int i = 0, pos = last; i < total - 1 && left > 0; ++i) {
            int r = 0;
            for (--pos; coef[pos] == 0; --pos) ++r;
            bits += run.at({std::min(left, 7), r});
            left -= r;
        }
    }

    Mix() {
        for (const auto& [code, v] : rows("h264_coeff_token.txt")) token[v] = code;
        for (const auto& [code, v] : rows("h264_total_zeros_4x4.txt")) zeros4x4[v] = code;
        for (const auto& [code, v] : rows("h264_total_zeros_chroma_dc_420.txt")) zeros_dc[v] = code;
        for (const auto& [code, v] : rows("h264_run_before.txt")) run[v] = code;
        if (token.empty() || zeros4x4.empty() || zeros_dc.empty() || run.empty()) return;
        token_luma = {build(token, 0, {6, 5, 5}), build(token, 2, {6, 5, 5}), build(token, 4, {6, 5, 5})};
        token_dc = build(token, -1, {8});
        for (int total = 1; total <= 15; ++total) tz[total] = build(zeros4x4, total, {5, 4});
        for (int total = 1; total <= 3; ++total) tz_dc[total] = build(zeros_dc, total, {3});
        for (int left = 1; left <= 16; ++left)
            rb[left] = left <= 6 ? build(run, left, {3}) : left == 7 ? build(run, 7, {4, 4, 3}) : rb[7];

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
            const Kind kind = cls == 4 ? kChromaDc : kLuma;
            const int nc = cls == 0 ? static_cast<int>(rng() % 2) : cls == 1 ? 2 + static_cast<int>(rng() % 2)
                         : cls == 2 ? 4 + static_cast<int>(rng() % 4) : 8 + static_cast<int>(rng() % 5);
            const int capacity = kind == kChromaDc ? 4 : rng() % 2 ? 15 : 16;
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
            std::vector<int> coef(static_cast<std::size_t>(capacity), 0);
            for (int i = 0; i < total; ++i) coef[static_cast<std::size_t>(places[i])] = rng() % 2 ? mags[i] : -mags[i];
            write_block(kind, nc, coef);
            blocks.push_back({kind, nc, capacity});
        }
        words.assign(bits.size() / 32 + 4, 0);
        for (std::size_t i = 0; i < bits.size(); ++i)
            if (bits[i] == '1') words[i / 32] |= 1u << (31 - i % 32);
        ok = std::find(owned.begin(), owned.end(), nullptr) == owned.end();
    }
    ~Mix() {
        for (Vek32s* t : owned) vekiHuffmanTableFree_32s(t);
    }
};

constexpr std::array<Vek32s, 16> kZigzag = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};

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
            const bool luma = b.kind == Mix::kLuma;
            const Vek32s* token = !luma     ? mix.token_dc
                                  : b.nc >= 8 ? nullptr
                                              : mix.token_luma[static_cast<std::size_t>((b.nc >= 2) + (b.nc >= 4))];
            st = vek::h264::decode_cavlc_block<Coeff>(static_cast<vek::h264::CavlcPath>(kPath), luma ? 16 : 4, &word,
                                                      &offset, &num, &dst, token,
                                                      luma ? mix.tz.data() : mix.tz_dc.data(), mix.rb.data(),
                                                      kZigzag.data(), b.capacity, b.nc);
        } else if constexpr (sizeof(Coeff) == 2) {
            st = b.kind == Mix::kLuma
                     ? vekiDecodeCAVLCCoeffs_H264_1u16s(&word, &offset, &num, &dst, b.nc, b.capacity,
                                                        mix.token_luma.data(), mix.tz.data(), mix.rb.data(),
                                                        kZigzag.data())
                     : vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(&word, &offset, &num, &dst, mix.token_dc,
                                                                mix.tz_dc.data(), mix.rb.data());
        } else {
            st = b.kind == Mix::kLuma
                     ? vekiDecodeCAVLCCoeffs_H264_1u32s(&word, &offset, &num, &dst, b.nc, b.capacity,
                                                        mix.token_luma.data(), mix.tz.data(), mix.rb.data(),
                                                        kZigzag.data())
                     : vekiDecodeCAVLCChromaDcCoeffs_H264_1u32s(&word, &offset, &num, &dst, mix.token_dc,
                                                                mix.tz_dc.data(), mix.rb.data());
        }
        benchmark::DoNotOptimize(st);
        if (++n == mix.blocks.size()) {
            if (word != mix.words.data() + (mix.bits.size() >> 5) ||
                offset != 31 - static_cast<Vek32s>(mix.bits.size() & 31)) {
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
