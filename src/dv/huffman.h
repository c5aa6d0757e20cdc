// DV segment decoding: the constant code table and the three-pass decoder
// shared by the 25 Mbit/s and 100 Mbit/s segment layouts.
#pragma once

#include <cstdint>

#include "vekvc.h"

namespace vek::dv {

// One entry of the code table. `advance` counts the scan positions a code
// covers: run + 1 for a level, n for a run of n zeros with no level.
struct CodeEntry {
    std::uint8_t length;   // bits, sign bit included; 0 marks a prefix that is no code
    std::uint8_t advance;  // kEndOfBlock for the end-of-block code
    std::int16_t value;    // level times 64, signed; 0 for zero runs
};

inline constexpr std::uint8_t kEndOfBlock = 0xFF;

// Nine-bit prefixes from kLongPrefix to kEscapePrefix - 1 start a code of
// 10 to 13 bits, looked up by the low 10 bits of the next 13; from
// kEscapePrefix up they start the 16-bit escape.
inline constexpr int kLongPrefix = 480;
inline constexpr int kEscapePrefix = 508;

struct ConstTable {
    std::uint8_t scan[2][64];  // by DCT mode: scan position -> raster index
    CodeEntry short_codes[512];
    CodeEntry long_codes[1024];
};

extern const ConstTable _const_table;

// Geometry of one segment layout: five macroblocks of 80 bytes, each with
// `blocks` blocks starting at the byte offsets given, of `bits` bits each.
struct SegmentLayout {
    int blocks;
    std::uint8_t offset[8];
    std::uint8_t bits[8];
};

inline constexpr SegmentLayout kLayoutDV25{6, {4, 18, 32, 46, 60, 70}, {112, 112, 112, 112, 80, 80}};
// 100 Mbit/s: four luma blocks, then two Cr and two Cb blocks; six blocks of
// 10 bytes and two of 8 fill the 76 bytes behind the macroblock header.
inline constexpr SegmentLayout kLayoutDV100{8, {4, 14, 24, 34, 44, 54, 64, 72}, {80, 80, 80, 80, 80, 80, 64, 64}};

// Decodes the 400-byte segment into 5 * layout.blocks blocks of 64
// coefficients and as many parameter words. lend = false runs pass 1 alone.
void decode_segment(const Vek8u* stream, const SegmentLayout& layout, bool lend, Vek16s* dst,
                    Vek32u* param);

}  // namespace vek::dv
