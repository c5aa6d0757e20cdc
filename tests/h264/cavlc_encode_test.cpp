// CAVLC preparation: the walk's rules on hand-made blocks, the argument
// checks, and round trips: the prepared values written with the code tables
// and read back by the library's CAVLC decoders.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <tuple>

#include "h264/cavlc_stream.h"

namespace {

using namespace cavlc_test;

struct Prepared {
    Vek8u ones = 0xEE, signs = 0xEE, num = 0xEE, zeros = 0xEE;
    std::array<Vek32s, 16> levels{};
    std::array<Vek8u, 16> runs{};
};

// Blocks given in scan order, 16 positions.
Prepared prepare(const std::array<Vek16s, 16>& scan, int ac, int count) {
    std::array<Vek16s, 16> raster{};
    for (int k = 0; k < 16; ++k) raster[kZigzag[k]] = scan[k];
    Prepared p;
    std::array<Vek16s, 16> lv{};
    EXPECT_EQ(vekiEncodeCoeffsCAVLC_H264_16s(raster.data(), ac, kZigzag.data(), count, &p.ones, &p.signs, &p.num,
                                             &p.zeros, lv.data(), p.runs.data()),
              vekStsOk);
    std::copy(lv.begin(), lv.end(), p.levels.begin());
    return p;
}

TEST(CavlcEncode, WalkRules) {
    const struct {
        const char* name;
        std::array<Vek16s, 16> scan;
        int ac, count;
        int ones, signs, num, zeros;
        std::vector<int> levels, runs;
    } cases[] = {
        {"empty: zeros is the range's length", {}, 1, 15, 0, 0, 0, 15, {}, {}},
        {"four ones: the fourth is a level", {1, -1, 0, 1, -1}, 0, 15, 3, 0b101, 4, 1, {1}, {0, 1, 0}},
        {"a 2 above a 1 closes the state", {1, 0, 2}, 0, 15, 0, 0, 2, 1, {2, 1}, {1}},
        {"a 1 above a 2 is a trailing one", {2, 0, -1}, 0, 15, 1, 1, 2, 1, {2}, {1}},
        {"zeros above the highest are not counted", {0, 3, 0, 0, -1}, 0, 15, 1, 1, 2, 3, {3}, {2}},
        {"AC 1 skips position 0", {5, 0, 1}, 1, 15, 1, 0, 1, 1, {}, {}},
        {"Count stops the walk", {0, 1, 0, 0, 0, 7}, 0, 4, 1, 0, 1, 1, {}, {}},
    };
    for (const auto& c : cases) {
        const Prepared p = prepare(c.scan, c.ac, c.count);
        EXPECT_EQ(std::make_tuple(+p.ones, +p.signs, +p.num, +p.zeros), std::make_tuple(c.ones, c.signs, c.num, c.zeros))
            << c.name;
        EXPECT_EQ(std::vector<int>(p.levels.begin(), p.levels.begin() + c.levels.size()), c.levels) << c.name;
        EXPECT_EQ(std::vector<int>(p.runs.begin(), p.runs.begin() + c.runs.size()), c.runs) << c.name;
    }
}

TEST(CavlcEncode, ChecksInOrder) {
    std::array<Vek16s, 16> s{};
    std::array<Vek32s, 16> s32{};
    Vek8u o, g, n, z, r[16];
    const Vek32s* scan = kZigzag.data();
    const struct {
        const char* name;
        std::function<VekStatus()> call;
        VekStatus want;
    } cases[] = {
        {"null runs before range",
         [&] { return vekiEncodeCoeffsCAVLC_H264_16s(s.data(), 0, scan, 16, &o, &g, &n, &z, s.data(), nullptr); },
         vekStsNullPtrErr},
        {"Count 16 is past the last position",
         [&] { return vekiEncodeCoeffsCAVLC_H264_16s(s.data(), 0, scan, 16, &o, &g, &n, &z, s.data(), r); },
         vekStsOutOfRangeErr},
        {"Count below AC",
         [&] { return vekiEncodeCoeffsCAVLC_H264_32s(s32.data(), 2, scan, 1, &o, &g, &n, &z, s32.data(), r); },
         vekStsOutOfRangeErr},
        {"only the low byte of Count counts",
         [&] { return vekiEncodeCoeffsCAVLC_H264_32s(s32.data(), 0, scan, 0x10F, &o, &g, &n, &z, s32.data(), r); },
         vekStsOk},
        {"only the low byte of AC counts",
         [&] { return vekiEncodeCoeffsCAVLC_H264_16s(s.data(), 0x201, scan, 15, &o, &g, &n, &z, s.data(), r); },
         vekStsOk},
        {"chroma 2x2: null", [&] { return vekiEncodeChromaDcCoeffsCAVLC_H264_16s(s.data(), &o, &g, &n, nullptr, s.data(), r); },
         vekStsNullPtrErr},
        {"chroma 2x4 32s: null",
         [&] { return vekiEncodeCoeffsCAVLCChromaDC2x4_H264_32s(nullptr, &o, &g, &n, &z, s32.data(), r); },
         vekStsNullPtrErr},
    };
    for (const auto& c : cases) EXPECT_EQ(c.call(), c.want) << c.name;
}

// A block written from the prepared values alone. form: 0 4x4 (class by nC),
// 1 4:2:0 DC, 2 4:2:2 DC.
void write(BitWriter& w, const Tables& t, int form, int nc, int capacity, const Prepared& p) {
    const int cls = form == 1 ? -1 : form == 2 ? -2 : nc < 2 ? 0 : nc < 4 ? 2 : 4;
    const int total = p.num, t1 = p.ones;
    w.bits += t.token.at({cls, t1, total});
    if (total == 0) return;
    w.put(p.signs, t1);
    write_levels(w, std::vector<int>(p.levels.begin(), p.levels.begin() + (total - t1)), t1, total);
    int left = p.zeros;
    if (total < capacity) w.bits += t.zeros[form].at({total, left});
    for (int i = 0; i < total - 1 && left > 0; ++i) {
        w.bits += t.run.at({std::min(left, 7), p.runs[i]});
        left -= p.runs[i];
    }
}

TEST(CavlcEncode, RoundTripsThroughTheDecoders) {
    const Tables t;
    std::mt19937 rng(4242);
    const auto level = [&rng] {
        const int limit[] = {2, 2, 3, 40, 2000};
        const int mag = 1 + static_cast<int>(rng() % limit[rng() % 5]);
        return static_cast<Vek16s>(rng() % 2 ? mag : -mag);
    };
    const struct {
        int form, nc, capacity;
    } kinds[] = {{0, 0, 16}, {0, 3, 15}, {0, 5, 16}, {1, 0, 4}, {2, 0, 8}};
    for (const auto& kind : kinds) {
        for (int b = 0; b < 300; ++b) {
            SCOPED_TRACE(::testing::Message() << "form " << kind.form << " block " << b);
            std::array<Vek16s, 16> raster{};
            const int size = kind.form == 0 ? 16 : kind.capacity, first = kind.form == 0 ? 16 - kind.capacity : 0;
            const int density = static_cast<int>(rng() % (size + 1));
            for (int k = first; k < size; ++k)
                if (static_cast<int>(rng() % size) < density) raster[kind.form == 0 ? kZigzag[k] : k] = level();
            // Both widths prepare the same values.
            Prepared p, p32;
            std::array<Vek16s, 16> lv{};
            std::array<Vek32s, 16> raster32{};
            std::copy(raster.begin(), raster.end(), raster32.begin());
            const VekStatus st16 =
                kind.form == 0 ? vekiEncodeCoeffsCAVLC_H264_16s(raster.data(), first, kZigzag.data(), 15, &p.ones,
                                                                &p.signs, &p.num, &p.zeros, lv.data(), p.runs.data())
                : kind.form == 1
                    ? vekiEncodeChromaDcCoeffsCAVLC_H264_16s(raster.data(), &p.ones, &p.signs, &p.num, &p.zeros,
                                                             lv.data(), p.runs.data())
                    : vekiEncodeCoeffsCAVLCChromaDC2x4_H264_16s(raster.data(), &p.ones, &p.signs, &p.num, &p.zeros,
                                                                lv.data(), p.runs.data());
            Vek8u *o = &p32.ones, *g = &p32.signs, *n = &p32.num, *z = &p32.zeros, *r = p32.runs.data();
            Vek32s* l = p32.levels.data();
            const VekStatus st32 =
                kind.form == 0
                    ? vekiEncodeCoeffsCAVLC_H264_32s(raster32.data(), first, kZigzag.data(), 15, o, g, n, z, l, r)
                : kind.form == 1 ? vekiEncodeCoeffsCAVLCChromaDC2x2_H264_32s(raster32.data(), o, g, n, z, l, r)
                                 : vekiEncodeCoeffsCAVLCChromaDC2x4_H264_32s(raster32.data(), o, g, n, z, l, r);
            ASSERT_EQ(st16, vekStsOk);
            ASSERT_EQ(st32, vekStsOk);
            std::copy(lv.begin(), lv.end(), p.levels.begin());
            ASSERT_EQ(std::tie(p32.ones, p32.signs, p32.num), std::tie(p.ones, p.signs, p.num));
            if (p.num) {
                ASSERT_EQ(p32.zeros, p.zeros);
                for (int i = 0; i < p.num - p.ones; ++i) ASSERT_EQ(p32.levels[i], p.levels[i]);
                for (int i = 0; i + 1 < p.num; ++i) ASSERT_EQ(p32.runs[i], p.runs[i]);
            }

            BitWriter w;
            write(w, t, kind.form, kind.nc, kind.capacity, p);
            const std::vector<Vek32u> stream = w.words();
            Vek32u* word = const_cast<Vek32u*>(stream.data());
            Vek32s offset = 31;
            std::array<Vek16s, 16> out{};
            Vek16s* dst = out.data();
            Vek16s num = -1;
            const VekStatus st =
                kind.form == 0
                    ? vekiDecodeCAVLCCoeffs_H264_1u16s(&word, &offset, &num, &dst, kind.nc, kind.capacity,
                                                       t.token_luma.data(), t.tz[0].data(), t.rb.data(),
                                                       kZigzag.data())
                : kind.form == 1
                    ? vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(&word, &offset, &num, &dst, t.token420,
                                                               t.tz[1].data(), t.rb.data())
                    : vekiDecodeCAVLCChroma422DcCoeffs_H264_1u16s(&word, &offset, &num, &dst, t.token422,
                                                                  t.tz[2].data(), t.rb.data());
            ASSERT_EQ(st, vekStsOk);
            ASSERT_EQ(num, p.num);
            ASSERT_EQ((word - stream.data()) * 32 + 31 - offset, static_cast<long>(w.bits.size()));
            if (kind.form == 2) {  // the 4:2:2 decoder's places are the raster places of the block
                std::array<Vek16s, 16> want{};
                for (int k = 0; k < 8; ++k) want[kDc422Places[k]] = raster[kDc422Places[k]];
                ASSERT_EQ(out, want);
            } else {
                ASSERT_EQ(out, raster);
            }
        }
    }
}

}  // namespace
