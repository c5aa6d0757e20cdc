#include "mpeg2/huffman.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "frame/bitstream.h"
#include "frame/core.h"
#include "vekvc.h"

namespace {

using vek::mpeg2::HuffmanLeafKind;
constexpr Vek32s U = vek::kVlcUnusedEntry;

// ---- Building code lists ----------------------------------------------------

struct Code {
    Vek32u code;  // right-aligned; may carry bits above the length on purpose
    int length;
    std::vector<Vek32s> fields;  // (value) or (first, second)
};

Code code(const std::string& bits, std::vector<Vek32s> fields) {
    Vek32u v = 0;
    for (char b : bits) v = (v << 1) | static_cast<Vek32u>(b == '1');
    return Code{v, static_cast<int>(bits.size()), std::move(fields)};
}

// Word 0 is not read; then the level count, the widths, and the groups by
// length in the order the codes are given, ending in a negative count.
std::vector<Vek32s> make_list(const std::vector<Vek32s>& widths, const std::vector<Code>& codes) {
    std::vector<Vek32s> list = {0x7777, static_cast<Vek32s>(widths.size())};
    list.insert(list.end(), widths.begin(), widths.end());
    int max_length = 0;
    for (const Code& c : codes) max_length = std::max(max_length, c.length);
    for (int length = 1; length <= max_length; ++length) {
        std::vector<Vek32s> records;
        int count = 0;
        for (const Code& c : codes) {
            if (c.length != length) continue;
            ++count;
            records.push_back(static_cast<Vek32s>(c.code));
            records.insert(records.end(), c.fields.begin(), c.fields.end());
        }
        list.push_back(count);
        list.insert(list.end(), records.begin(), records.end());
    }
    list.push_back(-1);
    return list;
}

// ---- An allocator that counts, and fails on request --------------------------

struct CountingAllocator {
    int calls = 0;
    int fail_at = -1;  // index of the call that returns null
    int live = 0;
    std::vector<Vek32s> sizes;

    vek::mpeg2::HuffmanAllocator handle() { return {alloc, release, this}; }

    static void* alloc(void* ctx, Vek32s bytes) {
        auto* self = static_cast<CountingAllocator*>(ctx);
        self->sizes.push_back(bytes);
        if (self->calls++ == self->fail_at) return nullptr;
        ++self->live;
        return vekMalloc(bytes);
    }
    static void release(void* ctx, void* ptr) {
        --static_cast<CountingAllocator*>(ctx)->live;
        vekFree(ptr);
    }
};

// ---- Exact layouts of small hand-made lists ------------------------------------

struct LayoutCase {
    const char* name;
    HuffmanLeafKind kind;
    std::vector<Vek32s> list;
    std::vector<Vek32s> table;  // the whole table the builder must produce
    int placed_codes;           // codes the size pass keeps (temporary array)
};

Vek32s rl(Vek32s first, Vek32s second, Vek32s u) {
    return static_cast<Vek32s>((static_cast<Vek32u>(second) << 16) |
                               ((static_cast<Vek32u>(first) & 255u) << 8) | static_cast<Vek32u>(u));
}

std::vector<LayoutCase> layout_cases() {
    return {
        {"one code of length 1 leaves the other half unused", HuffmanLeafKind::kValue,
         make_list({2}, {code("0", {3})}), {2, 0x301, 0x301, U, U}, 1},
        {"code as long as the first level has u = 0 and one slot", HuffmanLeafKind::kValue,
         make_list({3}, {code("101", {4})}), {3, U, U, U, U, U, 0x400, U, U}, 1},
        // 010 and 011 share the sub-table behind 01, counted once: 5 + 5 + 5 words.
        {"shared prefixes share one sub-table", HuffmanLeafKind::kValue,
         make_list({2, 2}, {code("1", {5}), code("010", {7}), code("011", {8}), code("0010", {9})}),
         {2, 0xA80, 0x580, 0x501, 0x501, 2, 0x701, 0x701, 0x801, 0x801, 2, U, U, 0x900, U}, 4},
        {"run-level leaves, first masked to 8 bits, code beyond the levels left out",
         HuffmanLeafKind::kRunLevel,
         make_list({1, 2}, {code("1", {300, -2}), code("01", {254, 0}), code("000", {5, 7}),
                            code("0011", {1, 1})}),
         {1, 0x380, rl(300, -2, 0), 2, rl(5, 7, 0), U, rl(254, 0, 1), rl(254, 0, 1)}, 3},
        {"a level of width 0 is a single link slot", HuffmanLeafKind::kValue,
         make_list({0, 2}, {code("10", {6})}), {0, 0x280, 2, U, U, 0x600, U}, 1},
        {"empty list gives unused slots only", HuffmanLeafKind::kValue, make_list({2}, {}),
         {2, U, U, U, U}, 0},
        {"negative values keep their sign", HuffmanLeafKind::kValue,
         make_list({1}, {code("1", {-3})}), {1, U, static_cast<Vek32s>(0xFFFFFD00u)}, 1},
        // Caller errors: built without overflow, the earlier code stands.
        {"duplicate code: the first stands", HuffmanLeafKind::kValue,
         make_list({2}, {code("01", {1}), code("01", {2}), code("10", {3})}),
         {2, U, 0x100, 0x300, U}, 3},
        {"code behind a shorter one at a link slot is left out", HuffmanLeafKind::kValue,
         make_list({2, 2}, {code("0", {1}), code("010", {2})}),
         {2, 0x101, 0x101, U, U, U, U, U, U, U}, 2},
        {"code overlapping a shorter one's slots is left out", HuffmanLeafKind::kValue,
         make_list({3}, {code("0", {1}), code("01", {2})}),
         {3, 0x102, 0x102, 0x102, 0x102, U, U, U, U}, 2},
        {"bits above a code's length are ignored", HuffmanLeafKind::kValue,
         make_list({2}, {Code{0xFFFFFFF1u, 2, {9}}}), {2, U, 0x900, U, U}, 1},
    };
}

TEST(HuffmanBuild, ExactLayoutAndSize) {
    for (const LayoutCase& lc : layout_cases()) {
        SCOPED_TRACE(lc.name);
        CountingAllocator a;
        Vek32s* table = nullptr;
        ASSERT_EQ(vek::mpeg2::build_huffman_table(lc.list.data(), lc.kind, a.handle(), &table),
                  vekStsOk);
        ASSERT_NE(table, nullptr);
        // The temporary code array (if any codes) and then the table, sized exactly.
        const std::size_t expected_calls = lc.placed_codes > 0 ? 2 : 1;
        ASSERT_EQ(a.sizes.size(), expected_calls);
        if (lc.placed_codes > 0) {
            EXPECT_EQ(a.sizes[0], 8 * lc.placed_codes);
        }
        EXPECT_EQ(a.sizes.back(), static_cast<Vek32s>(4 * lc.table.size()));
        EXPECT_EQ(std::vector<Vek32s>(table, table + lc.table.size()), lc.table);
        CountingAllocator::release(&a, table);
        EXPECT_EQ(a.live, 0);

        // The exported builder makes the same table.
        Vek32s* exported = nullptr;
        const VekStatus st = lc.kind == HuffmanLeafKind::kValue
                                 ? vekiHuffmanTableInitAlloc_32s(lc.list.data(), &exported)
                                 : vekiHuffmanRunLevelTableInitAlloc_32s(lc.list.data(), &exported);
        ASSERT_EQ(st, vekStsOk);
        EXPECT_EQ(std::vector<Vek32s>(exported, exported + lc.table.size()), lc.table);
        EXPECT_EQ(vekiHuffmanTableFree_32s(exported), vekStsOk);
    }
}

// ---- Allocation failures and lists no table can hold ---------------------------

TEST(HuffmanBuild, NoMemFromEitherAllocationReleasesEverything) {
    const std::vector<Vek32s> list = make_list({2, 2}, {code("1", {5}), code("010", {7})});
    for (int fail_at : {0, 1}) {
        SCOPED_TRACE(::testing::Message() << "failing allocation " << fail_at);
        CountingAllocator a;
        a.fail_at = fail_at;
        Vek32s* const sentinel = reinterpret_cast<Vek32s*>(0x1234);
        Vek32s* table = sentinel;
        EXPECT_EQ(vek::mpeg2::build_huffman_table(list.data(), HuffmanLeafKind::kValue, a.handle(),
                                                  &table),
                  vekStsNoMemErr);
        EXPECT_EQ(table, sentinel);
        EXPECT_EQ(a.calls, fail_at + 1);
        EXPECT_EQ(a.live, 0);
    }
}

TEST(HuffmanBuild, ListsNoTableCanHoldGiveNoMemWithoutBigAllocations) {
    struct Case {
        const char* name;
        std::vector<Vek32s> list;
        int allocations;  // only the small temporary array, if at all
    } cases[] = {
        {"no level", {0, 0, -1}, 0},
        {"negative level count", {0, -3, 4, -1}, 0},
        {"negative width", make_list({-1}, {code("1", {1})}), 0},
        {"first level of 29 bits", make_list({29}, {code("1", {1})}), 0},
        {"later level of 29 bits", make_list({4, 29}, {code("1", {1})}), 0},
        {"two 2^28 sub-tables exceed 2^31 bytes",
         make_list({20, 28},
                   {code(std::string(21, '0'), {1}), code("1" + std::string(20, '0'), {2})}),
         1},
        {"sub-table beyond what a link can address",
         make_list({23, 1}, {code(std::string(24, '0'), {1})}), 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CountingAllocator a;
        Vek32s* table = nullptr;
        EXPECT_EQ(vek::mpeg2::build_huffman_table(c.list.data(), HuffmanLeafKind::kValue,
                                                  a.handle(), &table),
                  vekStsNoMemErr);
        EXPECT_EQ(table, nullptr);
        EXPECT_EQ(a.calls, c.allocations);
        EXPECT_EQ(a.live, 0);
        EXPECT_EQ(vekiHuffmanTableInitAlloc_32s(c.list.data(), &table), vekStsNoMemErr);
        EXPECT_EQ(table, nullptr);
    }
}

// ---- Argument checks ----------------------------------------------------------

TEST(HuffmanContract, BuildersAndFreeRejectNulls) {
    const std::vector<Vek32s> list = make_list({2}, {code("1", {1})});
    Vek32s* const sentinel = reinterpret_cast<Vek32s*>(0x1234);
    using Builder = VekStatus (*)(const Vek32s*, Vek32s**);
    for (Builder build : {&vekiHuffmanTableInitAlloc_32s, &vekiHuffmanRunLevelTableInitAlloc_32s}) {
        Vek32s* table = sentinel;
        EXPECT_EQ(build(nullptr, &table), vekStsNullPtrErr);
        EXPECT_EQ(table, sentinel);
        EXPECT_EQ(build(list.data(), nullptr), vekStsNullPtrErr);
        EXPECT_EQ(build(nullptr, nullptr), vekStsNullPtrErr);
    }
    EXPECT_EQ(vekiHuffmanTableFree_32s(nullptr), vekStsNullPtrErr);
}

struct NullCase {
    const char* name;
    bool pp, offset, table, stream, out1, out2;  // which pointers are null
};

TEST(HuffmanContract, DecodersRejectNullsAndWriteNothing) {
    const Vek32s table[] = {1, 0x501, 0x601};
    Vek32u words[2] = {0xFFFFFFFFu, 0};
    const NullCase cases[] = {
        {"ppBitStream", true, false, false, false, false, false},
        {"pOffset", false, true, false, false, false, false},
        {"pTable", false, false, true, false, false, false},
        {"*ppBitStream", false, false, false, true, false, false},
        {"first output", false, false, false, false, true, false},
        {"second output", false, false, false, false, false, true},
        {"pOffset and output", false, true, false, false, true, false},
        {"*ppBitStream and outputs", false, false, false, true, true, true},
        {"pTable and *ppBitStream", false, false, true, true, false, false},
    };
    for (const NullCase& nc : cases) {
        SCOPED_TRACE(nc.name);
        Vek32u* stream = nc.stream ? nullptr : words;
        Vek32s offset = 17;
        Vek32s dst = -99;
        Vek8u first = 77;
        Vek16s second = -77;
        Vek32u** pp = nc.pp ? nullptr : &stream;
        Vek32s* po = nc.offset ? nullptr : &offset;
        const Vek32s* pt = nc.table ? nullptr : table;
        if (!nc.out2) {  // the single decoder has one output
            EXPECT_EQ(vekiDecodeHuffmanOne_1u32s(pp, po, nc.out1 ? nullptr : &dst, pt),
                      vekStsNullPtrErr);
        }
        EXPECT_EQ(vekiDecodeHuffmanPair_1u16s(pp, po, pt, nc.out1 ? nullptr : &first,
                                              nc.out2 ? nullptr : &second),
                  vekStsNullPtrErr);
        EXPECT_EQ(stream, nc.stream ? nullptr : words);
        EXPECT_EQ(offset, 17);
        EXPECT_EQ(dst, -99);
        EXPECT_EQ(first, 77);
        EXPECT_EQ(second, -77);
    }
}

// ---- Decoding edge cases ------------------------------------------------------------

struct Cursor {
    Vek32u* word;
    Vek32s offset;
};

TEST(HuffmanDecode, InvalidCodeDiffersBetweenDecoders) {
    Vek32s* table = nullptr;
    const std::vector<Vek32s> list = make_list({2}, {code("0", {3})});
    ASSERT_EQ(vekiHuffmanTableInitAlloc_32s(list.data(), &table), vekStsOk);
    Vek32u words[2] = {0x80000000u, 0};

    Cursor one{words, 31};
    Vek32s dst = 0;
    EXPECT_EQ(vekiDecodeHuffmanOne_1u32s(&one.word, &one.offset, &dst, table), vekStsVlcErr);
    EXPECT_EQ(dst, 61681);
    EXPECT_EQ(one.word, words);  // both bits of the first level consumed, none given back
    EXPECT_EQ(one.offset, 29);

    Cursor pair{words, 31};
    Vek8u first = 11;
    Vek16s second = 22;
    EXPECT_EQ(vekiDecodeHuffmanPair_1u16s(&pair.word, &pair.offset, table, &first, &second),
              vekStsVlcErr);
    EXPECT_EQ(pair.word, words);
    EXPECT_EQ(pair.offset, 31);
    EXPECT_EQ(first, 11);
    EXPECT_EQ(second, 22);

    // The other bit is the code: one bit consumed after the give-back.
    words[0] = 0x40000000u;
    one = {words, 31};
    EXPECT_EQ(vekiDecodeHuffmanOne_1u32s(&one.word, &one.offset, &dst, table), vekStsOk);
    EXPECT_EQ(dst, 3);
    EXPECT_EQ(one.offset, 30);
    pair = {words, 31};
    EXPECT_EQ(vekiDecodeHuffmanPair_1u16s(&pair.word, &pair.offset, table, &first, &second),
              vekStsOk);
    EXPECT_EQ(first, 3);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(pair.offset, 30);
    vekiHuffmanTableFree_32s(table);
}

// The first level reads 4 bits: from offset 1 that crosses into the next word,
// and the give-back of a 1-bit code moves the pointer back again.
TEST(HuffmanDecode, ReadAheadAndGiveBackAcrossWordBoundary) {
    Vek32s* table = nullptr;
    const std::vector<Vek32s> list = make_list({4}, {code("1", {5}), code("0001", {6})});
    ASSERT_EQ(vekiHuffmanTableInitAlloc_32s(list.data(), &table), vekStsOk);
    Vek32u words[3] = {0x00000002u, 0x20000000u, 0};  // ...10 | 001...
    for (bool use_pair : {false, true}) {
        SCOPED_TRACE(use_pair ? "pair" : "one");
        Cursor c{words, 1};
        Vek32s value = 0;
        Vek8u first = 0;
        Vek16s second = 0;
        auto decode = [&] {
            if (!use_pair) return vekiDecodeHuffmanOne_1u32s(&c.word, &c.offset, &value, table);
            const VekStatus st =
                vekiDecodeHuffmanPair_1u16s(&c.word, &c.offset, table, &first, &second);
            value = first;
            return st;
        };
        ASSERT_EQ(decode(), vekStsOk);
        EXPECT_EQ(value, 5);
        EXPECT_EQ(c.word, words);
        EXPECT_EQ(c.offset, 0);
        ASSERT_EQ(decode(), vekStsOk);
        EXPECT_EQ(value, 6);
        EXPECT_EQ(c.word, words + 1);
        EXPECT_EQ(c.offset, 28);
    }
    vekiHuffmanTableFree_32s(table);
}

// ---- Round trips on the standard tables -------------------------------------------------

struct Symbol {
    std::string bits;
    Vek32s first, second;  // run and level, or the value and 0
};

std::filesystem::path vlc_data(const char* name) {
    return std::filesystem::path(__FILE__).parent_path() / ".." / "data" / "vlc" / name;
}

std::vector<std::vector<std::string>> read_rows(const char* name) {
    std::ifstream in(vlc_data(name));
    EXPECT_TRUE(in.good()) << vlc_data(name);
    std::vector<std::vector<std::string>> rows;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        std::vector<std::string> row;
        for (std::string f; fields >> f;) row.push_back(f);
        if (!row.empty()) rows.push_back(row);
    }
    return rows;
}

// Run/level table with the sign bit appended; end of block is run 254, escape 255.
std::vector<Symbol> dct_symbols() {
    std::vector<Symbol> out;
    for (const auto& row : read_rows("mpeg2_dct_b14.txt")) {
        const int kind = std::stoi(row[3]);
        if (kind == 1) out.push_back({row[0], 254, 0});
        if (kind == 2) out.push_back({row[0], 255, 0});
        if (kind != 0) continue;  // the first-coefficient variant is a separate code
        const int run = std::stoi(row[1]);
        const int level = std::stoi(row[2]);
        out.push_back({row[0] + "0", run, level});
        out.push_back({row[0] + "1", run, -level});
    }
    return out;
}

std::vector<Symbol> dc_size_symbols() {
    std::vector<Symbol> out;
    for (const auto& row : read_rows("mpeg2_dc_size_luma.txt")) {
        out.push_back({row[0], std::stoi(row[1]), 0});
    }
    return out;
}

struct RoundTripCase {
    const char* name;
    HuffmanLeafKind kind;
    std::vector<Symbol> (*symbols)();
    std::vector<std::vector<Vek32s>> level_sets;
};

TEST(HuffmanRoundTrip, StandardTablesThroughBothDecoders) {
    const RoundTripCase cases[] = {
        {"B.14 run/level", HuffmanLeafKind::kRunLevel, dct_symbols,
         {{17}, {9, 8}, {5, 4, 4, 4}, {8, 4, 3, 2}, std::vector<Vek32s>(17, 1), {4, 13}}},
        {"B.12 dc size", HuffmanLeafKind::kValue, dc_size_symbols,
         {{9}, {3, 3, 3}, {2, 7}, std::vector<Vek32s>(9, 1), {4, 5}}},
    };
    const char* env = std::getenv("VEK_TEST_SEED");
    const unsigned seed = env ? static_cast<unsigned>(std::strtoul(env, nullptr, 10)) : 7031u;
    std::printf("HuffmanRoundTrip seed %u\n", seed);
    std::mt19937 rng(seed);
    for (const RoundTripCase& rc : cases) {
        const std::vector<Symbol> symbols = rc.symbols();
        ASSERT_GT(symbols.size(), 10u);
        std::vector<Code> codes;
        for (const Symbol& s : symbols) {
            codes.push_back(rc.kind == HuffmanLeafKind::kValue ? code(s.bits, {s.first})
                                                               : code(s.bits, {s.first, s.second}));
        }
        for (const auto& widths : rc.level_sets) {
            SCOPED_TRACE(::testing::Message()
                         << rc.name << ", levels " << ::testing::PrintToString(widths));
            const std::vector<Vek32s> list = make_list(widths, codes);
            Vek32s* table = nullptr;
            ASSERT_EQ(rc.kind == HuffmanLeafKind::kValue
                          ? vekiHuffmanTableInitAlloc_32s(list.data(), &table)
                          : vekiHuffmanRunLevelTableInitAlloc_32s(list.data(), &table),
                      vekStsOk);

            // Random symbols after a random number of filler bits, so codes
            // meet every alignment; two zero words of padding for the read-ahead.
            std::vector<int> picks(3000);
            for (int& p : picks) p = static_cast<int>(rng() % symbols.size());
            std::vector<Vek32u> buf(3000 * 17 / 32 + 4, 0);
            vek::WordWriter w{buf.data(), 32};
            const int filler = static_cast<int>(rng() % 32);
            if (filler > 0) vek::write_bits(w, rng(), filler);
            for (int p : picks) {
                const Code c = code(symbols[p].bits, {});
                vek::write_bits(w, c.code, c.length);
            }
            ASSERT_LE(w.word + 2, buf.data() + buf.size());

            Cursor one{buf.data(), 31 - filler};
            Cursor pair = one;
            for (std::size_t i = 0; i < picks.size(); ++i) {
                const Symbol& s = symbols[picks[i]];
                Vek32s value = 0;
                ASSERT_EQ(vekiDecodeHuffmanOne_1u32s(&one.word, &one.offset, &value, table),
                          vekStsOk)
                    << "symbol " << i;
                Vek8u first = 0;
                Vek16s second = 0;
                ASSERT_EQ(vekiDecodeHuffmanPair_1u16s(&pair.word, &pair.offset, table, &first,
                                                      &second),
                          vekStsOk)
                    << "symbol " << i;
                if (rc.kind == HuffmanLeafKind::kValue) {
                    ASSERT_EQ(value, s.first);
                    ASSERT_EQ(first, s.first);
                    ASSERT_EQ(second, 0);
                } else {
                    ASSERT_EQ(value, s.second * 256 + s.first) << "symbol " << i;
                    ASSERT_EQ(first, s.first);
                    ASSERT_EQ(second, s.second);
                }
                ASSERT_EQ(one.word, pair.word);
                ASSERT_EQ(one.offset, pair.offset);
            }
            EXPECT_EQ(one.word, w.word);
            EXPECT_EQ(one.offset, w.offset - 1);
            EXPECT_EQ(vekiHuffmanTableFree_32s(table), vekStsOk);
        }
    }
}

// B.14 keeps the 12-bit prefix of zeros unused: both decoders report it.
TEST(HuffmanRoundTrip, UnusedBranchOfAStandardTable) {
    std::vector<Code> codes;
    for (const Symbol& s : dct_symbols()) codes.push_back(code(s.bits, {s.first, s.second}));
    const std::vector<Vek32s> list = make_list({8, 4, 5}, codes);
    Vek32s* table = nullptr;
    ASSERT_EQ(vekiHuffmanRunLevelTableInitAlloc_32s(list.data(), &table), vekStsOk);
    Vek32u words[3] = {0x0000FFFFu, 0xFFFFFFFFu, 0};
    Cursor c{words, 31};
    Vek32s value = 0;
    EXPECT_EQ(vekiDecodeHuffmanOne_1u32s(&c.word, &c.offset, &value, table), vekStsVlcErr);
    EXPECT_EQ(value, 61681);
    EXPECT_EQ(c.offset, 31 - 12);  // two levels read, the walk stopped there
    c = {words, 31};
    Vek8u first = 1;
    Vek16s second = 1;
    EXPECT_EQ(vekiDecodeHuffmanPair_1u16s(&c.word, &c.offset, table, &first, &second),
              vekStsVlcErr);
    EXPECT_EQ(c.offset, 31);
    vekiHuffmanTableFree_32s(table);
}

}  // namespace
