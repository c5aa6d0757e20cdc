// DV output conversion: geometry and element operation of all 21 functions,
// the treatment of null arrays and null entries, and known answers for the
// arithmetic of each family on small hand-made blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "vekvc.h"

namespace {

using SegFn = VekStatus(const Vek16s* const*, Vek8u* const*, Vek32s);
using OneFn = VekStatus(const Vek16s*, Vek8u*, Vek32s);
using Dv100Fn = VekStatus(const Vek16s*, Vek8u* const*, Vek32s);

enum class Entries { kStopOk, kSkipNullDst, kStopErr, kUntested };

struct Conv {
    const char* name;
    SegFn* seg;
    OneFn* one;
    Dv100Fn* dv100;
    int width, height;   // output pixels of one macroblock (DV100: of one half)
    bool checks_arrays;  // null pSrc / pDst give vekStsNullPtrErr
    Entries entries;
};

#define SEG(f, w, h, arrays, entries) {#f, f, nullptr, nullptr, w, h, arrays, entries}
#define ONE(f, w, h) {#f, nullptr, f, nullptr, w, h, true, Entries::kUntested}

const Conv kConvs[] = {
    SEG(vekiYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R, 32, 8, true, Entries::kStopOk),
    ONE(vekiYCrCb411ToYCbCr422_EdgeDV_16s8u_P3C2R, 16, 16),
    SEG(vekiYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R, 16, 4, true, Entries::kStopOk),
    ONE(vekiYCrCb411ToYCbCr422_ZoomOut2_EdgeDV_16s8u_P3C2R, 8, 8),
    SEG(vekiYCrCb411ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R, 8, 2, true, Entries::kStopOk),
    ONE(vekiYCrCb411ToYCbCr422_ZoomOut4_EdgeDV_16s8u_P3C2R, 4, 4),
    SEG(vekiYCrCb411ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R, 4, 1, true, Entries::kSkipNullDst),
    ONE(vekiYCrCb411ToYCbCr422_ZoomOut8_EdgeDV_16s8u_P3C2R, 2, 2),
    SEG(vekiYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R, 16, 16, true, Entries::kUntested),
    SEG(vekiYCrCb420ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R, 8, 8, true, Entries::kUntested),
    SEG(vekiYCrCb420ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R, 4, 4, true, Entries::kUntested),
    SEG(vekiYCrCb420ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R, 2, 2, true, Entries::kUntested),
    SEG(vekiYCrCb422ToYCbCr422_5MBDV_16s8u_P3C2R, 16, 8, false, Entries::kStopErr),
    SEG(vekiYCrCb422ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R, 8, 4, false, Entries::kStopErr),
    SEG(vekiYCrCb422ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R, 4, 2, false, Entries::kStopErr),
    SEG(vekiYCrCb422ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R, 2, 1, false, Entries::kStopErr),
    SEG(vekiYCrCb411ToYCbCr422_16x4x5MB_DV_16s8u_P3C2R, 16, 4, true, Entries::kStopOk),
    ONE(vekiYCrCb411ToYCbCr422_8x8MB_DV_16s8u_P3C2R, 8, 8),
    SEG(vekiYCrCb420ToYCbCr422_8x8x5MB_DV_16s8u_P3C2R, 8, 8, true, Entries::kUntested),
    SEG(vekiYCrCb422ToYCbCr422_8x4x5MB_DV_16s8u_P3C2R, 8, 4, true, Entries::kUntested),
    {"vekiYCrCb422ToYCbCr422_10HalvesMB16x8_DV100_16s8u_P3C2R", nullptr, nullptr,
     vekiYCrCb422ToYCbCr422_10HalvesMB16x8_DV100_16s8u_P3C2R, 16, 8, true, Entries::kUntested},
};

constexpr int kStep = 80, kRows = 17;
constexpr Vek8u kSentinel = 0xEE;

// Five macroblocks of eight blocks, contiguous, and ten destination pictures.
struct Rig {
    std::vector<Vek16s> src = std::vector<Vek16s>(5 * 8 * 64);
    std::array<std::vector<Vek8u>, 10> dst;
    Rig() { dst.fill(std::vector<Vek8u>(kStep * kRows, kSentinel)); }
    Vek16s* mb(int m) { return src.data() + m * 8 * 64; }
    Vek16s* block(int m, int k) { return mb(m) + 64 * k; }

    VekStatus run(const Conv& c, const Vek16s* const* srcs, Vek8u* const* dsts) {
        if (c.seg) return c.seg(srcs, dsts, kStep);
        if (c.one) return c.one(srcs ? srcs[0] : nullptr, dsts ? dsts[0] : nullptr, kStep);
        return c.dv100(srcs ? srcs[0] : nullptr, dsts, kStep);
    }
    std::array<const Vek16s*, 5> srcs() { return {mb(0), mb(1), mb(2), mb(3), mb(4)}; }
    std::array<Vek8u*, 10> dsts() {
        return {dst[0].data(), dst[1].data(), dst[2].data(), dst[3].data(), dst[4].data(),
                dst[5].data(), dst[6].data(), dst[7].data(), dst[8].data(), dst[9].data()};
    }
    VekStatus run(const Conv& c) { return run(c, srcs().data(), dsts().data()); }
    // True when destination i holds `value` exactly in the output area and
    // the sentinel everywhere else.
    bool written(const Conv& c, int i, int value = -1) const {
        for (int y = 0; y < kRows; ++y)
            for (int x = 0; x < kStep; ++x) {
                const Vek8u b = dst[std::size_t(i)][std::size_t(y * kStep + x)];
                const bool inside = y < c.height && x < 2 * c.width;
                if (!inside && b != kSentinel) return false;
                if (inside && (value < 0 ? b == kSentinel : b != value)) return false;
            }
        return true;
    }
    bool untouched(int i) const { return dst[std::size_t(i)] == std::vector<Vek8u>(kStep * kRows, kSentinel); }
};

// Every sample x stores as x saturated to -128..127 plus 128, whatever the
// family's arithmetic, and exactly the output area is written.
TEST(DvConvert, UniformBlocksGiveTheElementOperation) {
    const int values[] = {200, -200, 0, -1, 127, -128, 128, -129, 32767, -32768};
    for (const Conv& c : kConvs)
        for (const int v : values) {
            Rig s;
            std::fill(s.src.begin(), s.src.end(), Vek16s(v));
            ASSERT_EQ(s.run(c), vekStsOk) << c.name;
            const int want = std::clamp(v, -128, 127) + 128;
            for (int i = 0; i < (c.dv100 ? 10 : c.one ? 1 : 5); ++i) EXPECT_TRUE(s.written(c, i, want)) << c.name << " " << v << " dst " << i;
        }
}

TEST(DvConvert, NullArraysAndEntries) {
    // Entry 2 of the sources or of the destinations null: the status, and
    // which destinations are then written ('W') or left untouched ('.').
    const struct {
        Entries kind;
        bool null_src;
        VekStatus want;
        const char* dsts;
    } rules[] = {{Entries::kStopOk, true, vekStsOk, "WW..."},
                 {Entries::kSkipNullDst, false, vekStsOk, "WW.WW"},
                 {Entries::kStopErr, true, vekStsNullPtrErr, "WW..."},
                 {Entries::kStopErr, false, vekStsNullPtrErr, "WW..."}};
    for (const Conv& c : kConvs) {
        if (c.checks_arrays) {
            Rig s;
            EXPECT_EQ(s.run(c, nullptr, s.dsts().data()), vekStsNullPtrErr) << c.name;
            EXPECT_EQ(s.run(c, s.srcs().data(), nullptr), vekStsNullPtrErr) << c.name;
            for (int i = 0; i < 10; ++i) EXPECT_TRUE(s.untouched(i)) << c.name;
        }
        for (const auto& r : rules) {
            if (r.kind != c.entries) continue;
            Rig s;
            auto srcs = s.srcs();
            auto dsts = s.dsts();
            r.null_src ? void(srcs[2] = nullptr) : void(dsts[2] = nullptr);
            EXPECT_EQ(s.run(c, srcs.data(), dsts.data()), r.want) << c.name;
            for (int i = 0; i < 5; ++i)
                EXPECT_TRUE(r.dsts[i] == 'W' ? s.written(c, i) : s.untouched(i)) << c.name << " dst " << i;
        }
    }
}

// Bytes (destination, row, byte, value) after running `fn` on blocks filled by `fill`.
struct Probe {
    int dst, row, byte, want;
};
struct KnownCase {
    const char* what;
    const char* fn;
    void (*fill)(Rig&);
    std::vector<Probe> probes;
};

// Chroma row 0 of Cb (block 5) = 0 10 20 ... 70; row 1 starts with 100.
void ramp_cb(Rig& s) {
    for (int i = 0; i < 8; ++i) s.block(0, 5)[i] = Vek16s(10 * i);
    s.block(0, 5)[8] = 100;
}

constexpr int Cb(int pair) { return 4 * pair + 1; }
constexpr int Cr(int pair) { return 4 * pair + 3; }
constexpr int Y(int pixel) { return 2 * pixel; }

const KnownCase kKnown[] = {
    {"411 spreads chroma, c[7] repeats within its row", "vekiYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R", ramp_cb,
     {{0, 0, Cb(0), 128}, {0, 0, Cb(1), 133}, {0, 0, Cb(2), 138}, {0, 0, Cb(13), 193}, {0, 0, Cb(14), 198},
      {0, 0, Cb(15), 198}, {0, 1, Cb(0), 228}}},
    {"411 chroma sum saturates before the shift", "vekiYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 4)[0] = 32767, s.block(0, 4)[1] = 1; },
     {{0, 0, Cr(0), 255}, {0, 0, Cr(1), 255}, {0, 0, Cr(2), 129}}},
    {"411 edge spreads each group of four", "vekiYCrCb411ToYCbCr422_EdgeDV_16s8u_P3C2R", ramp_cb,
     {{0, 0, Cb(3), 143}, {0, 0, Cb(6), 158}, {0, 0, Cb(7), 158}, {0, 8, Cb(0), 168}, {0, 8, Cb(7), 198},
      {0, 1, Cb(0), 228}}},
    {"420 chroma rows 0 1 0 1 2 3 2 3 ...", "vekiYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R",
     [](Rig& s) { for (int r = 0; r < 8; ++r) s.block(0, 5)[8 * r] = Vek16s(r); },
     {{0, 0, Cb(0), 128}, {0, 1, Cb(0), 129}, {0, 2, Cb(0), 128}, {0, 3, Cb(0), 129}, {0, 4, Cb(0), 130},
      {0, 7, Cb(0), 131}, {0, 13, Cb(0), 135}, {0, 14, Cb(0), 134}}},
    // -1 -1 / -1 0: the shift gives -1, the truncating division 0.
    {"411 zoom 2 shifts", "vekiYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 0)[0] = s.block(0, 0)[1] = s.block(0, 0)[8] = -1; }, {{0, 0, Y(0), 127}, {0, 0, Y(1), 128}}},
    {"422 zoom 2 truncates", "vekiYCrCb422ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 0)[0] = s.block(0, 0)[1] = s.block(0, 0)[8] = -1; }, {{0, 0, Y(0), 128}}},
    // Rows first, each addition saturating: 32767 + (-32668) = 99, >> 2 = 24.
    {"411 zoom 2 saturates the luma sums row by row", "vekiYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 0)[0] = s.block(0, 0)[1] = 32767, s.block(0, 0)[8] = -32768, s.block(0, 0)[9] = 100; },
     {{0, 0, Y(0), 152}}},
    {"411 zoom 2 chroma: two rows", "vekiYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 5)[8 * 2 + 3] = 10, s.block(0, 5)[8 * 3 + 3] = 3; }, {{0, 1, Cb(3), 134}}},
    {"411 zoom 4 chroma: four rows by two columns >> 3", "vekiYCrCb411ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R",
     [](Rig& s) { for (int r = 4; r < 8; ++r) s.block(0, 4)[8 * r + 6] = 6, s.block(0, 4)[8 * r + 7] = 5; },
     {{0, 1, Cr(3), 128 + 44 / 8}, {0, 0, Cr(3), 128}}},
    {"422 zoom 4 divides by 16 toward zero", "vekiYCrCb422ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R",
     [](Rig& s) { for (int i = 0; i < 15; ++i) s.block(0, 2)[8 * (i / 4) + i % 4] = -2; },
     {{0, 0, Y(2), 127}, {0, 0, Y(0), 128}}},
    {"411 edge zoom 2: lower rows take chroma elements 4-7", "vekiYCrCb411ToYCbCr422_ZoomOut2_EdgeDV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 5)[4] = 20, s.block(0, 5)[12] = 2, s.block(0, 5)[0] = 50; },
     {{0, 4, Cb(0), 139}, {0, 0, Cb(0), 153}}},
    {"411 edge zoom 4: lower rows take chroma columns 4-7", "vekiYCrCb411ToYCbCr422_ZoomOut4_EdgeDV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 4)[8 * 5 + 7] = 80; }, {{0, 3, Cr(1), 138}, {0, 1, Cr(1), 128}}},
    {"420 zoom 4 chroma 4x4 >> 4", "vekiYCrCb420ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 5)[8 * 7 + 7] = -17; }, {{0, 2, Cb(1), 126}, {0, 3, Cb(1), 126}, {0, 1, Cb(1), 128}}},
    {"411 zoom 8: Y0 Cb Y1 Cr Y2 Cb Y3 Cr", "vekiYCrCb411ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R",
     [](Rig& s) { for (int k = 0; k < 6; ++k) s.block(0, k)[0] = Vek16s(k + 1); },
     {{0, 0, 0, 129}, {0, 0, 1, 134}, {0, 0, 2, 130}, {0, 0, 3, 133}, {0, 0, 4, 131}, {0, 0, 5, 134}, {0, 0, 6, 132}}},
    {"420 zoom 8: two rows", "vekiYCrCb420ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R",
     [](Rig& s) { for (int k = 0; k < 6; ++k) s.block(0, k)[0] = Vek16s(k + 1); },
     {{0, 0, 2, 130}, {0, 1, 0, 131}, {0, 1, 1, 134}, {0, 1, 2, 132}, {0, 1, 3, 133}}},
    {"422 zoom 8: blocks 0 and 2", "vekiYCrCb422ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R",
     [](Rig& s) { for (int k = 0; k < 6; ++k) s.block(0, k)[0] = Vek16s(k + 1); },
     {{0, 0, 0, 129}, {0, 0, 1, 134}, {0, 0, 2, 131}, {0, 0, 3, 133}}},
    {"422 never reads blocks 1 and 3", "vekiYCrCb422ToYCbCr422_5MBDV_16s8u_P3C2R",
     [](Rig& s) { std::fill(s.block(0, 1), s.block(0, 2), Vek16s(99)), std::fill(s.block(0, 3), s.block(0, 4), Vek16s(99)), s.block(0, 2)[0] = 5; },
     {{0, 0, Y(0), 128}, {0, 0, Y(8), 133}, {0, 7, Y(15), 128}}},
    {"16x4: chroma samples repeat", "vekiYCrCb411ToYCbCr422_16x4x5MB_DV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 5)[4 + 3] = 9, s.block(0, 1)[4 * 2 + 1] = 7; },
     {{0, 1, Cb(6), 137}, {0, 1, Cb(7), 137}, {0, 1, Cb(5), 128}, {0, 2, Y(5), 135}}},
    {"8x8MB: chroma columns 2-3 serve rows 4-7", "vekiYCrCb411ToYCbCr422_8x8MB_DV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 4)[4 * 1 + 2] = 9, s.block(0, 3)[0] = 4; },
     {{0, 5, Cr(0), 137}, {0, 5, Cr(1), 137}, {0, 1, Cr(0), 128}, {0, 4, Y(4), 132}}},
    {"8x8x5MB: chroma row i serves rows 2i and 2i+1", "vekiYCrCb420ToYCbCr422_8x8x5MB_DV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 5)[4 * 3 + 2] = 9; }, {{0, 6, Cb(2), 137}, {0, 7, Cb(2), 137}, {0, 5, Cb(2), 128}}},
    {"8x4x5MB: blocks 0 and 2", "vekiYCrCb422ToYCbCr422_8x4x5MB_DV_16s8u_P3C2R",
     [](Rig& s) { s.block(0, 2)[4 * 3 + 3] = 9, s.block(0, 4)[4 * 3 + 3] = 1; },
     {{0, 3, Y(7), 137}, {0, 3, Cr(3), 129}}},
    {"DV100 halves", "vekiYCrCb422ToYCbCr422_10HalvesMB16x8_DV100_16s8u_P3C2R",
     [](Rig& s) { for (int k = 0; k < 8; ++k) s.block(1, k)[8 * 7 + 7] = Vek16s(k + 1); },
     {{2, 7, Y(7), 129}, {2, 7, Y(15), 130}, {2, 7, Cb(7), 135}, {2, 7, Cr(7), 133},
      {3, 7, Y(7), 131}, {3, 7, Y(15), 132}, {3, 7, Cb(7), 136}, {3, 7, Cr(7), 134}}},
};

TEST(DvConvert, KnownAnswers) {
    for (const KnownCase& k : kKnown) {
        Rig s;
        k.fill(s);
        const Conv* c = std::find_if(std::begin(kConvs), std::end(kConvs),
                                     [&](const Conv& v) { return v.name == std::string(k.fn); });
        ASSERT_EQ(s.run(*c), vekStsOk) << k.what;
        for (const Probe& p : k.probes)
            EXPECT_EQ(s.dst[std::size_t(p.dst)][std::size_t(p.row * kStep + p.byte)], p.want)
                << k.what << ": dst " << p.dst << " row " << p.row << " byte " << p.byte;
    }
}

}  // namespace
