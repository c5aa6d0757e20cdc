// Test side of the MPEG-1/2 code tables: rows of tests/data/vlc as codes and
// the code lists the library's table builders take.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "vekvc.h"

namespace mpeg2_test {

using List = std::vector<Vek32s>;

struct Code {
    Vek32u code;  // right-aligned; may carry bits above the length on purpose
    int length;
    List fields;  // (value) or (first, second)
};

inline Code code(const std::string& bits, List fields = {}) {
    Vek32u v = 0;
    for (char b : bits) v = (v << 1) | (b == '1' ? 1u : 0u);
    return {v, static_cast<int>(bits.size()), std::move(fields)};
}

// Word 0 is not read; then the level count, the widths, and the groups of
// lengths 1..32 in the order the codes are given, ending in a negative count.
inline List make_list(const List& widths, const std::vector<Code>& codes) {
    List list = {0x7777, static_cast<Vek32s>(widths.size())};
    list.insert(list.end(), widths.begin(), widths.end());
    for (int length = 1; length <= 32; ++length) {
        const std::size_t count = list.size();
        list.push_back(0);
        for (const Code& c : codes) {
            if (c.length != length) continue;
            ++list[count];
            list.push_back(static_cast<Vek32s>(c.code));
            list.insert(list.end(), c.fields.begin(), c.fields.end());
        }
    }
    list.push_back(-1);
    return list;
}

// A table file as codes: B.14 rows (code, run, |level|, kind) give (run, level)
// with the sign bit appended, end of block run 254 and escape 255; the
// first-coefficient variant (kind 3) is a separate code and left out. Rows of
// two columns give (code, value).
inline std::vector<Code> read_codes(const char* name) {
    std::ifstream in(std::filesystem::path(__FILE__).parent_path() / ".." / "data" / "vlc" / name);
    EXPECT_TRUE(in.good()) << name;
    std::vector<Code> out;
    for (std::string line, bits; std::getline(in, line);) {
        std::istringstream fields(line);
        int run = 0, level = 0, kind = -1;
        if (!(fields >> bits >> run) || bits[0] == '#') continue;
        if (!(fields >> level >> kind)) out.push_back(code(bits, {run}));
        if (kind == 0) out.push_back(code(bits + "0", {run, level}));
        if (kind == 0) out.push_back(code(bits + "1", {run, -level}));
        if (kind == 1 || kind == 2) out.push_back(code(bits, {253 + kind, 0}));
    }
    return out;
}

// The code of the given fields, or null.
inline const Code* find(const std::vector<Code>& codes, const List& fields) {
    for (const Code& c : codes)
        if (c.fields == fields) return &c;
    return nullptr;
}

}  // namespace mpeg2_test
