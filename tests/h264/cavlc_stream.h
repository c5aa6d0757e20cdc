// Test side of the CAVLC tables: the decoder tables in a chosen level layout,
// owned and asserted on, and the library's preparation asserted on.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "h264/cavlc_tables.h"

namespace cavlc_test {

using namespace cavlc_tables;

struct Free {
    void operator()(Vek32s* t) const { vekiHuffmanTableFree_32s(t); }
};

// The decoder's tables for one level layout and the code maps they come from.
struct Tables : Codes {
    std::vector<std::unique_ptr<Vek32s, Free>> owned;
    std::array<const Vek32s*, 3> token_luma{};  // nC 0-1, 2-3, 4-7
    const Vek32s *token420 = nullptr, *token422 = nullptr;
    std::array<std::array<const Vek32s*, 17>, 3> tz{};  // 4x4, 4:2:0, 4:2:2 by total
    std::array<const Vek32s*, 17> rb{};                 // by zeros left

    explicit Tables(const std::vector<Vek32s>& w = {8, 8}) {
        EXPECT_TRUE(ok) << "tests/data/vlc";
        const auto make = [&](const CodeMap& m, int sel) {
            owned.emplace_back(build(m, sel, w));
            EXPECT_NE(owned.back(), nullptr);
            return owned.back().get();
        };
        token_luma = {make(token, 0), make(token, 2), make(token, 4)};
        token420 = make(token, -1);
        token422 = make(token, -2);
        for (int k = 0; k < 3; ++k)
            for (int total = 1; total <= (k == 0 ? 15 : k == 1 ? 3 : 7); ++total) tz[k][total] = make(zeros[k], total);
        for (int left = 1; left <= 16; ++left) rb[left] = left <= 7 ? make(run, left) : rb[7];
    }
};

// The values a writer reads from a prepared block.
inline std::vector<int> used(const Coded& p) {
    std::vector<int> v = {p.ones, p.signs, p.num, p.zeros};
    v.insert(v.end(), p.levels.begin(), p.levels.begin() + (p.num - p.ones));
    v.insert(v.end(), p.runs.begin(), p.runs.begin() + std::max(p.num - 1, 0));
    return v;
}

// A block prepared by the library, asserted on; fields it leaves unwritten show.
template <class C>
Coded prepare(Form form, const std::array<Vek16s, 16>& raster, int ac = 0, int count = 15) {
    Coded p;
    p.ones = p.signs = p.num = p.zeros = 0xEE;
    EXPECT_EQ(cavlc_tables::prepare<C>(p, form, raster, ac, count), vekStsOk);
    return p;
}

}  // namespace cavlc_test
