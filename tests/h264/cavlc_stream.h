// Test-side helpers shared by the CAVLC tests: a bit writer, the code-table
// loader (tests/data/vlc), the decoder tables built from the same rows, and a
// block writer fed from the library's CAVLC preparation.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "vekvc.h"

namespace cavlc_test {

constexpr std::array<Vek32s, 17> kZigzag = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15, 0};
constexpr int kDc422Places[8] = {0, 2, 1, 4, 6, 3, 5, 7};
enum Form { kLuma, kDc420, kDc422 };

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

// Rows of a table file: the code and its numbers.
inline std::vector<std::pair<std::string, std::vector<int>>> rows(const char* name) {
    std::ifstream in(std::filesystem::path(__FILE__).parent_path() / ".." / "data" / "vlc" / name);
    EXPECT_TRUE(in.good()) << name;
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
struct Free {
    void operator()(Vek32s* t) const { vekiHuffmanTableFree_32s(t); }
};

// The decoder's tables for one level layout, built by the library's builder,
// and the code maps the test writer writes from.
struct Tables {
    CodeMap token, zeros[3], run;
    std::vector<std::unique_ptr<Vek32s, Free>> owned;
    std::array<const Vek32s*, 3> token_luma{};  // nC 0-1, 2-3, 4-7
    const Vek32s *token420 = nullptr, *token422 = nullptr;
    std::array<std::array<const Vek32s*, 17>, 3> tz{};  // 4x4, 4:2:0, 4:2:2 by total
    std::array<const Vek32s*, 17> rb{};                 // by zeros left

    // A table of the rows whose first number is `sel`; the value packs the others a byte apart.
    const Vek32s* build(const CodeMap& m, int sel, const std::vector<Vek32s>& widths) {
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
        EXPECT_EQ(vekiHuffmanTableInitAlloc_32s(list.data(), &t), vekStsOk);
        return owned.emplace_back(t).get();
    }
    explicit Tables(const std::vector<Vek32s>& w = {8, 8}) {
        for (const auto& [code, v] : rows("h264_coeff_token.txt")) token[v] = code;
        const char* files[] = {"h264_total_zeros_4x4.txt", "h264_total_zeros_chroma_dc_420.txt",
                               "h264_total_zeros_chroma_dc_422.txt"};
        for (int k = 0; k < 3; ++k)
            for (const auto& [code, v] : rows(files[k])) zeros[k][v] = code;
        for (const auto& [code, v] : rows("h264_run_before.txt")) run[v] = code;
        token_luma = {build(token, 0, w), build(token, 2, w), build(token, 4, w)};
        token420 = build(token, -1, w);
        token422 = build(token, -2, w);
        for (int k = 0; k < 3; ++k)
            for (int total = 1; total <= (k == 0 ? 15 : k == 1 ? 3 : 7); ++total)
                tz[k][total] = build(zeros[k], total, w);
        for (int left = 1; left <= 16; ++left) rb[left] = left <= 7 ? build(run, left, w) : rb[7];
    }
};

// What the library's preparation gives for one block.
struct Prepared {
    Vek8u ones = 0xEE, signs = 0xEE, num = 0xEE, zeros = 0xEE;
    std::array<Vek32s, 16> levels{};
    std::array<Vek8u, 16> runs{};
    std::vector<int> used() const {  // the values a writer reads
        std::vector<int> v = {ones, signs, num, zeros};
        v.insert(v.end(), levels.begin(), levels.begin() + (num - ones));
        v.insert(v.end(), runs.begin(), runs.begin() + std::max(num - 1, 0));
        return v;
    }
};

// A raster block through the 16-bit or 32-bit preparation of its form (4x4:
// positions Count down to AC through the zigzag scan).
template <class C>
Prepared prepare(Form form, const std::array<Vek16s, 16>& raster, int ac = 0, int count = 15) {
    std::array<C, 16> src{}, lv{};
    std::copy(raster.begin(), raster.end(), src.begin());
    Prepared p;
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
    EXPECT_EQ(st, vekStsOk);
    std::copy(lv.begin(), lv.end(), p.levels.begin());
    return p;
}

// A block written from its prepared values alone, with the code tables: the
// token (class by nC, or the DC form), trailing-one signs, levels as prefix
// and suffix codes with escapes past prefix 15, total zeros, runs.
inline void write_block(BitWriter& w, const Tables& t, Form form, int nc, int capacity, const Prepared& p) {
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

}  // namespace cavlc_test
