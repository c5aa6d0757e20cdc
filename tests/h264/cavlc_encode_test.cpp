// CAVLC preparation: the walk's rules on hand-made blocks and the argument
// checks. Random blocks of every form go through the preparation, the code
// tables and the decoders in the CAVLC decoding tests.
#include <gtest/gtest.h>

#include <algorithm>

#include "h264/cavlc_stream.h"

namespace {

using namespace cavlc_test;

TEST(CavlcEncode, WalkRules) {
    const struct {
        const char* name;
        std::array<Vek16s, 16> scan;  // in scan order
        int ac, count;
        std::vector<int> want;  // ones, signs, num, zeros, levels, runs
    } cases[] = {
        {"empty: zeros is the range's length", {}, 1, 15, {0, 0, 0, 15}},
        {"four ones: the fourth is a level", {1, -1, 0, 1, -1}, 0, 15, {3, 0b101, 4, 1, 1, 0, 1, 0}},
        {"a 2 above a 1 closes the state", {1, 0, 2}, 0, 15, {0, 0, 2, 1, 2, 1, 1}},
        {"a 1 above a 2 is a trailing one", {2, 0, -1}, 0, 15, {1, 1, 2, 1, 2, 1}},
        {"zeros above the highest are not counted", {0, 3, 0, 0, -1}, 0, 15, {1, 1, 2, 3, 3, 2}},
        {"AC 1 skips position 0", {5, 0, 1}, 1, 15, {1, 0, 1, 1}},
        {"Count stops the walk", {0, 1, 0, 0, 0, 7}, 0, 4, {1, 0, 1, 1}},
    };
    for (const auto& c : cases) {
        std::array<Vek16s, 16> raster{};
        for (int k = 0; k < 16; ++k) raster[kZigzag[k]] = c.scan[k];
        EXPECT_EQ(used(prepare<Vek16s>(kLuma, raster, c.ac, c.count)), c.want) << c.name;
    }
}

TEST(CavlcEncode, ChecksInOrder) {
    std::array<Vek16s, 16> s{};
    std::array<Vek32s, 16> s32{};
    Vek8u o, g, n, z, r[16];
    const Vek32s* scan = kZigzag.data();
    const struct {
        const char* name;
        VekStatus got, want;
    } cases[] = {
        {"null runs before range",
         vekiEncodeCoeffsCAVLC_H264_16s(s.data(), 0, scan, 16, &o, &g, &n, &z, s.data(), nullptr), vekStsNullPtrErr},
        {"Count 16 is past the last position",
         vekiEncodeCoeffsCAVLC_H264_16s(s.data(), 0, scan, 16, &o, &g, &n, &z, s.data(), r), vekStsOutOfRangeErr},
        {"Count below AC",
         vekiEncodeCoeffsCAVLC_H264_32s(s32.data(), 2, scan, 1, &o, &g, &n, &z, s32.data(), r), vekStsOutOfRangeErr},
        {"only the low byte of Count counts",
         vekiEncodeCoeffsCAVLC_H264_32s(s32.data(), 0, scan, 0x10F, &o, &g, &n, &z, s32.data(), r), vekStsOk},
        {"only the low byte of AC counts",
         vekiEncodeCoeffsCAVLC_H264_16s(s.data(), 0x201, scan, 15, &o, &g, &n, &z, s.data(), r), vekStsOk},
        {"chroma 2x2: null", vekiEncodeChromaDcCoeffsCAVLC_H264_16s(s.data(), &o, &g, &n, nullptr, s.data(), r),
         vekStsNullPtrErr},
        {"chroma 2x4 32s: null", vekiEncodeCoeffsCAVLCChromaDC2x4_H264_32s(nullptr, &o, &g, &n, &z, s32.data(), r),
         vekStsNullPtrErr},
    };
    for (const auto& c : cases) EXPECT_EQ(c.got, c.want) << c.name;
}

}  // namespace
