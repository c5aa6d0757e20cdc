// AVS block decoding: streams written from the code tables by the test-side
// encoder and decoded back, plus the end cases and argument checks.
#include <array>
#include <random>

#include "avs/stream.h"

namespace {

using avs_test::Encoder;
using avs_test::kFrameScan;
using avs_test::Kind;
using avs_test::WordWriter;

using DecodeFn = VekStatus (*)(Vek32u**, Vek32s*, Vek32s*, Vek16s*, Vek32s);

struct Decoder {
    Kind kind;
    DecodeFn fn;
};

const std::array<Decoder, 3>& decoders() {
    static const std::array<Decoder, 3> d{{{avs_test::intra(), vekiDecodeLumaBlockIntra_AVS_1u16s},
                                           {avs_test::inter(), vekiDecodeLumaBlockInter_AVS_1u16s},
                                           {avs_test::chroma(), vekiDecodeChromaBlock_AVS_1u16s}}};
    return d;
}

constexpr int kFieldScan[64] = {0,  8,  16, 1,  24, 32, 9,  17, 40, 48, 25, 2,  10, 56, 33, 18, 3,  41, 49, 26, 11, 19,
                                4,  57, 34, 12, 42, 27, 20, 50, 35, 28, 5,  13, 58, 43, 36, 21, 6,  29, 51, 44, 14, 22,
                                37, 59, 52, 30, 45, 60, 38, 53, 46, 61, 54, 7,  62, 15, 23, 31, 39, 47, 55, 63};

struct Block {
    std::vector<std::pair<int, int>> pairs;  // stream order
    std::array<Vek16s, 64> expect(bool field) const {
        std::array<Vek16s, 64> c{};
        int s = -1;
        for (auto it = pairs.rbegin(); it != pairs.rend(); ++it) {
            s += it->first + 1;
            c[static_cast<std::size_t>((field ? kFieldScan : kFrameScan)[s])] = static_cast<Vek16s>(it->second);
        }
        return c;
    }
    int used() const {
        int n = 0;
        for (const auto& p : pairs) n += p.first + 1;
        return n;
    }
};

// Decodes blocks written back to back and checks each block, its count and
// where the cursor stops.
void decode_all(const Decoder& d, const WordWriter& w, const std::vector<Block>& blocks, Vek32s scan_type,
                bool field_row) {
    std::vector<Vek32u> words = w.words;
    words.resize(words.size() + 8, 0xFFFFFFFFu);
    Vek32u* p = words.data();
    Vek32s offset = 31;
    for (std::size_t b = 0; b < blocks.size(); ++b) {
        std::array<Vek16s, 64> got;
        got.fill(77);
        Vek32s n = -5;
        ASSERT_EQ(d.fn(&p, &offset, &n, got.data(), scan_type), vekStsOk);
        EXPECT_EQ(got, blocks[b].expect(field_row)) << d.kind.prefix << " block " << b;
        EXPECT_EQ(n, scan_type != 0 ? 63 : blocks[b].used()) << d.kind.prefix << " block " << b;
    }
    const std::uint64_t read =
        static_cast<std::uint64_t>(p - words.data()) * 32 + 31 - static_cast<std::uint64_t>(offset);
    EXPECT_EQ(read, w.bits) << d.kind.prefix;
}

// Every code of every table: reach the table by a first level at the top of
// the previous table's range, then use the code, then end the block.
TEST(AvsBlockDecode, EveryCodeOfEveryTable) {
    for (const Decoder& d : decoders()) {
        WordWriter w;
        std::vector<Block> blocks;
        for (std::size_t t = 0; t < d.kind.tables.size(); ++t) {
            for (const auto& [run, level] : d.kind.tables[t].pairs) {
                if (run == 64) continue;
                Block b;
                if (t > 0) b.pairs.emplace_back(0, d.kind.bound[t - 1]);
                b.pairs.emplace_back(run, level);
                Encoder e{d.kind, w};
                for (const auto& [r, l] : b.pairs) e.pair(r, l);
                e.eob();
                blocks.push_back(b);
            }
        }
        decode_all(d, w, blocks, 0, false);
    }
}

// Random blocks with forced escapes, large levels, long runs, full blocks and
// the ways a block can end: end of block, a table code or an escape whose run
// passes position 63.
TEST(AvsBlockDecode, RandomStreamsWithEscapesAndTableChanges) {
    std::mt19937 rng(12);
    for (const Decoder& d : decoders()) {
        for (const auto& [scan_type, field_row] :
             std::vector<std::pair<Vek32s, bool>>{{0, false}, {1, true}, {3, true}}) {
            WordWriter w;
            std::vector<Block> blocks;
            for (int n = 0; n < 300; ++n) {
                Block b;
                Encoder e{d.kind, w};
                const int target = 1 + static_cast<int>(rng() % 64);
                while (e.pos < target) {
                    const int room = 64 - e.pos;
                    const int run =
                        rng() % 3 == 0 ? static_cast<int>(rng() % room) : static_cast<int>(rng() % std::min(room, 3));
                    int mag = rng() % 4 == 0 ? 1 + static_cast<int>(rng() % 2000) : 1 + static_cast<int>(rng() % 12);
                    const int sign = rng() % 2 ? 1 : -1;
                    const auto& t = d.kind.tables[static_cast<std::size_t>(e.table)];
                    const int capped = std::min(e.largest, d.kind.cap);
                    const int add = run <= d.kind.max_run[static_cast<std::size_t>(capped)]
                                        ? t.add[static_cast<std::size_t>(run)]
                                        : 1;
                    // A pair the table lacks must be large enough to escape.
                    if (!t.code.count({run, sign * mag}) && mag < add) mag = add;
                    const int level = sign * mag;
                    e.pair(run, level, rng() % 3 == 0 && mag >= add);
                    b.pairs.emplace_back(run, level);
                }
                switch (rng() % 3) {
                    case 0:
                        e.eob();
                        break;
                    case 1:
                        w.exp_golomb(59 + 2 * static_cast<std::uint64_t>(64 - e.pos) + 1,
                                     d.kind.order[static_cast<std::size_t>(e.table)]);
                        w.exp_golomb(rng() % 5000, d.kind.escape_order);
                        break;
                    default: {  // run 64 minus pos or more from the table, if it has one
                        const auto& t = d.kind.tables[static_cast<std::size_t>(e.table)];
                        int code = t.eob;
                        for (std::size_t c = 0; c < t.pairs.size(); ++c)
                            if (t.pairs[c].first != 64 && e.pos + t.pairs[c].first > 63) code = static_cast<int>(c);
                        w.exp_golomb(static_cast<std::uint64_t>(code), d.kind.order[static_cast<std::size_t>(e.table)]);
                    }
                }
                blocks.push_back(b);
            }
            decode_all(d, w, blocks, scan_type, field_row);
        }
    }
}

// The code of an empty block, the field count, the chroma scan taken from the
// whole of scanType, and a code number wider than 32 bits.
TEST(AvsBlockDecode, EndCasesAndScanChoice) {
    const struct {
        std::size_t decoder;
        Vek32s scan_type;
        bool field_row;
    } cases[] = {{0, 0, false}, {0, 1, true}, {0, 2, false}, {1, 2, false}, {1, -1, true}, {2, 1, true}, {2, 2, true}};
    for (const auto& c : cases) {
        const Decoder& d = decoders()[c.decoder];
        WordWriter w;
        Encoder empty{d.kind, w};
        empty.eob();
        Encoder one{d.kind, w};
        one.pair(5, 1), one.pair(0, -1), one.eob();
        // A 40-zero code number is an escape with a huge run: its escape value is
        // read and the block ends with nothing.
        w.put(0, 40), w.put(1, 1), w.put(0, 40 + d.kind.order[0]);
        w.exp_golomb(9, d.kind.escape_order);
        decode_all(d, w, {Block{}, Block{{{5, 1}, {0, -1}}}, Block{}}, c.scan_type, c.field_row);
    }
}

TEST(AvsBlockDecode, NullPointersWriteNothing) {
    Vek32u word = 0x80000000u;
    for (const Decoder& d : decoders())
        for (int which = 0; which < 5; ++which) {
            Vek32u* p = which == 4 ? nullptr : &word;
            Vek32s offset = 31, n = 9;
            Vek16s coef[64] = {5};
            EXPECT_EQ(d.fn(which == 0 ? nullptr : &p, which == 1 ? nullptr : &offset, which == 2 ? nullptr : &n,
                           which == 3 ? nullptr : coef, 0), vekStsNullPtrErr);
            EXPECT_TRUE(offset == 31 && n == 9 && coef[0] == 5 && p == (which == 4 ? nullptr : &word)) << which;
        }
}

}  // namespace
