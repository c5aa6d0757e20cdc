#include "mpeg2/huffman.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "frame/bitstream.h"
#include "frame/core.h"
#include "vlc_codes.h"

namespace {

using vek::mpeg2::HuffmanLeafKind;
constexpr Vek32s U = vek::kVlcUnusedEntry;
using enum HuffmanLeafKind;
using namespace mpeg2_test;

// Records the sizes asked for and the blocks still live; call number
// `fail_at` returns null.
struct CountingAllocator {
    int fail_at = -1, live = 0;
    List sizes = {};
    static void* alloc(void* ctx, Vek32s bytes) {
        auto* self = static_cast<CountingAllocator*>(ctx);
        self->sizes.push_back(bytes);
        if (static_cast<int>(self->sizes.size()) - 1 == self->fail_at) return nullptr;
        return ++self->live, vekMalloc(bytes);
    }
    static void release(void* ctx, void* p) { --static_cast<CountingAllocator*>(ctx)->live, vekFree(p); }
};

VekStatus build_exported(HuffmanLeafKind kind, const Vek32s* list, Vek32s** table) {
    return kind == kValue ? vekiHuffmanTableInitAlloc_32s(list, table)
                          : vekiHuffmanRunLevelTableInitAlloc_32s(list, table);
}

struct BuildCase {
    const char* name;
    HuffmanLeafKind kind;
    List list;
    List table;  // the whole table built; empty: vekStsNoMemErr
    List sizes;  // bytes asked of the allocator: the code array (if any codes), the table
    int fail_at = -1;
};

Vek32s* const kNotSet = reinterpret_cast<Vek32s*>(0x1234);  // where *ppTable must not change

const BuildCase kBuildCases[] = {
    {"one code of length 1 leaves the other half unused", kValue, make_list({2}, {code("0", {3})}),
     {2, 0x301, 0x301, U, U}, {8, 20}},
    {"code as long as the first level has u = 0 and one slot", kValue,
     make_list({3}, {code("101", {4})}), {3, U, U, U, U, U, 0x400, U, U}, {8, 36}},
    // 010 and 011 share the sub-table behind 01, counted once: 5 + 5 + 5 words.
    {"shared prefixes share one sub-table", kValue,
     make_list({2, 2}, {code("1", {5}), code("010", {7}), code("011", {8}), code("0010", {9})}),
     {2, 0xA80, 0x580, 0x501, 0x501, 2, 0x701, 0x701, 0x801, 0x801, 2, U, U, 0x900, U}, {32, 60}},
    // Run-level leaves are second << 16 | (first & 255) << 8 | u.
    {"run-level leaves, first masked to 8 bits, code beyond the levels left out", kRunLevel,
     make_list({1, 2}, {code("1", {300, -2}), code("01", {254, 0}), code("000", {5, 7}),
                        code("0011", {1, 1})}),
     {1, 0x380, static_cast<Vek32s>(0xFFFE2C00u), 2, 0x70500, U, 0xFE01, 0xFE01}, {24, 32}},
    {"a level of width 0 is a single link slot", kValue, make_list({0, 2}, {code("10", {6})}),
     {0, 0x280, 2, U, U, 0x600, U}, {8, 28}},
    {"empty list gives unused slots only", kValue, make_list({2}, {}), {2, U, U, U, U}, {20}},
    {"negative values keep their sign", kValue, make_list({1}, {code("1", {-3})}),
     {1, U, static_cast<Vek32s>(0xFFFFFD00u)}, {8, 12}},
    // Caller errors: built without overflow, the earlier code stands.
    {"duplicate code: the first stands", kValue,
     make_list({2}, {code("01", {1}), code("01", {2}), code("10", {3})}), {2, U, 0x100, 0x300, U},
     {24, 20}},
    {"code behind a shorter one at a link slot is left out", kValue,
     make_list({2, 2}, {code("0", {1}), code("010", {2})}), {2, 0x101, 0x101, U, U, U, U, U, U, U},
     {16, 40}},
    {"code overlapping a shorter one's slots is left out", kValue,
     make_list({3}, {code("0", {1}), code("01", {2})}), {3, 0x102, 0x102, 0x102, 0x102, U, U, U, U},
     {16, 36}},
    {"bits above a code's length are ignored", kValue, make_list({2}, {Code{0xFFFFFFF1u, 2, {9}}}),
     {2, U, 0x900, U, U}, {8, 20}},
    // No table: nothing is left allocated and the big table is never asked for.
    {"code array allocation fails", kValue, make_list({2, 2}, {code("1", {5}), code("010", {7})}),
     {}, {16}, 0},
    {"table allocation fails", kValue, make_list({2, 2}, {code("1", {5}), code("010", {7})}), {},
     {16, 40}, 1},
    {"no level", kValue, {0, 0, -1}, {}, {}},
    {"negative level count", kValue, {0, -3, 4, -1}, {}, {}},
    {"negative width", kValue, make_list({-1}, {code("1", {1})}), {}, {}},
    {"first level of 29 bits", kValue, make_list({29}, {code("1", {1})}), {}, {}},
    {"later level of 29 bits", kValue, make_list({4, 29}, {code("1", {1})}), {}, {}},
    {"two 2^28 sub-tables exceed 2^31 bytes", kValue,
     make_list({20, 28}, {code(std::string(21, '0'), {1}), code("1" + std::string(20, '0'), {2})}), {}, {16}},
    {"sub-table beyond what a link can address", kValue,
     make_list({23, 1}, {code(std::string(24, '0'), {1})}), {}, {8}},
};

TEST(HuffmanBuild, ExactLayoutsAllocationsAndNoMem) {
    for (const BuildCase& bc : kBuildCases) {
        SCOPED_TRACE(bc.name);
        const VekStatus want = bc.table.empty() ? vekStsNoMemErr : vekStsOk;
        CountingAllocator a{bc.fail_at};
        Vek32s* table = kNotSet;
        ASSERT_EQ(vek::mpeg2::build_huffman_table(bc.list.data(), bc.kind, {a.alloc, a.release, &a}, &table), want);
        EXPECT_EQ(a.sizes, bc.sizes);
        EXPECT_EQ(table == kNotSet, want != vekStsOk);  // *ppTable is set only on success
        if (want == vekStsOk) {
            EXPECT_EQ(List(table, table + bc.table.size()), bc.table);
            CountingAllocator::release(&a, table);
        }
        EXPECT_EQ(a.live, 0);
        if (bc.fail_at >= 0) continue;
        Vek32s* exported = kNotSet;  // the exported builder gives the same
        ASSERT_EQ(build_exported(bc.kind, bc.list.data(), &exported), want);
        ASSERT_EQ(exported == kNotSet, want != vekStsOk);
        if (want != vekStsOk) continue;
        EXPECT_EQ(List(exported, exported + bc.table.size()), bc.table);
        EXPECT_EQ(vekiHuffmanTableFree_32s(exported), vekStsOk);
    }
}

// Every set of null pointers, also with other arguments bad: vekStsNullPtrErr,
// and nothing written.
TEST(HuffmanContract, NullsFailAndWriteNothing) {
    const List list = make_list({2}, {code("1", {1})});
    for (HuffmanLeafKind kind : {kValue, kRunLevel}) {
        Vek32s* table = kNotSet;
        EXPECT_EQ(build_exported(kind, nullptr, &table), vekStsNullPtrErr);
        EXPECT_EQ(table, kNotSet);
        EXPECT_EQ(build_exported(kind, list.data(), nullptr), vekStsNullPtrErr);
    }
    EXPECT_EQ(vekiHuffmanTableFree_32s(nullptr), vekStsNullPtrErr);

    const Vek32s table[] = {1, 0x501, 0x601};
    Vek32u words[2] = {0xFFFFFFFFu, 0};
    for (unsigned nulls = 1; nulls < 64; ++nulls) {  // ppBitStream, pOffset, pTable, *ppBitStream, outputs
        SCOPED_TRACE(nulls);
        Vek32u* stream = (nulls & 8) ? nullptr : words;
        Vek32s offset = 17, dst = -99;
        Vek8u first = 77;
        Vek16s second = -77;
        Vek32u** pp = (nulls & 1) ? nullptr : &stream;
        Vek32s* po = (nulls & 2) ? nullptr : &offset;
        const Vek32s* pt = (nulls & 4) ? nullptr : table;
        if (!(nulls & 32)) {  // the single decoder has one output
            EXPECT_EQ(vekiDecodeHuffmanOne_1u32s(pp, po, (nulls & 16) ? nullptr : &dst, pt), vekStsNullPtrErr);
        }
        EXPECT_EQ(vekiDecodeHuffmanPair_1u16s(pp, po, pt, (nulls & 16) ? nullptr : &first, (nulls & 32) ? nullptr : &second),
                  vekStsNullPtrErr);
        EXPECT_TRUE(stream == ((nulls & 8) ? nullptr : words) && offset == 17 && dst == -99 && first == 77 &&
                    second == -77);
    }
}

// ---- Round trips on the real tables in tests/data/vlc -------------------------------

using Cursor = std::pair<Vek32u*, Vek32s>;

// Random codes after random filler (so codes meet every alignment and
// give-backs cross word boundaries) through both decoders, the cursor checked
// after each. B.14 leaves the prefix of 12 zeros unused: the single decoder
// gives the marker and stops after the level that found it, the pair decoder
// moves and writes nothing.
TEST(HuffmanRoundTrip, RealTablesThroughBothDecoders) {
    const struct {
        HuffmanLeafKind kind;
        const char* file;
        std::vector<List> level_sets;
        int unused_zeros;  // length of an all-zero prefix no code has, or 0
        std::size_t count;
    } cases[] = {
        {kRunLevel, "mpeg2_dct_b14.txt",
         {{17}, {9, 8}, {5, 4, 4, 4}, {8, 4, 3, 2}, List(17, 1), {4, 13}, {8, 4, 5}}, 12, 2 * 111 + 2},
        {kValue, "mpeg2_dc_size_luma.txt", {{9}, {3, 3, 3}, {2, 7}, List(9, 1), {4, 5}}, 0, 12},
    };
    const char* env = std::getenv("VEK_TEST_SEED");
    const unsigned seed = env ? static_cast<unsigned>(std::strtoul(env, nullptr, 0)) : 7031u;
    std::printf("HuffmanRoundTrip seed %u (set VEK_TEST_SEED to override)\n", seed);
    std::mt19937 rng(seed);
    for (const auto& rc : cases) {
        const std::vector<Code> codes = read_codes(rc.file);
        ASSERT_EQ(codes.size(), rc.count);
        for (const List& widths : rc.level_sets) {
            SCOPED_TRACE(::testing::Message() << rc.file << ", levels " << ::testing::PrintToString(widths));
            Vek32s* table = nullptr;
            ASSERT_EQ(build_exported(rc.kind, make_list(widths, codes).data(), &table), vekStsOk);

            Vek32s value = 0;
            Vek8u first = 0;
            Vek16s second = 0;
            std::vector<int> picks(3000);
            std::vector<Cursor> after;  // where the reader stands after each code
            std::vector<Vek32u> buf(picks.size() * 17 / 32 + 4, 0);  // zero padding for the read-ahead
            vek::WordWriter w{buf.data(), 32};
            if (const int filler = static_cast<int>(rng() % 32)) vek::write_bits(w, rng(), filler);
            Cursor one{w.word, w.offset - 1}, pair = one;
            for (int& p : picks) {
                p = static_cast<int>(rng() % codes.size());
                vek::write_bits(w, codes[p].code, codes[p].length);
                after.emplace_back(w.word, w.offset - 1);
            }
            ASSERT_LE(w.word + 2, buf.data() + buf.size());
            for (std::size_t i = 0; i < picks.size(); ++i) {
                const List& want = codes[picks[i]].fields;
                ASSERT_EQ(vekiDecodeHuffmanOne_1u32s(&one.first, &one.second, &value, table), vekStsOk) << i;
                ASSERT_EQ(vekiDecodeHuffmanPair_1u16s(&pair.first, &pair.second, table, &first, &second), vekStsOk) << i;
                const Vek32s second_want = want.size() > 1 ? want[1] : 0;
                ASSERT_TRUE(value == second_want * 256 + want[0] && first == want[0] && second == second_want &&
                            one == after[i] && pair == after[i]) << i;
            }
            if (rc.unused_zeros > 0) {
                int stop = 0;
                for (Vek32s width : widths) stop += stop < rc.unused_zeros ? width : 0;
                Vek32u words[3] = {0x0000FFFFu, 0xFFFFFFFFu, 0};
                one = pair = {words, 31};
                first = 11, second = 22;
                EXPECT_EQ(vekiDecodeHuffmanOne_1u32s(&one.first, &one.second, &value, table), vekStsVlcErr);
                EXPECT_TRUE(value == vek::kVlcInvalidValue && one == Cursor(words, 31 - stop));
                EXPECT_EQ(vekiDecodeHuffmanPair_1u16s(&pair.first, &pair.second, table, &first, &second), vekStsVlcErr);
                EXPECT_TRUE(pair == Cursor(words, 31) && first == 11 && second == 22);
            }
            EXPECT_EQ(vekiHuffmanTableFree_32s(table), vekStsOk);
        }
    }
}

}  // namespace
