// CAVLC block and Exp-Golomb decoding: random blocks written with the H.264
// code tables (tests/data/vlc) from the library's preparation must come back
// with the cursor right behind them; hand-made streams pin the quirks; checks
// in order; the decoding paths agree with the word-by-word reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "h264/cavlc_decode.h"
#include "h264/cavlc_stream.h"

namespace {

using namespace cavlc_test;

// A block of the form through the 16-bit or 32-bit decoder.
template <class C>
VekStatus decode(const Tables& t, Form form, int nc, int capacity, Vek32u** word, Vek32s* offset, Vek16s* num,
                 C** dst) {
    const Vek32s *tok = form == kDc420 ? t.token420 : t.token422, *const *tz = t.tz[form].data(), *const *rb = t.rb.data();
    const auto luma = t.token_luma.data();
    if constexpr (std::is_same_v<C, Vek16s>)
        return form == kLuma    ? vekiDecodeCAVLCCoeffs_H264_1u16s(word, offset, num, dst, nc, capacity, luma, tz, rb, kZigzag.data())
               : form == kDc420 ? vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(word, offset, num, dst, tok, tz, rb)
                                : vekiDecodeCAVLCChroma422DcCoeffs_H264_1u16s(word, offset, num, dst, tok, tz, rb);
    else
        return form == kLuma    ? vekiDecodeCAVLCCoeffs_H264_1u32s(word, offset, num, dst, nc, capacity, luma, tz, rb, kZigzag.data())
               : form == kDc420 ? vekiDecodeCAVLCChromaDcCoeffs_H264_1u32s(word, offset, num, dst, tok, tz, rb)
                                : vekiDecodeCAVLCChroma422DcCoeffs_H264_1u32s(word, offset, num, dst, tok, tz, rb);
}

// Random blocks of every token class in several table layouts, prepared by
// both widths of the library's preparation (which must agree), written from
// the prepared values and read back by both widths of the decoders: every
// block in its places, the cursor right behind it, the pointer moved by a
// block unless it is empty.
TEST(CavlcDecode, RandomBlocksOfEveryClassRoundTrip) {
    const char* env = std::getenv("VEK_TEST_SEED");
    const unsigned seed = env ? static_cast<unsigned>(std::strtoul(env, nullptr, 0)) : 2641u;
    std::printf("CavlcDecode seed %u (set VEK_TEST_SEED to override)\n", seed);
    std::mt19937 rng(seed);
    const auto level = [&rng] {  // mostly small, sometimes past every prefix class into the escapes
        const int limit[] = {3, 3, 3, 40, 40, 3000, 30000};
        const int mag = 1 + static_cast<int>(rng() % limit[rng() % 7]);
        return static_cast<Vek16s>(rng() % 2 ? mag : -mag);
    };
    const struct {
        Form form;
        int nc, capacity;
    } kinds[] = {
        {kLuma, 0, 16}, {kLuma, 1, 15}, {kLuma, 2, 16},   {kLuma, 3, 15}, {kLuma, 5, 16},
        {kLuma, 7, 15}, {kLuma, 8, 16}, {kLuma, 100, 15}, {kDc420, 0, 4}, {kDc422, 0, 8},
    };
    for (const std::vector<Vek32s>& widths : {std::vector<Vek32s>{16}, {8, 8}, {4, 4, 4, 4}, {6, 5, 5}, {1, 15}}) {
        const Tables t(widths);
        for (const auto& s : kinds) {
            SCOPED_TRACE(::testing::Message() << "form " << s.form << ", nC " << s.nc << ", capacity " << s.capacity
                                              << ", levels " << ::testing::PrintToString(widths));
            const int size = s.form == kLuma ? 16 : s.capacity, first = s.form == kLuma ? 16 - s.capacity : 0;
            std::vector<std::array<Vek16s, 16>> blocks(100);
            std::vector<int> totals;
            std::vector<std::size_t> ends;
            BitWriter w;
            w.put(static_cast<Vek32u>(rng()), static_cast<int>(rng() % 32));  // every start alignment
            const std::size_t start = w.bits.size();
            for (auto& raster : blocks) {
                raster = {};
                const int density = static_cast<int>(rng() % (s.capacity + 1));
                for (int k = first; k < size; ++k)
                    if (int(rng() % s.capacity) < density) raster[s.form == kLuma ? kZigzag[k] : k] = level();
                const Coded p = prepare<Vek16s>(s.form, raster, first);
                ASSERT_EQ(used(prepare<Vek32s>(s.form, raster, first)), used(p));
                write_block(w, t, s.form, s.nc, s.capacity, p);
                ends.push_back(w.bits.size());
                totals.push_back(p.num);
            }
            const std::vector<Vek32u> stream = w.words();
            const auto run = [&]<class C>(C) {
                std::vector<C> out(16 * blocks.size(), C{0x5A5A});
                Vek32u* word = const_cast<Vek32u*>(stream.data()) + start / 32;
                Vek32s offset = 31 - static_cast<Vek32s>(start % 32);
                C* dst = out.data();
                for (std::size_t b = 0; b < blocks.size(); ++b) {
                    C* const before = dst;
                    Vek16s num = -1;
                    ASSERT_EQ(decode(t, s.form, s.nc, s.capacity, &word, &offset, &num, &dst), vekStsOk) << b;
                    ASSERT_EQ(num, totals[b]) << b;
                    ASSERT_EQ((word - stream.data()) * 32 + 31 - offset, static_cast<long>(ends[b])) << b;
                    ASSERT_EQ(dst, before + (num ? size : 0)) << b;
                    ASSERT_TRUE(!num || std::equal(before, dst, blocks[b].begin(), blocks[b].begin() + size)) << b;
                }
            };
            run(Vek16s{});
            run(Vek32s{});
        }
    }
}

// Hand-made luma streams for the quirks and failures (the level and run
// rules of valid blocks are the round trip's): status, total, bits used,
// whether the coefficient pointer moved, and the block (prefilled with 77),
// in both widths unless a case names one.
TEST(CavlcDecode, HandMadeStreams) {
    const Tables t;
    Tables no_tz;
    no_tz.tz[0][2] = nullptr;
    const auto bin = [](unsigned v, int n) {
        BitWriter w;
        w.put(v, n);
        return w.bits;
    };
    const auto cells = [](std::initializer_list<std::pair<int, int>> c) {
        std::vector<int> b(16, 0);
        for (auto [k, v] : c) b[kZigzag[k]] = v;
        return b;
    };
    const std::vector<int> untouched(16, 77), cleared(16, 0);
    const std::string z16(16, '0'), z19(19, '0');
    struct Case {
        const char* name;
        int width;  // 0: both
        std::string bits;
        int nc, status, num;
        long bits_used;
        bool moved;
        std::vector<int> block;
    };
    const Case cases[] = {
        // Fixed codes: 000010 is one coefficient with two trailing ones; both signs are read.
        {"fixed 000010", 0, "000010" "10" "1", 8, vekStsOk, 1, 9, true, cells({{0, -1}})},
        {"fixed 000011 is empty", 0, "000011", 100, vekStsOk, 0, 6, false, untouched},
        // The escape code is cut to 16 bits: prefix 19, suffix 4062 is +32768, which the
        // 16-bit form stores as -32768 and then takes for a small magnitude, so the next
        // level keeps suffixLength 0 there and the two widths read on differently.
        {"escape +32768", 32, "000100" + z19 + "1" + bin(4062, 16) + "1" "00" "111" "111", 8, vekStsOk, 2, 48, true,
         cells({{1, 32768}, {0, 1}})},
        {"escape +32768", 16, "000100" + z19 + "1" + bin(4062, 16) + "1" "00" "111" "111", 8, vekStsOk, 2, 50, true,
         cells({{8, -32768}, {7, 1}})},
        {"escape 65535 is -32768", 0, "000000" + z19 + "1" + bin(4063, 16) + "1", 8, vekStsOk, 1, 43, true,
         cells({{0, -32768}})},
        {"escape wrapping to 0 is 1", 0, "000000" + z19 + "1" + bin(4064, 16) + "1", 8, vekStsOk, 1, 43, true,
         cells({{0, 1}})},
        // Invalid codes restore the cursor; what was written stays, the pointer doesn't move.
        {"invalid run_before", 0, "001" "00" "0010" "00000000000", 0, vekStsVlcErr, 2, 0, false, cleared},
        {"invalid coeff_token", 0, z16, 0, vekStsVlcErr, -1, 0, false, untouched},
        // A null total_zeros table at its use fails where the cursor stands.
        {"null total_zeros entry", 0, "001" "01" "0010", 0, vekStsNullPtrErr, 2, 5, false, cleared},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        BitWriter w;
        w.bits = c.bits;
        const auto run = [&]<class C>(C) {
            std::vector<Vek32u> stream = w.words(c.status == vekStsOk ? ~0u : 0u);  // ones show any over-read
            std::vector<C> out(16, C{77});
            Vek32u* word = stream.data();
            Vek32s offset = 31;
            C* dst = out.data();
            Vek16s num = -1;
            const Tables& tables = c.status == vekStsNullPtrErr ? no_tz : t;
            EXPECT_EQ(decode(tables, kLuma, c.nc, 16, &word, &offset, &num, &dst), c.status);
            EXPECT_EQ(num, c.num);
            EXPECT_EQ((word - stream.data()) * 32 + 31 - offset, c.bits_used);
            EXPECT_EQ(dst != out.data(), c.moved);
            EXPECT_EQ(std::vector<int>(out.begin(), out.end()), c.block);
        };
        if (c.width != 32) run(Vek16s{});
        if (c.width != 16) run(Vek32s{});
    }
}

TEST(CavlcDecode, BlockChecksInOrder) {
    const Tables t;
    struct Args {
        std::vector<Vek32u> stream = {0x80000000u, 0, 0};  // "1": the empty block of nC 0
        Vek32u *word = stream.data(), **pp = &word;
        Vek32s offset = 31, nc = 0, cap = 16, *off = &offset;
        Vek16s num = 0, out[16] = {}, *dst = out, *pnum = &num, **pdst = &dst;
        std::array<const Vek32s*, 3> token;
        const Vek32s *const *tz, *const *rb, *scan = kZigzag.data(), *const *ptoken = token.data();
    };
    using Edit = void (*)(Args&);
    const struct {
        const char* name;
        Edit edit;
        VekStatus want;
    } cases[] = {
        {"ppBitStream", [](Args& a) { a.pp = nullptr; }, vekStsNullPtrErr},
        {"pOffset", [](Args& a) { a.off = nullptr; }, vekStsNullPtrErr},
        {"pNumCoeff", [](Args& a) { a.pnum = nullptr; }, vekStsNullPtrErr},
        {"ppDstCoeffs", [](Args& a) { a.pdst = nullptr; }, vekStsNullPtrErr},
        {"token tables", [](Args& a) { a.ptoken = nullptr; }, vekStsNullPtrErr},
        {"total_zeros tables", [](Args& a) { a.tz = nullptr; }, vekStsNullPtrErr},
        {"run_before tables", [](Args& a) { a.rb = nullptr; }, vekStsNullPtrErr},
        {"scan", [](Args& a) { a.scan = nullptr; }, vekStsNullPtrErr},
        {"*ppBitStream", [](Args& a) { a.word = nullptr; }, vekStsNullPtrErr},
        {"*ppDstCoeffs", [](Args& a) { a.dst = nullptr; }, vekStsNullPtrErr},
        {"null before range", [](Args& a) { a.rb = nullptr, a.cap = 14, a.nc = -1; }, vekStsNullPtrErr},
        {"capacity 14", [](Args& a) { a.cap = 14; }, vekStsOutOfRangeErr},
        {"capacity before selector", [](Args& a) { a.cap = 17, a.nc = -1; }, vekStsOutOfRangeErr},
        {"selector -1 before its table", [](Args& a) { a.nc = -1, a.token[0] = nullptr; }, vekStsOutOfRangeErr},
        {"selected table null", [](Args& a) { a.nc = 3, a.token[1] = nullptr; }, vekStsNullPtrErr},
        {"other table null", [](Args& a) { a.token[1] = a.token[2] = nullptr; }, vekStsOk},
        {"capacity: low 16 bits count", [](Args& a) { a.cap = 0x70010; }, vekStsOk},
        {"selector 8: fixed, no table", [](Args& a) { a.nc = 8, a.token = {}, a.stream[0] = 0x0C000000u; }, vekStsOk},
        {"selector 100 alike", [](Args& a) { a.nc = 100, a.token = {}, a.stream[0] = 0x0C000000u; }, vekStsOk},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Args a;
        a.token = t.token_luma;
        a.tz = t.tz[0].data();
        a.rb = t.rb.data();
        c.edit(a);
        EXPECT_EQ(
            vekiDecodeCAVLCCoeffs_H264_1u16s(a.pp, a.off, a.pnum, a.pdst, a.nc, a.cap, a.ptoken, a.tz, a.rb, a.scan),
            c.want);
        EXPECT_EQ(a.offset, c.want != vekStsOk ? 31 : a.nc >= 8 ? 25 : 30);  // failures leave the cursor
    }
}

// The 16-bit 4:2:0 form decodes its two shortest tokens without tables and
// tests the pointers it needs late; the other chroma forms test all at once.
TEST(CavlcDecode, ChromaDcShortPathAndLateChecks) {
    const Tables t;
    const struct {
        const char* name;
        Vek32u word;
        bool null_dst, null_tables;
        VekStatus want;
        Vek16s num;
        Vek32s offset;
        std::array<Vek16s, 4> block;
    } cases[] = {
        {"lone -1 at place 1", 0xD0000000u /* 1 1 010 */, false, true, vekStsOk, 1, 27, {0, -1, 0, 0}},
        {"lone +1 at place 3", 0x80000000u /* 1 0 000 */, false, true, vekStsOk, 1, 26, {0, 0, 0, 1}},
        {"lone +1 at place 0", 0xA0000000u /* 1 0 1xx */, false, true, vekStsOk, 1, 28, {1, 0, 0, 0}},
        {"lone coefficient needs the buffer", 0x80000000u, true, true, vekStsNullPtrErr, -1, 31, {7, 7, 7, 7}},
        {"empty needs nothing", 0x40000000u /* 01 */, true, true, vekStsOk, 0, 29, {7, 7, 7, 7}},
        {"general path needs the tables", 0x20000000u, false, true, vekStsNullPtrErr, -1, 31, {7, 7, 7, 7}},
        {"general path", 0x23000000u /* 001 00 01 1 */, false, false, vekStsOk, 2, 23, {0, 1, 1, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<Vek32u> stream = {c.word, 0, 0};
        Vek32u* word = stream.data();
        Vek32s offset = 31;
        std::array<Vek16s, 4> out = {7, 7, 7, 7};
        Vek16s* dst = out.data();
        Vek16s num = -1;
        EXPECT_EQ(vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(
                      &word, &offset, &num, c.null_dst ? nullptr : &dst, c.null_tables ? nullptr : t.token420,
                      c.null_tables ? nullptr : t.tz[1].data(), c.null_tables ? nullptr : t.rb.data()),
                  c.want);
        EXPECT_EQ(num, c.num);
        EXPECT_EQ(offset, c.offset);
        EXPECT_EQ(out, c.block);
    }
    Vek32u stream[3] = {0x40000000u, 0, 0}, *word = stream;
    Vek32s offset = 31, out32[8], *d32 = out32;
    Vek16s num = 0, out16[8], *d16 = out16;
    EXPECT_EQ(vekiDecodeCAVLCChromaDcCoeffs_H264_1u32s(&word, &offset, &num, &d32, nullptr, t.tz[1].data(), t.rb.data()),
              vekStsNullPtrErr);
    EXPECT_EQ(vekiDecodeCAVLCChroma422DcCoeffs_H264_1u16s(&word, &offset, &num, &d16, t.token422, nullptr, t.rb.data()),
              vekStsNullPtrErr);
    EXPECT_EQ(vekiDecodeCAVLCChroma422DcCoeffs_H264_1u32s(&word, &offset, &num, &d32, t.token422, t.tz[2].data(), nullptr),
              vekStsNullPtrErr);
    EXPECT_EQ(offset, 31);
}

// The decoding paths side by side on random bits: every status, count,
// cursor, pointer move and coefficient must match the word-by-word reference,
// from any offset (also out of range), with the standard tables in several
// layouts, with tables of other codes (the guesses of the fast path are
// refuted) and with leaves no builder makes (the fast paths hand over).
TEST(CavlcDecode, PathsAgreeOnRandomBits) {
    using vek::h264::CavlcPath;
    const Tables standard, narrow({4, 4, 4, 4}), wide({16});
    Tables other;
    std::swap(other.token_luma[0], other.token_luma[2]);
    std::swap(other.token420, other.token422);
    for (int total = 1; total <= 15; ++total) other.tz[0][total] = standard.tz[0][total % 15 + 1];
    for (int left = 1; left <= 16; ++left) other.rb[left] = standard.rb[left % 7 + 1];
    // Width 2: three trailing ones of five, four of one, a total of 16 giving
    // back more than it read, two without trailing ones. Zeros -1 or 3; runs
    // -2 or 20.
    const Vek32s odd_token[] = {2, 3 | 5 << 8 | 0, 4 | 1 << 8 | 1, 16 << 8 | 3, 2 << 8};
    const Vek32s odd_zeros[] = {1, -1 * 256, 3 << 8}, odd_run[] = {1, -2 * 256, 20 << 8};
    Tables odd;
    odd.token_luma = {odd_token, odd_token, odd_token};
    odd.token420 = odd.token422 = odd_token;
    for (auto& row : odd.tz) row.fill(odd_zeros);
    // Negative runs make the zeros grow: the reference then reads far along
    // the run tables and the scan, which the caller must allow for.
    std::array<const Vek32s*, 64> odd_rb;
    odd_rb.fill(odd_run);
    std::array<Vek32s, 128> scan{};
    for (std::size_t i = 0; i < scan.size(); ++i) scan[i] = static_cast<Vek32s>(i * 7 % 16);
    const Tables* sets[] = {&standard, &narrow, &wide, &other, &odd};
    std::mt19937 rng(77);
    for (int trial = 0; trial < 30000; ++trial) {
        std::vector<Vek32u> stream(48, ~0u);  // ones behind the data end every prefix
        const int density = static_cast<int>(rng() % 4);
        for (int i = 0; i < 16; ++i) {
            Vek32u v = rng();
            for (int d = 0; d < density; ++d) v &= rng();
            stream[static_cast<std::size_t>(i)] = v;
        }
        const Tables& t = *sets[rng() % 5];
        const Form form = static_cast<Form>(rng() % 3);
        const int size = form == kLuma ? 16 : form == kDc420 ? 4 : 8;
        const int capacity = form == kLuma ? 15 + static_cast<int>(rng() % 2) : size;
        const Vek32s nc = static_cast<Vek32s>(rng() % 10);
        const Vek32s offsets[] = {static_cast<Vek32s>(rng() % 32), 32, -1, 45};
        const Vek32s start = offsets[rng() % 8 < 7 ? 0 : 1 + rng() % 3];
        const Vek32s* token = form == kDc420 ? t.token420 : form == kDc422 ? t.token422
                              : nc >= 8     ? nullptr
                                            : t.token_luma[static_cast<std::size_t>((nc >= 2) + (nc >= 4))];
        const auto run = [&]<class C>(C, CavlcPath path) {
            std::vector<C> out(24, C{0x5A5A});
            C* dst = out.data() + 4;
            Vek32u* word = stream.data() + 1;
            Vek32s offset = start;
            Vek16s num = -7;
            const Vek32s* const* rb = &t == &odd ? odd_rb.data() : t.rb.data();
            const VekStatus st = vek::h264::decode_cavlc_block<C>(path, size, &word, &offset, &num, &dst, token,
                                                                  t.tz[form].data(), rb, scan.data() + 32, capacity,
                                                                  nc);
            std::vector<long> r = {st, num, word - stream.data(), offset, dst - out.data()};
            r.insert(r.end(), out.begin(), out.end());
            return r;
        };
        for (const auto width : {Vek16s{}, Vek16s{1}}) {
            SCOPED_TRACE(::testing::Message() << "trial " << trial << ", 32-bit " << width);
            const auto want = width ? run(Vek32s{}, CavlcPath::kReference) : run(Vek16s{}, CavlcPath::kReference);
            for (const CavlcPath path : {CavlcPath::kWalk, CavlcPath::kFast})
                ASSERT_EQ(width ? run(Vek32s{}, path) : run(Vek16s{}, path), want);
        }
    }
}

TEST(ExpGolomb, CodesAndChecks) {
    const std::string z31(31, '0'), z32(32, '0'), ones(32, '1');
    const struct {
        const char* name;
        std::string bits;
        Vek32s offset, is_signed;
        VekStatus want;
        Vek16s v16;
        Vek32s v32;
        long used;
    } cases[] = {
        {"1 is 0", "1", 31, 0, vekStsOk, 0, 0, 1},
        {"010 is 1", "010", 31, 0, vekStsOk, 1, 1, 3},
        {"011 signed is -1", "011", 31, 1, vekStsOk, -1, -1, 3},
        {"00100 signed is +2", "00100", 5, 1, vekStsOk, 2, 2, 5},
        {"00111 signed across words", "00111", 2, 1, vekStsOk, -3, -3, 5},
        {"16 bits: low 8 bits of isSigned", "011", 31, 0x100, vekStsOk, 2, -1, 3},
        {"31 zeros", z31 + "1" + ones.substr(1), 31, 0, vekStsOk, -2, -2, 63},
        {"31 zeros signed: top of the range", z31 + "1" + ones.substr(1), 31, 1, vekStsOk, 1, -2147483647, 63},
        {"32 zeros: 0 after 65 bits", z32 + "1" + ones, 31, 0, vekStsOk, 0, 0, 65},
        {"33 zeros restore", z32 + "01", 31, 0, vekStsVlcErr, 99, 99, 0},
        {"offset 32", "1", 32, 0, vekStsBadArgErr, 99, 99, 0},
        {"offset -1 is above 31 unsigned", "1", -1, 0, vekStsBadArgErr, 99, 99, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const int lead = c.offset >= 0 && c.offset <= 31 ? 31 - c.offset : 0;
        BitWriter w;
        w.bits = std::string(static_cast<std::size_t>(lead), '0') + c.bits;
        for (int wide = 0; wide < 2; ++wide) {
            std::vector<Vek32u> stream = w.words(~0u);
            Vek32u* word = stream.data();
            Vek32s offset = c.offset, v32 = 99;
            Vek16s v16 = 99;
            EXPECT_EQ(wide ? vekiDecodeExpGolombOne_H264_1u32s(&word, &offset, &v32, c.is_signed)
                           : vekiDecodeExpGolombOne_H264_1u16s(&word, &offset, &v16, c.is_signed),
                      c.want);
            EXPECT_EQ(wide ? v32 : v16, wide ? c.v32 : c.v16);
            if (c.want != vekStsOk) {
                EXPECT_TRUE(word == stream.data() && offset == c.offset);
            } else {
                EXPECT_EQ((word - stream.data()) * 32 + 31 - offset - lead, c.used);
            }
        }
    }
    Vek32u w = 0, *p = &w, *null_word = nullptr;  // pointers before the offset of 40
    Vek32s off = 40, d32 = 0;
    Vek16s d = 0;
    for (const VekStatus st : {vekiDecodeExpGolombOne_H264_1u16s(nullptr, &off, &d, 0),
                               vekiDecodeExpGolombOne_H264_1u16s(&p, nullptr, &d, 0),
                               vekiDecodeExpGolombOne_H264_1u16s(&p, &off, nullptr, 0),
                               vekiDecodeExpGolombOne_H264_1u32s(&null_word, &off, &d32, 0)})
        EXPECT_EQ(st, vekStsNullPtrErr);
}

}  // namespace
