// Test side of MPEG-4 texture coding, independent of the library's tables:
// code tables from tests/data/vlc, a byte-stream bit writer and an encoder
// of blocks into ordinary codes (every escape form) or reversible codes.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "vekvc.h"

namespace mpeg4_test {

struct CodeTable {
    std::map<std::tuple<int, int, int>, std::string> codes;  // (last, run, |level|) -> code, no sign
    std::string escape;
    std::map<std::pair<int, int>, int> lmax, rmax;  // largest level by (last, run), run by (last, level)
};

// Rows of numbers after a code; `meaning` picks B-23's intra (0) or inter (1)
// triple. A DC size table (one number a row) gives (0, size, 0) -> code.
inline CodeTable read_table(const char* name, int meaning = 0) {
    std::ifstream in(std::filesystem::path(__FILE__).parent_path() / ".." / "data" / "vlc" / name);
    EXPECT_TRUE(in.good()) << name;
    CodeTable t;
    for (std::string line, bits; std::getline(in, line);) {
        std::istringstream f(line);
        std::vector<int> v;
        if (line[0] == '#' || !(f >> bits)) continue;
        for (int x; f >> x;) v.push_back(x);
        if (v.size() < 4) {
            t.codes[{0, v[0], 0}] = bits;
        } else if (v.back() == 2) {
            t.escape = bits;
        } else {
            const int last = v[3 * meaning], run = v[3 * meaning + 1], level = v[3 * meaning + 2];
            t.codes[{last, run, level}] = bits;
            t.lmax[{last, run}] = std::max(t.lmax[{last, run}], level);
            t.rmax[{last, level}] = std::max(t.rmax[{last, level}], run);
        }
    }
    return t;
}

struct BitWriter {
    std::vector<Vek8u> bytes;
    std::size_t bits = 0;
    void put(std::uint32_t v, int n) {
        for (int i = n - 1; i >= 0; --i, ++bits) {
            if (bits % 8 == 0) bytes.push_back(0);
            if ((v >> i) & 1) bytes.back() |= static_cast<Vek8u>(0x80 >> (bits % 8));
        }
    }
    void put(const std::string& s) {
        for (char c : s) put(c == '1', 1);
    }
};

struct Coef {
    int last, run, level;
};

enum class Form { kDirect, kType1, kType2, kType3 };

// The forms that can carry c: the code itself, the level offset (type 1),
// the run offset (type 2, RMAX + 1 added), and the fixed length (type 3).
inline std::vector<Form> forms_for(const CodeTable& t, const Coef& c) {
    std::vector<Form> f;
    const int a = std::abs(c.level);
    if (t.codes.count({c.last, c.run, a})) f.push_back(Form::kDirect);
    if (t.lmax.count({c.last, c.run}) && t.codes.count({c.last, c.run, a - t.lmax.at({c.last, c.run})}))
        f.push_back(Form::kType1);
    if (t.rmax.count({c.last, a}) && t.codes.count({c.last, c.run - t.rmax.at({c.last, a}) - 1, a}))
        f.push_back(Form::kType2);
    f.push_back(Form::kType3);
    return f;
}

inline void put_tcoef(BitWriter& w, const CodeTable& t, const Coef& c, Form form) {
    const int a = std::abs(c.level);
    if (form == Form::kType3) {
        w.put(t.escape + "11");
        w.put(c.last, 1), w.put(c.run, 6), w.put(1, 1), w.put(c.level & 0xFFF, 12), w.put(1, 1);
        return;
    }
    if (form == Form::kDirect) w.put(t.codes.at({c.last, c.run, a}));
    if (form == Form::kType1) w.put(t.escape + "0" + t.codes.at({c.last, c.run, a - t.lmax.at({c.last, c.run})}));
    if (form == Form::kType2) w.put(t.escape + "10" + t.codes.at({c.last, c.run - t.rmax.at({c.last, a}) - 1, a}));
    w.put(c.level < 0, 1);
}

// Reversible: the code if there is one and no escape is forced, else
// 00001 last run marker magnitude marker 0000, then the sign.
inline void put_rvlc(BitWriter& w, const CodeTable& t, const Coef& c, bool force_escape) {
    const auto it = t.codes.find({c.last, c.run, std::abs(c.level)});
    if (it != t.codes.end() && !force_escape) {
        w.put(it->second);
    } else {
        w.put("00001");
        w.put(c.last, 1), w.put(c.run, 6), w.put(1, 1), w.put(std::abs(c.level), 11), w.put(1, 1), w.put("0000");
    }
    w.put(c.level < 0, 1);
}

// A random block after position `start`: runs that fit (up to 63), levels
// mostly small, some up to max_level; the final coefficient has last = 1.
inline std::vector<Coef> random_block(std::mt19937& rng, int start, int max_level) {
    std::vector<Coef> block;
    for (int k = start;;) {
        const int room = 62 - k;
        const int run = room <= 0 ? 0 : static_cast<int>(rng() % (rng() % 4 ? std::min(room + 1, 3) : room + 1));
        k += run + 1;
        const int level = 1 + static_cast<int>(rng() % (rng() % 3 ? 3 : max_level));
        block.push_back({k >= 63 || rng() % 8 == 0, run, rng() & 1 ? -level : level});
        if (block.back().last) return block;
    }
}

// The coefficients of a block placed through `scan` (null: natural order).
inline std::array<Vek16s, 64> place(const std::vector<Coef>& block, int start, const Vek8u* scan) {
    std::array<Vek16s, 64> out{};
    for (const Coef& c : block) out[scan ? scan[start += c.run + 1] : (start += c.run + 1)] = static_cast<Vek16s>(c.level);
    return out;
}

inline unsigned test_seed(const char* what) {
    const char* env = std::getenv("VEK_TEST_SEED");
    const unsigned seed = env ? static_cast<unsigned>(std::strtoul(env, nullptr, 0)) : 4242u;
    std::printf("%s seed %u (set VEK_TEST_SEED to override)\n", what, seed);
    return seed;
}

}  // namespace mpeg4_test
