#include "frame/bitstream.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

using vek::WordReader;
using vek::WordWriter;

// Bit i of a word sequence in stream order: word i / 32, bit 31 - i % 32.
int stream_bit(const Vek32u* words, long i) { return (words[i / 32] >> (31 - i % 32)) & 1; }

// The next n bits from stream position pos, assembled one at a time.
Vek32u model_bits(const Vek32u* words, long pos, int n) {
    Vek32u v = 0;
    for (int i = 0; i < n; ++i) v = (v << 1) | static_cast<Vek32u>(stream_bit(words, pos + i));
    return v;
}

// Stream position of a reader cursor relative to `base`.
long reader_pos(const WordReader& c, const Vek32u* base) {
    return (c.word - base) * 32L + (31 - c.offset);
}

unsigned test_seed() {
    static const unsigned seed = [] {
        const char* env = std::getenv("VEK_TEST_SEED");
        const unsigned s = env ? static_cast<unsigned>(std::strtoul(env, nullptr, 10)) : 20261121u;
        std::printf("bitstream_test seed %u\n", s);
        return s;
    }();
    return seed;
}

struct ReadCase {
    const char* name;
    int word;    // start word index
    int offset;  // start reader offset
    int n;
    Vek32u value;
    int end_word;
    int end_offset;
};

TEST(WordReader, EdgeCases) {
    const std::array<Vek32u, 4> words = {0x80000001u, 0xDEADBEEFu, 0x12345678u, 0u};
    const ReadCase cases[] = {
        {"zero bits at 31", 0, 31, 0, 0, 0, 31},
        {"zero bits at 0", 0, 0, 0, 0, 0, 0},
        {"32 from 31 is the whole word", 1, 31, 32, 0xDEADBEEFu, 2, 31},
        {"last bit moves on with 31", 0, 0, 1, 1, 1, 31},
        {"ending on last bit from 3", 1, 3, 4, 0xF, 2, 31},
        {"top bit", 0, 31, 1, 1, 0, 30},
        {"crossing 5 from 2", 0, 2, 5, 0x7, 1, 29},  // 001 then 11
        {"crossing 32 from 0", 1, 0, 32, 0x891A2B3Cu, 2, 0},
        {"crossing 32 from 15", 1, 15, 32, 0xBEEF1234u, 2, 15},
        {"byte in the middle", 2, 23, 8, 0x34, 2, 15},
    };
    for (const ReadCase& rc : cases) {
        SCOPED_TRACE(rc.name);
        WordReader c{words.data() + rc.word, rc.offset};
        EXPECT_EQ(vek::peek_bits(c, rc.n), rc.value);
        EXPECT_EQ(c.word, words.data() + rc.word);
        EXPECT_EQ(vek::read_bits(c, rc.n), rc.value);
        EXPECT_EQ(c.word, words.data() + rc.end_word);
        EXPECT_EQ(c.offset, rc.end_offset);
    }
}

// Every start offset and width against the bit-by-bit model, then the
// give-back of the same count returns to the start.
TEST(WordReader, AllOffsetsAndWidthsMatchModel) {
    std::mt19937 rng(test_seed());
    std::vector<Vek32u> words(4);
    for (int round = 0; round < 8; ++round) {
        for (Vek32u& w : words) w = rng();
        for (int offset = 0; offset < 32; ++offset) {
            for (int n = 0; n <= 32; ++n) {
                SCOPED_TRACE(::testing::Message() << "offset " << offset << " n " << n);
                const WordReader start{words.data() + 1, offset};
                WordReader c = start;
                const long pos = reader_pos(c, words.data());
                ASSERT_EQ(vek::read_bits(c, n), model_bits(words.data(), pos, n));
                ASSERT_EQ(reader_pos(c, words.data()), pos + n);
                ASSERT_TRUE(c.offset >= 0 && c.offset <= 31);
                vek::give_back_bits(c, n);
                ASSERT_EQ(c.word, start.word);
                ASSERT_EQ(c.offset, start.offset);
            }
        }
    }
}

struct GiveBackCase {
    int offset;
    int k;
    int end_offset;
    int word_step;
};

TEST(WordReader, GiveBackMovesBackAtMostOneWord) {
    const Vek32u words[3] = {};
    const GiveBackCase cases[] = {
        {31, 0, 31, 0}, {0, 31, 31, 0}, {20, 11, 31, 0},  {20, 12, 0, -1},
        {31, 1, 0, -1}, {0, 32, 0, -1}, {31, 32, 31, -1}, {5, 3, 8, 0},
    };
    for (const GiveBackCase& g : cases) {
        SCOPED_TRACE(::testing::Message() << "offset " << g.offset << " k " << g.k);
        WordReader c{words + 1, g.offset};
        vek::give_back_bits(c, g.k);
        EXPECT_EQ(c.offset, g.end_offset);
        EXPECT_EQ(c.word - (words + 1), g.word_step);
    }
}

// Offsets no valid cursor has must still be computed without undefined
// behaviour (the sanitizer build checks); their bits mean nothing.
TEST(WordReader, AbsurdOffsetsStayDefined) {
    const Vek32u words[4] = {1, 2, 3, 4};
    for (Vek32s offset : {INT32_MIN, INT32_MIN + 5, -1, 32, 40, INT32_MAX}) {
        WordReader c{words + 1, offset};
        const Vek32u v = vek::read_bits(c, 7);
        EXPECT_LE(v, 127u);
        WordReader g{words + 2, offset};
        vek::give_back_bits(g, 32);
    }
}

struct WriteCase {
    const char* name;
    int offset;  // free bits before
    Vek32u w0, w1;
    Vek32u v;
    int n;
    Vek32u out0, out1;
    int word_step;
    int end_offset;
};

TEST(WordWriter, ThreeCases) {
    const WriteCase cases[] = {
        {"fills a fresh word exactly", 32, 0, 0xA5A5A5A5u, 0xCAFEF00Du, 32, 0xCAFEF00Du,
         0xA5A5A5A5u, 1, 32},
        {"fills the rest exactly, next untouched", 5, 0xFFFFFFE0u, 0xA5A5A5A5u, 0x13, 5,
         0xFFFFFFF3u, 0xA5A5A5A5u, 1, 32},
        {"inside a word ORs and keeps bits", 32, 0x0000000Fu, 0xA5A5A5A5u, 0x5, 3, 0xA000000Fu,
         0xA5A5A5A5u, 0, 29},
        {"bits above n are ignored", 20, 0, 0, 0xFFFFFF03u, 4, 0x00030000u, 0, 0, 16},
        {"crossing overwrites the next word", 3, 0xFFFFFFF8u, 0xA5A5A5A5u, 0x2D, 6, 0xFFFFFFFDu,
         0xA0000000u, 1, 29},
        {"crossing 32 bits from 1", 1, 0, 0xFFFFFFFFu, 0x80000001u, 32, 1, 0x00000002u, 1, 1},
        {"crossing ignores bits above n", 2, 0, 0, 0xFFFFFFF2u, 5, 0x00000002u, 0x40000000u, 1, 29},
    };
    for (const WriteCase& wc : cases) {
        SCOPED_TRACE(wc.name);
        Vek32u words[3] = {wc.w0, wc.w1, 0x5A5A5A5Au};
        WordWriter c{words, wc.offset};
        vek::write_bits(c, wc.v, wc.n);
        EXPECT_EQ(words[0], wc.out0);
        EXPECT_EQ(words[1], wc.out1);
        EXPECT_EQ(words[2], 0x5A5A5A5Au);
        EXPECT_EQ(c.word - words, wc.word_step);
        EXPECT_EQ(c.offset, wc.end_offset);
    }
}

// Random field sequences written into a zeroed buffer read back unchanged,
// and the reader ends where the writer did (reader offset = free bits - 1).
TEST(WordCursor, WriteThenReadRoundTrip) {
    std::mt19937 rng(test_seed() + 1);
    for (int round = 0; round < 50; ++round) {
        SCOPED_TRACE(::testing::Message() << "round " << round);
        const int fields = 1 + static_cast<int>(rng() % 200);
        std::vector<std::pair<Vek32u, int>> seq;
        long total = 0;
        for (int i = 0; i < fields; ++i) {
            // Mostly short fields, with the widths 1 and 32 often enough.
            const int pick = static_cast<int>(rng() % 8);
            const int n = pick == 0 ? 32 : pick == 1 ? 1 : 1 + static_cast<int>(rng() % 32);
            seq.emplace_back(rng(), n);
            total += n;
        }
        std::vector<Vek32u> buf(static_cast<std::size_t>(total / 32 + 2), 0);
        WordWriter w{buf.data(), 32};
        for (const auto& [v, n] : seq) vek::write_bits(w, v, n);
        EXPECT_EQ((w.word - buf.data()) * 32L + (32 - w.offset), total);

        WordReader r{buf.data(), 31};
        for (const auto& [v, n] : seq) {
            ASSERT_EQ(vek::peek_bits(r, n), v & vek::low_mask(n));
            ASSERT_EQ(vek::read_bits(r, n), v & vek::low_mask(n));
        }
        EXPECT_EQ(r.word, w.word);
        EXPECT_EQ(r.offset, w.offset - 1);
    }
}

// A two-level table: first level 2 bits, one link to a 1-bit level.
//   1x -> 7 (u = 1), 01 -> link, 010 -> 9, 011 -> invalid marker, 00 -> unused.
TEST(VlcWalk, FollowsLinksAndReturnsLeafUnconsumed) {
    const Vek32s U = vek::kVlcUnusedEntry;
    const Vek32s table[] = {2, U, (5 << 8) | 0x80, (7 << 8) | 1, (7 << 8) | 1, 1, (9 << 8), U};
    struct Case {
        Vek32u word;
        Vek32s leaf;
        int read, value_bits;
    } cases[] = {
        {0x80000000u, (7 << 8) | 1, 2, 1},
        {0xC0000000u, (7 << 8) | 1, 2, 1},
        {0x40000000u, 9 << 8, 3, 3},
        {0x60000000u, U, 3, 3},
        {0x00000000u, U, 2, 2},
    };
    for (const auto& tc : cases) {
        SCOPED_TRACE(::testing::Message() << std::hex << tc.word);
        const Vek32u words[2] = {tc.word, 0};
        WordReader c{words, 31};
        const Vek32s leaf = vek::vlc_walk(c, table);
        EXPECT_EQ(leaf, tc.leaf);
        EXPECT_EQ(reader_pos(c, words), tc.read);
        if (vek::vlc_leaf_is_invalid(leaf)) continue;
        EXPECT_EQ(vek::vlc_give_back(c, leaf), leaf >> 8);
        EXPECT_EQ(reader_pos(c, words), tc.value_bits);
    }
}

TEST(VlcWalk, MarkerTestLooksAtAllOfBits8To31) {
    struct Case {
        Vek32s leaf;
        bool invalid;
    } cases[] = {
        {vek::kVlcUnusedEntry, true},
        {(61681 << 8) | 5, true},
        {(61681 << 8) | 0, true},
        {(0x1F0F1 << 8) | 1, false},                // more bits above the marker
        {static_cast<Vek32s>(0xFFF0F101u), false},  // negative value, same low 16 bits
        {(0xF0 << 16) | (0xF1 << 8), true},         // a pair (first 0xF1, second 0xF0)
        {(0xF0 << 16) | (0xF2 << 8), false},
        {(61680 << 8) | 1, false},
    };
    for (const auto& tc : cases) {
        EXPECT_EQ(vek::vlc_leaf_is_invalid(tc.leaf), tc.invalid) << std::hex << tc.leaf;
    }
}

TEST(ByteCursor, WindowBitsAndStore) {
    const Vek8u bytes[6] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
    EXPECT_EQ(vek::load_window(bytes), 0x12345678u);
    EXPECT_EQ(vek::load_window(bytes + 2), 0x56789ABCu);
    const Vek32u window = 0x12345678u;
    for (int used = 0; used <= 32; ++used) {
        for (int n = 0; used + n <= 32; ++n) {
            ASSERT_EQ(vek::window_bits(window, used, n), model_bits(&window, used, n))
                << "used " << used << " n " << n;
        }
    }
    struct Case {
        int used;
        int byte_step;
        int offset;
    } cases[] = {{0, 0, 0}, {7, 0, 7}, {8, 1, 0}, {13, 1, 5}, {31, 3, 7}, {32, 4, 0}};
    for (const auto& tc : cases) {
        Vek8u* p = nullptr;
        Vek32s offset = -1;
        vek::store_byte_cursor(bytes, tc.used, &p, &offset);
        EXPECT_EQ(p - bytes, tc.byte_step) << tc.used;
        EXPECT_EQ(offset, tc.offset) << tc.used;
    }
}

}  // namespace
