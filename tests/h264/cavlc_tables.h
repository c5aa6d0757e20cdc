// CAVLC code tables and a block writer, free of any test framework so that the
// benchmarks share them: the code-table files of tests/data/vlc as code maps,
// decoder tables built from their rows by the library's builder, a bit writer,
// and a block writer that works from a block's coded values alone.
#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "vekvc.h"

namespace cavlc_tables {

enum Form { kLuma, kDc420, kDc422 };

// Rows of a table file: the code and its numbers; none when the file is missing.
inline std::vector<std::pair<std::string, std::vector<int>>> rows(const char* name) {
    std::ifstream in(std::filesystem::path(__FILE__).parent_path() / ".." / "data" / "vlc" / name);
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

// The standard's code maps; total zeros by form. `ok` tells whether every file was found.
struct Codes {
    CodeMap token, zeros[3], run;
    bool ok = true;
    Codes() {
        const char* files[] = {"h264_coeff_token.txt", "h264_total_zeros_4x4.txt",
                               "h264_total_zeros_chroma_dc_420.txt", "h264_total_zeros_chroma_dc_422.txt",
                               "h264_run_before.txt"};
        CodeMap* maps[] = {&token, &zeros[0], &zeros[1], &zeros[2], &run};
        for (int k = 0; k < 5; ++k) {
            for (const auto& [code, v] : rows(files[k])) (*maps[k])[v] = code;
            ok = ok && !maps[k]->empty();
        }
    }
};

// A decoder table of the rows whose first number is `sel`, the value packing
// the others a byte apart, in the given level widths; null if the builder
// refuses. The caller frees it.
inline Vek32s* build(const CodeMap& m, int sel, const std::vector<Vek32s>& widths) {
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
    return vekiHuffmanTableInitAlloc_32s(list.data(), &t) == vekStsOk ? t : nullptr;
}

// Bits in order into words, bit 31 first; `fill` pads past the end.
struct BitWriter {
    std::string bits;
    void put(Vek32u v, int n) {
        for (int i = n - 1; i >= 0; --i) bits += (v >> i) & 1 ? '1' : '0';
    }
    std::vector<Vek32u> words(Vek32u fill = 0) const {
        std::vector<Vek32u> w(bits.size() / 32 + 4, 0);
        for (std::size_t i = 0; i < w.size() * 32; ++i)
            if (i < bits.size() ? bits[i] == '1' : (fill >> (31 - i % 32)) & 1) w[i / 32] |= 1u << (31 - i % 32);
        return w;
    }
};

// A block's coded values: trailing ones and their signs (the highest in
// frequency in the top bit), total, total zeros, the other levels highest in
// frequency first, and the run before each coefficient in that order.
struct Coded {
    Vek8u ones = 0, signs = 0, num = 0, zeros = 0;
    std::array<Vek32s, 16> levels{};
    std::array<Vek8u, 16> runs{};
};

constexpr std::array<Vek32s, 17> kZigzag = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15, 0};

// A raster block through the 16-bit or 32-bit CAVLC preparation of the
// library for its form (4x4: positions Count down to AC in zigzag order).
template <class C>
VekStatus prepare(Coded& p, Form form, const std::array<Vek16s, 16>& raster, int ac = 0, int count = 15) {
    std::array<C, 16> src{}, lv{};
    std::copy(raster.begin(), raster.end(), src.begin());
    auto *const o = &p.ones, *const g = &p.signs, *const n = &p.num, *const z = &p.zeros, *const r = p.runs.data();
    VekStatus st;
    const Vek32s* scan = kZigzag.data();
    C *s = src.data(), *l = lv.data();
    if constexpr (std::is_same_v<C, Vek16s>)
        st = form == kLuma    ? vekiEncodeCoeffsCAVLC_H264_16s(s, ac, scan, count, o, g, n, z, l, r)
             : form == kDc420 ? vekiEncodeChromaDcCoeffsCAVLC_H264_16s(s, o, g, n, z, l, r)
                              : vekiEncodeCoeffsCAVLCChromaDC2x4_H264_16s(s, o, g, n, z, l, r);
    else
        st = form == kLuma    ? vekiEncodeCoeffsCAVLC_H264_32s(s, ac, scan, count, o, g, n, z, l, r)
             : form == kDc420 ? vekiEncodeCoeffsCAVLCChromaDC2x2_H264_32s(s, o, g, n, z, l, r)
                              : vekiEncodeCoeffsCAVLCChromaDC2x4_H264_32s(s, o, g, n, z, l, r);
    std::copy(lv.begin(), lv.end(), p.levels.begin());
    return st;
}

// One block with the code tables: the token (class by nC, or the DC form),
// trailing-one signs, levels as prefix and suffix codes with escapes past
// prefix 15, total zeros, runs.
inline void write_block(BitWriter& w, const Codes& t, Form form, int nc, int capacity, const Coded& p) {
    w.bits += t.token.at({form == kDc420 ? -1 : form == kDc422 ? -2 : nc < 2 ? 0 : nc < 4 ? 2 : nc < 8 ? 4 : 8, p.ones,
                          p.num});
    if (!p.num) return;
    w.put(p.signs, p.ones);
    for (int i = 0, sl = p.num > 10 && p.ones < 3; i < p.num - p.ones; ++i) {
        const int v = p.levels[i];
        const int code = (v > 0 ? 2 * v - 2 : -2 * v - 1) - (i == 0 && p.ones < 3 ? 2 : 0);
        if (code < (sl ? 15 << sl : 14)) {
            w.put(1, (code >> sl) + 1);
            w.put(static_cast<Vek32u>(code), sl);
        } else if (sl == 0 && code < 30) {
            w.put(1, 15);
            w.put(static_cast<Vek32u>(code - 14), 4);
        } else {
            const int esc = code - (15 << sl) - (sl ? 0 : 15);
            int prefix = 15;
            while (esc >= (prefix == 15 ? 4096 : (1 << (prefix - 2)) - 4096)) ++prefix;
            w.put(1, prefix + 1);
            w.put(static_cast<Vek32u>(esc - (prefix == 15 ? 0 : (1 << (prefix - 3)) - 4096)),
                  prefix == 15 ? 12 : prefix - 3);
        }
        if (sl == 0) sl = 1;
        if (std::abs(v) > (3 << (sl - 1)) && sl < 6) ++sl;
    }
    if (p.num < capacity) w.bits += t.zeros[form].at({p.num, p.zeros});
    for (int i = 0, left = p.zeros; i < p.num - 1 && left > 0; left -= p.runs[i++])
        w.bits += t.run.at({std::min(left, 7), p.runs[i]});
}

}  // namespace cavlc_tables
