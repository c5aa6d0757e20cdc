// DV segment decoding: contracts, the code table against the code listing,
// single codes, segments written with lending inside the macroblock and across
// the segment and decoded back exactly, and the segments of real DV frames.
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "dv/huffman.h"
#include "dv_writer.h"
#include "frame/tables.h"
#include "vekvc.h"

namespace {

using namespace vek::dv;
using namespace vek::dv::test;

using DecodeFn = VekStatus(const Vek8u*, const Vek32u*, const Vek32u*, Vek16s*, Vek32u*);
DecodeFn* const kFull = &vekiHuffmanDecodeSegment_DV_8u16s;
DecodeFn* const kOnePass = &vekiHuffmanDecodeSegmentOnePass_DV_8u16s;
DecodeFn* const kDv100 = &vekiHuffmanDecodeSegment_DV100_8u16s;

struct Decoded {
    std::vector<Vek16s> coef;
    std::vector<Vek32u> param;
    std::vector<Vek16s> block(int b) const { return {coef.begin() + 64 * b, coef.begin() + 64 * b + 64}; }
};

Decoded decode(DecodeFn* fn, const std::vector<std::uint8_t>& seg, int blocks) {
    Decoded d{std::vector<Vek16s>(std::size_t(64 * blocks)), std::vector<Vek32u>(std::size_t(blocks))};
    EXPECT_EQ(fn(seg.data(), nullptr, nullptr, d.coef.data(), d.param.data()), vekStsOk);
    return d;
}

TEST(DvSegment, NullPointers) {
    std::vector<std::uint8_t> seg(400);
    std::vector<Vek16s> coef(64 * 40);
    std::vector<Vek32u> param(40, 7);
    for (DecodeFn* fn : {kFull, kOnePass, kDv100}) {
        EXPECT_EQ(fn(nullptr, nullptr, nullptr, coef.data(), param.data()), vekStsNullPtrErr);
        EXPECT_EQ(fn(seg.data(), nullptr, nullptr, nullptr, param.data()), vekStsNullPtrErr);
        EXPECT_EQ(fn(seg.data(), nullptr, nullptr, coef.data(), nullptr), vekStsNullPtrErr);
        EXPECT_EQ(param[0], 7u);
    }
}

// The whole code table against the published listing, by length in code
// order ("r/l" a level, two codes with the sign last; "e" end of block; "zN" N
// zeros), canonical from 000 up to the escape 1111111; and both scan rows.
TEST(DvSegment, CodeTableMatchesTheListing) {
    const char* const listing[] = {
        "0/1", "0/2 e", "1/1 0/3 0/4", "2/1 1/2 0/5 0/6", "3/1 4/1 0/7 0/8", "5/1 6/1 2/2 1/3 1/4 0/9 0/10 0/11",
        "7/1 8/1 9/1 10/1 3/2 4/2 2/3 1/5 1/6 1/7 0/12 0/13 0/14 0/15 0/16 0/17",
        "11/1 12/1 13/1 14/1 5/2 6/2 3/3 4/3 2/4 2/5 1/8 0/18 0/19 0/20 0/21 0/22", "5/3 3/4 3/5 2/6 1/9 1/10 1/11 z1 z2",
        "6/3 4/4 3/6 1/12 1/13 1/14 z3 z4 z5 z6", "7/2 8/2 9/2 10/2 7/3 8/3 4/5 3/7 2/7 2/8 2/9 2/10 2/11 1/15 1/16 1/17"};
    std::vector<CodeEntry> want[2] = {std::vector<CodeEntry>(512), std::vector<CodeEntry>(1024)};  // short, long
    int code = 0, length = 3;
    const auto add = [&](int advance, int value) {  // every index the code is looked up by
        const int spare = length <= 9 ? 9 - length : 13 - length;
        for (int k = 0; k < 1 << spare; ++k)
            want[length > 9][std::size_t(((code << spare) + k) & 1023)] = {std::uint8_t(length), std::uint8_t(advance),
                                                                           std::int16_t(value)};
        ++code;
    };
    for (const char* line : listing) {
        std::istringstream in(line);
        for (std::string t; in >> t;) {
            if (t == "e") add(kEndOfBlock, 0);
            else if (t[0] == 'z') add(std::stoi(t.substr(1)), 0);
            else {
                const int run = std::stoi(t), level = 64 * std::stoi(t.substr(t.find('/') + 1));
                add(run + 1, level), add(run + 1, -level);
            }
        }
        for (int n = 1; length == 13 && n <= 64; ++n) add(n, 0);
        code <<= 1, ++length;
    }
    EXPECT_EQ(code, 127 << 7);  // the escape prefix follows the last code
    const auto same = [](CodeEntry a, CodeEntry b) { return a.length == b.length && a.advance == b.advance && a.value == b.value; };
    for (int i = 0; i < kLongPrefix; ++i) EXPECT_TRUE(same(_const_table.short_codes[i], want[0][std::size_t(i)])) << i;
    for (int i = 512; i < 960; ++i) EXPECT_TRUE(same(_const_table.long_codes[i], want[1][std::size_t(i)])) << "long " << i;
    // Mode 0 is the zigzag scan, which the frame tests hold to its published form.
    const Vek8u field_scan[64] = {
        0,  32, 1,  33, 8,  40, 2,  34, 9,  41, 16, 48, 24, 56, 17, 49, 10, 42, 3,  35, 4,  36,
        11, 43, 18, 50, 25, 57, 26, 58, 19, 51, 12, 44, 5,  37, 6,  38, 13, 45, 20, 52, 27, 59,
        28, 60, 21, 53, 14, 46, 7,  39, 15, 47, 22, 54, 29, 61, 30, 62, 23, 55, 31, 63};
    EXPECT_TRUE(std::equal(vek::ownvc_Zigzag.begin(), vek::ownvc_Zigzag.end(), _const_table.scan[0]));
    EXPECT_TRUE(std::equal(field_scan, field_scan + 64, _const_table.scan[1]));
}

// How the decoder walks single codes: one in block 0 behind DC 0, every other
// block empty.
TEST(DvSegment, CodesOfTheListing) {
    const struct {
        const char* bits;
        int position;  // raster place written, -1 none
        int value;
        bool eob;      // the block ended with end of block
        int counter;   // final position less 64
    } cases[] = {
        {"001", 1, -64, true, -62},                      // 0/1 negative, 3 bits
        {"11111001111" "000", 16, 64, true, -60},        // z2 then 0/1 at position 3 (raster 16)
        {"1111101100000", 17, 2 * 64, true, -55},        // 7/2, first 13-bit code: position 8
        {"1111110000000" "000", 8, 64, true, -61},       // 13-bit z1, then 0/1 at position 2
        {"1111110111110", -1, 0, true, 0},               // z63 fills position 63; the end of block still counts
        {"1111110111111", -1, 0, false, -63},            // z64 goes past 63: the block ends without end of block
        {"1111111" "11111111" "1", 1, -255 * 64, true, -62},  // escape
        {"1111111" "00000011" "0", 1, 3 * 64, true, -62},
    };
    for (const auto& c : cases) {
        const int qno[5] = {1, 2, 3, 4, 5};
        std::vector<std::uint8_t> seg;
        ASSERT_TRUE(write_segment(kLayoutDV25, std::vector<TestBlock>(30), qno, seg));
        // Block 0 holds 100 AC bits from bit 44; overwrite its end of block.
        const std::string bits = std::string(c.bits) + "0110";
        for (std::size_t i = 0, at = 44; i < 100; ++i, ++at)
            seg[at >> 3] = std::uint8_t((seg[at >> 3] & ~(0x80 >> (at & 7))) | (i < bits.size() && bits[i] == '1' ? 0x80 >> (at & 7) : 0));
        const Decoded d = decode(kFull, seg, 30);
        std::vector<Vek16s> want(64);
        if (c.position >= 0) want[std::size_t(c.position)] = Vek16s(c.value);
        EXPECT_EQ(d.block(0), want) << c.bits;
        EXPECT_EQ(d.param[0], Vek32u(c.eob) | (Vek32u(c.counter) & 0xFF) << 8 | 1u << 16) << c.bits;
    }
}

// Random blocks with the requested bit budget per block; levels mostly small,
// with long runs and escapes among them. Position 63 stays empty: a block
// that fills it ends there, and an end of block behind it is read only
// from the block's own space.
TestBlock random_block(std::mt19937& rng, int target_bits) {
    TestBlock b{int(rng() % 512) - 256, int(rng() & 1), int(rng() % 4), {}};
    for (int pos = 0; int(code_block(b).size()) < target_bits;) {
        const int step = (rng() % 4 == 0) ? 1 + int(rng() % 20) : 1 + int(rng() % 3);
        if (pos + step > 62) break;
        pos += step;
        const int mag = (rng() % 8 == 0) ? 1 + int(rng() % 255) : 1 + int(rng() % 6);
        b.ac.push_back({pos, (rng() & 1) ? mag : -mag});
    }
    return b;
}

std::vector<Vek16s> expected_coefs(const TestBlock& b) {
    std::vector<Vek16s> c(64);
    c[0] = Vek16s(b.dc * 128);
    for (const auto& [pos, level] : b.ac) c[_const_table.scan[b.mode][pos]] = Vek16s(level * 64);
    return c;
}

// End of block, mode and class, final position counter, quantisation number.
Vek32u expected_param(const TestBlock& b, int qno) {
    const int last = b.ac.empty() ? 0 : b.ac.back().first;
    return 1u | Vek32u(b.mode << 6 | b.cls << 4) | (Vek32u(last - 63) & 0xFF) << 8 | Vek32u(qno) << 16;
}

TEST(DvSegment, WrittenSegmentsDecodeBack) {
    const struct {
        const char* name;
        const SegmentLayout& layout;
        DecodeFn* fn;
        // Bit budget of block k of macroblock m (own space: 100 luma, 68 chroma).
        int (*budget)(int m, int k, std::mt19937& rng);
        int borrows;  // 1: some block must overflow its space, 0: none may, -1: either
    } cases[] = {
        {"empty blocks", kLayoutDV25, kFull, [](int, int, std::mt19937&) { return 0; }, 0},
        {"all fit", kLayoutDV25, kFull, [](int, int k, std::mt19937& r) { return int(r() % (k < 4 ? 70 : 40)); }, 0},
        // Luma overflows into the chroma blocks of the same macroblock.
        {"inside macroblock", kLayoutDV25, kFull,
         [](int, int k, std::mt19937& r) { return k < 4 ? 100 + int(r() % 20) : 4; }, 1},
        // Macroblocks 0 and 1 overflow everything; 2 to 4 are nearly empty.
        {"across segment", kLayoutDV25, kFull,
         [](int m, int k, std::mt19937& r) { return m < 2 ? (k < 4 ? 150 : 90) + int(r() % 30) : 4; }, 1},
        {"mixed", kLayoutDV25, kFull, [](int m, int, std::mt19937& r) { return int(r() % (m == 3 ? 200 : 110)); }, 1},
        {"DV100", kLayoutDV100, kDv100, [](int, int, std::mt19937& r) { return int(r() % 110); }, -1},
    };
    const int qno[5] = {3, 9, 0, 15, 6};
    for (const auto& c : cases) {
        std::mt19937 rng(1234);
        const int per_mb = c.layout.blocks, n = 5 * per_mb;
        int written = 0, borrowers = 0;
        for (int trial = 0; trial < 60; ++trial) {
            std::vector<TestBlock> blocks;
            for (int b = 0; b < n; ++b) blocks.push_back(random_block(rng, c.budget(b / per_mb, b % per_mb, rng)));
            std::vector<std::uint8_t> seg;
            if (!write_segment(c.layout, blocks, qno, seg)) continue;
            ++written;
            const Decoded full = decode(c.fn, seg, n);
            const Decoded one = c.fn == kFull ? decode(kOnePass, seg, n) : full;
            for (int b = 0; b < n; ++b) {
                const TestBlock& t = blocks[std::size_t(b)];
                ASSERT_EQ(full.block(b), expected_coefs(t)) << c.name << " trial " << trial << " block " << b;
                ASSERT_EQ(full.param[std::size_t(b)], expected_param(t, qno[b / per_mb])) << c.name << " block " << b;
                // Without lending a block that fits its space decodes the same,
                // one that overflows it ends without end of block.
                const bool fits = int(code_block(t).size()) + 12 <= c.layout.bits[b % per_mb];
                borrowers += !fits;
                const Vek32u p = one.param[std::size_t(b)];
                EXPECT_TRUE(c.fn != kFull || (fits ? one.block(b) == full.block(b) && p == full.param[std::size_t(b)]
                                                   : (p & 1) == 0)) << c.name << " block " << b;
            }
        }
        EXPECT_GT(written, 10) << c.name;
        EXPECT_TRUE(c.borrows < 0 || (borrowers > 0) == (c.borrows == 1)) << c.name;
    }
}

// A block that fills its space exactly neither lends nor borrows: its
// neighbour's overflow must come from the next lender.
TEST(DvSegment, ExactFitDoesNotLend) {
    std::mt19937 rng(99);
    int found = 0;
    for (int trial = 0; trial < 4000 && found < 10; ++trial) {
        std::vector<TestBlock> blocks(30);
        blocks[0] = random_block(rng, 100 + int(rng() % 40));
        blocks[1] = random_block(rng, 100);
        if (code_block(blocks[1]).size() != 100 || code_block(blocks[0]).size() <= 100) continue;
        ++found;
        const int qno[5] = {};
        std::vector<std::uint8_t> seg;
        ASSERT_TRUE(write_segment(kLayoutDV25, blocks, qno, seg));
        const Decoded d = decode(kFull, seg, 30);
        for (int b = 0; b < 2; ++b) EXPECT_EQ(d.block(b), expected_coefs(blocks[std::size_t(b)]));
    }
    EXPECT_GT(found, 0);
}

// Every block of every segment of real frames ends; some borrow to do so.
TEST(DvSegment, RealFramesEndEveryBlock) {
    const struct {
        const char* file;
        DecodeFn* fn;
        int blocks;
        std::size_t segments;
    } cases[] = {
        {"ntsc_411.dv", kFull, 30, 270},
        {"pal_420.dv", kFull, 30, 324},
        {"dvcprohd_720p.dv", kDv100, 40, 540},
    };
    for (const auto& c : cases) {
        const std::vector<std::uint8_t> video = video_difs(read_data(c.file));
        ASSERT_EQ(video.size(), 400 * c.segments) << c.file << " (missing or short file)";
        int borrowed = 0;
        for (std::size_t s = 0; s < c.segments; ++s) {
            const std::vector<std::uint8_t> seg(video.begin() + long(400 * s), video.begin() + long(400 * s + 400));
            const Decoded d = decode(c.fn, seg, c.blocks);
            const Decoded one = c.fn == kFull ? decode(kOnePass, seg, c.blocks) : d;
            for (int b = 0; b < c.blocks; ++b) {
                ASSERT_EQ(d.param[std::size_t(b)] & 1, 1u) << c.file << " segment " << s << " block " << b;
                borrowed += !(one.param[std::size_t(b)] & 1);
            }
        }
        EXPECT_TRUE(c.fn != kFull || borrowed > 0) << c.file;
    }
}

}  // namespace
