#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include "frame/bitstream.h"
#include "vlc_codes.h"

namespace {

using namespace mpeg2_test;
using Block = std::array<Vek16s, 64>;

// A run-level table (widths 8, 4, 5) or a DC size table built by the library's builders.
struct Table {
    Vek32s* p = nullptr;
    Table(const std::vector<Code>& codes, bool run_level) {
        const List list = make_list({8, 4, 5}, codes);
        EXPECT_EQ(run_level ? vekiHuffmanRunLevelTableInitAlloc_32s(list.data(), &p)
                            : vekiHuffmanTableInitAlloc_32s(list.data(), &p), vekStsOk);
    }
    ~Table() { vekiHuffmanTableFree_32s(p); }
};

struct Stream {
    std::vector<Vek32u> words = std::vector<Vek32u>(64, 0);
    vek::WordWriter w{words.data(), 32};
    void put(Vek32u v, int n) {
        if (n) vek::write_bits(w, v, n);
    }
    void put(const Code* c) { put(c->code, c->length); }
    std::pair<Vek32u*, Vek32s> cursor() const { return {w.word, w.offset - 1}; }  // where a reader stands
};

// ---- The block model --------------------------------------------------------------------

enum Kind { kMpeg1, kMpeg2, kMpeg1Intra, kMpeg2Intra };
bool is_intra(Kind k) { return k >= kMpeg1Intra; }
bool is_mpeg2(Kind k) { return k == kMpeg2 || k == kMpeg2Intra; }

// One coefficient: '1s' first in a non-intra block, the table's code, or an
// escape (MPEG-2: 12-bit level; MPEG-1: 8 bits, or 0x00 / 0x80 and 8 more).
void put_coef(Stream& s, const std::vector<Code>& t, Kind kind, int run, int level, bool first, bool escape) {
    const Code* c = find(t, {run, level});
    if (first && !is_intra(kind) && run == 0 && std::abs(level) == 1 && !escape) {
        s.put(level < 0 ? 3 : 2, 2);
    } else if (c && !escape) {
        s.put(c);
    } else {
        s.put(find(t, {255, 0}));
        s.put(run, 6);
        if (!is_mpeg2(kind) && (level < -127 || level > 127 || level == 0)) s.put(level < 0 ? 0x80 : 0, 8);
        s.put(static_cast<Vek32u>(level) & (is_mpeg2(kind) ? 0xFFF : 0xFF), is_mpeg2(kind) ? 12 : 8);
    }
}

// A DC difference: its size code, then the difference in `size` bits (negative: + 2^size - 1).
void put_dc(Stream& s, const std::vector<Code>& dc, int d) {
    const int size = d ? 32 - __builtin_clz(static_cast<unsigned>(std::abs(d))) : 0;
    s.put(find(dc, {size}));
    s.put(static_cast<Vek32u>(d > 0 ? d : d + (1 << size) - 1), size);
}

Vek16s dequantised(Kind kind, int L, int W, int QP) {
    const long long twice = 2LL * L + (is_intra(kind) ? 0 : (L > 0) - (L < 0));
    if (is_mpeg2(kind)) return static_cast<Vek16s>(twice * W * QP / 32);  // 16-bit wrap
    long long v = twice * W * QP / 16;
    if (v % 2 == 0) v -= (v > 0) - (v < 0);
    return static_cast<Vek16s>(std::clamp(v, -2048LL, 2047LL));
}

struct Call {
    Kind kind;
    const Vek32s* first_or_dc;
    const Vek32s* ac;
    std::array<Vek32s, 64> scan;
    std::array<Vek16s, 64> matrix;
    bool null_matrix;
    Vek32s qp, shift_dc;
    VekStatus operator()(std::pair<Vek32u*, Vek32s>& c, Block& out, Vek32s& size, Vek16s& pred) const {
        const Vek16s* m = null_matrix ? nullptr : matrix.data();
        auto& [w, o] = c;
        if (kind == kMpeg1) return vekiReconstructDCTBlock_MPEG1_32s(&w, &o, first_or_dc, ac, scan.data(), qp, m, out.data(), &size);
        if (kind == kMpeg2) return vekiReconstructDCTBlock_MPEG2_32s(&w, &o, first_or_dc, ac, scan.data(), qp, m, out.data(), &size);
        if (kind == kMpeg1Intra)
            return vekiReconstructDCTBlockIntra_MPEG1_32s(&w, &o, first_or_dc, ac, scan.data(), qp, m, &pred, out.data(), &size);
        return vekiReconstructDCTBlockIntra_MPEG2_32s(&w, &o, first_or_dc, ac, scan.data(), qp, m, &pred, shift_dc,
                                                      out.data(), &size);
    }
};

// Random blocks of every kind with B.14 and B.15: escapes of every form,
// levels reaching the MPEG-2 wrap and the MPEG-1 clip, runs to 63, random
// scans (DC first), matrices, QP and offsets.
TEST(Mpeg2Block, RandomBlocksOfEveryKind) {
    const char* env = std::getenv("VEK_TEST_SEED");
    const unsigned seed = env ? static_cast<unsigned>(std::strtoul(env, nullptr, 0)) : 1602u;
    std::printf("Mpeg2Block seed %u (set VEK_TEST_SEED to override)\n", seed);
    std::mt19937 rng(seed);
    const auto b14 = read_codes("mpeg2_dct_b14.txt"), b15 = read_codes("mpeg2_dct_b15.txt");
    const auto dc = read_codes("mpeg2_dc_size_luma.txt");
    const Table t14(b14, true), t15(b15, true), dc_table(dc, false);
    for (int iter = 0; iter < 3000; ++iter) {
        SCOPED_TRACE(::testing::Message() << "iteration " << iter);
        const Kind kind = static_cast<Kind>(iter % 4);
        const bool intra = is_intra(kind), use15 = intra && rng() % 2;
        Call call{kind, intra ? dc_table.p : t14.p, use15 ? t15.p : t14.p, {}, {}, kind == kMpeg2 && rng() % 4 == 0,
                  1 + static_cast<Vek32s>(rng() % 112), static_cast<Vek32s>(rng() % 4)};
        for (int i = 0; i < 64; ++i) call.scan[i] = i;
        std::shuffle(call.scan.begin() + 1, call.scan.end(), rng);
        for (Vek16s& w : call.matrix) w = static_cast<Vek16s>(1 + rng() % 255);
        const Vek16s pred_in = static_cast<Vek16s>(rng() % 2048);

        Stream s;
        s.put(rng(), static_cast<int>(rng() % 32));
        const auto begin = s.cursor();
        Block want{};
        Vek16s pred = pred_in;
        int i = intra ? 0 : -1;
        if (intra) {
            const int size = static_cast<int>(rng() % 12), hi = (1 << size) - 1;
            const int d = (size ? (1 << (size - 1)) + static_cast<int>(rng() % (hi / 2 + 1)) : 0) * (rng() & 1 ? -1 : 1);
            put_dc(s, dc, d);
            pred = static_cast<Vek16s>(pred + (kind == kMpeg1Intra ? 8 * d : d));
            want[0] = kind == kMpeg1Intra ? pred : static_cast<Vek16s>(pred << call.shift_dc);
        }
        while (i < 63 && (i < 0 || rng() % 6)) {
            const int room = 62 - i;
            const int run = static_cast<int>(rng() % (rng() % 3 ? std::min(room + 1, 3) : room + 1));
            const int big = is_mpeg2(kind) ? 2048 : 256;
            const int level = rng() % 4 ? (1 + static_cast<int>(rng() % 3)) * (rng() & 1 ? -1 : 1)
                                        : static_cast<int>(rng() % (2 * big)) - big;
            put_coef(s, use15 ? b15 : b14, kind, run, level, i < 0, rng() % 10 == 0);
            i += run + 1;
            const int raster = call.scan[i];
            want[raster] = dequantised(kind, level, call.null_matrix ? 16 : call.matrix[raster], call.qp);
        }
        s.put(find(use15 ? b15 : b14, {254, 0}));
        int sum = 0;
        for (Vek16s v : want) sum += v;
        if (is_mpeg2(kind) && sum % 2 == 0) want[63] = static_cast<Vek16s>(want[63] + ((want[63] & 1) ? -1 : 1));
        Block got;
        got.fill(-7);
        Vek32s size = -1;
        Vek16s got_pred = pred_in;
        auto cur = begin;
        ASSERT_EQ(call(cur, got, size, got_pred), vekStsOk);
        EXPECT_EQ(got, want);
        EXPECT_TRUE(cur == s.cursor() && got_pred == pred && size == (kind == kMpeg2 ? std::max(i, 1) : i)) << size;
    }
}

struct KnownCase {
    const char* name;
    Kind kind;
    std::vector<std::pair<int, int>> coefs;  // (run, level); intra: the DC difference first
    Vek32s qp, weight;
    std::vector<std::pair<int, int>> out;  // (index, value), natural scan
    Vek32s size, status = vekStsOk;
    Vek16s pred_in = 0, pred_out = 0;
    Vek32s shift_dc = 0;
    std::string tail = "";  // replaces end of block
};

// Worked by hand: the quirks, and checks of the model above.
const KnownCase kKnownCases[] = {
    {"MPEG-1 intra 1, W 16, QP 2: 4 made odd", kMpeg1Intra, {{0, 0}, {0, 1}}, 2, 16, {{1, 3}}, 1},
    {"MPEG-2 first '11', size at least 1", kMpeg2, {{0, -1}}, 2, 16, {{0, -3}}, 1},
    {"MPEG-2 DC of 2 alone: 1 at 63", kMpeg2Intra, {{0, 1}}, 2, 16, {{0, 2}, {63, 1}}, 0, 0, 0, 1, 1},
    {"MPEG-2 predictor unscaled", kMpeg2Intra, {{0, -3}}, 2, 16, {{0, 388}, {63, 1}}, 0, 0, 100, 97, 2},
    {"MPEG-1 predictor scaled by 8", kMpeg1Intra, {{0, -3}}, 2, 16, {{0, 76}}, 0, 0, 100, 76},
    {"MPEG-2 16-bit wrap", kMpeg2, {{0, 2047}}, 112, 255, {{0, -15229}}, 1},
    {"MPEG-1 clip high and low", kMpeg1Intra, {{0, 0}, {0, 255}, {0, -256}}, 31, 255, {{1, 2047}, {2, -2048}}, 2},
    {"escape level 0 gives 0", kMpeg2, {{0, 1}, {3, 0}}, 2, 16, {{0, 3}}, 4},
    {"position 64: partial block", kMpeg1, {{0, 1}, {63, 1}}, 2, 16, {{0, 5}}, -1, vekStsVlcErr},
    {"no such code", kMpeg2, {{0, 1}, {2, 1}}, 2, 16, {{0, 3}, {3, 3}}, -1, vekStsVlcErr, 0, 0, 0, "000000000000"},
    {"no such DC size", kMpeg2Intra, {{0, 64}}, 2, 16, {}, -1, vekStsVlcErr, 5, 5},  // the table stops at 6
};

TEST(Mpeg2Block, KnownAnswersAndErrors) {
    const auto b14 = read_codes("mpeg2_dct_b14.txt"), dc = read_codes("mpeg2_dc_size_luma.txt");
    const Table t14(b14, true), dc_table(std::vector<Code>(dc.begin(), dc.begin() + 7), false);  // sizes 0 to 6
    for (const KnownCase& kc : kKnownCases) {
        SCOPED_TRACE(kc.name);
        Call call{kc.kind, is_intra(kc.kind) ? dc_table.p : t14.p, t14.p, {}, {}, false, kc.qp, kc.shift_dc};
        for (int i = 0; i < 64; ++i) call.scan[i] = i;
        call.matrix.fill(static_cast<Vek16s>(kc.weight));
        Stream s;
        s.put(5, 3);
        const auto begin = s.cursor();
        for (std::size_t k = 0; k < kc.coefs.size(); ++k) {
            if (k == 0 && is_intra(kc.kind)) put_dc(s, dc, kc.coefs[k].second);
            else put_coef(s, b14, kc.kind, kc.coefs[k].first, kc.coefs[k].second, k == 0, false);
        }
        const Code tail = kc.tail.empty() ? *find(b14, {254, 0}) : code(kc.tail);
        s.put(&tail);
        Block got, want{};
        got.fill(-7);
        for (auto [i, v] : kc.out) want[i] = static_cast<Vek16s>(v);
        Vek32s size = -1;
        Vek16s pred = kc.pred_in;
        auto cur = begin;
        EXPECT_EQ(call(cur, got, size, pred), kc.status);
        EXPECT_EQ(got, want);
        EXPECT_EQ(cur, kc.status ? begin : s.cursor());  // an error leaves the cursor
        EXPECT_TRUE(size == kc.size && pred == kc.pred_out) << size << " " << pred;
    }
}

// Each pointer null in turn, *ppBitStream too: vekStsNullPtrErr, nothing
// written; only the non-intra MPEG-2 function takes a null matrix (flat 16).
TEST(Mpeg2Block, NullPointers) {
    const auto b14 = read_codes("mpeg2_dct_b14.txt");
    const Table t14(b14, true);
    Stream s;
    s.put(2, 2);
    s.put(find(b14, {254, 0}));
    std::array<Vek32s, 64> scan{};
    std::array<Vek16s, 64> matrix{};
    for (int kind = 0; kind < 4; ++kind) {
        for (int null = 0; null < 10; ++null) {  // the arguments in order, then *ppBitStream
            Vek32u* word = null == 9 ? nullptr : s.words.data();
            Vek32s offset = 31, size = -1;
            Vek16s pred = 4;
            Block b;
            b.fill(-7);
            const auto nul = [null](int i, auto* p) { return i == null ? nullptr : p; };
            Vek32u** pp = nul(0, &word);
            Vek32s* po = nul(1, &offset);
            const Vek32s *t1 = nul(2, t14.p), *t2 = nul(3, t14.p), *sc = nul(4, scan.data());
            const Vek16s* m = nul(5, matrix.data());
            VekStatus st = vekStsOk;
            if (kind == 0) st = vekiReconstructDCTBlock_MPEG1_32s(pp, po, t1, t2, sc, 1, m, nul(7, b.data()), nul(8, &size));
            if (kind == 1) st = vekiReconstructDCTBlock_MPEG2_32s(pp, po, t1, t2, sc, 1, m, nul(7, b.data()), nul(8, &size));
            Vek16s* pp6 = nul(6, &pred);
            if (kind == 2) st = vekiReconstructDCTBlockIntra_MPEG1_32s(pp, po, t1, t2, sc, 1, m, pp6, nul(7, b.data()), nul(8, &size));
            if (kind == 3) st = vekiReconstructDCTBlockIntra_MPEG2_32s(pp, po, t1, t2, sc, 1, m, pp6, 0, nul(7, b.data()), nul(8, &size));
            const bool accepted = (null == 6 && kind < 2) || (null == 5 && kind == 1);
            EXPECT_EQ(st, accepted ? vekStsOk : vekStsNullPtrErr) << kind << " " << null;
            EXPECT_TRUE(accepted || (offset == 31 && size == -1 && pred == 4 && b[0] == -7 && b[63] == -7));
        }
    }
}

}  // namespace
