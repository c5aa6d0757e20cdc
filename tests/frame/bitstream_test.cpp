#include "frame/bitstream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

namespace vek {
namespace {

// The n bits from stream position pos (bit 31 of word 0 is position 0),
// assembled one at a time.
Vek32u model_bits(const Vek32u* words, long pos, int n) {
    Vek32u v = 0;
    for (long i = pos; i < pos + n; ++i) v = (v << 1) | ((words[i / 32] >> (31 - i % 32)) & 1);
    return v;
}

long reader_pos(const WordReader& c, const Vek32u* base) {
    return (c.word - base) * 32L + (31 - c.offset);
}

// Every start offset and width (0 to 32, so also a whole word from offset 31
// and reads ending on a word's last bit) against the bit-by-bit model: peek
// leaves the cursor, read moves it by n, and giving back n returns to the
// start, across the word boundary or not.
TEST(WordReader, AllOffsetsAndWidthsMatchModel) {
    std::mt19937 rng(20261121u);
    Vek32u words[4];
    for (int round = 0; round < 8; ++round) {
        for (Vek32u& w : words) w = rng();
        for (int offset = 0; offset < 32; ++offset)
            for (int n = 0; n <= 32; ++n) {
                SCOPED_TRACE(::testing::Message() << "offset " << offset << " n " << n);
                WordReader c{words + 1, offset};
                const long pos = reader_pos(c, words);
                ASSERT_EQ(peek_bits(c, n), model_bits(words, pos, n));
                ASSERT_EQ(read_bits(c, n), model_bits(words, pos, n));
                ASSERT_TRUE(c.offset >= 0 && c.offset <= 31);
                ASSERT_EQ(reader_pos(c, words), pos + n);
                give_back_bits(c, n);
                ASSERT_EQ(c.offset, offset);
                ASSERT_EQ(reader_pos(c, words), pos);  // with the offset, the word too
            }
    }
}

// Offsets no valid cursor has must still be computed without undefined
// behaviour (the sanitizer build checks); their bits mean nothing.
TEST(WordReader, AbsurdOffsetsStayDefined) {
    const Vek32u words[4] = {1, 2, 3, 4};
    for (Vek32s offset : {INT32_MIN, INT32_MIN + 5, -1, 32, 40, INT32_MAX}) {
        WordReader c{words + 1, offset}, g{words + 2, offset};
        EXPECT_LE(read_bits(c, 7), 127u);
        give_back_bits(g, 32);
    }
}

// The current word is ORed into; only a write crossing into the next word
// overwrites it; the word after stays untouched.
TEST(WordWriter, OrWithinAWordOverwriteAcross) {
    // Free bits, the two words before, value and bits written, the two words
    // after, words moved and free bits left.
    const Vek32u cases[][9] = {
        // Filling a fresh word, then the rest of a word, exactly: next untouched.
        {32, 0, 0xA5A5A5A5u, 0xCAFEF00Du, 32, 0xCAFEF00Du, 0xA5A5A5A5u, 1, 32},
        {5, 0xFFFFFFE0u, 0xA5A5A5A5u, 0x13, 5, 0xFFFFFFF3u, 0xA5A5A5A5u, 1, 32},
        // Inside a word: ORs, keeps the bits there, ignores bits of v above n.
        {32, 0x0000000Fu, 0xA5A5A5A5u, 0x5, 3, 0xA000000Fu, 0xA5A5A5A5u, 0, 29},
        {20, 0, 0, 0xFFFFFF03u, 4, 0x00030000u, 0, 0, 16},
        // Crossing: overwrites the next word, ignores bits of v above n.
        {3, 0xFFFFFFF8u, 0xA5A5A5A5u, 0x2D, 6, 0xFFFFFFFDu, 0xA0000000u, 1, 29},
        {1, 0, 0xFFFFFFFFu, 0x80000001u, 32, 1, 0x00000002u, 1, 1},
        {2, 0, 0, 0xFFFFFFF2u, 5, 0x00000002u, 0x40000000u, 1, 29},
    };
    for (const auto& [offset, w0, w1, v, n, out0, out1, wordStep, endOffset] : cases) {
        SCOPED_TRACE(::testing::Message() << "offset " << offset << " n " << n);
        std::array<Vek32u, 3> words = {w0, w1, 0x5A5A5A5Au};
        WordWriter w{words.data(), Vek32s(offset)};
        write_bits(w, v, Vek32s(n));
        EXPECT_EQ(words, (std::array<Vek32u, 3>{out0, out1, 0x5A5A5A5Au}));
        EXPECT_TRUE(Vek32u(w.word - words.data()) == wordStep && w.offset == Vek32s(endOffset));
    }
}

// Random field sequences written into a zeroed buffer read back unchanged,
// and the reader ends where the writer did (reader offset = free bits - 1).
TEST(WordCursor, WriteThenReadRoundTrip) {
    std::mt19937 rng(20261122u);
    for (int round = 0; round < 50; ++round) {
        std::vector<std::pair<Vek32u, int>> fields(1 + rng() % 200);
        for (auto& [v, n] : fields) v = rng(), n = std::clamp(int(rng() % 40) - 3, 1, 32);  // 1 and 32 often
        std::vector<Vek32u> buf(fields.size() + 1, 0);
        WordWriter w{buf.data(), 32};
        for (const auto& [v, n] : fields) write_bits(w, v, n);
        WordReader r{buf.data(), 31};
        for (const auto& [v, n] : fields) ASSERT_EQ(read_bits(r, n), v & low_mask(n)) << "round " << round;
        EXPECT_TRUE(r.word == w.word && r.offset == w.offset - 1);
    }
}

// A two-level table: first level 2 bits, one link to a 1-bit level.
//   1x -> 7 (1 bit too many), 01 -> link, 010 -> 9, 011 and 00 -> invalid marker.
TEST(VlcWalk, FollowsLinksLeavesExcessAndMarksInvalid) {
    const Vek32s U = kVlcUnusedEntry;
    const Vek32s table[] = {2, U, (5 << 8) | 0x80, (7 << 8) | 1, (7 << 8) | 1, 1, (9 << 8), U};
    // The first three bits, the leaf, bits read by the walk, bits of the code.
    const Vek32s cases[][4] = {
        {0b100, (7 << 8) | 1, 2, 1}, {0b110, (7 << 8) | 1, 2, 1}, {0b010, 9 << 8, 3, 3}, {0b011, U, 3, 3}, {0b000, U, 2, 2}};
    for (const auto& [bits, want, read, codeBits] : cases) {
        SCOPED_TRACE(bits);
        const Vek32u words[2] = {Vek32u(bits) << 29, 0};
        WordReader r{words, 31};
        const Vek32s leaf = vlc_walk(r, table);
        EXPECT_EQ(leaf, want);
        EXPECT_EQ(reader_pos(r, words), read);
        if (vlc_leaf_is_invalid(leaf)) continue;
        EXPECT_EQ(vlc_give_back(r, leaf), leaf >> 8);
        EXPECT_EQ(reader_pos(r, words), codeBits);
    }
    // The marker test looks at the whole of bits 8 to 31: not invalid with more
    // bits above the marker, with a negative value of the same low 16 bits, or
    // for a pair whose first value is 0xF2 rather than 0xF1.
    for (Vek32s leaf : {kVlcUnusedEntry, (61681 << 8) | 5, (61681 << 8), (0xF0 << 16) | (0xF1 << 8)})
        EXPECT_TRUE(vlc_leaf_is_invalid(leaf)) << std::hex << leaf;
    for (Vek32s leaf : {(0x1F0F1 << 8) | 1, Vek32s(0xFFF0F101u), (0xF0 << 16) | (0xF2 << 8), (61680 << 8) | 1})
        EXPECT_FALSE(vlc_leaf_is_invalid(leaf)) << std::hex << leaf;
}

TEST(ByteCursor, WindowBitsAndStore) {
    const Vek8u bytes[8] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0};
    EXPECT_EQ(load_window(bytes + 1), 0x3456789Au);
    const Vek32u window = load_window(bytes + 4);  // top bit set
    ASSERT_EQ(window, 0x9ABCDEF0u);
    for (int used = 0; used <= 32; ++used)
        for (int n = 0; used + n <= 32; ++n)
            ASSERT_EQ(window_bits(window, used, n), model_bits(&window, used, n)) << "used " << used << " n " << n;
    // Bits used -> bytes moved and offset left.
    const int cases[][3] = {{0, 0, 0}, {7, 0, 7}, {8, 1, 0}, {13, 1, 5}, {31, 3, 7}, {32, 4, 0}};
    for (const auto& [used, byteStep, offset] : cases) {
        Vek8u* p = nullptr;
        Vek32s off = -1;
        store_byte_cursor(bytes, used, &p, &off);
        EXPECT_TRUE(p - bytes == byteStep && off == offset) << used;
    }
}

}  // namespace
}  // namespace vek
