#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "frame/tables.h"
#include "stream.h"
#include "vekvc.h"

namespace {

using namespace mpeg4_test;
using Block = std::array<Vek16s, 64>;

// A stream between 8 zero bytes each side: the backward decoders read before
// their final position, the forward ones beyond their last bit.
struct Buffer {
    std::vector<Vek8u> bytes;
    explicit Buffer(const BitWriter& w) : bytes(w.bytes.size() + 16, 0) {
        std::copy(w.bytes.begin(), w.bytes.end(), bytes.begin() + 8);
    }
    std::pair<Vek8u*, Vek32s> at(std::size_t bit) { return {bytes.data() + 8 + bit / 8, static_cast<Vek32s>(bit % 8)}; }
};

enum Decoder { kIntra, kInter, kIntraRvlc, kInterRvlc, kIntraBack, kInterBack };

VekStatus run(Decoder d, std::pair<Vek8u*, Vek32s>& c, Vek16s* coef, Vek32s* last, Vek32s no_dc, Vek32s scan) {
    const Vek32s rvlc = d == kIntraRvlc || d == kInterRvlc;
    if (d == kIntra || d == kIntraRvlc)
        return vekiDecodeCoeffsIntra_MPEG4_1u16s(&c.first, &c.second, coef, last, rvlc, no_dc, scan);
    if (d == kInter || d == kInterRvlc) return vekiDecodeCoeffsInter_MPEG4_1u16s(&c.first, &c.second, coef, last, rvlc, scan);
    if (d == kIntraBack) return vekiDecodeCoeffsIntraRVLCBack_MPEG4_1u16s(&c.first, &c.second, coef, last, no_dc);
    return vekiDecodeCoeffsInterRVLCBack_MPEG4_1u16s(&c.first, &c.second, coef, last);
}

// Random blocks of ordinary codes in every escape form and of reversible
// codes, every scan (intra 0 zigzag, 1 vertical, 2 horizontal, other natural;
// inter has no horizontal scan), every offset. Reversible blocks are also read
// backward from their end: the same coefficients in natural order, the cursor
// stopping on the sign bit of the block before.
TEST(Mpeg4Decode, RandomBlocksForwardAndBackward) {
    std::mt19937 rng(test_seed("Mpeg4Decode"));
    const CodeTable tcoef[2] = {read_table("mpeg4_tcoef_inter_b17.txt"), read_table("mpeg4_tcoef_intra_b16.txt")};
    const CodeTable rvlc[2] = {read_table("mpeg4_rvlc_b23.txt", 1), read_table("mpeg4_rvlc_b23.txt", 0)};
    ASSERT_TRUE(tcoef[1].codes.size() == 102 && rvlc[0].codes.size() == 169);
    int forms_seen[4] = {};
    for (int iter = 0; iter < 4000; ++iter) {
        SCOPED_TRACE(::testing::Message() << "iteration " << iter);
        const bool intra = iter & 1, reversible = iter & 2;
        const int scan = static_cast<int>(rng() % 4);
        const Vek8u* const scans[] = {vek::ownvc_Zigzag.data(), vek::ownvc_AltScanV.data(),
                                      intra ? vek::ownvc_AltScanH.data() : nullptr, nullptr};
        const Vek32s no_dc = intra && rng() % 3 == 0;
        const int start = no_dc ? 0 : -1;
        const std::vector<Coef> block = random_block(rng, start, 2047);
        BitWriter w;
        w.put(rng(), static_cast<int>(rng() % 8));
        if (reversible)
            for (const Coef& c : random_block(rng, -1, 100)) put_rvlc(w, rvlc[intra], c, rng() % 8 == 0);
        const std::size_t begin = w.bits;
        for (const Coef& c : block) {
            if (reversible) {
                put_rvlc(w, rvlc[intra], c, rng() % 8 == 0);
                continue;
            }
            const std::vector<Form> f = forms_for(tcoef[intra], c);
            const Form form = f[rng() % f.size()];
            ++forms_seen[static_cast<int>(form)];
            put_tcoef(w, tcoef[intra], c, form);
        }
        Buffer buf(w);
        int k = start;
        for (const Coef& c : block) k += c.run + 1;
        for (bool backward : {false, true}) {
            if (backward && !reversible) break;
            Block coef;
            coef.fill(777);
            Vek32s last = 99;
            auto cur = buf.at(backward ? w.bits - 1 : begin);
            const Decoder d = static_cast<Decoder>((backward ? 4 : reversible ? 2 : 0) + !intra);
            ASSERT_EQ(run(d, cur, coef.data(), &last, no_dc, scan), vekStsOk);
            Block want = place(block, start, backward ? nullptr : scans[scan]);
            if (no_dc) want[0] = 777;
            EXPECT_EQ(coef, want);
            EXPECT_EQ(cur, buf.at(backward ? begin - 1 : w.bits));
            EXPECT_EQ(last, k);
        }
    }
    for (int n : forms_seen) EXPECT_GT(n, 50);
}

// Every code of B-16 and B-17 behind a type-1 and a type-2 escape, so that
// each LMAX and RMAX entry is used (a closing (1,0,1) follows a code with last 0).
TEST(Mpeg4Decode, EscapeOffsetsOfEveryCode) {
    for (bool intra : {false, true}) {
        const CodeTable t = read_table(intra ? "mpeg4_tcoef_intra_b16.txt" : "mpeg4_tcoef_inter_b17.txt");
        for (const auto& [key, bits] : t.codes)
            for (Form form : {Form::kType1, Form::kType2}) {
                const auto [last, r, level] = key;
                const Coef c = form == Form::kType1 ? Coef{last, r, -(level + t.lmax.at({last, r}))}
                                                    : Coef{last, r + t.rmax.at({last, level}) + 1, level};
                if (c.run + !last > 63) continue;
                SCOPED_TRACE(::testing::Message() << intra << " " << last << " " << r << " " << level);
                BitWriter w;
                put_tcoef(w, t, c, form);
                if (!last) put_tcoef(w, t, {1, 0, 1}, Form::kDirect);
                Buffer buf(w);
                auto cur = buf.at(0);
                Block coef{};
                Vek32s index = 0;
                ASSERT_EQ(run(intra ? kIntra : kInter, cur, coef.data(), &index, 0, 3), vekStsOk);
                EXPECT_EQ(coef, place(last ? std::vector<Coef>{c} : std::vector<Coef>{c, {1, 0, 1}}, -1, nullptr));
            }
    }
}

std::string bits_of(std::uint32_t v, int n) {
    std::string s;
    while (n--) s += (v >> n) & 1 ? '1' : '0';
    return s;
}
std::string repeat(const std::string& s, int n) { return n ? s + repeat(s, n - 1) : ""; }
const std::string kEsc = "0000011";
std::string type3(int last, int run, int m1, int level, int m2) {
    return kEsc + "11" + bits_of(last, 1) + bits_of(run, 6) + bits_of(m1, 1) + bits_of(level & 0xFFF, 12) + bits_of(m2, 1);
}
std::string rvlc_escape(int last, int run, int m1, int magnitude, int m2, const std::string& tail) {
    return "00001" + bits_of(last, 1) + bits_of(run, 6) + bits_of(m1, 1) + bits_of(magnitude, 11) + bits_of(m2, 1) + tail;
}

struct CodeCase {
    const char* name;
    Decoder decoder;
    std::string bits;  // backward: ending at the cursor
    Vek32s status, last;
    std::vector<std::pair<int, int>> coefs;  // (natural index, value); index -1: every entry
    Vek32s no_dc = 0;
};

// B-16 and B-17: 10s is (0,0,1), 0111s (1,0,1); B-16 1111s is (0,0,3). B-23:
// 110s (0,0,1), 1011s (1,0,1), 111s intra (0,0,2) and inter (0,1,1). The
// escape offsets and runs to 63 are round trips above; here the quirks.
const CodeCase kCodeCases[] = {
    {"B-16 telling rows", kIntra, "100" "1101" "11110" "01110", vekStsOk, 3, {{0, 1}, {1, -2}, {2, 3}, {3, 1}}},
    {"type 1 on the escape row: 255 + LMAX, intra", kIntra, kEsc + "0" + kEsc + "0" "01110", vekStsOk, 1, {{0, 282}, {1, 1}}},
    {"type 1 on the escape row: 255 + LMAX, inter", kInter, kEsc + "0" + kEsc + "1" "01110", vekStsOk, 1, {{0, -267}, {1, 1}}},
    {"type 3 inter level 0 passes", kInter, type3(1, 5, 1, 0, 1), vekStsOk, 5, {}},
    {"B-23 longest", kInterRvlc, "011111101111101" "1", vekStsOk, 44, {{44, -1}}},
    {"B-23 intra meaning", kIntraRvlc, "1110" "10110", vekStsOk, 1, {{0, 2}, {1, 1}}},
    {"B-23 inter meaning", kInterRvlc, "1110" "10110", vekStsOk, 2, {{1, 1}, {2, 1}}},
    // Failures: cursor as on entry, index at the position reached, levels so far kept.
    {"nine leading zeros", kIntra, "100" "000000000000", vekStsVlcCodeErr, 0, {{0, 1}}},
    {"type 1, nine zeros", kInter, kEsc + "0" "000000000000", vekStsVlcCodeErr, -1, {}},
    {"type 2, nine zeros", kInter, kEsc + "10" "000000000000", vekStsVlcCodeErr, -1, {}},
    {"type 2 on the escape row", kIntra, kEsc + "10" + kEsc + "00000", vekStsVlcCodeErr, -1, {}},
    {"type 3 first marker", kInter, type3(1, 0, 0, 5, 1), vekStsVlcCodeErr, -1, {}},
    {"type 3 second marker", kInter, type3(1, 0, 1, 5, 0), vekStsVlcCodeErr, -1, {}},
    {"type 3 intra level 0", kIntra, type3(1, 0, 1, 0, 1), vekStsVlcCodeErr, -1, {}},
    {"type 3 intra level -2048", kIntra, type3(1, 0, 1, -2048, 1), vekStsVlcCodeErr, -1, {}},
    {"type 3 inter level -2048", kInter, type3(1, 0, 1, -2048, 1), vekStsVlcCodeErr, -1, {}},
    {"position 64", kIntra, "100" + type3(1, 63, 1, 9, 1), vekStsVlcCodeErr, 64, {{0, 1}}},
    {"position 64 after a kept DC", kIntra, type3(1, 63, 1, 9, 1), vekStsVlcCodeErr, 64, {{0, 321}}, 1},
    {"reversible prefix 00000", kInterRvlc, "1100" "00000111111", vekStsVlcCodeErr, 0, {{0, 1}}},
    {"reversible unused 011111111111", kInterRvlc, "011111111111" "1111", vekStsVlcCodeErr, -1, {}},
    {"reversible unused 1000000000000", kIntraRvlc, "1000000000000" "11", vekStsVlcCodeErr, -1, {}},
    {"reversible escape first marker", kInterRvlc, rvlc_escape(1, 0, 0, 3, 1, "00000"), vekStsVlcCodeErr, -1, {}},
    {"reversible escape second marker", kInterRvlc, rvlc_escape(1, 0, 1, 3, 0, "00000"), vekStsVlcCodeErr, -1, {}},
    {"reversible escape magnitude 0", kInterRvlc, rvlc_escape(1, 0, 1, 0, 1, "00000"), vekStsVlcCodeErr, -1, {}},
    {"reversible escape tail above 1", kInterRvlc, rvlc_escape(1, 0, 1, 3, 1, "00010"), vekStsVlcCodeErr, -1, {}},
    {"reversible position 64", kIntraRvlc, "1100" + rvlc_escape(1, 63, 1, 3, 1, "00000"), vekStsVlcCodeErr, 64, {{0, 1}}},
    {"backward final code not last", kInterBack, "1100", vekStsVlcCodeErr, 63, {}},
    {"backward unused branch", kInterBack, "000000000000010" "0", vekStsVlcCodeErr, 63, {}},
    {"backward escape marker before 0000", kIntraBack, rvlc_escape(1, 0, 1, 3, 0, "00000"), vekStsVlcCodeErr, 63, {}},
    {"backward escape first marker", kIntraBack, rvlc_escape(1, 0, 0, 3, 1, "00000"), vekStsVlcCodeErr, 63, {}},
    {"backward escape magnitude 0", kIntraBack, rvlc_escape(1, 0, 1, 0, 1, "00000"), vekStsVlcCodeErr, 63, {}},
    {"backward escape prefix", kIntraBack, "1" + rvlc_escape(1, 0, 1, 3, 1, "00000").substr(1), vekStsVlcCodeErr, 63, {}},
    {"backward meets the kept DC", kIntraBack, repeat("1100", 63) + "10110", vekStsVlcCodeErr, 0, {{-1, 1}, {0, 321}}, 1},
    // Kept: a run overshooting the kept DC at the last step smears it upward, index 64.
    {"backward overshoot", kIntraBack, "10110" "00010" + repeat("1100", 61) + "10110", vekStsOk, 64, {{-1, 321}}, 1},
};

TEST(Mpeg4Decode, KnownCodesAndBadCodes) {
    for (const CodeCase& cc : kCodeCases) {
        SCOPED_TRACE(cc.name);
        const bool backward = cc.decoder >= kIntraBack;
        BitWriter w;
        w.put(5, 3);  // the cursor at offset 3
        w.put(cc.bits);
        Buffer buf(w);
        auto cur = buf.at(backward ? w.bits - 1 : 3);
        Block coef{}, want{};
        coef[0] = 321;
        for (auto [i, v] : cc.coefs) i < 0 ? want.fill(Vek16s(v)) : void(want[i] = Vek16s(v));
        Vek32s last = 99;
        EXPECT_EQ(run(cc.decoder, cur, coef.data(), &last, cc.no_dc, 3), cc.status);  // natural order
        EXPECT_EQ(last, cc.last);
        EXPECT_EQ(coef, want);
        EXPECT_EQ(cur, buf.at(cc.status != vekStsOk ? (backward ? w.bits - 1 : 3) : backward ? 7 : w.bits));
    }
}

// Every DC size of both tables at every offset with the extremes of each
// size; size 12 at offset 7 uses all 32 bits of the window. A marker of 0
// fails after *pDC is written; a size code without a 1 fails.
TEST(Mpeg4Decode, IntraDcEverySizeAndOffset) {
    const CodeTable sizes[2] = {read_table("mpeg4_dc_size_luma.txt"), read_table("mpeg4_dc_size_chroma.txt")};
    const auto decode = [](Buffer& buf, std::size_t at, Vek32s type, Vek32s want, std::size_t end) {
        auto cur = buf.at(at);
        Vek16s got = 999;
        EXPECT_EQ(vekiDecodeDCIntra_MPEG4_1u16s(&cur.first, &cur.second, &got, type), want);
        EXPECT_EQ(cur, buf.at(end));
        return got;
    };
    for (Vek32s type : {0, 1, 5}) {
        for (int size = 0; size <= 12; ++size) {
            const int lo = size ? 1 << (size - 1) : 0, hi = size ? (1 << size) - 1 : 0;
            for (int dc : {lo, hi, -lo, -hi})
                for (int offset = 0; offset < 8; ++offset) {
                    SCOPED_TRACE(::testing::Message() << type << " " << size << " " << dc << " " << offset);
                    BitWriter w;
                    w.put(0x55, offset);
                    w.put(sizes[type != 0].codes.at({0, size, 0}));
                    w.put(dc > 0 ? dc : dc + hi, size);
                    if (size > 8) w.put(1, 1);
                    Buffer buf(w);
                    EXPECT_EQ(decode(buf, offset, type, vekStsOk, w.bits), dc);
                    if (size <= 8) continue;
                    buf.bytes[8 + (w.bits - 1) / 8] &= static_cast<Vek8u>(~(0x80 >> ((w.bits - 1) % 8)));
                    EXPECT_EQ(decode(buf, offset, type, vekStsVlcCodeErr, offset), dc);
                }
        }
        BitWriter w;
        w.put(std::string(12, '0') + "1");
        Buffer buf(w);
        EXPECT_EQ(decode(buf, 0, type, vekStsVlcCodeErr, 0), 999);
    }
}

// Each decoder: a null pointer (with or without a bad offset) gives
// vekStsNullPtrErr, then an offset outside 0..7 vekStsBitOffsetErr; nothing is written.
TEST(Mpeg4Decode, NullsThenOffset) {
    std::vector<Vek8u> quant(512), bytes(16, 0xA5);
    const auto* ps = reinterpret_cast<VekQuantInvInterSpec_MPEG4*>(quant.data());
    ASSERT_EQ(vekiQuantInvInterInit_MPEG4(nullptr, reinterpret_cast<VekQuantInvInterSpec_MPEG4*>(quant.data()), 8), 0);
    for (int fn = 0; fn < 6; ++fn)
        for (unsigned nulls = 0; nulls < 32; ++nulls)
            for (Vek32s offset : {-1, 3, 8}) {
                if (nulls == 0 && offset == 3) continue;
                Vek8u* stream = (nulls & 4) ? nullptr : bytes.data();
                Vek32s off = offset, last = 99;
                Block coef;
                coef.fill(7);
                Vek8u** s = (nulls & 1) ? nullptr : &stream;
                Vek32s *o = (nulls & 2) ? nullptr : &off, *l = (nulls & 16) ? nullptr : &last;
                Vek16s* c = (nulls & 8) ? nullptr : coef.data();
                const VekStatus st = fn == 0   ? vekiDecodeCoeffsIntra_MPEG4_1u16s(s, o, c, l, 0, 1, 0)
                                     : fn == 1 ? vekiDecodeCoeffsInter_MPEG4_1u16s(s, o, c, l, 1, 0)
                                     : fn == 2 ? vekiDecodeCoeffsIntraRVLCBack_MPEG4_1u16s(s, o, c, l, 1)
                                     : fn == 3 ? vekiDecodeCoeffsInterRVLCBack_MPEG4_1u16s(s, o, c, l)
                                     : fn == 4 ? vekiReconstructCoeffsInter_MPEG4_1u16s(s, o, c, l, 0, 0, ps, 4)
                                     : l       ? vekiDecodeDCIntra_MPEG4_1u16s(s, o, c, 0)  // has no index
                                               : vekStsNullPtrErr;
                EXPECT_EQ(st, nulls ? vekStsNullPtrErr : vekStsBitOffsetErr) << fn << " " << nulls << " " << offset;
                EXPECT_TRUE(off == offset && last == 99 && coef[0] == 7 && coef[63] == 7);
            }
}

}  // namespace
