#include "frame/tables.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "frame/bitstream.h"

namespace {

struct ScanCase {
    const char* name;
    const std::array<Vek8u, 64>* scan;
    std::vector<int> expected;  // the whole published scan
};

const ScanCase kScans[] = {
    {"zigzag", &vek::ownvc_Zigzag,
     {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
      41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
      30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63}},
    {"alternate horizontal", &vek::ownvc_AltScanH,
     {0,  1,  2,  3,  8,  9,  16, 17, 10, 11, 4,  5,  6,  7,  15, 14, 13, 12, 19, 18, 24, 25,
      32, 33, 26, 27, 20, 21, 22, 23, 28, 29, 30, 31, 34, 35, 40, 41, 48, 49, 42, 43, 36, 37,
      38, 39, 44, 45, 46, 47, 50, 51, 56, 57, 58, 59, 52, 53, 54, 55, 60, 61, 62, 63}},
    {"alternate vertical", &vek::ownvc_AltScanV,
     {0,  8,  16, 24, 1,  9,  2,  10, 17, 25, 32, 40, 48, 56, 57, 49, 41, 33, 26, 18, 3,  11,
      4,  12, 19, 27, 34, 42, 50, 58, 35, 43, 51, 59, 20, 28, 5,  13, 6,  14, 21, 29, 36, 44,
      52, 60, 37, 45, 53, 61, 22, 30, 7,  15, 23, 31, 38, 46, 54, 62, 39, 47, 55, 63}},
};

TEST(ScanTables, EachIsAPermutationAndMatchesThePublishedScan) {
    for (const ScanCase& sc : kScans) {
        SCOPED_TRACE(sc.name);
        std::array<int, 64> seen{};
        for (Vek8u v : *sc.scan) {
            ASSERT_LT(v, 64);
            ++seen[v];
        }
        for (int i = 0; i < 64; ++i) EXPECT_EQ(seen[i], 1) << "raster index " << i;
        ASSERT_EQ(sc.expected.size(), 64u);
        for (int i = 0; i < 64; ++i) EXPECT_EQ((*sc.scan)[i], sc.expected[i]) << "position " << i;
    }
}

TEST(ScanTables, AlternateScansAreTransposes) {
    for (int i = 0; i < 64; ++i) {
        const int v = vek::ownvc_AltScanV[i];
        EXPECT_EQ(vek::ownvc_AltScanH[i], (v % 8) * 8 + v / 8) << i;
    }
}

TEST(ClampTbl, ClipsMinus256To511) {
    const Vek8u* clip = vek::clamp_tbl_zero();
    EXPECT_EQ(clip, vek::ClampTbl.data() + 256);
    const struct {
        int value;
        int expected;
    } cases[] = {{-256, 0}, {-1, 0},    {0, 0},     {1, 1},
                 {128, 128}, {255, 255}, {256, 255}, {511, 255}};
    for (const auto& c : cases) EXPECT_EQ(clip[c.value], c.expected) << c.value;
    for (int v = -256; v <= 511; ++v) {
        ASSERT_EQ(clip[v], v < 0 ? 0 : v > 255 ? 255 : v) << v;
    }
}

TEST(ChromaDc422Scan, StepsAddUpToTheRasterScan) {
    const std::array<Vek32s, 8> expected = {0, 2, 1, 4, 6, 3, 5, 7};
    EXPECT_EQ(vek::ChromaDC422RasterScan, expected);
    Vek32s pos = 0;
    for (int i = 0; i < 8; ++i) {
        pos += vek::scan_chroma2x4[i];
        EXPECT_EQ(pos, vek::ChromaDC422RasterScan[i]) << i;
    }
}

TEST(BitMask, BothNamesOneTableOfLowMasks) {
    EXPECT_EQ(&vek::bit_mask, &vek::ownvc_BitMask);
    EXPECT_EQ(vek::bit_mask[0], 0u);
    EXPECT_EQ(vek::bit_mask[1], 1u);
    EXPECT_EQ(vek::bit_mask[31], 0x7FFFFFFFu);
    EXPECT_EQ(vek::bit_mask[32], 0xFFFFFFFFu);
    for (int n = 0; n <= 32; ++n) {
        const unsigned long long expected = (1ull << n) - 1;
        EXPECT_EQ(vek::bit_mask[n], expected) << n;
        EXPECT_EQ(vek::low_mask(n), vek::bit_mask[n]) << n;
    }
}

}  // namespace
