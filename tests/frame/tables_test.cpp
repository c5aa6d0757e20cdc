#include "frame/tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "frame/bitstream.h"

namespace {

// The published scans; the alternate horizontal scan is the transpose of the
// alternate vertical one.
const std::array<Vek8u, 64> kZigzag = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
const std::array<Vek8u, 64> kAltScanV = {
    0,  8,  16, 24, 1,  9,  2,  10, 17, 25, 32, 40, 48, 56, 57, 49, 41, 33, 26, 18, 3,  11,
    4,  12, 19, 27, 34, 42, 50, 58, 35, 43, 51, 59, 20, 28, 5,  13, 6,  14, 21, 29, 36, 44,
    52, 60, 37, 45, 53, 61, 22, 30, 7,  15, 23, 31, 38, 46, 54, 62, 39, 47, 55, 63};

TEST(ScanTables, PublishedScansAndPermutations) {
    EXPECT_EQ(vek::ownvc_Zigzag, kZigzag);
    EXPECT_EQ(vek::ownvc_AltScanV, kAltScanV);
    std::array<Vek8u, 64> raster, transposed;
    for (int i = 0; i < 64; ++i)
        raster[i] = Vek8u(i), transposed[i] = Vek8u(kAltScanV[i] % 8 * 8 + kAltScanV[i] / 8);
    EXPECT_EQ(vek::ownvc_AltScanH, transposed);
    // Each visits every raster index once.
    for (const auto* scan : {&vek::ownvc_Zigzag, &vek::ownvc_AltScanH, &vek::ownvc_AltScanV})
        EXPECT_TRUE(std::is_permutation(scan->begin(), scan->end(), raster.begin()));
}

// Every entry from -256 to 511, so also -1, 0, 255 and 256 at the clip edges.
TEST(ClampTbl, ClipsMinus256To511) {
    const Vek8u* clip = vek::clamp_tbl_zero();
    EXPECT_EQ(clip, vek::ClampTbl.data() + 256);
    for (int v = -256; v <= 511; ++v) ASSERT_EQ(clip[v], std::clamp(v, 0, 255)) << v;
}

TEST(ChromaDc422Scan, StepsAddUpToTheRasterScan) {
    EXPECT_EQ(vek::ChromaDC422RasterScan, (std::array<Vek32s, 8>{0, 2, 1, 4, 6, 3, 5, 7}));
    Vek32s pos = 0;
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(pos += vek::scan_chroma2x4[i], vek::ChromaDC422RasterScan[i]) << i;
}

TEST(BitMask, BothNamesOneTableOfLowMasks) {
    EXPECT_EQ(&vek::bit_mask, &vek::ownvc_BitMask);
    for (int n = 0; n <= 32; ++n)
        EXPECT_TRUE(vek::bit_mask[n] == (1ull << n) - 1 && vek::low_mask(n) == vek::bit_mask[n]) << n;
}

}  // namespace
