// H.264 residual kernels per level (reference beside SSE4.1 and AVX2), the
// exported residual functions through their shells, and CAVLC block decoding
// on a stream of typical blocks written with the standard's tables.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "bench_util.h"
#include "h264/residual.h"
#include "vekvc.h"

namespace {

using namespace vek::h264;

constexpr int kStride = 32;  // bytes between prediction rows

// Eight blocks of levels used in turn, as a decoder's successive blocks are:
// the kernels write their residual back, and one block used over and over
// would chain every call to the previous one through memory.
constexpr int kBlocks = 8;

struct Inputs {
    alignas(32) std::array<std::array<Vek16s, 16>, kBlocks> blocks{};
    alignas(32) std::array<Vek8u, kStride * 4> pred{};
    alignas(32) std::array<Vek8u, kStride * 4> dst{};
    int next_block = 0;
    Inputs() {
        std::uint32_t s = 777;
        const auto next = [&s] { return s = s * 1664525u + 1013904223u, s >> 8; };
        for (auto& b : blocks)
            for (auto& v : b) v = static_cast<Vek16s>(static_cast<int>(next() % 21) - 10);
        for (auto& v : pred) v = static_cast<Vek8u>(next());
    }
    Vek16s* levels() { return blocks[static_cast<std::size_t>(next_block++ & (kBlocks - 1))].data(); }
};

template <class Body>
void add(const std::string& name, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State& state) {
        Inputs in;
        for (auto _ : state) {
            body(in);
            benchmark::ClobberMemory();
        }
    });
}

const bool kKernelCases = [] {
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const ResidualTable t = make_residual_table(level.flags);
        const std::string suffix = std::string("/") + level.name;
        add("BM_residual/no_dc" + suffix,
            [t](Inputs& in) { t.no_dc(in.pred.data(), kStride, in.levels(), in.dst.data(), kStride, 28); });
        add("BM_residual/dc_ac" + suffix,
            [t](Inputs& in) { t.dc_ac(in.pred.data(), kStride, in.levels(), 320, in.dst.data(), kStride, 28); });
        add("BM_residual/no_ac" + suffix,
            [t](Inputs& in) { t.no_ac(in.pred.data(), kStride, 320, in.dst.data(), kStride); });
        // Pairs: two blocks' levels (the eight blocks taken two by two) on an 8x4 area.
        add("BM_residual/no_dc2" + suffix, [t](Inputs& in) {
            Vek16s* l = in.levels();
            in.levels();
            t.no_dc2(in.pred.data(), kStride, l, in.dst.data(), kStride, 28);
        });
        add("BM_residual/dc_ac2" + suffix, [t](Inputs& in) {
            static constexpr Vek16s kDc[2] = {320, -96};
            Vek16s* l = in.levels();
            in.levels();
            t.dc_ac2(in.pred.data(), kStride, l, kDc, in.dst.data(), kStride, 28);
        });
        add("BM_residual/no_ac2" + suffix, [t](Inputs& in) {
            static constexpr Vek16s kDc[2] = {320, -96};
            t.no_ac2(in.pred.data(), kStride, kDc, in.dst.data(), kStride);
        });
        add("BM_residual/luma_dc" + suffix, [t](Inputs& in) { t.luma_dc(in.levels(), 28); });
    }
    return true;
}();

const bool kShellCases = [] {
    add("BM_vekiDequantTransformResidualAndAdd_H264_16s_C1I/levels", [](Inputs& in) {
        benchmark::DoNotOptimize(vekiDequantTransformResidualAndAdd_H264_16s_C1I(
            in.pred.data(), in.levels(), nullptr, in.dst.data(), kStride, kStride, 28, 1));
    });
    add("BM_vekiDequantTransformResidualAndAdd_H264_16s_C1I/dc_only", [](Inputs& in) {
        const Vek16s dc = 320;
        benchmark::DoNotOptimize(vekiDequantTransformResidualAndAdd_H264_16s_C1I(
            in.pred.data(), nullptr, &dc, in.dst.data(), kStride, kStride, 28, 0));
    });
    add("BM_vekiDequantTransformResidual_H264_16s_C1I", [](Inputs& in) {
        benchmark::DoNotOptimize(vekiDequantTransformResidual_H264_16s_C1I(in.levels(), 8, nullptr, 1, 28));
    });
    add("BM_vekiTransformDequantLumaDC_H264_16s_C1I",
        [](Inputs& in) { benchmark::DoNotOptimize(vekiTransformDequantLumaDC_H264_16s_C1I(in.levels(), 28)); });
    add("BM_vekiTransformDequantChromaDC_H264_16s_C1I",
        [](Inputs& in) { benchmark::DoNotOptimize(vekiTransformDequantChromaDC_H264_16s_C1I(in.levels(), 28)); });
    return true;
}();

// ---- CAVLC: a stream of typical inter blocks (nC 0 to 3, 1 to 8 coefficients) ----

std::vector<std::pair<std::string, std::vector<int>>> read_table(const char* name) {
    const auto path = std::filesystem::path(__FILE__).parent_path() / ".." / "tests" / "data" / "vlc" / name;
    std::ifstream in(path);
    std::vector<std::pair<std::string, std::vector<int>>> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream f(line);
        std::string code;
        f >> code;
        std::vector<int> v;
        for (int x; f >> x;) v.push_back(x);
        rows.emplace_back(code, v);
    }
    return rows;
}

Vek32s* build(const std::vector<std::pair<std::string, Vek32s>>& codes) {
    std::vector<Vek32s> list = {0, 2, 8, 8};
    for (std::size_t length = 1; length <= 16; ++length) {
        const std::size_t count = list.size();
        list.push_back(0);
        for (const auto& [code, value] : codes)
            if (code.size() == length) {
                ++list[count];
                list.push_back(static_cast<Vek32s>(std::stoul(code, nullptr, 2)));
                list.push_back(value);
            }
    }
    list.push_back(-1);
    Vek32s* t = nullptr;
    vekiHuffmanTableInitAlloc_32s(list.data(), &t);
    return t;
}

struct CavlcStream {
    std::array<const Vek32s*, 3> token{};
    std::array<const Vek32s*, 17> zeros{}, run{};
    std::vector<Vek32u> words;
    int blocks = 0;
    bool ok = false;
};

// Writes `blocks` blocks of nC 0 with up to 3 trailing ones and small levels.
CavlcStream make_stream() {
    CavlcStream s;
    std::map<std::pair<int, int>, std::string> token, zeros, run;
    std::vector<std::pair<std::string, Vek32s>> token_codes;
    for (const auto& [code, v] : read_table("h264_coeff_token.txt"))
        if (v.size() == 3 && v[0] == 0) {
            token[{v[1], v[2]}] = code;
            token_codes.emplace_back(code, v[1] | v[2] << 8);
        }
    if (token.empty()) return s;
    s.token = {build(token_codes), nullptr, nullptr};
    std::map<int, std::vector<std::pair<std::string, Vek32s>>> by_total, by_left;
    for (const auto& [code, v] : read_table("h264_total_zeros_4x4.txt")) {
        zeros[{v[0], v[1]}] = code;
        by_total[v[0]].emplace_back(code, v[1]);
    }
    for (const auto& [code, v] : read_table("h264_run_before.txt")) {
        run[{v[0], v[1]}] = code;
        by_left[v[0]].emplace_back(code, v[1]);
    }
    for (auto& [total, codes] : by_total) s.zeros[total] = build(codes);
    for (auto& [left, codes] : by_left) s.run[left] = build(codes);
    for (int left = 8; left <= 16; ++left) s.run[left] = s.run[7];

    std::string bits;
    std::mt19937 rng(99);
    for (s.blocks = 0; s.blocks < 256; ++s.blocks) {
        std::array<int, 16> coef{};
        const int count = 1 + static_cast<int>(rng() % 8);
        for (int i = 0; i < count; ++i) coef[rng() % 10] = (rng() % 4 == 0 ? 2 : 1) * (rng() % 2 ? 1 : -1);
        std::vector<int> levels;
        int last = -1;
        for (int i = 15; i >= 0; --i)
            if (coef[i]) {
                levels.push_back(coef[i]);
                if (last < 0) last = i;
            }
        const int total = static_cast<int>(levels.size());
        int t1 = 0;
        while (t1 < total && t1 < 3 && std::abs(levels[t1]) == 1) ++t1;
        bits += token.at({t1, total});
        for (int i = 0; i < t1; ++i) bits += levels[i] < 0 ? '1' : '0';
        int suffix_length = 0;
        for (int i = t1; i < total; ++i) {  // small levels: plain prefixes only
            int code = levels[i] > 0 ? 2 * levels[i] - 2 : -2 * levels[i] - 1;
            if (i == t1 && t1 < 3) code -= 2;
            bits += std::string(static_cast<std::size_t>(code >> suffix_length), '0') + "1";
            if (suffix_length) bits += (code & 1) ? '1' : '0';
            if (suffix_length == 0) suffix_length = 1;
            if (std::abs(levels[i]) > 3 && suffix_length < 6) ++suffix_length;
        }
        int left = last + 1 - total;
        bits += zeros.at({total, left});
        for (int i = 0, pos = last; i < total - 1 && left > 0; ++i) {
            int r = 0;
            for (--pos; coef[pos] == 0; --pos) ++r;
            bits += run.at({std::min(left, 7), r});
            left -= r;
        }
    }
    s.words.assign(bits.size() / 32 + 4, 0);
    for (std::size_t i = 0; i < bits.size(); ++i)
        if (bits[i] == '1') s.words[i / 32] |= 1u << (31 - i % 32);
    s.ok = true;
    return s;
}

void BM_DecodeCavlc(benchmark::State& state) {
    static const CavlcStream s = make_stream();
    if (!s.ok) {
        state.SkipWithError("tests/data/vlc not found");
        return;
    }
    static const std::array<Vek32s, 16> scan = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};
    alignas(32) std::array<Vek16s, 16 * 256> out{};
    Vek32u* word = const_cast<Vek32u*>(s.words.data());
    Vek32s offset = 31;
    Vek16s* dst = out.data();
    Vek16s num = 0;
    int n = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(vekiDecodeCAVLCCoeffs_H264_1u16s(&word, &offset, &num, &dst, 0, 16, s.token.data(),
                                                                  s.zeros.data(), s.run.data(), scan.data()));
        if (++n == s.blocks) {
            n = 0;
            word = const_cast<Vek32u*>(s.words.data());
            offset = 31;
            dst = out.data();
        }
    }
}
const bool kCavlcCase = [] {
    benchmark::RegisterBenchmark("BM_vekiDecodeCAVLCCoeffs_H264_1u16s/typical", BM_DecodeCavlc);
    return true;
}();

}  // namespace
