// DV segment decoding: contracts, single codes against the code listing,
// segments written with lending inside the macroblock and across the segment
// and decoded back exactly, and the segments of real DV frames.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "dv/huffman.h"
#include "dv_writer.h"
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

// One code in block 0 behind DC 0; every other block is empty.
TEST(DvSegment, CodesOfTheListing) {
    const struct {
        const char* bits;
        int position;  // raster place written, -1 none
        int value;
        bool eob;      // the block ended with end of block
        int counter;   // final position less 64
    } cases[] = {
        {"000", 1, 64, true, -62},                       // 0/1, 3 bits
        {"001", 1, -64, true, -62},
        {"01110", 8, 64, true, -61},                     // 1/1: scan position 2 is raster 8
        {"10011", 1, -4 * 64, true, -62},                // 0/4 negative
        {"111011110", 1, 17 * 64, true, -62},            // 0/17, last 9-bit code
        {"1111011111", 1, -22 * 64, true, -62},          // 0/22, last 10-bit code
        {"11111000000", 3, 3 * 64, true, -57},           // 5/3, first 11-bit code: position 6 is raster 3
        {"11111001111" "000", 16, 64, true, -60},        // z2 then 0/1 at position 3 (raster 16)
        {"111110100000", 10, 3 * 64, true, -56},         // 6/3: position 7 is raster 10
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
                if (c.fn != kFull) continue;
                if (fits) {
                    EXPECT_EQ(one.block(b), full.block(b)) << c.name << " block " << b;
                    EXPECT_EQ(one.param[std::size_t(b)], full.param[std::size_t(b)]) << c.name << " block " << b;
                } else {
                    EXPECT_EQ(one.param[std::size_t(b)] & 1, 0u) << c.name << " block " << b;
                }
            }
        }
        EXPECT_GT(written, 10) << c.name;
        if (c.borrows >= 0) {
            EXPECT_EQ(borrowers > 0, c.borrows == 1) << c.name;
        }
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
        if (c.fn == kFull) {
            EXPECT_GT(borrowed, 0) << c.file;
        }
    }
}

}  // namespace
