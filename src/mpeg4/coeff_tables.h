// Code tables of MPEG-4 texture decoding: the ordinary run-level codes of
// intra and inter blocks with their escape offsets, the reversible codes in
// both reading directions, all generated at build time from code lists.
#pragma once

#include <array>

#include "vekvc.h"

namespace vek::mpeg4 {

// One decoded row: last flag, run, |level| and the code length without the
// sign bit. Level 255 marks the escape code of the ordinary tables.
struct CoefRow {
    Vek8u last;
    Vek8u run;
    Vek8u level;
    Vek8u len;
};
inline constexpr Vek8u kEscapeLevel = 255;

// Ordinary codes are looked up on the next 12 bits v: below 8 is no code;
// 8..127 index the first array at v - 8, 128..511 the second at (v - 128) >> 2,
// 512..4095 the third at (v - 512) >> 5. Short codes repeat over their rows.
struct TcoefTables {
    const CoefRow* from8;    // 120 rows
    const CoefRow* from128;  // 96 rows
    const CoefRow* from512;  // 112 rows
    // Escape offsets by last flag: LMAX by run (largest level of that run),
    // RMAX by level (largest run of that level, plus one).
    const Vek8u* lmax[2];
    const Vek8u* rmax[2];
};

extern const std::array<CoefRow, 120> tableB16_8, tableB17_8;
extern const std::array<CoefRow, 96> tableB16_128_2, tableB17_128_2;
extern const std::array<CoefRow, 112> tableB16_512_5, tableB17_512_5;
extern const TcoefTables kIntraTcoef, kInterTcoef;

// Reversible codes: 169 codes plus the 4-bit escape prefix 0000 as row 0,
// one row list for both reading directions (a code read from either end
// means the same), meanings apart for intra and inter. The lookups stand for
// the ownvc_mp4_RVLC(b)_ind0 / _iptr / _offs tables, generated from the code
// list: a first level on 8 bits gives a row (code of at most 8 bits), a
// second level (longer code) or kRvlcNoCode; a second level, indexed by the
// 7 bits that follow, gives a row or kRvlcNoCode. Forward tables take the
// bits in stream order, first bit highest; backward tables take them as read
// from the code's end, the bit next to the sign lowest (which is again the
// stream-order value of those bits).
inline constexpr int kRvlcRows = 170;
inline constexpr Vek8u kRvlcFirstGroup = 200;  // first-level entries 200.. name a second level
inline constexpr Vek8u kRvlcNoCode = 255;
inline constexpr int kRvlcGroups = 16;

struct RvlcTables {
    std::array<Vek8u, 256> first;
    std::array<std::array<Vek8u, 128>, kRvlcGroups> second;
};

extern const std::array<CoefRow, kRvlcRows> tableB23_Intra, tableB23_Inter;
extern const RvlcTables kRvlcForward, kRvlcBackward;

}  // namespace vek::mpeg4
