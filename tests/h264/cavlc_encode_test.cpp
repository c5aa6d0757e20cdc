// CAVLC preparation: the walk's rules on hand-made blocks, the argument
// checks, and round trips: the prepared values written with the standard's
// code tables and read back by the library's CAVLC decoders.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "vekvc.h"

namespace {

constexpr std::array<Vek32s, 17> kZigzag = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15, 0};
constexpr int kDc422Places[8] = {0, 2, 1, 4, 6, 3, 5, 7};

struct Prepared {
    Vek8u ones = 0xEE, signs = 0xEE, num = 0xEE, zeros = 0xEE;
    std::array<Vek32s, 16> levels{};
    std::array<Vek8u, 16> runs{};
};

// Blocks given in scan order, 16 positions.
Prepared prepare(const std::array<Vek16s, 16>& scan, int ac, int count) {
    std::array<Vek16s, 16> raster{};
    for (int k = 0; k < 16; ++k) raster[kZigzag[k]] = scan[k];
    Prepared p;
    std::array<Vek16s, 16> lv{};
    EXPECT_EQ(vekiEncodeCoeffsCAVLC_H264_16s(raster.data(), ac, kZigzag.data(), count, &p.ones, &p.signs, &p.num,
                                             &p.zeros, lv.data(), p.runs.data()),
              vekStsOk);
    std::copy(lv.begin(), lv.end(), p.levels.begin());
    return p;
}

TEST(CavlcEncode, WalkRules) {
    const struct {
        const char* name;
        std::array<Vek16s, 16> scan;
        int ac, count;
        int ones, signs, num, zeros;
        std::vector<int> levels, runs;
    } cases[] = {
        {"empty: zeros is the range's length", {}, 1, 15, 0, 0, 0, 15, {}, {}},
        {"four ones: the fourth is a level", {1, -1, 0, 1, -1}, 0, 15, 3, 0b101, 4, 1, {1}, {0, 1, 0}},
        {"a 2 above a 1 closes the state", {1, 0, 2}, 0, 15, 0, 0, 2, 1, {2, 1}, {1}},
        {"a 1 above a 2 is a trailing one", {2, 0, -1}, 0, 15, 1, 1, 2, 1, {2}, {1}},
        {"zeros above the highest are not counted", {0, 3, 0, 0, -1}, 0, 15, 1, 1, 2, 3, {3}, {2}},
        {"AC 1 skips position 0", {5, 0, 1}, 1, 15, 1, 0, 1, 1, {}, {}},
        {"Count stops the walk", {0, 1, 0, 0, 0, 7}, 0, 4, 1, 0, 1, 1, {}, {}},
    };
    for (const auto& c : cases) {
        const Prepared p = prepare(c.scan, c.ac, c.count);
        EXPECT_EQ(p.ones, c.ones) << c.name;
        EXPECT_EQ(p.signs, c.signs) << c.name;
        EXPECT_EQ(p.num, c.num) << c.name;
        EXPECT_EQ(p.zeros, c.zeros) << c.name;
        EXPECT_EQ(std::vector<int>(p.levels.begin(), p.levels.begin() + c.levels.size()), c.levels) << c.name;
        EXPECT_EQ(std::vector<int>(p.runs.begin(), p.runs.begin() + c.runs.size()), c.runs) << c.name;
    }
}

TEST(CavlcEncode, ChecksInOrder) {
    std::array<Vek16s, 16> s{};
    std::array<Vek32s, 16> s32{};
    Vek8u o, g, n, z, r[16];
    const Vek32s* scan = kZigzag.data();
    const struct {
        const char* name;
        std::function<VekStatus()> call;
        VekStatus want;
    } cases[] = {
        {"null runs before range",
         [&] { return vekiEncodeCoeffsCAVLC_H264_16s(s.data(), 0, scan, 16, &o, &g, &n, &z, s.data(), nullptr); },
         vekStsNullPtrErr},
        {"Count 16 is past the last position",
         [&] { return vekiEncodeCoeffsCAVLC_H264_16s(s.data(), 0, scan, 16, &o, &g, &n, &z, s.data(), r); },
         vekStsOutOfRangeErr},
        {"Count below AC",
         [&] { return vekiEncodeCoeffsCAVLC_H264_32s(s32.data(), 2, scan, 1, &o, &g, &n, &z, s32.data(), r); },
         vekStsOutOfRangeErr},
        {"only the low byte of Count counts",
         [&] { return vekiEncodeCoeffsCAVLC_H264_32s(s32.data(), 0, scan, 0x10F, &o, &g, &n, &z, s32.data(), r); },
         vekStsOk},
        {"only the low byte of AC counts",
         [&] { return vekiEncodeCoeffsCAVLC_H264_16s(s.data(), 0x201, scan, 15, &o, &g, &n, &z, s.data(), r); },
         vekStsOk},
        {"chroma 2x2: null", [&] { return vekiEncodeChromaDcCoeffsCAVLC_H264_16s(s.data(), &o, &g, &n, nullptr, s.data(), r); },
         vekStsNullPtrErr},
        {"chroma 2x4 32s: null",
         [&] { return vekiEncodeCoeffsCAVLCChromaDC2x4_H264_32s(nullptr, &o, &g, &n, &z, s32.data(), r); },
         vekStsNullPtrErr},
    };
    for (const auto& c : cases) EXPECT_EQ(c.call(), c.want) << c.name;
}

// ---- Round trips through the decoders -------------------------------------------

std::vector<std::pair<std::string, std::vector<int>>> rows(const char* name) {
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

using CodeMap = std::map<std::vector<int>, std::string>;
struct Free {
    void operator()(Vek32s* t) const { vekiHuffmanTableFree_32s(t); }
};

// Code maps to write with and the decoder's tables built from the same files.
struct Tables {
    CodeMap token, zeros[3], run;
    std::vector<std::unique_ptr<Vek32s, Free>> owned;
    std::array<const Vek32s*, 3> token_luma{};
    const Vek32s *token420 = nullptr, *token422 = nullptr;
    std::array<std::array<const Vek32s*, 17>, 3> tz{};
    std::array<const Vek32s*, 17> rb{};

    const Vek32s* build(const CodeMap& m, int sel) {
        std::vector<Vek32s> list = {0, 2, 8, 8};
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
    Tables() {
        for (const auto& [code, v] : rows("h264_coeff_token.txt")) token[v] = code;
        const char* files[] = {"h264_total_zeros_4x4.txt", "h264_total_zeros_chroma_dc_420.txt",
                               "h264_total_zeros_chroma_dc_422.txt"};
        for (int k = 0; k < 3; ++k)
            for (const auto& [code, v] : rows(files[k])) zeros[k][v] = code;
        for (const auto& [code, v] : rows("h264_run_before.txt")) run[v] = code;
        token_luma = {build(token, 0), build(token, 2), build(token, 4)};
        token420 = build(token, -1);
        token422 = build(token, -2);
        for (int k = 0; k < 3; ++k)
            for (int total = 1; total <= (k == 0 ? 15 : k == 1 ? 3 : 7); ++total) tz[k][total] = build(zeros[k], total);
        for (int left = 1; left <= 16; ++left) rb[left] = left <= 7 ? build(run, left) : rb[7];
    }
};

struct BitWriter {
    std::string bits;
    void put(Vek32u v, int n) {
        for (int i = n - 1; i >= 0; --i) bits += (v >> i) & 1 ? '1' : '0';
    }
    std::vector<Vek32u> words() const {
        std::vector<Vek32u> w(bits.size() / 32 + 4, 0);
        for (std::size_t i = 0; i < bits.size(); ++i)
            if (bits[i] == '1') w[i / 32] |= 1u << (31 - i % 32);
        return w;
    }
};

// The standard's residual_block_cavlc syntax written from the prepared values
// alone. form: 0 4x4 (class by nC), 1 4:2:0 DC, 2 4:2:2 DC.
void write(BitWriter& w, const Tables& t, int form, int nc, int capacity, const Prepared& p) {
    const int cls = form == 1 ? -1 : form == 2 ? -2 : nc < 2 ? 0 : nc < 4 ? 2 : 4;
    const int total = p.num, t1 = p.ones;
    w.bits += t.token.at({cls, t1, total});
    if (total == 0) return;
    w.put(p.signs, t1);
    int sl = total > 10 && t1 < 3 ? 1 : 0;
    for (int i = 0; i < total - t1; ++i) {
        const int v = p.levels[i];
        const int code = (v > 0 ? 2 * v - 2 : -2 * v - 1) - (i == 0 && t1 < 3 ? 2 : 0);
        if (code < (sl ? 15 << sl : 14)) {
            w.put(1, (code >> sl) + 1);
            w.put(static_cast<Vek32u>(code), sl);
        } else if (sl == 0 && code < 30) {
            w.put(1, 15);
            w.put(static_cast<Vek32u>(code - 14), 4);
        } else {
            w.put(1, 16);
            w.put(static_cast<Vek32u>(code - (15 << sl) - (sl ? 0 : 15)), 12);
        }
        if (sl == 0) sl = 1;
        if (std::abs(v) > (3 << (sl - 1)) && sl < 6) ++sl;
    }
    int left = p.zeros;
    if (total < capacity) w.bits += t.zeros[form].at({total, left});
    for (int i = 0; i < total - 1 && left > 0; ++i) {
        w.bits += t.run.at({std::min(left, 7), p.runs[i]});
        left -= p.runs[i];
    }
}

TEST(CavlcEncode, RoundTripsThroughTheDecoders) {
    const Tables t;
    std::mt19937 rng(4242);
    const auto level = [&rng] {
        const int limit[] = {2, 2, 3, 40, 2000};
        const int mag = 1 + static_cast<int>(rng() % limit[rng() % 5]);
        return static_cast<Vek16s>(rng() % 2 ? mag : -mag);
    };
    const struct {
        int form, nc, capacity;
    } kinds[] = {{0, 0, 16}, {0, 3, 15}, {0, 5, 16}, {1, 0, 4}, {2, 0, 8}};
    for (const auto& kind : kinds) {
        for (int b = 0; b < 300; ++b) {
            SCOPED_TRACE(::testing::Message() << "form " << kind.form << " block " << b);
            std::array<Vek16s, 16> raster{};
            const int size = kind.form == 0 ? 16 : kind.capacity, first = kind.form == 0 ? 16 - kind.capacity : 0;
            const int density = static_cast<int>(rng() % (size + 1));
            for (int k = first; k < size; ++k)
                if (static_cast<int>(rng() % size) < density) raster[kind.form == 0 ? kZigzag[k] : k] = level();
            Prepared p, p32;
            std::array<Vek16s, 16> lv{};
            std::array<Vek32s, 16> raster32{}, lv32{};
            std::copy(raster.begin(), raster.end(), raster32.begin());
            const auto outs = [](Prepared& q) { return std::make_tuple(&q.ones, &q.signs, &q.num, &q.zeros); };
            auto [o, g, n, z] = outs(p);
            auto [o2, g2, n2, z2] = outs(p32);
            if (kind.form == 0) {
                ASSERT_EQ(vekiEncodeCoeffsCAVLC_H264_16s(raster.data(), first, kZigzag.data(), 15, o, g, n, z,
                                                         lv.data(), p.runs.data()),
                          vekStsOk);
                ASSERT_EQ(vekiEncodeCoeffsCAVLC_H264_32s(raster32.data(), first, kZigzag.data(), 15, o2, g2, n2, z2,
                                                         lv32.data(), p32.runs.data()),
                          vekStsOk);
            } else if (kind.form == 1) {
                ASSERT_EQ(vekiEncodeChromaDcCoeffsCAVLC_H264_16s(raster.data(), o, g, n, z, lv.data(), p.runs.data()),
                          vekStsOk);
                ASSERT_EQ(vekiEncodeCoeffsCAVLCChromaDC2x2_H264_32s(raster32.data(), o2, g2, n2, z2, lv32.data(),
                                                                    p32.runs.data()),
                          vekStsOk);
            } else {
                ASSERT_EQ(vekiEncodeCoeffsCAVLCChromaDC2x4_H264_16s(raster.data(), o, g, n, z, lv.data(),
                                                                    p.runs.data()),
                          vekStsOk);
                ASSERT_EQ(vekiEncodeCoeffsCAVLCChromaDC2x4_H264_32s(raster32.data(), o2, g2, n2, z2, lv32.data(),
                                                                    p32.runs.data()),
                          vekStsOk);
            }
            std::copy(lv.begin(), lv.end(), p.levels.begin());
            p32.levels = lv32;
            ASSERT_EQ(std::tie(p32.ones, p32.signs, p32.num), std::tie(p.ones, p.signs, p.num));
            if (p.num) {
                ASSERT_EQ(p32.zeros, p.zeros);
                for (int i = 0; i < p.num - p.ones; ++i) ASSERT_EQ(p32.levels[i], p.levels[i]);
                for (int i = 0; i + 1 < p.num; ++i) ASSERT_EQ(p32.runs[i], p.runs[i]);
            }

            BitWriter w;
            write(w, t, kind.form, kind.nc, kind.capacity, p);
            const std::vector<Vek32u> stream = w.words();
            Vek32u* word = const_cast<Vek32u*>(stream.data());
            Vek32s offset = 31;
            std::array<Vek16s, 16> out{};
            Vek16s* dst = out.data();
            Vek16s num = -1;
            const VekStatus st =
                kind.form == 0
                    ? vekiDecodeCAVLCCoeffs_H264_1u16s(&word, &offset, &num, &dst, kind.nc, kind.capacity,
                                                       t.token_luma.data(), t.tz[0].data(), t.rb.data(),
                                                       kZigzag.data())
                : kind.form == 1
                    ? vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(&word, &offset, &num, &dst, t.token420,
                                                               t.tz[1].data(), t.rb.data())
                    : vekiDecodeCAVLCChroma422DcCoeffs_H264_1u16s(&word, &offset, &num, &dst, t.token422,
                                                                  t.tz[2].data(), t.rb.data());
            ASSERT_EQ(st, vekStsOk);
            ASSERT_EQ(num, p.num);
            ASSERT_EQ((word - stream.data()) * 32 + 31 - offset, static_cast<long>(w.bits.size()));
            if (kind.form == 2) {  // the 4:2:2 decoder's places are the raster places of the block
                std::array<Vek16s, 16> want{};
                for (int k = 0; k < 8; ++k) want[kDc422Places[k]] = raster[kDc422Places[k]];
                ASSERT_EQ(out, want);
            } else {
                ASSERT_EQ(out, raster);
            }
        }
    }
}

}  // namespace
