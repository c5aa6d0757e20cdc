// Test side of AVS block coding, independent of the library's tables: the
// code tables from tests/data/avs, a word-cursor bit writer and an encoder
// that turns run/level pairs into table codes or escapes.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "vekvc.h"

namespace avs_test {

// Raster place of each frame-scan position.
constexpr int kFrameScan[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
                                41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
                                30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

struct Table {
    std::map<std::pair<int, int>, int> code;  // (run, level) -> code number
    std::vector<std::pair<int, int>> pairs;   // by code number, codes 0..58
    std::vector<int> add;                     // level-add by run, 32 entries
    int eob = -1;
};

// The kind of block: its tables, orders and limits.
struct Kind {
    const char* prefix;
    std::vector<int> order;  // Exp-Golomb order of the code number by table
    int escape_order;
    std::vector<int> max_run;
    int cap;
    std::vector<int> bound;  // table t + 1 takes magnitudes up to bound[t]
    std::vector<Table> tables;
};

inline std::vector<Table> read_tables(const std::string& prefix) {
    std::ifstream in(std::filesystem::path(__FILE__).parent_path() / ".." / "data" / "avs" / "vlc_tables.txt");
    EXPECT_TRUE(in.good());
    std::vector<Table> out;
    for (std::string line; std::getline(in, line);) {
        std::istringstream f(line);
        std::string name, e;
        f >> name;
        if (name.find(prefix) == std::string::npos) continue;
        Table t;
        while (f >> e && e != "|") {
            const int run = e == "EOB" ? 64 : std::stoi(e.substr(0, e.find('/')));
            const int level = e == "EOB" ? 0 : std::stoi(e.substr(e.find('/') + 1));
            if (e == "EOB") t.eob = static_cast<int>(t.pairs.size());
            for (int sign : {1, -1}) {
                if (t.pairs.size() == 59) break;
                t.code.emplace(std::make_pair(run, sign * level), static_cast<int>(t.pairs.size()));
                t.pairs.emplace_back(run, sign * level);
            }
        }
        for (int a; f >> a;) t.add.push_back(a);
        t.add.resize(32, 0);
        out.push_back(t);
    }
    return out;
}

inline Kind intra() {
    return {"Intra", {2, 2, 2, 2, 2, 2, 2}, 1, {22, 14, 9, 6, 6, 4, 4, 4, 2, 2, 2, 1}, 11, {1, 2, 4, 7, 10, 65535},
            read_tables("_Intra")};
}
inline Kind inter() {
    return {"Inter", {3, 2, 2, 2, 2, 2, 2}, 0, {25, 18, 13, 9, 6, 6, 6, 4, 4, 4, 3}, 10, {1, 2, 3, 6, 9, 65535},
            read_tables("_Inter")};
}
inline Kind chroma() {
    return {"Chroma", {2, 0, 1, 1, 0}, 0, {24, 19, 10, 7, 7, 4}, 5, {1, 2, 4, 65535}, read_tables("_Chroma")};
}

// Words in host order, bit 31 first, as the word cursor reads them.
struct WordWriter {
    std::vector<Vek32u> words;
    std::uint64_t bits = 0;
    void put_bit(int b) {
        if (bits % 32 == 0) words.push_back(0);
        if (b) words.back() |= 0x80000000u >> (bits % 32);
        ++bits;
    }
    void put(std::uint64_t v, int n) { for (int i = n - 1; i >= 0; --i) put_bit(static_cast<int>((v >> i) & 1)); }
    // Order-k Exp-Golomb of v: v + 2^k written after as many zeros as it has bits past k + 1.
    void exp_golomb(std::uint64_t v, int k) {
        const std::uint64_t x = v + (std::uint64_t{1} << k);
        int len = 0;
        while ((x >> len) > 1) ++len;
        put(0, len - k);
        put(x, len + 1);
    }
};

// Encodes pairs (stream order, highest frequency first) as the decoder's
// tables allow, escapes where forced or where the table has no code; tracks
// the table as the decoder will. force_escape escapes a pair the table holds.
struct Encoder {
    const Kind& kind;
    WordWriter& w;
    int table = 0;
    int largest = 0;
    int pos = 0;
    void pair(int run, int level, bool force_escape = false) {
        const Table& t = kind.tables[table];
        const int mag = level < 0 ? -level : level;
        const auto it = t.code.find({run, level});
        if (it != t.code.end() && !force_escape) {
            w.exp_golomb(static_cast<std::uint64_t>(it->second), kind.order[table]);
        } else {
            const int capped = largest < kind.cap ? largest : kind.cap;
            const int add = run <= kind.max_run[capped] ? t.add[run] : 1;
            ASSERT_GE(mag, add) << "no escape for run " << run << " level " << level;
            w.exp_golomb(static_cast<std::uint64_t>(59 + 2 * run + (level > 0)), kind.order[table]);
            w.exp_golomb(static_cast<std::uint64_t>(mag - add), kind.escape_order);
        }
        if (mag > largest) {
            std::size_t b = 0;
            while (b + 1 < kind.bound.size() && mag > kind.bound[b]) ++b;
            table = static_cast<int>(b) + 1;
            largest = kind.bound[b];
        }
        pos += run + 1;
    }
    void eob() { w.exp_golomb(static_cast<std::uint64_t>(kind.tables[table].eob), kind.order[table]); }
};

}  // namespace avs_test
